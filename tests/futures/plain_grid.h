// The session grids said a second time, as plainly as can be: every slot looks for its records in
// the whole day. For days that are sorted by clock time. Slow.
#ifndef QRX_TESTS_PLAIN_GRID_H
#define QRX_TESTS_PLAIN_GRID_H

#include <qrx/futures.h>

#include <cstring>
#include <string>
#include <vector>

namespace qrx::test {

enum class Plain { kSHF, kDCE, kCF, kNight };

template <class T>
using Day = std::vector<T>;

// 9:30:00.500 is Clock(9, 30, 0, 500).
inline int Clock(int nHour, int nMinute = 0, int nSecond = 0, int nMs = 0) {
    return ((nHour * 100 + nMinute) * 100 + nSecond) * 1000 + nMs;
}
inline int ClockOfMs(int nMs) {
    return Clock(nMs / 3600000, nMs / 60000 % 60, nMs / 1000 % 60, nMs % 1000);
}

template <class T>
Day<T> Between(const Day<T>& day, int nFirst, int nLast) {
    Day<T> found;
    for (const T& record : day) {
        if (record.nTime >= nFirst && record.nTime <= nLast) found.push_back(record);
    }
    return found;
}

template <class T>
T Merged(const Day<T>& run) {
    T merged = run.back();
    merged.iVolume = merged.iTurnover = 0;
    for (const T& record : run) {
        merged.iVolume += record.iVolume;
        merged.iTurnover += record.iTurnover;
    }
    merged.iAccVolume += merged.iVolume;
    merged.iAccTurnover += merged.iTurnover;
    return merged;
}

template <class T>
T Quiet(T slot) {
    slot.iVolume = slot.iTurnover = 0;
    return slot;
}

template <class T>
class PlainGrid {
public:
    PlainGrid(const Day<T>& day, int nDate, size_t nCodeBytes) : m_day(day), m_nDate(nDate) {
        m_strVelaCode.assign(day[0].chVelaCode, strnlen(day[0].chVelaCode, nCodeBytes));
        m_strCode.assign(day[0].chCode, strnlen(day[0].chCode, nCodeBytes));
        for (const T& record : day) {
            if (record.nSettle != 0) m_nSettle = record.nSettle;
        }
    }

    Day<T> Slots(Plain eGrid) {
        if (eGrid == Plain::kNight) return Night();
        const bool bCF = eGrid == Plain::kCF;
        const bool bPairs = eGrid == Plain::kDCE;
        Day<T> live;  // records of earlier dates do not count
        for (const T& record : m_day) {
            if (record.nDate >= m_nDate) live.push_back(record);
        }
        const Day<T> preOpen = bCF ? Between(live, Clock(9, 10), Clock(9, 14, 59, 999))
                                   : Between(live, Clock(8, 50), Clock(8, 59, 0, 999));
        Add(preOpen.empty() ? T{} : Merged(preOpen),
            bCF ? Clock(9, 14, 0, 500) : Clock(8, 59, 0, 500), m_nDate);
        if (preOpen.empty()) live.clear();
        Segment(live, bCF ? Clock(9, 15) : Clock(9), Clock(11, 30), bPairs, m_nDate);
        Segment(live, bCF ? Clock(13) : Clock(13, 30), bCF ? Clock(15, 15) : Clock(15), bPairs,
                m_nDate);
        return m_slots;
    }

    // How many records stand where SHF and CF allow one.
    static bool TooMany(const Day<T>& day, Plain eGrid) {
        const int nClose = eGrid == Plain::kCF ? Clock(15, 15) : Clock(15);
        return Between(day, Clock(11, 30), Clock(11, 35)).size() > 1 ||
               Between(day, nClose, nClose + 1000).size() > 1;
    }

private:
    Day<T> Night() {
        const int nLimit[4] = {Clock(23, 59, 59, 999), Clock(3), Clock(12), Clock(15, 30)};
        Day<T> runs[4];
        size_t n = 0;
        for (int i = 0; i < 4; ++i) {
            const int nRunDate = n < m_day.size() ? m_day[n].nDate : 0;
            while (n < m_day.size() && m_day[n].nDate == nRunDate && m_day[n].nTime <= nLimit[i]) {
                runs[i].push_back(m_day[n++]);
            }
        }
        int nDates[4];
        for (int i = 0, nLast = m_nDate; i < 4; ++i) {
            if (!runs[i].empty()) nLast = runs[i][0].nDate;
            nDates[i] = nLast;
        }
        const Day<T> evening = Between(runs[0], Clock(20, 55), Clock(20, 59, 59, 999));
        Add(evening.empty() ? T{} : Merged(evening), Clock(20, 59, 0, 500), nDates[0]);
        Segment(runs[0], Clock(21), Clock(23, 59, 59, 500), false, nDates[0]);
        Segment(runs[1], Clock(0), Clock(2, 30), false, nDates[1]);
        const Day<T> preOpen = Between(runs[2], Clock(8, 55), Clock(8, 59, 59, 999));
        T slot{};
        if (!preOpen.empty()) {
            slot = Merged(preOpen);
        } else if (!Between(runs[2], Clock(8, 55), Clock(12)).empty()) {
            slot = Quiet(m_slots.back());
        }
        Add(slot, Clock(8, 59, 0, 500), nDates[2]);
        Segment(runs[2], Clock(9), Clock(11, 30), false, nDates[2]);
        Segment(runs[3], Clock(13, 30), Clock(15), false, nDates[3]);
        return m_slots;
    }

    void Segment(const Day<T>& day, int nFirst, int nLast, bool bPairs, int nDate) {
        for (int nMs = 0; nMs < 86400000; nMs += bPairs ? 1000 : 500) {
            const int nTime = ClockOfMs(nMs);
            if (nTime < nFirst || nTime > nLast) continue;
            const Day<T> here = Between(day, nTime, nTime + 499);
            Add(here.empty() ? Quiet(m_slots.back()) : here[0], nTime, nDate);
            if (!bPairs) continue;
            Day<T> rest = Between(day, nTime, nTime);
            if (!rest.empty()) rest.erase(rest.begin());
            Add(rest.empty() ? Quiet(m_slots.back()) : Merged(rest), nTime, nDate);
        }
    }

    void Add(T slot, int nTime, int nDate) {
        memset(slot.chVelaCode, 0, sizeof slot.chVelaCode);
        memset(slot.chCode, 0, sizeof slot.chCode);
        memcpy(slot.chVelaCode, m_strVelaCode.data(), m_strVelaCode.size());
        memcpy(slot.chCode, m_strCode.data(), m_strCode.size());
        slot.nDate = nDate;
        slot.nTime = nTime;
        slot.nSettle = m_nSettle;
        m_slots.push_back(slot);
    }

    const Day<T>& m_day;
    int m_nDate;
    int m_nSettle = 0;
    std::string m_strVelaCode, m_strCode;
    Day<T> m_slots;
};

}  // namespace qrx::test

#endif
