// Columns, cells, and the text of a cell. Every output format writes the same texts.
#ifndef QRX_CLI_OUTPUT_CELL_H
#define QRX_CLI_OUTPUT_CELL_H

#include <cstdint>
#include <string>
#include <string_view>

#include "fields.h"

namespace qrx::cli {

using Kind = FieldKind;

struct Column {
    std::string strName;
    Kind kind = Kind::Text;
    bool Numeric() const {
        return kind == Kind::Price || kind == Kind::Volume || kind == Kind::Amount ||
               kind == Kind::Count || kind == Kind::Number;
    }
};

struct Cell {
    int64_t nValue = 0;
    std::string_view text{};  // of a column of kind Text; valid while its row is written
};

struct CellStyle {
    bool bRaw = false;     // integers as sent
    int nPriceDigits = 4;  // decimals of prices and amounts
};

// Appends the cell's text. A flag of 0 has none.
void AppendCell(const Column& column, const Cell& cell, const CellStyle& style, std::string& out);

}  // namespace qrx::cli

#endif
