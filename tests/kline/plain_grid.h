// Bars to test with, and the grids once more, slowly and plainly, for the tests to hold the library
// against: every product with its sessions written out as minutes of the clock, every day's points
// as a list, the true calendar from the standard library. Shares nothing with the library but the
// public bar.
#ifndef QRX_TESTS_PLAIN_GRID_H
#define QRX_TESTS_PLAIN_GRID_H

#include <qrx/kline.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace qrx::test {

// A bar whose values all follow from its close.
inline QRXDefine_KLine Bar(int nDate, int nTime, int nClose = 100) {
    QRXDefine_KLine bar{};
    snprintf(bar.chCode, sizeof bar.chCode, "CODE");
    snprintf(bar.chVelaCode, sizeof bar.chVelaCode, "CODE.X");
    bar.nDate = nDate;
    bar.nTime = nTime;
    bar.nOpen = nClose - 1;
    bar.nHigh = nClose + 5;
    bar.nLow = nClose - 5;
    bar.nClose = nClose;
    bar.iVolume = nClose * 7;
    bar.iTurnover = nClose * 1000000LL;
    bar.nMatchItems = 3;
    bar.nInterest = nClose + 10000;
    return bar;
}

struct PlainDays {
    static std::chrono::sys_days Of(int nDate) {
        using namespace std::chrono;
        return year(nDate / 10000) / month(static_cast<unsigned>(nDate / 100 % 100)) /
               day(static_cast<unsigned>(nDate % 100));
    }
    static int Date(std::chrono::sys_days day) {
        const std::chrono::year_month_day d(day);
        return static_cast<int>(d.year()) * 10000 +
               static_cast<int>(static_cast<unsigned>(d.month()) * 100 +
                                static_cast<unsigned>(d.day()));
    }
    static unsigned WeekDay(int nDate) { return std::chrono::weekday(Of(nDate)).c_encoding(); }
    static int Shift(int nDate, int nDays) { return Date(Of(nDate) + std::chrono::days(nDays)); }
};

using Minutes = std::vector<std::pair<int, int>>;  // from, to (not included), hour * 60 + minute

struct PlainProduct {
    const char* szMarket;
    std::vector<const char*> vecCodes;
    Minutes day;
    int nNightEnd = 0;  // the night runs from 21:00 to here, past 24:00; 0: no night
    int nFirstNight = 0;
};

inline const std::vector<PlainProduct>& PlainProducts() {
    static const Minutes kStock = {{570, 690}, {780, 900}};
    static const Minutes kIndexFuture = {{555, 690}, {780, 915}};
    static const Minutes kGoods = {{540, 615}, {630, 690}, {810, 900}};
    // clang-format off
    static const std::vector<PlainProduct> kProducts = {
        {"SH", {"600000"}, kStock},
        {"sz", {"000001"}, kStock},
        {"CF", {"IF1701"}, kIndexFuture},
        {"SHF", {"au1706", "AG1706"}, kGoods, 26 * 60 + 30, 20130708},
        {"SHF", {"cu1701", "Al1701", "pb1701", "zn1701"}, kGoods, 25 * 60, 20131223},
        {"SHF", {"rb1705", "HC1705", "bu1706"}, kGoods, 25 * 60, 20141229},
        {"SHF", {"ru1705"}, kGoods, 23 * 60, 20141229},
        {"SHF", {"fu1705"}, kGoods},
        {"CZC", {"SR705", "cf705", "RM705", "ME705", "ta705"}, kGoods, 23 * 60 + 30, 20141215},
        {"CZC", {"WH705"}, kGoods},
        {"DCE", {"jm1705", "P1705"}, kGoods, 26 * 60 + 30, 20140605},
        {"DCE", {"a1705"}, kGoods}};
    // clang-format on
    return kProducts;
}

using PlainPoint = std::pair<int, int>;  // date, HHMMSSmmm

inline int ClockOf(int nMs) {
    const int nSeconds = nMs / 1000 % 86400;
    return (nSeconds / 3600 * 10000 + nSeconds / 60 % 60 * 100 + nSeconds % 60) * 1000;
}

// The points of one trading day. nCarryMs goes from each day to the next.
inline std::vector<PlainPoint> PlainPoints(const PlainProduct& product, int nDay, int nStepMs,
                                           int& nCarryMs) {
    constexpr int kMinute = 60000, kMidnight = 24 * 60 * kMinute, kNight = 21 * 60 * kMinute;
    std::vector<PlainPoint> points;
    if (product.nNightEnd > 0 && nDay >= product.nFirstNight) {
        const int nEve = PlainDays::Shift(nDay, PlainDays::WeekDay(nDay) == 1 ? -3 : -1);
        const int nEnd = product.nNightEnd * kMinute;
        int nMs = kNight + nCarryMs;
        for (; nMs < std::min(nEnd, kMidnight); nMs += nStepMs) {
            points.emplace_back(nEve, ClockOf(nMs));
        }
        nCarryMs = nMs - std::min(nEnd, kMidnight);
        for (; nMs >= kMidnight && nMs < nEnd; nMs += nStepMs) {
            points.emplace_back(PlainDays::Shift(nEve, 1), ClockOf(nMs));
            nCarryMs = 0;
        }
    }
    for (const auto& [nFrom, nTo] : product.day) {
        for (int nMs = nFrom * kMinute + nCarryMs; nMs < nTo * kMinute; nMs += nStepMs) {
            points.emplace_back(nDay, ClockOf(nMs));
            nCarryMs = 0;
        }
    }
    return points;
}

// The bars that a day takes in the answer, whatever a carry does to its points.
inline int PlainDaySize(const PlainProduct& product, int nDay, int nStepMs) {
    const auto up = [&](int nMinutes) { return (nMinutes * 60000 + nStepMs - 1) / nStepMs; };
    int nBars = 0;
    for (const auto& [nFrom, nTo] : product.day) nBars += up(nTo - nFrom);
    if (product.nNightEnd > 0 && nDay >= product.nFirstNight) nBars += up(product.nNightEnd - 1260);
    return nBars;
}

inline PlainPoint PointOf(const QRXDefine_KLine& bar) {
    return {int{bar.nDate}, int{bar.nTime}};
}

// Bars in order, by the trading days that they belong to.
using PlainDayList = std::vector<std::pair<int, std::vector<QRXDefine_KLine>>>;

// Completed point by point.
inline std::vector<QRXDefine_KLine> PlainComplete(const PlainProduct& product,
                                                  const PlainDayList& days, int nStepMs,
                                                  QRXDefine_KLine known) {
    std::vector<QRXDefine_KLine> out;
    size_t nSize = 0;
    int nCarryMs = 0, nBefore = 0;
    const auto& first = days.front().second.front();
    std::copy(std::begin(first.chCode), std::end(first.chCode), known.chCode);
    std::copy(std::begin(first.chVelaCode), std::end(first.chVelaCode), known.chVelaCode);
    for (const auto& [nDay, bars] : days) {
        size_t i = 0;
        // The first night goes on from the last point before it, not from bars behind that point.
        if (nDay >= product.nFirstNight && nBefore < product.nFirstNight && !out.empty()) {
            known = out.back();
        }
        nBefore = nDay;
        for (const PlainPoint& point : PlainPoints(product, nDay, nStepMs, nCarryMs)) {
            bool bOwn = false;
            for (; i < bars.size() && PointOf(bars[i]) <= point; ++i) {
                // The very first point takes nothing but a bar of its own.
                if (out.empty() && PointOf(bars[i]) != point) break;
                known = bars[i];
                bOwn = PointOf(known) == point;
            }
            QRXDefine_KLine bar = known;
            if (!bOwn) {
                bar.nDate = point.first;
                bar.nTime = point.second;
                bar.nOpen = bar.nHigh = bar.nLow = bar.nClose;
                bar.iVolume = bar.iTurnover = bar.nMatchItems = 0;
            }
            out.push_back(bar);
        }
        nSize += static_cast<size_t>(PlainDaySize(product, nDay, nStepMs));
        // Bars behind the day's last point are known to the next day.
        if (i < bars.size()) known = bars.back();
    }
    out.resize(nSize);
    return out;
}

}  // namespace qrx::test

#endif
