// The decoder of calculation answers, on bytes built by hand: the written cases, every cut, and
// answers that lie. Bodies are held in exact allocations, so that a sanitizer sees each stray byte.
#include "formula/calc_decode.h"

#include <gtest/gtest.h>
#include <qrx/qrx.h>

#include <memory>
#include <random>

#include "codec/integer.h"
#include "codec/wire.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

std::string V32(int n) {
    char bytes[4];
    return {bytes, static_cast<size_t>(compressData32(bytes, n))};
}
std::string V64(long long n) {
    char bytes[8];
    return {bytes, static_cast<size_t>(compressData(n, bytes))};
}
std::string Name(const std::string& strName) {
    return static_cast<char>(strName.size()) + strName;
}
std::string Head(int nFlags, int nColumns, int nTimeUnit = 1) {
    ZPMDefine_CalcFormula_Head head{};
    memcpy(head.chCode, "rb1705", 6);
    memcpy(head.chMarket, "SHF", 3);
    head.nTimeUnit = nTimeUnit;
    head.nFlags = nFlags;
    head.nColumns = nColumns;
    return Bytes(head);
}

const std::string kDate = V32(20170103 - 19900101);
const std::string kOneRow = V32(1) + kDate;

// Indicators of one row, whose cells count up.
std::string Columns(int n) {
    std::string strAll;
    for (int i = 0; i < n; ++i) strAll += Name("C") + V32(0) + V32(0) + V64(i);
    return strAll;
}

struct Result {
    QRXDefine_CalcFormulaRes res;
    int nResult;
    explicit Result(const std::string& strBody) {
        memset(&res, 0x5A, sizeof res);  // the decoder clears it
        const std::unique_ptr<char[]> pBody(new char[strBody.size()]);
        memcpy(pBody.get(), strBody.data(), strBody.size());
        nResult = formula::DecodeCalcAnswer(pBody.get(), strBody.size(), &res);
    }
    ~Result() { QRX_ReleaseCalcFormula(&res); }
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;

    std::vector<int> Column(int i) const {
        return {res.pnFieldData[i], res.pnFieldData[i] + res.nRecordCount};
    }
    // As after a failure: nothing that could be released or shown.
    bool Empty() const {
        for (int i = 0; i < QRX_FORMULA_MAX_FIELDS; ++i) {
            if (res.pnFieldData[i] != nullptr || res.chFieldName[i][0] != 0) return false;
        }
        return res.nRecordCount == 0 && res.nFieldCount == 0;
    }
};

// Three rows on two days, times in milliseconds, an indicator from row 1 on.
std::string Sample() {
    return Head(2, 1) + V32(3) +                                       //
           kDate + V32(0) + V32(1) +                                   // dates
           V32(34200000) + V32(60000) + V32(34200500) +                // times
           Name("DIF") + V32(1) + V32(2) + V64(4294967301) + V64(-7);  // 5 in the low 32 bits
}

TEST(CalcDecode, Columns) {
    const Result r(Sample());
    ASSERT_EQ(r.nResult, 0);
    EXPECT_STREQ(r.res.szVelaCode, "RB1705.SHF");
    EXPECT_EQ(std::string(r.res.szCode, 8), std::string("rb1705\0\0", 8));
    EXPECT_EQ(r.res.nRecordCount, 3);
    ASSERT_EQ(r.res.nFieldCount, 3);
    const char* kNames[] = {"Date", "Time", "DIF"};
    for (int i = 0; i < 3; ++i) EXPECT_STREQ(r.res.chFieldName[i], kNames[i]);
    EXPECT_EQ(r.Column(0), (std::vector<int>{20170103, 20170103, 20170104}));
    EXPECT_EQ(r.Column(1), (std::vector<int>{93000000, 93100000, 93000500}));
    EXPECT_EQ(r.Column(2), (std::vector<int>{0, 5, -2}));
}

TEST(CalcDecode, WrittenCases) {
    // Times of unit 60: 570000 is 09:30, and the running time goes on within a day.
    const Result minutes(Head(2, 0, 0) + V32(2) + kDate + V32(0) + V32(570000) + V32(1000));
    ASSERT_EQ(minutes.nResult, 0);
    EXPECT_EQ(minutes.Column(1), (std::vector<int>{93000000, 93100000}));

    // Rows 5 to 99 of 100; a name of 30 characters is cut to 28, an empty one stays empty.
    std::string strBody = Head(1, 2) + V32(100) + kDate;
    for (int i = 1; i < 100; ++i) strBody += V32(1);
    for (const std::string& strName : {std::string(30, 'N'), std::string()}) {
        strBody += Name(strName) + V32(5) + V32(99);
        for (int i = 5; i < 100; ++i) strBody += V64(2);
    }
    const Result late(strBody);
    ASSERT_EQ(late.nResult, 0);
    ASSERT_EQ(late.res.nFieldCount, 3);
    EXPECT_EQ(std::string(late.res.chFieldName[1], 28), std::string(28, 'N'));
    EXPECT_EQ(late.res.chFieldName[2][0], 0);
    EXPECT_EQ(late.Column(1)[4], 0);
    EXPECT_EQ(late.Column(1)[5], 2);
    EXPECT_EQ(late.Column(2)[99], 190);

    // A column without rows takes the rows away, and counts.
    const Result none(Head(0, 1) + V32(1) + kDate + Name("A") + V32(1) + V32(0));
    EXPECT_EQ(none.nResult, 0);
    EXPECT_EQ(none.res.nRecordCount, 0);
    EXPECT_EQ(none.res.nFieldCount, 2);
    EXPECT_NE(none.res.pnFieldData[0], nullptr);
    EXPECT_EQ(none.res.pnFieldData[1], nullptr);

    // Fifty columns are the most there can be.
    const Result fifty(Head(0, 49) + kOneRow + Columns(49));
    ASSERT_EQ(fifty.nResult, 0);
    EXPECT_EQ(fifty.res.nFieldCount, 50);
    EXPECT_EQ(fifty.Column(49), std::vector<int>{48});
}

TEST(CalcDecode, AnswersThatLie) {
    const struct {
        const char* szWhat;
        std::string strBody;
    } kCases[] = {
        {"head only", Head(0, 0)},
        {"no rows", Head(0, 0) + V32(0) + kDate},
        {"negative rows", Head(0, 0) + V32(-1) + kDate},
        {"fifty-one columns", Head(0, 50) + kOneRow + Columns(50)},
        {"fifty-one columns with the time", Head(2, 49) + kOneRow + V32(0) + Columns(49)},
        {"columns without end", Head(0, 0x7FFFFFFF) + kOneRow},
        {"negative first row", Head(0, 1) + kOneRow + Name("A") + V32(-1) + V32(0) + V64(1)},
        {"negative rows of a column", Head(0, 1) + kOneRow + Name("A") + V32(-1) + V32(-2)},
        {"name cut off", Head(0, 1) + kOneRow + "\xff" + "abc"},
        {"more rows than bytes", Head(0, 0) + V32(1000) + std::string(999, '\0')},
        {"more rows than memory", Head(2, 48) + V32(536870911) + std::string(100, '\0')},
        {"last cell cut off",
         Head(0, 1) + kOneRow + Name("A") + V32(0) + V32(0) + std::string("\x70\1\1\1\1\1\1")},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szWhat);
        const Result r(c.strBody);
        EXPECT_TRUE(r.nResult == -3 || r.nResult == -4) << r.nResult;
        EXPECT_TRUE(r.Empty());
    }
    EXPECT_EQ(Result(Head(0, -5) + kOneRow).nResult, 0);  // no indicators
    EXPECT_DEATH(Result(Head(0, 1) + kOneRow + Name("A") + V32(0) + V32(1) + V64(1) + V64(1)),
                 "MarketDataSource:.*Assertion `nEnd \\+ 1 == pResult->nRecordCount' failed");
}

TEST(CalcDecode, EveryCut) {
    const std::string strBody = Sample();
    for (size_t n = 0; n < strBody.size(); ++n) {
        const Result r(strBody.substr(0, n));
        EXPECT_EQ(r.nResult, -3) << n;
        EXPECT_TRUE(r.Empty()) << n;
    }
    EXPECT_EQ(Result(strBody + "more").nResult, 0);
}

// Bytes turned at random. A column of no rows makes any later column disagree and stops the
// process, so the last rows that are read are kept out of it: dates and times only.
TEST(CalcDecode, RandomBytes) {
    std::mt19937 random(6057);
    for (int i = 0; i < 20000; ++i) {
        std::string strBody =
            Head(static_cast<int>(random() % 4), 0, static_cast<int>(random() % 2));
        strBody += V32(static_cast<int>(1 + random() % 12));
        for (unsigned n = random() % 64; n > 0; --n) strBody += static_cast<char>(random());
        const Result r(strBody);
        if (r.nResult == 0) {
            EXPECT_GT(r.res.nRecordCount, 0);
        } else {
            EXPECT_TRUE(r.nResult == -3 && r.Empty());
        }
    }
}

}  // namespace
}  // namespace qrx::test
