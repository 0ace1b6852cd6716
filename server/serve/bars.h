// Bars of every cycle, made from what is stored: bars of one minute (where a day has none, of
// five), daily bars, and ticks for cycles of seconds. Bars of minutes and seconds start on the grid
// points of their market, code and day, which are those that clients complete on
// (src/kline/grid.h); what lies between two points belongs to the earlier one. Markets without a
// grid count from midnight.
#ifndef QRX_SERVER_SERVE_BARS_H
#define QRX_SERVER_SERVE_BARS_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "codec/kline_records.h"
#include "kline/grid.h"
#include "store/store.h"

namespace qrx::server {

inline constexpr int kNoLastDay = 99999999;

struct BarRequest {
    std::string strMarket;
    std::string strCode;
    int nCycle;     // the cycle codes of requests: 11 seconds, 0 minutes, 7 days, ...
    int nMultiple;  // at least 1
    int nBeginDay;  // trading days, both included
    int nEndDay;
    int nPriceMode;      // 1 prices as of nPriceDay, 2 prices as of the first day, else as traded
    int nPriceDay;       // 0: the last day stored
    bool bAdjustVolume;  // volumes too, the other way
};

bool IsBarCycle(int nCycle);
bool HasTimes(int nCycle);  // minutes and seconds; longer bars have dates alone

// The bars of a request, some days at a time, times in HHMMSS.
class BarSource {
public:
    // Snapshots of futures and options are stored as such, other securities have ticks.
    BarSource(Store& store, BarRequest request, bool bSnapshots);

    // Replaces vecBars with the next ones, maybe none; false when there are no more.
    bool Next(std::vector<ZPMDefine_KData>& vecBars);

private:
    void ListDays();
    void FindReference();
    std::vector<ZPMDefine_KData> LoadDay(int nDay);
    void PlaceOnGrid(const std::vector<ZPMDefine_KData>& vecFine,
                     std::vector<ZPMDefine_KData>& vecBars);
    std::vector<ZPMDefine_KData> DailyBars(int nFrom, int nTo);
    std::vector<ZPMDefine_KData> LongBars();
    double Factor(int nDay) const;
    void Adjust(ZPMDefine_KData& bar, int nDay) const;

    Store& m_store;
    BarRequest m_request;
    DayKind m_kind;  // of cycles below a day
    int m_nCycType;
    bool m_bLong;                      // the cycle is a day or longer
    std::map<int, DayKind> m_mapDays;  // trading days still to be read, and from what
    const GridRow* m_pRow;
    std::unique_ptr<GridWalk> m_pWalk;  // goes through the days of the answer, as a client's does
    std::vector<AdjustFactor> m_vecFactors;
    double m_fReference = 1;
};

}  // namespace qrx::server

#endif
