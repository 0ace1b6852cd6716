// A column: one double a row, defined from some row on. What stands before is never read.
#ifndef QRX_SERVER_FORMULA_COLUMN_H
#define QRX_SERVER_FORMULA_COLUMN_H

#include <cmath>
#include <cstddef>

namespace qrx::server::formula {

struct ColumnView {
    const double* pCells;
    size_t nRows;
    size_t nStart;  // first defined row; nRows: there is none
};

// What counts as true: neither 0 nor the outcome of 0/0.
inline bool IsTrue(double f) {
    return f != 0 && !std::isnan(f);
}

}  // namespace qrx::server::formula

#endif
