// The rows of the table of commands.
#include <cstring>

#include "commands/command.h"
#include "settings/settings.h"

namespace qrx::cli {
namespace {

const PositionalRow kCode = {"CODE", true, "security, such as 600000.SH"};
const PositionalRow kName = {"NAME", true, "name of the formula"};

const OptionRow kFrom = {"--from", "DATE", "first trading day, such as 20240105 (default today)",
                         nullptr};
const OptionRow kTo = {"--to", "DATE", "last trading day (default: the first)", nullptr};
const OptionRow kBegin = {"--begin", "TIME", "earliest time on the first day, such as 09:30",
                          nullptr};
const OptionRow kEnd = {"--end", "TIME", "latest time on the last day, such as 15:00", nullptr};
const OptionRow kCycle = {"--cycle", "CYCLE",
                          "30s, 1m, 5m, d, w, month, quarter, half or y (default d)", nullptr};
const OptionRow kAdjust = {"--adjust", "MODE", "prices adjusted for dividends and splits",
                           "none|forward|backward"};
const OptionRow kAdjustDate = {"--adjust-date", "DATE", "reference day of --adjust forward",
                               nullptr};
const OptionRow kAdjustVolume = {"--adjust-volume", nullptr, "adjust volumes too", nullptr};
const OptionRow kComplete = {"--complete", nullptr,
                             "lay the records onto the exchange's session grid", nullptr};

const OptionRow kChart = {"--chart", nullptr, "draw candlesticks instead of writing rows", nullptr};
const OptionRow kChartStyle = {"--chart-style", "STYLE",
                               "characters of --chart (default: what the terminal can show)",
                               "auto|unicode|ascii"};

std::vector<OptionRow> RangeAnd(std::vector<OptionRow> vecMore) {
    std::vector<OptionRow> vecRows = {kFrom, kTo, kBegin, kEnd};
    vecRows.insert(vecRows.end(), vecMore.begin(), vecMore.end());
    return vecRows;
}

}  // namespace

const char* OptionRow::Key() const {
    const char* pLong = strstr(szName, "--");
    return pLong != nullptr ? pLong : szName;
}

const std::vector<Command>& Commands() {
    static const std::vector<Command> kCommands = {
        {"codes",
         "list the securities that you may ask for",
         {{"MARKET", false, "one market, such as SH (default: all)"}},
         {{"--search", "TEXT", "only what the text is a code or name of, or part of one", nullptr}},
         RunCodes},
        {"ticks",
         "snapshots of a stock or an index",
         {kCode},
         RangeAnd({{"--book", nullptr, "with ten levels of the order book", nullptr}}),
         RunTicks},
        {"trades", "every trade", {kCode}, RangeAnd({}), RunTrades},
        {"orders", "every order", {kCode}, RangeAnd({}), RunOrders},
        {"queues", "the orders queued at the best prices", {kCode}, RangeAnd({}), RunQueues},
        {"bars",
         "bars of seconds, minutes, days and longer",
         {kCode},
         RangeAnd({kCycle, kAdjust, kAdjustDate, kAdjustVolume, kComplete, kChart, kChartStyle}),
         RunBars},
        {"futures",
         "snapshots of a futures contract or an option",
         {kCode},
         RangeAnd({{"--book", nullptr, "with five levels of the order book", nullptr}, kComplete}),
         RunFutures},
        {"export",
         "write days of many securities to a folder, and go on where that stopped",
         {{"CODE", false, "securities, or markets for all of theirs, such as SH cu2403.SHF", true}},
         {kFrom,
          kTo,
          {"--kinds", "A,B",
           "ticks, ticks_book, trades, orders, queues, futures, futures_book, bars_1m, bars_d, ...",
           nullptr},
          {"--codes-from", "FILE", "a file with more codes, one a line", nullptr},
          kAdjust,
          kAdjustDate,
          kAdjustVolume,
          kComplete,
          {"--restart", nullptr, "remove what the folder holds and begin anew", nullptr}},
         RunExport},
        {"doctor",
         "check settings, network, proxy, login and speed, and say what to do",
         {{"CODE", false, "security to fetch for the speed (default: one with data)"}},
         {{"--date", "DATE", "trading day to fetch (default: the latest with data)", nullptr}},
         RunDoctor,
         true},
        {"formula add",
         "store a formula under a name",
         {kName},
         {{"--text", "TEXT", "the formula itself", nullptr},
          {"--file", "FILE", "a file that holds it, - for the standard input", nullptr}},
         RunFormulaAdd},
        {"formula list", "list the stored formulas", {}, {}, RunFormulaList},
        {"formula show", "show the text of one formula", {kName}, {}, RunFormulaShow},
        {"formula delete", "delete a formula", {kName}, {}, RunFormulaDelete},
        {"formula calc",
         "evaluate a formula over the bars of a security",
         {kName, kCode},
         RangeAnd({kCycle,
                   {"--adjust", "MODE", kAdjust.szHelp, "none|backward"},
                   {"--param", "TEXT", "parameters, such as N=5;M=20", nullptr},
                   kChart,
                   {"--on", "COLUMN", "draw only this column over the candlesticks", nullptr},
                   kChartStyle}),
         RunFormulaCalc}};
    return kCommands;
}

std::span<const GroupRow> Groups() {
    static const GroupRow kGroups[] = {{"formula", "store, list, delete and evaluate formulas"}};
    return kGroups;
}

std::span<const OptionRow> OutputOptions() {
    static const OptionRow kRows[] = {
        {"-f,--format", "FORMAT",
         "how to write the rows (default table, or what the name of -o FILE says)",
         "table|csv|jsonl|sqlite"},
        {"-o,--output", "FILE", "write to a file, which appears when it is complete", nullptr},
        {"--limit", "N", "stop after N rows", nullptr},
        {"--columns", "A,B", "only these columns, in this order", nullptr},
        {"--raw", nullptr, "integers as the server sends them", nullptr},
        {"--tz", "ZONE", "dates and times in this zone, such as UTC (default: the exchange's)",
         nullptr}};
    return kRows;
}

const std::vector<OptionRow>& ConnectionOptions() {
    static const std::vector<OptionRow> kRows = [] {
        std::vector<OptionRow> vecRows;
        for (const SettingRow& row : SettingRows()) {
            if (row.szOption != nullptr) {
                vecRows.push_back({row.szOption, row.szValue, row.szHelp, nullptr});
            }
        }
        return vecRows;
    }();
    return kRows;
}

}  // namespace qrx::cli
