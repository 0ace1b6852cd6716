// MarketDataSource: one session with one server. Declared here as a whole; its members are defined
// with the subsystem that they serve (session/, ticks/, kline/, futures/, formula/).
//
// Threads: one request at a time runs in status NET_REQUESTING on its caller's thread; m_lock
// guards the status and the code tables and is not held across an exchange, except while a
// reconnect loads the code tables. Close comes from any thread.
#ifndef QRX_SESSION_DATA_SOURCE_H
#define QRX_SESSION_DATA_SOURCE_H

#include <qrx/qrx.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "codec/wire.h"
#include "session/code_table.h"
#include "session/transport.h"
#include "support/lock.h"

struct PacketList;
namespace qrx {
class ResultBuffer;
}

class MarketDataSource {
public:
    // Network status. 4 and 5 are reserved and never entered.
    enum NetworkStatus {
        NET_CLOSED = 0,      // constructed, no server set
        NET_SET_SERVER = 1,  // server set, not connected; also after a failure or a close
        NET_CONNECTING = 2,
        NET_LOGIN = 3,
        NET_GET_CODETABLE = 6,
        NET_ALLOK = 7,      // idle
        NET_REQUESTING = 8  // one request is running
    };

    MarketDataSource();
    ~MarketDataSource();
    MarketDataSource(const MarketDataSource&) = delete;
    MarketDataSource& operator=(const MarketDataSource&) = delete;

    // -- Life cycle (session/lifecycle.cpp, session/login.cpp) ---------------------------------
    int SetServer(const std::string& strIP, const std::string& strPort, const std::string& strUser,
                  const std::string& strPassword, unsigned nTimeOut, unsigned nRetryCount,
                  unsigned nRetryGap);
    int SetServerProxy(const std::string& strIP, const std::string& strPort,
                       const std::string& strUser, const std::string& strPassword,
                       unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap,
                       const QRX_PROXY_SETTING* pProxy);
    int Connect(QRXDefine_ResLogin* pInfo);
    int LogIn(QRXDefine_ResLogin* pInfo);
    int DoReConnect();
    int Close();
    int AbortRecv();
    void OnError() {}
    void GenerateErrStr(int nErr, const char* szPrefix, QRXDefine_ResLogin* pInfo);
    void Abandon() { m_net.Abandon(); }  // in a forked child

    // -- Framing (session/framing.cpp) ---------------------------------------------------------
    int SendPacket(int nType, const void* pData, int nLen, int nRequestID);
    template <class Head>
    int RecvPacket(PacketList& packets, int64_t nEnough, int nExpectType, int nExpectRequestID);
    template <class Head>
    int RecvFormulaCalcPacket(PacketList& packets, int nExpectType, int nExpectRequestID);
    static bool IsSupportRequestID(int nType);

    // -- Code tables (session/codes.cpp) -------------------------------------------------------
    int RetrieveCodeTable(const std::string& strMarket, CodeTables& tables,
                          QRXDefine_ResLogin* pInfo);
    int GetAllMarketCodeTable(const std::vector<std::string>& vecMarkets,
                              QRXDefine_ResLogin* pInfo);
    int GetCodeTable(const std::string& strMarket, QRXDefine_Code** pCodeTable, int* pItems);
    const QRXDefine_Code* QRX_GetCodeInfo(const std::string& strVelaCode);
    const QRXDefine_Code* FindCode(const std::string& strVelaCode);
    bool IsIndex(const std::string& strMarket, const std::string& strCode);

    // -- Ticks and trades (ticks/) -------------------------------------------------------------
    int GetTick(const QRXDefine_ReqTick* pReq, QRXDefine_Tick** pData, int* pCount);
    int GetTickAB(const QRXDefine_ReqTick* pReq, QRXDefine_TickAB** pData, int* pCount);
    int GetTransaction(const QRXDefine_ReqTransaction* pReq, QRXDefine_Transaction** pData,
                       int* pCount);
    int GetOrder(const QRXDefine_ReqOrder* pReq, QRXDefine_Order** pData, int* pCount);
    int GetOrderQueue(const QRXDefine_ReqOrderQueue* pReq, QRXDefine_OrderQueue** pData,
                      int* pCount);
    int RepeatDoReqTick(const QRXDefine_ReqTick* pReq, void** pData, int* pCount, bool bAB);
    int RepeatDoReqTransaction(const QRXDefine_ReqTransaction* pReq, QRXDefine_Transaction** pData,
                               int* pCount);
    int RepeatDoReqOrder(const QRXDefine_ReqOrder* pReq, QRXDefine_Order** pData, int* pCount);
    int RepeatDoReqOrderQueue(const QRXDefine_ReqOrderQueue* pReq, QRXDefine_OrderQueue** pData,
                              int* pCount);
    int DoReqTickOneDay_Night(const QRXDefine_ReqTick* pReq, void** pData, int* pCount, bool bAB,
                              int nBeginDate, int nEndDate);
    int DoReqTickOneDay(const QRXDefine_ReqTick* pReq, void** pData, int* pCount, bool bAB,
                        int nBeginDate, int nEndDate);
    int DoReqTransactionOneDay(const QRXDefine_ReqTransaction* pReq, QRXDefine_Transaction** pData,
                               int* pCount, int nBeginDate, int nEndDate);
    int DoReqOrderOneDay(const QRXDefine_ReqOrder* pReq, QRXDefine_Order** pData, int* pCount,
                         int nBeginDate, int nEndDate);
    int DoReqOrderQueueOneDay(const QRXDefine_ReqOrderQueue* pReq, QRXDefine_OrderQueue** pData,
                              int* pCount, int nBeginDate, int nEndDate);
    struct TickForm {
        int nSendType;
        const char* szName;  // in the diagnostic of a refused allocation
        int nBeginDate;      // of the whole range
        int nEndDate;
    };
    template <class AnswerType, class Decode>
    int TicksOneDay(const TickForm& form, const QRXDefine_ReqTick* pReq, qrx::ResultBuffer& result,
                    bool bAB, AnswerType answerType, Decode decode);
    int NightTicksOneDay(const QRXDefine_ReqTick* pReq, qrx::ResultBuffer& result, bool bAB,
                         int nBeginDate, int nEndDate);
    template <class Kind>
    int RepeatTrades(const QRXDefine_ReqTransaction* pReq, void** pData, int* pCount);
    template <class Kind>
    int TradesOneDay(const QRXDefine_ReqTransaction* pReq, qrx::ResultBuffer& result,
                     int nBeginDate, int nEndDate);
    template <class Head, class Body, class Record>
    int DecompressRawVec(
        Record* pQRXArr, int nMaxCount, const std::vector<char*>& vecPacket,
        const std::vector<int>& vecPacketLen, int (*pfnDecompress)(char*, int, Body*, int),
        void (*pfnConvert)(const Body&, Record&, int, const std::string&, const std::string&),
        int nMsgType, int nBeginDate, int nEndDate, int nBeginTime, int nEndTime, int* pOut);
    // The same result by the fast pipeline where it serves (ticks/fast_pipeline.h).
    template <class Head, class Body, class Record>
    int DecompressFast(
        Record* pQRXArr, int nMaxCount, const std::vector<char*>& vecPacket,
        const std::vector<int>& vecPacketLen, int (*pfnDecompress)(char*, int, Body*, int),
        void (*pfnConvert)(const Body&, Record&, int, const std::string&, const std::string&),
        int nMsgType, int nBeginDate, int nEndDate, int nBeginTime, int nEndTime, int* pOut);

    // -- Bars (kline/) -------------------------------------------------------------------------
    using KLineArray = std::pair<QRXDefine_KLine*, int>;
    using InputArray = std::pair<void*, int>;
    int GetKLine(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount);
    int RepeatDoReqK(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount);
    int DoReqK(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount);
    int DoReqK_Option(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount);
    int AlignMinSH(KLineArray& pairResult, const InputArray& pairInput,
                   const QRXDefine_ReqKLine* pReq);
    int AlignMinCF(KLineArray& pairResult, const InputArray& pairInput,
                   const QRXDefine_ReqKLine* pReq, CYCTYPE nCycType);
    int AlignNormalMinSHF(KLineArray& pairResult, const InputArray& pairInput,
                          const QRXDefine_ReqKLine* pReq, bool bAllocResult, CYCTYPE nCycType);
    int AlignNightMinSHF(KLineArray& pairResult, const InputArray& pairInput,
                         const QRXDefine_ReqKLine* pReq, CYCTYPE nCycType);
    int AlignNightMinCuSHF(KLineArray& pairResult, const InputArray& pairInput,
                           const QRXDefine_ReqKLine* pReq, CYCTYPE nCycType);
    int AlignNightMinFutures(std::string strMarket, KLineArray& pairResult,
                             const InputArray& pairInput, const QRXDefine_ReqKLine* pReq,
                             CYCTYPE nCycType);
    static int FindLessMaxOrEqual(const KLineArray& pairInput, const std::pair<int, int>& key,
                                  int nStart);
    static int AutoCompleteKLine(QRXDefine_KLine** ppOut, int* pOutCount, int nPreClose,
                                 const QRXDefine_KLine* pSrc, int nSrcCount, const char* szVelaCode,
                                 const char* szCode, CYCTYPE nCycType, int nCycDef, int nBeginDate,
                                 int nBeginTime, int nEndDate, int nEndTime);
    static bool IsDCENightCode(std::string strCode);
    static bool IsCZCNightCode(std::string strCode);

    // -- Futures and options (futures/) --------------------------------------------------------
    int GetFuture(const QRXDefine_ReqFuture* pReq, QRXDefine_Future** pData, int* pCount);
    int GetFutureAB(const QRXDefine_ReqFuture* pReq, QRXDefine_FutureAB** pData, int* pCount);
    int RepeatDoReqFuture(const QRXDefine_ReqFuture* pReq, void** pData, int* pCount, bool bAB);
    int DoReqFutureOneDay_Night(const QRXDefine_ReqFuture* pReq, void** pData, int* pCount,
                                bool bAB, int nBeginDate, int nEndDate);
    int DoReqOptionOneDay(const QRXDefine_ReqFuture* pReq, void** pData, int* pCount, bool bAB,
                          int nBeginDate, int nEndDate);
    int DecompressFutureVec(void* pFutureArr, int nCapacity, const std::vector<char*>& vecPacket,
                            const std::vector<int>& vecPacketLen, const std::string& strCode,
                            const std::string& strMarket, int nBeginDate, int nEndDate,
                            int nBeginTime, int nEndTime, bool bAB, int* pErr);

    // -- Formulas (formula/) -------------------------------------------------------------------
    int AddFormula(const std::string& strName, const std::string& strText,
                   QRXDefine_AddFormulaRes* pRes);
    int GetFormula(const std::string& strName, QRXDefine_FormulaItem** ppItems, int* pCount);
    int DelFormula(const std::string& strName, QRXDefine_DelFormulaRes* pRes);
    int CalcFormula(const QRXDefine_ReqCalcFormula* pReq, QRXDefine_CalcFormulaRes* pRes);
    int DoAddFormula(const std::string& strName, const std::string& strText,
                     QRXDefine_AddFormulaRes* pRes);
    int DoGetFormula(const std::string& strName, QRXDefine_FormulaItem** ppItems, int* pCount);
    int DoDelFormula(const std::string& strName, QRXDefine_DelFormulaRes* pRes);
    int DoCalcFormula(const QRXDefine_ReqCalcFormula* pReq, QRXDefine_CalcFormulaRes* pRes);

    // -- For the request members of every subsystem --------------------------------------------
    // True once Close was called: decoding, retries and walks over days give up.
    bool Quitting() const { return m_bQuit.load(std::memory_order_relaxed) != 0; }

    // The request gate: admits one request at a time and settles the status by its result
    // (session/request.h).
    template <class Run>
    int Gated(Run run);
    // The gate of a call that returns an array: asserts and clears its outputs first.
    template <class Request, class Record, class Run>
    int GatedArray(const Request* pReq, Record** pData, int* pCount, Run run);
    // Attempts with pause and reconnect after each -1 (session/request.h).
    template <class Attempt>
    int WithRetries(Attempt attempt);

    // One exchange: sends a request, takes its answer, makes room in the result by the heads' item
    // counts and has it decoded, some packets at a time or the whole answer at once
    // (ticks/exchange.h).
    struct ExchangePlan {
        int nSendType;
        const void* pBody;
        int nBodyLen;
        int nAnswerType;
        size_t nRecordSize;
        const char* szOwner;  // names the request when memory is refused; null: no diagnostic
    };
    template <class Head, class Decode>
    int ExchangeInto(const ExchangePlan& plan, int64_t nEnough, qrx::ResultBuffer& result,
                     Decode decode);
    template <class Head, class Decode>
    int Exchange(const ExchangePlan& plan, void** pData, int* pCount, Decode decode);
    // Walks a range of days, each behind the one before in one result (ticks/day_driver.h).
    template <class Request, class OneDay>
    int RepeatDays(const Request& request, void** pData, int* pCount, size_t nUnitBytes,
                   OneDay oneDay);

    // The head of the next packet that may answer request nRequestID: completes what a time-out cut
    // off and drops packets of earlier requests. 0, -1 or -2.
    int RecvAnswerHead(ZPMDefine_MessageHead& head, int nExpectType, int nRequestID);
    // The body of that packet, or a part of it, into the caller's memory. 0, -1 or -2.
    int RecvBody(const ZPMDefine_MessageHead& head, void* pDst, int nLen, int nBodyLeft);

private:
    // What a time-out left of a packet: a part of its head, or bytes of its body still to come.
    struct Abandoned {
        ZPMDefine_MessageHead head{};
        int nHeadGot = 0;        // bytes of the head received; 0: nothing is left over
        int64_t nBodyLeft = 0;   // with a complete head: bytes of the body still to come
        bool bReported = false;  // its diagnostic line was printed already
    };

    int ConnectTransport();
    int ConnectSteps(QRXDefine_ResLogin* pInfo);
    int RecvHead(ZPMDefine_MessageHead& head);
    int RecvExpectedHead(ZPMDefine_MessageHead& head, int nExpectType, int nExpectRequestID);
    int FinishAbandoned(int nExpectType, int nExpectRequestID);
    int DropBody(const ZPMDefine_MessageHead& head, int64_t nBodyLeft);
    int NetworkError();
    int CheckHead(const ZPMDefine_MessageHead& head);
    template <class LastPacket>
    int RecvPackets(PacketList& packets, int64_t nEnough, int nExpectType, int nExpectRequestID,
                    LastPacket lastPacket);
    char* NewBody(int nLen, char* pSpent = nullptr);
    int FailedRetrieve(int nResult, QRXDefine_ResLogin* pInfo);
    void SetStatus(int nStatus);
    void LockForClose();

    std::string m_strIP, m_strPort, m_strUser, m_strPassword;
    std::atomic<int> m_bQuit{0};  // set by Close, never cleared again; before m_net, which reads it
    SynNKNetWork m_net;
    int m_nNetworkStatus = NET_CLOSED;
    AutoLock m_lock;  // guards m_nNetworkStatus, m_codeTables and the markets of m_loginInfo
    QRXDefine_ResLogin m_loginInfo{};
    CodeTables m_codeTables;
    Abandoned m_abandoned;  // request thread only
    uint32_t m_nTimeOut = 0, m_nRetryCount = 0, m_nRetryGap = 0;
    bool m_bProxy = false;
    CNKNetWorkClient::NK_PROXY_TYPE m_nProxyType = CNKNetWorkClient::NK_PROXY_SOCKS5;
    char m_szProxyHost[32]{};
    int m_nProxyPort = 0;
    char m_szProxyUser[32]{}, m_szProxyPwd[32]{};
};

// The proxy kind as the network client names it; a value outside 0 to 3 stops the process.
CNKNetWorkClient::NK_PROXY_TYPE PLM_2_NKNetWorkProxy(QRX_PROXY_TYPE nType);

// The name of a message type in diagnostics, "unknown message" for most.
const char* GetMSGDescrip(int nType);

#endif
