// The likeliest of some names for one that was mistyped.
#ifndef QRX_CLI_TEXT_NEAREST_H
#define QRX_CLI_TEXT_NEAREST_H

#include <string>
#include <vector>

namespace qrx::cli {

// Letters to add, drop or change between two texts.
int EditDistance(const std::string& strA, const std::string& strB);

// "" for no names.
std::string Nearest(const std::string& strText, const std::vector<std::string>& vecNames);

}  // namespace qrx::cli

#endif
