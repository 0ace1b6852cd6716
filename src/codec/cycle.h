// The server's cycle codes for the bar cycles of the API (CYCTYPE), as formulas and bars send them.
#ifndef QRX_CODEC_CYCLE_H
#define QRX_CODEC_CYCLE_H

#include <iterator>

namespace qrx {

// By CYCTYPE: second, minute, day, week, month, quarter, half year, year.
inline constexpr int kServerCycles[] = {11, 0, 7, 8, 9, 4, 5, 6};

constexpr bool IsCycle(int nCycType) {
    return nCycType >= 0 && nCycType < static_cast<int>(std::size(kServerCycles));
}

}  // namespace qrx

namespace BusinessConvertor {

// The server's code of a cycle; 0, its code for minutes, for a cycle that does not exist. T2HReqK
// sends such a cycle as seconds: the difference is wanted.
constexpr int T2HCycType(int nCycType) {
    return qrx::IsCycle(nCycType) ? qrx::kServerCycles[nCycType] : 0;
}

}  // namespace BusinessConvertor

#endif
