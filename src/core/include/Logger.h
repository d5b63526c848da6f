// Log writer: sends text to several files and streams with a time stamp, and
// to audit logs that never see progress lines.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "stringbuffer.h"

// One output of a Logger.
struct FILE_INFO {
    void* handle;  // FILE* for types 0 and 2, std::streambuf* for type 1
    short type;    // 0 file, 1 stream, 2 audit log
    short owned;   // closed by the logger
    int mode;      // 1 write, 2 append
};

class Logger {
public:
    // A logger without outputs.
    Logger();
    // A logger on a file (type 0) or file stream (type 1) opened for writing.
    Logger(std::string path, int type);
    // The same with an explicit mode ("w..." or "a...").
    Logger(std::string path, int type, std::string mode);
    // A logger on an open file, which it doesn't own.
    Logger(FILE* fp);
    // A logger on an open stream, which it doesn't own.
    Logger(std::ostream* os);
    // Closes the outputs it owns.
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Adds an open file as an output; false for null.
    bool add(FILE* fp);
    // Adds an open stream as an output; false for null.
    bool add(std::ostream* os);
    // Opens path as a file (type 0) or stream (type 1) output; false on failure.
    bool add(std::string path, int type, std::string mode);
    // Opens path for appending as an audit output; false on failure.
    bool addAuditLog(std::string path);

    // Prints to all outputs (or into the buffer while buffering); false if an
    // output or the format failed.
    bool print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Prints to the audit outputs only (or into the buffer while buffering).
    bool log(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Prints one character to all file and stream outputs.
    bool putch(char c);

    // Plain formatted output to a file, flushed, without a time stamp.
    static bool print(FILE* fp, const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Plain formatted output to a stream, flushed, without a time stamp.
    static bool print(std::ostream* os, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
    // Opens path with mode "a..." or "w...", writes the text and closes it.
    static bool fprint(const char* path, const char* mode, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    // Collects text in the buffer instead of writing it.
    void startBuffering() { buffering = true; }
    // Writes the collected text to stream and stops buffering; with a null stream
    // or an empty buffer nothing changes.
    bool stopBuffering(FILE* stream);
    // Flushes and closes the outputs the logger owns.
    void close() { _close(false); }
    // Flushes and closes every output.
    void closeAll() { _close(true); }
    // Closes the owned outputs and forgets all outputs.
    void reset();
    // The first file output, or null.
    FILE* getFP();

    // Sends an open file's output to path (written from the start).
    static bool redirect(FILE* fp, const char* path);
    // Sends a stream's output to a new file at path.
    static bool redirect(std::ostream* os, const char* path);

    static int getPrintBufferSize() { return printBufSize; }
    // Stores a new size for the print buffer; only negative values are taken.
    static bool setPrintBufferSize(int size);

    // Write mode of a mode text: 1 for "w...", 2 for "a...", -1 otherwise.
    static int WM(const std::string& mode);

    std::vector<FILE_INFO> outputs;
    bool buffering;
    stringbuffer buffer;
    bool lineEnded;

    static int printBufSize;
    // 0 no time stamps, 1 time stamps, 2 or more also memory use.
    static int verboseLevel;

private:
    bool _add(void* handle, int type, bool owned, int mode);
    int _print(const FILE_INFO& info, const char* text);
    void _close(bool all);
    bool _vprint(bool auditOnly, const char* format, va_list args);
};
