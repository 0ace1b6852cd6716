// A text written anew with insertions before and behind its tokens and replacements of some.
#ifndef QRX_SERVER_FORMULA_REWRITER_H
#define QRX_SERVER_FORMULA_REWRITER_H

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formula/tokens.h"

namespace qrx::server::formula {

class Rewriter {
public:
    // Text and tokens outlive it.
    Rewriter(std::string_view text, const std::vector<Token>& vecTokens)
        : m_text(text), m_vecTokens(vecTokens), m_vecInstead(vecTokens.size()) {}

    // What encloses other insertions is told after them: of those before one token the last told
    // stands first, of those behind one the last told stands last.
    void Before(size_t nToken, const char* szText) { m_vecBefore.emplace_back(nToken, szText); }
    void Behind(size_t nToken, const char* szText) { m_vecBehind.emplace_back(nToken, szText); }
    void Instead(size_t nToken, const char* szText) { m_vecInstead[nToken] = szText; }

    std::string Text() {
        const auto lessToken = [](const auto& a, const auto& b) { return a.first < b.first; };
        std::reverse(m_vecBefore.begin(), m_vecBefore.end());
        std::stable_sort(m_vecBefore.begin(), m_vecBefore.end(), lessToken);
        std::stable_sort(m_vecBehind.begin(), m_vecBehind.end(), lessToken);
        auto itBefore = m_vecBefore.begin();
        auto itBehind = m_vecBehind.begin();
        const char* pDone = m_text.data();
        std::string strOut;
        for (size_t i = 0; i < m_vecTokens.size(); ++i) {
            const std::string_view token = m_vecTokens[i].text;
            strOut.append(pDone, token.data());
            pDone = token.data() + token.size();
            for (; itBefore != m_vecBefore.end() && itBefore->first == i; ++itBefore) {
                strOut += itBefore->second;
            }
            strOut += m_vecInstead[i] != nullptr ? std::string_view(m_vecInstead[i]) : token;
            for (; itBehind != m_vecBehind.end() && itBehind->first == i; ++itBehind) {
                strOut += itBehind->second;
            }
        }
        return strOut;
    }

private:
    std::string_view m_text;
    const std::vector<Token>& m_vecTokens;
    std::vector<const char*> m_vecInstead;  // null: the token itself
    std::vector<std::pair<size_t, const char*>> m_vecBefore;
    std::vector<std::pair<size_t, const char*>> m_vecBehind;
};

}  // namespace qrx::server::formula

#endif
