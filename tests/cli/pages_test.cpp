// Manual pages that groff takes without a word and that hold what --help shows; completions typed
// into real shells.
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/terminal.h"
#include "support/server_process.h"

namespace qrx::test {
namespace {

std::string OutputOf(const std::string& strCommand) {
    FILE* pPipe = popen(strCommand.c_str(), "r");
    std::string strText;
    char bytes[4096];
    for (size_t n; (n = fread(bytes, 1, sizeof bytes, pPipe)) > 0;) strText.append(bytes, n);
    pclose(pPipe);
    return strText;
}

// Keys up to a tab, or two for a list, and what the shell makes of them.
struct Typed {
    const char* szKeys;
    const char* szShown;
};
constexpr Typed kTyped[] = {{"qrx fut\t", "qrx futures "},
                            {"qrx formula c\t", "qrx formula calc "},
                            {"qrx ticks --boo\t", "qrx ticks --book "},
                            {"qrx --user me tra\t", "trades "},
                            {"qrx bars 600000.SH --adjust b\t", "--adjust backward "},
                            {"qrx bars --chart-style u\t", "unicode "},
                            {"qrx codes -f js\t", "-f jsonl "},
                            {"qrx codes --format=sq\t", "--format=sqlite "},
                            {"qrx export --codes-from my\t", "--codes-from my\\ codes.txt "},
                            {"qrx export --restart --codes-f\t", "--codes-from"},
                            {"qrx export --kinds ticks,queu\t", "ticks,queues"},
                            {"qrx bars --cycle mo\t", "--cycle month "},
                            {"qrx queues --columns time,sid\t", "time,side"},
                            {"qrx trades --columns=volu\t", "--columns=volume"},
                            {"qrx doctor --da\t", "--date"},
                            {"qrx formula \t\t", "delete"},
                            {"qrx q\t", "qrx queues "}};

class Pages : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_cli.Run("pages made"), 0) << m_cli.Err(); }
    std::string Path(const char* szName) const {
        return (m_cli.Folder() / "made" / szName).string();
    }

    // Types into a shell that has loaded the completions.
    void Completes(const std::vector<std::string>& vecShell, const std::string& strLoad) {
        std::ofstream(m_cli.Folder() / "my codes.txt") << "600000.SH\n";
        for (const auto& [szName, szValue] :
             {std::pair{"TERM", "dumb"}, {"LC_ALL", "C"}, {"PS1", "> "}}) {
            m_cli.Set(szName, szValue);
        }
        Terminal shell(vecShell, m_cli);
        shell.Type("cd " + m_cli.Folder().string() + "; " + strLoad + "; echo re''ady\n", "ready");
        for (const Typed& test : kTyped) {
            const std::string strScreen = shell.Type(test.szKeys, test.szShown);
            EXPECT_NE(strScreen.find(test.szShown), std::string::npos) << test.szKeys << strScreen;
            shell.Type("\x15 echo do''ne\n", "done");  // the line away
        }
    }

    Cli m_cli{1};
};

TEST_F(Pages, ManualsHoldWhatHelpShows) {
    if (access("/usr/bin/groff", X_OK) != 0) GTEST_SKIP() << "groff is not installed";
    const fs::path folder = Path("man");
    int nPages = 0;
    int nAll = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        ++nPages;
        const std::string strFile = entry.path(), strName = entry.path().stem();
        std::string strCommand = strName.substr(strName == "qrx" ? 3 : 4);
        std::ranges::replace(strCommand, '-', ' ');  // formula-add
        EXPECT_EQ(OutputOf("groff -man -Tutf8 -ww -z " + strFile + " 2>&1"), "");
        // A terminal that breaks no line, and no bold and underlined characters.
        const std::string strShown =
            OutputOf("groff -man -Tascii -P-cbou -rHY=0 -rLL=9000n " + strFile);
        ASSERT_EQ(m_cli.Run(strCommand + " --help"), 0) << strFile;
        std::istringstream words(m_cli.Out());
        for (std::string strWord; words >> strWord;) {
            const size_t nAt = strWord.find("--");
            if (nAt == std::string::npos) continue;
            const std::string strOption = strWord.substr(nAt, strWord.find_first_of(",;.)\"", nAt));
            if (strOption == "--help" || strOption == "--version") continue;
            EXPECT_NE(strShown.find(strOption), std::string::npos) << strName << " " << strOption;
            ++nAll;
        }
        EXPECT_EQ(strShown.find("\nEXAMPLES\n") != std::string::npos, !strCommand.empty());
    }
    EXPECT_EQ(nPages, 15);
    EXPECT_GT(nAll, 50);
    const std::string strShown =
        OutputOf("groff -man -Tascii -P-cbou " + (folder / "qrx.1").string());
    for (const char* szText : {"130", "Ctrl", "QRX_PASSWORD", "socks5://", "chmod 600"}) {
        EXPECT_NE(strShown.find(szText), std::string::npos) << szText;
    }
    if (!HaveServer()) return;
    std::ofstream(folder / "server.1") << RunServerCommand({"manual"}).strOutput;
    const std::string strServer =
        OutputOf("groff -man -Tascii -ww -P-cbou " + (folder / "server.1").string() + " 2>&1");
    EXPECT_EQ(strServer.find("warning"), std::string::npos) << strServer;
    for (const char* szText : {"qrx-server serve\n", "qrx-server user add name\n", "--port-file",
                               "--seed", "qrx-server import bars files\n"}) {
        EXPECT_NE(strServer.find(szText), std::string::npos) << szText;
    }
    // Each code that it ends with, in both texts: done, failed, not understood.
    const auto words = [](const std::string& strText) {
        std::istringstream stream(strText);
        std::string strWords;
        for (std::string strWord; stream >> strWord;) strWords += strWord + " ";
        return strWords;
    };
    const auto help = RunServerCommand({"--help"});
    EXPECT_EQ(help.nExit, 0);
    EXPECT_EQ(RunServerCommand({"init", "--db", "/dev/null/db"}).nExit, 1);
    EXPECT_EQ(RunServerCommand({"unit"}).nExit, 2);
    for (const std::string& strText : {words(help.strOutput), words(strServer)}) {
        EXPECT_NE(strText.find(" 0 done 1 failed; one line on the standard error says why 2 the "
                               "command line is not understood "),
                  std::string::npos)
            << strText;
    }
}

TEST_F(Pages, BashCompletes) {
    Completes({"bash", "--norc", "--noprofile", "-i"},
              "bind 'set bell-style none'; source " + Path("bash/qrx"));
}

// What stands behind the tab, exactly: the last word is being typed.
TEST_F(Pages, BashOffers) {
    const Typed kCases[] = {{"f", "formula futures"},
                            {"pag", ""},
                            {"formula \"\"", "add list show delete calc"},
                            {"formula calc MACD --adj", "--adjust"},
                            {"formula calc MACD --adjust \"\"", "none backward"},
                            {"bars X --adjust-", "--adjust-date --adjust-volume"},
                            {"--format = j", "jsonl"},
                            {"--format =", "table csv jsonl sqlite"},
                            {"-f csv --server ticks tr", "trades"},
                            {"ticks -o /usr/includ", "/usr/include"},
                            {"export --kinds trades,ticks", "trades,ticks trades,ticks_book"},
                            {"bars --cycle 3", "30s 30m"},
                            {"formula calc A B --cycle 1", "1m 15m"},
                            {"orders --columns volume,pr", "volume,price"},
                            {"export --columns pr", ""},
                            {"ticks --from 2", ""}};
    for (const Typed& test : kCases) {
        const std::string strScript = "source " + Path("bash/qrx") + "; COMP_WORDS=(qrx " +
                                      test.szKeys +
                                      "); COMP_CWORD=$((${#COMP_WORDS[@]}-1)); _qrx; "
                                      "printf %s \"${COMPREPLY[*]}\"";
        EXPECT_EQ(OutputOf("bash -c '" + strScript + "' 2>&1"), test.szShown) << test.szKeys;
    }
}

TEST_F(Pages, ZshCompletes) {
    if (access("/usr/bin/zsh", X_OK) != 0) GTEST_SKIP() << "zsh is not installed";
    Completes({"zsh", "-f", "-i"}, "fpath=(" + Path("zsh") +
                                       " $fpath); autoload -U compinit; compinit -u -D; "
                                       "unsetopt zle_bracketed_paste");
}

}  // namespace
}  // namespace qrx::test
