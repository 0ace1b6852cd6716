// What the scripted server answers to a calculation of a formula.
#ifndef QRX_TESTS_CLI_CALCULATED_H
#define QRX_TESTS_CLI_CALCULATED_H

#include <cstring>
#include <string>
#include <vector>

#include "codec/integer.h"
#include "codec/wire.h"
#include "support/scripted_server.h"

namespace qrx::test {

struct Calculated {
    struct Column {
        std::string strName;
        std::vector<int> vecValues;  // of the last rows
    };
    std::vector<int> vecDates;
    std::vector<int> vecTimes;  // milliseconds of bars of minutes, each on a day of its own
    std::vector<Column> vecColumns;

    std::string Answer() const {
        ZPMDefine_CalcFormula_Head head{};
        memcpy(head.chCode, "600000", 6);
        memcpy(head.chMarket, "SH", 2);
        head.nTimeUnit = vecTimes.empty() ? 0 : 1;
        head.nFlags = vecTimes.empty() ? 0 : 2;
        head.nColumns = static_cast<int>(vecColumns.size());
        std::string strBody = Bytes(head);
        char bytes[16];
        const auto put = [&](int nBytes) { strBody.append(bytes, static_cast<size_t>(nBytes)); };
        const auto nRows = static_cast<int>(vecDates.size());
        put(compressData32(bytes, nRows));
        for (size_t i = 0; i < vecDates.size(); ++i) {
            put(compressData32(bytes, vecDates[i] - (i > 0 ? vecDates[i - 1] : 19900101)));
        }
        for (const int nTime : vecTimes) put(compressData32(bytes, nTime));
        for (const Column& column : vecColumns) {
            const auto nValues = static_cast<int>(column.vecValues.size());
            strBody += static_cast<char>(column.strName.size()) + column.strName;
            for (const int nRow : {nRows - nValues, nRows - 1}) put(compressData32(bytes, nRow));
            int nBefore = 0;
            for (const int nValue : column.vecValues) {
                put(compressData(nValue - nBefore, bytes));
                nBefore = nValue;
            }
        }
        return strBody;
    }
};

}  // namespace qrx::test

#endif
