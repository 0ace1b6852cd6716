// The one kind of memory that crosses the boundary: an array that QRX_Free releases.
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

// A result whose size is known only at its end: it grows as packets and days come in. Growing moves
// page tables, not bytes, once it is large; room that is not written takes no memory.
class ResultBuffer {
public:
    explicit ResultBuffer(size_t nUnitBytes) : m_nUnitBytes(nUnitBytes) {}

    // Room for nMore records behind the kept ones; null when they are too many or memory is not to
    // be had. Earlier room moves. bMoreToCome: further room will be asked for.
    void* Room(int64_t nMore, bool bMoreToCome) noexcept;
    // Keeps the first nRecords of that room.
    void Keep(int64_t nRecords) noexcept;
    // Keeps a finished array: the first as it is, others as copies. False without memory.
    bool Add(ResultOwner pRecords, int64_t nRecords) noexcept;
    // Forgets all records behind the first nCount.
    void Truncate(int64_t nCount) noexcept { m_nCount = nCount; }

    int64_t Count() const { return m_nCount; }
    // Hands the array out, cut to the kept records.
    void* Release(int* pCount) noexcept;

private:
    char* Bytes(int64_t nRecord) const {
        return static_cast<char*>(m_pArray.get()) + static_cast<size_t>(nRecord) * m_nUnitBytes;
    }
    bool Resize(int64_t nRoom) noexcept;

    size_t m_nUnitBytes;
    ResultOwner m_pArray;
    int64_t m_nRoom = 0;   // records the array has room for
    int64_t m_nCount = 0;  // records kept
};

}  // namespace qrx

#endif
