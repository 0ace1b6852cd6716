// See the header.
#include "chart/canvas.h"

#include <array>

namespace qrx::cli::chart {
namespace {

// One string_view of static life for every ASCII character.
std::string_view OneCharacter(char ch) {
    static const std::array<char, 128> kAll = [] {
        std::array<char, 128> all{};
        for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i);
        return all;
    }();
    const auto n = static_cast<unsigned char>(ch);
    return {kAll.data() + (n < kAll.size() ? n : '?'), 1};
}

const char* Escape(Colour colour) {
    switch (colour) {
        case Colour::None:
            return "";
        case Colour::Axis:
            return "\033[90m";
        case Colour::Rise:
            return "\033[31m";
        case Colour::Fall:
            return "\033[32m";
        case Colour::Line1:
            return "\033[33m";
        case Colour::Line2:
            return "\033[36m";
        case Colour::Line3:
            return "\033[35m";
        case Colour::Line4:
            return "\033[34m";
    }
    return "";
}

}  // namespace

std::string Coloured(std::string_view text, Colour colour, bool bColour) {
    if (!bColour || colour == Colour::None || text.empty()) return std::string(text);
    return Escape(colour) + std::string(text) + "\033[0m";
}

Canvas::Canvas(int nRows, int nColumns)
    : m_nRows(nRows),
      m_nColumns(nColumns),
      m_vecCells(static_cast<size_t>(nRows) * static_cast<size_t>(nColumns)) {}

void Canvas::Set(int nRow, int nColumn, std::string_view glyph, Colour colour) {
    if (nRow < 0 || nRow >= m_nRows || nColumn < 0 || nColumn >= m_nColumns) return;
    m_vecCells[static_cast<size_t>(nRow * m_nColumns + nColumn)] = {glyph, colour};
}

void Canvas::Text(int nRow, int nColumn, std::string_view ascii, Colour colour) {
    for (const char ch : ascii) Set(nRow, nColumn++, OneCharacter(ch), colour);
}

std::string Canvas::Line(int nRow, bool bColour) const {
    const Cell* pCells = m_vecCells.data() + static_cast<size_t>(nRow * m_nColumns);
    int nEnd = m_nColumns;
    while (nEnd > 0 && pCells[nEnd - 1].glyph == " ") --nEnd;
    std::string strLine;
    for (int i = 0; i < nEnd;) {
        const Colour colour = pCells[i].colour;
        std::string strRun;
        for (; i < nEnd && (pCells[i].colour == colour); ++i) strRun += pCells[i].glyph;
        strLine += Coloured(strRun, colour, bColour);
    }
    return strLine;
}

}  // namespace qrx::cli::chart
