// A sender on loopback, in processes of its own, so that neither its memory nor its processor time
// is counted with the receiver's.
#ifndef QRX_BENCH_LOOPBACK_H
#define QRX_BENCH_LOOPBACK_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support/descriptor.h"

namespace qrx::bench {

inline sockaddr_in Loopback(int nPort) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(nPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline bool ReadAll(int fd, void* pData, size_t nLen) {
    for (size_t nDone = 0; nDone < nLen;) {
        const ssize_t n = recv(fd, static_cast<char*>(pData) + nDone, nLen - nDone, 0);
        if (n <= 0) return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

inline bool WriteAll(int fd, const void* pData, size_t nLen) {
    for (size_t nDone = 0; nDone < nLen;) {
        const ssize_t n =
            send(fd, static_cast<const char*>(pData) + nDone, nLen - nDone, MSG_NOSIGNAL);
        if (n <= 0) return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

// Runs serve(fd) for every connection in a process of its own; all end with this object.
class LoopbackServer {
public:
    template <class Serve>
    explicit LoopbackServer(Serve serve) {
        const Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = Loopback(0);
        socklen_t nSize = sizeof address;
        if (bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(listener.Get(), 64) != 0 ||
            getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &nSize) != 0) {
            abort();
        }
        m_nPort = ntohs(address.sin_port);
        m_nChild = fork();
        if (m_nChild != 0) return;
        setpgid(0, 0);
        signal(SIGCHLD, SIG_IGN);
        for (;;) {
            const Descriptor peer(accept(listener.Get(), nullptr, nullptr));
            if (!peer.Valid()) _exit(1);
            if (fork() != 0) continue;
            const int nOn = 1;
            setsockopt(peer.Get(), IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
            serve(peer.Get());
            _exit(0);
        }
    }
    ~LoopbackServer() {
        kill(-m_nChild, SIGKILL);
        kill(m_nChild, SIGKILL);  // had it no time to make its group
        waitpid(m_nChild, nullptr, 0);
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    int Port() const { return m_nPort; }

    // A plain blocking connection to it.
    Descriptor Connect() const {
        Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = Loopback(m_nPort);
        if (connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            abort();
        }
        return fd;
    }

private:
    pid_t m_nChild = -1;
    int m_nPort = 0;
};

}  // namespace qrx::bench

#endif
