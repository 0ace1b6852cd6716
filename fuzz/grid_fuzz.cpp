// Bars and snapshots that the shared checks let pass can be completed: no assertion stops the
// process, and every grid has its number of points. What the checks refuse is not completed here.
#include <qrx/qrx.h>

#include <vector>

#include "futures/completion.h"
#include "grids/grid_check.h"
#include "input.h"
#include "kline/align.h"
#include "support/result_memory.h"

namespace {

using qrx::fuzz::Input;
using qrx::fuzz::Must;

constexpr const char* kCodes[][2] = {{"SH", "600000"},  {"CF", "IF1701"},  {"SHF", "au1706"},
                                     {"SHF", "cu1701"}, {"SHF", "ru1705"}, {"SHF", "wr1701"},
                                     {"CZC", "SR705"},  {"DCE", "j1705"},  {"DCE", "a1705"}};
constexpr int kDates[] = {20130705, 20130708, 20140605, 20141214, 20141215, 20141229,
                          20170102, 20170103, 20170106, 20170107, 20170109};
constexpr int kTimes[] = {0,         23000000,  85500000,  90000000,  91459999,  93000000,
                          101500000, 113000000, 113000500, 133000000, 145959500, 150000000,
                          151500000, 205500000, 210000000, 235959500};

int SomeDate(Input& input) {
    return input.Below(16) == 0 ? input.Take<int>()
                                : kDates[input.Below(static_cast<int>(std::size(kDates)))];
}
int SomeTime(Input& input) {
    if (input.Below(16) == 0) return input.Take<int>();
    const int nTime = kTimes[input.Below(static_cast<int>(std::size(kTimes)))];
    return nTime + input.Below(3) * (input.Below(2) == 0 ? 60000 : 500);
}

template <class T>
std::vector<T> SomeRecords(Input& input, bool bOneDay) {
    std::vector<T> records;
    const int nDate = SomeDate(input);
    for (int n = 1 + input.Below(30); n > 0; --n) {
        T record{};
        record.nDate = bOneDay && input.Below(8) != 0 ? nDate : SomeDate(input);
        record.nTime = SomeTime(input);
        record.iVolume = input.Take<uint8_t>();
        records.push_back(record);
    }
    return records;
}

void Bars(Input& input) {
    const auto& [szMarket, szCode] = kCodes[input.Below(static_cast<int>(std::size(kCodes)))];
    auto bars = SomeRecords<QRXDefine_KLine>(input, false);
    const qrx::GridRow* pRow = qrx::FindGridRow(szMarket, szCode);
    const auto verdict = qrx::CheckGridConditions(pRow, bars.data(), static_cast<int>(bars.size()));
    if (verdict.nFault != qrx::GridFault::kNone) return;
    QRXDefine_ReqKLine request{};
    request.nCycType = input.Below(2);
    request.nCycDef = input.Below(130);
    request.nBeginDate = bars[0].nDate;
    MarketDataSource::KLineArray aligned(nullptr, 0);
    const int nResult = qrx::AlignBars(*pRow, aligned, {bars.data(), static_cast<int>(bars.size())},
                                       &request, [](QRXDefine_KLine&) { return QRX_ERR_NO_DATA; });
    Must(nResult == QRX_OK && aligned.second > 0, "bars were not completed");
    qrx::FreeResult(aligned.first);
}

template <class T>
void Snapshots(Input& input) {
    const auto& [szMarket, szCode] =
        kCodes[1 + input.Below(static_cast<int>(std::size(kCodes)) - 1)];
    const auto records = SomeRecords<T>(input, true);
    const int nDate = records[0].nDate;
    const auto nCount = static_cast<int>(records.size());
    if (qrx::futures::CheckGrid(records.data(), nCount, szMarket, szCode, nDate)) return;
    auto* pDay = qrx::NewResult<T>(nCount);
    memcpy(static_cast<void*>(pDay), records.data(), records.size() * sizeof(T));
    void* pData = pDay;
    auto nItems = static_cast<unsigned>(nCount);
    const int nResult = BusinessConvertor::AutoCompleteFutureTickOneDay(
        &pData, &nItems, sizeof(T) == sizeof(QRXDefine_FutureAB), szMarket, szCode,
        static_cast<unsigned>(nDate));
    Must(nResult == QRX_OK && nItems > 0, "a day was not completed");
    qrx::FreeResult(pData);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    Input input(pData, nSize);
    switch (input.Below(8)) {
        case 0:
            Snapshots<QRXDefine_Future>(input);
            break;
        case 1:
            Snapshots<QRXDefine_FutureAB>(input);
            break;
        default:
            Bars(input);
    }
    return 0;
}
