// Deterministic synthetic reads and the sample read files made from them.
#pragma once

#include <cstdint>
#include <string>

#include "SffWriter.h"

// A small deterministic generator, so that sample files are the same on every machine.
class SampleRandom {
public:
    explicit SampleRandom(uint64_t seed)
        : state(seed * 6364136223846793005ULL + 1442695040888963407ULL) {}
    uint32_t next() {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return (uint32_t)(state >> 33);
    }
    int range(int lo, int hi) { return lo + (int)(next() % (uint32_t)(hi - lo + 1)); }

    uint64_t state;
};

// Bases of about the given length that a flow order can call: each flow adds a
// run of 0 to 2 copies of its base, so the read always fits in the flows.
std::string sampleFlowBases(SampleRandom& rng, const std::string& flowChars, int length);

// Fills a writer with numReads reads named prefix000001, prefix000002, ...,
// 40 to 250 bases long, with quality clips on some of them.
void addSampleSffReads(SffWriter& writer, int numReads, uint64_t seed, const std::string& prefix);

// Writes numReads synthetic reads as FASTA (60 bases a line), and, when
// qualPath is not empty, their scores as a quality file beside it.
void writeSampleFasta(const std::string& path, const std::string& qualPath, int numReads,
                      uint64_t seed, const std::string& prefix);

// Writes numReads synthetic reads as FASTQ with standard scores.
void writeSampleFastq(const std::string& path, int numReads, uint64_t seed,
                      const std::string& prefix);
