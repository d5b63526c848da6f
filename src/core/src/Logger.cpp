#include "Logger.h"

#include <cstring>
#include <fstream>

#include "MemUsage.h"
#include "TimeUtil.h"

int Logger::printBufSize = 50000;
int Logger::verboseLevel = 1;

namespace {

// Room of the formatting buffer of print and log.
const int PRINT_ROOM = 50000 + 16;

// Size to format into: the configured size when it is usable, else the default.
int printLimit() {
    int size = Logger::printBufSize > 0 ? Logger::printBufSize + 16 : PRINT_ROOM;
    return size < PRINT_ROOM ? size : PRINT_ROOM;
}

}  // namespace

Logger::Logger() : buffering(false), buffer(128), lineEnded(true) {}

Logger::Logger(std::string path, int type) : Logger() { add(path, type, "w"); }

Logger::Logger(std::string path, int type, std::string mode) : Logger() { add(path, type, mode); }

Logger::Logger(FILE* fp) : Logger() { add(fp); }

Logger::Logger(std::ostream* os) : Logger() { add(os); }

Logger::~Logger() { _close(false); }

int Logger::WM(const std::string& mode) {
    if (!mode.empty() && mode[0] == 'w') return 1;
    if (!mode.empty() && mode[0] == 'a') return 2;
    return -1;
}

bool Logger::_add(void* handle, int type, bool owned, int mode) {
    if (mode < 0) {
        printf("\n*** Logger: Invalid write mode (neither write, nor append).");
        fflush(stdout);
        return false;
    }
    outputs.push_back(FILE_INFO{handle, (short)type, (short)owned, mode});
    return true;
}

bool Logger::add(FILE* fp) {
    if (!fp) {
        printf("\n*** Logger: Invalid file handle.");
        fflush(stdout);
        return false;
    }
    return _add(fp, 0, false, 1);
}

bool Logger::add(std::ostream* os) {
    if (!os) {
        printf("\nInvalid stream handle.");
        fflush(stdout);
        return false;
    }
    return _add(os->rdbuf(), 1, false, 1);
}

bool Logger::add(std::string path, int type, std::string mode) {
    bool append = !mode.empty() && mode[0] == 'a';
    if (type == 0) {
        FILE* fp = fopen(path.c_str(), append ? "a" : "w");
        if (!fp) {
            printf("\n*** Logger: Cannot open file %s in \"%s\" mode.\n", path.c_str(),
                   mode.c_str());
            fflush(stdout);
            return false;
        }
        if (!_add(fp, 0, true, WM(mode))) {
            fclose(fp);
            return false;
        }
        return true;
    }
    if (type == 1) {
        std::filebuf* fb = new std::filebuf;
        if (!fb->open(path,
                      append ? std::ios::out | std::ios::app : std::ios::out | std::ios::trunc)) {
            delete fb;
            printf("\n*** Logger: Cannot open stream %s in \"%s\" mode.\n", path.c_str(),
                   mode.c_str());
            fflush(stdout);
            return false;
        }
        if (!_add(fb, 1, true, WM(mode))) {
            delete fb;
            return false;
        }
        return true;
    }
    printf("\n*** Logger: Unknown log output type (neither file, nor stream)");
    fflush(stdout);
    return false;
}

bool Logger::addAuditLog(std::string path) {
    FILE* fp = fopen(path.c_str(), "a");
    if (!fp) {
        printf("\n*** Logger: Cannot open audit log file %s.\n", path.c_str());
        fflush(stdout);
        return false;
    }
    return _add(fp, 2, true, 2);
}

int Logger::_print(const FILE_INFO& info, const char* text) {
    if (!text || !*text || !info.handle) return -1;
    if (info.type == 0) {
        FILE* fp = (FILE*)info.handle;
        int n;
        if (verboseLevel == 0 || text[0] == '\n') {
            n = fputs(text, fp);
        } else {
            char timeBuf[100];
            static char memBuf[200];
            getTime(timeBuf, "%b %d %X");
            if (verboseLevel > 1) getMemUsage(memBuf, 0);
            char lead = 0;
            if (text[0] == '\r') {
                lead = '\r';
                text++;
            }
            n = fprintf(fp, "%c%s%s %s", lead, timeBuf, verboseLevel > 1 ? memBuf : "", text);
        }
        if (fflush(fp) != 0 || n < 0) return -1;
        return 0;
    }
    if (info.type == 1) {
        std::ostream os((std::streambuf*)info.handle);
        os << text;
        os.flush();
        return os.good() ? 0 : -1;
    }
    if (info.type == 2) {
        if (text[0] == '\r') return 0;
        FILE* fp = (FILE*)info.handle;
        char timeBuf[100];
        getTime(timeBuf, nullptr);
        int n = fprintf(fp, "%s\n%s", timeBuf, text);
        if (fflush(fp) != 0 || n < 0) return -1;
        return 0;
    }
    return -1;
}

bool Logger::_vprint(bool auditOnly, const char* format, va_list args) {
    if (outputs.empty() && !buffering) return true;
    char text[PRINT_ROOM];
    text[0] = 0;
    int n = vsnprintf(text, printLimit(), format, args);
    if (n < 0) text[0] = 0;
    if (text[0]) lineEnded = text[strlen(text) - 1] == '\n';
    if (buffering) {
        buffer.append(text);
        return n >= 0;
    }
    bool ok = n >= 0;
    for (const FILE_INFO& info : outputs) {
        if (auditOnly && info.type != 2) continue;
        if (_print(info, text) < 0) ok = false;
    }
    return ok;
}

bool Logger::print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    bool ok = _vprint(false, format, args);
    va_end(args);
    return ok;
}

bool Logger::log(const char* format, ...) {
    va_list args;
    va_start(args, format);
    bool ok = _vprint(true, format, args);
    va_end(args);
    return ok;
}

bool Logger::putch(char c) {
    lineEnded = c == '\n';
    if (buffering) {
        buffer.append(c);
        return true;
    }
    bool ok = true;
    for (const FILE_INFO& info : outputs) {
        if (!info.handle) {
            ok = false;
        } else if (info.type == 0) {
            if (fputc(c, (FILE*)info.handle) == EOF || fflush((FILE*)info.handle) != 0) ok = false;
        } else if (info.type == 1) {
            std::streambuf* sbuf = (std::streambuf*)info.handle;
            if (sbuf->sputc(c) == EOF || sbuf->pubsync() != 0) ok = false;
        }
    }
    return ok;
}

bool Logger::print(FILE* fp, const char* format, ...) {
    if (!fp) return false;
    va_list args;
    va_start(args, format);
    int n = vfprintf(fp, format, args);
    va_end(args);
    fflush(fp);
    return n >= 0;
}

bool Logger::print(std::ostream* os, const char* format, ...) {
    if (!os) return false;
    char text[PRINT_ROOM];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(text, printLimit(), format, args);
    va_end(args);
    *os << text;
    os->flush();
    return n >= 0 && os->good();
}

bool Logger::fprint(const char* path, const char* mode, const char* format, ...) {
    int wm = WM(mode ? mode : "");
    if (wm < 0) {
        printf("\n*** Logger: Allowed print modes are 'a' (append) and 'w' (write).'");
        fflush(stdout);
        return false;
    }
    FILE* fp = fopen(path, wm == 2 ? "a" : "w");
    if (!fp) {
        printf("\n*** Logger: Cannot open file %s in '%s mode.'\n", path,
               wm == 2 ? "append" : "write");
        fflush(stdout);
        return false;
    }
    va_list args;
    va_start(args, format);
    int n = vfprintf(fp, format, args);
    va_end(args);
    return (fclose(fp) == 0) && n >= 0;
}

bool Logger::stopBuffering(FILE* stream) {
    if (!stream || buffer.length() == 0) return true;
    fputs(buffer.c_str(), stream);
    fflush(stream);
    buffering = false;
    buffer.clear();
    return true;
}

void Logger::_close(bool all) {
    for (FILE_INFO& info : outputs) {
        if (!info.handle || !(info.owned || all)) continue;
        if (info.type == 0 || info.type == 2) {
            FILE* fp = (FILE*)info.handle;
            fflush(fp);
            fclose(fp);
        } else if (info.type == 1) {
            std::streambuf* sbuf = (std::streambuf*)info.handle;
            sbuf->pubsync();
            std::filebuf* fb = dynamic_cast<std::filebuf*>(sbuf);
            if (fb) fb->close();
            if (info.owned) delete sbuf;
        }
        // A closed output stays listed, with no handle, until reset.
        info.handle = nullptr;
    }
}

void Logger::reset() {
    _close(false);
    outputs.clear();
}

FILE* Logger::getFP() {
    for (const FILE_INFO& info : outputs) {
        if (info.type == 0 && info.handle) return (FILE*)info.handle;
    }
    return nullptr;
}

bool Logger::redirect(FILE* fp, const char* path) {
    if (!fp || !path) return false;
    return freopen(path, "w", fp) != nullptr;
}

bool Logger::redirect(std::ostream* os, const char* path) {
    if (!os || !path) return false;
    // The new buffer lives until the process ends, as the stream may.
    std::filebuf* fb = new std::filebuf;
    if (!fb->open(path, std::ios::out | std::ios::trunc)) {
        delete fb;
        return false;
    }
    os->rdbuf(fb);
    return true;
}

bool Logger::setPrintBufferSize(int size) {
    if (size >= 0) {
        printf("\n*** Logger: Invalid buffer size value %d.\n", size);
        fflush(stdout);
        return false;
    }
    printBufSize = size;
    return true;
}
