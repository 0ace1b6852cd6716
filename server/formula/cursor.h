// The place of a parser in its tokens, how deep it is in, and the errors that it finds there.
#ifndef QRX_SERVER_FORMULA_CURSOR_H
#define QRX_SERVER_FORMULA_CURSOR_H

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "formula/bounds.h"
#include "formula/tokens.h"

namespace qrx::server::formula {

class Cursor {
protected:
    explicit Cursor(std::string_view text) : m_vecTokens(ReadTokens(text)) {}

    // Counts what stands within what.
    class Level {
    public:
        explicit Level(Cursor& owner) : m_owner(owner) {
            if (++m_owner.m_nDepth > kMaxDepth) m_owner.FailHere("nested too deeply");
        }
        ~Level() { --m_owner.m_nDepth; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        Cursor& m_owner;
    };

    const Token& Now() const { return m_vecTokens[m_nAt]; }
    const Token& Ahead(size_t n) const {
        return m_vecTokens[std::min(m_nAt + n, m_vecTokens.size() - 1)];
    }
    static bool Is(const Token& token, std::string_view symbol) {
        return token.kind == TokenKind::Symbol && token.text == symbol;
    }
    bool Is(std::string_view symbol) const { return Is(Now(), symbol); }
    bool Accept(std::string_view symbol) {
        if (!Is(symbol)) return false;
        ++m_nAt;
        return true;
    }
    void Expect(std::string_view symbol) {
        if (!Accept(symbol)) FailHere(std::string(symbol) + " expected, not " + Shown());
    }
    std::string Name() {
        if (Now().kind != TokenKind::Name) FailHere("a name expected, not " + Shown());
        std::string strName(m_vecTokens[m_nAt++].text);
        m_setNames.insert(strName);
        return strName;
    }
    std::string Shown() const {
        if (Now().kind == TokenKind::End) return "end of text";
        return Now().kind == TokenKind::Text ? "a text" : std::string(Now().text.substr(0, 32));
    }
    [[noreturn]] void FailHere(const std::string& strWhy) const { FailAt(Now().nLine, strWhy); }

    std::vector<Token> m_vecTokens;
    size_t m_nAt = 0;
    std::set<std::string, std::less<>> m_setNames;  // that were met

private:
    int m_nDepth = 0;
};

}  // namespace qrx::server::formula

#endif
