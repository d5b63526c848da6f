// Fuzz target of the option file that the engine command reads for "-optcfg":
// the input is the file, parsed by a parser set up as that command.
#include <string>

#include "FuzzSupport.h"
#include "OptionParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string path = dir + "/options.cfg";
    fuzzWriteFile(path, data, size);
    char arg0[] = "quillon";
    char* argv[] = {arg0, nullptr};
    try {
        OptionParser parser(1, argv, "/opt/suite/bin/quillon");
        parser.parseOptionsConfigFile(path);
        for (const std::string& name : parser.getOptionNames()) {
            parser.getIntValues(name);
            parser.getDblVal(name);
        }
        parser.validateOptions();
        parser.checkMutuallyExlusiveOptions();
        parser.checkValidOptions(true);
        parser.checkValidOptions(false);
    } catch (const FuzzExit&) {
    }
    fuzzCloseNewFds();
    return 0;
}
