// What a running command works with: its arguments, and the settings and the session, which are
// read and opened when they are first needed.
#ifndef QRX_CLI_APP_CONTEXT_H
#define QRX_CLI_APP_CONTEXT_H

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "app/arguments.h"
#include "app/connection.h"
#include "output/results.h"
#include "settings/settings.h"

namespace qrx::cli {

class Context {
public:
    explicit Context(const Arguments& arguments) : m_arguments(arguments) {}

    const Arguments& Args() const { return m_arguments; }
    const Settings& GetSettings() const {
        if (!m_settings) m_settings = ReadSettings(m_arguments);
        return *m_settings;
    }
    Connection& Connect() {
        if (!m_pConnection) m_pConnection = std::make_unique<Connection>(GetSettings());
        return *m_pConnection;
    }
    std::unique_ptr<Results> OpenResults(std::vector<Column> vecColumns) const {
        return std::make_unique<Results>(m_arguments, GetSettings().nPriceDigits,
                                         std::move(vecColumns));
    }

private:
    const Arguments& m_arguments;
    mutable std::optional<Settings> m_settings;
    std::unique_ptr<Connection> m_pConnection;
};

}  // namespace qrx::cli

#endif
