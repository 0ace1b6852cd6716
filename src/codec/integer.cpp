// Encoders of the two integer forms.
#include "codec/integer.h"

int compressData(long long value, char* p) {
    char bytes[8];
    const int n = EncodeScaled(value, bytes);
    memcpy(p, bytes, static_cast<size_t>(n));
    return n;
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
