// SynNKNetWork: the asynchronous client as a blocking byte stream that sends and receives exact
// counts, with a time-out and an abort. Knows nothing of messages.
// Threads: the session's caller (everything), the receiving thread (the callbacks), and a third
// thread that may call AbortRead at any time.
#ifndef QRX_SESSION_TRANSPORT_H
#define QRX_SESSION_TRANSPORT_H

#include <atomic>
#include <memory>

#include "net/client.h"
#include "support/lock.h"

class SynNKNetWork : public CNKNetWorkClient {
public:
    enum ENKN_RESULT { ENKN_NETWORK_ERROR = -1, ENKN_NETWORK_TIMEOUT = -2 };

    // pQuit: a flag that ends a send that cannot move, may be null. It outlives the transport.
    explicit SynNKNetWork(int64_t nTimeOutSeconds, const std::atomic<int>* pQuit = nullptr);
    ~SynNKNetWork() override;

    // 1 when connected (also when it was before), -1 otherwise. Addresses in network order.
    int Connect(unsigned nIP, int nPort);
    int ConnectProxy(unsigned nIP, int nPort, NK_PROXY_TYPE eType, unsigned nProxyIP,
                     int nProxyPort, const char* szUser, const char* szPwd);
    int Close();  // always 1; keeps the received data
    int SetTimeOut(int64_t nSeconds);
    bool IsConnected() const { return m_nStatus == kConnected; }

    // Forgets all bytes received so far. Only while not connected.
    void Forget();

    // Sends all bytes: a positive count, or -1 with the connection closed. Also when no byte moved
    // for the time-out, or on an abort while none could move.
    int SendN(const void* pSrc, int nLen);

    // Receives exactly nLen bytes: nLen, -1 (connection closed) or -2 (nothing arrived within the
    // time-out; the connection stays). A slow stream that keeps delivering never times out.
    // pGot, if given, receives how many bytes were taken, whatever the result.
    int RecvN(void* pDst, int nLen, int* pGot = nullptr);

    // Wakes a blocked RecvN, SendN or Connect and makes it fail.
    void AbortRead();

protected:
    void OnConnected(bool) override {}
    void OnDisconnected() override;
    void OnReceiveData(const void* pData, int nLen) override;
    char* ReceiveSpace(size_t* pSize) override;

private:
    enum Status { kClosed = 0, kConnected = 1, kPeerClosed = 2 };
    struct Block;
    // Blocks linked through themselves: nothing is allocated to keep them in order.
    struct BlockList {
        ~BlockList() { Clear(); }
        void PushBack(std::unique_ptr<Block> pBlock);
        std::unique_ptr<Block> PopFront();
        void Clear();

        Block* pFirst = nullptr;
        Block* pLast = nullptr;
        size_t nSize = 0;
    };

    int Finish(bool bConnected);
    size_t CopyHeld(char* pDst, size_t nWanted);
    int WaitForBytes();
    bool HoldsBytes();
    std::unique_ptr<Block> TakeBlock();
    Block* LastBlock();

    std::atomic<int> m_nStatus{kClosed};
    AutoLock m_lock;     // guards the blocks' list and ends, the held count and the abort flag
    CondVar m_cond;      // bytes arrived, peer closed, abort
    BlockList m_blocks;  // received, oldest first
    BlockList m_spare;
    size_t m_nHeld = 0;  // bytes received and not yet consumed
    size_t m_nRead = 0;  // cursor in the first block; reading thread only
    bool m_bAbort = false;
    std::atomic<int64_t> m_nTimeOut;  // seconds
    const std::atomic<int>* m_pQuit;
};

#endif
