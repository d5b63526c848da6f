// readfix -p / -np on real project directories: the project file is rewritten
// with the new flags, the report sentence is exact, and nothing else changes.
#include <gtest/gtest.h>

#include "TestSupport.h"

using namespace testsupport;

namespace {

class PairingModeTest : public ::testing::Test {
protected:
    PairingModeTest() : sample(dir.path()) {
        dateCreated = elementValue(readFile(sample.xmlPath), "dateCreated");
        before = snapshot(dir.path());
    }

    // The project file lists the files with these paired-end flags, and every
    // other file under the test directory is as it was.
    void expectProject(std::vector<bool> paired) {
        std::vector<ExpectedFile> files = sample.files;
        for (size_t i = 0; i < files.size(); i++) files[i].pairedEnd = paired[i];
        EXPECT_EQ(expectedProjectXml(sample.proj, dateCreated, files),
                  maskDateModified(readFile(sample.xmlPath)));
        auto after = snapshot(dir.path());
        ASSERT_EQ(before.size(), after.size());
        for (size_t i = 0; i < before.size(); i++) {
            EXPECT_EQ(before[i].first, after[i].first);
            if (before[i].first != "/proj/mapping/ZeqMappingProject.xml") {
                EXPECT_EQ(before[i].second, after[i].second) << before[i].first;
            }
        }
    }

    TempDir dir;
    SampleProject sample;
    std::string dateCreated;
    std::vector<std::pair<std::string, std::string>> before;
};

TEST_F(PairingModeTest, BuiltProjectMatchesTheExpectedFile) {
    EXPECT_EQ(expectedProjectXml(sample.proj, dateCreated, sample.files),
              maskDateModified(readFile(sample.xmlPath)));
    EXPECT_FALSE(dateCreated.empty());
}

TEST_F(PairingModeTest, SffFileByLinkName) {
    RunResult r = runReadfix({"-p", sample.proj, "A.sff"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Total of 1 SFF file successfully updated.\n", r.err);
    EXPECT_EQ("", r.out);
    expectProject({true, false, false, false});

    r = runReadfix({"-np", sample.proj, "A.sff"});
    EXPECT_EQ("Total of 1 SFF file successfully updated.\n", r.err);
    expectProject({false, false, false, false});
}

TEST_F(PairingModeTest, SffFileByPathOutsideTheProjectMatchesItsLink) {
    RunResult r = runReadfix({"-p", sample.proj, sample.runs + "/B.sff"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Total of 1 SFF file successfully updated.\n", r.err);
    expectProject({false, true, false, false});
}

TEST_F(PairingModeTest, FastaAndFastqFilesByPathCountAsFasta) {
    // Relative paths are resolved from the working directory.
    RunResult r =
        runReadfix({"-p", "proj", "runs/reads.fna", "A.sff", "runs/reads.fastq"}, dir.path());
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Total of 1 SFF file and 2 fasta files successfully updated.\n", r.err);
    expectProject({true, false, true, true});
}

TEST_F(PairingModeTest, FileNamedTwiceIsCountedTwice) {
    RunResult r = runReadfix({"-p", sample.proj, "B.sff", "B.sff"});
    EXPECT_EQ("Total of 2 SFF files successfully updated.\n", r.err);
    expectProject({false, true, false, false});
}

TEST_F(PairingModeTest, FileNotInProjectIsReportedAndTheRunGoesOn) {
    writeFile(sample.runs + "/other.fna", ">x\nACGT\n");
    before = snapshot(dir.path());
    RunResult r = runReadfix({"-p", sample.proj, sample.runs + "/other.fna", "A.sff"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Error:  The file " + sample.runs +
                  "/other.fna cannot be updated,\n        because it is not present in the "
                  "project XML file.\n\nTotal of 1 SFF file successfully updated.\n",
              r.err);
    expectProject({true, false, false, false});
}

TEST_F(PairingModeTest, NoFilesStillRewritesTheProjectFile) {
    // Run from inside the sub-project directory: the project is found from there.
    RunResult r = runReadfix({"-p"}, sample.subDir);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Warning:  No read files were updated.\n", r.err);
    expectProject({false, false, false, false});
}

TEST_F(PairingModeTest, ProjectFileOutOfRangeIsLeftAsItWas) {
    std::string xml = readFile(sample.xmlPath);
    size_t at = xml.find("<minimumReadLength>30<");
    ASSERT_NE(std::string::npos, at);
    xml.replace(at, 22, "<minimumReadLength>14<");
    writeFile(sample.xmlPath, xml);
    RunResult r = runReadfix({"-p", sample.proj, "A.sff"});
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(
        "Error:  The value of minimumReadLength in the ZeqProject.xml file must be between "
        "15 and 100.\n     The value in the project file is 14\n",
        r.err);
    EXPECT_EQ(xml, readFile(sample.xmlPath));
}

TEST_F(PairingModeTest, UnclosedTagEndsTheRunWithTheFileUnchanged) {
    std::string xml = readFile(sample.xmlPath);
    size_t at = xml.find("</ReadFiles>");
    std::string broken = xml.substr(0, at) + "</ZeqProject>\n";
    writeFile(sample.xmlPath, broken);
    RunResult r = runReadfix({"-np", sample.proj, "A.sff"});
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(0u, r.err.find("Error:  Invalid format of XML file.\nError:  Cannot find endtag "
                             "</ReadFiles> in "));
    EXPECT_EQ(broken, readFile(sample.xmlPath));
}

}  // namespace
