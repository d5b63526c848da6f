// The command line of readfix: every check, its message, the usage text and status 0.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TestSupport.h"

using namespace testsupport;

namespace {

const char* USAGE =
    "Usage:  readfix { -p | -np } [projectDir] readfile...\n"
    "        readfix { -relink [-verbose] } [projectDir] ReadFileOldPath ReadFileNewPath\n"
    "Options:\n"
    "   -p            - These runs/files contain Zeq paired reads\n"
    "   -np           - Default paired-end library to use for these files\n"
    "   -relink       - Changes path of one or more RefSeq files with that\n"
    "                   path in a mapping project\n"
    "   -verbose      - Outputs additional info about read files being changed.\n"
    "                   If specified more than once, it will just output details\n"
    "                   about what is changing without doing actual changes.\n"
    "\n"
    "In the first mode (with either -p or -np), this command changes the paired-end\n"
    "read status for one or more read data files.The -p and -nop options can appear\n"
    "anywhere on the command-line and affect the files after the option until the\n"
    "appearance of the next option).\n"
    "The readfile arguments should be specified as follows:\n"
    "   - SFF filenames as they appear in the project's \"sff\" sub-dir\n"
    "   - Fasta files using the full path to their physical location.\n"
    "In the second mode (using -relink option and optionally -verbose), it will\n"
    "change the path of one or more existing read files containing \"old\" path\n"
    "into a \"new\" path in a given project. Path names should not contain file\n"
    "names. No wild (joker) characters are allowed in the path names.\n"
    "The path arguments should be specified as they appear in the project's XML\n"
    "file (i.e. full path to their physical location should be used for both sff\n"
    "and non-sff (fasta and fastq) files).\n"
    "The -verbose option will just list project's read files info if no -relink \n"
    "option and arguments are specified.\n";

// A mapping project with no read files: enough for the argument checks.
class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        proj = dir.path("proj");
        makeDir(proj + "/sff");
        makeDir(proj + "/mapping");
        writeFile(proj + "/ZeqProject.xml", "<ZeqProject/>\n");
        writeFile(proj + "/mapping/ZeqMappingProject.xml",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                  "<ZeqProject>\n\n  <ReadFiles>\n    <SetReadCount>0</SetReadCount>\n"
                  "  </ReadFiles>\n\n</ZeqProject>\n");
        writeFile(proj + "/mapping/.ProjectLock", "");
        writeFile(proj + "/mapping/.SeqFileMetadata", "");
        writeFile(proj + "/mapping/.SeqCacheMetadata", "");
        makeDir(dir.path("dest"));
        before = snapshot(proj);
    }
    // Every command-line error leaves the project as it was.
    void expectUnchanged() { EXPECT_EQ(before, snapshot(proj)); }

    TempDir dir;
    std::string proj;
    std::vector<std::pair<std::string, std::string>> before;
};

TEST_F(CommandLineTest, NoArgumentsOrNoOptionPrintsUsageOnly) {
    RunResult r = runReadfix({});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(USAGE, r.err);
    EXPECT_EQ("", r.out);

    r = runReadfix({proj});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(USAGE, r.err);
    expectUnchanged();
}

TEST_F(CommandLineTest, ConflictingModes) {
    RunResult r = runReadfix({"-p", "-np", "x"}, proj);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(
        std::string("Error:  Only one of -p and -np can be given on the command-line.\n") + USAGE,
        r.err);

    // The mode test comes before the -p/-np test.
    r = runReadfix({"-p", "-np", "-relink", "a", "b"}, proj);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::string("Error:  Either (-p , -np) or (-relink , -verbose) optionscan be given "
                          "on the command-line.\n") +
                  USAGE,
              r.err);
    expectUnchanged();
}

TEST_F(CommandLineTest, UnknownAndInvalidOptions) {
    RunResult r = runReadfix({"-nosuch"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::string("Error:  Invalid option: -nosuch.\n") + USAGE, r.err);

    r = runReadfix({"-cpu", "4", proj});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::string("Error:  Invalid options found:  -cpu.\n") + USAGE, r.err);
    expectUnchanged();
}

TEST_F(CommandLineTest, HelpAndVersionGoToStandardOutput) {
    RunResult r = runReadfix({"-help"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::string("\n") + USAGE +
                  "\n\n(The full documentation for \"readfix\" command can be found in the user "
                  "manual).\n\n",
              r.out);
    EXPECT_EQ("", r.err);

    r = runReadfix({"-version"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(0u, r.out.find("readfix 3.0 (20140410_1040)\n"));
}

TEST_F(CommandLineTest, NotAProject) {
    RunResult r = runReadfix({"-p", dir.path("dest"), "a.sff"}, dir.path());
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::string("Error:  Neither the given argument nor the current working directory "
                          "is a project directory.\n") +
                  USAGE,
              r.err);
}

TEST_F(CommandLineTest, RelinkArguments) {
    RunResult r = runReadfix({"-relink", proj});
    EXPECT_EQ(std::string("Error:  No source path for project's read files specified on the "
                          "command line.\n") +
                  USAGE,
              r.err);
    r = runReadfix({"-relink", proj, "/a"});
    EXPECT_EQ(std::string("Error:  No destination path for project's read files specified on the "
                          "command line.\n") +
                  USAGE,
              r.err);
    r = runReadfix({"-relink", proj, "/a*", dir.path("dest")});
    EXPECT_EQ(std::string("Error:  No joker (wild) characters allowed in source and destination "
                          "paths for project's read files.\n") +
                  USAGE,
              r.err);
    r = runReadfix({"-relink", proj, "/a", dir.path("nowhere")});
    EXPECT_EQ("Error:  Invalid destination path for project's readfiles specified: " +
                  dir.path("nowhere") + ".\n" + USAGE,
              r.err);
    // A symbolic link to a directory is no valid destination.
    ASSERT_EQ(0, symlink(dir.path("dest").c_str(), dir.path("destlink").c_str()));
    r = runReadfix({"-relink", proj, "/a", dir.path("destlink")});
    EXPECT_EQ("Error:  Invalid destination path for project's readfiles specified: " +
                  dir.path("destlink") + ".\n" + USAGE,
              r.err);
    EXPECT_EQ(0, r.status);
    expectUnchanged();
}

TEST_F(CommandLineTest, TooManyArgumentsListsThemAll) {
    // One stray argument after the project is accepted in listing mode ...
    RunResult r = runReadfix({"-verbose", proj, "extra"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Project contains following read files:\n", r.out);
    EXPECT_EQ("", r.err);

    // ... two are not.
    r = runReadfix({"-verbose", proj, "x1", "x2"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(
        "Error:  Too many arguments (project's source and/or destination paths) specified "
        "on the command line:\n1. readfix\n2. -verbose\n3. " +
            proj +
            "\n4. x1\n5. x2\nIf you are using joker (wild) characters in your paths names, "
            "please re-run command without them.\n\n" +
            USAGE,
        r.err);
    expectUnchanged();
}

}  // namespace
