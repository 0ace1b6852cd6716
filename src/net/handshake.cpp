// SOCKS 4 and 4A by the documents of their authors, SOCKS 5 by RFC 1928 with RFC 1929,
// HTTP CONNECT by RFC 9110 with Basic authorisation by RFC 7617.
#include "net/handshake.h"

#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "support/limits.h"

namespace qrx {
namespace {

std::string PortBytes(unsigned nPort) {
    return {static_cast<char>(nPort >> 8), static_cast<char>(nPort & 0xFF)};
}

std::string AddressBytes(const char* szHost) {
    const in_addr_t nAddress = inet_addr(szHost);
    return std::string(reinterpret_cast<const char*>(&nAddress), sizeof nAddress);
}

bool Say(HandshakeStream& stream, const std::string& strText) {
    return stream.Write(strText.data(), strText.size());
}

bool Socks4(HandshakeStream& stream, const char* szHost, unsigned nPort, const char* szUser,
            bool bHostAsText) {
    std::string strRequest("\x04\x01", 2);
    strRequest += PortBytes(nPort);
    strRequest += bHostAsText ? std::string("\0\0\0\1", 4) : AddressBytes(szHost);
    strRequest += szUser;
    strRequest += '\0';
    if (bHostAsText) {
        strRequest += szHost;
        strRequest += '\0';
    }
    unsigned char answer[8];
    return Say(stream, strRequest) && stream.Read(answer, sizeof answer) && answer[0] == 0 &&
           answer[1] == 0x5A;
}

bool Socks5Authorise(HandshakeStream& stream, const std::string& strUser,
                     const std::string& strPwd) {
    if (strUser.size() > 255 || strPwd.size() > 255) return false;
    std::string strRequest(1, '\x01');
    strRequest += static_cast<char>(strUser.size());
    strRequest += strUser;
    strRequest += static_cast<char>(strPwd.size());
    strRequest += strPwd;
    unsigned char answer[2];
    return Say(stream, strRequest) && stream.Read(answer, sizeof answer) && answer[1] == 0;
}

bool Socks5(HandshakeStream& stream, const char* szHost, unsigned nPort, const char* szUser,
            const char* szPwd) {
    const bool bUser = szUser[0] != '\0';
    if (!Say(stream, bUser ? std::string("\x05\x02\x00\x02", 4) : std::string("\x05\x01\x00", 3))) {
        return false;
    }
    unsigned char method[2];
    if (!stream.Read(method, sizeof method) || method[0] != 5) return false;
    if (method[1] == 2 && bUser) {
        if (!Socks5Authorise(stream, szUser, szPwd)) return false;
    } else if (method[1] != 0) {
        return false;
    }
    if (!Say(stream,
             std::string("\x05\x01\x00\x01", 4) + AddressBytes(szHost) + PortBytes(nPort))) {
        return false;
    }
    unsigned char head[4];
    if (!stream.Read(head, sizeof head) || head[0] != 5 || head[1] != 0) return false;
    unsigned char nLength = 0;
    switch (head[3]) {  // the bound address, which nobody needs
        case 1:
            nLength = 4;
            break;
        case 4:
            nLength = 16;
            break;
        case 3:
            if (!stream.Read(&nLength, 1)) return false;
            break;
        default:
            return false;
    }
    char bound[255 + 2];
    return stream.Read(bound, nLength + size_t{2});
}

std::string Base64(const std::string& strText) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string strOut;
    for (size_t i = 0; i < strText.size(); i += 3) {
        unsigned nBits = 0;
        for (size_t k = 0; k < 3; ++k) {
            nBits = nBits << 8 |
                    (i + k < strText.size() ? static_cast<unsigned char>(strText[i + k]) : 0U);
        }
        for (size_t k = 0; k < 4; ++k) {
            strOut += i + k > strText.size() ? '=' : kDigits[nBits >> (18 - 6 * k) & 63];
        }
    }
    return strOut;
}

bool HttpConnect(HandshakeStream& stream, const char* szHost, unsigned nPort, const char* szUser,
                 const char* szPwd) {
    const std::string strTarget = std::string(szHost) + ":" + std::to_string(nPort);
    std::string strRequest = "CONNECT " + strTarget + " HTTP/1.1\r\nHost: " + strTarget + "\r\n";
    if (szUser[0] != '\0') {
        strRequest +=
            "Proxy-Authorization: Basic " + Base64(std::string(szUser) + ":" + szPwd) + "\r\n";
    }
    strRequest += "\r\n";
    if (!Say(stream, strRequest)) return false;
    // Byte by byte: what follows the head already belongs to the tunnel.
    std::string strHead;
    while (strHead.size() < 4 || strHead.compare(strHead.size() - 4, 4, "\r\n\r\n") != 0) {
        char c;
        if (strHead.size() >= limits::kMaxHttpHead || !stream.Read(&c, 1)) return false;
        strHead += c;
    }
    const size_t nSpace = strHead.find(' ');
    return strHead.compare(0, 5, "HTTP/") == 0 && nSpace != std::string::npos &&
           strHead[nSpace + 1] == '2';
}

}  // namespace

bool OpenTunnel(HandshakeStream& stream, CNKNetWorkClient::NK_PROXY_TYPE eType, const char* szHost,
                unsigned nPort, const char* szUser, const char* szPwd) {
    switch (eType) {
        case CNKNetWorkClient::NK_PROXY_SOCKS4:
            return Socks4(stream, szHost, nPort, szUser, false);
        case CNKNetWorkClient::NK_PROXY_SOCKS4A:
            return Socks4(stream, szHost, nPort, szUser, true);
        case CNKNetWorkClient::NK_PROXY_SOCKS5:
            return Socks5(stream, szHost, nPort, szUser, szPwd);
        case CNKNetWorkClient::NK_PROXY_HTTP:
            return HttpConnect(stream, szHost, nPort, szUser, szPwd);
    }
    return false;
}

}  // namespace qrx
