// Fixed-width text fields: reading at most their width, filling with a limit, letter case.
// Letter case is plain ASCII, whatever locale the process has set.
#ifndef QRX_SUPPORT_STRINGS_H
#define QRX_SUPPORT_STRINGS_H

#include <cstddef>
#include <cstring>
#include <string>

namespace qrx {

inline char ToUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
inline char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The text of a field that may lack its NUL.
inline std::string FieldText(const char* pField, size_t nWidth) {
    return std::string(pField, strnlen(pField, nWidth));
}
template <size_t N>
std::string FieldText(const char (&field)[N]) {
    return FieldText(field, N);
}

// Copies up to nLimit characters of a text into a field, stopping at its NUL, and zeroes the rest
// of the limit. A text as long as the limit gets no NUL.
inline void FillField(char* pField, const char* szText, size_t nLimit) {
    const size_t n = strnlen(szText, nLimit);
    memcpy(pField, szText, n);
    memset(pField + n, 0, nLimit - n);
}

// Case-insensitive comparison of at most nLimit characters, ending at a NUL; 0 when equal.
inline int CompareNoCase(const char* a, const char* b, size_t nLimit = static_cast<size_t>(-1)) {
    for (size_t i = 0; i < nLimit; ++i) {
        const int n =
            static_cast<unsigned char>(ToLower(a[i])) - static_cast<unsigned char>(ToLower(b[i]));
        if (n != 0 || a[i] == '\0') return n;
    }
    return 0;
}

}  // namespace qrx

// Upper- or lower-case a fixed buffer in place, up to its NUL or its length.
inline void strupr_n(char* pText, size_t nLen) {
    for (size_t i = 0; i < nLen && pText[i] != '\0'; ++i) pText[i] = qrx::ToUpper(pText[i]);
}
inline void strlwr_n(char* pText, size_t nLen) {
    for (size_t i = 0; i < nLen && pText[i] != '\0'; ++i) pText[i] = qrx::ToLower(pText[i]);
}

#endif
