#include "ThreadMutex.h"

#include <cerrno>

#include "Util.h"

ThreadMutex::ThreadMutex() : initialized(false) {
    for (int attempt = 0; attempt < 3; attempt++) {
        int status = pthread_mutex_init(&mutex, nullptr);
        if (status == 0) {
            initialized = true;
            return;
        }
        switch (status) {
            case EPERM:
                warn("Mutex initialization failed: EPERM.\n");
                break;
            case EAGAIN:
                warn("Mutex initialization failed: EAGAIN.\n");
                break;
            case ENOMEM:
                warn("Mutex initialization failed: ENOMEM.\n");
                break;
            case EBUSY:
                warn("Mutex initialization failed: EBUSY.\n");
                break;
            case EINVAL:
                warn("Mutex initialization failed: EINVAL.\n");
                break;
            case EDEADLK:
                warn("Mutex initialization failed: EDEADLK.\n");
                break;
            case ETIMEDOUT:
                warn("Mutex initialization failed: ETIMEDOUT.\n");
                break;
            default:
                warn("Mutex initialization failed: Other status %d.\n", status);
                break;
        }
        millisleep(800);
    }
    warn("Mutex cannot be properly initialized after multiple attempts.\n\n");
}

ThreadMutex::~ThreadMutex() {
    if (initialized && pthread_mutex_destroy(&mutex) != 0)
        fatal("Error:  Mutex failure in ThreadMutex::destructor.");
}

void ThreadMutex::lock() {
    if (!initialized) {
        fatal("Error:  Initialization failure in ThreadMutex constructor.");
        return;
    }
    if (pthread_mutex_lock(&mutex) != 0) fatal("Error:  Locking failure in ThreadMutex.");
}

void ThreadMutex::unlock() {
    if (!initialized) {
        fatal("Error:  Initialization failure in ThreadMutex constructor.");
        return;
    }
    if (pthread_mutex_unlock(&mutex) != 0) fatal("Error:  Locking failure in ThreadMutex.");
}
