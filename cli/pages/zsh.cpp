// Completion for zsh, with the one-line descriptions of the table.
#include <sstream>

#include "pages/pages.h"
#include "text/words.h"

namespace qrx::cli {
namespace {

// Inside single quotes of the shell.
std::string Quote(const std::string& strText) {
    std::string strOut = "'";
    for (const char ch : strText) strOut += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
    return strOut + "'";
}

// Inside an argument of _arguments, where colons and brackets part the pieces.
std::string Plain(const std::string& strText) {
    std::string strOut;
    for (const char ch : strText) {
        if (ch == ':' || ch == '[' || ch == ']' || ch == '\\') strOut += '\\';
        strOut += ch;
    }
    return strOut;
}

void Option(const OptionRow& row, std::ostringstream& out) {
    std::string strAction;
    if (row.szValue != nullptr) {
        strAction = ":" + Plain(row.szValue) + ":";
        if (TakesFile(row)) strAction += "_files";
        if (const std::string strWords = Joined(WordsOf(row), " "); !strWords.empty()) {
            strAction += TakesList(row) ? "_values -s , " + Plain(row.szValue) + " " + strWords
                                        : "(" + strWords + ")";
        }
    }
    for (const std::string& strName : NamesOf(row)) {
        // Either "--name VALUE" or "--name=VALUE".
        const char* szEquals = row.szValue != nullptr && strName.starts_with("--") ? "=" : "";
        out << "        " << Quote(strName + szEquals + "[" + Plain(row.szHelp) + "]" + strAction)
            << "\n";
    }
}

void Described(const std::string& strWord, const char* szSummary, std::ostringstream& out) {
    out << "            " << Quote(Plain(strWord) + ":" + szSummary) << "\n";
}

// A function that completes the words of a group ("" for the first words) and hands over to those
// of the commands, which complete all options behind their name (-A): --columns differs.
void Group(const std::string& strGroup, std::ostringstream& out) {
    const std::string strFunction = "_qrx" + (strGroup.empty() ? "" : "_" + strGroup);
    out << strFunction
        << "() {\n"
           "    local context state state_descr line\n"
           "    local -a own\n"
           "    typeset -A opt_args\n"
           "    _arguments -C -A '-*' $_qrx_shared '1:command:->command' "
           "'*::argument:->arguments'\n"
           "    case $state in\n"
           "    command)\n"
           "        local -a commands\n"
           "        commands=(\n";
    if (strGroup.empty()) {
        for (const GroupRow& row : Groups()) Described(row.szName, row.szSummary, out);
    }
    for (const Command* pCommand : ShownCommands()) {
        if (GroupOf(*pCommand) == strGroup) {
            Described(LastWord(*pCommand), pCommand->szSummary, out);
        }
    }
    out << "        )\n"
           "        _describe -t commands command commands\n"
           "        ;;\n"
           "    arguments)\n"
           "        case $line[1] in\n";
    if (strGroup.empty()) {
        for (const GroupRow& row : Groups()) {
            out << "        " << row.szName << ") _qrx_" << row.szName << " ;;\n";
        }
    }
    for (const Command* pCommand : ShownCommands()) {
        if (GroupOf(*pCommand) != strGroup) continue;
        std::ostringstream options;
        for (const OptionRow& row : pCommand->vecOptions) Option(row, options);
        std::string strOffers;
        // Its own --columns in place of that of all.
        const bool bColumns = pCommand->pfnColumns != nullptr;
        if (bColumns) Option(ColumnsOption(*pCommand, strOffers), options);
        std::string strPositionals;
        for (const PositionalRow& row : pCommand->vecPositionals) {
            strPositionals += " '" + std::string(row.bMany ? "*" : "") + ":" + row.szName + ":()'";
        }
        out << "        " << LastWord(*pCommand) << ")\n            own=(\n"
            << options.str() << "            )\n            _arguments "
            << (bColumns ? "${_qrx_shared:#--columns*}" : "$_qrx_shared") << " $own"
            << strPositionals << "\n            ;;\n";
    }
    out << "        esac\n"
           "        ;;\n"
           "    esac\n"
           "}\n";
}

}  // namespace

std::string ZshCompletion() {
    std::ostringstream out;
    out << "#compdef qrx\n"
           "# Completion of qrx for zsh; made from its table of commands.\n"
           "typeset -ga _qrx_shared\n"
           "_qrx_shared=(\n";
    for (const OptionRow& row : SharedOptions()) Option(row, out);
    out << "        '--help[show what can be typed]'\n)\n";
    for (const GroupRow& row : Groups()) Group(row.szName, out);
    Group("", out);
    out << "_qrx \"$@\"\n";
    return out.str();
}

}  // namespace qrx::cli
