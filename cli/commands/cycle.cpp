// See the header.
#include "commands/cycle.h"

#include "app/failure.h"

namespace qrx::cli {
namespace {

struct Unit {
    const char* szName;
    CYCTYPE nType;
    int nMost;
};
constexpr int kMany = 1000;
constexpr Unit kUnits[] = {{"s", CYC_SECOND, 60},         {"m", CYC_MINUTE, 120},
                           {"d", CYC_DAY, kMany},         {"w", CYC_WEEK, kMany},
                           {"month", CYC_MONTH, kMany},   {"quarter", CYC_QUARTER, kMany},
                           {"half", CYC_HALFYEAR, kMany}, {"y", CYC_YEAR, kMany}};

}  // namespace

std::string Cycle::Text() const {
    for (const Unit& unit : kUnits) {
        if (unit.nType != nType) continue;
        return (Intraday() || nCount > 1 ? std::to_string(nCount) : "") + unit.szName;
    }
    return {};
}

Cycle ParseCycle(const std::string& strText, const std::string& strOption) {
    size_t nDigits = 0;
    int nCount = 0;
    for (; nDigits < strText.size() && strText[nDigits] >= '0' && strText[nDigits] <= '9';
         ++nDigits) {
        if (nCount <= kMany) nCount = nCount * 10 + (strText[nDigits] - '0');
    }
    if (nDigits == 0) nCount = 1;
    for (const Unit& unit : kUnits) {
        if (strText.substr(nDigits) != unit.szName) continue;
        if (nCount < 1 || nCount > unit.nMost) {
            RefuseUsage(strOption + ": " + strText + " is out of range; write 1" + unit.szName +
                        " to " + std::to_string(unit.nMost) + unit.szName);
        }
        return {unit.nType, nCount};
    }
    RefuseUsage(strOption + ": \"" + strText +
                "\" is no cycle; write one such as 30s, 1m, 5m, d, w, month, quarter, half or y");
}

}  // namespace qrx::cli
