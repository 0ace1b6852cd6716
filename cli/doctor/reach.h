// Whether anybody takes a connection, before the library tries to log in there.
#ifndef QRX_CLI_DOCTOR_REACH_H
#define QRX_CLI_DOCTOR_REACH_H

#include <string>

namespace qrx::cli {

// strAddress: dotted IPv4. 0, or the error of connect; ETIMEDOUT after the seconds.
int TryConnect(const std::string& strAddress, int nPort, unsigned nSeconds);

}  // namespace qrx::cli

#endif
