// Aggregation of bars. Inside, times are HHMMSSmmm throughout; they become HHMMSS at the end.
#include "serve/bars.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "store/bar.h"
#include "store/day_stream.h"
#include "support/date_time.h"

namespace qrx::server {
namespace {

enum : int {
    kMinutes = 0,
    kQuarters = 4,
    kHalfYears = 5,
    kYears = 6,
    kDays = 7,
    kWeeks = 8,
    kMonths = 9,
    kSeconds = 11
};

using Bar = ZPMDefine_KData;
using Point = std::pair<int, int>;  // calendar date, time

Point PointOf(const Bar& bar) {
    return {bar.nDate, bar.nTime};
}

// Adds a bar to the last one when that starts at the same point.
void AddAt(std::vector<Bar>& vecBars, Point point, const Bar& bar) {
    if (!vecBars.empty() && PointOf(vecBars.back()) == point) {
        MergeBar(vecBars.back(), bar);
        return;
    }
    vecBars.push_back(bar);
    vecBars.back().nDate = point.first;
    vecBars.back().nTime = point.second;
}

int TradingDayOf(const Bar& bar) {
    QRXDefine_KLine line{};
    line.nDate = bar.nDate;
    line.nTime = bar.nTime;
    return GetTradingDay(&line);
}

bool IsWeekend(int nDate) {
    const int n = BusinessConvertor::GetDayOfWeek(nDate);
    return n == 0 || n == 6;
}

// One bar a snapshot with trades.
Bar BarOf(const ZPMDefine_Tick_Night& tick, int& nTradesBefore) {
    const int nTrades = std::max(0, tick.nTickField1 - nTradesBefore);
    nTradesBefore = tick.nTickField1;
    return {tick.nDate,  tick.nTime,   tick.nPrice,    tick.nPrice, tick.nPrice,
            tick.nPrice, tick.iVolume, tick.iTurnover, nTrades,     tick.nTickField2};
}
Bar BarOf(const ZPMDefine_Future_AB_Night& s, int&) {
    return {s.nDate,   s.nTime,   s.nValue0,   s.nValue0, s.nValue0,
            s.nValue0, s.iVolume, s.iTurnover, 0,         s.nPosition};
}

template <class Record>
std::vector<Bar> FromSnapshots(Store& store, const DayKey& key) {
    std::vector<Bar> vecBars;
    int nTrades = 0;
    for (const auto& part : ReadRecords<Record>(store, key)) {
        for (const Record& record : part.vecRecords) {
            if (record.iVolume > 0) vecBars.push_back(BarOf(record, nTrades));
        }
    }
    return vecBars;
}

std::vector<Bar> ReadBars(Store& store, DayKind kind, const DayKey& key) {
    std::vector<Bar> vecBars;
    for (const auto& part : ReadRecords<Bar>(store, key, kind)) {
        vecBars.insert(vecBars.end(), part.vecRecords.begin(), part.vecRecords.end());
    }
    return vecBars;
}

// Equal for the days of one bar of a long cycle.
int PeriodOf(int nDate, int nCycle) {
    const int nYear = nDate / 10000;
    const int nMonth = nDate / 100 % 100 - 1;
    switch (nCycle) {
        case kWeeks:  // its Monday
            return GetDiffDay(nDate, -((BusinessConvertor::GetDayOfWeek(nDate) + 6) % 7), false);
        case kMonths:
            return nYear * 12 + nMonth;
        case kQuarters:
            return nYear * 4 + nMonth / 3;
        case kHalfYears:
            return nYear * 2 + nMonth / 6;
        case kYears:
            return nYear;
        default:
            return nDate;
    }
}

int32_t Scaled(int32_t nPrice, double f) {
    constexpr double kLimit = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(std::round(nPrice * f), -kLimit, kLimit));
}

}  // namespace

bool HasTimes(int nCycle) {
    return nCycle == kMinutes || nCycle == kSeconds;
}

bool IsBarCycle(int nCycle) {
    return HasTimes(nCycle) || (nCycle >= kQuarters && nCycle <= kMonths);
}

BarSource::BarSource(Store& store, BarRequest request, bool bSnapshots)
    : m_store(store),
      m_request(std::move(request)),
      m_kind(m_request.nCycle == kMinutes ? DayKind::MinuteBar
             : bSnapshots                 ? DayKind::Snapshot
                                          : DayKind::Tick),
      m_nCycType(m_request.nCycle == kMinutes ? CYC_MINUTE : CYC_SECOND),
      m_bLong(!HasTimes(m_request.nCycle)),
      m_pRow(FindGridRow(m_request.strMarket, m_request.strCode)) {
    if (!m_bLong) ListDays();
    if (m_request.nPriceMode == 1 || m_request.nPriceMode == 2) FindReference();
}

// Bars of five minutes make any multiple of theirs: all sessions begin and end at one.
void BarSource::ListDays() {
    const auto add = [&](DayKind kind) {
        for (const int nDay : m_store.Days(kind, m_request.strMarket, m_request.strCode,
                                           m_request.nBeginDay, m_request.nEndDay)) {
            m_mapDays.emplace(nDay, kind);
        }
    };
    add(m_kind);
    constexpr int kFiveMinutes = 300;
    const bool bFives = GetBarSeconds(m_nCycType, m_request.nMultiple) % kFiveMinutes == 0;
    if (m_kind == DayKind::MinuteBar && bFives) add(DayKind::FiveMinuteBar);
    if (m_pRow != nullptr) {
        m_pWalk = std::make_unique<GridWalk>(*m_pRow, m_nCycType, m_request.nMultiple);
    }
}

// What the factors are divided by: in mode 1 the one that counts on the reference day.
void BarSource::FindReference() {
    const auto& [strMarket, strCode] = std::tie(m_request.strMarket, m_request.strCode);
    m_vecFactors = m_store.AdjustFactors(strMarket, strCode);
    if (m_request.nPriceMode != 1 || m_vecFactors.empty()) return;
    int nDay = m_request.nPriceDay;
    if (nDay <= 0) {
        // Whatever the cycle: all bars of a security have the same reference.
        for (const DayKind kind :
             {DayKind::MinuteBar, DayKind::FiveMinuteBar, DayKind::Tick, DayKind::Snapshot}) {
            const auto vecDays = m_store.Days(kind, strMarket, strCode, 0, kNoLastDay);
            if (!vecDays.empty()) nDay = std::max(nDay, vecDays.back());
        }
        const auto vecYears = m_store.Days(DayKind::DailyBar, strMarket, strCode, 0, kNoLastDay);
        if (!vecYears.empty()) {
            const auto vecBars = DailyBars(vecYears.back(), kNoLastDay);
            if (!vecBars.empty()) nDay = std::max(nDay, int{vecBars.back().nDate});
        }
    }
    m_fReference = Factor(nDay);
}

bool BarSource::Next(std::vector<Bar>& vecBars) {
    vecBars.clear();
    if (m_bLong) {
        vecBars = LongBars();
        m_bLong = false;
        return true;
    }
    if (m_mapDays.empty()) return false;
    const int nDay = m_mapDays.begin()->first;
    PlaceOnGrid(LoadDay(nDay), vecBars);
    m_mapDays.erase(nDay);
    for (Bar& bar : vecBars) {
        Adjust(bar, nDay);
        bar.nTime /= 1000;
    }
    return true;
}

std::vector<Bar> BarSource::LoadDay(int nDay) {
    const DayKey key{m_request.strMarket, m_request.strCode, nDay};
    const DayKind kind = m_mapDays.at(nDay);
    if (kind == DayKind::Snapshot) return FromSnapshots<ZPMDefine_Future_AB_Night>(m_store, key);
    if (kind == DayKind::Tick) return FromSnapshots<ZPMDefine_Tick_Night>(m_store, key);
    auto vecBars = ReadBars(m_store, kind, key);
    for (Bar& bar : vecBars) bar.nTime *= 1000;
    return vecBars;
}

// A stored day is walked by the trading days that clients see in its bars. They know weekends and
// no holidays: the night before a holiday is a trading day of its own to them.
void BarSource::PlaceOnGrid(const std::vector<Bar>& vecFine, std::vector<Bar>& vecBars) {
    const int nStepMs = GetBarSeconds(m_nCycType, m_request.nMultiple) * 1000;
    for (size_t i = 0; i < vecFine.size();) {
        const int nDay = TradingDayOf(vecFine[i]);
        size_t j = i;
        while (j < vecFine.size() && TradingDayOf(vecFine[j]) == nDay) ++j;
        std::vector<Point> vecPoints;
        if (m_pWalk && !IsWeekend(nDay)) {
            m_pWalk->TradingDay(
                nDay, [&](int nDate, int nTime) { vecPoints.emplace_back(nDate, nTime); });
        }
        for (; i < j; ++i) {
            const Bar& bar = vecFine[i];
            if (vecPoints.empty()) {
                const int nMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(bar.nTime);
                AddAt(
                    vecBars,
                    {bar.nDate, BusinessConvertor::MiniSeconds2HHMMSSmmm(nMs / nStepMs * nStepMs)},
                    bar);
                continue;
            }
            auto it = std::upper_bound(vecPoints.begin(), vecPoints.end(), PointOf(bar));
            if (it != vecPoints.begin()) --it;  // what is early joins the first bar
            AddAt(vecBars, *it, bar);
        }
    }
}

std::vector<Bar> BarSource::DailyBars(int nFrom, int nTo) {
    std::vector<Bar> vecDays;
    for (const int nYear : m_store.Days(DayKind::DailyBar, m_request.strMarket, m_request.strCode,
                                        nFrom / 10000 * 10000, nTo)) {
        for (const Bar& bar : ReadBars(m_store, DayKind::DailyBar,
                                       {m_request.strMarket, m_request.strCode, nYear})) {
            if (bar.nDate >= nFrom && bar.nDate <= nTo) vecDays.push_back(bar);
        }
    }
    return vecDays;
}

// Days and longer; each bar is dated by its last day. A bar is the same whatever range it is asked
// in: all stored days are joined, counted from the first one, and then those bars are picked whose
// date lies in the range.
std::vector<Bar> BarSource::LongBars() {
    const int nBegin = m_request.nBeginDay;
    const int nEnd = m_request.nEndDay;
    const bool bDays = m_request.nCycle == kDays && m_request.nMultiple == 1;
    std::vector<Bar> vecBars;
    int nPeriod = 0;
    int nPeriods = 0;  // that the last bar holds
    for (Bar& day : DailyBars(bDays ? nBegin : 0, bDays ? nEnd : kNoLastDay)) {
        Adjust(day, day.nDate);
        const int nThis = PeriodOf(day.nDate, m_request.nCycle);
        const bool bSame = !vecBars.empty() && nThis == nPeriod;
        if (!bSame) nPeriods = nPeriods % m_request.nMultiple + 1;
        nPeriod = nThis;
        if (bSame || nPeriods > 1) {
            MergeBar(vecBars.back(), day);
        } else {
            vecBars.push_back(day);
        }
        vecBars.back().nDate = day.nDate;
        vecBars.back().nTime = 0;
    }
    std::erase_if(vecBars, [&](const Bar& bar) { return bar.nDate < nBegin || bar.nDate > nEnd; });
    return vecBars;
}

// The factor that counts on a trading day: the last one that began before it or on it.
double BarSource::Factor(int nDay) const {
    const auto it = std::upper_bound(m_vecFactors.begin(), m_vecFactors.end(), nDay,
                                     [](int n, const AdjustFactor& f) { return n < f.nDate; });
    return it == m_vecFactors.begin() ? 1 : std::prev(it)->fFactor;
}

// By the trading day: a night before a factor's date is traded at its prices.
void BarSource::Adjust(Bar& bar, int nDay) const {
    if (m_vecFactors.empty()) return;
    const double f = Factor(nDay) / m_fReference;
    bar.nOpen = Scaled(bar.nOpen, f);
    bar.nHigh = Scaled(bar.nHigh, f);
    bar.nLow = Scaled(bar.nLow, f);
    bar.nClose = Scaled(bar.nClose, f);
    if (m_request.bAdjustVolume) {
        constexpr double kMost = int64_t{1} << 62;
        const double fVolume = static_cast<double>(bar.iVolume) / f;
        bar.iVolume = std::llround(std::clamp(fVolume, -kMost, kMost));
    }
}

}  // namespace qrx::server
