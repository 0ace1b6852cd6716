// The simulator's random numbers: a keyed counter, mixed.
//
// Written here, in integers, so that a seed gives the same bytes with every compiler and library
// (the distributions of <random> and the functions of <cmath> do not). A generator is keyed by
// seed, instrument and date, never shared: a day does not depend on the days generated before it.
#ifndef QRX_SERVER_SIMULATE_RANDOM_H
#define QRX_SERVER_SIMULATE_RANDOM_H

#include <cstdint>
#include <string_view>

namespace qrx::simulate {

// A bijection on 64 bits in which every input bit reaches every output bit.
constexpr uint64_t Mix(uint64_t iValue) {
    iValue = (iValue ^ (iValue >> 30)) * 0xBF58476D1CE4E5B9U;
    iValue = (iValue ^ (iValue >> 27)) * 0x94D049BB133111EBU;
    return iValue ^ (iValue >> 31);
}

class Random {
public:
    Random(uint64_t iSeed, std::string_view strName, int nDate) : m_iState(Mix(iSeed + 1)) {
        for (const char ch : strName) m_iState = Mix(m_iState ^ static_cast<unsigned char>(ch));
        m_iState = Mix(m_iState ^ static_cast<uint64_t>(nDate));
    }

    // 0 to nLimit - 1; nLimit must be positive. The bias is below 2^-32 for each value.
    int32_t Below(int32_t nLimit) {
        return static_cast<int32_t>(((Next() >> 32) * static_cast<uint64_t>(nLimit)) >> 32);
    }
    int32_t Between(int32_t nLow, int32_t nHigh) { return nLow + Below(nHigh - nLow + 1); }
    bool Chance(int nPermille) { return Below(1000) < nPermille; }

    // Bell-shaped around 0 with the standard deviation given, never beyond 3.5 of them: the sum of
    // four even draws of half-width sqrt(3)/2 deviations.
    int64_t Bell(int64_t nDeviation) {
        const auto nHalf = static_cast<int32_t>(nDeviation * 866 / 1000);
        int64_t nSum = 0;
        for (int i = 0; i < 4; i++) nSum += Between(-nHalf, nHalf);
        return nSum;
    }

private:
    uint64_t Next() { return Mix(m_iState += 0x9E3779B97F4A7C15U); }

    uint64_t m_iState;
};

}  // namespace qrx::simulate

#endif
