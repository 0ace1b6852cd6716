// Opening a session: copies the connection texts, cut to their lengths, and calls the registry.
#ifndef QRX_API_INNER_H
#define QRX_API_INNER_H

#include <qrx/session.h>

namespace QRXInner {

void* QRX_CreateHandle();

// -1 for a null handle or text (or proxy record), otherwise the session's answer.
int QRX_SetConnectInfo(void* h, const char* szIP, const char* szPort, const char* szUser,
                       const char* szPassword, unsigned nTimeOut, unsigned nRetryCount,
                       unsigned nRetryGap);
int QRX_SetConnectProxyInfo(void* h, const char* szIP, const char* szPort, const char* szUser,
                            const char* szPassword, unsigned nTimeOut, unsigned nRetryCount,
                            unsigned nRetryGap, const QRX_PROXY_SETTING* pProxy);

// -11 for a null handle, otherwise the registry's answer.
int QRX_Begin(void* h, QRXDefine_ResLogin* pInfo);
int QRX_Close(void* h);
int QRX_DestroyHandle(void* h);

// True for a text with characters before and behind its last dot, within its first nLen characters.
bool CheckVelaCode(const char* szCode, int nLen);

}  // namespace QRXInner

#endif
