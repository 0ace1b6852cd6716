// The answer to a calculation: a head, and columns as one stream of variable-length integers.
//
//   head | rows | rows date steps | [rows time steps] | each indicator: length byte, name, first
//   row, last row, steps of its cells from the first row to the last
//
// A pure function. Whatever the bytes are, it reads nothing outside them and writes nothing outside
// the result; only a column whose last row is not the answer's stops the process.
#ifndef QRX_FORMULA_CALC_DECODE_H
#define QRX_FORMULA_CALC_DECODE_H

#include <qrx/formula.h>

#include <cstddef>

namespace qrx::formula {

// nLen bytes of a packet body. Overwrites the result without releasing what it held. 0 with
// nFieldCount columns that QRX_ReleaseCalcFormula releases; otherwise -3 or -4 with none, both
// counts 0, and the codes filled as far as there was a head.
int DecodeCalcAnswer(const char* pBody, size_t nLen, QRXDefine_CalcFormulaRes* pResult);

}  // namespace qrx::formula

#endif
