// export: several days, securities and kinds of records into a folder that the next run goes on
// with.
#include <algorithm>
#include <deque>
#include <fstream>
#include <set>
#include <sstream>

#include "app/failure.h"
#include "commands/command.h"
#include "export/exporter.h"
#include "text/dates.h"
#include "text/encoding.h"
#include "text/words.h"

namespace qrx::cli {
namespace {

// Parted by commas; every word once.
std::vector<std::string> Words(const std::string& strText) {
    std::vector<std::string> vecWords;
    for (const std::string& strWord : Split(strText, ',')) {
        const bool bKnown = std::find(vecWords.begin(), vecWords.end(), strWord) != vecWords.end();
        if (!strWord.empty() && !bKnown) vecWords.push_back(strWord);
    }
    return vecWords;
}

// One code a line; what follows a # is a remark.
std::string ReadCodes(const std::string& strPath) {
    std::ifstream file(strPath);
    if (!file) RefuseUsage("--codes-from: cannot read " + strPath);
    std::string strCodes;
    for (std::string strLine; std::getline(file, strLine);) {
        std::istringstream words(strLine.substr(0, strLine.find('#')));
        for (std::string strWord; words >> strWord;) strCodes += "," + strWord;
    }
    return strCodes;
}

OutputChoice ReadChoice(const Context& context) {
    const Arguments& args = context.Args();
    if (args.Get("--output").empty() || args.Get("--output") == "-") {
        RefuseUsage("an export goes to a folder; name it, such as -o market");
    }
    if (args.Has("--limit")) RefuseUsage("--limit cuts days short; it does not go with export");
    // The folder's name says nothing about the format.
    Arguments copy = args;
    if (!args.Has("--format")) copy.Set("--format", "csv");
    OutputChoice choice = ReadOutputChoice(copy, context.GetSettings().nPriceDigits);
    if (choice.strFormat == "table") RefuseUsage("-f: an export is csv, jsonl or sqlite");
    return choice;
}

ExportRequest RequestOf(const OutputChoice& choice, const Address& server) {
    return {{"--format", choice.strFormat},  // first: the files' ending
            {"--columns", choice.strColumns},
            {"--raw", choice.style.bRaw ? "yes" : "no"},
            {"--tz", choice.zone ? choice.zone->Name() : ""},
            {"--price-unit", "1e" + std::to_string(choice.style.nPriceDigits)},
            {kServerOfExport, FoldCase(server.Text())}};
}

// A market's name stands for all of its securities. Each security once.
std::deque<QRXDefine_Code> FindCodes(Connection& connection,
                                     const std::vector<std::string>& vecNames) {
    std::deque<QRXDefine_Code> codes;
    std::set<std::string> seen;
    const auto add = [&](const QRXDefine_Code& code) {
        if (seen.insert(std::string(FieldView(code.szVelaCode))).second) codes.push_back(code);
    };
    for (const std::string& strName : vecNames) {
        const auto& vecMarkets = connection.Markets();
        const bool bMarket = std::any_of(
            vecMarkets.begin(), vecMarkets.end(),
            [&](const std::string& strMarket) { return FoldCase(strMarket) == FoldCase(strName); });
        if (!bMarket) {
            add(connection.FindCode(strName));
            continue;
        }
        const auto table = connection.Get().Codes(strName.c_str());
        connection.Check(table.code, "securities of " + strName);
        for (const QRXDefine_Code& code : table.value) add(code);
    }
    return codes;
}

void CheckReckoning(const Arguments& args, const std::deque<RecordKind>& kinds) {
    const auto any = [&](const auto& test) {
        return std::any_of(kinds.begin(), kinds.end(), test);
    };
    const auto isBars = [](const RecordKind& kind) { return kind.strName.starts_with("bars_"); };
    for (const char* szOption : {"--adjust", "--adjust-date", "--adjust-volume"}) {
        if (args.Has(szOption) && !any(isBars)) {
            RefuseUsage(std::string(szOption) + " goes with bars only");
        }
    }
    if (args.Get("--adjust") == "forward" && !args.Has("--adjust-date")) {
        RefuseUsage(
            "--adjust forward: prices that lead to the latest day change with every dividend; "
            "name a day that stays, such as --adjust-date 20240105");
    }
    const auto completes = [](const RecordKind& kind) {
        return kind.strName.find("_complete") != std::string::npos;
    };
    if (args.Has("--complete") && !any(completes)) {
        RefuseUsage("--complete goes with bars of seconds and minutes, and with futures");
    }
}

// All days but those to come: of one security after the other, kind by kind.
std::vector<PlannedPart> Plan(const std::deque<RecordKind>& kinds,
                              const std::deque<QRXDefine_Code>& codes, const DayRange& range) {
    const int nTo = std::min(range.nTo, TodayAtExchange());
    const std::vector<int> vecDays = Weekdays(range.nFrom, nTo);
    std::vector<PlannedPart> vecParts;
    for (const QRXDefine_Code& code : codes) {
        for (const RecordKind& kind : kinds) {
            if (!kind.bDaily && range.nFrom <= nTo) {
                vecParts.push_back({&kind, &code, {range.nFrom, nTo}});
            }
            for (const int nDay : vecDays) {
                if (kind.bDaily) vecParts.push_back({&kind, &code, {nDay, nDay}});
            }
        }
    }
    return vecParts;
}

void Say(const ExportTally& tally, const std::string& strFolder) {
    std::ostringstream line;
    line << "wrote " << tally.nWritten << " parts with " << tally.nRows << " rows to " << strFolder;
    if (tally.nThere > 0) line << "; " << tally.nThere << " were there";
    if (tally.nEmpty > 0) line << "; " << tally.nEmpty << " have no data";
    if (tally.nOpen > 0) line << "; " << tally.nOpen << " are of late days and will be asked again";
    if (tally.nUnfit > 0) line << "; " << tally.nUnfit << " are of a kind that the security lacks";
    Sink sink("");
    sink.Write(line.str() + "\n");
    sink.Finish();
}

}  // namespace

void RunExport(Context& context) {
    const Arguments& args = context.Args();
    const DayRange range = ReadDayRange(args);
    const OutputChoice choice = ReadChoice(context);
    const std::string strFolder = args.Get("--output");
    std::string strCodes = args.Get("CODE");
    if (args.Has("--codes-from")) strCodes += ReadCodes(args.Get("--codes-from"));
    const std::vector<std::string> vecCodes = Words(strCodes);
    if (vecCodes.empty()) RefuseUsage("export needs a CODE, such as 600000.SH, or --codes-from");
    std::deque<RecordKind> kinds;
    for (const std::string& strKind : Words(args.Get("--kinds"))) {
        kinds.push_back(ParseKind(strKind, "--kinds", args));
        CheckColumns(choice.strColumns, kinds.back().GetShape());
    }
    if (kinds.empty()) RefuseUsage("export needs --kinds, such as --kinds ticks,bars_1m");
    CheckReckoning(args, kinds);

    // Nothing is made or removed for a request that cannot be met.
    const std::deque<QRXDefine_Code> codes = FindCodes(context.Connect(), vecCodes);
    Manifest manifest(strFolder, RequestOf(choice, context.GetSettings().server),
                      args.Has("--restart"), args.Has("--server-moved"));
    Exporter exporter(context, choice, manifest);
    const ExportTally tally = exporter.Run(Plan(kinds, codes, range));
    const std::string strWhat = args.Get("--kinds") + " of these securities " + range.Text();
    Say(tally, strFolder);
    if (tally.nFailed > 0) {
        throw Failure(EXIT_COMPLETION, std::to_string(tally.nFailed) +
                                           " parts are missing, first " + tally.strFailed);
    }
    if (tally.bAnyRow) return;
    if (tally.nUnfit > 0 && tally.nEmpty == 0) {
        throw Failure(EXIT_WRONG_TYPE, "there are no " + strWhat +
                                           "; futures and options have --kinds futures, "
                                           "everything else has --kinds ticks");
    }
    throw Failure(EXIT_NO_DATA, "there are no " + strWhat);
}

}  // namespace qrx::cli
