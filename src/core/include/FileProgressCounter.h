// Progress through a large input file, shown as a line rewritten in place.
#pragma once

#include <cstdint>
#include <cstdio>

class Logger;

class FileProgressCounter {
public:
    // Measures the file (position kept) and picks the unit of the messages;
    // interval is the step between messages, in units.
    FileProgressCounter(FILE* fp, int interval);

    // Prints "\r  -> P of T..." when position has advanced by the interval since
    // the last message.
    void msg(Logger* logger, uint64_t position);
    // Blanks the progress line.
    void clearMsg(Logger* logger);
    // Prints the last position with a newline.
    void finalMsg(Logger* logger);

    uint64_t position;  // last position given to msg
    uint64_t total;     // file size in bytes
    uint64_t unit;      // divisor of the figures
    char unitChar;      // 'G', 'M', 'K' or ' '
    int interval;
    uint64_t lastShown;  // position (in units) of the last message
};
