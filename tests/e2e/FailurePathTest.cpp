// What a user finds on disk when a run meets a locked project, files it may
// not change, a full disk, or a kill in the middle of a relink.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "TestSupport.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

// Gives a tree to a user, so that a run as that user meets its permissions.
void chownTree(const std::string& root, int uid) {
    ASSERT_EQ(0, lchown(root.c_str(), uid, uid));
    for (auto& entry : fs::recursive_directory_iterator(root))
        ASSERT_EQ(0, lchown(entry.path().c_str(), uid, uid));
}

// A second process that holds the project lock until it is told to let go.
class LockHolder {
public:
    explicit LockHolder(const std::string& lockPath) {
        int ready[2];
        if (pipe(ready) != 0 || pipe(release) != 0) abort();
        pid = fork();
        if (pid == 0) {
            int fd = open(lockPath.c_str(), O_RDWR);
            if (fd < 0 || flock(fd, LOCK_EX) != 0) _exit(1);
            char c = 1;
            if (write(ready[1], &c, 1) != 1) _exit(1);
            if (read(release[0], &c, 1) < 0) _exit(1);
            _exit(0);
        }
        char c;
        held = read(ready[0], &c, 1) == 1;
        close(ready[0]);
        close(ready[1]);
    }
    ~LockHolder() {
        char c = 1;
        if (write(release[1], &c, 1) != 1) kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    pid_t pid;
    int release[2];
    bool held = false;
};

TEST(FailurePathTest, LockHeldByAnotherProcess) {
    TempDir dir;
    SampleProject sample(dir.path());
    LockHolder holder(sample.subDir + "/.ProjectLock");
    ASSERT_TRUE(holder.held);

    // The project opens unlocked after five tries; the only trace is the message.
    RunResult r = runReadfix({"-p", sample.proj, "A.sff"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Error in Context:getProjectLock.\n  The project lock file " + sample.subDir +
                  "/.RunLock is locked. \n  Unable to get the project file lock. \n",
              r.out);
    EXPECT_EQ("Total of 1 SFF file successfully updated.\n", r.err);
    EXPECT_EQ(
        "true",
        elementValue(
            readFile(sample.xmlPath).substr(readFile(sample.xmlPath).find("<SFFDirFilename>A.sff")),
            "IsPairedEnd"));
}

TEST(FailurePathTest, ReadOnlySubProjectDirectory) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a second user";
    TempDir dir;
    chmod(dir.path().c_str(), 0755);
    SampleProject sample(dir.path());
    chownTree(sample.proj, nobodyUid());
    std::string xml = readFile(sample.xmlPath);
    chmod(sample.xmlPath.c_str(), 0444);
    chmod(sample.subDir.c_str(), 0555);
    auto before = snapshot(dir.path());

    // Nothing can be written there: the project file stays whole, and so does
    // every other file.
    RunOptions asNobody;
    asNobody.uid = nobodyUid();
    RunResult r = runReadfix({"-p", sample.proj, "A.sff"}, asNobody);
    EXPECT_EQ(0, r.status) << r.err;
    EXPECT_EQ(xml, readFile(sample.xmlPath));
    EXPECT_EQ(before, snapshot(dir.path()));
}

TEST(FailurePathTest, LinkThatCannotBeReplaced) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a second user";
    TempDir dir;
    chmod(dir.path().c_str(), 0755);
    SampleProject sample(dir.path(), false);
    fs::rename(sample.runs, dir.path("moved"));
    chownTree(sample.proj, nobodyUid());
    ASSERT_EQ(0, lchown((sample.proj + "/sff").c_str(), 0, 0));
    auto before = snapshot(dir.path());

    RunOptions asNobody;
    asNobody.uid = nobodyUid();
    RunResult r = runReadfix({"-relink", sample.proj, sample.runs, dir.path("moved")}, asNobody);
    EXPECT_EQ(255, r.status);
    EXPECT_NE(
        std::string::npos,
        r.err.find("Warning:  Unable to remove project's existing SFF symlink: " + sample.proj +
                   "/sff/A.sff.\nError:  Unable to update project state "
                   "files.\n"))
        << r.err;
    // The first link could not be touched, so nothing has changed.
    EXPECT_EQ(before, snapshot(dir.path()));
}

TEST(FailurePathTest, FullDiskLeavesTheProjectFileWhole) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to mount a small file system";
    TempDir dir;
    SampleProject sample(dir.path());
    std::string small = dir.path("small");
    fs::create_directories(small);
    if (mount("tmpfs", small.c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here";
    struct Unmount {
        std::string path;
        ~Unmount() { umount(path.c_str()); }
    } unmount{small};

    fs::copy(sample.proj, small + "/proj",
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    std::string xmlPath = small + "/proj/mapping/ZeqMappingProject.xml";
    std::string xml = readFile(xmlPath);
    // Fill the file system to the last byte.
    {
        FILE* filler = fopen((small + "/filler").c_str(), "w");
        std::string block(4096, 'x');
        while (fwrite(block.data(), 1, block.size(), filler) == block.size() &&
               fflush(filler) == 0) {
        }
        fclose(filler);
        filler = fopen((small + "/filler2").c_str(), "w");
        while (fputc('x', filler) != EOF && fflush(filler) == 0) {
        }
        fclose(filler);
    }
    RunResult r = runReadfix({"-p", small + "/proj", "A.sff"});
    EXPECT_EQ(0, r.status);
    // The new file could not be written: the old one is still there, whole.
    EXPECT_EQ(xml, readFile(xmlPath));
    for (auto& entry : fs::directory_iterator(small + "/proj/mapping"))
        EXPECT_EQ(std::string::npos, entry.path().filename().string().find(".tmp"));
}

TEST(FailurePathTest, RelinkKilledBetweenTwoLinkChanges) {
    TempDir dir;
    SampleProject sample(dir.path(), false);
    std::string moved = dir.path("moved");
    fs::rename(sample.runs, moved);
    std::string xml = readFile(sample.xmlPath);
    std::string seqFileMetadata = readFile(sample.subDir + "/.SeqFileMetadata");

    RunOptions killed;
    killed.environment = {std::string("LD_PRELOAD=") + SYMLINK_INTERRUPT_LIB,
                          "READFIX_KILL_AFTER_SYMLINKS=1", "ASAN_OPTIONS=verify_asan_link_order=0"};
    RunResult r = runReadfix({"-relink", sample.proj, sample.runs, moved}, killed);
    EXPECT_EQ(128 + SIGKILL, r.status);

    // The first link points at the new place, the second at the old; the project
    // file and the store list still hold the old paths.
    EXPECT_EQ(moved + "/A.sff", linkTarget(sample.proj + "/sff/A.sff"));
    EXPECT_EQ(sample.runs + "/B.sff", linkTarget(sample.proj + "/sff/B.sff"));
    EXPECT_EQ(xml, readFile(sample.xmlPath));
    EXPECT_EQ(seqFileMetadata, readFile(sample.subDir + "/.SeqFileMetadata"));

    // The lock went with the process, and the same command finishes the job.
    r = runReadfix({"-relink", sample.proj, sample.runs, moved});
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.err.find("Total of 2 read files successfully changed.\n"));
    EXPECT_EQ(moved + "/B.sff", linkTarget(sample.proj + "/sff/B.sff"));
    EXPECT_NE(std::string::npos, readFile(sample.xmlPath).find("<Path>" + moved + "/B.sff</Path>"));
}

}  // namespace
