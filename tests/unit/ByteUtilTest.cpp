#include <gtest/gtest.h>

#include <cstring>

#include "ByteUtil.h"
#include "TestSupport.h"

using ::testing::ExitedWithCode;
using namespace testsupport;

TEST(ByteUtilTest, MemoryIsBigEndian) {
    const unsigned char bytes[8] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xF8};
    EXPECT_TRUE(getuint8(bytes) == 0x01 && getuint16(bytes) == 0x0102);
    EXPECT_EQ(0x01020304u, getuint32(bytes));
    EXPECT_EQ(0x01020304050607F8ull, getuint64(bytes));
    const unsigned char one[4] = {1, 0, 0, 0};
    EXPECT_EQ(16581375u, getuint4_255(one));

    unsigned char out[4] = {0, 0, 0, 0};
    setuint32(out, 0xA1B2C3D4u);
    EXPECT_EQ(0, memcmp(out, "\xA1\xB2\xC3\xD4", 4));
    setuint16(out, 0x0102);
    setuint8(out + 2, 0xFF);
    EXPECT_EQ(0, memcmp(out, "\x01\x02\xFF\xD4", 4));
}

TEST(ByteUtilTest, FileWritersAndReaders) {
    TempDir dir;
    std::string path = dir.path("bin");
    FILE* fp = fopen(path.c_str(), "wb");
    writeuint1(fp, 0x9A);
    writeuint2(fp, 0x0102);
    writeuint4(fp, 0x03040506u);
    writeuint8(fp, 0x0708090A0B0C0D0Eull);
    fclose(fp);
    EXPECT_EQ(std::string("\x9A\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E", 15),
              readFile(path));

    fp = fopen(path.c_str(), "rb");
    unsigned char first;
    getBytes(fp, 1, &first, "bin");
    EXPECT_EQ(0x9A, first);
    short s = readshort(fp);
    EXPECT_EQ(0, memcmp(&s, "\x01\x02", 2));
    EXPECT_EQ(0x03040506u, readUnsignedInt32(fp, true));
    EXPECT_EQ(0x0708090A0B0C0D0Eull, readUnsignedInt64(fp, true));
    fseek(fp, 3, SEEK_SET);
    uint32_t raw = readUnsignedInt32(fp, false);  // machine order
    EXPECT_EQ(0, memcmp(&raw, "\x03\x04\x05\x06", 4));
    fclose(fp);
}

TEST(ByteUtilTest, TruncatedAndUnwritableFilesEndTheRun) {
    TempDir dir;
    std::string path = dir.path("short");
    writeFile(path, std::string("\x01\x02\x03", 3));
    const std::string premature = "\nError:  Premature end-of-file reached.\n        Please report";
    // Each case opens its own handle: a death test's child shares the file offset.
    auto open = [&](long skip) {
        FILE* fp = fopen(path.c_str(), "rb");
        fseek(fp, skip, SEEK_SET);
        return fp;
    };
    EXPECT_EXIT(readUnsignedInt32(open(0), true), ExitedWithCode(255), premature);
    EXPECT_EXIT(readint(open(0)), ExitedWithCode(255), premature);
    EXPECT_EXIT(readUnsignedInt64(open(0), false), ExitedWithCode(255), premature);
    EXPECT_EXIT(readint(nullptr), ExitedWithCode(255), premature);
    EXPECT_EXIT(readshort(open(2)), ExitedWithCode(255), premature);
    FILE* fp = open(1);
    short last = readshort(fp);  // the last two bytes are still there to read
    EXPECT_EQ(0, memcmp(&last, "\x02\x03", 2));
    fclose(fp);
    char buf[8];
    EXPECT_EXIT(getBytes(open(0), 4, buf, "reads.sff"), ExitedWithCode(255),
                "\nError:  getBytes\\(\\) unable to read SFF file:  reads.sff\n        Please");

    fp = fopen(path.c_str(), "rb");
    EXPECT_EXIT(writeuint4(fp, 1), ExitedWithCode(255), "Assertion:  n > 0\n");
    fclose(fp);
}
