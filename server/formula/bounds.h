// Every ceiling of the formula service, each with its reason. A formula comes from a user, and what
// it costs the others is what stands here.
#ifndef QRX_SERVER_FORMULA_BOUNDS_H
#define QRX_SERVER_FORMULA_BOUNDS_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace qrx::server::formula {

// Why a formula is refused, in words for its author; most begin with the line.
struct FormulaError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What one run of a formula may take.
struct Bounds {
    // Instructions of the interpreter; a function over a column counts an eighth of its rows.
    // About a second.
    uint64_t nSteps = 100'000'000;
    // Everything the run holds: columns, too, and what a function needs while it works (AVEDEV over
    // kMaxRows in a window of as many: some 64 MB).
    size_t nBytes = size_t{256} << 20;
    // Processor time of the run's thread, so that a busy machine refuses no more than an idle one.
    int64_t nMilliseconds = 5000;
};

inline constexpr size_t kMaxRows = 1'000'000;    // of one calculation
inline constexpr size_t kMaxCells = 10'000'000;  // rows times columns of one answer: some 50 MB
inline constexpr size_t kMaxColumns = 48;        // clients take 50 with date and time
inline constexpr size_t kMaxColumnName = 27;     // and keep 28 bytes of a name

inline constexpr size_t kMaxNameBytes = 23;         // of a formula, as its field on the wire
inline constexpr size_t kMaxTextBytes = 64 * 1024;  // of a formula
inline constexpr int kMaxFormulas = 500;            // of one user
inline constexpr int kMaxDepth = 80;                // of expressions and blocks within others

}  // namespace qrx::server::formula

#endif
