// See the header.
#include "commands/kinds.h"

#include "app/failure.h"
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

}  // namespace

const RecordKind& KindOf(const std::string& strName) {
    const auto& vecKinds = DayKinds();
    return *std::find_if(vecKinds.begin(), vecKinds.end(),
                         [&](const RecordKind& kind) { return kind.strName == strName; });
}

RecordKind BarKind(const Cycle& cycle) {
    return {kBars + cycle.Text(),
            "bars",
            &ColumnsOf<QRXDefine_KLine>(),
            sizeof(QRXDefine_KLine),
            cycle.Intraday(),
            cycle.Intraday(),
            [cycle](Session& session, const QRXDefine_Code& code, const Slice& slice) {
                auto request = RequestFor<QRXDefine_ReqKLine>(code, slice);
                request.nCycType = cycle.nType;
                request.nCycDef = cycle.nCount;
                return ToFetched(session.Bars(request));
            }};
}

RecordKind ParseKind(const std::string& strName, const std::string& strOption) {
    if (strName.starts_with(kBars)) {
        return BarKind(ParseCycle(strName.substr(strlen(kBars)), strOption));
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
