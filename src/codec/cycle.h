// The server's cycle codes for the bar cycles of the API (CYCTYPE), as formulas and bars send them.
// A value that is no cycle becomes 0, which is the server's code for minutes. Deliberate; the bar
// request's own mapping sends such a value as seconds.
#ifndef QRX_CODEC_CYCLE_H
#define QRX_CODEC_CYCLE_H

namespace BusinessConvertor {

constexpr int T2HCycType(int nCycType) {
    constexpr int kServerCode[] = {11, 0, 7, 8, 9, 4, 5, 6};  // seconds, minutes, day and longer
    constexpr int kCycles = sizeof kServerCode / sizeof kServerCode[0];
    return nCycType >= 0 && nCycType < kCycles ? kServerCode[nCycType] : 0;
}

}  // namespace BusinessConvertor

#endif
