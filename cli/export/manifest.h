// manifest.json of an export: how the folder's files are written, and which parts it holds. A part
// is one kind of record of one security on one trading day (of bars longer than minutes: over the
// days asked for), named KIND/CODE/DAY or KIND/CODE.
//
// The manifest is written beside its place and put there whole; what it calls complete had been
// written before it.
#ifndef QRX_CLI_EXPORT_MANIFEST_H
#define QRX_CLI_EXPORT_MANIFEST_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qrx::cli {

struct Part {
    // Complete: will not be asked again. Empty: the server had no data, not asked again either.
    // Open: the day was not over, asked again the next time.
    enum State { Complete, Empty, Open };
    State state = Complete;
    int64_t nRows = 0;
    int64_t nBytes = 0;  // of its file; 0 in a database
    int nFrom = 0;       // trading days
    int nTo = 0;
};

// What must not change while parts are added: option and value. The format comes first.
using ExportRequest = std::vector<std::pair<std::string, std::string>>;
// The server's address among them, which folders of the first exports do not have.
inline constexpr const char* kServerOfExport = "--server";

class Manifest {
public:
    // Makes the folder, keeps other exports out of it, and reads what is there. Throws Failure when
    // another export works there, when the folder is not one of an export, or when it was begun
    // with another request; bRestart removes the files of the former export instead. With bMoved
    // another server is the same one, at a new address.
    Manifest(const std::string& strFolder, const ExportRequest& request, bool bRestart,
             bool bMoved);
    ~Manifest();
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;

    const Part* Find(const std::string& strName) const;
    void Set(const std::string& strName, const Part& part) { m_parts[strName] = part; }
    void Forget() { m_parts.clear(); }
    void Save() const;

    // Where the part stands when it has a file of its own.
    std::string PartPath(const std::string& strName) const;
    // The database of an export to sqlite.
    std::string DatabasePath() const { return m_strFolder + "/data.sqlite"; }

private:
    std::string Path() const { return m_strFolder + "/manifest.json"; }
    void Lock();
    void Read(const std::string& strText, bool bRestart, bool bMoved);
    void Compare(const std::map<std::string, std::string>& former, bool bMoved) const;
    void Remove(const std::string& strFormat) const;

    const std::string m_strFolder;
    const ExportRequest m_request;
    std::map<std::string, Part> m_parts;
    int m_fd = -1;  // the folder, locked
};

// A text as one step of a path: what could lead elsewhere is written as %XX.
std::string PathStep(const std::string& strText);

}  // namespace qrx::cli

#endif
