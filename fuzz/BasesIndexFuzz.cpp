// Fuzz target of the packed-bases files read back from disk: the input is
// .SeqBasesIndex, then the marker line, then .SeqBasesMetadata; every record the
// index promises is then fetched, bases and scores.
#include <string>
#include <vector>

#include "CompressedDNASet.h"
#include "FuzzSupport.h"
#include "stringbuffer.h"

namespace {

const char* MARKER = "\n=====\n";
// Records fetched from one input at most.
const int MAX_RECORDS = 64;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    CompressedDNASet::initCompressedDNASet();
    std::string index, records;
    fuzzSplit(data, size, MARKER, index, records);
    fuzzWriteFile(dir + "/.SeqBasesIndex", (const uint8_t*)index.data(), index.size());
    fuzzWriteFile(dir + "/.SeqBasesMetadata", (const uint8_t*)records.data(), records.size());

    CompressedDNASet* set = new CompressedDNASet();
    set->cachePath = dir;
    try {
        set->setCacheMode(CompressedDNASet::DISK_READ);
        // Backwards, so that pages are fetched out of order too.
        int n = set->numCacheSeqs;
        for (int id = n - 1; id >= 0 && id >= n - MAX_RECORDS; id--) {
            if (!set->hasSequence(id)) continue;
            int length = set->length(id);
            stringbuffer bases(64);
            std::vector<uint8_t> scores;
            set->getSequence(id, bases, 0, length);
            set->getScores(id, scores, 0, length);
            if (length > 2) set->getSequence(id, bases, 1, length - 2);
        }
    } catch (const FuzzExit&) {
    }
    delete set;
    fuzzCloseNewFds();
    return 0;
}
