// Thin layer over POSIX threads; what counts are the exact semantics stated in the header.
#include "support/lock.h"

#include <errno.h>
#include <sys/time.h>
#include <unistd.h>

#include <limits>

#include "support/assertion.h"

using qrx::source::kLock;

AutoLock::AutoLock(LOCK_TYPE lock_type) {
    static const pthread_mutex_t nTypeTrans[] = {PTHREAD_MUTEX_INITIALIZER,
                                                 PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP,
                                                 PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP};
    QRX_ASSERT(static_cast<size_t>(lock_type) < sizeof(nTypeTrans) / sizeof(nTypeTrans[0]),
               "lock_type<sizeof(nTypeTrans)/sizeof(nTypeTrans[0])", kLock);
    m_mutex = nTypeTrans[lock_type];
    // Default attributes: a plain mutex whatever the type. Kept so, every lock is of type 0.
    const int nRet = pthread_mutex_init(&m_mutex, nullptr);
    QRX_ASSERT(nRet == 0, "nRet == 0", kLock);
}

AutoLock::~AutoLock() {
    const int nRet = pthread_mutex_destroy(&m_mutex);
    QRX_ASSERT(nRet == 0, "nRet == 0", kLock);
}

void AutoLock::Lock() {
    pthread_mutex_lock(&m_mutex);
}
void AutoLock::UnLock() {
    pthread_mutex_unlock(&m_mutex);
}
bool AutoLock::TryLock() {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

CondVar::CondVar() {
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    const int nRet = pthread_cond_init(&m_cond, &attr);
    pthread_condattr_destroy(&attr);
    QRX_ASSERT(nRet == 0, "nRet == 0", kLock);
}

CondVar::~CondVar() {
    pthread_cond_destroy(&m_cond);
}

void CondVar::Notify() {
    if (m_bPending) return;
    m_bPending = true;
    const int nRet = pthread_cond_signal(&m_cond);
    QRX_ASSERT(nRet == 0, "nRet == 0", kLock);
}

void CondVar::Wait(AutoLock& lock) {
    if (m_bPending) {
        m_bPending = false;
        return;
    }
    pthread_cond_wait(&m_cond, &lock.m_mutex);
}

int CondVar::WaitTime(AutoLock& lock, unsigned long long nMilliseconds) {
    if (m_bPending) {
        m_bPending = false;
        return 0;
    }
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    constexpr auto kFarthest = std::numeric_limits<time_t>::max() / 2;
    const unsigned long long nSeconds = nMilliseconds / 1000;
    if (nSeconds > static_cast<unsigned long long>(kFarthest)) {
        deadline.tv_sec = kFarthest;
    } else {
        deadline.tv_sec += static_cast<time_t>(nSeconds);
    }
    deadline.tv_nsec += static_cast<long>(nMilliseconds % 1000) * 1000000;
    if (deadline.tv_nsec >= 1000000000) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000;
    }
    return pthread_cond_timedwait(&m_cond, &lock.m_mutex, &deadline);
}

void Sleep(long long nMilliseconds) {
    if (nMilliseconds <= 0) return;
    if (nMilliseconds >= 1800001) {
        sleep(static_cast<unsigned>(nMilliseconds / 1000));
    } else {
        usleep(static_cast<useconds_t>(nMilliseconds * 1000));
    }
}

void AwakableSleep(long long nTotalMs, long long nSliceMs, const std::atomic<int>* pQuit) {
    for (long long i = 0; i < nTotalMs / nSliceMs; ++i) {
        if (*pQuit != 0) return;
        Sleep(nSliceMs);
    }
    if (*pQuit == 0) Sleep(nTotalMs % nSliceMs);
}

unsigned get_uniq_id() {
    // An atomic rather than a mutex: a fork at the wrong moment would leave a mutex locked.
    static std::atomic<unsigned> nCounter{1};
    return nCounter.fetch_add(1);
}

void gettimeofday_spec(timespec* pTime) {
    if (pTime == nullptr) return;
    timeval now;
    gettimeofday(&now, nullptr);
    pTime->tv_sec = now.tv_sec;
    pTime->tv_nsec = now.tv_usec * 1000;
}
