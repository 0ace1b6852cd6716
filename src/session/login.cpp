// The login exchange and the outcome texts.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "session/data_source.h"
#include "support/assertion.h"
#include "support/limits.h"
#include "support/strings.h"

using qrx::source::kMarketDataSource;

namespace {

// "abnormal packet head length received" in the GBK code page.
constexpr char kBadLengthText[] =
    "MarketDataSource::LogIn \xca\xd5\xb5\xbd\xb5\xc4\xb0\xfc\xcd\xb7\xb3\xa4\xb6\xc8\xd2\xec\xb3"
    "\xa3:%d!\n";

const char* OutcomeText(int nErr) {
    switch (nErr) {
        case QRX_ERR_TIMEOUT:
            return "%s: recv time out!";
        case QRX_ERR_NETWORK:
            return "%s: connect failed!";
        case QRX_ERR_MALFORMED_LOGIN:
            return "%s: receive exception data!";
        case QRX_ERR_LOGIN:
            return "%s: login failed!";
        case QRX_OK:
            return "%s: success!";
        case QRX_ERR_NO_MARKETS:
            return "%s: no authorized markets!";
        case QRX_ERR_NO_CODE_TABLE:
            return "%s: no code table!";
        default:
            break;
    }
    QRX_ASSERT(false, "0", kMarketDataSource);
}

ZPMDefine_Login LoginBody(const std::string& strUser, const std::string& strPassword) {
    ZPMDefine_Login body{};
    qrx::FillField(body.chUser, strUser.c_str(), sizeof body.chUser);
    qrx::FillField(body.chPassword, strPassword.c_str(), sizeof body.chPassword);
    qrx::FillField(body.chCompany, "GQCOMP", sizeof body.chCompany);
    return body;
}

QRXDefine_ResLogin LoginInfo(const ZPMDefine_LoginAnswer& answer) {
    QRXDefine_ResLogin info{};
    memcpy(info.szInfo, answer.szInfo, sizeof info.szInfo);
    info.nMarkets = answer.nMarkets < 0 ? 0 : answer.nMarkets;
    for (int i = 0; i < info.nMarkets; ++i) {
        memcpy(info.szMarket[i], answer.chMarket[i], sizeof answer.chMarket[i]);
    }
    for (int i = 0, n = 0; i < qrx::limits::kMaxMarkets && n < info.nMarkets; ++i) {
        if (answer.nMarketInfo[i] != 0) info.nMarketInfo[n++] = answer.nMarketInfo[i];
    }
    return info;
}

}  // namespace

void MarketDataSource::GenerateErrStr(int nErr, const char* szPrefix, QRXDefine_ResLogin* pInfo) {
    char szText[256];
    const char* szFormat = OutcomeText(nErr);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    snprintf(szText, 255, szFormat, szPrefix != nullptr ? szPrefix : "");
#pragma GCC diagnostic pop
    if (pInfo != nullptr) qrx::FillField(pInfo->szInfo, szText, sizeof pInfo->szInfo);
    qrx::FillField(m_loginInfo.szInfo, szText, sizeof m_loginInfo.szInfo);
}

int MarketDataSource::LogIn(QRXDefine_ResLogin* pInfo) {
    const auto fail = [&](int nResult) {
        if (nResult == QRX_ERR_TIMEOUT) m_net.Close();
        GenerateErrStr(nResult, "login", pInfo);
        return nResult;
    };
    {
        const LockGuard guard(m_lock);
        m_loginInfo = QRXDefine_ResLogin{};
    }
    if (pInfo != nullptr) *pInfo = QRXDefine_ResLogin{};

    const ZPMDefine_Login body = LoginBody(m_strUser, m_strPassword);
    const int nSent = SendPacket(ID_ZPMTELE_LOGIN, &body, sizeof body, 0);
    QRX_ASSERT(nSent != QRX_ERR_TIMEOUT, "nRet != ENKN_NETWORK_TIMEOUT", kMarketDataSource);
    if (nSent <= 0) return fail(QRX_ERR_NETWORK);

    ZPMDefine_MessageHead head;
    int nResult = m_net.RecvN(&head, sizeof head);
    if (nResult < 0) return fail(nResult);
    constexpr auto kAnswerSize = static_cast<int>(sizeof(ZPMDefine_LoginAnswer));
    if (head.nDataLen < kAnswerSize) {
        fprintf(stderr, kBadLengthText, head.nDataLen);
        m_net.Close();
        return fail(QRX_ERR_MALFORMED_LOGIN);
    }
    const std::unique_ptr<char[]> pBody(NewBody(head.nDataLen));
    if (!pBody) return fail(NetworkError());
    nResult = m_net.RecvN(pBody.get(), head.nDataLen);
    if (nResult < 0) return fail(nResult);

    ZPMDefine_LoginAnswer answer;
    memcpy(&answer, pBody.get(), sizeof answer);
    QRX_ASSERT(head.sFlags == PROTOCAL_NUMBER || head.sFlags == 0,
               "head.sFlags==PROTOCAL_NUMBER || head.sFlags==0", kMarketDataSource);
    QRX_ASSERT(head.sDataType == ID_ZPMTELE_LOGIN_ANSWER, "head.sDataType==2", kMarketDataSource);
    QRX_ASSERT(head.nDataLen >= kAnswerSize, "head.nDataLen>=424", kMarketDataSource);
    QRX_ASSERT(answer.nMarkets < qrx::limits::kMaxMarkets, "pAnswer->nMarkets<32",
               kMarketDataSource);

    const QRXDefine_ResLogin info = LoginInfo(answer);
    {
        const LockGuard guard(m_lock);
        m_loginInfo = info;
    }
    if (pInfo != nullptr) *pInfo = info;
    if (answer.nResult != 1) {
        nResult = QRX_ERR_LOGIN;
    } else {
        nResult = info.nMarkets != 0 ? QRX_OK : QRX_ERR_NO_MARKETS;
    }
    if (nResult != QRX_OK) m_net.Close();
    // A refusal keeps the server's own text, so that the caller sees why.
    if (nResult != QRX_ERR_LOGIN) GenerateErrStr(nResult, "login", pInfo);
    return nResult;
}
