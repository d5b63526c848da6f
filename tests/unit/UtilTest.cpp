#include <gtest/gtest.h>

#include "Util.h"

TEST(UtilTest, DieExitsWith255) {
    EXPECT_EXIT(die("x\n"), ::testing::ExitedWithCode(255), "^x\n$");
}
