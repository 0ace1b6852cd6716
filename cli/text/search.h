// How well a security answers what was typed of its code or name.
#ifndef QRX_CLI_TEXT_SEARCH_H
#define QRX_CLI_TEXT_SEARCH_H

#include <string>

namespace qrx::cli {

// The lower the better, None for not at all.
enum class Rank { Whole, CodeBegins, NameBegins, Contains, None };

// strSearch is folded already (FoldCase).
Rank RankOf(const std::string& strSearch, const std::string& strCode, const std::string& strName);

}  // namespace qrx::cli

#endif
