// Reading and writing of the sub-project file: project identity, settings,
// reference files and read files, over the XMLnode tree.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "Context.h"
#include "InputFile.h"
#include "SeqUtil.h"
#include "Util.h"
#include "XMLnode.h"

namespace {

const char* const ROOT_NODE = "ZeqProject";
const char* const PROJECT_INFO_NODE = "ProjectInformation";
const char* const CONFIG_NODE = "Config";
const char* const REF_FILES_NODE = "ReferenceFiles";
const char* const READ_FILES_NODE = "ReadFiles";
const char* const FILE_NODE = "File";
const char* const SET_REF_COUNT_NODE = "SetRefCount";
const char* const SET_READ_COUNT_NODE = "SetReadCount";
const char* const PATH_NODE = "Path";
const char* const TYPE_NODE = "Type";
const char* const MULTIPLEX_NODE = "Multiplex";
const char* const SOFTWARE_VERSION = "3.0 (20140410_1040)";

const char* const UNRECOGNIZED_NODE =
    "Warning:  Unrecognized node in ZeqProject.xml file: \"%s\".\n";

// Value texts of the messages: "\n     The value in the project file is %d\n".
#define VALUE_TEXT "\n     The value in the project file is %d\n"
#define BOOL_MSG_1                                                                              \
    "Error:  Unrecognized %s in the ZeqProject.xml file.\n   The value in the project file is " \
    "%s\n   The allowed values are %s or %s (case-insensitive).\n"
#define BOOL_MSG_2                                                                            \
    "Error:  Unrecognized %s value in the ZeqProject.xml file.\n   The value in the project " \
    "file is %s\n   The allowed values are %s or %s (case-insensitive).\n"
#define BOOL_MSG_3                                                                               \
    "Error:  Unrecognized value of %s in the ZeqProject.xml file.\n   The value in the project " \
    "file is %s\n   The allowed values are %s or %s (case-insensitive).\n"

enum Kind { INT_KIND, PCT_KIND, BOOL_KIND, ENUM_KIND, PATH_KIND };

// How a failure message takes its arguments.
enum MsgArgs {
    ARGS_VALUE,         // int: the value
    ARGS_NAME_VALUE,    // int: the element name, the value; bool: name, value, "true", "false"
    ARGS_BOUNDS_VALUE,  // int: the two bounds, the value
    ARGS_TEXT,          // bool and enum: the value text, then the allowed words
};

// One element of the Config list.
struct ConfigEntry {
    const char* name;
    Kind kind;
    int Context::*intField;
    bool Context::*boolField;
    std::string Context::*textField;
    int minValue;
    int maxValue;
    const char* message;
    MsgArgs args;
    bool multiplexOnly;        // written only in a multiplex project
    const char* const* words;  // enum: the written words by value
    int wordCount;
};

const char* const ACE_WORDS[] = {"None", "File", "Dir", "Auto", "Consed", "Consed16"};
const char* const ACE_READ_WORDS[] = {"Default", "Raw", "Trimmed"};
const char* const PAIR_ALIGN_WORDS[] = {"None", "Tab", "Text"};
const char* const ALIGN_INFO_WORDS[] = {"False", "True", "Auto"};
const char* const REFERENCE_WORDS[] = {"Auto", "Genome", "cDNA"};

#define INT_ENTRY(name, field, lo, hi, msg, args) \
    { name, INT_KIND, &Context::field, nullptr, nullptr, lo, hi, msg, args, false, nullptr, 0 }
#define BOOL_ENTRY(name, field, msg, args) \
    { name, BOOL_KIND, nullptr, &Context::field, nullptr, 0, 0, msg, args, false, nullptr, 0 }
#define ENUM_ENTRY(name, field, words, msg)                                                     \
    {                                                                                           \
        name, ENUM_KIND, &Context::field, nullptr, nullptr, 0, 0, msg, ARGS_TEXT, false, words, \
            (int)(sizeof(words) / sizeof(words[0]))                                             \
    }
#define PATH_ENTRY(name, field)                                                              \
    {                                                                                        \
        name, PATH_KIND, nullptr, nullptr, &Context::field, 0, 0, nullptr, ARGS_TEXT, false, \
            nullptr, 0                                                                       \
    }
#define GREATER_MSG(name, bound)                                              \
    "Error:  The value of " name " in the ZeqProject.xml file must be " bound \
    " or greater." VALUE_TEXT
#define NEGATIVE_MSG(name) \
    "Error:  The value of " name " in the ZeqProject.xml file cannot be negative." VALUE_TEXT

const ConfigEntry CONFIG_ENTRIES[] = {
    INT_ENTRY("minimumReadLength", minimumReadLength, 15, 100,
              "Error:  The value of minimumReadLength in the ZeqProject.xml file must be between "
              "15 and 100." VALUE_TEXT,
              ARGS_VALUE),
    INT_ENTRY("overlapSeedStep", overlapSeedStep, 1, INT_MAX, GREATER_MSG("overlapSeedStep", "1"),
              ARGS_VALUE),
    INT_ENTRY("overlapSeedLength", overlapSeedLength, 6, 64,
              "Error:  The value of overlapSeedLength in the ZeqProject.xml file must be between "
              "%d and %d, inclusive." VALUE_TEXT,
              ARGS_BOUNDS_VALUE),
    INT_ENTRY("overlapMinSeedCount", overlapMinSeedCount, 1, INT_MAX,
              GREATER_MSG("overlapMinSeedCount", "1"), ARGS_VALUE),
    INT_ENTRY("overlapSeedHitLimit", overlapSeedHitLimit, 1, INT_MAX,
              GREATER_MSG("overlapSeedHitLimit", "1"), ARGS_VALUE),
    INT_ENTRY("overlapHitPositionLimit", overlapHitPositionLimit, 1, INT_MAX,
              GREATER_MSG("overlapHitPositionLimit", "1"), ARGS_VALUE),
    {"overlapMinMatchLength", PCT_KIND, &Context::overlapMinMatchLength, nullptr, nullptr, INT_MIN,
     INT_MAX, nullptr, ARGS_VALUE, false, nullptr, 0},
    INT_ENTRY("overlapMinMatchIdentity", overlapMinMatchIdentity, 0, 100,
              "Error:  The value of overlapMinMatchPctIdent in the ZeqProject.xml file must be "
              "between 0 and 100, inclusive." VALUE_TEXT,
              ARGS_VALUE),
    INT_ENTRY("overlapMatchIdentScore", overlapMatchIdentScore, 0, INT_MAX,
              NEGATIVE_MSG("overlapMatchIdentScore"), ARGS_VALUE),
    INT_ENTRY("overlapMatchDiffScore", overlapMatchDiffScore, INT_MIN, 0,
              "Error:  The value of overlapMatchDiffScore in the ZeqProject.xml file must be 0 or "
              "less than 0." VALUE_TEXT,
              ARGS_VALUE),
    INT_ENTRY("overlapMatchUniqueThresh", overlapMatchUniqueThresh, 0, INT_MAX,
              NEGATIVE_MSG("overlapMatchUniqueThresh"), ARGS_VALUE),
    INT_ENTRY("isogroupThresh", isogroupThresh, 0, INT_MAX, GREATER_MSG("isogroupThresh", "0"),
              ARGS_VALUE),
    INT_ENTRY("isotigThresh", isotigThresh, 0, INT_MAX, GREATER_MSG("isotigThresh", "0"),
              ARGS_VALUE),
    INT_ENTRY("isotigContigCountThresh", isotigContigCountThresh, 0, INT_MAX,
              GREATER_MSG("isotigContigCountThresh", "0"), ARGS_VALUE),
    INT_ENTRY("isotigContigLengthThresh", isotigContigLengthThresh, 0, INT_MAX,
              GREATER_MSG("isotigContigLengthThresh", "0"), ARGS_VALUE),
    BOOL_ENTRY("isotigDepthSplit", isotigDepthSplit, BOOL_MSG_1, ARGS_NAME_VALUE),
    ENUM_ENTRY("aceMode", aceMode, ACE_WORDS,
               "Error:  Unrecognized aceMode in the ZeqProject.xml file.\n   The value in the "
               "project file is %s\n   The allowed values are %s, %s, %s, %s or %s "
               "(case-insensitive).\n"),
    ENUM_ENTRY("aceReadMode", aceReadMode, ACE_READ_WORDS,
               "Error:  Unrecognized aceReadMode in the ZeqProject.xml file.\n   The value in the "
               "project file is %s\n   The allowed values are %s, %s or %s (case-insensitive).\n"),
    ENUM_ENTRY("pairAlignMode", pairAlignMode, PAIR_ALIGN_WORDS,
               "Error:  Unrecognized pairAlignMode in the ZeqProject.xml file.\n   The value in "
               "the project file is %s\n   The allowed values are %s, %s, or %s "
               "(case-insensitive).\n"),
    ENUM_ENTRY("alignInfoMode", alignInfoMode, ALIGN_INFO_WORDS,
               "Error:  Unrecognized alignInfoMode in the ZeqProject.xml file.\n   The value in "
               "the project file is %s\n   The allowed values are %s, %s, or %s "
               "(case-insensitive).\n"),
    BOOL_ENTRY("nucleotideFreqTable", nucleotideFreqTable, BOOL_MSG_1, ARGS_NAME_VALUE),
    INT_ENTRY("mapMinContigDepth", mapMinContigDepth, 1, INT_MAX,
              GREATER_MSG("mapMinContigDepth", "1"), ARGS_VALUE),
    INT_ENTRY("allContigThresh", allContigThresh, 0, INT_MAX, GREATER_MSG("allContigThresh", "0"),
              ARGS_VALUE),
    INT_ENTRY("largeContigThresh", largeContigThresh, 1, INT_MAX,
              GREATER_MSG("largeContigThresh", "1"), ARGS_VALUE),
    INT_ENTRY("expectedDepth", expectedDepth, 0, INT_MAX, GREATER_MSG("expectedDepth", "0"),
              ARGS_VALUE),
    BOOL_ENTRY("cDNAMode", cDNAMode, BOOL_MSG_2, ARGS_NAME_VALUE),
    ENUM_ENTRY("referenceMode", referenceMode, REFERENCE_WORDS,
               "Error:  Unrecognized referenceMode in the ZeqProject.xml file.\n   The value in "
               "the project file is %s\n   The allowed values are %s, %s, or %s "
               "(case-insensitive).\n"),
    BOOL_ENTRY("largeGenome", largeGenome,
               "Error:  Unrecognized largeGenomeMode in the ZeqProject.xml file.\n   The value in "
               "the project file is %s\n   The allowed values are %s or %s (case-insensitive).\n",
               ARGS_TEXT),
    BOOL_ENTRY("multiplexMode", multiplexMode, BOOL_MSG_2, ARGS_NAME_VALUE),
    {"minSampleVariantFreqPct", INT_KIND, &Context::minSampleVariantFreqPct, nullptr, nullptr, 0,
     100,
     "Error:  The value of %s in the ZeqProject.xml file must be betveen 0 and 100." VALUE_TEXT,
     ARGS_NAME_VALUE, true, nullptr, 0},
    {"maxSampleVariantFreqPct", INT_KIND, &Context::maxSampleVariantFreqPct, nullptr, nullptr, 0,
     100,
     "Error:  The value of %s in the ZeqProject.xml file must be betveen 0 and 100." VALUE_TEXT,
     ARGS_NAME_VALUE, true, nullptr, 0},
    {"sampleVariantFreqShowEmptyRow", BOOL_KIND, nullptr, &Context::sampleVariantFreqShowEmptyRow,
     nullptr, 0, 0, BOOL_MSG_3, ARGS_NAME_VALUE, true, nullptr, 0},
    BOOL_ENTRY("scaffoldOutputMode", scaffoldOutputMode, BOOL_MSG_2, ARGS_NAME_VALUE),
    INT_ENTRY("scaffoldLengthThreshold", scaffoldLengthThreshold, 0, INT_MAX,
              "Error:  The value of %s in the ZeqProject.xml file must be 0 or greater." VALUE_TEXT,
              ARGS_NAME_VALUE),
    BOOL_ENTRY("ripMode", ripMode, BOOL_MSG_1, ARGS_NAME_VALUE),
    BOOL_ENTRY("heterozygoteMode", heterozygoteMode, BOOL_MSG_1, ARGS_NAME_VALUE),
    INT_ENTRY("assemblerBatchSize", assemblerBatchSize, 0, INT_MAX,
              GREATER_MSG("assemblerBatchSize", "0"), ARGS_VALUE),
    INT_ENTRY("numCPU", numCPU, 0, INT_MAX, GREATER_MSG("numCPU", "0"), ARGS_VALUE),
    BOOL_ENTRY("showSingleReadVariations", showSingleReadVariations, BOOL_MSG_1, ARGS_NAME_VALUE),
    BOOL_ENTRY("orvaneMappingMode", orvaneMappingMode, BOOL_MSG_1, ARGS_NAME_VALUE),
    BOOL_ENTRY("backwardCompatibleContigging", backwardCompatibleContigging, BOOL_MSG_1,
               ARGS_NAME_VALUE),
    BOOL_ENTRY("finishMode", finishMode, BOOL_MSG_1, ARGS_NAME_VALUE),
    BOOL_ENTRY("autoTrimming", autoTrimming, BOOL_MSG_1, ARGS_NAME_VALUE),
    PATH_ENTRY("VectorDatabase", vectorDatabase),
    PATH_ENTRY("screeningDatabase", screeningDatabase),
    PATH_ENTRY("haplotypeFile", haplotypeFile),
    PATH_ENTRY("targetedRegionFile", targetedRegionFile),
    PATH_ENTRY("annotationFile", annotationFile),
    PATH_ENTRY("knownSNPFile", knownSNPFile),
    PATH_ENTRY("accessionRenameFile", accessionRenameFile),
    PATH_ENTRY("filterExcludeFile", filterExcludeFile),
    PATH_ENTRY("filterIncludeFile", filterIncludeFile),
    BOOL_ENTRY("UseSerialIO", useSerialIO, BOOL_MSG_1, ARGS_NAME_VALUE),
    BOOL_ENTRY("SerialIOMinimizeDisk", serialIOMinimizeDisk, BOOL_MSG_1, ARGS_NAME_VALUE),
    INT_ENTRY("SerialIOMemLimit", serialIOMemLimit, 0, 1000,
              "Error:  The value of SerialIOMemLimit in the ZeqProject.xml file must be between 0 "
              "and 1000." VALUE_TEXT,
              ARGS_VALUE),
};

// Accepted in Config and ignored; never written.
const char* const IGNORED_CONFIG_NODE = "truePairDistanceThresh";

// Reads a decimal int as sscanf "%d" does (leading white space, optional sign);
// a number beyond the int range is clamped. end receives the index after it.
bool scanInt(const std::string& text, int& value, size_t& end) {
    const char* s = text.c_str();
    const char* p = s;
    while (isspace((unsigned char)*p)) p++;
    bool negative = false;
    if (*p == '+' || *p == '-') negative = (*p++ == '-');
    if (!isdigit((unsigned char)*p)) return false;
    long long v = 0;
    while (isdigit((unsigned char)*p)) {
        if (v <= (long long)INT_MAX + 1) v = v * 10 + (*p - '0');
        p++;
    }
    if (negative) v = -v;
    if (v > INT_MAX) v = INT_MAX;
    if (v < INT_MIN) v = INT_MIN;
    value = (int)v;
    end = p - s;
    return true;
}

bool scanInt(const std::string& text, int& value) {
    size_t end;
    return scanInt(text, value, end);
}

// The first blank-delimited word of the text, upper-cased, as sscanf "%s" reads it.
std::string upperWord(const std::string& text) {
    std::istringstream in(text);
    std::string word;
    in >> word;
    toUpperCase(word);
    return word;
}

std::string upperText(std::string text) {
    toUpperCase(text);
    return text;
}

std::string lowerText(std::string text) {
    toLowerCase(text);
    return text;
}

// ctime of now without its newline.
std::string currentTimeText() {
    time_t now = time(nullptr);
    char buf[64];
    if (ctime_r(&now, buf) == nullptr) return "";
    std::string text(buf);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

void addLeaf(XMLnode* parent, const char* name, const std::string& value) {
    parent->addChild(new XMLnode(name, value));
}

const char* boolText(bool value) { return value ? "true" : "false"; }

void readConfigEntry(Context* context, const ConfigEntry& e, const std::string& value) {
    switch (e.kind) {
        case INT_KIND: {
            int& field = context->*(e.intField);
            scanInt(value, field);
            if (field < e.minValue || field > e.maxValue) {
                if (e.args == ARGS_NAME_VALUE) die(e.message, e.name, field);
                if (e.args == ARGS_BOUNDS_VALUE) die(e.message, e.minValue, e.maxValue, field);
                die(e.message, field);
            }
            break;
        }
        case PCT_KIND: {
            int n;
            size_t end;
            if (scanInt(value, n, end)) {
                context->*(e.intField) = n;
                context->overlapMinMatchLengthIsPct = end < value.size() && value[end] == '%';
            }
            break;
        }
        case BOOL_KIND: {
            std::string word = upperWord(value);
            if (word == "TRUE") {
                context->*(e.boolField) = true;
            } else if (word == "FALSE") {
                context->*(e.boolField) = false;
            } else if (e.args == ARGS_NAME_VALUE) {
                die(e.message, e.name, value.c_str(), "true", "false");
            } else {
                die(e.message, value.c_str(), "true", "false");
            }
            break;
        }
        case ENUM_KIND: {
            std::string word = upperWord(value);
            int& field = context->*(e.intField);
            for (int i = 0; i < e.wordCount; i++) {
                if (word == upperText(e.words[i])) {
                    // Consed16 is the Consed mode with a flag that tells them apart.
                    bool consed16 = (e.words == ACE_WORDS && i == Context::ACE_CONSED + 1);
                    field = consed16 ? Context::ACE_CONSED : i;
                    if (e.words == ACE_WORDS) context->aceModeConsed16 = consed16;
                    return;
                }
            }
            const char* w[5];
            for (int i = 0; i < 5; i++) w[i] = i < e.wordCount ? e.words[i] : "";
            die(e.message, value.c_str(), w[0], w[1], w[2], w[3], w[4]);
            break;
        }
        case PATH_KIND:
            context->*(e.textField) = value;
            if (e.textField == &Context::haplotypeFile) context->haplotypeMode = !value.empty();
            break;
    }
}

void writeConfigEntry(Context* context, const ConfigEntry& e, XMLnode* config) {
    switch (e.kind) {
        case INT_KIND:
            addLeaf(config, e.name, std::to_string(context->*(e.intField)));
            break;
        case PCT_KIND:
            addLeaf(config, e.name,
                    std::to_string(context->*(e.intField)) +
                        (context->overlapMinMatchLengthIsPct ? "%" : ""));
            break;
        case BOOL_KIND:
            addLeaf(config, e.name, boolText(context->*(e.boolField)));
            break;
        case ENUM_KIND: {
            int v = context->*(e.intField);
            std::string word;
            if (e.words == ACE_WORDS && v == Context::ACE_CONSED && context->aceModeConsed16) {
                word = ACE_WORDS[Context::ACE_CONSED + 1];
            } else if (v >= 0 && v < e.wordCount &&
                       !(e.words == ACE_WORDS && v > Context::ACE_CONSED)) {
                word = e.words[v];
            }
            addLeaf(config, e.name, word);  // out of range: an empty element
            break;
        }
        case PATH_KIND:
            addLeaf(config, e.name, context->*(e.textField));
            break;
    }
}

const char* readTypeText(const InputFile* file) {
    switch (file->fileType) {
        case InputFile::SFF_FILE:
            return "SFF";
        case InputFile::FASTA_FILE:
            return "Fasta";
        case InputFile::FASTQ_FILE:
            return "Fastq";
        default:
            return "STS";
    }
}

const char* const ACCNO_TYPE_WORDS[] = {"General", "SRA-Zeq", "SRA", "Illumina", "Casava"};

// Writes the whole tree to a temporary file beside target and renames it over
// target, so that a full disk or a crash never leaves a cut-short project file:
// the old file stays as it was. Where no file can be made beside it (a
// read-only directory), a writable file is rewritten in place.
void replaceFile(const std::string& target, XMLnode* root) {
    // Follow a link, so that the file it names is the one replaced.
    std::string path = target;
    char* real = realpath(target.c_str(), nullptr);
    if (real != nullptr) {
        path = real;
        free(real);
    }
    struct stat st;
    bool existed = stat(path.c_str(), &st) == 0;
    // A file that can't be written in place stays as it is.
    if (existed && access(path.c_str(), W_OK) != 0) return;

    std::string temp = path + ".tmpXXXXXX";
    int fd = mkstemp(temp.data());
    if (fd < 0) {
        writeXMLFile(path, root);
        return;
    }
    if (existed) fchmod(fd, st.st_mode & 07777);
    close(fd);
    if (!writeXMLFile(temp, root) || rename(temp.c_str(), path.c_str()) != 0) unlink(temp.c_str());
}

}  // namespace

void Context::deserialize() {
    XMLnode* root = readXMLFile(projectXMLPath);
    XMLnode* node = root->getFirstChild();
    ASSERT(node != __null && node->getName() == "ZeqProject");
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == PROJECT_INFO_NODE) {
            processProjectInfo(child);
        } else if (name == CONFIG_NODE) {
            processConfiguration(child);
        } else if (name == REF_FILES_NODE) {
            processRefFiles(child);
        } else if (name == READ_FILES_NODE) {
            processReadFiles(child);
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
    deleteTree(root);
}

void Context::processProjectInfo(XMLnode* node) {
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == "dateCreated") {
            dateCreated = child->getValue();
        } else if (name == "dateModified") {
            dateModified = child->getValue();
        } else if (name != "ProjectType" && name != "ProjectDirectory" &&
                   name != "SoftwareVersion") {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
}

void Context::processConfiguration(XMLnode* node) {
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        const ConfigEntry* entry = nullptr;
        for (const ConfigEntry& e : CONFIG_ENTRIES) {
            if (name == e.name) {
                entry = &e;
                break;
            }
        }
        if (entry != nullptr) {
            readConfigEntry(this, *entry, child->getValue());
        } else if (name != IGNORED_CONFIG_NODE) {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
}

void Context::processRefFiles(XMLnode* node) {
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == SET_REF_COUNT_NODE) {
            scanInt(child->getValue(), declaredRefCount);
        } else if (name == FILE_NODE) {
            processRefFile(child, true);
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
}

void Context::processRefFile(XMLnode* node, bool isRef) {
    std::string path;
    InputFile::FileType type = InputFile::FASTA_FILE;
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == PATH_NODE) {
            path = child->getValue();
        } else if (name == TYPE_NODE) {
            std::string word = upperText(child->getValue());
            if (word == "FASTA") {
                type = InputFile::FASTA_FILE;
            } else if (word == "FASTQ") {
                type = InputFile::FASTQ_FILE;
            } else {
                die("Error:  Unrecognized fasta file type in the ZeqProject.xml file.\n   The "
                    "value "
                    "in the project file is %s\n   The allowed values are %s or %s "
                    "(case-insensitive).\n",
                    child->getValue().c_str(), "Fasta", "Fastq");
            }
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
    refFiles.push_back(new InputFile(path, type, isRef));
}

void Context::processReadFiles(XMLnode* node) {
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == SET_READ_COUNT_NODE) {
            scanInt(child->getValue(), declaredReadCount);
        } else if (name == FILE_NODE) {
            readFiles.push_back(processReadFile(child));
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
}

InputFile* Context::processReadFile(XMLnode* node) {
    InputFile::FileType type = InputFile::FASTA_FILE;
    int scoreType = 0, accnoType = 0;
    std::string path, stsSeqFilename, accnoPrefix, runName, region, library, pool,
        rescoreConfigFile, sffDirFilename, scheme;
    bool isPairedEnd = false, rescore = false, removeFlag = false, isLA = false, changed = false;
    std::vector<MIDInfo> mids;

    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        const std::string& value = child->getValue();
        if (name == PATH_NODE) {
            path = value;
        } else if (name == "STSSeqFilename") {
            stsSeqFilename = value;
        } else if (name == "accnoPrefix") {
            accnoPrefix = value;
        } else if (name == "RunName") {
            runName = value;
        } else if (name == "Region") {
            region = value;
        } else if (name == "Library") {
            library = value;
        } else if (name == "Pool") {
            pool = value;
        } else if (name == "RescoreConfigFile") {
            rescoreConfigFile = value;
        } else if (name == "SFFDirFilename") {
            sffDirFilename = value;
            type = InputFile::SFF_FILE;
        } else if (name == TYPE_NODE) {
            // The comparison is case-sensitive; any other text means an STS file.
            if (value == "SFF") {
                type = InputFile::SFF_FILE;
            } else if (value == "Fasta") {
                type = InputFile::FASTA_FILE;
            } else if (value == "Fastq") {
                type = InputFile::FASTQ_FILE;
            } else {
                type = InputFile::STS_FILE;
            }
        } else if (name == "FastqScoreType") {
            scoreType = (value == "Standard") ? 0 : 1;
        } else if (name == "FastqAccnoType") {
            accnoType = 0;
            for (int i = 1; i < 5; i++) {
                if (value == ACCNO_TYPE_WORDS[i]) accnoType = i;
            }
        } else if (name == "IsPairedEnd") {
            isPairedEnd = lowerText(value) == "true";
        } else if (name == "Rescore") {
            rescore = lowerText(value) == "true";
        } else if (name == "removeFlag") {
            removeFlag = value == "true";
        } else if (name == "isLA") {
            isLA = value == "true";
        } else if (name == MULTIPLEX_NODE) {
            deserializeMultiplexing(child, scheme, mids, changed);
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }

    InputFile* file;
    if (type == InputFile::SFF_FILE) {
        file =
            new InputFile(sffDirectory + "/" + sffDirFilename, path, runName, region, removeFlag);
    } else if (type == InputFile::STS_FILE) {
        file = new InputFile(path, stsSeqFilename, removeFlag);
    } else {
        file = new InputFile(false, path, type, scoreType, accnoType, removeFlag);
    }
    // The run name and region of a non-SFF file are written back, so keep them.
    if (type != InputFile::SFF_FILE && !runName.empty()) {
        file->runName = runName;
        file->region = region;
    }
    if (!accnoPrefix.empty()) file->accnoPrefix = accnoPrefix;
    if (isPairedEnd) file->isPairedEnd = true;
    if (isLA) file->isLA = true;
    if (!library.empty()) file->library = library;
    if (!pool.empty()) file->poolId = InputFile::getPoolId(pool);
    if (rescore) file->rescore = true;
    if (!rescoreConfigFile.empty()) file->rescoreConfigFile = rescoreConfigFile;
    if (!scheme.empty() || !mids.empty()) {
        file->midSetName = scheme;
        file->midList = mids;
        file->doFiltering = !mids.empty();
        file->demultiplexFlag = changed;
    }
    return file;
}

void Context::deserializeMultiplexing(XMLnode* node, std::string& scheme,
                                      std::vector<MIDInfo>& mids, bool& changed) {
    for (XMLnode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const std::string& name = child->getName();
        if (name == "Scheme") {
            scheme = child->getValue();
        } else if (name == "Changed") {
            changed = child->getValue() == "true";
        } else if (name == "MID") {
            MIDInfo mid;
            mid.numError = -2;
            for (XMLnode* m = child->getFirstChild(); m != nullptr; m = m->getNextSibling()) {
                const std::string& field = m->getName();
                const std::string& value = m->getValue();
                if (field == "Name") {
                    mid.origName = value;
                    mid.name = upperText(value);
                } else if (field == "Seq" || field == "ThreepSeq") {
                    if (!SeqUtil::checkDnaSeq(value)) {
                        die("Error:  Invalid format of ZeqProject.xml file (invalid DNA multiplex "
                            "sequence).\n");
                    }
                    if (field == "Seq") {
                        mid.midSeq = value;
                    } else {
                        mid.threePrimeSeq = value;
                        mid.hasThreePrime = true;
                        mid.threePrimeNumError = 2;
                    }
                } else if (field == "Error") {
                    if (!str2int(value, mid.numError)) {
                        warn("Warning:  Invalid value in ZeqProject.xml file %s=%s.\n", "Error",
                             value.c_str());
                        mid.numError = -2;
                    }
                } else {
                    warn(UNRECOGNIZED_NODE, field.c_str());
                }
            }
            mids.push_back(mid);
        } else {
            warn(UNRECOGNIZED_NODE, name.c_str());
        }
    }
}

void Context::serializeMultiplexing(XMLnode* parent, const std::string& scheme,
                                    const std::vector<MIDInfo>& mids, bool changed) {
    XMLnode* node = new XMLnode(MULTIPLEX_NODE);
    parent->addChild(node);
    if (changed) addLeaf(node, "Changed", "true");
    if (!scheme.empty()) addLeaf(node, "Scheme", scheme);
    for (const MIDInfo& mid : mids) {
        XMLnode* m = new XMLnode("MID");
        node->addChild(m);
        if (!mid.origName.empty()) addLeaf(m, "Name", mid.origName);
        if (!SeqUtil::checkDnaSeq(mid.midSeq)) {
            die("Error:  Invalid format of ZeqProject.xml file (invalid DNA multipex sequence).\n");
        }
        addLeaf(m, "Seq", mid.midSeq);
        if (mid.numError != -2) addLeaf(m, "Error", std::to_string(mid.numError));
        if (mid.hasThreePrime) addLeaf(m, "ThreepSeq", mid.threePrimeSeq);
    }
}

bool Context::serialize() {
    XMLnode* root = new XMLnode(ROOT_NODE);

    XMLnode* info = new XMLnode(PROJECT_INFO_NODE);
    root->addChild(info);
    std::string now = currentTimeText();
    if (dateCreated.empty()) dateCreated = now;
    dateModified = now;
    addLeaf(info, "ProjectType", isMapping() ? "Mapping" : "Assembly");
    addLeaf(info, "ProjectDirectory", projectDirectory);
    addLeaf(info, "dateCreated", dateCreated);
    addLeaf(info, "dateModified", dateModified);
    addLeaf(info, "SoftwareVersion", SOFTWARE_VERSION);

    XMLnode* config = new XMLnode(CONFIG_NODE);
    root->addChild(config);
    for (const ConfigEntry& e : CONFIG_ENTRIES) {
        if (e.multiplexOnly && !multiplexMode) continue;
        writeConfigEntry(this, e, config);
    }

    XMLnode* refs = new XMLnode(REF_FILES_NODE);
    root->addChild(refs);
    addLeaf(refs, SET_REF_COUNT_NODE, std::to_string(declaredRefCount));
    for (InputFile* file : refFiles) {
        ASSERT(file->isFastaFile() || file->isFastqFile());
        XMLnode* f = new XMLnode(FILE_NODE);
        refs->addChild(f);
        addLeaf(f, PATH_NODE, file->getPath());
        addLeaf(f, TYPE_NODE, file->isFastaFile() ? "Fasta" : "Fastq");
    }

    XMLnode* reads = new XMLnode(READ_FILES_NODE);
    root->addChild(reads);
    addLeaf(reads, SET_READ_COUNT_NODE, std::to_string(declaredReadCount));
    for (InputFile* file : readFiles) {
        ASSERT(!file->isRefSeq());
        XMLnode* f = new XMLnode(FILE_NODE);
        reads->addChild(f);
        if (file->isSFFFile()) addLeaf(f, "SFFDirFilename", file->sffDirFilename);
        addLeaf(f, PATH_NODE, file->getPath());
        addLeaf(f, TYPE_NODE, readTypeText(file));
        if (file->isFastqFile()) {
            addLeaf(f, "FastqScoreType", file->fastqScoreType == 1 ? "Illumina" : "Standard");
            int a = file->fastqAccnoType;
            addLeaf(f, "FastqAccnoType", (a >= 0 && a < 5) ? ACCNO_TYPE_WORDS[a] : "");
        }
        if (file->isSTSFile()) addLeaf(f, "STSSeqFilename", file->stsSeqFilename);
        if (!file->isSFFFile() && !file->runName.empty()) {
            addLeaf(f, "RunName", file->runName);
            addLeaf(f, "Region", file->region);
        }
        if (!file->accnoPrefix.empty()) addLeaf(f, "accnoPrefix", file->accnoPrefix);
        addLeaf(f, "IsPairedEnd", boolText(file->isPairedEnd));
        if (file->isLA) addLeaf(f, "isLA", "true");
        if (!file->library.empty()) addLeaf(f, "Library", file->library);
        if (file->poolId != -2) addLeaf(f, "Pool", InputFile::getPoolName(file->poolId));
        addLeaf(f, "Rescore", boolText(file->rescore));
        if (!file->rescoreConfigFile.empty()) {
            addLeaf(f, "RescoreConfigFile", file->rescoreConfigFile);
        }
        addLeaf(f, "removeFlag", boolText(file->removeFlag));
        if (!file->midList.empty()) {
            serializeMultiplexing(f, file->midSetName, file->midList, file->demultiplexFlag);
        }
    }

    // Disk failures are not reported: the old file is kept whole instead.
    replaceFile(projectXMLPath, root);
    deleteTree(root);
    return true;
}
