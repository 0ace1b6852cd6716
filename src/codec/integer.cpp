// Encoders of the two integer forms.
#include "codec/integer.h"

int compressData(long long value, char* p) {
    const unsigned nSign = value < 0 ? 0x80U : 0U;
    uint64_t nMagnitude =
        value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    unsigned nScale = 0;
    while (nScale < 3 && nMagnitude != 0 && nMagnitude % 10 == 0) {
        nMagnitude /= 10;
        ++nScale;
    }
    if (nMagnitude == 0) {
        *p = 0;
        return 1;
    }
    if (nMagnitude <= 3) {
        *p = static_cast<char>(nSign | static_cast<unsigned>(nMagnitude) << 2 | nScale);
        return 1;
    }
    if (nMagnitude >> 56 != 0) return 0;
    int nBytes = 0;
    for (uint64_t n = nMagnitude; n != 0; n >>= 8) {
        p[1 + nBytes++] = static_cast<char>(n & 0xFF);
    }
    *p = static_cast<char>(nSign | static_cast<unsigned>(nBytes) << 4 | nScale);
    return 1 + nBytes;
}

int compressData32(char* p, int value) {
    const unsigned nSign = value < 0 ? 0x80U : 0U;
    const uint32_t nMagnitude =
        value < 0 ? 0 - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    if (nMagnitude >> 29 != 0) return 0;
    int nBytes = 0;
    for (uint32_t n = nMagnitude >> 5; n != 0; n >>= 8) {
        p[1 + nBytes++] = static_cast<char>(n & 0xFF);
    }
    *p = static_cast<char>(nSign | static_cast<unsigned>(nBytes) << 5 | (nMagnitude & 0x1F));
    return 1 + nBytes;
}
