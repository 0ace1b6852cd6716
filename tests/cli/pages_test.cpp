// Manual pages through the formatter, completions through the shells themselves.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace qrx::test {
namespace {

namespace fs = std::filesystem;
const fs::path kPages = QRX_BUILD_DIR "/cli/pages";

std::string OutputOf(const std::string& strCommand) {
    std::string strOut;
    FILE* pPipe = popen((strCommand + " 2>&1").c_str(), "r");
    char bytes[4096];
    for (size_t n; (n = fread(bytes, 1, sizeof bytes, pPipe)) > 0;) strOut.append(bytes, n);
    pclose(pPipe);
    return strOut;
}

bool Have(const char* szProgram) {
    return !OutputOf(std::string("command -v ") + szProgram).empty();
}

TEST(Pages, TheFormatterHasNothingToSay) {
    if (!Have("groff")) GTEST_SKIP() << "groff is not installed";
    int nPages = 0;
    for (const auto& entry : fs::directory_iterator(kPages / "man")) {
        const std::string strPage = entry.path().string();
        EXPECT_EQ(OutputOf("groff -man -ww -z -Tutf8 " + strPage), "") << strPage;
        ++nPages;
    }
    EXPECT_EQ(nPages, 15);  // qrx itself, ten commands, those of formula being five, and doctor
    const std::string strText =
        OutputOf("groff -man -Tascii -P-cbou " + (kPages / "man/qrx.1").string());
    for (const char* szPart :
         {"--password-file FILE", "~/.config/qrx/config", "130    interrupted"}) {
        EXPECT_NE(strText.find(szPart), std::string::npos) << szPart << "\n" << strText;
    }
}

TEST(Completion, Bash) {
    struct Case {
        const char* szWords;  // the last one is being typed
        const char* szOffered;
    };
    const Case kCases[] = {
        {"f", "formula futures"},
        {"formula \"\"", "add list show delete calc"},
        {"formula calc MACD --adj", "--adjust"},
        {"formula calc MACD --adjust \"\"", "none backward"},
        {"bars --adjust f", "forward"},
        {"bars X --adjust-", "--adjust-date --adjust-volume"},
        {"--format = j", "jsonl"},
        {"--format =", "table csv jsonl sqlite"},
        {"-f csv --server ticks tr", "trades"},
        {"ticks --lim", "--limit"},
        {"ticks -o /usr/includ", "/usr/include"},
        {"ticks --from 2", ""},
        {"pag", ""},
    };
    for (const Case& test : kCases) {
        const std::string strScript = "source " + (kPages / "bash/qrx").string() +
                                      "; COMP_WORDS=(qrx " + test.szWords +
                                      "); COMP_CWORD=$((${#COMP_WORDS[@]}-1)); _qrx; "
                                      "printf %s \"${COMPREPLY[*]}\"";
        EXPECT_EQ(OutputOf("bash -c '" + strScript + "'"), test.szOffered) << test.szWords;
    }
}

// What a terminal shows after each line was typed up to the tabulator.
TEST(Completion, Zsh) {
    if (!Have("zsh")) GTEST_SKIP() << "zsh is not installed";
    const fs::path script = fs::temp_directory_path() / ("qrx-zsh-" + std::to_string(getpid()));
    FILE* pScript = fopen(script.c_str(), "w");
    fprintf(
        pScript,
        "zmodload zsh/zpty; zpty z 'TERM=dumb zsh -f -i'\n"
        "zpty -w z 'PS1=; fpath=(%s $fpath); autoload -Uz compinit; compinit -u -D; bindkey \"^I\" "
        "expand-or-complete; print READY'\n"
        "zpty -r -m z x $'*\\nREADY*' || true\n"
        "for line in 'doc' 'ticks --boo' 'formula del' 'bars --adjust=forw'; do\n"
        "  zpty -w -n z $'\\x15'\"qrx $line\"$'\\t'; sleep 1\n"
        "done\n"
        "while zpty -r -t z x; do print -rn -- $x; done\n",
        (kPages / "zsh").c_str());
    fclose(pScript);
    const std::string strScreen = OutputOf("zsh -f " + script.string());
    fs::remove(script);
    for (const char* szLine :
         {"doctor", "ticks --book", "formula delete", "bars --adjust=forward"}) {
        EXPECT_NE(strScreen.find(szLine), std::string::npos) << szLine << "\n" << strScreen;
    }
}

}  // namespace
}  // namespace qrx::test
