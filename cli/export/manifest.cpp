// See the header.
#include "export/manifest.h"

#include <fcntl.h>
#include <qrx/version.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "app/failure.h"
#include "app/interrupt.h"
#include "text/dates.h"

namespace qrx::cli {
namespace {

using Json = nlohmann::ordered_json;
constexpr int kVersion = 1;
constexpr const char* kName = "/manifest.json";

// A code's bytes come from the server and need not be UTF-8.
std::string Line(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool LeadsOut(const std::filesystem::path& path) {
    if (path.is_absolute()) return true;
    for (const auto& part : path) {
        if (part == "..") return true;
    }
    return false;
}

ManifestFile ReadFile(const Json& line) {
    ManifestFile file;
    line.at("code").get_to(file.strCode);
    line.at("kind").get_to(file.strKind);
    line.at("rows").get_to(file.nRows);
    line.at("bytes").get_to(file.nBytes);
    line.at("complete").get_to(file.bComplete);
    file.nFrom = ParseDate(line.at("from"), "from");
    file.nTo = ParseDate(line.at("to"), "to");
    return file;
}

// Unlike a Sink it also writes once an interrupt was requested: that is when it matters.
void Replace(const std::string& strPath, const std::string& strText) {
    const auto fail = [&] {
        const std::string strReason = strerror(errno);
        throw Failure(EXIT_OUTPUT, "cannot write " + strPath + ": " + strReason);
    };
    const std::string strPart = strPath + ".part";
    const int fd = open(strPart.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) fail();
    interrupt::SetUnfinishedFile(strPart);
    bool bWhole = true;
    for (size_t nDone = 0; bWhole && nDone < strText.size();) {
        const ssize_t n = write(fd, strText.data() + nDone, strText.size() - nDone);
        bWhole = n > 0 || (n < 0 && errno == EINTR);
        if (n > 0) nDone += static_cast<size_t>(n);
    }
    bWhole = close(fd) == 0 && bWhole && rename(strPart.c_str(), strPath.c_str()) == 0;
    const int nError = errno;
    if (!bWhole) unlink(strPart.c_str());
    interrupt::SetUnfinishedFile("");
    errno = nError;
    if (!bWhole) fail();
}

}  // namespace

std::string ExportPath(const std::string& strKind, const std::string& strCode, int nDay,
                       const std::string& strFormat) {
    std::string strPath = strKind;
    for (char& ch : strPath) ch = ch == ':' ? '-' : ch;
    strPath += '/';
    for (const char ch : strCode) {
        const bool bPlain = (ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'z') ||
                            (ch >= 'A' && ch <= 'Z') || ch == '-' || ch == '_' ||
                            (ch == '.' && strPath.back() != '/');
        char szHex[4];
        snprintf(szHex, sizeof szHex, "%%%02X", static_cast<unsigned char>(ch));
        strPath += bPlain ? std::string(1, ch) : szHex;
    }
    if (nDay != 0) strPath += "/" + DateText(nDay);
    return strPath + "." + strFormat;
}

Manifest::Manifest(std::string strFolder, Request request, std::string strServer)
    : m_strFolder(std::move(strFolder)),
      m_request(std::move(request)),
      m_strServer(std::move(strServer)) {}

void Manifest::RefuseDamaged(const std::string& strWhy) const {
    RefuseUsage(m_strFolder + kName + " is no manifest of an export (" + strWhy +
                "); move it away, or begin anew with --restart");
}

void Manifest::CompareRequest(const Request& former) const {
    Request all = m_request;
    all.insert(former.begin(), former.end());
    const auto value = [](const Request& request, const std::string& strName) {
        const auto it = request.find(strName);
        return it != request.end() ? it->second : std::string();
    };
    for (const auto& [strName, strUnused] : all) {
        const std::string strThen = value(former, strName);
        const std::string strNow = value(m_request, strName);
        if (strThen == strNow) continue;
        const auto said = [&](const std::string& strValue) {
            return strValue.empty() ? "without " + strName : "with " + strName + " " + strValue;
        };
        RefuseUsage(m_strFolder + " holds an export " + said(strThen) + ", and this one is " +
                    said(strNow) +
                    "; ask for the same, take another folder, or begin anew with --restart");
    }
}

void Manifest::Read(bool bAnew) {
    const std::string strPath = m_strFolder + kName;
    std::ifstream file(strPath, std::ios::binary);
    if (!file) {
        if (errno == ENOENT || errno == ENOTDIR) return;
        throw Failure(EXIT_OUTPUT, "cannot read " + strPath + ": " + strerror(errno));
    }
    Request former;
    try {
        const Json json = Json::parse(file);
        if (json.at("version") != kVersion) {
            throw std::runtime_error("version " + json.at("version").dump());
        }
        json.at("request").get_to(former);
        for (const Json& line : json.at("files")) {
            const std::string strEntry = line.at("file");
            if (LeadsOut(strEntry)) throw std::runtime_error("it names " + strEntry);
            m_files[strEntry] = ReadFile(line);
        }
    } catch (const std::exception& error) {
        if (!bAnew) RefuseDamaged(error.what());
    } catch (const Failure& failure) {
        if (!bAnew) RefuseDamaged(failure.Sentence());
    }
    if (!bAnew) CompareRequest(former);
    if (!bAnew) return;
    for (const auto& [strEntry, entry] : m_files) m_vecFormer.push_back(strEntry);
    m_files.clear();
}

void Manifest::RemoveFormer() {
    for (const std::string& strEntry : m_vecFormer) {
        std::error_code ignored;  // what cannot be removed is in the way of nothing
        std::filesystem::path path = Absolute(strEntry);
        std::filesystem::remove(path, ignored);
        while ((path = path.parent_path()) != m_strFolder && !path.empty()) {
            if (!std::filesystem::remove(path, ignored)) break;  // not empty
        }
    }
    m_vecFormer.clear();
}

void Manifest::Save() const {
    Json head;
    head["version"] = kVersion;
    head["program"] = std::string("qrx ") + QRX_VERSION_STRING;
    head["server"] = m_strServer;
    head["request"] = m_request;
    std::string strText = Line(head);
    strText.back() = ',';
    strText += "\n\"files\":[";
    const char* szBetween = "\n";
    for (const auto& [strPath, file] : m_files) {
        strText += szBetween;
        szBetween = ",\n";
        Json line;
        line["file"] = strPath;
        line["code"] = file.strCode;
        line["kind"] = file.strKind;
        line["from"] = DateText(file.nFrom);
        line["to"] = DateText(file.nTo);
        line["rows"] = file.nRows;
        line["bytes"] = file.nBytes;
        line["complete"] = file.bComplete;
        strText += Line(line);
    }
    Replace(m_strFolder + kName, strText + "\n]}\n");
}

const ManifestFile* Manifest::Find(const std::string& strPath) const {
    const auto it = m_files.find(strPath);
    if (it == m_files.end()) return nullptr;
    struct stat status;
    const bool bThere = stat(Absolute(strPath).c_str(), &status) == 0;
    if (it->second.nRows == 0) return &it->second;
    return bThere && status.st_size == it->second.nBytes ? &it->second : nullptr;
}

}  // namespace qrx::cli
