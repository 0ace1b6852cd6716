// Received bytes stand in a list of fixed blocks. The receiving thread has the socket read behind
// the end of the last block and publishes the new end under the lock; the reader copies published
// bytes outside it and gives whole blocks back. Nothing held is ever moved.
#include "session/transport.h"

#include <arpa/inet.h>
#include <errno.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "support/assertion.h"
#include "support/deadline.h"
#include "support/limits.h"

using qrx::source::kTransport;

// Mapped by itself, so that a block given back leaves the process and not just the heap's list: a
// burst of them would otherwise stand beside the packets that were made of it.
struct SynNKNetWork::Block {
    size_t nEnd = 0;         // published bytes, guarded by the lock
    Block* pNext = nullptr;  // in the list that holds it
    char data[qrx::limits::kReadSize];

    static void* operator new(size_t nSize, const std::nothrow_t&) noexcept {
        void* p = mmap(nullptr, nSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return p == MAP_FAILED ? nullptr : p;
    }
    static void operator delete(void* p) noexcept { munmap(p, sizeof(Block)); }
};

namespace {

constexpr int64_t kMaxSeconds = INT64_MAX / 4000;

// Dotted text of an address in network order.
struct AddressText {
    explicit AddressText(unsigned nIP) {
        in_addr address{};
        address.s_addr = nIP;
        inet_ntop(AF_INET, &address, szText, sizeof szText);
    }
    char szText[32] = {};
};

}  // namespace

void SynNKNetWork::BlockList::PushBack(std::unique_ptr<Block> pBlock) {
    pBlock->pNext = nullptr;
    (pLast != nullptr ? pLast->pNext : pFirst) = pBlock.get();
    pLast = pBlock.release();
    ++nSize;
}

std::unique_ptr<SynNKNetWork::Block> SynNKNetWork::BlockList::PopFront() {
    std::unique_ptr<Block> pBlock(pFirst);
    pFirst = pBlock->pNext;
    if (pFirst == nullptr) pLast = nullptr;
    --nSize;
    return pBlock;
}

void SynNKNetWork::BlockList::Clear() {
    while (pFirst != nullptr) PopFront();
}

SynNKNetWork::SynNKNetWork(int64_t nTimeOutSeconds, const std::atomic<int>* pQuit)
    : m_pQuit(pQuit) {
    SetTimeOut(nTimeOutSeconds);
}

SynNKNetWork::~SynNKNetWork() {
    Disconnect(true);
}

int SynNKNetWork::Connect(unsigned nIP, int nPort) {
    if (IsConnected()) return 1;
    Close();
    return Finish(
        CNKNetWorkClient::Connect(AddressText(nIP).szText, static_cast<unsigned>(nPort), true));
}

int SynNKNetWork::ConnectProxy(unsigned nIP, int nPort, NK_PROXY_TYPE eType, unsigned nProxyIP,
                               int nProxyPort, const char* szUser, const char* szPwd) {
    if (IsConnected()) return 1;
    Close();
    return Finish(CNKNetWorkClient::Connect(
        AddressText(nIP).szText, static_cast<unsigned>(nPort), eType, AddressText(nProxyIP).szText,
        static_cast<unsigned>(nProxyPort), szUser, szPwd, true));
}

// The receiving thread may have seen the peer's end already: its word stands.
int SynNKNetWork::Finish(bool bConnected) {
    if (!bConnected) return ENKN_NETWORK_ERROR;
    int nClosed = kClosed;
    m_nStatus.compare_exchange_strong(nClosed, kConnected);
    return 1;
}

int SynNKNetWork::Close() {
    Disconnect(true);
    m_nStatus = kClosed;
    return 1;
}

int SynNKNetWork::SetTimeOut(int64_t nSeconds) {
    m_nTimeOut = std::clamp<int64_t>(nSeconds, 0, kMaxSeconds);
    SetConnectTimeOut(m_nTimeOut * 1000);
    return 0;
}

void SynNKNetWork::Forget() {
    Disconnect(true);
    const LockGuard guard(m_lock);
    m_blocks.Clear();
    m_nHeld = 0;
    m_nRead = 0;
    m_nStatus = kClosed;
}

int SynNKNetWork::SendN(const void* pSrc, int nLen) {
    QRX_ASSERT(pSrc != nullptr && nLen > 0, "pSrc && nLen", kTransport);
    constexpr int kSliceMs = 100;
    int nSent = 0;
    qrx::Deadline deadline(m_nTimeOut * 1000);
    while (nSent < nLen) {
        // The peer has closed, but its last word has not been read: reading it is the caller's
        // turn.
        if (m_nStatus == kPeerClosed && HoldsBytes()) return nLen;
        const int n =
            IsConnected() ? Send(static_cast<const char*>(pSrc) + nSent, nLen - nSent) : 0;
        if (n > 0) {
            nSent += n;
            deadline = qrx::Deadline(m_nTimeOut * 1000);
            continue;
        }
        bool bEnd = n == 0 || (errno != EAGAIN && errno != EINTR) || deadline.Passed() ||
                    (m_pQuit != nullptr && *m_pQuit != 0);
        if (!bEnd) {
            const LockGuard guard(m_lock);
            bEnd = m_bAbort;
            m_bAbort = false;
        }
        if (bEnd) {
            Close();
            return ENKN_NETWORK_ERROR;
        }
        WaitWritable(std::min(kSliceMs, deadline.Left()));
    }
    return nSent;
}

bool SynNKNetWork::HoldsBytes() {
    const LockGuard guard(m_lock);
    return m_nHeld != 0;
}

// Copies up to nWanted held bytes. Takes the lock only to look and to give blocks back.
size_t SynNKNetWork::CopyHeld(char* pDst, size_t nWanted) {
    size_t nGot = 0;
    while (nGot < nWanted) {
        Block* pBlock = nullptr;
        size_t nEnd = 0;
        {
            const LockGuard guard(m_lock);
            pBlock = m_blocks.pFirst;
            if (pBlock == nullptr) break;
            nEnd = pBlock->nEnd;
        }
        const size_t n = std::min(nWanted - nGot, nEnd - m_nRead);
        memcpy(pDst + nGot, pBlock->data + m_nRead, n);
        nGot += n;
        m_nRead += n;
        bool bResume = false;
        bool bDone = false;
        {
            const LockGuard guard(m_lock);
            m_nHeld -= n;
            bResume = m_nHeld <= qrx::limits::kMaxHeldBytes / 2;
            if (m_nRead == sizeof pBlock->data) {  // a full block is spent, and the writer left it
                std::unique_ptr<Block> pSpent = m_blocks.PopFront();
                if (m_spare.nSize < qrx::limits::kSpareBlocks) m_spare.PushBack(std::move(pSpent));
                m_nRead = 0;
            } else {
                bDone = m_nRead == pBlock->nEnd;
            }
        }
        if (bResume) ResumeReading();
        if (bDone) break;
    }
    return nGot;
}

// 0 when there is something to look at, else -2 or (aborted) -1. An abort is noticed here only:
// it fails a read that has to wait, and one that was given before fails the next such read.
int SynNKNetWork::WaitForBytes() {
    const LockGuard guard(m_lock);
    if (m_nHeld != 0 || m_nStatus != kConnected) return 0;
    const auto nMs = static_cast<unsigned long long>(m_nTimeOut) * 1000;
    const int nWait = m_bAbort ? 0 : m_cond.WaitTime(m_lock, nMs);
    if (m_bAbort) {
        m_bAbort = false;
        return ENKN_NETWORK_ERROR;
    }
    if (nWait == ETIMEDOUT && m_nHeld == 0 && m_nStatus == kConnected) return ENKN_NETWORK_TIMEOUT;
    return 0;
}

int SynNKNetWork::RecvN(void* pDst, int nLen, int* pGot) {
    QRX_ASSERT(pDst != nullptr && nLen > 0, "pDst && nLen", kTransport);
    const auto nWanted = static_cast<size_t>(nLen);
    size_t nGot = 0;
    int nResult = nLen;
    // Bytes delivered before the peer's disconnect count; after our own Close nothing does.
    while (m_nStatus != kClosed) {
        // Looked at before the copy: the end is told only after the last byte was delivered.
        const bool bPeerClosed = m_nStatus == kPeerClosed;
        nGot += CopyHeld(static_cast<char*>(pDst) + nGot, nWanted - nGot);
        if (nGot == nWanted || bPeerClosed) break;
        if (m_pQuit != nullptr && *m_pQuit != 0) break;  // an endless stream never has to wait
        const int nWait = WaitForBytes();
        if (nWait < 0) {
            nResult = nWait;
            break;
        }
    }
    if (pGot != nullptr) *pGot = static_cast<int>(nGot);
    if (nGot == nWanted) return nLen;
    if (nResult == ENKN_NETWORK_TIMEOUT) return nResult;
    Close();
    return ENKN_NETWORK_ERROR;
}

void SynNKNetWork::AbortRead() {
    {
        const LockGuard guard(m_lock);
        if (IsConnected()) m_bAbort = true;
        m_cond.Notify();
    }
    AbortConnect();
}

void SynNKNetWork::OnDisconnected() {
    const LockGuard guard(m_lock);
    m_nStatus = kPeerClosed;
    m_cond.Notify();
}

std::unique_ptr<SynNKNetWork::Block> SynNKNetWork::TakeBlock() {
    if (m_spare.nSize == 0) return std::unique_ptr<Block>(new (std::nothrow) Block);
    std::unique_ptr<Block> pBlock = m_spare.PopFront();
    pBlock->nEnd = 0;
    return pBlock;
}

// The last block with room in it, a new one if need be; null without memory. With the lock held.
SynNKNetWork::Block* SynNKNetWork::LastBlock() {
    if (m_blocks.pLast == nullptr || m_blocks.pLast->nEnd == sizeof m_blocks.pLast->data) {
        std::unique_ptr<Block> pNew = TakeBlock();
        if (!pNew) return nullptr;
        m_blocks.PushBack(std::move(pNew));
    }
    return m_blocks.pLast;
}

char* SynNKNetWork::ReceiveSpace(size_t* pSize) {
    const LockGuard guard(m_lock);
    Block* pBlock = LastBlock();
    if (pBlock == nullptr) return CNKNetWorkClient::ReceiveSpace(pSize);
    *pSize = sizeof pBlock->data - pBlock->nEnd;
    return pBlock->data + pBlock->nEnd;
}

void SynNKNetWork::OnReceiveData(const void* pData, int nLen) {
    QRX_ASSERT(nLen > 0, "nLen", kTransport);
    if (m_nStatus == kPeerClosed) return;  // lost for want of memory: no hole in the stream
    const char* pBytes = static_cast<const char*>(pData);
    auto nLeft = static_cast<size_t>(nLen);
    while (nLeft > 0) {
        Block* pBlock = nullptr;
        size_t nEnd = 0;
        {
            const LockGuard guard(m_lock);
            pBlock = LastBlock();
            if (pBlock == nullptr) {  // no memory to hold the stream: the connection counts as lost
                m_nStatus = kPeerClosed;
                PauseReading();
                m_cond.Notify();
                return;
            }
            nEnd = pBlock->nEnd;
        }
        const size_t n = std::min(nLeft, sizeof pBlock->data - nEnd);
        if (pBytes != pBlock->data + nEnd) memcpy(pBlock->data + nEnd, pBytes, n);
        pBytes += n;
        nLeft -= n;
        const LockGuard guard(m_lock);
        pBlock->nEnd = nEnd + n;
        m_nHeld += n;
        if (m_nHeld > qrx::limits::kMaxHeldBytes) PauseReading();
        if (nLeft == 0) m_cond.Notify();
    }
}
