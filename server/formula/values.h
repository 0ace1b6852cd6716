// Columns and numbers as the interpreter's values: how functions written in C++ take them and give
// columns back. For the files that build the language; see its header, and the sandbox's for what
// such functions must not do.
#ifndef QRX_SERVER_FORMULA_VALUES_H
#define QRX_SERVER_FORMULA_VALUES_H

#include <lua.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "formula/column.h"

namespace qrx::server::formula {

// A column as it lies in its userdata; the cells follow.
struct Column {
    size_t nRows;
    size_t nStart;
    double* Cells() { return reinterpret_cast<double*>(this + 1); }
    ColumnView View() { return {Cells(), nRows, nStart}; }
};
static_assert(sizeof(Column) % alignof(double) == 0);

// The column at an index of the stack, else null. No userdata but columns exist in a sandbox.
inline Column* ToColumn(lua_State* L, int nIndex) {
    return static_cast<Column*>(lua_touserdata(L, nIndex));
}

// Pushes a new one, its cells as they come. Work on it counts nCost times a sum's.
Column* NewColumn(lua_State* L, size_t nRows, size_t nStart, uint64_t nCost = 1);

// Takes the table on the top of the stack for what columns know of operators.
void SetColumnMetatable(lua_State* L);

// What stands for a column in an operation row by row: a column, or one value for all rows.
struct Operand {
    Column* pColumn = nullptr;  // null: the value
    double f = 0;
    size_t Start() const { return pColumn != nullptr ? pColumn->nStart : 0; }
    const double* Cells() const { return pColumn != nullptr ? pColumn->Cells() : nullptr; }
};

// A column, a number, or a truth as 1 or 0; false for anything else.
bool ToOperand(lua_State* L, int nIndex, Operand& operand);

// "column", "nil", "table", ...
const char* TypeName(lua_State* L, int nIndex);

template <class Operation>
void Apply(const Operand& a, const Operand& b, Column* pOut, Operation operation) {
    const size_t nRows = pOut->nRows;
    double* pCells = pOut->Cells();
    if (a.pColumn != nullptr && b.pColumn != nullptr) {
        const double *pA = a.Cells(), *pB = b.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(pA[i], pB[i]);
    } else if (a.pColumn != nullptr) {
        const double* pA = a.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(pA[i], b.f);
    } else {
        const double* pB = b.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(a.f, pB[i]);
    }
}

// Pushes the result; at least one of the two is a column.
template <class Operation>
void PushApplied(lua_State* L, const Operand& a, const Operand& b, Operation operation) {
    const size_t nRows = (a.pColumn != nullptr ? a : b).pColumn->nRows;
    Apply(a, b, NewColumn(L, nRows, std::max(a.Start(), b.Start())), operation);
}

}  // namespace qrx::server::formula

#endif
