#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "ProjectUtil.h"
#include "TestSupport.h"

using testsupport::makeDir;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

// Four reads with Illumina colon names and high-range qualities.
std::string colonFastq(int reads, const char* suffix = "") {
    std::string text;
    for (int i = 0; i < reads; i++) {
        text += "@HWI-EAS:7:1:" + std::to_string(100 + i) + ":20#0/1" + suffix + "\n";
        text += "ACGTNACGTA\n+\nhhhhhhhhhh\n";
    }
    return text;
}

struct FastqResult {
    bool ok;
    bool illumina;
    int accnoType;
    std::string firstName;
};

FastqResult sniffFastq(const std::string& path, int accnoType = -7) {
    FastqResult r{false, false, accnoType, "unset"};
    r.ok = checkFastqFile(path.c_str(), r.illumina, r.accnoType, r.firstName);
    return r;
}

}  // namespace

TEST(ProjectUtilTest, FastaSniffing) {
    TempDir dir;
    // Three high-bit bytes are tolerated, the fourth is not.
    std::vector<std::tuple<std::string, std::string, bool>> files = {
        {"good.fna", "some preamble\n>r1 desc\nacgtn\n>r2\nAC\n", true},
        {"three.fna", "\x80\x81\n>r\xff\n\x90GT\n", true},
        {"binary.fna", "\x80\x81\x82\x83>\nACGT\n", false},
        {"empty.fna", "", false},
        {"headers.fna", ">r1\n>r2\nACGT\n", false},
        {"nobases.fna", ">r1\n----\n", false},
        {"truncated.fna", ">r1 only a header", false},
        {"noheader.fna", "ACGTACGT\n", false}};
    for (const auto& [name, content, expected] : files) {
        writeFile(dir.path(name), content);
        EXPECT_EQ(checkFastaFile(dir.path(name).c_str()), expected) << name;
    }
    EXPECT_FALSE(checkFastaFile(dir.path("missing.fna").c_str()));
    EXPECT_FALSE(checkFastaFile(dir.path().c_str()));
}

TEST(ProjectUtilTest, FastaSniffingOfRealFiles) {
    std::string data = testsupport::sharedTestData();
    if (data.empty()) GTEST_SKIP() << "shared test data not found: " << SHARED_TESTDATA;
    EXPECT_TRUE(checkFastaFile((data + "/sff/E3MFGYR02_random_10_reads.fasta").c_str()));
    EXPECT_TRUE(checkFastaFile((data + "/sff/E3MFGYR02_random_10_reads_no_trim.fasta").c_str()));
    EXPECT_FALSE(checkFastaFile((data + "/sff/E3MFGYR02_random_10_reads.qual").c_str()));
    EXPECT_FALSE(checkFastaFile((data + "/sff/greek.sff").c_str()));
    bool illumina = false;
    int type = 0;
    std::string name;
    EXPECT_FALSE(checkFastqFile((data + "/sff/greek.sff").c_str(), illumina, type, name));
}

TEST(ProjectUtilTest, FastqSniffing) {
    TempDir dir;
    writeFile(dir.path("reads.fq"), colonFastq(4));
    FastqResult r = sniffFastq(dir.path("reads.fq"));
    EXPECT_TRUE(r.ok && r.illumina && r.accnoType == 4);
    EXPECT_EQ(r.firstName, "HWI-EAS:7:1:10");

    // Colon names that also carry the long form.
    writeFile(dir.path("long.fq"), colonFastq(4, " 1:N:0:2"));
    EXPECT_EQ(sniffFastq(dir.path("long.fq")).accnoType, 5);

    // Low-range qualities, and names of no known form: accnoType stays as it was.
    writeFile(dir.path("plain.fq"), "@read_1 x\nACGT\n+\nIIII\n@read_2\nACGT\n+read_2\n#$%!\n");
    r = sniffFastq(dir.path("plain.fq"), 9);
    EXPECT_TRUE(r.ok && !r.illumina && r.accnoType == 9);
    EXPECT_EQ(r.firstName, "read_");

    for (std::string bad : {"", "@r1\nACGT\n+\n", "@r1\nACGT\n+\nBBBB\n", "@r1\nACG",
                            "@r1\nAC\xc3\xa9GT\n+\n\xc3\xa9II\n"}) {
        writeFile(dir.path("bad.fq"), bad);
        EXPECT_FALSE(sniffFastq(dir.path("bad.fq")).ok) << bad;
    }
    EXPECT_FALSE(sniffFastq(dir.path("missing.fq")).ok || sniffFastq(dir.path()).ok);
}

TEST(ProjectUtilTest, FastqNameFormsInArchiveNamedFiles) {
    TempDir dir;
    std::string accession;
    for (const char* name : {"E3MFGYR02JWQ7T", "E3MFGYR02ABCDE", "E3MFGYR02K12345x"}) {
        accession += std::string("@") + name + " length=4\nACGT\n+\nIIII\n";
    }
    writeFile(dir.path("SRR123456_1.fastq"), accession);
    writeFile(dir.path("SRR12345.fastq"), accession);
    EXPECT_EQ(sniffFastq(dir.path("SRR123456_1.fastq")).accnoType, 1);
    EXPECT_EQ(sniffFastq(dir.path("SRR12345.fastq")).accnoType, -7);

    writeFile(dir.path("SRR000001.fastq"), colonFastq(3));
    EXPECT_EQ(sniffFastq(dir.path("SRR000001.fastq")).accnoType, 3);
    std::string colour = "@c1\nT0123012301230123012301.\n+\nIIIIIIIIIIIIIIIIIIIIIII\n";
    writeFile(dir.path("SRR000002_2.fastq"), colour + colour);
    EXPECT_EQ(sniffFastq(dir.path("SRR000002_2.fastq")).accnoType, 2);
    // No form above half of the reads.
    writeFile(dir.path("SRR000003.fastq"), "@x\nACGT\n+\nIIII\n@y\nACGT\n+\nIIII\n");
    EXPECT_EQ(sniffFastq(dir.path("SRR000003.fastq")).accnoType, 0);

    EXPECT_FALSE(isArchiveFileName("SRR123456_3.fastq"));
    EXPECT_TRUE(isColonReadName("a:1:22:333:4#ACGT/2"));
    EXPECT_FALSE(isColonReadName("a:1:22:333#ACGT/2"));
    EXPECT_FALSE(isColonReadName("a:1:22:333:4#ACGT/3"));
    EXPECT_TRUE(isLongReadName("EAS139:136:FC706VJ:2:2104:15343:197393 1:Y:18:2"));
    EXPECT_FALSE(isLongReadName("EAS139:136:FC706VJ:2:2104:15343:197393 1:Y:18:ATCACG"));
}

TEST(ProjectUtilTest, GeneratedProjectName) {
    std::string name = generateProjectName("name");
    EXPECT_TRUE(std::regex_match(name, std::regex("P_\\d{4}(_\\d\\d){5}_name"))) << name;
}

TEST(ProjectUtilTest, LinkRunRegionSffFiles) {
    TempDir dir;
    std::string run = dir.path("run");
    makeDir(run);
    std::vector<std::pair<int, std::string>> regions;
    EXPECT_EQ(linkRunRegionSffFiles(run, regions, dir.path()), 0);

    makeDir(run + "/sff");
    for (const char* name :
         {"E3MFGYR01.sff", "E3MFGYR02.sff", "E3MFGYR0x.sff", "LONGNAME01.sff", "E3MFGYR03.fna"}) {
        writeFile(run + "/sff/" + name, name);
    }
    std::string proj = dir.path("proj");
    makeDir(proj);
    writeFile(proj + "/E3MFGYR02.sff", "stale");
    regions = {{2, ""}, {5, ""}};
    EXPECT_EQ(linkRunRegionSffFiles(run, regions, proj), 1);
    EXPECT_EQ(regions, (std::vector<std::pair<int, std::string>>{{2, "E3MFGYR02.sff"}, {5, ""}}));
    EXPECT_EQ(testsupport::linkTarget(proj + "/E3MFGYR02.sff"), run + "/sff/E3MFGYR02.sff");
    EXPECT_FALSE(testsupport::exists(proj + "/E3MFGYR01.sff"));

    regions.clear();
    EXPECT_EQ(linkRunRegionSffFiles(run, regions, proj), 2);
    EXPECT_EQ(regions, (std::vector<std::pair<int, std::string>>{{1, "E3MFGYR01.sff"},
                                                                 {2, "E3MFGYR02.sff"}}));
    EXPECT_EQ(testsupport::readFile(proj + "/E3MFGYR01.sff"), "E3MFGYR01.sff");

    // A link that can't be made ends the run.
    regions.clear();
    EXPECT_EXIT(linkRunRegionSffFiles(run, regions, dir.path("nodir")),
                ::testing::ExitedWithCode(255), "^Error:  Unable to link existing SFF files.\n$");
}
