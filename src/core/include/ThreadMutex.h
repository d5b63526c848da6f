// A pthread mutex whose set-up is retried, and the scope guard that holds it.
#pragma once

#include <pthread.h>

class ThreadMutex {
public:
    // Sets up the mutex with up to three attempts; a failure shows at first use.
    ThreadMutex();
    // Destroys the mutex if it was set up.
    ~ThreadMutex();
    ThreadMutex(const ThreadMutex&) = delete;
    ThreadMutex& operator=(const ThreadMutex&) = delete;

    // Locks; an unusable mutex or a failing lock is fatal.
    void lock();
    // Unlocks; a failing unlock is fatal.
    void unlock();

    bool initialized;
    pthread_mutex_t mutex;
};

// Holds a ThreadMutex for the lifetime of the guard.
class ThreadMutexGuard {
public:
    // Locks the mutex.
    explicit ThreadMutexGuard(ThreadMutex& m) : mutex(m) { mutex.lock(); }
    // Unlocks the mutex.
    ~ThreadMutexGuard() { mutex.unlock(); }
    ThreadMutexGuard(const ThreadMutexGuard&) = delete;
    ThreadMutexGuard& operator=(const ThreadMutexGuard&) = delete;

    ThreadMutex& mutex;
};
