// The process-wide registry of live sessions. Every exported call passes through it: it admits the
// call only on a registered handle that is not closed, keeps the session alive while the call runs
// outside the registry lock, and deletes the session with the last reference.
//
// The instance is never destroyed: other threads may still be inside a call when the process exits.
#ifndef QRX_API_SOURCE_MANAGER_H
#define QRX_API_SOURCE_MANAGER_H

#include <set>
#include <string>

#include "session/data_source.h"
#include "support/assertion.h"
#include "support/lock.h"

// One live session and its reference count, changed under the registry lock only.
template <class T>
class RefInfo {
public:
    RefInfo(T* p, int nRef, unsigned nGeneration)
        : m_nRef(static_cast<uint32_t>(nRef)), m_pPointer(p), m_nGeneration(nGeneration) {}

    T* GetPointer() const { return m_pPointer; }
    uint32_t GetRef() const { return m_nRef; }
    void AddRef() { ++m_nRef; }
    bool DestroyCalled() const { return m_bDestroyed; }
    void SetDestroyed(bool bDestroyed) { m_bDestroyed = bDestroyed; }
    unsigned Generation() const { return m_nGeneration; }

    // Deletes the session with the last reference.
    void DecreaseRef() {
        if (m_nRef == 0) return;
        QRX_ASSERT(static_cast<int32_t>(m_nRef) >= 0, "(int)m_nRef>=0",
                   qrx::source::kSourceManager);
        if (--m_nRef != 0) return;
        delete m_pPointer;
        m_pPointer = nullptr;
    }

private:
    uint32_t m_nRef;  // 1 for the handle and 1 for each call that runs on it
    T* m_pPointer;
    bool m_bDestroyed = false;
    unsigned m_nGeneration;  // how often the process had forked when the session was made
};

class SourceManager {
public:
    using Handle = MarketDataSource*;

    static SourceManager* GetInstance();

    Handle QRX_CreateHandle();
    int QRX_DestroyHandle(Handle h);

    int QRX_SetServer(Handle h, std::string& strIP, std::string& strPort, std::string& strUser,
                      std::string& strPassword, unsigned nTimeOut, unsigned nRetryCount,
                      unsigned nRetryGap);
    int QRX_SetServerProxy(Handle h, std::string& strIP, std::string& strPort, std::string& strUser,
                           std::string& strPassword, unsigned nTimeOut, unsigned nRetryCount,
                           unsigned nRetryGap, const QRX_PROXY_SETTING* pProxy);
    int QRX_Begin(Handle h, QRXDefine_ResLogin* pInfo);
    int QRX_End(Handle h);
    void QRX_AbortRecv(Handle h);
    const QRXDefine_Code* QRX_GetCodeInfo(Handle h, const std::string& strVelaCode);

    // Runs call(session) on a registered handle: its result, -11 for an unknown or closed handle,
    // -1 for one that this process inherited by fork.
    template <class Call>
    int Guarded(Handle h, Call call) {
        return GuardedAs(h, int{QRX_ERR_ARGUMENT}, int{QRX_ERR_NETWORK}, call);
    }

private:
    SourceManager();
    RefInfo<MarketDataSource>* FindRefInfo(Handle h);     // with the lock held
    void RemoveRef(RefInfo<MarketDataSource>* pRefInfo);  // with the lock held

    template <class Result, class Call>
    Result GuardedAs(Handle h, Result unknown, Result inherited, Call call) {
        m_lock.Lock();
        RefInfo<MarketDataSource>* pRefInfo = FindRefInfo(h);
        if (pRefInfo == nullptr || pRefInfo->DestroyCalled()) {
            m_lock.UnLock();
            return unknown;
        }
        if (pRefInfo->Generation() != m_nGeneration) {
            m_lock.UnLock();
            return inherited;
        }
        QRX_ASSERT(pRefInfo->GetRef() != 0, "pRefInfo->GetRef()", qrx::source::kSourceManager);
        pRefInfo->AddRef();
        m_lock.UnLock();
        const Reference reference(*this, *pRefInfo);
        return call(*pRefInfo->GetPointer());
    }

    // Drops a call's reference when the call is over, whichever way it ends.
    class Reference {
    public:
        Reference(SourceManager& manager, RefInfo<MarketDataSource>& refInfo)
            : m_manager(manager), m_refInfo(refInfo) {}
        ~Reference() {
            const LockGuard guard(m_manager.m_lock);
            m_refInfo.DecreaseRef();
            if (m_refInfo.GetRef() == 0) m_manager.RemoveRef(&m_refInfo);
        }
        Reference(const Reference&) = delete;
        Reference& operator=(const Reference&) = delete;

    private:
        SourceManager& m_manager;
        RefInfo<MarketDataSource>& m_refInfo;
    };

    std::set<RefInfo<MarketDataSource>*> m_setRefInfo;
    AutoLock m_lock;  // guards the set, every count and flag, and the generation
    unsigned m_nGeneration = 0;
};

#endif
