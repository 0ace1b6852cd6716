// CSV files, plain or compressed with gzip, line by line; and the columns of one, found by name.
//
// The first line names the columns. Names are compared without regard to letter case, blanks around
// them and angle brackets. --map gives other names, --set values for every row. In a mapping a star
// in both names stands for the number of a level, counted by the file from 0 or from 1.
#ifndef QRX_SERVER_IMPORT_CSV_H
#define QRX_SERVER_IMPORT_CSV_H

#include <zlib.h>

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qrx::server {

// A refusal names the line that it is about; line 0: the file.
struct ImportError : std::runtime_error {
    ImportError(int64_t nAtLine, const std::string& strText)
        : std::runtime_error(strText), nLine(nAtLine) {}
    int64_t nLine;
};

class LineReader {
public:
    explicit LineReader(const std::string& strPath);
    // Over lines of a file behind its first nBefore ones.
    LineReader(std::string strLines, int64_t nBefore)
        : m_strBuffer(std::move(strLines)), m_nLine(nBefore) {}

    // The next line without its end; valid until the next call.
    bool Next(std::string_view& strLine);
    // The next lines, whole, about as many as are read from the file at a time.
    bool NextLines(std::string& strLines);
    int64_t Line() const { return m_nLine; }
    double Progress() const;  // 0 to 1, by what is read of the file on disk

private:
    struct Closer {
        void operator()(gzFile_s* p) const { gzclose(p); }
    };
    bool Fill();

    std::unique_ptr<gzFile_s, Closer> m_pFile;
    std::string m_strBuffer;
    size_t m_nBegin = 0;
    int64_t m_nLine = 0;
    double m_fBytes = 0;  // of the file on disk
};

// Splits a line at its commas. Quoted fields may hold commas and doubled quotes; vecScratch keeps
// the few that had to be rewritten.
void SplitFields(std::string_view strLine, std::vector<std::string_view>& vecFields,
                 std::vector<std::unique_ptr<std::string>>& vecScratch);

using NamePairs = std::vector<std::pair<std::string, std::string>>;

// "a=b,c=d" as pairs. Throws ImportError.
NamePairs ParsePairs(const std::string& strText);

// Where each of our columns stands in a row.
class Columns {
public:
    // vecOurs: every name that this import knows.
    Columns(std::string_view strHeader, const NamePairs& vecMap, const NamePairs& vecSet,
            const std::vector<std::string>& vecOurs);
    // The same columns, for other rows of the file.
    Columns(const Columns& other)
        : m_mapPlaces(other.m_mapPlaces),
          m_vecConstants(other.m_vecConstants),
          m_nFileColumns(other.m_nFileColumns),
          m_nNeeded(other.m_nNeeded) {}
    Columns& operator=(const Columns&) = delete;

    // Splits a row; throws ImportError when it has fewer fields than the columns that are used
    // need.
    void Split(std::string_view strLine, int64_t nLine);

    // The place of a column, -1: the file has none.
    int Find(const std::string& strOurs) const;
    void Require(const std::string& strOurs) const;
    std::string_view operator[](int nColumn) const {
        return m_vecFields[static_cast<size_t>(nColumn)];
    }

private:
    std::map<std::string, int> m_mapPlaces;
    std::vector<std::string> m_vecConstants;  // stand behind the fields of the file
    size_t m_nFileColumns = 0;
    size_t m_nNeeded = 0;
    std::vector<std::string_view> m_vecFields;
    std::vector<std::unique_ptr<std::string>> m_vecScratch;
};

}  // namespace qrx::server

#endif
