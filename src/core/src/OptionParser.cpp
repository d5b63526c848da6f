#include "OptionParser.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "Util.h"
#include "stringbuffer.h"

namespace {

const char* const VERSION_TEXT = "3.0 (20140410_1040)";
const char* const NOTICE_TEXT = "Copyright (c) readfix developers.";

// The last path component of a path ("" for an empty path).
std::string lastComponent(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The first known command name that equals the text or occurs in it, or "".
std::string findCommandName(const std::vector<std::string>& names, const std::string& text) {
    for (const std::string& name : names) {
        if (text.find(name) != std::string::npos) return name;
    }
    return "";
}

// The text with every "$NAME" replaced by name.
std::string fillName(const char* text, const std::string& name) {
    std::string result(text);
    size_t pos = 0;
    while ((pos = result.find("$NAME", pos)) != std::string::npos) {
        result.replace(pos, 5, name);
        pos += name.size();
    }
    return result;
}

// True if sscanf finds a decimal number at the start of the text.
bool scanInt(const std::string& text, int& number) {
    return sscanf(text.c_str(), "%d", &number) == 1;
}

}  // namespace

OptionParser::OptionParser(int argc, char** argv)
    : OptionParser(argc, argv, getThisExecutablePath()) {}

OptionParser::OptionParser(int argc, char** argv, const std::string& executablePath)
    : argc(argc), optionIndex(0) {
    for (int i = 0; i < argc; i++) args.push_back(argv[i] ? argv[i] : "");
    setOptionsMetadata(executablePath);
}

void OptionParser::setOptionsMetadata(const std::string& executablePath) {
    for (int i = 0; i < OPTION_CATALOGUE_SIZE; i++) {
        const OptionCatalogueRow& row = OPTION_CATALOGUE[i];
        OptionMetadata& meta = optionsMetadata[row.name];
        meta.hasValue = row.hasValue;
        meta.isInteger = row.isInteger;
        meta.validForMapping = row.validForMapping;
        meta.validForAssembly = row.validForAssembly;
        meta.minValue = row.minValue;
        meta.maxValue = row.maxValue;
    }
    for (int i = 0; i < DEFAULT_OPTIONS_SIZE; i++) defaultOptions.push_back(DEFAULT_OPTIONS[i]);
    for (int i = 0; i < COMMAND_CATALOGUE_SIZE; i++)
        commandNames.push_back(COMMAND_CATALOGUE[i].name);
    for (int i = 0; i < EXCLUSIVE_OPTIONS_SIZE; i++)
        exclusiveOptions.push_back(EXCLUSIVE_OPTIONS[i]);

    std::string invoked = lastComponent(args.empty() ? std::string() : args[0]);
    commandKey = findCommandName(commandNames, lastComponent(executablePath));
    commandName = findCommandName(commandNames, invoked);
    if (commandName.empty()) {
        char message[20000];
        snprintf(message, sizeof message, "Error:  Unknown command name \"%s\".\n",
                 invoked.c_str());
        usageText = message;
        usage(true);
        return;
    }
    // An executable whose own name names no command (a test harness, a renamed
    // build) takes the row of the name it was invoked by.
    if (commandKey.empty()) commandKey = commandName;

    for (int i = 0; i < COMMAND_CATALOGUE_SIZE; i++) {
        const CommandCatalogueRow& row = COMMAND_CATALOGUE[i];
        if (commandKey != row.name) continue;
        split(row.validOptions, ',', validOptions, true);
        validOptions.erase(std::remove(validOptions.begin(), validOptions.end(), std::string()),
                           validOptions.end());
        usageText = fillName(row.usage, commandName);
        break;
    }
}

int OptionParser::parse() {
    int index = 1;
    if (argc >= 2) {
        for (index = 1; index < argc; index++) {
            const std::string& arg = args[index];
            // An empty argument can be neither an option nor a path.
            if (arg.empty()) {
                warn("Error:  Invalid option: -.\n");
                usage(true);
                return index;
            }
            if (arg[0] != '-') break;
            std::string name = arg.substr(1);
            auto meta = optionsMetadata.find(name);
            if (meta == optionsMetadata.end()) {
                if (parseDefaultOptions(name)) ASSERT(false);
                warn("Error:  Invalid option: -%s.\n", name.c_str());
                usage(true);
                return index;
            }
            std::string value;
            if (meta->second.hasValue) {
                if (index + 1 >= argc || args[index + 1].empty()) {
                    warn("Error:  No value specified after the '-%s' option.\n", name.c_str());
                    usage(true);
                    return index;
                }
                value = args[++index];
                if (value[0] == '-' && optionsMetadata.count(value.substr(1))) {
                    warn(
                        "Error:  '-%s' option's value likely missing, '-%s %s' appears on "
                        "command-line.\n",
                        name.c_str(), name.c_str(), value.c_str());
                    usage(true);
                    return index;
                }
                if (meta->second.isInteger) {
                    int number = 0;
                    if (!scanInt(value, number)) {
                        warn("Error:  Invalid '-%s' option's value: %s (not a number).\n",
                             name.c_str(), value.c_str());
                        usage(true);
                        return index;
                    }
                    int min = meta->second.minValue, max = meta->second.maxValue;
                    if ((min != 0 || max != 0) && (number < min || number > max)) {
                        warn(
                            "Error:  Invalid '-%s' option's value: %d, valid value range is from "
                            "%d to %d.\n",
                            name.c_str(), number, min, max);
                        usage(true);
                        return index;
                    }
                }
            }
            if (name == "optcfg" && commandKey == "quillon") {
                parseOptionsConfigFile(value);
            } else {
                options.insert(std::make_pair(name, value));
            }
        }
    }
    validateOptions();
    checkMutuallyExlusiveOptions();
    return index;
}

bool OptionParser::parseDefaultOptions(std::string name) {
    if (!name.empty() && name[0] == '-') name.erase(0, 1);
    if (std::find(defaultOptions.begin(), defaultOptions.end(), name) == defaultOptions.end()) {
        return false;
    }
    if (name == "version") printCommandVersion();
    if (name == "help") printCommandHelp();
    return false;
}

void OptionParser::validateOptions() {
    std::vector<std::string> invalid;
    for (const auto& option : options) {
        if (std::find(validOptions.begin(), validOptions.end(), option.first) ==
            validOptions.end()) {
            invalid.push_back(option.first);
        }
    }
    if (invalid.empty()) return;
    warn("Error:  Invalid options found: ");
    for (const std::string& name : invalid) warn(" -%s", name.c_str());
    warn(".\n");
    usage(true);
}

void OptionParser::checkMutuallyExlusiveOptions() {
    for (const std::string& group : exclusiveOptions) {
        std::vector<std::string> parts;
        split(group.c_str(), ',', parts, true);
        int num = (int)parts.size();
        ASSERT(num > 1);
        int given = 0;
        for (const std::string& name : parts) {
            if (hasOption(name)) given++;
        }
        if (given <= 1) continue;
        warn("Error:  Options");
        for (int i = 0; i < num; i++) {
            warn(" -%s%s", parts[i].c_str(), i == num - 2 ? " and" : "");
        }
        warn(" are mutually exclusive.\n");
        usage(true);
    }
}

void OptionParser::checkValidOptions(bool mappingProject) {
    bool bad = false;
    for (const auto& option : options) {
        auto meta = optionsMetadata.find(option.first);
        if (meta == optionsMetadata.end()) continue;
        bool valid = mappingProject ? meta->second.validForMapping : meta->second.validForAssembly;
        if (valid) continue;
        warn("Error: Option \"-%s\" is not valid for %s projects.\n", option.first.c_str(),
             mappingProject ? "mapping" : "assembly");
        bad = true;
    }
    if (bad) usage(true);
}

int OptionParser::parseOptionsConfigFile(std::string path) {
    FILE* fp = fopen(path.c_str(), "r");
    if (fp == nullptr) die("Error:  Unable to open file:  %s\n", path.c_str());
    static stringbuffer line(128);
    const char* file = path.c_str();
    int added = 0;
    while (line.getline(fp)) {
        const char* p = line.text();
        while (*p && isspace((unsigned char)*p)) p++;
        if (*p == 0 || *p == '#') continue;
        const char* nameStart = p;
        while (*p && !isspace((unsigned char)*p)) p++;
        std::string name(nameStart, p - nameStart);
        while (*p && *p != '\n' && *p != '\r' && isspace((unsigned char)*p)) p++;
        const char* valueStart = p;
        while (*p && !isspace((unsigned char)*p) && *p != '#') p++;
        std::string value(valueStart, p - valueStart);

        auto meta = optionsMetadata.find(name);
        if (meta == optionsMetadata.end()) {
            warn("Error:  Invalid option: '-%s' found in file %s.\n", name.c_str(), file);
            continue;
        }
        if (!meta->second.hasValue && !value.empty()) {
            warn(
                "Error:  Invalid '-%s' option's value: '%s' (the option is no-value option) "
                "found in the file '%s'.\n",
                name.c_str(), value.c_str(), file);
            continue;
        }
        if (meta->second.hasValue && value.empty()) {
            warn(
                "Error:  Invalid '-%s' option's value (the option is missing value) found in "
                "the file '%s'.\n",
                name.c_str(), file);
            continue;
        }
        if (name == "optcfg") {
            warn(
                "Error:  Invalid option: '-%s' (recursive use of the option) found in file "
                "%s.\n",
                name.c_str(), file);
            continue;
        }
        if (meta->second.isInteger) {
            int number = 0;
            if (!scanInt(value, number)) {
                warn(
                    "Error:  Invalid '-%s' option's value: '%s' (not a number) found in the "
                    "file '%s'.\n",
                    name.c_str(), value.c_str(), file);
                continue;
            }
            int min = meta->second.minValue, max = meta->second.maxValue;
            if ((min != 0 || max != 0) && (number < min || number > max)) {
                warn(
                    "Error:  Invalid '-%s' option's value: %d (valid value range is from %d to "
                    "%d) found in the file '%s'.\n",
                    name.c_str(), number, min, max, file);
                continue;
            }
        }
        options.insert(std::make_pair(name, value));
        added++;
    }
    fclose(fp);
    return added;
}

bool OptionParser::hasOption(std::string option) {
    ASSERT(optionsMetadata.find(option) != optionsMetadata.end());
    return options.find(option) != options.end();
}

std::string OptionParser::getStrVal(std::string name) {
    auto it = options.find(name);
    return it == options.end() ? std::string() : it->second;
}

int OptionParser::getIntVal(std::string name) {
    int number = 0;
    return scanInt(getStrVal(name), number) ? number : -2;
}

double OptionParser::getDblVal(std::string name) {
    double number = 0;
    return sscanf(getStrVal(name).c_str(), "%lf", &number) == 1 ? number : -2;
}

std::vector<std::string> OptionParser::getStrValues(std::string name) {
    std::vector<std::string> values;
    auto range = options.equal_range(name);
    for (auto it = range.first; it != range.second; ++it) values.push_back(it->second);
    return values;
}

std::vector<int> OptionParser::getIntValues(std::string name) {
    std::vector<int> values;
    for (const std::string& text : getStrValues(name)) {
        int number = 0;
        values.push_back(scanInt(text, number) ? number : -2);
    }
    return values;
}

int OptionParser::getOptionCount(std::string name) { return (int)options.count(name); }

int OptionParser::getAllOptionsCount() { return (int)options.size(); }

std::vector<std::string> OptionParser::getOptionNames() {
    std::vector<std::string> names;
    for (auto it = options.begin(); it != options.end(); it = options.upper_bound(it->first)) {
        names.push_back(it->first);
    }
    return names;
}

std::vector<std::pair<std::string, std::string>> OptionParser::getNameValuePairs() {
    return std::vector<std::pair<std::string, std::string>>(options.begin(), options.end());
}

bool OptionParser::useOptionValue(std::string name) {
    auto meta = optionsMetadata.find(name);
    return meta != optionsMetadata.end() && meta->second.hasValue;
}

void OptionParser::usage(bool exit) {
    warn("%s", usageText.c_str());
    if (exit) safeExit(0);
}

void OptionParser::printCommandHelp() {
    fprintf(stdout, "\n%s\n\n", usageText.c_str());
    fprintf(stdout,
            "(The full documentation for \"%s\" command can be found in the user manual).\n\n",
            commandName.c_str());
    fflush(stdout);
    safeExit(0);
}

void OptionParser::printCommandVersion() {
    fprintf(stdout, "%s %s\n", commandName.c_str(), VERSION_TEXT);
    fprintf(stdout, "%s\n\n", NOTICE_TEXT);
    fflush(stdout);
    safeExit(0);
}

void OptionParser::printOptionValues() {
    std::vector<std::pair<std::string, std::string>> pairs = getNameValuePairs();
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    printf("Command Line Options: --------\n");
    for (const auto& pair : pairs) {
        printf("%s%s%s\n", pair.first.c_str(), pair.second.empty() ? "" : ": ",
               pair.second.c_str());
    }
    printf("------------------------------\n");
}

void OptionParser::doReadjoinOptionAdjustment() {
    OptionMetadata& meta = optionsMetadata["d"];
    meta.hasValue = false;
    meta.isInteger = false;
}

void OptionParser::doMapgoAsmgoOptionAdjustment(bool isMapping) {
    optionsMetadata["p"].hasValue = true;
    if (isMapping) return;
    for (int i = 0; i < (int)args.size(); i++) {
        if (args[i] == "-ref" || args[i] == "-read") {
            optionIndex = i;
            break;
        }
    }
}

void OptionParser::postProcess() {}
