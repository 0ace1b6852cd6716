// Allocation of result arrays: the heap's, because its realloc moves large blocks by their pages.
#include "support/result_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/assertion.h"
#include "support/limits.h"

namespace qrx {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;

// Of whole blocks, their first and last page included: a block in two minds about its pages could
// not be moved as one.
void AskForHugePages(void* p, size_t nBytes) noexcept {
    static const auto nPage = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    if (nBytes < limits::kHugePageAdvice) return;
    const uintptr_t nFirst = reinterpret_cast<uintptr_t>(p) & ~(nPage - 1);
    const uintptr_t nLast = (reinterpret_cast<uintptr_t>(p) + nBytes + nPage - 1) & ~(nPage - 1);
    madvise(reinterpret_cast<void*>(nFirst), nLast - nFirst, MADV_HUGEPAGE);
}

}  // namespace

void* NewResultBytes(int64_t nCount, size_t nSize) noexcept {
    if (!limits::ResultFits(nCount, nSize)) return nullptr;
    const size_t nBytes = static_cast<size_t>(nCount) * nSize;
    if (nBytes < limits::kHugePageAdvice) return malloc(std::max(nBytes, size_t{1}));
    // Of whole huge pages: at either end some hundred small ones would be as many page faults.
    const size_t nWhole = (nBytes + kHugePage - 1) & ~(kHugePage - 1);
    void* p = aligned_alloc(kHugePage, nWhole);
    if (p != nullptr) AskForHugePages(p, nWhole);
    return p;
}

void FreeResult(void* pResult) noexcept {
    free(pResult);
}

// The former array stays where the new size is not to be had.
bool ResultBuffer::Resize(int64_t nRoom) noexcept {
    if (!limits::ResultFits(nRoom, m_nUnitBytes)) return false;
    const size_t nBytes = static_cast<size_t>(nRoom) * m_nUnitBytes;
    void* p = realloc(m_pArray.get(), nBytes);
    if (p == nullptr) return false;
    (void)m_pArray.release();
    m_pArray.reset(p);
    if (nRoom > m_nRoom) AskForHugePages(p, nBytes);
    m_nRoom = nRoom;
    return true;
}

void* ResultBuffer::Room(int64_t nMore) noexcept {
    const int64_t nNeeded = m_nCount + nMore;
    // The first array is exact, since most answers need no other; twice the room later on.
    if (nNeeded > m_nRoom && !(m_nRoom > 0 && Resize(std::max(nNeeded, 2 * m_nRoom))) &&
        !Resize(nNeeded)) {
        return nullptr;
    }
    return Bytes(m_nCount);
}

void ResultBuffer::Keep(int64_t nRecords) noexcept {
    m_nCount += nRecords;
    QRX_ASSERT(m_nCount <= m_nRoom, "nWritenBytes <= nSum*nUnitBytes", source::kMarketDataSource);
}

bool ResultBuffer::Add(ResultOwner pRecords, int64_t nRecords) noexcept {
    if (m_nCount == 0) {
        m_pArray = std::move(pRecords);
        m_nRoom = m_nCount = nRecords;
        return true;
    }
    void* pRoom = Room(nRecords);
    if (pRoom == nullptr) return false;
    memcpy(pRoom, pRecords.get(), static_cast<size_t>(nRecords) * m_nUnitBytes);
    Keep(nRecords);
    return true;
}

void* ResultBuffer::Release(int* pCount) noexcept {
    if (m_nCount < m_nRoom && m_nCount > 0) Resize(m_nCount);
    *pCount = static_cast<int>(m_nCount);
    m_nRoom = m_nCount = 0;
    return m_pArray.release();
}

}  // namespace qrx
