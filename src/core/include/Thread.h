// Process-wide thread state and the exit protocol by which threads agree on
// the exit status and leave together.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <vector>

#include "ThreadMutex.h"

class Thread {
public:
    // The program has gone multi-threaded.
    static bool useThreads;
    // The thread that entered main.
    static pthread_t mainThreadId;
    // Worker threads that are running.
    static std::vector<pthread_t> threadIds;
    // Guards the exit protocol.
    static ThreadMutex threadMutex;
    // An exit is under way.
    static bool exitFlag;
    // Threads that have yet to leave.
    static int exitCnt;
    // Status of the exit; the first non-zero status wins.
    static int exitStatus;
    // Threads held in a pause.
    static int pauseCnt;

    // Counts the calling thread out; the last one out ends the process with
    // exitStatus, the others end their own thread.
    [[noreturn]] static void _exit();
    // SIGUSR2 action: the receiving thread leaves through _exit wherever it stands.
    static void _handler(int signal, siginfo_t* info, void* context);
};
