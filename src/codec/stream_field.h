// A codec is a list: for every value of a record's stream, in stream order, where it is stored and
// how wide. Decoders and encoders are expanded from it; the record's struct gives the layout.
#ifndef QRX_CODEC_STREAM_FIELD_H
#define QRX_CODEC_STREAM_FIELD_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace qrx::codec {

struct StreamField {
    uint16_t nOffset;  // in the server record
    uint8_t nWidth;    // 1, 4 or 8 bytes
};

// The stream of a record; specialised beside each record's declaration.
template <class Record>
inline constexpr std::array<StreamField, 0> kStream{};

// Which pointer a codec refuses: all test the destination, the bar codecs the source.
template <class Record>
inline constexpr bool kTestsSource = false;

template <size_t... Counts>
consteval auto Join(const std::array<StreamField, Counts>&... lists) {
    std::array<StreamField, (Counts + ... + 0)> all{};
    size_t n = 0;
    (
        [&] {
            for (const StreamField& field : lists) all[n++] = field;
        }(),
        ...);
    return all;
}

template <class Element, size_t N>
consteval std::array<StreamField, N> FieldArray(size_t nOffset) {
    std::array<StreamField, N> list{};
    for (size_t i = 0; i < N; ++i) {
        list[i] = {static_cast<uint16_t>(nOffset + i * sizeof(Element)), sizeof(Element)};
    }
    return list;
}

// Four arrays, level by level: level 0 of each, then level 1 of each.
template <size_t N>
consteval std::array<StreamField, 4 * N> Interleave(const std::array<StreamField, N>& a,
                                                    const std::array<StreamField, N>& b,
                                                    const std::array<StreamField, N>& c,
                                                    const std::array<StreamField, N>& d) {
    std::array<StreamField, 4 * N> all{};
    for (size_t i = 0; i < N; ++i) {
        all[4 * i] = a[i];
        all[4 * i + 1] = b[i];
        all[4 * i + 2] = c[i];
        all[4 * i + 3] = d[i];
    }
    return all;
}

}  // namespace qrx::codec

// One scalar or array member of a packed record as its stream fields.
#define QRX_SCALAR(Record, member) \
    ::qrx::codec::FieldArray<decltype(Record::member), 1>(offsetof(Record, member))
#define QRX_ARRAY(Record, member)                                                 \
    ::qrx::codec::FieldArray<std::remove_all_extents_t<decltype(Record::member)>, \
                             std::extent_v<decltype(Record::member)>>(offsetof(Record, member))

#endif
