// futures: snapshots of contracts and options.
#include "commands/command.h"
#include "commands/completion.h"
#include "commands/series.h"

namespace qrx::cli {
namespace {

template <class Record>
void Run(Context& context, Result<Array<Record>> (Session::*pfnFetch)(const QRXDefine_ReqFuture&)) {
    const bool bComplete = context.Args().Has("--complete");
    RunSeries<Record, QRXDefine_ReqFuture>(
        context, "snapshots", pfnFetch,
        [&](QRXDefine_ReqFuture& request, const QRXDefine_Code& code) {
            if (!bComplete) return;
            CheckCompletable(code, Completed::Snapshots);
            const auto plain = (context.Connect().Get().*pfnFetch)(request);
            if (!plain) return;  // the request itself meets the same and reports it
            CheckCompletable(code, std::span<const Record>(plain.value), request.nBeginDate);
            request.nAutoComplete = 1;
        });
}

}  // namespace

void RunFutures(Context& context) {
    if (context.Args().Has("--book")) {
        Run(context, &Session::FuturesWithBook);
    } else {
        Run(context, &Session::Futures);
    }
}

}  // namespace qrx::cli
