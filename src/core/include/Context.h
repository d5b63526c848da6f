// The in-memory form of one project directory: its type, the absolute path of
// every file the suite reads or writes there, the settings of the project file,
// the reference and read file lists, and the lock files and stop marker.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class InputFile;
class Logger;
class OptionParser;
class XMLnode;
class stringbuffer;
struct MIDInfo;

// Names of the files and directories of a project. The constructor of Context
// builds an absolute path from each of them.
extern const char* const suiteXMLBasename;
extern const char* const sffSubdirectory;
extern const char* const mapSubdirectory;
extern const char* const asmSubdirectory;
extern const char* const mapProjectXMLBasename;
extern const char* const asmProjectXMLBasename;
extern const char* const seqCacheMetadataBasename;
extern const char* const seqFileMetadataBasename;
extern const char* const chordMatrixMetadataBasename;
extern const char* const guiMetadataBasename;
extern const char* const pairMetadataBasename;
extern const char* const geneDepthMetadataBasename;
extern const char* const repeatRegionMetadataBasename;
extern const char* const chimericMetadataBasename;
extern const char* const chimericWeightingBasename;
extern const char* const multiplexingMetadataBasename;
extern const char* const allSampleVariantFrequencyBasename;
extern const char* const hcSampleVariantFrequencyBasename;
extern const char* const multiplexMetricsBasename;
extern const char* const multiplexAllSampleVariantFrequencyMetadataBasename;
extern const char* const multiplexHCSampleVariantFrequencyMetadataBasename;
extern const char* const multiplexHCReportMetadataBasename;
extern const char* const multiplexAllReportMetadataBasename;
extern const char* const projectLockBasename;
extern const char* const runLockBasename;
extern const char* const projhaltBasename;
extern const char* const quillonMetricsBasename;
extern const char* const seedTableBasename;
extern const char* const splitAlignBasename;
extern const char* const intersectAlignBasename;
extern const char* const hitLogBasename;
extern const char* const pairAlignBasename;
extern const char* const pslBasename;
extern const char* const tagPairAlignBasename;
extern const char* const allStructVarsBasename;
extern const char* const hcStructVarsBasename;
extern const char* const allStructRearrangementsBasename;
extern const char* const hcStructRearrangementsBasename;
extern const char* const allFusionVariantTableBasename;
extern const char* const hcFusionVariantTableBasename;
extern const char* const quillonProgressBasename;
extern const char* const auditLogBasename;
extern const char* const statsMetadataBasename;
extern const char* const alignmentInfoBasename;
extern const char* const allContigsFnaBasename;
extern const char* const allContigsQualBasename;
extern const char* const allDiffsBasename;
extern const char* const contigsAceBasename;
extern const char* const hcDiffsBasename;
extern const char* const hcDiffLogBasename;
extern const char* const scaffoldsVcfBasename;
extern const char* const largeContigsFnaBasename;
extern const char* const largeContigsQualBasename;
extern const char* const mappingQCBasename;
extern const char* const refStatusBasename;
extern const char* const geneStatusBasename;
extern const char* const readStatusBasename;
extern const char* const hcDiffsMetadataBasename;
extern const char* const geneStatusMetadataBasename;
extern const char* const refStatusMetadataBasename;
extern const char* const hcStructVarsMetadataBasename;
extern const char* const hcStructRearrangementsMetadataBasename;
extern const char* const fusionVariantMetadataBasename;
extern const char* const isotigsFnaBasename;
extern const char* const isotigsQualBasename;
extern const char* const refLinkBasename;
extern const char* const isotigsLayoutBasename;
extern const char* const isotigsTxtBasename;
extern const char* const isotigOrfAlignBasename;
extern const char* const isotigsFaaBasename;
extern const char* const contigsBamBasename;
extern const char* const tempBamAssyMetadataBasename;
extern const char* const hcMultiplexReportBasename;
extern const char* const allMultiplexReportBasename;
extern const char* const singletonReadsFnaBasename;
extern const char* const singletonReadsQualBasename;
extern const char* const unmappedReadsFnaBasename;
extern const char* const unmappedReadsQualBasename;
// Default name of the MID configuration file.
extern const char* const defaultMIDCfgFile;

// Size of the path buffers of the look-up helpers; longer paths are refused.
constexpr int PATH_BUF_SIZE = 10000;
// Size of the message buffer of escapeChar.
constexpr int MSG_BUF_SIZE = 20000;

class Context {
public:
    enum ProjectType : int32_t { MAPPING_PROJECT = 0, ASSEMBLY_PROJECT = 1 };

    // Numeric values of the enum settings of the project file.
    static constexpr int ACE_NONE = 0, ACE_FILE = 1, ACE_DIR = 2, ACE_AUTO = 3, ACE_CONSED = 4;
    static constexpr int ACE_READ_DEFAULT = 0, ACE_READ_RAW = 1, ACE_READ_TRIMMED = 2;
    static constexpr int PAIR_ALIGN_NONE = 0, PAIR_ALIGN_TAB = 1, PAIR_ALIGN_TEXT = 2;
    static constexpr int ALIGN_INFO_FALSE = 0, ALIGN_INFO_TRUE = 1, ALIGN_INFO_AUTO = 2;
    static constexpr int REFERENCE_AUTO = 0, REFERENCE_GENOME = 1, REFERENCE_CDNA = 2;

    static const std::string IN_REGION;
    static const std::string IN_EXT_REGION;
    static const std::string OUT_OF_REGION;
    static const std::string IN_REGION_ABBV;
    static const std::string IN_EXT_REGION_ABBV;

    ProjectType projectType = MAPPING_PROJECT;
    std::string projectDirectory;
    std::string subDirectory;
    std::string sffDirectory;

    // Absolute paths of the project's files.
    std::string suiteXMLPath;
    std::string projectXMLPath;  // ZeqMappingProject.xml or ZeqAssemblyProject.xml
    std::string seqCacheMetadataPath;
    std::string seqFileMetadataPath;
    std::string chordMatrixMetadataPath;
    std::string guiMetadataPath;
    std::string pairMetadataPath;
    std::string geneDepthMetadataPath;
    std::string repeatRegionMetadataPath;
    std::string chimericMetadataPath;
    std::string chimericWeightingPath;
    std::string multiplexingMetadataPath;
    std::string allSampleVariantFrequencyPath;
    std::string hcSampleVariantFrequencyPath;
    std::string multiplexMetricsPath;
    std::string multiplexAllSampleVariantFrequencyMetadataPath;
    std::string multiplexHCSampleVariantFrequencyMetadataPath;
    std::string multiplexHCReportMetadataPath;
    std::string multiplexAllReportMetadataPath;
    std::string projectLockPath;
    std::string runLockPath;
    std::string projhaltPath;
    std::string quillonMetricsPath;
    std::string seedTablePath;
    std::string splitAlignPath;
    std::string intersectAlignPath;
    std::string hitLogPath;
    std::string pairAlignPath;
    std::string pslPath;
    std::string tagPairAlignPath;
    std::string allStructVarsPath;
    std::string hcStructVarsPath;
    std::string allStructRearrangementsPath;
    std::string hcStructRearrangementsPath;
    std::string allFusionVariantTablePath;
    std::string hcFusionVariantTablePath;
    std::string quillonProgressPath;
    std::string auditLogPath;
    std::string statsMetadataPath;
    std::string alignmentInfoPath;
    std::string allContigsFnaPath;
    std::string allContigsQualPath;
    std::string allDiffsPath;
    std::string contigsAcePath;
    std::string hcDiffsPath;
    std::string hcDiffLogPath;
    std::string scaffoldsVcfPath;
    std::string largeContigsFnaPath;
    std::string largeContigsQualPath;
    std::string mappingQCPath;
    std::string refStatusPath;
    std::string geneStatusPath;
    std::string readStatusPath;
    std::string hcDiffsMetadataPath;
    std::string geneStatusMetadataPath;
    std::string refStatusMetadataPath;
    std::string hcStructVarsMetadataPath;
    std::string hcStructRearrangementsMetadataPath;
    std::string fusionVariantMetadataPath;
    std::string isotigsFnaPath;
    std::string isotigsQualPath;
    std::string refLinkPath;
    std::string isotigsLayoutPath;
    std::string isotigsTxtPath;
    std::string isotigOrfAlignPath;
    std::string isotigsFaaPath;
    std::string contigsBamPath;
    std::string tempBamAssyMetadataPath;
    std::string hcMultiplexReportPath;
    std::string allMultiplexReportPath;
    // Reads without a place: ZeqSingletonReads.* (assembly) or ZeqUnmappedReads.* (mapping).
    std::string unplacedReadsFnaPath;
    std::string unplacedReadsQualPath;

    // Settings of the project file's Config element, with their defaults.
    int minimumReadLength = 30;
    int overlapSeedStep = 12;
    int overlapSeedLength = 16;
    int overlapMinSeedCount = 1;
    int overlapSeedHitLimit = 70;
    int overlapHitPositionLimit = 1000000;
    int overlapMinMatchLength = 40;
    bool overlapMinMatchLengthIsPct = false;  // value was written with a trailing "%"
    int overlapMinMatchIdentity = 90;
    int overlapMatchIdentScore = 2;
    int overlapMatchDiffScore = -3;
    int overlapMatchUniqueThresh = 12;
    int isogroupThresh = 500;
    int isotigThresh = 100;
    int isotigContigCountThresh = 100;
    int isotigContigLengthThresh = 3;
    bool isotigDepthSplit = false;
    int aceMode = ACE_AUTO;
    bool aceModeConsed16 = false;  // with aceMode ACE_CONSED: "Consed16" rather than "Consed"
    int aceReadMode = ACE_READ_DEFAULT;
    int pairAlignMode = PAIR_ALIGN_NONE;
    int alignInfoMode = ALIGN_INFO_AUTO;
    bool nucleotideFreqTable = false;
    int mapMinContigDepth = 1;
    int allContigThresh = 100;
    int largeContigThresh = 500;
    int expectedDepth = 0;
    bool cDNAMode = false;
    int referenceMode = REFERENCE_AUTO;
    bool largeGenome = false;
    bool multiplexMode = false;
    int minSampleVariantFreqPct = 0;
    int maxSampleVariantFreqPct = 100;
    bool sampleVariantFreqShowEmptyRow = true;
    bool scaffoldOutputMode = true;
    int scaffoldLengthThreshold = 2000;
    bool ripMode = false;
    bool heterozygoteMode = false;
    int assemblerBatchSize = 0;
    int numCPU = 0;
    bool showSingleReadVariations = false;
    bool orvaneMappingMode = false;
    bool backwardCompatibleContigging = false;
    bool finishMode = false;
    bool autoTrimming = true;
    std::string vectorDatabase;
    std::string screeningDatabase;
    std::string haplotypeFile;
    bool haplotypeMode = false;  // on when haplotypeFile is non-empty
    std::string targetedRegionFile;
    std::string annotationFile;
    std::string knownSNPFile;
    std::string accessionRenameFile;
    std::string filterExcludeFile;
    std::string filterIncludeFile;

    // Settings no project element sets; engines and commands change them directly.
    int readNLimit = 5;
    bool pairedLinkerOnly = false;
    bool memoryReport = false;           // printMallocInfo prints only when on
    bool timeReport = false;             // printTimeInfo prints only when on
    bool isMultiplexSubproject = false;  // this project is a sample of a multiplex project
    bool refSetChanged = false;          // the store found fewer references than declared

    std::string midConfigFile;
    int projectLockFd = -1;
    int runLockFd = -1;
    std::string dateCreated;
    std::string dateModified;
    int declaredRefCount = 0;
    std::vector<InputFile*> refFiles;
    int declaredReadCount = 0;
    std::vector<InputFile*> readFiles;
    std::vector<InputFile*> removedFiles;
    bool useSerialIO = false;
    bool serialIOMinimizeDisk = false;
    int serialIOMemLimit = 0;
    Logger* logger = nullptr;

    // Derives every path of the project at projectPath ("mapping" or "assembly");
    // with load, takes the project lock and reads the sub-project file.
    Context(const std::string& projectPath, const std::string& projectTypeName, bool load,
            bool flat, bool reserved);
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    // The project's type and multiplex switch.
    bool isMapping() const { return projectType == MAPPING_PROJECT; }
    bool isAssembly() const { return projectType == ASSEMBLY_PROJECT; }
    bool isMultiplexMode() const { return multiplexMode; }

    // Takes the project lock, trying five times 100 ms apart; prints why on a held lock.
    bool getProjectLock();
    // One non-blocking attempt at the project lock.
    bool _getProjectLock();
    // Releases the project lock; the lock file stays on disk.
    bool releaseProjectLock();
    // One non-blocking attempt at the run lock; true means no other run holds the project.
    bool getRunningLock();
    // Releases the run lock and removes the stop marker.
    bool releaseRunningLock();
    // Whether this process holds the run lock.
    bool isRunning();
    // False once the stop marker exists; looks at most every 2 seconds.
    bool keepRunning();
    // Ends the process with status -1 when a stop was requested.
    void checkForProjhalt();

    // Sets removeFlag on every read file with the same path; true if any.
    bool markReadFileForRemoval(InputFile* file);
    // Moves the first read file with the same key from readFiles to removedFiles.
    bool removeReadFile(InputFile* inFile);
    // Destroys the records taken out by removeReadFile.
    void clearRemovedFiles();

    // Fills out with the header block that each run log starts with.
    void getContextInfo(stringbuffer& out, OptionParser* parser);
    // Prints heap figures on the project's logger when the memory report is on.
    void printMallocInfo(const std::string& label, int mode);
    // Prints the time on the project's logger when the time report is on.
    void printTimeInfo(const std::string& label, const char* format);
    // Fills paths with the directories of the samples of a multiplex project.
    void getMultiplexSubprojectPaths(std::vector<std::string>& paths);

    // Writes the sub-project file from the fields, through a temporary file that
    // replaces it. Always true: when the disk fails the old file is kept whole.
    bool serialize();
    // Reads the sub-project file into the fields and file lists.
    void deserialize();

    // Stores the creation and modification dates of a ProjectInformation element.
    void processProjectInfo(XMLnode* node);
    // Reads the settings of a Config element; a value out of range ends the process.
    void processConfiguration(XMLnode* node);
    // Reads SetRefCount and each reference File of a ReferenceFiles element.
    void processRefFiles(XMLnode* node);
    // Appends the record of one reference File element to refFiles.
    void processRefFile(XMLnode* node, bool isRef);
    // Reads SetReadCount and each read File of a ReadFiles element.
    void processReadFiles(XMLnode* node);
    // A new record for one read File element.
    InputFile* processReadFile(XMLnode* node);
    // Adds a Multiplex element for the scheme and MID list under parent.
    void serializeMultiplexing(XMLnode* parent, const std::string& scheme,
                               const std::vector<MIDInfo>& mids, bool changed);
    // Reads a Multiplex element into scheme, mids and changed.
    void deserializeMultiplexing(XMLnode* node, std::string& scheme, std::vector<MIDInfo>& mids,
                                 bool& changed);
};

// A loaded and locked Context for the project at path, or null when it is none.
Context* checkProjectDirectory(const char* path, bool flag);
// The same for "." and then "..", so that it works from inside mapping/ or assembly/.
Context* checkCurrentDirectory(bool flag);
// -1 absent, 1 regular file, 2 symbolic link, 3 directory, 0 anything else.
int checkPath(const char* path);
// Strips all trailing '/' in place.
void trimLastSlash(char* path);
// Splits path into directory and name (each PATH_BUF_SIZE bytes), trailing slashes
// stripped; false when the path is too long for the buffers.
bool splitPath(const char* path, char* directory, char* name);
// Puts a backslash before each c in text.
std::string escapeChar(const char* text, char c);
