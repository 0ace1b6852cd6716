// fork, exec and files around the qrx-server of this build.
#include "support/server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace qrx::test {
namespace {

const std::string kServer = QRX_BUILD_DIR "/qrx-server";

std::string ReadFile(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

pid_t Start(const std::vector<std::string>& vecArguments, const std::string& strLog) {
    std::vector<char*> vecArgv{const_cast<char*>(kServer.c_str())};
    for (const auto& str : vecArguments) vecArgv.push_back(const_cast<char*>(str.c_str()));
    vecArgv.push_back(nullptr);
    const pid_t nPid = fork();
    if (nPid == 0) {
        const int nFd = open(strLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(nFd, STDOUT_FILENO);
        dup2(nFd, STDERR_FILENO);
        setsid();  // no terminal: a password can only come from a file
        execv(kServer.c_str(), vecArgv.data());
        _exit(127);
    }
    return nPid;
}

}  // namespace

bool HaveServer() {
    return access(kServer.c_str(), X_OK) == 0;
}

ScratchFolder::ScratchFolder() {
    std::string strPath = (std::filesystem::temp_directory_path() / "qrx-test-XXXXXX").string();
    if (mkdtemp(strPath.data()) == nullptr) throw std::runtime_error("no scratch folder");
    m_strPath = strPath;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_strPath, ignored);
}

std::string ScratchFolder::Write(const std::string& strName, const std::string& strText) const {
    std::ofstream(Path(strName), std::ios::binary) << strText;
    return Path(strName);
}

CommandResult RunServerCommand(const std::vector<std::string>& vecArguments) {
    const ScratchFolder folder;
    const pid_t nPid = Start(vecArguments, folder.Path("output"));
    int nStatus = 0;
    waitpid(nPid, &nStatus, 0);
    return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1, ReadFile(folder.Path("output"))};
}

ServerProcess::ServerProcess(const ScratchFolder& folder, const std::string& strDb,
                             const std::vector<std::string>& vecOptions)
    : m_strLog(folder.Path("server.log")) {
    const std::string strPortFile = folder.Path("port");
    std::error_code ignored;
    std::filesystem::remove(strPortFile, ignored);
    std::vector<std::string> vecArguments{"serve", "--db",        strDb,      "--port",
                                          "0",     "--port-file", strPortFile};
    vecArguments.insert(vecArguments.end(), vecOptions.begin(), vecOptions.end());
    m_nPid = Start(vecArguments, m_strLog);
    for (int i = 0; i < 2000 && m_nPort == 0 && IsRunning(); ++i) {
        std::ifstream(strPortFile) >> m_nPort;
        if (m_nPort == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (m_nPort == 0) throw std::runtime_error("the server did not start: " + Log());
}

bool ServerProcess::IsRunning() {
    return m_nPid > 0 && waitpid(m_nPid, nullptr, WNOHANG) == 0;
}

int ServerProcess::Stop() {
    if (m_nPid <= 0) return -1;
    const pid_t nPid = m_nPid;
    m_nPid = -1;
    kill(nPid, SIGTERM);
    int nStatus = 0;
    for (int i = 0; i < 1000; ++i) {
        if (waitpid(nPid, &nStatus, WNOHANG) == nPid) {
            return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(nPid, SIGKILL);
    waitpid(nPid, &nStatus, 0);
    return -1;
}

std::string ServerProcess::Log() const {
    return ReadFile(m_strLog);
}

}  // namespace qrx::test
