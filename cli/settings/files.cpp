// The settings file and files with secrets: refused when anybody else may read them.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "app/failure.h"
#include "settings/settings.h"
#include "text/nearest.h"

namespace qrx::cli {
namespace {

// Nothing when the file does not exist.
std::optional<std::string> ReadPrivate(const std::string& strPath, const std::string& strWhat) {
    struct stat status;
    if (stat(strPath.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
        RefuseUsage(strWhat + ": cannot read " + strPath + ": " + strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) RefuseUsage(strWhat + ": " + strPath + " is a folder");
    if (S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        RefuseUsage(strWhat + ": others may read " + strPath + "; run: chmod 600 " + strPath);
    }
    std::ifstream file(strPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) RefuseUsage(strWhat + ": cannot read " + strPath + ": " + strerror(errno));
    return text.str();
}

std::string Trim(const std::string& strText) {
    constexpr const char* kBlanks = " \t\r\n";
    const size_t nBegin = strText.find_first_not_of(kBlanks);
    if (nBegin == std::string::npos) return {};
    return strText.substr(nBegin, strText.find_last_not_of(kBlanks) - nBegin + 1);
}

void CheckKey(const std::string& strKey, const std::string& strPlace) {
    std::vector<std::string> vecKnown;
    for (const SettingRow& row : SettingRows()) {
        if (strKey == row.szKey) return;
        vecKnown.push_back(row.szKey);
    }
    RefuseUsage(strPlace + ": there is no setting \"" + strKey + "\"; the nearest is \"" +
                Nearest(strKey, vecKnown) + "\"");
}

}  // namespace

std::map<std::string, std::string> ReadSettingsFile(const std::string& strPath) {
    std::map<std::string, std::string> values;
    if (strPath.empty()) return values;
    const auto text = ReadPrivate(strPath, "settings");
    if (!text) return values;
    std::istringstream lines(*text);
    int nLine = 0;
    for (std::string strLine; std::getline(lines, strLine);) {
        ++nLine;
        strLine = Trim(strLine);
        if (strLine.empty() || strLine[0] == '#') continue;
        const std::string strPlace = strPath + ", line " + std::to_string(nLine);
        const size_t nEquals = strLine.find('=');
        if (nEquals == std::string::npos) {
            RefuseUsage(strPlace + ": not of the form \"key = value\", such as \"user = demo\"");
        }
        const std::string strKey = Trim(strLine.substr(0, nEquals));
        CheckKey(strKey, strPlace);
        values[strKey] = Trim(strLine.substr(nEquals + 1));
    }
    return values;
}

std::string ReadSecretFile(const std::string& strPath, const std::string& strWhat) {
    auto text = ReadPrivate(strPath, strWhat);
    if (!text) RefuseUsage(strWhat + ": there is no file " + strPath);
    if (!text->empty() && text->back() == '\n') text->pop_back();
    if (!text->empty() && text->back() == '\r') text->pop_back();
    return *text;
}

}  // namespace qrx::cli
