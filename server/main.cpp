// qrx-server: init, user, import, simulate, serve. The exit codes are those of kExitRows.
#include <exception>
#include <iostream>

#include "commands.h"
#include "qrx/version.h"
#include "text/printable.h"

int main(int argc, char** argv) {
    CLI::App app{"Reference data server for qrx clients", "qrx-server"};
    app.set_version_flag("--version", QRX_VERSION_STRING);
    app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    qrx::server::AddInitCommand(app);
    qrx::server::AddUserCommands(app);
    qrx::server::AddImportCommands(app);
    qrx::server::AddSimulateCommand(app);
    qrx::server::AddServeCommand(app);
    qrx::server::AddManualCommand(app);
    // Last, as commands that are added behind a footer have it, too.
    std::string strFooter = "Exit codes:";
    for (const auto& row : qrx::server::kExitRows) {
        strFooter += "\n  " + std::to_string(row.nCode) + "  " + row.szMeaning;
    }
    app.footer(strFooter);
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;  // 0: help was asked for
    } catch (const std::exception& e) {
        // What a file says may stand in it.
        std::cerr << "qrx-server: " << qrx::server::Legible(e.what()) << "\n";
        return 1;
    }
}
