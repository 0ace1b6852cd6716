// Assertions that stay active in every build. Condition, text and source name are given
// separately: the texts are part of the contract and never derived from the code. A failing one
// writes "PROGRAM: SOURCE:LINE: FUNCTION: Assertion `TEXT' failed." to descriptor 2 and aborts.
#ifndef QRX_SUPPORT_ASSERTION_H
#define QRX_SUPPORT_ASSERTION_H

namespace qrx {

// The source names that failing assertions print, whatever file the code lives in.
namespace source {
inline constexpr char kApi[] = "QRXAPI";
inline constexpr char kSourceManager[] = "SourceManager";
inline constexpr char kMarketDataSource[] = "MarketDataSource";
inline constexpr char kTransport[] = "SynNKNetWork";
inline constexpr char kConverter[] = "BusinessConverter";
inline constexpr char kLock[] = "Lock";
}  // namespace source

[[noreturn]] void AssertionFailed(const char* szText, const char* szSource, unsigned nLine,
                                  const char* szFunction) noexcept;

}  // namespace qrx

#define QRX_ASSERT(condition, text, source_name)                                   \
    do {                                                                           \
        if (!(condition)) [[unlikely]]                                             \
            ::qrx::AssertionFailed(text, source_name, __LINE__,                    \
                                   static_cast<const char*>(__PRETTY_FUNCTION__)); \
    } while (false)

#endif
