#include "FileProgressCounter.h"

#include <sys/types.h>

#include <string>

#include "Logger.h"
#include "Util.h"

FileProgressCounter::FileProgressCounter(FILE* fp, int interval)
    : position(0), total(0), unit(1), unitChar(' '), interval(interval), lastShown(0) {
    if (fp) {
        off_t here = ftello(fp);
        if (fseeko(fp, 0, SEEK_END) == 0) {
            off_t end = ftello(fp);
            if (end > 0) total = (uint64_t)end;
        }
        if (here >= 0) fseeko(fp, here, SEEK_SET);
    }
    if (total > 1000000000000ULL) {
        unit = 1000000000ULL;
        unitChar = 'G';
    } else if (total > 1000000000ULL) {
        unit = 1000000ULL;
        unitChar = 'M';
    } else if (total > 1000000ULL) {
        unit = 1000ULL;
        unitChar = 'K';
    }
}

void FileProgressCounter::msg(Logger* logger, uint64_t newPosition) {
    position = newPosition;
    uint64_t shown = position / unit;
    uint64_t step = interval > 0 ? (uint64_t)interval : 1;
    if (shown < lastShown + step) return;
    lastShown = shown;
    if (logger) {
        logger->print("\r  -> %s%c of %s%c...", uint64tos(shown).c_str(), unitChar,
                      uint64tos(total / unit).c_str(), unitChar);
    }
}

void FileProgressCounter::clearMsg(Logger* logger) {
    if (logger) logger->print("\r%40s\r", "");
}

void FileProgressCounter::finalMsg(Logger* logger) {
    if (logger) {
        logger->print("\r  -> %s%c of %s%c\n", uint64tos(position / unit).c_str(), unitChar,
                      uint64tos(total / unit).c_str(), unitChar);
    }
}
