// See the header.
#include "chart/terminal.h"

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qrx::cli::chart {
namespace {

std::string Environment(const char* szName) {
    const char* szValue = getenv(szName);
    return szValue != nullptr ? szValue : "";
}

// By the names of the locale: one that is not installed here says just as much of the terminal.
bool LocaleIsUtf8() {
    for (const char* szName : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const std::string strLocale = Environment(szName);
        if (strLocale.empty()) continue;
        return strcasestr(strLocale.c_str(), "utf-8") != nullptr ||
               strcasestr(strLocale.c_str(), "utf8") != nullptr;
    }
    return false;
}

}  // namespace

bool ShowsUnicode() {
    const std::string strTerm = Environment("TERM");
    return strTerm != "dumb" && strTerm != "linux" && LocaleIsUtf8();
}

void FitTerminal(Chart& chart, const std::string& strStyle, bool bTerminal) {
    constexpr int kMostColumns = 1000;
    constexpr int kOtherLines = 11;  // title and legend, volumes, axes, the prompt
    winsize size{};
    const bool bSize = bTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    const auto extent = [&](const char* szName, int nOfWindow, int nElse) {
        const int n = atoi(Environment(szName).c_str());
        return n > 0 ? n : bSize && nOfWindow > 0 ? nOfWindow : nElse;
    };
    chart.nWidth = std::clamp(extent("COLUMNS", size.ws_col, 80), kLeastWidth, kMostColumns);
    chart.nRows = std::clamp(extent("LINES", size.ws_row, 27) - kOtherLines, 4, 24);

    chart.bAscii = strStyle == "ascii" || (strStyle != "unicode" && !ShowsUnicode());
    chart.bColour = bTerminal && Environment("TERM") != "dumb" && Environment("NO_COLOR").empty();
}

}  // namespace qrx::cli::chart
