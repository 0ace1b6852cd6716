// Every ceiling of the library, each with its reason. Nothing that a peer sends sizes or indexes
// anything before it was held against one of these.
#ifndef QRX_SUPPORT_LIMITS_H
#define QRX_SUPPORT_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace qrx::limits {

// Longest packet body. Real answers stay below a few MiB a packet; a larger figure is a corrupt
// head, and believing it would make the process wait for (and hold) gigabytes.
inline constexpr int64_t kMaxPacketBody = int64_t{1} << 30;

// Zeroed bytes behind every packet body: the last integer of a stream may announce up to seven
// bytes more than the body has, and word-wise decoders load eight at once.
inline constexpr size_t kBodyPadding = 16;

// The receiving thread stops reading from the socket while more than this is held for a caller
// that does not read: TCP then slows the server down, and memory stays flat.
inline constexpr size_t kMaxHeldBytes = size_t{64} << 20;

// One read from the socket, and one block of held bytes: large enough to make system calls
// cheap, small enough to stay in the second-level cache between the read and the copy.
inline constexpr size_t kReadSize = size_t{256} << 10;

// What a packet costs besides its body: padding, the heap's own, and its places in two lists.
inline constexpr int64_t kPacketOverhead = 64;

// Spare blocks kept for reuse (4 MiB), the buffer that a quiet session needs.
inline constexpr size_t kSpareBlocks = 16;

// Pieces in which the rest of an abandoned packet is read and thrown away.
inline constexpr size_t kDrainPiece = size_t{64} << 10;

// Bytes of packets taken before they are decoded while the next ones arrive: several packets, which
// the decoder takes in lockstep, and still in the cache when they are.
inline constexpr int64_t kDecodeBatch = int64_t{2} << 20;

// Server records decoded at a time by the plain pipeline, so that no peer's count sizes it.
inline constexpr int kScratchRecords = 256;

// Longest head of an HTTP proxy's answer. Real ones have some hundred bytes; what is longer is no
// proxy's, and would be read until the time-out.
inline constexpr size_t kMaxHttpHead = 16384;

// Places for markets in a login's answer and in what is made of it; one stays free.
inline constexpr int kMaxMarkets = 32;

// Most codes of one market. The largest real table has some tens of thousands; a reconnect reads
// tables under the session lock, so their size bounds how long a close waits.
inline constexpr int kMaxCodes = 1 << 20;

// Result arrays from this size on ask the kernel for huge pages.
inline constexpr size_t kHugePageAdvice = size_t{4} << 20;

// A result that grows is doubled while it is smaller than the first; from there on it has room for
// the second at least, above the size (32 MiB) up to which malloc may copy a block to enlarge it.
// Room that is never written takes no memory.
inline constexpr int64_t kGrowingSmall = int64_t{1} << 20;
inline constexpr int64_t kGrowingLarge = int64_t{64} << 20;

// True for no more bytes than the machine has memory.
bool FitsMemory(int64_t nBytes) noexcept;

// True for more than a quarter of the machine's memory. A result of that size is written no further
// before the whole of it is known to fit: what is refused has cost the user's process no more.
bool IsLarge(int64_t nBytes) noexcept;

// True when nCount records of nSize bytes may be allocated: no more records than the caller's
// int can count, no more bytes than the machine has memory.
bool ResultFits(int64_t nCount, size_t nSize) noexcept;

}  // namespace qrx::limits

#endif
