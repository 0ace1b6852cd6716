// Lines of a file into records, without the store: lines are independent of each other here, so
// that several threads may parse different ones.
#ifndef QRX_SERVER_IMPORT_DAY_PARSER_H
#define QRX_SERVER_IMPORT_DAY_PARSER_H

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "import/day_records.h"
#include "import/row_reader.h"

namespace qrx::server {

// Successive rows of one security; the number of the first one's line, for a refusal.
struct SecurityRun {
    std::string strMarket;
    std::string strCode;
    int64_t nLine;
    size_t nFirst;      // of vecRows
    size_t nReference;  // of vecReferences
};

template <class Record>
struct ParsedLines {
    std::vector<SecurityRun> vecRuns;
    std::vector<Row<Record>> vecRows;
    std::vector<std::pair<int, DayReference>> vecReferences;  // by trading day, later ones hold
    int64_t nRows = 0;                                        // of the file
    std::optional<ImportError> refusal;                       // of the line behind these
};

template <class Record>
class DayParser {
public:
    static std::vector<std::string> ColumnNames() {
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

    DayParser(const RowReader& rows, bool bCumulative)
        : m_volume(rows.GetColumns(), "volume", bCumulative),
          m_turnover(rows.GetColumns(), "turnover", bCumulative),
          m_bIndex(rows.GetColumns().Find("index") >= 0) {
        const Columns& columns = rows.GetColumns();
        for (const auto& layout : Traits<Record>::Layouts()) {
            if (columns.Find(layout.strPrefix + "price") < 0) continue;
            BoundLayout bound{{}, layout.nSide, columns.Find(layout.strPrefix + "items") >= 0};
            for (const auto& field : layout.vecFields) {
                if (field.kind == FieldKind::Date || field.kind == FieldKind::Time) continue;
                if (HasVolume<Record> && IsQuantity(field.strColumn)) continue;
                const int nColumn = columns.Find(layout.strPrefix + field.strColumn);
                if (nColumn >= 0) bound.vecFields.push_back(rows.Bind(field, nColumn));
            }
            m_vecLayouts.push_back(std::move(bound));
        }
        if (m_vecLayouts.empty() || m_vecLayouts[0].nSide == 0) {
            for (const char* sz : Traits<Record>::kRequired) columns.Require(sz);
        }
        for (const auto& field : ReferenceFields()) {
            const int nColumn = columns.Find(field.strColumn);
            if (nColumn >= 0) m_bReference = true;
            m_vecReference.push_back(rows.Bind(field, nColumn));
        }
        const Field volume{FieldGroup::Tick, "volume", FieldKind::Volume, 0, 8};
        const Field turnover{FieldGroup::Tick, "turnover", FieldKind::Amount, 0, 8};
        m_rowVolume = rows.Bind(volume, m_volume.nRow);
        m_sumVolume = rows.Bind(volume, m_volume.nSum);
        m_rowTurnover = rows.Bind(turnover, m_turnover.nRow);
        m_sumTurnover = rows.Bind(turnover, m_turnover.nSum);
    }

    const QuantityColumns& Volume() const { return m_volume; }
    const QuantityColumns& Turnover() const { return m_turnover; }
    bool HasIndex() const { return m_bIndex; }  // the file numbers its records itself

    // nLines: about how many there are.
    ParsedLines<Record> Parse(RowReader& rows, size_t nLines) const {
        ParsedLines<Record> parsed;
        parsed.vecRows.reserve(nLines * m_vecLayouts.size());
        RowStamp stamp;
        try {
            while (rows.Next()) {
                ReadRow(rows, stamp, parsed);
                ++parsed.nRows;
            }
        } catch (const ImportError& error) {
            parsed.refusal = error;
        }
        return parsed;
    }

private:
    static std::vector<Field> ReferenceFields() {
        if constexpr (kKindOf<Record> == DayKind::Snapshot)
            return FieldsOf({FieldGroup::FutureDay});
        return {};
    }

    static bool IsQuantity(const std::string& str) {
        return str == "volume" || str == "turnover" || str == "acc_volume" || str == "acc_turnover";
    }

    void ReadRow(const RowReader& rows, RowStamp& stamp, ParsedLines<Record>& parsed) const {
        rows.ReadStamp(stamp);
        auto& vecRuns = parsed.vecRuns;
        if (vecRuns.empty() || vecRuns.back().strCode != stamp.strCode ||
            vecRuns.back().strMarket != stamp.strMarket) {
            vecRuns.push_back({stamp.strMarket, stamp.strCode, rows.Line(), parsed.vecRows.size(),
                               parsed.vecReferences.size()});
        }
        for (const auto& layout : m_vecLayouts) {
            Row<Record>& row = parsed.vecRows.emplace_back();
            row.nLine = rows.Line();
            row.nDay = stamp.nDay;
            row.nDate = stamp.nDate;
            row.nTime = row.record.nTime = stamp.nTime;
            if constexpr (HasVolume<Record>) {
                row.volume = {ValueIfThere(rows, m_rowVolume), ValueIfThere(rows, m_sumVolume)};
                row.turnover = {ValueIfThere(rows, m_rowTurnover),
                                ValueIfThere(rows, m_sumTurnover)};
            }
            for (const BoundField& bound : layout.vecFields) {
                const codec::StreamField at{static_cast<uint16_t>(bound.field.nOffset),
                                            static_cast<uint8_t>(bound.field.nWidth)};
                codec::StoreField(reinterpret_cast<char*>(&row.record), at, rows.Value(bound));
            }
            if (!FinishRecord(row.record, layout)) parsed.vecRows.pop_back();
        }
        if (m_bReference) ReadReference(rows, stamp.nDay, parsed);
    }

    static int64_t ValueIfThere(const RowReader& rows, const BoundField& bound) {
        return bound.nColumn < 0 ? 0 : rows.Value(bound);
    }

    // Day 0 stands for rows whose trading day is found later: the last ones hold for all.
    void ReadReference(const RowReader& rows, int nDay, ParsedLines<Record>& parsed) const {
        int values[3];
        for (size_t i = 0; i < 3; ++i) {
            values[i] = static_cast<int>(ValueIfThere(rows, m_vecReference[i]));
        }
        parsed.vecReferences.push_back({nDay, {values[0], values[1], values[2]}});
    }

    std::vector<BoundLayout> m_vecLayouts;
    std::vector<BoundField> m_vecReference;
    bool m_bReference = false;
    QuantityColumns m_volume, m_turnover;
    bool m_bIndex;
    BoundField m_rowVolume, m_sumVolume, m_rowTurnover, m_sumTurnover;  // of volume and turnover
};

}  // namespace qrx::server

#endif
