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

// Reads a file through one buffer, small enough to stay in the processor's
// cache, and hands out contiguous byte runs. SLACK bytes past the buffered
// data may always be read (their values are of no meaning).
class BlockReader {
public:
    static constexpr size_t CAPACITY = 256 << 10;
    static constexpr size_t SLACK = 64;

    explicit BlockReader(int fd) : fd(fd), buffer(CAPACITY + SLACK) {}

    // A pointer to the next n bytes, or null when the file ends before them.
    const unsigned char* need(size_t n) {
        if (end - pos < n && !fill(n)) return nullptr;
        const unsigned char* p = buffer.data() + pos;
        pos += n;
        return p;
    }
    // Bytes of the file not yet handed out (buffered plus unread).
    uint64_t remaining() const { return (end - pos) + fileLeft; }
    void setFileLeft(uint64_t left) { fileLeft = left; }
    // Bytes buffered and not yet handed out.
    size_t available() const { return end - pos; }
    // Tries to have n bytes buffered; the count buffered, fewer at the end of the file.
    size_t ensure(size_t n) {
        if (end - pos < n) fill(n);
        return end - pos;
    }
    // The next byte not handed out, and handing out n bytes from there.
    const unsigned char* current() const { return buffer.data() + pos; }
    void advance(size_t n) { pos += n; }

private:
    bool fill(size_t n) {
        size_t have = end - pos;
        if (pos > 0) {
            memmove(buffer.data(), buffer.data() + pos, have);
            pos = 0;
            end = have;
        }
        if (buffer.size() < n + SLACK) buffer.resize(n + SLACK);
        while (end < n) {
            ssize_t got = ::read(fd, buffer.data() + end, buffer.size() - SLACK - end);
            if (got <= 0) return false;
            end += (size_t)got;
            fileLeft = fileLeft > (uint64_t)got ? fileLeft - got : 0;
        }
        return true;
    }

    int fd;
    std::vector<unsigned char, BulkAllocator<unsigned char>> buffer;
    size_t pos = 0;
    size_t end = 0;
    uint64_t fileLeft = 0;
};

// Records of one file on their way to the store's lists, gathered so that
// each list takes a whole run with one insert rather than one append per read.
class RecordRun {
public:
    static constexpr int RUN = 512;

    SeqCacheMetadata records[RUN];
    uint8_t statusBytes[RUN];
    uint32_t offsets[RUN];
    uint32_t sizes[RUN];
    uint32_t qualOffsets[RUN];
    uint32_t qualSizes[RUN];
    uint32_t namePages[RUN];
    uint16_t nameOffsets[RUN];
    // Appends the first count records of the run to the store's lists and to
    // file f's lists (its quality lists too with qualLists).
    void flush(SeqCache* cache, SeqFile* f, bool qualLists, int count) {
        if (count == 0) return;
        cache->scmList.insert(cache->scmList.end(), records, records + count);
        cache->byteList.insert(cache->byteList.end(), statusBytes, statusBytes + count);
        f->fileOffsets.insert(f->fileOffsets.end(), offsets, offsets + count);
        f->fileByteSizes.insert(f->fileByteSizes.end(), sizes, sizes + count);
        if (qualLists) {
            f->qualOffsets.insert(f->qualOffsets.end(), qualOffsets, qualOffsets + count);
            f->qualByteSizes.insert(f->qualByteSizes.end(), qualSizes, qualSizes + count);
        }
        StringSet* names = cache->accnos;
        names->pageIds.insert(names->pageIds.end(), namePages, namePages + count);
        names->offsets.insert(names->offsets.end(), nameOffsets, nameOffsets + count);
    }
};

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

void SeqCache::readSeqCacheMetadata(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        die("%s", READ_MSG);
        return;
    }
    struct stat st;
    BlockReader rd(fd);
    rd.setFileLeft(fstat(fd, &st) == 0 ? (uint64_t)st.st_size : 0);
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
    bool qualFields = !noQualFormat;
    size_t fixedSize = 19 + (version == 0 ? 2 : 0) + (qualFields ? 8 : 0) +
                       (version >= 2 ? (qualFields ? 8 : 4) : 0);
    // A count that the file cannot hold is a record cut short: fail before
    // sizing the lists for it.
    if (count > 0x7FFFFFFFu || (uint64_t)count * fixedSize > rd.remaining()) {
        close(fd);
        die("%s", FORMAT_MSG);
        return;
    }

    int base = (int)scmList.size();
    // Names of reads below namesBefore replace what the table holds; the rest
    // are appended in seqId order, after a gap up to base left unset. Reads
    // without a name after the last named one are cut off again at the end.
    int namesBefore = accnos->size();
    int lastNamed = namesBefore - 1;
    while (accnos->size() < base) accnos->appendNone();
    uint32_t prevFileIndex = 0;
    SeqFile* f = sfmList.empty() ? nullptr : sfmList[0];
    bool qualLists = qualFields && f && f->hasQualFile();
    const std::string* prefix = f && f->inputFile ? &f->inputFile->accnoPrefix : nullptr;
    size_t prefixLength = prefix ? prefix->size() : 0;
    // Records go to the lists in runs. A record that the run cannot take (an
    // offset for the 64-bit list, a name that replaces one already in the
    // table) goes to them alone, after the run before it.
    std::unique_ptr<RecordRun> run(new RecordRun());
    int runCount = 0;
    auto flushRun = [&]() {
        run->flush(this, f, qualLists, runCount);
        runCount = 0;
    };
    // Room for the longest record, so that most records need no check.
    const size_t maxRecord = fixedSize + 255;
    int flagged = 0;
    // Kept here rather than read through pointers for every record: the
    // name table, and the reader's place between refills.
    StringSet* names = accnos;
    const unsigned char* cursor = rd.current();
    size_t avail = rd.available();
    for (uint32_t r = 0; r < count; r++) {
        int seqId = base + (int)r;
        if (avail < maxRecord) {
            rd.advance((size_t)(cursor - rd.current()));
            avail = rd.ensure(maxRecord);
            cursor = rd.current();
        }
        if (avail < fixedSize) {
            close(fd);
            die("%s", FORMAT_MSG);
            return;
        }
        const unsigned char* p = cursor;
        uint32_t fileIndex;
        if (version == 0) {
            fileIndex = getuint32(p);
            p += 4;
        } else {
            fileIndex = getuint16(p);
            p += 2;
        }
        uint64_t fileOffset = getuint64(p);
        p += 8;
        uint64_t qualOffset = 0;
        if (qualFields) {
            qualOffset = getuint64(p);
            p += 8;
        }
        uint32_t fileByteSize = NO_SIZE, qualByteSize = NO_SIZE;
        if (version >= 2) {
            fileByteSize = getuint32(p);
            p += 4;
            if (qualFields) {
                qualByteSize = getuint32(p);
                p += 4;
            }
        }
        uint32_t length = getuint32(p);
        int clipField = getuint16(p + 4);
        int flags = p[6];
        uint8_t status = p[7];
        int accnoLength = p[8];
        const char* text = (const char*)(p + 9);

        if (fileIndex != prevFileIndex) {
            if (fileIndex >= sfmList.size()) {
                close(fd);
                die("%s", FORMAT_MSG);
                return;
            }
            flushRun();
            prevFileIndex = fileIndex;
            f = sfmList[fileIndex];
            f->firstSeqId = seqId;
            qualLists = qualFields && f->hasQualFile();
            prefix = f->inputFile ? &f->inputFile->accnoPrefix : nullptr;
            prefixLength = prefix ? prefix->size() : 0;
        } else if (!f) {
            close(fd);
            die("%s", FORMAT_MSG);
            return;
        }

        int64_t clip = version == 0 ? (int64_t)clipField - (int64_t)length + 1 : clipField;
        if (clip < 0) {
            close(fd);
            die("%s", FORMAT_MSG);
            return;
        }
        int clipPt = (int)std::min<int64_t>(clip, 0x7FFFFFFF);
        ASSERT(clipPt < 1 << (24 - NUMFILEINDEXBITS));
        SeqCacheMetadata rec;
        rec.length = length;
        rec.clipWord = ((uint32_t)clipPt << 18) | (uint32_t)flags;
        rec.fileIndex = fileIndex;

        // Names that carry the file's prefix are stored marked, without it.
        bool marked = false;
        const char* name = text;
        int nameLength = accnoLength;
        if (accnoLength > 0) {
            if (avail - fixedSize < (size_t)accnoLength) {
                close(fd);
                die("%s", FORMAT_MSG);
                return;
            }
            if (prefixLength > 0 && accnoLength >= (int)prefixLength &&
                memcmp(text, prefix->data(), prefixLength) == 0) {
                marked = true;
                name += prefixLength;
                nameLength -= (int)prefixLength;
            }
            lastNamed = seqId;
        }

        if (f->firstLargeOffset == -2 && fileOffset <= SeqFile::MAX_SMALL_OFFSET &&
            (!qualLists ||
             (f->firstLargeQualOffset == -2 && qualOffset <= SeqFile::MAX_SMALL_OFFSET)) &&
            seqId >= namesBefore) {
            int i = runCount;
            run->records[i] = rec;
            run->statusBytes[i] = status;
            run->offsets[i] = (uint32_t)fileOffset;
            run->sizes[i] = fileByteSize;
            run->qualOffsets[i] = (uint32_t)qualOffset;
            run->qualSizes[i] = qualByteSize;
            if (accnoLength > 0) {
                names->place(name, nameLength, marked, run->namePages[i], run->nameOffsets[i],
                             avail - fixedSize - (size_t)(name - text) + BlockReader::SLACK);
            } else {
                run->namePages[i] = StringSet::NO_PAGE;
                run->nameOffsets[i] = StringSet::NO_OFFSET;
            }
            if (++runCount == RecordRun::RUN) flushRun();
        } else {
            flushRun();
            scmList.push_back(rec);
            byteList.push_back(status);
            f->addFileOffset(fileOffset);
            f->addFileByteSize(fileByteSize);
            if (qualLists) {
                f->addQualOffset(qualOffset);
                f->addQualByteSize(qualByteSize);
            }
            if (seqId < namesBefore) {
                if (accnoLength > 0) names->put(seqId, name, nameLength, marked);
            } else if (accnoLength > 0) {
                names->append(name, nameLength, marked);
            } else {
                names->appendNone();
            }
        }
        if (flags & SCM_COUNTED) flagged++;
        cursor += fixedSize + (size_t)accnoLength;
        avail -= fixedSize + (size_t)accnoLength;
    }
    flushRun();
    numFlaggedReads += flagged;
    close(fd);
    if (accnos->size() > lastNamed + 1 && accnos->size() > namesBefore) {
        int keep = std::max(lastNamed + 1, namesBefore);
        accnos->pageIds.resize(keep);
        accnos->offsets.resize(keep);
    }
    totalReads = (int)scmList.size();
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
