// The four formula calls against a scripted server: bodies byte for byte, answers, refusals, late
// and missing answers.
#include <gtest/gtest.h>

#include "codec/cycle.h"
#include "formula/converters.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

std::string Padded(std::string strText, size_t nWidth) {
    strText.resize(nWidth);
    return strText;
}
std::string Int(int n) {
    return Bytes(n);
}

// A session whose formula requests are kept and answered by one function.
class Service {
public:
    using Answer = std::function<bool(Peer&, const Message&)>;
    explicit Service(Answer answer, unsigned nTimeOut = 5)
        : m_server(Serving([this, answer = std::move(answer)](Peer& peer, const Message& request) {
              m_requests.push_back(request);
              return answer(peer, request);
          })),
          m_session(m_server.Port(), nTimeOut) {}

    void* Handle() const { return m_session.Get(); }
    // Waits for no answer: only to be called between requests.
    const Message& Last() const { return m_requests.back(); }
    const std::vector<Message>& All() const { return m_requests; }

private:
    std::vector<Message> m_requests;
    ScriptedServer m_server;
    Session m_session;
};

std::string AddBody(int nResult, int nDetail) {
    return Int(nResult) + Int(nDetail) + Padded("stored", 128) + std::string(64, '\x7E');
}
std::string DeleteBody(int nResult, const char* szText) {
    return Int(nResult) + Padded("MACD", 24) + Padded(szText, 64);
}
std::string ItemBody(int nItem) {
    const std::string strItem = std::to_string(nItem);
    return Padded(std::string("F").append(strItem), 24) +
           Padded(std::string("A=").append(strItem), 128);
}

TEST(Formula, Add) {
    int nResult = 0;
    Service service([&](Peer& peer, const Message& request) {
        return peer.Answer(request, 6051, AddBody(nResult, 42));
    });
    QRXDefine_AddFormulaRes res;
    ASSERT_EQ(QRX_AddFormula(service.Handle(), "MACD", "DIF=1", &res), 0);
    EXPECT_EQ(service.Last().head.sDataType, 6050);
    EXPECT_EQ(service.Last().strBody, Padded("MACD", 28) + Int(5) + Padded("DIF=1", 9));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&res), sizeof res),
              Int(42) + Padded("stored", 132) + std::string(64, '\x7E') + Int(0));

    // 23 characters of a name go out; a refusal keeps the server's text.
    nResult = 7;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), std::string(30, 'n').c_str(), "x", &res), -50);
    EXPECT_EQ(service.Last().strBody.substr(0, 28), Padded(std::string(23, 'n'), 28));
    EXPECT_STREQ(res.szAddInfo, "stored");
    nResult = 0;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", nullptr), 0);

    const std::string strLongest(1024 * 1024 - 1, 't');
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", strLongest.c_str(), nullptr), 0);
    EXPECT_EQ(service.Last().strBody.size(), 36 + strLongest.size());
}

TEST(Formula, TextOfFullLengthStops) {
    EXPECT_DEATH(
        {
            Service service([](Peer&, const Message&) { return true; });
            QRX_AddFormula(service.Handle(), "a", std::string(1024 * 1024, 't').c_str(), nullptr);
        },
        "MarketDataSource:.*Assertion `strText.size\\(\\)<1024\\*1024' failed");
}

TEST(Formula, DeleteIsAlwaysZero) {
    bool bCut = false;
    Service service([&](Peer& peer, const Message& request) {
        return !bCut && peer.Answer(request, 6053, DeleteBody(1, "no such formula"));
    });
    QRXDefine_DelFormulaRes res;
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), std::string(27, 'n').c_str(), &res), 0);
    EXPECT_EQ(service.Last().head.sDataType, 6052);
    EXPECT_EQ(service.Last().strBody, Padded(std::string(23, 'n'), 24));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&res), sizeof res),
              Padded("MACD", 28) + Padded("no such formula", 68));
    // A lost connection is not told either; the next request finds out.
    bCut = true;
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", &res), 0);
    EXPECT_EQ(res.szDelInfo[0], 0);
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", nullptr), 0);
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", nullptr), -1);
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", nullptr), -1);  // no session any more
}

TEST(Formula, Get) {
    std::string strBody = Int(2) + Int(152) + ItemBody(1) + ItemBody(2) + "behind the items";
    Service service(
        [&](Peer& peer, const Message& request) { return peer.Answer(request, 6055, strBody); });
    QRXDefine_FormulaItem* pItems = nullptr;
    int nCount = -1;
    ASSERT_EQ(QRX_GetFormula(service.Handle(), nullptr, &pItems, &nCount), 0);
    EXPECT_EQ(service.Last().head.sDataType, 6054);
    EXPECT_EQ(service.Last().strBody, std::string(24, '\0'));
    ASSERT_EQ(nCount, 2);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(pItems), 320),
              Padded("F1", 28) + Padded("A=1", 132) + Padded("F2", 28) + Padded("A=2", 132));
    QRX_Free(pItems);

    for (const std::string& strNone : {Int(0) + Int(152), Int(-1) + Int(152) + "surplus"}) {
        strBody = strNone;
        EXPECT_EQ(QRX_GetFormula(service.Handle(), std::string(30, 'n').c_str(), &pItems, &nCount),
                  -3);
        EXPECT_EQ(service.Last().strBody, std::string(24, 'n'));
        EXPECT_EQ(pItems, nullptr);
        EXPECT_EQ(nCount, 0);
    }
}

// The first item arrives, the second does not: two items, one empty, and no word of it.
TEST(Formula, GetConvertsWhatCame) {
    for (const bool bTimeOut : {true, false}) {
        Service service(
            [&](Peer& peer, const Message& request) {
                const std::string strAll = Packet(6055, request.head.nRequestID,
                                                  Int(2) + Int(152) + ItemBody(1) + ItemBody(2));
                if (request.strBody[0] != '\0') {  // the rest of the first answer, then the second
                    return peer.Send(ItemBody(2)) && peer.Answer(request, 6055, Int(0) + Int(152));
                }
                return peer.Send(strAll.substr(0, strAll.size() - 152)) && bTimeOut;
            },
            1);
        QRXDefine_FormulaItem* pItems = nullptr;
        int nCount = 0;
        ASSERT_EQ(QRX_GetFormula(service.Handle(), "", &pItems, &nCount), 0);
        ASSERT_EQ(nCount, 2);
        EXPECT_STREQ(pItems[0].szFormulaText, "A=1");
        EXPECT_EQ(pItems[1].szFormulaName[0], 0);
        EXPECT_EQ(pItems[1].szFormulaText[0], 0);
        QRX_Free(pItems);
        const int nNext = QRX_GetFormula(service.Handle(), "x", &pItems, &nCount);
        EXPECT_EQ(nNext, bTimeOut ? -3 : -1);
    }
}

TEST(Formula, Calculate) {
    std::string strStream("\1\3", 2);  // one row, three days after the first of all
    Service service([&](Peer& peer, const Message& request) {
        return peer.Answer(
            request, 6057,
            Padded(std::string(28, '\0') + "600000", 36) + Padded("SH", 44) + strStream);
    });
    QRXDefine_ReqCalcFormula request{};
    memcpy(request.szFormulaName, "MACD", 4);
    memcpy(request.szParam, "N=5", 3);
    memcpy(request.szVelaCode, "cu1701.shf", 10);
    request.nCycType = CYC_DAY;
    request.nCQFlag = 1;
    request.nBeginDate = 20170101;
    request.nEndDate = -4;
    request.nBeginTime = -5;
    request.nEndTime = 6;
    QRXDefine_CalcFormulaRes res;
    ASSERT_EQ(QRX_CalcFormula(service.Handle(), &request, &res), 0);
    EXPECT_EQ(service.Last().head.sDataType, 6056);
    EXPECT_EQ(service.Last().strBody, Padded("MACD", 24) + Padded("N=5", 128) +
                                          Padded("cu1701", 8) + Padded("SHF", 4) + Int(0) + Int(0) +
                                          Int(7) + Int(1) + Int(0) + Int(20170101) + Int(0) +
                                          Int(-5) + Int(6) + Int(0));
    EXPECT_STREQ(res.szVelaCode, "600000.SH");
    EXPECT_EQ(res.nRecordCount, 1);
    EXPECT_EQ(res.pnFieldData[0][0], 19900104);
    QRX_ReleaseCalcFormula(&res);
    EXPECT_EQ(res.nFieldCount, 0);

    strStream.clear();
    EXPECT_EQ(QRX_CalcFormula(service.Handle(), &request, &res), -3);
    strStream = std::string("\2\3", 2);
    EXPECT_EQ(QRX_CalcFormula(service.Handle(), &request, &res), -3);
    EXPECT_EQ(res.pnFieldData[0], nullptr);
}

TEST(Formula, CalculationRequest) {
    struct {
        int nCycType, nCycDef, nCQFlag, nSentType, nSentDef, nSentFlag;
    } const kCases[] = {{0, 5, 2, 11, 5, 2}, {1, 0, 1, 0, 1, 0},  {2, -3, 0, 7, 1, 0},
                        {3, 1, 3, 8, 1, 0},  {4, 1, -2, 9, 1, 0}, {5, 1, 0, 4, 1, 0},
                        {6, 1, 0, 5, 1, 0},  {7, 1, 0, 6, 1, 0},  {8, 1, 0, 0, 1, 0},
                        {-1, 1, 0, 0, 1, 0}};
    for (const auto& c : kCases) {
        QRXDefine_ReqCalcFormula request{};
        memcpy(request.szVelaCode, "IF1701.cf", 9);
        request.nCycType = c.nCycType;
        request.nCycDef = c.nCycDef;
        request.nCQFlag = c.nCQFlag;
        ZPMDefine_RequestCalcFormula wire;
        BusinessConvertor::T2HReqCalcFormula(request, wire);
        EXPECT_EQ(wire.nCycType, c.nSentType) << c.nCycType;
        EXPECT_EQ(wire.nCycDef, c.nSentDef);
        EXPECT_EQ(wire.nCQFlag, c.nSentFlag) << c.nCQFlag;
    }
    // A parameter text without a NUL runs on to the record's end, and no further.
    QRXDefine_ReqCalcFormula request;
    memset(&request, 'p', sizeof request);
    memcpy(request.szVelaCode, "a.SH", 4);
    ZPMDefine_RequestCalcFormula wire;
    BusinessConvertor::T2HReqCalcFormula(request, wire);
    EXPECT_EQ(std::string(wire.szName, 24), std::string(24, 'p'));
    EXPECT_EQ(std::string(wire.szParam, 128),
              Padded(std::string(32, 'p') + "a.SH" + std::string(56, 'p'), 128));
}

// The first request runs into its time-out; its answer comes with the second one's.
TEST(Formula, LateAnswersAreDropped) {
    int nFirst = 0;
    Service service(
        [&](Peer& peer, const Message& request) {
            if (nFirst == 0) {
                nFirst = request.head.nRequestID;
                return true;
            }
            const std::string strLate = Packet(6051, nFirst, AddBody(1, 0));
            if (request.head.sDataType == 6052) {
                return peer.Send(strLate) && peer.Answer(request, 6053, DeleteBody(0, "deleted"));
            }
            if (request.head.sDataType == 6054) {
                return peer.Send(strLate) &&
                       peer.Answer(request, 6055, Int(1) + Int(152) + ItemBody(3));
            }
            return peer.Send(strLate) && peer.Answer(request, 6051, AddBody(0, 9));
        },
        1);
    QRXDefine_AddFormulaRes added;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", &added), -2);
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", &added), 0);
    EXPECT_EQ(added.nAddResult, 9);
    QRXDefine_DelFormulaRes deleted;
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", &deleted), 0);
    EXPECT_STREQ(deleted.szDelInfo, "deleted");
    QRXDefine_FormulaItem* pItems = nullptr;
    int nCount = 0;
    ASSERT_EQ(QRX_GetFormula(service.Handle(), "a", &pItems, &nCount), 0);
    EXPECT_STREQ(pItems[0].szFormulaName, "F3");
    QRX_Free(pItems);
    EXPECT_EQ(service.All().size(), 4U);
}

// Every call's time-out, in the middle of its answer; afterwards the session goes on.
TEST(Formula, TimeOuts) {
    bool bCutOff = true;
    std::string strRest;
    Service service(
        [&](Peer& peer, const Message& request) {
            const int nType = request.head.sDataType;
            std::string strBody = nType == 6052   ? DeleteBody(0, "d")
                                  : nType == 6054 ? Int(1) + Int(152) + ItemBody(1)
                                                  : AddBody(0, 1);
            if (nType == 6056) strBody = std::string(80, '\0') + "\1\1";
            const std::string strAnswer = Packet(nType + 1, request.head.nRequestID, strBody);
            const size_t nSent = bCutOff ? 25 : strAnswer.size();
            const bool bSent = peer.Send(strRest + strAnswer.substr(0, nSent));
            strRest = strAnswer.substr(nSent);
            return bSent;
        },
        1);
    QRXDefine_ReqCalcFormula request{};
    memcpy(request.szVelaCode, "600000.SH", 9);
    QRXDefine_CalcFormulaRes res;
    QRXDefine_DelFormulaRes deleted;
    QRXDefine_FormulaItem* pItems = nullptr;
    int nCount = 0;
    const auto get = [&] {
        const int nResult = QRX_GetFormula(service.Handle(), "", &pItems, &nCount);
        QRX_Free(pItems);
        return nResult;
    };
    const auto calc = [&] {
        const int nResult = QRX_CalcFormula(service.Handle(), &request, &res);
        QRX_ReleaseCalcFormula(&res);
        return nResult;
    };
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", nullptr), -2);
    EXPECT_EQ(get(), -2);
    EXPECT_EQ(calc(), -2);
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", &deleted), 0);
    bCutOff = false;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", nullptr), 0);
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(calc(), 0);
}

TEST(Formula, WrongAnswersStop) {
    const auto answered = [](int nType, const std::string& strBody) {
        Service service([&](Peer& peer, const Message& request) {
            return peer.Answer(request, nType, strBody);
        });
        QRXDefine_FormulaItem* pItems = nullptr;
        int nCount = 0;
        if (nType / 2 == 6050 / 2) QRX_AddFormula(service.Handle(), "a", "x", nullptr);
        if (nType / 2 == 6052 / 2) QRX_DeleteFormula(service.Handle(), "a", nullptr);
        if (nType / 2 == 6054 / 2) QRX_GetFormula(service.Handle(), "a", &pItems, &nCount);
    };
    EXPECT_DEATH(answered(6050, AddBody(0, 0)), "MarketDataSource:.*Assertion");
    EXPECT_DEATH(answered(6051, std::string(199, '\0')), "Assertion");
    EXPECT_DEATH(answered(6053, std::string(93, '\0')), "Assertion");
    EXPECT_DEATH(answered(6055, Int(1) + Int(151) + ItemBody(1)), "Assertion");
    EXPECT_DEATH(answered(6055, Int(2) + Int(152) + ItemBody(1)), "Assertion");
    EXPECT_DEATH(answered(6055, Int(0)), "Assertion");
    EXPECT_DEATH(answered(6055, Int(0x7FFFFFFF) + Int(152) + ItemBody(1)), "Assertion");
}

}  // namespace
}  // namespace qrx::test
