// Volume and turnover of a day's rows: given per row, as the day's sum so far, or both; what a file
// lacks of the two is computed.
#ifndef QRX_SERVER_IMPORT_QUANTITY_H
#define QRX_SERVER_IMPORT_QUANTITY_H

#include <cstdint>
#include <string>
#include <utility>

#include "import/csv.h"

namespace qrx::server {

struct Quantity {
    int64_t nRow = 0;
    int64_t nSum = 0;
};

// How a quantity stands in the file.
struct QuantityColumns {
    int nRow = -1;
    int nSum = -1;

    QuantityColumns(const Columns& columns, const std::string& strName, bool bCumulative)
        : nRow(columns.Find(strName)), nSum(columns.Find("acc_" + strName)) {
        if (bCumulative && nSum < 0) std::swap(nRow, nSum);
    }
    // What one row lacks, from the sum before it. False when the sum falls.
    bool Complete(Quantity& quantity, int64_t nBefore) const {
        if (nSum < 0) quantity.nSum = nBefore + quantity.nRow;
        if (nRow < 0 && nSum >= 0) quantity.nRow = quantity.nSum - nBefore;
        return quantity.nRow >= 0;
    }
};

}  // namespace qrx::server

#endif
