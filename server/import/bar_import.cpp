// Bars of one and of five minutes by trading day, and daily bars by year. Bars replace those of the
// same date and time; a day that is imported again keeps what the file does not have only with
// --append (minutes), a year of daily bars always.
//
// Bars of minutes are named by their begin. A bar in the quarter of an hour before a session is the
// auction's: it is joined to the session's first bar, or refuses the file. Other bars outside the
// sessions do so, too, or are kept and counted. A file that has any other bar twice is refused:
// nobody knows which of them to believe.
#include "import/importers.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

#include "import/date_rows.h"
#include "import/progress.h"
#include "import/row_reader.h"
#include "kline/grid.h"
#include "store/bar.h"
#include "store/day_stream.h"

namespace qrx::server {
namespace {

using G = FieldGroup;
using Bar = ZPMDefine_KData;

constexpr int kMinuteMs = 60 * 1000;
constexpr int kAuctionMs = 15 * kMinuteMs;

struct BarRow {
    int64_t nLine;
    int nDay;
    int nDate;
    int nTime;  // HHMMSSmmm
    Bar bar;
    bool bAuction = false;  // moved to the session's begin
};

struct Security {
    std::string strMarket;
    std::string strCode;
    std::vector<BarRow> vecRows;
};

enum class Place { Session, Auction, Outside };

// Where a time lies among the sessions of a security; of an auction also the begin of its session.
// Without a table of them every time is a session's. A date does not count: whether its night was
// held yet is not known before the trading day is.
std::pair<Place, int> PlaceOf(const GridRow* pRow, int nTime) {
    if (pRow == nullptr) return {Place::Session, 0};
    std::pair<Place, int> place{Place::Outside, 0};
    const int nMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(nTime);
    for (int i = 0; i < (pRow->pNight == nullptr ? 1 : 2); ++i) {
        const auto segments = i == 0 ? pRow->pDay->segments : pRow->pNight->segments;
        for (const Segment& segment : segments) {
            if (nTime >= segment.nStart && nTime < segment.nEnd) return {Place::Session, 0};
        }
        const int nBegin = BusinessConvertor::HHMMSSmmm2MiniSeconds(segments[0].nStart);
        if (nMs < nBegin && nMs >= nBegin - kAuctionMs) {
            place = {Place::Auction, segments[0].nStart};
        }
    }
    return place;
}

class BarImporter final : public Importer {
public:
    BarImporter(Store& store, const ImportOptions& options) : m_store(store), m_options(options) {}

    ImportResult ImportFile(const std::string& strPath) override {
        ImportResult result;
        LineReader lines(strPath);
        ProgressBar progress(strPath, m_options.bProgress);
        std::vector<std::string> vecNames;
        for (const Field& field : FieldsOf({G::Bar})) vecNames.push_back(field.strColumn);
        RowReader rows(lines, m_options, vecNames, !Daily());
        std::vector<BoundField> vecFields;
        for (const Field& field : FieldsOf({G::Bar})) {
            const int nColumn = rows.GetColumns().Find(field.strColumn);
            if (field.kind == FieldKind::Date || field.kind == FieldKind::Time) continue;
            if (field.kind == FieldKind::Price) rows.GetColumns().Require(field.strColumn);
            if (nColumn >= 0) vecFields.push_back(rows.Bind(field, nColumn));
        }
        std::map<std::string, Security> mapSecurities;
        while (rows.Next()) {
            ReadRow(rows, lines.Line(), vecFields, mapSecurities);
            if ((++result.nRows & 0xFFF) == 0) progress.Show(lines.Progress(), result.nRows);
        }
        Store::Batch batch(m_store);
        size_t nSecurity = 0;
        for (auto& [strKey, security] : mapSecurities) {
            progress.Writing(++nSecurity, mapSecurities.size());
            Write(security, result);
        }
        batch.Commit();
        result.nOutside = std::exchange(m_nOutside, 0);
        return result;
    }

private:
    void ReadRow(const RowReader& rows, int64_t nLine, const std::vector<BoundField>& vecFields,
                 std::map<std::string, Security>& mapSecurities) {
        rows.ReadStamp(m_stamp);
        Security& security = mapSecurities[m_stamp.strMarket + "\n" + m_stamp.strCode];
        if (security.strCode.empty()) {
            security.strMarket = m_stamp.strMarket;
            security.strCode =
                KnownCode(m_store, m_stamp.strMarket, m_stamp.strCode, nLine).strCode;
        }
        BarRow row{nLine, m_stamp.nDay, m_stamp.nDate, m_stamp.nTime, {}};
        for (const BoundField& bound : vecFields) {
            const int64_t nValue = rows.Value(bound);
            memcpy(reinterpret_cast<char*>(&row.bar) + bound.field.nOffset, &nValue,
                   bound.field.nWidth);
        }
        if (Daily()) {
            row.nTime = 0;
            row.nDay = row.nDate / 10000 * 10000;
        } else {
            Name(rows, row, FindGridRow(security.strMarket, security.strCode));
        }
        security.vecRows.push_back(row);
    }

    bool Daily() const { return m_options.nBarMinutes == 0; }

    // Names a bar by its begin, and an auction by the begin of its session. A night that is dated
    // by its trading day has the same date on both sides of midnight.
    void Name(const RowReader& rows, BarRow& row, const GridRow* pGrid) {
        if (m_options.bLabelAtEnd) {
            int nMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(row.nTime) -
                      m_options.nBarMinutes * kMinuteMs;
            if (nMs < 0) {
                nMs += 24 * 60 * kMinuteMs;
                const bool bTradingDay = row.nDay == 0 && m_options.nightForm == NightForm::Trading;
                if (!bTradingDay) row.nDate = PreviousCalendarDay(row.nDate);
            }
            row.nTime = BusinessConvertor::MiniSeconds2HHMMSSmmm(nMs);
        }
        if (row.nTime % 100000 != 0) rows.Refuse("the time is not a whole minute");
        if (row.nTime / 100000 % 100 % m_options.nBarMinutes != 0) {
            rows.Refuse("a bar of " + std::to_string(m_options.nBarMinutes) +
                        " minutes must begin at a multiple of them (see --cycle and --label)");
        }
        const auto [place, nSession] = PlaceOf(pGrid, row.nTime);
        if (place == Place::Auction) {
            if (m_options.bRefuseAuction) rows.Refuse("a bar before its session");
            row.nTime = nSession;
            row.bAuction = true;
        }
        if (place == Place::Outside) {
            if (m_options.bRefuseAuction) RefuseOutside(rows, row.nTime);
            ++m_nOutside;
        }
    }

    [[noreturn]] void RefuseOutside(const RowReader& rows, int nTime) const {
        char szTime[16];
        snprintf(szTime, sizeof szTime, "%02d:%02d", nTime / 10000000, nTime / 100000 % 100);
        rows.Refuse("a bar from " + std::string(szTime) + " on is outside the sessions of " +
                    m_stamp.strCode + "." + m_stamp.strMarket +
                    (m_options.bLabelAtEnd ? "" : "; is the time its end? (--label end)"));
    }

    void Write(Security& security, ImportResult& result) {
        DateRows(security.vecRows, m_options.nightForm);
        const DayKind kind = Daily()                      ? DayKind::DailyBar
                             : m_options.nBarMinutes == 5 ? DayKind::FiveMinuteBar
                                                          : DayKind::MinuteBar;
        const auto& vecRows = security.vecRows;
        for (size_t i = 0; i < vecRows.size();) {
            const DayKey key{security.strMarket, security.strCode, vecRows[i].nDay};
            std::map<std::pair<int, int>, Bar> mapBars;
            Bar before{};
            for (; i < vecRows.size() && vecRows[i].nDay == key.nDay; ++i) {
                if (Add(mapBars, vecRows[i], before)) continue;
                if (!vecRows[i].bAuction && !vecRows[i - 1].bAuction) {
                    throw ImportError(vecRows[i].nLine, "the file has this bar twice");
                }
            }
            result.nDays += Daily() ? static_cast<int64_t>(mapBars.size()) : 1;
            const std::string strDay =
                key.strMarket + "\n" + key.strCode + "\n" + std::to_string(key.nDay);
            if (Daily() || m_options.bAppend || !m_setWritten.insert(strDay).second) {
                for (const auto& part : ReadRecords<Bar>(m_store, key, kind)) {
                    for (const Bar& bar : part.vecRecords) {
                        mapBars.emplace(std::pair(int{bar.nDate}, int{bar.nTime}), bar);
                    }
                }
            }
            std::vector<Bar> vecBars;
            for (const auto& [stamp, bar] : mapBars) vecBars.push_back(bar);
            PutRecords(m_store, kind, key, vecBars);
            result.nRecords += static_cast<int64_t>(vecBars.size());
        }
    }

    // False when the row was joined to one that stood there before it.
    bool Add(std::map<std::pair<int, int>, Bar>& mapBars, const BarRow& row, Bar& before) const {
        Bar bar = row.bar;
        bar.nDate = row.nDate;
        bar.nTime = row.nTime / 1000;
        if (m_options.bCumulative && !Daily()) {
            bar.iVolume = row.bar.iVolume - before.iVolume;
            bar.iTurnover = row.bar.iTurnover - before.iTurnover;
            before = row.bar;
            if (bar.iVolume < 0 || bar.iTurnover < 0) {
                throw ImportError(row.nLine, "the volume or turnover of the day falls");
            }
        }
        const auto [it, bNew] = mapBars.emplace(std::pair(row.nDate, row.nTime / 1000), bar);
        if (!bNew) MergeBar(it->second, bar);  // an auction and the minute that it opens
        return bNew;
    }

    Store& m_store;
    ImportOptions m_options;
    RowStamp m_stamp;
    int64_t m_nOutside = 0;  // bars of the file that is read
    std::set<std::string> m_setWritten;
};

}  // namespace

std::unique_ptr<Importer> MakeBarImporter(Store& store, const ImportOptions& options) {
    return std::make_unique<BarImporter>(store, options);
}

}  // namespace qrx::server
