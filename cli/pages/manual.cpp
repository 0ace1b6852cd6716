// Manual pages: one for qrx, with what holds for all commands, and one a command.
#include <qrx/version.h>

#include <algorithm>

#include "app/failure.h"
#include "pages/pages.h"

namespace qrx::cli {
namespace {

// A text in roff: its characters as they are, dashes as ASCII, no line taken for a request.
std::string Roff(const std::string& strText) {
    std::string strOut;
    for (const char ch : strText) {
        if ((ch == '.' || ch == '\'') && (strOut.empty() || strOut.back() == '\n')) {
            strOut += "\\&";
        }
        switch (ch) {
            case '\\':
                strOut += "\\e";
                break;
            case '-':
                strOut += "\\-";
                break;
            case '~':
                strOut += "\\(ti";
                break;
            default:
                strOut += ch;
        }
    }
    return strOut;
}

std::string Upper(std::string strText) {
    for (char& ch : strText) ch = static_cast<char>(toupper(static_cast<unsigned char>(ch)));
    return strText;
}

std::string PageName(const std::string& strCommand) {
    std::string strName = "qrx-" + strCommand;
    std::replace(strName.begin(), strName.end(), ' ', '-');
    return strName;
}

std::string Head(const std::string& strName, const std::string& strSummary) {
    return ".TH " + Upper(Roff(strName)) +
           " 1 \"\" \"qrx " QRX_VERSION_STRING "\" \"Market history\"\n.SH NAME\n" + Roff(strName) +
           " \\- " + Roff(strSummary) + "\n";
}

std::string Section(const char* szTitle) {
    return std::string(".SH ") + szTitle + "\n";
}

std::string Paragraphs(std::span<const char* const> paragraphs) {
    std::string strOut;
    for (const char* szParagraph : paragraphs) {
        strOut += (strOut.empty() ? "" : ".PP\n") + Roff(szParagraph) + "\n";
    }
    return strOut;
}

std::string Options(std::span<const OptionRow> options) {
    std::string strOut;
    for (const OptionRow& row : options) {
        strOut += ".TP\n";
        std::string strNames;
        for (const std::string& strName : NamesOf(row)) {
            strNames += (strNames.empty() ? "" : ", ") + ("\\fB" + Roff(strName) + "\\fR");
        }
        strOut += strNames;
        if (row.szValue != nullptr) strOut += std::string(" \\fI") + Roff(row.szValue) + "\\fR";
        strOut += "\n" + Roff(row.szHelp);
        std::string strChoices;
        for (const std::string& strChoice : ChoicesOf(row)) {
            strChoices += (strChoices.empty() ? "" : ", ") + strChoice;
        }
        if (!strChoices.empty()) strOut += "; one of " + Roff(strChoices);
        strOut += "\n";
    }
    return strOut;
}

std::string Positional(const PositionalRow& row) {
    const std::string strName =
        std::string("\\fI") + row.szName + "\\fR" + (row.bMany ? " ...\\&" : "");
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
        strOut += ".BR " + Roff(strName) + (&strName != &vecNames.back() ? " (1),\n" : " (1)\n");
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
        strOut += ".TP\n.B " + Roff(pCommand->szName) + "\n" + Roff(pCommand->szSummary) + "\n";
    }
    strOut +=
        Section("OUTPUT OPTIONS") + Options(OutputOptions()) + ".PP\n" + Paragraphs(AboutOutput());
    strOut += Section("CONNECTION OPTIONS") + Options(ConnectionOptions());
    strOut += Section("SETTINGS") + Paragraphs(AboutSettings());
    strOut += Section("EXIT STATUS");
    for (const ExitRow& row : kExitRows) {
        strOut += ".TP\n.B " + std::to_string(row.nCode) + "\n" + Roff(row.szMeaning) + "\n";
    }
    return strOut + SeeAlso(nullptr);
}

std::string ManualPage(const Command& command) {
    std::string strOut = Head(PageName(command.szName), command.szSummary);
    strOut += Section("SYNOPSIS") + ".B qrx " + Roff(command.szName) + "\n";
    for (const PositionalRow& row : command.vecPositionals) strOut += Positional(row) + "\n";
    strOut += "[\\fIOPTION\\fR ...]\n";
    if (*command.szMore != '\0' || !command.vecPositionals.empty()) {
        strOut += Section("DESCRIPTION");
        if (*command.szMore != '\0') strOut += Roff(command.szMore) + "\n";
        for (const PositionalRow& row : command.vecPositionals) {
            strOut += ".TP\n" + Positional(row) + "\n" + Roff(row.szHelp) + "\n";
        }
    }
    if (!command.vecOptions.empty()) strOut += Section("OPTIONS") + Options(command.vecOptions);
    strOut += Section("COMMON OPTIONS") +
              "Options of output and connection, settings and exit status are those of\n"
              ".BR qrx (1).\n";
    if (*command.szExamples != '\0') {
        strOut += Section("EXAMPLES") + ".nf\n" + Roff(command.szExamples) + "\n.fi\n";
    }
    return strOut + SeeAlso(&command);
}

}  // namespace qrx::cli
