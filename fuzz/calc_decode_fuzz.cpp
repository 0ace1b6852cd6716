// Answers to calculations: whatever the bytes say, the decoder stays inside them and inside the
// result, and a failure leaves nothing held. The one thing that stops the process by contract, a
// column that does not end with the answer's rows, is kept out.
#include <qrx/qrx.h>

#include "codec/integer.h"
#include "codec/wire.h"
#include "formula/calc_decode.h"
#include "input.h"

namespace {

using qrx::fuzz::Input;

void Append32(std::string& str, int nValue) {
    char bytes[8];
    str.append(bytes, static_cast<size_t>(compressData32(bytes, nValue)));
}

std::string SomeBody(Input& input) {
    constexpr int kMaxRows = 50;
    auto head = input.Take<ZPMDefine_CalcFormula_Head>();
    if (input.Below(8) != 0) head.nColumns = input.Below(60);
    std::string strBody(reinterpret_cast<const char*>(&head), sizeof head);
    const int nRows = input.Below(8) == 0 ? input.Take<int>() >> 3 : input.Below(kMaxRows);
    Append32(strBody, nRows);
    if (nRows > kMaxRows || nRows < 0) return strBody + input.Bytes(kMaxRows);
    const int nSteps = nRows * ((head.nFlags & 2) != 0 ? 2 : 1);
    for (int i = 0; i < nSteps; ++i) Append32(strBody, input.Take<int16_t>());
    for (int i = 0; i < 60 && i < head.nColumns && input.Left() > 0; ++i) {
        const std::string strName = input.Bytes(static_cast<size_t>(input.Below(256)));
        strBody.push_back(static_cast<char>(strName.size()));
        strBody += strName;
        const int nStart = input.Below(nRows + 1);
        const int nEnd = input.Below(4) == 0 ? nStart - 1 : nRows - 1;
        Append32(strBody, nStart);
        Append32(strBody, nEnd);
        if (nEnd < nStart) return strBody;  // no rows from here on: any later column would stop
        for (int k = nStart; k <= nEnd; ++k) {
            char bytes[8];
            const auto nCell = input.Take<int64_t>() >> (8 + input.Below(56));  // encodable
            strBody.append(bytes, static_cast<size_t>(compressData(nCell, bytes)));
        }
    }
    return strBody.substr(0, strBody.size() - static_cast<size_t>(input.Below(4)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    Input input(pData, nSize);
    const qrx::fuzz::Body body(SomeBody(input));
    QRXDefine_CalcFormulaRes result{};
    const int nResult =
        qrx::formula::DecodeCalcAnswer(body.Get(), static_cast<size_t>(body.Length()), &result);
    qrx::fuzz::Must(nResult == QRX_OK || (result.nFieldCount == 0 && result.nRecordCount == 0),
                    "a failed answer with columns");
    int64_t nSum = 0;
    for (int i = 0; i < result.nFieldCount; ++i) {
        for (int k = 0; result.pnFieldData[i] != nullptr && k < result.nRecordCount; ++k) {
            nSum += result.pnFieldData[i][k];
        }
    }
    qrx::fuzz::Must(nSum != INT64_MIN, "every cell is readable");
    QRX_ReleaseCalcFormula(&result);
    return 0;
}
