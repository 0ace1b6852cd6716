// Decoding straight into public records: a record's stream list and its move list, joined when the
// library is compiled into where each value of the stream stands in the public record.
//
// In front of the fields every record gets one block: both codes and, for records without a date
// of their own, the date. Bytes of the public record that neither block nor fields cover are
// zeroed; nothing that is about to be written is.
#ifndef QRX_CODEC_PUBLIC_TARGET_H
#define QRX_CODEC_PUBLIC_TARGET_H

#include <array>
#include <cstddef>
#include <cstring>

#include "codec/fast_integer.h"
#include "codec/field_map.h"
#include "codec/stream_field.h"

namespace qrx::codec {

// The stream of Body with the offsets of Record. Every value of the stream must be moved.
template <class Body, class Record>
consteval auto PublicFields() {
    std::array<StreamField, kStream<Body>.size()> fields{};
    for (size_t i = 0; i < fields.size(); ++i) {
        const StreamField& field = kStream<Body>[i];
        bool bMoved = false;
        for (const FieldMove& move : kMoves<Body, Record>) {
            if (field.nOffset < move.nFrom ||
                field.nOffset + field.nWidth > move.nFrom + move.nBytes) {
                continue;
            }
            fields[i] = {static_cast<uint16_t>(move.nTo + field.nOffset - move.nFrom),
                         field.nWidth};
            bMoved = true;
        }
        if (!bMoved) throw "a value of the stream has no place in the public record";
    }
    return fields;
}

template <class Body, class Record>
class PublicTarget {
public:
    static constexpr size_t kRecordSize = sizeof(Record);
    static constexpr auto kFields = PublicFields<Body, Record>();
    static constexpr bool kFillsAll = true;

    // Whether the records carry their own date.
    static constexpr bool kDated = [] {
        for (const StreamField& field : kFields) {
            if (field.nOffset == offsetof(Record, nDate)) return true;
        }
        return false;
    }();
    // The block: codes, then the date if the head gives it.
    static constexpr size_t kPrefix = offsetof(Record, nDate) + (kDated ? 0 : sizeof(int32_t));

    // Before all fields of a record are written.
    QRX_FAST_INLINE static void Begin(char* pRecord, const char* pPrefix) {
        memcpy(pRecord, pPrefix, kPrefix);
        ZeroGaps(pRecord, std::make_index_sequence<kGaps.nCount>());
    }
    // Before some of them are.
    static void BeginShort(char* pRecord, const char* pPrefix) {
        memcpy(pRecord, pPrefix, kPrefix);
        memset(pRecord + kPrefix, 0, kRecordSize - kPrefix);
    }

private:
    struct Range {
        size_t nFirst = 0;
        size_t nBytes = 0;
    };
    struct Gaps {
        size_t nCount = 0;
        Range ranges[4];
    };
    static constexpr Gaps kGaps = [] {
        std::array<bool, kRecordSize> covered{};
        for (const StreamField& field : kFields) {
            for (size_t i = 0; i < field.nWidth; ++i) covered[field.nOffset + i] = true;
        }
        Gaps gaps;
        for (size_t i = kPrefix; i < kRecordSize; ++i) {
            if (covered[i]) continue;
            if (i == kPrefix || covered[i - 1]) gaps.ranges[gaps.nCount++].nFirst = i;
            ++gaps.ranges[gaps.nCount - 1].nBytes;
        }
        return gaps;
    }();

    template <size_t... Gap>
    QRX_FAST_INLINE static void ZeroGaps(char* pRecord, std::index_sequence<Gap...>) {
        (memset(pRecord + kGaps.ranges[Gap].nFirst, 0, kGaps.ranges[Gap].nBytes), ...);
        (void)pRecord;
    }
};

}  // namespace qrx::codec

#endif
