// Trimmed bases and coarse scores of all reads of a project, half a byte per
// base, kept in memory chunks or in two files of the project directory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "stringbuffer.h"

class CompressedDNASet {
public:
    enum CacheMode { DISK_WRITE = 0, DISK_READ = 1, MEMORY = 2 };

    static constexpr int CHUNK_SIZE = 0x10000;
    static constexpr int MAX_CHUNKS = 10000000;
    static constexpr int SECTION_SIZE = 1000;
    static constexpr int LQ_SCORE = 9;
    static constexpr int MQ_SCORE = 20;
    static constexpr int HQ_SCORE = 33;
    static constexpr uint32_t NO_CHUNK = 0xFFFFFFFE;

    CompressedDNASet();
    ~CompressedDNASet();
    CompressedDNASet(const CompressedDNASet&) = delete;
    CompressedDNASet& operator=(const CompressedDNASet&) = delete;

    // Builds the class-wide packing tables once.
    static void initCompressedDNASet();

    // Switches between memory, writing the two files, and reading them back.
    void setCacheMode(CacheMode mode);
    // Stores a read's bases and scores (null scores: every base scores 20).
    void setSequence(int seqId, int n, const char* bases, const uint8_t* scores);
    // The packed record (4-byte count, then two bases a byte), from memory or,
    // when reading the files, fetched from disk; null when there is none.
    uint8_t* getBuffer(int seqId);
    // Appends len bases of the read from 0-based start.
    void getSequence(int seqId, stringbuffer& buffer, int start, int len);
    // Appends len coarse scores of the read from 0-based start.
    void getScores(int seqId, std::vector<uint8_t>& list, int start, int len);
    // True if the read has a record.
    bool hasSequence(int seqId);
    // Base count of the read's record; 0 when there is none.
    int length(int seqId);

    // Path of .SeqBasesMetadata and .SeqBasesIndex in cachePath.
    std::string metadataPath() const;
    std::string indexPath() const;

    uint8_t** chunks;
    int lastChunk;
    int chunkFill;
    int numChunks;
    std::deque<uint32_t> chunkIds;
    std::deque<uint16_t> chunkOffsets;
    CacheMode cacheMode;
    std::string cachePath;
    FILE* cacheFP;
    int numCacheSeqs;
    std::vector<uint64_t> sectionByteOffsets;
    uint8_t* cachePage;
    int cachePageId;
    int cachePageSize;
    int cachePageCapacity;
    // A read was stored while the files were being read.
    bool changed;

    // Nibble of (base index * 4 + score class).
    static uint8_t idx2bits[24];
    // Score class of each score value, and base index of each character.
    static uint8_t score2idx[256];
    static uint8_t char2idx[256];
    // Low-nibble and high-nibble character, and score, of each byte value.
    static char bits2char[256][2];
    static uint8_t bits2score[256][2];
    static bool tablesBuilt;

private:
    // Room for a record of count bases (bytes long) for seqId, reusing its old
    // record when that held at least as many bases.
    uint8_t* _getBuffer(int seqId, int count, int bytes);
    // Fetches a read's record from the files into memory.
    uint8_t* _getBufferFromDisk(int seqId);
    // Packs bases and scores into a record at buf; returns its length in bytes.
    static int packRecord(uint8_t* buf, int n, const char* bases, const uint8_t* scores);
    void closeFile();
    void writeIndex();
    void readIndex();
};
