// Fuzz target of the paired-end libraries file .PairMetadata: the input is the
// file, read into a library set that is then asked about pairs and written out.
#include <string>

#include "FuzzSupport.h"
#include "PairedEndInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string path = dir + "/.PairMetadata";
    fuzzWriteFile(path, data, size);
    PairedEndInfo* info = new PairedEndInfo();
    try {
        info->readMetadata(path);
        for (int id = 0; id < 16; id++) info->getPairOtherId(id);
        info->writeMetadata(dir + "/.PairMetadata.out");
    } catch (const FuzzExit&) {
    }
    delete info;
    fuzzCloseNewFds();
    return 0;
}
