#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "InputFile.h"
#include "SffWriter.h"
#include "TestSupport.h"

using testsupport::TempDir;
using testsupport::writeFile;

namespace {

// Builds a small SFF file with the given flow characters through the shared writer.
std::string writeSff(const TempDir& dir, const std::string& name, const std::string& flows) {
    SffWriter writer((int)flows.size());
    writer.flowChars = flows;
    writer.add("r1", "TACG");
    EXPECT_TRUE(writer.write(dir.path(name)));
    return dir.path(name);
}

}  // namespace

TEST(InputFileTest, QualityFileSearch) {
    TempDir dir;
    writeFile(dir.path("reads.fna"), ">r\nACGT\n");
    writeFile(dir.path("reads.fna.qual"), ">r\n30 30 30 30\n");
    writeFile(dir.path("reads.qual"), ">r\n20 20 20 20\n");
    InputFile both(false, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_TRUE(both.hasQual());
    EXPECT_EQ(both.getQualPath(), dir.path("reads.fna.qual"));

    unlink(dir.path("reads.fna.qual").c_str());
    InputFile stem(false, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, true);
    EXPECT_EQ(stem.getQualPath(), dir.path("reads.qual"));
    EXPECT_TRUE(stem.removeFlag);

    // The last point of the whole path counts, even in a directory name.
    testsupport::makeDir(dir.path("run.x"));
    writeFile(dir.path("run.qual"), "");
    InputFile dotted(false, dir.path("run.x/reads"), InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_EQ(dotted.getQualPath(), dir.path("run.qual"));

    InputFile reference(true, dir.path("reads.fna"), InputFile::FASTA_FILE, 0, 0, false);
    InputFile shortForm(dir.path("reads.fna"), InputFile::FASTA_FILE, false);
    InputFile refFastq(true, dir.path("r.fastq"), InputFile::FASTQ_FILE, 0, 0, false);
    for (InputFile* f : {&reference, &shortForm, &refFastq}) {
        EXPECT_FALSE(f->hasQual());
        EXPECT_FALSE(f->hasQualFile());
        EXPECT_EQ(f->qualPath, "");
    }
    InputFile fastq(false, dir.path("r.fastq"), InputFile::FASTQ_FILE, 1, 3, false);
    EXPECT_TRUE(fastq.hasQual());
    EXPECT_FALSE(fastq.hasQualFile());
    EXPECT_EQ(fastq.fastqScoreType, 1);
    EXPECT_EQ(fastq.fastqAccnoType, 3);
    EXPECT_EXIT(fastq.getQualPath(), ::testing::ExitedWithCode(255),
                "Assertion:  hasQualFile\\(\\) && fileType == FASTA_FILE");

    InputFile noPoint(false, "/nodots/reads", InputFile::FASTA_FILE, 0, 0, false);
    EXPECT_FALSE(noPoint.hasQual());
}

TEST(InputFileTest, SffAndStsRecords) {
    InputFile sff("/proj/sff/link.sff", "/data/run1/file.sff", "R1", "2", false);
    EXPECT_TRUE(sff.isSFFFile());
    EXPECT_EQ(sff.displayName, "file.sff, region 2");
    EXPECT_EQ(sff.sffDirFilename, "link.sff");
    EXPECT_EQ(sff.getProjectFilePath(), "/proj/sff/link.sff");
    EXPECT_EQ(sff.getPath(), "/data/run1/file.sff");
    EXPECT_EQ(sff.numFlows, -1);
    EXPECT_EQ(sff.nonCyclicFlowOrder, 255);
    EXPECT_EQ(sff.poolId, -2);
    EXPECT_EQ(sff.sraPairNumber, ' ');
    sff.setPath("/data/run2/file.sff");
    EXPECT_EQ(sff.displayName, "file.sff");
    EXPECT_EQ(sff.getProjectFilePath(), "/proj/sff/link.sff");

    // The suffix follows a run name, not a region.
    InputFile regionOnly("/p/sff/a.sff", "/d/a.sff", "", "3", false);
    EXPECT_EQ(regionOnly.displayName, "a.sff");
    InputFile runOnly("/p/sff/a.sff", "/d/a.sff/", "R", "", false);
    EXPECT_EQ(runOnly.displayName, "a.sff, region ");

    InputFile sts("/d/map.sts", "/d/seq.fa", true);
    EXPECT_TRUE(sts.isSTSFile());
    EXPECT_EQ(sts.stsSeqFilename, "/d/seq.fa");
    EXPECT_EQ(sts.getProjectFilePath(), "/d/map.sts");
    EXPECT_EXIT(sts.setPath("/x"), ::testing::ExitedWithCode(255), "Assertion:  isSFFFile\\(\\)");
    InputFile refFastq(true, "/d/r.fastq", InputFile::FASTQ_FILE, 0, 0, false);
    EXPECT_EXIT(refFastq.setPath("/x"), ::testing::ExitedWithCode(255),
                "Assertion:  isFastaFile\\(\\)");
    EXPECT_EXIT(sts.getFlowOrder(), ::testing::ExitedWithCode(255), "Assertion:  isSFFFile\\(\\)");
    EXPECT_EXIT(sff.getFlowOrder(), ::testing::ExitedWithCode(255),
                "Assertion:  flowOrderChars.length\\(\\) > 0");
}

TEST(InputFileTest, FlowOrderRule) {
    InputFile f("/p/sff/a.sff", "/d/a.sff", "", "", false);
    f.setFlowOrder("TACGTACG", 8);
    EXPECT_EQ(f.nonCyclicFlowOrder, 0);
    EXPECT_EQ(f.numFlows, 8);
    EXPECT_STREQ(f.getFlowOrder(), "TACGTACG");
    f.setFlowOrder("TACGTACC", 8);
    EXPECT_EQ(f.nonCyclicFlowOrder, 1);
    f.setFlowOrder("TAC", 3);
    EXPECT_EQ(f.nonCyclicFlowOrder, 1);
    EXPECT_STREQ(f.getFlowOrder(), "TAC");
    f.setFlowOrder("TACG", 4);
    EXPECT_EQ(f.nonCyclicFlowOrder, 0);
}

TEST(InputFileTest, ReadSffHeaderInfo) {
    TempDir dir;
    std::string good = writeSff(dir, "good.sff", "TACGTACGA");
    int headerLength = 0;
    std::string flows = "old", key = "KEY";
    ASSERT_TRUE(InputFile::readSFFHeaderInfo(good, headerLength, flows, key));
    EXPECT_EQ(headerLength, 48);  // 31 + 9 flows + 4 key bytes, padded to 8
    EXPECT_EQ(flows, "TACGTACGA");
    EXPECT_EQ(key, "KEY");

    std::string image = testsupport::readFile(good);
    auto expectFailure = [&](const std::string& bytes, const std::string& err) {
        writeFile(dir.path("bad.sff"), bytes);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(InputFile::readSFFHeaderInfo(dir.path("bad.sff"), headerLength, flows, key));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), err);
        EXPECT_EQ(flows, "TACGTACGA");
    };
    expectFailure("x" + image.substr(1),
                  "Error:  Invalid SFF file format:  " + dir.path("bad.sff") + "\n");
    // Only the first version byte is looked at.
    expectFailure(image.substr(0, 4) + '\1' + image.substr(5),
                  "Error:  Unsupported SFF file version number.\n"
                  "Error:  Unsupported SFF file version number:  " +
                      dir.path("bad.sff") + "\n");
    writeFile(dir.path("v.sff"), image.substr(0, 7) + '\7' + image.substr(8));
    EXPECT_TRUE(InputFile::readSFFHeaderInfo(dir.path("v.sff"), headerLength, flows, key));
    // A header too short for its flow characters is refused, not read past.
    expectFailure(image.substr(0, 24) + std::string("\0\x20", 2) + image.substr(26),
                  "Error:  Invalid SFF file format:  " + dir.path("bad.sff") + "\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(InputFile::readSFFHeaderInfo(dir.path("none.sff"), headerLength, flows, key));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Unable to open SFF file:  " + dir.path("none.sff") + "\n");

    writeFile(dir.path("short.sff"), image.substr(0, 20));
    EXPECT_EXIT(InputFile::readSFFHeaderInfo(dir.path("short.sff"), headerLength, flows, key),
                ::testing::ExitedWithCode(255),
                "Error:  getBytes\\(\\) unable to read SFF file:  .*short\\.sff");
    writeFile(dir.path("cut.sff"), image.substr(0, 40));
    EXPECT_EXIT(InputFile::readSFFHeaderInfo(dir.path("cut.sff"), headerLength, flows, key),
                ::testing::ExitedWithCode(255), "unable to read SFF file:  .*cut\\.sff");
}

TEST(InputFileTest, SharedSffHeader) {
    std::string path = std::string(SHARED_TESTDATA) + "/sff/greek.sff";
    if (access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "shared test data not found: " << path;
    int headerLength = 0;
    stringbuffer flows, key("TCAG");
    ASSERT_TRUE(InputFile::readSFFHeaderInfo(path, headerLength, flows, key));
    EXPECT_EQ(headerLength, 840);
    ASSERT_EQ(flows.length(), 800);
    std::string expected;
    for (int i = 0; i < 200; i++) expected += "TACG";
    EXPECT_EQ(flows.str(), expected);
    EXPECT_EQ(key.str(), "TCAG");
    // The key follows the flow characters in the header.
    EXPECT_EQ(testsupport::readFile(path).substr(31 + 800, 4), "TCAG");
    InputFile f("/p/sff/greek.sff", path, "", "", false);
    f.setFlowOrder(flows.text(), flows.length());
    EXPECT_EQ(f.numFlows, 800);
    EXPECT_EQ(f.nonCyclicFlowOrder, 0);
}

TEST(InputFileTest, SraPairNumbersAndLibraries) {
    InputFile paired(false, "/d/SRR123456_1.fastq", InputFile::FASTQ_FILE, 0, 2, false);
    EXPECT_EQ(paired.getSRAPairNumberFromFile(), '1');
    EXPECT_TRUE(paired.sraPairNumberKnown);
    EXPECT_EQ(paired.displayName2LibName(), "SRR123456");
    InputFile single(false, "/d/SRR123456.fastq", InputFile::FASTQ_FILE, 0, 1, false);
    EXPECT_EQ(single.getSRAPairNumberFromFile(), ' ');
    EXPECT_EQ(single.displayName2LibName(), "SRR123456.fastq");
    InputFile general(false, "/d/SRR123456_2.fastq", InputFile::FASTQ_FILE, 0, 0, false);
    EXPECT_EQ(general.getSRAPairNumberFromFile(), ' ');
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
}

TEST(InputFileTest, PoolTables) {
    InputFile::poolIds.clear();
    InputFile::poolNames.clear();
    EXPECT_EQ(InputFile::getPoolId("east"), 0);
    EXPECT_EQ(InputFile::getPoolId("west"), 1);
    EXPECT_EQ(InputFile::getPoolId("east"), 0);
    EXPECT_EQ(InputFile::poolNames, (std::vector<std::string>{"east", "west"}));
    EXPECT_EQ(InputFile::getPoolName(1), "west");
    EXPECT_EXIT(InputFile::getPoolName(2), ::testing::ExitedWithCode(255),
                "Assertion:  poolId >= 0 && poolId < \\(int\\)poolNames.size\\(\\)");
}
