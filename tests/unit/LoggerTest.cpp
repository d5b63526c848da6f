#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sstream>

#include "Logger.h"
#include "TestSupport.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using namespace testsupport;

namespace {

// Sets the verbosity for one test and puts the old one back.
struct Verbosity {
    explicit Verbosity(int level) : saved(Logger::verboseLevel) { Logger::verboseLevel = level; }
    ~Verbosity() { Logger::verboseLevel = saved; }
    int saved;
};

const char* STAMP = "[A-Z][a-z]{2} [0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";

}  // namespace

TEST(LoggerTest, FileOutputStampsLinesByVerbosity) {
    TempDir dir;
    std::string path = dir.path("run.log");
    {
        Verbosity v(1);
        Logger log(path, 0);
        EXPECT_TRUE(log.print("\rabc") && !log.lineEnded);
        EXPECT_TRUE(log.print("\nno stamp %d\n", 7) && log.lineEnded);
        EXPECT_TRUE(log.print("plain\n"));
        Logger::verboseLevel = 0;
        EXPECT_TRUE(log.print("raw\n"));
        EXPECT_FALSE(log.print("%s", ""));
    }
    std::string text = readFile(path);
    std::regex expected(std::string("\r") + STAMP + " abc\nno stamp 7\n" + std::string(1, '\0') +
                        STAMP + " plain\nraw\n");
    EXPECT_TRUE(std::regex_match(text, expected)) << text;

    Verbosity v(2);
    Logger log(path, 0);
    log.print("mem\n");
    log.close();
    text = readFile(path);
    EXPECT_TRUE(std::regex_match(text, std::regex(std::string(1, '\0') + STAMP +
                                                  "\\|[0-9.]+%\\|[0-9.]+[GM ]\\|[0-9.]+[GM ]\\|"
                                                  "[0-9.]+%\\| mem\n")))
        << text;
}

TEST(LoggerTest, AuditLogGetsTimeLinesAndNoProgress) {
    TempDir dir;
    std::string audit = dir.path("audit.log");
    std::string main = dir.path("main.log");
    writeFile(audit, "earlier\n");
    Verbosity v(0);
    Logger log(main, 0);
    ASSERT_TRUE(log.addAuditLog(audit));
    log.print("\r  -> 5 of 10...");
    log.print("step one\n");
    log.log("audit only\n");
    log.close();
    EXPECT_EQ("\r  -> 5 of 10...step one\n", readFile(main));
    std::string text = readFile(audit);
    EXPECT_TRUE(std::regex_match(
        text, std::regex("earlier\n[0-9/]+ [0-9:]+\nstep one\n[0-9/]+ [0-9:]+\naudit only\n")))
        << text;
}

TEST(LoggerTest, StreamOutputsAndAppendMode) {
    TempDir dir;
    Verbosity v(1);
    std::ostringstream os;
    std::string path = dir.path("stream.log");
    writeFile(path, "old\n");
    {
        Logger log(&os);
        ASSERT_TRUE(log.add(path, 1, "a"));
        log.print("\rtext %s\n", "one");
        log.putch('!');
    }
    EXPECT_EQ("\rtext one\n!", os.str());
    EXPECT_EQ("old\n\rtext one\n!", readFile(path));
}

TEST(LoggerTest, BufferingCollectsUntilStopped) {
    TempDir dir;
    Verbosity v(0);
    std::string path = dir.path("log");
    Logger log(path, 0);
    log.startBuffering();
    log.print("one\n");
    log.log("two\n");
    EXPECT_EQ("", readFile(path));
    EXPECT_TRUE(log.stopBuffering(nullptr));
    EXPECT_TRUE(log.stopBuffering(log.getFP()));
    log.print("three\n");
    EXPECT_EQ("one\ntwo\nthree\n", readFile(path));
}

TEST(LoggerTest, OwnFaultsAreReportedOnStandardOutput) {
    TempDir dir;
    std::string bad = dir.path("missing/x.log");
    Logger log;
    struct Case {
        std::function<bool()> call;
        std::string message;
    };
    std::vector<Case> cases = {
        {[&] { return log.add(bad, 0, "w"); },
         "\n*** Logger: Cannot open file " + bad + " in \"w\" mode.\n"},
        {[&] { return log.add(bad, 1, "a"); },
         "\n*** Logger: Cannot open stream " + bad + " in \"a\" mode.\n"},
        {[&] { return log.add(dir.path("t"), 3, "w"); },
         "\n*** Logger: Unknown log output type (neither file, nor stream)"},
        {[&] { return log.add(dir.path("m"), 0, "r"); },
         "\n*** Logger: Invalid write mode (neither write, nor append)."},
        {[&] { return log.add((FILE*)nullptr); }, "\n*** Logger: Invalid file handle."},
        {[&] { return log.add((std::ostream*)nullptr); }, "\nInvalid stream handle."},
        {[&] { return log.addAuditLog(bad); },
         "\n*** Logger: Cannot open audit log file " + bad + ".\n"},
        {[&] { return Logger::fprint(dir.path("f").c_str(), "r", "x"); },
         "\n*** Logger: Allowed print modes are 'a' (append) and 'w' (write).'"},
        {[&] { return Logger::fprint(bad.c_str(), "a", "x"); },
         "\n*** Logger: Cannot open file " + bad + " in 'append mode.'\n"},
        {[&] { return Logger::setPrintBufferSize(1000); },
         "\n*** Logger: Invalid buffer size value 1000.\n"},
    };
    for (size_t i = 0; i < cases.size(); i++) {
        CaptureStdout();
        bool ok = cases[i].call();
        EXPECT_EQ(cases[i].message, GetCapturedStdout()) << "case " << i;
        EXPECT_FALSE(ok) << "case " << i;
    }
    EXPECT_TRUE(log.outputs.empty());
    EXPECT_TRUE(Logger::setPrintBufferSize(-1));
    EXPECT_EQ(-1, Logger::getPrintBufferSize());
    Logger::printBufSize = 50000;
}
