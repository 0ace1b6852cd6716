// Manual pages and shell completions, expanded from the table of commands when the project is
// built.
#ifndef QRX_CLI_PAGES_PAGES_H
#define QRX_CLI_PAGES_PAGES_H

#include <span>
#include <string>
#include <vector>

#include "commands/command.h"

namespace qrx::cli {

// In roff with the macros of man(7).
std::string ManualPage();                        // qrx(1)
std::string ManualPage(const Command& command);  // qrx-ticks(1), qrx-formula-add(1)

std::string BashCompletion();
std::string ZshCompletion();

// -- What the pages are made of ---------------------------------------------------------------

// Those that users see.
std::vector<const Command*> ShownCommands();
// "formula add" is "add" of the group "formula"; "ticks" is of the group "".
std::string GroupOf(const Command& command);
std::string LastWord(const Command& command);
// Of output and connection.
std::vector<OptionRow> SharedOptions();
// "-f,--format" as "-f" and "--format".
std::vector<std::string> NamesOf(const OptionRow& row);
bool TakesFile(const OptionRow& row);
std::vector<std::string> ChoicesOf(const OptionRow& row);
// Those, or else the offers: what shells complete a value with.
std::vector<std::string> WordsOf(const OptionRow& row);
// Whether the value is a list parted by commas.
bool TakesList(const OptionRow& row);
// --columns of a command that names its own, which strOffers then holds.
OptionRow ColumnsOption(const Command& command, std::string& strOffers);

}  // namespace qrx::cli

#endif
