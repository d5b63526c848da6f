#include "OutputFile.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <vector>

#include "Util.h"

const char* const OutputFile::WRITE_MODE = "wb";
const char* const OutputFile::APPEND_MODE = "ab";
int OutputFile::warnCnt = 0;

OutputFile::OutputFile() : errorMode(0), fp(nullptr), bufptr(buffer), bufend(buffer + BUFFER_SIZE) {
    buffer[0] = 0;
}

OutputFile::~OutputFile() { close(); }

void OutputFile::open(const char* path, const char* omode, int errorMode) {
    ASSERT(filename.length() == 0 && fp == __null);
    ASSERT(strcmp(omode, WRITE_MODE) == 0 || strcmp(omode, APPEND_MODE) == 0);
    this->errorMode = errorMode;
    filename = path;
    bufptr = buffer;
    if (errorMode == 4) return;
    fp = fopen(path, omode);
    if (!fp) {
        _error("Error:  Could not open file:  %s\n", path);
        filename.clear();
        return;
    }
    // The batch is the buffer: each write goes straight to the file, so that a
    // full disk shows at the write that meets it.
    setvbuf(fp, nullptr, _IONBF, 0);
}

void OutputFile::print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int room = (int)(bufend - bufptr);
    int n = vsnprintf(bufptr, room, format, args);
    va_end(args);
    if (n < 0) n = 0;
    if (n < room) {
        bufptr += n;
        ASSERT(bufptr <= bufend);
        va_end(again);
        flush(false);
        return;
    }
    // The text didn't fit in the room left: write what is pending first, then
    // format again into the empty batch, or on the heap when it is bigger still.
    flush(true);
    if (n < BUFFER_SIZE) {
        vsnprintf(bufptr, BUFFER_SIZE, format, again);
        bufptr += n;
        ASSERT(bufptr <= bufend);
        flush(false);
    } else {
        std::vector<char> big(n + 1);
        vsnprintf(big.data(), n + 1, format, again);
        if (fp && fwrite(big.data(), 1, n, fp) < (size_t)n)
            _error("Error:  Write error for file %s:  %s\n", filename.c_str(), strerror(errno));
    }
    va_end(again);
}

void OutputFile::flush(bool force) {
    if (force) {
        if (bufptr > buffer) _write();
    } else if (bufend - bufptr <= FLUSH_ROOM) {
        _write();
    }
}

void OutputFile::_write() {
    size_t pending = bufptr - buffer;
    bufptr = buffer;
    if (!fp || pending == 0) return;
    if (fwrite(buffer, 1, pending, fp) < pending)
        _error("Error:  Write error for file %s:  %s\n", filename.c_str(), strerror(errno));
}

void OutputFile::close() {
    if (!fp) return;
    flush(true);
    if (fclose(fp) != 0) {
        fp = nullptr;
        _error("Error:  Could not close file:  %s\n", filename.c_str());
    }
    fp = nullptr;
    filename.clear();
}

void OutputFile::_error(const char* format, ...) {
    if (errorMode > 1) return;
    char text[20000];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (errorMode == 1)
        die("%s", text);
    else
        warn("%s", text);
}

uint64_t OutputFile::getAvailDiskSpace(const char* path) {
    struct statvfs info;
    if (statvfs(path, &info) != 0 || info.f_bsize == 0) return 0;
    return (uint64_t)info.f_bsize * (uint64_t)info.f_bavail;
}

void OutputFile::checkDiskSpace(const char* path) {
    struct statvfs info;
    if (statvfs(path, &info) != 0) return;
    checkAvailDiskSpace((uint64_t)info.f_bsize * (uint64_t)info.f_bavail);
}

void OutputFile::checkAvailDiskSpace(uint64_t avail) {
    std::string gb = uint64tos(avail >> 30);
    if (avail < StopDiskSpace) {
        die("\nError:  Not enough disk space left (%s GB), computation is terminating.\n\n",
            gb.c_str());
    } else if (avail < WarnDiskSpace && warnCnt < MaxWarnCnt) {
        warn("Warning:  Low available disk space (%s GB).\n", gb.c_str());
        warnCnt++;
    }
}
