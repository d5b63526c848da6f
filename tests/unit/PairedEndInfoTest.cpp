// Paired-end libraries: distance statistics, templates and .PairMetadata.
#include <gtest/gtest.h>

#include "PairedEndInfo.h"
#include "TestSupport.h"

using ::testing::ExitedWithCode;
using namespace testsupport;

TEST(PairedEndInfoTest, LibrariesAndMatePairPartners) {
    PairedEndInfo info;
    EXPECT_EQ(0, info.addLibrary("L", 2));
    EXPECT_EQ(0, info.addLibrary("L", 2));
    ASSERT_EQ(2u, info.libraries.size());
    EXPECT_EQ("L_matepair", info.libraries[1].name);
    EXPECT_EQ(LibraryType::IllMatePair, info.libraries[1].type);
    EXPECT_TRUE(info.libraries[0].otherLibraryId == 1 && info.libraries[1].otherLibraryId == 0);
    EXPECT_EQ(2, info.addLibrary("sffLib", 1));
    EXPECT_TRUE(info.libraries[2].otherLibraryId == -2 && info.getLibraryId("none") == -2);
    EXPECT_EXIT(info.addLibrary("bad", 4), ExitedWithCode(255), "Assertion:  false");
}

TEST(PairedEndInfoTest, DistanceBinsAndLimits) {
    PairedEndInfo info;
    int id = info.addLibrary("L", 1);
    PairedEndLibrary& lib = info.libraries[id];
    info.addPairDistance(id, 0, 49950);  // bin 500: the first long bin, counted short
    EXPECT_TRUE(lib.longBins[0] == 1 && lib.numShortDistances == 1 && lib.numLongDistances == 0);
    info.addPairDistance(id, 0, 500000);  // ignored
    EXPECT_EQ(1, lib.numDistances);
    info.addPairDistance(id, 0, 499999);
    EXPECT_TRUE(lib.longBins[450] == 1 && lib.numLongDistances == 1);
    EXPECT_EXIT(info.addPairDistance(id, 0, -1), ExitedWithCode(255), "Assertion:  distance >= 0");
    EXPECT_EXIT(info.addPairDistance(5, 0, 10), ExitedWithCode(255),
                "Assertion:  libraryId >= 0 && libraryId < \\(int\\) libraries.size\\(\\)");
    info.clearLibraryDistances();
    EXPECT_TRUE(lib.numDistances == 0 && lib.longBins[0] == 0);
}

TEST(PairedEndInfoTest, StatisticsOfFewAndManyDistances) {
    PairedEndInfo info;
    int id = info.addLibrary("L", 1);
    PairedEndLibrary& lib = info.libraries[id];
    info.addPairDistance(id, 0, 3000);  // bin 30, centre 3050
    EXPECT_FLOAT_EQ(3050, lib.meanDistance);
    EXPECT_FLOAT_EQ(1525, lib.stdDev);
    EXPECT_TRUE(lib.minDistance == 1525 && lib.maxDistance == 6100 && lib.median == 3050);
    for (int i = 0; i < 7; i++) info.addPairDistance(id, 0, 3000);
    // Eight equal distances: no spread, so the deviation is held at a quarter of the mean.
    EXPECT_FLOAT_EQ(762.5f, lib.stdDev);
    EXPECT_TRUE(lib.minDistance == 1525 && lib.maxDistance == 4575);

    PairedEndInfo small;
    int s = small.addLibrary("S", 1);
    small.addPairDistance(s, 0, 400);  // twice the mean is raised to 2,000
    EXPECT_EQ(2000, small.libraries[s].maxDistance);
}

TEST(PairedEndInfoTest, TemplatesJoinReads) {
    PairedEndInfo info;
    EXPECT_EQ(0, info.setSeqInfo(10, "t1", 'F', "libA"));
    EXPECT_EQ(-2, info.getPairOtherId(10));
    EXPECT_EQ(2, info.setSeqInfo(42, "t1", 'R', "libA"));
    EXPECT_EQ(0, info.setSeqInfo(43, "t1", 'R', "libA"));
    EXPECT_TRUE(info.getPairOtherId(10) == 42 && info.getPairOtherId(42) == 10);
    std::string name;
    EXPECT_TRUE(info.getPairTemplate(42, name) && name == "t1" && !info.getPairTemplate(7, name));
    EXPECT_EQ(0, info.getLibraryId(10));

    // Read 10 is removed; the others move down by one.
    std::vector<std::pair<int, bool>> map(44);
    for (int i = 0; i < 44; i++) map[i] = {i < 10 ? i : i - 1, i != 10};
    info.removeSequences(map);
    EXPECT_TRUE(info.templates[0].forwardIds.empty());
    EXPECT_EQ((std::vector<int>{41, 42}), info.templates[0].reverseIds);
    EXPECT_FALSE(info.templates[0].hasPair);
    EXPECT_EQ(-2, info.getPairOtherId(41));
}

TEST(PairedEndInfoTest, MetadataFileRoundTrip) {
    testsupport::TempDir td;
    PairedEndInfo info;
    info.addLibrary("sffLib", 1);
    info.setSeqInfo(3, "tA", 'F', "ill");
    info.setSeqInfo(5, "tA", 'R', "ill");
    info.setSeqInfo(6, "tA", 'R', "ill");
    info.libraries[1].type = LibraryType::IllPairedEnd;
    info.libraries[1].otherLibraryId = 0;
    std::string path = td.path(".PairMetadata");
    info.writeMetadata(path);
    EXPECT_EQ("Version:\t1.1\nsffLib\tSFF\t-2\nill\tIllPairedEnd\t0\n\ttA\t3\t5,6\n",
              readFile(path));

    PairedEndInfo back;
    back.readMetadata(path);
    EXPECT_EQ(5, back.getPairOtherId(3));
    back.writeMetadata(td.path("again"));
    EXPECT_EQ(readFile(path), readFile(td.path("again")));

    // Without the version line, and a missing file, both read quietly.
    writeFile(path, "x\tDefault\t-2\n\tt\t1\t2\n");
    PairedEndInfo old;
    old.readMetadata(path);
    EXPECT_EQ(2, old.getPairOtherId(1));
    PairedEndInfo none;
    none.readMetadata(td.path("missing"));
    EXPECT_TRUE(none.libraries.empty());
}

TEST(PairedEndInfoTest, MalformedMetadataDies) {
    testsupport::TempDir td;
    std::string path = td.path(".PairMetadata");
    PairedEndInfo info;
    const std::string invalid = "Error:  Invalid format of project state files.\n";
    for (auto [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"Version:\t1.1\nnoTabsHere\n", invalid},
             {"lib\tWeird\t-2\n", invalid},
             {"lib\tSFF\t-2\n\tt\t1,x\t2\n", invalid + "'lib\tSFF\t-2'\n'\tt\t1,x\t2'\n"}}) {
        writeFile(path, text);
        EXPECT_EXIT(info.readMetadata(path), ExitedWithCode(255), exactly(message)) << text;
    }
    EXPECT_EXIT(info.writeMetadata(td.root), ExitedWithCode(255),
                "^Error:  Cannot write project state files\\.\n$");
}

TEST(PairedEndInfoTest, PrintsDistribution) {
    PairedEndInfo info;
    int id = info.addLibrary("L", 1);
    info.libraries[id].numPairs = 4;
    info.addPairDistance(id, 0, 3000);
    info.addPairDistance(id, 0, 3010);
    char* text = nullptr;
    size_t size = 0;
    FILE* fp = open_memstream(&text, &size);
    info.printDist(fp);
    fclose(fp);
    EXPECT_EQ(
        "Library L:   4 pairs, 2 pairs used, 3050.0 avgdist, 1525.0 stddev, range 1525..6100\n"
        "    3050:  2\n",
        std::string(text, size));
    free(text);
}
