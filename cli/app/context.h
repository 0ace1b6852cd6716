// What a running command works with: its arguments, the settings read for it, and the session,
// which is opened when it is first needed.
#ifndef QRX_CLI_APP_CONTEXT_H
#define QRX_CLI_APP_CONTEXT_H

#include <memory>
#include <utility>
#include <vector>

#include "app/arguments.h"
#include "app/connection.h"
#include "output/results.h"
#include "settings/settings.h"

namespace qrx::cli {

class Context {
public:
    explicit Context(const Arguments& arguments)
        : m_arguments(arguments), m_settings(ReadSettings(arguments)) {}

    const Arguments& Args() const { return m_arguments; }
    const Settings& GetSettings() const { return m_settings; }
    Connection& Connect() {
        if (!m_pConnection) m_pConnection = std::make_unique<Connection>(m_settings);
        return *m_pConnection;
    }
    std::unique_ptr<Results> OpenResults(std::vector<Column> vecColumns) const {
        return std::make_unique<Results>(m_arguments, m_settings.nPriceDigits,
                                         std::move(vecColumns));
    }

private:
    const Arguments& m_arguments;
    const Settings m_settings;
    std::unique_ptr<Connection> m_pConnection;
};

}  // namespace qrx::cli

#endif
