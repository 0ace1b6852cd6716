// Files of records that are stored by trading day: one template for all kinds. Blocks of lines are
// parsed ahead by other threads, and taken up in the order of the file. Rows are gathered by
// security and dated (a night belongs to the day that follows); what is special to a record stands
// in import/day_records.h, how lines are parsed in import/day_parser.h, how days are written in
// import/day_writer.h.
#include "import/importers.h"

#include <algorithm>
#include <list>
#include <map>
#include <set>
#include <utility>

#include "import/ahead.h"
#include "import/date_rows.h"
#include "import/day_parser.h"
#include "import/day_writer.h"
#include "import/progress.h"
#include "import/row_reader.h"
#include "support/strings.h"

namespace qrx::server {
namespace {

template <class Record>
class DayImporter final : public Importer {
public:
    DayImporter(Store& store, const ImportOptions& options) : m_store(store), m_options(options) {}

    ImportResult ImportFile(const std::string& strPath) override {
        m_mapSecurities.clear();
        m_listRows.clear();
        ImportResult result;
        LineReader lines(strPath);
        ProgressBar progress(strPath, m_options.bProgress);
        const RowReader header(lines, m_options, DayParser<Record>::ColumnNames());
        const DayParser<Record> parser(header, m_options.bCumulative);
        ReadAhead(lines, header, parser, [&](ParsedLines<Record>& parsed) {
            TakeUp(parsed, result);
            progress.Show(lines.Progress(), result.nRows);
        });
        Store::Batch batch(m_store);
        std::set<std::string> setWritten;
        DayWriter<Record> writer(m_store, m_options.bAppend, m_setWritten, parser.Volume(),
                                 parser.Turnover(), parser.HasIndex());
        Ahead<Security*> dated;
        size_t nSecurity = 0;
        const auto writeNext = [&] {
            progress.Writing(++nSecurity, m_mapSecurities.size());
            writer.WriteDays(*dated.Take(), setWritten, result);
        };
        for (auto& [strKey, security] : m_mapSecurities) {
            if (dated.IsFull()) writeNext();
            dated.Give([this, pSecurity = &security] {
                DateRows(pSecurity->vecRows, m_options.nightForm);
                return pSecurity;
            });
        }
        while (!dated.IsEmpty()) writeNext();
        writer.Finish();
        batch.Commit();
        m_setWritten.merge(setWritten);
        return result;
    }

private:
    using Security = DayRows<Record>;

    // Calls take with what the lines say, block by block. A file that cannot be read on is refused
    // behind whatever is to be refused of the lines before.
    template <class Take>
    static void ReadAhead(LineReader& lines, const RowReader& header,
                          const DayParser<Record>& parser, Take take) {
        Ahead<ParsedLines<Record>> ahead;
        std::optional<ImportError> unreadable;
        for (bool bMore = true; bMore || !ahead.IsEmpty();) {
            if (!bMore || ahead.IsFull()) {
                ParsedLines<Record> parsed = ahead.Take();
                take(parsed);
                continue;
            }
            std::string strLines;
            const int64_t nBefore = lines.Line();
            try {
                bMore = lines.NextLines(strLines);
            } catch (const ImportError& error) {
                unreadable = error;
                bMore = false;
            }
            if (!bMore) continue;
            const auto nLines = static_cast<size_t>(lines.Line() - nBefore);
            ahead.Give(
                [&header, &parser, nBefore, nLines, strLines = std::move(strLines)]() mutable {
                    LineReader block(std::move(strLines), nBefore);
                    RowReader rows(header, block);
                    return parser.Parse(rows, nLines);
                });
        }
        if (unreadable) throw *unreadable;
    }

    // Puts rows to those of their securities.
    void TakeUp(ParsedLines<Record>& parsed, ImportResult& result) {
        for (size_t i = 0; i < parsed.vecRuns.size(); ++i) {
            const SecurityRun& run = parsed.vecRuns[i];
            Security& security = FindSecurity(run);
            const bool bLast = i + 1 == parsed.vecRuns.size();
            const size_t nEnd = bLast ? parsed.vecRows.size() : parsed.vecRuns[i + 1].nFirst;
            for (size_t k = run.nFirst; k < nEnd; ++k) {
                FitToType(parsed.vecRows[k].record, security.code.nType);
                security.vecRows.push_back(&parsed.vecRows[k]);
            }
            const size_t nReferences =
                bLast ? parsed.vecReferences.size() : parsed.vecRuns[i + 1].nReference;
            for (size_t k = run.nReference; k < nReferences; ++k) {
                const auto& [nDay, reference] = parsed.vecReferences[k];
                security.mapReferences[nDay] = reference;
            }
        }
        if (parsed.refusal) throw *parsed.refusal;
        result.nRows += parsed.nRows;
        result.nRecords += static_cast<int64_t>(parsed.vecRows.size());
        m_listRows.push_back(std::move(parsed.vecRows));
    }

    // Letter case tells no codes apart.
    Security& FindSecurity(const SecurityRun& run) {
        std::string strKey = run.strMarket + "\n" + run.strCode;
        strupr_n(strKey.data(), strKey.size());
        auto it = m_mapSecurities.find(strKey);
        if (it == m_mapSecurities.end()) {
            CodeRow code = KnownCode(m_store, run.strMarket, run.strCode, run.nLine);
            it = m_mapSecurities.emplace(strKey, Security{run.strMarket, std::move(code), {}, {}})
                     .first;
        }
        return it->second;
    }

    Store& m_store;
    ImportOptions m_options;
    // Of the file that is read.
    std::map<std::string, Security> m_mapSecurities;
    std::list<std::vector<Row<Record>>> m_listRows;  // to which they point
    std::set<std::string> m_setWritten;              // days that earlier files have begun
};

}  // namespace

std::unique_ptr<Importer> MakeDayImporter(ImportKind kind, Store& store,
                                          const ImportOptions& options) {
    switch (kind) {
        case ImportKind::Ticks:
            return std::make_unique<DayImporter<ZPMDefine_Tick_AB_Night>>(store, options);
        case ImportKind::Trades:
            return std::make_unique<DayImporter<ZPMDefine_Transaction_v2>>(store, options);
        case ImportKind::Orders:
            return std::make_unique<DayImporter<ZPMDefine_Order_v2>>(store, options);
        case ImportKind::Queues:
            return std::make_unique<DayImporter<ZPMDefine_OrderQueue>>(store, options);
        case ImportKind::Snapshots:
            return std::make_unique<DayImporter<ZPMDefine_Future_AB_Night>>(store, options);
        default:
            return nullptr;
    }
}

}  // namespace qrx::server
