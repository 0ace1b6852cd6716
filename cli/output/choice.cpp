// See the header.
#include "output/choice.h"

#include <charconv>

#include "app/failure.h"

namespace qrx::cli {
namespace {

std::string FormatOf(const Arguments& arguments) {
    if (arguments.Has("--format")) return arguments.Get("--format");
    struct Ending {
        const char* szEnding;
        const char* szFormat;
    };
    const std::string strFile = arguments.Get("--output");
    for (const Ending& row : {Ending{".csv", "csv"},
                              {".jsonl", "jsonl"},
                              {".sqlite", "sqlite"},
                              {".sqlite3", "sqlite"},
                              {".db", "sqlite"}}) {
        if (strFile.ends_with(row.szEnding)) return row.szFormat;
    }
    for (const char* szEnding : {".json", ".xlsx", ".xls", ".parquet", ".feather", ".tsv"}) {
        if (!strFile.ends_with(szEnding)) continue;
        RefuseUsage(std::string("-o: no rows are written as ") + szEnding +
                    "; name the file such as x.csv, x.jsonl or x.sqlite, or give --format");
    }
    return "table";
}

int64_t ParseLimit(const std::string& strText) {
    int64_t nLimit = 0;
    const char* pEnd = strText.data() + strText.size();
    const auto [p, error] = std::from_chars(strText.data(), pEnd, nLimit);
    if (error != std::errc() || p != pEnd || nLimit < 1) {
        RefuseUsage("--limit: \"" + strText + "\" is no number of rows, such as 100");
    }
    return nLimit;
}

}  // namespace

OutputChoice ReadOutputChoice(const Arguments& arguments, int nPriceDigits) {
    OutputChoice choice;
    choice.strFormat = FormatOf(arguments);
    choice.strFile = arguments.Get("--output") == "-" ? "" : arguments.Get("--output");
    choice.strColumns = arguments.Get("--columns");
    choice.style.bRaw = arguments.Has("--raw");
    choice.style.nPriceDigits = nPriceDigits;
    if (choice.strFormat == "sqlite" && choice.strFile.empty()) {
        RefuseUsage("-f sqlite goes with a file, such as -o market.sqlite");
    }
    if (arguments.Has("--tz")) {
        if (choice.style.bRaw) {
            RefuseUsage("--tz changes what --raw leaves as it was sent; give one of them");
        }
        choice.zone.emplace(arguments.Get("--tz"));
    }
    if (arguments.Has("--limit")) choice.nLimit = ParseLimit(arguments.Get("--limit"));
    return choice;
}

}  // namespace qrx::cli
