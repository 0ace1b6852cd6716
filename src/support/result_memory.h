// The one kind of memory that crosses the boundary: a char array that QRX_Free releases.
#ifndef QRX_SUPPORT_RESULT_MEMORY_H
#define QRX_SUPPORT_RESULT_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <memory>

namespace qrx {

// nCount * nSize bytes, not zeroed; null when they do not fit the machine or are not to be had.
// Large blocks ask for huge pages: the page faults of a fresh array cost more than the decoding.
void* NewResultBytes(int64_t nCount, size_t nSize) noexcept;

// Releases such a block; null is accepted.
void FreeResult(void* pResult) noexcept;

// Owner of such a block until it is handed out.
struct ResultDeleter {
    void operator()(void* pResult) const noexcept { FreeResult(pResult); }
};
using ResultOwner = std::unique_ptr<void, ResultDeleter>;

template <class Record>
Record* NewResult(int64_t nCount) noexcept {
    return static_cast<Record*>(NewResultBytes(nCount, sizeof(Record)));
}

}  // namespace qrx

#endif
