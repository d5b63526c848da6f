#include "FileAdvice.h"

#include <fcntl.h>

#include <cerrno>

const char* fileAdviceErrorText(int code) {
    switch (code) {
        case EBADF:
            return "The file descriptor is not a valid argument (EBADF)";
        case EINVAL:
            return "The value of advise is invalid (EINVAL)";
        case ESPIPE:
            return "The file descriptor argument is associated with a pipe or FIFO (ESPIPE)";
        default:
            return "Unknown error";
    }
}

void doAdviseForFileRead(FILE* fp, off_t offset, off_t length, bool sequential) {
    if (!fp) return;
    int code = posix_fadvise(fileno(fp), offset, length,
                             sequential ? POSIX_FADV_SEQUENTIAL : POSIX_FADV_RANDOM);
    // A hint the kernel won't take costs nothing but speed: the text is dropped.
    if (code != 0) (void)fileAdviceErrorText(code);
}

void setReadModeForFile(FILE* fp, bool sequential) {
    if (!fp) return;
    off_t position = ftello(fp);
    off_t length = 0;
    if (fseeko(fp, 0, SEEK_END) == 0) length = ftello(fp);
    if (position >= 0) fseeko(fp, position, SEEK_SET);
    if (length < 0) length = 0;
    doAdviseForFileRead(fp, 0, length, sequential);
}
