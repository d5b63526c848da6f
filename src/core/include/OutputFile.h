// Buffered output file that batches writes and watches free disk space.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

class OutputFile {
public:
    static const int BUFFER_SIZE = 100000;
    // flush(false) writes once no more than this much room is left.
    static const int FLUSH_ROOM = 20000;
    static const char* const WRITE_MODE;   // "wb"
    static const char* const APPEND_MODE;  // "ab"

    static const uint64_t OneGig = 1073741824ULL;
    static const uint64_t WarnDiskSpace = 3221225472ULL;
    static const uint64_t StopDiskSpace = 1073741824ULL;
    static const int MaxWarnCnt = 10;
    // Low-space warnings given so far by checkDiskSpace.
    static int warnCnt;

    OutputFile();
    // Writes what is pending and closes the file.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Opens path with WRITE_MODE or APPEND_MODE. errorMode: 0 warn, 1 die, above 1
    // silent, 4 opens nothing and drops all text.
    void open(const char* path, const char* mode, int errorMode);
    // Formats text into the batch; writes the batch when it is nearly full.
    void print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Writes the batch: always with force (if not empty), otherwise only when at
    // most FLUSH_ROOM bytes are left free.
    void flush(bool force);
    // Writes what is pending and closes the file.
    void close();
    // Whether a file is open.
    bool isOpen() const { return fp != nullptr; }

    // Ends the process below 1 GiB free at path, warns (at most 10 times) below 3 GiB.
    static void checkDiskSpace(const char* path);
    // The decision of checkDiskSpace for a free-space figure in bytes.
    static void checkAvailDiskSpace(uint64_t avail);
    // Free bytes for unprivileged users at path, 0 on failure.
    static uint64_t getAvailDiskSpace(const char* path);

    int errorMode;
    std::string filename;
    FILE* fp;
    char buffer[BUFFER_SIZE];
    char* bufptr;
    char* bufend;

private:
    void _write();
    void _error(const char* format, ...) __attribute__((format(printf, 2, 3)));
};
