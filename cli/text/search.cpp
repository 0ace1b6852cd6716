// See the header.
#include "text/search.h"

#include "text/encoding.h"

namespace qrx::cli {

Rank RankOf(const std::string& strSearch, const std::string& strCode, const std::string& strName) {
    const std::string strFoldedCode = FoldCase(strCode);
    const std::string strFoldedName = FoldCase(strName);
    const std::string strBare = strFoldedCode.substr(0, strFoldedCode.rfind('.'));
    if (strSearch == strFoldedCode || strSearch == strBare || strSearch == strFoldedName) {
        return Rank::Whole;
    }
    if (strFoldedCode.starts_with(strSearch)) return Rank::CodeBegins;
    if (strFoldedName.starts_with(strSearch)) return Rank::NameBegins;
    const bool bInside = strFoldedCode.find(strSearch) != std::string::npos ||
                         strFoldedName.find(strSearch) != std::string::npos;
    return bInside ? Rank::Contains : Rank::None;
}

}  // namespace qrx::cli
