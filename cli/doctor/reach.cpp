// See the header.
#include "doctor/reach.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {
namespace {

using Clock = std::chrono::steady_clock;

struct Socket {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    Socket() = default;
    ~Socket() {
        if (fd >= 0) close(fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
};

[[noreturn]] void Refuse(int nError) {
    throw Failure(EXIT_NETWORK, strerror(nError));
}

}  // namespace

double Reach(const std::string& strIPv4, int nPort, unsigned nTimeOutSeconds) {
    const auto begin = Clock::now();
    const auto end = begin + std::chrono::seconds(nTimeOutSeconds);
    const Socket peer;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(nPort));
    inet_pton(AF_INET, strIPv4.c_str(), &address.sin_addr);
    if (peer.fd < 0) Refuse(errno);
    if (connect(peer.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        errno != EINPROGRESS) {
        Refuse(errno);
    }
    pollfd wait = {peer.fd, POLLOUT, 0};
    constexpr int kLookMs = 100;  // for an interrupt
    while (poll(&wait, 1, kLookMs) == 0) {
        interrupt::Check();
        if (Clock::now() >= end) throw Failure(EXIT_TIME_OUT, "no answer");
    }
    int nError = 0;
    socklen_t nBytes = sizeof nError;
    getsockopt(peer.fd, SOL_SOCKET, SO_ERROR, &nError, &nBytes);
    if (nError != 0) Refuse(nError);
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

}  // namespace qrx::cli
