// The read store: one compact record per read, the list of read files, and a
// bounded cache of Sequence objects fetched on demand from the read files.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "StringSet.h"

class ChordMatrix;
class CompressedDNASet;
class Context;
class InputFile;
class PairedEndInfo;
class SeqFile;
class SeqTrim;
class Sequence;
class stringbuffer;

// Bits of the file index kept in the clip word's spare room; the clip point
// gets the rest of the 24 upper bits.
constexpr int NUMFILEINDEXBITS = 10;

// Flags of a read's record.
constexpr int SCM_LEFT_HALF = 1;
constexpr int SCM_RIGHT_HALF = 2;
constexpr int SCM_WORK_FLAG_4 = 4;
constexpr int SCM_WORK_FLAG_8 = 8;
constexpr int SCM_REFERENCE = 16;
constexpr int SCM_COUNTED = 32;
constexpr int SCM_TEMPLATE_PAIR = 64;
constexpr int SCM_WORK_FLAG_128 = 128;

// Per-read record: three 32-bit words. Word 1 holds the clip point in bits
// 31-18, bits 17-8 unused (kept by every update) and the flags in bits 7-0.
class SeqCacheMetadata {
public:
    uint32_t length = 0;
    uint32_t clipWord = 0;
    uint32_t fileIndex = 0;

    // 1-based left end of the used part; 0 when not set.
    int getClipPoint() const { return (int)(clipWord >> 18); }
    // Stores the clip point; it must stay below 1 << (24 - NUMFILEINDEXBITS).
    void setClipPoint(int clipPt);
    // The low byte of the clip word.
    int getFlags() const { return (int)(clipWord & 0xFF); }
    // Replaces the flag byte, keeping clip point and unused bits.
    void setFlags(int flags) { clipWord = (clipWord & ~0xFFu) | ((uint32_t)flags & 0xFF); }
    bool hasFlag(int flag) const { return (clipWord & (uint32_t)flag) != 0; }
};

// One slot of the Sequence cache; live nodes form a circular LRU list.
class SeqCacheNode {
public:
    Sequence* seq = nullptr;
    SeqCacheNode* prev = nullptr;
    SeqCacheNode* next = nullptr;
    int refCount = 0;
};

// One entry of the rename table for reference records.
class SeqRenameEntry {
public:
    std::string newName;
    std::string annotation;
    std::string library;
};

// A run of reads of one file whose entries are read with one pread, for the
// bulk load of bases and scores into the packed set.
class SeqBasesJob {
public:
    int firstSeqId = 0;
    int endSeqId = 0;  // one past the last read of the job
    int fileIdx = -2;
    uint64_t offset = 0;
    uint64_t endOffset = 0;
    char* buffer = nullptr;
    size_t capacity = 0;
};

class SeqCache {
public:
    Context* context;
    bool useOutputSeqList = false;
    bool resettingOutputSeqList = false;
    std::vector<int> pendingAdvice;
    std::vector<SeqCacheNode*> newOutputSeqList;
    std::deque<SeqCacheNode*> theCache;
    SeqCacheNode* freeNodes = nullptr;
    SeqCacheNode* lruHead = nullptr;
    int numNodes = 0;
    int maxNodes = 30000;
    bool keepAll;
    bool deleteWhenFree = false;
    BulkList<SeqCacheMetadata> scmList;
    BulkList<uint8_t> byteList;
    std::vector<SeqFile*> sfmList;
    int totalReads = 0;
    int numFilesRead = 0;
    int refSetCount = 0;
    int numFlaggedReads = 0;
    bool useShortReads = false;
    PairedEndInfo* pairInfo = nullptr;
    SeqTrim* seqTrim = nullptr;
    bool screening = false;
    bool needsRebuild = false;
    bool checkReadLength = true;
    int minReadLength = 30;
    int shortReadLength = 50;
    int maxReadLength = 30000;
    std::vector<char> baseBuffer;
    std::vector<uint8_t> scoreBuffer;
    std::vector<uint16_t> flowBuffer;
    std::vector<uint16_t> flowIndexBuffer;
    StringSet* accnos = nullptr;
    CompressedDNASet* seqBases = nullptr;
    int numCacheMisses = 0;
    std::map<std::string, SeqRenameEntry> renameTable;
    std::vector<std::vector<int>> sequentialList;

    // Quality rescoring of SFF reads as the files are made (store-wide setting).
    bool rescoreFlag = false;
    // Set by the metadata reader when a line has the no-quality form.
    bool noQualFormat = false;
    // Version of the binary state file last read (2 when none was read).
    int scmVersion = 2;
    // Records of the loaded state file not decoded yet: a load checks every
    // record but decodes a block of them only when one is first asked for.
    // Null when no state file was loaded.
    PendingRecords* pendingRecords = nullptr;
    // Size of the records of a state file from which its load checks them
    // with two threads, each walking one half.
    static uint64_t parallelCheckBytes;

    // Makes the pair library, the packed-bases set and the scan buffers.
    SeqCache(Context* context, bool keepAll);
    ~SeqCache();
    SeqCache(const SeqCache&) = delete;
    SeqCache& operator=(const SeqCache&) = delete;

    // ---- Reads and the cache ----

    // The read as a Sequence, with what is asked for; null when nothing is
    // needed. With pin, the object stays until releaseSequence.
    Sequence* getSequence(int seqId, bool needBases, bool needScores = false,
                          bool needFlows = false, bool pin = false);
    // Appends the whole raw read (bases only) to the buffer.
    void getUntrimmedSequence(int seqId, stringbuffer& buffer);
    // Drops one pin of the read.
    void releaseSequence(int seqId);
    // Drops one pin of each read of the list.
    void releaseSequences(const std::vector<int>& seqIds);
    // Moves the read's node to the front of the LRU list.
    void touchSequence(int seqId);
    // A free node (from the free chain, or new).
    SeqCacheNode* newCacheNode();
    // Gives the read a node under the budget rules; nothing if it has one.
    void newCacheNode(int seqId);
    // Takes the read's node off the LRU list and puts it on the free chain.
    void deleteCacheNode(int seqId);
    // True if the read currently has a node.
    bool isSeqInCache(int seqId) const {
        return seqId >= 0 && seqId < (int)theCache.size() && theCache[seqId] != nullptr;
    }

    // Applies the stored clip point and length to a freshly read object.
    void setClipPoints(Sequence* seq, int seqId);
    // Makes the whole raw read the used part, in the record and the cached object.
    void resetSeqClipToRaw(int seqId);
    // Sets the used part of a read to 1-based start..end of its raw bases.
    void resetTrimmedSeq(int seqId, const char* bases, const uint8_t* scores, int start, int end);
    // Clears the working flags 4, 8, 32 and 128 of all reads.
    void resetFlags();

    // ---- Record access ----

    // The read's name, in a per-thread buffer or in the name table.
    const char* getAccno(int seqId);
    // The generated name of a read that has none stored.
    const char* _getAccno(int seqId);
    // Appends a read of file fileIndex (offsets, sizes, record and name); returns
    // its seqId. For intake and for tools that build a store by hand.
    int addRead(int fileIndex, uint64_t fileOffset, uint32_t fileByteSize, uint64_t qualOffset,
                uint32_t qualByteSize, int length, int clipPoint, int flags, const char* accno);
    // Stores a read's name; names starting with the file's accession prefix
    // are stored marked, without the prefix.
    void setAccno(int seqId, const char* name, int len);
    // Used bases of the read as stored.
    int getSeqLength(int seqId) const { return (int)scmList[seqId].length; }
    // 1-based left end of the used part as stored; 0 when not set.
    int getClipPoint(int seqId) const { return scmList[seqId].getClipPoint(); }
    // The flag byte of the read's record.
    int getFlags(int seqId) const { return scmList[seqId].getFlags(); }
    // Replaces the flag byte of the read's record.
    void setFlags(int seqId, int flags) { scmList[seqId].setFlags(flags); }
    // Number of stored records.
    int getNumReads() const { return (int)scmList.size(); }
    // The other half of a pair, or -2.
    int getPairOtherId(int seqId);
    // The file of a read.
    SeqFile* getSeqFile(int seqId) const { return sfmList[scmList[seqId].fileIndex]; }
    // The files of the store, in file index order.
    std::vector<SeqFile*>& getSeqFileList() { return sfmList; }

    // Bases of the files without pairs.
    uint64_t getNumBases() const;
    // Reads of the files without pairs.
    int getNumFullReads() const;
    // Pairs of all files.
    int getNumPairs() const;
    // Longest stored read of any file.
    int getMaxSeqLength() const;
    // Stored long reads (50 bases or more) of all files.
    int getNumTrimmed() const;
    // Bases of the reference files.
    uint64_t getNumRefSeqBases() const;

    // ---- Disk advice ----

    // Sequential (on) or random (off) read advice for every file.
    void setFileReadMode(bool on);
    // Advises the kernel of one read's byte range: will-need, or done.
    void doFileReadAdvise(int seqId, bool on);
    // Ends the previous advice and asks the kernel to fetch the listed reads.
    void adviseFillFromDisk(const std::vector<int>& seqIds);
    // Closes every open read file.
    void closeSeqFiles();

    // ---- Output lists ----

    // Starts a batch: every node goes free, and output-list mode is set.
    void resetOutputSeqList(bool useList);
    // Adds a read to the batch, beyond the budget.
    void addToOutputSeqList(int seqId);
    // Fills the batch, from the read files or from the packed set.
    void readOutputSeqList(bool needBases, bool needScores, bool needFlows, bool fromFiles);
    // Installs a batch prepared by newReadOutputSeqList.
    void newSetOutputSeqList();
    // Reads the listed reads into fresh nodes (from a serial file if path is set).
    void newReadOutputSeqList(const std::vector<int>& seqIds, const std::string& path);
    // Appends a read to the serial read order of an iteration.
    void addToSequentialOutputList(int seqId, int iteration);
    // Makes the iteration's reads the batch and reads them from the read files.
    void readOutputSeqListSequential(int iteration);
    // Makes the listed reads the batch, decoding them from a serial file whose
    // raw entries follow the list's order.
    void readOutputSeqListSequential(int iteration, const std::string& path,
                                     const std::vector<int>& seqIds);
    // Dumps the serial lists to "seqIdList" in the project's sub-directory.
    void printSequentialIdList();

    // ---- Bulk load into the packed set ----

    // Stores the used part of one read (bases and scores) in the packed set.
    void readSeqBases(int seqId);
    // Stores every read not yet in the packed set, file by file in large reads.
    void loadSeqBases();
    // Reads the job's byte range from its file into the job's buffer.
    void sbJobRead(SeqBasesJob* job);
    // Decodes each read of the job from the buffer and stores its used part.
    void sbJobProcess(SeqBasesJob* job);

    // Decides whether short reads take part (see setUseShortReads rules).
    void setUseShortReads();

    // ---- State files ----

    // Writes .SeqFileMetadata and/or .SeqCacheMetadata at the context's paths.
    void write(bool writeFileList, bool writeReadList);
    // Writes .SeqFileMetadata to the given path.
    void writeSeqFileMetadata(const std::string& path);
    // Writes .SeqCacheMetadata to the given path.
    void writeSeqCacheMetadata(const std::string& path);
    // Decodes every record still waiting in the state file.
    void bringInAllRecords();
    // Loads both state files into sfmList and scmList.
    void readMetadata(const std::string& seqFileMetadataPath,
                      const std::string& seqCacheMetadataPath, const std::string& sffDir,
                      int setRefCount, bool reconcile);
    // Loads the state files and reconciles them with the project; true if
    // new reads were added. Only the load-only path exists here.
    bool readAndUpdate(ChordMatrix* matrix, bool loadOnly, bool reconcile);
    // The project record whose project file path is the name, or null.
    InputFile* findInputFile(const std::string& name);
    // Fills the rename table from a tab-separated file.
    void buildSeqRenameTable(const std::string& path);

private:
    bool readSeqFileMetadata(const std::string& path, const std::string& sffDir, int setRefCount,
                             bool reconcile);
    void readSeqCacheMetadata(const std::string& path);
    void unlinkNode(SeqCacheNode* node);
    void linkAtHead(SeqCacheNode* node);
    void fillFromFile(int seqId, SeqCacheNode* node, bool needBases, bool needScores,
                      bool needFlows);
};
