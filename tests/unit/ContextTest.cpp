#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <filesystem>
#include <string>

#include "Context.h"
#include "InputFile.h"
#include "Logger.h"
#include "TestSupport.h"
#include "TimeUtil.h"
#include "Util.h"

using namespace testsupport;

namespace {

const char* const MINIMAL_XML = "<ZeqProject>\n</ZeqProject>\n";

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
struct LockHolder {
    explicit LockHolder(const std::string& path) {
        int ready[2];
        if (pipe(ready) != 0) abort();
        if ((pid = fork()) == 0) {
            int fd = open(path.c_str(), O_RDWR);
            char c = (fd >= 0 && flock(fd, LOCK_EX) == 0) ? 'y' : 'n';
            if (write(ready[1], &c, 1) == 1) pause();  // holds the lock until killed
            _exit(2);
        }
        char c = 'n';
        locked = read(ready[0], &c, 1) == 1 && c == 'y';
        close(ready[0]);
        close(ready[1]);
    }
    ~LockHolder() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    pid_t pid;
    bool locked = false;
};

}  // namespace

// A mapping project skeleton and its context, loaded without its file.
class ContextTest : public testing::Test {
protected:
    TempDir dir;
    std::string proj = makeProject(dir, "proj", "mapping");
    Context c{proj, "mapping", false, false, false};
};

TEST_F(ContextTest, FindsMappingAndAssemblyProjects) {
    Context* m = checkProjectDirectory((proj + "/").c_str(), false);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->projectType, Context::MAPPING_PROJECT);
    EXPECT_EQ(m->projectDirectory + " " + m->sffDirectory + " " + m->projectXMLPath + " " +
                  m->unplacedReadsFnaPath,
              proj + " " + proj + "/sff " + proj + "/mapping/ZeqMappingProject.xml " + proj +
                  "/mapping/ZeqUnmappedReads.fna");
    EXPECT_EQ(m->pairAlignMode, Context::PAIR_ALIGN_TEXT);
    EXPECT_NE(m->projectLockFd, -1);  // loaded projects are locked
    EXPECT_TRUE(m->releaseProjectLock());
    delete m;

    std::string asmb = makeProject(dir, "asm", "assembly");
    Context* c = checkProjectDirectory(asmb.c_str(), false);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->projectType, Context::ASSEMBLY_PROJECT);
    EXPECT_EQ(
        c->projectXMLPath + " " + c->unplacedReadsFnaPath,
        asmb + "/assembly/ZeqAssemblyProject.xml " + asmb + "/assembly/ZeqSingletonReads.fna");
    EXPECT_TRUE(c->numCPU == 1 && c->pairAlignMode == Context::PAIR_ALIGN_NONE &&
                c->scaffoldOutputMode);
    delete c;

    Context flat(asmb, "assembly", false, true, false);
    EXPECT_EQ(flat.projectXMLPath + " " + flat.runLockPath,
              asmb + "/ZeqAssemblyProject.xml " + asmb + "/.RunLock");
    EXPECT_EQ(flat.projectLockFd, -1);  // without load nothing is locked
    EXPECT_DEATH(Context(dir.path("none"), "mapping", false, false, false),
                 "Assertion:  s != __null");
    EXPECT_EXIT(
        Context(asmb, "Mapping", false, false, false), testing::ExitedWithCode(255),
        exactly("Error:  Directory not a mapping or assembly project directory:  " + asmb + "\n"));
}

TEST_F(ContextTest, RejectsWhatIsNoProject) {
    for (const char* missing :
         {"/mapping/ZeqMappingProject.xml", "/sff", "/ZeqProject.xml", "/mapping", "/assembly"}) {
        std::string proj = makeProject(dir, "p", "mapping");
        if (std::string(missing) == "/assembly") {
            makeDir(proj + "/assembly");  // both kinds at once
            writeFile(proj + "/assembly/ZeqAssemblyProject.xml", MINIMAL_XML);
        } else {
            std::filesystem::remove_all(proj + missing);
        }
        EXPECT_EQ(checkProjectDirectory(proj.c_str(), false), nullptr) << missing;
        std::filesystem::remove_all(proj);
    }
    writeFile(dir.path("plain"), "x");
    EXPECT_EQ(checkProjectDirectory(dir.path("plain").c_str(), false), nullptr);
    EXPECT_EQ(checkProjectDirectory(dir.path("absent").c_str(), false), nullptr);
    EXPECT_EQ(checkProjectDirectory(std::string(PATH_BUF_SIZE + 10, 'a').c_str(), false), nullptr);
}

TEST_F(ContextTest, CheckPathKinds) {
    writeFile(dir.path("file"), "x");
    makeDir(dir.path("sub"));
    ASSERT_EQ(symlink(dir.path("sub").c_str(), dir.path("dirlink").c_str()), 0);
    ASSERT_EQ(symlink(dir.path("nowhere").c_str(), dir.path("dangling").c_str()), 0);
    ASSERT_EQ(mkfifo(dir.path("fifo").c_str(), 0600), 0);
    std::string kinds;
    for (const char* name : {"file", "dirlink", "dangling", "sub", "fifo", "nowhere"})
        kinds += std::to_string(checkPath(dir.path(name).c_str())) + " ";
    EXPECT_EQ(kinds, "1 2 2 3 0 -1 ");
}

TEST(ContextPathTest, TrimSplitAndEscape) {
    for (auto [in, out] :
         std::vector<std::pair<std::string, std::string>>{{"/", ""}, {"a/b///", "a/b"}}) {
        trimLastSlash(in.data());
        EXPECT_STREQ(in.c_str(), out.c_str());
    }
    char d[PATH_BUF_SIZE], n[PATH_BUF_SIZE];
    for (auto [path, parts] : std::vector<std::pair<std::string, std::string>>{
             {"a", ". a"}, {"x/y/z/", "x/y z"}, {"/top", " top"}}) {
        EXPECT_TRUE(splitPath(path.c_str(), d, n));
        EXPECT_EQ(std::string(d) + " " + n, parts);
    }
    EXPECT_FALSE(splitPath(std::string(PATH_BUF_SIZE, 'a').c_str(), d, n));
    EXPECT_STREQ(d, "");
    EXPECT_EQ(escapeChar("a b  c", ' '), "a\\ b\\ \\ c");
    EXPECT_EQ(escapeChar(std::string(30000, 'x').c_str(), ' ').size(), (size_t)MSG_BUF_SIZE - 1);
}

TEST_F(ContextTest, ProjectLockHeldByAnotherProcess) {
    {
        LockHolder holder(c.projectLockPath);
        ASSERT_TRUE(holder.locked);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(c.getProjectLock());
        // The message names the run lock's path.
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Error in Context:getProjectLock.\n  The project lock file " + c.runLockPath +
                      " is locked. \n  Unable to get the project file lock. \n");
        EXPECT_EQ(c.projectLockFd, -1);
    }
    EXPECT_TRUE(c.getProjectLock());
    int fd = c.projectLockFd;
    EXPECT_TRUE(fd != -1 && c.getProjectLock() && c.projectLockFd == fd);  // the same descriptor
    EXPECT_TRUE(c.releaseProjectLock() && c.projectLockFd == -1 && exists(c.projectLockPath));
    EXPECT_TRUE(c.releaseProjectLock());

    // Without a lock file the project opens unlocked, without a word.
    unlink(c.projectLockPath.c_str());
    testing::internal::CaptureStdout();
    Context* loaded = checkProjectDirectory(proj.c_str(), false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->projectLockFd, -1);
    delete loaded;
}

TEST_F(ContextTest, RunLockAndStopMarker) {
    writeFile(c.projhaltPath, "");
    {
        LockHolder holder(c.runLockPath);
        ASSERT_TRUE(holder.locked);
        EXPECT_FALSE(c.getRunningLock() || c.isRunning());
    }
    // A release without a held run lock leaves the marker.
    EXPECT_TRUE(c.releaseRunningLock() && exists(c.projhaltPath));
    EXPECT_TRUE(c.getRunningLock() && c.isRunning() && c.getRunningLock());
    EXPECT_TRUE(c.releaseRunningLock() && !c.isRunning());
    EXPECT_TRUE(!exists(c.projhaltPath) && exists(c.runLockPath));
    unlink(c.runLockPath.c_str());
    EXPECT_EXIT(c.getRunningLock(), testing::ExitedWithCode(255),
                exactly("Error:  Unable to open the run lock file for the project.\n"));
}

// keepRunning keeps its clock in a static: these run only in child processes,
// each starting from a fresh clock.
TEST_F(ContextTest, StopMarkerEndsTheRun) {
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

TEST_F(ContextTest, MarkRemoveAndClear) {
    InputFile* sff = new InputFile(c.sffDirectory + "/run1.sff", "/data/a.sff", "", "", false);
    InputFile* fa1 = new InputFile(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    InputFile* fa2 = new InputFile(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    c.readFiles = {sff, fa1, fa2};
    InputFile probe(false, "/data/b.fna", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_TRUE(c.markReadFileForRemoval(&probe));
    EXPECT_TRUE(!sff->removeFlag && fa1->removeFlag && fa2->removeFlag);  // every match
    InputFile other(false, "/data/c.fna", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_FALSE(c.markReadFileForRemoval(&other));

    // An SFF file is matched by its link in sff/, not by its real path.
    InputFile sffProbe(c.sffDirectory + "/run1.sff", "/elsewhere/a.sff", "", "", false);
    EXPECT_TRUE(c.removeReadFile(&sffProbe));
    EXPECT_TRUE(c.removeReadFile(&probe));  // the first of the two only
    EXPECT_EQ(c.readFiles, std::vector<InputFile*>{fa2});
    EXPECT_EQ(c.removedFiles, (std::vector<InputFile*>{sff, fa1}));
    EXPECT_FALSE(c.removeReadFile(&other));
    c.clearRemovedFiles();
    EXPECT_TRUE(c.removedFiles.empty());
    InputFile ref("/data/ref.fna", InputFile::FASTA_FILE, true);
    EXPECT_DEATH(c.removeReadFile(&ref),
                 "Assertion:  !inFile->isFastaFile\\(\\) \\|\\| \\(inFile->isFastaFile\\(\\) && "
                 "!inFile->isRefSeq\\(\\)\\)");
}

TEST_F(ContextTest, MultiplexSubprojectPaths) {
    std::vector<std::string> paths;
    EXPECT_DEATH(c.getMultiplexSubprojectPaths(paths), "Assertion:  isMultiplexMode\\(\\)");
    c.multiplexMode = true;
    EXPECT_EXIT(c.getMultiplexSubprojectPaths(paths), testing::ExitedWithCode(255),
                exactly("Error:  Error: Unable to read multiplex project tsv file:  " +
                        c.multiplexingMetadataPath + "\n"));
    writeFile(c.multiplexingMetadataPath,
              "# name\tmid\n\nsampleA\tMID1\tx\n#skip\nsampleB\n\nsample C\tMID3");
    c.getMultiplexSubprojectPaths(paths);
    std::string s = c.subDirectory;
    EXPECT_EQ(paths, (std::vector<std::string>{s + "/sampleA", s + "/sampleB", s + "/sample C"}));
}

TEST_F(ContextTest, ContextInfoHeader) {
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

TEST_F(ContextTest, TimeAndMemoryReportsFollowTheirSwitches) {
    int savedLevel = Logger::verboseLevel;
    Logger::verboseLevel = 0;  // plain text, without time stamps
    Logger log(dir.path("log.txt"), 0);
    c.logger = &log;
    c.printTimeInfo("off", "%Y");
    c.printMallocInfo("off", 1);
    c.timeReport = c.memoryReport = true;
    c.printTimeInfo("step", "%Y");
    c.printMallocInfo("heap", 1);
    c.printMallocInfo("raw", 3);
    log.close();
    c.logger = nullptr;
    Logger::verboseLevel = savedLevel;
    std::string text = readFile(dir.path("log.txt"));
    EXPECT_EQ(text.rfind("\tTimeinfo:  step\t" + getTime("%Y") + "\n", 0), 0u) << text;
    EXPECT_EQ(text.find("off"), std::string::npos);
    EXPECT_TRUE(testing::internal::RE::PartialMatch(
        text, "\n\theap:\tuse:[0-9]+ [KMG]?B\tfree:[0-9]+ [KMG]?B\nraw:  arena:[0-9]+ ordblks:"))
        << text;
}
