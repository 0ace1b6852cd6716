// What a test has to know about the build that it runs in.
#ifndef QRX_TESTS_SUPPORT_SANITIZERS_H
#define QRX_TESTS_SUPPORT_SANITIZERS_H

namespace qrx::test {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSanitized = true;  // memory and time are not the program's own
#else
inline constexpr bool kSanitized = false;
#endif

// Rounds of a test that computes in one thread: the thread sanitizer, twenty times as slow, has
// nothing to find in it.
constexpr int Rounds(int nRounds) {
    return kThreadSanitizer ? nRounds / 10 : nRounds;
}

}  // namespace qrx::test

#endif
