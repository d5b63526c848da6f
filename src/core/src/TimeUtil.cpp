#include "TimeUtil.h"

#include <cstring>
#include <ctime>

int getTime(char* buffer, const char* format) {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    size_t n = strftime(buffer, 100, format ? format : "%x %X", &local);
    buffer[n] = 0;
    return (int)n;
}

std::string getTime(const char* format) {
    static char buffer[100];
    if (getTime(buffer, format) == 0) return "";
    return buffer;
}

std::string getTime(bool forFileName) {
    time_t now = time(nullptr);
    char buffer[64];
    std::string text = ctime_r(&now, buffer) ? buffer : "";
    size_t doubleBlank = text.find("  ");
    if (doubleBlank != std::string::npos) text.erase(doubleBlank, 1);
    size_t newline = text.find('\n');
    if (newline != std::string::npos) text.erase(newline);
    if (forFileName) {
        for (char& c : text) {
            if (c == ':') c = '-';
            if (c == ' ') c = '_';
        }
    }
    return text;
}
