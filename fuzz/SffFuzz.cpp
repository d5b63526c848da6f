// Fuzz target of the SFF reader: the input is written as a flowgram file, its
// header is read, and a stand-alone view reads the entries one after another,
// from the file through the shared read cache and from memory, whole reads and
// pair halves alike.
#include <cstring>
#include <string>

#include "ByteUtil.h"
#include "FuzzSupport.h"
#include "InputFile.h"
#include "SeqFile.h"
#include "Sequence.h"

namespace {

// Entries read from one input at most, so that a file of many tiny reads stays quick.
const int MAX_ENTRIES = 64;

// All bases of the read, clipped or not.
std::string rawBases(const Sequence* seq) {
    std::string out;
    for (int i = 0; i < seq->bases.length(); i++) out += seq->bases.at(i);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string path = dir + "/reads.sff";
    fuzzWriteFile(path, data, size);
    // The read cache is keyed by path and offset; each input is a new file under the same path.
    SeqFile::lastFilename[0] = 0;
    SeqFile::lastSize = 0;

    int headerLength = 0;
    std::string flowOrder, key;
    try {
        if (!InputFile::readSFFHeaderInfo(path, headerLength, flowOrder, key) || size < 31) {
            fuzzCloseNewFds();
            return 0;
        }
    } catch (const FuzzExit&) {
        fuzzCloseNewFds();
        return 0;
    }

    uint64_t indexOffset = getuint64(data + 8);
    uint32_t indexLength = getuint32(data + 16);
    uint32_t numReads = getuint32(data + 20);
    int numFlows = getuint16(data + 28);
    uint64_t pos = (uint64_t)headerLength;
    SeqFile* file = new SeqFile(path, nullptr, InputFile::SFF_FILE);
    Sequence* seq = new Sequence();
    for (uint32_t r = 0; r < numReads && r < (uint32_t)MAX_ENTRIES; r++) {
        if (indexOffset != 0 && pos == indexOffset) pos += ((uint64_t)indexLength + 7) / 8 * 8;
        if (pos + 16 > size) break;
        const uint8_t* e = data + pos;
        uint32_t entryHeader = getuint16(e);
        uint32_t numBases = getuint32(e + 4);
        uint64_t entrySize =
            entryHeader + ((uint64_t)numFlows * 2 + 3 * (uint64_t)numBases + 7) / 8 * 8;
        int clipPoint = 1 + getuint16(e + 8) % 8;
        int clipLength = getuint16(e + 10) % 64;
        int mode = (int)(r % 4);
        seq->clear();
        try {
            if (mode == 3) {
                // From memory: the caller holds the bytes of the entry.
                uint64_t avail = size - pos;
                uint32_t bytes = (uint32_t)(entrySize < avail ? entrySize : avail);
                int cp = 0;
                file->readSequence(seq, pos, bytes, 0, 0, 0, cp, false, false, true, true, true,
                                   false, false, (const char*)e, true);
                stringbuffer bases(64), scores(64);
                file->readBasesAndScores(0, (const char*)e, bytes, bases, scores);
            } else {
                // From the file: a known size for whole reads, an unknown one for halves.
                uint32_t bytes = mode == 0 ? (uint32_t)entrySize : 0;
                file->readSequence(seq, pos, bytes, 0, 0, clipLength, clipPoint, mode == 1,
                                   mode == 2, true, true, mode != 2);
                if (mode == 0) {
                    // The same entry decoded from memory must give the same read.
                    std::string name = seq->accno.str(), bases = rawBases(seq);
                    uint64_t avail = size - pos;
                    int cp = 0;
                    seq->clear();
                    file->readSequence(seq, pos, (uint32_t)(entrySize < avail ? entrySize : avail),
                                       0, 0, 0, cp, false, false, true, true, true, false, false,
                                       (const char*)e, true);
                    if (seq->accno.str() != name || rawBases(seq) != bases) __builtin_trap();
                }
            }
        } catch (const FuzzExit&) {
        }
        if (entrySize == 0) break;
        pos += entrySize;
    }
    delete seq;
    delete file;
    fuzzCloseNewFds();
    return 0;
}
