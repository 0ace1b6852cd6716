// From values to rows of a pane, and the round values that an axis names.
#ifndef QRX_CLI_CHART_SCALE_H
#define QRX_CLI_CHART_SCALE_H

#include <cstdint>
#include <string>
#include <vector>

namespace qrx::cli::chart {

// The values from fLow to fHigh over the half rows of a pane; 0 is the upper half of the top row.
class Scale {
public:
    Scale(double fLow, double fHigh, int nRows);

    double Low() const { return m_fLow; }
    double High() const { return m_fHigh; }
    int Rows() const { return m_nRows; }
    int Half(double f) const;
    int Row(double f) const { return Half(f) / 2; }

private:
    double m_fLow;
    double m_fHigh;
    int m_nRows;
};

struct Label {
    int nRow;
    std::string strText;
};

// Labels at multiples of 1, 2 or 5 times a power of ten, two rows or more apart, at least one. A
// value of 10^nDigits reads 1.
std::vector<Label> AxisLabels(const Scale& scale, int nDigits);

// Few characters: 950, 12.3K, 4.56M, 1.2G.
std::string ShortNumber(int64_t n);

}  // namespace qrx::cli::chart

#endif
