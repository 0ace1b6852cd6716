// Decoder and encoder of a record stream, expanded from the record's field list.
// The rule of the decoder: a field is read only while fewer than nSrcLen bytes are consumed;
// afterwards fields stay as the caller left them, and the loop still runs to nMaxCount.
#ifndef QRX_CODEC_STREAM_H
#define QRX_CODEC_STREAM_H

#include <utility>

#include "codec/integer.h"
#include "codec/stream_field.h"

namespace qrx::codec {

// Stores the low bytes of a value, as many as the field is wide.
inline void StoreField(char* pRecord, const StreamField& field, long long value) {
    switch (field.nWidth) {
        case 1:
            pRecord[field.nOffset] = static_cast<char>(value);
            break;
        case 4: {
            const auto n = static_cast<int32_t>(value);
            memcpy(pRecord + field.nOffset, &n, sizeof n);
            break;
        }
        default:
            memcpy(pRecord + field.nOffset, &value, sizeof value);
            break;
    }
}

inline long long LoadField(const char* pRecord, const StreamField& field) {
    switch (field.nWidth) {
        case 1:
            return static_cast<signed char>(pRecord[field.nOffset]);
        case 4: {
            int32_t n;
            memcpy(&n, pRecord + field.nOffset, sizeof n);
            return n;
        }
        default: {
            int64_t n;
            memcpy(&n, pRecord + field.nOffset, sizeof n);
            return n;
        }
    }
}

// Decodes nMaxCount records; returns the bytes consumed. May look at seven bytes behind the stream.
template <class Record>
int DecodeStream(const char* pSrc, int nSrcLen, Record* pDst, int nMaxCount) {
    if (kTestsSource<Record> ? pSrc == nullptr : pDst == nullptr) return 0;
    if (nSrcLen <= 0) return 0;
    const char* p = pSrc;
    for (int i = 0; i < nMaxCount; ++i) {
        char* pRecord = reinterpret_cast<char*>(pDst + i);
        for (const StreamField& field : kStream<Record>) {
            if (p - pSrc >= nSrcLen) break;  // no later field can be read either
            long long value;
            p += decompressData(value, p);
            StoreField(pRecord, field, value);
        }
        if (p - pSrc >= nSrcLen) break;
    }
    return static_cast<int>(p - pSrc);
}

template <class Record>
inline constexpr size_t kMaxRecordBytes = 8 * kStream<Record>.size();

// Writes one record and returns its bytes; 0 when a value has no encoding.
template <class Record>
size_t EncodeBytes(const Record& record, char (&bytes)[kMaxRecordBytes<Record>]) {
    char* p = bytes;
    for (const StreamField& field : kStream<Record>) {
        const int n = EncodeScaled(LoadField(reinterpret_cast<const char*>(&record), field), p);
        if (n == 0) return 0;
        p += n;
    }
    return static_cast<size_t>(p - bytes);
}

// Appends one record to anything with push_back and insert (std::string, std::vector<char>).
// False when a value has no encoding (a 64-bit one of 2^56 and more that no scale helps).
template <class Record, class Buffer>
bool EncodeRecord(const Record& record, Buffer& out) {
    char bytes[kMaxRecordBytes<Record>];
    const size_t n = EncodeBytes(record, bytes);
    out.insert(out.end(), bytes, bytes + n);
    return n != 0;
}

}  // namespace qrx::codec

// One codec by its name.
#define QRX_CODEC(Kind)                                                                        \
    inline int decompress_##Kind(char* src, int srcLen, ZPMDefine_##Kind* dst, int maxCount) { \
        return ::qrx::codec::DecodeStream(src, srcLen, dst, maxCount);                         \
    }

#endif
