// readfix -relink and -verbose on real project directories: links, project
// file and store list after a move, the dry run, the listing, and mismatches
// that must leave every file of the project as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "ProjectBuilder.h"
#include "SampleReads.h"
#include "SffWriter.h"
#include "TestSupport.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

class RelinkModeTest : public ::testing::Test {
protected:
    RelinkModeTest() : sample(dir.path(), false) {
        moved = dir.path("moved");
        dateCreated = elementValue(readFile(sample.xmlPath), "dateCreated");
    }
    void moveRuns() { fs::rename(sample.runs, moved); }
    // What -verbose says of moving both files from runs to moved.
    std::string changeLines() {
        std::string lines;
        for (const char* name : {"/A.sff", "/B.sff"})
            lines += "    Read file:  " + sample.runs + name +
                     " (file not found)\n  changing to:  " + moved + name + "\n";
        return lines;
    }
    // Loading the store rereads each SFF header through the project's link, and
    // says so for each link whose file has gone.
    std::string unreadableLinks() {
        return "Error: Unable to open SFF file:  " + sample.proj +
               "/sff/A.sff\n"
               "Error: Unable to open SFF file:  " +
               sample.proj + "/sff/B.sff\n";
    }

    TempDir dir;
    SampleProject sample;
    std::string moved, dateCreated;
};

TEST_F(RelinkModeTest, ListingShowsFilesAndReads) {
    RunResult r = runReadfix({"-verbose", sample.proj});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(
        "Project contains following read files:\n"
        "  A.sff -> " +
            sample.runs +
            "/A.sff (with 5 sequences)\n"
            "  B.sff -> " +
            sample.runs + "/B.sff (with 4 sequences)\n",
        r.out);
    EXPECT_EQ("", r.err);

    moveRuns();
    unlink((sample.proj + "/sff/B.sff").c_str());
    r = runReadfix({"-verbose", "-verbose", sample.proj});
    EXPECT_EQ(0, r.status);
    std::string out = r.out;
    EXPECT_EQ(0u, out.find("Project contains following read files:\n"
                           "  A.sff -> " +
                           sample.runs +
                           "/A.sff (with 5 sequences, file not found)\n"
                           "      1. AAAA000001, "));
    EXPECT_NE(std::string::npos,
              out.find("\n  (Broken SFF Link) -> " + sample.runs +
                       "/B.sff (with 4 sequences, file not found)\n      6. BBBB000001, "));
    EXPECT_NE(std::string::npos, out.find("\n      9. BBBB000004, "));
}

TEST_F(RelinkModeTest, MovesLinksProjectFileAndListsTheNewPlace) {
    moveRuns();
    std::string seqFileMetadata = readFile(sample.subDir + "/.SeqFileMetadata");
    std::string seqCacheMetadata = readFile(sample.subDir + "/.SeqCacheMetadata");

    // Trailing slashes on both arguments are stripped before matching.
    RunResult r = runReadfix({"-relink", "-verbose", sample.proj, sample.runs + "/", moved + "//"});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(unreadableLinks() + changeLines() + "Total of 2 read files successfully changed.\n",
              r.err);
    EXPECT_EQ("", r.out);

    EXPECT_EQ(moved + "/A.sff", linkTarget(sample.proj + "/sff/A.sff"));
    EXPECT_EQ(moved + "/B.sff", linkTarget(sample.proj + "/sff/B.sff"));
    std::vector<ExpectedFile> files = {{0, "A.sff", moved + "/A.sff", false},
                                       {0, "B.sff", moved + "/B.sff", false}};
    EXPECT_EQ(expectedProjectXml(sample.proj, dateCreated, files),
              maskDateModified(readFile(sample.xmlPath)));
    // SFF files are listed by their link, which stays: the store's files keep their bytes.
    EXPECT_EQ(seqFileMetadata, readFile(sample.subDir + "/.SeqFileMetadata"));
    EXPECT_EQ(seqCacheMetadata, readFile(sample.subDir + "/.SeqCacheMetadata"));

    r = runReadfix({"-verbose", sample.proj});
    EXPECT_EQ(
        "Project contains following read files:\n"
        "  A.sff -> " +
            moved +
            "/A.sff (with 5 sequences)\n"
            "  B.sff -> " +
            moved + "/B.sff (with 4 sequences)\n",
        r.out);

    // The lock was released: a second relink back to the first place works.
    fs::create_directories(sample.runs);
    fs::copy_file(moved + "/A.sff", sample.runs + "/A.sff");
    r = runReadfix({"-relink", sample.proj, moved, sample.runs});
    EXPECT_EQ("Total of 1 read file successfully changed.\n", r.err);
    EXPECT_EQ(sample.runs + "/A.sff", linkTarget(sample.proj + "/sff/A.sff"));
    EXPECT_EQ(moved + "/B.sff", linkTarget(sample.proj + "/sff/B.sff"));
}

TEST_F(RelinkModeTest, DryRunChangesNothing) {
    moveRuns();
    auto before = snapshot(dir.path());
    RunResult r = runReadfix({"-relink", "-verbose", "-verbose", sample.proj, sample.runs, moved});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(unreadableLinks() + "Changing project state info:\n" + changeLines() +
                  "Total of 2 read files will be changed (re-run command without multiple "
                  "\"-verbose\" options to commit changes).\n",
              r.err);
    EXPECT_EQ("   SFF symlink: " + sample.proj +
                  "/sff/A.sff\n"
                  "  changed from: " +
                  sample.runs +
                  "/A.sff\n"
                  "            to: " +
                  moved +
                  "/A.sff\n"
                  "   SFF symlink: " +
                  sample.proj +
                  "/sff/B.sff\n"
                  "  changed from: " +
                  sample.runs +
                  "/B.sff\n"
                  "            to: " +
                  moved + "/B.sff\n",
              r.out);
    EXPECT_EQ(before, snapshot(dir.path()));
}

TEST_F(RelinkModeTest, MissingDestinationFileIsSkipped) {
    moveRuns();
    unlink((moved + "/B.sff").c_str());
    RunResult r = runReadfix({"-relink", "-verbose", "-verbose", sample.proj, sample.runs, moved});
    EXPECT_NE(std::string::npos,
              r.err.find("Warning:  Skipping read file in source path: " + sample.runs +
                         "/B.sff (not found in destination path: " + moved + ").\n"));
    EXPECT_NE(std::string::npos, r.err.find("Total of 1 read file will be changed"));

    // With one -verbose the skip is silent.
    r = runReadfix({"-relink", sample.proj, sample.runs, moved});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(unreadableLinks() + "Total of 1 read file successfully changed.\n", r.err);
    EXPECT_EQ(moved + "/A.sff", linkTarget(sample.proj + "/sff/A.sff"));
    EXPECT_EQ(sample.runs + "/B.sff", linkTarget(sample.proj + "/sff/B.sff"));
}

TEST_F(RelinkModeTest, NoMatchStillRewritesProjectFile) {
    // The source is compared literally: a symbolic path to the same directory doesn't match.
    ASSERT_EQ(0, symlink(sample.runs.c_str(), dir.path("alias").c_str()));
    fs::create_directories(moved);
    std::string seqFileMetadata = readFile(sample.subDir + "/.SeqFileMetadata");
    RunResult r = runReadfix({"-relink", sample.proj, dir.path("alias"), moved});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Warning:  No matches found for read file source path: " + dir.path("alias") +
                  "\nWarning:  No read files were changed.\n",
              r.err);
    EXPECT_EQ(expectedProjectXml(sample.proj, dateCreated, sample.files),
              maskDateModified(readFile(sample.xmlPath)));
    EXPECT_EQ(seqFileMetadata, readFile(sample.subDir + "/.SeqFileMetadata"));
}

// A destination whose reads differ leaves the whole project byte for byte as it was.
class RelinkMismatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(dir.path("runs"));
        fs::create_directories(dir.path("moved"));
        SffWriter w = reads({"readA1", "readA2", "readA3", "readA4"});
        ASSERT_TRUE(w.write(dir.path("runs/A.sff")));
        ProjectBuilder builder(dir.path("proj"));
        builder.addSffFile(dir.path("runs/A.sff"));
        builder.write();
        before = snapshot(dir.path("proj"));
    }
    // Reads of equal length, so that entries of one file line up with another's.
    SffWriter reads(const std::vector<std::string>& names) {
        SffWriter w(400);
        SampleRandom rng(7);
        std::string bases = sampleFlowBases(rng, w.flowChars, 120);
        for (const std::string& name : names) w.add(name, bases);
        return w;
    }
    RunResult relink() {
        return runReadfix({"-relink", dir.path("proj"), dir.path("runs"), dir.path("moved")});
    }

    TempDir dir;
    std::vector<std::pair<std::string, std::string>> before;
};

TEST_F(RelinkMismatchTest, OtherReadOrderFailsAtTheFirstDifferentRead) {
    ASSERT_TRUE(reads({"readA1", "readA3", "readA2", "readA4"}).write(dir.path("moved/A.sff")));
    RunResult r = relink();
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(
        "Error:  Found sequence mismatch in source and destination files at sequence #2:\n"
        "        sequences \"readA2\" 120 bp and \"readA3\" 120 bp\n"
        "  Source: " +
            dir.path("runs") +
            "/A.sff\n"
            "  Destination: " +
            dir.path("moved") +
            "/A.sff\n"
            "Warning:  No read files were changed.\n",
        r.err);
    EXPECT_EQ(before, snapshot(dir.path("proj")));
}

TEST_F(RelinkMismatchTest, RenamedReadFails) {
    ASSERT_TRUE(reads({"readA1", "readA2", "readA3", "readX4"}).write(dir.path("moved/A.sff")));
    RunResult r = relink();
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(0u, r.err.find("Error:  Found sequence mismatch in source and destination files at "
                             "sequence #4:\n        sequences \"readA4\" 120 bp and \"readX4\""));
    EXPECT_EQ(before, snapshot(dir.path("proj")));
}

TEST_F(RelinkMismatchTest, FewerReadsFails) {
    ASSERT_TRUE(reads({"readA1", "readA2"}).write(dir.path("moved/A.sff")));
    RunResult r = relink();
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(before, snapshot(dir.path("proj")));
}

// Two files whose entries lie at the same places: each destination file is
// compared with its own bytes.
TEST_F(RelinkMismatchTest, EachFileOfOneLayoutIsComparedWithItsOwnBytes) {
    ASSERT_TRUE(reads({"readB1", "readB2", "readB3", "readB4"}).write(dir.path("runs/B.sff")));
    ProjectBuilder builder(dir.path("two"));
    builder.addSffFile(dir.path("runs/A.sff"));
    builder.addSffFile(dir.path("runs/B.sff"));
    builder.write();
    auto twoBefore = snapshot(dir.path("two"));
    fs::copy_file(dir.path("runs/A.sff"), dir.path("moved/A.sff"));
    ASSERT_TRUE(reads({"readB1", "readX2", "readB3", "readB4"}).write(dir.path("moved/B.sff")));
    RunResult r = runReadfix({"-relink", dir.path("two"), dir.path("runs"), dir.path("moved")});
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(0u, r.err.find("Error:  Found sequence mismatch in source and destination files at "
                             "sequence #6:\n        sequences \"readB2\" 120 bp and \"readX2\""))
        << r.err;
    EXPECT_EQ(twoBefore, snapshot(dir.path("two")));
}

// A file of more than 11,000 reads is compared at its ends and sampled between.
TEST(RelinkSamplingTest, MiddleReadsAreSampled) {
    TempDir dir;
    fs::create_directories(dir.path("runs"));
    fs::create_directories(dir.path("moved"));
    auto make = [](const std::string& path, int renamed) {
        SffWriter w(400);
        SampleRandom rng(3);
        std::string bases = sampleFlowBases(rng, w.flowChars, 60);
        for (int i = 1; i <= 12000; i++) {
            char name[32];
            snprintf(name, sizeof name, "%s%05d", i == renamed ? "X" : "R", i);
            w.add(name, bases);
        }
        ASSERT_TRUE(w.write(path));
    };
    make(dir.path("runs/big.sff"), 0);
    ProjectBuilder builder(dir.path("proj"));
    builder.addSffFile(dir.path("runs/big.sff"));
    builder.write();

    // Read 5,000 is not looked at.
    make(dir.path("moved/big.sff"), 5000);
    RunResult r = runReadfix({"-relink", dir.path("proj"), dir.path("runs"), dir.path("moved")});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Total of 1 read file successfully changed.\n", r.err);

    // Read 11,500 lies in the last thousand, which are all compared.
    make(dir.path("runs/big.sff"), 11500);
    r = runReadfix({"-relink", dir.path("proj"), dir.path("moved"), dir.path("runs")});
    EXPECT_EQ(255, r.status);
    EXPECT_EQ(0u, r.err.find("Error:  Found sequence mismatch in source and destination files at "
                             "sequence #11500:\n"));
}

// The real SFF files of public runs, relinked from the shared data to a copy.
TEST(RelinkRealDataTest, RealFilesRelinkToACopy) {
    std::string shared = sharedTestData();
    if (shared.empty()) GTEST_SKIP() << "shared test data not found: " << SHARED_TESTDATA;
    TempDir dir;
    ProjectBuilder builder(dir.path("proj"));
    for (const char* name : {"E3MFGYR02_no_manifest.sff", "greek.sff"})
        builder.addSffFile(shared + "/sff/" + name);
    builder.write();
    fs::create_directories(dir.path("copy"));
    for (const char* name : {"E3MFGYR02_no_manifest.sff", "greek.sff"})
        fs::copy_file(shared + "/sff/" + name, dir.path("copy/") + name);

    std::string source = fs::canonical(shared + "/sff").string();
    RunResult r = runReadfix({"-relink", "-verbose", dir.path("proj"), source, dir.path("copy")});
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.err.find("Total of 2 read files successfully changed.\n"));
    EXPECT_EQ(dir.path("copy/greek.sff"), linkTarget(dir.path("proj/sff/greek.sff")));
    r = runReadfix({"-verbose", dir.path("proj")});
    EXPECT_EQ(
        "Project contains following read files:\n"
        "  E3MFGYR02_no_manifest.sff -> " +
            dir.path("copy") +
            "/E3MFGYR02_no_manifest.sff (with 10 sequences)\n"
            "  greek.sff -> " +
            dir.path("copy") + "/greek.sff (with 24 sequences)\n",
        r.out);

    // The same ten reads with another kind of index block lie at the same offsets:
    // the file matches, and only the one file found at the destination moves.
    fs::create_directories(dir.path("back"));
    fs::copy_file(shared + "/sff/E3MFGYR02_alt_index_at_end.sff",
                  dir.path("back/E3MFGYR02_no_manifest.sff"));
    r = runReadfix({"-relink", dir.path("proj"), dir.path("copy"), dir.path("back")});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("Total of 1 read file successfully changed.\n", r.err);
    EXPECT_EQ(dir.path("back/E3MFGYR02_no_manifest.sff"),
              linkTarget(dir.path("proj/sff/E3MFGYR02_no_manifest.sff")));
}

}  // namespace
