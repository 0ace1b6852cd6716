// Message heads, what a time-out leaves of a packet, and the packets that nobody waits for.
//
// A time-out keeps the connection. When it strikes inside a packet, the session remembers what is
// still to come of it; the next exchange sends its request first, then reads that rest away and
// drops the packet by its id, then reads its own answer.
#include "session/framing.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

#include "support/diagnostics.h"
#include "support/limits.h"

namespace {

struct MessageName {
    int nType;
    const char* szName;
};

// For messages to people only. The names of 1030, 1031 and 1035 are not those of the trade answers
// that are asked for (1037 to 1039).
constexpr MessageName kMessageNames[] = {
    {-1, "-1"},
    {1045, "ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX"},
    {1042, "ID_ZPMTELE_TICKKDATA_INDEX_EX"},
    {1044, "ID_ZPMTELE_TICKKDATA_AB_ACC_EX"},
    {1043, "ID_ZPMTELE_TICKKDATA_ACC_EX"},
    {1030, "ID_ZPMTELE_TRANSACTION"},
    {1031, "ID_ZPMTELE_ORDERQUEUE"},
    {1035, "ID_ZPMTELE_ORDER"},
    {1010, "ID_ZPMTELE_DAYKDATA"},
    {1011, "ID_ZPMTELE_DAYKDATA_INDEX"},
    {6057, "ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN"},
    {1049, "ID_ZPMTELE_FUTURE"},
    {1050, "ID_ZPMTELE_FUTURE_AB"},
};

constexpr int kSupported[] = {101, 1010, 1011, 107,  1043, 1044, 1045,
                              103, 1030, 1031, 1035, 6056, 6057};

// "unexpected packet received! expected: ..., actual: ..., action: discard" in the GBK code page.
constexpr char kDroppedText[] =
    "warnning:\xca\xd5\xb5\xbd\xb7\xc7\xd4\xa4\xc6\xda\xb5\xc4\xca\xfd\xbe\xdd\xb0\xfc\xa3\xa1"
    "\xc6\xda\xcd\xfb\xa3\xba%d %s,request_id:%d\xa3\xac \xca\xb5\xbc\xca\xa3\xba%d %s,"
    "request_id:%d, \xb2\xd9\xd7\xf7\xa3\xba\xb6\xaa\xc6\xfa\n";

void ReportDropped(const ZPMDefine_MessageHead& head, int nExpectType, int nExpectRequestID) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ErrPrint(kDroppedText, nExpectType, GetMSGDescrip(nExpectType), nExpectRequestID,
             head.sDataType, GetMSGDescrip(head.sDataType), head.nRequestID);
#pragma GCC diagnostic pop
}

}  // namespace

const char* GetMSGDescrip(int nType) {
    for (const MessageName& name : kMessageNames) {
        if (name.nType == nType) return name.szName;
    }
    return "unknown message";
}

bool MarketDataSource::IsSupportRequestID(int nType) {
    return std::find(std::begin(kSupported), std::end(kSupported), nType) != std::end(kSupported);
}

int MarketDataSource::SendPacket(int nType, const void* pData, int nLen, int nRequestID) {
    const size_t nSize = sizeof(ZPMDefine_MessageHead) + static_cast<size_t>(nLen);
    const std::unique_ptr<char[]> pMessage(new (std::nothrow) char[nSize]);
    if (!pMessage) return NetworkError();
    ZPMDefine_MessageHead head{};
    head.sFlags = PROTOCAL_NUMBER;
    head.sDataType = static_cast<int16_t>(nType);
    head.nDataLen = nLen;
    head.nRequestID = nRequestID;
    memcpy(pMessage.get(), &head, sizeof head);
    memcpy(pMessage.get() + sizeof head, pData, static_cast<size_t>(nLen));
    return m_net.SendN(pMessage.get(), static_cast<int>(nSize));
}

int MarketDataSource::NetworkError() {
    m_net.Close();
    return QRX_ERR_NETWORK;
}

// Memory of a body with zeroed bytes behind it, pSpent if that is given; null, with a diagnostic,
// above the ceiling. A body of no or negative length breaks the contract: the transport refuses, by
// assertion, to read it.
char* MarketDataSource::NewBody(int nLen, char* pSpent) {
    char chNone;
    if (nLen <= 0) m_net.RecvN(&chNone, nLen);
    char* pBody = pSpent;
    if (pBody == nullptr && nLen <= qrx::limits::kMaxPacketBody) {
        pBody = new (std::nothrow) char[static_cast<size_t>(nLen) + qrx::limits::kBodyPadding];
    }
    if (pBody == nullptr) {
        ErrPrint("MarketDataSource: can not take a packet of %d bytes\n", nLen);
    } else {
        memset(pBody + nLen, 0, qrx::limits::kBodyPadding);
    }
    return pBody;
}

int MarketDataSource::RecvHead(ZPMDefine_MessageHead& head) {
    if (Quitting()) return NetworkError();
    int nGot = 0;
    const int nResult = m_net.RecvN(&head, sizeof head, &nGot);
    if (nResult == QRX_ERR_TIMEOUT && nGot > 0) {
        m_abandoned = Abandoned{};
        m_abandoned.head = head;
        m_abandoned.nHeadGot = nGot;
    }
    return nResult < 0 ? nResult : CheckHead(head);
}

// A body above the ceiling is a corrupt stream.
int MarketDataSource::CheckHead(const ZPMDefine_MessageHead& head) {
    if (head.nDataLen <= qrx::limits::kMaxPacketBody) return 0;
    ErrPrint("MarketDataSource: can not take a packet of %d bytes\n", head.nDataLen);
    return NetworkError();
}

// nBodyLeft: bytes of the body that are still to come, this read included.
int MarketDataSource::RecvBody(const ZPMDefine_MessageHead& head, void* pDst, int nLen,
                               int nBodyLeft) {
    int nGot = 0;
    const int nResult = m_net.RecvN(pDst, nLen, &nGot);
    if (nResult == QRX_ERR_TIMEOUT) {
        m_abandoned = Abandoned{};
        m_abandoned.head = head;
        m_abandoned.nHeadGot = sizeof head;
        m_abandoned.nBodyLeft = nBodyLeft - nGot;
    }
    return nResult < 0 ? nResult : 0;
}

// Reads the rest of a body away in pieces. The transport refuses, by assertion, to read a body of
// no or negative length.
int MarketDataSource::DropBody(const ZPMDefine_MessageHead& head, int64_t nBodyLeft) {
    if (nBodyLeft == 0 && head.nDataLen > 0) return 0;
    const std::unique_ptr<char[]> pPiece(new (std::nothrow) char[qrx::limits::kDrainPiece]);
    if (!pPiece) return NetworkError();
    do {
        const auto nPiece =
            static_cast<int>(std::min<int64_t>(nBodyLeft, qrx::limits::kDrainPiece));
        const int nResult = RecvBody(head, pPiece.get(), nPiece, static_cast<int>(nBodyLeft));
        if (nResult != 0) {
            m_abandoned.bReported = true;
            return nResult;
        }
        nBodyLeft -= nPiece;
    } while (nBodyLeft > 0);
    return 0;
}

// Completes the packet that a time-out cut off, if there is one, and drops it.
int MarketDataSource::FinishAbandoned(int nExpectType, int nExpectRequestID) {
    if (m_abandoned.nHeadGot == 0) return 0;
    Abandoned rest = m_abandoned;
    constexpr auto kHeadSize = static_cast<int>(sizeof rest.head);
    if (rest.nHeadGot < kHeadSize) {
        int nGot = 0;
        const int nResult = m_net.RecvN(reinterpret_cast<char*>(&rest.head) + rest.nHeadGot,
                                        kHeadSize - rest.nHeadGot, &nGot);
        rest.nHeadGot += nGot;
        m_abandoned = rest;
        if (nResult < 0) return nResult;
        if (CheckHead(rest.head) != 0) return QRX_ERR_NETWORK;
        rest.nBodyLeft = rest.head.nDataLen;
    }
    if (!rest.bReported) ReportDropped(rest.head, nExpectType, nExpectRequestID);
    m_abandoned = Abandoned{};
    return DropBody(rest.head, rest.nBodyLeft);
}

// The head of the next packet of the expected type and id (negative: any); others are dropped.
int MarketDataSource::RecvExpectedHead(ZPMDefine_MessageHead& head, int nExpectType,
                                       int nExpectRequestID) {
    int nResult = FinishAbandoned(nExpectType, nExpectRequestID);
    while (nResult == 0) {
        nResult = RecvHead(head);
        if (nResult != 0) break;
        const bool bUnexpected = (nExpectType >= 0 && head.sDataType != nExpectType) ||
                                 (nExpectRequestID >= 0 && head.nRequestID != nExpectRequestID);
        if (!bUnexpected) break;
        ReportDropped(head, nExpectType, nExpectRequestID);
        nResult = DropBody(head, head.nDataLen);
    }
    return nResult;
}

int MarketDataSource::RecvAnswerHead(ZPMDefine_MessageHead& head, int nExpectType, int nRequestID) {
    int nResult = FinishAbandoned(nExpectType, nRequestID);
    while (nResult == 0) {
        nResult = RecvHead(head);
        const auto nId = static_cast<uint32_t>(head.nRequestID);
        if (nResult != 0 || nId == 0 || nId >= static_cast<uint32_t>(nRequestID)) break;
        ReportDropped(head, nExpectType, nRequestID);
        nResult = DropBody(head, head.nDataLen);
    }
    return nResult;
}
