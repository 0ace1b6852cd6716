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

pid_t Start(std::vector<std::string> vecArguments, const std::string& strLog) {
    vecArguments.insert(vecArguments.begin(), kServer);
    return StartProcess(vecArguments, strLog);
}

}  // namespace

std::vector<char*> Pointers(const std::vector<std::string>& vecTexts) {
    std::vector<char*> vecPointers;
    for (const auto& str : vecTexts) vecPointers.push_back(const_cast<char*>(str.c_str()));
    vecPointers.push_back(nullptr);
    return vecPointers;
}

pid_t StartProcess(const std::vector<std::string>& vecWords, const std::string& strOut,
                   const ProcessPlace& place) {
    const std::vector<char*> vecArgv = Pointers(vecWords);
    const std::vector<char*> vecEnvironment = Pointers(place.vecEnvironment);
    const pid_t nPid = fork();
    if (nPid != 0) return nPid;
    constexpr int kNew = O_WRONLY | O_CREAT | O_TRUNC;
    if (place.nOut < 0) {
        dup2(open(strOut.c_str(), kNew, 0600), STDOUT_FILENO);
    } else {
        dup2(place.nOut, STDOUT_FILENO);
    }
    const bool bOne = place.strErr.empty();
    dup2(bOne ? STDOUT_FILENO : open(place.strErr.c_str(), kNew, 0600), STDERR_FILENO);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    setsid();  // no terminal: a password can only come from a file
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int nSignal : {SIGINT, SIGPIPE}) signal(nSignal, SIG_DFL);
    if (chdir(place.strFolder.c_str()) == 0) {
        execvpe(vecArgv[0], vecArgv.data(),
                place.vecEnvironment.empty() ? environ : vecEnvironment.data());
    }
    _exit(127);
}

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
