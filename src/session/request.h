// The request gate and the retry loop that every request goes through.
#ifndef QRX_SESSION_REQUEST_H
#define QRX_SESSION_REQUEST_H

#include "session/data_source.h"
#include "support/assertion.h"

template <class Run>
int MarketDataSource::Gated(Run run) {
    constexpr int kPollMs = 200;
    m_lock.Lock();
    if (m_nNetworkStatus < NET_ALLOK) {
        m_lock.UnLock();
        return QRX_ERR_NETWORK;
    }
    while (m_nNetworkStatus != NET_ALLOK) {
        m_lock.UnLock();
        Sleep(kPollMs);
        m_lock.Lock();
        if (m_nNetworkStatus == NET_SET_SERVER || m_nNetworkStatus == NET_CLOSED) {
            m_lock.UnLock();
            return QRX_ERR_NETWORK;
        }
    }
    m_nNetworkStatus = NET_REQUESTING;
    m_lock.UnLock();

    int nResult = QRX_ERR_NETWORK;
    try {
        nResult = run();
    } catch (...) {
        // Small allocations only (texts, lists); the stream may be anywhere: close it.
        nResult = QRX_ERR_NETWORK;
    }

    const LockGuard guard(m_lock);
    if (nResult == QRX_ERR_NETWORK) {
        m_net.Close();
        m_nNetworkStatus = NET_SET_SERVER;
    } else {
        m_nNetworkStatus = NET_ALLOK;
    }
    return nResult;
}

template <class Request, class Record, class Run>
int MarketDataSource::GatedArray(const Request* pReq, Record** pData, int* pCount, Run run) {
    using qrx::source::kMarketDataSource;
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    void* pArray = nullptr;
    const int nResult = Gated([&] { return run(&pArray); });
    *pData = static_cast<Record*>(pArray);
    return nResult;
}

// Only -1 is repeated. Gaps and counts are reckoned in 64 bits.
template <class Attempt>
int MarketDataSource::WithRetries(Attempt attempt) {
    constexpr int kSliceMs = 500;
    int nResult = QRX_ERR_NETWORK;
    bool bFirst = true;
    for (int64_t nAttempts = int64_t{m_nRetryCount} + 1; nAttempts > 0 && !Quitting();
         --nAttempts) {
        if (!bFirst) {
            AwakableSleep(int64_t{m_nRetryGap} * 1000, kSliceMs, &m_bQuit);
            nResult = DoReConnect();
            if (nResult != 0) continue;
        }
        nResult = attempt();
        if (nResult != QRX_ERR_NETWORK) break;
        bFirst = false;
    }
    return nResult;
}

#endif
