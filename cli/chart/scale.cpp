// See the header.
#include "chart/scale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qrx::cli::chart {
namespace {

constexpr double kRowsBetween = 2;  // from label to label, about

// 1, 2 or 5 times a power of ten, at least f and at least one unit.
double RoundStep(double f) {
    double fPower = 1;
    while (fPower * 10 <= f) fPower *= 10;
    for (const int n : {1, 2, 5}) {
        if (n * fPower >= f) return n * fPower;
    }
    return 10 * fPower;
}

std::string Number(double f, int nDigits, int nDecimals) {
    char szText[64];
    snprintf(szText, sizeof szText, "%.*f", nDecimals,
             f / std::pow(10, nDigits) + 0.0);  // never "-0"
    return szText;
}

}  // namespace

// A pane without any height of values gets a little, so that its line lies in the middle.
Scale::Scale(double fLow, double fHigh, int nRows)
    : m_fLow(fLow < fHigh ? fLow : fLow - 1),
      m_fHigh(fLow < fHigh ? fHigh : fLow + 1),
      m_nRows(nRows) {}

int Scale::Half(double f) const {
    const int nLast = 2 * m_nRows - 1;
    const double fHalf = std::round((m_fHigh - f) / (m_fHigh - m_fLow) * nLast);
    return static_cast<int>(std::clamp(fHalf, 0.0, static_cast<double>(nLast)));
}

std::vector<Label> AxisLabels(const Scale& scale, int nDigits) {
    const double fStep =
        RoundStep((scale.High() - scale.Low()) * kRowsBetween / std::max(1, scale.Rows() - 1));
    int nDecimals = nDigits;  // as many as the step has
    for (double f = fStep; nDecimals > 0 && std::fmod(f, 10) == 0; f /= 10) --nDecimals;
    std::vector<Label> vecLabels;
    for (double f = std::ceil(scale.Low() / fStep) * fStep; f <= scale.High(); f += fStep) {
        vecLabels.push_back({scale.Row(f), Number(f, nDigits, nDecimals)});
    }
    if (vecLabels.empty()) {  // none is that round: the middle as it is
        const double f = std::round((scale.Low() + scale.High()) / 2);
        vecLabels.push_back({scale.Row(f), Number(f, nDigits, nDigits)});
    }
    return vecLabels;
}

std::string ShortNumber(int64_t n) {
    const char* szUnit = "";
    auto f = static_cast<double>(n);
    for (const char* szNext : {"K", "M", "G", "T"}) {
        if (f < 999.5) break;
        f /= 1000;
        szUnit = szNext;
    }
    const int nDecimals = *szUnit == '\0' || f >= 99.95 ? 0 : f >= 9.995 ? 1 : 2;
    std::string strText = Number(f, 0, nDecimals);
    if (nDecimals > 0) {
        strText.erase(strText.find_last_not_of('0') + 1);
        if (strText.back() == '.') strText.pop_back();
    }
    return strText + szUnit;
}

}  // namespace qrx::cli::chart
