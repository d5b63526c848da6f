#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <regex>
#include <sstream>

#include "FileProgressCounter.h"
#include "Logger.h"
#include "MemUsage.h"
#include "TestSupport.h"
#include "TimeUtil.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

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
        EXPECT_TRUE(log.print("\rabc"));
        EXPECT_FALSE(log.lineEnded);
        EXPECT_TRUE(log.print("\nno stamp %d\n", 7));
        EXPECT_TRUE(log.lineEnded);
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
    std::regex withMemory(std::string(1, '\0') + STAMP +
                          "\\|[0-9.]+%\\|[0-9.]+[GM ]\\|[0-9.]+[GM ]\\|[0-9.]+%\\| mem\n");
    text = readFile(path);
    EXPECT_TRUE(std::regex_match(text, withMemory)) << text;
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
    std::regex expected("earlier\n[0-9/]+ [0-9:]+\nstep one\n[0-9/]+ [0-9:]+\naudit only\n");
    std::string text = readFile(audit);
    EXPECT_TRUE(std::regex_match(text, expected)) << text;
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
        EXPECT_FALSE(log.lineEnded);
    }
    EXPECT_EQ("\rtext one\n!", os.str());
    EXPECT_EQ("old\n\rtext one\n!", readFile(path));

    Logger over(path, 1, "w");
    over.print("new\n");
    over.close();
    EXPECT_EQ("new\n", readFile(path));
    // A closed output is skipped and reported as a failure.
    EXPECT_FALSE(over.print("after close\n"));
    EXPECT_EQ("new\n", readFile(path));
    EXPECT_EQ(nullptr, over.getFP());
}

TEST(LoggerTest, BufferingCollectsUntilStopped) {
    TempDir dir;
    Verbosity v(1);
    std::string path = dir.path("log");
    Logger log(path, 0);
    EXPECT_EQ(log.getFP(), log.getFP());
    ASSERT_NE(nullptr, log.getFP());
    log.startBuffering();
    log.print("one\n");
    log.log("two\n");
    EXPECT_EQ("", readFile(path));
    EXPECT_TRUE(log.stopBuffering(nullptr));
    EXPECT_TRUE(log.buffering);
    FILE* out = fopen(dir.path("out").c_str(), "w");
    EXPECT_TRUE(log.stopBuffering(out));
    fclose(out);
    EXPECT_FALSE(log.buffering);
    EXPECT_EQ(0, log.buffer.length());
    EXPECT_EQ("one\ntwo\n", readFile(dir.path("out")));
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
        {[&] { return Logger::fprint(bad.c_str(), "w", "x"); },
         "\n*** Logger: Cannot open file " + bad + " in 'write mode.'\n"},
        {[&] { return Logger::setPrintBufferSize(1000); },
         "\n*** Logger: Invalid buffer size value 1000.\n"},
        {[&] { return Logger::setPrintBufferSize(0); },
         "\n*** Logger: Invalid buffer size value 0.\n"},
    };
    for (size_t i = 0; i < cases.size(); i++) {
        CaptureStdout();
        bool ok = cases[i].call();
        EXPECT_EQ(cases[i].message, GetCapturedStdout()) << "case " << i;
        EXPECT_FALSE(ok) << "case " << i;
    }
    EXPECT_TRUE(log.outputs.empty());
    EXPECT_EQ(50000, Logger::getPrintBufferSize());
    EXPECT_TRUE(Logger::setPrintBufferSize(-1));
    EXPECT_EQ(-1, Logger::getPrintBufferSize());
    Logger::printBufSize = 50000;
}

TEST(LoggerTest, StaticPrintsAndRedirect) {
    TempDir dir;
    std::string path = dir.path("f.txt");
    EXPECT_TRUE(Logger::fprint(path.c_str(), "w", "a=%d\n", 1));
    EXPECT_TRUE(Logger::fprint(path.c_str(), "append", "b=%d\n", 2));
    EXPECT_EQ("a=1\nb=2\n", readFile(path));
    std::ostringstream os;
    EXPECT_TRUE(Logger::print(&os, "%s|%03d", "x", 5));
    EXPECT_EQ("x|005", os.str());
    std::ostringstream target;
    std::ostream redirected(target.rdbuf());
    ASSERT_TRUE(Logger::redirect(&redirected, dir.path("r.txt").c_str()));
    redirected << "to file" << std::flush;
    EXPECT_EQ("to file", readFile(dir.path("r.txt")));
    EXPECT_EQ("", target.str());
}

TEST(LoggerTest, TimeTextsAndMemoryUse) {
    std::string fileName = getTime(true);
    EXPECT_TRUE(std::regex_match(
        fileName, std::regex("[A-Z][a-z]{2}_[A-Z][a-z]{2}_[0-9]{1,2}_[0-9]{2}-[0-9]{2}-"
                             "[0-9]{2}_[0-9]{4}")))
        << fileName;
    std::string plain = getTime(false);
    EXPECT_EQ(std::string::npos, plain.find("  "));
    EXPECT_EQ(std::string::npos, plain.find('\n'));
    EXPECT_EQ("", getTime(""));
    EXPECT_EQ(4u, getTime("%Y").size());
    char buf[100];
    EXPECT_EQ(5, getTime(buf, "%H:%M"));

    // The first call measures; a call right after it leaves the text alone.
    char mem[100] = "unchanged";
    if (getMemUsage(mem, 0) == 1) {
        EXPECT_TRUE(std::regex_match(std::string(mem),
                                     std::regex("\\|[0-9.]+%\\|[0-9.]+[GM ]\\|[0-9.]+[GM ]\\|"
                                                "[0-9.]+%\\|")))
            << mem;
    }
    strcpy(mem, "unchanged");
    EXPECT_EQ(0, getMemUsage(mem, 0));
    EXPECT_STREQ("unchanged", mem);
}

TEST(LoggerTest, FileProgressCounterMessages) {
    TempDir dir;
    std::string path = dir.path("big");
    writeFile(path, std::string(2500000, 'x'));
    FILE* fp = fopen(path.c_str(), "r");
    fseek(fp, 10, SEEK_SET);
    FileProgressCounter counter(fp, 1000);
    EXPECT_EQ(10, ftell(fp));
    fclose(fp);
    EXPECT_EQ('K', counter.unitChar);
    EXPECT_EQ(1000u, counter.unit);
    Verbosity v(0);
    std::ostringstream os;
    Logger log(&os);
    counter.msg(&log, 999999);
    EXPECT_EQ("", os.str());
    counter.msg(&log, 1000000);
    counter.msg(&log, 1500000);
    counter.msg(&log, 2000000);
    counter.finalMsg(&log);
    EXPECT_EQ("\r  -> 1000K of 2500K...\r  -> 2000K of 2500K...\r  -> 2000K of 2500K\n", os.str());
}
