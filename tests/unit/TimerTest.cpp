#include <gtest/gtest.h>

#include "TestSupport.h"
#include "Timer.h"

using testsupport::readFile;
using testsupport::TempDir;

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
    EXPECT_EQ(3, a.times["b-step"].calls);
    EXPECT_FLOAT_EQ(2.0f, a.getSeconds("b-step"));
    EXPECT_EQ(4, a.times["a-step"].calls);

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
