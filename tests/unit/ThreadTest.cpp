#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "Thread.h"
#include "Util.h"
#include "stringbuffer.h"
#include "threadstatic.h"

using ::testing::ExitedWithCode;

namespace {

const int NUM_WORKERS = 3;

// What each thread of an exit scenario does once all threads run: park, or call safeExit.
struct Role {
    bool callsExit = false;
    int status = 0;
};

struct Scenario {
    Role main;
    Role workers[NUM_WORKERS];
    int ready = 0;
};

Scenario* current = nullptr;

// Waits until every thread of the scenario is here. The exit signal may end a
// thread anywhere after this point, and the unwinding that follows stops the
// process if it meets a call the compiler knows can't throw (a barrier wait, or
// a spin it can see through); so the wait loops on millisleep.
__attribute__((noinline)) void startTogether() {
    __atomic_add_fetch(&current->ready, 1, __ATOMIC_SEQ_CST);
    while (__atomic_load_n(&current->ready, __ATOMIC_SEQ_CST) < NUM_WORKERS + 1) millisleep(1);
}

__attribute__((noinline)) void play(const Role& role) {
    if (role.callsExit) safeExit(role.status);
    for (;;) millisleep(50);
}

void* worker(void* arg) {
    startTogether();
    play(*(Role*)arg);
    return nullptr;
}

// Stands as the program's main thread: starts and registers the workers.
void* scenarioMain(void*) {
    Thread::mainThreadId = pthread_self();
    Thread::useThreads = true;
    for (int i = 0; i < NUM_WORKERS; i++) {
        pthread_t id;
        ThreadMutexGuard guard(Thread::threadMutex);
        pthread_create(&id, nullptr, worker, &current->workers[i]);
        Thread::threadIds.push_back(id);
    }
    startTogether();
    play(current->main);
    return nullptr;
}

// Runs the scenario in a forked child whose real main thread only waits, with
// SIGUSR2 routed to the exit protocol. An alarm ends a hung child, so a hang
// shows as a signal instead of blocking the test. Returns the exit status, or
// 1000 + signal number.
int runScenario(Scenario& scenario) {
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(30);
        struct sigaction action = {};
        action.sa_sigaction = Thread::_handler;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGUSR2, &action, nullptr);
        current = &scenario;
        pthread_t id;
        pthread_create(&id, nullptr, scenarioMain, nullptr);
        for (;;) pause();
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace

TEST(ThreadTest, ExitFromOneOrAllThreadsTakesAllAlong) {
    Scenario fromMain;
    fromMain.main = {true, 5};
    EXPECT_EQ(5, runScenario(fromMain));
    Scenario fromWorker;
    fromWorker.workers[1] = {true, 3};
    EXPECT_EQ(3, runScenario(fromWorker));
    // Every thread calls safeExit at once; the first to get in decides.
    for (int round = 0; round < 20; round++) {
        Scenario s;
        s.main = {true, -1};
        for (Role& w : s.workers) w = {true, 3};
        int code = runScenario(s);
        EXPECT_TRUE(code == 255 || code == 3) << "round " << round << " status " << code;
    }
}

TEST(ThreadTest, UnusableMutexIsFatal) {
    EXPECT_EXIT(
        {
            ThreadMutex broken;
            broken.initialized = false;
            broken.lock();
        },
        ExitedWithCode(255),
        "\nError:  Initialization failure in ThreadMutex constructor\\.        Please report");
}

namespace {

threadstatic<stringbuffer> sharedBuffers;

// Takes this thread's buffer, writes its name, and after a pause reports what
// it finds there: "fresh-first fresh-second address text".
void* useBuffer(void* arg) {
    std::string& report = *(std::string*)arg;
    stringbuffer& buf = *sharedBuffers;
    bool freshFirst = sharedBuffers.isFresh() && buf.capacity() == 128;
    buf.assign(report);
    millisleep(10);
    stringbuffer* again = &*sharedBuffers;
    report = std::to_string(freshFirst) + std::to_string(sharedBuffers.isFresh()) + " " +
             std::to_string((uintptr_t)again) + " " + again->str();
    return nullptr;
}

}  // namespace

TEST(ThreadTest, ThreadStaticGivesEachThreadItsOwnInstance) {
    const int n = 4;
    std::string reports[n];
    pthread_t ids[n];
    for (int i = 0; i < n; i++) {
        reports[i] = "thread " + std::to_string(i);
        pthread_create(&ids[i], nullptr, useBuffer, &reports[i]);
    }
    std::set<std::string> addresses;
    for (int i = 0; i < n; i++) {
        pthread_join(ids[i], nullptr);
        size_t space = reports[i].find(' ', 3);
        EXPECT_EQ("10 ", reports[i].substr(0, 3));
        EXPECT_EQ(" thread " + std::to_string(i), reports[i].substr(space));
        addresses.insert(reports[i].substr(3, space - 3));
    }
    EXPECT_EQ((size_t)n, addresses.size());
    EXPECT_EQ(0, (*sharedBuffers).length());  // this thread's own, new one
}
