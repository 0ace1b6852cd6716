// Addresses as the user writes them, HOST:PORT and proxy URLs, and their resolution to the dotted
// IPv4 text that the library takes.
#ifndef QRX_CLI_SETTINGS_ADDRESS_H
#define QRX_CLI_SETTINGS_ADDRESS_H

#include <qrx/session.h>

#include <string>

namespace qrx::cli {

struct Address {
    std::string strHost;
    int nPort = 0;
    std::string Text() const { return strHost + ":" + std::to_string(nPort); }
};

struct Proxy {
    QRX_PROXY_TYPE nType = QRX_PROXY_SOCKS5;
    Address address;
    std::string strUser;
    std::string strPassword;
};

inline constexpr int kDefaultPort = 7700;

// strWhere names the option or the place in the sentence of a refusal.
Address ParseAddress(const std::string& strText, int nDefaultPort, const std::string& strWhere);
Proxy ParseProxy(const std::string& strText, const std::string& strWhere);

// Throws Failure(EXIT_NETWORK) for a name that has no IPv4 address.
std::string ResolveIPv4(const std::string& strHost);

}  // namespace qrx::cli

#endif
