// Project context: paths of the project's files, the project and run locks, the
// stop marker, the read file list operations, the log header and the project
// look-up helpers.
#include "Context.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <libgen.h>
#include <malloc.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

#include "InputFile.h"
#include "Logger.h"
#include "OptionParser.h"
#include "OutputFile.h"
#include "TimeUtil.h"
#include "Util.h"
#include "stringbuffer.h"

const char* const suiteXMLBasename = "ZeqProject.xml";
const char* const sffSubdirectory = "sff";
const char* const mapSubdirectory = "mapping";
const char* const asmSubdirectory = "assembly";
const char* const mapProjectXMLBasename = "ZeqMappingProject.xml";
const char* const asmProjectXMLBasename = "ZeqAssemblyProject.xml";
const char* const seqCacheMetadataBasename = ".SeqCacheMetadata";
const char* const seqFileMetadataBasename = ".SeqFileMetadata";
const char* const chordMatrixMetadataBasename = ".ChordMatrixMetadata";
const char* const guiMetadataBasename = ".GuiMetadata";
const char* const pairMetadataBasename = ".PairMetadata";
const char* const geneDepthMetadataBasename = ".GeneDepthMetadata";
const char* const repeatRegionMetadataBasename = ".RepeatRegionMetadata";
const char* const chimericMetadataBasename = ".ChimericMetadata";
const char* const chimericWeightingBasename = ".ChimericWeighting";
const char* const multiplexingMetadataBasename = ".multiplexingMetadata";
const char* const allSampleVariantFrequencyBasename = "ZeqAllSampleVariantFrequency.txt";
const char* const hcSampleVariantFrequencyBasename = "ZeqHCSampleVariantFrequency.txt";
const char* const multiplexMetricsBasename = "ZeqMultiplexMetrics.txt";
const char* const multiplexAllSampleVariantFrequencyMetadataBasename =
    ".multiplexAllSampleVariantFrequencyMetadata";
const char* const multiplexHCSampleVariantFrequencyMetadataBasename =
    ".multiplexHCSampleVariantFrequencyMetadata";
const char* const multiplexHCReportMetadataBasename = ".multiplexHCReportMetadata";
const char* const multiplexAllReportMetadataBasename = ".multiplexAllReportMetadata";
const char* const projectLockBasename = ".ProjectLock";
const char* const runLockBasename = ".RunLock";
const char* const projhaltBasename = ".Projhalt";
const char* const quillonMetricsBasename = "ZeqQuillonMetrics.txt";
const char* const seedTableBasename = ".SeedTable";
const char* const splitAlignBasename = "SplitAlign.txt";
const char* const intersectAlignBasename = "IntersectAlign.txt";
const char* const hitLogBasename = "HitLog.txt";
const char* const pairAlignBasename = "ZeqPairAlign.txt";
const char* const pslBasename = "ZeqPsl.txt";
const char* const tagPairAlignBasename = "ZeqTagPairAlign.txt";
const char* const allStructVarsBasename = "ZeqAllStructVars.txt";
const char* const hcStructVarsBasename = "ZeqHCStructVars.txt";
const char* const allStructRearrangementsBasename = "ZeqAllStructRearrangements.txt";
const char* const hcStructRearrangementsBasename = "ZeqHCStructRearrangements.txt";
const char* const allFusionVariantTableBasename = "ZeqAllFusionVariantTable.txt";
const char* const hcFusionVariantTableBasename = "ZeqHCFusionVariantTable.txt";
const char* const quillonProgressBasename = "ZeqQuillonProgress.txt";
const char* const auditLogBasename = ".AuditLog";
const char* const statsMetadataBasename = ".StatsMetadata";
const char* const alignmentInfoBasename = "ZeqAlignmentInfo.tsv";
const char* const allContigsFnaBasename = "ZeqAllContigs.fna";
const char* const allContigsQualBasename = "ZeqAllContigs.qual";
const char* const allDiffsBasename = "ZeqAllDiffs.txt";
const char* const contigsAceBasename = "ZeqContigs.ace";
const char* const hcDiffsBasename = "ZeqHCDiffs.txt";
const char* const hcDiffLogBasename = "ZeqHCDiff.log";
const char* const scaffoldsVcfBasename = "ZeqScaffolds.vcf";
const char* const largeContigsFnaBasename = "ZeqLargeContigs.fna";
const char* const largeContigsQualBasename = "ZeqLargeContigs.qual";
const char* const mappingQCBasename = "ZeqMappingQC.xls";
const char* const refStatusBasename = "ZeqRefStatus.txt";
const char* const geneStatusBasename = "ZeqGeneStatus.txt";
const char* const readStatusBasename = "ZeqReadStatus.txt";
const char* const hcDiffsMetadataBasename = ".HCDiffsMetadata";
const char* const geneStatusMetadataBasename = ".GeneStatusMetadata";
const char* const refStatusMetadataBasename = ".RefStatusMetadata";
const char* const hcStructVarsMetadataBasename = ".HCStructVarsMetadata";
const char* const hcStructRearrangementsMetadataBasename = ".HCStructRearrangementsMetadata";
const char* const fusionVariantMetadataBasename = ".FusionVariantMetadata";
const char* const isotigsFnaBasename = "ZeqIsotigs.fna";
const char* const isotigsQualBasename = "ZeqIsotigs.qual";
const char* const refLinkBasename = "ZeqRefLink.txt";
const char* const isotigsLayoutBasename = "ZeqIsotigsLayout.txt";
const char* const isotigsTxtBasename = "ZeqIsotigs.txt";
const char* const isotigOrfAlignBasename = "ZeqIsotigOrfAlign.txt";
const char* const isotigsFaaBasename = "ZeqIsotigs.faa";
const char* const contigsBamBasename = "ZeqContigs.bam";
const char* const tempBamAssyMetadataBasename = ".TempBamAssyMetadata";
const char* const hcMultiplexReportBasename = "ZeqHCMultiplexReport.txt";
const char* const allMultiplexReportBasename = "ZeqAllMultiplexReport.txt";
const char* const singletonReadsFnaBasename = "ZeqSingletonReads.fna";
const char* const singletonReadsQualBasename = "ZeqSingletonReads.qual";
const char* const unmappedReadsFnaBasename = "ZeqUnmappedReads.fna";
const char* const unmappedReadsQualBasename = "ZeqUnmappedReads.qual";
const char* const defaultMIDCfgFile = "MIDConfig.parse";

const std::string Context::IN_REGION = "InRegion";
const std::string Context::IN_EXT_REGION = "InExtRegion";
const std::string Context::OUT_OF_REGION = "OutOfRegion";
const std::string Context::IN_REGION_ABBV = "IN";
const std::string Context::IN_EXT_REGION_ABBV = "EXT";

namespace {

// The files that lie in the sub-project directory, in table order.
struct SubFile {
    const char* const* basename;
    std::string Context::*path;
};

const SubFile SUB_FILES[] = {
    {&seqCacheMetadataBasename, &Context::seqCacheMetadataPath},
    {&seqFileMetadataBasename, &Context::seqFileMetadataPath},
    {&chordMatrixMetadataBasename, &Context::chordMatrixMetadataPath},
    {&guiMetadataBasename, &Context::guiMetadataPath},
    {&pairMetadataBasename, &Context::pairMetadataPath},
    {&geneDepthMetadataBasename, &Context::geneDepthMetadataPath},
    {&repeatRegionMetadataBasename, &Context::repeatRegionMetadataPath},
    {&chimericMetadataBasename, &Context::chimericMetadataPath},
    {&chimericWeightingBasename, &Context::chimericWeightingPath},
    {&multiplexingMetadataBasename, &Context::multiplexingMetadataPath},
    {&allSampleVariantFrequencyBasename, &Context::allSampleVariantFrequencyPath},
    {&hcSampleVariantFrequencyBasename, &Context::hcSampleVariantFrequencyPath},
    {&multiplexMetricsBasename, &Context::multiplexMetricsPath},
    {&multiplexAllSampleVariantFrequencyMetadataBasename,
     &Context::multiplexAllSampleVariantFrequencyMetadataPath},
    {&multiplexHCSampleVariantFrequencyMetadataBasename,
     &Context::multiplexHCSampleVariantFrequencyMetadataPath},
    {&multiplexHCReportMetadataBasename, &Context::multiplexHCReportMetadataPath},
    {&multiplexAllReportMetadataBasename, &Context::multiplexAllReportMetadataPath},
    {&projectLockBasename, &Context::projectLockPath},
    {&runLockBasename, &Context::runLockPath},
    {&projhaltBasename, &Context::projhaltPath},
    {&quillonMetricsBasename, &Context::quillonMetricsPath},
    {&seedTableBasename, &Context::seedTablePath},
    {&splitAlignBasename, &Context::splitAlignPath},
    {&intersectAlignBasename, &Context::intersectAlignPath},
    {&hitLogBasename, &Context::hitLogPath},
    {&pairAlignBasename, &Context::pairAlignPath},
    {&pslBasename, &Context::pslPath},
    {&tagPairAlignBasename, &Context::tagPairAlignPath},
    {&allStructVarsBasename, &Context::allStructVarsPath},
    {&hcStructVarsBasename, &Context::hcStructVarsPath},
    {&allStructRearrangementsBasename, &Context::allStructRearrangementsPath},
    {&hcStructRearrangementsBasename, &Context::hcStructRearrangementsPath},
    {&allFusionVariantTableBasename, &Context::allFusionVariantTablePath},
    {&hcFusionVariantTableBasename, &Context::hcFusionVariantTablePath},
    {&quillonProgressBasename, &Context::quillonProgressPath},
    {&auditLogBasename, &Context::auditLogPath},
    {&statsMetadataBasename, &Context::statsMetadataPath},
    {&alignmentInfoBasename, &Context::alignmentInfoPath},
    {&allContigsFnaBasename, &Context::allContigsFnaPath},
    {&allContigsQualBasename, &Context::allContigsQualPath},
    {&allDiffsBasename, &Context::allDiffsPath},
    {&contigsAceBasename, &Context::contigsAcePath},
    {&hcDiffsBasename, &Context::hcDiffsPath},
    {&hcDiffLogBasename, &Context::hcDiffLogPath},
    {&scaffoldsVcfBasename, &Context::scaffoldsVcfPath},
    {&largeContigsFnaBasename, &Context::largeContigsFnaPath},
    {&largeContigsQualBasename, &Context::largeContigsQualPath},
    {&mappingQCBasename, &Context::mappingQCPath},
    {&refStatusBasename, &Context::refStatusPath},
    {&geneStatusBasename, &Context::geneStatusPath},
    {&readStatusBasename, &Context::readStatusPath},
    {&hcDiffsMetadataBasename, &Context::hcDiffsMetadataPath},
    {&geneStatusMetadataBasename, &Context::geneStatusMetadataPath},
    {&refStatusMetadataBasename, &Context::refStatusMetadataPath},
    {&hcStructVarsMetadataBasename, &Context::hcStructVarsMetadataPath},
    {&hcStructRearrangementsMetadataBasename, &Context::hcStructRearrangementsMetadataPath},
    {&fusionVariantMetadataBasename, &Context::fusionVariantMetadataPath},
    {&isotigsFnaBasename, &Context::isotigsFnaPath},
    {&isotigsQualBasename, &Context::isotigsQualPath},
    {&refLinkBasename, &Context::refLinkPath},
    {&isotigsLayoutBasename, &Context::isotigsLayoutPath},
    {&isotigsTxtBasename, &Context::isotigsTxtPath},
    {&isotigOrfAlignBasename, &Context::isotigOrfAlignPath},
    {&isotigsFaaBasename, &Context::isotigsFaaPath},
    {&contigsBamBasename, &Context::contigsBamPath},
    {&tempBamAssyMetadataBasename, &Context::tempBamAssyMetadataPath},
    {&hcMultiplexReportBasename, &Context::hcMultiplexReportPath},
    {&allMultiplexReportBasename, &Context::allMultiplexReportPath},
};

// Joins directory and name with one slash into buf of PATH_BUF_SIZE bytes;
// false when the result would not fit.
bool joinPath(char* buf, const char* directory, const char* name) {
    int n = snprintf(buf, PATH_BUF_SIZE, "%s/%s", directory, name);
    return n >= 0 && n < PATH_BUF_SIZE;
}

}  // namespace

Context::Context(const std::string& projectPath, const std::string& projectTypeName, bool load,
                 bool flat, bool reserved) {
    (void)reserved;
    if (projectTypeName == "mapping") {
        projectType = MAPPING_PROJECT;
    } else if (projectTypeName == "assembly") {
        projectType = ASSEMBLY_PROJECT;
    } else {
        die("Error:  Directory not a mapping or assembly project directory:  %s\n",
            projectPath.c_str());
    }
    if (isAssembly()) {
        numCPU = 1;
    } else {
        pairAlignMode = PAIR_ALIGN_TEXT;
        scaffoldOutputMode = false;
    }

    char* s = realpath(projectPath.c_str(), nullptr);
    ASSERT(s != __null);
    projectDirectory = s;
    free(s);

    subDirectory = flat
                       ? projectDirectory
                       : projectDirectory + "/" + (isMapping() ? mapSubdirectory : asmSubdirectory);
    sffDirectory = projectDirectory + "/" + sffSubdirectory;

    suiteXMLPath = projectDirectory + "/" + suiteXMLBasename;
    projectXMLPath =
        subDirectory + "/" + (isMapping() ? mapProjectXMLBasename : asmProjectXMLBasename);
    for (const SubFile& f : SUB_FILES) this->*(f.path) = subDirectory + "/" + *f.basename;
    unplacedReadsFnaPath =
        subDirectory + "/" + (isAssembly() ? singletonReadsFnaBasename : unmappedReadsFnaBasename);
    unplacedReadsQualPath = subDirectory + "/" +
                            (isAssembly() ? singletonReadsQualBasename : unmappedReadsQualBasename);

    midConfigFile = defaultMIDCfgFile;

    if (load) {
        getProjectLock();
        deserialize();
    }
}

bool Context::_getProjectLock() {
    if (projectLockFd != -1) return true;
    projectLockFd = open(projectLockPath.c_str(), O_RDWR);
    if (flock(projectLockFd, LOCK_EX | LOCK_NB) == 0) return true;
    // Keep the reason of the failed flock for getProjectLock across the close.
    int savedErrno = errno;
    if (projectLockFd >= 0) close(projectLockFd);
    projectLockFd = -1;
    errno = savedErrno;
    return false;
}

bool Context::getProjectLock() {
    for (int attempt = 0; attempt < 5; attempt++) {
        if (_getProjectLock()) return true;
        int savedErrno = errno;
        millisleep(100);
        errno = savedErrno;
    }
    if (errno == EAGAIN) {
        printf("Error in Context:getProjectLock.\n");
        printf("  The project lock file %s is locked. \n", runLockPath.c_str());
        printf("  Unable to get the project file lock. \n");
        fflush(stdout);
    }
    return false;
}

// Unlocks and closes a held lock file; what names the file in the message
// when it cannot be unlocked (the descriptor then stays).
static bool releaseLock(int& fd, const char* what, const std::string& path) {
    if (fd == -1) return true;
    if (flock(fd, LOCK_UN) != 0) {
        printf("Context error: Unable to remove lock on %s %s\n", what, path.c_str());
        fflush(stdout);
        return false;
    }
    close(fd);
    fd = -1;
    return true;
}

bool Context::releaseProjectLock() {
    return releaseLock(projectLockFd, "project lock file", projectLockPath);
}

bool Context::getRunningLock() {
    if (runLockFd != -1) return true;
    runLockFd = open(runLockPath.c_str(), O_RDWR);
    if (runLockFd < 0) {
        runLockFd = -1;
        die("Error:  Unable to open the run lock file for the project.\n");
    }
    if (flock(runLockFd, LOCK_EX | LOCK_NB) != 0) {
        close(runLockFd);
        runLockFd = -1;
        return false;
    }
    return true;
}

bool Context::releaseRunningLock() {
    if (runLockFd == -1) return true;
    if (!releaseLock(runLockFd, "running semaphore file", runLockPath)) return false;
    unlink(projhaltPath.c_str());
    return true;
}

bool Context::isRunning() { return runLockFd != -1; }

bool Context::keepRunning() {
    static time_t nexttime = 0;
    time_t now = time(nullptr);
    if (now <= nexttime) return true;
    nexttime = now + 2;
    struct stat st;
    return stat(projhaltPath.c_str(), &st) != 0;
}

void Context::checkForProjhalt() {
    if (keepRunning()) return;
    releaseRunningLock();
    if (multiplexMode) {
        warn(
            "\nWarning:  projhalt called for this project.  Stopping Multiplex Master "
            "Project...\n");
    } else if (isMultiplexSubproject) {
        warn(
            "\nWarning:  projhalt called for this project.  Stopping Multiplex "
            "Sub-Project...\n");
    } else {
        warn("\nWarning:  projhalt called for this project.  Stopping...\n");
    }
    safeExit(-1);
}

bool Context::markReadFileForRemoval(InputFile* file) {
    bool marked = false;
    for (InputFile* f : readFiles) {
        if (f->getPath() == file->getPath()) {
            f->removeFlag = true;
            marked = true;
        }
    }
    return marked;
}

// The key by which removeReadFile matches records: the link in sff/ for an
// SFF file, the path for any other.
static std::string removalKey(const Context* context, const InputFile* file) {
    if (file->isSFFFile()) return context->sffDirectory + "/" + file->sffDirFilename;
    return file->getPath();
}

bool Context::removeReadFile(InputFile* inFile) {
    ASSERT(!inFile->isFastaFile() || (inFile->isFastaFile() && !inFile->isRefSeq()));
    std::string key = removalKey(this, inFile);
    for (size_t i = 0; i < readFiles.size(); i++) {
        InputFile* f = readFiles[i];
        ASSERT(!f->isFastaFile() || (f->isFastaFile() && !f->isRefSeq()));
        if (removalKey(this, f) == key) {
            readFiles.erase(readFiles.begin() + i);
            removedFiles.push_back(f);
            return true;
        }
    }
    return false;
}

void Context::clearRemovedFiles() {
    for (InputFile* f : removedFiles) delete f;
    removedFiles.clear();
}

// Text of a figure in whole gigabytes.
static std::string gigabytes(uint64_t bytes) { return std::to_string(bytes >> 30); }

void Context::getContextInfo(stringbuffer& out, OptionParser* parser) {
    out.clear();
    out.append("## ########\n");

    char host[256] = "";
    std::string address = "unknown";
    if (gethostname(host, sizeof(host)) != 0) {
        snprintf(host, sizeof(host), "unknown");
    }
    host[sizeof(host) - 1] = '\0';
    struct hostent* he = gethostbyname(host);
    if (he != nullptr && he->h_addr_list != nullptr && he->h_addr_list[0] != nullptr) {
        struct in_addr addr;
        memcpy(&addr, he->h_addr_list[0], sizeof(addr));
        address = inet_ntoa(addr);
    }
    out.appendf("## HOST=%s %s\n", host, address.c_str());

    struct utsname uts;
    std::string machine = "unknown", system = "unknown";
    if (uname(&uts) == 0) {
        machine = uts.machine;
        system = uts.sysname;
    }
    std::string freeRam = "0", totalRam = "0", freeSwap = "0", totalSwap = "0";
    struct sysinfo si;
    if (sysinfo(&si) == 0) {
        uint64_t unit = si.mem_unit == 0 ? 1 : si.mem_unit;
        freeRam = gigabytes((uint64_t)si.freeram * unit);
        totalRam = gigabytes((uint64_t)si.totalram * unit);
        freeSwap = gigabytes((uint64_t)si.freeswap * unit);
        totalSwap = gigabytes((uint64_t)si.totalswap * unit);
    }
    std::string freeDisk = gigabytes(OutputFile::getAvailDiskSpace(subDirectory.c_str()));
    out.appendf(
        "## HOST_INFO=%s %s, %d/%d CPUs, %s/%s gb RAM, %s/%s gb swap, %s gb free disk space\n",
        machine.c_str(), system.c_str(), (int)sysconf(_SC_NPROCESSORS_ONLN),
        (int)sysconf(_SC_NPROCESSORS_CONF), freeRam.c_str(), totalRam.c_str(), freeSwap.c_str(),
        totalSwap.c_str(), freeDisk.c_str());

    const char* user = getlogin();
    out.appendf("## USER=%s\n", user != nullptr ? user : "unknown");
    const char* shell = getenv("SHELL");
    out.appendf("## SHELL=%s\n", shell != nullptr ? shell : "");
    const char* pwd = getenv("PWD");
    out.appendf("## CURR_PATH=%s\n", pwd != nullptr ? pwd : "");
    out.appendf("## EXEC_PATH=%s\n", getThisExecutablePath().c_str());

    std::string cli;
    if (parser != nullptr) {
        for (size_t i = 0; i < parser->args.size(); i++) {
            if (i > 0) cli += ' ';
            cli += parser->args[i];
        }
    }
    out.append("## CLI_ARGS=");
    out.append(cli);
    out.append("\n");
    out.append("## ########\n");
}

namespace {

// Common unit of a set of heap figures, chosen by the largest of them; the
// letter is empty for plain bytes.
void memUnit(size_t largest, size_t& divisor, const char*& letter) {
    if (largest > 1000000000) {
        divisor = 1000000000;
        letter = "G";
    } else if (largest > 1000000) {
        divisor = 1000000;
        letter = "M";
    } else if (largest > 1000) {
        divisor = 1000;
        letter = "K";
    } else {
        divisor = 1;
        letter = "";
    }
}

}  // namespace

void Context::printMallocInfo(const std::string& label, int mode) {
    if (!memoryReport || logger == nullptr) return;
    struct mallinfo2 mi = mallinfo2();
    const char* l = label.c_str();
    if (mode == 0) {
        // Figures above 10^9 are shown in thousands with "000" behind them.
        size_t use = mi.uordblks, fre = mi.fordblks;
        const char* useTail = "";
        const char* freeTail = "";
        if (use > 1000000000) {
            use /= 1000;
            useTail = "000";
        }
        if (fre > 1000000000) {
            fre /= 1000;
            freeTail = "000";
        }
        logger->print("\t%s\t%u%s\t%u%s\n", l, (unsigned)use, useTail, (unsigned)fre, freeTail);
        return;
    }
    size_t divisor;
    const char* u;
    memUnit(mi.uordblks > mi.fordblks ? mi.uordblks : mi.fordblks, divisor, u);
    if (mode == 1) {
        logger->print("\t%s:\tuse:%u %sB\tfree:%u %sB\n", l, (unsigned)(mi.uordblks / divisor), u,
                      (unsigned)(mi.fordblks / divisor), u);
    } else if (mode == 2) {
        logger->print(
            "%s:  arena:%d %sB, ordblks:%d %sB, smblks:%d %sB, hblks:%d %sB, hblkhd:%d %sB, "
            "usmblks:%d %sB, fsmblks:%d %sB, uordblks:%d %sB, fordblks:%d %sB, keepcost:%d %sB\n",
            l, (int)(mi.arena / divisor), u, (int)(mi.ordblks / divisor), u,
            (int)(mi.smblks / divisor), u, (int)(mi.hblks / divisor), u, (int)(mi.hblkhd / divisor),
            u, (int)(mi.usmblks / divisor), u, (int)(mi.fsmblks / divisor), u,
            (int)(mi.uordblks / divisor), u, (int)(mi.fordblks / divisor), u,
            (int)(mi.keepcost / divisor), u);
    } else {
        logger->print(
            "%s:  arena:%d ordblks:%d smblks:%d hblks:%d hblkhd:%d usmblks:%d fsmblks:%d "
            "uordblks:%d fordblks:%d keepcost:%d\n",
            l, (int)mi.arena, (int)mi.ordblks, (int)mi.smblks, (int)mi.hblks, (int)mi.hblkhd,
            (int)mi.usmblks, (int)mi.fsmblks, (int)mi.uordblks, (int)mi.fordblks, (int)mi.keepcost);
    }
}

void Context::printTimeInfo(const std::string& label, const char* format) {
    if (!timeReport || logger == nullptr) return;
    logger->print("\tTimeinfo:  %s\t%s\n", label.c_str(), getTime(format).c_str());
}

void Context::getMultiplexSubprojectPaths(std::vector<std::string>& paths) {
    ASSERT(isMultiplexMode());
    FILE* fp = fopen(multiplexingMetadataPath.c_str(), "r");
    if (fp == nullptr) {
        die("Error:  Error: Unable to read multiplex project tsv file:  %s\n",
            multiplexingMetadataPath.c_str());
    }
    char* line = nullptr;
    size_t cap = 0;
    ssize_t n;
    while ((n = ::getline(&line, &cap, fp)) != -1) {
        std::string text(line, n);
        if (!text.empty() && text.back() == '\n') text.pop_back();
        if (text.empty() || text[0] == '#') continue;
        paths.push_back(subDirectory + "/" + text.substr(0, text.find('\t')));
    }
    free(line);
    fclose(fp);
}

int checkPath(const char* path) {
    struct stat st;
    if (lstat(path, &st) != 0) return -1;
    if (S_ISLNK(st.st_mode)) return 2;
    if (S_ISREG(st.st_mode)) return 1;
    if (S_ISDIR(st.st_mode)) return 3;
    return 0;
}

void trimLastSlash(char* path) {
    size_t len = strlen(path);
    while (len > 0 && path[len - 1] == '/') path[--len] = '\0';
}

bool splitPath(const char* path, char* directory, char* name) {
    directory[0] = '\0';
    name[0] = '\0';
    if (strlen(path) >= (size_t)PATH_BUF_SIZE) return false;
    // dirname and basename may change their argument, so each works on a copy.
    char dirCopy[PATH_BUF_SIZE];
    char nameCopy[PATH_BUF_SIZE];
    strcpy(dirCopy, path);
    strcpy(nameCopy, path);
    strcpy(directory, dirname(dirCopy));
    strcpy(name, basename(nameCopy));
    trimLastSlash(directory);
    trimLastSlash(name);
    return true;
}

std::string escapeChar(const char* text, char c) {
    // The result is bounded like the message buffers: text that would not fit is cut.
    std::string out;
    for (const char* p = text; *p != '\0'; p++) {
        int need = (*p == c) ? 2 : 1;
        if ((int)out.size() + need > MSG_BUF_SIZE - 1) break;
        if (*p == c) out += '\\';
        out += *p;
    }
    return out;
}

// What a path names once links are followed: 1 a regular file, 3 a directory,
// 0 anything else, -1 nothing. A project reached through a link is still a project.
static int targetKind(const char* path) {
    struct stat st;
    if (stat(path, &st) != 0) return -1;
    return S_ISREG(st.st_mode) ? 1 : S_ISDIR(st.st_mode) ? 3 : 0;
}

Context* checkProjectDirectory(const char* path, bool flag) {
    char dir[PATH_BUF_SIZE];
    char buf[PATH_BUF_SIZE];
    size_t len = strlen(path);
    if (len >= (size_t)PATH_BUF_SIZE) return nullptr;
    memcpy(dir, path, len + 1);
    if (len > 0 && dir[len - 1] == '/') dir[len - 1] = '\0';

    if (targetKind(dir) != 3) return nullptr;
    if (!joinPath(buf, dir, suiteXMLBasename) || targetKind(buf) != 1) return nullptr;
    if (!joinPath(buf, dir, sffSubdirectory) || targetKind(buf) != 3) return nullptr;

    const char* type = "";
    char sub[PATH_BUF_SIZE];
    if (joinPath(sub, dir, mapSubdirectory) && targetKind(sub) == 3) {
        type = "mapping";
        if (!joinPath(buf, sub, mapProjectXMLBasename) || targetKind(buf) != 1) return nullptr;
    }
    if (joinPath(sub, dir, asmSubdirectory) && targetKind(sub) == 3) {
        if (type[0] != '\0') return nullptr;
        type = "assembly";
        if (!joinPath(buf, sub, asmProjectXMLBasename) || targetKind(buf) != 1) return nullptr;
    }
    if (type[0] == '\0') return nullptr;
    return new Context(dir, type, true, false, flag);
}

Context* checkCurrentDirectory(bool flag) {
    Context* context = checkProjectDirectory(".", flag);
    if (context == nullptr) context = checkProjectDirectory("..", flag);
    return context;
}
