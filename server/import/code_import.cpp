// Columns: market, code, name, type. The type is the number that clients see, or one of the words
// below. Codes that a market has already are replaced where they stand, new ones come behind.
#include "import/importers.h"

#include <algorithm>
#include <map>

#include "import/progress.h"
#include "import/row_reader.h"
#include "text/encoding.h"

namespace qrx::server {
namespace {

constexpr struct {
    const char* szWord;
    int nType;
} kTypes[] = {{"index", 0}, {"stock", 16},   {"fund", 32},
              {"bond", 48}, {"future", 112}, {"option", 144}};

class CodeImporter final : public Importer {
public:
    CodeImporter(Store& store, const ImportOptions& options) : m_store(store), m_options(options) {}

    ImportResult ImportFile(const std::string& strPath) override {
        ImportResult result;
        LineReader lines(strPath);
        ProgressBar progress(strPath, m_options.bProgress);
        Columns columns = ReadHeader(lines, m_options, {"name", "type"});
        columns.Require("code");
        columns.Require("type");
        std::map<std::string, std::vector<CodeRow>> mapMarkets;
        std::string_view strLine;
        while (lines.Next(strLine)) {
            if (strLine.empty()) continue;
            columns.Split(strLine, lines.Line());
            ReadRow(columns, lines.Line(), mapMarkets);
            if ((++result.nRows & 0xFFF) == 0) progress.Show(lines.Progress(), result.nRows);
        }
        Store::Batch batch(m_store);
        for (const auto& [strMarket, vecCodes] : mapMarkets) m_store.PutCodes(strMarket, vecCodes);
        batch.Commit();
        result.nRecords = result.nRows;
        return result;
    }

private:
    void ReadRow(const Columns& columns, int64_t nLine,
                 std::map<std::string, std::vector<CodeRow>>& mapMarkets) const {
        const auto text = [&](const char* szName) -> std::string {
            const int nColumn = columns.Find(szName);
            return nColumn < 0 ? std::string() : std::string(columns[nColumn]);
        };
        RowStamp stamp;
        SplitCode(text("code"), text("market"), stamp);
        if (stamp.strMarket.empty()) throw ImportError(nLine, "no market is given");
        if (stamp.strMarket.size() > 4) {
            throw ImportError(nLine, "market " + stamp.strMarket + " has more than 4 characters");
        }
        if (stamp.strCode.empty() || stamp.strCode.size() > 16) {
            throw ImportError(nLine, "code \"" + stamp.strCode + "\" has not 1 to 16 characters");
        }
        const auto plain = [](char ch) { return ch > ' ' && ch < 0x7f; };
        if (!std::all_of(stamp.strCode.begin(), stamp.strCode.end(), plain) ||
            !std::all_of(stamp.strMarket.begin(), stamp.strMarket.end(), plain)) {
            throw ImportError(nLine, "code \"" + stamp.strCode + "." + stamp.strMarket +
                                         "\" has other characters than plain ASCII");
        }
        CodeRow row{stamp.strCode, {}, 0};
        const auto name = ToUtf8(text("name"), m_options.strEncoding);
        if (!name) {
            throw ImportError(nLine,
                              "the name is not " + m_options.strEncoding + " (see --encoding)");
        }
        row.strName = *name;
        const std::string strType = text("type");
        const auto* pWord = std::find_if(std::begin(kTypes), std::end(kTypes),
                                         [&](const auto& t) { return strType == t.szWord; });
        const auto nType = ParseDecimal(strType, 0);
        if (pWord != std::end(kTypes)) {
            row.nType = pWord->nType;
        } else if (!strType.empty() && nType && *nType >= 0 && *nType <= 255) {
            row.nType = static_cast<int>(*nType);
        } else {
            throw ImportError(nLine, "unknown type \"" + strType + "\"");
        }
        mapMarkets[stamp.strMarket].push_back(std::move(row));
    }

    Store& m_store;
    ImportOptions m_options;
};

}  // namespace

std::unique_ptr<Importer> MakeCodeImporter(Store& store, const ImportOptions& options) {
    return std::make_unique<CodeImporter>(store, options);
}

}  // namespace qrx::server
