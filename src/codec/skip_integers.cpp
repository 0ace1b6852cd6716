// Sixteen bytes at a time, each taken for a tag: from every one of them, where the next tag would
// stand. Following that list by itself four times (1, 2, 4, 8, 16 steps) tells for every possible
// entry into the block where its integers leave it and how many there were; the real entry, known
// from the block before, then picks its line. Only that pick is serial.
#include "codec/skip_integers.h"

#include "codec/fast_integer.h"

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace qrx::codec {

namespace {

#if defined(__x86_64__)

constexpr int kBlock = 16;

// Advances over whole blocks as long as all their integers are wanted and the block lies within
// the stream; nIntegers is lowered by those passed.
[[gnu::target("ssse3")]] const char* SkipBlocks(const char* p, const char* pEnd,
                                                int64_t& nIntegers) {
    // A position is held as 0x70 more than it is: one behind the block has its top bit set, and a
    // shuffle reads zero through it; one within has it clear and its low four bits tell it.
    const __m128i nFollowing = _mm_setr_epi8(0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79,
                                             0x7A, 0x7B, 0x7C, 0x7D, 0x7E, 0x7F, -0x80);
    const __m128i nShortBits = _mm_set1_epi8(0x0C);
    const __m128i nLengthBits = _mm_set1_epi8(0x07);
    alignas(kBlock) unsigned char leave[kBlock];
    alignas(kBlock) unsigned char passed[kBlock];
    const char* pBlock = p;
    unsigned nEntry = 0;
    while (pEnd - pBlock >= kBlock) {
        const __m128i tags = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pBlock));
        const __m128i plain = _mm_cmpeq_epi8(_mm_and_si128(tags, nShortBits), _mm_setzero_si128());
        const __m128i lengths = _mm_and_si128(_mm_srli_epi16(tags, 4), nLengthBits);
        __m128i next = _mm_add_epi8(nFollowing, _mm_and_si128(lengths, plain));
        __m128i count = _mm_set1_epi8(1);
        for (int i = 0; i < 4; ++i) {
            count = _mm_add_epi8(count, _mm_shuffle_epi8(count, next));
            next = _mm_max_epu8(next, _mm_shuffle_epi8(next, next));
        }
        _mm_store_si128(reinterpret_cast<__m128i*>(leave), next);
        _mm_store_si128(reinterpret_cast<__m128i*>(passed), count);
        if (passed[nEntry] > nIntegers) break;
        nIntegers -= passed[nEntry];
        nEntry = leave[nEntry] & 0x0FU;
        pBlock += kBlock;
    }
    return pBlock + nEntry;
}

#endif

}  // namespace

const char* SkipIntegers(const char* p, const char* pEnd, int64_t nIntegers) {
#if defined(__x86_64__)
    if (!__builtin_cpu_supports("ssse3")) return nullptr;
    p = SkipBlocks(p, pEnd, nIntegers);
    for (; nIntegers > 0 && p < pEnd; --nIntegers) {
        p += kTags.nConsumed[static_cast<unsigned char>(*p)];
    }
    return p < pEnd ? p : nullptr;
#else
    (void)p;
    (void)pEnd;
    (void)nIntegers;
    return nullptr;
#endif
}

}  // namespace qrx::codec
