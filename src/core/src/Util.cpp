#include "Util.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {
bool atexitFlag = false;
}

static void vreport(const char* format, va_list args) {
    char text[20000];
    vsnprintf(text, sizeof text, format, args);
    fprintf(stderr, "%s", text);
    fflush(stderr);
}

void warn(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vreport(format, args);
    va_end(args);
}

void die(const char* format, ...) {
    if (atexitFlag) return;
    va_list args;
    va_start(args, format);
    vreport(format, args);
    va_end(args);
    safeExit(-1);
}

void fatal(const char* format, ...) {
    if (atexitFlag) return;
    va_list args;
    va_start(args, format);
    vreport(format, args);
    va_end(args);
    safeExit(-1);
}

void safeAssert(const char* expression, const char* file, unsigned line, const char* function) {
    const char* base = strrchr(file, '/');
    warn("\nError:  An internal error has occurred in the computation.\n"
         "             Assertion:  %s\n             Location: '%s'   [%s:%d]\n"
         "        Please report this error to your customer support representative.\n",
         expression, function, base ? base + 1 : file, line);
    die("%c", 0);
}

void safeExit(int status) {
    if (atexitFlag) return;
    atexitFlag = true;
    exit(status);
}

void setDieErrorLog(Logger*) {}
void printStackTrace(FILE*) {}

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

void millisleep(int milliseconds) {
    struct timespec ts = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    nanosleep(&ts, nullptr);
}
