// Trading days of one security's rows. A row from 18:00 on belongs to the night session of the
// following trading day, and so does one before 06:00. Which day follows is taken from the file
// itself where it has rows of that day, so that holidays need no calendar; otherwise it is the next
// weekday.
#ifndef QRX_SERVER_IMPORT_TRADING_DAY_H
#define QRX_SERVER_IMPORT_TRADING_DAY_H

#include <set>

namespace qrx::server {

enum class NightForm {
    Calendar,  // night rows carry their calendar date
    Trading,   // night rows carry their trading day
    None,      // there are no nights, whatever the time
};

inline bool IsEvening(int nTime) {
    return nTime >= 180000000;
}
inline bool IsEarly(int nTime) {
    return nTime < 60000000;
}
inline bool IsNight(int nTime) {
    return IsEvening(nTime) || IsEarly(nTime);
}

int NextCalendarDay(int nDate);
int PreviousCalendarDay(int nDate);

class TradingDays {
public:
    void AddDayRow(int nDate) { m_setDays.insert(nDate); }

    // The trading day of a night row by its calendar date, and the other way round.
    int DayOfNight(int nDate, int nTime) const;
    int DateOfNight(int nDay, int nTime) const;

private:
    std::set<int> m_setDays;  // with rows between 06:00 and 18:00
};

}  // namespace qrx::server

#endif
