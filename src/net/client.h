// Asynchronous IPv4 TCP client: knows bytes and proxies, no messages. One receiving thread per
// connection delivers bytes and the peer's disconnect through the virtual callbacks.
#ifndef QRX_NET_CLIENT_H
#define QRX_NET_CLIENT_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include "support/deadline.h"
#include "support/descriptor.h"

class CNKNetWorkClient {
public:
    enum NK_PROXY_TYPE : uint32_t {
        NK_PROXY_SOCKS4 = 0,
        NK_PROXY_SOCKS4A = 1,
        NK_PROXY_SOCKS5 = 2,
        NK_PROXY_HTTP = 3
    };

    CNKNetWorkClient() = default;
    virtual ~CNKNetWorkClient();  // a derived class calls Disconnect in its own destructor
    CNKNetWorkClient(const CNKNetWorkClient&) = delete;
    CNKNetWorkClient& operator=(const CNKNetWorkClient&) = delete;

    // Process-wide set-up and tear-down: nothing to do for plain sockets.
    static void Init() {}
    static void UnInit() {}

    // Opens a connection to dotted IPv4 text; the outcome is known on return (the last argument
    // asks for just that). False on refusal, on the connect time-out, after AbortConnect, and when
    // no descriptor or thread is to be had. A former connection is ended first.
    bool Connect(const char* szHost, unsigned nPort, bool bWait);
    bool Connect(const char* szHost, unsigned nPort, NK_PROXY_TYPE eType, const char* szProxyHost,
                 unsigned nProxyPort, const char* szUser, const char* szPwd, bool bWait);

    // Closes the connection and joins its thread: after the return no callback runs.
    // Not to be called from a callback.
    void Disconnect(bool bWait);

    // Sends up to nLen bytes without waiting: the count sent, 0, or negative with errno set.
    int Send(const void* pData, int nLen);

    // Waits until Send may move bytes, at most nMs. Errors count as writable: Send tells them.
    void WaitWritable(int nMs) const;

    // Bound of Connect, proxy handshake included, in milliseconds.
    void SetConnectTimeOut(int64_t nMs) { m_nConnectTimeOut = nMs; }

    // Ends a Connect that runs in another thread. Any thread.
    void AbortConnect() { Wake(); }

    // The receiving thread reads no more from the socket, until resumed. Any thread.
    void PauseReading() { m_bPaused = true; }
    void ResumeReading();

    // In a forked child: closes the descriptors, without shutdown, join or lock.
    void Abandon();

protected:
    virtual void OnConnected(bool bSuccess) = 0;
    virtual void OnDisconnected() = 0;                            // receiving thread, last call
    virtual void OnReceiveData(const void* pData, int nLen) = 0;  // receiving thread, nLen >= 1
    // Where the next read from the socket goes, and how much it may be at most. Receiving thread.
    // A class that keeps the bytes can have them put where it keeps them; OnReceiveData then gets
    // that address.
    virtual char* ReceiveSpace(size_t* pSize);

private:
    struct ProxyTarget;
    bool Open(const char* szHost, unsigned nPort, const ProxyTarget* pProxy);
    bool ConnectSocket(const char* szHost, unsigned nPort, const qrx::Deadline& deadline);
    bool StartThread();
    static void* ThreadMain(void* pSelf);
    void ReceiveLoop();
    bool ReceiveAvailable();
    void Wake();

    qrx::Descriptor m_socket;
    qrx::Descriptor m_wake;  // eventfd; its life is guarded by m_mutexWake
    std::mutex m_mutexWake;
    pthread_t m_thread{};
    bool m_bThread = false;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bPaused{false};
    std::atomic<int64_t> m_nConnectTimeOut{120000};
    std::unique_ptr<char[]> m_pRead;  // receiving thread only, while it runs
};

#endif
