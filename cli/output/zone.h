// The exchange's dates and times of day in another zone. The exchange is eight hours ahead of UTC
// all year; every other zone comes from the system's zone files, through the C library, which keeps
// one zone a process: TZ is set when a Zone is made, so make one before other threads are started.
#ifndef QRX_CLI_OUTPUT_ZONE_H
#define QRX_CLI_OUTPUT_ZONE_H

#include <cstdint>
#include <string>

namespace qrx::cli {

class Zone {
public:
    // A name of the zone files, such as Europe/London or UTC. Throws Failure(EXIT_USAGE) that names
    // the nearest.
    explicit Zone(const std::string& strName);

    const std::string& Name() const { return m_strName; }

    // YYYYMMDD and HHMMSSmmm of one instant, together. What is no date (0 in the slots of a
    // completed day that nothing has reached yet) is left alone with its time.
    void Shift(int64_t& nDate, int64_t& nTime);

private:
    std::string m_strName;
    int64_t m_nSlot = INT64_MIN;  // the quarter of an hour (UTC) that m_nAhead belongs to
    int64_t m_nAhead = 0;         // seconds
};

}  // namespace qrx::cli

#endif
