// See the header.
#include "text/nearest.h"

#include <algorithm>
#include <numeric>

namespace qrx::cli {

int EditDistance(const std::string& strA, const std::string& strB) {
    std::vector<int> row(strB.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 0; i < strA.size(); ++i) {
        int nDiagonal = row[0]++;
        for (size_t j = 0; j < strB.size(); ++j) {
            const int nChanged = nDiagonal + (strA[i] != strB[j] ? 1 : 0);
            nDiagonal = row[j + 1];
            row[j + 1] = std::min({nChanged, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string Nearest(const std::string& strText, const std::vector<std::string>& vecNames) {
    const auto it = std::min_element(
        vecNames.begin(), vecNames.end(), [&](const std::string& strA, const std::string& strB) {
            return EditDistance(strText, strA) < EditDistance(strText, strB);
        });
    return it != vecNames.end() ? *it : std::string();
}

}  // namespace qrx::cli
