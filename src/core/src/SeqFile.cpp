// SeqFile: offsets and sizes of a file's reads, file handling and read advice,
// and the SFF reader with its shared read-ahead cache.
#include "SeqFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cctype>
#include <cstring>

#include "ByteUtil.h"
#include "FileAdvice.h"
#include "Sequence.h"
#include "Util.h"
#include "stringbuffer.h"

// Recomputes the scores of a flow-based read in place. Provided by the quality
// library when it is linked in; without it, reads keep the scores of the file.
void qualRescoreRead(int numFlows, int numBases, const char* flowChars, const char* bases,
                     char* quals, uint16_t* flowgram, uint16_t* flowIndex) __attribute__((weak));

char SeqFile::lastFilename[SeqFile::LAST_FILENAME_SIZE];
uint64_t SeqFile::lastOffset = 0;
int SeqFile::lastSize = 0;
unsigned char SeqFile::buf[SeqFile::READ_BUF_SIZE];
char SeqFile::nameBuf[SeqFile::NAME_BUF_SIZE];
uint16_t SeqFile::flowBuf[SeqFile::FLOW_BUF_SLOTS];
uint16_t SeqFile::flowIndexBuf[SeqFile::BASE_BUF_SLOTS];
char SeqFile::baseBuf[SeqFile::BASE_BUF_SLOTS];
char SeqFile::qualBuf[SeqFile::BASE_BUF_SLOTS];

static const int SFF_COMMON_HEADER_SIZE = 31;

// The part of a path after its last slash.
static std::string baseName(const std::string& path) {
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Ends the process for a file type whose reader is not part of this build.
static void unsupported(const char* what, const std::string& path) {
    die("Error:  Reading %s files is not supported yet:  %s\n", what, path.c_str());
}

static const char* typeName(InputFile::FileType type) {
    switch (type) {
        case InputFile::FASTA_FILE:
            return "FASTA";
        case InputFile::FASTQ_FILE:
            return "FASTQ";
        case InputFile::STS_FILE:
            return "STS";
        default:
            return "SFF";
    }
}

SeqFile::SeqFile(InputFile* inputFile, Context* context, int firstSeqId, bool rescoreFlag) {
    init();
    this->inputFile = inputFile;
    this->context = context;
    this->firstSeqId = firstSeqId;
    this->rescoreFlag = rescoreFlag;
    fileType = inputFile->fileType;
    setPath(inputFile->getProjectFilePath());
    if (isSFFFile()) {
        sffFileFlag = 1;
        bytesPerFlow = 2;
        if (inputFile->numFlows > 0) numFlows = inputFile->numFlows;
    } else {
        qualFileFlag = inputFile->hasQual() ? 1 : 0;
    }
    if (isSTSFile()) stsSeqFilename = inputFile->stsSeqFilename;
}

SeqFile::SeqFile(const std::string& path, Context* context, InputFile::FileType ft) {
    ASSERT(ft == InputFile::SFF_FILE);
    init();
    this->context = context;
    fileType = ft;
    setPath(path);
    sffFileFlag = 1;
    bytesPerFlow = 2;
}

SeqFile::~SeqFile() { closeFile(); }

void SeqFile::init() {
    sffFileFlag = qualFileFlag = numFlows = bytesPerFlow = numReads = 0;
    numBases = numLongBases = numShortBases = carriedBases1 = carriedBases2 = 0;
    numLongReads = numShortReads = carriedCount1 = carriedCount2 = carriedCount3 = 0;
    maxSeqLength = numPairs = carriedCount4 = carriedCount5 = 0;
    fileSize = qualFileSize = 0;
    lastReadLength = 0;
    firstLargeOffset = firstLargeQualOffset = -2;
    fileOffsets.clear();
    qualOffsets.clear();
    largeFileOffsets.clear();
    largeQualOffsets.clear();
    fileByteSizes.clear();
    qualByteSizes.clear();
}

bool SeqFile::hasQual() const {
    ASSERT(inputFile != __null);
    return inputFile->hasQual();
}

bool SeqFile::hasQualFile() const { return inputFile != nullptr && inputFile->hasQualFile(); }

void SeqFile::setPath(const std::string& newPath) {
    path = newPath;
    fileName = baseName(newPath);
}

// ---------------------------------------------------------------------------
// Offsets and sizes

void SeqFile::addLargeFileOffset(uint64_t offset) {
    if (firstLargeOffset == -2) firstLargeOffset = (int)fileOffsets.size();
    largeFileOffsets.push_back(offset);
}

void SeqFile::addLargeQualOffset(uint64_t offset) {
    if (firstLargeQualOffset == -2) firstLargeQualOffset = (int)qualOffsets.size();
    largeQualOffsets.push_back(offset);
}

uint64_t SeqFile::getFileByteOffset(int seqId) const {
    if (isSTSFile()) return 0;
    int i = seqId - firstSeqId;
    ASSERT(i >= 0 && i < getNumSeqs());
    if (firstLargeOffset != -2 && firstLargeOffset <= i)
        return largeFileOffsets[i - firstLargeOffset];
    return fileOffsets[i];
}

uint64_t SeqFile::getQualByteOffset(int seqId) const {
    if (isSTSFile() || !hasQualFile()) return 0;
    int i = seqId - firstSeqId;
    ASSERT(i >= 0 && i < (int)(qualOffsets.size() + largeQualOffsets.size()));
    if (firstLargeQualOffset != -2 && firstLargeQualOffset <= i)
        return largeQualOffsets[i - firstLargeQualOffset];
    return qualOffsets[i];
}

uint32_t SeqFile::getFileByteSize(int seqId) const {
    if (isSTSFile()) return 0;
    int i = seqId - firstSeqId;
    if (i >= 0 && i < (int)fileByteSizes.size() && fileByteSizes[i] != DERIVE_SIZE)
        return fileByteSizes[i];
    // Derived: up to the next read's entry. The two halves of a pair share one
    // entry, so a next read at the same offset is passed over.
    uint64_t offset = getFileByteOffset(seqId);
    uint64_t nextOffset = fileSize;
    int last = getLastSeqId();
    for (int id = seqId + 1; id <= last; id++) {
        uint64_t o = getFileByteOffset(id);
        if (o != offset) {
            nextOffset = o;
            break;
        }
    }
    ASSERT(offset < nextOffset);
    return (uint32_t)(nextOffset - offset);
}

uint32_t SeqFile::getQualByteSize(int seqId) const {
    if (isSTSFile() || !hasQualFile()) return 0;
    int i = seqId - firstSeqId;
    if (i >= 0 && i < (int)qualByteSizes.size() && qualByteSizes[i] != DERIVE_SIZE)
        return qualByteSizes[i];
    uint64_t offset = getQualByteOffset(seqId);
    uint64_t nextOffset = qualFileSize;
    int last = firstSeqId + (int)(qualOffsets.size() + largeQualOffsets.size()) - 1;
    for (int id = seqId + 1; id <= last; id++) {
        uint64_t o = getQualByteOffset(id);
        if (o != offset) {
            nextOffset = o;
            break;
        }
    }
    ASSERT(offset < nextOffset);
    return (uint32_t)(nextOffset - offset);
}

// ---------------------------------------------------------------------------
// File handling and read advice

void SeqFile::openFile() {
    if (isFileOpen()) return;
    if (isSTSFile()) return;
    if (!isSFFFile()) {
        unsupported(typeName(fileType), path);
        return;
    }
    fileFP = fopen(path.c_str(), "rb");
    if (fileFP == nullptr) {
        die("Error:  Unable to read sequence file:  %s\n", path.c_str());
        return;
    }
    setReadModeForFile(fileFP, fileReadMode);
}

void SeqFile::closeFile() {
    if (fileFP != nullptr) fclose(fileFP);
    fileFP = nullptr;
}

bool SeqFile::isFileOpen() const { return fileFP != nullptr; }

void SeqFile::setFileReadMode(bool sequential) {
    fileReadMode = sequential;
    if (isSTSFile()) return;
    if (isSFFFile()) {
        if (isFileOpen()) setReadModeForFile(fileFP, sequential);
        return;
    }
    // The FASTA and FASTQ readers keep their own advice; none is linked in yet.
}

void SeqFile::doFileReadAdvise(int seqId, bool on) {
    if (!fileReadMode || !isFileOpen() || !isSFFFile()) return;
    off_t offset = (off_t)getFileByteOffset(seqId);
    off_t length = (off_t)getFileByteSize(seqId);
    int rc = posix_fadvise(fileno(fileFP), offset, length,
                           on ? POSIX_FADV_WILLNEED : POSIX_FADV_DONTNEED);
    (void)rc;  // advice only: a refused hint is no error
}

// ---------------------------------------------------------------------------
// Reading

bool SeqFile::readSequence(Sequence* seq, int seqId, int clipLength, int& clipPoint, bool isLeft,
                           bool isRight, bool needBases, bool needScores, bool needFlows,
                           bool applyTrim, bool noFail, const char* buffer, bool fromBuffer) {
    if (isSTSFile()) return readSTSSequence(seq, seqId, needBases);
    uint64_t offset = getFileByteOffset(seqId);
    uint32_t size = getFileByteSize(seqId);
    uint64_t qualOffset = 0;
    uint32_t qualSize = 0;
    if (hasQualFile()) {
        qualOffset = getQualByteOffset(seqId);
        qualSize = getQualByteSize(seqId);
    }
    return readSequence(seq, offset, size, qualOffset, qualSize, clipLength, clipPoint, isLeft,
                        isRight, needBases, needScores, needFlows, applyTrim, noFail, buffer,
                        fromBuffer);
}

bool SeqFile::readSequence(Sequence* seq, uint64_t offset, uint32_t size, uint64_t qualOffset,
                           uint32_t qualSize, int clipLength, int& clipPoint, bool isLeft,
                           bool isRight, bool needBases, bool needScores, bool needFlows,
                           bool applyTrim, bool noFail, const char* buffer, bool fromBuffer) {
    (void)qualOffset;
    (void)qualSize;
    (void)fromBuffer;
    if (buffer == nullptr && !isSTSFile()) openFile();
    if (isSFFFile())
        return readSFFSequence(seq, offset, size, clipLength, clipPoint, isLeft, isRight, needBases,
                               needScores, needFlows, applyTrim, noFail, buffer);
    unsupported(typeName(fileType), path);
    return false;
}

std::pair<int, int> SeqFile::sffClipPoints(int numBases, int clipQualLeft, int clipQualRight,
                                           int clipAdapterLeft, int clipAdapterRight) {
    int left = 1;
    if (clipQualLeft > left) left = clipQualLeft;
    if (clipAdapterLeft > left) left = clipAdapterLeft;
    int right = (clipQualRight > 0 && clipQualRight < numBases) ? clipQualRight : numBases;
    if (clipAdapterRight > 0 && clipAdapterRight < right) right = clipAdapterRight;
    return {left, right};
}

int SeqFile::sffDataLength(int numFlows, int bytesPerFlow, int numBases) {
    int d = numFlows * bytesPerFlow + 3 * numBases;
    if (d % 8 != 0) d += 8 - d % 8;
    return d;
}

void SeqFile::readSFFHeader() {
    unsigned char head[SFF_COMMON_HEADER_SIZE];
    ssize_t n = pread(fileno(fileFP), head, sizeof(head), 0);
    if (n != (ssize_t)sizeof(head) || memcmp(head, ".sff", 4) != 0 ||
        memcmp(head + 4, "\0\0\0\1", 4) != 0) {
        die("Error:  Invalid SFF file format:  %s\n", path.c_str());
        return;
    }
    numFlows = getuint16(head + 28);
    bytesPerFlow = 2;
    if (fileSize == 0) {
        struct stat st;
        fileSize = sffDataEnd(head, fstat(fileno(fileFP), &st) == 0 ? (uint64_t)st.st_size : 0);
    }
}

uint64_t SeqFile::sffDataEnd(const unsigned char* header, uint64_t fileSize) {
    uint64_t index = getuint64(header + 8);
    uint64_t length = getuint32(header + 16);
    return (index == 0 || index + length + 8 < fileSize) ? fileSize : index;
}

void SeqFile::readMoreBytes(uint64_t offset, int need) {
    if (need <= lastSize) return;
    if (fseeko(fileFP, (off_t)(offset + lastSize), SEEK_SET) != 0)
        fatal("Error:  getBytes() unable to read SFF file:  %s\n", path.c_str());
    getBytes(fileFP, (size_t)(need - lastSize), buf + lastSize, path.c_str());
    lastSize = need;
}

bool SeqFile::readSFFSequence(Sequence* seq, uint64_t offset, uint32_t size, int clipLength,
                              int& clipPoint, bool isLeft, bool isRight, bool needBases,
                              bool needScores, bool needFlows, bool applyTrim, bool noFail,
                              const char* buffer) {
    (void)applyTrim;
    (void)noFail;
    if (buffer == nullptr && !isFileOpen()) openFile();
    if (numFlows <= 0 || bytesPerFlow <= 0) {
        if (buffer != nullptr && !isFileOpen()) openFile();
        readSFFHeader();
    }

    // The entry: from the caller's buffer, or from the file through the cache.
    const unsigned char* entry;
    int avail;
    if (buffer != nullptr) {
        entry = (const unsigned char*)buffer;
        avail = (int)size;
        if (avail < SFF_ENTRY_FIXED_SIZE) {
            die("Error:  SFF read error at offset %d.\n", (int)offset);
            return false;
        }
    } else {
        bool cached =
            lastFilename[0] != 0 && lastOffset == offset && strcmp(lastFilename, path.c_str()) == 0;
        if (!cached) {
            lastFilename[0] = 0;
            lastSize = 0;
            if (size >= 1 && size <= MAX_ONE_READ) {
                ssize_t n = pread(fileno(fileFP), buf, size, (off_t)offset);
                if (n <= 0) {
                    die("Error:  Unable to read SFF file entry.\n");
                    return false;
                }
                lastSize = (int)n;
            }
            // Paths too long for the cache key are read every time.
            if (path.size() < sizeof(lastFilename)) {
                memcpy(lastFilename, path.c_str(), path.size() + 1);
                lastOffset = offset;
            }
        }
        if (lastSize < SFF_ENTRY_FIXED_SIZE) {
            // Entry of unknown size: read the fixed part first.
            if (fseeko(fileFP, (off_t)offset, SEEK_SET) != 0 ||
                fread(buf, 1, SFF_ENTRY_FIXED_SIZE, fileFP) != (size_t)SFF_ENTRY_FIXED_SIZE) {
                lastFilename[0] = 0;
                die("Error:  Unable to read SFF entry.\n");
                return false;
            }
            lastSize = SFF_ENTRY_FIXED_SIZE;
        }
        entry = buf;
        avail = lastSize;
    }

    // The fixed part.
    int headerLength = getuint16(entry);
    int nameLength = getuint16(entry + 2);
    uint32_t numBases = getuint32(entry + 4);
    int clipQualLeft = getuint16(entry + 8);
    int clipQualRight = getuint16(entry + 10);
    int clipAdapterLeft = getuint16(entry + 12);
    int clipAdapterRight = getuint16(entry + 14);
    if (numBases == 0) {
        if (buffer == nullptr) lastFilename[0] = 0;
        die("Error:  SFF read error at offset %d.\n", (int)offset);
        return false;
    }
    // An entry that can't be what it claims, or doesn't fit the read buffer.
    int64_t dataLength = (int64_t)numFlows * bytesPerFlow + 3 * (int64_t)numBases;
    if (dataLength % 8 != 0) dataLength += 8 - dataLength % 8;
    if (headerLength < SFF_ENTRY_FIXED_SIZE + nameLength || nameLength >= NAME_BUF_SIZE ||
        numFlows > FLOW_BUF_SLOTS || numBases >= (uint32_t)BASE_BUF_SLOTS ||
        headerLength + dataLength > READ_BUF_SIZE) {
        if (buffer == nullptr) lastFilename[0] = 0;
        die("Error:  SFF read error at offset %d.\n", (int)offset);
        return false;
    }
    int entryLength = headerLength + (int)dataLength;
    if (buffer != nullptr) {
        if (entryLength > avail) {
            die("Error:  SFF read error at offset %d.\n", (int)offset);
            return false;
        }
    } else if (entryLength > avail) {
        // Header and data not all in memory yet: read the rest from the stream.
        readMoreBytes(offset, headerLength);
        readMoreBytes(offset, entryLength);
        avail = lastSize;
    }
    const int nb = (int)numBases;

    memcpy(nameBuf, entry + SFF_ENTRY_FIXED_SIZE, nameLength);
    nameBuf[nameLength] = 0;
    lastReadLength = (int)dataLength;

    const unsigned char* data = entry + headerLength;
    const unsigned char* flowIncrements = data + numFlows * bytesPerFlow;
    const unsigned char* baseBytes = flowIncrements + nb;
    const unsigned char* qualBytes = baseBytes + nb;
    bool rescoring = needScores && rescoreFlag && inputFile != nullptr && inputFile->rescore;

    if (rescoring || needFlows) {
        const unsigned char* p = data;
        for (int i = 0; i < numFlows; i++, p += bytesPerFlow)
            flowBuf[i] = (uint16_t)(p[0] << 8 | p[1]);
        if (needFlows) seq->setFlowgram(numFlows, flowBuf);
    }
    if (needFlows && needBases) {
        int sum = 0;
        for (int i = 0; i < nb; i++) {
            sum += flowIncrements[i];
            flowIndexBuf[i] = (uint16_t)sum;
        }
        seq->setFlowIndex(nb, flowIndexBuf);
    }
    if (needBases || rescoring) {
        for (int i = 0; i < nb; i++) baseBuf[i] = (char)toupper(baseBytes[i]);
        seq->setSequence(nb, baseBuf);
    }
    if (needScores) {
        memcpy(qualBuf, qualBytes, nb);
        if (rescoring && qualRescoreRead != nullptr && inputFile->flowOrderChars.length() > 0)
            qualRescoreRead(numFlows, nb, inputFile->getFlowOrder(), baseBuf, qualBuf, flowBuf,
                            flowIndexBuf);
        seq->setQualityScores(nb, (const uint8_t*)qualBuf);
    }

    std::pair<int, int> clip =
        sffClipPoints(nb, clipQualLeft, clipQualRight, clipAdapterLeft, clipAdapterRight);
    int left = clip.first;
    int right = clip.second;
    bool isHalf = false;

    if (needBases) {
        if (isLeft || isRight) {
            // A pair half: the stored clip point and length give its used part.
            size_t n = strlen(nameBuf);
            const char* suffix = isLeft ? "_left" : "_right";
            if (n + strlen(suffix) < (size_t)NAME_BUF_SIZE) strcat(nameBuf, suffix);
            isHalf = true;
            if (clipPoint == 0) ASSERT(false);
            left = clipPoint;
            right = left + clipLength - 1;
            // The left half's clip point counts in the reverse-complemented read.
            if (isLeft) seq->flip();
        }
        int l = left > 1 ? left : 1;
        int r = right > l ? right : l;
        seq->clipLeft = l - 1;
        seq->clipRight = r - 1;
        seq->length = r - l + 1;
    }
    seq->accno.assign(nameBuf);
    seq->inputFile = inputFile;
    return isHalf;
}

void SeqFile::readBasesAndScores(int seqId, const char* buffer, uint32_t size, stringbuffer& bases,
                                 stringbuffer& scores) {
    if (isSFFFile()) {
        readSFFBasesAndScores(buffer, size, bases, scores);
    } else if (isSTSFile()) {
        readSTSBasesAndScores(seqId, bases, scores);
    } else {
        unsupported(typeName(fileType), path);
    }
}

void SeqFile::readSFFBasesAndScores(const char* buffer, uint32_t size, stringbuffer& bases,
                                    stringbuffer& scores) {
    ASSERT(size >= 16);
    const unsigned char* entry = (const unsigned char*)buffer;
    int headerLength = getuint16(entry);
    uint32_t numBases = getuint32(entry + 4);
    int64_t dataLength = (int64_t)numFlows * bytesPerFlow + 3 * (int64_t)numBases;
    if (dataLength % 8 != 0) dataLength += 8 - dataLength % 8;
    if (numBases == 0 || numFlows <= 0 || headerLength + dataLength > (int64_t)size ||
        numBases > (uint32_t)0x7FFFFFF0) {
        die("Error:  SFF read error while reading bases and scores.\n");
        return;
    }
    const int nb = (int)numBases;
    const unsigned char* baseBytes = entry + headerLength + numFlows * bytesPerFlow + nb;
    int start = bases.length();
    bases._expand(start + nb);
    char* out = bases.text() + start;
    for (int i = 0; i < nb; i++) out[i] = (char)toupper(baseBytes[i]);
    bases.length() = start + nb;
    bases.text()[start + nb] = 0;
    scores.assign((const char*)(baseBytes + nb), nb);
}

// ---------------------------------------------------------------------------
// Paired reads and the STS side: their readers are not part of this build.

std::pair<int, int> SeqFile::findLinker(const char* bases, int length) {
    (void)bases;
    (void)length;
    die("Error:  Linker search is not supported yet:  %s\n", path.c_str());
    return {-1, -1};
}

std::pair<int, int> SeqFile::parsePairTags(const char* bases, int length, std::string& leftTag,
                                           std::string& rightTag) {
    leftTag.clear();
    rightTag.clear();
    return findLinker(bases, length);
}

int SeqFile::readSTSFile() {
    unsupported("STS", path);
    return 0;
}

void SeqFile::fillSTSSequence(int index, Sequence* seq) {
    (void)index;
    (void)seq;
    unsupported("STS", path);
}

bool SeqFile::readSTSSequence(Sequence* seq, int seqId, bool needBases) {
    (void)seq;
    (void)seqId;
    (void)needBases;
    unsupported("STS", path);
    return false;
}

void SeqFile::readSTSBasesAndScores(int seqId, stringbuffer& bases, stringbuffer& scores) {
    (void)seqId;
    (void)bases;
    (void)scores;
    unsupported("STS", path);
}
