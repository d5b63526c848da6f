// Reads every read of a generated SFF file through SeqFile (bases, scores and
// flows), and compares the time with reading the same entries by plain read
// calls in the same run. Usage: sff_read_bench [numReads]
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "SampleReads.h"
#include "SeqFile.h"
#include "SeqUtil.h"
#include "Sequence.h"
#include "SffWriter.h"

static double now() {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return tv.tv_sec + tv.tv_usec / 1e6;
}

// Plain reads of each entry in file order; returns a checksum so the work stays.
static uint64_t plainPass(const std::string& path, const std::vector<uint64_t>& offsets,
                          const std::vector<uint32_t>& sizes, std::vector<char>& buf) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        perror(path.c_str());
        exit(1);
    }
    uint64_t sum = 0;
    lseek(fd, (off_t)offsets[0], SEEK_SET);
    for (size_t i = 0; i < offsets.size(); i++) {
        if (lseek(fd, (off_t)offsets[i], SEEK_SET) < 0 ||
            read(fd, buf.data(), sizes[i]) != (ssize_t)sizes[i]) {
            perror("read");
            exit(1);
        }
        sum += (unsigned char)buf[sizes[i] - 1] + (unsigned char)buf[0];
    }
    close(fd);
    return sum;
}

// Every read through SeqFile::readSequence, reusing one Sequence.
static uint64_t seqFilePass(SeqFile& file, Sequence& seq, int numReads) {
    uint64_t sum = 0;
    int clipPoint = 0;
    for (int id = 0; id < numReads; id++) {
        seq.clear();
        file.readSequence(&seq, id, 0, clipPoint, false, false, true, true, true);
        sum += seq.length + seq.flowgram.size();
    }
    return sum;
}

int main(int argc, char** argv) {
    int numReads = argc > 1 ? atoi(argv[1]) : 100000;
    if (numReads < 1) numReads = 100000;
    SeqUtil::doStaticInit();

    char dirTemplate[] = "/tmp/sff_read_bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) {
        perror("mkdtemp");
        return 1;
    }
    std::string path = std::string(dirTemplate) + "/bench.sff";

    SffWriter writer(400);
    addSampleSffReads(writer, numReads, 7, "BENCH");
    if (!writer.write(path)) {
        fprintf(stderr, "cannot write %s\n", path.c_str());
        return 1;
    }
    std::vector<uint64_t> offsets = writer.offsets;
    std::vector<uint32_t> sizes = writer.entrySizes;
    writer.reads.clear();
    writer.reads.shrink_to_fit();
    uint64_t bytes = 0;
    uint32_t largest = 0;
    for (uint32_t s : sizes) {
        bytes += s;
        if (s > largest) largest = s;
    }

    SeqFile file(path, nullptr, InputFile::SFF_FILE);
    for (size_t i = 0; i < offsets.size(); i++) {
        file.addFileOffset(offsets[i]);
        file.addFileByteSize(sizes[i]);
    }
    Sequence seq;
    std::vector<char> buf(largest);

    // Warm the page cache so that both passes read from memory, then take the
    // best of three rounds of each.
    plainPass(path, offsets, sizes, buf);
    double bestPlain = 1e30, bestSeqFile = 1e30;
    uint64_t check = 0;
    for (int round = 0; round < 3; round++) {
        double t0 = now();
        check += plainPass(path, offsets, sizes, buf);
        double t1 = now();
        check += seqFilePass(file, seq, numReads);
        double t2 = now();
        if (t1 - t0 < bestPlain) bestPlain = t1 - t0;
        if (t2 - t1 < bestSeqFile) bestSeqFile = t2 - t1;
    }
    file.closeFile();

    double mb = bytes / 1e6;
    printf("sff_read_bench: %d reads, %.1f MB of entries (checksum %llu)\n", numReads, mb,
           (unsigned long long)check);
    printf("  plain read calls:       %8.3f s  %10.0f reads/s  %8.1f MB/s\n", bestPlain,
           numReads / bestPlain, mb / bestPlain);
    printf("  SeqFile::readSequence:  %8.3f s  %10.0f reads/s  %8.1f MB/s\n", bestSeqFile,
           numReads / bestSeqFile, mb / bestSeqFile);
    printf("  ratio SeqFile / plain:  %8.2f (target: within 2.00)\n", bestSeqFile / bestPlain);

    unlink(path.c_str());
    rmdir(dirTemplate);
    return 0;
}
