// See the header.
#include "commands/kinds.h"

#include "app/connection.h"
#include "app/failure.h"
#include "commands/adjust.h"
#include "commands/completion.h"
#include "text/dates.h"
#include "text/nearest.h"

namespace qrx::cli {
namespace {

constexpr const char* kBars = "bars_";

template <class Record, class Request>
RecordKind DayKind(const char* szName, const char* szPlural,
                   Result<Array<Record>> (Session::*pfnFetch)(const Request&)) {
    return {szName,
            szPlural,
            &ColumnsOf<Record>(),
            sizeof(Record),
            true,
            true,
            [pfnFetch](Session& session, const QRXDefine_Code& code, const Slice& slice) {
                return ToFetched((session.*pfnFetch)(RequestFor<Request>(code, slice)));
            }};
}

// Bars that were reckoned in different ways stand in tables and folders of their own.
std::string BarName(const Cycle& cycle, const Arguments& arguments) {
    std::string strName = kBars + cycle.Text();
    if (arguments.Has("--complete") && cycle.Intraday()) strName += "_complete";
    const std::string strMode = arguments.Get("--adjust", "none");
    if (strMode != "none") strName += "_" + strMode;
    if (arguments.Has("--adjust-date")) {
        const int nDate = ParseDate(arguments.Get("--adjust-date"), "--adjust-date");
        strName += "_" + std::to_string(nDate);
    }
    if (arguments.Has("--adjust-volume")) strName += "_volume";
    return strName;
}

const std::vector<RecordKind>& DayKinds() {
    static const std::vector<RecordKind> kKinds = {
        DayKind("ticks", "ticks", &Session::Ticks),
        DayKind("ticks_book", "ticks", &Session::TicksWithBook),
        DayKind("trades", "trades", &Session::Trades),
        DayKind("orders", "orders", &Session::Orders),
        DayKind("queues", "order queues", &Session::OrderQueues),
        DayKind("futures", "snapshots", &Session::Futures),
        DayKind("futures_book", "snapshots", &Session::FuturesWithBook)};
    return kKinds;
}

template <class Record>
RecordKind OnGrid(const std::string& strName,
                  Result<Array<Record>> (Session::*pfnFetch)(const QRXDefine_ReqFuture&)) {
    RecordKind kind = KindOf(strName);
    kind.strName += "_complete";
    kind.fetch = [pfnFetch](Session& session, const QRXDefine_Code& code, const Slice& slice) {
        auto request = RequestFor<QRXDefine_ReqFuture>(code, slice);
        if (IsContract(code)) CheckCompletable(code, Completed::Snapshots);
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

RecordKind CompletedKind(const std::string& strName) {
    if (strName == "futures_book") return OnGrid(strName, &Session::FuturesWithBook);
    return OnGrid(strName, &Session::Futures);
}

const RecordKind& KindOf(const std::string& strName) {
    const auto& vecKinds = DayKinds();
    return *std::find_if(vecKinds.begin(), vecKinds.end(),
                         [&](const RecordKind& kind) { return kind.strName == strName; });
}

RecordKind BarKind(const Cycle& cycle, const Arguments& arguments) {
    QRXDefine_ReqKLine form{};
    form.nCycType = cycle.nType;
    form.nCycDef = cycle.nCount;
    FillAdjustment(form, arguments);
    const bool bComplete = arguments.Has("--complete") && cycle.Intraday();
    return {BarName(cycle, arguments),
            "bars",
            &ColumnsOf<QRXDefine_KLine>(),
            sizeof(QRXDefine_KLine),
            cycle.Intraday(),
            cycle.Intraday(),
            [form, bComplete](Session& session, const QRXDefine_Code& code, const Slice& slice) {
                QRXDefine_ReqKLine request = form;
                FillRequest(request, code, slice.nFrom, slice.nTo, slice.nBegin, slice.nEnd);
                if (bComplete) CheckCompletable(code, Completed::Bars);
                auto bars = session.Bars(request);
                if (!bars || !bComplete) return ToFetched(std::move(bars));
                CheckCompletable(code, bars.value);
                request.nAutoComplete = 1;
                return ToFetched(session.Bars(request));
            }};
}

RecordKind ParseKind(const std::string& strName, const std::string& strOption,
                     const Arguments& arguments) {
    if (strName.starts_with(kBars)) {
        return BarKind(ParseCycle(strName.substr(strlen(kBars)), strOption), arguments);
    }
    if (arguments.Has("--complete") && (strName == "futures" || strName == "futures_book")) {
        return CompletedKind(strName);
    }
    std::vector<std::string> vecNames;
    for (const RecordKind& kind : DayKinds()) {
        if (kind.strName == strName) return kind;
        vecNames.push_back(kind.strName);
    }
    vecNames.insert(vecNames.end(), {"bars_1m", "bars_d"});
    std::string strAll;
    for (const std::string& strKnown : vecNames) strAll += " " + strKnown;
    RefuseUsage(strOption + ": there is no kind \"" + strName + "\"; the nearest is \"" +
                Nearest(strName, vecNames) + "\" of" + strAll);
}

}  // namespace qrx::cli
