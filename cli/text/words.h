// A text taken apart at a separator, and put together.
#ifndef QRX_CLI_TEXT_WORDS_H
#define QRX_CLI_TEXT_WORDS_H

#include <algorithm>
#include <string>
#include <vector>

namespace qrx::cli {

// A separator at the very end has nothing behind it; elsewhere an empty part is one.
inline std::vector<std::string> Split(const std::string& strText, char chSeparator) {
    std::vector<std::string> vecParts;
    for (size_t nBegin = 0; nBegin < strText.size();) {
        const size_t nEnd = std::min(strText.find(chSeparator, nBegin), strText.size());
        vecParts.push_back(strText.substr(nBegin, nEnd - nBegin));
        nBegin = nEnd + 1;
    }
    return vecParts;
}

inline std::string Joined(const std::vector<std::string>& vecWords, const char* szBetween) {
    std::string strOut;
    for (const std::string& strWord : vecWords) {
        strOut += (strOut.empty() ? "" : szBetween) + strWord;
    }
    return strOut;
}

}  // namespace qrx::cli

#endif
