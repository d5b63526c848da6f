// The table-driven command-line parser shared by every command of the suite,
// and the catalogue of options and commands it is built from.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Value rules of one option known to the suite.
class OptionMetadata {
public:
    bool hasValue = false;          // the option takes a value
    bool isInteger = false;         // the value must be a decimal integer
    bool validForMapping = false;   // may be used with a mapping project
    bool validForAssembly = false;  // may be used with an assembly project
    int minValue = 0;               // lower bound, inclusive
    int maxValue = 0;               // upper bound, inclusive; both 0: no range
};

// One row of the option table: an option name with its value rules.
struct OptionCatalogueRow {
    const char* name;
    bool hasValue;
    bool isInteger;
    bool validForMapping;
    bool validForAssembly;
    int minValue;
    int maxValue;
};

// One row of the command table. In usage, every "$NAME" stands for the name the
// command was invoked by; validOptions is a comma-separated list of option names.
struct CommandCatalogueRow {
    const char* name;
    const char* usage;
    const char* validOptions;
};

// The catalogue: every option, every command, the options valid for every
// command, and the groups of options that exclude each other.
extern const OptionCatalogueRow OPTION_CATALOGUE[];
extern const int OPTION_CATALOGUE_SIZE;
extern const CommandCatalogueRow COMMAND_CATALOGUE[];
extern const int COMMAND_CATALOGUE_SIZE;
extern const char* const DEFAULT_OPTIONS[];
extern const int DEFAULT_OPTIONS_SIZE;
extern const char* const EXCLUSIVE_OPTIONS[];
extern const int EXCLUSIVE_OPTIONS_SIZE;

// The command-line parser. It identifies the command it runs as, scans argv
// against the catalogue, and answers questions about the options given.
// Every command-line fault prints its message and the usage text and ends the
// process with status 0.
class OptionParser {
public:
    // strcmp order of option names.
    struct OptionEqualKey {
        bool operator()(const std::string& a, const std::string& b) const {
            return strcmp(a.c_str(), b.c_str()) < 0;
        }
    };

    int argc;
    std::vector<std::string> args;
    std::multimap<std::string, std::string> options;
    std::map<std::string, OptionMetadata, OptionEqualKey> optionsMetadata;
    std::vector<std::string> commandNames;
    std::vector<std::string> validOptions;
    std::vector<std::string> defaultOptions;
    std::vector<std::string> exclusiveOptions;
    std::string commandName;
    std::string commandKey;
    std::string usageText;
    int optionIndex;

    // Stores the arguments and sets up the catalogue for the running command,
    // whose table row is named by the executable behind /proc/self/exe.
    OptionParser(int argc, char** argv);
    // The same, with the executable's path given (the row is taken from it).
    OptionParser(int argc, char** argv, const std::string& executablePath);

    // Scans the arguments; returns the index of the first non-option argument,
    // argc when all are options, or 1 when there are none.
    int parse();
    // True if the option was given; the name must be a known option.
    bool hasOption(std::string option);
    // The first value of the option, or "".
    std::string getStrVal(std::string name);
    // The first value as an int; -2 when it isn't a number.
    int getIntVal(std::string name);
    // The first value as a double; -2 when it isn't a number.
    double getDblVal(std::string name);
    // One value per occurrence of the option, in command-line order.
    std::vector<std::string> getStrValues(std::string name);
    // The same as ints (-2 for a value that isn't a number).
    std::vector<int> getIntValues(std::string name);
    // How often the option was given.
    int getOptionCount(std::string name);
    // How many option occurrences were given in all.
    int getAllOptionsCount();
    // The names of the options given, each once, in name order.
    std::vector<std::string> getOptionNames();
    // All given options with their values, in name order.
    std::vector<std::pair<std::string, std::string>> getNameValuePairs();
    // True if the option takes a value; false for an unknown name.
    bool useOptionValue(std::string name);

    // Prints the usage text on the error stream; with exit, ends with status 0.
    void usage(bool exit);
    // Prints the usage text and the manual pointer on stdout, ends with status 0.
    void printCommandHelp();
    // Prints the command's version and notice on stdout, ends with status 0.
    void printCommandVersion();
    // Prints the given options, sorted by name, framed by two rule lines.
    void printOptionValues();
    // Refuses options that don't suit the project's type (mapping or assembly).
    void checkValidOptions(bool mappingProject);
    // In the read-adding command, "-d" is an option without a value.
    void doReadjoinOptionAdjustment();
    // In the create-and-run commands "-p" takes a value; for assembly, also
    // records where the first "-ref" or "-read" argument stands.
    void doMapgoAsmgoOptionAdjustment(bool isMapping);
    // Hook for a command that must look at all options after parse; no-op here.
    void postProcess();

    // Loads the catalogue and identifies the command from the executable's
    // path and argv[0]; an unknown command name ends the process with usage.
    void setOptionsMetadata(const std::string& executablePath);
    // Handles "-version" and "-help"; false for any other name.
    bool parseDefaultOptions(std::string name);
    // Refuses options that aren't valid for this command.
    void validateOptions();
    // Refuses more than one option of any exclusive group.
    void checkMutuallyExlusiveOptions();
    // Reads options from an option file; bad lines are warned about and dropped.
    // Returns how many options were added.
    int parseOptionsConfigFile(std::string path);
};
