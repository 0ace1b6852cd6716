// The one limit that depends on the machine.
#include "support/limits.h"

#include <unistd.h>

#include <climits>

namespace qrx::limits {

bool FitsMemory(int64_t nBytes) noexcept {
    static const int64_t nMemory =
        static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
    return nMemory <= 0 || nBytes <= nMemory;
}

bool ResultFits(int64_t nCount, size_t nSize) noexcept {
    // Both are far below 2^31: the product cannot overflow.
    return nCount >= 0 && nCount <= INT_MAX && FitsMemory(nCount * static_cast<int64_t>(nSize));
}

}  // namespace qrx::limits
