// Fuzz target of the FASTQ sniffer: the first byte picks the file's name (the
// name forms of archive files are told apart by it), the rest is the file.
#include <unistd.h>

#include <string>

#include "FuzzSupport.h"
#include "ProjectUtil.h"

namespace {

const char* const NAMES[] = {"reads.fastq", "SRR123456.fastq", "SRR123456_1.fastq",
                             "SRR123456_2.fastq"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    if (size == 0) return 0;
    std::string path = dir + "/" + NAMES[data[0] % 4];
    fuzzWriteFile(path, data + 1, size - 1);
    try {
        bool illuminaScores = false;
        int accnoType = 0;
        std::string firstName;
        checkFastqFile(path.c_str(), illuminaScores, accnoType, firstName);
    } catch (const FuzzExit&) {
    }
    unlink(path.c_str());
    fuzzCloseNewFds();
    return 0;
}
