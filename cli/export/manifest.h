// manifest.json of an export's folder: what the files there answer to, and one line a file that is
// there, or that the server had no rows for. It is written beside and renamed, so that a reader
// finds a whole one at any time. Paths in it are relative and follow from kind, code and day.
#ifndef QRX_CLI_EXPORT_MANIFEST_H
#define QRX_CLI_EXPORT_MANIFEST_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qrx::cli {

struct ManifestFile {
    std::string strCode;
    std::string strKind;
    int nFrom = 0;
    int nTo = 0;
    int64_t nRows = 0;  // 0: the server has none, and there is no file
    int64_t nBytes = 0;
    bool bComplete = false;  // false: more may come, fetch it again
};

class Manifest {
public:
    // By name, what all files of the folder have in common; "" for an option that was not given.
    using Request = std::map<std::string, std::string>;

    Manifest(std::string strFolder, Request request, std::string strServer);

    // Throws Failure(EXIT_USAGE) when the folder holds another request's files, unless bAnew: then
    // what stands there is kept in mind for RemoveFormer.
    void Read(bool bAnew);
    // Removes the files of the manifest that was read, and forgets them.
    void RemoveFormer();
    // Throws Failure(EXIT_OUTPUT).
    void Save() const;

    // A file that is in the manifest, and in the folder with the bytes that it should have.
    const ManifestFile* Find(const std::string& strPath) const;
    void Put(const std::string& strPath, const ManifestFile& file) { m_files[strPath] = file; }
    std::string Absolute(const std::string& strPath) const { return m_strFolder + "/" + strPath; }

private:
    [[noreturn]] void RefuseDamaged(const std::string& strWhy) const;
    void CompareRequest(const Request& former) const;

    std::string m_strFolder;
    Request m_request;
    std::string m_strServer;
    std::map<std::string, ManifestFile> m_files;  // by path
    std::vector<std::string> m_vecFormer;
};

// "ticks-book/600000.SH/2024-01-05.csv", for day 0 "bars-d/600000.SH.csv". Characters of a code
// that could lead out of the folder are written as %2F.
std::string ExportPath(const std::string& strKind, const std::string& strCode, int nDay,
                       const std::string& strFormat);

}  // namespace qrx::cli

#endif
