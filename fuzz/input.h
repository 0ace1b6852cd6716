// The bytes that a fuzzer gives, taken from the front: small numbers for choices, whole values for
// fields, and the rest as a stream. Beyond the end everything is 0.
#ifndef QRX_FUZZ_INPUT_H
#define QRX_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/limits.h"

namespace qrx::fuzz {

class Input {
public:
    Input(const uint8_t* pData, size_t nSize) : m_p(pData), m_pEnd(pData + nSize) {}

    size_t Left() const { return static_cast<size_t>(m_pEnd - m_p); }
    int Below(int n) { return n > 0 ? static_cast<int>(Take<uint16_t>() % n) : 0; }

    template <class T>
    T Take() {
        T value{};
        const size_t n = Left() < sizeof value ? Left() : sizeof value;
        if (n != 0) memcpy(&value, m_p, n);
        m_p += n;
        return value;
    }
    std::string Bytes(size_t n) {
        if (n > Left()) n = Left();
        std::string str(reinterpret_cast<const char*>(m_p), n);
        m_p += n;
        return str;
    }

private:
    const uint8_t* m_p;
    const uint8_t* m_pEnd;
};

// A packet body as the session hands it out: exactly its size, and the padding behind it.
class Body {
public:
    explicit Body(const std::string& str)
        : m_nLen(str.size()), m_p(new char[str.size() + limits::kBodyPadding]()) {
        memcpy(m_p, str.data(), str.size());
    }
    ~Body() { delete[] m_p; }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    char* Get() const { return m_p; }
    int Length() const { return static_cast<int>(m_nLen); }

private:
    size_t m_nLen;
    char* m_p;
};

// What must hold: a fuzzer's finding is a stopped process.
inline void Must(bool bHolds, const char* szWhat) {
    if (bHolds) return;
    fprintf(stderr, "%s\n", szWhat);
    abort();
}

}  // namespace qrx::fuzz

#endif
