// The steps of alignment, one by one.
// A plus makes a value of a packed member, to which no reference may be bound.
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

TEST(SnapshotAlign, Searches) {
    // The last one is later by date and earlier by clock.
    const std::vector<QRXDefine_Future> day = {At(kDay - 1, 210000000), At(kDay, 90000000),
                                               At(kDay, 90000500), At(kDay, 90000500),
                                               At(kDay + 1, 500)};
    const int n = static_cast<int>(day.size());
    struct {
        int nStart, nDate, nTime, nGE, nLE;
    } const kCases[] = {
        {0, kDay, 90000000, 1, 1},   {0, kDay, 90000001, 2, 1},
        {0, -1, 90000000, 0, -1},     // by time alone the evening is after it
        {1, -1, 90000499, 2, 1},      //
        {0, kDay, 80000000, 1, 0},    // the evening before never ends a run
        {1, kDay, 80000000, 1, -1},   // the first record is after it already
        {2, kDay, 90000500, 2, 4},    // an early clock of a later day does not end it either
        {0, kDay, 90000501, -1, 4},   // and is not found
        {0, kDay + 1, 0, 4, 3},       //
        {4, kDay + 1, 500, 4, 4},     //
        {-1, kDay, 0, -1, -1},        // a cursor that is gone stays gone
        {5, kDay, 0, -1, -1},         //
        {0, kDay, 900000000, -1, 4},  // beyond any clock
        {0, kDay - 1, -5, 0, -1},     //
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.nStart << " " << c.nDate << " " << c.nTime);
        EXPECT_EQ(CFAlign::MoveToGE(day.data(), n, c.nStart, c.nDate, c.nTime), c.nGE);
        EXPECT_EQ(CFAlign::MoveToLE(day.data(), n, c.nStart, c.nDate, c.nTime), c.nLE);
    }
    const QRXDefine_Future* pNone = nullptr;
    EXPECT_EQ(CFAlign::MoveToGE(pNone, 5, 0, -1, 0), -1);
    EXPECT_EQ(CFAlign::MoveToLE(pNone, 5, 0, -1, 0), -1);
}

TEST(SnapshotAlign, OneSlot) {
    const QRXDefine_Future previous = At(kDay, 85959500, 7);
    struct {
        int nRecord, nSlot;
        bool bUsePrev, bTaken;
    } const kCases[] = {
        {90000600, 90000500, false, true},  {90000600, 90000000, false, false},
        {90000000, 90000000, false, true},  {90000499, 90000000, false, true},
        {90000500, 90000000, false, false}, {90000999, 90000500, false, true},
        {90001000, 90000500, false, false}, {90000499, 90000500, false, false},
        {90000600, 90000500, true, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.nRecord << " " << c.nSlot << " " << c.bUsePrev);
        const QRXDefine_Future record = At(kDay, c.nRecord, 3);
        QRXDefine_Future slot = At(1, 2, 9);
        CFAlign::CompareCursorTimeAndAssign(&slot, &record, 0, &previous, c.nSlot, c.bUsePrev);
        QRXDefine_Future expected = c.bTaken ? record : previous;
        if (!c.bTaken) expected.iVolume = expected.iTurnover = 0;
        EXPECT_EQ(memcmp(&slot, &expected, sizeof slot), 0);
        // A negative cursor repeats; without a previous slot nothing is touched.
        CFAlign::CompareCursorTimeAndAssign(&slot, &record, -1, &previous, c.nRecord, false);
        EXPECT_EQ(+slot.nTime, +previous.nTime);
        slot = At(1, 2, 9);
        const QRXDefine_Future* pNone = nullptr;
        CFAlign::CompareCursorTimeAndAssign(&slot, &record, -1, pNone, c.nSlot, c.bUsePrev);
        EXPECT_EQ(+slot.iVolume, 9);
    }
}

TEST(SnapshotAlign, Merging) {
    const std::vector<QRXDefine_Future> day = {At(kDay, 1, 2), At(kDay, 2, 3), At(kDay, 3, 4)};
    struct {
        int nFrom, nTo, nVolume, nAccVolume, nAccTurnover;  // volume 0: nothing written
    } const kCases[] = {{0, 2, 9, 1004 + 9, 5040 + 90},
                        {1, 1, 3, 1003 + 3, 5030 + 30},
                        {2, 2, 4, 1008, 5080},
                        {1, 0, 0, 0, 0},
                        {-1, 1, 0, 0, 0},
                        {0, 3, 0, 0, 0},
                        {3, 3, 0, 0, 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.nFrom << " to " << c.nTo);
        QRXDefine_Future merged{};
        CFAlign::MergeRecords(&merged, day.data(), 3, c.nFrom, c.nTo);
        EXPECT_EQ(+merged.iVolume, c.nVolume);
        EXPECT_EQ(+merged.iTurnover, c.nVolume * 10);
        EXPECT_EQ(+merged.iAccVolume, c.nAccVolume);
        EXPECT_EQ(+merged.iAccTurnover, c.nAccTurnover);
        EXPECT_EQ(+merged.nTime, c.nVolume == 0 ? 0 : day[static_cast<size_t>(c.nTo)].nTime);
    }
}

TEST(SnapshotAlign, Settlement) {
    std::vector<QRXDefine_Future> day = {At(kDay, 1), At(kDay, 2), At(kDay, 3)};
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 3), 0);
    day[0].nSettle = 5;
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 3), 5);
    day[1].nSettle = 6;
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 3), 6);
    EXPECT_EQ(CFAlign::GetSettlePrice(day.data(), 0), 0);
}

TEST(SnapshotAlign, CuttingRuns) {
    std::vector<QRXDefine_Future> day = {At(kDay, 5), At(kDay, 9), At(kDay, 12), At(kDay + 1, 3)};
    struct {
        int nOffset, nMaxTime, nFound, nItems, nDate;  // nFound -1: null
    } const kCases[] = {{0, 10, 0, 2, kDay}, {0, 99, 0, 3, kDay},     {0, 4, -1, 0, 0},
                        {2, 12, 2, 1, kDay}, {3, 99, 3, 1, kDay + 1}, {4, 99, -1, 0, 0},
                        {-1, 99, -1, 0, 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.nOffset << " up to " << c.nMaxTime);
        int nOffset = c.nOffset;
        int nItems = -7;
        int nDate = -7;
        const QRXDefine_Future* pRun = NightAlign::FindTurdayMaxTimeRecord(
            day.data(), 4, &nOffset, &nItems, &nDate, c.nMaxTime);
        EXPECT_EQ(pRun, c.nFound < 0 ? nullptr : day.data() + c.nFound);
        EXPECT_EQ(nOffset, c.nOffset + c.nItems);
        EXPECT_EQ(nItems, c.nItems);
        EXPECT_EQ(nDate, c.nDate);
    }
    int nOffset = 0;
    EXPECT_DEATH(NightAlign::FindTurdayMaxTimeRecord(day.data(), 4, &nOffset, nullptr, &nOffset, 5),
                 "BusinessConverter:.*Assertion `pFilteredItem && pOffset && pSegDate' failed");
}

}  // namespace
}  // namespace qrx::test
