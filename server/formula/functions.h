// The functions that look back over rows, as pure functions of columns. docs/formulas.md defines
// each. All take a time proportional to the rows whatever the window is (AVEDEV: to the rows and
// the logarithm of the window).
//
// Each writes the cells of its result from its first defined row on and returns that row, the
// number of rows when there is none. What memory one needs while it works it takes from scratch;
// bad_alloc when there is none.
#ifndef QRX_SERVER_FORMULA_FUNCTIONS_H
#define QRX_SERVER_FORMULA_FUNCTIONS_H

#include <cstddef>
#include <memory_resource>
#include <span>

#include "formula/column.h"

namespace qrx::server::formula {

using Scratch = std::pmr::memory_resource;

// A function of a column and a whole number.
struct WindowFunction {
    const char* szName;
    size_t (*pfn)(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch);
    size_t nLeast;       // least window; 0 stands for all rows so far, in REF for none
    unsigned nCost = 1;  // times what a sum costs
};
std::span<const WindowFunction> WindowFunctions();

// y = y' + fShare (x - y'), beginning with x: EMA and SMA. y' is the row before.
size_t Smooth(const ColumnView& in, double fShare, double* pOut);
// The same with a share for each row.
size_t SmoothBy(const ColumnView& in, const ColumnView& share, double* pOut);

// Rows since a row was last true.
size_t RowsSinceTrue(const ColumnView& in, double* pOut);

// Mean distance from the window's mean.
size_t MeanDeviation(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch);

// Mean of the window.
size_t Mean(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch);

}  // namespace qrx::server::formula

#endif
