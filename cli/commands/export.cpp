// export: records of several securities and kinds over many days into a folder, a file a piece.
// The folder's manifest says what is there, so that the same command goes on where one ended: by
// an interrupt, a lost connection, or the last day that there was.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

#include "app/context.h"
#include "app/failure.h"
#include "app/interrupt.h"
#include "commands/command.h"
#include "export/kind.h"
#include "export/manifest.h"
#include "output/progress.h"
#include "text/dates.h"

namespace qrx::cli {
namespace {

namespace fs = std::filesystem;
using SteadyClock = std::chrono::steady_clock;

// A day that a server has nothing for is one without trading, or one that is not loaded yet.
constexpr int kDaysUntilEmptyIsSettled = 7;

// What all files of a folder share: every option but those that say how much and where.
Manifest::Request Shared(const Arguments& arguments, const Settings& settings,
                         const std::vector<ExportKind>& vecKinds) {
    static const std::set<std::string> kFree = {"--from", "--to", "--restart", "--output"};
    Manifest::Request request;
    const auto add = [&](const OptionRow& row) {
        const std::string strName = row.Key();
        if (kFree.count(strName) != 0 || !arguments.Has(strName)) return;
        request[strName] = row.szValue == nullptr ? "given" : arguments.Get(strName);
    };
    for (const Command& command : Commands()) {
        if (command.pfnRun != RunExport) continue;
        for (const OptionRow& row : command.vecOptions) add(row);
    }
    for (const OptionRow& row : OutputOptions()) add(row);
    std::string strKinds;
    for (const ExportKind& kind : vecKinds)
        strKinds += (strKinds.empty() ? "" : ",") + kind.strName;
    request["--kind"] = strKinds;
    request["--price-unit"] = "1" + std::string(static_cast<size_t>(settings.nPriceDigits), '0');
    return request;
}

// Two exports into one folder would take each other's lines out of the manifest.
class FolderLock {
public:
    explicit FolderLock(const std::string& strFolder)
        : m_fd(open(strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_fd >= 0 && flock(m_fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            close(m_fd);
            throw Failure(EXIT_OUTPUT, "another export is writing into " + strFolder);
        }
    }
    ~FolderLock() {
        if (m_fd >= 0) close(m_fd);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int m_fd;
};

// CODES: 600000.SH, a market for all of its securities, or @FILE with one of these a line.
std::vector<std::string> SplitCodes(const std::string& strText) {
    std::vector<std::string> vecNames;
    std::istringstream stream(strText);
    for (std::string strName; std::getline(stream, strName, ',');) {
        if (!strName.starts_with('@')) {
            vecNames.push_back(strName);
            continue;
        }
        std::ifstream file(strName.substr(1));
        if (!file) RefuseUsage("CODES: cannot read " + strName.substr(1) + ": " + strerror(errno));
        for (std::string strLine; std::getline(file, strLine);) {
            std::istringstream line(strLine.substr(0, strLine.find('#')));
            for (std::string strWord; line >> strWord;) vecNames.push_back(strWord);
        }
    }
    std::erase(vecNames, std::string());
    if (vecNames.empty()) RefuseUsage("CODES: there is none; write such as 600000.SH,000001.SZ");
    return vecNames;
}

class Export {
public:
    explicit Export(Context& context);
    void Run();

private:
    struct Piece {
        const ExportKind* pKind;
        size_t nCode;
        int nFrom;
        int nTo;
    };
    void AddCode(const QRXDefine_Code& code, bool bNamed);
    void FindCodes();
    void Plan();
    std::string Path(const Piece& piece) const;
    void Fetch(const Piece& piece);
    void Write(const Piece& piece, const Fetched& fetched, ManifestFile& file);
    void SaveNowAndThen();
    void Finish();

    Context& m_context;
    Arguments m_arguments;
    std::string m_strFolder;
    DayRange m_range;
    int m_nToday = TodayAtExchange();
    std::vector<std::string> m_vecNames;
    std::vector<ExportKind> m_vecKinds;
    std::vector<QRXDefine_Code> m_vecCodes;
    std::set<std::string> m_setCodes;  // their names
    std::vector<Piece> m_vecPieces;    // what is to be fetched
    std::optional<Manifest> m_manifest;
    std::optional<Progress> m_progress;
    SteadyClock::time_point m_saved;
    SteadyClock::duration m_pause{};
    int64_t m_nRows = 0, m_nFiles = 0, m_nEmpty = 0, m_nBefore = 0, m_nIncomplete = 0;
    std::string m_strIncomplete;
    bool m_bAnyRow = false;  // in the folder
};

// Everything that can be refused without a server is refused here.
Export::Export(Context& context)
    : m_context(context),
      m_arguments(context.Args()),
      m_strFolder(context.Args().Get("FOLDER")),
      m_range(ReadDayRange(context.Args())),
      m_vecNames(SplitCodes(context.Args().Get("CODES"))),
      m_vecKinds(ParseKinds(context.Args())) {
    const std::string strFormat = m_arguments.Get("--format", "csv");
    if (strFormat != "csv" && strFormat != "jsonl") {
        RefuseUsage("--format: an export writes csv or jsonl");
    }
    for (const char* szOption : {"--output", "--limit"}) {
        if (!m_arguments.Has(szOption)) continue;
        RefuseUsage(std::string(szOption) +
                    " does not go with an export: whole files go to FOLDER");
    }
    m_arguments.Set("--format", strFormat);
    for (const ExportKind& kind : m_vecKinds) {  // refuses columns that a kind does not have
        Results(m_arguments, context.GetSettings().nPriceDigits,
                {kind.pColumns->begin(), kind.pColumns->end()});
    }
    while (m_strFolder.size() > 1 && m_strFolder.back() == '/') m_strFolder.pop_back();
    m_range.nTo = std::min(m_range.nTo, m_nToday);
    m_manifest.emplace(m_strFolder, Shared(m_arguments, context.GetSettings(), m_vecKinds),
                       context.GetSettings().server.Text());
    m_manifest->Read(m_arguments.Has("--restart"));
}

void Export::AddCode(const QRXDefine_Code& code, bool bNamed) {
    const std::string strCode(FieldView(code.szVelaCode));
    if (!m_setCodes.insert(strCode).second) return;
    const bool bSuits = std::any_of(m_vecKinds.begin(), m_vecKinds.end(),
                                    [&](const ExportKind& kind) { return kind.suits(code); });
    if (bSuits) m_vecCodes.push_back(code);
    if (bNamed && !bSuits) {
        throw Failure(EXIT_WRONG_TYPE, strCode + " is a kind of security (" +
                                           KindOfType(code.nType & 0xFF) + ") that has no " +
                                           m_arguments.Get("--kind"));
    }
}

void Export::FindCodes() {
    Connection& connection = m_context.Connect();
    const auto same = [](const std::string& a, const std::string& b) {
        return strcasecmp(a.c_str(), b.c_str()) == 0;
    };
    for (const std::string& strName : m_vecNames) {
        const auto& vecMarkets = connection.Markets();
        if (std::none_of(vecMarkets.begin(), vecMarkets.end(),
                         [&](const std::string& strMarket) { return same(strMarket, strName); })) {
            AddCode(connection.FindCode(strName), true);
            continue;
        }
        const auto codes = connection.Get().Codes(strName.c_str());
        connection.Check(codes.code, "securities of " + strName);
        for (const QRXDefine_Code& code : codes.value) AddCode(code, false);
    }
}

std::string Export::Path(const Piece& piece) const {
    return ExportPath(piece.pKind->strName,
                      std::string(FieldView(m_vecCodes[piece.nCode].szVelaCode)),
                      piece.pKind->bDaily ? piece.nFrom : 0, m_arguments.Get("--format"));
}

void Export::Plan() {
    const std::vector<int> vecDays = Weekdays(m_range.nFrom, m_range.nTo);
    for (size_t nCode = 0; nCode < m_vecCodes.size(); ++nCode) {
        for (const ExportKind& kind : m_vecKinds) {
            if (!kind.suits(m_vecCodes[nCode])) continue;
            const auto add = [&](int nFrom, int nTo) {
                Piece piece = {&kind, nCode, nFrom, nTo};
                if (const ManifestFile* pFile = m_manifest->Find(Path(piece))) {
                    if (pFile->bComplete && pFile->nFrom <= nFrom && pFile->nTo >= nTo) {
                        ++m_nBefore;
                        m_bAnyRow = m_bAnyRow || pFile->nRows > 0;
                        return;
                    }
                    // A file of a whole range grows to both sides and never shrinks.
                    piece.nFrom = std::min(nFrom, pFile->nFrom);
                    piece.nTo = std::max(nTo, pFile->nTo);
                }
                m_vecPieces.push_back(piece);
            };
            if (!kind.bDaily) {
                if (m_range.nFrom <= m_range.nTo) add(m_range.nFrom, m_range.nTo);
                continue;
            }
            for (const int nDay : vecDays) add(nDay, nDay);
        }
    }
}

void Export::Write(const Piece& piece, const Fetched& fetched, ManifestFile& file) {
    const std::string strPath = m_manifest->Absolute(Path(piece));
    std::error_code error;
    if (fetched.code == ResultCode::NoData) {
        fs::remove(strPath, error);  // what stood there while the day was not over
        ++m_nEmpty;
        return;
    }
    fs::create_directories(fs::path(strPath).parent_path(), error);
    m_arguments.Set("--output", strPath);
    Results results(m_arguments, m_context.GetSettings().nPriceDigits,
                    {piece.pKind->pColumns->begin(), piece.pKind->pColumns->end()});
    results.Records(*piece.pKind->pColumns, fetched.pRecords, fetched.nCount, fetched.nRecordBytes);
    results.Finish();
    file.nRows = results.Rows();
    file.nBytes = static_cast<int64_t>(fs::file_size(strPath, error));
    m_nRows += file.nRows;
    ++m_nFiles;
    m_bAnyRow = true;
}

void Export::Fetch(const Piece& piece) {
    const QRXDefine_Code& code = m_vecCodes[piece.nCode];
    const std::string strCode(FieldView(code.szVelaCode));
    ManifestFile file{strCode, piece.pKind->strName, piece.nFrom, piece.nTo};
    Connection& connection = m_context.Connect();
    piece.pKind->fetch(connection.Get(), code, piece.nFrom, piece.nTo, [&](const Fetched& fetched) {
        interrupt::Check();
        if (fetched.code != ResultCode::NoData) {
            connection.Check(fetched.code, piece.pKind->strName + " of " + strCode);
        }
        Write(piece, fetched, file);
    });
    const int nSettled = file.nRows > 0 ? m_nToday : AddDays(m_nToday, -kDaysUntilEmptyIsSettled);
    file.bComplete = piece.nTo < nSettled;
    m_manifest->Put(Path(piece), file);
}

// At most every second, and a twentieth of the time: a long manifest takes long to write.
void Export::SaveNowAndThen() {
    if (SteadyClock::now() < m_saved + m_pause) return;
    const auto begin = SteadyClock::now();
    m_manifest->Save();
    m_saved = SteadyClock::now();
    m_pause = std::max<SteadyClock::duration>(std::chrono::seconds(1), 20 * (m_saved - begin));
}

void Export::Run() {
    FindCodes();
    std::error_code error;
    fs::create_directories(m_strFolder, error);
    const FolderLock lock(m_strFolder);
    m_manifest->RemoveFormer();
    Plan();
    SaveNowAndThen();
    m_progress.emplace(static_cast<int>(m_vecPieces.size()), "files");
    try {
        for (const Piece& piece : m_vecPieces) {
            try {
                Fetch(piece);
            } catch (const Failure& failure) {
                if (failure.Code() != EXIT_COMPLETION) throw;
                if (m_nIncomplete++ == 0) m_strIncomplete = failure.Sentence();
            }
            SaveNowAndThen();
            m_progress->StepDone(m_nRows);
        }
    } catch (const Failure& failure) {
        m_progress.reset();
        m_manifest->Save();
        const bool bInterrupted = failure.Code() == EXIT_INTERRUPTED;
        throw Failure(failure.Code(), (bInterrupted ? "interrupted" : failure.Sentence()) +
                                          "; the same command goes on from here");
    }
    m_progress.reset();
    m_manifest->Save();
    Finish();
}

void Export::Finish() {
    std::ostringstream text;
    text << m_nFiles << " files with " << m_nRows << " rows written, " << m_nEmpty
         << " without data, " << m_nBefore << " done before\n";
    Sink sink("");
    sink.Write(text.str());
    sink.Finish();
    if (m_nIncomplete > 0) {
        throw Failure(EXIT_COMPLETION, std::to_string(m_nIncomplete) +
                                           " files are missing; the first: " + m_strIncomplete);
    }
    if (!m_bAnyRow) {
        throw Failure(EXIT_NO_DATA,
                      "there are no " + m_arguments.Get("--kind") + " " + m_range.Text());
    }
}

}  // namespace

void RunExport(Context& context) {
    Export(context).Run();
}

}  // namespace qrx::cli
