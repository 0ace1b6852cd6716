// See the header.
#include "export/manifest.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/failure.h"
#include "output/file_beside.h"

namespace qrx::cli {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr const char* kStates[] = {"complete", "empty", "open"};
constexpr int kVersion = 1;

bool IsPlain(char ch) {
    return (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') ||
           ch == '-' || ch == '_' || ch == '.';
}

// A name that a manifest may bring: plain steps that stay below the folder.
bool IsSafe(const std::string& strName) {
    for (size_t i = 0; i < strName.size(); ++i) {
        const bool bBegin = i == 0 || strName[i - 1] == '/';
        if (bBegin && (strName[i] == '.' || strName[i] == '/')) return false;
        if (!IsPlain(strName[i]) && strName[i] != '/' && strName[i] != '%') return false;
    }
    return !strName.empty();
}

// What a killed export left behind: nobody writes here now. Names as mkostemp made them.
void RemoveUnfinished(const std::string& strFolder) {
    std::error_code error;
    std::vector<fs::path> vecLeft;
    for (fs::recursive_directory_iterator it(strFolder, error), end; !error && it != end;
         it.increment(error)) {
        const std::string strName = it->path().filename();
        const size_t nMark = strName.rfind(".part-");
        if (nMark == std::string::npos || strName.size() - nMark != strlen(".part-XXXXXX"))
            continue;
        const std::string strWhole = strName.substr(0, nMark);
        for (const char* szEnding : {".csv", ".jsonl", "manifest.json"}) {
            if (strWhole.ends_with(szEnding)) vecLeft.push_back(it->path());
        }
    }
    for (const fs::path& path : vecLeft) fs::remove(path, error);
}

}  // namespace

std::string PathStep(const std::string& strText) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string strOut;
    for (const char ch : strText) {
        if (IsPlain(ch) && (ch != '.' || !strOut.empty())) {
            strOut += ch;
        } else {
            const auto nByte = static_cast<unsigned char>(ch);
            strOut += {'%', kHex[nByte >> 4], kHex[nByte & 15]};
        }
    }
    return strOut;
}

Manifest::Manifest(const std::string& strFolder, const ExportRequest& request, bool bRestart,
                   bool bMoved)
    : m_strFolder(strFolder), m_request(request) {
    std::error_code error;
    fs::create_directories(strFolder, error);
    if (error) throw Failure(EXIT_OUTPUT, "cannot create " + strFolder + ": " + error.message());
    Lock();
    RemoveUnfinished(strFolder);
    std::ifstream file(Path(), std::ios::binary);
    if (file) {
        std::ostringstream text;
        text << file.rdbuf();
        Read(text.str(), bRestart, bMoved);
    } else if (!fs::is_empty(strFolder, error)) {
        throw Failure(EXIT_OUTPUT, strFolder + " holds other things than an export; name a new " +
                                       "or an empty folder");
    }
    Save();
}

Manifest::~Manifest() {
    if (m_fd >= 0) close(m_fd);
}

void Manifest::Lock() {
    m_fd = open(m_strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_fd < 0) FailOutput("cannot open", m_strFolder);
    if (flock(m_fd, LOCK_EX | LOCK_NB) == 0) return;
    close(std::exchange(m_fd, -1));
    throw Failure(EXIT_OUTPUT, "another export is writing to " + m_strFolder);
}

void Manifest::Read(const std::string& strText, bool bRestart, bool bMoved) {
    std::map<std::string, std::string> former;
    try {
        const Json json = Json::parse(strText);
        if (json.at("qrx_export").get<int>() != kVersion) throw std::runtime_error("its version");
        former = json.at("request").get<std::map<std::string, std::string>>();
        for (const auto& [strName, entry] : json.at("parts").items()) {
            const auto strState = entry.at("state").get<std::string>();
            const auto state = std::find(std::begin(kStates), std::end(kStates), strState);
            if (!IsSafe(strName) || state == std::end(kStates)) throw std::runtime_error(strName);
            m_parts[strName] = {static_cast<Part::State>(state - std::begin(kStates)),
                                entry.at("rows").get<int64_t>(), entry.at("bytes").get<int64_t>(),
                                entry.at("from").get<int>(), entry.at("to").get<int>()};
        }
    } catch (const std::exception&) {
        m_parts.clear();
        if (bRestart) return;
        throw Failure(EXIT_OUTPUT, Path() + " is no manifest that this qrx can read; start anew " +
                                       "with --restart or in another folder");
    }
    if (bRestart) {
        Remove(former["--format"]);
        m_parts.clear();
        return;
    }
    Compare(former, bMoved);
}

void Manifest::Compare(const std::map<std::string, std::string>& former, bool bMoved) const {
    const auto shown = [](const std::string& strAny) {
        return strAny.empty() ? std::string("none") : strAny;
    };
    for (const auto& [strOption, strValue] : m_request) {
        const auto it = former.find(strOption);
        const std::string strFormer = it != former.end() ? it->second : "";
        const bool bServer = strOption == kServerOfExport;
        if (strFormer == strValue || (bServer && (bMoved || strFormer.empty()))) continue;
        RefuseUsage(m_strFolder + " was begun with " + strOption + " " + shown(strFormer) +
                    ", not " + shown(strValue) + "; go on as it was begun, " +
                    (bServer ? "say --server-moved if both are the same server, " : "") +
                    "start anew with --restart, or name another folder");
    }
}

void Manifest::Remove(const std::string& strFormat) const {
    std::error_code error;
    fs::remove(DatabasePath(), error);
    for (const auto& [strName, part] : m_parts) {
        fs::path path = m_strFolder + "/" + strName + "." + PathStep(strFormat);
        fs::remove(path, error);
        while ((path = path.parent_path()) != m_strFolder) {
            if (!fs::remove(path, error)) break;  // not empty
        }
    }
}

const Part* Manifest::Find(const std::string& strName) const {
    const auto it = m_parts.find(strName);
    return it != m_parts.end() ? &it->second : nullptr;
}

std::string Manifest::PartPath(const std::string& strName) const {
    return m_strFolder + "/" + strName + "." + m_request.front().second;
}

// A line a part. Their names are plain (PathStep), and there may be very many: they are written
// without a tree of JSON in between.
void Manifest::Save() const {
    Json request = Json::object();
    for (const auto& [strOption, strValue] : m_request) request[strOption] = strValue;
    const auto dump = [](const Json& json) {
        return json.dump(-1, ' ', false, Json::error_handler_t::replace);
    };
    std::string strText = "{\"qrx_export\":" + std::to_string(kVersion) +
                          ",\n\"request\":" + dump(request) + ",\n\"parts\":{";
    const char* szBetween = "\n";
    for (const auto& [strName, part] : m_parts) {
        strText += szBetween + ('"' + strName) + "\":{\"state\":\"" + kStates[part.state] +
                   "\",\"rows\":" + std::to_string(part.nRows) +
                   ",\"bytes\":" + std::to_string(part.nBytes) +
                   ",\"from\":" + std::to_string(part.nFrom) +
                   ",\"to\":" + std::to_string(part.nTo) + "}";
        szBetween = ",\n";
    }
    FileBeside file(Path());
    file.Write(strText + "\n}}\n");
    file.Place();
}

}  // namespace qrx::cli
