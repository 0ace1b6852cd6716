// Runs the real qrx against a scripted server, in a folder and an environment of its own.
#ifndef QRX_TESTS_CLI_RUN_CLI_H
#define QRX_TESTS_CLI_RUN_CLI_H

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/server_process.h"

namespace qrx::test {

namespace fs = std::filesystem;

inline std::string ReadAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A command that fails: see Cli::Fails.
struct Failing {
    const char* szArguments;
    int nExit;
    const char* szSentence;
};

class Cli {
public:
    explicit Cli(int nPort) {
        std::string strTemplate = (fs::temp_directory_path() / "qrx-cli-XXXXXX").string();
        m_folder = mkdtemp(strTemplate.data());
        fs::create_directory(Folder());
        for (char** pp = environ; *pp != nullptr; ++pp) {
            const std::string strEntry = *pp;
            if (!strEntry.starts_with("QRX_") && !strEntry.starts_with("HOME=") &&
                !strEntry.starts_with("XDG_")) {
                m_vecEnvironment.push_back(strEntry);
            }
        }
        Set("HOME", m_folder.string());
        Set("QRX_SERVER", "127.0.0.1:" + std::to_string(nPort));
        Set("QRX_USER", "user");
        Set("QRX_PASSWORD", "secret");
        Set("QRX_RETRIES", "0");
    }
    ~Cli() { fs::remove_all(m_folder); }
    Cli(const Cli&) = delete;
    Cli& operator=(const Cli&) = delete;

    // What happens in it is the command's doing only.
    fs::path Folder() const { return m_folder / "work"; }
    fs::path Home() const { return m_folder; }
    void Set(const std::string& strName, const std::string& strValue) {
        Unset(strName);
        m_vecEnvironment.push_back(strName + "=" + strValue);
    }
    void Unset(const std::string& strName) {
        std::erase_if(m_vecEnvironment, [&](const std::string& strEntry) {
            return strEntry.starts_with(strName + "=");
        });
    }

    // Arguments parted by blanks. nOut takes the place of the file that catches the output.
    void Start(const std::string& strArguments, int nOut = -1) {
        std::vector<std::string> vecWords = {QRX_BUILD_DIR "/qrx"};
        std::istringstream stream(strArguments);
        for (std::string strWord; stream >> strWord;) vecWords.push_back(strWord);
        m_nPid = StartProcess(vecWords, m_folder / "out",
                              {.strErr = m_folder / "err",
                               .nOut = nOut,
                               .strFolder = Folder(),
                               .vecEnvironment = m_vecEnvironment});
    }
    // The exit code; 1000 and the signal's number when one ended it.
    int Wait() {
        int nStatus = 0;
        waitpid(m_nPid, &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1000 + WTERMSIG(nStatus);
    }
    int Run(const std::string& strArguments) {
        Start(strArguments);
        return Wait();
    }
    // For a command that fails with an exit code and a sentence, of which a part is given.
    void Fails(const std::string& strArguments, int nExit, const std::string& strSentence) {
        EXPECT_EQ(Run(strArguments), nExit) << strArguments << "\n" << Err();
        EXPECT_NE(Err().find(strSentence), std::string::npos) << strArguments << "\n" << Err();
    }
    void Signal(int nSignal) const { kill(m_nPid, nSignal); }
    std::string Out() const { return ReadAll(m_folder / "out"); }
    std::string Err() const { return ReadAll(m_folder / "err"); }
    const std::vector<std::string>& Environment() const { return m_vecEnvironment; }

private:
    fs::path m_folder;
    std::vector<std::string> m_vecEnvironment;
    pid_t m_nPid = -1;
};

}  // namespace qrx::test

#endif
