// Columns: market, code, date, factor. The factors of a security are replaced.
#include "import/importers.h"

#include <map>
#include <utility>

#include "import/progress.h"
#include "import/row_reader.h"

namespace qrx::server {
namespace {

class AdjustImporter final : public Importer {
public:
    AdjustImporter(Store& store, const ImportOptions& options)
        : m_store(store), m_options(options) {}

    ImportResult ImportFile(const std::string& strPath) override {
        ImportResult result;
        LineReader lines(strPath);
        ProgressBar progress(strPath, m_options.bProgress);
        RowReader rows(lines, m_options, {"factor"}, false);
        rows.GetColumns().Require("factor");
        const int nColumn = rows.GetColumns().Find("factor");
        std::map<std::pair<std::string, std::string>, std::map<int, double>> mapFactors;
        std::map<std::pair<std::string, std::string>, std::string> mapCodes;
        RowStamp stamp;
        while (rows.Next()) {
            rows.ReadStamp(stamp);
            const auto nFactor = ParseDecimal(rows.GetColumns()[nColumn], 12);
            if (!nFactor || *nFactor <= 0) {
                rows.Refuse("bad factor \"" + rows.Text(nColumn) + "\"");
            }
            // Under the code of the table, whose letters the file need not have: bars look there.
            auto& strCode = mapCodes[{stamp.strMarket, stamp.strCode}];
            if (strCode.empty()) {
                strCode = KnownCode(m_store, stamp.strMarket, stamp.strCode, rows.Line()).strCode;
            }
            auto& factors = mapFactors[{stamp.strMarket, strCode}];
            if (!factors.emplace(stamp.nDate, static_cast<double>(*nFactor) * 1e-12).second) {
                rows.Refuse("the file has a factor of this date twice");
            }
            if ((++result.nRows & 0xFFF) == 0) progress.Show(lines.Progress(), result.nRows);
        }
        Store::Batch batch(m_store);
        for (const auto& [security, factors] : mapFactors) {
            std::vector<AdjustFactor> vec;
            for (const auto& [nDate, f] : factors) vec.push_back({nDate, f});
            m_store.PutAdjustFactors(security.first, security.second, vec);
            result.nRecords += static_cast<int64_t>(vec.size());
        }
        batch.Commit();
        return result;
    }

private:
    Store& m_store;
    ImportOptions m_options;
};

}  // namespace

std::unique_ptr<Importer> MakeAdjustImporter(Store& store, const ImportOptions& options) {
    return std::make_unique<AdjustImporter>(store, options);
}

}  // namespace qrx::server
