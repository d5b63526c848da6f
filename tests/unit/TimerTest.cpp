#include <gtest/gtest.h>

#include "TestSupport.h"
#include "Timer.h"

using namespace testsupport;

TEST(TimerTest, UnknownLabelsMergeAndDump) {
    Timer timer;
    timer.stop("never started");
    EXPECT_TRUE(timer.times.empty());
    EXPECT_FLOAT_EQ(-1.0f, timer.getSeconds("never started"));
    Timer a, b;
    a.times["b-step"] = {0, 0, 2, 1500};
    b.times["b-step"] = {0, 0, 1, 500};
    b.times["a-step"] = {0, 0, 4, 10};
    a.merge(&b);
    EXPECT_FLOAT_EQ(2.0f, a.getSeconds("b-step"));

    TempDir dir;
    FILE* fp = fopen(dir.path("t").c_str(), "w");
    a.dumpTimes(fp);
    a.dumpTimes(nullptr);
    fclose(fp);
    EXPECT_EQ(
        "Timer Results:\n"
        "   a-step:  0.0 secs, 4 calls, 2.50 msecs/call\n"
        "   b-step:  2.0 secs, 3 calls, 666.67 msecs/call\n"
        "\n",
        readFile(dir.path("t")));
}
