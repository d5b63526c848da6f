// SeqCache: per-read records, read names, and the bounded cache of Sequence
// objects that serves every consumer of reads. The state files are in
// SeqCacheMetadata.cpp.
#include "SeqCache.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "CompressedDNASet.h"
#include "Context.h"
#include "InputFile.h"
#include "PairedEndInfo.h"
#include "SeqFile.h"
#include "SeqUtil.h"
#include "Sequence.h"
#include "StringSet.h"
#include "Util.h"
#include "stringbuffer.h"

namespace {

const int LONG_RECORD_LENGTH = 30001;
const int MISS_WARN_LIMIT = 10;

// Per-thread text for built names.
thread_local std::string accnoBuffer;

}  // namespace

void SeqCacheMetadata::setClipPoint(int clipPt) {
    ASSERT(clipPt < 1 << (24 - NUMFILEINDEXBITS));
    ASSERT(clipPt >= 0);
    clipWord = (clipWord & 0x3FFFFu) | ((uint32_t)clipPt << 18);
}

SeqCache::SeqCache(Context* context, bool keepAll) : context(context), keepAll(keepAll) {
    maxNodes = keepAll ? -1 : 30000;
    minReadLength = context ? context->minimumReadLength : 30;
    pairInfo = new PairedEndInfo();
    CompressedDNASet::initCompressedDNASet();
    seqBases = new CompressedDNASet();
    accnos = new StringSet();
    baseBuffer.resize(10000);
    scoreBuffer.resize(10000);
    flowBuffer.resize(10000);
    flowIndexBuffer.resize(10000);
}

SeqCache::~SeqCache() {
    for (SeqCacheNode* node : theCache) {
        if (!node) continue;
        delete node->seq;
        delete node;
    }
    for (SeqCacheNode* node : newOutputSeqList) {
        delete node->seq;
        delete node;
    }
    while (freeNodes) {
        SeqCacheNode* next = freeNodes->next;
        delete freeNodes->seq;
        delete freeNodes;
        freeNodes = next;
    }
    delete pendingRecords;
    for (SeqFile* f : sfmList) delete f;
    delete pairInfo;
    delete seqBases;
    delete accnos;
}

// ---------------------------------------------------------------------------
// Records and names

int SeqCache::addRead(int fileIndex, uint64_t fileOffset, uint32_t fileByteSize,
                      uint64_t qualOffset, uint32_t qualByteSize, int length, int clipPoint,
                      int flags, const char* accno) {
    ASSERT(fileIndex >= 0 && fileIndex < (int)sfmList.size());
    int seqId = (int)scmList.size();
    SeqFile* f = sfmList[fileIndex];
    if (f->getNumSeqs() == 0) f->firstSeqId = seqId;
    SeqCacheMetadata rec;
    rec.fileIndex = (uint32_t)fileIndex;
    rec.length = (uint32_t)length;
    rec.setClipPoint(clipPoint);
    rec.setFlags(flags);
    scmList.push_back(rec);
    byteList.push_back(0);
    f->addFileOffset(fileOffset);
    f->addFileByteSize(fileByteSize);
    if (f->hasQualFile()) {
        f->addQualOffset(qualOffset);
        f->addQualByteSize(qualByteSize);
    }
    if (accno && *accno) setAccno(seqId, accno, (int)strlen(accno));
    if (flags & SCM_COUNTED) numFlaggedReads++;
    totalReads = (int)scmList.size();
    return seqId;
}

void SeqCache::setAccno(int seqId, const char* name, int len) {
    SeqFile* f = nullptr;
    if (seqId < (int)scmList.size() && scmList[seqId].fileIndex < sfmList.size())
        f = sfmList[scmList[seqId].fileIndex];
    const std::string* prefix = f && f->inputFile ? &f->inputFile->accnoPrefix : nullptr;
    if (prefix && !prefix->empty() && len >= (int)prefix->size() &&
        memcmp(name, prefix->data(), prefix->size()) == 0)
        accnos->put(seqId, name + prefix->size(), len - (int)prefix->size(), true);
    else
        accnos->put(seqId, name, len, false);
}

const char* SeqCache::getAccno(int seqId) {
    const char* stored = seqId >= 0 && seqId < accnos->size() ? accnos->get(seqId) : nullptr;
    if (!stored) return _getAccno(seqId);
    const char* name = stored;
    if (stored[0] == 1) {
        // A marked name: the file's prefix was taken off when it was stored.
        SeqFile* f = getSeqFile(seqId);
        accnoBuffer = f->inputFile ? f->inputFile->accnoPrefix : std::string();
        accnoBuffer += stored + 1;
        name = accnoBuffer.c_str();
    }
    if (seqId < (int)scmList.size() && scmList[seqId].hasFlag(SCM_REFERENCE) &&
        !renameTable.empty()) {
        auto it = renameTable.find(name);
        if (it != renameTable.end()) return it->second.newName.c_str();
    }
    return name;
}

const char* SeqCache::_getAccno(int seqId) {
    char text[100];
    int flags = seqId >= 0 && seqId < (int)scmList.size() ? scmList[seqId].getFlags() : 0;
    if ((flags & SCM_TEMPLATE_PAIR) && (flags & (SCM_LEFT_HALF | SCM_RIGHT_HALF)))
        snprintf(text, sizeof text, "SID%d_%s_SID%d", seqId,
                 (flags & SCM_LEFT_HALF) ? "left" : "right", getPairOtherId(seqId));
    else if (flags & SCM_LEFT_HALF)
        snprintf(text, sizeof text, "SID%d_left", seqId);
    else if (flags & SCM_RIGHT_HALF)
        snprintf(text, sizeof text, "SID%d_right", seqId - 1);
    else
        snprintf(text, sizeof text, "SID%d", seqId);
    accnoBuffer = text;
    return accnoBuffer.c_str();
}

int SeqCache::getPairOtherId(int seqId) {
    int flags = scmList[seqId].getFlags();
    if (!(flags & (SCM_LEFT_HALF | SCM_RIGHT_HALF))) return -2;
    if (flags & SCM_TEMPLATE_PAIR) return pairInfo->getPairOtherId(seqId);
    return (flags & SCM_LEFT_HALF) ? seqId + 1 : seqId - 1;
}

void SeqCache::resetFlags() {
    const uint32_t clear =
        ~(uint32_t)(SCM_WORK_FLAG_4 | SCM_WORK_FLAG_8 | SCM_COUNTED | SCM_WORK_FLAG_128);
    size_t n = scmList.size();
    for (size_t seqId = 0; seqId < n; seqId++) scmList[seqId].clipWord &= clear;
    numFlaggedReads = 0;
}

uint64_t SeqCache::getNumBases() const {
    uint64_t n = 0;
    for (SeqFile* f : sfmList)
        if (f->numPairs == 0) n += f->numBases;
    return n;
}

int SeqCache::getNumFullReads() const {
    int n = 0;
    for (SeqFile* f : sfmList)
        if (f->numPairs == 0) n += f->numReads;
    return n;
}

int SeqCache::getNumPairs() const {
    int n = 0;
    for (SeqFile* f : sfmList) n += f->numPairs;
    return n;
}

int SeqCache::getMaxSeqLength() const {
    int n = 0;
    for (SeqFile* f : sfmList) n = std::max(n, f->maxSeqLength);
    return n;
}

int SeqCache::getNumTrimmed() const {
    int n = 0;
    for (SeqFile* f : sfmList) n += f->numLongReads;
    return n;
}

uint64_t SeqCache::getNumRefSeqBases() const {
    uint64_t n = 0;
    for (SeqFile* f : sfmList)
        if (f->inputFile && f->inputFile->isRefSeq()) n += f->numBases;
    return n;
}

void SeqCache::setUseShortReads() {
    bool noted = false, shortPairHalf = false;
    int n = (int)scmList.size();
    for (int seqId = 0; seqId < n; seqId++) {
        const SeqCacheMetadata& rec = scmList[seqId];
        if ((int)rec.length >= shortReadLength) continue;
        noted = true;
        if (!(rec.getFlags() & (SCM_LEFT_HALF | SCM_RIGHT_HALF))) continue;
        SeqFile* f = sfmList[rec.fileIndex];
        if (f->isSFFFile() || (f->inputFile && f->inputFile->fastqAccnoType == 1)) {
            shortPairHalf = true;
            break;
        }
    }
    // The project carries no short-read switch of its own; short pair halves decide.
    useShortReads = noted && shortPairHalf;
}

// ---------------------------------------------------------------------------
// The node pool and the LRU list

void SeqCache::unlinkNode(SeqCacheNode* node) {
    if (node->next == node) {
        lruHead = nullptr;
    } else {
        node->prev->next = node->next;
        node->next->prev = node->prev;
        if (lruHead == node) lruHead = node->next;
    }
    node->prev = node->next = nullptr;
}

void SeqCache::linkAtHead(SeqCacheNode* node) {
    if (!lruHead) {
        node->prev = node->next = node;
    } else {
        node->next = lruHead;
        node->prev = lruHead->prev;
        lruHead->prev->next = node;
        lruHead->prev = node;
    }
    lruHead = node;
}

SeqCacheNode* SeqCache::newCacheNode() {
    SeqCacheNode* node = freeNodes;
    if (node) {
        freeNodes = node->next;
    } else {
        node = new SeqCacheNode();
        node->seq = new Sequence();
    }
    node->prev = node->next = nullptr;
    node->refCount = 0;
    return node;
}

void SeqCache::newCacheNode(int seqId) {
    if (seqId >= (int)theCache.size()) theCache.resize(seqId + 1, nullptr);
    if (theCache[seqId]) return;
    SeqCacheNode* node;
    if (freeNodes || deleteWhenFree || maxNodes == -1 || numNodes < maxNodes || !lruHead) {
        node = newCacheNode();
    } else {
        SeqCacheNode* oldest = lruHead->prev;
        if (oldest->refCount == 0) {
            // Reuse the least recently used node.
            unlinkNode(oldest);
            int oldId = oldest->seq->id;
            if (oldId >= 0 && oldId < (int)theCache.size() && theCache[oldId] == oldest)
                theCache[oldId] = nullptr;
            numNodes--;
            node = oldest;
            node->refCount = 0;
        } else {
            // Pinned: go past the budget rather than evict a read in use.
            node = newCacheNode();
        }
    }
    node->seq->clear();
    node->seq->id = seqId;
    theCache[seqId] = node;
    if (!deleteWhenFree) linkAtHead(node);
    numNodes++;
}

void SeqCache::deleteCacheNode(int seqId) {
    if (seqId < 0 || seqId >= (int)theCache.size() || !theCache[seqId]) return;
    SeqCacheNode* node = theCache[seqId];
    if (!deleteWhenFree && node->next) unlinkNode(node);
    theCache[seqId] = nullptr;
    node->refCount = 0;
    node->next = freeNodes;
    freeNodes = node;
    numNodes--;
}

void SeqCache::touchSequence(int seqId) {
    if (keepAll || useOutputSeqList || deleteWhenFree) return;
    SeqCacheNode* node = theCache[seqId];
    if (!node || lruHead == node) return;
    unlinkNode(node);
    linkAtHead(node);
}

void SeqCache::releaseSequence(int seqId) {
    if (keepAll) return;
    if (seqId < 0 || seqId >= (int)theCache.size()) return;
    SeqCacheNode* node = theCache[seqId];
    if (!node) return;
    if (node->refCount > 0) node->refCount--;
    if (node->refCount == 0 && deleteWhenFree) deleteCacheNode(seqId);
}

void SeqCache::releaseSequences(const std::vector<int>& seqIds) {
    for (int seqId : seqIds) releaseSequence(seqId);
}

// ---------------------------------------------------------------------------
// Fetching reads

void SeqCache::setClipPoints(Sequence* seq, int seqId) {
    SeqCacheMetadata& rec = scmList[seqId];
    if (rec.length >= (uint32_t)LONG_RECORD_LENGTH) return;
    if (rec.getClipPoint() == 0) {
        // Not set yet: learn the used part from the object.
        rec.setClipPoint(seq->clipLeft + 1);
        rec.length = (uint32_t)seq->length;
        return;
    }
    int n = seq->bases.length();
    int64_t left = rec.getClipPoint();
    int64_t right = left + (int64_t)rec.length - 1;
    if (left < 1 || right > n || right < left) left = right = 1;
    seq->clipLeft = (int)left - 1;
    seq->clipRight = (int)right - 1;
    seq->length = (int)(right - left + 1);
}

void SeqCache::fillFromFile(int seqId, SeqCacheNode* node, bool needBases, bool needScores,
                            bool needFlows) {
    SeqCacheMetadata& rec = scmList[seqId];
    SeqFile* f = sfmList[rec.fileIndex];
    Sequence* seq = node->seq;
    f->doFileReadAdvise(seqId, true);
    seq->clear();
    int clipPoint = rec.getClipPoint();
    bool applyTrim = context && context->isAssembly() && clipPoint == 0;
    f->readSequence(seq, seqId, (int)rec.length, clipPoint, rec.hasFlag(SCM_LEFT_HALF),
                    rec.hasFlag(SCM_RIGHT_HALF), needBases, needScores, needFlows, applyTrim);
    f->doFileReadAdvise(seqId, false);
    if (clipPoint != rec.getClipPoint()) rec.setClipPoint(clipPoint);
    seq->id = seqId;
    seq->inputFile = f->inputFile;
    if (needBases) setClipPoints(seq, seqId);
}

Sequence* SeqCache::getSequence(int seqId, bool needBases, bool needScores, bool needFlows,
                                bool pin) {
    ASSERT(seqId >= 0 && seqId < (int)scmList.size());
    SeqCacheMetadata& rec = scmList[seqId];
    if (keepAll && !rec.hasFlag(SCM_REFERENCE)) needBases = needScores = needFlows = true;
    if (!needBases && !needScores && !needFlows) return nullptr;

    if (useOutputSeqList && !resettingOutputSeqList) {
        if (seqId < (int)theCache.size() && theCache[seqId] != nullptr) {
            ASSERT(!resettingOutputSeqList && theCache[seqId] != __null);
            ASSERT(theCache[seqId]->seq->id == seqId);
            if (pin) theCache[seqId]->refCount++;
            return theCache[seqId]->seq;
        }
        numCacheMisses++;
        if (numCacheMisses < MISS_WARN_LIMIT)
            warn(
                "        Warning:  Requested sequence is not in the cache. Fetching it from the "
                "file system...\n");
        else if (numCacheMisses == MISS_WARN_LIMIT)
            warn(
                "        Warning:  Input contains many reads which are not in the cache. The "
                "file I/O might slow down the computation\n");
    }

    if (seqId >= (int)theCache.size()) theCache.resize(seqId + 1, nullptr);
    SeqCacheNode* node = theCache[seqId];
    bool missing = true;
    if (node && node->seq->id == seqId) {
        Sequence* seq = node->seq;
        SeqFile* f = sfmList[rec.fileIndex];
        bool basesMissing = needBases && seq->length == 0;
        bool scoresMissing =
            needScores && f->inputFile && f->hasQual() && seq->numQualityScores == 0;
        bool flowsMissing = needFlows && f->isSFFFile() && seq->flowgram.empty();
        missing = basesMissing || scoresMissing || flowsMissing;
    }
    if (missing) {
        if (!node) {
            newCacheNode(seqId);
            node = theCache[seqId];
        }
        fillFromFile(seqId, node, needBases, needScores, needFlows);
    }
    ASSERT(theCache[seqId]->seq->id == seqId);
    touchSequence(seqId);
    if (pin) node->refCount++;

    Sequence* seq = node->seq;
    if (rec.hasFlag(SCM_REFERENCE) && !renameTable.empty()) {
        auto it = renameTable.find(seq->accno.c_str());
        if (it != renameTable.end()) {
            SeqAnnot annot;
            if (seq->seqAnnot) annot = *seq->seqAnnot;
            annot.description = it->second.annotation;
            if (!it->second.library.empty()) annot.library = it->second.library;
            seq->setSeqAnnot(annot);
            seq->accno.clear();
            seq->accno.append(it->second.newName.c_str());
        }
    }
    return seq;
}

void SeqCache::getUntrimmedSequence(int seqId, stringbuffer& buffer) {
    Sequence* seq = getSequence(seqId, true, false, false, false);
    if (!seq || seq->bases.length() == 0) return;
    seq->bases.getSequence(buffer, 0, seq->bases.length());
}

void SeqCache::resetSeqClipToRaw(int seqId) {
    Sequence* seq = getSequence(seqId, true, false, false, true);
    int n = seq ? seq->bases.length() : 0;
    SeqCacheMetadata& rec = scmList[seqId];
    if (n > 0) {
        rec.setClipPoint(1);
        rec.length = (uint32_t)n;
        seq->clipLeft = 0;
        seq->clipRight = n - 1;
        seq->length = n;
    }
    releaseSequence(seqId);
}

void SeqCache::resetTrimmedSeq(int seqId, const char* bases, const uint8_t* scores, int start,
                               int end) {
    ASSERT(start >= 1 && start <= end);
    SeqCacheMetadata& rec = scmList[seqId];
    rec.setClipPoint(start);
    rec.length = (uint32_t)(end - start + 1);
    if (isSeqInCache(seqId) && theCache[seqId]->seq->bases.length() > 0)
        setClipPoints(theCache[seqId]->seq, seqId);
    if (bases && seqBases->hasSequence(seqId))
        seqBases->setSequence(seqId, end - start + 1, bases + start - 1,
                              scores ? scores + start - 1 : nullptr);
}

// ---------------------------------------------------------------------------
// Disk advice

void SeqCache::setFileReadMode(bool on) {
    for (SeqFile* f : sfmList) f->setFileReadMode(on);
}

void SeqCache::doFileReadAdvise(int seqId, bool on) {
    getSeqFile(seqId)->doFileReadAdvise(seqId, on);
}

void SeqCache::adviseFillFromDisk(const std::vector<int>& seqIds) {
    for (int seqId : pendingAdvice) doFileReadAdvise(seqId, false);
    pendingAdvice = seqIds;
    for (int seqId : pendingAdvice) doFileReadAdvise(seqId, true);
}

void SeqCache::closeSeqFiles() {
    for (SeqFile* f : sfmList) f->closeFile();
}

// ---------------------------------------------------------------------------
// Output lists

void SeqCache::resetOutputSeqList(bool useList) {
    if (keepAll) return;
    theCache.resize(scmList.size(), nullptr);
    for (SeqCacheNode*& node : theCache) {
        if (!node) continue;
        node->prev = nullptr;
        node->refCount = 0;
        node->next = freeNodes;
        freeNodes = node;
        node = nullptr;
    }
    lruHead = nullptr;
    numNodes = 0;
    useOutputSeqList = resettingOutputSeqList = useList;
}

void SeqCache::addToOutputSeqList(int seqId) {
    ASSERT(useOutputSeqList && resettingOutputSeqList);
    if (seqId >= (int)theCache.size()) theCache.resize(seqId + 1, nullptr);
    if (theCache[seqId]) return;
    SeqCacheNode* node = newCacheNode();
    node->seq->clear();
    node->seq->id = seqId;
    theCache[seqId] = node;
    linkAtHead(node);
    numNodes++;
}

void SeqCache::readOutputSeqList(bool needBases, bool needScores, bool needFlows, bool fromFiles) {
    int n = (int)theCache.size();
    if (!fromFiles) {
        stringbuffer bases(1000);
        std::vector<uint8_t> scores;
        for (int seqId = 0; seqId < n; seqId++) {
            SeqCacheNode* node = theCache[seqId];
            if (!node) continue;
            Sequence* seq = node->seq;
            seq->clear();
            seq->id = seqId;
            seq->inputFile = getSeqFile(seqId)->inputFile;
            seq->accno.append(getAccno(seqId));
            if (scmList[seqId].hasFlag(SCM_REFERENCE)) continue;
            int len = seqBases->length(seqId);
            if (len <= 0) continue;
            bases.clear();
            seqBases->getSequence(seqId, bases, 0, len);
            seq->setSequence(len, bases.c_str());
            scores.clear();
            seqBases->getScores(seqId, scores, 0, len);
            seq->setQualityScores(len, scores.data());
            seq->clipLeft = 0;
            seq->clipRight = len - 1;
            seq->length = len;
        }
        resettingOutputSeqList = false;
        return;
    }
    ASSERT(useOutputSeqList && resettingOutputSeqList);
    setFileReadMode(true);
    for (int seqId = 0; seqId < n; seqId++) {
        SeqCacheNode* node = theCache[seqId];
        if (!node) continue;
        ASSERT(isSeqInCache(seqId));
        fillFromFile(seqId, node, needBases, needScores, needFlows);
    }
    resettingOutputSeqList = false;
}

void SeqCache::newSetOutputSeqList() {
    ASSERT(newOutputSeqList.size() > 0);
    resetOutputSeqList(true);
    for (size_t idx = 0; idx < newOutputSeqList.size(); idx++) {
        SeqCacheNode* node = newOutputSeqList[idx];
        int seqId = node->seq->id;
        if (seqId >= (int)theCache.size()) theCache.resize(seqId + 1, nullptr);
        if (theCache[seqId] != nullptr) {
            warn("Seq %d has non-NULL cache:  idx=%d\n", seqId, (int)idx);
            for (size_t j = 0; j < idx; j++)
                if (newOutputSeqList[j]->seq->id == seqId)
                    warn("   Seq %d found at idx=%d\n", seqId, (int)j);
        }
        ASSERT(theCache[seqId] == __null);
        theCache[seqId] = node;
        linkAtHead(node);
        numNodes++;
    }
    newOutputSeqList.clear();
    resettingOutputSeqList = false;
}

// Reads the raw entries of the listed reads, stored back to back in a serial
// file, into the given nodes.
static void readSerialEntries(SeqCache* cache, const std::string& path,
                              const std::vector<int>& seqIds,
                              const std::vector<SeqCacheNode*>& nodes) {
    FILE* fp = fopen(path.c_str(), "rb");
    if (!fp) {
        die("Error: could not open %s\n", path.c_str());
        return;
    }
    std::vector<char> buffer;
    for (size_t x = 0; x < seqIds.size(); x++) {
        int seqId = seqIds[x];
        SeqCacheMetadata& rec = cache->scmList[seqId];
        SeqFile* f = cache->getSeqFile(seqId);
        size_t size, qualSize = 0;
        if (rec.hasFlag(SCM_REFERENCE)) {
            size = 100;
        } else {
            size = f->getFileByteSize(seqId);
            if (f->isFastaFile()) qualSize = f->getQualByteSize(seqId);
        }
        size_t need = size + qualSize;
        if (buffer.size() < need + 1) buffer.resize(need + 100000);
        if (fread(buffer.data(), 1, need, fp) != need) {
            fclose(fp);
            die("Error:  Unable to read from SIO temporary file.\n");
            return;
        }
        buffer[need] = 0;
        if (rec.hasFlag(SCM_REFERENCE)) continue;
        Sequence* seq = nodes[x]->seq;
        seq->clear();
        int clipPoint = rec.getClipPoint();
        f->readSequence(seq, f->getFileByteOffset(seqId), (uint32_t)size,
                        f->hasQualFile() ? f->getQualByteOffset(seqId) : 0, (uint32_t)qualSize,
                        (int)rec.length, clipPoint, rec.hasFlag(SCM_LEFT_HALF),
                        rec.hasFlag(SCM_RIGHT_HALF), true, true, false, false, false, buffer.data(),
                        true);
        seq->id = seqId;
        seq->inputFile = f->inputFile;
        cache->setClipPoints(seq, seqId);
    }
    fclose(fp);
}

void SeqCache::newReadOutputSeqList(const std::vector<int>& seqIds, const std::string& path) {
    ASSERT(newOutputSeqList.size() == 0);
    for (int seqId : seqIds) {
        SeqCacheNode* node = newCacheNode();
        node->seq->clear();
        node->seq->id = seqId;
        newOutputSeqList.push_back(node);
    }
    if (!path.empty()) {
        readSerialEntries(this, path, seqIds, newOutputSeqList);
    } else {
        for (size_t x = 0; x < seqIds.size(); x++)
            fillFromFile(seqIds[x], newOutputSeqList[x], true, true, false);
    }
    ASSERT(newOutputSeqList.size() == seqIds.size());
    for (size_t x = 0; x < seqIds.size(); x++) ASSERT(newOutputSeqList[x]->seq->id == seqIds[x]);
}

void SeqCache::addToSequentialOutputList(int seqId, int iteration) {
    if (iteration >= (int)sequentialList.size()) sequentialList.resize(iteration + 1);
    sequentialList[iteration].push_back(seqId);
}

void SeqCache::readOutputSeqListSequential(int iteration) {
    if (iteration >= (int)sequentialList.size()) return;
    resetOutputSeqList(true);
    for (int seqId : sequentialList[iteration]) addToOutputSeqList(seqId);
    readOutputSeqList(true, true, false, true);
}

void SeqCache::readOutputSeqListSequential(int iteration, const std::string& path,
                                           const std::vector<int>& seqIds) {
    (void)iteration;
    resetOutputSeqList(true);
    for (int seqId : seqIds) addToOutputSeqList(seqId);
    std::vector<SeqCacheNode*> nodes;
    for (int seqId : seqIds) nodes.push_back(theCache[seqId]);
    readSerialEntries(this, path, seqIds, nodes);
    resettingOutputSeqList = false;
}

void SeqCache::printSequentialIdList() {
    std::string path = context->subDirectory + "/seqIdList";
    FILE* fp = fopen(path.c_str(), "w");
    if (!fp) {
        die("Error:  Unable to open file:  %s\n", path.c_str());
        return;
    }
    for (size_t i = 0; i < sequentialList.size(); i++) {
        fprintf(fp, "Iteration %d\n", (int)i);
        for (int seqId : sequentialList[i]) fprintf(fp, "\t%d\n", seqId);
    }
    fclose(fp);
}

// ---------------------------------------------------------------------------
// Bulk load into the packed set

namespace {

const uint64_t JOB_BYTES = 100000;

// Cuts the used part out of a raw read; a left pair half counts its clip point
// in the reverse-complemented read, so it is flipped first.
void storeUsedPart(CompressedDNASet* set, int seqId, const SeqCacheMetadata& rec,
                   stringbuffer& bases, stringbuffer& scores) {
    int n = bases.length();
    if (rec.hasFlag(SCM_LEFT_HALF)) {
        SeqUtil::revcomplement(bases);
        std::reverse(scores.text(), scores.text() + scores.length());
    }
    int64_t left = rec.getClipPoint() > 0 ? rec.getClipPoint() : 1;
    int64_t len = rec.getClipPoint() > 0 ? (int64_t)rec.length : n;
    if (left + len - 1 > n || len < 1) {
        left = 1;
        len = 1;
    }
    const uint8_t* q = scores.length() >= n ? (const uint8_t*)scores.text() + left - 1 : nullptr;
    set->setSequence(seqId, (int)len, bases.text() + left - 1, q);
}

}  // namespace

void SeqCache::readSeqBases(int seqId) {
    if (seqBases->hasSequence(seqId) || scmList[seqId].hasFlag(SCM_REFERENCE)) return;
    SeqFile* f = getSeqFile(seqId);
    SeqBasesJob job;
    job.firstSeqId = seqId;
    job.endSeqId = seqId + 1;
    job.fileIdx = (int)scmList[seqId].fileIndex;
    job.offset = f->getFileByteOffset(seqId);
    job.endOffset = job.offset + f->getFileByteSize(seqId);
    sbJobRead(&job);
    sbJobProcess(&job);
    free(job.buffer);
}

void SeqCache::loadSeqBases() {
    printf("Loading bases and scores into memory...\n");
    std::vector<SeqBasesJob> jobs;
    int n = (int)scmList.size();
    for (int seqId = 0; seqId < n; seqId++) {
        const SeqCacheMetadata& rec = scmList[seqId];
        if (rec.hasFlag(SCM_REFERENCE) || seqBases->hasSequence(seqId)) continue;
        SeqFile* f = sfmList[rec.fileIndex];
        uint64_t offset = f->getFileByteOffset(seqId);
        uint64_t end = offset + f->getFileByteSize(seqId);
        SeqBasesJob* job = jobs.empty() ? nullptr : &jobs.back();
        if (!job || job->fileIdx != (int)rec.fileIndex || job->endSeqId != seqId ||
            end - job->offset > JOB_BYTES) {
            jobs.emplace_back();
            job = &jobs.back();
            job->firstSeqId = seqId;
            job->fileIdx = (int)rec.fileIndex;
            job->offset = offset;
            job->endOffset = end;
        }
        job->endSeqId = seqId + 1;
        job->endOffset = std::max(job->endOffset, end);
    }
    ASSERT(jobs.size() > 0);
    int total = n, done = 0;
    char* buffer = nullptr;
    size_t capacity = 0;
    for (SeqBasesJob& job : jobs) {
        job.buffer = buffer;
        job.capacity = capacity;
        sbJobRead(&job);
        sbJobProcess(&job);
        buffer = job.buffer;
        capacity = job.capacity;
        for (int id = job.firstSeqId; id < job.endSeqId; id++)
            if (++done % 100000 == 0) printf("\r   -> %d of %d", done, total);
    }
    free(buffer);
    printf("\r   -> %d of %d\n", done, total);
}

void SeqCache::sbJobRead(SeqBasesJob* job) {
    SeqFile* f = sfmList[job->fileIdx];
    size_t need = (size_t)(job->endOffset - job->offset);
    if (job->capacity < need) {
        job->capacity = need + 100000;
        job->buffer = (char*)safeRealloc(job->buffer, job->capacity);
    }
    f->openFile();
    ssize_t got =
        f->getFileFP() ? pread(fileno(f->getFileFP()), job->buffer, need, (off_t)job->offset) : -1;
    if (got != (ssize_t)need) die("Error:  Unable to read data file for bases and scores.\n");
}

void SeqCache::sbJobProcess(SeqBasesJob* job) {
    stringbuffer bases(1000), scores(1000);
    for (int seqId = job->firstSeqId; seqId < job->endSeqId; seqId++) {
        const SeqCacheMetadata& rec = scmList[seqId];
        int idx = (int)rec.fileIndex;
        if (rec.hasFlag(SCM_REFERENCE) || seqBases->hasSequence(seqId)) continue;
        SeqFile* f = sfmList[idx];
        uint64_t offset = f->getFileByteOffset(seqId);
        uint64_t size = f->getFileByteSize(seqId);
        ASSERT(job->fileIdx == idx && job->offset <= offset && offset + size <= job->endOffset);
        bases.clear();
        scores.clear();
        f->readBasesAndScores(seqId, job->buffer + (offset - job->offset), (uint32_t)size, bases,
                              scores);
        storeUsedPart(seqBases, seqId, rec, bases, scores);
    }
}

// ---------------------------------------------------------------------------
// Rename table

void SeqCache::buildSeqRenameTable(const std::string& path) {
    FILE* fp = fopen(path.c_str(), "r");
    if (!fp) {
        die("Could not open %s\n", path.c_str());
        return;
    }
    char line[10000];
    std::vector<std::string> parts;
    while (fgets(line, sizeof line, fp)) {
        size_t n = strlen(line);
        while (n > 0 && (line[n - 1] == '\n' || line[n - 1] == '\r')) line[--n] = 0;
        split(line, '\t', parts, false);
        if (parts.size() < 2 || parts[0].empty()) continue;
        SeqRenameEntry& e = renameTable[parts[0]];
        e.newName = parts[1];
        e.library = parts.size() > 2 ? parts[2] : std::string();
    }
    fclose(fp);
}
