// The layout: title and legend, candles, lines with a scale of their own, volumes, time axis. All
// panes share their columns, which begin right of the labels of the values.
#include "chart/chart.h"

#include <algorithm>
#include <limits>

#include "chart/candles.h"
#include "chart/canvas.h"
#include "chart/fit.h"
#include "chart/scale.h"
#include "chart/time_axis.h"
#include "text/encoding.h"

namespace qrx::cli::chart {
namespace {

constexpr int kVolumeRows = 3;
constexpr int kVolumeLabel = 5;  // characters, such as 12.3K
constexpr int kOwnRows = 5;      // of lines with a scale of their own

struct Extent {
    double fLow = std::numeric_limits<double>::infinity();
    double fHigh = -std::numeric_limits<double>::infinity();
    void Add(double f) {
        fLow = std::min(fLow, f);
        fHigh = std::max(fHigh, f);
    }
    void Add(const Extent& other) {
        Add(other.fLow);
        Add(other.fHigh);
    }
    bool Empty() const { return fLow > fHigh; }
};

Extent ExtentOf(const std::vector<Bar>& vecBars) {
    Extent extent;
    for (const Bar& bar : vecBars) {
        extent.Add(static_cast<double>(std::min({bar.nOpen, bar.nHigh, bar.nLow, bar.nClose})));
        extent.Add(static_cast<double>(std::max({bar.nOpen, bar.nHigh, bar.nLow, bar.nClose})));
    }
    return extent;
}

Extent ExtentOf(const Overlay& overlay) {
    Extent extent;
    for (const auto& value : overlay.vecValues) {
        if (value) extent.Add(*value);
    }
    return extent;
}

// Values within once the prices' height above and below them belong to their scale.
bool IsNear(const Extent& line, const Extent& prices) {
    const double fHeight = prices.fHigh - prices.fLow;
    return line.fLow >= prices.fLow - fHeight && line.fHigh <= prices.fHigh + fHeight;
}

std::string Ascii(const std::string& strText) {
    std::string strPlain;
    for (const char ch : strText) {
        const auto n = static_cast<unsigned char>(ch);
        if (n < 0x80) strPlain += ch;
        if (n >= 0xC0) strPlain += '?';  // once a character
    }
    return strPlain;
}

class Picture {
public:
    explicit Picture(const Chart& chart) : m_chart(chart) {}

    std::string Draw() {
        Extent prices = ExtentOf(m_chart.vecBars);
        Extent own;
        for (size_t i = 0; i < m_chart.vecOverlays.size(); ++i) {
            const Extent line = ExtentOf(m_chart.vecOverlays[i]);
            const bool bNear = line.Empty() || IsNear(line, prices);
            (bNear ? m_vecNear : m_vecFar).push_back(i);
            if (!line.Empty() && !bNear) own.Add(line);
        }
        for (const size_t i : m_vecNear) {
            const Extent line = ExtentOf(m_chart.vecOverlays[i]);
            if (!line.Empty()) prices.Add(line);
        }
        const Scale scale(prices.fLow, prices.fHigh, m_chart.nRows);
        const auto vecLabels = AxisLabels(scale, m_chart.nPriceDigits);
        const Scale ownScale = m_vecFar.empty() ? scale : Scale(own.fLow, own.fHigh, kOwnRows);
        std::vector<Label> vecOwnLabels;  // of values that are no prices: as they were sent
        if (!m_vecFar.empty()) vecOwnLabels = AxisLabels(ownScale, 0);
        for (const auto& label : vecLabels) Widen(label);
        for (const auto& label : vecOwnLabels) Widen(label);
        m_bVolume = std::any_of(m_chart.vecBars.begin(), m_chart.vecBars.end(),
                                [](const Bar& bar) { return bar.iVolume > 0; });
        if (m_bVolume) m_nLabel = std::max(m_nLabel, kVolumeLabel);

        m_nColumns = std::max(m_chart.nWidth, kLeastWidth) - m_nLabel - 2;
        m_fit = FitInto(m_chart.vecBars, m_chart.bTimes, m_nColumns);
        m_vecBars = MergeBars(m_chart.vecBars, m_fit);

        Title();
        Canvas candles(m_chart.nRows, m_nColumns);
        for (size_t i = 0; i < m_vecBars.size(); ++i) {
            DrawCandle(candles, ColumnOf(i), m_fit, m_vecBars[i], scale, m_chart.bAscii);
        }
        Lines(candles, m_vecNear, scale);
        Put(candles, vecLabels);
        if (!m_vecFar.empty()) {
            Rule();
            Canvas lines(kOwnRows, m_nColumns);
            Lines(lines, m_vecFar, ownScale);
            Put(lines, vecOwnLabels);
        }
        if (m_bVolume) Volumes();
        Times();
        return std::move(m_strOut);
    }

private:
    const char* Glyph(const char* szRich, const char* szPlain) const {
        return m_chart.bAscii ? szPlain : szRich;
    }
    void Widen(const Label& label) {
        m_nLabel = std::max(m_nLabel, static_cast<int>(label.strText.size()));
    }
    int ColumnOf(size_t nBar) const { return static_cast<int>(nBar) * m_fit.nSlot; }
    int UsedColumns() const {
        return static_cast<int>(m_vecBars.size() - 1) * m_fit.nSlot + m_fit.nWidth;
    }

    // Parts that do not fit into the line begin the next one.
    void Title() {
        struct Part {
            std::string strGlyph;
            std::string strText;
            Colour colour;
        };
        std::vector<Part> vecParts;
        for (const std::string& strText : m_chart.vecTitle) {
            vecParts.push_back({"", strText, Colour::None});
        }
        const size_t nBars = m_chart.vecBars.size();
        std::string strBars = std::to_string(nBars) + (nBars == 1 ? " bar" : " bars");
        if (m_fit.nBars > 1) {
            const bool bEach = (m_vecBars.size() - 1) * static_cast<size_t>(m_fit.nBars) < nBars;
            strBars += bEach ? ", " : ", up to ";
            strBars += std::to_string(m_fit.nBars) + " to a candle";
        }
        vecParts.push_back({"", strBars, Colour::None});
        for (const bool bRise : {true, false}) {
            vecParts.push_back({std::string(CandleGlyph(bRise, m_chart.bAscii)),
                                bRise ? " up" : " down", bRise ? Colour::Rise : Colour::Fall});
        }
        for (size_t i = 0; i < m_chart.vecOverlays.size(); ++i) {
            vecParts.push_back({std::string(LineGlyph(i, m_chart.bAscii)),
                                " " + m_chart.vecOverlays[i].strName, LineColour(i)});
        }
        size_t nUsed = 0;
        for (Part& part : vecParts) {
            if (m_chart.bAscii) part.strText = Ascii(part.strText);
            const size_t nWidth = DisplayWidth(part.strGlyph + part.strText);
            if (nUsed > 0) {
                const bool bFits = nUsed + 2 + nWidth <= static_cast<size_t>(m_chart.nWidth);
                m_strOut += bFits ? "  " : "\n";
                nUsed = bFits ? nUsed + 2 : 0;
            }
            m_strOut += Coloured(part.strGlyph, part.colour, m_chart.bColour) + part.strText;
            nUsed += nWidth;
        }
        m_strOut += "\n";
    }

    void Lines(Canvas& canvas, const std::vector<size_t>& vecOverlays, const Scale& scale) const {
        for (const size_t n : vecOverlays) {
            const auto vecValues = MergeValues(m_chart.vecOverlays[n], m_fit);
            for (size_t i = 0; i < vecValues.size() && i < m_vecBars.size(); ++i) {
                if (!vecValues[i]) continue;
                canvas.Set(scale.Row(*vecValues[i]), ColumnOf(i) + m_fit.nWidth / 2,
                           LineGlyph(n, m_chart.bAscii), LineColour(n));
            }
        }
    }

    void Axis(const std::string& strLabel, const char* szGlyph) {
        m_strOut += Coloured(
            std::string(static_cast<size_t>(m_nLabel) - strLabel.size(), ' ') + strLabel + " ",
            Colour::Axis, m_chart.bColour);
        m_strOut += Coloured(szGlyph, Colour::Axis, m_chart.bColour);
    }

    void Put(const Canvas& canvas, const std::vector<Label>& vecLabels) {
        for (int nRow = 0; nRow < canvas.Rows(); ++nRow) {
            const auto it = std::find_if(vecLabels.begin(), vecLabels.end(),
                                         [&](const Label& label) { return label.nRow == nRow; });
            const bool bLabel = it != vecLabels.end();
            Axis(bLabel ? it->strText : "", bLabel ? Glyph("┤", "+") : Glyph("│", "|"));
            m_strOut += canvas.Line(nRow, m_chart.bColour) + "\n";
        }
    }

    void Rule() {
        Axis("", Glyph("├", "+"));
        std::string strRule;
        for (int i = 0; i < UsedColumns(); ++i) strRule += Glyph("─", "-");
        m_strOut += Coloured(strRule, Colour::Axis, m_chart.bColour) + "\n";
    }

    void Volumes() {
        int64_t iMost = 0;
        for (const Bar& bar : m_vecBars) iMost = std::max(iMost, bar.iVolume);
        Rule();
        Canvas canvas(kVolumeRows, m_nColumns);
        for (size_t i = 0; i < m_vecBars.size(); ++i) {
            DrawVolume(canvas, ColumnOf(i), m_fit, m_vecBars[i], iMost, m_chart.bAscii);
        }
        Put(canvas, {{0, ShortNumber(iMost)}});
    }

    void Times() {
        const TimeAxis axis =
            MakeTimeAxis(m_vecBars, m_chart.bTimes, m_fit.nSlot, m_nColumns - m_fit.nWidth / 2);
        Canvas canvas(3, m_nColumns);
        const int nCentre = m_fit.nWidth / 2;
        for (int i = 0; i < UsedColumns(); ++i) canvas.Set(0, i, Glyph("─", "-"), Colour::Axis);
        for (const TimeLabel& label : axis.vecFine) {
            canvas.Set(0, label.nColumn + nCentre, Glyph("┬", "+"), Colour::Axis);
            canvas.Text(1, label.nColumn + nCentre, label.strText, Colour::Axis);
        }
        for (const TimeLabel& label : axis.vecCoarse) {
            canvas.Text(2, label.nColumn + nCentre, label.strText, Colour::Axis);
        }
        Axis("", Glyph("└", "+"));
        m_strOut += canvas.Line(0, m_chart.bColour) + "\n";
        const std::string strMargin(static_cast<size_t>(m_nLabel) + 2, ' ');
        for (int nRow = 1; nRow < (axis.vecCoarse.empty() ? 2 : 3); ++nRow) {
            m_strOut += strMargin + canvas.Line(nRow, m_chart.bColour) + "\n";
        }
    }

    const Chart& m_chart;
    std::vector<size_t> m_vecNear, m_vecFar;  // overlays on the prices' scale, and on their own
    bool m_bVolume = false;
    int m_nLabel = 0;    // columns of the labels of values
    int m_nColumns = 0;  // right of them
    Fit m_fit;
    std::vector<Bar> m_vecBars;  // as drawn
    std::string m_strOut;
};

}  // namespace

std::string Draw(const Chart& chart) {
    return chart.vecBars.empty() ? "" : Picture(chart).Draw();
}

}  // namespace qrx::cli::chart
