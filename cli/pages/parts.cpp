// The table of commands, taken apart for the pages.
#include <algorithm>
#include <cstring>

#include "pages/pages.h"
#include "text/words.h"

namespace qrx::cli {

std::vector<const Command*> ShownCommands() {
    std::vector<const Command*> vecShown;
    for (const Command& command : Commands()) {
        if ((command.nTraits & Command::Hidden) == 0) vecShown.push_back(&command);
    }
    return vecShown;
}

std::string GroupOf(const Command& command) {
    const std::string strName = command.szName;
    const size_t nBlank = strName.find(' ');
    return nBlank != std::string::npos ? strName.substr(0, nBlank) : "";
}

std::string LastWord(const Command& command) {
    const std::string strName = command.szName;
    return strName.substr(strName.find(' ') + 1);
}

std::vector<OptionRow> SharedOptions() {
    std::vector<OptionRow> vecRows(OutputOptions().begin(), OutputOptions().end());
    vecRows.insert(vecRows.end(), ConnectionOptions().begin(), ConnectionOptions().end());
    return vecRows;
}

std::vector<std::string> NamesOf(const OptionRow& row) {
    return Split(row.szName, ',');
}

bool TakesFile(const OptionRow& row) {
    return row.szValue != nullptr && row.szValue == std::string("FILE");
}

std::vector<std::string> ChoicesOf(const OptionRow& row) {
    return row.szChoices != nullptr ? Split(row.szChoices, '|') : std::vector<std::string>();
}

bool TakesList(const OptionRow& row) {
    return row.szValue != nullptr && strchr(row.szValue, ',') != nullptr;
}

OptionRow ColumnsOption(const Command& command, std::string& strOffers) {
    for (const std::string& strName : command.pfnColumns()) {
        strOffers += (strOffers.empty() ? "" : "|") + strName;
    }
    OptionRow row = *std::ranges::find_if(OutputOptions(), [](const OptionRow& option) {
        return std::string("--columns") == option.Key();
    });
    row.szOffers = strOffers.c_str();
    return row;
}

std::vector<std::string> WordsOf(const OptionRow& row) {
    return row.szOffers != nullptr ? Split(row.szOffers, '|') : ChoicesOf(row);
}

}  // namespace qrx::cli
