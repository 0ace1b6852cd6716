// Manual pages: one for qrx, with what holds for all commands, and one a command.
#include <algorithm>

#include "app/failure.h"
#include "pages/pages.h"
#include "roff.h"

namespace qrx::cli {
namespace {

using namespace roff;

std::string PageName(const std::string& strCommand) {
    std::string strName = "qrx-" + strCommand;
    std::replace(strName.begin(), strName.end(), ' ', '-');
    return strName;
}

std::string Paragraphs(std::span<const char* const> paragraphs) {
    std::string strOut;
    for (const char* szParagraph : paragraphs) {
        strOut += (strOut.empty() ? "" : ".PP\n") + Text(szParagraph) + "\n";
    }
    return strOut;
}

std::string Options(std::span<const OptionRow> options) {
    std::string strOut;
    for (const OptionRow& row : options) {
        std::string strNames;
        for (const std::string& strName : NamesOf(row)) {
            strNames += (strNames.empty() ? "" : ", ") + Bold(strName);
        }
        if (row.szValue != nullptr) strNames += " " + Italic(row.szValue);
        std::string strChoices;
        for (const std::string& strChoice : ChoicesOf(row)) {
            strChoices += (strChoices.empty() ? "; one of " : ", ") + strChoice;
        }
        strOut += Item(strNames, Text(row.szHelp + strChoices));
    }
    return strOut;
}

std::string Positional(const PositionalRow& row) {
    const std::string strName = Italic(row.szName) + (row.bMany ? " ...\\&" : "");
    return row.bRequired ? strName : "[" + strName + "]\\&";
}

// Of a command: qrx(1) and the others of its group; of qrx itself: all.
std::string SeeAlso(const Command* pSelf) {
    std::vector<std::string> vecNames;
    if (pSelf != nullptr) vecNames.push_back("qrx");
    for (const Command* pCommand : ShownCommands()) {
        if (pCommand == pSelf) continue;
        if (pSelf != nullptr && GroupOf(*pCommand) != GroupOf(*pSelf)) continue;
        vecNames.push_back(PageName(pCommand->szName));
    }
    std::string strOut = Section("SEE ALSO");
    for (const std::string& strName : vecNames) {
        strOut += ".BR " + Text(strName) + (&strName != &vecNames.back() ? " (1),\n" : " (1)\n");
    }
    return strOut;
}

}  // namespace

std::string ManualPage() {
    std::string strOut = Head("qrx", "fetch market history from a server");
    strOut += Section("SYNOPSIS") + ".B qrx\n\\fICOMMAND\\fR [\\fIOPTION\\fR ...]\n";
    strOut += Section("DESCRIPTION") +
              "Fetches code tables, ticks, trades, orders, order queues, bars, futures and formula "
              "columns, and writes them as a table, CSV, JSON lines or tables of SQLite.\n";
    strOut += Section("COMMANDS");
    for (const Command* pCommand : ShownCommands()) {
        strOut += Item(Bold(pCommand->szName), Text(pCommand->szSummary));
    }
    strOut +=
        Section("OUTPUT OPTIONS") + Options(OutputOptions()) + ".PP\n" + Paragraphs(AboutOutput());
    strOut += Section("CONNECTION OPTIONS") + Options(ConnectionOptions());
    strOut += Section("SETTINGS") + Paragraphs(AboutSettings());
    strOut += Section("EXIT STATUS");
    for (const ExitRow& row : kExitRows) {
        strOut += Item(Bold(std::to_string(row.nCode)), Text(row.szMeaning));
    }
    return strOut + SeeAlso(nullptr);
}

std::string ManualPage(const Command& command) {
    std::string strOut = Head(PageName(command.szName), command.szSummary);
    strOut += Section("SYNOPSIS") + ".B qrx " + Text(command.szName) + "\n";
    for (const PositionalRow& row : command.vecPositionals) strOut += Positional(row) + "\n";
    strOut += "[\\fIOPTION\\fR ...]\n";
    if (*command.szMore != '\0' || !command.vecPositionals.empty()) {
        strOut += Section("DESCRIPTION");
        if (*command.szMore != '\0') strOut += Text(command.szMore) + "\n";
        for (const PositionalRow& row : command.vecPositionals) {
            strOut += Item(Positional(row), Text(row.szHelp));
        }
    }
    if (!command.vecOptions.empty()) strOut += Section("OPTIONS") + Options(command.vecOptions);
    strOut += Section("COMMON OPTIONS") +
              "Options of output and connection, settings and exit status are those of\n"
              ".BR qrx (1).\n";
    if (*command.szExamples != '\0') {
        strOut += Section("EXAMPLES") + ".nf\n" + Text(command.szExamples) + "\n.fi\n";
    }
    return strOut + SeeAlso(&command);
}

}  // namespace qrx::cli
