#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>

#include "Logger.h"
#include "TestSupport.h"
#include "Util.h"

using ::testing::ExitedWithCode;
using namespace testsupport;

namespace {

const char* SUPPORT = "        Please report this error to your customer support representative.\n";

void dieInExitHandler() {
    die("never printed\n");
    fprintf(stderr, "handler went on\n");
}

}  // namespace

TEST(UtilTest, DieAndSafeExitStatuses) {
    EXPECT_EXIT(die("x\n"), ExitedWithCode(255), "^x\n$");
    EXPECT_EXIT(safeExit(0), ExitedWithCode(0), "^$");
    // A long message is cut at the buffer size, not overrun.
    TempDir dir;
    std::string longText(30000, 'z');
    EXPECT_EXIT(
        {
            freopen(dir.path("err").c_str(), "w", stderr);
            die("%s", longText.c_str());
        },
        ExitedWithCode(255), "");
    EXPECT_EQ(std::string(19999, 'z'), readFile(dir.path("err")));
    // A die in an exit handler returns at once, without a word.
    EXPECT_EXIT(
        {
            atexit(dieInExitHandler);
            safeExit(3);
        },
        ExitedWithCode(3), "^handler went on\n$");
}

TEST(UtilTest, FatalPrintsStackThenMessageAndSupportLine) {
    EXPECT_EXIT(fatal("Error:  boom %d\n", 5), ExitedWithCode(255),
                std::string("^\n\nCall Stack:\n(   [0-9]+:  [^\n]*\n)+   1:  [^\n]*\n\n") +
                    "Error:  boom 5\n" + SUPPORT + "$");
}

TEST(UtilTest, FailedAssertionNamesExpressionFunctionFileAndLine) {
    int line = __LINE__ + 1;
    auto failing = [] { ASSERT(1 + 1 == 3); };
    std::string pattern =
        "Thread:  -?[0-9]+\n\nError:  An internal error has occurred in the "
        "computation.\n             Assertion:  1 \\+ 1 == 3\n             "
        "Location: '[^']*'   \\[UtilTest.cpp:" +
        std::to_string(line) + "\\]\n" + SUPPORT + "$";
    EXPECT_EXIT(failing(), ExitedWithCode(255), "^\nCall Stack:\n.*" + pattern);
}

TEST(UtilTest, WarnToErrorLogStartsOnItsOwnLineWithoutStamp) {
    TempDir dir;
    std::string path = dir.path("err.log");
    Logger log(path, 0);
    int level = Logger::verboseLevel;
    Logger::verboseLevel = 0;
    log.print("partial");
    Logger::verboseLevel = 1;
    setDieErrorLog(&log);
    warn("Warning:  first %d\n", 1);
    warn("Warning:  second\n");
    setDieErrorLog(nullptr);
    Logger::verboseLevel = level;
    log.close();
    EXPECT_EQ("partial\nWarning:  first 1\nWarning:  second\n", readFile(path));
}

TEST(UtilTest, FatalGoesToErrorLogOnly) {
    TempDir dir;
    std::string path = dir.path("err.log");
    EXPECT_EXIT(
        {
            setDieErrorLog(new Logger(path, 0));
            fatal("Error:  fatal to the log\n");
        },
        ExitedWithCode(255), "^$");
    std::string text = readFile(path), tail = std::string("\nError:  fatal to the log\n") + SUPPORT;
    EXPECT_EQ(0u, text.find("\n\nCall Stack:\n   ")) << text;
    EXPECT_EQ(text.size() - tail.size(), text.rfind(tail)) << text;
}

TEST(UtilTest, MemoryFootprintAndSafeAllocation) {
#ifndef __SANITIZE_ADDRESS__  // the sanitizer's allocator stops the process itself
    EXPECT_EXIT(safeMalloc(SIZE_MAX / 2), ExitedWithCode(255),
                "^Error:  The computation ran out of memory and is unable to continue.\n$");
#endif
    EXPECT_GT(getMemoryFootprint(), 0);
    TempDir dir;
    EXPECT_EQ(0, getMemoryFootprint(dir.path("missing").c_str()));
    std::string fields;
    for (int i = 1; i <= 22; i++) fields += std::to_string(i) + (i % 2 ? " " : "  \t");
    writeFile(dir.path("short"), fields);
    EXPECT_EQ(0, getMemoryFootprint(dir.path("short").c_str()));
    writeFile(dir.path("stat"), fields + "123456789 24 25\n");
    EXPECT_EQ(123456789, getMemoryFootprint(dir.path("stat").c_str()));
}

TEST(UtilTest, TextHelpers) {
    const char* hay = "Gene ABC1 here";
    EXPECT_TRUE(caseStrStr(hay, "abc1") == hay + 5 && caseStrStr(hay, "abd") == nullptr);
    std::string s = "MiXed-1";
    toUpperCase(s);
    EXPECT_EQ("MIXED-1", s);
    int v = 99;
    EXPECT_TRUE(str2int("-42", v) && v == -42);
    for (const char* bad : {"", "4x", "99999999999", "1.5"}) EXPECT_FALSE(str2int(bad, v)) << bad;
    EXPECT_EQ(-42, v);
    EXPECT_EQ(18446744073709551615ULL, str2uint64("18446744073709551615"));
    EXPECT_EQ("18446744073709551615", uint64tos(18446744073709551615UL));

    std::vector<std::string> parts = {"old"};
    split(" a , b,,c ", ',', parts, true);
    EXPECT_EQ((std::vector<std::string>{"a", "b", "", "c"}), parts);
    split("", ',', parts, true);
    EXPECT_TRUE(parts.empty());
}

TEST(UtilTest, ExecutablePathAndOpenFile) {
    EXPECT_EQ(getJustExecPath() + "/UtilTest", getThisExecutablePath());
    EXPECT_EXIT(openFile("/nonexistent/file.txt", "r"), ExitedWithCode(255),
                "^Error:  Unable to open file /nonexistent/file.txt in mode 'r'.\n$");
}
