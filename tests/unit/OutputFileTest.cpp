#include <gtest/gtest.h>

#include <memory>

#include "OutputFile.h"
#include "TestSupport.h"

using ::testing::ExitedWithCode;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using namespace testsupport;

TEST(OutputFileTest, WritesInBatches) {
    TempDir dir;
    std::string path = dir.path("out.txt");
    auto out = std::make_unique<OutputFile>();
    out->open(path.c_str(), OutputFile::WRITE_MODE, 1);
    EXPECT_EQ(path, out->filename);
    std::string chunk(10000, 'a');
    for (int i = 0; i < 7; i++) out->print("%s", chunk.c_str());
    out->print("%s", std::string(9999, 'b').c_str());
    EXPECT_EQ(0u, readFile(path).size());  // 79,999 bytes pending, more than 20,000 free
    out->print("c");
    EXPECT_EQ(80000u, readFile(path).size());
    out->print("tail %d\n", 42);
    out->close();
    std::string expected = std::string(70000, 'a') + std::string(9999, 'b') + "ctail 42\n";
    EXPECT_EQ(expected, readFile(path));

    // Texts larger than the room left, or than the whole batch, keep their order.
    out->open(path.c_str(), OutputFile::APPEND_MODE, 1);
    std::string big(90000, 'x'), huge(150000, 'y');
    for (const std::string& text : {std::string(50000, 'w'), big, huge, std::string("end\n")}) {
        out->print("%s", text.c_str());
        expected += text;
    }
    out.reset();  // the destructor writes what is pending
    EXPECT_EQ(expected, readFile(path));
}

TEST(OutputFileTest, OpenFailuresFollowErrorMode) {
    TempDir dir;
    std::string bad = dir.path("missing/out.txt");
    OutputFile out;
    CaptureStderr();
    out.open(bad.c_str(), OutputFile::WRITE_MODE, 0);
    EXPECT_EQ("Error:  Could not open file:  " + bad + "\n", GetCapturedStderr());
    EXPECT_EQ("", out.filename);
    EXPECT_EXIT(out.open(bad.c_str(), OutputFile::WRITE_MODE, 1), ExitedWithCode(255),
                "^Error:  Could not open file:  " + bad + "\n$");

    // Mode 4 opens nothing and drops the text.
    std::string none = dir.path("none.txt");
    out.open(none.c_str(), OutputFile::WRITE_MODE, 4);
    out.print("dropped %s\n", std::string(90000, 'z').c_str());
    out.close();
    EXPECT_FALSE(exists(none));
}

TEST(OutputFileTest, WriteErrorsFollowErrorMode) {
    OutputFile out;
    out.open("/dev/full", OutputFile::WRITE_MODE, 0);
    ASSERT_NE(nullptr, out.fp);
    CaptureStderr();
    out.print("%s", std::string(85000, 'a').c_str());
    out.print("small");
    out.close();
    std::string once = "Error:  Write error for file /dev/full:  No space left on device\n";
    EXPECT_EQ(once + once, GetCapturedStderr());
}

TEST(OutputFileTest, DiskSpaceChecks) {
    TempDir dir;
    EXPECT_EQ(0u, OutputFile::getAvailDiskSpace(dir.path("missing").c_str()));
    OutputFile::warnCnt = 0;
    CaptureStderr();
    OutputFile::checkDiskSpace(dir.path("missing").c_str());
    OutputFile::checkAvailDiskSpace(OutputFile::WarnDiskSpace);
    for (int i = 0; i < 12; i++) OutputFile::checkAvailDiskSpace(OutputFile::WarnDiskSpace - 1);
    std::string ten;
    for (int i = 0; i < 10; i++) ten += "Warning:  Low available disk space (2 GB).\n";
    EXPECT_EQ(ten, GetCapturedStderr());
    EXPECT_EXIT(OutputFile::checkAvailDiskSpace(OutputFile::StopDiskSpace - 1), ExitedWithCode(255),
                "^\nError:  Not enough disk space left \\(0 GB\\), computation is "
                "terminating.\n\n$");
}
