// Argument checks of the exported functions: what is required, and which outputs are touched.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "api/inner.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

TEST(Api, CodeCheck) {
    const struct {
        const char* szCode;
        int nLen;
        bool bOk;
    } kCases[] = {{"600000.SH", 32, true}, {"A.B.C", 32, true},     {".SH", 32, false},
                  {"600000.", 32, false},  {"600000", 32, false},   {"", 32, false},
                  {nullptr, 32, false},    {"600000.SH", 0, false}, {"600000.SH", 7, false},
                  {"600000.SH", 8, true},  {"a..", 32, false},      {"..a", 32, true}};
    for (const auto& c : kCases)
        EXPECT_EQ(QRXInner::CheckVelaCode(c.szCode, c.nLen), c.bOk) << c.szCode;
}

// Every data call with a bad code leaves its outputs alone; with an unknown handle it clears what
// it clears, and says -11.
template <class Request, class Record>
void CheckDataCall(int (*pfn)(void*, const Request*, Record**, int*), bool bArrayRequired,
                   bool bClearsCount) {
    int nForeign = 0;
    Record mark;
    Record* pData = &mark;
    int nCount = 77;
    auto request = RequestFor<Request>("600000");
    EXPECT_EQ(pfn(&nForeign, &request, &pData, &nCount), -11);
    EXPECT_EQ(pData, &mark);
    EXPECT_EQ(nCount, 77);
    memset(request.chCode, 'x', sizeof request.chCode);  // no terminator, no dot
    EXPECT_EQ(pfn(&nForeign, &request, &pData, &nCount), -11);
    request = RequestFor<Request>("600000.SH");
    EXPECT_EQ(pfn(nullptr, &request, &pData, &nCount), -11);
    EXPECT_EQ(pfn(&nForeign, nullptr, &pData, &nCount), -11);
    EXPECT_EQ(pfn(&nForeign, &request, &pData, nullptr), -11);
    EXPECT_EQ(pData, &mark);
    nCount = 77;
    EXPECT_EQ(pfn(&nForeign, &request, nullptr, &nCount), -11);
    EXPECT_EQ(nCount, bArrayRequired ? 77 : 0);
    nCount = 77;
    EXPECT_EQ(pfn(&nForeign, &request, &pData, &nCount), -11);
    EXPECT_EQ(pData, nullptr);
    EXPECT_EQ(nCount, bClearsCount ? 0 : 77);
}

TEST(Api, DataCalls) {
    CheckDataCall(&QRX_GetKLine, false, true);
    CheckDataCall(&QRX_GetTick, false, true);
    CheckDataCall(&QRX_GetTickAB, false, true);
    CheckDataCall(&QRX_GetTransaction, true, true);
    CheckDataCall(&QRX_GetOrder, true, true);
    CheckDataCall(&QRX_GetOrderQueue, true, true);
    CheckDataCall(&QRX_GetFuture, true, false);
    CheckDataCall(&QRX_GetFutureAB, true, false);
}

TEST(Api, OtherCalls) {
    int nForeign = 0;
    void* h = &nForeign;
    QRXDefine_ResLogin login;
    memset(&login, 0x5A, sizeof login);
    EXPECT_EQ(QRX_Open(nullptr, &login), nullptr);
    QRXDefine_ResLogin expected{};
    strcpy(expected.szInfo, "invalid param.");
    EXPECT_EQ(memcmp(&login, &expected, sizeof login), 0);
    const OPEN_SETTINGS settings = Settings(1);
    EXPECT_EQ(QRX_OpenProxy(&settings, nullptr, &login), nullptr);
    EXPECT_STREQ(login.szInfo, "invalid param.");

    QRXDefine_AddFormulaRes add;
    memset(&add, 1, sizeof add);
    for (const auto& [szName, szText] :
         {std::pair{"", "x"}, {"x", ""}, {(const char*)nullptr, "x"}}) {
        EXPECT_EQ(QRX_AddFormula(h, szName, szText, &add), -11);
    }
    EXPECT_EQ(add.nAddResult, 0x01010101);
    EXPECT_EQ(QRX_AddFormula(h, "n", "t", &add), -11);
    EXPECT_EQ(add.nAddResult, 0);
    EXPECT_EQ(QRX_AddFormula(h, "n", "t", nullptr), -11);
    QRXDefine_FormulaItem* pItems = reinterpret_cast<QRXDefine_FormulaItem*>(h);
    int nCount = 5;
    EXPECT_EQ(QRX_GetFormula(h, nullptr, &pItems, &nCount), -11);
    EXPECT_EQ(pItems, nullptr);
    EXPECT_EQ(nCount, 0);
    EXPECT_EQ(QRX_GetFormula(h, "x", &pItems, nullptr), -11);
    QRXDefine_DelFormulaRes del;
    memset(&del, 1, sizeof del);
    EXPECT_EQ(QRX_DeleteFormula(h, nullptr, &del), -11);
    EXPECT_EQ(del.szDelInfo[0], 1);
    EXPECT_EQ(QRX_DeleteFormula(h, "x", &del), -11);
    EXPECT_EQ(del.szDelInfo[0], 0);
    QRXDefine_CalcFormulaRes calc;
    memset(&calc, 1, sizeof calc);
    const QRXDefine_ReqCalcFormula request{};
    EXPECT_EQ(QRX_CalcFormula(h, nullptr, &calc), -11);
    EXPECT_EQ(calc.nFieldCount, 0x01010101);
    EXPECT_EQ(QRX_CalcFormula(h, &request, &calc), -11);
    EXPECT_EQ(calc.nFieldCount, 0);
    calc.nFieldCount = 2;
    calc.pnFieldData[1] = new int32_t[3];
    QRX_ReleaseCalcFormula(&calc);
    EXPECT_EQ(calc.pnFieldData[1], nullptr);
    EXPECT_EQ(calc.nFieldCount, 0);
    QRX_ReleaseCalcFormula(nullptr);
    QRX_Free(nullptr);
}

}  // namespace
}  // namespace qrx::test
