// zlib reads plain files as they are, so both kinds take the same way.
#include "import/csv.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>

namespace qrx::server {
namespace {

constexpr size_t kReadBytes = 1 << 20;
constexpr size_t kMaxLineBytes = 1 << 20;

std::string Normalized(std::string_view str) {
    while (!str.empty() && strchr(" \t<\"", str.front()) != nullptr) str.remove_prefix(1);
    while (!str.empty() && strchr(" \t>\"", str.back()) != nullptr) str.remove_suffix(1);
    std::string strName(str);
    std::transform(strName.begin(), strName.end(), strName.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return strName;
}

// Ends of lines. Bytes count in bytes, short of their overflow, so that many are looked at at once.
int64_t CountLines(std::string_view str) {
    int64_t nLines = 0;
    while (!str.empty()) {
        uint8_t nSome = 0;
        for (const char c : str.substr(0, 128))
            nSome = static_cast<uint8_t>(nSome + (c == '\n' ? 1 : 0));
        nLines += nSome;
        str.remove_prefix(std::min(str.size(), size_t{128}));
    }
    return nLines;
}

std::string WithNumber(const std::string& strName, int n) {
    std::string str = strName;
    return str.replace(str.find('*'), 1, std::to_string(n));
}

}  // namespace

LineReader::LineReader(const std::string& strPath) : m_pFile(gzopen(strPath.c_str(), "rbe")) {
    struct stat info {};
    if (!m_pFile || stat(strPath.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) {
        throw ImportError(0, "cannot be read");
    }
    m_fBytes = static_cast<double>(info.st_size);
    gzbuffer(m_pFile.get(), 256 * 1024);
}

double LineReader::Progress() const {
    return m_fBytes > 0 ? static_cast<double>(gzoffset(m_pFile.get())) / m_fBytes : 1;
}

bool LineReader::Fill() {
    if (!m_pFile) return false;
    m_strBuffer.erase(0, m_nBegin);
    m_nBegin = 0;
    const size_t nHeld = m_strBuffer.size();
    if (nHeld > kMaxLineBytes) throw ImportError(m_nLine + 1, "line without an end");
    m_strBuffer.resize(nHeld + kReadBytes);
    const int n = gzread(m_pFile.get(), m_strBuffer.data() + nHeld, kReadBytes);
    m_strBuffer.resize(nHeld + static_cast<size_t>(std::max(n, 0)));
    int nError = Z_OK;
    gzerror(m_pFile.get(), &nError);
    if (n < 0 || (n == 0 && nError != Z_OK)) {
        throw ImportError(m_nLine + 1, "the file is damaged or ends too early");
    }
    return n > 0;
}

bool LineReader::Next(std::string_view& strLine) {
    size_t nScanned = 0;
    while (true) {
        const char* pBegin = m_strBuffer.data() + m_nBegin;
        const size_t nHeld = m_strBuffer.size() - m_nBegin;
        const void* pEnd =
            nHeld > nScanned ? memchr(pBegin + nScanned, '\n', nHeld - nScanned) : nullptr;
        size_t nLine = 0;
        if (pEnd != nullptr) {
            nLine = static_cast<size_t>(static_cast<const char*>(pEnd) - pBegin);
            m_nBegin += nLine + 1;
        } else {
            nScanned = nHeld;
            if (Fill()) continue;
            if (nHeld == 0) return false;
            pBegin = m_strBuffer.data() + m_nBegin;  // the last line lacks its end
            nLine = nHeld;
            m_nBegin = m_strBuffer.size();
        }
        ++m_nLine;
        if (nLine > 0 && pBegin[nLine - 1] == '\r') --nLine;
        strLine = std::string_view(pBegin, nLine);
        return true;
    }
}

bool LineReader::NextLines(std::string& strLines) {
    size_t nEnd = m_strBuffer.rfind('\n');
    while (nEnd == std::string::npos || nEnd < m_nBegin) {
        if (!Fill()) {
            if (m_nBegin == m_strBuffer.size()) return false;
            nEnd = m_strBuffer.size() - 1;  // the last line lacks its end
            ++m_nLine;
            break;
        }
        nEnd = m_strBuffer.rfind('\n');
    }
    std::string strRest = m_strBuffer.substr(nEnd + 1);
    m_strBuffer.resize(nEnd + 1);
    m_strBuffer.erase(0, std::exchange(m_nBegin, 0));
    strLines = std::exchange(m_strBuffer, std::move(strRest));
    m_nLine += CountLines(strLines);
    return true;
}

namespace {

// A line without quotes: eight characters at a time, as fields are too short for a search each.
void SplitAtCommas(std::string_view strLine, std::vector<std::string_view>& vecFields) {
    constexpr uint64_t kLow = 0x7F7F7F7F7F7F7F7F;
    const char* pField = strLine.data();
    const auto endField = [&](const char* pEnd) {
        while (pField != pEnd && *pField == ' ') ++pField;
        vecFields.emplace_back(pField, static_cast<size_t>(pEnd - pField));
        pField = pEnd + 1;
    };
    size_t i = 0;
    for (; i + 8 <= strLine.size(); i += 8) {
        uint64_t nBytes;
        memcpy(&nBytes, strLine.data() + i, sizeof nBytes);
        nBytes ^= 0x2C2C2C2C2C2C2C2C;  // a comma is 0 then, and its high bit is set below
        for (uint64_t n = ~(((nBytes & kLow) + kLow) | nBytes | kLow); n != 0; n &= n - 1) {
            endField(strLine.data() + i + std::countr_zero(n) / 8);
        }
    }
    for (; i < strLine.size(); ++i) {
        if (strLine[i] == ',') endField(strLine.data() + i);
    }
    endField(strLine.data() + strLine.size());
}

}  // namespace

void SplitFields(std::string_view strLine, std::vector<std::string_view>& vecFields,
                 std::vector<std::unique_ptr<std::string>>& vecScratch) {
    vecFields.clear();
    vecScratch.clear();
    if (strLine.find('"') == std::string_view::npos) return SplitAtCommas(strLine, vecFields);
    size_t i = 0;
    while (true) {
        while (i < strLine.size() && strLine[i] == ' ') ++i;
        if (i < strLine.size() && strLine[i] == '"') {
            const size_t nBegin = ++i;
            bool bDoubled = false;
            while (i < strLine.size()) {
                if (strLine[i] == '"') {
                    if (i + 1 >= strLine.size() || strLine[i + 1] != '"') break;
                    bDoubled = true;
                    ++i;
                }
                ++i;
            }
            std::string_view strField = strLine.substr(nBegin, i - nBegin);
            if (bDoubled) {
                auto pText = std::make_unique<std::string>();
                for (size_t k = 0; k < strField.size(); ++k) {
                    *pText += strField[k];
                    if (strField[k] == '"') ++k;
                }
                strField = *pText;
                vecScratch.push_back(std::move(pText));
            }
            vecFields.push_back(strField);
            i = strLine.find(',', std::min(i, strLine.size()));
        } else {
            const size_t nBegin = i;
            i = strLine.find(',', i);
            vecFields.push_back(
                strLine.substr(nBegin, i == std::string_view::npos ? i : i - nBegin));
        }
        if (i == std::string_view::npos) return;
        ++i;
    }
}

NamePairs ParsePairs(const std::string& strText) {
    NamePairs vecPairs;
    for (size_t i = 0; i < strText.size();) {
        const size_t nEnd = std::min(strText.find(',', i), strText.size());
        const std::string strPair = strText.substr(i, nEnd - i);
        const size_t nEqual = strPair.find('=');
        if (nEqual == std::string::npos)
            throw ImportError(0, "\"" + strPair + "\" is not name=name");
        vecPairs.emplace_back(strPair.substr(0, nEqual), strPair.substr(nEqual + 1));
        i = nEnd + 1;
    }
    return vecPairs;
}

Columns::Columns(std::string_view strHeader, const NamePairs& vecMap, const NamePairs& vecSet,
                 const std::vector<std::string>& vecOurs) {
    if (strHeader.substr(0, 3) == "\xEF\xBB\xBF") strHeader.remove_prefix(3);
    SplitFields(strHeader, m_vecFields, m_vecScratch);
    m_nFileColumns = m_vecFields.size();
    std::map<std::string, int> mapTheirs;
    std::set<std::string> setMapped;  // no longer stand for themselves
    for (size_t i = 0; i < m_vecFields.size(); ++i) {
        mapTheirs.emplace(Normalized(m_vecFields[i]), static_cast<int>(i));
    }
    const auto isOurs = [&](const std::string& str) {
        return std::find(vecOurs.begin(), vecOurs.end(), str) != vecOurs.end();
    };
    const auto place = [&](const std::string& strTheirs, const std::string& strOurs, int nPlace) {
        if (!isOurs(strOurs)) {
            std::string strKnown;
            for (const auto& str : vecOurs) strKnown += " " + str;
            throw ImportError(
                0, "\"" + strOurs + "\" is no column of this import; there are:" + strKnown);
        }
        m_mapPlaces[strOurs] = nPlace;
        setMapped.insert(strTheirs);
    };
    for (const auto& [strTheirsRaw, strOurs] : vecMap) {
        const std::string strTheirs = Normalized(strTheirsRaw);
        if (strTheirs.find('*') == std::string::npos || strOurs.find('*') == std::string::npos) {
            const auto it = mapTheirs.find(strTheirs);
            if (it == mapTheirs.end())
                throw ImportError(1, "there is no column \"" + strTheirsRaw + "\"");
            place(strTheirs, strOurs, it->second);
            continue;
        }
        int n = mapTheirs.count(WithNumber(strTheirs, 0)) != 0 ? 0 : 1;
        const int nFirst = n;
        while (mapTheirs.count(WithNumber(strTheirs, n)) != 0 &&
               isOurs(WithNumber(strOurs, n - nFirst + 1))) {
            const std::string strName = WithNumber(strTheirs, n);
            place(strName, WithNumber(strOurs, n - nFirst + 1), mapTheirs.at(strName));
            ++n;
        }
        if (n == nFirst) throw ImportError(1, "there is no column \"" + strTheirsRaw + "\"");
    }
    for (const auto& [strName, nPlace] : mapTheirs) {
        if (isOurs(strName) && setMapped.count(strName) == 0) m_mapPlaces.emplace(strName, nPlace);
    }
    for (const auto& [strOurs, nPlace] : m_mapPlaces) {
        m_nNeeded = std::max(m_nNeeded, static_cast<size_t>(nPlace) + 1);
    }
    for (const auto& [strOurs, strValue] : vecSet) {
        place({}, strOurs, static_cast<int>(m_nFileColumns + m_vecConstants.size()));
        m_vecConstants.push_back(strValue);
    }
}

void Columns::Split(std::string_view strLine, int64_t nLine) {
    SplitFields(strLine, m_vecFields, m_vecScratch);
    if (m_vecFields.size() < m_nNeeded) {
        throw ImportError(nLine, std::to_string(m_vecFields.size()) + " fields where at least " +
                                     std::to_string(m_nNeeded) + " are needed");
    }
    if (m_vecFields.size() == m_nFileColumns && m_vecConstants.empty()) return;
    m_vecFields.resize(m_nFileColumns);
    m_vecFields.insert(m_vecFields.end(), m_vecConstants.begin(), m_vecConstants.end());
}

int Columns::Find(const std::string& strOurs) const {
    const auto it = m_mapPlaces.find(strOurs);
    return it == m_mapPlaces.end() ? -1 : it->second;
}

void Columns::Require(const std::string& strOurs) const {
    if (Find(strOurs) < 0) {
        throw ImportError(1, "there is no column \"" + strOurs + "\" (see --map and --set)");
    }
}

}  // namespace qrx::server
