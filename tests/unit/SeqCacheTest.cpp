// The read cache on a real project: reads fetched from an SFF file, stored
// clip points, the node budget with pins, output-list misses, and names.
#include <gtest/gtest.h>

#include "CompressedDNASet.h"
#include "Context.h"
#include "InputFile.h"
#include "ProjectBuilder.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "Sequence.h"
#include "SffWriter.h"
#include "TestSupport.h"
#include "Util.h"

using ::testing::ExitedWithCode;

namespace {

// A mapping project around one SFF file, loaded as the relink mode loads it.
class CacheProject {
public:
    testsupport::TempDir td;
    SffWriter sff{8};
    Context* ctx = nullptr;
    SeqCache* cache = nullptr;

    SeqCache& build(bool keepAll = false) {
        std::string path = td.path("a.sff");
        EXPECT_TRUE(sff.write(path));
        ProjectBuilder pb(td.path("proj"));
        pb.addSffFile(path);
        pb.write();
        ctx = new Context(td.path("proj"), "mapping", true, false, false);
        cache = new SeqCache(ctx, keepAll);
        cache->readAndUpdate(nullptr, true, true);
        return *cache;
    }
};

// The read's name, id, used length and clip points, in one line.
std::string shape(const Sequence* s) {
    if (s == nullptr) return "none";
    return s->accno.str() + " " + std::to_string(s->id) + " " + std::to_string(s->length) + " " +
           std::to_string(s->clipLeft) + " " + std::to_string(s->clipRight);
}

TEST(SeqCacheTest, FetchesReadsWithStoredClipPoints) {
    CacheProject p;
    p.sff.add("c1", "TTACGGAC", 3, 6);
    p.sff.add("c2", "TACGTACG");
    SeqCache& c = p.build();
    ASSERT_EQ(2, c.getNumReads());
    EXPECT_EQ("c1 0 4 2 5", shape(c.getSequence(0, true)));
    // A stored range beyond the read degrades to one base; a record flagged
    // long keeps the object's own clip points.
    for (auto [stored, expected] :
         std::vector<std::pair<int, std::string>>{{100, "c1 0 1 0 0"}, {30001, "c1 0 4 2 5"}}) {
        c.deleteCacheNode(0);
        c.scmList[0].length = stored;
        EXPECT_EQ(expected, shape(c.getSequence(0, true))) << stored;
    }
    // With no clip point stored, the record learns it from the read.
    c.deleteCacheNode(0);
    c.scmList[0].length = 0;
    c.scmList[0].setClipPoint(0);
    c.getSequence(0, true);
    EXPECT_EQ(3, c.getClipPoint(0));
    EXPECT_EQ(4, c.getSeqLength(0));
    EXPECT_EXIT(c.getSequence(2, true), ExitedWithCode(255),
                "Assertion:  seqId >= 0 && seqId < \\(int\\)scmList.size\\(\\)");
}

// Real SFF files through the state files and the cache: names, used parts and
// the end of the read data agree with the expected values beside the files.
TEST(SeqCacheTest, RealFilesThroughTheStore) {
    std::string data = testsupport::sharedTestData();
    if (data.empty()) GTEST_SKIP() << "shared test data not found: " << SHARED_TESTDATA;
    testsupport::TempDir td;
    ProjectBuilder pb(td.path("proj"));
    pb.addSffFile(data + "/sff/greek.sff");
    pb.addSffFile(data + "/sff/E3MFGYR02_no_manifest.sff");
    pb.write();
    Context* ctx = new Context(td.path("proj"), "mapping", true, false, false);
    SeqCache* c = new SeqCache(ctx, false);
    c->readAndUpdate(nullptr, true, true);
    // Sizes measured again when the file list has none.
    for (SeqFile* f : c->getSeqFileList()) f->fileSize = 0;
    c->write(true, false);
    c = new SeqCache(ctx, false);
    c->readAndUpdate(nullptr, true, true);
    ASSERT_EQ(34, c->getNumReads());
    EXPECT_EQ(65040u, c->getSeqFileList()[0]->fileSize);
    EXPECT_EQ(16824u, c->getSeqFileList()[1]->fileSize);  // the index ends 4 bytes short

    int seqId = 0;
    for (const char* name : {"greek", "E3MFGYR02_no_manifest"}) {
        std::vector<std::string> lines, cols;
        std::string tsv = testsupport::readFile(data + "/sff/" + name + ".sff.tsv");
        split(tsv.c_str(), '\n', lines, false);
        for (size_t i = 1; i < lines.size(); i++, seqId++) {
            if (lines[i].empty()) break;
            split(lines[i].c_str(), '\t', cols, false);
            Sequence* s = c->getSequence(seqId, true, true);
            ASSERT_NE(nullptr, s);
            stringbuffer used(1000);
            s->getSubstring(used, 1, s->length);
            int left = std::stoi(cols[13]) - 1, length = std::stoi(cols[15]);
            EXPECT_EQ(std::string(c->getAccno(seqId)) + " " + shape(s) + " " + used.str(),
                      cols[1] + " " + cols[1] + " " + std::to_string(seqId) + " " + cols[15] + " " +
                          std::to_string(left) + " " + std::to_string(left + length - 1) + " " +
                          cols[16]);
        }
    }
    EXPECT_EQ(34, seqId);
}

TEST(SeqCacheTest, BulkLoadStoresUsedPartsInThePackedSet) {
    CacheProject p;
    p.sff.add("u1", "TTACGGAC", 3, 6);
    p.sff.add("u2", "TACGTACG");
    p.sff.add("u3", "TACGTACG");
    SeqCache& c = p.build();
    // Read 3 as a left pair half: its clip point counts in the flipped read.
    c.scmList[2].setFlags(SCM_LEFT_HALF);
    c.scmList[2].setClipPoint(2);
    c.scmList[2].length = 3;
    testing::internal::CaptureStdout();
    c.loadSeqBases();
    EXPECT_EQ("Loading bases and scores into memory...\n\r   -> 3 of 3\n",
              testing::internal::GetCapturedStdout());
    const char* expected[] = {"ACGG", "TACGTACG", "GTA"};
    for (int i = 0; i < 3; i++) {
        stringbuffer out(100);
        c.seqBases->getSequence(i, out, 0, c.seqBases->length(i));
        EXPECT_STREQ(expected[i], out.c_str());
    }
    std::vector<uint8_t> scores;
    c.seqBases->getScores(0, scores, 0, 4);
    EXPECT_EQ(std::vector<uint8_t>(4, 33), scores);  // score 30 reads back as its class
    EXPECT_EXIT(c.loadSeqBases(), ExitedWithCode(255), "Assertion:  jobs.size\\(\\) > 0");
}

TEST(SeqCacheTest, PinsPushPastTheBudgetAndOldestGoFirst) {
    CacheProject p;
    const int n = 30002;
    for (int i = 0; i < n; i++) p.sff.add("p" + std::to_string(i), "TACG");
    SeqCache& c = p.build();
    for (int i = 0; i < 30000; i++) ASSERT_NE(nullptr, c.getSequence(i, true, false, false, true));
    EXPECT_EQ(30000, c.numNodes);
    c.getSequence(30000, true);
    EXPECT_EQ(30001, c.numNodes);  // the oldest node was pinned: a new one past the budget
    EXPECT_TRUE(c.isSeqInCache(0));
    for (int i = 0; i < 30000; i++) c.releaseSequence(i);
    EXPECT_STREQ("p30001", c.getSequence(30001, true)->accno.c_str());
    EXPECT_EQ(30001, c.numNodes);
    EXPECT_FALSE(c.isSeqInCache(0));  // least recently used, reused first
    // A freed node is taken before any old one is evicted.
    c.deleteCacheNode(30001);
    c.getSequence(0, true);
    EXPECT_TRUE(c.isSeqInCache(1) && c.isSeqInCache(2));
}

TEST(SeqCacheTest, OutputListMissesWarnNineTimesThenOnce) {
    CacheProject p;
    for (int i = 0; i < 13; i++) p.sff.add("o" + std::to_string(i), "TACG");
    SeqCache& c = p.build();
    c.resetOutputSeqList(true);
    c.addToOutputSeqList(0);
    c.readOutputSeqList(true, false, false, true);
    testing::internal::CaptureStderr();
    EXPECT_STREQ("o0", c.getSequence(0, true)->accno.c_str());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    std::string expected;
    for (int i = 0; i < 9; i++)
        expected +=
            "        Warning:  Requested sequence is not in the cache. Fetching it from "
            "the file system...\n";
    expected +=
        "        Warning:  Input contains many reads which are not in the cache. The file "
        "I/O might slow down the computation\n";
    testing::internal::CaptureStderr();
    for (int i = 1; i <= 12; i++)
        EXPECT_STREQ(("o" + std::to_string(i)).c_str(), c.getSequence(i, true)->accno.c_str());
    EXPECT_EQ(expected, testing::internal::GetCapturedStderr());
    EXPECT_EQ(12, c.numCacheMisses);
}

TEST(SeqCacheTest, BatchPreparedAheadIsInstalled) {
    CacheProject p;
    for (int i = 0; i < 4; i++) p.sff.add("b" + std::to_string(i), "TACG");
    SeqCache& c = p.build();
    c.newReadOutputSeqList({3, 1}, "");
    c.newSetOutputSeqList();
    EXPECT_TRUE(c.isSeqInCache(3) && !c.isSeqInCache(0));
    EXPECT_STREQ("b3", c.getSequence(3, true)->accno.c_str());
    EXPECT_EXIT(c.newSetOutputSeqList(), ExitedWithCode(255),
                "Assertion:  newOutputSeqList.size\\(\\) > 0");
    c.newReadOutputSeqList({2, 2}, "");
    EXPECT_EXIT(c.newSetOutputSeqList(), ExitedWithCode(255),
                "Seq 2 has non-NULL cache:  idx=1\n   Seq 2 found at idx=0\n");
}

TEST(SeqCacheTest, NamesPairsAndFlags) {
    testsupport::TempDir td;
    testsupport::makeDir(td.path("p"));
    Context ctx(td.path("p"), "mapping", false, false, false);
    InputFile in(td.path("r.fna"), InputFile::FASTA_FILE, false);
    SeqCache c(&ctx, false);
    c.sfmList.push_back(new SeqFile(&in, &ctx, 0, false));
    c.addRead(0, 0, 10, 0, 0, 60, 1, SCM_LEFT_HALF, "");
    c.addRead(0, 0, 10, 0, 0, 60, 1, SCM_RIGHT_HALF, "");
    c.addRead(0, 10, 10, 0, 0, 60, 1, SCM_COUNTED | SCM_WORK_FLAG_4, "");
    c.addRead(0, 20, 10, 0, 0, 60, 1, SCM_REFERENCE, "chr1");
    std::string names;
    for (int i = 0; i < 4; i++)
        names += std::string(c.getAccno(i)) + "/" + std::to_string(c.getPairOtherId(i)) + " ";
    EXPECT_EQ("SID0_left/1 SID0_right/0 SID2/-2 chr1/-2 ", names);
    EXPECT_EQ(1, c.numFlaggedReads);
    c.resetFlags();
    EXPECT_TRUE(c.getFlags(2) == 0 && c.getFlags(3) == SCM_REFERENCE && c.numFlaggedReads == 0);

    // The rename table answers for reference records only.
    testsupport::writeFile(td.path("rename"), "chr1\tchromosome1\tlibX\n");
    c.buildSeqRenameTable(td.path("rename"));
    EXPECT_STREQ("chromosome1", c.getAccno(3));
}

}  // namespace
