// Downloading the code tables, and looking securities up in them.
#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "session/framing.h"
#include "support/assertion.h"
#include "support/diagnostics.h"
#include "support/limits.h"
#include "support/result_memory.h"
#include "support/strings.h"

using qrx::source::kMarketDataSource;

namespace {

void FillCode(QRXDefine_Code& code, const ZPMDefine_CodeTable_Item& item,
              const std::string& strMarket) {
    code = QRXDefine_Code{};
    const size_t nCode = strnlen(item.chCode, sizeof item.chCode);
    memcpy(code.szCode, item.chCode, nCode);
    qrx::FillField(code.szMarket, strMarket.c_str(), sizeof code.szMarket - 1);
    memcpy(code.szName, item.chName, sizeof item.chName);
    memcpy(code.szVelaCode, item.chCode, nCode);
    code.szVelaCode[nCode] = '.';
    qrx::FillField(code.szVelaCode + nCode + 1, strMarket.c_str(),
                   sizeof code.szVelaCode - 1 - nCode - 1);
    code.nType = item.nType;
}

std::string Upper(std::string strText) {
    strupr_n(strText.data(), strText.size());
    return strText;
}

}  // namespace

int MarketDataSource::FailedRetrieve(int nResult, QRXDefine_ResLogin* pInfo) {
    if (nResult == QRX_ERR_TIMEOUT) {
        m_net.Close();
    } else {
        nResult = QRX_ERR_NETWORK;
    }
    GenerateErrStr(nResult, "retrieve code table", pInfo);
    return nResult;
}

int MarketDataSource::RetrieveCodeTable(const std::string& strMarket, CodeTables& tables,
                                        QRXDefine_ResLogin* pInfo) {
    ZPMDefine_RequestCodeTable request{};
    qrx::FillField(request.chMarket, strMarket.c_str(), 4);
    const int nSent = SendPacket(ID_ZPMTELE_REQ_CODETABLE, &request, sizeof request, 0);
    QRX_ASSERT(nSent != QRX_ERR_TIMEOUT, "nRet != ENKN_NETWORK_TIMEOUT", kMarketDataSource);
    if (nSent <= 0) return FailedRetrieve(nSent, pInfo);

    ZPMDefine_MessageHead head;
    int nResult = m_net.RecvN(&head, sizeof head);
    if (nResult < 0) return FailedRetrieve(nResult, pInfo);
    constexpr auto kHeadSize = static_cast<int>(sizeof(ZPMDefine_CodeTable_Head));
    QRX_ASSERT(head.sFlags == PROTOCAL_NUMBER, "head.sFlags==PROTOCAL_NUMBER", kMarketDataSource);
    QRX_ASSERT(head.sDataType == ID_ZPMTELE_CODETABLE, "head.sDataType==1001", kMarketDataSource);
    QRX_ASSERT(head.nDataLen >= kHeadSize, "head.nDataLen>=12", kMarketDataSource);
    const std::unique_ptr<char[]> pBody(NewBody(head.nDataLen));
    if (!pBody) return FailedRetrieve(NetworkError(), pInfo);
    nResult = m_net.RecvN(pBody.get(), head.nDataLen);
    if (nResult < 0) return FailedRetrieve(nResult, pInfo);

    const auto table = HeadOf<ZPMDefine_CodeTable_Head>(pBody.get());
    const int64_t nItems = table.nTotalItems < 0 ? 0 : table.nTotalItems;
    QRX_ASSERT(head.nDataLen >= nItems * table.nItemSize + kHeadSize,
               "head.nDataLen>=nTotalItems*nItemSize+12", kMarketDataSource);
    // The stride is fixed whatever the announced item size says; what the body does not hold at
    // that stride does not exist.
    constexpr auto kItemSize = static_cast<int64_t>(sizeof(ZPMDefine_CodeTable_Item));
    const int64_t nHeld = (head.nDataLen - kHeadSize) / kItemSize;
    CodeTable codes;
    codes.nCount = static_cast<int>(nItems < nHeld ? nItems : nHeld);
    if (codes.nCount > 0 && codes.nCount <= qrx::limits::kMaxCodes) {
        codes.pCodes.reset(new (std::nothrow) QRXDefine_Code[static_cast<size_t>(codes.nCount)]);
    }
    if (codes.nCount > 0 && !codes.pCodes) {
        ErrPrint("MarketDataSource: can not take a table of %d codes\n", codes.nCount);
        return FailedRetrieve(NetworkError(), pInfo);
    }
    for (int i = 0; i < codes.nCount; ++i) {
        const char* pItem = pBody.get() + kHeadSize + i * kItemSize;
        FillCode(codes.pCodes[static_cast<size_t>(i)], HeadOf<ZPMDefine_CodeTable_Item>(pItem),
                 strMarket);
    }
    tables.Insert(Upper(strMarket), std::move(codes));
    return 0;
}

int MarketDataSource::GetAllMarketCodeTable(const std::vector<std::string>& vecMarkets,
                                            QRXDefine_ResLogin* pInfo) {
    QRX_ASSERT(!vecMarkets.empty(), "vecMarkets.size()", kMarketDataSource);
    for (const std::string& strMarket : vecMarkets) {
        CodeTables loaded;
        const int nResult = RetrieveCodeTable(strMarket, loaded, pInfo);
        if (nResult < 0) return nResult;
        const LockGuard guard(m_lock);
        m_codeTables.TakeFrom(loaded);
    }
    int64_t nCodes = 0;
    for (const auto& [strMarket, table] : m_codeTables.Current()) nCodes += table.nCount;
    const int nResult = nCodes > 0 ? QRX_OK : QRX_ERR_NO_CODE_TABLE;
    if (nResult != QRX_OK) m_net.Close();
    GenerateErrStr(nResult, "retrieve code table", pInfo);
    return nResult;
}

int MarketDataSource::GetCodeTable(const std::string& strMarket, QRXDefine_Code** pCodeTable,
                                   int* pItems) {
    QRX_ASSERT(pItems != nullptr, "pItems", kMarketDataSource);
    QRX_ASSERT(pCodeTable != nullptr, "pCodeTable", kMarketDataSource);
    *pCodeTable = nullptr;
    *pItems = 0;
    const LockGuard guard(m_lock);
    if (m_nNetworkStatus < NET_ALLOK) return QRX_ERR_NETWORK;
    std::vector<const CodeTable*> vecTables;
    const auto add = [&](const std::string& strName) {
        const CodeTable* pTable = m_codeTables.Find(strName);
        if (pTable != nullptr && pTable->nCount > 0) vecTables.push_back(pTable);
    };
    if (!strMarket.empty()) {
        add(strMarket);
    } else {
        for (int i = 0; i < m_loginInfo.nMarkets; ++i) {
            add(Upper(qrx::FieldText(m_loginInfo.szMarket[i])));
        }
    }
    int64_t nTotal = 0;
    for (const CodeTable* pTable : vecTables) nTotal += pTable->nCount;
    if (nTotal == 0) return QRX_ERR_NO_DATA;
    auto* pCopy = qrx::NewResult<QRXDefine_Code>(nTotal);
    if (pCopy == nullptr) return QRX_ERR_MEMORY;
    *pCodeTable = pCopy;
    *pItems = static_cast<int>(nTotal);
    for (const CodeTable* pTable : vecTables) {
        memcpy(pCopy, pTable->pCodes.get(), static_cast<size_t>(pTable->nCount) * sizeof *pCopy);
        pCopy += pTable->nCount;
    }
    return 0;
}

const QRXDefine_Code* MarketDataSource::QRX_GetCodeInfo(const std::string& strVelaCode) {
    char szCode[32 + 1] = {};
    char szMarket[16 + 1] = {};
    BusinessConvertor::VelaCode2GQCode(szCode, 32, szMarket, 16, strVelaCode.c_str(),
                                       static_cast<int>(strVelaCode.size()));
    const LockGuard guard(m_lock);
    for (const auto& [strName, table] : m_codeTables.Current()) {
        if (qrx::CompareNoCase(strName.c_str(), szMarket) != 0) continue;
        for (int i = 0; i < table.nCount; ++i) {
            const QRXDefine_Code& code = table.pCodes[static_cast<size_t>(i)];
            if (qrx::CompareNoCase(code.szCode, szCode, sizeof code.szCode) == 0) return &code;
        }
        return nullptr;
    }
    return nullptr;
}

// No lock: runs while the session is busy with the request that asks, when nothing else changes
// the tables.
const QRXDefine_Code* MarketDataSource::FindCode(const std::string& strVelaCode) {
    const std::string strCode = Upper(strVelaCode);
    const size_t nDot = strCode.rfind('.');
    if (nDot == std::string::npos) return nullptr;
    const CodeTable* pTable = m_codeTables.Find(strCode.substr(nDot + 1));
    if (pTable == nullptr) return nullptr;
    for (int i = 0; i < pTable->nCount; ++i) {
        const QRXDefine_Code& code = pTable->pCodes[static_cast<size_t>(i)];
        if (qrx::CompareNoCase(code.szVelaCode, strCode.c_str(), sizeof code.szVelaCode) == 0) {
            return &code;
        }
    }
    return nullptr;
}

bool MarketDataSource::IsIndex(const std::string& strMarket, const std::string& strCode) {
    constexpr int kFirstNonIndexType = 16;
    const CodeTable* pTable = m_codeTables.Find(Upper(strMarket));
    if (pTable == nullptr) return false;
    for (int i = 0; i < pTable->nCount; ++i) {
        const QRXDefine_Code& code = pTable->pCodes[static_cast<size_t>(i)];
        if (code.nType < kFirstNonIndexType &&
            qrx::CompareNoCase(code.szCode, strCode.c_str(), sizeof code.szCode) == 0) {
            return true;
        }
    }
    return false;
}
