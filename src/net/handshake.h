// Proxy handshakes: what is said to a SOCKS 4, 4A, 5 or HTTP proxy until it opens a tunnel.
#ifndef QRX_NET_HANDSHAKE_H
#define QRX_NET_HANDSHAKE_H

#include <cstddef>

#include "net/client.h"

namespace qrx {

// Blocking bytes with a deadline and an abort behind them. Both fail for good.
class HandshakeStream {
public:
    virtual bool Write(const void* pData, size_t nLen) = 0;
    virtual bool Read(void* pData, size_t nLen) = 0;

protected:
    ~HandshakeStream() = default;
};

// Asks the proxy for a tunnel to dotted IPv4 text. True when it is open; then no byte beyond the
// proxy's answer has been read.
bool OpenTunnel(HandshakeStream& stream, CNKNetWorkClient::NK_PROXY_TYPE eType, const char* szHost,
                unsigned nPort, const char* szUser, const char* szPwd);

}  // namespace qrx

#endif
