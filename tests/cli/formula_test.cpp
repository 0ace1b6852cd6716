// Formulas through the command line: stored, listed, shown, deleted, refused, evaluated.
#include <map>

#include "cli/calculated.h"
#include "cli/market.h"

namespace qrx::test {
namespace {

class Formulas : public testing::Test {
protected:
    bool Handle(Peer& peer, const Message& request) {
        const std::string strName(request.strBody.c_str());
        if (request.head.sDataType == ID_ZPMTELE_FORMULA_ADD) {
            const std::string strText(request.strBody.c_str() + 32);
            ZPMDefine_AddFormulaAnswer answer{};
            answer.nResult = strText == "BAD" ? 1 : 0;
            strcpy(answer.szAddInfo, answer.nResult != 0 ? "line 1: unknown name BAD" : "new");
            if (answer.nResult == 0) m_stored[strName] = strText;
            return peer.Answer(request, ID_ZPMTELE_FORMULA_ADD_ANSWER, Bytes(answer));
        }
        if (request.head.sDataType == ID_ZPMTELE_FORMULA_DELETE) {
            ZPMDefine_DelFormulaAnswer answer{};
            answer.nResult = strName == "KEEP" ? 1 : 0;
            if (answer.nResult == 0) m_stored.erase(strName);
            strcpy(answer.szDelInfo, answer.nResult != 0 ? "in use" : "");
            return peer.Answer(request, ID_ZPMTELE_FORMULA_DELETE_ANSWER, Bytes(answer));
        }
        if (request.head.sDataType == ID_ZPMTELE_FORMULA_CALC) {
            m_calc = request.As<ZPMDefine_RequestCalcFormula>();
            // One column, which begins in the second row.
            const Calculated two = {{kFriday, kMonday},
                                    {34260000, 34320000},
                                    {{"\xBF\xEC"
                                      "DIF",
                                      {-12345}}}};
            return peer.Answer(request, ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN, two.Answer());
        }
        ZPMDefine_FormulaList_Head head{0, sizeof(ZPMDefine_FormulaItem)};
        std::string strItems;
        for (const auto& [strStored, strText] : m_stored) {
            if (!strName.empty() && strStored != strName) continue;
            ZPMDefine_FormulaItem item{};
            strStored.copy(item.szName, sizeof item.szName);
            strText.copy(item.szText, sizeof item.szText);
            strItems += Bytes(item);
            ++head.nItems;
        }
        return peer.Answer(request, ID_ZPMTELE_FORMULA_GET_ANSWER, Bytes(head) + strItems);
    }

    std::map<std::string, std::string> m_stored;
    ZPMDefine_RequestCalcFormula m_calc{};
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return Handle(peer, request); },
                NamedMarkets())};
    Cli m_cli{m_server.Port()};
};

TEST_F(Formulas, FromAddToDelete) {
    EXPECT_EQ(m_cli.Run("formula list"), 3);
    std::ofstream(m_cli.Folder() / "f") << "\xEF\xBB\xBF"
                                        << "A = CLOSE\nB = OPEN";
    std::ofstream(m_cli.Folder() / "nul") << "A = CLOSE" << '\0' << "B = OPEN";
    std::ofstream(m_cli.Folder() / "big") << std::string(1048576, 'x');
    struct Case {
        const char* szArguments;
        int nExit;
        const char* szOut;
        const char* szErr;  // a part of it
    };
    const Case kCases[] = {
        {"formula add \u5FEB --file f", 0, "stored \u5FEB: new\n", ""},
        {"formula add KEEP --text X=1", 0, "stored KEEP: new\n", ""},
        {"formula add MACD --text BAD", 10, "", "line 1: unknown name BAD"},
        {"formula add MACD --file big", 2, "", "1048575"},
        {"formula add MACD --file nul", 2, "", "zero byte after 9 others"},
        {"formula add 123456789012345678901234 --text X", 2, "", "more than 23 bytes"},
        {"formula list -f csv", 0, "name,text\nKEEP,X=1\n\u5FEB,A = CLOSE B = OPEN\n", ""},
        {"formula show \u5FEB", 0, "A = CLOSE\nB = OPEN\n", ""},
        {"formula show NONE", 3, "", "no formulas named NONE"},
        {"formula delete KEEP", 10, "", "in use"},
        {"formula delete \u5FEB", 0, "deleted \u5FEB\n", ""},
        {"formula delete \u5FEB", 3, "", "no formulas"}};
    for (const Case& test : kCases) {
        EXPECT_EQ(m_cli.Run(test.szArguments), test.nExit) << test.szArguments << m_cli.Err();
        EXPECT_EQ(m_cli.Out(), test.szOut);
        EXPECT_NE(m_cli.Err().find(test.szErr), std::string::npos) << m_cli.Err();
    }
}

TEST_F(Formulas, Calculate) {
    ASSERT_EQ(m_cli.Run("formula calc MACD 600000.SH --cycle 5m --from 20240105 --to 20240108 "
                        "--param N=5;M=20 --adjust backward -f csv"),
              0)
        << m_cli.Err();
    EXPECT_EQ(m_cli.Out(),
              "code,date,time,\u5FEBDIF\n600000.SH,2024-01-05,09:31:00.000,0\n"
              "600000.SH,2024-01-08,09:32:00.000,-12345\n");
    EXPECT_STREQ(m_calc.szName, "MACD");
    EXPECT_STREQ(m_calc.szParam, "N=5;M=20");
    EXPECT_EQ(m_calc.nCycDef, 5);
    EXPECT_EQ(m_calc.nCQFlag, 2);
    EXPECT_EQ(m_calc.nBeginDate, kFriday);
    EXPECT_EQ(m_calc.nEndDate, kMonday);
}

}  // namespace
}  // namespace qrx::test
