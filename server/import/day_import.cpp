// Import of the records that are stored by trading day: ticks, trades, orders, order queues and
// snapshots. One template serves them; what is special to a record stands in its Traits.
//
// Rows are gathered by security, dated (a night belongs to the day that follows), put in order, and
// written day by day. Volumes are made whole in both ways: per row from the day's sum, or the sum
// from the rows.
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <unordered_map>

#include "import/bar_import.h"
#include "import/code_import.h"
#include "import/date_rows.h"
#include "import/progress.h"
#include "import/row_reader.h"
#include "store/day_stream.h"

namespace qrx::server {
namespace {

using G = FieldGroup;

// The fields that one row may fill in one record. A file of order queues may have both sides in a
// row; then a row makes two records, each with its own columns.
struct Layout {
    std::vector<Field> vecFields;
    std::string strPrefix;
    int nSide = 0;
};

template <class Record>
struct Traits;
template <>
struct Traits<ZPMDefine_Tick_AB_Night> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({G::Tick, G::Book}), {}}}; }
    static constexpr const char* kRequired[] = {"price"};
};
template <>
struct Traits<ZPMDefine_Transaction_v2> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({G::Transaction}), {}}}; }
    static constexpr const char* kRequired[] = {"price", "volume"};
};
template <>
struct Traits<ZPMDefine_Order_v2> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({G::Order}), {}}}; }
    static constexpr const char* kRequired[] = {"price", "volume", "side"};
};
template <>
struct Traits<ZPMDefine_OrderQueue> {
    static std::vector<Layout> Layouts() {
        const auto vec = FieldsOf({G::OrderQueue});
        return {{vec, {}}, {vec, "bid_", 'B'}, {vec, "ask_", 'S'}};
    }
    static constexpr const char* kRequired[] = {"price"};
};
template <>
struct Traits<ZPMDefine_Future_AB_Night> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({G::Future, G::FutureBook}), {}}}; }
    static constexpr const char* kRequired[] = {"price"};
};

// A quantity of the day, per row and summed up.
struct Quantity {
    int64_t nRow = 0;
    int64_t nSum = 0;
};

template <class Record>
struct Row {
    int64_t nLine;  // 0: was stored before
    int nDay;
    int nDate;
    int nTime;
    Quantity volume, turnover;
    Record record;
};

template <class Record>
constexpr bool HasVolume = requires(Record r) {
    r.iVolume;
};

// How a quantity stands in the file.
struct QuantityColumns {
    int nRow = -1;
    int nSum = -1;

    QuantityColumns(const Columns& columns, const std::string& strName, bool bCumulative)
        : nRow(columns.Find(strName)), nSum(columns.Find("acc_" + strName)) {
        if (bCumulative && nSum < 0) std::swap(nRow, nSum);
    }
    // What one row lacks, from the sum before it. False when the sum falls.
    bool Complete(Quantity& quantity, int64_t nBefore) const {
        if (nSum < 0) quantity.nSum = nBefore + quantity.nRow;
        if (nRow < 0 && nSum >= 0) quantity.nRow = quantity.nSum - nBefore;
        return quantity.nRow >= 0;
    }
};

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
        for (auto& [strKey, security] : m_mapSecurities) {
            DateRows(security.vecRows, m_options.nightForm);
            WriteDays(security, setWritten, result);
        }
        batch.Commit();
        m_setWritten.merge(setWritten);
        return result;
    }

private:
    struct Bound {
        Field field;
        int nColumn;
    };
    struct BoundLayout {
        std::vector<Bound> vecFields;
        int nSide;
        bool bItems;  // the number of queue items is given
        bool bIndex;
    };
    struct Security {
        std::string strMarket;
        CodeRow code;
        std::vector<Row<Record>> vecRows;
        std::map<int, DayReference> mapReferences;
    };

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
            if (!Finish(row.record, layout, security)) continue;
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

    // What a record's own rules add; false: there is no record.
    static bool Finish(Record& record, const BoundLayout& layout, const Security& security) {
        if constexpr (kKindOf<Record> == DayKind::OrderQueue) {
            if (layout.nSide != 0) record.nQueueField[1] = layout.nSide;
            int nItems = 50;
            while (nItems > 0 && record.nQueueItems[nItems - 1] == 0) --nItems;
            if (!layout.bItems) record.nQueueField[3] = nItems;
            return layout.nSide == 0 || record.nQueueField[0] != 0 || nItems != 0;
        }
        if constexpr (kKindOf<Record> == DayKind::TickLevels) {
            if (security.code.nType < 16) {  // an index has no levels
                // Levels and their sums stand together; packed, so by bytes.
                constexpr size_t nFirst = offsetof(Record, nBook1);
                memset(reinterpret_cast<char*>(&record) + nFirst, 0,
                       offsetof(Record, nExt) - nFirst);
            }
        }
        return true;
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

    void WriteDays(Security& security, std::set<std::string>& setWritten, ImportResult& result) {
        auto& vecRows = security.vecRows;
        for (size_t i = 0; i < vecRows.size();) {
            size_t j = i;
            while (j < vecRows.size() && vecRows[j].nDay == vecRows[i].nDay) ++j;
            const DayKey key{security.strMarket, security.code.strCode, vecRows[i].nDay};
            const std::string strDay =
                key.strMarket + "\n" + key.strCode + "\n" + std::to_string(key.nDay);
            std::span<Row<Record>> day(vecRows.data() + i, j - i);
            std::vector<Row<Record>> vecJoined;
            if (m_options.bAppend || m_setWritten.count(strDay) != 0) {
                vecJoined = JoinStored(key, day);
                day = vecJoined;
            }
            setWritten.insert(strDay);
            CompleteRows(day);
            WriteDay(key, security, day);
            ++result.nDays;
            i = j;
        }
    }

    // What is stored and what comes, in the order of time.
    std::vector<Row<Record>> JoinStored(const DayKey& key, std::span<const Row<Record>> day) {
        std::vector<Row<Record>> vecAll;
        Quantity volume, turnover;
        for (const auto& part : ReadRecords<Record>(m_store, key)) {
            for (const Record& record : part.vecRecords) {
                if constexpr (HasVolume<Record>) {
                    volume = {record.iVolume, volume.nSum + record.iVolume};
                    turnover = {record.iTurnover, turnover.nSum + record.iTurnover};
                }
                vecAll.push_back({0, key.nDay, part.nDate, record.nTime, volume, turnover, record});
            }
        }
        vecAll.insert(vecAll.end(), day.begin(), day.end());
        std::stable_sort(vecAll.begin(), vecAll.end(), [](const auto& a, const auto& b) {
            return std::tie(a.nDate, a.nTime) < std::tie(b.nDate, b.nTime);
        });
        return vecAll;
    }

    void CompleteRows(std::span<Row<Record>> day) const {
        int64_t nVolume = 0;
        int64_t nTurnover = 0;
        int nIndex = 0;
        for (auto& row : day) {
            ++nIndex;
            if constexpr (requires { row.record.nDate; }) row.record.nDate = row.nDate;
            if constexpr (requires { row.record.nIndex; }) {
                if (!m_vecLayouts[0].bIndex) row.record.nIndex = nIndex;
            }
            if constexpr (HasVolume<Record>) {
                if (!m_volume->Complete(row.volume, nVolume) ||
                    !m_turnover->Complete(row.turnover, nTurnover)) {
                    throw ImportError(row.nLine, "the volume or turnover of the day falls");
                }
                nVolume = row.volume.nSum;
                nTurnover = row.turnover.nSum;
                row.record.iVolume = row.volume.nRow;
                row.record.iTurnover = row.turnover.nRow;
            }
            if constexpr (requires { row.record.iAccVolume; }) {
                row.record.iAccVolume = nVolume;
                row.record.iAccTurnover = nTurnover;
            }
        }
    }

    void WriteDay(const DayKey& key, const Security& security, std::span<const Row<Record>> day) {
        if constexpr (Dated<Record>) {
            std::vector<Record> vecRecords;
            vecRecords.reserve(day.size());
            for (const auto& row : day) vecRecords.push_back(row.record);
            if constexpr (kKindOf<Record> == DayKind::Snapshot) {
                DayReference reference = m_store.GetDayReference(key);
                for (const int nDay : {0, key.nDay}) {
                    const auto it = security.mapReferences.find(nDay);
                    if (it != security.mapReferences.end()) reference = it->second;
                }
                PutRecords(m_store, key, vecRecords, reference);
            } else {
                PutRecords(m_store, key, vecRecords);
            }
        } else {
            std::vector<DayPart<Record>> vecParts;
            for (const auto& row : day) {
                if (vecParts.empty() || vecParts.back().nDate != row.nDate) {
                    vecParts.push_back({row.nDate, {}});
                }
                vecParts.back().vecRecords.push_back(row.record);
            }
            PutRecords(m_store, key, vecParts);
        }
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

std::unique_ptr<Importer> MakeImporter(ImportKind kind, Store& store,
                                       const ImportOptions& options) {
    switch (kind) {
        case ImportKind::Codes:
            return MakeCodeImporter(store, options);
        case ImportKind::Ticks:
            return std::make_unique<DayImporter<ZPMDefine_Tick_AB_Night>>(store, options);
        case ImportKind::Trades:
            return std::make_unique<DayImporter<ZPMDefine_Transaction_v2>>(store, options);
        case ImportKind::Orders:
            return std::make_unique<DayImporter<ZPMDefine_Order_v2>>(store, options);
        case ImportKind::Queues:
            return std::make_unique<DayImporter<ZPMDefine_OrderQueue>>(store, options);
        case ImportKind::Bars:
            return MakeBarImporter(store, options);
        case ImportKind::Adjust:
            return MakeAdjustImporter(store, options);
        case ImportKind::Snapshots:
            return std::make_unique<DayImporter<ZPMDefine_Future_AB_Night>>(store, options);
    }
    return nullptr;
}

}  // namespace qrx::server
