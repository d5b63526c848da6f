// Relinks a generated project of 1,000,000 reads in five SFF files and prints
// the time next to the time to read the same state files and the sampled read
// entries directly, measured in the same run.
//
//   relink_bench READFIX_BINARY [WORK_DIR [keep]]
// With "keep" the generated project stays, for profiling the relink by hand.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "ProjectBuilder.h"
#include "SampleReads.h"
#include "SffWriter.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

static const int NUM_FILES = 5;
static const int READS_PER_FILE = 200000;

static double seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

static void readWhole(const std::string& path, std::vector<char>& buffer) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return;
    while (read(fd, buffer.data(), buffer.size()) > 0) {
    }
    close(fd);
}

// The reads a relink compares: the first 1,000, every 10,000th, the last 1,000.
static std::vector<int> sampledReads(int count) {
    std::vector<int> ids;
    int id = 0;
    while (id < count) {
        ids.push_back(id);
        id++;
        if (id >= 1000 && count - 1 - id > 1000) {
            id += 10000;
            if (id > count - 1) id = count - 1 - 1000;
        }
    }
    return ids;
}

// Reads the sampled entries of every file of dir, as a relink compares them.
static bool readSampledEntries(const std::string& dir,
                               const std::vector<std::vector<uint64_t>>& offsets,
                               const std::vector<std::vector<uint32_t>>& sizes,
                               std::vector<char>& buffer) {
    for (int f = 0; f < NUM_FILES; f++) {
        int fd = open((dir + "/run" + std::to_string(f) + ".sff").c_str(), O_RDONLY);
        if (fd < 0) return false;
        for (int id : sampledReads(READS_PER_FILE))
            if (pread(fd, buffer.data(), sizes[f][id], (off_t)offsets[f][id]) < 0) return false;
        close(fd);
    }
    return true;
}

// Reads the two state files into freshly handed-out memory.
static bool readStateFilesIntoFreshMemory(const std::string& sub) {
    return readIntoFreshMemory(sub + "/.SeqFileMetadata") > 0 &&
           readIntoFreshMemory(sub + "/.SeqCacheMetadata") > 0;
}

static int runRelink(const std::string& readfix, const std::string& proj, const std::string& from,
                     const std::string& to) {
    pid_t pid = fork();
    if (pid == 0) {
        int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 2);
        execl(readfix.c_str(), "readfix", "-relink", proj.c_str(), from.c_str(), to.c_str(),
              (char*)nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "Usage:  %s readfixBinary [workDir]\n", argv[0]);
        return 1;
    }
    std::string readfix = fs::absolute(argv[1]).string();
    std::string work = argc > 2 ? argv[2] : fs::temp_directory_path().string() + "/relink-bench";
    fs::remove_all(work);
    fs::create_directories(work + "/runs");
    fs::create_directories(work + "/moved");

    auto start = Clock::now();
    ProjectBuilder builder(work + "/proj");
    std::vector<std::vector<uint64_t>> offsets;
    std::vector<std::vector<uint32_t>> sizes;
    for (int f = 0; f < NUM_FILES; f++) {
        SffWriter writer(40);
        addSampleSffReads(writer, READS_PER_FILE, 500 + f, "BENCH" + std::to_string(f) + "_");
        std::string path = work + "/runs/run" + std::to_string(f) + ".sff";
        if (!writer.write(path)) return 1;
        offsets.push_back(writer.offsets);
        sizes.push_back(writer.entrySizes);
        builder.addSffFile(path);
        // The destination holds the same bytes under another path.
        fs::create_hard_link(path, work + "/moved/run" + std::to_string(f) + ".sff");
    }
    builder.write();
    printf("generated %d reads in %d SFF files in %.2f s\n", NUM_FILES * READS_PER_FILE, NUM_FILES,
           seconds(start));

    // Warm the page cache the same way for both measurements.
    std::vector<char> buffer(1 << 20);
    std::string sub = work + "/proj/mapping";
    readWhole(sub + "/.SeqFileMetadata", buffer);
    readWhole(sub + "/.SeqCacheMetadata", buffer);

    // Each figure is the best of three rounds; the relink goes back and forth
    // between the two directories, which hold the same bytes.
    double baseline = 1e9, freshBaseline = 1e9, relink = 1e9;
    for (int round = 0; round < 3; round++) {
        start = Clock::now();
        readWhole(sub + "/.SeqFileMetadata", buffer);
        readWhole(sub + "/.SeqCacheMetadata", buffer);
        if (!readSampledEntries(work + "/moved", offsets, sizes, buffer)) return 1;
        baseline = std::min(baseline, seconds(start));

        // The same, with the state files read into fresh memory of the kind the
        // store's lists use: a load must at least have its memory handed out.
        start = Clock::now();
        if (!readStateFilesIntoFreshMemory(sub)) return 1;
        if (!readSampledEntries(work + "/moved", offsets, sizes, buffer)) return 1;
        freshBaseline = std::min(freshBaseline, seconds(start));

        bool forth = round % 2 == 0;
        start = Clock::now();
        int status = runRelink(readfix, work + "/proj", work + (forth ? "/runs" : "/moved"),
                               work + (forth ? "/moved" : "/runs"));
        relink = std::min(relink, seconds(start));
        if (status != 0) {
            fprintf(stderr, "relink failed with status %d\n", status);
            return 1;
        }
    }
    printf("baseline: read state files + sampled entries  %.3f s\n", baseline);
    printf("readfix -relink (whole process)              %.3f s  (%.1fx baseline)\n", relink,
           relink / baseline);
    printf("baseline, state files into fresh memory      %.3f s  (relink %.1fx that)\n",
           freshBaseline, relink / freshBaseline);
    if (argc > 3 && std::string(argv[3]) == "keep")
        printf("kept %s (its read files now point at %s/moved)\n", work.c_str(), work.c_str());
    else
        fs::remove_all(work);
    return 0;
}
