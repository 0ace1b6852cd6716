// The variable-length integers of the server's record streams.
//
// Scaled 64-bit form: a tag byte and 0 to 7 magnitude bytes, little-endian and unsigned.
//   bit 7 sign | bits 4-6 byte count, read only when bits 2-3 are zero | bits 2-3 short value 1 to
//   3 | bits 0-1 decimal scale 1, 10, 100, 1000
// Packed 32-bit form: a head byte and 0 to 3 bytes.
//   bit 7 sign | bits 5-6 byte count | bits 0-4 lowest bits; the bytes carry bits 5-12, 13-20,
//   21-28
//
// Every byte decodes to something; overflow wraps. None of these knows where its buffer ends:
// callers keep eight readable bytes behind it.
#ifndef QRX_CODEC_INTEGER_H
#define QRX_CODEC_INTEGER_H

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little);

// Each returns the number of bytes consumed (1 to 8, or 1 to 4).
inline int decompressData(long long& value, const char* p) {
    const auto nTag = static_cast<unsigned char>(*p);
    static constexpr uint64_t kScale[4] = {1, 10, 100, 1000};
    uint64_t nMagnitude = (nTag & 0x0C) >> 2;
    int nConsumed = 1;
    if (nMagnitude == 0) {
        const int nBytes = (nTag & 0x70) >> 4;
        for (int i = 0; i < nBytes; ++i) {
            nMagnitude |= static_cast<uint64_t>(static_cast<unsigned char>(p[1 + i])) << (8 * i);
        }
        nConsumed += nBytes;
    }
    nMagnitude *= kScale[nTag & 3];
    value = static_cast<long long>((nTag & 0x80) != 0 ? 0 - nMagnitude : nMagnitude);
    return nConsumed;
}

// The same operation under the name that the formula service uses.
inline int decompressData64(long long& value, const char* p) {
    return decompressData(value, p);
}

// Pointer first, then the result: the other way round than above, and kept so.
inline int decompressData32(const char* p, int& value) {
    const auto nHead = static_cast<unsigned char>(*p);
    const int nBytes = (nHead & 0x60) >> 5;
    uint32_t nMagnitude = nHead & 0x1FU;
    for (int i = 0; i < nBytes; ++i) {
        nMagnitude |= static_cast<uint32_t>(static_cast<unsigned char>(p[1 + i])) << (5 + 8 * i);
    }
    value = static_cast<int>((nHead & 0x80) != 0 ? 0 - nMagnitude : nMagnitude);
    return 1 + nBytes;
}

// The encoders (server and tests). Both choose the shortest form of a value.
// Scaled: magnitudes up to 2^56 - 1 and multiples of them by the scales; returns the bytes
// written (at most 8), 0 for a value that has no encoding.
int compressData(long long value, char* p);
// The same where eight bytes may be written whatever their number is.
inline int EncodeScaled(long long value, char* p) {
    const unsigned nSign = value < 0 ? 0x80U : 0U;
    const uint64_t nWhole =
        value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    if (nWhole == 0) {
        *p = 0;
        return 1;
    }
    // How many noughts a value ends with, no branch foretells: all quotients, and one of them.
    // Where nothing remains, multiplying by an inverse modulo 2^64 divides; where something does,
    // that gives more than any quotient (Granlund and Montgomery, Division by Invariant Integers
    // using Multiplication, section 9).
    constexpr uint64_t kInverseOf5 = 0xCCCCCCCCCCCCCCCD;
    const uint64_t n5 = nWhole * kInverseOf5;
    const uint64_t n25 = n5 * kInverseOf5;
    const uint64_t n125 = n25 * kInverseOf5;
    const uint64_t quotients[4] = {nWhole, std::rotr(n5, 1), std::rotr(n25, 2), std::rotr(n125, 3)};
    const unsigned nScale = (quotients[1] <= UINT64_MAX / 10 ? 1U : 0U) +
                            (quotients[2] <= UINT64_MAX / 100 ? 1U : 0U) +
                            (quotients[3] <= UINT64_MAX / 1000 ? 1U : 0U);
    const uint64_t nMagnitude = quotients[nScale];
    if (nMagnitude <= 3) {
        *p = static_cast<char>(nSign | static_cast<unsigned>(nMagnitude) << 2 | nScale);
        return 1;
    }
    if (nMagnitude >> 56 != 0) return 0;
    const int nBytes = (static_cast<int>(std::bit_width(nMagnitude)) + 7) / 8;
    memcpy(p + 1, &nMagnitude, 7);
    *p = static_cast<char>(nSign | static_cast<unsigned>(nBytes) << 4 | nScale);
    return 1 + nBytes;
}
// Packed: magnitudes up to 2^29 - 1; at most 4 bytes, 0 for a value that has no encoding.
int compressData32(char* p, int value);

#endif
