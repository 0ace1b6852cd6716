// What a running command works with: its arguments, the settings read for it, and the session,
// which is opened when it is first needed.
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
    // Read when they are first asked for.
    const Settings& GetSettings() const {
        if (!m_settings) m_settings = ReadSettings(m_arguments);
        return *m_settings;
    }
    void UsePassword(std::string strPassword) { m_settings->password = std::move(strPassword); }
    Connection& Connect() {
        if (!m_pConnection) m_pConnection = std::make_unique<Connection>(GetSettings());
        return *m_pConnection;
    }
    OutputChoice Output() const {
        return ReadOutputChoice(m_arguments, GetSettings().nPriceDigits);
    }
    std::unique_ptr<Results> OpenResults(Shape shape) const {
        return std::make_unique<Results>(Output(), std::move(shape));
    }

private:
    const Arguments& m_arguments;
    mutable std::optional<Settings> m_settings;
    std::unique_ptr<Connection> m_pConnection;
};

}  // namespace qrx::cli

#endif
