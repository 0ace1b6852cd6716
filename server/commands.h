// The subcommands of qrx-server. Each adds itself to the parser and leaves what it does as the
// subcommand's callback, which reports failure by throwing.
#ifndef QRX_SERVER_COMMANDS_H
#define QRX_SERVER_COMMANDS_H

#include <CLI/CLI.hpp>

namespace qrx::server {

struct ExitRow {
    int nCode;
    const char* szMeaning;
};

inline constexpr ExitRow kExitRows[] = {{0, "done"},
                                        {1, "failed; one line on the standard error says why"},
                                        {2, "the command line is not understood"}};

void AddInitCommand(CLI::App& app);
void AddUserCommands(CLI::App& app);
void AddImportCommands(CLI::App& app);
void AddSimulateCommand(CLI::App& app);
void AddServeCommand(CLI::App& app);
void AddManualCommand(CLI::App& app);  // hidden: for the build

}  // namespace qrx::server

#endif
