// The built binary run under the names of its sibling commands: a copy takes
// the sibling's row of options and usage, a symbolic link keeps the row of the
// executable it points to but speaks with the name it was invoked by.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"

using namespace testsupport;

namespace {

const std::string READDROP_USAGE = "Usage:  readdrop [projectDir] readfile...\n";
const std::string BASEFIX_USAGE =
    "Usage:  basefix { [-relink] [-verbose] } [projectDir] RefSeqOldPath RefSeqNewPath\n";
const std::string PROJHALT_USAGE = "Usage:  projhalt [projectDir]\n";

class SiblingCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        makeDir(dir.path("copy"));
        makeDir(dir.path("link"));
        for (const char* name : {"readdrop", "basefix", "projhalt"}) {
            std::filesystem::copy_file(READFIX_BIN, dir.path("copy/") + name);
            chmod(dir.path(std::string("copy/") + name).c_str(), 0755);
            ASSERT_EQ(symlink(READFIX_BIN, dir.path(std::string("link/") + name).c_str()), 0);
        }
        makeDir(dir.path("work"));
    }

    // Runs a sibling, invoked by its path, in a directory that is no project.
    RunResult runAs(const std::string& rel, std::vector<std::string> args) {
        std::string program = dir.path(rel);
        args.insert(args.begin(), program);
        return run(program, args, dir.path("work"));
    }

    // Checks that the parser took the options: the run ends at a later
    // command-line check, never at the option checks.
    void expectAccepted(const RunResult& r, const std::string& usage) {
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err.find("Error:  Invalid option"), std::string::npos) << r.err;
        ASSERT_GE(r.err.size(), usage.size()) << r.err;
        EXPECT_EQ(r.err.substr(r.err.size() - usage.size()), usage);
    }

    TempDir dir;
};

}  // namespace

TEST_F(SiblingCommandTest, CopyHelpAndVersionOnStdout) {
    for (const auto& [name, usage] :
         std::vector<std::pair<std::string, std::string>>{{"readdrop", READDROP_USAGE},
                                                          {"basefix", BASEFIX_USAGE},
                                                          {"projhalt", PROJHALT_USAGE}}) {
        RunResult help = runAs("copy/" + name, {"-help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out, "\n" + usage + "\n\n(The full documentation for \"" + name +
                                "\" command can be found in the user manual).\n\n");
        EXPECT_EQ(help.err, "");
        RunResult version = runAs("copy/" + name, {"-version"});
        EXPECT_EQ(version.status, 0);
        EXPECT_EQ(version.out,
                  name + " 3.0 (20140410_1040)\nCopyright (c) readfix developers.\n\n");
    }
}

TEST_F(SiblingCommandTest, CopyUsesTheSiblingsOptions) {
    RunResult r = runAs("copy/readdrop", {"-p", "a.sff"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "Error:  Invalid options found:  -p.\n" + READDROP_USAGE);
    EXPECT_EQ(r.out, "");

    expectAccepted(runAs("copy/basefix", {"-relink", "-verbose"}), BASEFIX_USAGE);

    EXPECT_EQ(runAs("copy/projhalt", {"-verbose"}).err,
              "Error:  Invalid options found:  -verbose.\n" + PROJHALT_USAGE);
    expectAccepted(runAs("copy/projhalt", {"-quiet"}), PROJHALT_USAGE);

    EXPECT_EQ(runAs("copy/projhalt", {"-nosuch"}).err,
              "Error:  Invalid option: -nosuch.\n" + PROJHALT_USAGE);
}

TEST_F(SiblingCommandTest, LinkKeepsTheTargetsRowUnderItsOwnName) {
    const std::string usageStart =
        "Usage:  readdrop { -p | -np } [projectDir] readfile...\n"
        "        readdrop { -relink [-verbose] } [projectDir] ReadFileOldPath ReadFileNewPath\n"
        "Options:\n";
    RunResult help = runAs("link/readdrop", {"-help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.substr(0, usageStart.size() + 1), "\n" + usageStart);
    EXPECT_NE(help.out.find("(The full documentation for \"readdrop\" command"), std::string::npos);

    RunResult r = runAs("link/readdrop", {"-p", "a.sff"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err.find("Invalid option"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(usageStart), std::string::npos) << r.err;

    r = runAs("link/projhalt", {"-quiet"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(
        r.err.rfind("Error:  Invalid options found:  -quiet.\nUsage:  projhalt { -p | -np }", 0),
        0u)
        << r.err;
}
