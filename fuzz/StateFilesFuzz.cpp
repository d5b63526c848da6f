// Fuzz target of the store's state files: the input is .SeqFileMetadata, then the
// marker line, then .SeqCacheMetadata, loaded into a store of a real project
// (one SFF file linked from sff/, one FASTA file) whose reads are then fetched,
// and which is written out and loaded again.
// "$RUNS" in the file list stands for the directory of the project's read files,
// so that inputs name them wherever the scratch directory lies.
#include <string>

#include "Context.h"
#include "FuzzSupport.h"
#include "InputFile.h"
#include "ProjectBuilder.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "Sequence.h"
#include "SffWriter.h"

namespace {

// Separates the two files in an input.
const char* MARKER = "\n=====\n";
// Reads fetched from one input at most.
const int MAX_READS = 32;

// The project every input is loaded into, made once.
Context* fixture(const std::string& dir) {
    static Context* context = nullptr;
    if (context != nullptr) return context;
    fuzzMakeDir(dir + "/runs");
    SffWriter sff(8);
    sff.add("r1", "TACG");
    sff.add("r2", "TTAC", 2, 3);
    sff.add("r3", "ACGTAC");
    sff.write(dir + "/runs/a.sff");
    const std::string fasta = ">f1 one\nACGT\n>f2\nGGCA\n";
    fuzzWriteFile(dir + "/runs/b.fna", (const uint8_t*)fasta.data(), fasta.size());
    ProjectBuilder builder(dir + "/project");
    builder.addSffFile(dir + "/runs/a.sff");
    builder.addFastaFile(dir + "/runs/b.fna");
    builder.write();
    context = new Context(dir + "/project", "mapping", true, false, false);
    // Inputs are small: let every one of 64 records or more be checked by two walks.
    SeqCache::parallelCheckBytes = 0;
    fuzzKeepOpenFds();
    return context;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    Context* context = fixture(dir);
    std::string fileList, readList;
    fuzzSplit(data, size, MARKER, fileList, readList);
    const std::string runs = dir + "/runs";
    for (size_t at = fileList.find("$RUNS"); at != std::string::npos;
         at = fileList.find("$RUNS", at + runs.size()))
        fileList.replace(at, 5, runs);
    fuzzWriteFile(context->seqFileMetadataPath, (const uint8_t*)fileList.data(), fileList.size());
    fuzzWriteFile(context->seqCacheMetadataPath, (const uint8_t*)readList.data(), readList.size());
    SeqFile::lastFilename[0] = 0;
    SeqFile::lastSize = 0;
    InputFile::poolIds.clear();
    InputFile::poolNames.clear();

    SeqCache* cache = nullptr;
    try {
        cache = new SeqCache(context, false);
        cache->readMetadata(context->seqFileMetadataPath, context->seqCacheMetadataPath,
                            context->sffDirectory, context->declaredRefCount, true);
        int n = cache->getNumReads();
        for (int id = 0; id < n && id < MAX_READS; id++) {
            cache->getAccno(id);
            cache->getPairOtherId(id);
            Sequence* seq = cache->getSequence(id, true, true, true, true);
            if (seq != nullptr) cache->releaseSequence(id);
        }
        cache->getNumBases();
        cache->getMaxSeqLength();
        // What was read is written out and must load again.
        std::string fileCopy = dir + "/copy.SeqFileMetadata";
        std::string readCopy = dir + "/copy.SeqCacheMetadata";
        cache->writeSeqFileMetadata(fileCopy);
        cache->writeSeqCacheMetadata(readCopy);
        SeqCache* again = new SeqCache(context, false);
        try {
            again->readMetadata(fileCopy, readCopy, context->sffDirectory,
                                context->declaredRefCount, true);
        } catch (const FuzzExit&) {
        }
        delete again;
    } catch (const FuzzExit&) {
    }
    // The store goes with its files, tables and buffers, so that inputs don't pile up memory.
    delete cache;
    fuzzCloseNewFds();
    return 0;
}
