#include "Thread.h"

#include <cstdlib>

#include "Util.h"

bool Thread::useThreads = false;
pthread_t Thread::mainThreadId = pthread_self();
std::vector<pthread_t> Thread::threadIds;
ThreadMutex Thread::threadMutex;
bool Thread::exitFlag = false;
int Thread::exitCnt = 0;
int Thread::exitStatus = 0;
int Thread::pauseCnt = 0;

void Thread::_exit() {
    threadMutex.lock();
    ASSERT(exitFlag);
    ASSERT(exitCnt > 0);
    int remaining = --exitCnt;
    threadMutex.unlock();
    if (remaining <= 0) exit(exitStatus);
    pthread_exit(nullptr);
}

void Thread::_handler(int, siginfo_t*, void*) { _exit(); }
