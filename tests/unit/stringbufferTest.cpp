#include <gtest/gtest.h>
#include <unistd.h>

#include "TestSupport.h"
#include "Util.h"
#include "stringbuffer.h"

using ::testing::ExitedWithCode;
using testsupport::TempDir;
using testsupport::writeFile;

TEST(stringbufferTest, CapacityAndGrowth) {
    stringbuffer small(1, 0);
    EXPECT_EQ(32, small.capacity());
    EXPECT_EQ(0, small.length());
    EXPECT_EQ('\0', small.text()[0]);

    stringbuffer b(64, 0);
    b._expand(62);
    EXPECT_EQ(64, b.capacity());
    b.append("abc");
    b._expand(63);
    EXPECT_EQ(128, b.capacity());
    EXPECT_STREQ("abc", b.c_str());
    // Doubling goes on until needed + 1 fits below the capacity.
    b._expand(600);
    EXPECT_EQ(1024, b.capacity());

    stringbuffer stepped(40, 10);
    stepped._expand(39);
    EXPECT_EQ(50, stepped.capacity());
    stepped._expand(75);
    EXPECT_EQ(80, stepped.capacity());

    b.reset(40);
    EXPECT_EQ(40, b.capacity());
    EXPECT_EQ(0, b.length());
    for (int i = 0; i < 40; i++) EXPECT_EQ(0, b.text()[i]) << i;
}

TEST(stringbufferTest, EditingKeepsLengthAndTerminator) {
    stringbuffer b(32, 0);
    b.append("ACGT", 2);
    b.append('G');
    b.append(std::string("TT"));
    EXPECT_STREQ("ACGTT", b.c_str());
    EXPECT_EQ(5, b.length());

    b.insert(0, "NN");
    b.insert(7, "X");
    b.insert(3, 'g');
    EXPECT_STREQ("NNAgCGTTX", b.c_str());
    b.erase(2, 2);
    EXPECT_STREQ("NNCGTTX", b.c_str());
    b.erase(5, 100);
    EXPECT_STREQ("NNCGT", b.c_str());
    EXPECT_EQ(5, b.length());
    b.erase(9, 1);
    EXPECT_STREQ("NNCGT", b.c_str());

    EXPECT_EQ("CG", b.substring(2, 2));
    EXPECT_EQ("GT", b.substring(3, 50));
    EXPECT_EQ("", b.substring(5, 1));
    stringbuffer part;
    b.substring(1, 3, part);
    EXPECT_STREQ("NCG", part.c_str());

    // Parts of the buffer itself may be inserted or assigned.
    b.insert(0, b.text() + 3, 2);
    EXPECT_STREQ("GTNNCGT", b.c_str());
    b.assign(b.text() + 2, 3);
    EXPECT_STREQ("NNC", b.c_str());

    b.appendf("%s-%05d", "x", 42);
    EXPECT_STREQ("NNCx-00042", b.c_str());
    std::string big(5000, 'q');
    b.appendf("%s!", big.c_str());
    EXPECT_EQ(10 + 5001, b.length());
    EXPECT_EQ('!', b.text()[b.length() - 1]);
    EXPECT_EQ(0, b.text()[b.length()]);

    b.length() = 0;
    b.text()[0] = 0;
    EXPECT_STREQ("", b.c_str());
    b.setLength(3);
    EXPECT_EQ(3, b.length());
    EXPECT_EQ(0, b.text()[3]);

    stringbuffer copy(part);
    copy.append('Z');
    EXPECT_STREQ("NCG", part.c_str());
    EXPECT_STREQ("NCGZ", copy.c_str());
}

TEST(stringbufferTest, GetlineFromFile) {
    TempDir dir;
    std::string line999(998, 'a');
    std::string line1500(1500, 'b');
    std::string line5000(5000, 'c');
    writeFile(dir.path("in.txt"),
              "first\n" + line999 + "\n" + line1500 + "\n\n" + line5000 + "\nlast");
    FILE* fp = fopen(dir.path("in.txt").c_str(), "r");
    ASSERT_NE(nullptr, fp);
    stringbuffer b;
    ASSERT_TRUE(b.getline(fp));
    EXPECT_STREQ("first\n", b.c_str());
    ASSERT_TRUE(b.getline(fp));
    EXPECT_EQ(line999 + "\n", b.str());
    ASSERT_TRUE(b.getline(fp));
    EXPECT_EQ(line1500 + "\n", b.str());
    EXPECT_EQ(1501, b.length());
    ASSERT_TRUE(b.getline(fp));
    EXPECT_STREQ("\n", b.c_str());
    ASSERT_TRUE(b.getline(fp));
    EXPECT_EQ(line5000 + "\n", b.str());
    ASSERT_TRUE(b.getline(fp));
    EXPECT_STREQ("last", b.c_str());
    EXPECT_FALSE(b.getline(fp));
    EXPECT_EQ(0, b.length());
    EXPECT_STREQ("", b.c_str());
    fclose(fp);
}

TEST(stringbufferTest, GetlineFromText) {
    stringbuffer b;
    EXPECT_TRUE(b.getline("name\tvalue\tmore", '\t'));
    EXPECT_STREQ("name\t", b.c_str());
    EXPECT_TRUE(b.getline("no separator", '\t'));
    EXPECT_STREQ("no separator", b.c_str());
    EXPECT_FALSE(b.getline("", '\t'));
    EXPECT_EQ(0, b.length());
}

TEST(stringbufferTest, FreeDoesNothingOnceExitHasBegun) {
    EXPECT_EXIT(
        {
            stringbuffer* b = new stringbuffer(64, 0);
            b->append("kept");
            StringBufferRecord* record = b->sb;
            atexitFlag = true;
            b->_free();
            bool kept = b->sb == record && strcmp(record->text, "kept") == 0;
            _exit(kept ? 0 : 1);
        },
        ExitedWithCode(0), "");
    stringbuffer b(64, 0);
    b._free();
    EXPECT_EQ(nullptr, b.sb);
}
