// Many record streams decoded in lockstep: up to six cursors, one a stream, advance field by
// field together in one thread, because a single stream is a serial chain from each tag to the
// next and leaves the machine idle. A finished cursor takes the next stream.
//
// The loop without guards runs while a stream has more bytes left than its next records can take
// (8 a value); the rule of DecodeStream, a guard per field, serves the rest. When no stream is left
// for a free cursor, a long one is divided between records. What is stored, and where, is the
// target's business: a list of fields, and what to do with a record before they are written. Loads
// never go further than 8 bytes behind the last tag of a stream.
#ifndef QRX_CODEC_FAST_STREAM_H
#define QRX_CODEC_FAST_STREAM_H

#include <algorithm>
#include <cstddef>
#include <utility>

#include "codec/fast_integer.h"
#include "codec/skip_integers.h"
#include "codec/stream_field.h"

namespace qrx::codec {

inline constexpr size_t kMaxPrefix = 68;

// As many streams at a time as sixteen registers hold: a cursor and a destination each, the table,
// two values at work, the stack. Clang spills from five on.
#ifdef __clang__
inline constexpr int kLockstepLanes = 4;
#else
inline constexpr int kLockstepLanes = 6;
#endif

// A stream and where its records go.
struct StreamCursor {
    const char* p = nullptr;
    const char* pEnd = nullptr;
    char* pDst = nullptr;
    int64_t nLeft = 0;             // records still to be written
    bool bWhole = false;           // not to be divided: it was tried, and the stream is too short
    char prefix[kMaxPrefix] = {};  // what the target puts in front of the fields, if anything
};

// Server records: the caller zero-fills them, and fields that the stream lacks stay as they are.
template <class Body>
struct ServerTarget {
    static constexpr size_t kRecordSize = sizeof(Body);
    static constexpr const auto& kFields = kStream<Body>;
    static void Begin(char*, const char*) {}
    static void BeginShort(char*, const char*) {}
    static constexpr bool kFillsAll = false;
};

template <class Target>
class LockstepDecoder {
public:
    static constexpr int kLanes = kLockstepLanes;
    // Records that each cursor decodes between two looks at the caller's flag; small enough that
    // what they wrote is still in the cache when it is looked at.
    static constexpr int64_t kBatch = 64;
    static constexpr int64_t kFillBatch = 4096;
    // Values from which on dividing a stream pays for finding its middle.
    static constexpr int64_t kWorthDividing = 2048;

    // next(cursor) sets up the next stream, false when there is none. written(first, n) is called
    // for each run of records written. go() is asked between batches; false ends the decode.
    // True when everything was decoded; otherwise Active() tells what was under way.
    template <class Next, class Written, class Go>
    bool Run(Next next, Written written, Go go) {
        m_nActive = 0;
        bool bMore = true;
        for (;;) {
            while (bMore && m_nActive < kLanes) {
                bMore = next(m_lanes[m_nActive]);
                if (bMore) ++m_nActive;
            }
            if (m_nActive == 0) return true;
            if (!go()) return false;
            while (m_nActive < kLanes && Divide()) {
            }
            const int nLanes = LanesFor(m_nActive);
            int64_t nBatch = kBatch;
            for (int k = 0; k < nLanes; ++k) nBatch = std::min(nBatch, SafeRecords(m_lanes[k]));
            if (nBatch > 0) {
                DecodeBatch(nLanes, nBatch);
                for (int k = 0; k < nLanes; ++k) {
                    m_lanes[k].nLeft -= nBatch;
                    written(m_lanes[k].pDst - nBatch * static_cast<int64_t>(Target::kRecordSize),
                            nBatch);
                }
            }
            for (int k = m_nActive - 1; k >= 0; --k) {
                if (SafeRecords(m_lanes[k]) > 0) continue;
                if (!Finish(m_lanes[k], written, go)) return false;
                std::swap(m_lanes[k], m_lanes[--m_nActive]);
            }
        }
    }

    // The cursors that an ended decode left, in no order.
    const StreamCursor* Active() const { return m_lanes; }
    int ActiveCount() const { return m_nActive; }

private:
    static constexpr size_t kValues = Target::kFields.size();
    static constexpr auto kMaxRecord = static_cast<int64_t>(kValues * kMaxIntegerBytes);
    static constexpr auto kSize = static_cast<int64_t>(Target::kRecordSize);

    // Loops are made for kLanes, 4, 2 and 1; a cursor too many for one of them waits.
    static constexpr int Fewer(int nLanes) { return nLanes > 4 ? 4 : nLanes / 2; }
    static constexpr int LanesFor(int nActive) {
        int nLanes = kLanes;
        while (nLanes > nActive) nLanes = Fewer(nLanes);
        return nLanes;
    }

    // How many records can be decoded before the first guard is due.
    static int64_t SafeRecords(const StreamCursor& cursor) {
        return std::min(cursor.nLeft, (cursor.pEnd - cursor.p) / kMaxRecord);
    }

    // Gives the second half of the longest stream under way to a free cursor.
    bool Divide() {
        StreamCursor* pLongest = nullptr;
        for (int k = 0; k < m_nActive; ++k) {
            StreamCursor& lane = m_lanes[k];
            if (!lane.bWhole && (pLongest == nullptr || lane.nLeft > pLongest->nLeft)) {
                pLongest = &lane;
            }
        }
        if (pLongest == nullptr ||
            pLongest->nLeft * static_cast<int64_t>(kValues) < kWorthDividing) {
            return false;
        }
        const int64_t nHalf = pLongest->nLeft / 2;
        const char* pMiddle =
            SkipIntegers(pLongest->p, pLongest->pEnd, nHalf * static_cast<int64_t>(kValues));
        if (pMiddle == nullptr) {
            pLongest->bWhole = true;
            return true;  // another one may do
        }
        StreamCursor& second = m_lanes[m_nActive++];
        second = *pLongest;
        second.p = pMiddle;
        second.pDst += nHalf * kSize;
        second.nLeft -= nHalf;
        pLongest->nLeft = nHalf;
        return true;
    }

    template <int nMost = kLanes>
    void DecodeBatch(int nLanes, int64_t nBatch) {
        if (nLanes == nMost) {
            DecodeBatch(std::make_index_sequence<nMost>(), nBatch);
        } else if constexpr (nMost > 1) {
            DecodeBatch<Fewer(nMost)>(nLanes, nBatch);
        }
    }
    template <size_t... Lane>
    void DecodeBatch(std::index_sequence<Lane...>, int64_t nBatch) {
        const char* p[] = {m_lanes[Lane].p...};
        char* pDst[] = {m_lanes[Lane].pDst...};
        const TagTable& tags = Tags();
        for (int64_t n = 0; n < nBatch; ++n) {
            (Target::Begin(pDst[Lane], m_lanes[Lane].prefix), ...);
            DecodeFields<Lane...>(tags, p, pDst, std::make_index_sequence<kValues>());
            ((pDst[Lane] += kSize), ...);
        }
        ((m_lanes[Lane].p = p[Lane]), ...);
        ((m_lanes[Lane].pDst = pDst[Lane]), ...);
    }

    template <size_t... Lane, size_t... Value>
    QRX_FAST_INLINE static void DecodeFields(const TagTable& tags, const char** p, char** pDst,
                                             std::index_sequence<Value...>) {
        (DecodeField<Value, Lane...>(tags, p, pDst), ...);
    }
    template <size_t Value, size_t... Lane>
    QRX_FAST_INLINE static void DecodeField(const TagTable& tags, const char** p, char** pDst) {
        constexpr StreamField kField = Target::kFields[Value];
        ((p[Lane] = FastStep<kField.nWidth>(tags, p[Lane], pDst[Lane] + kField.nOffset)), ...);
    }

    // The compiler is kept from knowing the table's address: it would hold four addresses in
    // registers instead of one.
    static const TagTable& Tags() {
        const TagTable* pTags = &kTags;
        asm("" : "+r"(pTags));
        return *pTags;
    }

    // The end of a stream, with a guard per field, then the records that it does not reach.
    template <class Written, class Go>
    static bool Finish(StreamCursor& cursor, Written& written, Go& go) {
        char* const pFirst = cursor.pDst;
        while (cursor.nLeft > 0 && cursor.p < cursor.pEnd) {
            Target::BeginShort(cursor.pDst, cursor.prefix);
            for (const StreamField& field : Target::kFields) {
                if (cursor.p >= cursor.pEnd) break;
                cursor.p = GuardedStep(cursor.p, cursor.pDst + field.nOffset, field.nWidth);
            }
            cursor.pDst += kSize;
            --cursor.nLeft;
        }
        written(pFirst, (cursor.pDst - pFirst) / kSize);
        if constexpr (!Target::kFillsAll) return true;
        while (cursor.nLeft > 0) {
            if (!go()) return false;
            const int64_t nFill = std::min(cursor.nLeft, kFillBatch);
            for (int64_t i = 0; i < nFill; ++i) {
                Target::BeginShort(cursor.pDst + i * kSize, cursor.prefix);
            }
            written(cursor.pDst, nFill);
            cursor.pDst += nFill * kSize;
            cursor.nLeft -= nFill;
        }
        return true;
    }

    static const char* GuardedStep(const char* p, char* pField, int nWidth) {
        switch (nWidth) {
            case 1:
                return FastStep<1>(kTags, p, pField);
            case 4:
                return FastStep<4>(kTags, p, pField);
            default:
                return FastStep<8>(kTags, p, pField);
        }
    }

    StreamCursor m_lanes[kLanes];
    int m_nActive = 0;
};

// Decodes nStreams streams of a server record, each to its own place; all cursors are moved on.
template <class Body>
void DecodeStreams(StreamCursor* pStreams, size_t nStreams) {
    LockstepDecoder<ServerTarget<Body>> decoder;
    size_t nTaken = 0;
    decoder.Run(
        [&](StreamCursor& cursor) {
            if (nTaken == nStreams) return false;
            cursor = pStreams[nTaken++];
            return true;
        },
        [](char*, int64_t) {}, [] { return true; });
}

}  // namespace qrx::codec

#endif
