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
    ~ServerClient() { close(m_nFd); }
    ServerClient(const ServerClient&) = delete;
    ServerClient& operator=(const ServerClient&) = delete;

    void SendBytes(const std::string& strBytes) {
        send(m_nFd, strBytes.data(), strBytes.size(), MSG_NOSIGNAL);
    }
    void Send(int nType, int nId, const std::string& strBody) {
        ZPMDefine_MessageHead head{PROTOCAL_NUMBER,
                                   static_cast<int16_t>(nType),
                                   static_cast<int32_t>(strBody.size()),
                                   {},
                                   nId};
        SendBytes(std::string(reinterpret_cast<const char*>(&head), sizeof head) + strBody);
    }
    template <class Body>
    void SendBody(int nType, int nId, const Body& body) {
        Send(nType, nId, std::string(reinterpret_cast<const char*>(&body), sizeof body));
    }

    // Nothing when the server closed the connection (or said nothing for 20 s).
    std::optional<Message> Receive() {
        Message message{};
        if (!Read(&message.head, sizeof message.head)) return std::nullopt;
        message.strBody.resize(static_cast<size_t>(message.head.nDataLen));
        if (!Read(message.strBody.data(), message.strBody.size())) return std::nullopt;
        return message;
    }
    // True when the server ended the connection and sent nothing more.
    bool IsClosedByServer() {
        char c;
        const ssize_t n = recv(m_nFd, &c, 1, 0);
        return n == 0 || (n < 0 && errno == ECONNRESET);  // reset: it had not read all we sent
    }

    Message LogIn(const std::string& strUser, const std::string& strPassword) {
        ZPMDefine_Login login{};
        memcpy(login.chUser, strUser.data(), std::min(strUser.size(), sizeof login.chUser));
        memcpy(login.chPassword, strPassword.data(),
               std::min(strPassword.size(), sizeof login.chPassword));
        memcpy(login.chCompany, "GQCOMP", 6);
        SendBody(ID_ZPMTELE_LOGIN, 0, login);
        const auto answer = Receive();
        EXPECT_TRUE(answer);
        return answer.value_or(Message{});
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

private:
    bool Read(void* pTo, size_t nBytes) {
        return recv(m_nFd, pTo, nBytes, MSG_WAITALL) == static_cast<ssize_t>(nBytes);
    }

    int m_nFd;
};

template <class Head, class Record>
std::vector<Record> DecodeAnswer(const std::vector<Message>& vecMessages) {
    std::vector<Record> vec;
    for (const auto& message : vecMessages) {
        const auto head = message.As<Head>();
        const size_t nAt = vec.size();
        vec.resize(nAt + static_cast<size_t>(head.nItems));
        std::string strStream = message.strBody.substr(sizeof head);
        const auto nLen = static_cast<int>(strStream.size());
        strStream.append(8, '\0');
        const int nRead =
            qrx::codec::DecodeStream(strStream.data(), nLen, vec.data() + nAt, head.nItems);
        EXPECT_EQ(nLen, nRead);
    }
    return vec;
}

inline ZPMDefine_RequestTickData TickRequest(const char* szCode, const char* szMarket, int nDate,
                                             int nFlags) {
    ZPMDefine_RequestTickData request{};
    memcpy(request.chCode, szCode, strnlen(szCode, 8));
    memcpy(request.chMarket, szMarket, strnlen(szMarket, 4));
    request.nFlags = nFlags;
    request.nDate = nDate;
    request.nEndTime = -1;
    request.nReqMark = 0x80000000U;
    return request;
}

inline ZPMDefine_RequestSaveData SaveRequest(const char* szCode, const char* szMarket, int nDate,
                                             int nKind) {
    ZPMDefine_RequestSaveData request{};
    memcpy(request.chCode, szCode, strnlen(szCode, 8));
    memcpy(request.chMarket, szMarket, strnlen(szMarket, 4));
    request.nDate = nDate;
    request.nDataKind = nKind;
    request.nEndTime = -1;
    return request;
}

}  // namespace qrx::test

#endif
