// See the header.
#include "grids/broken_rule.h"

#include <cstdio>

namespace qrx {

std::string BrokenRule(int nDay, int nRecord, int nTime, const char* szRule) {
    char szText[256];
    const int nYear = nDay / 10000, nMonth = nDay / 100 % 100, nDayOfMonth = nDay % 100;
    if (nRecord < 0) {
        snprintf(szText, sizeof szText, "%04d-%02d-%02d: %s", nYear, nMonth, nDayOfMonth, szRule);
    } else {
        snprintf(szText, sizeof szText, "%04d-%02d-%02d, record %d at %02d:%02d:%02d.%03d: %s",
                 nYear, nMonth, nDayOfMonth, nRecord + 1, nTime / 10000000, nTime / 100000 % 100,
                 nTime / 1000 % 100, nTime % 1000, szRule);
    }
    return szText;
}

}  // namespace qrx
