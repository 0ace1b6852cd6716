// See the header.
#include "settings/address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>

#include "app/failure.h"

namespace qrx::cli {
namespace {

int ParsePort(const std::string& strText, const std::string& strWhere) {
    constexpr int kMaxPort = 65535;
    int nPort = 0;
    const char* pEnd = strText.data() + strText.size();
    const auto [p, error] = std::from_chars(strText.data(), pEnd, nPort);
    if (error != std::errc() || p != pEnd || nPort < 1 || nPort > kMaxPort) {
        RefuseUsage(strWhere + ": \"" + strText + "\" is no port; write HOST:PORT, such as " +
                    "quotes.example.com:7700");
    }
    return nPort;
}

}  // namespace

Address ParseAddress(const std::string& strText, int nDefaultPort, const std::string& strWhere) {
    const size_t nColon = strText.rfind(':');
    Address address;
    address.strHost = strText.substr(0, nColon);
    if (address.strHost.empty() || address.strHost.find(':') != std::string::npos) {
        RefuseUsage(strWhere + ": \"" + strText + "\" is no address; write HOST:PORT with a name " +
                    "or an IPv4 address, such as 127.0.0.1:7700");
    }
    address.nPort = nColon == std::string::npos ? nDefaultPort
                                                : ParsePort(strText.substr(nColon + 1), strWhere);
    return address;
}

Proxy ParseProxy(const std::string& strText, const std::string& strWhere) {
    struct Scheme {
        const char* szName;
        QRX_PROXY_TYPE nType;
        int nPort;
    };
    static constexpr Scheme kSchemes[] = {{"socks5", QRX_PROXY_SOCKS5, 1080},
                                          {"socks4a", QRX_PROXY_SOCKS4A, 1080},
                                          {"socks4", QRX_PROXY_SOCKS4, 1080},
                                          {"http", QRX_PROXY_HTTP, 8080}};
    const size_t nMark = strText.find("://");
    for (const Scheme& scheme : kSchemes) {
        if (nMark == std::string::npos || strText.substr(0, nMark) != scheme.szName) continue;
        Proxy proxy;
        proxy.nType = scheme.nType;
        std::string strRest = strText.substr(nMark + 3);
        if (!strRest.empty() && strRest.back() == '/') strRest.pop_back();
        if (const size_t nAt = strRest.rfind('@'); nAt != std::string::npos) {
            proxy.strUser = strRest.substr(0, nAt);
            strRest.erase(0, nAt + 1);
        }
        if (proxy.strUser.find(':') != std::string::npos) {
            RefuseUsage(strWhere + ": a password does not belong into the address; put it into " +
                        "QRX_PROXY_PASSWORD or a file given with --proxy-password-file");
        }
        if (proxy.strUser.size() >= sizeof(QRX_PROXY_SETTING::szProxyUser)) {
            RefuseUsage(strWhere + ": the proxy's user name has more than 31 bytes");
        }
        proxy.address = ParseAddress(strRest, scheme.nPort, strWhere);
        return proxy;
    }
    RefuseUsage(strWhere + ": \"" + strText + "\" is no proxy; write socks5://, socks4://, " +
                "socks4a:// or http://, such as socks5://user@proxy.example.com:1080");
}

std::string ResolveIPv4(const std::string& strHost) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* pFound = nullptr;
    const int nError = getaddrinfo(strHost.c_str(), nullptr, &hints, &pFound);
    if (nError != 0 || pFound == nullptr) {
        throw Failure(EXIT_NETWORK, "the host " + strHost + " has no IPv4 address: " +
                                        (nError != 0 ? gai_strerror(nError) : "none found"));
    }
    char szAddress[INET_ADDRSTRLEN] = {};
    const auto* pAddress = reinterpret_cast<const sockaddr_in*>(pFound->ai_addr);
    inet_ntop(AF_INET, &pAddress->sin_addr, szAddress, sizeof szAddress);
    freeaddrinfo(pFound);
    return szAddress;
}

}  // namespace qrx::cli
