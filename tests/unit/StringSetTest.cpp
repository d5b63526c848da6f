#include <gtest/gtest.h>

#include <string>

#include "StringSet.h"

using testing::ExitedWithCode;

TEST(StringSetTest, PutAndGet) {
    StringSet set;
    set.put(0, "read_one", 8, false);
    set.put(3, "marked", 6, true);
    set.put(2, "abcdef", 3, false);
    EXPECT_EQ(set.size(), 4);
    EXPECT_STREQ(set.get(0), "read_one");
    EXPECT_EQ(set.get(1), nullptr);
    EXPECT_STREQ(set.get(2), "abc");
    EXPECT_STREQ(set.get(3), "\001marked");
    EXPECT_EQ(set.pageIds[1], 0xFFFFFFFEu);
    EXPECT_EQ(set.offsets[1], 65535);
    // Strings lie back to back: 9 + 8 bytes before "abc".
    EXPECT_EQ(set.offsets[2], 17);
    EXPECT_EXIT(set.get(4), ExitedWithCode(255),
                "Assertion:  i >= 0 && i < \\(int\\) pageIds.size\\(\\)");
    EXPECT_EXIT(set.get(-1), ExitedWithCode(255), "Assertion:  i >= 0");
}

TEST(StringSetTest, PagesFillAndNeverMove) {
    StringSet set;
    std::string name(999, 'x');
    for (int i = 0; i < 70; i++) {
        name[0] = (char)('A' + i % 26);
        set.put(i, name.data(), (int)name.size(), false);
    }
    // 65 strings of 1,000 bytes fit in the first page of 65,535.
    EXPECT_EQ(set.pages.size(), 2u);
    EXPECT_EQ(set.pageIds[64], 0u);
    EXPECT_EQ(set.pageIds[65], 1u);
    const char* first = set.get(0);
    std::string huge(70000, 'h');
    set.put(70, huge.data(), (int)huge.size(), true);
    EXPECT_EQ(set.pageSize, 70002);
    set.put(71, "tail", 4, false);
    EXPECT_EQ(set.pages.size(), 4u);
    EXPECT_EQ(set.get(0), first);
    for (int i = 0; i < 70; i++) {
        name[0] = (char)('A' + i % 26);
        ASSERT_EQ(std::string(set.get(i)), name);
    }
    EXPECT_EQ(std::string(set.get(70)), "\001" + huge);
    EXPECT_STREQ(set.get(71), "tail");
}
