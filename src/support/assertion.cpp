// Writes the line of a failed assertion with one write(2), without any formatter, and aborts.
#include "support/assertion.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <cstdlib>

namespace qrx {
namespace {

class Line {
public:
    void Add(const char* szText) {
        for (; *szText != '\0' && m_nLen < sizeof m_szText; ++szText) m_szText[m_nLen++] = *szText;
    }
    void Add(unsigned nNumber) {
        char szDigits[16];
        size_t nPos = sizeof szDigits - 1;
        szDigits[nPos] = '\0';
        do {
            szDigits[--nPos] = static_cast<char>('0' + nNumber % 10);
            nNumber /= 10;
        } while (nNumber != 0);
        Add(szDigits + nPos);
    }
    void Write() const {
        size_t nDone = 0;
        while (nDone < m_nLen) {
            const ssize_t n = write(STDERR_FILENO, m_szText + nDone, m_nLen - nDone);
            if (n <= 0) return;
            nDone += static_cast<size_t>(n);
        }
    }

private:
    char m_szText[4096];
    size_t m_nLen = 0;
};

}  // namespace

void AssertionFailed(const char* szText, const char* szSource, unsigned nLine,
                     const char* szFunction) noexcept {
    Line line;
    line.Add(program_invocation_short_name);
    line.Add(": ");
    line.Add(szSource);
    line.Add(":");
    line.Add(nLine);
    line.Add(": ");
    line.Add(szFunction);
    line.Add(": Assertion `");
    line.Add(szText);
    line.Add("' failed.\n");
    line.Write();
    abort();
}

}  // namespace qrx
