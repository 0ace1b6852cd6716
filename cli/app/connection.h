// The open session of a command: connecting, looking securities up, and turning the library's
// result codes into sentences and exit codes.
#ifndef QRX_CLI_APP_CONNECTION_H
#define QRX_CLI_APP_CONNECTION_H

#include <qrx/qrx.hpp>
#include <string>
#include <vector>

#include "settings/settings.h"
#include "text/encoding.h"

namespace qrx::cli {

class Connection {
public:
    explicit Connection(const Settings& settings);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Session& Get() { return m_session; }
    const std::vector<std::string>& Markets() const { return m_vecMarkets; }

    // Throws Failure(EXIT_UNKNOWN_CODE) that names candidates.
    QRXDefine_Code FindCode(const std::string& strCode);

    // Throws unless the code is Ok. strWhat completes "there are no ...".
    void Check(ResultCode code, const std::string& strWhat);

private:
    [[noreturn]] void RefuseOpen(const QRXDefine_ResLogin& login, const Decoder& decoder) const;
    std::string Candidates(const std::string& strCode);

    const Settings& m_settings;
    Session m_session;
    std::vector<std::string> m_vecMarkets;
};

// Whether it is a future or an option.
bool IsContract(const QRXDefine_Code& code);

// Throws Failure(EXIT_WRONG_TYPE) that says what it is, and which command to use.
[[noreturn]] void RefuseType(const QRXDefine_Code& code, const std::string& strPlural);

// index, future, option or security.
const char* KindOfType(int nType);

}  // namespace qrx::cli

#endif
