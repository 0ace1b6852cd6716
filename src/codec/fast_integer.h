// The scaled 64-bit integer again, for streams whose bytes are known to be there: one table entry
// per tag byte and one unaligned 8-byte load, no branch and no loop. Same values and same bytes
// consumed as decompressData, bit for bit.
//
// The load has the tag in its lowest byte and the magnitude above it. Masked, it is the magnitude
// times 256, or for a short value the value times 4: the entry's factor (scale, sign, and 64 for
// short values) makes both 256 times the result. Shifting that down leaves 56 exact bits, enough
// for fields of 4 bytes and 1; fields of 8 bytes shift first and add short values from the table.
#ifndef QRX_CODEC_FAST_INTEGER_H
#define QRX_CODEC_FAST_INTEGER_H

#include <cstdint>
#include <cstring>

namespace qrx::codec {

// The most bytes an integer takes, and how far behind its tag a load may look.
inline constexpr int kMaxIntegerBytes = 8;

struct TagTable {
    uint64_t nMask[256];      // bits of the load that carry the value
    uint64_t nFactor[256];    // scale with sign; 64 times that for short values
    uint64_t nShort[256];     // short values, scaled and signed
    uint64_t nConsumed[256];  // eight bytes wide, so that one index scale serves all four
};

consteval TagTable MakeTagTable() {
    constexpr uint64_t kScale[4] = {1, 10, 100, 1000};
    TagTable table{};
    for (unsigned nTag = 0; nTag < 256; ++nTag) {
        const uint64_t nScale = kScale[nTag & 3];
        const uint64_t nSigned = (nTag & 0x80) != 0 ? 0 - nScale : nScale;
        const unsigned nShort = (nTag & 0x0C) >> 2;
        const unsigned nBytes = nShort != 0 ? 0 : (nTag & 0x70) >> 4;
        table.nConsumed[nTag] = 1 + nBytes;
        table.nShort[nTag] = nSigned * nShort;
        table.nFactor[nTag] = nShort != 0 ? nSigned * 64 : nSigned;
        table.nMask[nTag] = nShort != 0 ? 0x0C : ((uint64_t{1} << (8 * nBytes)) - 1) << 8;
    }
    return table;
}

inline constexpr TagTable kTags = MakeTagTable();

// Inlined into every field of every record, but not under a sanitizer: its checks, repeated a
// thousand times in one function, take the compiler minutes.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QRX_FAST_INLINE [[gnu::noinline]]
#else
#define QRX_FAST_INLINE [[gnu::always_inline]]
#endif

// Decodes one integer into a field of nWidth bytes and returns where the next one begins.
// Eight bytes from p on must be readable.
template <int nWidth>
QRX_FAST_INLINE inline const char* FastStep(const TagTable& tags, const char* p, char* pField) {
    uint64_t nLoad;
    memcpy(&nLoad, p, sizeof nLoad);
    const auto nTag = static_cast<unsigned char>(*p);
    const uint64_t nMasked = nLoad & tags.nMask[nTag];
    if constexpr (nWidth == 8) {
        const uint64_t nValue = (nMasked >> 8) * tags.nFactor[nTag] + tags.nShort[nTag];
        memcpy(pField, &nValue, sizeof nValue);
    } else if constexpr (nWidth == 4) {
        const auto nValue = static_cast<uint32_t>((nMasked * tags.nFactor[nTag]) >> 8);
        memcpy(pField, &nValue, sizeof nValue);
    } else {
        static_assert(nWidth == 1);
        *pField = static_cast<char>((nMasked * tags.nFactor[nTag]) >> 8);
    }
    return p + tags.nConsumed[nTag];
}

}  // namespace qrx::codec

#endif
