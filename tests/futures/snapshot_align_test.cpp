// The steps of alignment, one by one.
#include "futures/snapshot_align.h"

#include <gtest/gtest.h>

#include <vector>

namespace qrx::test {
namespace {

constexpr int kDay = 20170103;

QRXDefine_Future At(int nDate, int nTime, int nVolume = 0) {
    QRXDefine_Future record{};
    record.nDate = nDate;
    record.nTime = nTime;
    record.iVolume = nVolume;
    record.iTurnover = nVolume * 10;
    record.iAccVolume = 1000 + nVolume;
    record.iAccTurnover = 5000 + nVolume * 10;
    return record;
}

// clang-format off
TEST(SnapshotAlign, Searches) {
    // The last one is later by date and earlier by clock.
    const std::vector<QRXDefine_Future> day = {At(kDay - 1, 210000000), At(kDay, 90000000),
                                               At(kDay, 90000500), At(kDay, 90000500),
                                               At(kDay + 1, 500)};
    struct Case { int nStart, nDate, nTime, nGE, nLE; };
    for (const Case& c : {
             Case{0, kDay, 90000000, 1, 1}, {0, kDay, 90000001, 2, 1},
             {0, -1, 90000000, 0, -1}, {1, -1, 90000499, 2, 1},  // by time alone
             {0, kDay, 80000000, 1, 0}, {1, kDay, 80000000, 1, -1},  // the eve never ends a run
             {2, kDay, 90000500, 2, 4}, {0, kDay, 90000501, -1, 4},  // nor does an early clock
             {0, kDay + 1, 0, 4, 3}, {4, kDay + 1, 500, 4, 4},
             {-1, kDay, 0, -1, -1}, {5, kDay, 0, -1, -1},  // a cursor that is gone stays gone
             {0, kDay, 900000000, -1, 4}, {0, kDay - 1, -5, 0, -1}}) {
        SCOPED_TRACE(testing::Message() << c.nStart << " " << c.nDate << " " << c.nTime);
        EXPECT_EQ(CFAlign::MoveToGE(day.data(), 5, c.nStart, c.nDate, c.nTime), c.nGE);
        EXPECT_EQ(CFAlign::MoveToLE(day.data(), 5, c.nStart, c.nDate, c.nTime), c.nLE);
    }
    const QRXDefine_Future* pNone = nullptr;
    EXPECT_EQ(CFAlign::MoveToGE(pNone, 5, 0, -1, 0), -1);
    EXPECT_EQ(CFAlign::MoveToLE(pNone, 5, 0, -1, 0), -1);
}

TEST(SnapshotAlign, OneSlot) {
    const QRXDefine_Future previous = At(kDay, 85959500, 7), untouched = At(1, 2, 9);
    QRXDefine_Future quiet = previous;
    quiet.iVolume = quiet.iTurnover = 0;
    struct Case { int nRecord, nSlot, nCursor; bool bUsePrev, bTaken; };
    for (const Case& c : {
             Case{90000600, 90000500, 0, false, true}, {90000600, 90000000, 0, false, false},
             {90000000, 90000000, 0, false, true}, {90000499, 90000000, 0, false, true},
             {90000500, 90000000, 0, false, false}, {90000999, 90000500, 0, false, true},
             {90001000, 90000500, 0, false, false}, {90000499, 90000500, 0, false, false},
             {90000600, 90000500, 0, true, false}, {90000600, 90000500, -1, false, false}}) {
        SCOPED_TRACE(testing::Message() << c.nRecord << " " << c.nSlot << " " << c.bUsePrev);
        const QRXDefine_Future record = At(kDay, c.nRecord, 3), *pNone = nullptr;
        QRXDefine_Future slot = untouched, alone = untouched;
        CFAlign::CompareCursorTimeAndAssign(&slot, &record, c.nCursor, &previous, c.nSlot,
                                            c.bUsePrev);
        CFAlign::CompareCursorTimeAndAssign(&alone, &record, c.nCursor, pNone, c.nSlot, c.bUsePrev);
        const auto& expected = c.bTaken ? record : quiet;
        const auto& expectedAlone = c.bTaken ? record : untouched;
        EXPECT_EQ(memcmp(&slot, &expected, sizeof slot), 0);
        EXPECT_EQ(memcmp(&alone, &expectedAlone, sizeof alone), 0);
    }
}

TEST(SnapshotAlign, MergingAndSettlement) {
    std::vector<QRXDefine_Future> day = {At(kDay, 1, 2), At(kDay, 2, 3), At(kDay, 3, 4)};
    struct Case { int nFrom, nTo, nVolume; };  // volume 0: nothing written
    for (const Case& c : {Case{0, 2, 9}, {1, 1, 3}, {2, 2, 4}, {1, 0, 0}, {-1, 1, 0}, {0, 3, 0},
                          {3, 3, 0}}) {
        SCOPED_TRACE(testing::Message() << c.nFrom << " to " << c.nTo);
        QRXDefine_Future expected{}, merged{};
        if (c.nVolume != 0) {  // the totals of the last, and the sums once more
            expected = day[static_cast<size_t>(c.nTo)];
            expected.iVolume = c.nVolume;
            expected.iTurnover = c.nVolume * 10;
            expected.iAccVolume += c.nVolume;
            expected.iAccTurnover += c.nVolume * 10;
        }
        CFAlign::MergeRecords(&merged, day.data(), 3, c.nFrom, c.nTo);
        EXPECT_EQ(memcmp(&merged, &expected, sizeof merged), 0);
    }
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 3), 0);
    for (size_t i = 0; i < 2; ++i) {  // the last one that is not 0
        day[i].nSettle = 5 + static_cast<int>(i);
        EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 3), 5 + static_cast<int>(i));
    }
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 0), 0);
}

TEST(SnapshotAlign, CuttingRuns) {
    std::vector<QRXDefine_Future> day = {At(kDay, 5), At(kDay, 9), At(kDay, 12), At(kDay + 1, 3)};
    struct Case { int nOffset, nMaxTime, nFound, nItems, nDate; };  // nFound -1: null
    for (const Case& c : {
             Case{0, 10, 0, 2, kDay}, {0, 99, 0, 3, kDay}, {0, 4, -1, 0, 0}, {2, 12, 2, 1, kDay},
             {3, 99, 3, 1, kDay + 1}, {4, 99, -1, 0, 0}, {-1, 99, -1, 0, 0}}) {
        SCOPED_TRACE(testing::Message() << c.nOffset << " up to " << c.nMaxTime);
        int nOffset = c.nOffset, nItems = -7, nDate = -7;
        const QRXDefine_Future* pRun = NightAlign::FindTurdayMaxTimeRecord(
            day.data(), 4, &nOffset, &nItems, &nDate, c.nMaxTime);
        EXPECT_EQ(pRun, c.nFound < 0 ? nullptr : day.data() + c.nFound);
        EXPECT_EQ(std::vector({nOffset, nItems, nDate}),
                  std::vector({c.nOffset + c.nItems, c.nItems, c.nDate}));
    }
    int nOffset = 0;
    EXPECT_DEATH(NightAlign::FindTurdayMaxTimeRecord(day.data(), 4, &nOffset, nullptr, &nOffset, 5),
                 "BusinessConverter:.*Assertion `pFilteredItem && pOffset && pSegDate' failed");
}
// clang-format on

}  // namespace
}  // namespace qrx::test
