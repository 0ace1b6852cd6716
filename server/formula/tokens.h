// The text of a formula as tokens. They are Lua's; what formulas do not have (names that begin with
// two underscores, _ENV, joining texts with ..) is refused here, with its line.
#ifndef QRX_SERVER_FORMULA_TOKENS_H
#define QRX_SERVER_FORMULA_TOKENS_H

#include <string>
#include <string_view>
#include <vector>

namespace qrx::server::formula {

enum class TokenKind { Name, Number, Text, Symbol, End };  // keywords are symbols

struct Token {
    TokenKind kind;
    std::string_view text;  // within the formula
    int nLine;
};

// The tokens, the last of them End. They live as long as the text. Throws FormulaError.
std::vector<Token> ReadTokens(std::string_view text);

// "line 3: ..."
[[noreturn]] void FailAt(int nLine, const std::string& strWhy);

}  // namespace qrx::server::formula

#endif
