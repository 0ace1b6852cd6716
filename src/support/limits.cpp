// The limits that depend on the machine.
#include "support/limits.h"

#include <unistd.h>

#include <climits>
#include <cstdint>

namespace qrx::limits {
namespace {

// Where it is not known, nothing exceeds it.
int64_t MachineMemory() noexcept {
    static const int64_t nMemory =
        static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
    return nMemory > 0 ? nMemory : INT64_MAX;
}

}  // namespace

bool FitsMemory(int64_t nBytes) noexcept {
    return nBytes <= MachineMemory();
}

bool IsLarge(int64_t nBytes) noexcept {
    return nBytes > MachineMemory() / 4;
}

bool ResultFits(int64_t nCount, size_t nSize) noexcept {
    // Both are far below 2^31: the product cannot overflow.
    return nCount >= 0 && nCount <= INT_MAX && FitsMemory(nCount * static_cast<int64_t>(nSize));
}

}  // namespace qrx::limits
