// The manual page of qrx-server, from what its parser knows; a command for the build.
#include <iostream>

#include "commands.h"
#include "roff.h"

namespace qrx::server {
namespace {

using namespace roff;

std::string Usage(const CLI::App& command) {
    std::string strUsage;
    for (const CLI::App* pApp = &command; pApp->get_parent() != nullptr;
         pApp = pApp->get_parent()) {
        strUsage = " " + pApp->get_name() + strUsage;
    }
    strUsage = Bold("qrx-server" + strUsage);
    for (const CLI::Option* pOption : command.get_options()) {
        if (pOption->get_positional()) strUsage += " " + Italic(pOption->get_name(true));
    }
    return strUsage;
}

// Of one command, then of those below it.
void Describe(const CLI::App& command, std::string& out) {
    const auto isShown = [](const CLI::App* pApp) { return !pApp->get_group().empty(); };
    const auto vecBelow = command.get_subcommands(isShown);
    if (vecBelow.empty()) {
        out += ".SS \"" + Usage(command) + "\"\n" + Text(command.get_description()) + "\n";
    }
    for (const CLI::Option* pOption : command.get_options()) {
        if (!vecBelow.empty() || pOption == command.get_help_ptr()) continue;
        std::string strName =
            pOption->get_positional() ? Italic(pOption->get_name(true)) : Bold(pOption->get_name());
        const bool bValue = !pOption->get_positional() && pOption->get_items_expected_max() > 0;
        if (bValue) strName += " " + Italic(pOption->get_type_name());
        std::string strText = pOption->get_description();
        if (!pOption->get_default_str().empty()) {
            strText += " (default " + pOption->get_default_str() + ")";
        }
        if (pOption->get_required()) strText += " (required)";
        out += Item(strName, Text(strText));
    }
    for (const CLI::App* pBelow : vecBelow) Describe(*pBelow, out);
}

std::string Manual(const CLI::App& app) {
    std::string strPage = Head("qrx-server", app.get_description());
    strPage += Section("SYNOPSIS") + Bold("qrx-server") + " " + Italic("COMMAND") + " [" +
               Italic("OPTION") + " ...]\n" + Section("COMMANDS");
    Describe(app, strPage);
    strPage += Section("EXIT STATUS");
    for (const ExitRow& row : kExitRows) {
        strPage += Item(Bold(std::to_string(row.nCode)), Text(row.szMeaning));
    }
    return strPage + Section("SEE ALSO") + ".BR qrx (1)\n";
}

}  // namespace

void AddManualCommand(CLI::App& app) {
    CLI::App* pCommand = app.add_subcommand("manual", "Print the manual page in roff");
    pCommand->group("");
    pCommand->callback([&app] { std::cout << Manual(app); });
}

}  // namespace qrx::server
