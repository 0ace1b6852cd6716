// See the header. The texts are fields of the settings record: at most their width is read.
#include "api/inner.h"

#include "api/source_manager.h"
#include "support/strings.h"

namespace {

MarketDataSource* Session(void* h) {
    return static_cast<MarketDataSource*>(h);
}

// The connection texts at their kept lengths.
struct ConnectTexts {
    ConnectTexts(const char* szIP, const char* szPort, const char* szUser, const char* szPassword)
        : strIP(qrx::FieldText(szIP, 24)),
          strPort(qrx::FieldText(szPort, 8)),
          strUser(qrx::FieldText(szUser, 32)),
          strPassword(qrx::FieldText(szPassword, 32)) {}
    std::string strIP, strPort, strUser, strPassword;
};

}  // namespace

namespace QRXInner {

void* QRX_CreateHandle() {
    return SourceManager::GetInstance()->QRX_CreateHandle();
}

int QRX_SetConnectInfo(void* h, const char* szIP, const char* szPort, const char* szUser,
                       const char* szPassword, unsigned nTimeOut, unsigned nRetryCount,
                       unsigned nRetryGap) {
    if (!h || !szIP || !szPort || !szUser || !szPassword) return -1;
    ConnectTexts t(szIP, szPort, szUser, szPassword);
    return SourceManager::GetInstance()->QRX_SetServer(
        Session(h), t.strIP, t.strPort, t.strUser, t.strPassword, nTimeOut, nRetryCount, nRetryGap);
}

int QRX_SetConnectProxyInfo(void* h, const char* szIP, const char* szPort, const char* szUser,
                            const char* szPassword, unsigned nTimeOut, unsigned nRetryCount,
                            unsigned nRetryGap, const QRX_PROXY_SETTING* pProxy) {
    if (!h || !szIP || !szPort || !szUser || !szPassword || !pProxy) return -1;
    ConnectTexts t(szIP, szPort, szUser, szPassword);
    return SourceManager::GetInstance()->QRX_SetServerProxy(Session(h), t.strIP, t.strPort,
                                                            t.strUser, t.strPassword, nTimeOut,
                                                            nRetryCount, nRetryGap, pProxy);
}

int QRX_Begin(void* h, QRXDefine_ResLogin* pInfo) {
    if (h == nullptr) return QRX_ERR_ARGUMENT;
    return SourceManager::GetInstance()->QRX_Begin(Session(h), pInfo);
}

int QRX_Close(void* h) {
    if (h == nullptr) return QRX_ERR_ARGUMENT;
    return SourceManager::GetInstance()->QRX_End(Session(h));
}

int QRX_DestroyHandle(void* h) {
    if (h == nullptr) return QRX_ERR_ARGUMENT;
    return SourceManager::GetInstance()->QRX_DestroyHandle(Session(h));
}

bool CheckVelaCode(const char* szCode, int nLen) {
    if (szCode == nullptr || nLen == 0) return false;
    const std::string strCode = qrx::FieldText(szCode, static_cast<size_t>(nLen));
    const size_t nDot = strCode.rfind('.');
    return nDot != std::string::npos && nDot > 0 && nDot + 1 < strCode.size();
}

}  // namespace QRXInner
