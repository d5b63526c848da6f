// Loads the state files of a large project, as the relink mode does, and
// compares the load time with the time to read the same two files' bytes in
// the same run (with one thread, and with two as the load checks a large
// file); then decodes every record, and reports the time that takes
// and the peak memory per read.
// Usage: store_load_bench [numReads] [numFiles]
//        store_load_bench gen DIR numReads numFiles   (keeps the project)
//        store_load_bench load DIR numReads
// The loading runs in a fresh process (this program again, in "load" mode),
// so that its peak memory is the store's and not the generator's.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "Context.h"
#include "InputFile.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "SffWriter.h"
#include "StringSet.h"

static double now() {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return tv.tv_sec + tv.tv_usec / 1e6;
}

// User and system CPU seconds of this process so far.
static void cpuTimes(double& user, double& sys) {
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    user = ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6;
    sys = ru.ru_stime.tv_sec + ru.ru_stime.tv_usec / 1e6;
}

static long maxRssKb() {
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return ru.ru_maxrss;
}

// Reads a whole file through one 1 MB buffer; returns its size.
static uint64_t readBytes(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        perror(path.c_str());
        exit(1);
    }
    static std::vector<char> buf(1 << 20);
    uint64_t total = 0;
    ssize_t n;
    while ((n = read(fd, buf.data(), buf.size())) > 0) total += (uint64_t)n;
    close(fd);
    return total;
}

// Reads a whole file with two threads, each one half through its own 1 MB
// buffer, as the load's check walks a large state file; returns its size.
static uint64_t readBytesTwoThreads(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        perror(path.c_str());
        exit(1);
    }
    struct stat st;
    fstat(fd, &st);
    uint64_t size = (uint64_t)st.st_size, half = size / 2;
    uint64_t got[2] = {0, 0};
    auto readPart = [fd, &got](int i, uint64_t from, uint64_t to) {
        std::vector<char> buf(1 << 20);
        while (from < to) {
            ssize_t n = pread(fd, buf.data(), std::min<uint64_t>(buf.size(), to - from), from);
            if (n <= 0) break;
            from += (uint64_t)n;
            got[i] += (uint64_t)n;
        }
    };
    std::thread second(readPart, 1, half, size);
    readPart(0, 0, half);
    second.join();
    close(fd);
    return got[0] + got[1];
}

static const int ACCNO_LENGTH = 14;

// Builds the project directory: small stand-in SFF files linked from sff/,
// and the state files of numReads reads spread over them.
static void generate(const std::string& dir, int numReads, int numFiles) {
    mkdir(dir.c_str(), 0755);
    mkdir((dir + "/sff").c_str(), 0755);
    mkdir((dir + "/mapping").c_str(), 0755);
    Context ctx(dir, "mapping", false, false, false);
    SeqCache cache(&ctx, false);
    int perFile = numReads / numFiles;
    char name[32];
    int seqId = 0;
    for (int f = 0; f < numFiles; f++) {
        std::string real = dir + "/run" + std::to_string(f) + ".sff";
        SffWriter sff(8);
        sff.add("stand_in", "TACG");
        sff.write(real);
        std::string link = ctx.sffDirectory + "/run" + std::to_string(f) + ".sff";
        symlink(real.c_str(), link.c_str());
        InputFile* in = new InputFile(link, real, "", "", false);
        ctx.readFiles.push_back(in);
        SeqFile* file = new SeqFile(in, &ctx, seqId, false);
        cache.sfmList.push_back(file);
        int count = f == numFiles - 1 ? numReads - seqId : perFile;
        uint64_t offset = 1000;
        for (int i = 0; i < count; i++, seqId++) {
            snprintf(name, sizeof name, "E%02dQ%010d", f, i);
            int length = 100 + (i % 300);
            uint32_t size = 1200 + length * 3;
            cache.addRead(f, offset, size, 0, 0, length, 5, 0, name);
            offset += size;
        }
        file->numReads = count;
        file->fileSize = offset;
    }
    cache.write(true, true);
}

static int loadMode(const std::string& dir, int numReads) {
    Context ctx(dir, "mapping", false, false, false);
    for (int f = 0;; f++) {
        std::string link = ctx.sffDirectory + "/run" + std::to_string(f) + ".sff";
        if (access(link.c_str(), F_OK) != 0) break;
        ctx.readFiles.push_back(
            new InputFile(link, dir + "/run" + std::to_string(f) + ".sff", "", "", false));
    }
    // Warm the page cache, then time the plain reads of both files.
    readBytes(ctx.seqFileMetadataPath);
    readBytes(ctx.seqCacheMetadataPath);
    double t0 = now();
    uint64_t bytes = readBytes(ctx.seqFileMetadataPath) + readBytes(ctx.seqCacheMetadataPath);
    double readTime = now() - t0;
    t0 = now();
    readBytesTwoThreads(ctx.seqFileMetadataPath);
    readBytesTwoThreads(ctx.seqCacheMetadataPath);
    double readTime2 = now() - t0;

    long rssBefore = maxRssKb();
    double user0, sys0, user1, sys1;
    cpuTimes(user0, sys0);
    t0 = now();
    SeqCache* cache = new SeqCache(&ctx, false);
    cache->readAndUpdate(nullptr, true, true);
    double loadTime = now() - t0;
    cpuTimes(user1, sys1);
    long rssLoaded = maxRssKb();
    // Every record decoded, as a run that uses all reads needs them.
    t0 = now();
    cache->bringInAllRecords();
    double decodeTime = now() - t0;
    long rssAfter = maxRssKb();
    // The same bytes into memory fresh from the kernel, as decoded records need.
    t0 = now();
    uint64_t freshBytes = 0;
    for (const std::string& path : {ctx.seqFileMetadataPath, ctx.seqCacheMetadataPath}) {
        int fd = open(path.c_str(), O_RDONLY);
        struct stat st;
        fstat(fd, &st);
        char* fresh = (char*)malloc((size_t)st.st_size + 1);
        ssize_t n, got = 0;
        while ((n = read(fd, fresh + got, (size_t)st.st_size - got)) > 0) got += n;
        freshBytes += (uint64_t)got + (uint8_t)fresh[got / 2];
        free(fresh);
        close(fd);
    }
    double freshTime = now() - t0;
    // And into fresh memory of the kind the store's lists use (large pages
    // where the kernel has them): the cost of the memory itself, which decoding
    // every record cannot avoid, next to the copy.
    t0 = now();
    for (const std::string& path : {ctx.seqFileMetadataPath, ctx.seqCacheMetadataPath})
        freshBytes += readIntoFreshMemory(path);
    double bulkTime = now() - t0;
    if (freshBytes == 0) printf("(empty state files)\n");

    if (cache->getNumReads() != numReads) {
        fprintf(stderr, "loaded %d reads, expected %d\n", cache->getNumReads(), numReads);
        return 1;
    }
    double perRead = (rssAfter - rssBefore) * 1024.0 / numReads;
    double perReadLoaded = (rssLoaded - rssBefore) * 1024.0 / numReads;
    printf("store_load_bench: %d reads in %zu files, %.1f MB of state files\n", numReads,
           cache->getSeqFileList().size(), bytes / 1e6);
    printf("  read bytes: %.3f s   load: %.3f s   ratio: %.2f (target <= 3)\n", readTime, loadTime,
           loadTime / readTime);
    printf("  read bytes with two threads: %.3f s   load / that: %.2f\n", readTime2,
           loadTime / readTime2);
    printf(
        "  load CPU: %.3f s user, %.3f s system (the system part is mostly the copy out of the "
        "page cache)\n",
        user1 - user0, sys1 - sys0);
    printf("  then decoding every record: %.3f s (load + that: %.2f x read bytes)\n", decodeTime,
           (loadTime + decodeTime) / readTime);
    // The full decode needs its memory handed out: compare it with reading
    // the same bytes into fresh memory.
    printf(
        "  read bytes into fresh memory: %.3f s, into fresh large-page memory: %.3f s "
        "(load + decoding every record / that: %.2f)\n",
        freshTime, bulkTime, (loadTime + decodeTime) / bulkTime);
    printf("  memory after the load: %.1f bytes/read\n", perReadLoaded);
    printf(
        "  memory with every record decoded: %.1f bytes/read (accession %d bytes; target <= %d)\n",
        perRead, ACCNO_LENGTH, 32 + ACCNO_LENGTH);
    return 0;
}

int main(int argc, char** argv) {
    if (argc >= 4 && strcmp(argv[1], "load") == 0) return loadMode(argv[2], atoi(argv[3]));
    if (argc >= 5 && strcmp(argv[1], "gen") == 0) {
        generate(argv[2], atoi(argv[3]), atoi(argv[4]));
        return 0;
    }
    int numReads = argc > 1 ? atoi(argv[1]) : 5000000;
    int numFiles = argc > 2 ? atoi(argv[2]) : 4;
    char tmpl[] = "/tmp/store_load_bench.XXXXXX";
    if (!mkdtemp(tmpl)) {
        perror("mkdtemp");
        return 1;
    }
    std::string dir = std::string(tmpl) + "/proj";
    // Generate in a child, so that this process stays small: a peak memory
    // figure survives fork and exec, and the loader must start from nothing.
    double t0 = now();
    int status = 0;
    pid_t gen = fork();
    if (gen == 0) {
        generate(dir, numReads, numFiles);
        _exit(0);
    }
    waitpid(gen, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "store_load_bench: generation failed\n");
        return 1;
    }
    printf("store_load_bench: generated in %.2f s\n", now() - t0);
    fflush(stdout);

    pid_t pid = fork();
    if (pid == 0) {
        std::string count = std::to_string(numReads);
        execl("/proc/self/exe", argv[0], "load", dir.c_str(), count.c_str(), (char*)nullptr);
        _exit(127);
    }
    waitpid(pid, &status, 0);
    std::string cmd = std::string("rm -rf ") + tmpl;
    if (system(cmd.c_str()) != 0) fprintf(stderr, "could not remove %s\n", tmpl);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
