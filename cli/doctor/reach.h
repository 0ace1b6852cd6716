// Whether a TCP connection can be made at all, before anybody logs in.
#ifndef QRX_CLI_DOCTOR_REACH_H
#define QRX_CLI_DOCTOR_REACH_H

#include <string>

namespace qrx::cli {

// Connects, closes again, and returns how long that took in milliseconds. Throws
// Failure(EXIT_NETWORK) or Failure(EXIT_TIME_OUT) with the reason.
double Reach(const std::string& strIPv4, int nPort, unsigned nTimeOutSeconds);

}  // namespace qrx::cli

#endif
