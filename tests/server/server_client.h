// A client of the protocol in its barest form: a blocking socket, messages out, messages in. It
// knows nothing of sessions, so it can send what no library would.
#ifndef QRX_TESTS_SERVER_SERVER_CLIENT_H
#define QRX_TESTS_SERVER_SERVER_CLIENT_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "codec/codecs.h"
#include "codec/wire.h"
#include "support/scripted_server.h"
#include "support/server_process.h"

namespace qrx::test {

// The heads of the packets that answer each request.
ZPMDefine_TickData_Head HeadOf(const ZPMDefine_RequestTickData&);
ZPMDefine_SaveData_Head HeadOf(const ZPMDefine_RequestSaveData&);
ZPMDefine_Future_Head HeadOf(const ZPMDefine_RequestFuture&);
ZPMDefine_KData_Head HeadOf(const ZPMDefine_RequestKData&);
ZPMDefine_KData_Option_Head HeadOf(const ZPMDefine_RequestKData_Option&);

class ServerClient {
public:
    explicit ServerClient(const ServerProcess& server) : m_nFd(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(server.Port()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(0, connect(m_nFd, reinterpret_cast<sockaddr*>(&address), sizeof address));
        const timeval patience{20, 0};
        setsockopt(m_nFd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ServerClient(const ServerProcess& server, const std::string& strUser) : ServerClient(server) {
        EXPECT_EQ(1, LogIn(strUser, "secret").As<ZPMDefine_LoginAnswer>().nResult) << strUser;
    }
    ~ServerClient() { close(m_nFd); }
    ServerClient(const ServerClient&) = delete;
    ServerClient& operator=(const ServerClient&) = delete;

    void SendBytes(const std::string& strBytes) {
        send(m_nFd, strBytes.data(), strBytes.size(), MSG_NOSIGNAL);
    }
    void Send(int nType, int nId, const std::string& strBody) {
        SendBytes(Packet(nType, nId, strBody));
    }

    // Nothing when the server closed the connection (or said nothing for 20 s).
    std::optional<Message> Receive() {
        Message message{};
        if (!Read(&message.head, sizeof message.head)) return std::nullopt;
        message.strBody.resize(static_cast<size_t>(message.head.nDataLen));
        if (!Read(message.strBody.data(), message.strBody.size())) return std::nullopt;
        return message;
    }
    // The answer in one packet, of this type and of the same id; empty when there was none.
    Message Ask(int nType, const std::string& strBody, int nAnswer) {
        Send(nType, ++m_nLastId, strBody);
        const auto message = Receive();
        EXPECT_TRUE(message) << "no answer";
        if (!message) return {};
        EXPECT_EQ(PROTOCAL_NUMBER, message->head.sFlags);
        EXPECT_EQ(nAnswer, message->head.sDataType);
        EXPECT_EQ(m_nLastId, message->head.nRequestID);
        return *message;
    }
    // True when the server ended the connection and sent nothing more.
    bool IsClosedByServer() {
        char c;
        const ssize_t n = recv(m_nFd, &c, 1, 0);
        return n == 0 || (n < 0 && errno == ECONNRESET);  // reset: it had not read all we sent
    }

    Message LogIn(const std::string& strUser, const std::string& strPassword) {
        ZPMDefine_Login login{};
        strUser.copy(login.chUser, sizeof login.chUser);
        strPassword.copy(login.chPassword, sizeof login.chPassword);
        memcpy(login.chCompany, "GQCOMP", 6);
        return Ask(ID_ZPMTELE_LOGIN, Bytes(login), ID_ZPMTELE_LOGIN_ANSWER);
    }

    std::vector<ZPMDefine_CodeTable_Item> Codes(std::string strMarket) {
        strMarket.resize(8);
        const Message message = Ask(ID_ZPMTELE_REQ_CODETABLE, strMarket, ID_ZPMTELE_CODETABLE);
        const auto head = message.As<ZPMDefine_CodeTable_Head>();
        std::vector<ZPMDefine_CodeTable_Item> vec(static_cast<size_t>(head.nTotalItems));
        EXPECT_EQ(52, head.nItemSize);
        EXPECT_EQ(12 + 52 * vec.size(), message.strBody.size());
        if (!vec.empty()) memcpy(vec.data(), message.strBody.data() + 12, 52 * vec.size());
        return vec;
    }

    // Every packet of an answer up to the one with the last mark.
    template <class Head>
    std::vector<Message> ReceiveAnswer() {
        std::vector<Message> vec;
        do {
            const auto message = Receive();
            EXPECT_TRUE(message) << "the answer ended early";
            if (!message) return vec;
            vec.push_back(*message);
        } while (vec.back().As<Head>().nLastPacket == 0);
        return vec;
    }
    // The records of an answer, and its packets.
    template <class Record, class Request>
    std::vector<Record> Fetch(int nType, const Request& request,
                              std::vector<Message>* pMessages = nullptr) {
        using Head = decltype(HeadOf(request));
        Send(nType, ++m_nLastId, Bytes(request));
        const auto vecMessages = ReceiveAnswer<Head>();
        std::vector<Record> vec;
        for (const auto& message : vecMessages) {
            EXPECT_EQ(m_nLastId, message.head.nRequestID);
            EXPECT_LE(sizeof message.head + message.strBody.size(), 64U << 10);
            const auto head = message.template As<Head>();
            const size_t nAt = vec.size();
            vec.resize(nAt + static_cast<size_t>(head.nItems));
            std::string strStream = message.strBody.substr(sizeof head);
            const auto nLen = static_cast<int>(strStream.size());
            strStream.append(8, '\0');
            EXPECT_EQ(nLen,
                      codec::DecodeStream(strStream.data(), nLen, vec.data() + nAt, head.nItems));
        }
        if (pMessages != nullptr) *pMessages = vecMessages;
        return vec;
    }

private:
    bool Read(void* pTo, size_t nBytes) {
        return recv(m_nFd, pTo, nBytes, MSG_WAITALL) == static_cast<ssize_t>(nBytes);
    }

    int m_nFd;
    int m_nLastId = 40;
};

// A request for a security, "600000.SH", and a day of it.
template <class Request>
Request RequestOf(const std::string& strSecurity, int nDate = 0) {
    Request request{};
    const size_t nDot = strSecurity.find('.');
    strSecurity.copy(request.chCode, std::min(nDot, sizeof request.chCode));
    strSecurity.copy(request.chMarket, sizeof request.chMarket, nDot + 1);
    if constexpr (requires { request.nDate; }) request.nDate = nDate;
    return request;
}
inline auto TickRequest(const std::string& strSecurity, int nDate, int nFlags) {
    auto request = RequestOf<ZPMDefine_RequestTickData>(strSecurity, nDate);
    request.nFlags = nFlags;
    return request;
}
inline auto SaveRequest(const std::string& strSecurity, int nDate, int nKind) {
    auto request = RequestOf<ZPMDefine_RequestSaveData>(strSecurity, nDate);
    request.nDataKind = nKind;
    return request;
}
inline auto FutureRequest(const std::string& strSecurity, int nDate) {
    return RequestOf<ZPMDefine_RequestFuture>(strSecurity, nDate);
}

}  // namespace qrx::test

#endif
