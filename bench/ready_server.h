// A server that answers logins, code tables and transaction requests from bytes made ready before,
// and the two ways to take its answer: a session, and a bare socket with a decoder behind it.
#ifndef QRX_BENCH_READY_SERVER_H
#define QRX_BENCH_READY_SERVER_H

#include <qrx/qrx.h>
#include <sys/uio.h>

#include <memory>
#include <string>
#include <vector>

#include "codec/wire.h"
#include "loopback.h"
#include "store/packet_size.h"
#include "streams.h"
#include "support/result_memory.h"

namespace qrx::bench {

// A virtual machine's host may have taken back memory that nobody used for a while, and giving it
// out again takes seconds a gigabyte. Touched just before, it is at hand for whoever comes next.
inline void HaveMemoryAtHand(size_t nBytes) {
    char* pAll = static_cast<char*>(NewResultBytes(static_cast<int64_t>(nBytes >> 12), 4096));
    for (size_t i = 0; i < (nBytes >> 12); ++i) pAll[i << 12] = 1;
    benchmark::DoNotOptimize(pAll);
    FreeResult(pAll);
}

// The packets of one answer, without the message head's request id.
struct ReadyAnswer {
    std::string strBytes;
    std::vector<size_t> vecStart;  // of each packet's message head
    int64_t nRecords = 0;
};

// In packets as large as the server's.
inline ReadyAnswer MakeAnswer(int nRecords) {
    constexpr size_t kStreamBytes =
        server::kPacketBytes - sizeof(ZPMDefine_MessageHead) - sizeof(ZPMDefine_SaveData_Head);
    ReadyAnswer answer;
    answer.nRecords = nRecords;
    Random random(5);
    for (int i = 0; i < nRecords;) {
        ZPMDefine_SaveData_Head head{};
        memcpy(head.chCode, "600000", 6);
        memcpy(head.chMarket, "SH", 2);
        head.nDate = 20240101;
        std::string strStream;
        while (i < nRecords &&
               strStream.size() + codec::kMaxRecordBytes<ZPMDefine_Transaction_v2> <=
                   kStreamBytes) {
            ZPMDefine_Transaction_v2 trade{};
            Fill(random, i++, trade);
            codec::EncodeRecord(trade, strStream);
            ++head.nItems;
        }
        head.nLastPacket = i == nRecords;
        ZPMDefine_MessageHead message{};
        message.sFlags = PROTOCAL_NUMBER;
        message.sDataType = ID_ZPMTELE_TRANSACTION_V2;
        message.nDataLen = static_cast<int32_t>(sizeof head + strStream.size());
        answer.vecStart.push_back(answer.strBytes.size());
        answer.strBytes.append(reinterpret_cast<const char*>(&message), sizeof message);
        answer.strBytes.append(reinterpret_cast<const char*>(&head), sizeof head);
        answer.strBytes += strStream;
    }
    return answer;
}

class ReadyServer {
public:
    // One answer for each count of records; security 60000i is asked for the i-th.
    explicit ReadyServer(const std::vector<int>& vecRecords)
        : m_vecAnswer(Make(vecRecords)), m_server([this](int fd) { Serve(fd); }) {}

    int Port() const { return m_server.Port(); }
    const LoopbackServer& Plain() const { return m_server; }
    const ReadyAnswer& Answer(size_t i) const { return m_vecAnswer[i]; }

private:
    static std::vector<ReadyAnswer> Make(const std::vector<int>& vecRecords) {
        std::vector<ReadyAnswer> vecAnswer;
        for (const int n : vecRecords) vecAnswer.push_back(MakeAnswer(n));
        return vecAnswer;
    }

    void Serve(int fd) const {
        ZPMDefine_MessageHead head;
        while (ReadAll(fd, &head, sizeof head)) {
            std::vector<char> body(static_cast<size_t>(head.nDataLen));
            if (!ReadAll(fd, body.data(), body.size())) return;
            if (head.sDataType == ID_ZPMTELE_LOGIN) {
                ZPMDefine_LoginAnswer login{};
                login.nResult = 1;
                login.nMarkets = 1;
                memcpy(login.chMarket[0], "SH", 2);
                Reply(fd, head, ID_ZPMTELE_LOGIN_ANSWER, &login, sizeof login);
            } else if (head.sDataType == ID_ZPMTELE_REQ_CODETABLE) {
                ReplyCodes(fd, head);
            } else {
                const auto i = static_cast<size_t>(body[5] - '0');  // last digit of the code
                if (!Send(fd, m_vecAnswer[i], head.nRequestID)) return;
            }
        }
    }

    static void Reply(int fd, ZPMDefine_MessageHead head, int nType, const void* pBody,
                      size_t nLen) {
        head.sDataType = static_cast<int16_t>(nType);
        head.nDataLen = static_cast<int32_t>(nLen);
        WriteAll(fd, &head, sizeof head);
        WriteAll(fd, pBody, nLen);
    }

    void ReplyCodes(int fd, const ZPMDefine_MessageHead& head) const {
        ZPMDefine_CodeTable_Head table{};
        table.nTotalItems = static_cast<int32_t>(m_vecAnswer.size());
        table.nItemSize = sizeof(ZPMDefine_CodeTable_Item);
        std::string strBody(reinterpret_cast<const char*>(&table), sizeof table);
        for (size_t i = 0; i < m_vecAnswer.size(); ++i) {
            ZPMDefine_CodeTable_Item item{};
            memcpy(item.chCode, "600000", 6);
            item.chCode[5] = static_cast<char>('0' + i);
            item.nType = 100;
            strBody.append(reinterpret_cast<const char*>(&item), sizeof item);
        }
        Reply(fd, head, ID_ZPMTELE_CODETABLE, strBody.data(), strBody.size());
    }

    // Ready bytes with the id put into each head on its way.
    static bool Send(int fd, const ReadyAnswer& answer, int nRequestID) {
        for (size_t i = 0; i < answer.vecStart.size(); ++i) {
            const size_t nStart = answer.vecStart[i];
            const size_t nEnd =
                i + 1 < answer.vecStart.size() ? answer.vecStart[i + 1] : answer.strBytes.size();
            ZPMDefine_MessageHead head;
            memcpy(&head, answer.strBytes.data() + nStart, sizeof head);
            head.nRequestID = nRequestID;
            if (send(fd, &head, sizeof head, MSG_NOSIGNAL | MSG_MORE) < 0) return false;
            if (!WriteAll(fd, answer.strBytes.data() + nStart + sizeof head,
                          nEnd - nStart - sizeof head)) {
                return false;
            }
        }
        return true;
    }

    std::vector<ReadyAnswer> m_vecAnswer;
    LoopbackServer m_server;
};

// A session with it.
class ReadySession {
public:
    explicit ReadySession(int nPort) {
        OPEN_SETTINGS settings{};
        snprintf(settings.szIP, sizeof settings.szIP, "127.0.0.1");
        snprintf(settings.szPort, sizeof settings.szPort, "%d", nPort);
        const auto pLogin = std::make_unique<QRXDefine_ResLogin>();
        m_h = QRX_Open(&settings, pLogin.get());
        if (m_h == nullptr) abort();
    }
    ~ReadySession() { QRX_Close(m_h); }
    ReadySession(const ReadySession&) = delete;
    ReadySession& operator=(const ReadySession&) = delete;

    struct Result {
        std::unique_ptr<QRXDefine_Transaction, void (*)(QRXDefine_Transaction*)> pData;
        int nCount;
    };
    // The records of answer i for each day of a range.
    Result Transactions(int i, int nBeginDate, int nEndDate) const {
        QRXDefine_ReqTransaction request{};
        snprintf(request.chCode, sizeof request.chCode, "60000%d.SH", i);
        request.nBeginDate = nBeginDate;
        request.nEndDate = nEndDate;
        QRXDefine_Transaction* pData = nullptr;
        int nCount = 0;
        if (QRX_GetTransaction(m_h, &request, &pData, &nCount) != QRX_OK) abort();
        return {{pData, [](QRXDefine_Transaction* p) { QRX_Free(p); }}, nCount};
    }

private:
    void* m_h = nullptr;
};

// The same bytes, taken from a bare socket packet by packet into one reused buffer, each decoded
// at once into one reused array of server records.
inline int64_t TakeRaw(const ReadyServer& server, int i) {
    const Descriptor fd = server.Plain().Connect();
    struct {
        ZPMDefine_MessageHead head;
        ZPMDefine_RequestSaveData body;
    } request{};
    request.head.sDataType = ID_ZPMTELE_REQ_SAVEDATA;
    request.head.nDataLen = sizeof request.body;
    memcpy(request.body.chCode, "600000", 6);
    request.body.chCode[5] = static_cast<char>('0' + i);
    WriteAll(fd.Get(), &request, sizeof request);
    std::vector<char> packet;
    std::vector<ZPMDefine_Transaction_v2> records;
    int64_t nRecords = 0;
    for (;;) {
        ZPMDefine_MessageHead message;
        if (!ReadAll(fd.Get(), &message, sizeof message)) abort();
        const auto nLen = static_cast<size_t>(message.nDataLen);
        if (packet.size() < nLen + limits::kBodyPadding) packet.resize(nLen + limits::kBodyPadding);
        if (!ReadAll(fd.Get(), packet.data(), nLen)) abort();
        ZPMDefine_SaveData_Head head;
        memcpy(&head, packet.data(), sizeof head);
        if (records.size() < static_cast<size_t>(head.nItems)) {
            records.resize(static_cast<size_t>(head.nItems));
        }
        codec::StreamCursor cursor;
        cursor.p = packet.data() + sizeof head;
        cursor.pEnd = packet.data() + nLen;
        cursor.pDst = reinterpret_cast<char*>(records.data());
        cursor.nLeft = head.nItems;
        codec::DecodeStreams<ZPMDefine_Transaction_v2>(&cursor, 1);
        nRecords += head.nItems;
        if (head.nLastPacket != 0) return nRecords;
    }
}

}  // namespace qrx::bench

#endif
