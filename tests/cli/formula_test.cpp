// Formulas from the command line to the real server and back, for two users; what is asked for, and
// what no real server answers.
#include "cli/calculated.h"
#include "cli/market.h"

namespace qrx::test {
namespace {

TEST(Formulas, TwoUsersFromAddToDelete) {
    if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
    const ScratchFolder folder;
    const std::string strPassword = folder.Write("password", "secret\n");
    std::string strBars = "code,date,open,high,low,close,volume\n";
    for (int i = 0; i < 12; ++i) {  // closes 10.0, 10.5, 11.0, ...
        strBars += "600000.SH,202401" + std::to_string(10 + i) + ",10,20,9," +
                   std::to_string(10 + i / 2) + (i % 2 != 0 ? ".5" : ".0") + ",100\n";
    }
    const std::vector<std::vector<std::string>> vecCommands = {
        {"init"},
        {"user", "add", "user", "--markets", "SH", "--password-file", strPassword},
        {"user", "add", "other", "--markets", "SH", "--password-file", strPassword},
        {"import", "codes",
         folder.Write("c.csv", "code,type\n600000.SH,stock\n10-C-3500.SH,option\n")},
        {"import", "bars", "--cycle", "day", folder.Write("b.csv", strBars)}};
    for (auto vecCommand : vecCommands) {
        vecCommand.insert(vecCommand.end(), {"--db", folder.Path("store.db")});
        ASSERT_EQ(RunServerCommand(vecCommand).nExit, 0);
    }
    const ServerProcess server(folder, folder.Path("store.db"));
    Cli user(server.Port());
    Cli other(server.Port());
    other.Set("QRX_USER", "other");
    std::ofstream(user.Folder() / "macd") << "DIF = EMA(CLOSE, 12) - EMA(CLOSE, 26)\n"
                                             "DEA = EMA(DIF, 9)\nMACD = (DIF - DEA) * 2\n";
    std::ofstream(other.Folder() / "mark") << "\xEF\xBB\xBF"
                                           << "A = CLOSE\nB = OPEN";
    std::ofstream(user.Folder() / "nul") << "A = CLOSE" << '\0' << "B = OPEN";
    std::ofstream(user.Folder() / "big") << std::string(1048576, 'x');
    std::ofstream(user.Folder() / "mid") << "MID = MA(CLOSE, N)\nUP = CROSS(CLOSE, MID + 100)\n";
    const std::string strCalc = "formula calc MID 600000.SH --from 20240110 --to 20240113 ";
    const struct {
        Cli& cli;
        std::string strArguments;
        int nExit;
        std::string strOut;
        std::string strErr;  // a part of it
    } kCases[] = {
        {user, "formula add MACD --file macd", 0, "stored MACD: new; gives DIF DEA MACD\n", ""},
        {user, "formula add MID --file mid", 0, "stored MID: new; needs N; gives MID UP\n", ""},
        {user, "formula add BAD --text A=CLOES", 10, "", "line 1: unknown name CLOES"},
        {user, "formula add BAD --file big", 2, "", "1048575"},
        {user, "formula add BAD --file nul", 2, "", "zero byte after 9 others"},
        {user, "formula add 123456789012345678901234 --text X", 2, "", "more than 23 bytes"},
        {other, "formula list", 3, "", "no formulas"},
        {other, strCalc + "--param N=2", 3, "", "the server's log says why"},
        {other, "formula add MID --text A=OPEN", 0, "stored MID: new; gives A\n", ""},
        {user, "formula show MID", 0, "MID = MA(CLOSE, N)\nUP = CROSS(CLOSE, MID + 100)\n", ""},
        // Means of two closes 0.5 apart; above one and 0.01 more from its first row on.
        {user, strCalc + "--param N=2 -f csv", 0,
         "code,date,MID,UP\n600000.SH,2024-01-10,0,0\n600000.SH,2024-01-11,102500,0\n"
         "600000.SH,2024-01-12,107500,0\n600000.SH,2024-01-13,112500,0\n",
         ""},
        {user, strCalc, 3, "", "the server's log says why"},
        // Names that SQLite takes for one: of columns, and of tables.
        {user, "formula add TWO --text A=OPEN;a=HIGH", 0, "stored TWO: new; gives A a\n", ""},
        {user, "formula calc TWO 600000.SH --from 20240110 -o two.sqlite", 0, "", ""},
        {user, "formula add two --text A=OPEN;a=HIGH", 0, "stored two: new; gives A a\n", ""},
        {user, "formula calc two 600000.SH --from 20240110 -o two.sqlite", 9, "", "letter case"},
        {user, "formula calc MID 10-C-3500.SH", 2, "", "codes of at most 8 characters, not 10-C"},
        // On a straight line each mean lags behind: 5000 a day, shares of 2/13 and 2/27.
        {user, "formula calc MACD 600000.SH --from 20240110 --to 20240111 -f csv", 0,
         "code,date,DIF,DEA,MACD\n600000.SH,2024-01-10,0,0,0\n"
         "600000.SH,2024-01-11,399,80,638\n",
         ""},
        {other, "formula add \u5FEB --file mark", 0, "stored \u5FEB: new; gives A B\n", ""},
        {other, "formula list -f csv", 0, "name,text\nMID,A=OPEN\n\u5FEB,A = CLOSE B = OPEN\n", ""},
        {other, "formula show \u5FEB", 0, "A = CLOSE\nB = OPEN\n", ""},
        {other, "formula show NONE", 3, "", "no formulas named NONE"},
        {other, "formula delete \u5FEB", 0, "deleted \u5FEB: no longer stored\n", ""},
        {other, "formula delete \u5FEB", 3, "", "no formulas"},
        {user, "formula delete MID", 0, "deleted MID: no longer stored\n", ""},
        {other, "formula show MID", 0, "A=OPEN\n", ""},
    };
    for (const auto& test : kCases) {
        EXPECT_EQ(test.cli.Run(test.strArguments), test.nExit) << test.strArguments;
        EXPECT_EQ(test.cli.Out(), test.strOut) << test.strArguments;
        EXPECT_NE(test.cli.Err().find(test.strErr), std::string::npos) << test.cli.Err();
    }
    const std::string strLog = server.Log();
    EXPECT_NE(strLog.find("user \"other\" formula \"MID\" over 600000.SH: no formula of this name"),
              std::string::npos);
    EXPECT_NE(strLog.find("user \"user\" formula \"MID\" over 600000.SH: line 1: unknown name N"),
              std::string::npos);
}

TEST(Formulas, KeptByTheServer) {
    ScriptedServer server(Serving(
        [](Peer& peer, const Message& request) {
            ZPMDefine_DelFormulaAnswer answer{};
            strcpy(answer.szDelInfo, "in use");
            if (request.head.sDataType == ID_ZPMTELE_FORMULA_DELETE) {
                return peer.Answer(request, ID_ZPMTELE_FORMULA_DELETE_ANSWER, Bytes(answer));
            }
            return peer.Answer(request, ID_ZPMTELE_FORMULA_GET_ANSWER,
                               Bytes(ZPMDefine_FormulaList_Head{1, 152}) +
                                   Bytes(ZPMDefine_FormulaItem{"KEEP", "X=1"}));
        },
        NamedMarkets()));
    Cli(server.Port()).Fails("formula delete KEEP", 10, "in use");
}

TEST(Formulas, Calculate) {
    ZPMDefine_RequestCalcFormula asked{};
    auto pServer = std::make_unique<ScriptedServer>(Serving(
        [&](Peer& peer, const Message& request) {
            asked = request.As<ZPMDefine_RequestCalcFormula>();
            // One column, which begins in the second row.
            const Calculated two = {{kFriday, kMonday},
                                    {34260000, 34320000},
                                    {{"\xBF\xEC"
                                      "DIF",
                                      {-12345}}}};
            return peer.Answer(request, ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN, two.Answer());
        },
        NamedMarkets()));
    Cli cli(pServer->Port());
    ASSERT_EQ(cli.Run("formula calc MACD 600000.SH --cycle 5m --from 20240105 --to 20240108 "
                      "--param N=5;M=20 --adjust backward -f csv"),
              0)
        << cli.Err();
    EXPECT_EQ(cli.Out(),
              "code,date,time,\u5FEBDIF\n600000.SH,2024-01-05,09:31:00.000,0\n"
              "600000.SH,2024-01-08,09:32:00.000,-12345\n");
    pServer.reset();  // ends the thread that wrote what was asked
    EXPECT_STREQ(asked.szName, "MACD");
    EXPECT_STREQ(asked.szParam, "N=5;M=20");
    EXPECT_EQ(asked.nCycDef, 5);
    EXPECT_EQ(asked.nCQFlag, 2);
    EXPECT_EQ(asked.nBeginDate, kFriday);
    EXPECT_EQ(asked.nEndDate, kMonday);
}

}  // namespace
}  // namespace qrx::test
