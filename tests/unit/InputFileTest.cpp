#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "InputFile.h"
#include "SffWriter.h"
#include "TestSupport.h"

using testsupport::TempDir;
using testsupport::writeFile;

TEST(InputFileTest, QualityFileSearch) {
    TempDir dir;
    writeFile(dir.path("reads.fna"), ">r\nACGT\n");
    writeFile(dir.path("reads.fna.qual"), ">r\n30 30 30 30\n");
    writeFile(dir.path("reads.qual"), ">r\n20 20 20 20\n");
    InputFile both(false, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_EQ(both.getQualPath(), dir.path("reads.fna.qual"));
    unlink(dir.path("reads.fna.qual").c_str());
    InputFile stem(false, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, true);
    EXPECT_TRUE(stem.hasQual() && stem.removeFlag);
    EXPECT_EQ(stem.getQualPath(), dir.path("reads.qual"));
    // The last point of the whole path counts, even in a directory name.
    testsupport::makeDir(dir.path("run.x"));
    writeFile(dir.path("run.qual"), "");
    InputFile dotted(false, dir.path("run.x/reads"), InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_EQ(dotted.getQualPath(), dir.path("run.qual"));

    InputFile reference(true, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, false);
    InputFile noPoint(false, "/nodots/reads", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_FALSE(reference.hasQual() || noPoint.hasQual());
    InputFile fastq(false, dir.path("r.fastq"), InputFile::FASTQ_FILE, 1, 3, false);
    EXPECT_TRUE(fastq.hasQual() && !fastq.hasQualFile());
    EXPECT_EXIT(fastq.getQualPath(), ::testing::ExitedWithCode(255),
                "Assertion:  hasQualFile\\(\\) && fileType == FASTA_FILE");
}

TEST(InputFileTest, SffAndStsRecords) {
    InputFile sff("/proj/sff/link.sff", "/data/run1/file.sff", "R1", "2", false);
    EXPECT_EQ(sff.displayName, "file.sff, region 2");
    EXPECT_EQ(sff.sffDirFilename, "link.sff");
    sff.setPath("/data/run2/file.sff");
    EXPECT_EQ(sff.displayName, "file.sff");
    EXPECT_EQ(sff.getProjectFilePath(), "/proj/sff/link.sff");
    // The suffix follows a run name, not a region.
    EXPECT_EQ(InputFile("/p/sff/a.sff", "/d/a.sff", "", "3", false).displayName, "a.sff");
    EXPECT_EQ(InputFile("/p/sff/a.sff", "/d/a.sff/", "R", "", false).displayName, "a.sff, region ");

    InputFile sts("/d/map.sts", "/d/seq.fa", true);
    EXPECT_EXIT(sts.setPath("/x"), ::testing::ExitedWithCode(255), "Assertion:  isSFFFile\\(\\)");
    InputFile refFastq(true, "/d/r.fastq", InputFile::FASTQ_FILE, 0, 0, false);
    EXPECT_EXIT(refFastq.setPath("/x"), ::testing::ExitedWithCode(255),
                "Assertion:  isFastaFile\\(\\)");
    EXPECT_EXIT(sts.getFlowOrder(), ::testing::ExitedWithCode(255), "Assertion:  isSFFFile\\(\\)");
    EXPECT_EXIT(sff.getFlowOrder(), ::testing::ExitedWithCode(255),
                "Assertion:  flowOrderChars.length\\(\\) > 0");

    // Flow order rule: one period of 4 repeated, or not.
    const std::pair<const char*, int> cases[] = {
        {"TACGTACG", 0}, {"TACGTACC", 1}, {"TAC", 1}, {"TACG", 0}};
    for (auto [chars, flag] : cases) {
        sff.setFlowOrder(chars, (int)strlen(chars));
        EXPECT_EQ(sff.nonCyclicFlowOrder, flag) << chars;
        EXPECT_EQ(sff.numFlows, (int)strlen(chars));
        EXPECT_STREQ(sff.getFlowOrder(), chars);
    }
}

TEST(InputFileTest, ReadSffHeaderInfo) {
    TempDir dir;
    SffWriter writer(9);
    writer.flowChars = "TACGTACGA";
    writer.add("r1", "TACG");
    ASSERT_TRUE(writer.write(dir.path("good.sff")));
    int headerLength = 0;
    std::string flows = "old", key = "KEY";
    ASSERT_TRUE(InputFile::readSFFHeaderInfo(dir.path("good.sff"), headerLength, flows, key));
    EXPECT_EQ(headerLength, 48);  // 31 + 9 flows + 4 key bytes, padded to 8
    EXPECT_EQ(flows, "TACGTACGA");
    EXPECT_EQ(key, "KEY");

    std::string image = testsupport::readFile(dir.path("good.sff"));
    std::string bad = dir.path("bad.sff");
    auto expectFailure = [&](const std::string& bytes, const std::string& err) {
        if (!bytes.empty()) writeFile(bad, bytes);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(InputFile::readSFFHeaderInfo(bad, headerLength, flows, key));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), err);
        EXPECT_EQ(flows, "TACGTACGA");
    };
    expectFailure("x" + image.substr(1), "Error:  Invalid SFF file format:  " + bad + "\n");
    expectFailure(image.substr(0, 4) + '\1' + image.substr(5),
                  "Error:  Unsupported SFF file version number.\n"
                  "Error:  Unsupported SFF file version number:  " +
                      bad + "\n");
    // A header too short for its flow characters is refused, not read past.
    expectFailure(image.substr(0, 24) + std::string("\0\x20", 2) + image.substr(26),
                  "Error:  Invalid SFF file format:  " + bad + "\n");
    unlink(bad.c_str());
    expectFailure("", "Error: Unable to open SFF file:  " + bad + "\n");
    // Only the first version byte is looked at.
    writeFile(bad, image.substr(0, 7) + '\7' + image.substr(8));
    EXPECT_TRUE(InputFile::readSFFHeaderInfo(bad, headerLength, flows, key));

    for (size_t cut : {20, 40}) {
        writeFile(bad, image.substr(0, cut));
        EXPECT_EXIT(InputFile::readSFFHeaderInfo(bad, headerLength, flows, key),
                    ::testing::ExitedWithCode(255),
                    "Error:  getBytes\\(\\) unable to read SFF file:  .*bad\\.sff");
    }
}

TEST(InputFileTest, SharedSffHeader) {
    std::string path = std::string(SHARED_TESTDATA) + "/sff/greek.sff";
    if (access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "shared test data not found: " << path;
    int headerLength = 0;
    stringbuffer flows, key("none");
    ASSERT_TRUE(InputFile::readSFFHeaderInfo(path, headerLength, flows, key));
    EXPECT_EQ(headerLength, 840);
    std::string expected;
    for (int i = 0; i < 200; i++) expected += "TACG";
    EXPECT_EQ(flows.str(), expected);
    EXPECT_EQ(key.str(), "none");
}

TEST(InputFileTest, SraPairNumbersLibrariesAndPools) {
    InputFile paired(false, "/d/SRR123456_1.fastq", InputFile::FASTQ_FILE, 0, 2, false);
    EXPECT_EQ(paired.getSRAPairNumberFromFile(), '1');
    EXPECT_EQ(paired.displayName2LibName(), "SRR123456");
    InputFile single(false, "/d/SRR123456.fastq", InputFile::FASTQ_FILE, 0, 1, false);
    EXPECT_EQ(single.getSRAPairNumberFromFile(), ' ');
    EXPECT_EQ(single.displayName2LibName(), "SRR123456.fastq");
    InputFile general(false, "/d/SRR123456_2.fastq", InputFile::FASTQ_FILE, 0, 0, false);
    EXPECT_EQ(general.displayName2LibName(), "SRR123456_2.fastq");

    InputFile odd(false, "/d/SRR12345_1.fastq", InputFile::FASTQ_FILE, 0, 2, false);
    EXPECT_EXIT(odd.getSRAPairNumberFromFile(), ::testing::ExitedWithCode(255),
                "Assertion:  displayName.length\\(\\) == 15 \\|\\| displayName.length\\(\\) == 17");
    InputFile third(false, "/d/SRR123456_3.fastq", InputFile::FASTQ_FILE, 0, 2, false);
    EXPECT_EXIT(third.displayName2LibName(), ::testing::ExitedWithCode(255),
                "Assertion:  displayName\\[10\\] == '1' \\|\\| displayName\\[10\\] == '2'");
    InputFile suffix(false, "/d/SRR123456_1.fastx", InputFile::FASTQ_FILE, 0, 2, false);
    EXPECT_EXIT(suffix.getSRAPairNumberFromFile(), ::testing::ExitedWithCode(255),
                "Assertion:  strcmp\\(displayName.c_str\\(\\) \\+ displayName.length\\(\\) - 6, "
                "\"\\.fastq\"\\) == 0");

    InputFile::poolIds.clear();
    InputFile::poolNames.clear();
    EXPECT_EQ(InputFile::getPoolId("east"), 0);
    EXPECT_EQ(InputFile::getPoolId("west"), 1);
    EXPECT_EQ(InputFile::getPoolId("east"), 0);
    EXPECT_EXIT(InputFile::getPoolName(2), ::testing::ExitedWithCode(255),
                "Assertion:  poolId >= 0 && poolId < \\(int\\)poolNames.size\\(\\)");
}
