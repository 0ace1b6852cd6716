// See the header.
#include "export/kind.h"

#include <algorithm>
#include <sstream>

#include "app/connection.h"
#include "app/failure.h"
#include "commands/adjust.h"
#include "commands/completion.h"
#include "commands/cycle.h"
#include "commands/series.h"
#include "text/nearest.h"

namespace qrx::cli {

const char* const kKindNames =
    "ticks ticks:book trades orders queues futures futures:book bars:CYCLE";

namespace {

constexpr const char* kBars = "bars:";

bool IsContract(const QRXDefine_Code& code) {
    const std::string strKind = KindOfType(code.nType & 0xFF);
    return strKind == "future" || strKind == "option";
}
bool IsNoContract(const QRXDefine_Code& code) {
    return !IsContract(code);
}
bool IsAny(const QRXDefine_Code&) {
    return true;
}

template <class Record>
void Hand(const Result<Array<Record>>& result, const std::function<void(const Fetched&)>& take) {
    take({result.code, result.value.data(), result.value.size(), sizeof(Record)});
}

template <class Record, class Request>
ExportKind Make(const char* szName, bool (*pfnSuits)(const QRXDefine_Code&),
                Result<Array<Record>> (Session::*pfnFetch)(const Request&)) {
    ExportKind kind;
    kind.strName = szName;
    kind.pColumns = &ColumnsOf<Record>();
    kind.suits = pfnSuits;
    kind.fetch = [pfnFetch](Session& session, const QRXDefine_Code& code, int nFrom, int nTo,
                            const auto& take) {
        Request request{};
        FillRequest(request, code, nFrom, nTo, 0, 0);
        Hand((session.*pfnFetch)(request), take);
    };
    return kind;
}

template <class Record>
ExportKind MakeFutures(const char* szName, bool bComplete,
                       Result<Array<Record>> (Session::*pfnFetch)(const QRXDefine_ReqFuture&)) {
    ExportKind kind = Make(szName, IsContract, pfnFetch);
    if (!bComplete) return kind;
    kind.suits = [](const QRXDefine_Code& code) {
        if (!IsContract(code)) return false;
        CheckCompletable(code, Completed::Snapshots);
        return true;
    };
    kind.fetch = [pfnFetch](Session& session, const QRXDefine_Code& code, int nFrom, int nTo,
                            const auto& take) {
        QRXDefine_ReqFuture request{};
        FillRequest(request, code, nFrom, nTo, 0, 0);
        auto result = (session.*pfnFetch)(request);
        if (result) {
            CheckCompletable(code, std::span<const Record>(result.value), nFrom);
            request.nAutoComplete = 1;
            result = (session.*pfnFetch)(request);
        }
        Hand(result, take);
    };
    return kind;
}

ExportKind MakeBars(const std::string& strName, const Arguments& arguments) {
    const Cycle cycle = ParseCycle(strName.substr(std::string(kBars).size()));
    QRXDefine_ReqKLine form{};
    form.nCycType = cycle.nType;
    form.nCycDef = cycle.nCount;
    FillAdjustment(form, arguments);
    if (arguments.Get("--adjust") == "forward" && !arguments.Has("--adjust-date")) {
        RefuseUsage(
            "--adjust forward: prices that lead to the latest day change with every dividend; name "
            "a fixed one with --adjust-date DATE");
    }
    const bool bComplete = arguments.Has("--complete") && cycle.Intraday();
    ExportKind kind;
    kind.strName = strName;
    kind.bDaily = cycle.Intraday();
    kind.pColumns = &ColumnsOf<QRXDefine_KLine>();
    kind.suits = [bComplete](const QRXDefine_Code& code) {
        if (bComplete) CheckCompletable(code, Completed::Bars);
        return true;
    };
    kind.fetch = [form, bComplete](Session& session, const QRXDefine_Code& code, int nFrom, int nTo,
                                   const auto& take) {
        QRXDefine_ReqKLine request = form;
        FillRequest(request, code, nFrom, nTo, 0, 0);
        auto result = session.Bars(request);
        if (result && bComplete) {
            CheckCompletable(code, std::span<const QRXDefine_KLine>(result.value));
            request.nAutoComplete = 1;
            result = session.Bars(request);
        }
        Hand(result, take);
    };
    return kind;
}

}  // namespace

std::vector<ExportKind> ParseKinds(const Arguments& arguments) {
    const bool bComplete = arguments.Has("--complete");
    std::vector<ExportKind> vecPlain;
    vecPlain.push_back(Make("ticks", IsNoContract, &Session::Ticks));
    vecPlain.push_back(Make("ticks:book", IsNoContract, &Session::TicksWithBook));
    vecPlain.push_back(Make("trades", IsAny, &Session::Trades));
    vecPlain.push_back(Make("orders", IsAny, &Session::Orders));
    vecPlain.push_back(Make("queues", IsAny, &Session::OrderQueues));
    vecPlain.push_back(MakeFutures("futures", bComplete, &Session::Futures));
    vecPlain.push_back(MakeFutures("futures:book", bComplete, &Session::FuturesWithBook));

    std::vector<ExportKind> vecKinds;
    std::istringstream names(arguments.Get("--kind"));
    for (std::string strName; std::getline(names, strName, ',');) {
        if (strName.starts_with(kBars)) {
            vecKinds.push_back(MakeBars(strName, arguments));
            continue;
        }
        const auto it = std::find_if(vecPlain.begin(), vecPlain.end(), [&](const ExportKind& kind) {
            return kind.strName == strName;
        });
        if (it == vecPlain.end()) {
            std::vector<std::string> vecNames = {"bars:d"};
            for (const ExportKind& kind : vecPlain) vecNames.push_back(kind.strName);
            RefuseUsage("--kind: there is no kind \"" + strName + "\"; the nearest is \"" +
                        Nearest(strName, vecNames) + "\" of " + kKindNames);
        }
        vecKinds.push_back(*it);
    }
    if (vecKinds.empty()) {
        RefuseUsage(std::string("--kind: say what to export, such as --kind ticks,bars:1m, of ") +
                    kKindNames);
    }
    const auto any = [&](auto test) { return std::any_of(vecKinds.begin(), vecKinds.end(), test); };
    const auto isBars = [](const ExportKind& kind) { return kind.strName.starts_with(kBars); };
    if (arguments.Has("--adjust") && !any(isBars)) RefuseUsage("--adjust goes with bars only");
    if (bComplete && !any([&](const ExportKind& kind) {
            return isBars(kind) ? kind.bDaily : kind.strName.starts_with("futures");
        })) {
        RefuseUsage("--complete goes with bars of seconds and minutes, and with futures");
    }
    const auto before = [](const ExportKind& a, const ExportKind& b) {
        return a.strName < b.strName;
    };
    const auto same = [](const ExportKind& a, const ExportKind& b) {
        return a.strName == b.strName;
    };
    std::stable_sort(vecKinds.begin(), vecKinds.end(), before);
    vecKinds.erase(std::unique(vecKinds.begin(), vecKinds.end(), same), vecKinds.end());
    return vecKinds;
}

}  // namespace qrx::cli
