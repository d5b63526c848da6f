// Fuzz target of the command-line parser: the first byte picks the command the
// parser runs as, the rest splits at NUL bytes into the arguments.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "OptionParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzSetUp();
    if (size == 0) return 0;
    std::string command = COMMAND_CATALOGUE[data[0] % COMMAND_CATALOGUE_SIZE].name;
    std::vector<std::string> args{command};
    std::string rest((const char*)data + 1, size - 1);
    size_t from = 0;
    while (from <= rest.size() && !rest.empty()) {
        size_t nul = rest.find('\0', from);
        if (nul == std::string::npos) nul = rest.size();
        args.push_back(rest.substr(from, nul - from));
        from = nul + 1;
    }
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    try {
        OptionParser parser((int)args.size(), argv.data(), "/opt/suite/bin/" + command);
        int index = parser.parse();
        // The questions the command driver asks of the parser.
        parser.hasOption("p");
        parser.hasOption("np");
        parser.hasOption("relink");
        parser.getStrValues("verbose");
        if (index < 1 || index > (int)args.size()) __builtin_trap();
        for (const std::string& name : parser.getOptionNames()) {
            parser.getIntValues(name);
            parser.getDblVal(name);
            parser.useOptionValue(name);
        }
        parser.checkValidOptions(true);
        parser.checkValidOptions(false);
    } catch (const FuzzExit&) {
    }
    fuzzCloseNewFds();
    return 0;
}
