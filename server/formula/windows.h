// Windows that slide over a column at a cost that does not depend on their width.
//
// Nothing is ever taken out of a running total again: rows are cut into blocks as long as the
// window, and each window is the end of one block joined with the begin of the next. Totals have
// the rounding of a plain loop after a million rows, too, and what is not finite spoils only the
// windows that hold it.
//
// Sum is what is known of some neighbouring rows: Sum::Of(value, row), and Join(older, newer).
#ifndef QRX_SERVER_FORMULA_WINDOWS_H
#define QRX_SERVER_FORMULA_WINDOWS_H

#include <algorithm>
#include <memory_resource>
#include <vector>

#include "formula/column.h"

namespace qrx::server::formula {

// Calls emit(row, sum of the nWindow rows that end there) for each row that has so many; returns
// the first such row, or nRows.
template <class Sum, class Emit>
size_t Slide(const ColumnView& in, size_t nWindow, std::pmr::memory_resource& scratch, Emit emit) {
    if (nWindow > in.nRows - in.nStart) return in.nRows;
    // [j]: rows j and later of the block before
    std::pmr::vector<Sum> vecEnds(nWindow, &scratch);
    std::pmr::vector<Sum> vecNextEnds(nWindow, &scratch);
    for (size_t nBlock = in.nStart; nBlock < in.nRows; nBlock += nWindow) {
        const size_t nBlockRows = std::min(nWindow, in.nRows - nBlock);
        const bool bMore = nBlock + nBlockRows < in.nRows;
        const auto one = [&](size_t j) { return Sum::Of(in.pCells[nBlock + j], nBlock + j); };
        Sum begin{};
        Sum end{};
        // Upwards and downwards in one loop: a processor works on both chains of sums at a time.
        for (size_t j = 0; j < nBlockRows; ++j) {
            begin = j == 0 ? one(j) : Join(begin, one(j));
            if (j + 1 == nWindow) {
                emit(nBlock + j, begin);
            } else if (nBlock != in.nStart) {
                emit(nBlock + j, Join(vecEnds[j + 1], begin));
            }
            if (bMore) {
                const size_t nDown = nBlockRows - 1 - j;
                end = j == 0 ? one(nDown) : Join(one(nDown), end);
                vecNextEnds[nDown] = end;
            }
        }
        vecEnds.swap(vecNextEnds);
    }
    return in.nStart + nWindow - 1;
}

// The same for windows that begin with the first defined row.
template <class Sum, class Emit>
size_t Grow(const ColumnView& in, Emit emit) {
    Sum sum{};
    for (size_t i = in.nStart; i < in.nRows; ++i) {
        const Sum one = Sum::Of(in.pCells[i], i);
        sum = i == in.nStart ? one : Join(sum, one);
        emit(i, sum);
    }
    return in.nStart;
}

}  // namespace qrx::server::formula

#endif
