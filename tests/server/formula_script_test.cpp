// Formulas as text: what they give, what they are refused for, and what they cannot reach or use
// up.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <vector>

#include "formula/evaluate.h"

namespace qrx::server::formula {
namespace {

// Five bars of closes 3 1 4 1 5, opens of 2.
std::vector<ZPMDefine_KData> Bars() {
    std::vector<ZPMDefine_KData> vec;
    for (const int nClose : {3, 1, 4, 1, 5}) {
        vec.push_back(
            {20240101 + static_cast<int>(vec.size()), 93000, 2, 6, 0, nClose, 100, 7, 0, 9});
    }
    return vec;
}

// "A@1 0 3 1 4 1; ": names, first defined rows and cells.
std::string Text(const std::vector<OutputColumn>& vecColumns) {
    std::string str;
    for (const auto& column : vecColumns) {
        str += column.strName + "@" + std::to_string(column.nStart);
        for (const int n : column.vecCells) str += " " + std::to_string(n);
        str += "; ";
    }
    return str;
}

std::string Result(std::string_view text, const char* szParameters = "",
                   const Bounds& bounds = {}) {
    try {
        return Text(Evaluate(text, ReadParameters(szParameters), Bars(), bounds));
    } catch (const FormulaError& e) {
        return e.what();
    }
}

struct Case {
    const char* szText;
    const char* szPart;  // of the columns or of the refusal
    const char* szParameters = "";
};
void ExpectEach(const std::vector<Case>& vecCases, const Bounds& bounds = {}) {
    for (const Case& test : vecCases) {
        const std::string strResult = Result(test.szText, test.szParameters, bounds);
        EXPECT_NE(strResult.find(test.szPart), std::string::npos)
            << std::string(test.szText, strnlen(test.szText, 80)) << ": " << strResult;
    }
}

TEST(FormulaScript, Gives) {
    ExpectEach({
        {"A = CLOSE > OPEN", "A@0 1 0 1 0 1; "},
        {"A = CLOSE > OPEN and CLOSE > 3 or CLOSE == 1", "A@0 0 1 1 1 1; "},
        {"A = not (CLOSE >= OPEN) == 1; B = not CLOSE - 1", "A@0 0 1 0 1 0; B@0 -1 -1 -1 -1 -1; "},
        {"A = CLOSE ~= 1 and 7 < CLOSE * 2 + 1 B = 2 ^ 2 <= CLOSE",
         "A@0 0 0 1 0 1; B@0 0 0 1 0 1; "},
        {"A = REF(CLOSE, 1)", "A@1 0 3 1 4 1; "},
        {"A = REF(CLOSE, 5)", "A@4 0 0 0 0 0; "},
        {"A = EMA(CLOSE, 3) * 8", "A@0 24 16 24 16 28; "},
        {"A = EMA(CLOSE, 99) * 100", "A@0 300 296 298 294 298; "},
        {"A = MA(CLOSE, 9223372036854775807)", "A@4 0 0 0 0 0; "},
        {"A = SMA(CLOSE, 4, 1) * 64", "A@0 192 160 184 154 196; "},
        {"A = DMA(CLOSE, 0.5) * 8 B = DMA(CLOSE, (CLOSE > 2) * 0.5) * 8",
         "A@0 24 16 24 16 28; B@0 24 24 28 28 34; "},
        {"A = CROSS(CLOSE, OPEN); B = CROSS(4, CLOSE)", "A@1 0 0 1 0 1; B@1 0 0 0 1 0; "},
        {"A = BARSLAST(CLOSE == 4) B = BARSLAST(CLOSE == 9)", "A@2 0 0 0 1 2; B@4 0 0 0 0 0; "},
        {"A = IF(CLOSE > OPEN, CLOSE, -OPEN) B = IF(1 > 2, 5, CLOSE)",
         "A@0 3 -2 4 -2 5; B@0 3 1 4 1 5; "},
        {"A = MAX(CLOSE, OPEN, 3) B = MIN(CLOSE, OPEN) C = ABS(CLOSE - 4)",
         "A@0 3 3 4 3 5; B@0 2 1 2 1 2; C@0 1 3 0 3 1; "},
        {"A = CLOSE % 2 B = -CLOSE // 2 C = HIGH + LOW + VOLUME + AMOUNT + INTEREST",
         "A@0 1 1 0 1 1; B@0 -2 -1 -2 -1 -3; C@0 122 122 122 122 122; "},
        // Halves go away from zero.
        {"A = (2 - CLOSE) / 2", "A@0 -1 1 -1 1 -2; "},
        // Outputs are the globals that end as columns, as first assigned.
        {"B = 1 A = CLOSE N = 3 B = OPEN local C = A D = A D = nil",
         "B@0 2 2 2 2 2; A@0 3 1 4 1 5; "},
        {"A, B = OPEN, CLOSE D = OPEN\nC, D = CLOSE, CLOSE",
         "A@0 2 2 2 2 2; B@0 3 1 4 1 5; D@0 3 1 4 1 5; C@0 3 1 4 1 5; "},
        {"A = SUM(MA(REF(CLOSE, 1), 2), 2)", "A@3 0 0 0 5 5; "},
        {"t = {} for i = 1, 3 do t[i] = REF(CLOSE, i - 1) end A = t[1] + t[2] + t[3]",
         "A@2 0 0 8 6 10; "},
        {"function f(x) if x > 2 then return x * f(x - 1) else return x end end A = CLOSE * f(4)",
         "A@0 72 24 96 24 120; "},
        // A right side that is not needed is not looked at.
        {"local t = nil; A = CLOSE * (t and t.x or 2)", "A@0 6 2 8 2 10; "},
        {"local i = 0 repeat i = i + 1 until i == 3 or i > 9 A = CLOSE + i", "A@0 6 4 7 4 8; "},
        {"local i = 0 ::top:: i = i + 1 if not (i >= 4) then goto top end A = CLOSE + i",
         "A@0 7 5 8 5 9; "},
        {"-- a < b\nlocal s = 'x > \\' y' --[[ not\n and ]] local t = {[ [==[a]]b]==] ] = 1}\n"
         "A = CLOSE -- or",
         "A@0 3 1 4 1 5; "},
        {"N = N or 2 A = REF(CLOSE, N)", "A@2 0 0 3 1 4; "},
        {"N = N or 2 A = REF(CLOSE, N)", "A@1 0 3 1 4 1; ", " N = 1;"},
        {"A = REF(CLOSE, N) * M1", "A@1 0 -8 -3 -10 -3; ", "N=1;M1=-2.5"},
        {"A = CLOSE * 0 + 2147483647.4",
         "A@0 2147483647 2147483647 2147483647 2147483647 2147483647; "},
        {"A = CLOSE * 0 - 2147483648",
         "A@0 -2147483648 -2147483648 -2147483648 -2147483648 -214748364"},
    });
}

TEST(FormulaScript, IsRefusedWithATextThatHelps) {
    std::string strMany;
    for (int i = 0; i < 49; ++i) strMany += "C" + std::to_string(i) + " = CLOSE\n";
    const std::string strDeep = "A = " + std::string(60000, '(') + "CLOSE";
    ExpectEach({
        {"\r\n--\n\nA = \nMA(CLOES, 5)", "line 5: unknown name CLOES"},
        {"A = close", "line 1: unknown name close, is it CLOSE?"},
        {"A = REF(CLOSE, N)", "line 1: unknown name N; as a parameter it needs a value: N=5"},
        {"A = CLOSE", "the formula has no parameter N", "N=5"},
        {"A = N", "is given twice", "N=5;N=6"},
        {"A = N", "parameter \"N=x\"", "N=x"},
        {"A = 1 +\n", "line 2: unexpected end of text"},
        {"if 1 > 2 then\nA = CLOSE", "line 2: end expected for if of line 1"},
        {"A = MA(CLOSE 5)", "line 1: ) expected, not 5"},
        {"A = 'x", "line 1: a text does not end"},
        {"A = CLOSE @", "line 1: unexpected @"},
        {"A = CLOSE \xB2", "line 1: a character that is no ASCII (byte 0xB2)"},
        {"A = MA(CLOSE, 2.5)", "MA: value 2 must be a whole number, not 2.5"},
        {"A = MA(CLOSE, 0)", "MA: value 2 must be at least 1"},
        {"A = STD(CLOSE, 1)", "STD: value 2 must be at least 2"},
        {"A = REF(CLOSE, -1)", "REF: value 2 must be at least 0"},
        {"A = MA(5, 5)", "MA: value 1 must be a column, not a number"},
        {"A = MA(CLOSE)", "MA takes 2 values, not 1"},
        {"A = SMA(CLOSE, 2, 3)", "SMA: "},
        {"if CLOSE > OPEN then A = CLOSE end", "a column is no condition here"},
        {"while CLOSE do end", "a column is no condition here"},
        {"A = CLOSE[1]", "a column has no parts"},
        {"A = CLOSE < 'x'", "a column and a string cannot be compared"},
        {"A = CLOSE + {}", "a column and a table do not go into arithmetic"},
        {"CLOSE = 1", "CLOSE cannot be assigned"},
        {"function MA() end", "MA cannot be assigned"},
        {"\nA = AMOUNT * 1e9", "line 2: A is 7e+09 in row 1 (20240101), 32 bits are sent"},
        {"A = 1 / (CLOSE - 4)", "line 1: A is inf in row 3 (20240103)"},
        {"A = 0 / (CLOSE - 4)", "line 1: A is not a number in row 3"},
        {"A = CLOSE * 0 + 2147483647.5", "32 bits"},
        {"local a = CLOSE", "no column is assigned"},
        {"date = CLOSE", "a column cannot be named date"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZ_2 = CLOSE", "has 28 characters, at most 27"},
        {strMany.c_str(), "line 49: 49 columns are too many, at most 48"},
        {strDeep.c_str(), "line 1: nested too deeply"},
    });
}

TEST(FormulaSandbox, HasNoWayOut) {
    std::istringstream names(
        "_G assert collectgarbage coroutine debug dofile error getmetatable io ipairs load "
        "loadfile "
        "math next os package pairs pcall print rawequal rawget rawlen rawset require select "
        "setmetatable string table tonumber tostring type utf8 warn xpcall _VERSION");
    for (std::string strName; names >> strName;) {
        EXPECT_EQ(Result("A = CLOSE x = " + strName), "line 1: unknown name " + strName);
    }
    ExpectEach({
        {"x = ('x'):rep(1e9)", "attempt to index a string value"},
        {"x = ('x').format", "attempt to index a string value"},
        {"x = 'x' .. 'y'", "do not join texts with \"..\""},
        {"x = '10' + 1", "string value"},
        {"x = _ENV", "the name _ENV is not open"},
        {"local _ENV = {}", "the name _ENV is not open"},
        {"local x <close> = nil", "only <const>"},
        {"__lt = 1", "the name __lt is not open"},
        {"x = CLOSE.__index", "the name __index is not open"},
        {"x = CLOSE['__index']", "a column has no parts"},
        {"CLOSE.x = 1", "a column has no parts"},
        {"x = CLOSE()", "attempt to call a column value"},
        {"for k, v in {} do end", "attempt to call a table value"},
        {"local less = ...", "line 1: ... stands for nothing outside a function"},
        {"\x1bLua", "unexpected 0x1B"},
        {"#!/bin/sh\nA = CLOSE", "line 1: unexpected !"},
    });
}

TEST(FormulaSandbox, HasBounds) {
    const std::string strLong = "t = {} t['" + std::string(60000, 'x') +
                                "'] = 1 while true do x = t['" + std::string(60000, 'x') + "'] end";
    std::string strAnds = "A = CLOSE > 1";
    for (int i = 0; i < 200; ++i) strAnds += " and CLOSE > 1";
    ExpectEach(
        {
            {"while true do end", "line 1: takes too many steps"},
            {"\n::a:: goto a", "line 2: takes too many steps"},
            {"repeat until false", "takes too many steps"},
            {"for i = 1, 1e18 do end", "takes too many steps"},
            {"for i = 1, 1e18 do local x = MA(CLOSE, 2) end", "takes too many steps"},
            {"for i = 1, 1e18 do local x = CLOSE > i and i < CLOSE end", "takes too many steps"},
            {"function f() return f() end f()", "takes too many steps"},
            {"function f() return 1 + f() end f()", "takes too much memory"},
            {"function f() return true and f() and 1 end f()", "nested too deeply"},
            {"t = {} for i = 1, 1e18 do t[i] = i end", "takes too much memory"},
            {"t = {} for i = 1, 1e18 do t = {t} end", "takes too much memory"},
            {"t = {} for i = 1, 1e18 do t[i] = CLOSE * i end", "takes too much memory"},
            {"t = {} for i = 1, 1e18 do t[i] = function() return i end end",
             "takes too much memory"},
            {strLong.c_str(), "takes too many steps"},
            {strAnds.c_str(), "A@0 1 0 1 0 1; "},
        },
        {5'000'000, size_t{8} << 20, 20000});
    EXPECT_LT(Result("A = CLOSE * " + std::string(60000, 'x')).size(), 600U);  // goes into logs

    // Rows that columns work on count, and the clock is looked at there, too.
    const std::vector<ZPMDefine_KData> vecBars(200000, Bars()[0]);
    const auto why = [&](const char* szText, const Bounds& limits) -> std::string {
        try {
            Evaluate(szText, {}, vecBars, limits);
            return "";
        } catch (const FormulaError& e) {
            return e.what();
        }
    };
    const char* szWork = "for i = 1, 1000 do local x = AVEDEV(CLOSE, 5) end A = CLOSE";
    EXPECT_NE(why(szWork, {5'000'000, size_t{64} << 20, 60000}).find("too many steps"),
              std::string::npos);
    EXPECT_NE(why(szWork, {~uint64_t{0}, size_t{64} << 20, 100}).find("too long, more than 100 ms"),
              std::string::npos);
    // So does what a window needs while it slides, besides two columns of 1.6 MB: two rows of sums
    // of 24 bytes for HHV; for AVEDEV 64 bytes a row, of which all rows are at work at a time.
    // What earlier calls have left behind goes before anything is refused.
    for (const auto& [szText, nEnough] :
         {std::pair("A = HHV(CLOSE, 100000)", 9), std::pair("A = AVEDEV(CLOSE, 100000)", 17),
          std::pair("for i = 1, 20 do local x = HHV(CLOSE, 100000) end A = CLOSE", 9)}) {
        const auto with = [](int nMegabytes) {
            return Bounds{~uint64_t{0}, size_t(nMegabytes) << 20, 60000};
        };
        EXPECT_EQ(why(szText, with(nEnough)), "") << szText;
        const std::string strWant = "line 1: takes too much memory, more than ";
        EXPECT_EQ(why(szText, with(nEnough - 2)), strWant + std::to_string(nEnough - 2) + " MB");
    }
    EXPECT_EQ(why("\nA = CLOSE + OPEN", {1000000, size_t{2} << 20, 1000}),
              "line 2: takes too much memory, more than 2 MB");
    std::string strCells;
    for (int i = 0; i < 48; ++i)
        strCells += "local x" + std::to_string(i) + " A" + std::to_string(i) + " = CLOSE ";
    EXPECT_EQ(why(strCells.c_str(), {}), "");
    const std::vector<ZPMDefine_KData> vecMore(250000, Bars()[0]);
    EXPECT_THROW(Evaluate(strCells, {}, vecMore), FormulaError);  // twelve million cells
}

// Whatever comes, there is an answer or a refusal, and an answer that no client stops at.
TEST(FormulaSandbox, RandomTextsDoNoHarm) {
    std::istringstream words(
        "CLOSE OPEN A B N x t 1 5 0.5 1e9 's' = == < >= ~= + - * / % ^ ( ) { } [ ] , ; : . and or "
        "not nil true if then else end while do for in repeat until function return local goto :: "
        "break MA(CLOSE,5) SUM( REF( IF( MAX( EMA(CLOSE,N) A=CLOSE t={} -- [[ ]] B=A # "
        "... ' \" \\ \x80 !");
    std::vector<std::string> vecPieces{std::istream_iterator<std::string>(words), {}};
    vecPieces.emplace_back("\n");
    const Bounds bounds{20000, size_t{1} << 20, 1000};
    std::mt19937 random(7);
    int nGood = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string strText = i % 2 == 0 ? "A = CLOSE " : "";
        for (size_t n = random() % 14; n > 0; --n) {
            strText += vecPieces[random() % vecPieces.size()] + " ";
        }
        try {
            for (const auto& column : Evaluate(strText, {}, Bars(), bounds)) {
                ++nGood;
                ASSERT_LE(column.nStart, 4U) << strText;
                ASSERT_EQ(column.vecCells.size(), 5U) << strText;
            }
        } catch (const FormulaError& e) {
            ASSERT_STRNE(e.what(), "") << strText;
        }
    }
    EXPECT_GT(nGood, 500);
}

// The three examples of docs/formulas.md, with the bars and the results that stand there.
TEST(FormulaExamples, GiveWhatTheDocumentSays) {
    std::ifstream file(QRX_SOURCE_DIR "/docs/formulas.md");
    std::vector<std::string> vecTexts;
    bool bExamples = false;
    bool bBefore = false;
    for (std::string strLine; std::getline(file, strLine);) {
        if (strLine.starts_with("## ")) bExamples = strLine == "## Three worked examples";
        const bool bCode = bExamples && strLine.starts_with("    ");
        if (bCode && !bBefore) vecTexts.emplace_back();
        if (bCode) vecTexts.back() += strLine + "\n";
        bBefore = bCode;
    }
    ASSERT_EQ(vecTexts.size(), 3U);
    const auto result = [&](size_t i, const Parameters& parameters,
                            const std::vector<std::array<int, 3>>& vecPrices) {
        std::vector<ZPMDefine_KData> vecBars;
        for (const auto& [nLow, nHigh, nClose] : vecPrices) {
            vecBars.push_back({20240105, 0, nClose, nHigh, nLow, nClose, 1, 1, 1, 0});
        }
        return Text(Evaluate(vecTexts[i], parameters, vecBars));
    };
    EXPECT_EQ(result(0, {}, {{0, 0, 100000}, {0, 0, 113000}}),
              "DIF@0 0 1037; DEA@0 0 207; MACD@0 0 1659; ");
    EXPECT_EQ(result(1, {{"N", 2}}, {{9, 11, 10}, {10, 13, 12}}),
              "K@1 0 7500; D@1 0 7500; J@1 0 7500; ");
    EXPECT_EQ(result(2, {{"N", 3}}, {{0, 0, 100000}, {0, 0, 101000}, {0, 0, 102000}}),
              "MID@2 0 0 101000; UPPER@2 0 0 103000; LOWER@2 0 0 99000; ");
}

}  // namespace
}  // namespace qrx::server::formula
