// How a server record becomes a public one: a list of byte moves, for each pair of records. The
// converters walk it; a decoder that writes straight into public records is expanded from it and
// from the record's stream list.
#ifndef QRX_CODEC_FIELD_MAP_H
#define QRX_CODEC_FIELD_MAP_H

#include <cstring>
#include <string>

#include "codec/stream_field.h"
#include "support/strings.h"

namespace qrx::codec {

struct FieldMove {
    uint16_t nFrom;  // offset in the server record
    uint16_t nTo;    // offset in the public record
    uint16_t nBytes;
};

template <class Body, class Record>
inline constexpr std::array<FieldMove, 0> kMoves{};

template <size_t... Counts>
consteval auto JoinMoves(const std::array<FieldMove, Counts>&... lists) {
    std::array<FieldMove, (Counts + ... + 0)> all{};
    size_t n = 0;
    (
        [&] {
            for (const FieldMove& move : lists) all[n++] = move;
        }(),
        ...);
    return all;
}

// At most 31 characters of each code.
template <class Record>
void FillCodes(Record& dst, const std::string& strVelaCode, const std::string& strCode) {
    FillField(dst.chVelaCode, strVelaCode.c_str(), sizeof dst.chVelaCode - 1);
    FillField(dst.chCode, strCode.c_str(), sizeof dst.chCode - 1);
}

template <class Body, class Record>
void MoveFields(const Body& src, Record& dst) {
    const char* pFrom = reinterpret_cast<const char*>(&src);
    char* pTo = reinterpret_cast<char*>(&dst);
    for (const FieldMove& move : kMoves<Body, Record>) {
        memcpy(pTo + move.nTo, pFrom + move.nFrom, move.nBytes);
    }
}

// Zero-fills the public record, writes codes and date, and moves the fields.
template <class Body, class Record>
void Convert(const Body& src, Record& dst, int nDate, const std::string& strVelaCode,
             const std::string& strCode) {
    memset(static_cast<void*>(&dst), 0, sizeof dst);
    FillCodes(dst, strVelaCode, strCode);
    dst.nDate = nDate;
    MoveFields(src, dst);
}

}  // namespace qrx::codec

// One member under the same name in both records, and one under two names.
#define QRX_SAME(member) QRX_RENAMED(member, member)
#define QRX_RENAMED(from, to)                                         \
    [] {                                                              \
        static_assert(sizeof(B::from) == sizeof(R::to));              \
        return std::array<::qrx::codec::FieldMove, 1>{                \
            {{offsetof(B, from), offsetof(R, to), sizeof(B::from)}}}; \
    }()

// The moves of a pair of records: a list of the above.
#define QRX_MOVES(Body, Record, ...)                  \
    template <>                                       \
    inline constexpr auto kMoves<Body, Record> = [] { \
        using B = Body;                               \
        using R = Record;                             \
        return JoinMoves(__VA_ARGS__);                \
    }();

#endif
