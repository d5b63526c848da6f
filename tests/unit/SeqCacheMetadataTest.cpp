// State files of the read store: exact bytes written, every older form read,
// and every malformed file ending the process with its message.
#include <gtest/gtest.h>
#include <unistd.h>

#include "Context.h"
#include "InputFile.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "SffWriter.h"
#include "StringSet.h"
#include "TestSupport.h"

using ::testing::ExitedWithCode;
using testsupport::readFile;
using testsupport::snapshot;
using testsupport::writeFile;

namespace {

const char* FORMAT_RE = "Error:  Invalid format of project state files\\.\n";

// Big-endian integers of the given byte count.
std::string be(int bytes, uint64_t v) {
    std::string s;
    for (int i = bytes - 1; i >= 0; i--) s += (char)(v >> (8 * i));
    return s;
}
std::string be16(uint16_t v) { return be(2, v); }
std::string be32(uint32_t v) { return be(4, v); }
std::string be64(uint64_t v) { return be(8, v); }

// A mapping project with one SFF file of three reads, linked from sff/.
class StateFiles : public ::testing::Test {
protected:
    testsupport::TempDir td;
    std::string dir, sffPath, link;
    SffWriter sff{8};
    Context* ctx = nullptr;

    void SetUp() override {
        dir = td.path("proj");
        for (const std::string& d : {dir, dir + "/sff", dir + "/mapping", td.path("runs")})
            testsupport::makeDir(d);
        sff.add("r1", "TACG");
        sff.add("r2", "TTAC");
        sff.add("r3", "ACGT");
        sffPath = td.path("runs/a.sff");
        ASSERT_TRUE(sff.write(sffPath));
        ctx = new Context(dir, "mapping", false, false, false);
        link = ctx->sffDirectory + "/a.sff";
        ASSERT_EQ(0, symlink(sffPath.c_str(), link.c_str()));
        ctx->readFiles.push_back(new InputFile(link, sffPath, "", "", false));
    }

    // A store of the three reads, as the intake would leave it.
    SeqCache* makeStore(const char* firstName = "r1") {
        SeqCache* c = new SeqCache(ctx, false);
        SeqFile* f = new SeqFile(ctx->readFiles[0], ctx, 0, false);
        c->sfmList.push_back(f);
        const char* names[] = {firstName, "r2", "r3"};
        for (int i = 0; i < 3; i++)
            c->addRead(0, sff.offsets[i], sff.entrySizes[i], 0, 0, 4 - i, 1 + i, i == 2 ? 32 : 0,
                       names[i]);
        c->byteList[1] = 7;
        f->numFlows = 8;
        f->numReads = 3;
        f->numBases = 12;
        f->numShortReads = 3;
        f->numShortBases = 12;
        f->maxSeqLength = 4;
        f->fileSize = sff.indexOffset;
        return c;
    }

    std::string scmPath() { return ctx->seqCacheMetadataPath; }
    std::string sfmPath() { return ctx->seqFileMetadataPath; }

    // Loads the state files as the relink mode does.
    SeqCache* load() {
        SeqCache* c = new SeqCache(ctx, false);
        c->readAndUpdate(nullptr, true, true);
        return c;
    }

    // One state-file line for a.sff with the given columns after the name.
    void writeFileList(const std::string& columns) {
        writeFile(sfmPath(), "0\na.sff\t" + columns + "\n");
    }
};

TEST_F(StateFiles, WritesExactBytesOfBothFiles) {
    SeqCache* c = makeStore();
    c->write(true, true);
    std::string line = "0\na.sff\t1\t0\t8\t2\t3\t12\t0\t0\t3\t12\t0\t0\t0\t0\t0\t4\t0\t0\t0\t" +
                       std::to_string(sff.indexOffset) + "\t0\n";
    EXPECT_EQ(line, readFile(sfmPath()));

    std::string scm = ".scm" + be32(2) + be32(3);
    for (int i = 0; i < 3; i++) {
        scm += be16(0) + be64(sff.offsets[i]) + be64(0) + be32(sff.entrySizes[i]) + be32(0) +
               be32(4 - i) + be16(1 + i) + std::string(1, i == 2 ? 32 : 0) +
               std::string(1, i == 1 ? 7 : 0) + std::string(1, 2) + "r" + std::to_string(i + 1);
    }
    EXPECT_EQ(scm, readFile(scmPath()));

    // Only the file list, as the relink mode writes it.
    unlink(scmPath().c_str());
    c->write(true, false);
    EXPECT_FALSE(testsupport::exists(scmPath()));
}

TEST_F(StateFiles, RoundTripRestoresRecordsAndRewritesSameBytes) {
    makeStore()->write(true, true);
    std::string sfm = readFile(sfmPath()), scm = readFile(scmPath());
    SeqCache* c = load();
    ASSERT_EQ(3, c->getNumReads());
    ASSERT_EQ(1u, c->getSeqFileList().size());
    SeqFile* f = c->getSeqFileList()[0];
    EXPECT_EQ(link, f->getPath());
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(std::string("r") + std::to_string(i + 1), c->getAccno(i));
        EXPECT_EQ(4 - i, c->getSeqLength(i));
        EXPECT_EQ(1 + i, c->getClipPoint(i));
        EXPECT_EQ(sff.offsets[i], f->getFileByteOffset(i));
        EXPECT_EQ(sff.entrySizes[i], f->getFileByteSize(i));
    }
    EXPECT_FALSE(c->needsRebuild);
    c->write(true, true);
    EXPECT_EQ(sfm, readFile(sfmPath()));
    EXPECT_EQ(scm, readFile(scmPath()));
}

TEST_F(StateFiles, AccessionPrefixIsStoredMarkedAndRestored) {
    ctx->readFiles[0]->accnoPrefix = "run7:";
    makeStore("run7:r1")->write(true, true);
    SeqCache* c = load();
    EXPECT_EQ(1, c->accnos->get(0)[0]);
    EXPECT_STREQ("run7:r1", c->getAccno(0));
    EXPECT_STREQ("r2", c->getAccno(1));
}

TEST_F(StateFiles, OlderBinaryVersionsLoad) {
    writeFileList("1\t0\t8\t2\t3\t12\t0\t0\t3\t12\t0\t0\t0\t0\t0\t4\t0\t0\t0\t" +
                  std::to_string(sff.indexOffset) + "\t0");
    // Version 1: no byte sizes, left clip point.
    std::string v1 = ".scm" + be32(1) + be32(2);
    for (int i = 0; i < 2; i++)
        v1 += be16(0) + be64(sff.offsets[i]) + be64(0) + be32(4) + be16(1) + std::string(2, 0) +
              std::string(1, 2) + "r" + std::to_string(i + 1);
    writeFile(scmPath(), v1);
    SeqCache* c = load();
    ASSERT_EQ(2, c->getNumReads());
    EXPECT_EQ(1, c->scmVersion);
    EXPECT_EQ(1, c->getClipPoint(1));
    SeqFile* f = c->getSeqFileList()[0];
    EXPECT_EQ(SeqFile::DERIVE_SIZE, f->fileByteSizes[0]);
    EXPECT_EQ(sff.entrySizes[0], f->getFileByteSize(0));
    // The last read's size runs to the end of the read data.
    EXPECT_EQ(sff.indexOffset - sff.offsets[1], f->getFileByteSize(1));

    // Version 0: no magic, 4-byte file index, right clip point.
    std::string v0 = be32(1) + be32(0) + be64(sff.offsets[2]) + be64(0) + be32(3) + be16(6) +
                     std::string(2, 0) + std::string(1, 2) + "r3";
    writeFile(scmPath(), v0);
    c = load();
    ASSERT_EQ(1, c->getNumReads());
    EXPECT_EQ(0, c->scmVersion);
    EXPECT_EQ(4, c->getClipPoint(0));  // 6 - 3 + 1
    EXPECT_STREQ("r3", c->getAccno(0));
}

TEST_F(StateFiles, ShorterTextFormsClearTheirColumns) {
    // Ten conversions: the form without quality offsets, whose records are 23 bytes.
    writeFileList("1\t1\t8\t2\t3\t12\t5\t60\t4\t44");
    std::string scm = ".scm" + be32(2) + be32(1) + be16(0) + be64(sff.offsets[0]) +
                      be32(sff.entrySizes[0]) + be32(4) + be16(1) + std::string(3, 0);
    writeFile(scmPath(), scm);
    SeqCache* c = load();
    EXPECT_TRUE(c->noQualFormat);
    SeqFile* f = c->getSeqFileList()[0];
    EXPECT_EQ(0, f->qualFileFlag + f->numLongReads + (int)f->numShortBases);
    EXPECT_EQ(12u, f->numBases);
    EXPECT_EQ(sff.indexOffset, f->fileSize);  // measured: index at the end is not read data
    ASSERT_EQ(1, c->getNumReads());
    EXPECT_EQ(sff.entrySizes[0], f->getFileByteSize(0));

    // Nineteen conversions: sizes cleared and measured again, counters kept.
    writeFileList("1\t0\t8\t2\t3\t12\t5\t60\t4\t44\t1\t2\t3\t4\t5\t6\t7\t8\t9");
    writeFile(scmPath(), "");
    c = load();
    f = c->getSeqFileList()[0];
    EXPECT_FALSE(c->noQualFormat);
    EXPECT_EQ(5, f->numLongReads);
    EXPECT_EQ(9, f->carriedCount5);
    EXPECT_EQ(sff.indexOffset, f->fileSize);
}

TEST_F(StateFiles, LineWithoutProjectRecordGetsOneByFormat) {
    std::string fasta = td.path("runs/x.fna");
    writeFile(fasta, ">x1\nACGTACGT\n");
    std::string cols = "\t0\t0\t0\t0\t1\t8\t0\t0\t1\t8\t0\t0\t0\t0\t0\t8\t0\t0\t0\t0\t0\n";
    writeFile(sfmPath(), "0\n" + fasta + cols);
    writeFile(scmPath(), "");
    SeqCache* c = load();
    ASSERT_EQ(1u, c->getSeqFileList().size());
    InputFile* in = c->getSeqFileList()[0]->inputFile;
    EXPECT_TRUE(in->isRefSeq() && in->fileType == InputFile::FASTA_FILE);
    EXPECT_EQ(13u, c->getSeqFileList()[0]->fileSize);  // measured from the file
    EXPECT_TRUE(c->needsRebuild);                      // the project's read file is not in the list

    std::string junk = td.path("runs/junk");
    writeFile(junk, std::string("\x01\x02\xff\xfe\xfd\xfc", 6));
    writeFile(sfmPath(), "0\n" + junk + cols);
    EXPECT_EXIT(load(), ExitedWithCode(255), "Assertion:  false");
}

TEST_F(StateFiles, IndexInTheMiddleKeepsTheWholeSize) {
    SffWriter mid(8);
    mid.indexPlace = SffIndexPlace::MIDDLE;
    for (int i = 0; i < 4; i++) mid.add("m" + std::to_string(i), "TACG");
    ASSERT_TRUE(mid.write(sffPath));
    writeFileList("1\t0\t8\t2\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0");
    writeFile(scmPath(), "");
    SeqCache* c = load();
    EXPECT_EQ(readFile(sffPath).size(), c->getSeqFileList()[0]->fileSize);
}

TEST_F(StateFiles, OffsetsPastTheThresholdGoOnTheLargeList) {
    writeFileList("1\t0\t8\t2\t3\t12\t0\t0\t3\t12\t0\t0\t0\t0\t0\t4\t0\t0\t0\t8589934592\t0");
    uint64_t offs[] = {0xFFFFFFF0ull, 0xFFFFFFF3ull, 0xFFFFFFF4ull, 0x100000000ull};
    std::string scm = ".scm" + be32(2) + be32(4);
    for (uint64_t o : offs)
        scm +=
            be16(0) + be64(o) + be64(0) + be32(3) + be32(0) + be32(4) + be16(1) + std::string(3, 0);
    writeFile(scmPath(), scm);
    SeqCache* c = load();
    SeqFile* f = c->getSeqFileList()[0];
    EXPECT_EQ(2, f->firstLargeOffset);
    for (int i = 0; i < 4; i++) EXPECT_EQ(offs[i], f->getFileByteOffset(i));
}

TEST_F(StateFiles, ChangedReferenceSetStopsOrRebuilds) {
    makeStore()->write(true, true);
    ctx->declaredRefCount = 1;
    SeqCache* c = new SeqCache(ctx, false);
    c->readAndUpdate(nullptr, true, false);
    EXPECT_TRUE(ctx->refSetChanged);
    EXPECT_EQ(0, c->getNumReads());
    EXPECT_EQ(1, c->refSetCount);

    c = load();
    EXPECT_TRUE(c->needsRebuild);
    EXPECT_EQ(3, c->getNumReads());
    EXPECT_EQ(0, c->refSetCount);
}

TEST_F(StateFiles, EmptyFileListLeavesStoreEmptyWithoutOpeningReadList) {
    writeFile(sfmPath(), "");
    writeFile(scmPath(), "garbage that is no state file");
    SeqCache* c = load();
    EXPECT_EQ(0, c->getNumReads());
    EXPECT_TRUE(c->getSeqFileList().empty());

    // A read list of under 4 bytes leaves the store as it is.
    makeStore()->write(true, false);
    writeFile(scmPath(), ".sc");
    c = load();
    EXPECT_EQ(0, c->getNumReads());
    EXPECT_EQ(1u, c->getSeqFileList().size());
}

TEST_F(StateFiles, ClipPointLimit) {
    makeStore()->write(true, false);
    auto one = [&](int clip) {
        return ".scm" + be32(2) + be32(1) + be16(0) + be64(sff.offsets[0]) + be64(0) + be32(9) +
               be32(0) + be32(4) + be16(clip) + std::string(3, 0);
    };
    writeFile(scmPath(), one(16383));
    EXPECT_EQ(16383, load()->getClipPoint(0));
    writeFile(scmPath(), one(16384));
    EXPECT_EXIT(load(), ExitedWithCode(255),
                "Assertion:  clipPt < 1 << \\(24 - NUMFILEINDEXBITS\\)");
}

// Each malformed state file ends the process with its message, and leaves
// every file of the project as it was.
TEST_F(StateFiles, MalformedFilesDieAndChangeNothing) {
    makeStore()->write(true, true);
    std::string goodScm = readFile(scmPath());
    std::string cols = "1\t0\t8\t2\t3\t12\t0\t0\t3\t12\t0\t0\t0\t0\t0\t4\t0\t0\t0\t0\t0";
    struct Case {
        std::string sfm, scm, re;
    };
    std::vector<Case> cases;
    for (std::string bad : {"x\n", "0\na.sff 1 0\n", "0\na.sff\t\n"})
        cases.push_back({bad, goodScm, FORMAT_RE});
    cases.push_back({"0\na.sff\t" + cols + "\n\n", goodScm, FORMAT_RE});
    // Conversion counts that no form has.
    for (int n : {12, 14, 15, 16, 18, 20}) {
        std::string line = "0\na.sff";
        for (int i = 0; i < n; i++) line += i == 0 ? "\t1" : "\t0";
        cases.push_back({line + "\n", goodScm, FORMAT_RE});
    }
    // Lines longer than the 10,000-byte line buffer: a name that fills it, and a good line
    // whose trailing blanks run past it.
    cases.push_back({"0\n" + std::string(12000, 'n') + ".sff\t" + cols + "\n", goodScm, FORMAT_RE});
    cases.push_back({"0\na.sff\t" + cols + std::string(12000, ' ') + "\n", goodScm, FORMAT_RE});
    std::string sfm = readFile(sfmPath());
    for (uint32_t v : {3, 0})
        cases.push_back({sfm, ".scm" + be32(v) + be32(0),
                         "Error:  Invalid version of project state files\\.\n"});
    cases.push_back({sfm, ".scm" + be32(2), FORMAT_RE});                       // short header
    cases.push_back({sfm, goodScm.substr(0, goodScm.size() - 1), FORMAT_RE});  // name cut short
    cases.push_back({sfm, goodScm.substr(0, 30), FORMAT_RE});                  // record cut short
    cases.push_back({sfm, ".scm" + be32(2) + be32(0xFFFFFFF0u), FORMAT_RE});   // count too large

    for (const Case& k : cases) {
        writeFile(sfmPath(), k.sfm);
        writeFile(scmPath(), k.scm);
        auto before = snapshot(dir);
        EXPECT_EXIT(load(), ExitedWithCode(255), k.re) << k.sfm;
        EXPECT_EQ(before, snapshot(dir));
    }

    // Missing files.
    for (std::string path : {scmPath(), sfmPath()}) {
        unlink(path.c_str());
        EXPECT_EXIT(load(), ExitedWithCode(255), "Error:  Unable to read project state files\\.\n");
    }
}

TEST_F(StateFiles, LongAccessionWrittenByThisWriterCannotBeReadBack) {
    std::string longName(256, 'A');
    SeqCache* c = makeStore(longName.c_str());
    c->write(true, true);
    std::string scm = readFile(scmPath());
    EXPECT_EQ(0, scm[12 + 34]);                     // the length byte keeps its low 8 bits
    EXPECT_EQ(longName, scm.substr(12 + 35, 256));  // and every byte is written
    EXPECT_EXIT(load(), ExitedWithCode(255), FORMAT_RE);
}

TEST_F(StateFiles, UnwritableStateFileDies) {
    SeqCache* c = makeStore();
    // A directory cannot be opened for writing.
    ctx->seqFileMetadataPath = ctx->seqCacheMetadataPath = dir;
    for (bool list : {true, false})
        EXPECT_EXIT(c->write(list, !list), ExitedWithCode(255),
                    "^Error:  Cannot write project state files\\.\n$");
}

// A store of 1,000 reads in two files, written once; loads decode its records
// block by block. The second file's offsets pass the 32-bit threshold at its
// fourth read, the first file's at its 651st (past the middle of the file).
// Each test runs twice: with the records checked by one walk,
// and by two threads that each walk one half of the file.
class ManyReads : public StateFiles, public ::testing::WithParamInterface<bool> {
protected:
    static constexpr int NUM_A = 700;
    static constexpr int NUM_READS = 1000;
    std::string written;
    uint64_t defaultParallelBytes = SeqCache::parallelCheckBytes;

    void SetUp() override {
        StateFiles::SetUp();
        SeqCache::parallelCheckBytes = GetParam() ? 0 : UINT64_MAX;
        std::string linkB = ctx->sffDirectory + "/b.sff";
        ASSERT_EQ(0, symlink(sffPath.c_str(), linkB.c_str()));
        ctx->readFiles.push_back(new InputFile(linkB, sffPath, "", "", false));
        SeqCache* c = new SeqCache(ctx, false);
        for (int i = 0; i < 2; i++) {
            SeqFile* f = new SeqFile(ctx->readFiles[i], ctx, 0, false);
            f->fileSize = 1ull << 40;
            c->sfmList.push_back(f);
        }
        for (int id = 0; id < NUM_READS; id++) {
            c->addRead(id < NUM_A ? 0 : 1, offsetOf(id), 100 + id, 0, 0, 30 + id, id % 100,
                       id % 3 == 0 ? SCM_COUNTED : 0, nameOf(id).c_str());
            c->byteList[id] = (uint8_t)(id % 251);
        }
        c->write(true, true);
        written = readFile(scmPath());
        delete c;
    }
    void TearDown() override { SeqCache::parallelCheckBytes = defaultParallelBytes; }
    // In the two-thread runs, whether the check split the file near its
    // middle: its second half then counts blocks from there.
    void expectSplit(SeqCache* c, bool split = true) {
        if (!GetParam()) return;
        ASSERT_NE(nullptr, c->pendingRecords);
        if (split) {
            EXPECT_GT(c->pendingRecords->splitIndex, 400u);
            EXPECT_LT(c->pendingRecords->splitIndex, 600u);
        } else {
            EXPECT_EQ(UINT64_MAX, c->pendingRecords->splitIndex);
        }
    }
    // Where a read's record starts in the written file.
    static size_t recordAt(int id) {
        size_t at = 12;
        for (int i = 0; i < id; i++) at += 35 + loadedName(i).size();
        return at;
    }
    static uint64_t offsetOf(int id) {
        if (id < NUM_A) return id < 650 ? 1000 + (uint64_t)id * 500 : (1ull << 33) + id;
        return 0xFFFFFF00ull + (uint64_t)(id - NUM_A) * 100;
    }
    // Every seventh read and the last have no name.
    static std::string nameOf(int id) {
        return id % 7 == 3 || id == NUM_READS - 1 ? "" : "read" + std::to_string(id);
    }
    // The name in the file: the writer writes the generated name of an
    // unnamed read, up to the last named one.
    static std::string loadedName(int id) {
        if (!nameOf(id).empty() || id == NUM_READS - 1) return nameOf(id);
        return "SID" + std::to_string(id);
    }
    static void expectRead(SeqCache* c, int id) {
        SCOPED_TRACE(id);
        SeqFile* f = c->getSeqFile(id);
        EXPECT_EQ(id < NUM_A ? c->getSeqFileList()[0] : c->getSeqFileList()[1], f);
        EXPECT_EQ(30 + id, c->getSeqLength(id));
        EXPECT_EQ(id % 100, c->getClipPoint(id));
        EXPECT_EQ(id % 3 == 0 ? SCM_COUNTED : 0, c->getFlags(id));
        EXPECT_EQ(id % 251, c->byteList[id]);
        EXPECT_EQ(offsetOf(id), f->getFileByteOffset(id));
        EXPECT_EQ(100u + id, f->getFileByteSize(id));
        EXPECT_EQ(id == NUM_READS - 1 ? "SID999" : loadedName(id), c->getAccno(id));
    }
};

TEST_P(ManyReads, RecordsAreDecodedBlockByBlockOnFirstUse) {
    SeqCache* c = load();
    ASSERT_EQ(NUM_READS, c->getNumReads());
    expectSplit(c);
    EXPECT_EQ(334, c->numFlaggedReads);
    SeqFile* b = c->getSeqFileList()[1];
    EXPECT_EQ(NUM_A, b->firstSeqId);
    EXPECT_EQ(300, b->getNumSeqs());
    EXPECT_EQ(3, b->firstLargeOffset);
    EXPECT_EQ(650, c->getSeqFileList()[0]->firstLargeOffset);
    // The unnamed last read leaves the name table one short.
    EXPECT_EQ(NUM_READS - 1, c->accnos->size());
    ASSERT_NE(nullptr, c->pendingRecords);
    for (int id : {999, 0, 700, 703, 702, 255}) expectRead(c, id);
    EXPECT_FALSE(c->pendingRecords->isPending(600));
    EXPECT_TRUE(c->pendingRecords->isPending(300));
    for (int id = 0; id < NUM_READS; id++) expectRead(c, id);
    c->write(true, true);
    EXPECT_EQ(written, readFile(scmPath()));
}

// The state file the records still wait in is the one written over: they
// all come in before it is cut.
TEST_P(ManyReads, WritingBackBeforeAnyUseKeepsEveryRecord) {
    SeqCache* c = load();
    expectSplit(c);
    c->write(false, true);
    EXPECT_EQ(written, readFile(scmPath()));
    for (int id : {0, 500, 999}) expectRead(c, id);
}

// A bad record in a late block stops the load itself, not a later use.
TEST_P(ManyReads, MalformedRecordInALaterBlockStopsTheLoad) {
    size_t at = recordAt(900);
    std::string bad = written;
    bad[at + 1] = 5;  // a file index past the two files
    writeFile(scmPath(), bad);
    EXPECT_EXIT(load(), ExitedWithCode(255), FORMAT_RE);
    bad = written;
    bad.replace(at + 30, 2, be16(16384));  // a clip point over the limit
    writeFile(scmPath(), bad);
    EXPECT_EXIT(load(), ExitedWithCode(255),
                "Assertion:  clipPt < 1 << \\(24 - NUMFILEINDEXBITS\\)");
    bad = written;
    bad[at + 34] = (char)200;  // a name running past the end of the file
    writeFile(scmPath(), bad.substr(0, at + 35 + 100));
    EXPECT_EXIT(load(), ExitedWithCode(255), FORMAT_RE);
    writeFile(scmPath(), written.substr(0, written.size() - 3));
    EXPECT_EXIT(load(), ExitedWithCode(255), FORMAT_RE);
}

// Reads of one file in two runs (not what this writer makes) are all decoded
// at once: the file's lists take both runs, and its first read is the later run's.
TEST_P(ManyReads, FileInTwoRunsIsDecodedAtOnce) {
    std::string scm = ".scm" + be32(2) + be32(4);
    int files[] = {0, 0, 1, 0};
    for (int i = 0; i < 4; i++)
        scm += be16(files[i]) + be64(100 * (i + 1)) + be64(0) + be32(10) + be32(0) + be32(5) +
               be16(0) + std::string(2, 0) + std::string(1, 2) + "n" + std::to_string(i);
    writeFile(scmPath(), scm);
    SeqCache* c = load();
    SeqFile* a = c->getSeqFileList()[0];
    EXPECT_FALSE(c->pendingRecords->isPending(0));
    EXPECT_EQ(3, a->firstSeqId);
    EXPECT_EQ(3, a->getNumSeqs());
    EXPECT_EQ(400u, a->fileOffsets[2]);
    EXPECT_EQ(2, c->getSeqFileList()[1]->firstSeqId);
    EXPECT_EQ(std::string("n3"), c->getAccno(3));
}

// The first bad record in file order is the one reported, whichever half
// of the file it is in.
TEST_P(ManyReads, FirstBadRecordOfTheFileIsReported) {
    std::string bad = written;
    bad.replace(recordAt(100) + 30, 2, be16(20000));  // a clip point over the limit
    bad[recordAt(900) + 1] = 5;                       // a file index past the two files
    writeFile(scmPath(), bad);
    EXPECT_EXIT(load(), ExitedWithCode(255),
                "Assertion:  clipPt < 1 << \\(24 - NUMFILEINDEXBITS\\)");
    bad = written;
    bad[recordAt(100) + 1] = 5;
    bad.replace(recordAt(900) + 30, 2, be16(20000));
    writeFile(scmPath(), bad);
    EXPECT_EXIT(load(), ExitedWithCode(255), FORMAT_RE);
}

// A file holding more records than its count: only the counted ones load,
// and whatever follows them is not looked at.
TEST_P(ManyReads, RecordsPastTheCountAreIgnored) {
    std::string scm = written;
    scm.replace(8, 4, be32(990));
    writeFile(scmPath(), scm + std::string(7, (char)0xFF));
    SeqCache* c = load();
    ASSERT_EQ(990, c->getNumReads());
    expectSplit(c, false);
    EXPECT_EQ(290, c->getSeqFileList()[1]->getNumSeqs());
    EXPECT_EQ(330, c->numFlaggedReads);
    for (int id = 0; id < 990; id++) expectRead(c, id);
}

// Records that all look alike (no names, few bytes set) leave every place in
// the middle of the file looking like a record start: a wrong one is found
// out by the walk from the start, which then checks the rest alone.
TEST_P(ManyReads, RecordStartFoundInTheMiddleIsProvedBeforeUse) {
    for (int numReads : {999, 1000}) {
        SCOPED_TRACE(numReads);
        std::string scm = ".scm" + be32(2) + be32(numReads);
        for (int id = 0; id < numReads; id++)
            scm += be16(id < 600 ? 0 : 1) + std::string(16, 0) + be32(0) + be32(0) +
                   be32(id % 200) + std::string(5, 0);
        writeFile(scmPath(), scm);
        SeqCache* c = load();
        ASSERT_EQ(numReads, c->getNumReads());
        // Half of the records part is 17,482 bytes for 999 records, inside
        // a record, and 17,500 for 1,000, a record start.
        if (GetParam()) {
            EXPECT_EQ(numReads == 999 ? UINT64_MAX : 500u, c->pendingRecords->splitIndex);
        }
        EXPECT_EQ(600, c->getSeqFileList()[1]->firstSeqId);
        for (int id = 0; id < numReads; id++) {
            ASSERT_EQ(id % 200, c->getSeqLength(id)) << id;
            ASSERT_EQ(id < 600 ? 0u : 1u, c->scmList[id].fileIndex) << id;
        }
        c->write(false, true);
        EXPECT_EQ(scm, readFile(scmPath()));
        delete c;
    }
}

INSTANTIATE_TEST_SUITE_P(OneOrTwoWalks, ManyReads, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "TwoThreads" : "OneThread";
                         });

}  // namespace
