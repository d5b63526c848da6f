// Diagnostics, exit protocol, checked allocation and small helpers shared by
// every unit of the core.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

class Logger;

// Prints the formatted text on stderr (or on the error log when set) and goes on.
void warn(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Prints like warn and ends the process with status -1.
void die(const char* format, ...) __attribute__((format(printf, 1, 2)));
// As die, with a stack trace and the support line.
void fatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Reports a failed internal check and ends the process with status -1.
void safeAssert(const char* expression, const char* file, unsigned line,
                const char* function);
// The one way the process leaves on purpose.
void safeExit(int status);
// Routes warn/die/fatal to a logger instead of stderr (null: back to stderr).
void setDieErrorLog(Logger* log);
// Prints the call stack to the stream, or through warn when stream is null.
void printStackTrace(FILE* stream);

void* safeMalloc(size_t size);
void* safeRealloc(void* ptr, size_t size);
char* safeStrdup(const char* text);
void safeFree(void* ptr);

// Sleeps the given number of milliseconds.
void millisleep(int milliseconds);

#define ASSERT(expr) \
    ((expr) ? (void)0 : safeAssert(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))
