// Bookkeeping of the tables, market numbers, and the conversions between code forms.
#include "session/code_table.h"

#include <algorithm>
#include <cstring>

#include "support/assertion.h"
#include "support/strings.h"

namespace {

struct MarketNumber {
    int nId;
    const char* szName;
};
constexpr MarketNumber kMarkets[] = {{0, "SZ"},   {1, "SH"},   {2, "PT"},  {3, "HZ"},
                                     {6, "HK"},   {7, "SP"},   {8, "FE"},  {10, "CF"},
                                     {11, "SHF"}, {12, "CZC"}, {13, "DCE"}};

bool SameTable(const CodeTable& a, const CodeTable& b) {
    return a.nCount == b.nCount &&
           (a.nCount == 0 || memcmp(a.pCodes.get(), b.pCodes.get(),
                                    static_cast<size_t>(a.nCount) * sizeof(QRXDefine_Code)) == 0);
}

}  // namespace

const CodeTable* CodeTables::Find(const std::string& strMarket) const {
    const auto it = m_current.find(strMarket);
    return it == m_current.end() ? nullptr : &it->second;
}

void CodeTables::Clear() {
    m_retired.reserve(m_retired.size() + m_current.size());  // or nothing is changed
    for (auto& [strMarket, table] : m_current) {
        if (table.nCount > 0) m_retired.emplace_back(strMarket, std::move(table));
    }
    m_current.clear();
}

void CodeTables::Insert(const std::string& strMarket, CodeTable table) {
    if (m_current.count(strMarket) != 0) return;
    const auto it = std::find_if(m_retired.begin(), m_retired.end(), [&](const auto& retired) {
        return retired.first == strMarket && SameTable(retired.second, table);
    });
    if (it == m_retired.end()) {
        m_current.emplace(strMarket, std::move(table));
    } else {
        m_current.emplace(strMarket, std::move(it->second));
        m_retired.erase(it);
    }
}

void CodeTables::TakeFrom(CodeTables& other) {
    for (auto& [strMarket, table] : other.m_current) Insert(strMarket, std::move(table));
    other.m_current.clear();
}

const char* GetMarketNameById(int nId) {
    for (const MarketNumber& market : kMarkets) {
        if (market.nId == nId) return market.szName;
    }
    return nullptr;
}

int GetMarketIdByName(const char* szName) {
    for (const MarketNumber& market : kMarkets) {
        if (szName != nullptr && strcmp(market.szName, szName) == 0) return market.nId;
    }
    return -1;
}

namespace BusinessConvertor {

void VelaCode2GQCode(char* pCode, int nCodeLen, char* pMarket, int nMarketLen,
                     const char* szVelaCode, int nLen) {
    const std::string strCode = qrx::FieldText(szVelaCode, static_cast<size_t>(nLen));
    const size_t nDotPos = strCode.rfind('.');
    QRX_ASSERT(nDotPos != std::string::npos, "nDotPos!=std::string::npos", qrx::source::kConverter);
    if (pCode != nullptr) {
        qrx::FillField(pCode, strCode.substr(0, nDotPos).c_str(), static_cast<size_t>(nCodeLen));
    }
    if (pMarket != nullptr) {
        qrx::FillField(pMarket, strCode.c_str() + nDotPos + 1, static_cast<size_t>(nMarketLen));
    }
}

std::string GetVelaCode(const char* szCode, int nCodeLen, const char* szMarket, int nMarketLen) {
    std::string strCode = qrx::FieldText(szCode, static_cast<size_t>(nCodeLen));
    strupr_n(strCode.data(), strCode.size());
    return strCode + "." + qrx::FieldText(szMarket, static_cast<size_t>(nMarketLen));
}

void NormalizeCode(char* pDst, int nDstLen, const char* pSrc, int nSrcLen, const char* szMarket,
                   int nMarketLen) {
    if (pDst == nullptr || nDstLen <= 0 || pSrc == nullptr || nSrcLen <= 0) return;
    const auto nDst = static_cast<size_t>(nDstLen);
    const std::string strCode = qrx::FieldText(pSrc, static_cast<size_t>(nSrcLen));
    qrx::FillField(pDst, strCode.c_str(), nDst);
    const auto bMarket = [&](const char* szName) {
        return qrx::CompareNoCase(szMarket, szName, static_cast<size_t>(nMarketLen)) == 0;
    };
    if (bMarket("CZC") || bMarket("SH") || bMarket("SZ") || bMarket("CF")) {
        strupr_n(pDst, nDst);
    } else if (bMarket("DCE")) {
        strlwr_n(pDst, nDst);
    } else if (bMarket("SHF")) {
        if (strCode.compare(0, 4, "imci") == 0) {
            strupr_n(pDst, nDst);
        } else {
            strlwr_n(pDst, nDst);
        }
    }
}

}  // namespace BusinessConvertor
