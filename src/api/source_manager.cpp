// The registry, and what a fork does to it.
#include "api/source_manager.h"

#include <pthread.h>

#include <memory>

SourceManager* SourceManager::GetInstance() {
    static SourceManager* const pInstance = new SourceManager;
    return pInstance;
}

// The lock is taken across a fork, so that the child finds a whole registry and a free lock; the
// sessions of the parent belong to an older generation there.
SourceManager::SourceManager() {
    static SourceManager* s_pInstance;
    s_pInstance = this;
    pthread_atfork([] { s_pInstance->m_lock.Lock(); }, [] { s_pInstance->m_lock.UnLock(); },
                   [] {
                       ++s_pInstance->m_nGeneration;
                       s_pInstance->m_lock.UnLock();
                   });
}

SourceManager::Handle SourceManager::QRX_CreateHandle() {
    auto pSession = std::make_unique<MarketDataSource>();
    const LockGuard guard(m_lock);
    auto pRefInfo = std::make_unique<RefInfo<MarketDataSource>>(pSession.get(), 1, m_nGeneration);
    m_setRefInfo.insert(pRefInfo.get());
    static_cast<void>(pRefInfo.release());
    return pSession.release();
}

RefInfo<MarketDataSource>* SourceManager::FindRefInfo(Handle h) {
    for (RefInfo<MarketDataSource>* pRefInfo : m_setRefInfo) {
        if (pRefInfo->GetPointer() == h) return pRefInfo;
    }
    return nullptr;
}

void SourceManager::RemoveRef(RefInfo<MarketDataSource>* pRefInfo) {
    m_setRefInfo.erase(pRefInfo);
    delete pRefInfo;
}

int SourceManager::QRX_DestroyHandle(Handle h) {
    const LockGuard guard(m_lock);
    RefInfo<MarketDataSource>* pRefInfo = FindRefInfo(h);
    if (pRefInfo == nullptr || pRefInfo->DestroyCalled()) return QRX_ERR_ARGUMENT;
    if (pRefInfo->Generation() != m_nGeneration) {
        RemoveRef(pRefInfo);  // inherited: its threads and locks are the parent's, it is left alone
        return QRX_OK;
    }
    pRefInfo->SetDestroyed(true);
    pRefInfo->DecreaseRef();
    if (pRefInfo->GetRef() == 0) RemoveRef(pRefInfo);
    return QRX_OK;
}

int SourceManager::QRX_SetServer(Handle h, std::string& strIP, std::string& strPort,
                                 std::string& strUser, std::string& strPassword, unsigned nTimeOut,
                                 unsigned nRetryCount, unsigned nRetryGap) {
    return Guarded(h, [&](MarketDataSource& session) {
        return session.SetServer(strIP, strPort, strUser, strPassword, nTimeOut, nRetryCount,
                                 nRetryGap);
    });
}

int SourceManager::QRX_SetServerProxy(Handle h, std::string& strIP, std::string& strPort,
                                      std::string& strUser, std::string& strPassword,
                                      unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap,
                                      const QRX_PROXY_SETTING* pProxy) {
    return Guarded(h, [&](MarketDataSource& session) {
        return session.SetServerProxy(strIP, strPort, strUser, strPassword, nTimeOut, nRetryCount,
                                      nRetryGap, pProxy);
    });
}

int SourceManager::QRX_Begin(Handle h, QRXDefine_ResLogin* pInfo) {
    return Guarded(h, [&](MarketDataSource& session) { return session.Connect(pInfo); });
}

int SourceManager::QRX_End(Handle h) {
    {
        const LockGuard guard(m_lock);
        RefInfo<MarketDataSource>* pRefInfo = FindRefInfo(h);
        if (pRefInfo != nullptr && !pRefInfo->DestroyCalled() &&
            pRefInfo->Generation() != m_nGeneration) {
            pRefInfo->GetPointer()->Abandon();
            return QRX_OK;
        }
    }
    return Guarded(h, [](MarketDataSource& session) { return session.Close(); });
}

void SourceManager::QRX_AbortRecv(Handle h) {
    Guarded(h, [](MarketDataSource& session) { return session.AbortRecv(); });
}

const QRXDefine_Code* SourceManager::QRX_GetCodeInfo(Handle h, const std::string& strVelaCode) {
    const QRXDefine_Code* const pNone = nullptr;
    return GuardedAs(h, pNone, pNone, [&](MarketDataSource& session) {
        return session.QRX_GetCodeInfo(strVelaCode);
    });
}
