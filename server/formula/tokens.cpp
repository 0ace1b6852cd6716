// One pass over the bytes. Letters are ASCII, whatever locale the process has.
#include "formula/tokens.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "formula/bounds.h"

namespace qrx::server::formula {
namespace {

constexpr std::array<std::string_view, 22> kKeywords = {
    "and",      "break",  "do",   "else", "elseif", "end",  "false", "for",
    "function", "goto",   "if",   "in",   "local",  "nil",  "not",   "or",
    "repeat",   "return", "then", "true", "until",  "while"};
// Longest first.
constexpr std::string_view kSymbols[] = {
    "...", "..", "==", "~=", "<=", ">=", "<<", ">>", "//", "::", "+", "-", "*", "/", "%", "^", "#",
    "&",   "~",  "|",  "<",  ">",  "=",  "(",  ")",  "{",  "}",  "[", "]", ";", ":", ",", "."};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool IsHex(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    std::vector<Token> Run() {
        std::vector<Token> vec;
        while (true) {
            SkipBlanks();
            const size_t nBegin = m_nAt;
            const int nLine = m_nLine;
            const TokenKind kind = Next();
            const auto text = m_text.substr(nBegin, m_nAt - nBegin);
            vec.push_back({kind, text, nLine});
            if (kind == TokenKind::End) return vec;
        }
    }

private:
    // 0 behind the end.
    char Peek(size_t nAhead = 0) const {
        return m_nAt + nAhead < m_text.size() ? m_text[m_nAt + nAhead] : '\0';
    }
    bool AtEnd() const { return m_nAt >= m_text.size(); }

    // \n, \r, \r\n and \n\r are one line's end each.
    void NewLine() {
        const char c = m_text[m_nAt++];
        if ((Peek() == '\n' || Peek() == '\r') && Peek() != c) ++m_nAt;
        ++m_nLine;
    }
    void Step() {
        if (Peek() == '\n' || Peek() == '\r') {
            NewLine();
        } else {
            ++m_nAt;
        }
    }

    void SkipBlanks() {
        while (!AtEnd()) {
            const char c = Peek();
            if (c == '-' && Peek(1) == '-') {
                m_nAt += 2;
                if (SkipLongText()) continue;
                while (!AtEnd() && Peek() != '\n' && Peek() != '\r') ++m_nAt;
            } else if (c == ' ' || (c >= '\t' && c <= '\r')) {
                Step();
            } else {
                return;
            }
        }
    }

    // [[...]] or [=[...]=]; false, and nothing read, when none begins here.
    bool SkipLongText() {
        if (Peek() != '[') return false;
        size_t nLevel = 0;
        while (Peek(1 + nLevel) == '=') ++nLevel;
        if (Peek(1 + nLevel) != '[') return false;
        const std::string strClose = "]" + std::string(nLevel, '=') + "]";
        const int nLine = m_nLine;
        m_nAt += 2 + nLevel;
        while (m_text.substr(m_nAt, strClose.size()) != strClose) {
            if (AtEnd()) FailAt(nLine, "a text or comment that begins here does not end");
            Step();
        }
        m_nAt += strClose.size();
        return true;
    }

    TokenKind Next() {
        if (AtEnd()) return TokenKind::End;
        const char c = Peek();
        if (IsLetter(c)) return Name();
        if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) return Number();
        if (c == '"' || c == '\'') return Text(c);
        if (SkipLongText()) return TokenKind::Text;
        for (const std::string_view symbol : kSymbols) {
            if (m_text.substr(m_nAt, symbol.size()) != symbol) continue;
            if (symbol == "..") FailAt(m_nLine, "formulas do not join texts with \"..\"");
            m_nAt += symbol.size();
            return TokenKind::Symbol;
        }
        if (c > ' ' && c < 0x7F) FailAt(m_nLine, std::string("unexpected ") + c);
        // What a byte beyond ASCII is a part of depends on the text's encoding.
        const bool bAscii = static_cast<unsigned char>(c) < 0x80;
        char szByte[8];
        snprintf(szByte, sizeof szByte, "0x%02X",
                 static_cast<unsigned>(static_cast<unsigned char>(c)));
        FailAt(m_nLine, bAscii ? std::string("unexpected ") + szByte
                               : std::string("a character that is no ASCII (byte ") + szByte +
                                     "), outside texts and comments");
    }

    TokenKind Name() {
        const size_t nBegin = m_nAt;
        while (IsLetter(Peek()) || IsDigit(Peek())) ++m_nAt;
        const auto name = m_text.substr(nBegin, m_nAt - nBegin);
        if (std::find(kKeywords.begin(), kKeywords.end(), name) != kKeywords.end()) {
            return TokenKind::Symbol;
        }
        if (name.starts_with("__") || name == "_ENV") {
            FailAt(m_nLine,
                   "the name " + std::string(name.substr(0, 32)) + " is not open to formulas");
        }
        return TokenKind::Name;
    }

    // As far as Lua reads a number; whether it is one, Lua says.
    TokenKind Number() {
        const bool bHex = Peek() == '0' && (Peek(1) == 'x' || Peek(1) == 'X');
        if (bHex) m_nAt += 2;
        while (true) {
            const char c = static_cast<char>(Peek() | 0x20);
            if (c == (bHex ? 'p' : 'e')) {
                ++m_nAt;
                if (Peek() == '+' || Peek() == '-') ++m_nAt;
            } else if (IsHex(Peek()) || Peek() == '.') {
                ++m_nAt;
            } else {
                break;
            }
        }
        if (IsLetter(Peek())) FailAt(m_nLine, "malformed number");
        return TokenKind::Number;
    }

    TokenKind Text(char chQuote) {
        const int nLine = m_nLine;
        ++m_nAt;
        while (Peek() != chQuote) {
            if (AtEnd() || Peek() == '\n' || Peek() == '\r') FailAt(nLine, "a text does not end");
            const bool bEscape = Peek() == '\\';
            ++m_nAt;
            if (!bEscape) continue;
            if (Peek() == 'z') {  // skips the blanks that follow, line ends too
                ++m_nAt;
                while (Peek() == ' ' || (Peek() >= '\t' && Peek() <= '\r')) Step();
            } else if (!AtEnd()) {
                Step();
            }
        }
        ++m_nAt;
        return TokenKind::Text;
    }

    std::string_view m_text;
    size_t m_nAt = 0;
    int m_nLine = 1;
};

}  // namespace

std::vector<Token> ReadTokens(std::string_view text) {
    return Reader(text).Run();
}

void FailAt(int nLine, const std::string& strWhy) {
    throw FormulaError("line " + std::to_string(nLine) + ": " + strWhy);
}

}  // namespace qrx::server::formula
