// Diagnostics, exit protocol, checked allocation and small helpers shared by
// every unit of the core.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class Logger;

// Set by the first entry to safeExit; from then on die and fatal return at once
// and a second safeExit does nothing.
extern bool atexitFlag;
// When set, warn, die and fatal write to this logger instead of stderr.
extern Logger* dieErrorLog;

// Prints the formatted text on stderr (or on the error log when set) and goes on.
void warn(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Prints like warn and ends the process with status -1; returns at once once an
// exit has begun.
void die(const char* format, ...) __attribute__((format(printf, 1, 2)));
// As die, with a stack trace and the support line.
void fatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Reports a failed internal check and ends the process with status -1.
void safeAssert(const char* expression, const char* file, unsigned line, const char* function);
// The one way the process leaves on purpose; agrees with other threads on the status.
void safeExit(int status);
// Replaces the exit of safeExit by a call of hook(status), for harnesses that
// feed many inputs to one process. The hook must not return (it throws or
// jumps back to the harness); null restores the normal exit.
void setExitHook(void (*hook)(int status));
// Routes warn/die/fatal to a logger instead of stderr (null: back to stderr).
void setDieErrorLog(Logger* log);
// Prints the call stack to the stream, or through warn when stream is null.
void printStackTrace(FILE* stream);

// malloc that ends the process when memory runs out.
void* safeMalloc(size_t size);
// realloc that ends the process when memory runs out.
void* safeRealloc(void* ptr, size_t size);
// strdup that ends the process when memory runs out.
char* safeStrdup(const char* text);
// Releases memory from the allocators above.
void safeFree(void* ptr);

// Virtual size of the process in bytes from /proc/self/stat, 0 when unavailable.
long getMemoryFootprint();
// The same from a named file in the /proc/<pid>/stat format, 0 when unreadable.
long getMemoryFootprint(const char* statPath);
// Interactive debugging pause: 'n' exits, 'd' prints the stack; returns the answer's
// first character otherwise.
int ask(FILE* stream);

// Opens a file or ends the process with a message naming path and mode.
FILE* openFile(const char* path, const char* mode);
// Sleeps the given number of milliseconds.
void millisleep(int milliseconds);
// Case-blind strstr: the first place of needle in haystack, or null.
const char* caseStrStr(const char* haystack, const char* needle);
// Upper-cases the text in place.
void toUpperCase(std::string& text);
// Lower-cases the text in place.
void toLowerCase(std::string& text);
// Parses a whole decimal int (leading white space and a sign allowed); false when
// the text is not a number or out of range, leaving value unchanged.
bool str2int(const std::string& text, int& value);
// Parses a decimal unsigned 64-bit number; 0 for text that doesn't start with digits.
uint64_t str2uint64(const std::string& text);
// Decimal text of an int.
std::string itos(int value);
// Decimal text of an unsigned 64-bit number.
std::string uint64tos(unsigned long value);
// Splits text at each separator into parts (cleared first); with trim, blanks and
// tabs around each part are removed.
void split(const char* text, char separator, std::vector<std::string>& parts, bool trim);
// Path of the running executable from /proc/self/exe, "" on failure.
std::string getThisExecutablePath();
// Directory of the running executable (no trailing slash), "" on failure.
std::string getJustExecPath();

// "None" in int fields, seqIds, handles and page ids, and its unsigned form.
constexpr int INTNULL = -2;
constexpr unsigned int UINTNULL = 0xFFFFFFFEu;

#define ASSERT(expr) ((expr) ? (void)0 : safeAssert(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))
