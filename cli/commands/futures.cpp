// futures: snapshots of contracts and options.
#include "commands/command.h"
#include "commands/completion.h"
#include "commands/series.h"

namespace qrx::cli {
namespace {

// The kind with its days laid onto the session grid.
template <class Record>
RecordKind CompletedKind(RecordKind kind,
                         Result<Array<Record>> (Session::*pfnFetch)(const QRXDefine_ReqFuture&)) {
    kind.strName += "_complete";
    kind.fetch = [pfnFetch](Session& session, const QRXDefine_Code& code, const Slice& slice) {
        auto request = RequestFor<QRXDefine_ReqFuture>(code, slice);
        CheckCompletable(code, Completed::Snapshots);
        const auto plain = (session.*pfnFetch)(request);
        if (plain) {  // else the request itself meets the same and reports it
            CheckCompletable(code, std::span<const Record>(plain.value), request.nBeginDate);
            request.nAutoComplete = 1;
        }
        return ToFetched((session.*pfnFetch)(request));
    };
    return kind;
}

}  // namespace

void RunFutures(Context& context) {
    const bool bBook = context.Args().Has("--book");
    const RecordKind& kind = KindOf(bBook ? "futures_book" : "futures");
    if (!context.Args().Has("--complete")) {
        RunSeries(context, kind);
    } else if (bBook) {
        RunSeries(context, CompletedKind(kind, &Session::FuturesWithBook));
    } else {
        RunSeries(context, CompletedKind(kind, &Session::Futures));
    }
}

}  // namespace qrx::cli
