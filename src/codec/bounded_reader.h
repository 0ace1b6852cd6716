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

    // Each is false, and leaves nothing to be read, when the buffer ends before the value does.
    bool Read32(int& nValue) {
        const char* p = Left() > 0 ? Integer(1 + ((Tag() & 0x60U) >> 5)) : nullptr;
        if (p != nullptr) decompressData32(p, nValue);
        return p != nullptr;
    }
    bool Read64(long long& nValue) {
        const char* p =
            Left() > 0 ? Integer((Tag() & 0x0CU) != 0 ? 1 : 1 + ((Tag() & 0x70U) >> 4)) : nullptr;
        if (p != nullptr) decompressData64(nValue, p);
        return p != nullptr;
    }
    // A text behind its length byte; null when it is cut off.
    const char* ReadText(size_t& nLen) {
        nLen = Left() > 0 ? Tag() : 0;
        const char* p = Left() > 0 ? Take(1 + nLen) : nullptr;
        return p != nullptr ? p + 1 : nullptr;
    }

private:
    unsigned Tag() const { return static_cast<unsigned char>(*m_p); }

    const char* Take(size_t nBytes) {
        const bool bThere = Left() >= nBytes;
        const char* p = bThere ? m_p : nullptr;
        m_p = bThere ? m_p + nBytes : m_pEnd;
        return p;
    }
    // The bytes of one integer, with the readable bytes behind them that its decoder wants.
    const char* Integer(size_t nBytes) {
        const bool bNearEnd = Left() < sizeof m_padded;
        const char* p = Take(nBytes);
        if (p == nullptr || !bNearEnd) return p;
        memcpy(m_padded, p, nBytes);
        return m_padded;
    }

    const char* m_p;
    const char* m_pEnd;
    char m_padded[16]{};
};

}  // namespace qrx::codec

#endif
