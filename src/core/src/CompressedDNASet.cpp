// Packed bases and coarse scores of all reads, in memory chunks or in the
// .SeqBasesMetadata / .SeqBasesIndex pair of files.
#include "CompressedDNASet.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "ByteUtil.h"
#include "Util.h"

uint8_t CompressedDNASet::idx2bits[24] = {
    0,  0,  1,  2,   // A
    3,  3,  4,  5,   // C
    6,  6,  7,  8,   // G
    9,  9,  10, 11,  // T
    12, 12, 12, 12,  // N
    13, 13, 13, 13,  // -
};
uint8_t CompressedDNASet::score2idx[256];
uint8_t CompressedDNASet::char2idx[256];
char CompressedDNASet::bits2char[256][2];
uint8_t CompressedDNASet::bits2score[256][2];
bool CompressedDNASet::tablesBuilt = false;

namespace {
// Score given to every base of a read stored without scores.
const int DEFAULT_SCORE = 20;
// Reads longer than this can't pass through the files.
const uint32_t MAX_DISK_READ_LEN = 4000;
// Slack kept beyond a section when the page buffer grows.
const int PAGE_SLACK = 10000;

// Bytes of a record of n bases: the count and two bases a byte.
int recordBytes(uint32_t n) { return (int)(n - n / 2 + 4); }

bool parseOffset(const std::string& line, uint64_t& value) {
    if (line.empty()) return false;
    for (char c : line) {
        if (c < '0' || c > '9') return false;
    }
    value = str2uint64(line);
    return true;
}
}  // namespace

void CompressedDNASet::initCompressedDNASet() {
    if (tablesBuilt) return;
    for (int s = 0; s < 256; s++) {
        score2idx[s] = s <= 13 ? 1 : s <= 26 ? 2 : s <= 99 ? 3 : 0;
        char2idx[s] = 4;
    }
    char2idx[(unsigned char)'A'] = 0;
    char2idx[(unsigned char)'C'] = 1;
    char2idx[(unsigned char)'G'] = 2;
    char2idx[(unsigned char)'T'] = 3;
    char2idx[(unsigned char)'N'] = 4;
    char2idx[(unsigned char)'-'] = 5;
    const char* nibbleChars = "AAACCCGGGTTTN-**";
    const uint8_t classScores[3] = {LQ_SCORE, MQ_SCORE, HQ_SCORE};
    for (int b = 0; b < 256; b++) {
        int nibbles[2] = {b & 15, b >> 4};
        for (int k = 0; k < 2; k++) {
            bits2char[b][k] = nibbleChars[nibbles[k]];
            bits2score[b][k] = nibbles[k] < 12 ? classScores[nibbles[k] % 3] : 0;
        }
    }
    tablesBuilt = true;
}

CompressedDNASet::CompressedDNASet()
    : chunks(nullptr),
      lastChunk(-1),
      chunkFill(0),
      numChunks(0),
      cacheMode(MEMORY),
      cacheFP(nullptr),
      numCacheSeqs(0),
      cachePage(nullptr),
      cachePageId(-2),
      cachePageSize(0),
      cachePageCapacity(0),
      changed(false) {
    initCompressedDNASet();
}

CompressedDNASet::~CompressedDNASet() {
    closeFile();
    if (chunks != nullptr) {
        for (int i = 0; i < numChunks; i++) safeFree(chunks[i]);
        safeFree(chunks);
    }
    safeFree(cachePage);
}

std::string CompressedDNASet::metadataPath() const { return cachePath + "/.SeqBasesMetadata"; }

std::string CompressedDNASet::indexPath() const { return cachePath + "/.SeqBasesIndex"; }

void CompressedDNASet::closeFile() {
    if (cacheFP != nullptr) {
        fclose(cacheFP);
        cacheFP = nullptr;
    }
}

void CompressedDNASet::setCacheMode(CacheMode mode) {
    // Both fresh modes start with no sections and no page loaded.
    auto startAfresh = [this](CacheMode newMode) {
        numCacheSeqs = 0;
        sectionByteOffsets.clear();
        cachePageId = -2;
        cachePageSize = 0;
        cacheMode = newMode;
    };
    if (mode == MEMORY) {
        closeFile();
        cachePath.clear();
        startAfresh(MEMORY);
        return;
    }
    if (mode == DISK_WRITE) {
        closeFile();
        ASSERT(cachePath.length() > 0);
        std::string path = metadataPath();
        cacheFP = fopen(path.c_str(), "wb");
        if (cacheFP == nullptr) die("Error:  Unable to open file:  %s\n", path.c_str());
        startAfresh(DISK_WRITE);
        return;
    }
    ASSERT(cachePath.length() > 0);
    if (cacheMode == DISK_WRITE && cacheFP != nullptr) {
        sectionByteOffsets.push_back((uint64_t)ftello(cacheFP));
        if (fclose(cacheFP) != 0)
            die("Error:  Unable to write file:  %s\n", metadataPath().c_str());
        cacheFP = nullptr;
        writeIndex();
    } else {
        closeFile();
        readIndex();
    }
    std::string path = metadataPath();
    cacheFP = fopen(path.c_str(), "rb");
    if (cacheFP == nullptr) die("Error:  Unable to open file:  %s\n", path.c_str());
    cachePageId = -2;
    cachePageSize = 0;
    cacheMode = DISK_READ;
}

void CompressedDNASet::writeIndex() {
    // clang-format off
    ASSERT((int) sectionByteOffsets.size() == numCacheSeqs / SECTION_SIZE + (numCacheSeqs % SECTION_SIZE ? 2 : 1));
    // clang-format on
    std::string path = indexPath();
    FILE* fp = fopen(path.c_str(), "w");
    if (fp == nullptr) die("Error:  Unable to open file:  %s\n", path.c_str());
    fprintf(fp, "%d\n", numCacheSeqs);
    for (uint64_t offset : sectionByteOffsets) fprintf(fp, "%s\n", uint64tos(offset).c_str());
    if (ferror(fp) || fclose(fp) != 0) die("Error:  Unable to write file:  %s\n", path.c_str());
}

void CompressedDNASet::readIndex() {
    std::string path = indexPath();
    FILE* fp = fopen(path.c_str(), "r");
    if (fp == nullptr) die("Error:  Unable to open file:  %s\n", path.c_str());
    stringbuffer line(128);
    numCacheSeqs = 0;
    sectionByteOffsets.clear();
    bool valid = line.getline(fp);
    if (valid) {
        std::string text = line.str();
        if (text.back() == '\n') text.pop_back();
        uint64_t count = 0;
        valid = parseOffset(text, count) && count <= (uint64_t)INT_MAX;
        numCacheSeqs = (int)count;
    }
    while (valid && line.getline(fp)) {
        std::string text = line.str();
        if (text.back() == '\n') text.pop_back();
        uint64_t offset = 0;
        valid = parseOffset(text, offset) &&
                (sectionByteOffsets.empty() || offset >= sectionByteOffsets.back());
        if (valid) sectionByteOffsets.push_back(offset);
    }
    fclose(fp);
    if (!valid) die("Error:  Invalid SeqBases index file:  %s\n", path.c_str());
    // clang-format off
    ASSERT((int) sectionByteOffsets.size() == numCacheSeqs / SECTION_SIZE + (numCacheSeqs % SECTION_SIZE ? 2 : 1));
    // clang-format on
}

int CompressedDNASet::packRecord(uint8_t* buf, int n, const char* bases, const uint8_t* scores) {
    setuint32(buf, (uint32_t)n);
    int bytepos = 4;
    for (int i = 0; i < n; i += 2) {
        int score = scores ? scores[i] : DEFAULT_SCORE;
        uint8_t value = idx2bits[char2idx[(unsigned char)bases[i]] * 4 + score2idx[score]];
        if (i + 1 < n) {
            score = scores ? scores[i + 1] : DEFAULT_SCORE;
            value |= idx2bits[char2idx[(unsigned char)bases[i + 1]] * 4 + score2idx[score]] << 4;
        }
        buf[bytepos++] = value;
    }
    return bytepos;
}

void CompressedDNASet::setSequence(int seqId, int n, const char* bases, const uint8_t* scores) {
    ASSERT(seqId >= 0 && n >= 0);
    int newbuflen = recordBytes((uint32_t)n);
    if (cacheMode == DISK_WRITE) {
        ASSERT(seqId == numCacheSeqs);
        static std::vector<uint8_t> packBuffer;
        if ((int)packBuffer.size() < newbuflen) packBuffer.resize(newbuflen + 1000);
        int bytepos = packRecord(packBuffer.data(), n, bases, scores);
        // clang-format off
        ASSERT(bytepos == (int) newbuflen);
        // clang-format on
        if (numCacheSeqs % SECTION_SIZE == 0) {
            sectionByteOffsets.push_back((uint64_t)ftello(cacheFP));
        }
        int num = (int)fwrite(packBuffer.data(), 1, bytepos, cacheFP);
        // clang-format off
        ASSERT(num == (int) bytepos);
        // clang-format on
        numCacheSeqs++;
        return;
    }
    uint8_t* buf = _getBuffer(seqId, n, newbuflen);
    int bytepos = packRecord(buf, n, bases, scores);
    // clang-format off
    ASSERT(bytepos == (int) newbuflen);
    // clang-format on
    if (cacheMode == DISK_READ) changed = true;
}

uint8_t* CompressedDNASet::_getBuffer(int seqId, int count, int bytes) {
    if (seqId < (int)chunkIds.size() && chunkIds[seqId] != NO_CHUNK) {
        uint8_t* old = chunks[chunkIds[seqId]] + chunkOffsets[seqId];
        if (getuint32(old) >= (uint32_t)count) return old;
    }
    if ((int)chunkIds.size() <= seqId) {
        chunkIds.resize(seqId + 1, NO_CHUNK);
        chunkOffsets.resize(seqId + 1, 0);
    }
    if (chunks == nullptr) chunks = (uint8_t**)calloc(MAX_CHUNKS, sizeof(uint8_t*));
    if (chunks == nullptr) die("Error:  The computation ran out of memory.\n");
    bool ownChunk = bytes >= CHUNK_SIZE;
    if (ownChunk || lastChunk < 0 || chunkFill + bytes > CHUNK_SIZE) {
        if (numChunks >= MAX_CHUNKS - 1) die("Error:  The computation ran out of memory.\n");
        int size = ownChunk ? bytes + 4 : CHUNK_SIZE;
        chunks[numChunks] = (uint8_t*)safeMalloc(size);
        if (ownChunk) {
            // A long read keeps its chunk to itself; the shared chunk goes on filling.
            chunkIds[seqId] = numChunks++;
            chunkOffsets[seqId] = 0;
            return chunks[chunkIds[seqId]];
        }
        lastChunk = numChunks++;
        chunkFill = 0;
    }
    chunkIds[seqId] = lastChunk;
    chunkOffsets[seqId] = (uint16_t)chunkFill;
    uint8_t* buf = chunks[lastChunk] + chunkFill;
    chunkFill += bytes;
    return buf;
}

uint8_t* CompressedDNASet::_getBufferFromDisk(int seqId) {
    if (seqId < 0 || seqId >= numCacheSeqs || cacheFP == nullptr) return nullptr;
    int section = seqId / SECTION_SIZE;
    if (section != cachePageId) {
        ASSERT(section + 1 < (int)sectionByteOffsets.size());
        uint64_t from = sectionByteOffsets[section];
        uint64_t to = sectionByteOffsets[section + 1];
        if (to < from || to - from > (uint64_t)(INT_MAX - PAGE_SLACK)) {
            die("Error:  Unable to read SeqBases cache file.\n");
        }
        int need = (int)(to - from);
        // An empty section still gets a page, so that the buffer is never null.
        if (need > cachePageCapacity || cachePage == nullptr) {
            safeFree(cachePage);
            cachePageCapacity = need + PAGE_SLACK;
            cachePage = (uint8_t*)safeMalloc(cachePageCapacity);
        }
        cachePageId = -2;
        ssize_t got = pread(fileno(cacheFP), cachePage, need, (off_t)from);
        if (got != need) die("Error:  Unable to read SeqBases cache file.\n");
        cachePageId = section;
        cachePageSize = need;
        // Zeroed slack: a count read at the page's end never sees old bytes.
        memset(cachePage + need, 0, cachePageCapacity - need);
    }
    int offset = 0;
    uint32_t len = 0;
    for (int i = 0; i <= seqId % SECTION_SIZE; i++) {
        if (i > 0) offset += recordBytes(len);
        ASSERT(offset < cachePageSize);
        len = getuint32(cachePage + offset);
        ASSERT(len < 4000);
    }
    int bytes = recordBytes(len);
    ASSERT(offset + bytes <= cachePageSize);
    uint8_t* buf = _getBuffer(seqId, (int)len, bytes);
    memcpy(buf, cachePage + offset, bytes);
    return buf;
}

uint8_t* CompressedDNASet::getBuffer(int seqId) {
    if (seqId >= 0 && seqId < (int)chunkIds.size() && chunkIds[seqId] != NO_CHUNK) {
        return chunks[chunkIds[seqId]] + chunkOffsets[seqId];
    }
    if (cacheMode == DISK_READ) return _getBufferFromDisk(seqId);
    return nullptr;
}

bool CompressedDNASet::hasSequence(int seqId) {
    ASSERT(cacheMode != DISK_WRITE);
    return getBuffer(seqId) != nullptr;
}

int CompressedDNASet::length(int seqId) {
    ASSERT(cacheMode != DISK_WRITE);
    uint8_t* buf = getBuffer(seqId);
    return buf ? (int)getuint32(buf) : 0;
}

void CompressedDNASet::getSequence(int seqId, stringbuffer& buffer, int start, int len) {
    ASSERT(cacheMode != DISK_WRITE);
    ASSERT(start >= 0 && start + len - 1 < length(seqId));
    if (len <= 0) return;
    const uint8_t* data = getBuffer(seqId) + 4;
    int oldLength = buffer.length();
    buffer._expand(oldLength + len);
    char* out = buffer.text() + oldLength;
    int pos = start, end = start + len;
    if (pos & 1) *out++ = bits2char[data[pos++ >> 1]][1];
    for (; pos + 2 <= end; pos += 2, out += 2) memcpy(out, bits2char[data[pos >> 1]], 2);
    if (pos < end) *out++ = bits2char[data[pos >> 1]][0];
    buffer.length() = oldLength + len;
    buffer.text()[oldLength + len] = 0;
}

void CompressedDNASet::getScores(int seqId, std::vector<uint8_t>& list, int start, int len) {
    ASSERT(cacheMode != DISK_WRITE);
    ASSERT(start >= 0 && start + len - 1 < length(seqId));
    if (len <= 0) return;
    const uint8_t* data = getBuffer(seqId) + 4;
    for (int pos = start; pos < start + len; pos++) {
        list.push_back(bits2score[data[pos >> 1]][pos & 1]);
    }
}
