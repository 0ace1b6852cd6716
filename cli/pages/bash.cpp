// Completion for bash: commands, options, and the values of options where they are a choice or a
// file. The script needs bash alone.
#include <map>
#include <set>
#include <sstream>

#include "pages/pages.h"
#include "text/words.h"

namespace qrx::cli {
namespace {

std::vector<std::string> NamesOfAll(const std::vector<OptionRow>& vecRows) {
    std::vector<std::string> vecNames;
    for (const OptionRow& row : vecRows) {
        for (const std::string& strName : NamesOf(row)) vecNames.push_back(strName);
    }
    return vecNames;
}

// The pattern of a case for "COMMAND OPTION"; without a command: of every one.
std::string Pattern(const char* szCommand, const OptionRow& row) {
    std::vector<std::string> vecPatterns;
    for (const std::string& strName : NamesOf(row)) {
        vecPatterns.push_back(szCommand != nullptr
                                  ? std::string("\"") + szCommand + " " + strName + "\""
                                  : "*\" " + strName + "\"");
    }
    return Joined(vecPatterns, "|");
}

// What completes the value of an option; of a flag nothing, since it has none.
void ValueCase(const char* szCommand, const OptionRow& row, std::ostringstream& out) {
    if (row.szValue == nullptr) return;
    out << "        " << Pattern(szCommand, row) << ")\n            ";
    if (TakesFile(row)) {
        out << "_qrx_files \"$current\"\n            return\n";
    } else if (const std::string strWords = Joined(WordsOf(row), " "); strWords.empty()) {
        out << "return\n";
    } else if (TakesList(row)) {
        out << "_qrx_list '" << strWords << "' \"$current\"\n            return\n";
    } else {
        out << "COMPREPLY=($(compgen -W '" << strWords
            << "' -- \"$current\"))\n            return\n";
    }
    out << "            ;;\n";
}

}  // namespace

std::string BashCompletion() {
    const std::vector<OptionRow> vecShared = SharedOptions();
    std::set<std::string> withValue;
    std::map<std::string, std::vector<std::string>> groups;  // "" holds the first words
    const auto remember = [&](const OptionRow& row) {
        if (row.szValue == nullptr) return;
        for (const std::string& strName : NamesOf(row)) withValue.insert(strName);
    };
    for (const OptionRow& row : vecShared) remember(row);
    for (const GroupRow& row : Groups()) groups[""].push_back(row.szName);
    for (const Command* pCommand : ShownCommands()) {
        groups[GroupOf(*pCommand)].push_back(LastWord(*pCommand));
        for (const OptionRow& row : pCommand->vecOptions) remember(row);
    }

    std::ostringstream out;
    out << "# Completion of qrx for bash; made from its table of commands.\n"
           "_qrx_files() {\n"
           "    local line\n"
           "    compopt -o filenames 2>/dev/null\n"
           "    while IFS= read -r line; do COMPREPLY+=(\"$line\"); done < <(compgen -f -- "
           "\"$1\")\n"
           "}\n"
           "# The last word of a list parted by commas.\n"
           "_qrx_list() {\n"
           "    local before=\n"
           "    [[ $2 != *,* ]] || before=${2%,*},\n"
           "    compopt -o nospace 2>/dev/null\n"
           "    COMPREPLY=($(compgen -P \"$before\" -W \"$1\" -- \"${2##*,}\"))\n"
           "}\n"
           "_qrx() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local command= skip= word words i\n"
           "    COMPREPLY=()\n"
           "    # --format=csv comes as three words.\n"
           "    if [[ $current == = ]]; then\n"
           "        current=\n"
           "    elif [[ $previous == = ]]; then\n"
           "        previous=${COMP_WORDS[COMP_CWORD-2]}\n"
           "    fi\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        word=${COMP_WORDS[i]}\n"
           "        if [[ -n $skip && $word != = ]]; then skip=; continue; fi\n"
           "        case $word in\n"
           "        "
        << Joined({withValue.begin(), withValue.end()}, "|")
        << ") skip=1 ;;\n"
           "        esac\n"
           "        case \"$command $word\" in\n";
    for (const auto& [strGroup, vecWords] : groups) {
        for (const std::string& strWord : vecWords) {
            const std::string strFull = strGroup.empty() ? strWord : strGroup + " " + strWord;
            out << "        \"" << strGroup << " " << strWord << "\") command=\"" << strFull
                << "\" ;;\n";
        }
    }
    out << "        esac\n"
           "    done\n"
           "    case \"$command $previous\" in\n";
    for (const Command* pCommand : ShownCommands()) {
        for (const OptionRow& row : pCommand->vecOptions) ValueCase(pCommand->szName, row, out);
        if (pCommand->pfnColumns == nullptr) continue;
        std::string strOffers;
        ValueCase(pCommand->szName, ColumnsOption(*pCommand, strOffers), out);
    }
    for (const OptionRow& row : vecShared) ValueCase(nullptr, row, out);
    out << "    esac\n"
           "    words='"
        << Joined(NamesOfAll(vecShared), " ")
        << " --help'\n"
           "    case $command in\n";
    for (const auto& [strGroup, vecWords] : groups) {
        out << "    \"" << strGroup << "\") [[ $current == -* ]] || words='"
            << Joined(vecWords, " ") << "' ;;\n";
    }
    for (const Command* pCommand : ShownCommands()) {
        out << "    \"" << pCommand->szName << "\") words+=' "
            << Joined(NamesOfAll(pCommand->vecOptions), " ") << "' ;;\n";
    }
    out << "    esac\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -F _qrx qrx\n";
    return out.str();
}

}  // namespace qrx::cli
