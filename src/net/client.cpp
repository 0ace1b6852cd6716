// Connecting with a deadline and an abort, and the receiving thread. poll and eventfd throughout:
// a process may hold thousands of descriptors.
#include "net/client.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cstring>
#include <new>

#include "net/handshake.h"
#include "support/limits.h"

namespace {

// Waits for events on fd; false when the deadline passed or the wake descriptor was signalled.
bool WaitFor(int fd, short nEvents, int fdWake, const qrx::Deadline& deadline) {
    for (;;) {
        pollfd fds[2] = {{fd, nEvents, 0}, {fdWake, POLLIN, 0}};
        const int n = poll(fds, 2, deadline.Left());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 || fds[1].revents != 0) return false;
        if (fds[0].revents != 0) return true;
        if (deadline.Passed()) return false;
    }
}

class SocketStream final : public qrx::HandshakeStream {
public:
    SocketStream(int fd, int fdWake, const qrx::Deadline& deadline)
        : m_fd(fd), m_fdWake(fdWake), m_deadline(deadline) {}

    bool Write(const void* pData, size_t nLen) override {
        return Move(nLen, POLLOUT, [&](size_t nDone) {
            return send(m_fd, static_cast<const char*>(pData) + nDone, nLen - nDone, MSG_NOSIGNAL);
        });
    }
    bool Read(void* pData, size_t nLen) override {
        return Move(nLen, POLLIN, [&](size_t nDone) {
            return recv(m_fd, static_cast<char*>(pData) + nDone, nLen - nDone, 0);
        });
    }

private:
    template <class Step>
    bool Move(size_t nLen, short nEvents, Step step) {
        for (size_t nDone = 0; nDone < nLen;) {
            if (!WaitFor(m_fd, nEvents, m_fdWake, m_deadline)) return false;
            const ssize_t n = step(nDone);
            if (n > 0) {
                nDone += static_cast<size_t>(n);
            } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
                return false;
            }
        }
        return true;
    }

    int m_fd;
    int m_fdWake;
    const qrx::Deadline& m_deadline;
};

}  // namespace

struct CNKNetWorkClient::ProxyTarget {
    NK_PROXY_TYPE eType;
    const char* szHost;
    unsigned nPort;
    const char* szUser;
    const char* szPwd;
};

CNKNetWorkClient::~CNKNetWorkClient() {
    Disconnect(true);
}

bool CNKNetWorkClient::Connect(const char* szHost, unsigned nPort, bool) {
    return Open(szHost, nPort, nullptr);
}

bool CNKNetWorkClient::Connect(const char* szHost, unsigned nPort, NK_PROXY_TYPE eType,
                               const char* szProxyHost, unsigned nProxyPort, const char* szUser,
                               const char* szPwd, bool) {
    const ProxyTarget proxy{eType, szProxyHost, nProxyPort, szUser, szPwd};
    return Open(szHost, nPort, &proxy);
}

bool CNKNetWorkClient::Open(const char* szHost, unsigned nPort, const ProxyTarget* pProxy) {
    Disconnect(true);
    const qrx::Deadline deadline(m_nConnectTimeOut);
    if (!m_pRead) m_pRead.reset(new (std::nothrow) char[qrx::limits::kReadSize]);
    {
        const std::lock_guard<std::mutex> guard(m_mutexWake);
        m_wake.Reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    const bool bOpen =
        m_pRead && m_wake.Valid() && nPort >= 1 && nPort <= 65535 &&
        ConnectSocket(pProxy ? pProxy->szHost : szHost, pProxy ? pProxy->nPort : nPort, deadline);
    bool bReady = bOpen;
    if (bOpen && pProxy) {
        SocketStream stream(m_socket.Get(), m_wake.Get(), deadline);
        bReady =
            qrx::OpenTunnel(stream, pProxy->eType, szHost, nPort, pProxy->szUser, pProxy->szPwd);
    }
    bReady = bReady && StartThread();
    if (!bReady) Disconnect(true);
    OnConnected(bReady);
    return bReady;
}

bool CNKNetWorkClient::ConnectSocket(const char* szHost, unsigned nPort,
                                     const qrx::Deadline& deadline) {
    if (nPort < 1 || nPort > 65535) return false;
    m_socket.Reset(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!m_socket.Valid()) return false;
    const int fd = m_socket.Get();
    const int nOn = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &nOn, sizeof nOn);

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(nPort));
    address.sin_addr.s_addr = inet_addr(szHost);
    if (address.sin_addr.s_addr == INADDR_NONE) return false;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return true;
    if (errno != EINPROGRESS && errno != EINTR) return false;
    if (!WaitFor(fd, POLLOUT, m_wake.Get(), deadline)) return false;
    int nError = 0;
    socklen_t nSize = sizeof nError;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &nError, &nSize) == 0 && nError == 0;
}

bool CNKNetWorkClient::StartThread() {
    m_bStop = false;
    m_bPaused = false;
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) return false;
    pthread_attr_setstacksize(&attr, size_t{512} << 10);
    // The thread inherits a full mask: no signal of the application is ever handled on it.
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    m_bThread = pthread_create(&m_thread, &attr, &ThreadMain, this) == 0;
    // Thread-local storage of the application may not fit the small stack.
    if (!m_bThread) m_bThread = pthread_create(&m_thread, nullptr, &ThreadMain, this) == 0;
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    pthread_attr_destroy(&attr);
    return m_bThread;
}

void CNKNetWorkClient::Disconnect(bool) {
    if (m_bThread) {
        m_bStop = true;
        Wake();
        pthread_join(m_thread, nullptr);
        m_bThread = false;
    }
    m_socket.Reset();
    const std::lock_guard<std::mutex> guard(m_mutexWake);
    m_wake.Reset();
}

void CNKNetWorkClient::Abandon() {
    m_bThread = false;
    m_socket.Reset();
    m_wake.Reset();
}

int CNKNetWorkClient::Send(const void* pData, int nLen) {
    return static_cast<int>(send(m_socket.Get(), pData, static_cast<size_t>(nLen), MSG_NOSIGNAL));
}

void CNKNetWorkClient::WaitWritable(int nMs) const {
    pollfd fds = {m_socket.Get(), POLLOUT, 0};
    poll(&fds, 1, nMs);
}

void CNKNetWorkClient::ResumeReading() {
    if (m_bPaused && m_bPaused.exchange(false)) Wake();
}

void CNKNetWorkClient::Wake() {
    const std::lock_guard<std::mutex> guard(m_mutexWake);
    if (!m_wake.Valid()) return;
    const uint64_t nOne = 1;
    const ssize_t n = write(m_wake.Get(), &nOne, sizeof nOne);
    (void)n;  // a full counter is awake already
}

void* CNKNetWorkClient::ThreadMain(void* pSelf) {
    static_cast<CNKNetWorkClient*>(pSelf)->ReceiveLoop();
    return nullptr;
}

void CNKNetWorkClient::ReceiveLoop() {
    while (!m_bStop) {
        // A paused thread waits for the wake descriptor only: a negative descriptor is ignored.
        pollfd fds[2] = {{m_bPaused ? -1 : m_socket.Get(), POLLIN, 0}, {m_wake.Get(), POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        if (fds[1].revents != 0) {
            uint64_t nCount;
            const ssize_t n = read(m_wake.Get(), &nCount, sizeof nCount);
            (void)n;
        }
        if (fds[0].revents != 0 && !m_bStop && !ReceiveAvailable()) {
            OnDisconnected();
            return;
        }
    }
}

char* CNKNetWorkClient::ReceiveSpace(size_t* pSize) {
    *pSize = qrx::limits::kReadSize;
    return m_pRead.get();
}

// Takes what has arrived; false when the connection has ended.
bool CNKNetWorkClient::ReceiveAvailable() {
    while (!m_bStop && !m_bPaused) {
        size_t nSpace = 0;
        char* pSpace = ReceiveSpace(&nSpace);
        const ssize_t n = recv(m_socket.Get(), pSpace, nSpace, 0);
        if (n > 0) {
            OnReceiveData(pSpace, static_cast<int>(n));
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            return true;
        } else {
            return false;
        }
    }
    return true;
}
