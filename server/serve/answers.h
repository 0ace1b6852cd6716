// From a request to its answer. An answer is a sequence of packets that are made one at a time, so
// that a client which does not read holds one packet and not a day.
//
// A request is checked before its body is read (CheckHead) and again as a whole (MakeAnswer). What
// is malformed throws ProtocolError, which ends the connection. What is well formed but has no data
// (unknown code, closed day, a date that no calendar has, a market not open to the user) is
// answered with one packet without items.
#ifndef QRX_SERVER_SERVE_ANSWERS_H
#define QRX_SERVER_SERVE_ANSWERS_H

#include <memory>
#include <stdexcept>
#include <string>

#include "codec/wire.h"
#include "store/store.h"

namespace qrx::server {

struct ProtocolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline constexpr int kMaxRequestBytes = 1500 * 1000;

class Answer {
public:
    virtual ~Answer() = default;
    // The next packet, message head included; false behind the last one.
    virtual bool Next(std::string& strPacket) = 0;
};

void CheckHead(const ZPMDefine_MessageHead& head);

// True when the answer may take seconds to make: no thread of the network's should make it.
bool IsSlow(const ZPMDefine_MessageHead& head);

// Anything but a login. The store outlives the answer.
std::unique_ptr<Answer> MakeAnswer(Store& store, const UserRow& user,
                                   const ZPMDefine_MessageHead& head, const std::string& strBody);

// The answer to a login. Accepted when the text is empty.
std::string MakeLoginAnswer(Store& store, const UserRow& user, int nRequestID,
                            const std::string& strRefusal);

}  // namespace qrx::server

#endif
