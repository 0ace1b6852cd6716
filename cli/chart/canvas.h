// A rectangle of terminal cells, each with one glyph and one colour, and what a cell can show: the
// four quarters of a block, a thin or heavy line in either half, an eighth of a column.
#ifndef QRX_CLI_CHART_CANVAS_H
#define QRX_CLI_CHART_CANVAS_H

#include <string>
#include <string_view>
#include <vector>

namespace qrx::cli::chart {

enum class Colour { None, Axis, Rise, Fall, Line1, Line2, Line3, Line4 };

class Canvas {
public:
    Canvas(int nRows, int nColumns);

    int Rows() const { return m_nRows; }
    int Columns() const { return m_nColumns; }
    // A glyph takes one column. Outside the rectangle nothing happens.
    void Set(int nRow, int nColumn, std::string_view glyph, Colour colour);
    // One character a cell, cut at the right edge.
    void Text(int nRow, int nColumn, std::string_view ascii, Colour colour);
    // Without the blanks at its end, and without a line end.
    std::string Line(int nRow, bool bColour) const;

private:
    struct Cell {
        std::string_view glyph = " ";  // of a literal, or one character of m_strAscii
        Colour colour = Colour::None;
    };
    int m_nRows;
    int m_nColumns;
    std::vector<Cell> m_vecCells;
};

// Text in a colour; as it is with Colour::None or without colours.
std::string Coloured(std::string_view text, Colour colour, bool bColour);

}  // namespace qrx::cli::chart

#endif
