// A second and plainest reader of CSV files, for comparing what an import made of them.
#ifndef QRX_TESTS_SERVER_CSV_TABLE_H
#define QRX_TESTS_SERVER_CSV_TABLE_H

#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace qrx::test {

// A CSV file as rows of text, with columns found by name.
struct Table {
    std::map<std::string, size_t> mapColumns;
    std::vector<std::vector<std::string>> vecRows;

    explicit Table(const std::string& strPath) {
        gzFile file = gzopen(strPath.c_str(), "rb");
        std::vector<char> line(1 << 16);
        while (gzgets(file, line.data(), static_cast<int>(line.size())) != nullptr) {
            std::vector<std::string> vec;
            std::stringstream text(line.data());
            for (std::string str; std::getline(text, str, ',');) {
                while (!str.empty() && strchr("\"\r\n", str.back()) != nullptr) str.pop_back();
                str.erase(0, str.find_first_not_of("\" "));
                vec.push_back(str);
            }
            if (!mapColumns.empty()) {
                vecRows.push_back(vec);
                continue;
            }
            for (size_t i = 0; i < vec.size(); ++i) mapColumns[vec[i]] = i;
        }
        gzclose(file);
    }
    const std::string& Text(size_t nRow, const std::string& strColumn) const {
        return vecRows[nRow].at(mapColumns.at(strColumn));
    }
    // The number times a factor, rounded; what is no number is 0. Times count without their colons.
    int64_t Number(size_t nRow, const std::string& strColumn, double fFactor = 1) const {
        std::string str = Text(nRow, strColumn);
        std::erase(str, ':');
        return std::llround(std::atof(str.c_str()) * fFactor);
    }
};

}  // namespace qrx::test

#endif
