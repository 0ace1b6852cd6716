// Days on their grids: worked cases, seeded random days against the plain statement, conditions
// that stop the process and what the check says of them, and hostile arrays.
// A plus makes a value of a packed member, to which no reference may be bound.
#include "futures/completion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "futures/plain_grid.h"
#include "grids/grid_check.h"
#include "support/result_memory.h"
#include "support/sanitizers.h"

namespace qrx::test {
namespace {

using futures::CheckGrid;

constexpr int kDate = 20170103;

const char* MarketOf(Plain eGrid) {
    return eGrid == Plain::kDCE ? "DCE" : eGrid == Plain::kCF ? "CF" : "SHF";
}
const char* CodeOf(Plain eGrid) {
    return eGrid == Plain::kNight ? "AU1706" : "cu1701";
}

template <class T>
T At(int nTime, int nDate = kDate, int nVolume = 0, int nAccVolume = 0) {
    T record{};
    memcpy(record.chVelaCode, "CU1701.SHF", 10);
    memcpy(record.chCode, "cu1701", 6);
    record.nDate = nDate;
    record.nTime = nTime;
    record.iVolume = nVolume;
    record.iAccVolume = nAccVolume;
    return record;
}

// Completes a copy of the day; an empty result when completion failed.
template <class T>
Day<T> Complete(const Day<T>& day, const char* szMarket, const char* szCode) {
    auto* pDay = NewResult<T>(static_cast<int64_t>(day.size()));
    memcpy(static_cast<void*>(pDay), day.data(), day.size() * sizeof(T));
    void* pData = pDay;
    auto nItems = static_cast<unsigned>(day.size());
    const int nResult = BusinessConvertor::AutoCompleteFutureTickOneDay(
        &pData, &nItems, sizeof(T) == sizeof(QRXDefine_FutureAB), szMarket, szCode, kDate);
    Day<T> slots;
    if (nResult == 0) slots.assign(static_cast<T*>(pData), static_cast<T*>(pData) + nItems);
    FreeResult(pData);
    return slots;
}
template <class T>
Day<T> Complete(const Day<T>& day, Plain eGrid) {
    return Complete(day, MarketOf(eGrid), CodeOf(eGrid));
}

TEST(Completion, WorkedDays) {
    using T = QRXDefine_Future;
    constexpr int a = kDate, b = kDate + 1;
    const T early = At<T>(Clock(8, 55), a, 5, 100);
    const T ten = At<T>(Clock(10), a, 3, 103);
    // clang-format off
    struct Slot { size_t nAt; int nDate, nTime, nVolume, nAccVolume; };
    const struct {
        const char* szWhat;
        Plain eGrid;
        Day<T> day;
        size_t nSlots;
        std::vector<Slot> slots;
    } kCases[] = {
        // The volume of the merged pre-open is counted twice.
        {"the second half of a second", Plain::kSHF,
         {early, At<T>(Clock(10, 0, 0, 700), a, 3, 103)}, 28803,
         {{0, a, 85900500, 5, 105}, {1, a, 90000000, 0, 105}, {7201, a, 100000000, 0, 105},
          {7202, a, 100000500, 3, 103}, {7203, a, 100001000, 0, 103}, {18001, a, 113000000, 0, 103},
          {18002, a, 133000000, 0, 103}, {28802, a, 150000000, 0, 103}}},
        {"three of one second: two fill the pair, the third is merged into its second slot",
         Plain::kDCE, {early, ten, At<T>(Clock(10), a, 4), At<T>(Clock(10), a, 8)}, 28805,
         {{7201, a, 100000000, 3, 103}, {7202, a, 100000000, 12, 12}, {7203, a, 100001000, 0, 12}}},
        {"a night", Plain::kNight,
         {At<T>(Clock(20, 57), a - 1, 1), At<T>(Clock(23, 59, 59, 600), a - 1, 2),
          At<T>(200, a, 3), At<T>(Clock(2, 40), a, 7), At<T>(Clock(9, 30), b, 6),
          At<T>(Clock(14, 59, 59, 999), b, 4, 9)}, 68405,
         {{0, a - 1, 205900500, 1, 1}, {1, a - 1, 210000000, 0, 1}, {21600, a - 1, 235959500, 2, 0},
          {21601, a, 0, 3, 0}, {39601, a, 23000000, 0, 0}, {39602, b, 85900500, 0, 0},
          {39603, b, 90000000, 0, 0}, {43203, b, 93000000, 6, 0}, {57604, b, 133000000, 0, 0},
          {68403, b, 145959500, 4, 9}, {68404, b, 150000000, 0, 9}}}};
    // clang-format on
    for (const auto& c : kCases) {
        const auto slots = Complete(c.day, c.eGrid);
        ASSERT_EQ(slots.size(), c.nSlots) << c.szWhat;
        for (const Slot& e : c.slots) {
            SCOPED_TRACE(testing::Message() << c.szWhat << ", slot " << e.nAt);
            const T& slot = slots[e.nAt];
            EXPECT_EQ(std::vector<int64_t>({slot.nDate, slot.nTime, slot.iVolume, slot.iAccVolume}),
                      std::vector<int64_t>({e.nDate, e.nTime, e.nVolume, e.nAccVolume}));
        }
    }
    // Nothing before the opening: all slots are empty.
    Day<T> hours = {At<T>(Clock(9), a, 5), At<T>(Clock(14), a, 6)};
    hours[1].nSettle = 77;
    for (const T& slot : Complete(hours, Plain::kSHF)) {
        T expected = At<T>(slot.nTime);
        expected.nSettle = 77;
        ASSERT_EQ(memcmp(&slot, &expected, sizeof slot), 0) << +slot.nTime;
    }
}

TEST(Completion, ChoosesByMarketAndCode) {
    const Day<QRXDefine_Future> day = {At<QRXDefine_Future>(Clock(9, 12))};
    struct {
        const char *szMarket, *szCode;
        size_t nSlots;
    } const kCases[] = {
        {"SHF", "AG1706", 68405}, {"shf", "AU1706", 68405}, {"SHF", "ag1706", 28803},
        {"SHFX", "AU", 68405},    {"SHF", "CU1701", 28803}, {"CZC", "SR705", 1},
        {"DCE", "j1705", 28805},  {"dcex", "a1705", 28805}, {"CF", "j1705", 68405},
        {"cf", "IF1701", 32403},  {"CFX", "p", 68405},      {"CF", "J1705", 32403}};
    for (const auto& c : kCases) {
        EXPECT_EQ(Complete(day, c.szMarket, c.szCode).size(), c.nSlots)
            << c.szMarket << " " << c.szCode;
    }
    for (const char* sz : {"j", "p1705", "jM"}) {
        EXPECT_TRUE(BusinessConvertor::IsDCENightCode(sz)) << sz;
    }
    for (const char* sz : {"jm1705", "pp1705", "J1705", "", "a1705"}) {
        EXPECT_FALSE(BusinessConvertor::IsDCENightCode(sz)) << sz;
    }
    EXPECT_DEATH(Complete(day, "XYZ", "a"), "BusinessConverter:.*Assertion `0' failed");
    EXPECT_DEATH(Complete(day, "C", "a"), "Assertion `0' failed");
    EXPECT_TRUE(CheckGrid(day.data(), 1, "XYZ", "a", kDate).has_value());

    QRXDefine_Future record{};
    void* pNoData = nullptr;
    void* pData = &record;
    unsigned nItems = 1;
    unsigned nNone = 0;
    EXPECT_EQ(
        BusinessConvertor::AutoCompleteFutureTickOneDay(&pNoData, &nItems, false, "SHF", "a", 1),
        -11);
    EXPECT_EQ(BusinessConvertor::AutoCompleteFutureTickOneDay(&pData, &nNone, false, "SHF", "a", 1),
              -11);
    QRXDefine_Future* pNone = nullptr;
    EXPECT_DEATH(BusinessConvertor::AutoAlignFutureOneDayCF(&pNone, &nItems, 1),
                 "Assertion `ppFuture && pItems && \\*ppFuture && \\*pItems' failed");
    EXPECT_DEATH(BusinessConvertor::AutoAlignFutureOneDayCZC(&pNone, &nItems, 1),
                 "Assertion `pFuture && pItems && \\*pFuture && \\*pItems' failed");
}

// What the check names is what stops the process.
TEST(Completion, ConditionsStopTheProcess) {
    using T = QRXDefine_Future;
    const T preOpen = At<T>(Clock(8, 55)), preOpenCF = At<T>(Clock(9, 14));
    // clang-format off
    const char* szOne = "nEnd == nOrgCursor";
    const struct {
        const char *szMarket, *szAssertion, *szText;  // no assertion: the day is fine
        Day<T> day;
    } kCases[] = {
        {"SHF", "`0'", "2017-01-03: no record", {At<T>(Clock(8, 49))}},
        {"CF", "`0'", "2017-01-03: no record", {At<T>(Clock(9, 20), kDate - 1)}},
        {"SHF", szOne, "record 3 at 11:35:00.000: more than one record",
         {preOpen, At<T>(Clock(11, 30)), At<T>(Clock(11, 35))}},
        {"SHF", nullptr, "", {preOpen, At<T>(Clock(11, 30)), At<T>(Clock(11, 35, 0, 1))}},
        {"SHF", nullptr, "", {preOpen, At<T>(Clock(11, 29, 59, 999)), At<T>(Clock(11, 35))}},
        {"DCE", nullptr, "", {preOpen, At<T>(Clock(11, 30)), At<T>(Clock(11, 30, 0, 500))}},
        // A dead cursor forgives everything.
        {"SHF", nullptr, "", {At<T>(Clock(9)), At<T>(Clock(11, 30)), At<T>(Clock(11, 31))}},
        {"SHF", szOne, "record 3 at 15:00:01.000",
         {preOpen, At<T>(Clock(15)), At<T>(Clock(15, 0, 1))}},
        {"SHF", nullptr, "", {preOpen, At<T>(Clock(15)), At<T>(Clock(15, 0, 1, 1))}},
        {"CF", nullptr, "", {preOpenCF, At<T>(Clock(15)), At<T>(Clock(15))}},
        {"CF", szOne, "record 3", {preOpenCF, At<T>(Clock(15, 15)), At<T>(Clock(15, 15, 0, 500))}},
        // Out of order within a pair: its second slot goes back in time.
        {"DCE", "nCurTime == nMorningEndTime", "out of order",
         {preOpen, At<T>(Clock(10)), At<T>(Clock(9, 30))}}};
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.szMarket << " " << +c.day.back().nTime);
        const auto fault =
            CheckGrid(c.day.data(), static_cast<int>(c.day.size()), c.szMarket, "cu1701", kDate);
        EXPECT_EQ(fault.has_value(), c.szAssertion != nullptr);
        if (c.szAssertion == nullptr) {
            EXPECT_GT(Complete(c.day, c.szMarket, "cu1701").size(), 28000U);
        } else {
            EXPECT_NE(fault->Text().find(c.szText), std::string::npos) << fault->Text();
            EXPECT_DEATH(Complete(c.day, c.szMarket, "cu1701"), c.szAssertion);
        }
    }
}

// -- Random days -----------------------------------------------------------------------------

template <class T>
class RandomDays : public testing::Test {
protected:
    int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }

    // nMean records between two clock times, some at the very edges, some several at a time.
    void Trade(int nDate, int nFirstMs, int nLastMs, int nMean) {
        std::vector<int> times;
        for (int i = Below(2 * nMean + 1); i > 0; --i) {
            int nMs = nFirstMs + Below(nLastMs - nFirstMs);
            if (Below(3) != 0) nMs -= nMs % 500;
            if (Below(2) == 0) nMs -= nMs % 1000;
            if (Below(20) == 0) nMs = Below(2) == 0 ? nFirstMs : nLastMs;
            for (int k = Below(8) == 0 ? 4 : 1; k > 0; --k) times.push_back(nMs);
        }
        std::sort(times.begin(), times.end());
        for (const int nMs : times) {
            T record = At<T>(ClockOfMs(nMs), nDate, Below(100));
            char* pBytes = reinterpret_cast<char*>(&record);
            for (size_t i = offsetof(T, iTurnover); i < sizeof(T); ++i) {
                pBytes[i] = static_cast<char>(Below(256));
            }
            record.iTurnover = Below(1 << 30);
            record.iAccVolume = Below(1 << 30);
            record.iAccTurnover = Below(1 << 30);
            if (Below(4) != 0) record.nSettle = 0;
            m_day.push_back(record);
        }
    }
    void SortFrom(size_t nFirst) {
        std::stable_sort(m_day.begin() + static_cast<std::ptrdiff_t>(nFirst), m_day.end(),
                         [](const T& a, const T& b) { return a.nTime < b.nTime; });
    }
    static constexpr int kHour = 3600000;
    static constexpr int kMinute = 60000;

    // A day in the order of its sessions; any of them may be missing.
    void Make(bool bNight, int nMean) {
        m_day.clear();
        // The day grids know the evening by its date only.
        const int nEvening = bNight && Below(4) == 0 ? kDate : kDate - 1;
        if (bNight ? Below(4) != 0 : Below(3) == 0) {
            Trade(nEvening, 20 * kHour + 54 * kMinute, 21 * kHour + 2000, Below(8));
            Trade(nEvening, 21 * kHour, 24 * kHour - 1, nMean);
            SortFrom(0);
            if (Below(4) != 0) Trade(kDate, 0, 2 * kHour + 31 * kMinute, nMean);
        }
        const size_t nNight = m_day.size();
        if (Below(5) != 0) Trade(kDate, 8 * kHour + 48 * kMinute, 9 * kHour + 20 * kMinute, 6);
        if (Below(5) != 0) Trade(kDate, 9 * kHour + 20 * kMinute, 11 * kHour + 30 * kMinute, nMean);
        if (Below(5) != 0) Trade(kDate, 11 * kHour + 29 * kMinute, 13 * kHour + 31 * kMinute, 1);
        if (Below(5) != 0) {
            Trade(kDate, 13 * kHour + 31 * kMinute, 15 * kHour + Below(2) * 15 * kMinute, nMean);
        }
        if (Below(3) == 0) Trade(kDate, 15 * kHour, 15 * kHour + 16 * kMinute, 2);
        SortFrom(nNight);
        if (m_day.empty() || Below(3) != 0) return;
        memset(m_day[0].chVelaCode, 'V', sizeof m_day[0].chVelaCode);  // without their NULs
        memset(m_day[0].chCode, 'c', sizeof m_day[0].chCode);
    }

    std::mt19937 m_random{20170103};
    Day<T> m_day;
};
using Records = testing::Types<QRXDefine_Future, QRXDefine_FutureAB>;
TYPED_TEST_SUITE(RandomDays, Records);

TYPED_TEST(RandomDays, AgreeWithThePlainStatement) {
    int nCompleted[4] = {};
    int nRefused = 0;
    for (int i = 0; i < 72; ++i) {
        const auto eGrid = static_cast<Plain>(i % 4);
        const bool bNight = eGrid == Plain::kNight;
        this->Make(bNight, i < 48 ? 40 : 400);
        if (this->m_day.empty()) continue;
        SCOPED_TRACE(testing::Message() << "day " << i << " on grid " << i % 4);
        PlainGrid<TypeParam> plain(this->m_day, kDate, bNight ? 32 : 31);
        const auto& day = this->m_day;
        Day<TypeParam> today;
        for (const TypeParam& record : day) {
            if (record.nDate == kDate) today.push_back(record);
        }
        const bool bCF = eGrid == Plain::kCF;
        const bool bFound = !Between(today, bCF ? Clock(9, 10) : Clock(8, 50), 999999999).empty();
        const bool bLive = !Between(today, bCF ? Clock(9, 10) : Clock(8, 50),
                                    bCF ? Clock(9, 14, 59, 999) : Clock(8, 59, 0, 999))
                                .empty();
        const bool bChecked = eGrid == Plain::kSHF || eGrid == Plain::kCF;
        const bool bRefused =
            !bNight &&
            (!bFound || (bChecked && bLive && PlainGrid<TypeParam>::TooMany(today, eGrid)));
        const auto fault = CheckGrid(day.data(), static_cast<int>(day.size()), MarketOf(eGrid),
                                     CodeOf(eGrid), kDate);
        ASSERT_EQ(fault.has_value(), bRefused) << fault->Text();
        if (bRefused) {
            ++nRefused;
            continue;
        }
        const auto expected = plain.Slots(eGrid);
        const auto slots = Complete(day, eGrid);
        ASSERT_EQ(slots.size(), expected.size());
        for (size_t k = 0; k < slots.size(); ++k) {
            ASSERT_EQ(memcmp(&slots[k], &expected[k], sizeof slots[k]), 0) << "slot " << k;
        }
        ++nCompleted[i % 4];
    }
    for (const int n : nCompleted) EXPECT_GE(n, 4);
    EXPECT_GE(nRefused, 4);
}

// Completed or refused, but within the array and in one pass: each of these would take hours if a
// search began again at the first record.
TYPED_TEST(RandomDays, HostileArraysStayInBounds) {
    constexpr int kMany = Rounds(1000000);
    const auto same = [](int nTime, int n) {
        return Day<TypeParam>(static_cast<size_t>(n), At<TypeParam>(nTime, kDate, 1));
    };
    const auto survives = [](const Day<TypeParam>& day) {
        for (const Plain eGrid : {Plain::kSHF, Plain::kDCE, Plain::kCF, Plain::kNight}) {
            if (CheckGrid(day.data(), static_cast<int>(day.size()), MarketOf(eGrid), CodeOf(eGrid),
                          kDate)) {
                continue;
            }
            EXPECT_GE(Complete(day, eGrid).size(), 28803U);
        }
    };
    for (const int nTime : {Clock(8, 55), Clock(9), Clock(11, 30), Clock(21), 0, -1, 999999999}) {
        survives(same(nTime, 1));
        survives(same(nTime, 1000));
    }
    Day<TypeParam> crowd = same(Clock(10), kMany);
    survives(crowd);
    crowd[0].nTime = Clock(8, 55);
    survives(crowd);
    for (size_t i = 2; i < crowd.size(); ++i) crowd[i].nDate = kDate - 1;
    survives(crowd);
    for (int n = 0; n < 8; ++n) {
        Day<TypeParam> shuffled = same(Clock(8, 55), 300);
        for (TypeParam& record : shuffled) {
            record.nTime = this->Below(2) == 0
                               ? Clock(8, 50 + this->Below(10)) + this->Below(3) * 500
                               : static_cast<int>(this->m_random());
            record.nDate = kDate - 1 + this->Below(3);
        }
        survives(shuffled);
    }
}

}  // namespace
}  // namespace qrx::test
