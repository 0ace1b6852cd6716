// Mutex, condition variable with a remembered notification, and the two sleeps.
// Waits are on the monotonic clock, so that a step of the wall clock neither ends nor stretches
// one.
#ifndef QRX_SUPPORT_LOCK_H
#define QRX_SUPPORT_LOCK_H

#include <pthread.h>
#include <time.h>

#include <atomic>

// A mutex. All three types end as a plain mutex: the initialiser of the type is overwritten by
// the initialisation with default attributes. Every lock of the library is of type 0.
class AutoLock {
public:
    enum LOCK_TYPE { LOCK_PLAIN = 0, LOCK_RECURSIVE = 1, LOCK_ERRORCHECK = 2 };

    explicit AutoLock(LOCK_TYPE lock_type = LOCK_PLAIN);
    ~AutoLock();
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

    void Lock();
    void UnLock();
    bool TryLock();  // false at once when another thread holds it

private:
    friend class CondVar;
    pthread_mutex_t m_mutex;
};

// Holds an AutoLock for a scope.
class LockGuard {
public:
    explicit LockGuard(AutoLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~LockGuard() { m_lock.UnLock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    AutoLock& m_lock;
};

// One notification given while nobody waits is remembered and ends the next wait at once.
// A notification that woke a waiter stays remembered too: callers re-check their condition.
class CondVar {
public:
    CondVar();
    ~CondVar();
    CondVar(const CondVar&) = delete;
    CondVar& operator=(const CondVar&) = delete;

    void Notify();                                                   // with the lock held
    void Wait(AutoLock& lock);                                       // with the lock held
    int WaitTime(AutoLock& lock, unsigned long long nMilliseconds);  // 0 or ETIMEDOUT

private:
    pthread_cond_t m_cond;
    bool m_bPending = false;  // guarded by the caller's lock
};

// Sleeps whole seconds from 1800001 ms on, below that with microsecond sleeps.
void Sleep(long long nMilliseconds);

// Sleeps in slices, and no longer once *pQuit is non-zero.
void AwakableSleep(long long nTotalMs, long long nSliceMs, const std::atomic<int>* pQuit);

// 1, 2, 3 and so on over the whole process; safe from any thread and after fork.
unsigned get_uniq_id();

// Wall-clock time; null is accepted.
void gettimeofday_spec(timespec* pTime);

#endif
