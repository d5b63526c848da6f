// Read and reference file records: construction, quality file search, SFF header facts,
// SRA pair numbers and the process-wide pool tables.
#include "InputFile.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "ByteUtil.h"
#include "Util.h"

// An internal check that also leaves the function when the exit protocol lets the failure return.
#define ASSERT_OR_RETURN(expr, result)                                  \
    do {                                                                \
        if (!(expr)) {                                                  \
            safeAssert(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__); \
            return result;                                              \
        }                                                               \
    } while (0)

std::map<std::string, int> InputFile::poolIds;
std::vector<std::string> InputFile::poolNames;

namespace {

// Size of the fixed part of the SFF common header.
const int SFF_COMMON_HEADER_SIZE = 31;

// The last component of a path, as the system's basename gives it: trailing slashes are
// ignored, "" gives ".", and a path of slashes only gives "/".
std::string baseName(const std::string& path) {
    if (path.empty()) return ".";
    size_t end = path.find_last_not_of('/');
    if (end == std::string::npos) return "/";
    size_t slash = path.rfind('/', end);
    size_t begin = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(begin, end - begin + 1);
}

bool fileExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

}  // namespace

void InputFile::init(FileType type, std::string filePath, bool refSeq, bool remove) {
    fileType = type;
    path = std::move(filePath);
    isRefSeqFlag = refSeq;
    removeFlag = remove;
    displayName = baseName(path);
    qualPath.clear();
}

InputFile::InputFile(std::string projectFilePath, std::string path, std::string runName,
                     std::string region, bool removeFlag) {
    init(SFF_FILE, std::move(path), false, removeFlag);
    this->projectFilePath = std::move(projectFilePath);
    sffDirFilename = baseName(this->projectFilePath);
    this->runName = std::move(runName);
    this->region = std::move(region);
    // The region suffix follows a run name, whether or not the region itself is set.
    if (!this->runName.empty()) displayName = displayName + ", region " + this->region;
}

InputFile::InputFile(bool isRefSeq, std::string path, FileType fileType,
                     FastqScoreType fastqScoreType, FastqAccnoType fastqAccnoType,
                     bool removeFlag) {
    init(fileType, std::move(path), isRefSeq, removeFlag);
    this->fastqScoreType = fastqScoreType;
    this->fastqAccnoType = fastqAccnoType;
    if (!isRefSeq && fileType == FASTA_FILE) {
        findQualFile();
    } else if (!isRefSeq && fileType == FASTQ_FILE) {
        hasQualFlag = true;
    }
}

InputFile::InputFile(std::string path, FileType fileType, bool isRefSeq) {
    init(fileType, std::move(path), isRefSeq, false);
}

InputFile::InputFile(std::string path, std::string stsSeqFilename, bool removeFlag) {
    init(STS_FILE, std::move(path), false, removeFlag);
    this->stsSeqFilename = std::move(stsSeqFilename);
}

void InputFile::findQualFile() {
    std::string candidate = path + ".qual";
    if (!fileExists(candidate)) {
        size_t dot = path.rfind('.');
        if (dot == std::string::npos) return;
        candidate = path.substr(0, dot) + ".qual";
        if (!fileExists(candidate)) return;
    }
    qualPath = candidate;
    hasQualFlag = true;
    hasQualFileFlag = true;
}

const std::string& InputFile::getProjectFilePath() const {
    return fileType == SFF_FILE ? projectFilePath : path;
}

const std::string& InputFile::getQualPath() const {
    ASSERT(hasQualFile() && fileType == FASTA_FILE);
    return qualPath;
}

void InputFile::setPath(std::string newPath) {
    if (isRefSeqFlag) {
        ASSERT(isFastaFile());
    } else if (fileType != SFF_FILE && fileType != FASTA_FILE && fileType != FASTQ_FILE) {
        safeAssert("isSFFFile()", __FILE__, __LINE__, __PRETTY_FUNCTION__);
    }
    path = std::move(newPath);
    displayName = baseName(path);
}

unsigned char InputFile::computeNonCyclicFlowOrder(const char* chars, int n) {
    int i = 4;
    while (i < n && chars[i] == chars[i & 3]) i++;
    return i == n ? 0 : 1;
}

void InputFile::setFlowOrder(const char* chars, int n) {
    ASSERT(isSFFFile());
    ASSERT_OR_RETURN(n >= 0, );
    flowOrderChars.clear();
    flowOrderChars.append(chars, n);
    numFlows = n;
    nonCyclicFlowOrder = computeNonCyclicFlowOrder(chars, n);
}

const char* InputFile::getFlowOrder() const {
    ASSERT(isSFFFile());
    ASSERT(flowOrderChars.length() > 0);
    return flowOrderChars.text();
}

bool InputFile::readSFFHeaderInfo(const std::string& path, int& headerLength,
                                  std::string& flowOrder, std::string& key) {
    (void)key;  // the key is not taken from the header here
    FILE* fp = fopen(path.c_str(), "rb");
    if (fp == nullptr) {
        warn("Error: Unable to open SFF file:  %s\n", path.c_str());
        return false;
    }
    unsigned char header[SFF_COMMON_HEADER_SIZE] = {};
    getBytes(fp, SFF_COMMON_HEADER_SIZE, header, path.c_str());
    if (memcmp(header, ".sff", 4) != 0) {
        warn("Error:  Invalid SFF file format:  %s\n", path.c_str());
        fclose(fp);
        return false;
    }
    if (header[4] != 0) {
        fprintf(stderr, "Error:  Unsupported SFF file version number.\n");
        warn("Error:  Unsupported SFF file version number:  %s\n", path.c_str());
        fclose(fp);
        return false;
    }
    int length = getuint16(header + 24);
    int flows = getuint16(header + 28);
    // The flow characters must lie within the header; a header that says otherwise is not read.
    if (length < SFF_COMMON_HEADER_SIZE + flows) {
        warn("Error:  Invalid SFF file format:  %s\n", path.c_str());
        fclose(fp);
        return false;
    }
    std::vector<char> rest(length - SFF_COMMON_HEADER_SIZE + 1, 0);
    if (length > SFF_COMMON_HEADER_SIZE) {
        getBytes(fp, length - SFF_COMMON_HEADER_SIZE, rest.data(), path.c_str());
    }
    headerLength = length;
    flowOrder.assign(rest.data(), flows);
    fclose(fp);
    return true;
}

bool InputFile::readSFFHeaderInfo(const std::string& path, int& headerLength,
                                  stringbuffer& flowOrder, stringbuffer& key) {
    std::string flows;
    std::string keyText;
    if (!readSFFHeaderInfo(path, headerLength, flows, keyText)) return false;
    (void)key;
    flowOrder.assign(flows);
    return true;
}

char InputFile::getSRAPairNumberFromFile() {
    if (sraPairNumberKnown) return sraPairNumber;
    char result = ' ';
    if (fileType == FASTQ_FILE && (fastqAccnoType == 1 || fastqAccnoType == 2)) {
        ASSERT_OR_RETURN(displayName.length() == 15 || displayName.length() == 17, ' ');
        ASSERT_OR_RETURN(displayName[0] == 'S' && displayName[1] == 'R' && displayName[2] == 'R',
                         ' ');
        ASSERT_OR_RETURN(strcmp(displayName.c_str() + displayName.length() - 6, ".fastq") == 0,
                         ' ');
        if (displayName.length() == 17) {
            ASSERT_OR_RETURN(displayName[9] == '_', ' ');
            ASSERT_OR_RETURN(displayName[10] == '1' || displayName[10] == '2', ' ');
            result = displayName[10];
        }
    }
    sraPairNumberKnown = true;
    sraPairNumber = result;
    return result;
}

std::string InputFile::displayName2LibName() {
    if (fastqAccnoType == 1 || fastqAccnoType == 2) {
        char pair = getSRAPairNumberFromFile();
        if (pair == '1' || pair == '2') return displayName.substr(0, 9);
    }
    return displayName;
}

int InputFile::getPoolId(const std::string& poolName) {
    auto found = poolIds.find(poolName);
    if (found != poolIds.end()) return found->second;
    int id = (int)poolNames.size();
    poolNames.push_back(poolName);
    poolIds[poolName] = id;
    return id;
}

const std::string& InputFile::getPoolName(int poolId) {
    static const std::string NONE;
    ASSERT_OR_RETURN(poolId >= 0 && poolId < (int)poolNames.size(), NONE);
    return poolNames[poolId];
}
