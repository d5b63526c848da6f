#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "TestSupport.h"
#include "Thread.h"
#include "Util.h"
#include "stringbuffer.h"
#include "threadstatic.h"

using ::testing::ExitedWithCode;
using testsupport::readFile;
using testsupport::TempDir;

namespace {

const int NUM_WORKERS = 3;

// What each thread of an exit scenario does once all threads are running.
struct Role {
    bool callsExit = false;
    int status = 0;
    const char* dieText = nullptr;
};

struct Scenario {
    Role main;
    Role workers[NUM_WORKERS];
    int ready = 0;
};

// Waits until every thread of the scenario is here. The exit signal may end a
// thread anywhere after this point, and the unwinding that follows stops the
// process if it meets a call the compiler knows can't throw (a barrier wait, or
// a spin it can see through); so the wait loops on millisleep.
__attribute__((noinline)) void startTogether(Scenario& s) {
    __atomic_add_fetch(&s.ready, 1, __ATOMIC_SEQ_CST);
    while (__atomic_load_n(&s.ready, __ATOMIC_SEQ_CST) < NUM_WORKERS + 1) millisleep(1);
}

__attribute__((noinline)) void play(const Role& role) {
    if (role.dieText) die("%s", role.dieText);
    if (role.callsExit) safeExit(role.status);
    for (;;) millisleep(50);
}

Scenario* current = nullptr;

void* worker(void* arg) {
    const Role& role = *(Role*)arg;
    startTogether(*current);
    play(role);
    return nullptr;
}

// Stands as the program's main thread: starts and registers the workers, then
// everyone plays its role at once.
void* scenarioMain(void*) {
    Thread::mainThreadId = pthread_self();
    Thread::useThreads = true;
    for (int i = 0; i < NUM_WORKERS; i++) {
        pthread_t id;
        ThreadMutexGuard guard(Thread::threadMutex);
        pthread_create(&id, nullptr, worker, &current->workers[i]);
        Thread::threadIds.push_back(id);
    }
    startTogether(*current);
    play(current->main);
    return nullptr;
}

// Runs the scenario in a forked child whose real main thread only waits, with
// SIGUSR2 routed to the exit protocol. An alarm ends a hung child, so a hang
// shows as a signal instead of blocking the test. Returns the wait status.
int runScenario(Scenario& scenario, const std::string& errPath = "/dev/null") {
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(30);
        freopen(errPath.c_str(), "w", stderr);
        struct sigaction action = {};
        action.sa_sigaction = Thread::_handler;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        sigaction(SIGUSR2, &action, nullptr);
        current = &scenario;
        pthread_t id;
        pthread_create(&id, nullptr, scenarioMain, nullptr);
        for (;;) pause();
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

}  // namespace

TEST(ThreadTest, ExitFromMainThreadTakesTheWorkersAlong) {
    Scenario s;
    s.main.callsExit = true;
    s.main.status = 5;
    int status = runScenario(s);
    ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
    EXPECT_EQ(5, WEXITSTATUS(status));
}

TEST(ThreadTest, ExitFromWorkerSignalsMainThread) {
    Scenario s;
    s.workers[1].callsExit = true;
    s.workers[1].status = 3;
    int status = runScenario(s);
    ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
    EXPECT_EQ(3, WEXITSTATUS(status));
}

TEST(ThreadTest, DieInWorkerPrintsAndExitsWith255) {
    TempDir dir;
    Scenario s;
    s.workers[2].dieText = "Error:  worker failed\n";
    int status = runScenario(s, dir.path("err"));
    ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
    EXPECT_EQ(255, WEXITSTATUS(status));
    EXPECT_EQ("Error:  worker failed\n", readFile(dir.path("err")));
}

TEST(ThreadTest, SimultaneousExitsLeaveWithOneOfTheirStatuses) {
    // Every thread calls safeExit at once; the first to get in decides.
    for (int round = 0; round < 20; round++) {
        Scenario s;
        s.main.callsExit = true;
        s.main.status = -1;
        for (int i = 0; i < NUM_WORKERS; i++) {
            s.workers[i].callsExit = true;
            s.workers[i].status = 3;
        }
        int status = runScenario(s);
        ASSERT_TRUE(WIFEXITED(status)) << "round " << round << " killed by " << WTERMSIG(status);
        int code = WEXITSTATUS(status);
        EXPECT_TRUE(code == 255 || code == 3) << "round " << round << " status " << code;
    }
}

TEST(ThreadTest, SingleThreadedExitRequiresNoWorkers) {
    EXPECT_EXIT(
        {
            Thread::threadIds.push_back(pthread_self());
            safeExit(6);
        },
        ExitedWithCode(6), "Assertion:  threadIds.size\\(\\) == 0\n");
}

TEST(ThreadTest, MutexGuardAndUnusableMutex) {
    ThreadMutex m;
    ASSERT_TRUE(m.initialized);
    {
        ThreadMutexGuard guard(m);
        EXPECT_EQ(EBUSY, pthread_mutex_trylock(&m.mutex));
    }
    ASSERT_EQ(0, pthread_mutex_trylock(&m.mutex));
    pthread_mutex_unlock(&m.mutex);
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

struct PerThread {
    int index = 0;
    bool freshFirst = false;
    bool freshSecond = true;
    stringbuffer* address = nullptr;
    int capacity = 0;
    std::string seen;
};

void* useBuffer(void* arg) {
    auto* me = (PerThread*)arg;
    stringbuffer& buf = *sharedBuffers;
    me->freshFirst = sharedBuffers.isFresh();
    me->capacity = buf.capacity();
    buf.assign("thread " + std::to_string(me->index));
    millisleep(10);
    stringbuffer& again = *sharedBuffers;
    me->freshSecond = sharedBuffers.isFresh();
    me->address = &again;
    me->seen = again.str();
    return nullptr;
}

}  // namespace

TEST(ThreadTest, ThreadStaticGivesEachThreadItsOwnInstance) {
    const int n = 4;
    PerThread results[n];
    pthread_t ids[n];
    for (int i = 0; i < n; i++) {
        results[i].index = i;
        pthread_create(&ids[i], nullptr, useBuffer, &results[i]);
    }
    for (int i = 0; i < n; i++) pthread_join(ids[i], nullptr);
    std::set<stringbuffer*> addresses;
    for (int i = 0; i < n; i++) {
        EXPECT_TRUE(results[i].freshFirst) << i;
        EXPECT_FALSE(results[i].freshSecond) << i;
        EXPECT_EQ(128, results[i].capacity) << i;
        EXPECT_EQ("thread " + std::to_string(i), results[i].seen);
        addresses.insert(results[i].address);
    }
    EXPECT_EQ((size_t)n, addresses.size());
    // This thread gets a fresh one of its own.
    stringbuffer& mine = *sharedBuffers;
    EXPECT_TRUE(sharedBuffers.isFresh());
    EXPECT_EQ(0, mine.length());
    EXPECT_EQ(&mine, &*sharedBuffers);
    EXPECT_FALSE(sharedBuffers.isFresh());
}
