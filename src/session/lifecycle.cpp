// Settings, connecting, reconnecting and closing a session.
#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>

#include "session/data_source.h"
#include "support/assertion.h"
#include "support/strings.h"

using qrx::source::kMarketDataSource;

MarketDataSource::MarketDataSource() : m_net(120, &m_bQuit) {}

MarketDataSource::~MarketDataSource() {
    Close();
}

CNKNetWorkClient::NK_PROXY_TYPE PLM_2_NKNetWorkProxy(QRX_PROXY_TYPE nType) {
    switch (nType) {
        case QRX_PROXY_SOCKS4:
            return CNKNetWorkClient::NK_PROXY_SOCKS4;
        case QRX_PROXY_SOCKS4A:
            return CNKNetWorkClient::NK_PROXY_SOCKS4A;
        case QRX_PROXY_SOCKS5:
            return CNKNetWorkClient::NK_PROXY_SOCKS5;
        case QRX_PROXY_HTTP:
            return CNKNetWorkClient::NK_PROXY_HTTP;
        default:
            break;
    }
    QRX_ASSERT(false, "0", kMarketDataSource);
}

int MarketDataSource::SetServer(const std::string& strIP, const std::string& strPort,
                                const std::string& strUser, const std::string& strPassword,
                                unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap) {
    const LockGuard guard(m_lock);
    if (m_nNetworkStatus != NET_CLOSED && m_nNetworkStatus != NET_SET_SERVER) return -1;
    m_strIP = strIP;
    m_strPort = strPort;
    m_strUser = strUser;
    m_strPassword = strPassword;
    m_nTimeOut = nTimeOut;
    m_nRetryCount = nRetryCount;
    m_nRetryGap = nRetryGap;
    m_net.SetTimeOut(nTimeOut);
    m_nNetworkStatus = NET_SET_SERVER;
    return 0;
}

int MarketDataSource::SetServerProxy(const std::string& strIP, const std::string& strPort,
                                     const std::string& strUser, const std::string& strPassword,
                                     unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap,
                                     const QRX_PROXY_SETTING* pProxy) {
    const int nResult =
        SetServer(strIP, strPort, strUser, strPassword, nTimeOut, nRetryCount, nRetryGap);
    if (nResult != 0) return nResult;
    const LockGuard guard(m_lock);
    m_bProxy = true;
    m_nProxyType = PLM_2_NKNetWorkProxy(pProxy->nProxyType);
    qrx::FillField(m_szProxyHost, pProxy->szProxyHostIp, sizeof m_szProxyHost);
    qrx::FillField(m_szProxyUser, pProxy->szProxyUser, sizeof m_szProxyUser);
    qrx::FillField(m_szProxyPwd, pProxy->szProxyPwd, sizeof m_szProxyPwd);
    m_nProxyPort = atoi(qrx::FieldText(pProxy->szProxyPort).c_str());
    return 0;
}

// Connects the transport, with or without proxy. A new connection starts clean: what the old one
// left, in the transport or in the middle of a packet, is forgotten first.
int MarketDataSource::ConnectTransport() {
    if (!m_net.IsConnected()) {
        m_net.Forget();
        m_abandoned = Abandoned{};
    }
    const unsigned nAddress = inet_addr(m_strIP.c_str());
    const int nPort = atoi(m_strPort.c_str());
    if (!m_bProxy) return m_net.Connect(nAddress, nPort);
    return m_net.ConnectProxy(
        nAddress, nPort, m_nProxyType, inet_addr(qrx::FieldText(m_szProxyHost).c_str()),
        m_nProxyPort, qrx::FieldText(m_szProxyUser).c_str(), qrx::FieldText(m_szProxyPwd).c_str());
}

void MarketDataSource::SetStatus(int nStatus) {
    const LockGuard guard(m_lock);
    m_nNetworkStatus = nStatus;
}

// Nothing that fails on the way leaves the session in between.
int MarketDataSource::Connect(QRXDefine_ResLogin* pInfo) {
    try {
        return ConnectSteps(pInfo);
    } catch (...) {
        const LockGuard guard(m_lock);
        m_net.Close();
        m_codeTables.Clear();
        m_nNetworkStatus = NET_SET_SERVER;
        GenerateErrStr(QRX_ERR_NETWORK, "connect", pInfo);
        return QRX_ERR_NETWORK;
    }
}

int MarketDataSource::ConnectSteps(QRXDefine_ResLogin* pInfo) {
    {
        const LockGuard guard(m_lock);
        switch (m_nNetworkStatus) {
            case NET_SET_SERVER:
                break;
            case NET_CLOSED:
                return -4;
            case NET_ALLOK:
                return 1;
            default:
                QRX_ASSERT(
                    m_nNetworkStatus >= NET_CONNECTING && m_nNetworkStatus <= NET_GET_CODETABLE,
                    "0", kMarketDataSource);
                return -5;
        }
        m_nNetworkStatus = NET_CONNECTING;
        m_codeTables.Clear();
    }
    int nResult = ConnectTransport();
    if (nResult < 0) {
        GenerateErrStr(nResult, "connect", pInfo);
        const LockGuard guard(m_lock);
        m_net.Close();
        m_nNetworkStatus = NET_SET_SERVER;
        return nResult;
    }
    SetStatus(NET_LOGIN);
    nResult = LogIn(pInfo);
    if (nResult != 0) {
        SetStatus(NET_SET_SERVER);
        return nResult;
    }
    SetStatus(NET_GET_CODETABLE);
    QRX_ASSERT(pInfo != nullptr, "pInfo", kMarketDataSource);
    std::vector<std::string> vecMarkets;
    vecMarkets.reserve(static_cast<size_t>(pInfo->nMarkets));
    for (int i = 0; i < pInfo->nMarkets; ++i) {
        vecMarkets.push_back(qrx::FieldText(pInfo->szMarket[i]));
    }
    nResult = GetAllMarketCodeTable(vecMarkets, pInfo);

    const LockGuard guard(m_lock);
    m_nNetworkStatus = nResult == 0 ? NET_ALLOK : NET_SET_SERVER;
    if (nResult != 0) {
        m_codeTables.Clear();
        m_net.Close();
    }
    return nResult;
}

// The connect result is compared with 0 only, and the transport returns 1 or -1: the login is
// always attempted next, and a failed connect fails in its send. m_bQuit ends it between the steps.
int MarketDataSource::DoReConnect() {
    int nResult = Quitting() ? QRX_ERR_NETWORK : ConnectTransport();
    if (nResult != 0) nResult = Quitting() ? QRX_ERR_NETWORK : LogIn(nullptr);
    {
        // The lock is held over the download on purpose: readers wait for whole tables.
        const LockGuard guard(m_lock);
        m_codeTables.Clear();
        if (nResult == 0) {
            QRX_ASSERT(m_loginInfo.nMarkets != 0, "m_loginInfo.nMarkets", kMarketDataSource);
            for (int i = 0; i < m_loginInfo.nMarkets && nResult == 0; ++i) {
                nResult = Quitting() ? QRX_ERR_NETWORK
                                     : RetrieveCodeTable(qrx::FieldText(m_loginInfo.szMarket[i]),
                                                         m_codeTables, nullptr);
            }
        }
    }
    if (nResult == 0) return 0;
    m_net.Close();
    return QRX_ERR_NETWORK;
}

// A reconnect may hold the lock over the network: the abort is repeated until it lets go.
void MarketDataSource::LockForClose() {
    constexpr int kPollMs = 5;
    while (!m_lock.TryLock()) {
        m_net.AbortRead();
        Sleep(kPollMs);
    }
}

int MarketDataSource::Close() {
    constexpr int kPollMs = 20;
    m_bQuit = 1;
    // The read is aborted only once the status is known: an exchange that fails at once leaves it
    // as if there had been nothing to close.
    LockForClose();
    if (m_nNetworkStatus == NET_CLOSED || m_nNetworkStatus == NET_SET_SERVER) {
        m_lock.UnLock();
        return 1;
    }
    while (m_nNetworkStatus != NET_ALLOK && m_nNetworkStatus != NET_CLOSED &&
           m_nNetworkStatus != NET_SET_SERVER) {
        m_lock.UnLock();
        m_net.AbortRead();
        Sleep(kPollMs);
        LockForClose();
    }
    QRX_ASSERT(m_nNetworkStatus == NET_CLOSED || m_nNetworkStatus == NET_SET_SERVER ||
                   m_nNetworkStatus == NET_ALLOK,
               "m_nNetworkStatus==NET_CLOSED || m_nNetworkStatus==NET_SET_SERVER || "
               "m_nNetworkStatus==NET_ALLOK",
               kMarketDataSource);
    if (m_nNetworkStatus == NET_ALLOK) m_net.Close();
    m_nNetworkStatus = NET_SET_SERVER;
    m_lock.UnLock();
    return 0;
}

int MarketDataSource::AbortRecv() {
    m_net.AbortRead();
    return 0;
}
