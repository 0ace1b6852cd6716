// The columns of every public record, and where in the record each one lies: from the one table of
// fields in share/fields.def.
#ifndef QRX_CLI_OUTPUT_COLUMNS_H
#define QRX_CLI_OUTPUT_COLUMNS_H

#include <qrx/qrx.h>

#include <vector>

#include "output/cell.h"

namespace qrx::cli {

struct RecordColumn : Column {
    size_t nOffset = 0;  // bytes from the record's begin
    size_t nBytes = 0;   // of the integer: 1, 4 or 8; of a text: its width
};

// Defined for the records below: QRXDefine_Tick, _TickAB, _Transaction, _Order, _OrderQueue,
// _KLine, _Future and _FutureAB.
template <class Record>
const std::vector<RecordColumn>& ColumnsOf();

// Reads the column's value from a record.
Cell LoadCell(const RecordColumn& column, const char* pRecord);

}  // namespace qrx::cli

#endif
