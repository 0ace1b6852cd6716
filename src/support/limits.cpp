// The one limit that depends on the machine.
#include "support/limits.h"

#include <unistd.h>

#include <climits>

namespace qrx::limits {

bool ResultFits(int64_t nCount, size_t nSize) noexcept {
    if (nCount < 0 || nCount > INT_MAX) return false;
    const long nPages = sysconf(_SC_PHYS_PAGES);
    const long nPageSize = sysconf(_SC_PAGESIZE);
    if (nPages <= 0 || nPageSize <= 0) return true;
    const uint64_t nMemory = static_cast<uint64_t>(nPages) * static_cast<uint64_t>(nPageSize);
    return static_cast<uint64_t>(nCount) * nSize <= nMemory;
}

}  // namespace qrx::limits
