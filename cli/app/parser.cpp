// Expands the table of commands into a CLI11 parser. What the values mean is the commands'
// business.
#include "app/parser.h"

#include <qrx/version.h>

#include <CLI/CLI.hpp>
#include <deque>
#include <sstream>

#include "app/failure.h"
#include "text/nearest.h"
#include "text/words.h"

namespace qrx::cli {
namespace {

// One option of the parser with the place that CLI11 writes its value to.
struct Binding {
    const char* szKey;
    CLI::Option* pOption = nullptr;
    std::string strValue{};
    std::vector<std::string> vecValues{};  // of a positional with several words
    bool bFlag = false;
};
using Bindings = std::deque<Binding>;  // CLI11 keeps addresses of the elements

void AddOption(CLI::App& app, const OptionRow& row, const char* szGroup, Bindings& bindings) {
    Binding& binding = bindings.emplace_back(Binding{row.Key()});
    if (row.szValue == nullptr) {
        binding.pOption = app.add_flag(row.szName, binding.bFlag, row.szHelp);
    } else {
        binding.pOption = app.add_option(row.szName, binding.strValue, row.szHelp);
        binding.pOption->type_name(row.szValue);
    }
    if (row.szChoices != nullptr) {
        binding.pOption->type_name(row.szChoices);
        binding.pOption->check([&row](const std::string& strValue) -> std::string {
            for (const std::string& strChoice : Split(row.szChoices, '|')) {
                if (strValue == strChoice) return {};
            }
            return strValue + " is not one of " + row.szChoices;
        });
    }
    binding.pOption->group(szGroup);
}

void AddCommand(CLI::App& app, const Command& command, Bindings& bindings) {
    for (const PositionalRow& row : command.vecPositionals) {
        Binding& binding = bindings.emplace_back(Binding{row.szName});
        binding.pOption = row.bMany ? app.add_option(row.szName, binding.vecValues, row.szHelp)
                                    : app.add_option(row.szName, binding.strValue, row.szHelp);
        binding.pOption->type_name("");
    }
    for (const OptionRow& row : command.vecOptions) AddOption(app, row, "Options", bindings);
}

// Broken between words so that lines fit a terminal of 80 columns.
std::string Wrapped(const std::string& strText) {
    constexpr size_t kColumns = 79;
    std::string strOut;
    size_t nLine = 0;
    std::istringstream words(strText);
    for (std::string strWord; words >> strWord;) {
        const bool bFits = nLine + 1 + strWord.size() <= kColumns;
        if (nLine > 0) strOut += bFits ? ' ' : '\n';
        nLine = nLine > 0 && bFits ? nLine + 1 + strWord.size() : strWord.size();
        strOut += strWord;
    }
    return strOut + "\n";
}

std::string Footer() {
    std::ostringstream text;
    for (const auto about : {AboutOutput(), AboutSettings()}) {
        for (const char* szParagraph : about) text << Wrapped(szParagraph) << "\n";
    }
    text << "Exit codes:\n";
    for (const ExitRow& row : kExitRows) {
        text << "  " << std::setw(4) << std::left << static_cast<int>(row.nCode) << row.szMeaning
             << "\n";
    }
    return text.str();
}

std::string Footer(const Command& command) {
    std::string strText;
    if (*command.szMore != '\0') strText += Wrapped(command.szMore) + "\n";
    if (*command.szExamples != '\0') {
        strText += "Examples:\n";
        for (const std::string& strLine : Split(command.szExamples, '\n')) {
            strText += "  " + strLine + "\n";
        }
        strText += "\n";
    }
    return strText + "Options of output and connection, and exit codes: qrx --help\n";
}

// With the nearest name, if it is near at all.
std::string Lacks(const std::string& strWho, const char* szWhat, const std::string& strWord,
                  const std::vector<std::string>& vecNames) {
    const std::string strNearest = Nearest(strWord, vecNames);
    const bool bNear = 2 * EditDistance(strWord, strNearest) <= static_cast<int>(strWord.size());
    return strWho + " has no " + szWhat + " \"" + strWord + "\"" +
           (bNear ? "; the nearest is \"" + strNearest + "\"" : "");
}

// A word that is no command of the line's, or an option that its command lacks, or ""
// when it is something else that is wrong.
std::string Unknown(const CLI::App& app) {
    std::string strCommand = app.get_name();
    std::vector<std::string> vecCommands;
    std::vector<std::string> vecOptions;  // those of the command before those of all
    for (const CLI::App* pApp = &app; pApp != nullptr;) {
        for (const CLI::Option* pOption : pApp->get_options()) {
            for (const std::string& strLong : pOption->get_lnames()) {
                vecOptions.insert(vecOptions.begin(), "--" + strLong);
            }
        }
        vecCommands.clear();
        for (const CLI::App* pNext : pApp->get_subcommands([](const CLI::App*) { return true; })) {
            if (!pNext->get_group().empty()) vecCommands.push_back(pNext->get_name());
        }
        const auto vecGiven = pApp->get_subcommands();
        pApp = vecGiven.empty() ? nullptr : vecGiven.front();
        if (pApp != nullptr) strCommand += " " + pApp->get_name();
    }
    for (const std::string& strWord : app.remaining(true)) {
        if (strWord.starts_with("--")) {
            return Lacks(strCommand, "option", strWord.substr(0, strWord.find('=')), vecOptions);
        }
        if (!strWord.starts_with("-") && !vecCommands.empty()) {
            return Lacks(strCommand, "command", strWord, vecCommands);
        }
    }
    if (vecCommands.empty()) return {};
    return "a command is needed, such as " + strCommand + " " + vecCommands.front();
}

}  // namespace

Parsed Parse(int argc, char** argv) {
    CLI::App app("Fetches market history: codes, ticks, trades, orders, bars, futures, formulas.",
                 "qrx");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", std::string("qrx ") + QRX_VERSION_STRING);
    app.footer(Footer());

    Bindings shared;
    for (const OptionRow& row : OutputOptions()) AddOption(app, row, "Output", shared);
    for (const OptionRow& row : ConnectionOptions()) AddOption(app, row, "Connection", shared);

    std::map<std::string, CLI::App*> groups;
    const auto group = [&](const std::string& strName) -> CLI::App& {
        CLI::App*& pGroup = groups[strName];
        if (pGroup != nullptr) return *pGroup;
        for (const GroupRow& row : Groups()) {
            if (strName == row.szName) pGroup = app.add_subcommand(row.szName, row.szSummary);
        }
        pGroup->require_subcommand(1);
        pGroup->fallthrough();
        return *pGroup;
    };
    struct Added {
        const Command* pCommand;
        CLI::App* pApp;
        Bindings bindings;
    };
    std::deque<Added> commands;
    for (const Command& command : Commands()) {
        const std::vector<std::string> words = Split(command.szName, ' ');
        CLI::App& parent = words.size() > 1 ? group(words[0]) : app;
        CLI::App* pApp = parent.add_subcommand(words.back(), command.szSummary);
        pApp->fallthrough();
        pApp->footer(Footer(command));
        if ((command.nTraits & Command::Hidden) != 0) pApp->group("");
        Added& added = commands.emplace_back(Added{&command, pApp, {}});
        AddCommand(*pApp, command, added.bindings);
    }

    Parsed parsed;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        std::ostringstream text;
        app.exit(success, text, text);
        parsed.strText = text.str();
        return parsed;
    } catch (const CLI::ParseError& error) {
        std::string strText;
        const int nCode = error.get_exit_code();
        if (nCode == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
            nCode == static_cast<int>(CLI::ExitCodes::RequiredError)) {
            strText = Unknown(app);
        }
        if (strText.empty()) strText = error.what();
        if (const size_t nEnd = strText.find('\n'); nEnd != std::string::npos) strText.resize(nEnd);
        RefuseUsage(strText + "; see qrx --help");
    }
    const auto collect = [&](const Bindings& bindings) {
        for (const Binding& binding : bindings) {
            if (binding.pOption->count() == 0) continue;
            std::string strValue = binding.strValue;
            for (const std::string& strWord : binding.vecValues) {
                strValue += (strValue.empty() ? "" : ",") + strWord;
            }
            // As from a variable of a script that was never set.
            if (strValue.empty() && std::string_view(binding.szKey) == "--output") {
                RefuseUsage("-o: the name of the file is empty; write - for standard output");
            }
            parsed.arguments.Set(binding.szKey, strValue);
        }
    };
    collect(shared);
    for (const Added& added : commands) {
        if (!added.pApp->parsed()) continue;
        parsed.pCommand = added.pCommand;
        collect(added.bindings);
        for (const PositionalRow& row : added.pCommand->vecPositionals) {
            if (row.bRequired && parsed.arguments.Get(row.szName).empty()) {
                RefuseUsage("qrx " + std::string(added.pCommand->szName) + " needs " + row.szName +
                            ": " + row.szHelp);
            }
        }
    }
    return parsed;
}

}  // namespace qrx::cli
