// When records are due, and what they say; see the header.
#include "simulate/recorder.h"

#include <algorithm>

namespace qrx::simulate {
namespace {

constexpr int kTickGap = 3000;     // ms
constexpr int kSnapshotGap = 500;  // ms

constexpr char SideChar(Side side) {
    return side == Side::kAsk ? 'S' : 'B';
}

// Record by record, level by level: the arrays of a packed record cannot be passed on as arrays.
template <class Record>
void CopyLevels(const OrderBook& book, Record& record) {
    constexpr size_t kLevels = sizeof record.nBook1 / sizeof(int32_t);
    size_t i = 0;
    for (const auto& [nKey, level] : book.LevelsOf(Side::kAsk)) {
        if (i == kLevels) break;
        record.nBook1[i] = level.nPrice;
        record.nBook2[i++] = static_cast<int32_t>(level.nVolume);
    }
    i = 0;
    for (const auto& [nKey, level] : book.LevelsOf(Side::kBid)) {
        if (i == kLevels) break;
        record.nBook3[i] = level.nPrice;
        record.nBook4[i++] = static_cast<int32_t>(level.nVolume);
    }
}

int AveragePrice(const OrderBook& book, Side side) {
    return book.Empty(side) ? 0 : static_cast<int>(book.Value(side) / book.Volume(side));
}

}  // namespace

void Recorder::BeginSegment(const Segment& segment) {
    m_segment = segment;
    m_nNextTick = segment.nBegin + kTickGap;
    m_nDirtyUntil = -1;
}

void Recorder::PreOpen() {
    if (m_segment.nPreOpen >= 0) EmitSnapshot(m_segment.nPreOpen, 0);
    m_nDirtyUntil = -1;
}

void Recorder::Advance(int nMs) {
    if (m_instrument.IsStock()) {
        for (; m_nNextTick <= nMs; m_nNextTick += kTickGap) EmitTick(m_nNextTick);
    } else if (m_nDirtyUntil >= 0 && m_nDirtyUntil <= nMs) {
        EmitSnapshot(m_nDirtyUntil, 0);
        m_nDirtyUntil = -1;
    }
}

void Recorder::EndSegment(bool bLast) {
    if (m_instrument.IsStock()) {
        Advance(m_segment.nEnd);  // a whole number of gaps after the begin
    } else {
        Advance(m_segment.nEnd - 1);
        EmitSnapshot(m_segment.nEnd, bLast ? SettleSoFar() : 0);
    }
}

void Recorder::Finish() {
    m_day.vecMinutes = m_tally.TakeMinutes();
    m_day.daily = m_tally.Total();
    m_day.daily.nDate = m_day.nTradingDay;
    m_day.nSettle = m_instrument.IsContract() ? SettleSoFar() : 0;
}

int Recorder::SettleSoFar() const {
    const int64_t nUnits = m_tally.Total().iVolume * m_instrument.nMultiplier;
    const int64_t nAverage = nUnits == 0 ? 0 : m_tally.Total().iTurnover / nUnits;
    return static_cast<int>(nAverage / m_instrument.nTick * m_instrument.nTick);
}

void Recorder::Order(int nMs, int nNumber, int8_t chKind, Side side, int nPrice, int nVolume) {
    ZPMDefine_Order_v2 record = {};
    record.nTime = StampOf(m_segment, nMs).nTime;
    record.nOrderField = nNumber;
    record.nIndex = static_cast<int32_t>(m_day.vecOrders.size() + 1);
    record.chFlag1 = chKind;
    record.chFlag2 = SideChar(side);
    record.nOrderValue1 = nPrice;
    record.nOrderValue2 = nVolume;
    m_day.vecOrders.push_back(record);
    m_nDirtyUntil = (nMs / kSnapshotGap + 1) * kSnapshotGap;
}

void Recorder::Trade(int nMs, const Fill& fill, Side taker, bool bMarketOrder, int nInterest) {
    ZPMDefine_Transaction_v2 record = {};
    record.nTime = StampOf(m_segment, nMs).nTime;
    record.nIndex = static_cast<int32_t>(m_day.vecTrades.size() + 1);
    record.chFlag2 = bMarketOrder ? kMarketOrder : int8_t{0};
    record.chFlag3 = SideChar(taker);
    record.nTradeValue[0] = fill.nPrice;
    record.nTradeValue[1] = fill.nVolume;
    record.nTradeValue[2] = fill.nAskOrder;
    record.nTradeValue4 = fill.nBidOrder;
    m_day.vecTrades.push_back(record);

    m_nInterest = nInterest;
    m_chLastTaker = SideChar(taker);
    const int64_t iTurnover = int64_t{fill.nPrice} * fill.nVolume * m_instrument.nMultiplier;
    m_tally.Add(m_segment, nMs, fill.nPrice, fill.nVolume, iTurnover, 1, nInterest);
}

void Recorder::EmitTick(int nMs) {
    const Stamp stamp = StampOf(m_segment, nMs);
    const ZPMDefine_KData& total = m_tally.Total();
    ZPMDefine_Tick_AB_Night record = {};
    record.nDate = stamp.nDate;
    record.nTime = stamp.nTime;
    record.nPrice = total.nClose;
    record.iVolume = total.iVolume - m_iSentVolume;
    record.iTurnover = total.iTurnover - m_iSentTurnover;
    record.nTickField1 = total.nMatchItems;
    record.chTickFlag1 = 'T';  // continuous trading
    record.chTickFlag2 = m_chLastTaker;
    record.iAccVolume = m_iSentVolume = total.iVolume;
    record.iAccTurnover = m_iSentTurnover = total.iTurnover;
    CopyLevels(m_book, record);
    record.nABField1 = AveragePrice(m_book, Side::kAsk);
    record.nABField2 = AveragePrice(m_book, Side::kBid);
    record.iABField3 = m_book.Volume(Side::kAsk);
    record.iABField4 = m_book.Volume(Side::kBid);
    record.nExt[0] = total.nOpen;
    record.nExt[1] = total.nHigh;
    record.nExt[2] = total.nLow;
    record.nExt[3] = m_day.nPrevClose;
    m_day.vecTicks.push_back(record);
    EmitQueue(nMs, Side::kAsk);
    EmitQueue(nMs, Side::kBid);
}

void Recorder::EmitQueue(int nMs, Side side) {
    if (m_book.Empty(side)) return;
    const Level& level = m_book.LevelsOf(side).begin()->second;
    ZPMDefine_OrderQueue record = {};
    record.nTime = StampOf(m_segment, nMs).nTime;
    constexpr size_t kItems = sizeof record.nQueueItems / sizeof(int32_t);
    const size_t nListed = std::min(level.vecOrders.size(), kItems);
    record.nQueueField[0] = level.nPrice;
    record.nQueueField[1] = SideChar(side);
    record.nQueueField[2] = static_cast<int32_t>(level.vecOrders.size());
    record.nQueueField[3] = static_cast<int32_t>(nListed);
    for (size_t i = 0; i < nListed; i++) record.nQueueItems[i] = m_book.LeftOf(level.vecOrders[i]);
    m_day.vecQueues.push_back(record);
}

void Recorder::EmitSnapshot(int nMs, int nSettle) {
    const Stamp stamp =
        StampOf(m_segment, m_instrument.StampsWholeSeconds() ? nMs / 1000 * 1000 : nMs);
    const ZPMDefine_KData& total = m_tally.Total();
    ZPMDefine_Future_AB_Night record = {};
    record.nDate = stamp.nDate;
    record.nTime = stamp.nTime;
    record.nValue0 = total.nClose;
    record.iVolume = total.iVolume - m_iSentVolume;
    record.iTurnover = total.iTurnover - m_iSentTurnover;
    m_iSentVolume = total.iVolume;
    m_iSentTurnover = total.iTurnover;
    record.nPosition = m_nInterest;
    record.chFlag = static_cast<char>(m_chLastTaker);
    CopyLevels(m_book, record);
    record.nValue1 = total.nOpen;
    record.nValue2 = total.nHigh;
    record.nValue3 = total.nLow;
    record.nSettle = nSettle;
    m_day.vecSnapshots.push_back(record);
}

}  // namespace qrx::simulate
