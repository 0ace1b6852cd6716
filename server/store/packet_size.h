// How large the packets are in which days are stored and sent.
#ifndef QRX_SERVER_STORE_PACKET_SIZE_H
#define QRX_SERVER_STORE_PACKET_SIZE_H

#include <cstddef>

namespace qrx::server {

// Message head and body. Small enough that a security's day comes in several packets, of which the
// client decodes six at a time, and that one is read from the store while the last one is sent;
// large enough that heads and queries do not count.
inline constexpr size_t kPacketBytes = 64 * 1024;

}  // namespace qrx::server

#endif
