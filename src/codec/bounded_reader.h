// Reads the variable-length integers of a buffer whose end is known: a value that would reach
// beyond it is not read, and the reader stays at its end. Needs no bytes behind the buffer.
#ifndef QRX_CODEC_BOUNDED_READER_H
#define QRX_CODEC_BOUNDED_READER_H

#include <cstddef>

#include "codec/integer.h"

namespace qrx::codec {

class BoundedReader {
public:
    BoundedReader(const char* pBytes, size_t nLen) : m_p(pBytes), m_pEnd(pBytes + nLen) {}

    size_t Left() const { return static_cast<size_t>(m_pEnd - m_p); }

    // Each is false, and leaves nothing more to be read, when the buffer ends before the value
    // does.
    bool Read32(int& nValue) {
        if (Left() < 1 || Left() < size_t{1} + ((Tag() & 0x60U) >> 5)) return Fail();
        m_p += decompressData32(m_p, nValue);
        return true;
    }
    bool Read64(long long& nValue) {
        if (Left() < 1) return Fail();
        const unsigned nBytes = (Tag() & 0x0CU) != 0 ? 0 : (Tag() & 0x70U) >> 4;
        if (Left() < size_t{1} + nBytes) return Fail();
        m_p += Decode64(nValue, nBytes);
        return true;
    }
    // nLen bytes as they are; null when there are not as many.
    const char* ReadBytes(size_t nLen) {
        if (Left() < nLen) {
            Fail();
            return nullptr;
        }
        const char* pBytes = m_p;
        m_p += nLen;
        return pBytes;
    }
    // A text with a length byte in front; null when it is cut off.
    const char* ReadText(size_t& nLen) {
        if (Left() < 1) return nullptr;
        nLen = static_cast<unsigned char>(*m_p++);
        return ReadBytes(nLen);
    }

private:
    unsigned Tag() const { return static_cast<unsigned char>(*m_p); }
    int Decode64(long long& nValue, unsigned nBytes) const {
        // Near the end the value is taken from a copy: a decoder may load eight bytes at once.
        if (Left() >= 16) return decompressData64(nValue, m_p);
        char padded[16] = {};
        memcpy(padded, m_p, size_t{1} + nBytes);
        return decompressData64(nValue, padded);
    }
    bool Fail() {
        m_p = m_pEnd;
        return false;
    }

    const char* m_p;
    const char* m_pEnd;
};

}  // namespace qrx::codec

#endif
