// The code tables of a session, and the two forms of a security code.
//
// Tables that a reconnect clears or replaces are retired, not freed: a record that was shown to
// the application stays readable as long as the session. A table that comes back unchanged is
// taken back, so a session that reconnects for months does not grow.
#ifndef QRX_SESSION_CODE_TABLE_H
#define QRX_SESSION_CODE_TABLE_H

#include <qrx/code.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// One market's records in the server's order. A table that was moved from is empty.
struct CodeTable {
    CodeTable() = default;
    CodeTable(CodeTable&& other) noexcept
        : pCodes(std::move(other.pCodes)), nCount(std::exchange(other.nCount, 0)) {}
    CodeTable& operator=(CodeTable&& other) noexcept {
        pCodes = std::move(other.pCodes);
        nCount = std::exchange(other.nCount, 0);
        return *this;
    }

    std::unique_ptr<QRXDefine_Code[]> pCodes;
    int nCount = 0;
};

class CodeTables {
public:
    using Map = std::map<std::string, CodeTable>;  // by upper-case market name

    const Map& Current() const { return m_current; }
    const CodeTable* Find(const std::string& strMarket) const;  // exact name, or null

    void Clear();                                                // retires every table
    void Insert(const std::string& strMarket, CodeTable table);  // never replaces a market
    void TakeFrom(CodeTables& other);  // inserts the other's current tables

private:
    Map m_current;
    std::vector<std::pair<std::string, CodeTable>> m_retired;
};

// Market numbers; exact, case-sensitive. Null and -1 for what is not assigned.
const char* GetMarketNameById(int nId);
int GetMarketIdByName(const char* szName);

namespace BusinessConvertor {

// Splits the public form at its last dot (which must exist) into code and market, each filled up
// to its limit if its buffer is given. At most nLen characters of the text are looked at.
void VelaCode2GQCode(char* pCode, int nCodeLen, char* pMarket, int nMarketLen,
                     const char* szVelaCode, int nLen);

// The public form of a server code: the code upper-cased, ".", the market as it is. Both are read
// up to their NUL or their length.
std::string GetVelaCode(const char* szCode, int nCodeLen, const char* szMarket, int nMarketLen);

// Copies a code in the letter case that its exchange's server wants.
void NormalizeCode(char* pDst, int nDstLen, const char* pSrc, int nSrcLen, const char* szMarket,
                   int nMarketLen);

}  // namespace BusinessConvertor

#endif
