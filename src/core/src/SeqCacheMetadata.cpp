// The store's two state files: .SeqFileMetadata (one text line per read file)
// and .SeqCacheMetadata (one binary record per read), their writer, their
// reader in every form that older runs left behind, and the load path of
// readAndUpdate.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "ByteUtil.h"
#include "Context.h"
#include "InputFile.h"
#include "PairedEndInfo.h"
#include "ProjectUtil.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "StringSet.h"
#include "Util.h"

namespace {

const char* const READ_MSG = "Error:  Unable to read project state files.\n";
const char* const FORMAT_MSG = "Error:  Invalid format of project state files.\n";
const char* const VERSION_MSG = "Error:  Invalid version of project state files.\n";
const char* const WRITE_MSG = "Error:  Cannot write project state files.\n";

// One line of .SeqFileMetadata: the name and the 21 counters.
// clang-format off
const char* const FILE_LINE_FORMAT =
    "%s\t%d\t%d\t%d\t%d\t%d\t%s\t%d\t%s\t%d\t%s\t%d\t%s\t%d\t%d\t%s\t%d\t%d\t%d\t%d\t%s\t%s\n";
// clang-format on

const int SCM_VERSION = 2;
const uint32_t NO_SIZE = 0xFFFFFFFEu;

// Reads a part of a file through one buffer, small enough to stay in the
// processor's cache, and hands out contiguous byte runs. SLACK bytes past the
// buffered data may always be read (their values are of no meaning). Reads
// are positioned, so that readers of one file in several threads can share
// its descriptor.
class BlockReader {
public:
    static constexpr size_t CAPACITY = 256 << 10;
    static constexpr size_t SLACK = 64;

    // Reads from file offset start up to limit.
    BlockReader(int fd, uint64_t start, uint64_t limit)
        : fd(fd), buffer(CAPACITY + SLACK), bufferStart(start), readAt(start), limit(limit) {}

    // A pointer to the next n bytes, or null when the part ends before them.
    const unsigned char* need(size_t n) {
        if (end - pos < n && !fill(n)) return nullptr;
        const unsigned char* p = buffer.data() + pos;
        pos += n;
        return p;
    }
    // Bytes of the part not yet handed out (buffered plus unread).
    uint64_t remaining() const { return (end - pos) + (limit - readAt); }
    // Moves the end of the part further into the file.
    void setLimit(uint64_t newLimit) { limit = newLimit; }
    // Bytes buffered and not yet handed out.
    size_t available() const { return end - pos; }
    // Tries to have n bytes buffered; the count buffered, fewer at the end of the part.
    size_t ensure(size_t n) {
        if (end - pos < n) fill(n);
        return end - pos;
    }
    // The next byte not handed out, and handing out n bytes from there.
    const unsigned char* current() const { return buffer.data() + pos; }
    void advance(size_t n) { pos += n; }
    // The file offset of a buffered byte.
    uint64_t fileOffsetOf(const unsigned char* p) const {
        return bufferStart + (uint64_t)(p - buffer.data());
    }

private:
    bool fill(size_t n) {
        size_t have = end - pos;
        if (pos > 0) {
            memmove(buffer.data(), buffer.data() + pos, have);
            bufferStart += pos;
            pos = 0;
            end = have;
        }
        if (buffer.size() < n + SLACK) buffer.resize(n + SLACK);
        while (end < n) {
            size_t room = std::min<uint64_t>(buffer.size() - SLACK - end, limit - readAt);
            if (room == 0) return false;
            ssize_t got = pread(fd, buffer.data() + end, room, (off_t)readAt);
            if (got <= 0) return false;
            end += (size_t)got;
            readAt += (uint64_t)got;
        }
        return true;
    }

    int fd;
    std::vector<unsigned char, BulkAllocator<unsigned char>> buffer;
    size_t pos = 0;
    size_t end = 0;
    // File offsets of the buffer's first byte, of the next byte to read, and
    // of the end of the part.
    uint64_t bufferStart;
    uint64_t readAt;
    uint64_t limit;
};

// The fields of one record of .SeqCacheMetadata.
class RecordFields {
public:
    uint32_t fileIndex;
    uint64_t fileOffset;
    uint64_t qualOffset;
    uint32_t fileByteSize;
    uint32_t qualByteSize;
    uint32_t length;
    int clipField;
    int flags;
    uint8_t status;
    int accnoLength;
    const char* accno;
};

// The record layout of one version of the file.
class RecordLayout {
public:
    RecordLayout(int version, bool qualFields)
        : version(version),
          qualFields(qualFields),
          fixedSize(19 + (version == 0 ? 2 : 0) + (qualFields ? 8 : 0) +
                    (version >= 2 ? (qualFields ? 8 : 4) : 0)),
          indexBytes(version == 0 ? 4 : 2),
          sizeAt(indexBytes + 8 + (qualFields ? 8 : 0)),
          lengthAt(fixedSize - 9) {}

    // Decodes the fixed part at p; the name bytes follow it.
    void decode(const unsigned char* p, RecordFields& r) const {
        r.fileIndex = fileIndex(p);
        r.fileOffset = getuint64(p + indexBytes);
        r.qualOffset = qualFields ? getuint64(p + indexBytes + 8) : 0;
        r.fileByteSize = r.qualByteSize = NO_SIZE;
        if (version >= 2) {
            r.fileByteSize = getuint32(p + sizeAt);
            if (qualFields) r.qualByteSize = getuint32(p + sizeAt + 4);
        }
        const unsigned char* t = p + lengthAt;
        r.length = getuint32(t);
        r.clipField = getuint16(t + 4);
        r.flags = t[6];
        r.status = t[7];
        r.accnoLength = t[8];
        r.accno = (const char*)(t + 9);
    }
    uint32_t fileIndex(const unsigned char* p) const {
        return indexBytes == 4 ? getuint32(p) : getuint16(p);
    }
    // The clip point of a record; negative when the record is malformed.
    int64_t clipPoint(uint32_t length, int clipField) const {
        return version == 0 ? (int64_t)clipField - (int64_t)length + 1 : clipField;
    }

    int version;
    bool qualFields;
    size_t fixedSize;
    // Where the fields lie: the file index, then the file offset, the quality
    // offset, the sizes, and from lengthAt length, clip, flags, status and
    // the name's length.
    size_t indexBytes;
    size_t sizeAt;
    size_t lengthAt;
};

// Consecutive records of one file, and where their entries go in its lists.
class FileRun {
public:
    int64_t firstSeqId;
    int64_t endSeqId;
    uint32_t fileIndex;
    SeqFile* file;
    bool qualLists;
    // List indexes of the run's first record.
    size_t offsetPos;
    size_t largeOffsetPos;
    size_t qualOffsetPos;
    size_t largeQualOffsetPos;
    size_t sizePos;
    size_t qualSizePos;
    // First seqId of the run whose offset goes on the 64-bit list.
    int64_t largeFrom;
    int64_t largeQualFrom;
};

// A walk over consecutive records of .SeqCacheMetadata that checks each one
// and notes what the load needs of them, without touching the store: runs of
// one file index, where each run's offsets first pass the 32-bit threshold,
// where each block of BLOCK_READS records starts, the flagged reads and the
// last named read. Record numbers count from the walk's first record. A walk
// stops at a bad record instead of ending the process, so that it can run
// beside another; its owner reports what it found.
class RecordWalk {
public:
    // Why a walk stopped, at record n.
    enum Stop {
        DONE,        // every record asked for was walked
        PART_END,    // the part's bytes end where record n would start
        CUT_SHORT,   // record n runs past the end of the part
        BAD_FORMAT,  // record n is malformed
        BAD_CLIP,    // record n's clip point is over the limit (in badClip)
    };
    static constexpr uint64_t NONE = UINT64_MAX;
    class Run {
    public:
        uint64_t start;
        uint32_t fileIndex;
        // The first record of the run whose file or quality offset is past
        // the threshold, or NONE.
        uint64_t firstLarge;
        uint64_t firstLargeQual;
    };

    RecordWalk(int fd, const RecordLayout& layout, uint32_t numFiles, uint64_t start,
               uint64_t limit)
        : rd(fd, start, limit), layout(layout), numFiles(numFiles) {}

    // Walks on until n reaches maxRecords or a record stops the walk.
    Stop walk(uint64_t maxRecords);
    // The file offset where record n starts.
    uint64_t offset() const { return rd.fileOffsetOf(rd.current()); }

    BlockReader rd;
    const RecordLayout& layout;
    uint32_t numFiles;
    uint64_t n = 0;
    std::vector<uint64_t> blockStarts;
    std::vector<Run> runs;
    uint64_t flagged = 0;
    int64_t lastNamed = -1;
    int badClip = 0;
};

// Clip points must stay below this.
const int CLIP_LIMIT = 1 << (24 - NUMFILEINDEXBITS);

RecordWalk::Stop RecordWalk::walk(uint64_t maxRecords) {
    const size_t fixedSize = layout.fixedSize;
    // Room for the longest record, so that most records need no check.
    const size_t maxRecord = fixedSize + 255;
    const size_t indexBytes = layout.indexBytes, lengthAt = layout.lengthAt;
    const size_t qualAt = indexBytes + (layout.qualFields ? 8 : 0);
    // Version 0 clip points are stored relative to the length: those records
    // all take the full checks.
    const bool fullChecks = layout.version == 0;
    const unsigned char* cursor = rd.current();
    size_t avail = rd.available();
    Run* run = runs.empty() ? nullptr : &runs.back();
    uint32_t runIndex = run ? run->fileIndex : UINT32_MAX;
    bool largeSeen = run && run->firstLarge != NONE;
    bool largeQualSeen = !layout.qualFields || (run && run->firstLargeQual != NONE);
    uint64_t r = n;
    uint64_t flags = flagged;
    int64_t named = lastNamed;
    Stop stop = DONE;
    for (; r < maxRecords; r++) {
        if (avail < maxRecord) {
            rd.advance((size_t)(cursor - rd.current()));
            avail = rd.ensure(maxRecord);
            cursor = rd.current();
            if (avail == 0) {
                stop = PART_END;
                break;
            }
        }
        if (avail < fixedSize) {
            stop = CUT_SHORT;
            break;
        }
        const unsigned char* p = cursor;
        const unsigned char* t = p + lengthAt;
        uint32_t fileIndex = layout.fileIndex(p);
        size_t accnoLength = t[8];
        // Most records need only the common checks; anything else (a new
        // file, a clip point or name to look at closely, an offset that may
        // be the first past the threshold) takes the full path. (One branch
        // for all of them: each test is cheap and safe to make.)
        bool usual = (fileIndex == runIndex) & !fullChecks & (getuint16(t + 4) < CLIP_LIMIT) &
                     (accnoLength <= avail - fixedSize) &
                     (largeSeen | (getuint64(p + indexBytes) <= SeqFile::MAX_SMALL_OFFSET)) &
                     (largeQualSeen | (getuint64(p + qualAt) <= SeqFile::MAX_SMALL_OFFSET));
        if (!usual) {
            if (fileIndex >= numFiles) {
                stop = BAD_FORMAT;
                break;
            }
            int64_t clip = layout.clipPoint(getuint32(t), getuint16(t + 4));
            if (clip < 0) {
                stop = BAD_FORMAT;
                break;
            }
            if (clip >= CLIP_LIMIT) {
                badClip = (int)std::min<int64_t>(clip, 0x7FFFFFFF);
                stop = BAD_CLIP;
                break;
            }
            if (accnoLength > avail - fixedSize) {
                stop = CUT_SHORT;
                break;
            }
            if (fileIndex != runIndex) {
                runs.push_back(Run{r, fileIndex, NONE, NONE});
                run = &runs.back();
                runIndex = fileIndex;
                largeSeen = false;
                largeQualSeen = !layout.qualFields;
            }
            if (!largeSeen && getuint64(p + indexBytes) > SeqFile::MAX_SMALL_OFFSET) {
                largeSeen = true;
                run->firstLarge = r;
            }
            if (!largeQualSeen && getuint64(p + qualAt) > SeqFile::MAX_SMALL_OFFSET) {
                largeQualSeen = true;
                run->firstLargeQual = r;
            }
        }
        if ((r & (PendingRecords::BLOCK_READS - 1)) == 0) blockStarts.push_back(rd.fileOffsetOf(p));
        flags += (t[6] & SCM_COUNTED) != 0;
        named = accnoLength > 0 ? (int64_t)r : named;
        cursor += fixedSize + accnoLength;
        avail -= fixedSize + accnoLength;
    }
    rd.advance((size_t)(cursor - rd.current()));
    n = r;
    flagged = flags;
    lastNamed = named;
    return stop;
}

// Finds a record start in the file at or after from: the first place where a
// chain of CHAIN records in a row looks right (file indexes in range and not
// falling, clip points in range, names that fit). A false find is harmless:
// the walk from the file's start proves or disproves it. NONE if no place in
// the window looks right.
uint64_t findRecordStart(int fd, const RecordLayout& layout, uint32_t numFiles, uint64_t from,
                         uint64_t fileEnd) {
    const size_t WINDOW = 64 << 10, CHAIN = 64;
    const size_t maxRecord = layout.fixedSize + 255;
    std::vector<unsigned char> buffer(WINDOW + CHAIN * maxRecord);
    if (from >= fileEnd) return RecordWalk::NONE;
    size_t want = (size_t)std::min<uint64_t>(buffer.size(), fileEnd - from);
    ssize_t got = pread(fd, buffer.data(), want, (off_t)from);
    if (got <= 0) return RecordWalk::NONE;
    const unsigned char* end = buffer.data() + got;
    for (size_t at = 0; at < WINDOW && at < (size_t)got; at++) {
        const unsigned char* p = buffer.data() + at;
        uint32_t lastIndex = 0;
        size_t k = 0;
        for (; k < CHAIN; k++) {
            if ((size_t)(end - p) < layout.fixedSize) break;
            const unsigned char* t = p + layout.lengthAt;
            uint32_t fileIndex = layout.fileIndex(p);
            int64_t clip = layout.clipPoint(getuint32(t), getuint16(t + 4));
            size_t size = layout.fixedSize + t[8];
            if (fileIndex >= numFiles || fileIndex < lastIndex || clip < 0 || clip >= CLIP_LIMIT ||
                (size_t)(end - p) < size)
                break;
            lastIndex = fileIndex;
            p += size;
        }
        if (k == CHAIN) return from + at;
    }
    return RecordWalk::NONE;
}

// What the check of every record of the file found, in the terms of
// RecordWalk, with the file's records counted from its first.
class CheckedRecords {
public:
    std::vector<RecordWalk::Run> runs;
    // Where each block starts, then the end of the last record; blocks count
    // again from splitIndex (see PendingRecords).
    std::vector<uint64_t> blockStarts;
    uint64_t splitIndex = UINT64_MAX;
    size_t splitBlock = SIZE_MAX;
    uint64_t flagged = 0;
    int64_t lastNamed = -1;
};

// What a walk that stopped before the count says of the file: a bad clip
// point (given in badClip), or for anything else, a record cut short or
// missing included, a malformed file.
RecordWalk::Stop failureOf(const RecordWalk& walk, RecordWalk::Stop stop, int& badClip) {
    badClip = walk.badClip;
    return stop == RecordWalk::BAD_CLIP ? stop : RecordWalk::BAD_FORMAT;
}

// Checks the count records that start at file offset start, in file order:
// DONE, or BAD_FORMAT or BAD_CLIP (with its clip point) for the first bad
// record. A large file is walked by two threads: a helper from a record start
// found near the middle, while this thread walks up to it. The helper's work
// counts only when this walk lands exactly on that start (which proves it a
// record start) and the helper walked exactly the records left; otherwise
// this thread walks on alone.
RecordWalk::Stop checkRecords(int fd, const RecordLayout& layout, uint32_t numFiles, uint64_t start,
                              uint64_t fileEnd, uint64_t count, CheckedRecords& out, int& badClip) {
    RecordWalk a(fd, layout, numFiles, start, fileEnd);
    std::unique_ptr<RecordWalk> b;
    RecordWalk::Stop bStop = RecordWalk::DONE;
    std::jthread helper;
    if (fileEnd - start >= SeqCache::parallelCheckBytes) {
        uint64_t split =
            findRecordStart(fd, layout, numFiles, start + (fileEnd - start) / 2, fileEnd);
        if (split != RecordWalk::NONE && split > start) {
            b = std::make_unique<RecordWalk>(fd, layout, numFiles, split, fileEnd);
            try {
                helper = std::jthread([&b, &bStop, count] { bStop = b->walk(count); });
                a.rd.setLimit(split);
            } catch (const std::system_error&) {
                b.reset();
            }
        }
    }
    RecordWalk::Stop stop = a.walk(count);
    bool merged = false;
    if (b) {
        helper.join();
        if (stop == RecordWalk::PART_END) {
            // Landed on the helper's start: it walked the rest of the records
            // if it stopped exactly after them, and found the file's first bad
            // record if it stopped before.
            uint64_t left = count - a.n;
            if (b->n == left) {
                merged = true;
                stop = RecordWalk::DONE;
            } else if (b->n < left) {
                return failureOf(*b, bStop, badClip);
            }
        }
        if (!merged && (stop == RecordWalk::PART_END || stop == RecordWalk::CUT_SHORT)) {
            a.rd.setLimit(fileEnd);
            stop = a.walk(count);
        }
    }
    if (stop != RecordWalk::DONE) return failureOf(a, stop, badClip);

    out.runs = std::move(a.runs);
    out.blockStarts = std::move(a.blockStarts);
    out.flagged = a.flagged;
    out.lastNamed = a.lastNamed;
    if (merged) {
        uint64_t shift = a.n;
        for (RecordWalk::Run w : b->runs) {
            w.start += shift;
            if (w.firstLarge != RecordWalk::NONE) w.firstLarge += shift;
            if (w.firstLargeQual != RecordWalk::NONE) w.firstLargeQual += shift;
            if (!out.runs.empty() && out.runs.back().fileIndex == w.fileIndex) {
                // The file's run goes on across the split.
                RecordWalk::Run& last = out.runs.back();
                if (last.firstLarge == RecordWalk::NONE) last.firstLarge = w.firstLarge;
                if (last.firstLargeQual == RecordWalk::NONE) last.firstLargeQual = w.firstLargeQual;
            } else {
                out.runs.push_back(w);
            }
        }
        out.splitIndex = shift;
        out.splitBlock = out.blockStarts.size();
        out.blockStarts.insert(out.blockStarts.end(), b->blockStarts.begin(), b->blockStarts.end());
        out.flagged += b->flagged;
        if (b->lastNamed >= 0) out.lastNamed = b->lastNamed + (int64_t)shift;
        out.blockStarts.push_back(b->offset());
    } else {
        out.blockStarts.push_back(a.offset());
    }
    return RecordWalk::DONE;
}

// The records of a loaded .SeqCacheMetadata that are not decoded yet. The
// load checks every record and notes where each block of them starts; a block
// is read again and decoded into the store's lists when one of its records is
// first asked for. The file stays open until every block is in.
class StateFileRecords : public PendingRecords {
public:
    StateFileRecords(SeqCache* cache, int fd, const RecordLayout& layout)
        : cache(cache), fd(fd), layout(layout) {}
    ~StateFileRecords() override {
        follow(false);
        if (fd >= 0) close(fd);
    }

    void bringIn(int64_t seqId) override {
        size_t k = blockOf((uint64_t)(seqId - firstSeqId));
        decodeBlocks(k, k + 1);
    }
    void bringInAll() override {
        size_t n = loaded.size();
        for (size_t k = 0; k < n;) {
            if (loaded[k]) {
                k++;
                continue;
            }
            size_t end = k + 1;
            while (end < n && !loaded[end] && end - k < BLOCKS_PER_READ) end++;
            decodeBlocks(k, end);
            k = end;
        }
    }

    // Decodes the records of blocks k0 to k1 - 1, none of them in yet, into
    // the lists; one read of the file brings their bytes.
    void decodeBlocks(size_t k0, size_t k1);
    // Makes the lists ask for pending records (or stop asking).
    void follow(bool on);

    SeqCache* cache;
    int fd;
    RecordLayout layout;
    // File offset of each block's first record, then the end of the last record.
    std::vector<uint64_t> blockStarts;
    std::vector<FileRun> runs;
    // Names of seqIds below this replace a stored one; names go up to nameEnd.
    int64_t namesBefore = 0;
    int64_t nameEnd = 0;
    size_t blocksLeft = 0;

private:
    // Blocks decoded after one read of the file when all are brought in.
    static constexpr size_t BLOCKS_PER_READ = 64;

    std::vector<unsigned char> buffer;
};

void StateFileRecords::follow(bool on) {
    PendingRecords* p = on ? this : nullptr;
    cache->scmList.pending = cache->byteList.pending = p;
    cache->accnos->pageIds.pending = p;
    cache->accnos->offsets.pending = p;
    for (const FileRun& run : runs) {
        SeqFile* f = run.file;
        // Entry i of a list is the file's read i, counted from its first
        // read, or from the first on the 64-bit list.
        f->fileOffsets.pending = f->fileByteSizes.pending = p;
        f->qualOffsets.pending = f->qualByteSizes.pending = p;
        f->largeFileOffsets.pending = f->largeQualOffsets.pending = p;
        f->fileOffsets.idBase = f->fileByteSizes.idBase = run.firstSeqId;
        f->qualOffsets.idBase = f->qualByteSizes.idBase = run.firstSeqId;
        f->largeFileOffsets.idBase = run.largeFrom == INT64_MAX ? 0 : run.largeFrom;
        f->largeQualOffsets.idBase = run.largeQualFrom == INT64_MAX ? 0 : run.largeQualFrom;
    }
}

void StateFileRecords::decodeBlocks(size_t k0, size_t k1) {
    uint64_t start = blockStarts[k0], bytes = blockStarts[k1] - start;
    buffer.resize(bytes + BlockReader::SLACK);
    size_t got = 0;
    while (got < bytes) {
        ssize_t n = pread(fd, buffer.data() + got, bytes - got, (off_t)(start + got));
        if (n <= 0) {
            die("%s", READ_MSG);
            return;
        }
        got += (size_t)n;
    }
    int64_t seqId = firstSeqId + (int64_t)blockFirst(k0);
    int64_t endId = firstSeqId + (int64_t)std::min(blockFirst(k1), numRecords);
    size_t r = (size_t)(std::upper_bound(
                            runs.begin(), runs.end(), seqId,
                            [](int64_t id, const FileRun& run) { return id < run.firstSeqId; }) -
                        runs.begin()) -
               1;
    StringSet* names = cache->accnos;
    const unsigned char* p = buffer.data();
    const unsigned char* bufferEnd = p + bytes;
    RecordFields rec;
    for (; seqId < endId; seqId++) {
        while (seqId >= runs[r].endSeqId) r++;
        const FileRun& run = runs[r];
        SeqFile* f = run.file;
        if ((size_t)(bufferEnd - p) < layout.fixedSize) {
            die("%s", READ_MSG);
            return;
        }
        layout.decode(p, rec);
        if (rec.fileIndex != run.fileIndex ||
            (size_t)(bufferEnd - p) < layout.fixedSize + (size_t)rec.accnoLength) {
            // The file changed since it was checked.
            die("%s", READ_MSG);
            return;
        }
        SeqCacheMetadata& m = cache->scmList.slot((size_t)seqId);
        m.length = rec.length;
        m.clipWord =
            ((uint32_t)layout.clipPoint(rec.length, rec.clipField) << 18) | (uint32_t)rec.flags;
        m.fileIndex = rec.fileIndex;
        cache->byteList.slot((size_t)seqId) = rec.status;

        int64_t i = seqId - run.firstSeqId;
        if (seqId < run.largeFrom)
            f->fileOffsets.slot(run.offsetPos + (size_t)i) = (uint32_t)rec.fileOffset;
        else
            f->largeFileOffsets.slot(run.largeOffsetPos +
                                     (size_t)(seqId - std::max(run.largeFrom, run.firstSeqId))) =
                rec.fileOffset;
        f->fileByteSizes.slot(run.sizePos + (size_t)i) = rec.fileByteSize;
        if (run.qualLists) {
            if (seqId < run.largeQualFrom)
                f->qualOffsets.slot(run.qualOffsetPos + (size_t)i) = (uint32_t)rec.qualOffset;
            else
                f->largeQualOffsets.slot(
                    run.largeQualOffsetPos +
                    (size_t)(seqId - std::max(run.largeQualFrom, run.firstSeqId))) = rec.qualOffset;
            f->qualByteSizes.slot(run.qualSizePos + (size_t)i) = rec.qualByteSize;
        }

        // Names that carry the file's prefix are stored marked, without it.
        if (rec.accnoLength > 0) {
            const std::string* prefix = f->inputFile ? &f->inputFile->accnoPrefix : nullptr;
            size_t prefixLength = prefix ? prefix->size() : 0;
            const char* name = rec.accno;
            int nameLength = rec.accnoLength;
            bool marked = prefixLength > 0 && (size_t)nameLength >= prefixLength &&
                          memcmp(name, prefix->data(), prefixLength) == 0;
            if (marked) {
                name += prefixLength;
                nameLength -= (int)prefixLength;
            }
            uint32_t pageId;
            uint16_t offset;
            names->place(name, nameLength, marked, pageId, offset,
                         (size_t)(bufferEnd - (const unsigned char*)name) + BlockReader::SLACK);
            names->pageIds.slot((size_t)seqId) = pageId;
            names->offsets.slot((size_t)seqId) = offset;
        } else if (seqId >= namesBefore && seqId < nameEnd) {
            names->pageIds.slot((size_t)seqId) = StringSet::NO_PAGE;
            names->offsets.slot((size_t)seqId) = StringSet::NO_OFFSET;
        }
        p += layout.fixedSize + (size_t)rec.accnoLength;
    }
    for (size_t k = k0; k < k1; k++) loaded[k] = 1;
    blocksLeft -= k1 - k0;
    if (blocksLeft == 0) {
        // Everything is in: the lists stop asking, and the file closes.
        follow(false);
        close(fd);
        fd = -1;
    }
}

// Buffered big-endian writer; a failed write is the assertion "n > 0".
class BlockWriter {
public:
    explicit BlockWriter(FILE* fp) : fp(fp) { buffer.reserve(1 << 20); }
    ~BlockWriter() { flush(); }

    void u1(uint8_t v) { buffer.push_back((char)v); }
    void u2(uint16_t v) {
        u1((uint8_t)(v >> 8));
        u1((uint8_t)v);
    }
    void u4(uint32_t v) {
        u2((uint16_t)(v >> 16));
        u2((uint16_t)v);
    }
    void u8(uint64_t v) {
        u4((uint32_t)(v >> 32));
        u4((uint32_t)v);
    }
    void bytes(const char* p, size_t n) {
        buffer.insert(buffer.end(), p, p + n);
        if (buffer.size() >= (1 << 20)) flush();
    }
    void flush() {
        if (buffer.empty()) return;
        size_t n = fwrite(buffer.data(), 1, buffer.size(), fp);
        ASSERT(n > 0);
        buffer.clear();
    }

private:
    FILE* fp;
    std::vector<char> buffer;
};

// End of the read data of a file: its size from its status, or for an SFF file
// the end by its index rule. The file must open for reading.
uint64_t readDataEnd(const std::string& path, bool sff) {
    FILE* fp = fopen(path.c_str(), "rb");
    if (!fp) {
        die("Error: could not open %s\n", path.c_str());
        return 0;
    }
    struct stat st;
    uint64_t size = fstat(fileno(fp), &st) == 0 ? (uint64_t)st.st_size : 0;
    unsigned char header[31];
    if (sff && fread(header, 1, sizeof header, fp) == sizeof header)
        size = SeqFile::sffDataEnd(header, size);
    fclose(fp);
    return size;
}

}  // namespace

uint64_t SeqCache::parallelCheckBytes = 4 << 20;

// ---------------------------------------------------------------------------
// Writing

void SeqCache::write(bool writeFileList, bool writeReadList) {
    if (writeFileList) writeSeqFileMetadata(context->seqFileMetadataPath);
    if (writeReadList) writeSeqCacheMetadata(context->seqCacheMetadataPath);
}

void SeqCache::writeSeqFileMetadata(const std::string& path) {
    FILE* fp = fopen(path.c_str(), "w");
    if (!fp) {
        die("%s", WRITE_MSG);
        return;
    }
    fprintf(fp, "%d\n", refSetCount);
    for (SeqFile* f : sfmList) {
        // SFF files are named by their link in the sff directory, the rest by path.
        const std::string& name = f->isSFFFile() ? f->fileName : f->path;
        int qualFlag = (!f->isSFFFile() && f->inputFile && f->hasQual()) ? 1 : 0;
        fprintf(fp, FILE_LINE_FORMAT, name.c_str(), f->isSFFFile() ? 1 : 0, qualFlag, f->numFlows,
                f->bytesPerFlow, f->numReads, uint64tos(f->numBases).c_str(), f->numLongReads,
                uint64tos(f->numLongBases).c_str(), f->numShortReads,
                uint64tos(f->numShortBases).c_str(), f->carriedCount1,
                uint64tos(f->carriedBases1).c_str(), f->carriedCount2, f->carriedCount3,
                uint64tos(f->carriedBases2).c_str(), f->maxSeqLength, f->numPairs, f->carriedCount4,
                f->carriedCount5, uint64tos(f->fileSize).c_str(),
                uint64tos(f->qualFileSize).c_str());
    }
    if (ferror(fp)) {
        fclose(fp);
        ASSERT(false);
        return;
    }
    fclose(fp);
}

void SeqCache::writeSeqCacheMetadata(const std::string& path) {
    // The file may be the one the records still wait in: all come in before
    // it is truncated.
    bringInAllRecords();
    FILE* fp = fopen(path.c_str(), "wb");
    if (!fp) {
        die("%s", WRITE_MSG);
        return;
    }
    {
        BlockWriter w(fp);
        w.bytes(".scm", 4);
        w.u4(SCM_VERSION);
        w.u4((uint32_t)scmList.size());
        int numNames = accnos ? accnos->size() : 0;
        int n = (int)scmList.size();
        for (int seqId = 0; seqId < n; seqId++) {
            const SeqCacheMetadata& rec = scmList[seqId];
            SeqFile* f = sfmList[rec.fileIndex];
            bool qual = f->hasQualFile();
            w.u2((uint16_t)rec.fileIndex);
            w.u8(f->isSTSFile() ? 0 : f->getFileByteOffset(seqId));
            w.u8(qual ? f->getQualByteOffset(seqId) : 0);
            w.u4(f->isSTSFile() ? 0 : f->getFileByteSize(seqId));
            w.u4(qual ? f->getQualByteSize(seqId) : 0);
            w.u4(rec.length);
            w.u2((uint16_t)rec.getClipPoint());
            w.u1((uint8_t)rec.getFlags());
            w.u1(seqId < (int)byteList.size() ? byteList[seqId] : 0);
            const char* name = seqId < numNames ? getAccno(seqId) : "";
            size_t len = strlen(name);
            // The length byte keeps only the low 8 bits; all bytes are written.
            w.u1((uint8_t)(len & 0xFF));
            w.bytes(name, len);
        }
    }
    fclose(fp);
}

// ---------------------------------------------------------------------------
// Reading

InputFile* SeqCache::findInputFile(const std::string& name) {
    for (InputFile* f : context->refFiles)
        if (f->getProjectFilePath() == name) return f;
    for (InputFile* f : context->readFiles)
        if (f->getProjectFilePath() == name) return f;
    return nullptr;
}

void SeqCache::readMetadata(const std::string& seqFileMetadataPath,
                            const std::string& seqCacheMetadataPath, const std::string& sffDir,
                            int setRefCount, bool reconcile) {
    if (!readSeqFileMetadata(seqFileMetadataPath, sffDir, setRefCount, reconcile)) return;
    readSeqCacheMetadata(seqCacheMetadataPath);
}

// Loads the file list; false when the load ends there (empty file, or a
// changed reference set without reconciling).
bool SeqCache::readSeqFileMetadata(const std::string& path, const std::string& sffDir,
                                   int setRefCount, bool reconcile) {
    FILE* fp = fopen(path.c_str(), "r");
    if (!fp) {
        die("%s", READ_MSG);
        return false;
    }
    static char line[10000];
    if (!fgets(line, sizeof line, fp)) {
        fclose(fp);
        return false;
    }
    int readRefCount;
    if (sscanf(line, "%d", &readRefCount) != 1) {
        fclose(fp);
        die("%s", FORMAT_MSG);
        return false;
    }
    if (readRefCount < setRefCount) {
        if (!reconcile) {
            fclose(fp);
            context->refSetChanged = true;
            return false;
        }
        needsRebuild = true;
    }
    if (reconcile) refSetCount = readRefCount;

    std::vector<SeqFile*> files;
    while (fgets(line, sizeof line, fp)) {
        char* tab = strchr(line, '\t');
        if (!tab) {
            fclose(fp);
            die("%s", FORMAT_MSG);
            return false;
        }
        int sffFileFlag = 0, qualFileFlag = 0, numFlows = 0, bytesPerFlow = 0, numReads = 0;
        int numLongReads = 0, numShortReads = 0, carriedCount1 = 0, carriedCount2 = 0;
        int carriedCount3 = 0, maxSeqLength = 0, numPairs = 0, carriedCount4 = 0;
        int carriedCount5 = 0;
        char numBases[64] = "0", numLongBases[64] = "0", numShortBases[64] = "0";
        char carriedBases1[64] = "0", carriedBases2[64] = "0", fileSize[64] = "0";
        char qualFileSize[64] = "0";
        int count =
            sscanf(tab + 1,
                   "%d\t%d\t%d\t%d\t%d\t%63s\t%d\t%63s\t%d\t%63s\t%d\t%63s\t%d\t%d\t%63s\t"
                   "%d\t%d\t%d\t%d\t%63s\t%63s",
                   &sffFileFlag, &qualFileFlag, &numFlows, &bytesPerFlow, &numReads, numBases,
                   &numLongReads, numLongBases, &numShortReads, numShortBases, &carriedCount1,
                   carriedBases1, &carriedCount2, &carriedCount3, carriedBases2, &maxSeqLength,
                   &numPairs, &carriedCount4, &carriedCount5, fileSize, qualFileSize);
        if (count == EOF) {
            fclose(fp);
            die("%s", FORMAT_MSG);
            return false;
        }
        uint64_t vNumBases = str2uint64(numBases), vNumLongBases = str2uint64(numLongBases);
        uint64_t vNumShortBases = str2uint64(numShortBases);
        uint64_t vCarriedBases1 = str2uint64(carriedBases1);
        uint64_t vCarriedBases2 = str2uint64(carriedBases2);
        uint64_t vFileSize = str2uint64(fileSize), vQualFileSize = str2uint64(qualFileSize);

        // Older forms of the line: each form clears also what the longer ones clear.
        if (count != 10 && count != 11 && count != 13 && count != 17 && count != 19 &&
            count != 21) {
            fclose(fp);
            die("%s", FORMAT_MSG);
            return false;
        }
        if (count <= 10) {
            noQualFormat = true;
            qualFileFlag = 0;
        }
        if (count <= 11) numLongReads = 0, vNumLongBases = 0;
        if (count <= 13)
            numShortReads = 0, vNumShortBases = 0, carriedCount3 = 0, vCarriedBases2 = 0;
        if (count <= 17) carriedCount4 = 0, carriedCount5 = 0;
        if (count <= 19) vFileSize = 0, vQualFileSize = 0;

        *tab = 0;
        std::string name = line;
        if (sffFileFlag > 0) name = sffDir + "/" + name;

        InputFile* inFile = findInputFile(name);
        if (!inFile) {
            InputFile::FileType type;
            bool illuminaScores = false;
            int accnoType = 0;
            std::string firstName;
            if (sffFileFlag > 0) {
                type = InputFile::SFF_FILE;
            } else if (checkFastaFile(name.c_str())) {
                type = InputFile::FASTA_FILE;
            } else if (checkFastqFile(name.c_str(), illuminaScores, accnoType, firstName)) {
                type = InputFile::FASTQ_FILE;
            } else {
                fclose(fp);
                ASSERT(false);
                return false;
            }
            inFile = new InputFile(name, type, true);
        }
        ASSERT(inFile->isSFFFile() == (sffFileFlag > 0));
        ASSERT(noQualFormat || (!noQualFormat && inFile->hasQual() == (qualFileFlag > 0)));

        if (inFile->isSFFFile()) {
            int headerLength = 0;
            std::string flowOrder, key;
            if (InputFile::readSFFHeaderInfo(name, headerLength, flowOrder, key) &&
                !flowOrder.empty())
                inFile->setFlowOrder(flowOrder.c_str(), (int)flowOrder.size());
        }

        SeqFile* f = new SeqFile(inFile, context, 0, rescoreFlag);
        if (inFile->isPairedEnd && inFile->isSFFFile()) {
            std::string lib = inFile->library.empty() ? inFile->displayName : inFile->library;
            int id = pairInfo->addLibrary(lib, (int)LibraryType::SFF);
            pairInfo->libraries[id].numPairs += numPairs;
            int parent = pairInfo->libraries[id].otherLibraryId;
            if (parent >= 0) pairInfo->libraries[parent].numPairs += numPairs;
            f->libraryId = id;
        } else if (inFile->isPairedEnd && inFile->isFastqFile()) {
            std::string lib =
                inFile->library.empty() ? inFile->displayName2LibName() : inFile->library;
            f->libraryId = pairInfo->addLibrary(lib, (int)LibraryType::IllPairedEnd);
        }

        f->sffFileFlag = sffFileFlag;
        f->qualFileFlag = qualFileFlag;
        f->numFlows = numFlows;
        f->bytesPerFlow = bytesPerFlow;
        f->numReads = numReads;
        f->numBases = vNumBases;
        f->numLongReads = numLongReads;
        f->numLongBases = vNumLongBases;
        f->numShortReads = numShortReads;
        f->numShortBases = vNumShortBases;
        f->carriedCount1 = carriedCount1;
        f->carriedBases1 = vCarriedBases1;
        f->carriedCount2 = carriedCount2;
        f->carriedCount3 = carriedCount3;
        f->carriedBases2 = vCarriedBases2;
        f->maxSeqLength = std::max(f->maxSeqLength, maxSeqLength);
        f->numPairs = numPairs;
        f->carriedCount4 = carriedCount4;
        f->carriedCount5 = carriedCount5;
        f->fileSize = vFileSize;
        f->qualFileSize = vQualFileSize;

        if (f->fileSize == 0) f->fileSize = readDataEnd(name, f->isSFFFile());
        if (f->qualFileSize == 0 && inFile->hasQual() && inFile->isFastaFile() &&
            inFile->hasQualFile())
            f->qualFileSize = readDataEnd(inFile->getQualPath(), false);
        files.push_back(f);
    }
    fclose(fp);
    sfmList.insert(sfmList.end(), files.begin(), files.end());
    numFilesRead = (int)sfmList.size();
    return !sfmList.empty();
}

void SeqCache::bringInAllRecords() {
    if (pendingRecords) pendingRecords->bringInAll();
}

void SeqCache::readSeqCacheMetadata(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        die("%s", READ_MSG);
        return;
    }
    struct stat st;
    uint64_t fileEnd = fstat(fd, &st) == 0 ? (uint64_t)st.st_size : 0;
    BlockReader rd(fd, 0, fileEnd);
    const unsigned char* p = rd.need(4);
    if (!p) {
        close(fd);
        return;
    }
    int version = 0;
    uint32_t count;
    if (memcmp(p, ".scm", 4) == 0) {
        p = rd.need(8);
        if (!p) {
            close(fd);
            die("%s", FORMAT_MSG);
            return;
        }
        uint32_t v = getuint32(p);
        count = getuint32(p + 4);
        if (v == 0 || v > 2) {
            close(fd);
            die("%s", VERSION_MSG);
            return;
        }
        version = (int)v;
    } else {
        count = getuint32(p);
    }
    scmVersion = version;
    const RecordLayout layout(version, !noQualFormat);
    const size_t fixedSize = layout.fixedSize;
    // A count that the file cannot hold is a record cut short: fail before
    // sizing the lists for it.
    if (count > 0x7FFFFFFFu || (uint64_t)count * fixedSize > rd.remaining()) {
        close(fd);
        die("%s", FORMAT_MSG);
        return;
    }

    // An earlier load's records all come in first: the new ones are checked
    // against the state file now and decoded from it later.
    bringInAllRecords();
    delete pendingRecords;
    pendingRecords = nullptr;
    std::unique_ptr<StateFileRecords> pending(new StateFileRecords(this, fd, layout));
    int64_t base = (int64_t)scmList.size();
    pending->firstSeqId = base;
    pending->numRecords = count;
    pending->namesBefore = accnos->size();

    // Every record is checked here, so that a malformed file stops the load
    // before anything of it is used.
    CheckedRecords checked;
    int badClip = 0;
    RecordWalk::Stop stop =
        checkRecords(fd, layout, (uint32_t)sfmList.size(), rd.fileOffsetOf(rd.current()), fileEnd,
                     count, checked, badClip);
    if (stop == RecordWalk::BAD_CLIP) {
        int clipPt = badClip;
        ASSERT(clipPt < 1 << (24 - NUMFILEINDEXBITS));
        return;
    }
    if (stop != RecordWalk::DONE) {
        die("%s", FORMAT_MSG);
        return;
    }

    // Each run of one file's records goes on that file's lists: its offsets
    // on the 32-bit list until the first past the threshold, that one and
    // all after it on the 64-bit list.
    auto placeOffsets = [base](uint64_t firstLarge, uint64_t runStart, size_t n,
                               int& fileFirstLarge, size_t runPos, int64_t& largeFrom,
                               size_t& numSmall, size_t& numLarge) {
        numSmall = numLarge = 0;
        if (fileFirstLarge != -2) {
            numLarge = n;
        } else if (firstLarge == RecordWalk::NONE) {
            numSmall = n;
        } else {
            numSmall = (size_t)(firstLarge - runStart);
            numLarge = n - numSmall;
            fileFirstLarge = (int)(runPos + numSmall);
            largeFrom = base + (int64_t)firstLarge;
        }
    };
    // Whether each file's entries are one run into empty lists, as in any file
    // this writer made; otherwise everything is decoded at once.
    bool simple = base == 0 && pending->namesBefore == 0;
    std::vector<uint8_t> fileSeen(sfmList.size(), 0);
    uint32_t prevFileIndex = 0;
    for (size_t i = 0; i < checked.runs.size(); i++) {
        const RecordWalk::Run& w = checked.runs[i];
        uint64_t endRecord = i + 1 < checked.runs.size() ? checked.runs[i + 1].start : count;
        int64_t seqId = base + (int64_t)w.start;
        size_t n = (size_t)(endRecord - w.start);
        SeqFile* f = sfmList[w.fileIndex];
        if (w.fileIndex != prevFileIndex) {
            prevFileIndex = w.fileIndex;
            f->firstSeqId = (int)seqId;
        }
        if (fileSeen[w.fileIndex] || f->getNumSeqs() > 0 || !f->fileByteSizes.empty())
            simple = false;
        fileSeen[w.fileIndex] = 1;
        FileRun run;
        run.firstSeqId = seqId;
        run.endSeqId = seqId + (int64_t)n;
        run.fileIndex = w.fileIndex;
        run.file = f;
        run.qualLists = layout.qualFields && f->hasQualFile();
        run.offsetPos = f->fileOffsets.size();
        run.largeOffsetPos = f->largeFileOffsets.size();
        run.qualOffsetPos = f->qualOffsets.size();
        run.largeQualOffsetPos = f->largeQualOffsets.size();
        run.sizePos = f->fileByteSizes.size();
        run.qualSizePos = f->qualByteSizes.size();
        run.largeFrom = f->firstLargeOffset == -2 ? INT64_MAX : seqId;
        run.largeQualFrom = f->firstLargeQualOffset == -2 ? INT64_MAX : seqId;
        size_t numSmall, numLarge;
        placeOffsets(w.firstLarge, w.start, n, f->firstLargeOffset, run.offsetPos, run.largeFrom,
                     numSmall, numLarge);
        f->fileOffsets.setSize(run.offsetPos + numSmall);
        f->largeFileOffsets.setSize(run.largeOffsetPos + numLarge);
        f->fileByteSizes.setSize(run.sizePos + n);
        if (run.qualLists) {
            placeOffsets(w.firstLargeQual, w.start, n, f->firstLargeQualOffset, run.qualOffsetPos,
                         run.largeQualFrom, numSmall, numLarge);
            f->qualOffsets.setSize(run.qualOffsetPos + numSmall);
            f->largeQualOffsets.setSize(run.largeQualOffsetPos + numLarge);
            f->qualByteSizes.setSize(run.qualSizePos + n);
        }
        pending->runs.push_back(run);
    }
    pending->blockStarts = std::move(checked.blockStarts);
    pending->splitIndex = checked.splitIndex;
    pending->splitBlock = checked.splitBlock;
    numFlaggedReads += (int)checked.flagged;
    int64_t lastNamed =
        checked.lastNamed >= 0 ? base + checked.lastNamed : pending->namesBefore - 1;

    scmList.setSize((size_t)(base + count));
    byteList.setSize((size_t)(base + count));
    // Reads without a name after the last named one get no entry in the name
    // table; reads of an earlier load between the table's end and the new
    // ones get an empty one.
    int64_t nameEnd = std::max<int64_t>(lastNamed + 1, pending->namesBefore);
    while (accnos->size() < std::min(base, nameEnd)) accnos->appendNone();
    accnos->pageIds.setSize((size_t)nameEnd);
    accnos->offsets.setSize((size_t)nameEnd);
    pending->nameEnd = nameEnd;
    totalReads = (int)scmList.size();

    size_t numBlocks = pending->blockStarts.size() - 1;
    pending->loaded.assign(numBlocks, 0);
    pending->blocksLeft = numBlocks;
    if (numBlocks == 0) return;
    pendingRecords = pending.release();
    if (simple)
        static_cast<StateFileRecords*>(pendingRecords)->follow(true);
    else
        pendingRecords->bringInAll();
}

bool SeqCache::readAndUpdate(ChordMatrix* matrix, bool loadOnly, bool reconcile) {
    (void)matrix;
    readMetadata(context->seqFileMetadataPath, context->seqCacheMetadataPath, context->sffDirectory,
                 context->declaredRefCount, reconcile);
    if (reconcile) {
        if (!needsRebuild) {
            size_t numFiles = context->refFiles.size() + context->readFiles.size();
            for (InputFile* f : context->readFiles)
                if (f->removeFlag) needsRebuild = true;
            if (numFiles != sfmList.size()) {
                needsRebuild = true;
            } else {
                size_t i = 0;
                for (InputFile* f : context->refFiles)
                    if (sfmList[i++]->path != f->getProjectFilePath()) needsRebuild = true;
                for (InputFile* f : context->readFiles)
                    if (sfmList[i++]->path != f->getProjectFilePath()) needsRebuild = true;
            }
        }
    } else {
        refSetCount = context->declaredRefCount;
    }
    if (loadOnly) return false;
    die("Error:  Scanning new read files is not supported yet.\n");
    return false;
}
