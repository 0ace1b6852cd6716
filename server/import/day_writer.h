// The rows of one security into its days: joined with what is stored where that is wanted, volumes
// made whole, and each day written.
#ifndef QRX_SERVER_IMPORT_DAY_WRITER_H
#define QRX_SERVER_IMPORT_DAY_WRITER_H

#include <algorithm>
#include <map>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "import/day_records.h"
#include "import/importer.h"

namespace qrx::server {

// One security's rows of a file.
template <class Record>
struct DayRows {
    std::string strMarket;
    CodeRow code;
    std::vector<Row<Record>> vecRows;
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

    // Rows in the order of days. Adds the days to setWritten.
    void WriteDays(DayRows<Record>& security, std::set<std::string>& setWritten,
                   ImportResult& result) {
        auto& vecRows = security.vecRows;
        for (size_t i = 0; i < vecRows.size();) {
            size_t j = i;
            while (j < vecRows.size() && vecRows[j].nDay == vecRows[i].nDay) ++j;
            const DayKey key{security.strMarket, security.code.strCode, vecRows[i].nDay};
            const std::string strDay =
                key.strMarket + "\n" + key.strCode + "\n" + std::to_string(key.nDay);
            std::span<Row<Record>> day(vecRows.data() + i, j - i);
            std::vector<Row<Record>> vecJoined;
            if (m_bAppend || m_setBegun.count(strDay) != 0) {
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

private:
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
                if (!m_bIndex) row.record.nIndex = nIndex;
            }
            if constexpr (HasVolume<Record>) {
                if (!m_volume.Complete(row.volume, nVolume) ||
                    !m_turnover.Complete(row.turnover, nTurnover)) {
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

    void WriteDay(const DayKey& key, const DayRows<Record>& security,
                  std::span<const Row<Record>> day) {
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
    bool m_bAppend;
    const std::set<std::string>& m_setBegun;
    QuantityColumns m_volume, m_turnover;
    bool m_bIndex;  // the file numbers its records itself
};

}  // namespace qrx::server

#endif
