// What the user typed, by name: "--from", "CODE". A name that was not given is absent; a flag that
// was given has an empty value.
#ifndef QRX_CLI_APP_ARGUMENTS_H
#define QRX_CLI_APP_ARGUMENTS_H

#include <map>
#include <string>
#include <utility>

namespace qrx::cli {

class Arguments {
public:
    void Set(const std::string& strName, std::string strValue) {
        m_values[strName] = std::move(strValue);
    }
    bool Has(const std::string& strName) const { return m_values.count(strName) != 0; }
    std::string Get(const std::string& strName, const std::string& strDefault = "") const {
        const auto it = m_values.find(strName);
        return it != m_values.end() ? it->second : strDefault;
    }

private:
    std::map<std::string, std::string> m_values;
};

}  // namespace qrx::cli

#endif
