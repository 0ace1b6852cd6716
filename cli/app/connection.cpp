// See the header.
#include "app/connection.h"

#include <algorithm>
#include <cstring>

#include "app/failure.h"
#include "app/interrupt.h"
#include "text/encoding.h"
#include "text/nearest.h"
#include "text/search.h"

namespace qrx::cli {
namespace {

const char* KindOf(const QRXDefine_Code& code) {
    constexpr int kLowByte = 0xFF;  // it decides
    return KindOfType(code.nType & kLowByte);
}

template <size_t nWidth>
void Fill(char (&field)[nWidth], const std::string& strText) {
    memcpy(field, strText.data(), std::min(nWidth, strText.size()));
}

}  // namespace

Connection::Connection(const Settings& settings) : m_settings(settings) {
    const Decoder decoder(settings.strEncoding);
    OPEN_SETTINGS open{};
    Fill(open.szIP, ResolveIPv4(settings.server.strHost));
    Fill(open.szPort, std::to_string(settings.server.nPort));
    Fill(open.szUser, settings.strUser);
    Fill(open.szPassword, settings.password ? *settings.password : AskPassword(settings.strUser));
    open.nTimeOutVal = settings.nTimeOut;
    open.nRetryCount = settings.nRetries;
    open.nRetryGap = 1;
    OpenResult opened;
    if (settings.proxy) {
        QRX_PROXY_SETTING proxy{};
        proxy.nProxyType = settings.proxy->nType;
        Fill(proxy.szProxyHostIp, ResolveIPv4(settings.proxy->address.strHost));
        Fill(proxy.szProxyPort, std::to_string(settings.proxy->address.nPort));
        Fill(proxy.szProxyUser, settings.proxy->strUser);
        Fill(proxy.szProxyPwd, settings.proxy->strPassword);
        opened = Session::OpenProxy(open, proxy);
    } else {
        opened = Session::Open(open);
    }
    if (!opened) RefuseOpen(opened.login, decoder);
    for (int i = 0; i < opened.login.nMarkets; ++i) {
        m_vecMarkets.emplace_back(FieldView(opened.login.szMarket[i]));
    }
    m_session = std::move(opened.session);
    interrupt::OnStop([this] { m_session.Close(); });
}

Connection::~Connection() {
    interrupt::OnStop({});
}

// The library says in a text what went wrong; only a refusal's text is the server's own.
void Connection::RefuseOpen(const QRXDefine_ResLogin& login, const Decoder& decoder) const {
    struct Outcome {
        const char* szEnd;
        ExitCode nCode;
        const char* szSentence;  // before and after the address
        const char* szRest;
    };
    static constexpr Outcome kOutcomes[] = {
        {": connect failed!", EXIT_NETWORK, "cannot connect to ", ""},
        {": recv time out!", EXIT_TIME_OUT, "", " did not answer in time; see --timeout"},
        {": receive exception data!", EXIT_NETWORK, "", " does not answer as such a server does"},
        {": no authorized markets!", EXIT_LOGIN, "", " lets this user into no market"},
        {": no code table!", EXIT_NO_DATA, "", " has no securities in this user's markets"}};
    std::string strAddress = m_settings.server.Text();
    if (m_settings.proxy) {
        strAddress += " through the proxy " + m_settings.proxy->address.Text();
    }
    const std::string strText(FieldView(login.szInfo));
    for (const Outcome& outcome : kOutcomes) {
        if (strText.ends_with(outcome.szEnd)) {
            throw Failure(outcome.nCode, outcome.szSentence + strAddress + outcome.szRest);
        }
    }
    throw Failure(EXIT_LOGIN, strAddress + " refused the login of " + m_settings.strUser +
                                  (strText.empty() ? "" : ": " + decoder.ToUtf8(strText)));
}

QRXDefine_Code Connection::FindCode(const std::string& strCode) {
    constexpr size_t kMaxCode = sizeof(QRXDefine_Code::szVelaCode) - 1;
    if (strCode.size() <= kMaxCode) {
        if (const QRXDefine_Code* pCode = m_session.CodeInfo(strCode.c_str())) return *pCode;
    }
    interrupt::Check();
    const size_t nDot = strCode.rfind('.');
    std::string strSentence = nDot == std::string::npos
                                  ? "CODE: \"" + strCode + "\" lacks its market, such as 600000.SH"
                                  : "CODE: there is no security " + strCode;
    if (nDot != std::string::npos) {
        const std::string strMarket = strCode.substr(nDot + 1);
        std::string strMarkets;
        bool bOpen = false;
        for (const std::string& strOne : m_vecMarkets) {
            bOpen = bOpen || FoldCase(strOne) == FoldCase(strMarket);
            strMarkets += (strMarkets.empty() ? "" : ", ") + strOne;
        }
        if (!bOpen) strSentence += ": you have no market " + strMarket + ", only " + strMarkets;
    }
    throw Failure(EXIT_UNKNOWN_CODE, strSentence + Candidates(strCode));
}

// What a search for the code without its market finds in the loaded tables, then the nearest; each
// time those of the market that was written before the others. Without a market more than can be
// shown are counted.
std::string Connection::Candidates(const std::string& strCode) {
    constexpr size_t kMost = 5;
    const Decoder decoder(m_settings.strEncoding);
    const std::string strWanted = FoldCase(strCode);
    const size_t nDot = strWanted.rfind('.');
    const std::string strPlain = strWanted.substr(0, nDot);
    const std::string strMarket = nDot != std::string::npos ? strWanted.substr(nDot) : "";
    struct Ranked {
        Rank rank;
        int nDistance;  // of those that no search finds
        bool bElsewhere;
        size_t nPlace;  // in the tables
        std::string strShown;
        auto operator<=>(const Ranked&) const = default;
    };
    std::vector<Ranked> vecRanked;
    size_t nFound = 0;
    const auto codes = m_session.Codes();
    for (const QRXDefine_Code& code : codes.value) {
        const std::string strPublic = decoder.ToUtf8(FieldView(code.szVelaCode));
        const std::string strFolded = FoldCase(strPublic);
        const std::string strName = decoder.ToUtf8(FieldView(code.szName));
        const Rank rank = strPlain.empty() ? Rank::None : RankOf(strPlain, strPublic, strName);
        const int nDistance = rank == Rank::None ? EditDistance(strWanted, strFolded) : 0;
        if (rank != Rank::None) ++nFound;
        vecRanked.push_back({rank, nDistance, !strFolded.ends_with(strMarket), vecRanked.size(),
                             strPublic + (strName.empty() ? "" : " (" + strName + ")")});
    }
    const size_t nShown = std::min(kMost, vecRanked.size());
    std::partial_sort(vecRanked.begin(), vecRanked.begin() + static_cast<std::ptrdiff_t>(nShown),
                      vecRanked.end());
    std::string strList;
    for (size_t i = 0; i < nShown; ++i) {
        const Ranked& one = vecRanked[i];
        if (one.rank == Rank::None && (nFound > 0 || one.nDistance > vecRanked[0].nDistance + 2)) {
            break;
        }
        strList += (i == 0 ? "" : ", ") + one.strShown;
    }
    if (strList.empty()) return {};
    if (nDot != std::string::npos || nFound <= kMost) return "; did you mean " + strList + "?";
    return "; " + std::to_string(nFound) + " match: " + strList + ", ...; qrx codes --search " +
           (strCode.find(' ') == std::string::npos ? strCode : '"' + strCode + '"') +
           " shows them all";
}

void Connection::Check(ResultCode code, const std::string& strWhat) {
    if (code == ResultCode::Ok) return;
    interrupt::Check();
    const std::string strServer = m_settings.server.Text();
    switch (code) {
        case ResultCode::NoData:
            throw Failure(EXIT_NO_DATA, "there are no " + strWhat);
        case ResultCode::Network:
            throw Failure(EXIT_NETWORK, "the connection to " + strServer + " was lost");
        case ResultCode::TimeOut:
            throw Failure(EXIT_TIME_OUT, strServer + " did not answer within " +
                                             std::to_string(m_settings.nTimeOut) +
                                             " seconds; --timeout waits longer");
        case ResultCode::Memory:
            throw Failure(EXIT_MEMORY, "the " + strWhat + " do not fit into memory");
        case ResultCode::Formula:
            throw Failure(EXIT_FORMULA, "the server refused the formula");
        default:
            throw Failure(EXIT_OTHER, std::string("unexpected result: ") + Message(code));
    }
}

void RefuseType(const QRXDefine_Code& code, const std::string& strPlural) {
    const std::string strKind = KindOf(code);
    const bool bVowel = strKind[0] == 'i' || strKind[0] == 'o';
    throw Failure(EXIT_WRONG_TYPE, std::string(FieldView(code.szVelaCode)) +
                                       (bVowel ? " is an " : " is a ") + strKind +
                                       ", which has no " + strPlural + "; use qrx " +
                                       (IsContract(code) ? "futures" : "ticks"));
}

bool IsContract(const QRXDefine_Code& code) {
    const std::string strKind = KindOf(code);
    return strKind == "future" || strKind == "option";
}

const char* KindOfType(int nType) {
    constexpr int kFirstSecurity = 16;
    constexpr int kFirstFuture = 112;
    constexpr int kLastFuture = 125;
    constexpr int kOptionGroup = 0x90;
    if (nType < kFirstSecurity) return "index";
    if (nType >= kFirstFuture && nType <= kLastFuture) return "future";
    if ((nType & 0xF0) == kOptionGroup) return "option";
    return "security";
}

}  // namespace qrx::cli
