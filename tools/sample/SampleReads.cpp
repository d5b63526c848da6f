#include "SampleReads.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

std::string sampleFlowBases(SampleRandom& rng, const std::string& flowChars, int length) {
    std::string bases;
    for (size_t flow = 0; (int)bases.size() < length && flow < flowChars.size(); flow++) {
        int roll = rng.range(0, 99);
        int run = roll < 45 ? 0 : roll < 85 ? 1 : 2;
        bases.append(run, flowChars[flow]);
    }
    if ((int)bases.size() > length) bases.resize(length);
    return bases;
}

static std::string readName(const std::string& prefix, int n) {
    char name[64];
    snprintf(name, sizeof name, "%06d", n);
    return prefix + name;
}

void addSampleSffReads(SffWriter& writer, int numReads, uint64_t seed, const std::string& prefix) {
    SampleRandom rng(seed);
    for (int i = 1; i <= numReads; i++) {
        std::string bases = sampleFlowBases(rng, writer.flowChars, rng.range(40, 250));
        int n = (int)bases.size();
        SffEntry read;
        read.name = readName(prefix, i);
        read.bases = bases;
        read.quals.resize(n);
        for (int b = 0; b < n; b++) read.quals[b] = (uint8_t)rng.range(10, 40);
        // Every third read has its key and a tail clipped, as a run's own trimming does.
        if (i % 3 == 0 && n > 20) {
            read.clipQualLeft = 5;
            read.clipQualRight = (uint16_t)(n - 5);
        }
        writer.add(read);
    }
}

void writeSampleFasta(const std::string& path, const std::string& qualPath, int numReads,
                      uint64_t seed, const std::string& prefix) {
    SampleRandom rng(seed);
    std::ofstream fasta(path), qual;
    if (!qualPath.empty()) qual.open(qualPath);
    std::string flows;
    for (int i = 0; i < 200; i++) flows += "TACG";
    for (int i = 1; i <= numReads; i++) {
        std::string name = readName(prefix, i);
        std::string bases = sampleFlowBases(rng, flows, rng.range(40, 250));
        fasta << ">" << name << "\n";
        for (size_t p = 0; p < bases.size(); p += 60) fasta << bases.substr(p, 60) << "\n";
        if (!qualPath.empty()) {
            qual << ">" << name << "\n";
            for (size_t p = 0; p < bases.size(); p++)
                qual << rng.range(10, 40)
                     << ((p + 1) % 20 == 0 || p + 1 == bases.size() ? "\n" : " ");
        }
    }
    if (!fasta || (!qualPath.empty() && !qual)) throw std::runtime_error("cannot write " + path);
}

void writeSampleFastq(const std::string& path, int numReads, uint64_t seed,
                      const std::string& prefix) {
    SampleRandom rng(seed);
    std::ofstream fastq(path);
    std::string flows;
    for (int i = 0; i < 200; i++) flows += "TACG";
    for (int i = 1; i <= numReads; i++) {
        std::string bases = sampleFlowBases(rng, flows, rng.range(40, 250));
        std::string quals;
        for (size_t p = 0; p < bases.size(); p++) quals += (char)('!' + rng.range(10, 40));
        fastq << "@" << readName(prefix, i) << "\n" << bases << "\n+\n" << quals << "\n";
    }
    if (!fastq) throw std::runtime_error("cannot write " + path);
}
