// Expands the table of commands into a CLI11 parser. What the values mean is the commands'
// business.
#include "app/parser.h"

#include <qrx/version.h>

#include <CLI/CLI.hpp>
#include <cctype>
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

// What of the line was understood: its command, and what might have stood there.
struct Understood {
    std::string strCommand;  // "qrx formula"
    const CLI::App* pCommand = nullptr;
    std::vector<const CLI::Option*> vecOptions;  // those of the command before those of all
};

Understood Understand(const CLI::App& app) {
    Understood line{app.get_name(), &app, app.get_options()};
    for (auto vecGiven = app.get_subcommands(); !vecGiven.empty();
         vecGiven = line.pCommand->get_subcommands()) {
        line.pCommand = vecGiven.front();
        line.strCommand += " " + line.pCommand->get_name();
        const auto vecMore = line.pCommand->get_options();
        line.vecOptions.insert(line.vecOptions.begin(), vecMore.begin(), vecMore.end());
    }
    return line;
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* p) { return !p->get_group().empty(); });
}

std::string NoCommand(const Understood& line, const std::string& strWord) {
    std::vector<std::string> vecNames;
    for (const CLI::App* pNext : CommandsOf(*line.pCommand)) {
        for (const CLI::App* pInGroup : CommandsOf(*pNext)) {
            if (pInGroup->get_name() != strWord) continue;
            return line.strCommand + " has no command \"" + strWord + "\"; it is \"" +
                   pNext->get_name() + " " + strWord + "\"";
        }
        vecNames.push_back(pNext->get_name());
    }
    return Lacks(line.strCommand, "command", strWord, vecNames);
}

std::string NoOption(const Understood& line, const std::string& strWord) {
    std::vector<std::string> vecNames;
    for (const CLI::Option* pOption : line.vecOptions) {
        for (const std::string& strLong : pOption->get_lnames()) vecNames.push_back("--" + strLong);
    }
    return Lacks(line.strCommand, "option", strWord.substr(0, strWord.find('=')), vecNames);
}

// A word after all that the command takes.
std::string OneTooMany(const Understood& line, const std::string& strWord) {
    std::string strTakes;
    for (const CLI::Option* pOption : line.pCommand->get_options()) {
        if (!pOption->get_positional()) continue;
        strTakes += (strTakes.empty() ? "one " : " and one ") + pOption->get_name();
    }
    if (strTakes.empty()) return line.strCommand + " takes no words; leave \"" + strWord + "\" out";
    const bool bExported =
        strTakes == "one CODE" && line.pCommand->get_option_no_throw("--from") != nullptr;
    return line.strCommand + " takes " + strTakes + ", and \"" + strWord +
           "\" is one word too many; write a command for each" +
           (bExported ? ", or qrx export for several" : "");
}

// Words that stand for nothing, or a line that lacks its command.
std::string Unknown(const CLI::App& app) {
    const Understood line = Understand(app);
    const std::string strSee = "; see " + line.strCommand + " --help";
    const auto vecCommands = CommandsOf(*line.pCommand);
    const std::vector<std::string> vecWords = app.remaining(true);
    for (const std::string& strWord : vecWords) {
        const bool bOption = strWord.size() > 1 && strWord[0] == '-' &&
                             std::isdigit(static_cast<unsigned char>(strWord[1])) == 0;
        if (bOption) return NoOption(line, strWord) + strSee;
        if (!vecCommands.empty()) return NoCommand(line, strWord) + strSee;
    }
    if (!vecWords.empty()) return OneTooMany(line, vecWords.front());
    if (vecCommands.empty()) return {};
    return "a command is needed, such as " + line.strCommand + " " +
           vecCommands.front()->get_name() + strSee;
}

// An option without its value, or twice.
std::string Mismatched(const CLI::App& app, const std::string& strError) {
    for (const CLI::Option* pOption : Understand(app).vecOptions) {
        const std::string strName = pOption->get_name();
        if (!strError.starts_with(strName + ":")) continue;
        const std::string strValue = pOption->get_type_name();
        const size_t nTimes = pOption->results().size();
        if (nTimes < 2) {
            return strName + " lacks its value " + strValue + ": " + pOption->get_description();
        }
        return strName + " is given " + std::to_string(nTimes) + " times; write it once" +
               (strValue.find(',') != std::string::npos ? ", as " + strName + " " + strValue : "");
    }
    return {};
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
        const int nCode = error.get_exit_code();
        std::string strText;
        if (nCode == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
            nCode == static_cast<int>(CLI::ExitCodes::RequiredError)) {
            strText = Unknown(app);
        } else if (nCode == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
            strText = Mismatched(app, error.what());
        }
        if (!strText.empty()) RefuseUsage(strText);
        strText = error.what();
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
