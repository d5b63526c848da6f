// Fuzz target of the FASTA sniffer that decides whether a new read file is FASTA.
#include <string>

#include "FuzzSupport.h"
#include "ProjectUtil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string path = dir + "/reads.fna";
    fuzzWriteFile(path, data, size);
    try {
        checkFastaFile(path.c_str());
    } catch (const FuzzExit&) {
    }
    fuzzCloseNewFds();
    return 0;
}
