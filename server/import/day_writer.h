// The rows of one security into its days: joined with what is stored where that is wanted, volumes
// made whole, encoded by other threads, and each day written.
#ifndef QRX_SERVER_IMPORT_DAY_WRITER_H
#define QRX_SERVER_IMPORT_DAY_WRITER_H

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "import/ahead.h"
#include "import/day_records.h"
#include "import/importer.h"

namespace qrx::server {

// One security's rows of a file.
template <class Record>
struct DayRows {
    std::string strMarket;
    CodeRow code;
    std::vector<Row<Record>*> vecRows;
    std::map<int, DayReference> mapReferences;
};

template <class Record>
class DayWriter {
public:
    // setBegun: days that earlier files have begun; these are joined and not replaced.
    DayWriter(Store& store, bool bAppend, const std::set<std::string>& setBegun,
              const QuantityColumns& volume, const QuantityColumns& turnover, bool bIndex)
        : m_store(store),
          m_bAppend(bAppend),
          m_setBegun(setBegun),
          m_volume(volume),
          m_turnover(turnover),
          m_bIndex(bIndex) {}

    // Rows in the order of days; they stay until Finish. Adds the days to setWritten.
    void WriteDays(DayRows<Record>& security, std::set<std::string>& setWritten,
                   ImportResult& result) {
        auto& vecRows = security.vecRows;
        for (size_t i = 0; i < vecRows.size();) {
            size_t j = i;
            while (j < vecRows.size() && vecRows[j]->nDay == vecRows[i]->nDay) ++j;
            const DayKey key{security.strMarket, security.code.strCode, vecRows[i]->nDay};
            const std::string strDay =
                key.strMarket + "\n" + key.strCode + "\n" + std::to_string(key.nDay);
            const Rows day(vecRows.data() + i, j - i);
            Joined joined;
            if (m_bAppend || m_setBegun.count(strDay) != 0) joined = JoinStored(key, day);
            setWritten.insert(strDay);
            if (m_ahead.IsFull()) PutNext();
            m_ahead.Give([this, key, day, reference = ReferenceOf(security, key.nDay),
                          joined = std::move(joined)]() mutable {
                const Rows rows = joined.vecRows.empty() ? day : Rows(joined.vecRows);
                CompleteRows(rows);
                return Encode(key, rows, reference);
            });
            ++result.nDays;
            i = j;
        }
    }
    void Finish() {
        while (!m_ahead.IsEmpty()) PutNext();
    }

private:
    using Rows = std::span<Row<Record>* const>;
    struct Joined {
        std::vector<Row<Record>> vecStored;
        std::vector<Row<Record>*> vecRows;
    };
    struct EncodedDay {
        DayKey key;
        std::vector<std::pair<DayKind, std::vector<StreamChunk>>> vecKinds;
        std::optional<DayReference> reference;
    };

    // What is stored and what comes, in the order of time.
    Joined JoinStored(const DayKey& key, Rows day) {
        Joined joined;
        Quantity volume, turnover;
        for (const auto& part : ReadRecords<Record>(m_store, key)) {
            for (const Record& record : part.vecRecords) {
                if constexpr (HasVolume<Record>) {
                    volume = {record.iVolume, volume.nSum + record.iVolume};
                    turnover = {record.iTurnover, turnover.nSum + record.iTurnover};
                }
                joined.vecStored.push_back(
                    {0, key.nDay, part.nDate, record.nTime, volume, turnover, record});
            }
        }
        for (auto& row : joined.vecStored) joined.vecRows.push_back(&row);
        joined.vecRows.insert(joined.vecRows.end(), day.begin(), day.end());
        std::stable_sort(joined.vecRows.begin(), joined.vecRows.end(),
                         [](const auto* a, const auto* b) {
                             return std::tie(a->nDate, a->nTime) < std::tie(b->nDate, b->nTime);
                         });
        return joined;
    }

    // What the file says of the day; nothing leaves what is stored.
    static std::optional<DayReference> ReferenceOf(const DayRows<Record>& security, int nDay) {
        std::optional<DayReference> reference;
        for (const int nOf : {0, nDay}) {
            const auto it = security.mapReferences.find(nOf);
            if (it != security.mapReferences.end()) reference = it->second;
        }
        return reference;
    }

    void CompleteRows(Rows day) const {
        int64_t nVolume = 0;
        int64_t nTurnover = 0;
        int nIndex = 0;
        int64_t nLine = 0;  // of the file's last row so far: a stored one behind it falls by it
        for (Row<Record>* pRow : day) {
            auto& row = *pRow;
            ++nIndex;
            if (row.nLine != 0) nLine = row.nLine;
            if constexpr (requires { row.record.nDate; }) row.record.nDate = row.nDate;
            if constexpr (requires { row.record.nIndex; }) {
                if (!m_bIndex) row.record.nIndex = nIndex;
            }
            if constexpr (HasVolume<Record>) {
                if (!m_volume.Complete(row.volume, nVolume) ||
                    !m_turnover.Complete(row.turnover, nTurnover)) {
                    throw ImportError(nLine, "the volume or turnover of the day falls");
                }
                nVolume = row.volume.nSum;
                nTurnover = row.turnover.nSum;
                if (std::max(nVolume, nTurnover) > kMostSent) {
                    throw ImportError(nLine, "the volume or turnover of the day is too large");
                }
                row.record.iVolume = row.volume.nRow;
                row.record.iTurnover = row.turnover.nRow;
            }
            if constexpr (requires { row.record.iAccVolume; }) {
                row.record.iAccVolume = nVolume;
                row.record.iAccTurnover = nTurnover;
            }
        }
    }

    static EncodedDay Encode(const DayKey& key, Rows day,
                             const std::optional<DayReference>& reference) {
        const auto date = [](const Row<Record>* pRow) { return pRow->nDate; };
        const auto all = [](const Row<Record>* pRow) -> auto& {
            return pRow->record;
        };
        EncodedDay encoded{key, {}, reference};
        encoded.vecKinds.emplace_back(kKindOf<Record>, EncodeItems(day, date, all));
        if constexpr (kKindOf<Record> == DayKind::TickLevels) {
            encoded.vecKinds.emplace_back(DayKind::Tick,
                                          EncodeItems(day, date, [](const Row<Record>* pRow) {
                                              return WithoutLevels(pRow->record);
                                          }));
        }
        return encoded;
    }

    void PutNext() {
        const EncodedDay day = m_ahead.Take();
        for (const auto& [kind, vecChunks] : day.vecKinds) m_store.PutDay(kind, day.key, vecChunks);
        if constexpr (kKindOf<Record> == DayKind::Snapshot) {
            m_store.PutDayReference(
                day.key, day.reference ? *day.reference : m_store.GetDayReference(day.key));
        }
    }

    Store& m_store;
    bool m_bAppend;
    const std::set<std::string>& m_setBegun;
    QuantityColumns m_volume, m_turnover;
    bool m_bIndex;  // the file numbers its records itself
    Ahead<EncodedDay> m_ahead;
};

}  // namespace qrx::server

#endif
