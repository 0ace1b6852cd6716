// Allocation of result arrays.
#include "support/result_memory.h"

#include <sys/mman.h>

#include <new>

#include "support/limits.h"

namespace qrx {

void* NewResultBytes(int64_t nCount, size_t nSize) noexcept {
    if (!limits::ResultFits(nCount, nSize)) return nullptr;
    const size_t nBytes = static_cast<size_t>(nCount) * nSize;
    char* p = new (std::nothrow) char[nBytes];
    if (p != nullptr && nBytes >= limits::kHugePageAdvice) {
        constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
        const uintptr_t nFirst =
            (reinterpret_cast<uintptr_t>(p) + kHugePage - 1) & ~(kHugePage - 1);
        const uintptr_t nLast = (reinterpret_cast<uintptr_t>(p) + nBytes) & ~(kHugePage - 1);
        if (nFirst < nLast) madvise(reinterpret_cast<void*>(nFirst), nLast - nFirst, MADV_HUGEPAGE);
    }
    return p;
}

void FreeResult(void* pResult) noexcept {
    delete[] static_cast<char*>(pResult);
}

}  // namespace qrx
