// The indexed view of one read file: where each read lies, how large its entry
// is, and how to fetch it. The SFF side lives in SeqFile.cpp; the FASTA, FASTQ
// and STS sides are dispatched from here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "InputFile.h"
#include "StringSet.h"

class Context;
class Sequence;
class stringbuffer;
class FastaReader;
class FastqReader;

// One STS marker of the map file.
struct STS_MAP_INFO {
    int chromosome = 0;
    int index = 0;
    float position = 0;
};

// One STS sequence, forward or reverse.
struct STS_SEQ {
    int index = 0;
    std::string sequence;
    bool isForward = true;
};

class SeqFile {
public:
    // Offsets up to this value go on the 32-bit lists, larger ones on the 64-bit lists.
    static constexpr uint64_t MAX_SMALL_OFFSET = 0xFFFFFFF3ULL;
    // A stored byte size of this value means: derive it from the next offset.
    static constexpr uint32_t DERIVE_SIZE = 0xFFFFFFFEU;
    // Sizes of the shared read-ahead cache and the decode buffers.
    static constexpr int LAST_FILENAME_SIZE = 10000;
    static constexpr int READ_BUF_SIZE = 100000;
    static constexpr int NAME_BUF_SIZE = 1000;
    // Bytes of the fixed part of an SFF read entry.
    static constexpr int SFF_ENTRY_FIXED_SIZE = 16;
    // Largest entry size read from the file in one go; larger or unknown
    // sizes read the fixed part first.
    static constexpr uint32_t MAX_ONE_READ = 99999;
    // Slots of the decode buffers: large enough for anything an entry that fits in
    // the read buffer can hold (2 bytes a flow, 3 bytes a base).
    static constexpr int FLOW_BUF_SLOTS = READ_BUF_SIZE / 2;
    static constexpr int BASE_BUF_SLOTS = READ_BUF_SIZE / 3 + 1;

    // Counters carried by the file list of the store, in the order of its line.
    int sffFileFlag = 0;
    int qualFileFlag = 0;
    int numFlows = 0;
    int bytesPerFlow = 0;
    int numReads = 0;
    uint64_t numBases = 0;
    int numLongReads = 0;
    uint64_t numLongBases = 0;
    int numShortReads = 0;
    uint64_t numShortBases = 0;
    int carriedCount1 = 0;
    uint64_t carriedBases1 = 0;
    int carriedCount2 = 0;
    int carriedCount3 = 0;
    uint64_t carriedBases2 = 0;
    int maxSeqLength = 0;
    int numPairs = 0;
    int carriedCount4 = 0;
    int carriedCount5 = 0;
    uint64_t fileSize = 0;
    uint64_t qualFileSize = 0;

    InputFile::FileType fileType = InputFile::SFF_FILE;
    std::string path;      // project file path for SFF, else the path
    std::string fileName;  // base name of path
    int lastReadLength = 0;
    bool rescoreFlag = false;
    InputFile* inputFile = nullptr;
    int libraryId = -2;
    FILE* fileFP = nullptr;
    bool fileReadMode = false;
    Context* context = nullptr;
    int firstSeqId = 0;
    int firstLargeOffset = -2;
    int firstLargeQualOffset = -2;
    BulkList<uint32_t> fileOffsets;
    BulkList<uint32_t> qualOffsets;
    BulkList<uint64_t> largeFileOffsets;
    BulkList<uint64_t> largeQualOffsets;
    BulkList<uint32_t> fileByteSizes;
    BulkList<uint32_t> qualByteSizes;

    // Readers of the other file types (not owned here when null).
    FastaReader* fastaReader = nullptr;
    FastqReader* fastqReader = nullptr;

    // STS side.
    std::string stsSeqFilename;
    std::vector<STS_MAP_INFO> stsMap;
    std::vector<STS_SEQ> stsSequences;

    // Shared read-ahead cache: the last SFF entry read, by file name and offset.
    static char lastFilename[LAST_FILENAME_SIZE];
    static uint64_t lastOffset;
    static int lastSize;
    static unsigned char buf[READ_BUF_SIZE];
    // Shared decode buffers of the SFF reader.
    static char nameBuf[NAME_BUF_SIZE];
    static uint16_t flowBuf[FLOW_BUF_SLOTS];
    static uint16_t flowIndexBuf[BASE_BUF_SLOTS];
    static char baseBuf[BASE_BUF_SLOTS];
    static char qualBuf[BASE_BUF_SLOTS];

    // A view of a project read file; its reads start at firstSeqId.
    SeqFile(InputFile* inputFile, Context* context, int firstSeqId, bool rescoreFlag);
    // A stand-alone view of an SFF file at path (no project record needed for reading).
    SeqFile(const std::string& path, Context* context, InputFile::FileType ft);
    ~SeqFile();
    SeqFile(const SeqFile&) = delete;
    SeqFile& operator=(const SeqFile&) = delete;

    // Zeroes every counter and empties the offset and size lists.
    void init();

    // File type tests.
    bool isSFFFile() const { return fileType == InputFile::SFF_FILE; }
    bool isFastaFile() const { return fileType == InputFile::FASTA_FILE; }
    bool isFastqFile() const { return fileType == InputFile::FASTQ_FILE; }
    bool isSTSFile() const { return fileType == InputFile::STS_FILE; }
    // True if the record says the reads have quality scores (FASTA/FASTQ).
    bool hasQual() const;
    // True if the scores lie in a separate quality file.
    bool hasQualFile() const;

    // Path and base name, as the store and the relink mode read and change them.
    const std::string& getPath() const { return path; }
    const std::string& getFileName() const { return fileName; }
    // Replaces the path; the base name follows it.
    void setPath(const std::string& newPath);
    void setFileName(const std::string& name) { fileName = name; }
    InputFile* getInputFile() const { return inputFile; }

    // Read numbers: the first, the count of stored entries, and the last (first-1 when empty).
    int getFirstSeqId() const { return firstSeqId; }
    int getNumSeqs() const { return (int)(fileOffsets.size() + largeFileOffsets.size()); }
    int getLastSeqId() const { return firstSeqId + getNumSeqs() - 1; }

    // Appends the offset of the next read (32-bit list, or 64-bit list above the threshold).
    void addFileOffset(uint64_t offset) {
        if (firstLargeOffset == -2 && offset <= MAX_SMALL_OFFSET)
            fileOffsets.push_back((uint32_t)offset);
        else
            addLargeFileOffset(offset);
    }
    // The same for the quality file.
    void addQualOffset(uint64_t offset) {
        if (firstLargeQualOffset == -2 && offset <= MAX_SMALL_OFFSET)
            qualOffsets.push_back((uint32_t)offset);
        else
            addLargeQualOffset(offset);
    }
    // Appends the entry size of the next read; DERIVE_SIZE derives it later.
    void addFileByteSize(uint32_t size) { fileByteSizes.push_back(size); }
    void addQualByteSize(uint32_t size) { qualByteSizes.push_back(size); }

    // Byte offset of a read's entry (0 for STS files).
    uint64_t getFileByteOffset(int seqId) const;
    // Byte offset of a read's scores in the quality file (0 without one).
    uint64_t getQualByteOffset(int seqId) const;
    // Entry size of a read, derived from the next offset (or the file size) when not stored.
    uint32_t getFileByteSize(int seqId) const;
    // The same over the quality file; 0 without one.
    uint32_t getQualByteSize(int seqId) const;

    // The open stream, or null.
    FILE* getFileFP() const { return fileFP; }
    // Opens the read file for reading (ends the process when it can't) and applies the read mode.
    void openFile();
    void closeFile();
    bool isFileOpen() const;
    // Turns sequential read advice on or off for the whole file.
    void setFileReadMode(bool sequential);
    // Advises the kernel of one read's byte range: will-need when on, don't-need when done.
    void doFileReadAdvise(int seqId, bool on);

    // Reads one read by seqId into seq; true if it was a pair half.
    bool readSequence(Sequence* seq, int seqId, int clipLength, int& clipPoint, bool isLeft,
                      bool isRight, bool needBases, bool needScores, bool needFlows,
                      bool applyTrim = false, bool noFail = false, const char* buffer = nullptr,
                      bool fromBuffer = false);
    // Reads one read at a known place; opens the file unless buffer holds the entry.
    bool readSequence(Sequence* seq, uint64_t offset, uint32_t size, uint64_t qualOffset,
                      uint32_t qualSize, int clipLength, int& clipPoint, bool isLeft, bool isRight,
                      bool needBases, bool needScores, bool needFlows, bool applyTrim = false,
                      bool noFail = false, const char* buffer = nullptr, bool fromBuffer = false);
    // Reads one SFF entry (from buffer when given, else from the file through the shared
    // cache), applies the clip rule and the pair-half rules; true for a pair half.
    bool readSFFSequence(Sequence* seq, uint64_t offset, uint32_t size, int clipLength,
                         int& clipPoint, bool isLeft, bool isRight, bool needBases, bool needScores,
                         bool needFlows, bool applyTrim, bool noFail, const char* buffer);

    // Decodes the bases and scores of one read whose entry is in memory (bulk loading).
    void readBasesAndScores(int seqId, const char* buffer, uint32_t size, stringbuffer& bases,
                            stringbuffer& scores);
    // Appends the upper-cased bases and assigns the scores of one SFF entry in memory.
    void readSFFBasesAndScores(const char* buffer, uint32_t size, stringbuffer& bases,
                               stringbuffer& scores);

    // The used part of an SFF read by its four clip values: 1-based, inclusive.
    static std::pair<int, int> sffClipPoints(int numBases, int clipQualLeft, int clipQualRight,
                                             int clipAdapterLeft, int clipAdapterRight);
    // End of the read data of an SFF file of the given size, from its common header:
    // the index offset when the index closes the file; an index in the middle of the
    // reads, or none, leaves the whole file as read data.
    static uint64_t sffDataEnd(const unsigned char* header, uint64_t fileSize);
    // Byte length of an SFF data section: flows, flow index, bases, scores, padding to 8.
    static int sffDataLength(int numFlows, int bytesPerFlow, int numBases);

    // Linker search and pair cutting of paired reads.
    std::pair<int, int> findLinker(const char* bases, int length);
    std::pair<int, int> parsePairTags(const char* bases, int length, std::string& leftTag,
                                      std::string& rightTag);

    // STS side.
    int readSTSFile();
    void fillSTSSequence(int index, Sequence* seq);
    bool readSTSSequence(Sequence* seq, int seqId, bool needBases);
    void readSTSBasesAndScores(int seqId, stringbuffer& bases, stringbuffer& scores);

private:
    // The 64-bit side of addFileOffset and addQualOffset.
    void addLargeFileOffset(uint64_t offset);
    void addLargeQualOffset(uint64_t offset);
    // Learns the flow count from the common header when the store did not give it.
    void readSFFHeader();
    // Reads the entry bytes from lastSize up to need into the read buffer.
    void readMoreBytes(uint64_t offset, int need);
};
