// See the header.
#include "app/interrupt.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "app/failure.h"

namespace qrx::cli::interrupt {
namespace {

// Never destroyed: the thread may look at it while the process ends.
struct State {
    std::mutex mutex;
    std::function<void()> stop;
    std::string strUnfinished;
    int nTerminal = -1;
    std::optional<termios> terminal;
    std::atomic<bool> bRequested{false};
};

State& TheState() {
    static State* const pState = new State;
    return *pState;
}

[[noreturn]] void EndProcess() {
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.mutex);
    if (!state.strUnfinished.empty()) unlink(state.strUnfinished.c_str());
    if (state.terminal) tcsetattr(state.nTerminal, TCSANOW, &*state.terminal);
    _exit(EXIT_INTERRUPTED);
}

void Take() {
    State& state = TheState();
    state.bRequested = true;
    bool bStopped = false;
    {
        const std::lock_guard<std::mutex> guard(state.mutex);
        if (state.stop) {
            state.stop();
            bStopped = true;
        }
    }
    if (!bStopped) EndProcess();
    // The command ends by itself now, unless it hangs in writing to a reader that reads nothing.
    constexpr timespec kPatience = {0, 500'000'000};
    nanosleep(&kPatience, nullptr);
    EndProcess();
}

sigset_t Signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

}  // namespace

void Start() {
    TheState();
    signal(SIGPIPE, SIG_IGN);
    const sigset_t set = Signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::thread([set] {
        int nSignal = 0;
        if (sigwait(&set, &nSignal) == 0) Take();
    }).detach();
}

bool Requested() {
    return TheState().bRequested;
}

void Check() {
    if (Requested()) throw Failure(EXIT_INTERRUPTED, "");
}

void OnStop(std::function<void()> stop) {
    const std::lock_guard<std::mutex> guard(TheState().mutex);
    TheState().stop = std::move(stop);
}

void SetUnfinishedFile(const std::string& strPath) {
    const std::lock_guard<std::mutex> guard(TheState().mutex);
    TheState().strUnfinished = strPath;
}

void SetTerminal(int fd, const std::optional<termios>& state) {
    const std::lock_guard<std::mutex> guard(TheState().mutex);
    TheState().nTerminal = fd;
    TheState().terminal = state;
}

}  // namespace qrx::cli::interrupt
