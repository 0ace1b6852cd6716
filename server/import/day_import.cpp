// Files of records that are stored by trading day, row by row: one template for all kinds. Rows are
// gathered by security and dated (a night belongs to the day that follows); what is special to a
// record stands in import/day_records.h, how days are written in import/day_writer.h.
#include "import/importers.h"

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "import/date_rows.h"
#include "import/day_writer.h"
#include "import/progress.h"
#include "import/row_reader.h"

namespace qrx::server {
namespace {

using G = FieldGroup;

template <class Record>
class DayImporter final : public Importer {
public:
    DayImporter(Store& store, const ImportOptions& options) : m_store(store), m_options(options) {}

    ImportResult ImportFile(const std::string& strPath) override {
        m_mapSecurities.clear();
        m_pLast = nullptr;
        ImportResult result;
        LineReader lines(strPath);
        ProgressBar progress(strPath, m_options.bProgress);
        RowReader rows(lines, m_options, ColumnNames());
        Bind(rows);
        while (rows.Next()) {
            ReadRow(rows, lines.Line(), result);
            if ((++result.nRows & 0xFFF) == 0) progress.Show(lines.Progress(), result.nRows);
        }
        Store::Batch batch(m_store);
        std::set<std::string> setWritten;
        DayWriter<Record> writer(m_store, m_options.bAppend, m_setWritten, *m_volume, *m_turnover,
                                 m_vecLayouts[0].bIndex);
        for (auto& [strKey, security] : m_mapSecurities) {
            DateRows(security.vecRows, m_options.nightForm);
            writer.WriteDays(security, setWritten, result);
        }
        batch.Commit();
        m_setWritten.merge(setWritten);
        return result;
    }

private:
    using Security = DayRows<Record>;

    std::vector<std::string> ColumnNames() const {
        std::vector<std::string> vec;
        for (const auto& layout : Traits<Record>::Layouts()) {
            for (const auto& field : layout.vecFields) {
                vec.push_back(layout.strPrefix + field.strColumn);
            }
        }
        if constexpr (HasVolume<Record>) vec.insert(vec.end(), {"acc_volume", "acc_turnover"});
        for (const auto& field : ReferenceFields()) vec.push_back(field.strColumn);
        return vec;
    }

    static std::vector<Field> ReferenceFields() {
        if constexpr (kKindOf<Record> == DayKind::Snapshot) return FieldsOf({G::FutureDay});
        return {};
    }

    void Bind(const RowReader& rows) {
        const Columns& columns = rows.GetColumns();
        m_volume.emplace(columns, "volume", m_options.bCumulative);
        m_turnover.emplace(columns, "turnover", m_options.bCumulative);
        m_vecLayouts.clear();
        for (const auto& layout : Traits<Record>::Layouts()) {
            if (columns.Find(layout.strPrefix + "price") < 0) continue;
            BoundLayout bound{{},
                              layout.nSide,
                              columns.Find(layout.strPrefix + "items") >= 0,
                              columns.Find("index") >= 0};
            for (const auto& field : layout.vecFields) {
                if (field.kind == FieldKind::Date || field.kind == FieldKind::Time) continue;
                if (HasVolume<Record> && IsQuantity(field.strColumn)) continue;
                const int nColumn = columns.Find(layout.strPrefix + field.strColumn);
                if (nColumn >= 0) bound.vecFields.push_back({field, nColumn});
            }
            m_vecLayouts.push_back(std::move(bound));
        }
        if (m_vecLayouts.empty() || m_vecLayouts[0].nSide == 0) {
            for (const char* sz : Traits<Record>::kRequired) columns.Require(sz);
        }
        m_vecReference.clear();
        for (const auto& field : ReferenceFields()) {
            m_vecReference.push_back({field, columns.Find(field.strColumn)});
        }
    }

    static bool IsQuantity(const std::string& str) {
        return str == "volume" || str == "turnover" || str == "acc_volume" || str == "acc_turnover";
    }

    void ReadRow(const RowReader& rows, int64_t nLine, ImportResult& result) {
        rows.ReadStamp(m_stamp);
        Security& security = FindSecurity(rows);
        Row<Record> row{nLine, m_stamp.nDay, m_stamp.nDate, m_stamp.nTime, {}, {}, {}};
        if constexpr (HasVolume<Record>) {
            ReadQuantity(rows, *m_volume, FieldKind::Volume, "volume", row.volume);
            ReadQuantity(rows, *m_turnover, FieldKind::Amount, "turnover", row.turnover);
        }
        for (const auto& layout : m_vecLayouts) {
            row.record = {};
            row.record.nTime = row.nTime;
            for (const auto& [field, nColumn] : layout.vecFields) {
                const int64_t nValue = rows.Value(field, nColumn);
                // Little-endian: the low bytes come first.
                memcpy(reinterpret_cast<char*>(&row.record) + field.nOffset, &nValue, field.nWidth);
            }
            if (!FinishRecord(row.record, layout, security.code.nType)) continue;
            security.vecRows.push_back(row);
            ++result.nRecords;
        }
        if (!m_vecReference.empty()) ReadReference(rows, security, row.nDay);
    }

    void ReadQuantity(const RowReader& rows, const QuantityColumns& columns, FieldKind kind,
                      const char* szName, Quantity& quantity) const {
        const Field field{G::Tick, szName, kind, 0, 8};
        if (columns.nRow >= 0) quantity.nRow = rows.Value(field, columns.nRow);
        if (columns.nSum >= 0) quantity.nSum = rows.Value(field, columns.nSum);
    }

    void ReadReference(const RowReader& rows, Security& security, int nDay) const {
        int values[3] = {};
        bool bAny = false;
        for (size_t i = 0; i < 3; ++i) {
            const auto& [field, nColumn] = m_vecReference[i];
            if (nColumn < 0) continue;
            values[i] = static_cast<int>(rows.Value(field, nColumn));
            bAny = true;
        }
        // Day 0 stands for rows whose trading day is found later: the last ones hold for all.
        if (bAny) security.mapReferences[nDay] = {values[0], values[1], values[2]};
    }

    Security& FindSecurity(const RowReader& rows) {
        if (m_pLast != nullptr && m_stamp.strCode == m_strLastCode &&
            m_stamp.strMarket == m_strLastMarket) {
            return *m_pLast;
        }
        const std::string strKey = m_stamp.strMarket + "\n" + m_stamp.strCode;
        auto it = m_mapSecurities.find(strKey);
        if (it == m_mapSecurities.end()) {
            const auto code = m_store.FindCode(m_stamp.strMarket, m_stamp.strCode);
            if (!code) {
                rows.Refuse(m_stamp.strCode + "." + m_stamp.strMarket +
                            " is in no code table (import codes first)");
            }
            it = m_mapSecurities.emplace(strKey, Security{m_stamp.strMarket, *code, {}, {}}).first;
        }
        m_strLastCode = m_stamp.strCode;
        m_strLastMarket = m_stamp.strMarket;
        m_pLast = &it->second;
        return *m_pLast;
    }

    Store& m_store;
    ImportOptions m_options;
    std::map<std::string, Security> m_mapSecurities;  // of the file that is read
    std::set<std::string> m_setWritten;               // days that earlier files have begun
    std::vector<BoundLayout> m_vecLayouts;
    std::vector<Bound> m_vecReference;
    std::optional<QuantityColumns> m_volume, m_turnover;
    RowStamp m_stamp;
    Security* m_pLast = nullptr;
    std::string m_strLastCode, m_strLastMarket;
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
