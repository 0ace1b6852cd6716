// The four formula calls against a scripted server: bodies byte for byte, answers, refusals, late
// and missing answers.
#include <gtest/gtest.h>

#include "formula/converters.h"
#include "support/fetch.h"

namespace qrx::test {
namespace {

constexpr int kAdd = 6050, kDelete = 6052, kGet = 6054, kCalc = 6056;

std::string Padded(std::string strText, size_t nWidth) {
    strText.resize(nWidth);
    return strText;
}

// Bodies of answers.
std::string AddBody(int nResult, int nDetail) {
    return Bytes(nResult) + Bytes(nDetail) + Padded("stored", 128) + std::string(64, '\x7E');
}
std::string DeleteBody(int nResult, const char* szText) {
    return Bytes(nResult) + Padded("MACD", 24) + Padded(szText, 64);
}
std::string List(int nItems, int nItemSize = 152) {
    return Bytes(nItems) + Bytes(nItemSize);
}
std::string ItemBody(const std::string& strItem) {
    return Padded("F" + strItem, 24) + Padded("A=" + strItem, 128);
}
// One that suits the request.
std::string GoodBody(int nRequestType) {
    if (nRequestType == kAdd) return AddBody(0, 9);
    if (nRequestType == kDelete) return DeleteBody(0, "deleted");
    if (nRequestType == kGet) return List(1) + ItemBody("3");
    return std::string(80, '\0') + "\1\1";
}

// A session whose formula requests are kept and answered by one function.
class Service {
public:
    using Answer = std::function<bool(Peer&, const Message&)>;
    explicit Service(Answer answer, unsigned nTimeOut = 5)
        : m_server(Serving([this, answer = std::move(answer)](Peer& peer, const Message& request) {
              requests.push_back(request);
              return answer(peer, request);
          })),
          m_session(m_server.Port(), nTimeOut) {}

    void* Handle() const { return m_session.Get(); }
    const Message& Last() const { return requests.back(); }
    Fetched<QRXDefine_FormulaItem> Get(const char* szName) const {
        return FetchArray<QRXDefine_FormulaItem>([&](auto** ppItems, int* pCount) {
            return QRX_GetFormula(Handle(), szName, ppItems, pCount);
        });
    }
    // Any of the calls.
    int Call(int nType) const {
        if (nType == kAdd) return QRX_AddFormula(Handle(), "a", "x", nullptr);
        if (nType == kDelete) return QRX_DeleteFormula(Handle(), "a", nullptr);
        if (nType == kGet) return Get("a").nResult;
        QRXDefine_ReqCalcFormula request{};
        memcpy(request.szVelaCode, "600000.SH", 9);
        QRXDefine_CalcFormulaRes res;
        const int nResult = QRX_CalcFormula(Handle(), &request, &res);
        QRX_ReleaseCalcFormula(&res);
        return nResult;
    }

    std::vector<Message> requests;  // to be looked at between requests

private:
    ScriptedServer m_server;
    Session m_session;
};

TEST(Formula, Add) {
    int nResult = 0;
    Service service([&](Peer& peer, const Message& request) {
        return peer.Answer(request, 6051, AddBody(nResult, 42));
    });
    QRXDefine_AddFormulaRes res;
    ASSERT_EQ(QRX_AddFormula(service.Handle(), "MACD", "DIF=1", &res), 0);
    EXPECT_EQ(service.Last().head.sDataType, kAdd);
    EXPECT_EQ(service.Last().strBody, Padded("MACD", 28) + Bytes(5) + Padded("DIF=1", 9));
    EXPECT_EQ(Bytes(res), Bytes(42) + Padded("stored", 132) + std::string(64, '\x7E') + Bytes(0));

    // 23 characters of a name go out; a refusal keeps the server's text.
    nResult = 7;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), std::string(30, 'n').c_str(), "x", &res), -50);
    EXPECT_EQ(service.Last().strBody.substr(0, 28), Padded(std::string(23, 'n'), 28));
    EXPECT_STREQ(res.szAddInfo, "stored");
    nResult = 0;
    const std::string strLongest(1024 * 1024 - 1, 't');
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", strLongest.c_str(), nullptr), 0);
    EXPECT_EQ(service.Last().strBody.size(), 36 + strLongest.size());
    testing::GTEST_FLAG(death_test_style) = "threadsafe";  // the server has threads
    EXPECT_DEATH(
        {
            Service silent([](Peer&, const Message&) { return true; });
            QRX_AddFormula(silent.Handle(), "a", (strLongest + "t").c_str(), nullptr);
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
    EXPECT_EQ(service.Last().head.sDataType, kDelete);
    EXPECT_EQ(service.Last().strBody, Padded(std::string(23, 'n'), 24));
    EXPECT_EQ(Bytes(res), Padded("MACD", 28) + Padded("no such formula", 68));
    // A lost connection is not told either; the next request finds out.
    bCut = true;
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", &res), 0);
    EXPECT_EQ(res.szDelInfo[0], 0);
    EXPECT_EQ(service.Call(kDelete), 0);
    EXPECT_EQ(service.Call(kAdd), -1);
    EXPECT_EQ(service.Call(kDelete), -1);  // no session any more
}

TEST(Formula, Get) {
    std::string strBody = List(2) + ItemBody("1") + ItemBody("2") + "behind the items";
    Service service(
        [&](Peer& peer, const Message& request) { return peer.Answer(request, 6055, strBody); });
    const auto [nResult, items] = service.Get(nullptr);
    EXPECT_EQ(service.Last().head.sDataType, kGet);
    EXPECT_EQ(service.Last().strBody, std::string(24, '\0'));
    ASSERT_EQ(items.size(), 2U) << nResult;
    EXPECT_EQ(Bytes(items[0]) + Bytes(items[1]),
              Padded("F1", 28) + Padded("A=1", 132) + Padded("F2", 28) + Padded("A=2", 132));
    for (const std::string& strNone : {List(-1) + "surplus", List(0)}) {
        strBody = strNone;
        EXPECT_EQ(service.Get(std::string(30, 'n').c_str()).nResult, -3);
        EXPECT_EQ(service.Last().strBody, std::string(24, 'n'));
    }
}

// The first item arrives, the second does not: two items, one empty, and no word of it.
TEST(Formula, GetConvertsWhatCame) {
    for (const bool bTimeOut : {true, false}) {
        Service service(
            [&](Peer& peer, const Message& request) {
                const std::string strAll =
                    Packet(6055, request.head.nRequestID, List(2) + ItemBody("1") + ItemBody("2"));
                if (request.strBody[0] != '\0') {  // the rest of the first answer, then the second
                    return peer.Send(ItemBody("2")) && peer.Answer(request, 6055, List(0));
                }
                return peer.Send(strAll.substr(0, strAll.size() - 152)) && bTimeOut;
            },
            1);
        const auto [nResult, items] = service.Get("");
        ASSERT_EQ(items.size(), 2U) << nResult;
        EXPECT_STREQ(items[0].szFormulaText, "A=1");
        EXPECT_EQ(Bytes(items[1]), std::string(160, '\0'));
        EXPECT_EQ(service.Get("x").nResult, bTimeOut ? -3 : -1);
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
    EXPECT_EQ(service.Last().head.sDataType, kCalc);
    EXPECT_EQ(service.Last().strBody,
              Padded("MACD", 24) + Padded("N=5", 128) +
                  Sent("cu1701", 8, "SHF", {0, 0, 7, 1, 0, 20170101, 0, -5, 6, 0}));
    EXPECT_STREQ(res.szVelaCode, "600000.SH");
    EXPECT_EQ(res.nRecordCount, 1);
    EXPECT_EQ(res.pnFieldData[0][0], 19900104);
    QRX_ReleaseCalcFormula(&res);
    EXPECT_EQ(res.nFieldCount, 0);

    for (const char* szNone : {"", "\2\3"}) {
        strStream = szNone;
        EXPECT_EQ(QRX_CalcFormula(service.Handle(), &request, &res), -3);
        EXPECT_EQ(res.pnFieldData[0], nullptr);
    }
}

TEST(Formula, CalculationRequest) {
    const struct {
        int nCycType, nCycDef, nCQFlag, nSentType, nSentDef, nSentFlag;
    } kCases[] = {
        {0, 5, 2, 11, 5, 2}, {1, -3, 3, 0, 1, 0}, {6, 0, -2, 5, 1, 0}, {8, 1, 0, 0, 1, 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.nCycType);
        QRXDefine_ReqCalcFormula request{};
        memcpy(request.szVelaCode, "IF1701.cf", 9);
        request.nCycType = c.nCycType;
        request.nCycDef = c.nCycDef;
        request.nCQFlag = c.nCQFlag;
        ZPMDefine_RequestCalcFormula wire;
        BusinessConvertor::T2HReqCalcFormula(request, wire);
        EXPECT_EQ(wire.nCycType, c.nSentType);
        EXPECT_EQ(wire.nCycDef, c.nSentDef);
        EXPECT_EQ(wire.nCQFlag, c.nSentFlag);
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

// The first request runs into its time-out; its answer comes with every later one's.
TEST(Formula, LateAnswersAreDropped) {
    int nFirst = 0;
    Service service(
        [&](Peer& peer, const Message& request) {
            const auto& head = request.head;
            if (nFirst == 0) return (nFirst = head.nRequestID) != 0;
            return peer.Send(Packet(6051, nFirst, AddBody(1, 0))) &&
                   peer.Answer(request, head.sDataType + 1, GoodBody(head.sDataType));
        },
        1);
    QRXDefine_AddFormulaRes added;
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", &added), -2);
    EXPECT_EQ(QRX_AddFormula(service.Handle(), "a", "x", &added), 0);
    EXPECT_EQ(added.nAddResult, 9);
    QRXDefine_DelFormulaRes deleted;
    EXPECT_EQ(QRX_DeleteFormula(service.Handle(), "a", &deleted), 0);
    EXPECT_STREQ(deleted.szDelInfo, "deleted");
    for (const int nType : {kGet, kCalc}) EXPECT_EQ(service.Call(nType), 0) << nType;
    EXPECT_EQ(service.requests.size(), 5U);
}

// Every call's time-out, in the middle of its answer; afterwards the session goes on.
TEST(Formula, TimeOuts) {
    bool bCutOff = true;
    std::string strRest;
    Service service(
        [&](Peer& peer, const Message& request) {
            const int nType = request.head.sDataType;
            const std::string strAnswer =
                Packet(nType + 1, request.head.nRequestID, GoodBody(nType));
            const size_t nSent = bCutOff ? 25 : strAnswer.size();
            const bool bSent = peer.Send(strRest + strAnswer.substr(0, nSent));
            strRest = strAnswer.substr(nSent);
            return bSent;
        },
        1);
    for (const int nType : {kAdd, kGet, kCalc, kDelete}) {
        EXPECT_EQ(service.Call(nType), nType == kDelete ? 0 : -2) << nType;
    }
    bCutOff = false;
    for (const int nType : {kAdd, kGet, kCalc}) EXPECT_EQ(service.Call(nType), 0) << nType;
}

TEST(Formula, WrongAnswersStop) {
    const struct {
        int nRequestType, nAnswerType;
        std::string strBody;
        const char* szRule;
    } kCases[] = {
        {kAdd, 6050, AddBody(0, 0), "head.sDataType==6051"},
        {kAdd, 6051, std::string(199, '\0'), "head.nDataLen==200"},
        {kDelete, 6052, DeleteBody(0, ""), "head.sDataType==6053"},
        {kDelete, 6053, std::string(93, '\0'), "head.nDataLen==92"},
        {kGet, 6054, List(1) + ItemBody("1"), "head.sDataType==6055"},
        {kGet, 6055, List(1, 151) + ItemBody("1"), "nItemSize==152"},
        {kGet, 6055, List(2) + ItemBody("1"), "nItems\\*nItemSize<=head.nDataLen-8"},
        {kGet, 6055, List(0x7FFFFFFF) + ItemBody("1"), "nItems\\*nItemSize<=head.nDataLen-8"},
        {kGet, 6055, Bytes(0), "head.nDataLen>=8"}};
    for (const auto& c : kCases) {
        EXPECT_DEATH(Service([&](Peer& peer, const Message& request) {
                         return peer.Answer(request, c.nAnswerType, c.strBody);
                     }).Call(c.nRequestType),
                     std::string("MarketDataSource:.*Assertion `") + c.szRule);
    }
}

}  // namespace
}  // namespace qrx::test
