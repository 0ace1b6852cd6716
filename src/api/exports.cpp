// The nineteen exported functions: argument checks, cleared outputs, one guard around each call.
#include <qrx/qrx.h>

#include <pthread.h>

#include <cstring>
#include <utility>

#include "api/inner.h"
#include "api/source_manager.h"
#include "support/assertion.h"
#include "support/result_memory.h"
#include "support/strings.h"

using qrx::source::kApi;

namespace {

constexpr unsigned kDefaultTimeOut = 120;  // seconds
constexpr unsigned kDefaultRetryGap = 1;   // seconds
constexpr int kCodeWidth = 32;

// No cancellation of the calling thread inside the library: it would leave locks behind.
class NoCancellation {
public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nFormer); }
    ~NoCancellation() { pthread_setcancelstate(m_nFormer, nullptr); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    int m_nFormer = PTHREAD_CANCEL_ENABLE;
};

// What can throw at all is a small allocation.
template <class Result, class Body>
Result Entry(Result onException, Body body) noexcept {
    const NoCancellation noCancellation;
    try {
        return body();
    } catch (...) {
        return onException;
    }
}

SourceManager& Registry() {
    return *SourceManager::GetInstance();
}
MarketDataSource* Session(void* h) {
    return static_cast<MarketDataSource*>(h);
}

// A handle that is destroyed unless the open succeeds.
struct HandleOwner {
    void* h;
    ~HandleOwner() {
        if (h != nullptr) QRXInner::QRX_DestroyHandle(h);
    }
};

void* Open(const OPEN_SETTINGS* pSettings, bool bProxy, const QRX_PROXY_SETTING* pProxy,
           QRXDefine_ResLogin* pLoginResult) noexcept {
    return Entry(static_cast<void*>(nullptr), [&]() -> void* {
        if (pLoginResult != nullptr) memset(pLoginResult, 0, sizeof *pLoginResult);
        if (pSettings == nullptr || (bProxy && pProxy == nullptr)) {
            if (pLoginResult != nullptr) {
                qrx::FillField(pLoginResult->szInfo, "invalid param.", sizeof pLoginResult->szInfo);
            }
            return nullptr;
        }
        HandleOwner handle{QRXInner::QRX_CreateHandle()};
        void* h = handle.h;
        QRX_ASSERT(h != nullptr, "h", kApi);
        const unsigned nTimeOut =
            pSettings->nTimeOutVal != 0 ? pSettings->nTimeOutVal : kDefaultTimeOut;
        const unsigned nGap = pSettings->nRetryGap != 0 ? pSettings->nRetryGap : kDefaultRetryGap;
        const OPEN_SETTINGS& s = *pSettings;
        const int nRet =
            bProxy ? QRXInner::QRX_SetConnectProxyInfo(h, s.szIP, s.szPort, s.szUser, s.szPassword,
                                                       nTimeOut, s.nRetryCount, nGap, pProxy)
                   : QRXInner::QRX_SetConnectInfo(h, s.szIP, s.szPort, s.szUser, s.szPassword,
                                                  nTimeOut, s.nRetryCount, nGap);
        QRX_ASSERT(nRet >= 0, "nRet >=0", kApi);
        if (QRXInner::QRX_Begin(h, pLoginResult) != 0) return nullptr;
        return std::exchange(handle.h, nullptr);
    });
}

// Which pointers a data call requires and clears: of some, the count may come without the array,
// of others the session clears the count.
enum class Outputs { kCountRequired, kAllRequired, kCountBySession };

template <class Request, class Record>
int DataCall(void* h, const Request* pReq, Record** pData, int* pCount, Outputs outputs,
             int (MarketDataSource::*pfnCall)(const Request*, Record**, int*)) noexcept {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || pReq == nullptr || pCount == nullptr) return QRX_ERR_ARGUMENT;
        if (outputs != Outputs::kCountRequired && pData == nullptr) return QRX_ERR_ARGUMENT;
        if (!QRXInner::CheckVelaCode(pReq->chCode, kCodeWidth)) return QRX_ERR_ARGUMENT;
        if (pData != nullptr) *pData = nullptr;
        if (outputs != Outputs::kCountBySession) *pCount = 0;
        return Registry().Guarded(Session(h), [&](MarketDataSource& session) {
            return (session.*pfnCall)(pReq, pData, pCount);
        });
    });
}

}  // namespace

extern "C" {

void* QRX_Open(const OPEN_SETTINGS* pSettings, QRXDefine_ResLogin* pLoginResult) {
    return Open(pSettings, false, nullptr, pLoginResult);
}

void* QRX_OpenProxy(const OPEN_SETTINGS* pSettings, QRX_PROXY_SETTING* pProxy,
                    QRXDefine_ResLogin* pLoginResult) {
    return Open(pSettings, true, pProxy, pLoginResult);
}

int QRX_Close(void* h) {
    return Entry(int{QRX_ERR_ARGUMENT}, [&]() -> int {
        if (h == nullptr || QRXInner::QRX_Close(h) < 0) return QRX_ERR_ARGUMENT;
        return QRXInner::QRX_DestroyHandle(h);
    });
}

void QRX_Free(void* p) {
    qrx::FreeResult(p);
}

int QRX_GetCodeTable(void* h, const char* szMarket, QRXDefine_Code** pCodeTable, int* pCount) {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || pCodeTable == nullptr || pCount == nullptr) return QRX_ERR_ARGUMENT;
        *pCodeTable = nullptr;
        *pCount = 0;
        std::string strMarket = szMarket != nullptr ? qrx::FieldText(szMarket, 8) : std::string();
        strupr_n(strMarket.data(), strMarket.size());
        return Registry().Guarded(Session(h), [&](MarketDataSource& session) {
            return session.GetCodeTable(strMarket, pCodeTable, pCount);
        });
    });
}

const QRXDefine_Code* QRX_GetCodeInfo(void* h, const char* szVelaCode) {
    return Entry(static_cast<const QRXDefine_Code*>(nullptr), [&]() -> const QRXDefine_Code* {
        if (h == nullptr || szVelaCode == nullptr) return nullptr;
        if (!QRXInner::CheckVelaCode(szVelaCode,
                                     static_cast<int>(strnlen(szVelaCode, INT32_MAX)))) {
            return nullptr;
        }
        // A code whose dot is lost in the cut is the caller's error.
        const std::string strCode = qrx::FieldText(szVelaCode, kCodeWidth);
        if (strCode.find('.') == std::string::npos) return nullptr;
        return Registry().QRX_GetCodeInfo(Session(h), strCode);
    });
}

int QRX_GetKLine(void* h, const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kCountRequired, &MarketDataSource::GetKLine);
}

int QRX_GetTick(void* h, const QRXDefine_ReqTick* pReq, QRXDefine_Tick** pData, int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kCountRequired, &MarketDataSource::GetTick);
}

int QRX_GetTickAB(void* h, const QRXDefine_ReqTick* pReq, QRXDefine_TickAB** pData, int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kCountRequired, &MarketDataSource::GetTickAB);
}

int QRX_GetFuture(void* h, const QRXDefine_ReqFuture* pReq, QRXDefine_Future** pData, int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kCountBySession, &MarketDataSource::GetFuture);
}

int QRX_GetFutureAB(void* h, const QRXDefine_ReqFuture* pReq, QRXDefine_FutureAB** pData,
                    int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kCountBySession,
                    &MarketDataSource::GetFutureAB);
}

int QRX_GetTransaction(void* h, const QRXDefine_ReqTransaction* pReq, QRXDefine_Transaction** pData,
                       int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kAllRequired,
                    &MarketDataSource::GetTransaction);
}

int QRX_GetOrder(void* h, const QRXDefine_ReqOrder* pReq, QRXDefine_Order** pData, int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kAllRequired, &MarketDataSource::GetOrder);
}

int QRX_GetOrderQueue(void* h, const QRXDefine_ReqOrderQueue* pReq, QRXDefine_OrderQueue** pData,
                      int* pCount) {
    return DataCall(h, pReq, pData, pCount, Outputs::kAllRequired,
                    &MarketDataSource::GetOrderQueue);
}

int QRX_AddFormula(void* h, const char* szName, const char* szText, QRXDefine_AddFormulaRes* pRes) {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || szName == nullptr || szText == nullptr) return QRX_ERR_ARGUMENT;
        const std::string strName = qrx::FieldText(szName, 512);
        const std::string strText = qrx::FieldText(szText, size_t{1024} * 1024);
        if (strName.empty() || strText.empty()) return QRX_ERR_ARGUMENT;
        if (pRes != nullptr) memset(pRes, 0, sizeof *pRes);
        return Registry().Guarded(Session(h), [&](MarketDataSource& session) {
            return session.AddFormula(strName, strText, pRes);
        });
    });
}

int QRX_GetFormula(void* h, const char* szName, QRXDefine_FormulaItem** pItems, int* pCount) {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || pItems == nullptr || pCount == nullptr) return QRX_ERR_ARGUMENT;
        *pItems = nullptr;
        *pCount = 0;
        const std::string strName = szName != nullptr ? qrx::FieldText(szName, 24) : std::string();
        return Registry().Guarded(Session(h), [&](MarketDataSource& session) {
            return session.GetFormula(strName, pItems, pCount);
        });
    });
}

int QRX_DeleteFormula(void* h, const char* szName, QRXDefine_DelFormulaRes* pRes) {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || szName == nullptr) return QRX_ERR_ARGUMENT;
        if (pRes != nullptr) memset(pRes, 0, sizeof *pRes);
        const std::string strName = qrx::FieldText(szName, 27);
        return Registry().Guarded(Session(h), [&](MarketDataSource& session) {
            return session.DelFormula(strName, pRes);
        });
    });
}

int QRX_CalcFormula(void* h, const QRXDefine_ReqCalcFormula* pReq, QRXDefine_CalcFormulaRes* pRes) {
    return Entry(int{QRX_ERR_MEMORY}, [&]() -> int {
        if (h == nullptr || pReq == nullptr || pRes == nullptr) return QRX_ERR_ARGUMENT;
        memset(pRes, 0, sizeof *pRes);
        return Registry().Guarded(
            Session(h), [&](MarketDataSource& session) { return session.CalcFormula(pReq, pRes); });
    });
}

void QRX_ReleaseCalcFormula(QRXDefine_CalcFormulaRes* pRes) {
    if (pRes == nullptr) return;
    const int nColumns =
        pRes->nFieldCount < QRX_FORMULA_MAX_FIELDS ? pRes->nFieldCount : QRX_FORMULA_MAX_FIELDS;
    for (int i = 0; i < nColumns; ++i) {
        delete[] pRes->pnFieldData[i];
        pRes->pnFieldData[i] = nullptr;
    }
    memset(pRes, 0, sizeof *pRes);
}

}  // extern "C"
