// A candle in half rows: each half of a cell holds nothing, wick or body.
#include "chart/candles.h"

#include <algorithm>

namespace qrx::cli::chart {
namespace {

enum Half { kNothing, kWick, kBody };

// A narrow candle that rises: thin wick, heavy body, every pair of halves exact.
constexpr std::string_view kLines[3][3] = {  // [upper][lower]
    {" ", "╷", "╻"},
    {"╵", "│", "╽"},
    {"╹", "╿", "┃"}};

// By upper left 1, upper right 2, lower left 4, lower right 8.
constexpr std::string_view kQuarters[16] = {" ", "▘", "▝", "▀", "▖", "▌", "▞", "▛",
                                            "▗", "▚", "▐", "▜", "▄", "▙", "▟", "█"};

class Candle {
public:
    Candle(const Bar& bar, const Scale& scale)
        : m_nHigh(scale.Half(static_cast<double>(bar.nHigh))),
          m_nLow(scale.Half(static_cast<double>(bar.nLow))),
          m_nTop(scale.Half(static_cast<double>(std::max(bar.nOpen, bar.nClose)))),
          m_nBottom(scale.Half(static_cast<double>(std::min(bar.nOpen, bar.nClose)))) {}

    int FirstRow() const { return std::min(m_nHigh, m_nTop) / 2; }
    int LastRow() const { return std::max(m_nLow, m_nBottom) / 2; }
    Half At(int nHalf) const {
        if (nHalf >= m_nTop && nHalf <= m_nBottom) return kBody;
        return nHalf >= m_nHigh && nHalf <= m_nLow ? kWick : kNothing;
    }
    bool Edge(int nHalf) const { return nHalf == m_nTop || nHalf == m_nBottom; }

private:
    int m_nHigh, m_nLow, m_nTop, m_nBottom;
};

// The cells of a body of blocks; nSide is -1, 0 or 1 across a wide one. A hollow one has its rim
// only. Where a wick shares its cell with the body, the body stands alone.
std::string_view Block(const Candle& candle, int nRow, int nSide, bool bHollow) {
    unsigned nQuarters = 0;
    for (int nHalf = 2 * nRow; nHalf <= 2 * nRow + 1; ++nHalf) {
        if (candle.At(nHalf) != kBody) continue;
        const bool bAll = !bHollow || candle.Edge(nHalf);
        const unsigned nBits = (bAll || nSide < 0 ? 1U : 0U) | (bAll || nSide > 0 ? 2U : 0U);
        nQuarters |= nBits << (nHalf % 2 == 0 ? 0 : 2);
    }
    return kQuarters[nQuarters];
}

}  // namespace

std::string_view CandleGlyph(bool bRise, bool bAscii) {
    if (bAscii) return bRise ? "o" : "#";
    return bRise ? "┃" : "█";
}

std::string_view LineGlyph(size_t n, bool bAscii) {
    static constexpr std::string_view kPlain[] = {"*", "+", "x", "~"};
    static constexpr std::string_view kRich[] = {"•", "◦", "×", "+"};
    return bAscii ? kPlain[n % 4] : kRich[n % 4];
}

Colour LineColour(size_t n) {
    static constexpr Colour kColours[] = {Colour::Line1, Colour::Line2, Colour::Line3,
                                          Colour::Line4};
    return kColours[n % 4];
}

void DrawCandle(Canvas& canvas, int nColumn, const Fit& fit, const Bar& bar, const Scale& scale,
                bool bAscii) {
    const Candle candle(bar, scale);
    const bool bRise = Rises(bar);
    const Colour colour = bRise ? Colour::Rise : Colour::Fall;
    const int nCentre = nColumn + fit.nWidth / 2;
    for (int nRow = candle.FirstRow(); nRow <= candle.LastRow(); ++nRow) {
        const Half upper = candle.At(2 * nRow);
        const Half lower = candle.At(2 * nRow + 1);
        if (upper != kBody && lower != kBody) {
            canvas.Set(nRow, nCentre, bAscii ? "|" : kLines[upper][lower], colour);
        } else if (bAscii) {
            for (int i = 0; i < fit.nWidth; ++i) {
                canvas.Set(nRow, nColumn + i, CandleGlyph(bRise, true), colour);
            }
        } else if (fit.nWidth == 1) {
            canvas.Set(nRow, nColumn, bRise ? kLines[upper][lower] : Block(candle, nRow, 0, false),
                       colour);
        } else {
            for (int nSide = -1; nSide <= 1; ++nSide) {
                canvas.Set(nRow, nCentre + nSide, Block(candle, nRow, nSide, bRise), colour);
            }
        }
    }
}

void DrawVolume(Canvas& canvas, int nColumn, const Fit& fit, const Bar& bar, int64_t iMost,
                bool bAscii) {
    static constexpr std::string_view kEighths[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    static constexpr std::string_view kPlain[] = {".", "#"};
    if (bar.iVolume <= 0 || iMost <= 0) return;
    const int nSteps = bAscii ? 2 : 8;
    const double fHeight =
        static_cast<double>(bar.iVolume) / static_cast<double>(iMost) * (canvas.Rows() * nSteps);
    int nLeft = std::max(1, static_cast<int>(fHeight + 0.5));
    for (int nRow = canvas.Rows() - 1; nRow >= 0 && nLeft > 0; --nRow, nLeft -= nSteps) {
        const int nLevel = std::min(nLeft, nSteps) - 1;
        for (int i = 0; i < fit.nWidth; ++i) {
            canvas.Set(nRow, nColumn + i, bAscii ? kPlain[nLevel] : kEighths[nLevel],
                       Rises(bar) ? Colour::Rise : Colour::Fall);
        }
    }
}

}  // namespace qrx::cli::chart
