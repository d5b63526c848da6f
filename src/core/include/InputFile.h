// The record of one read or reference file of a project, and the multiplex
// identifier record that a read file filters its reads by.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "stringbuffer.h"

// One multiplex identifier; text fields are uppercased except origName.
struct MIDInfo {
    std::string name;             // MID name, uppercased
    std::string origName;         // MID name as written
    std::string midSeq;           // 5' DNA sequence, may be empty
    int numError = -2;            // errors allowed for the 5' sequence; -2 until known
    std::string threePrimeSeq;    // 3' DNA sequence, may be empty
    int threePrimeNumError = -2;  // errors allowed for the 3' sequence
    bool hasThreePrime = false;   // a 3' sequence was given
};

class InputFile {
public:
    enum FileType { SFF_FILE = 0, FASTA_FILE = 1, FASTQ_FILE = 2, STS_FILE = 3 };
    // 0 "Standard"; 1 any other score type (FASTQ only).
    typedef int FastqScoreType;
    // 0 General, 1 SRA-Zeq, 2 SRA, 3 Illumina, 4 Casava (FASTQ only).
    typedef int FastqAccnoType;

    FileType fileType = FASTA_FILE;
    std::string path;                  // full path of the file
    std::string projectFilePath;       // SFF only: the link in the project's sff directory
    std::string displayName;           // name in messages and library rules
    std::string accnoPrefix;           // prepended to every accession of the file
    bool isRefSeqFlag = false;         // a reference file (isRefSeq())
    bool hasQualFlag = false;          // quality scores exist for the reads (hasQual())
    bool hasQualFileFlag = false;      // they lie in a separate .qual file (hasQualFile())
    std::string qualPath;              // path of that file
    stringbuffer flowOrderChars{128};  // the SFF file's flow characters
    unsigned char nonCyclicFlowOrder =
        255;            // 1 not one period of 4 repeated, 0 cyclic, 255 unknown
    int numFlows = -1;  // flows per read of the SFF file
    FastqScoreType fastqScoreType = 0;
    FastqAccnoType fastqAccnoType = 0;
    bool sraPairNumberKnown = false;  // sraPairNumber is cached
    char sraPairNumber = ' ';         // '1', '2' or blank
    std::string sffDirFilename;       // base name of projectFilePath
    std::string runName;
    std::string region;
    bool isPairedEnd = false;
    bool removeFlag = false;     // the file is marked for removal
    int poolId = -2;             // index into poolNames, -2 for no pool
    std::string stsSeqFilename;  // STS only: path of the sequence file
    bool doFiltering = false;    // true exactly when midList is non-empty
    bool demultiplexFlag = false;
    std::string midSetName;
    std::vector<MIDInfo> midList;
    int midCursor = -2;  // index of the MID that matched last, -2 for none
    std::string library;
    bool rescore = false;
    std::string rescoreConfigFile;
    bool isLA = false;

    // Pool name -> pool id, and pool names by id, shared by all records of the process.
    static std::map<std::string, int> poolIds;
    static std::vector<std::string> poolNames;

    // SFF form: records the real path; the link's base name becomes sffDirFilename. A non-empty
    // runName makes the display name "<base name>, region <region>". The file is not opened.
    InputFile(std::string projectFilePath, std::string path, std::string runName,
              std::string region, bool removeFlag);
    // General form: looks for a quality file beside a FASTA read file.
    InputFile(bool isRefSeq, std::string path, FileType fileType, FastqScoreType fastqScoreType,
              FastqAccnoType fastqAccnoType, bool removeFlag);
    // Short form: never looks for a quality file.
    InputFile(std::string path, FileType fileType, bool isRefSeq);
    // STS form: a map file with its sequence file.
    InputFile(std::string path, std::string stsSeqFilename, bool removeFlag);

    // Type and content tests.
    bool isSFFFile() const { return fileType == SFF_FILE; }
    bool isFastaFile() const { return fileType == FASTA_FILE; }
    bool isFastqFile() const { return fileType == FASTQ_FILE; }
    bool isSTSFile() const { return fileType == STS_FILE; }
    bool isRefSeq() const { return isRefSeqFlag; }
    bool hasQual() const { return hasQualFlag; }
    bool hasQualFile() const { return hasQualFileFlag; }

    // The file's full path.
    const std::string& getPath() const { return path; }
    // The link path for an SFF file, the path for any other.
    const std::string& getProjectFilePath() const;
    // Name of the file in messages.
    const std::string& getDisplayName() const { return displayName; }
    // Path of the separate quality file of a FASTA file.
    const std::string& getQualPath() const;
    // Moves the record to a new path; only path and displayName change.
    void setPath(std::string newPath);

    // Sets the n flow characters of an SFF file and whether they repeat with period 4.
    void setFlowOrder(const char* chars, int n);
    // The SFF file's flow characters; they must have been set.
    const char* getFlowOrder() const;

    // Reads the common header of an SFF file: header length and flow characters (key is left
    // untouched). Returns false after a warning when the file can't be opened or isn't an SFF file.
    static bool readSFFHeaderInfo(const std::string& path, int& headerLength,
                                  std::string& flowOrder, std::string& key);
    static bool readSFFHeaderInfo(const std::string& path, int& headerLength,
                                  stringbuffer& flowOrder, stringbuffer& key);

    // '1' or '2' for an SRA-named paired FASTQ file (SRRnnnnnn_1.fastq), else blank; cached.
    char getSRAPairNumberFromFile();
    // The library name a FASTQ file's pairs belong to: both files of an SRA run share one.
    std::string displayName2LibName();

    // Pool id of a pool name, giving a new name the next free id.
    static int getPoolId(const std::string& poolName);
    // Pool name of a pool id, which must be one given out.
    static const std::string& getPoolName(int poolId);

    // 1 if the n flow characters are not one period of 4 repeated, else 0.
    static unsigned char computeNonCyclicFlowOrder(const char* chars, int n);

private:
    void init(FileType type, std::string filePath, bool refSeq, bool remove);
    void findQualFile();
};
