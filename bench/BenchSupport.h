// Small pieces shared by the benchmarks.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "BulkAllocator.h"

// Reads a whole file into freshly handed-out memory of the kind the store's
// lists use, and frees it: the cost of the memory itself next to the copy.
// Returns the bytes read plus one byte of them, so the copy can't be skipped;
// 0 when the file can't be opened.
inline uint64_t readIntoFreshMemory(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return 0;
    struct stat st;
    fstat(fd, &st);
    size_t size = (size_t)st.st_size + 1;
    char* fresh = (char*)bulkAllocate(size);
    ssize_t n, got = 0;
    while ((n = read(fd, fresh + got, (size_t)st.st_size - got)) > 0) got += n;
    uint64_t result = (uint64_t)got + (uint8_t)fresh[got / 2];
    bulkFree(fresh, size);
    close(fd);
    return result;
}
