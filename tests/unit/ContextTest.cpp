#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Context.h"
#include "InputFile.h"
#include "Logger.h"
#include "TestSupport.h"
#include "TimeUtil.h"
#include "Util.h"
#include "stringbuffer.h"

using testsupport::exists;
using testsupport::makeDir;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const char* const MINIMAL_XML = "<ZeqProject>\n</ZeqProject>\n";

using testsupport::exactly;

// A project skeleton of the given type under dir/name, with its two lock files.
std::string makeProject(const TempDir& dir, const std::string& name, const std::string& type) {
    std::string root = dir.path(name);
    makeDir(root);
    makeDir(root + "/sff");
    writeFile(root + "/ZeqProject.xml", "<ZeqProject/>\n");
    std::string sub = root + "/" + type;
    makeDir(sub);
    writeFile(sub + (type == "mapping" ? "/ZeqMappingProject.xml" : "/ZeqAssemblyProject.xml"),
              MINIMAL_XML);
    writeFile(sub + "/.ProjectLock", "");
    writeFile(sub + "/.RunLock", "");
    return root;
}

// A second process that holds an flock on path for the life of this object.
class LockHolder {
public:
    explicit LockHolder(const std::string& path) {
        int ready[2];
        if (pipe(ready) != 0 || pipe(release) != 0) abort();
        pid = fork();
        if (pid == 0) {
            close(release[1]);
            int fd = open(path.c_str(), O_RDWR);
            char c = (fd >= 0 && flock(fd, LOCK_EX) == 0) ? 'y' : 'n';
            // Holds the lock until the parent closes the release pipe.
            if (write(ready[1], &c, 1) == 1 && read(release[0], &c, 1) >= 0) _exit(0);
            _exit(2);
        }
        close(ready[1]);
        close(release[0]);
        char c = 'n';
        locked = read(ready[0], &c, 1) == 1 && c == 'y';
        close(ready[0]);
    }
    ~LockHolder() {
        close(release[1]);
        waitpid(pid, nullptr, 0);
    }
    bool locked = false;

private:
    pid_t pid;
    int release[2];
};

}  // namespace

TEST(ContextLookupTest, FindsMappingAndAssemblyProjects) {
    TempDir dir;
    std::string map = makeProject(dir, "map", "mapping");
    Context* c = checkProjectDirectory((map + "/").c_str(), false);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->projectType, Context::MAPPING_PROJECT);
    EXPECT_EQ(c->projectDirectory, map);
    EXPECT_EQ(c->subDirectory, map + "/mapping");
    EXPECT_EQ(c->sffDirectory, map + "/sff");
    EXPECT_EQ(c->projectXMLPath, map + "/mapping/ZeqMappingProject.xml");
    EXPECT_EQ(c->seqFileMetadataPath, map + "/mapping/.SeqFileMetadata");
    EXPECT_EQ(c->unplacedReadsFnaPath, map + "/mapping/ZeqUnmappedReads.fna");
    EXPECT_EQ(c->midConfigFile, "MIDConfig.parse");
    EXPECT_EQ(c->pairAlignMode, Context::PAIR_ALIGN_TEXT);
    EXPECT_FALSE(c->scaffoldOutputMode);
    EXPECT_NE(c->projectLockFd, -1);  // loaded projects are locked
    EXPECT_TRUE(c->releaseProjectLock());
    delete c;

    std::string asmb = makeProject(dir, "asm", "assembly");
    c = checkProjectDirectory(asmb.c_str(), false);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->projectType, Context::ASSEMBLY_PROJECT);
    EXPECT_EQ(c->projectXMLPath, asmb + "/assembly/ZeqAssemblyProject.xml");
    EXPECT_EQ(c->unplacedReadsFnaPath, asmb + "/assembly/ZeqSingletonReads.fna");
    EXPECT_EQ(c->numCPU, 1);
    EXPECT_EQ(c->pairAlignMode, Context::PAIR_ALIGN_NONE);
    EXPECT_TRUE(c->scaffoldOutputMode);
    delete c;
}

TEST(ContextLookupTest, RejectsWhatIsNoProject) {
    TempDir dir;
    std::string both = makeProject(dir, "both", "mapping");
    makeDir(both + "/assembly");
    writeFile(both + "/assembly/ZeqAssemblyProject.xml", MINIMAL_XML);
    EXPECT_EQ(checkProjectDirectory(both.c_str(), false), nullptr);

    std::string noXml = makeProject(dir, "noxml", "mapping");
    unlink((noXml + "/mapping/ZeqMappingProject.xml").c_str());
    EXPECT_EQ(checkProjectDirectory(noXml.c_str(), false), nullptr);

    std::string noSff = makeProject(dir, "nosff", "mapping");
    rmdir((noSff + "/sff").c_str());
    EXPECT_EQ(checkProjectDirectory(noSff.c_str(), false), nullptr);

    std::string noTop = makeProject(dir, "notop", "mapping");
    unlink((noTop + "/ZeqProject.xml").c_str());
    EXPECT_EQ(checkProjectDirectory(noTop.c_str(), false), nullptr);

    std::string noSub = makeProject(dir, "nosub", "mapping");
    EXPECT_EQ(system(("rm -rf '" + noSub + "/mapping'").c_str()), 0);
    EXPECT_EQ(checkProjectDirectory(noSub.c_str(), false), nullptr);

    writeFile(dir.path("plain"), "x");
    EXPECT_EQ(checkProjectDirectory(dir.path("plain").c_str(), false), nullptr);
    EXPECT_EQ(checkProjectDirectory(dir.path("absent").c_str(), false), nullptr);
    EXPECT_EQ(checkProjectDirectory(std::string(PATH_BUF_SIZE + 10, 'a').c_str(), false), nullptr);
}

TEST(ContextLookupTest, CurrentDirectoryAndRelativePaths) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    char saved[PATH_MAX];
    ASSERT_NE(getcwd(saved, sizeof saved), nullptr);

    ASSERT_EQ(chdir((proj + "/mapping").c_str()), 0);
    Context* fromSub = checkCurrentDirectory(false);
    if (fromSub != nullptr) fromSub->releaseProjectLock();
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    Context* relative = checkProjectDirectory("proj", false);
    ASSERT_EQ(chdir(saved), 0);

    ASSERT_NE(fromSub, nullptr);
    EXPECT_EQ(fromSub->projectDirectory, proj);
    ASSERT_NE(relative, nullptr);
    EXPECT_EQ(relative->projectDirectory, proj);  // stored as the real, absolute path
    relative->releaseProjectLock();
    delete fromSub;
    delete relative;
}

TEST(ContextLookupTest, ConstructorOptions) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "assembly");
    Context flat(proj, "assembly", false, true, false);
    EXPECT_EQ(flat.subDirectory, proj);
    EXPECT_EQ(flat.projectXMLPath, proj + "/ZeqAssemblyProject.xml");
    EXPECT_EQ(flat.runLockPath, proj + "/.RunLock");
    EXPECT_EQ(flat.projectLockFd, -1);  // without load nothing is locked
    EXPECT_TRUE(flat.readFiles.empty());

    EXPECT_DEATH(Context(dir.path("none"), "mapping", false, false, false),
                 "Assertion:  s != __null");
    EXPECT_EXIT(
        Context(proj, "Mapping", false, false, false), testing::ExitedWithCode(255),
        exactly("Error:  Directory not a mapping or assembly project directory:  " + proj + "\n"));
}

TEST(ContextPathTest, CheckPathKinds) {
    TempDir dir;
    writeFile(dir.path("file"), "x");
    makeDir(dir.path("sub"));
    ASSERT_EQ(symlink(dir.path("sub").c_str(), dir.path("dirlink").c_str()), 0);
    ASSERT_EQ(symlink(dir.path("nowhere").c_str(), dir.path("dangling").c_str()), 0);
    ASSERT_EQ(mkfifo(dir.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(checkPath(dir.path("file").c_str()), 1);
    EXPECT_EQ(checkPath(dir.path("dirlink").c_str()), 2);
    EXPECT_EQ(checkPath(dir.path("dangling").c_str()), 2);
    EXPECT_EQ(checkPath(dir.path("sub").c_str()), 3);
    EXPECT_EQ(checkPath(dir.path("fifo").c_str()), 0);
    EXPECT_EQ(checkPath(dir.path("nowhere").c_str()), -1);
}

TEST(ContextPathTest, TrimSplitAndEscape) {
    char p1[] = "/";
    trimLastSlash(p1);
    EXPECT_STREQ(p1, "");
    char p2[] = "a/b///";
    trimLastSlash(p2);
    EXPECT_STREQ(p2, "a/b");

    char d[PATH_BUF_SIZE], n[PATH_BUF_SIZE];
    EXPECT_TRUE(splitPath("a", d, n));
    EXPECT_STREQ(d, ".");
    EXPECT_STREQ(n, "a");
    EXPECT_TRUE(splitPath("x/y/z/", d, n));
    EXPECT_STREQ(d, "x/y");
    EXPECT_STREQ(n, "z");
    EXPECT_TRUE(splitPath("/top", d, n));
    EXPECT_STREQ(d, "");
    EXPECT_STREQ(n, "top");
    EXPECT_FALSE(splitPath(std::string(PATH_BUF_SIZE, 'a').c_str(), d, n));
    EXPECT_STREQ(d, "");

    EXPECT_EQ(escapeChar("a b  c", ' '), "a\\ b\\ \\ c");
    EXPECT_EQ(escapeChar("", ' '), "");
    EXPECT_EQ(escapeChar(std::string(30000, 'x').c_str(), ' ').size(), (size_t)MSG_BUF_SIZE - 1);
}

TEST(ContextLockTest, ProjectLockHeldByAnotherProcess) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    {
        LockHolder holder(c.projectLockPath);
        ASSERT_TRUE(holder.locked);
        testing::internal::CaptureStdout();
        bool got = c.getProjectLock();
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_FALSE(got);
        EXPECT_EQ(c.projectLockFd, -1);
        // The message names the run lock's path.
        EXPECT_EQ(out, "Error in Context:getProjectLock.\n  The project lock file " +
                           c.runLockPath +
                           " is locked. \n  Unable to get the project file lock. \n");
    }
    EXPECT_TRUE(c.getProjectLock());
    int fd = c.projectLockFd;
    EXPECT_NE(fd, -1);
    EXPECT_TRUE(c.getProjectLock());  // held already: the same descriptor
    EXPECT_EQ(c.projectLockFd, fd);
    EXPECT_TRUE(c.releaseProjectLock());
    EXPECT_EQ(c.projectLockFd, -1);
    EXPECT_TRUE(exists(c.projectLockPath));
    EXPECT_TRUE(c.releaseProjectLock());
}

TEST(ContextLockTest, MissingProjectLockFileOpensUnlocked) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    unlink((proj + "/mapping/.ProjectLock").c_str());
    testing::internal::CaptureStdout();
    Context* c = checkProjectDirectory(proj.c_str(), false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->projectLockFd, -1);
    delete c;
}

TEST(ContextLockTest, RunLockAndStopMarker) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    writeFile(c.projhaltPath, "");
    {
        LockHolder holder(c.runLockPath);
        ASSERT_TRUE(holder.locked);
        EXPECT_FALSE(c.getRunningLock());
        EXPECT_FALSE(c.isRunning());
    }
    // A release without a held run lock leaves the marker.
    EXPECT_TRUE(c.releaseRunningLock());
    EXPECT_TRUE(exists(c.projhaltPath));

    EXPECT_TRUE(c.getRunningLock());
    EXPECT_TRUE(c.isRunning());
    EXPECT_TRUE(c.getRunningLock());
    EXPECT_TRUE(c.releaseRunningLock());
    EXPECT_FALSE(c.isRunning());
    EXPECT_FALSE(exists(c.projhaltPath));
    EXPECT_TRUE(exists(c.runLockPath));

    unlink(c.runLockPath.c_str());
    EXPECT_EXIT(c.getRunningLock(), testing::ExitedWithCode(255),
                exactly("Error:  Unable to open the run lock file for the project.\n"));
}

// keepRunning keeps its clock in a static: these run only in child processes,
// each starting from a fresh clock.
TEST(ContextLockTest, StopMarkerEndsTheRun) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    EXPECT_EXIT(
        {
            bool first = c.keepRunning();
            writeFile(c.projhaltPath, "");
            bool second = c.keepRunning();  // within 2 seconds: not looked at
            _exit(first && second ? 7 : 8);
        },
        testing::ExitedWithCode(7), "");
    EXPECT_EXIT(
        {
            c.getRunningLock();
            c.checkForProjhalt();
        },
        testing::ExitedWithCode(255),
        exactly("\nWarning:  projhalt called for this project.  Stopping...\n"));
    EXPECT_FALSE(exists(c.projhaltPath));  // removed with the run lock

    writeFile(c.projhaltPath, "");
    c.multiplexMode = true;
    EXPECT_EXIT(c.checkForProjhalt(), testing::ExitedWithCode(255),
                exactly("\nWarning:  projhalt called for this project.  Stopping Multiplex Master "
                        "Project...\n"));
    EXPECT_TRUE(exists(c.projhaltPath));  // no run lock held: the marker stays
    c.multiplexMode = false;
    c.isMultiplexSubproject = true;
    EXPECT_EXIT(c.checkForProjhalt(), testing::ExitedWithCode(255),
                exactly("\nWarning:  projhalt called for this project.  Stopping Multiplex "
                        "Sub-Project...\n"));
}

TEST(ContextFileListTest, MarkRemoveAndClear) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    InputFile* sff = new InputFile(c.sffDirectory + "/run1.sff", "/data/a.sff", "", "", false);
    InputFile* fa1 = new InputFile(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    InputFile* fa2 = new InputFile(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    c.readFiles = {sff, fa1, fa2};

    InputFile probe(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_TRUE(c.markReadFileForRemoval(&probe));
    EXPECT_FALSE(sff->removeFlag);
    EXPECT_TRUE(fa1->removeFlag);
    EXPECT_TRUE(fa2->removeFlag);  // every match is marked
    InputFile other(false, "/data/c.fna", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_FALSE(c.markReadFileForRemoval(&other));

    // An SFF file is matched by its link in sff/, not by its real path.
    InputFile sffProbe(c.sffDirectory + "/run1.sff", "/elsewhere/a.sff", "", "", false);
    EXPECT_TRUE(c.removeReadFile(&sffProbe));
    EXPECT_TRUE(c.removeReadFile(&probe));  // the first of the two only
    ASSERT_EQ(c.readFiles.size(), 1u);
    EXPECT_EQ(c.readFiles[0], fa2);
    ASSERT_EQ(c.removedFiles.size(), 2u);
    EXPECT_EQ(c.removedFiles[0], sff);
    EXPECT_EQ(c.removedFiles[1], fa1);
    EXPECT_FALSE(c.removeReadFile(&other));
    c.clearRemovedFiles();
    EXPECT_TRUE(c.removedFiles.empty());

    InputFile ref("/data/ref.fna", InputFile::FASTA_FILE, true);
    EXPECT_DEATH(c.removeReadFile(&ref),
                 "Assertion:  !inFile->isFastaFile\\(\\) \\|\\| \\(inFile->isFastaFile\\(\\) && "
                 "!inFile->isRefSeq\\(\\)\\)");
}

TEST(ContextReportTest, MultiplexSubprojectPaths) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    std::vector<std::string> paths;
    EXPECT_DEATH(c.getMultiplexSubprojectPaths(paths), "Assertion:  isMultiplexMode\\(\\)");

    c.multiplexMode = true;
    EXPECT_EXIT(c.getMultiplexSubprojectPaths(paths), testing::ExitedWithCode(255),
                exactly("Error:  Error: Unable to read multiplex project tsv file:  " +
                        c.multiplexingMetadataPath + "\n"));
    writeFile(c.multiplexingMetadataPath,
              "# name\tmid\n\nsampleA\tMID1\tx\n#skip\nsampleB\n\nsample C\tMID3");
    c.getMultiplexSubprojectPaths(paths);
    std::vector<std::string> expected = {c.subDirectory + "/sampleA", c.subDirectory + "/sampleB",
                                         c.subDirectory + "/sample C"};
    EXPECT_EQ(paths, expected);
}

TEST(ContextReportTest, ContextInfoHeader) {
    TempDir dir;
    Context c(makeProject(dir, "proj", "mapping"), "mapping", false, false, false);
    stringbuffer out("old text");
    c.getContextInfo(out, nullptr);
    const char* shell = getenv("SHELL");
    std::string re =
        "^## ########\n## HOST=[^\n]+ [^\n]+\n## HOST_INFO=[^\n]+ [^\n]+, [0-9]+/[0-9]+ CPUs, "
        "[0-9]+/[0-9]+ gb RAM, [0-9]+/[0-9]+ gb swap, [0-9]+ gb free disk space\n## USER=[^\n]*\n"
        "## SHELL=" +
        std::string(shell ? shell : "") +
        "\n## CURR_PATH=[^\n]*\n## EXEC_PATH=" + getThisExecutablePath() +
        "\n## CLI_ARGS=\n## ########\n$";
    EXPECT_TRUE(testing::internal::RE::FullMatch(out.str(), re)) << out.str();
}

TEST(ContextReportTest, TimeAndMemoryReportsFollowTheirSwitches) {
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c(proj, "mapping", false, false, false);
    std::string logPath = dir.path("log.txt");
    int savedLevel = Logger::verboseLevel;
    Logger::verboseLevel = 0;  // plain text, without time stamps
    {
        Logger log(logPath, 0);
        c.logger = &log;
        c.printTimeInfo("off", "%Y");
        c.printMallocInfo("off", 1);
        c.timeReport = true;
        c.memoryReport = true;
        c.printTimeInfo("step", "%Y");
        c.printMallocInfo("heap", 1);
        c.printMallocInfo("raw", 3);
        log.close();
        c.logger = nullptr;
    }
    Logger::verboseLevel = savedLevel;
    std::string text = readFile(logPath);
    std::string year = getTime("%Y");
    EXPECT_EQ(text.find("off"), std::string::npos);
    EXPECT_EQ(text.rfind("\tTimeinfo:  step\t" + year + "\n", 0), 0u) << text;
    EXPECT_TRUE(testing::internal::RE::PartialMatch(
        text, "\n\theap:\tuse:[0-9]+ [KMG]?B\tfree:[0-9]+ [KMG]?B\nraw:  arena:[0-9]+ ordblks:"))
        << text;
}
