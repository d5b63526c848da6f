// Feeds files to a fuzz target's entry without the fuzzing engine, so that the kept
// corpus runs as a regression test in the normal build: each argument is a file,
// or a directory whose files are all fed in name order.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzSupport.h"

namespace {

// The files named by arg: the file itself, or the regular files of a directory.
bool collect(const std::string& arg, std::vector<std::string>& files) {
    struct stat st;
    if (stat(arg.c_str(), &st) != 0) return false;
    if (!S_ISDIR(st.st_mode)) {
        files.push_back(arg);
        return true;
    }
    DIR* dir = opendir(arg.c_str());
    if (dir == nullptr) return false;
    std::vector<std::string> found;
    while (dirent* e = readdir(dir)) {
        std::string path = arg + "/" + e->d_name;
        if (e->d_name[0] != '.' && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
            found.push_back(path);
    }
    closedir(dir);
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; i++) {
        if (!collect(argv[i], files)) {
            fprintf(stderr, "cannot read %s\n", argv[i]);
            return 2;
        }
    }
    if (files.empty()) {
        fprintf(stderr, "usage: %s file-or-directory...\n", argv[0]);
        return 2;
    }
    for (const std::string& path : files) {
        std::ifstream in(path, std::ios::binary);
        std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        fprintf(stderr, "replay %s (%zu bytes)\n", path.c_str(), data.size());
        LLVMFuzzerTestOneInput((const uint8_t*)data.data(), data.size());
    }
    printf("%zu inputs replayed\n", files.size());
    return 0;
}
