#include <gtest/gtest.h>
#include <unistd.h>

#include "TestSupport.h"
#include "Util.h"
#include "stringbuffer.h"

using ::testing::ExitedWithCode;
using namespace testsupport;

TEST(stringbufferTest, CapacityAndGrowth) {
    EXPECT_EQ(32, stringbuffer(1, 0).capacity());
    stringbuffer b(64, 0);
    b._expand(62);
    EXPECT_EQ(64, b.capacity());
    b.append("abc");
    b._expand(600);  // doubles until needed + 1 fits, keeping the text
    EXPECT_TRUE(b.capacity() == 1024 && b.str() == "abc");
    stringbuffer stepped(40, 10);
    stepped._expand(75);
    EXPECT_EQ(80, stepped.capacity());
    b.reset(40);
    EXPECT_TRUE(b.capacity() == 40 && b.length() == 0);
    EXPECT_EQ(std::string(40, '\0'), std::string(b.text(), 40));
}

TEST(stringbufferTest, EditingKeepsLengthAndTerminator) {
    stringbuffer b(32, 0);
    b.append("ACGT", 2);
    b.append('G');
    b.insert(0, "NN");
    b.insert(5, "X");
    b.insert(3, 'g');
    EXPECT_STREQ("NNAgCGX", b.c_str());
    b.erase(2, 2);
    b.erase(4, 100);
    EXPECT_TRUE(b.str() == "NNCG" && b.length() == 4);
    EXPECT_EQ("CG", b.substring(2, 50));
    // Parts of the buffer itself may be inserted or assigned.
    b.insert(0, b.text() + 2, 2);
    EXPECT_STREQ("CGNNCG", b.c_str());
    b.assign(b.text() + 2, 3);
    EXPECT_STREQ("NNC", b.c_str());
    b.appendf("%s!", std::string(5000, 'q').c_str());
    EXPECT_EQ(3 + 5001, b.length());
    EXPECT_EQ("q!", b.substring(b.length() - 2, 5));
}

TEST(stringbufferTest, GetlineFromFileAndText) {
    TempDir dir;
    std::string line999(998, 'a'), line1500(1500, 'b');
    writeFile(dir.path("in"), "first\n" + line999 + "\n" + line1500 + "\n\nlast");
    FILE* fp = fopen(dir.path("in").c_str(), "r");
    stringbuffer b;
    std::vector<std::string> lines;
    while (b.getline(fp)) lines.push_back(b.str());
    fclose(fp);
    EXPECT_EQ((std::vector<std::string>{"first\n", line999 + "\n", line1500 + "\n", "\n", "last"}),
              lines);
    EXPECT_EQ(0, b.length());

    EXPECT_TRUE(b.getline("name\tvalue\tmore", '\t') && b.str() == "name\t");
    EXPECT_TRUE(b.getline("no separator", '\t') && b.str() == "no separator");
    EXPECT_FALSE(b.getline("", '\t'));
}

TEST(stringbufferTest, FreeDoesNothingOnceExitHasBegun) {
    EXPECT_EXIT(
        {
            stringbuffer* b = new stringbuffer("kept");
            StringBufferRecord* record = b->sb;
            atexitFlag = true;
            b->_free();
            _exit(b->sb == record && strcmp(record->text, "kept") == 0 ? 0 : 1);
        },
        ExitedWithCode(0), "");
}
