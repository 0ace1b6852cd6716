// The network front: accepts connections, logs users in and hands out answers. Each connection is
// one coroutine on a strand of its own; it reads a request only when the answer before it is
// written, so what a connection holds is one request and one packet.
#ifndef QRX_SERVER_SERVE_SERVER_H
#define QRX_SERVER_SERVE_SERVER_H

#include <chrono>
#include <string>

#include "store/store.h"

namespace qrx::server {

struct ServeOptions {
    std::string strListen = "127.0.0.1";
    int nPort = 7700;         // 0: a free one
    std::string strPortFile;  // holds the port once it is open
    int nMaxConnections = 256;
    int nMaxLogins = 3;               // attempts of one connection
    std::chrono::seconds login{30};   // until a connection is logged in
    std::chrono::seconds idle{3600};  // between requests
    std::chrono::seconds stall{120};  // for a request to arrive whole, or a packet to be taken
};

// Serves until SIGTERM or SIGINT. Throws std::system_error when it cannot listen.
void Serve(Store& store, const ServeOptions& options);

}  // namespace qrx::server

#endif
