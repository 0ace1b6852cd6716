// See the header. Sums are taken in unsigned arithmetic: a peer's numbers may wrap.
#include "formula/calc_decode.h"

#include <qrx/qrx.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "codec/bounded_reader.h"
#include "codec/wire.h"
#include "session/code_table.h"
#include "support/assertion.h"
#include "support/date_time.h"
#include "support/limits.h"
#include "support/strings.h"

static_assert(offsetof(QRXDefine_CalcFormulaRes, nRecordCount) == 64);
static_assert(offsetof(QRXDefine_CalcFormulaRes, pnFieldData) == 1472);
static_assert(sizeof(QRXDefine_CalcFormulaRes) == 1872);

namespace qrx::formula {
namespace {

constexpr int kHasTime = 0x02;
constexpr uint32_t kFirstDate = 19900101;  // the date before the first row

class CalcDecoder {
public:
    CalcDecoder(const ZPMDefine_CalcFormula_Head& head, const char* pStream, size_t nLen,
                QRXDefine_CalcFormulaRes* pResult)
        : m_head(head), m_reader(pStream, nLen), m_pResult(pResult) {}

    int Run() {
        const bool bTime = (m_head.nFlags & kHasTime) != 0;
        const int64_t nColumns = int64_t{1} + (bTime ? 1 : 0) + std::max(m_head.nColumns, 0);
        if (nColumns > QRX_FORMULA_MAX_FIELDS) return QRX_ERR_NO_DATA;
        int nRows = 0;
        if (!m_reader.Read32(nRows) || nRows <= 0) return QRX_ERR_NO_DATA;
        // All columns together are held against the memory before the first is allocated; and each
        // row takes at least one byte of the stream.
        const size_t nRowBytes = static_cast<size_t>(nColumns) * sizeof(int32_t);
        if (!limits::ResultFits(nRows, nRowBytes)) return QRX_ERR_MEMORY;
        if (m_reader.Left() < static_cast<size_t>(nRows)) return QRX_ERR_NO_DATA;
        m_nRows = nRows;
        m_pResult->nRecordCount = nRows;

        int nResult = Dates();
        if (nResult == QRX_OK && bTime) nResult = Times();
        for (int i = 0; i < m_head.nColumns && nResult == QRX_OK; ++i) nResult = Indicator();
        return nResult;
    }

private:
    // The next column: its name, and the place of its array, which is still null.
    int32_t*& AddColumn(const char* pName, size_t nNameLen) {
        const int nField = m_pResult->nFieldCount++;
        auto& chName = m_pResult->chFieldName[nField];
        FillField(chName, pName, std::min(nNameLen, sizeof chName));
        return m_pResult->pnFieldData[nField];
    }
    // Its array, not zeroed; null without memory.
    int32_t* NewColumn(const char* pName, size_t nNameLen) {
        int32_t*& pColumn = AddColumn(pName, nNameLen);
        pColumn = new (std::nothrow) int32_t[static_cast<size_t>(m_nRows)];
        return pColumn;
    }

    int Dates() {
        m_pDates = NewColumn("Date", 4);
        if (m_pDates == nullptr) return QRX_ERR_MEMORY;
        uint32_t nDate = kFirstDate;
        for (int i = 0; i < m_nRows; ++i) {
            int nStep = 0;
            if (!m_reader.Read32(nStep)) return QRX_ERR_NO_DATA;
            nDate += static_cast<uint32_t>(nStep);
            m_pDates[i] = static_cast<int32_t>(nDate);
        }
        return QRX_OK;
    }

    // The running time starts again with every date.
    int Times() {
        int32_t* const pTimes = NewColumn("Time", 4);
        if (pTimes == nullptr) return QRX_ERR_MEMORY;
        const uint32_t nUnit = m_head.nTimeUnit == 0 ? 60 : 1;
        auto nLastDate = static_cast<int32_t>(kFirstDate);
        uint32_t nTime = 0;  // ms since midnight
        for (int i = 0; i < m_nRows; ++i) {
            int nStep = 0;
            if (!m_reader.Read32(nStep)) return QRX_ERR_NO_DATA;
            if (m_pDates[i] != nLastDate) nTime = 0;
            nLastDate = m_pDates[i];
            nTime += static_cast<uint32_t>(nStep) * nUnit;
            pTimes[i] = BusinessConvertor::MiniSeconds2HHMMSSmmm(static_cast<int>(nTime));
        }
        return QRX_OK;
    }

    int Indicator() {
        size_t nNameLen = 0;
        const char* pName = m_reader.ReadText(nNameLen);
        int nStart = 0;
        int nEnd = 0;
        if (pName == nullptr || !m_reader.Read32(nStart) || !m_reader.Read32(nEnd) || nStart < 0) {
            return QRX_ERR_NO_DATA;
        }
        if (nEnd < nStart) {
            // A column without rows has no array and takes the rows away from the whole result.
            // Deliberate.
            AddColumn(pName, nNameLen);
            m_pResult->nRecordCount = 0;
            return QRX_OK;
        }
        QRX_ASSERT(nEnd + 1 == m_pResult->nRecordCount, "nEnd + 1 == pResult->nRecordCount",
                   source::kMarketDataSource);
        int32_t* const pColumn = NewColumn(pName, nNameLen);
        if (pColumn == nullptr) return QRX_ERR_MEMORY;
        memset(pColumn, 0, static_cast<size_t>(nStart) * sizeof(int32_t));
        uint32_t nCell = 0;
        for (int i = nStart; i <= nEnd; ++i) {
            long long nStep = 0;
            if (!m_reader.Read64(nStep)) return QRX_ERR_NO_DATA;
            nCell += static_cast<uint32_t>(nStep);
            pColumn[i] = static_cast<int32_t>(nCell);
        }
        return QRX_OK;
    }

    const ZPMDefine_CalcFormula_Head& m_head;
    codec::BoundedReader m_reader;
    QRXDefine_CalcFormulaRes* m_pResult;
    int m_nRows = 0;
    int32_t* m_pDates = nullptr;
};

}  // namespace

int DecodeCalcAnswer(const char* pBody, size_t nLen, QRXDefine_CalcFormulaRes* pResult) {
    *pResult = QRXDefine_CalcFormulaRes{};
    if (nLen <= sizeof(ZPMDefine_CalcFormula_Head)) return QRX_ERR_NO_DATA;
    ZPMDefine_CalcFormula_Head head;
    memcpy(&head, pBody, sizeof head);
    const std::string strVelaCode = BusinessConvertor::GetVelaCode(
        head.chCode, sizeof head.chCode, head.chMarket, sizeof head.chMarket);
    FillField(pResult->szCode, head.chCode, sizeof pResult->szCode);
    FillField(pResult->szVelaCode, strVelaCode.c_str(), sizeof pResult->szVelaCode - 1);
    const int nResult = CalcDecoder(head, pBody + sizeof head, nLen - sizeof head, pResult).Run();
    if (nResult == QRX_OK) return QRX_OK;
    for (int i = 0; i < pResult->nFieldCount; ++i) delete[] pResult->pnFieldData[i];
    memset(pResult->chFieldName, 0, sizeof pResult->chFieldName);
    memset(pResult->pnFieldData, 0, sizeof pResult->pnFieldData);
    pResult->nRecordCount = 0;
    pResult->nFieldCount = 0;
    return nResult;
}

}  // namespace qrx::formula
