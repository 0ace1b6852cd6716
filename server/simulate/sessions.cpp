// Session tables of the simulated markets; see the header for how times are written.
#include "simulate/sessions.h"

#include <cctype>
#include <chrono>

#include "support/date_time.h"

namespace qrx::simulate {
namespace {

constexpr int Ms(int nHour, int nMinute, int nSecond = 0, int nMilli = 0) {
    return ((nHour * 60 + nMinute) * 60 + nSecond) * 1000 + nMilli;
}

constexpr int kNightOpen = Ms(21, 0);
constexpr int kNightPreOpen = Ms(20, 59, 0, 500);

// A product trades at night when market and prefix (any letter case) match and the trading day is
// not before the first one with a night. The first matching row counts.
struct NightRow {
    std::string_view strMarket;
    std::string_view strPrefix;
    int nEnd;
    int nFirstDay;
};
constexpr NightRow kNights[] = {
    {"SHF", "au", Ms(26, 30), 20130708}, {"SHF", "ag", Ms(26, 30), 20130708},
    {"SHF", "cu", Ms(25, 0), 20131223},  {"SHF", "al", Ms(25, 0), 20131223},
    {"SHF", "pb", Ms(25, 0), 20131223},  {"SHF", "zn", Ms(25, 0), 20131223},
    {"SHF", "rb", Ms(25, 0), 20141229},  {"SHF", "hc", Ms(25, 0), 20141229},
    {"SHF", "bu", Ms(25, 0), 20141229},  {"SHF", "ru", Ms(23, 0), 20141229},
    {"DCE", "j", Ms(26, 30), 20140605},  {"DCE", "p", Ms(26, 30), 20140605},
    {"CZC", "sr", Ms(23, 30), 20141215}, {"CZC", "cf", Ms(23, 30), 20141215},
    {"CZC", "rm", Ms(23, 30), 20141215}, {"CZC", "me", Ms(23, 30), 20141215},
    {"CZC", "ta", Ms(23, 30), 20141215},
};

bool BeginsWith(std::string_view strCode, std::string_view strLowerPrefix) {
    if (strCode.size() < strLowerPrefix.size()) return false;
    for (size_t i = 0; i < strLowerPrefix.size(); i++) {
        if (std::tolower(static_cast<unsigned char>(strCode[i])) != strLowerPrefix[i]) return false;
    }
    return true;
}

std::chrono::sys_days ToDays(int nDate) {
    return std::chrono::year(nDate / 10000) / (nDate / 100 % 100) / (nDate % 100);
}

}  // namespace

int AddDays(int nDate, int nDays) {
    const std::chrono::year_month_day ymd(ToDays(nDate) + std::chrono::days(nDays));
    return static_cast<int>(ymd.year()) * 10000 +
           static_cast<int>(static_cast<unsigned>(ymd.month()) * 100 +
                            static_cast<unsigned>(ymd.day()));
}

int ThisOrPrevWeekday(int nDate) {
    const int nDay = BusinessConvertor::GetDayOfWeek(nDate);
    return nDay == 0 ? AddDays(nDate, -2) : nDay == 6 ? AddDays(nDate, -1) : nDate;
}

int PrevWeekday(int nDate) {
    return ThisOrPrevWeekday(AddDays(nDate, -1));
}

Stamp StampOf(const Segment& segment, int nMs) {
    constexpr int kDay = Ms(24, 0);
    const int nDate = nMs < kDay ? segment.nDate : AddDays(segment.nDate, 1);
    return {nDate, BusinessConvertor::MiniSeconds2HHMMSSmmm(nMs % kDay)};
}

std::vector<Segment> SegmentsOf(std::string_view strMarket, std::string_view strCode,
                                int nTradingDay) {
    if (strMarket == "SH" || strMarket == "SZ") {
        return {{nTradingDay, -1, Ms(9, 30), Ms(11, 30)}, {nTradingDay, -1, Ms(13, 0), Ms(15, 0)}};
    }
    if (strMarket == "CF") {
        return {{nTradingDay, Ms(9, 14, 0, 500), Ms(9, 15), Ms(11, 30)},
                {nTradingDay, -1, Ms(13, 0), Ms(15, 15)}};
    }
    std::vector<Segment> vecSegments;
    for (const NightRow& row : kNights) {
        if (row.strMarket != strMarket || !BeginsWith(strCode, row.strPrefix)) continue;
        if (nTradingDay >= row.nFirstDay) {
            vecSegments.push_back({PrevWeekday(nTradingDay), kNightPreOpen, kNightOpen, row.nEnd});
        }
        break;
    }
    vecSegments.push_back({nTradingDay, Ms(8, 59, 0, 500), Ms(9, 0), Ms(10, 15)});
    vecSegments.push_back({nTradingDay, -1, Ms(10, 30), Ms(11, 30)});
    vecSegments.push_back({nTradingDay, -1, Ms(13, 30), Ms(15, 0)});
    return vecSegments;
}

}  // namespace qrx::simulate
