// Processes for tests. A real qrx-server: a scratch folder, its commands run to their end, and one
// process that serves on a free port until the object goes.
#ifndef QRX_TESTS_SUPPORT_SERVER_PROCESS_H
#define QRX_TESTS_SUPPORT_SERVER_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace qrx::test {

// The texts as exec takes them, a null pointer behind.
std::vector<char*> Pointers(const std::vector<std::string>& vecTexts);

// Where a process runs, if not as this one does.
struct ProcessPlace {
    std::string strErr;  // empty: with the output
    int nOut = -1;       // takes the place of the file for the output
    std::string strFolder = ".";
    std::vector<std::string> vecEnvironment;
};
// Without input, terminal and blocked signals.
pid_t StartProcess(const std::vector<std::string>& vecWords, const std::string& strOut,
                   const ProcessPlace& place = {});

struct CommandResult {
    int nExit;
    std::string strOutput;  // standard output and error
};

bool HaveServer();

// A folder that is removed with everything in it.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string Path(const std::string& strName) const { return m_strPath + "/" + strName; }
    // Writes a file and returns its path.
    std::string Write(const std::string& strName, const std::string& strText) const;

private:
    std::string m_strPath;
};

CommandResult RunServerCommand(const std::vector<std::string>& vecArguments);

class ServerProcess {
public:
    explicit ServerProcess(const ScratchFolder& folder, const std::string& strDb,
                           const std::vector<std::string>& vecOptions = {});
    ~ServerProcess() { Stop(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    int Port() const { return m_nPort; }
    pid_t Pid() const { return m_nPid; }
    bool IsRunning();
    int Stop();  // by SIGTERM; the exit code, -1 when it did not end by itself
    std::string Log() const;

private:
    pid_t m_nPid = -1;
    int m_nPort = 0;
    std::string m_strLog;
};

}  // namespace qrx::test

#endif
