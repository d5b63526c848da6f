#include "Util.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Logger.h"
#include "Thread.h"

bool atexitFlag = false;
Logger* dieErrorLog = nullptr;

namespace {

const int MESSAGE_SIZE = 20000;
const char* SUPPORT_LINE =
    "        Please report this error to your customer support representative.\n";

// Prints text to the error log, which gets no time stamp and starts on a line of its own.
void printToErrorLog(const char* text) {
    if (!dieErrorLog->lineEnded) dieErrorLog->print("\n");
    dieErrorLog->print("%s", text);
}

}  // namespace

void warn(const char* format, ...) {
    char text[MESSAGE_SIZE];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (dieErrorLog) {
        int level = Logger::verboseLevel;
        Logger::verboseLevel = 0;
        printToErrorLog(text);
        Logger::verboseLevel = level;
    } else {
        fprintf(stderr, "%s", text);
        fflush(stderr);
    }
}

void die(const char* format, ...) {
    if (atexitFlag) return;
    char text[MESSAGE_SIZE];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (dieErrorLog) {
        Logger::verboseLevel = 0;
        printToErrorLog(text);
    } else {
        fprintf(stderr, "%s", text);
        fflush(stderr);
    }
    safeExit(-1);
}

void fatal(const char* format, ...) {
    if (atexitFlag) return;
    char text[MESSAGE_SIZE];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (dieErrorLog) {
        Logger::verboseLevel = 0;
        if (!dieErrorLog->lineEnded) dieErrorLog->print("\n");
        dieErrorLog->print("\n");
        printStackTrace(nullptr);
        dieErrorLog->print("\n");
        dieErrorLog->print("%s", text);
        dieErrorLog->print("%s", SUPPORT_LINE);
    } else {
        fprintf(stderr, "\n");
        printStackTrace(stderr);
        fprintf(stderr, "\n%s%s", text, SUPPORT_LINE);
        fflush(stderr);
    }
    safeExit(-1);
}

void safeAssert(const char* expression, const char* file, unsigned line, const char* function) {
    printStackTrace(nullptr);
    warn("Thread:  %d\n", (int)(uint32_t)(uintptr_t)pthread_self());
    const char* base = strrchr(file, '/');
    warn(
        "\nError:  An internal error has occurred in the computation.\n"
        "             Assertion:  %s\n             Location: '%s'   [%s:%d]\n"
        "        Please report this error to your customer support representative.\n",
        expression, function, base ? base + 1 : file, (int)line);
    die("%c", 0);
}

static void (*exitHook)(int) = nullptr;

void setExitHook(void (*hook)(int status)) { exitHook = hook; }

void safeExit(int status) {
    if (exitHook) exitHook(status);
    // A builtin rather than std::atomic: a thread may be sent out of this code by
    // the exit signal, and unwinding must not meet a no-throw region.
    if (__atomic_exchange_n(&atexitFlag, true, __ATOMIC_SEQ_CST)) return;
    if (!Thread::useThreads) {
        std::vector<pthread_t>& threadIds = Thread::threadIds;
        ASSERT(threadIds.size() == 0);
        if (Thread::exitStatus == 0) Thread::exitStatus = status;
        Thread::exitFlag = true;
        Thread::exitCnt = 1;
        Thread::_exit();
    }
    Thread::threadMutex.lock();
    if (Thread::exitFlag) {
        Thread::threadMutex.unlock();
        Thread::_exit();
    }
    Thread::exitFlag = true;
    Thread::exitCnt = (int)Thread::threadIds.size() + 1;
    if (Thread::exitStatus == 0) Thread::exitStatus = status;
    pthread_t self = pthread_self();
    for (pthread_t id : Thread::threadIds) {
        if (!pthread_equal(id, self)) pthread_kill(id, SIGUSR2);
    }
    if (!pthread_equal(Thread::mainThreadId, self)) pthread_kill(Thread::mainThreadId, SIGUSR2);
    Thread::threadMutex.unlock();
    Thread::_exit();
}

void setDieErrorLog(Logger* log) { dieErrorLog = log; }

void printStackTrace(FILE* stream) {
    static void* frames[100];
    static char nameBuf[1024 + 2];
    int n = backtrace(frames, 100);
    char** symbols = backtrace_symbols(frames, n);
    if (stream)
        fprintf(stream, "\nCall Stack:\n");
    else
        warn("\nCall Stack:\n");
    if (symbols && n > 2) {
        for (int i = 1; i <= n - 2; i++) {
            char* line = symbols[i];
            const char* shown = line;
            char* demangled = nullptr;
            char* paren = strrchr(line, '(');
            char* plus = strrchr(line, '+');
            if (paren && plus && plus > paren) {
                *plus = 0;
                const char* name = paren + 1;
                int status = -1;
                demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
                if (demangled && status == 0) {
                    shown = demangled;
                } else {
                    snprintf(nameBuf, sizeof nameBuf, "%.1023s()", name);
                    shown = nameBuf;
                }
            }
            if (stream)
                fprintf(stream, "   %d:  %s\n", n - i - 1, shown);
            else
                warn("   %d:  %s\n", n - i - 1, shown);
            free(demangled);
        }
    }
    free(symbols);
    if (stream) fflush(stream);
}

void* safeMalloc(size_t size) {
    void* p = malloc(size);
    if (!p) die("Error:  The computation ran out of memory and is unable to continue.\n");
    return p;
}

void* safeRealloc(void* ptr, size_t size) {
    void* p = realloc(ptr, size);
    if (!p) die("Error:  The computation ran out of memory and is unable to continue.\n");
    return p;
}

char* safeStrdup(const char* text) {
    char* p = strdup(text);
    if (!p) die("Error:  The computation ran out of memory and is unable to continue.\n");
    return p;
}

void safeFree(void* ptr) { free(ptr); }

// Reads the 23rd field (virtual size) of a stat file in /proc format.
long getMemoryFootprint(const char* statPath) {
    int fd = open(statPath, O_RDONLY);
    if (fd < 0) return 0;
    char buf[10000 + 1];
    ssize_t len = read(fd, buf, 10000);
    close(fd);
    if (len <= 0) return 0;
    buf[len] = 0;
    const char* s = buf;
    for (int runs = 0; runs < 22; runs++) {
        while (*s && !isspace((unsigned char)*s)) s++;
        if (!*s) return 0;
        while (*s && isspace((unsigned char)*s)) s++;
        if (!*s) return 0;
    }
    return strtol(s, nullptr, 10);
}

long getMemoryFootprint() { return getMemoryFootprint("/proc/self/stat"); }

int ask(FILE* stream) {
    for (;;) {
        fprintf(stream, "Continue? ");
        fflush(stream);
        char line[1000 + 1];
        char* s = fgets(line, sizeof line, stdin);
        ASSERT(s != __null);
        if (!s) return 0;
        if (line[0] == 'n') {
            safeExit(-1);
            return 'n';
        }
        if (line[0] == 'd') {
            printStackTrace(stdout);
            continue;
        }
        return (unsigned char)line[0];
    }
}

FILE* openFile(const char* path, const char* mode) {
    FILE* fp = fopen(path, mode);
    if (!fp) die("Error:  Unable to open file %s in mode '%s'.\n", path, mode);
    return fp;
}

void millisleep(int milliseconds) {
    struct timespec ts = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

const char* caseStrStr(const char* haystack, const char* needle) {
    if (!*needle) return haystack;
    for (const char* h = haystack; *h; h++) {
        const char* a = h;
        const char* b = needle;
        while (*a && *b && tolower((unsigned char)*a) == tolower((unsigned char)*b)) {
            a++;
            b++;
        }
        if (!*b) return h;
        if (!*a) return nullptr;
    }
    return nullptr;
}

void toUpperCase(std::string& text) {
    for (char& c : text) c = (char)toupper((unsigned char)c);
}

void toLowerCase(std::string& text) {
    for (char& c : text) c = (char)tolower((unsigned char)c);
}

bool str2int(const std::string& text, int& value) {
    const char* s = text.c_str();
    char* end = nullptr;
    errno = 0;
    long v = strtol(s, &end, 10);
    if (end == s || *end != 0 || errno == ERANGE || v < INT_MIN || v > INT_MAX) return false;
    value = (int)v;
    return true;
}

uint64_t str2uint64(const std::string& text) { return strtoull(text.c_str(), nullptr, 10); }

std::string itos(int value) { return std::to_string(value); }

std::string uint64tos(unsigned long value) { return std::to_string(value); }

void split(const char* text, char separator, std::vector<std::string>& parts, bool trim) {
    parts.clear();
    if (!text || !*text) return;
    const char* start = text;
    for (;;) {
        const char* end = strchr(start, separator);
        if (!end) end = start + strlen(start);
        const char* a = start;
        const char* b = end;
        if (trim) {
            while (a < b && isspace((unsigned char)*a)) a++;
            while (b > a && isspace((unsigned char)b[-1])) b--;
        }
        parts.emplace_back(a, b - a);
        if (!*end) break;
        start = end + 1;
    }
}

std::string getThisExecutablePath() {
    char buf[4096];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf);
    if (n <= 0 || n >= (ssize_t)sizeof buf) return "";
    return std::string(buf, n);
}

std::string getJustExecPath() {
    std::string path = getThisExecutablePath();
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return "";
    return path.substr(0, slash);
}
