// See the header.
#include "doctor/reach.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace qrx::cli {

int TryConnect(const std::string& strAddress, int nPort, unsigned nSeconds) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) return errno;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(nPort));
    inet_pton(AF_INET, strAddress.c_str(), &address.sin_addr);
    int nError = 0;
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        nError = errno;
        pollfd wait = {fd, POLLOUT, 0};
        if (nError == EINPROGRESS) {
            socklen_t nBytes = sizeof nError;
            nError = ETIMEDOUT;
            if (poll(&wait, 1, static_cast<int>(nSeconds) * 1000) == 1) {
                getsockopt(fd, SOL_SOCKET, SO_ERROR, &nError, &nBytes);
            }
        }
    }
    close(fd);
    return nError;
}

}  // namespace qrx::cli
