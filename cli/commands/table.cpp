// The rows of the table of commands.
#include <cstring>

#include "commands/command.h"
#include "output/columns.h"
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
                          "30s, 1m, 5m, d, w, month, quarter, half or y (default d)", nullptr,
                          "30s|1m|5m|15m|30m|60m|d|w|month|quarter|half|y"};
const OptionRow kAdjust = {"--adjust", "MODE", "prices adjusted for dividends and splits",
                           "none|forward|backward"};
const OptionRow kAdjustDate = {"--adjust-date", "DATE", "reference day of --adjust forward",
                               nullptr};
const OptionRow kAdjustVolume = {"--adjust-volume", nullptr, "adjust volumes too", nullptr};
const OptionRow kComplete = {"--complete", nullptr,
                             "lay the records onto the exchange's session grid", nullptr};

const OptionRow kChart = {"--chart", nullptr,
                          "draw candlesticks instead of writing rows, at least 34 columns wide",
                          nullptr};
const OptionRow kChartStyle = {"--chart-style", "STYLE",
                               "characters of --chart (default: what the terminal can show)",
                               "auto|unicode|ascii"};

constexpr const char* kDays =
    "Dates are trading days of the exchange: the night before a day comes with it, under its "
    "calendar date. Days without data are passed over.";
constexpr const char* kGrid =
    "Dates are trading days of the exchange: the night before a day comes with it, under its "
    "calendar date. --complete fills the exchange's session grid; where market or records do not "
    "allow that, the refusal names day, record and rule.";

std::vector<OptionRow> RangeAnd(std::vector<OptionRow> vecMore) {
    std::vector<OptionRow> vecRows = {kFrom, kTo, kBegin, kEnd};
    vecRows.insert(vecRows.end(), vecMore.begin(), vecMore.end());
    return vecRows;
}

// Those that the command has without further options.
template <class Record>
std::vector<std::string> Columns() {
    std::vector<std::string> vecNames;
    for (const RecordColumn& column : ColumnsOf<Record>()) vecNames.push_back(column.strName);
    return vecNames;
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
         RunCodes,
         "Names are shown in UTF-8. A search does not mind the case, blanks in names and "
         "full-width "
         "letters; codes and names that begin with the text come first.",
         "qrx codes SH\nqrx codes --search 6000"},
        {"ticks",
         "snapshots of a stock or an index",
         {kCode},
         RangeAnd({{"--book", nullptr, "with ten levels of the order book", nullptr}}),
         RunTicks,
         kDays,
         "qrx ticks 600000.SH --from 20240105 --book --columns time,price,ask_price1,bid_price1",
         Command::Plain,
         Columns<QRXDefine_Tick>},
        {"trades",
         "every trade",
         {kCode},
         RangeAnd({}),
         RunTrades,
         kDays,
         "qrx trades 600000.SH --from 20240105 --begin 09:30 --end 10:00",
         Command::Plain,
         Columns<QRXDefine_Transaction>},
        {"orders",
         "every order",
         {kCode},
         RangeAnd({}),
         RunOrders,
         kDays,
         "qrx orders 600000.SH --from 20240102 --to 20240105 -o orders.csv",
         Command::Plain,
         Columns<QRXDefine_Order>},
        {"queues",
         "the orders queued at the best prices",
         {kCode},
         RangeAnd({}),
         RunQueues,
         kDays,
         "qrx queues 600000.SH --from 20240105 --columns time,price,side,orders,item1,item2",
         Command::Plain,
         Columns<QRXDefine_OrderQueue>},
        {"bars",
         "bars of seconds, minutes, days and longer",
         {kCode},
         RangeAnd({kCycle, kAdjust, kAdjustDate, kAdjustVolume, kComplete, kChart, kChartStyle}),
         RunBars,
         kGrid,
         "qrx bars 600000.SH --cycle 5m --from 20240102 --to 20240105\n"
         "qrx bars cu2403.SHF --cycle 30m --from 20240105 --to 20240108 --complete --chart",
         Command::Plain,
         Columns<QRXDefine_KLine>},
        {"futures",
         "snapshots of a futures contract or an option",
         {kCode},
         RangeAnd({{"--book", nullptr, "with five levels of the order book", nullptr}, kComplete}),
         RunFutures,
         kGrid,
         "qrx futures cu2403.SHF --from 20240105 --book\n"
         "qrx futures IF2403.CF --from 20240105 --complete -o if.sqlite",
         Command::Plain,
         Columns<QRXDefine_Future>},
        {"formula add",
         "store a formula under a name",
         {kName},
         {{"--text", "TEXT", "the formula itself", nullptr},
          {"--file", "FILE", "a file that holds it, - for the standard input", nullptr}},
         RunFormulaAdd,
         "A formula of the same name is replaced. The server says what it refuses, and why.",
         "qrx formula add macd --file macd.lua"},
        {"formula list",
         "list the stored formulas",
         {},
         {},
         RunFormulaList,
         "",
         "qrx formula list"},
        {"formula show",
         "show the text of one formula",
         {kName},
         {},
         RunFormulaShow,
         "A server hands out the first 128 bytes only.",
         "qrx formula show macd"},
        {"formula delete",
         "delete a formula",
         {kName},
         {},
         RunFormulaDelete,
         "",
         "qrx formula delete macd"},
        {"formula calc",
         "evaluate a formula over the bars of a security",
         {kName, kCode},
         RangeAnd({kCycle,
                   {"--adjust", "MODE", kAdjust.szHelp, "none|backward"},
                   {"--param", "TEXT", "parameters, such as N=5;M=20", nullptr},
                   kChart,
                   {"--on", "COLUMN", "draw only this column over the candlesticks", nullptr},
                   kChartStyle}),
         RunFormulaCalc,
         "A calculation that fails is an answer without rows; the server's log says why.",
         "qrx formula calc macd 600000.SH --from 20240102 --to 20240105 --cycle 5m"},
        {"export",
         "write days of many securities to a folder, and go on where that stopped",
         {{"CODE", false, "securities, or markets for all of theirs, such as SH cu2403.SHF", true}},
         {kFrom,
          kTo,
          {"--kinds", "A,B",
           "ticks, ticks_book, trades, orders, queues, futures, futures_book, bars_1m, bars_d, ...",
           nullptr,
           "ticks|ticks_book|trades|orders|queues|futures|futures_book|bars_1m|bars_5m|bars_d"},
          {"--codes-from", "FILE", "a file with more codes, one a line", nullptr},
          kAdjust,
          kAdjustDate,
          kAdjustVolume,
          kComplete,
          {"--restart", nullptr, "remove what the folder holds and begin anew", nullptr},
          {"--server-moved", nullptr, "the folder's server is this one, at a new address",
           nullptr}},
         RunExport,
         "The folder (-o) gets a file a security, kind and trading day (a file a security of bars "
         "of days and longer), as csv or jsonl, or one database data.sqlite with -f sqlite. Its "
         "manifest.json says what is complete. The same command, also with other securities, kinds "
         "or days, fetches what is missing; interrupted, it goes on where it stopped. Days without "
         "data are remembered as such once they are a week old. A day that is not over at the "
         "exchange is written and asked for again the next time. Kinds that a security does not "
         "have are passed over. Adjusted and completed bars stand in folders of their own, such "
         "as bars_5m_complete. What --server, --format, --columns, --raw, --tz and --price-unit "
         "say must stay the same; --restart removes what was exported and begins anew.",
         "qrx export SH SZ --kinds ticks,bars_1m --from 20240102 --to 20240131 "
         "-o market\n"
         "qrx export --codes-from codes.txt --kinds bars_d --from 20200101 --to today -f sqlite "
         "-o daily"},
        {"doctor",
         "say whether the server can be reached, and how fast it is",
         {{"CODE", false, "security to fetch for the speed (default: one with data)"}},
         {{"--date", "DATE", "trading day to fetch (default: the latest with data)", nullptr}},
         RunDoctor,
         "Goes from the settings over the network, the proxy, the password and the markets to a "
         "measured request: a line a step, and what to do where one fails. The exit code is that "
         "of the step that failed.",
         "qrx doctor\nqrx doctor --server other.example.com:7700 --timeout 5",
         Command::OwnSettings},
        {"pages",
         "write the manual pages and the completions of shells",
         {{"FOLDER", true, "folder to write them to"}},
         {},
         RunPages,
         "",
         "",
         Command::OwnSettings | Command::Hidden}};
    return kCommands;
}

std::span<const GroupRow> Groups() {
    static const GroupRow kGroups[] = {{"formula", "store, list, delete and evaluate formulas"}};
    return kGroups;
}

std::span<const char* const> AboutSettings() {
    static constexpr const char* kParagraphs[] = {
        "Settings come from options, then from the environment (QRX_SERVER, QRX_USER, "
        "QRX_PASSWORD, QRX_PROXY_PASSWORD, and so on for every connection option), then from the "
        "file ~/.config/qrx/config or $QRX_CONFIG: lines of \"key = value\" with the options' "
        "names "
        "without dashes, and \"password\" and \"proxy-password\". Nobody but you may read the file "
        "(chmod 600). A password is never an argument."};
    return kParagraphs;
}

std::span<const char* const> AboutOutput() {
    static constexpr const char* kParagraphs[] = {
        "A file appears when it is complete, or keeps what it was. In SQLite each kind of record "
        "is a table (ticks, ticks_book, bars_5m, ...) that is made or extended in one transaction; "
        "new rows take the place of all that the security had on the days that were asked for, so "
        "that a command may be repeated.",
        "Times are the exchange's. With --tz, dates and times of rows are shown in another zone, "
        "and the date follows the time over midnight; bars of days and longer keep their day. "
        "--from, --to, --begin and --end stay the exchange's."};
    return kParagraphs;
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
