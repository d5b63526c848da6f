#include "FuzzSupport.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "Util.h"

namespace {

std::string scratchDir;
std::vector<int> baselineFds;

// The descriptors open now, in ascending order.
std::vector<int> openFds() {
    std::vector<int> fds;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) return fds;
    int own = dirfd(dir);
    while (dirent* e = readdir(dir)) {
        if (e->d_name[0] == '.') continue;
        int fd = atoi(e->d_name);
        if (fd != own) fds.push_back(fd);
    }
    closedir(dir);
    std::sort(fds.begin(), fds.end());
    return fds;
}

// The hook of every target: a die or an exit becomes an exception caught per input.
void throwOnExit(int status) { throw FuzzExit{status}; }

// Removes the scratch directory and everything below it at process end.
void removeScratch() {
    if (scratchDir.empty()) return;
    std::string command = "rm -rf '" + scratchDir + "'";
    if (system(command.c_str()) != 0) fprintf(stderr, "cannot remove %s\n", scratchDir.c_str());
}

}  // namespace

const std::string& fuzzSetUp() {
    if (!scratchDir.empty()) return scratchDir;
    setExitHook(throwOnExit);
    baselineFds = openFds();
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/readfix-fuzz-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back(0);
    if (mkdtemp(buf.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    scratchDir = buf.data();
    atexit(removeScratch);
    return scratchDir;
}

void fuzzWriteFile(const std::string& path, const uint8_t* data, size_t size) {
    FILE* fp = fopen(path.c_str(), "wb");
    if (fp == nullptr || (size > 0 && fwrite(data, 1, size, fp) != size) || fclose(fp) != 0) {
        perror(path.c_str());
        abort();
    }
}

void fuzzMakeDir(const std::string& path) {
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        perror(path.c_str());
        abort();
    }
}

void fuzzKeepOpenFds() { baselineFds = openFds(); }

void fuzzCloseNewFds() {
    // Only files and directories: pipes and sockets belong to the sanitizers' symbolizer.
    std::vector<int> now = openFds();
    for (int fd : now) {
        struct stat st;
        if (std::binary_search(baselineFds.begin(), baselineFds.end(), fd) || fstat(fd, &st) != 0)
            continue;
        if (S_ISREG(st.st_mode) || S_ISDIR(st.st_mode)) close(fd);
    }
}

void fuzzSplit(const uint8_t* data, size_t size, const std::string& marker, std::string& first,
               std::string& second) {
    std::string all((const char*)data, size);
    size_t at = all.find(marker);
    if (at == std::string::npos) {
        first = all;
        second.clear();
        return;
    }
    first = all.substr(0, at);
    second = all.substr(at + marker.size());
}
