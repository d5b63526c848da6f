#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include "SeqFile.h"
#include "SeqUtil.h"
#include "Sequence.h"
#include "SffWriter.h"
#include "TestSupport.h"
#include "Util.h"
#include "stringbuffer.h"

using ::testing::ExitedWithCode;
using testsupport::TempDir;

namespace {

class SeqFileTest : public ::testing::Test {
protected:
    void SetUp() override { SeqUtil::doStaticInit(); }

    // Writes the file and returns a stand-alone view holding the writer's offsets.
    SeqFile* view(SffWriter& w, const std::string& name, bool storeSizes = true) {
        std::string p = dir.path(name);
        EXPECT_TRUE(w.write(p));
        SeqFile* f = keep(new SeqFile(p, nullptr, InputFile::SFF_FILE));
        for (size_t i = 0; i < w.offsets.size(); i++) {
            f->addFileOffset(w.offsets[i]);
            f->addFileByteSize(storeSizes ? w.entrySizes[i] : SeqFile::DERIVE_SIZE);
        }
        return f;
    }

    // All bases of the read, clipped or not.
    static std::string raw(const Sequence& s) {
        std::string out;
        for (int i = 0; i < s.bases.length(); i++) out += s.bases.at(i);
        return out;
    }
    static std::string used(const Sequence& s) { return raw(s).substr(s.clipLeft, s.length); }

    static bool read(SeqFile* f, Sequence& s, int id, bool bases = true, bool flows = true) {
        int clipPoint = 0;
        s.clear();
        return f->readSequence(&s, id, 0, clipPoint, false, false, bases, true, flows);
    }

    // Views made by a test, freed after it.
    SeqFile* keep(SeqFile* f) { return owned.emplace_back(f).get(); }

    TempDir dir;
    std::vector<std::unique_ptr<SeqFile>> owned;
};

// The rows of a tab-separated table, header line left out.
std::vector<std::vector<std::string>> readTsv(const std::string& path) {
    std::vector<std::string> lines;
    split(testsupport::readFile(path).c_str(), '\n', lines, false);
    std::vector<std::vector<std::string>> rows(lines.size() > 1 ? lines.size() - 1 : 0);
    for (size_t i = 1; i < lines.size(); i++) split(lines[i].c_str(), '\t', rows[i - 1], false);
    while (!rows.empty() && rows.back().size() < 2) rows.pop_back();
    return rows;
}

}  // namespace

// Every read of the real files: name, offset, clip points, used bases and scores, raw bases.
TEST_F(SeqFileTest, RealFilesMatchExpectedValues) {
    std::string data = testsupport::sharedTestData();
    if (data.empty() || access((data + "/sff/greek.sff").c_str(), R_OK) != 0)
        GTEST_SKIP() << "shared test data not found: " << SHARED_TESTDATA "/sff";
    int checked = 0;
    for (const char* name :
         {"greek.sff", "E3MFGYR02_no_manifest.sff", "E3MFGYR02_alt_index_at_end.sff"}) {
        std::string sff = data + "/sff/" + name;
        auto rows = readTsv(sff + ".tsv");
        ASSERT_FALSE(rows.empty()) << sff;
        SeqFile f(sff, nullptr, InputFile::SFF_FILE);
        for (auto& r : rows) f.addFileOffset(std::stoull(r[2]));
        for (auto& r : rows) f.addFileByteSize((uint32_t)std::stoul(r[3]));
        Sequence s;
        for (size_t i = 0; i < rows.size(); i++) {
            auto& r = rows[i];
            SCOPED_TRACE(std::string(name) + " " + r[1]);
            EXPECT_EQ(f.getFileByteOffset((int)i), std::stoull(r[2]));
            EXPECT_FALSE(read(&f, s, (int)i));
            EXPECT_EQ(s.accno.str(), r[1]);
            EXPECT_EQ(s.clipLeft + 1, std::stoi(r[13]));
            EXPECT_EQ(s.clipRight + 1, std::stoi(r[14]));
            EXPECT_EQ(s.length, std::stoi(r[15]));
            EXPECT_EQ(used(s), r[16]);
            EXPECT_EQ(raw(s), r[18]);
            std::string quals;
            for (int q = s.clipLeft; q <= s.clipRight; q++)
                quals += (quals.empty() ? "" : ",") + std::to_string(s.qualityScores[q]);
            EXPECT_EQ(quals, r[17]);
            // The flow index runs over the file's flows; the flowgram has one value per flow.
            ASSERT_EQ((int)s.flowIndex.size(), std::stoi(r[4]));
            EXPECT_EQ((int)s.flowgram.size(), f.numFlows);
            EXPECT_LE(s.flowIndex.back(), f.numFlows);
            // Bulk decoding of the same entry gives the same bases.
            std::string entry =
                testsupport::readFile(sff).substr(std::stoull(r[2]), std::stoul(r[3]));
            stringbuffer bases, scores;
            bases.append("x");
            f.readSFFBasesAndScores(entry.data(), (uint32_t)entry.size(), bases, scores);
            EXPECT_EQ(bases.str(), "x" + r[18]);
            EXPECT_EQ(scores.length(), std::stoi(r[4]));
            checked++;
        }
        bool greek = std::string(name) == "greek.sff";
        EXPECT_EQ(f.numFlows, greek ? 800 : 400);
        EXPECT_EQ(f.fileSize, greek ? 65040u : 16824u);  // the index closes the read data
    }
    EXPECT_EQ(checked, 44);
}

// The writer's bytes for a one-read file, checked field by field.
TEST_F(SeqFileTest, WriterBytesExact) {
    SffWriter w(4);
    w.add("r1", "TA", 1, 2, 0, 0);
    std::string img = w.build();
    std::string expect;
    expect += std::string(".sff\0\0\0\1", 8);
    expect += std::string("\0\0\0\0\0\0\0\x50", 8);      // index offset 80
    expect += std::string("\0\0\0\x08", 4);              // index length
    expect += std::string("\0\0\0\x01", 4);              // reads
    expect += std::string("\0\x28\0\x04\0\x04\x01", 7);  // header 40, key 4, flows 4
    expect += "TACGTCAG" + std::string(1, '\0');         // flows, key, pad to 40
    expect += std::string("\0\x18\0\x02\0\0\0\x02", 8);  // entry header 24, name 2, bases 2
    expect += std::string("\0\x01\0\x02\0\0\0\0", 8);    // clip values
    expect += "r1" + std::string(6, '\0');               // name, pad to 24
    expect += std::string("\0\x64\0\x64\0\0\0\0", 8);    // flows T A C G
    expect += std::string("\x01\x01TA\x1e\x1e\0\0", 8);  // index, bases, scores, pad
    expect += std::string("\0\0\0\x28\0\0\0\0", 8);      // index: offset 40
    EXPECT_EQ(img, expect);
    EXPECT_EQ(w.entrySizes, std::vector<uint32_t>{40});

    // Written entry by entry, a file with the index between reads has the same bytes,
    // and the header points at the index.
    w.add("r2", "ACG");
    w.add("r3", "TA");
    w.indexPlace = SffIndexPlace::MIDDLE;
    ASSERT_TRUE(w.write(dir.path("mid.sff")));
    img = testsupport::readFile(dir.path("mid.sff"));
    EXPECT_EQ(img, w.build());
    EXPECT_EQ(img.substr(8, 12), std::string("\0\0\0\0\0\0\0\x50\0\0\0\x10", 12));
    EXPECT_EQ(img.substr(80, 16), std::string("\0\0\0\x28\0\0\0\x60\0\0\0\x90\0\0\0\0", 16));
    EXPECT_EXIT(w.add("r4", "ACGT"), ExitedWithCode(255),
                "^Error:  Read r4 does not fit in 4 flows.\n$");
}

// Clip values as the file gives them, with the index at the end, in the middle and absent.
TEST_F(SeqFileTest, ClipRuleAndIndexPlaces) {
    struct Case {
        uint16_t cql, cqr, cal, car;
        int left, right;
    } cases[] = {
        {0, 0, 0, 0, 1, 12},  {3, 0, 0, 0, 3, 12},  {3, 12, 0, 0, 3, 12},
        {0, 11, 0, 0, 1, 11}, {2, 10, 4, 0, 4, 10}, {2, 10, 0, 8, 2, 8},
        {2, 7, 0, 9, 2, 7},   {0, 20, 0, 0, 1, 12}, {9, 4, 0, 0, 9, 9},
    };
    for (SffIndexPlace place : {SffIndexPlace::END, SffIndexPlace::MIDDLE, SffIndexPlace::NONE}) {
        SffWriter w;
        w.indexPlace = place;
        for (auto& c : cases) w.add("read", "ACGTTGCAAGTC", c.cql, c.cqr, c.cal, c.car);
        std::string name = "clip" + std::to_string((int)place) + ".sff";
        SeqFile* f = view(w, name, false);
        Sequence s;
        // The first read learns the end of the read data from the header.
        read(f, s, 0);
        EXPECT_EQ(f->fileSize, place == SffIndexPlace::END ? w.indexOffset : w.build().size());
        for (size_t i = 0; i < std::size(cases); i++) {
            SCOPED_TRACE(name + " case " + std::to_string(i));
            EXPECT_EQ(f->getFileByteSize((int)i),
                      place == SffIndexPlace::MIDDLE && (int)i == (int)std::size(cases) / 2 - 1
                          ? w.entrySizes[i] + w.indexLength
                          : w.entrySizes[i]);
            read(f, s, (int)i);
            EXPECT_EQ(s.clipLeft, cases[i].left - 1);
            EXPECT_EQ(s.clipRight, cases[i].right - 1);
            EXPECT_EQ(used(s), std::string("ACGTTGCAAGTC").substr(cases[i].left - 1, s.length));
        }
    }
}

// Flow values, cumulative flow index, scores, and what is left out when not asked for.
TEST_F(SeqFileTest, FlowsScoresAndPartialReads) {
    SffWriter w(8);
    SffEntry e;
    e.name = "flowread";
    e.bases = "ttAcg";
    e.quals = {10, 20, 30, 40, 50};
    w.add(e);
    SeqFile* f = view(w, "flows.sff");
    Sequence s;
    read(f, s, 0);
    EXPECT_EQ(raw(s), "TTACG");
    EXPECT_EQ(s.flowgram, (std::vector<uint16_t>{200, 100, 100, 100, 0, 0, 0, 0}));
    EXPECT_EQ(s.flowIndex, (std::vector<uint16_t>{1, 1, 2, 3, 4}));
    EXPECT_EQ(std::vector<uint8_t>(s.qualityScores, s.qualityScores + 5),
              (std::vector<uint8_t>{10, 20, 30, 40, 50}));
    EXPECT_EQ(f->lastReadLength, 32);  // 16 + 15 padded to 8

    // Without bases: the name only; no flow index, clip points untouched.
    read(f, s, 0, false, true);
    EXPECT_EQ(s.accno.str(), "flowread");
    EXPECT_TRUE(s.flowIndex.empty() && s.length == 0);

    // A data section of exactly a multiple of 8 has no padding: the next entry follows at once.
    SffWriter w4(4);
    w4.add("even", "TTAACCGG");
    w4.add("next", "TACG");
    SeqFile* g = view(w4, "even.sff", false);
    EXPECT_EQ(w4.offsets[1] - w4.offsets[0], 24u + 32u);
    g->fileSize = w4.indexOffset;
    for (int id : {0, 1}) read(g, s, id);
    EXPECT_EQ(s.accno.str() + " " + raw(s), "next TACG");
}

// The halves of a pair: suffix, clip point and length, the left half reverse-complemented.
TEST_F(SeqFileTest, PairHalves) {
    SffWriter w;
    w.add("tmpl", "AACCGGGTTT");
    SeqFile* f = view(w, "pair.sff");
    Sequence s;
    int cp = 3;
    EXPECT_TRUE(f->readSequence(&s, 0, 4, cp, false, true, true, true, false));
    EXPECT_EQ(s.accno.str(), "tmpl_right");
    EXPECT_EQ(used(s), "CCGG");
    s.clear();
    cp = 2;
    EXPECT_TRUE(f->readSequence(&s, 0, 3, cp, true, false, true, true, false));
    EXPECT_EQ(s.accno.str(), "tmpl_left");
    EXPECT_TRUE(s.flipped);
    EXPECT_EQ(raw(s), "AAACCCGGTT");
    EXPECT_EQ(used(s), "AAC");
    s.clear();
    cp = 0;
    EXPECT_EXIT(f->readSequence(&s, 0, 3, cp, true, false, true, true, false), ExitedWithCode(255),
                "false");
}

// A repeated read of the same entry is served from memory, even after the file is gone.
TEST_F(SeqFileTest, SecondReadOfAnEntryComesFromTheCache) {
    SffWriter w;
    w.add("one", "ACGTACGT");
    w.add("two", "GGGCCC");
    SeqFile* f = view(w, "cache.sff");
    Sequence a, b;
    read(f, a, 1);
    ASSERT_EQ(truncate(f->path.c_str(), 0), 0);
    read(f, b, 1);
    EXPECT_EQ(b.accno.str(), "two");
    EXPECT_EQ(raw(b), "GGGCCC");
    // Another entry must come from the (now empty) file.
    EXPECT_EXIT(read(f, b, 0), ExitedWithCode(255), "^Error:  Unable to read SFF file entry.\n$");
}

// Unknown and out-of-range sizes go through the fixed-part path; a given buffer is decoded as is.
TEST_F(SeqFileTest, UnknownSizeAndBufferForms) {
    SffWriter w;
    w.add("sized", "ACGTTGCA", 2, 7);
    w.add("other", "TTTT");
    std::string img = w.build();
    SeqFile* f = view(w, "sizes.sff");
    Sequence s;
    int cp = 0;
    for (uint32_t size : {0u, 100000u, 16u, 20u}) {
        s.clear();
        f->readSequence(&s, w.offsets[0], size, 0, 0, 0, cp, false, false, true, true, true);
        EXPECT_EQ(s.accno.str(), "sized");
        EXPECT_EQ(used(s), "CGTTGC");
        // Move the cache off this entry.
        f->readSequence(&s, w.offsets[1], w.entrySizes[1], 0, 0, 0, cp, false, false, true, true,
                        true);
    }
    SeqFile g("/nonexistent/never.sff", nullptr, InputFile::SFF_FILE);
    g.numFlows = 400;
    g.bytesPerFlow = 2;
    s.clear();
    std::string entry = img.substr(w.offsets[1], w.entrySizes[1]);
    g.readSequence(&s, w.offsets[1], w.entrySizes[1], 0, 0, 0, cp, false, false, true, true, true,
                   false, false, entry.data());
    EXPECT_EQ(s.accno.str(), "other");
    EXPECT_FALSE(g.isFileOpen());
}

// Malformed files end the process with their messages, never a crash.
TEST_F(SeqFileTest, BadInputEndsWithMessage) {
    SffWriter w;
    w.add("aaa", "ACGTACGTAC");
    w.add("bbb", "ACGTACGTAC");
    std::string img = w.build();
    auto file = [&](const std::string& name, const std::string& bytes) {
        testsupport::writeFile(dir.path(name), bytes);
        SeqFile* f = keep(new SeqFile(dir.path(name), nullptr, InputFile::SFF_FILE));
        for (uint64_t o : w.offsets) f->addFileOffset(o);
        for (uint32_t sz : w.entrySizes) f->addFileByteSize(sz);
        return f;
    };
    Sequence s;
    // The good image with some bytes changed.
    auto patched = [&](std::vector<std::pair<size_t, char>> changes) {
        std::string out = img;
        for (auto [at, c] : changes) out[at] = c;
        return out;
    };
    size_t e = w.offsets[1];
    std::string where = "^Error:  SFF read error at offset " + std::to_string(e) + ".\n$";
    std::string zero = patched({{e + 7, 0}, {e + 5, 0}});
    // File name, its bytes, the entry read, and the message.
    struct Case {
        std::string name, bytes;
        int id;
        std::string re;
    } cases[] = {
        {"cut.sff", img.substr(0, e + 30), 1,
         "Error:  getBytes\\(\\) unable to read SFF file:  " + dir.path("cut.sff") + "\n"},
        {"zero.sff", zero, 1, where},
        // 40,000 bases: more than the read buffer holds.
        {"huge.sff", patched({{e + 6, (char)0x9C}, {e + 7, (char)0x40}}), 1, where},
        {"magic0.sff", patched({{0, 'x'}}), 0,
         "^Error:  Invalid SFF file format:  " + dir.path("magic0.sff") + "\n$"},
        {"magic7.sff", patched({{7, 'x'}}), 0,
         "^Error:  Invalid SFF file format:  " + dir.path("magic7.sff") + "\n$"},
        {"gone.sff", "", 0,
         "^Error:  Unable to read sequence file:  " + dir.path("gone.sff") + "\n$"},
    };
    for (const Case& k : cases) {
        SeqFile* f = file(k.name, k.bytes);
        if (k.bytes.empty()) unlink(dir.path(k.name).c_str());
        EXPECT_EXIT(read(f, s, k.id), ExitedWithCode(255), k.re) << k.name;
    }

    SeqFile* past = file("past.sff", img);
    int cp = 0;
    EXPECT_EXIT(past->readSequence(&s, (uint64_t)img.size() + 8, 0, 0, 0, 0, cp, false, false, true,
                                   true, true),
                ExitedWithCode(255), "^Error:  Unable to read SFF entry.\n$");

    // Bulk decoding checks the entry against the bytes it was given.
    SeqFile* ok = file("bulk.sff", img);
    ok->numFlows = 400;
    ok->bytesPerFlow = 2;
    stringbuffer b, q;
    const char* e1 = img.data() + w.offsets[1];
    const char* msg = "^Error:  SFF read error while reading bases and scores.\n$";
    EXPECT_EXIT(ok->readSFFBasesAndScores(e1, w.entrySizes[1] - 1, b, q), ExitedWithCode(255), msg);
    EXPECT_EXIT(ok->readSFFBasesAndScores(zero.data() + w.offsets[1], w.entrySizes[1], b, q),
                ExitedWithCode(255), msg);
    EXPECT_EXIT(ok->readSFFBasesAndScores(e1, 15, b, q), ExitedWithCode(255), "size >= 16");
}

// Offsets past the 32-bit threshold go on the 64-bit list; sizes derive from the next offset.
// Names fill the 1,000-byte name buffer up to 999 characters; a longer one ends the read with
// the read-error message, and a pair half's suffix is left off where it would not fit.
TEST_F(SeqFileTest, NamesUpToTheNameBuffer) {
    SffWriter w(8);
    w.add(std::string(999, 'n'), "ACGTTA");
    w.add(std::string(1000, 'm'), "ACGT");
    w.add(std::string(993, 'h'), "ACGTTA");
    SeqFile* f = view(w, "names.sff");
    Sequence s;
    read(f, s, 0);
    EXPECT_EQ(s.accno.str(), std::string(999, 'n'));
    EXPECT_EXIT(read(f, s, 1), ExitedWithCode(255),
                "^Error:  SFF read error at offset " + std::to_string(w.offsets[1]) + ".\n$");
    int clipPoint = 2;
    for (int id : {0, 2}) {
        s.clear();
        EXPECT_TRUE(f->readSequence(&s, id, 3, clipPoint, false, true, true, true, true));
    }
    EXPECT_EQ(s.accno.str(), std::string(993, 'h') + "_right");
    s.clear();
    f->readSequence(&s, 0, 3, clipPoint, true, false, true, true, true);
    EXPECT_EQ(s.accno.str(), std::string(999, 'n'));
}

TEST_F(SeqFileTest, OffsetListsAndDerivedSizes) {
    SeqFile f("/x/y.sff", nullptr, InputFile::SFF_FILE);
    f.firstSeqId = 100;
    uint64_t offs[] = {
        16, 0xFFFFFFF0ULL, 0xFFFFFFF3ULL, 0xFFFFFFF4ULL, 0x100000010ULL, 0x100000010ULL};
    for (uint64_t o : offs) {
        f.addFileOffset(o);
        f.addFileByteSize(SeqFile::DERIVE_SIZE);
    }
    f.fileSize = 0x100000100ULL;
    EXPECT_EQ(f.firstLargeOffset, 3);
    EXPECT_EQ(f.getLastSeqId(), 105);
    for (int i = 0; i < 6; i++) EXPECT_EQ(f.getFileByteOffset(100 + i), offs[i]);
    EXPECT_EQ(f.getFileByteSize(100), 0xFFFFFFF0u - 16);
    EXPECT_EQ(f.getFileByteSize(103), 0x1Cu);
    EXPECT_EQ(f.getFileByteSize(104), 0xF0u);  // a pair's halves share one entry
    EXPECT_EQ(f.getFileByteSize(105), 0xF0u);
    f.fileByteSizes[0] = 77;
    EXPECT_EQ(f.getFileByteSize(100), 77u);
    f.fileSize = 0x100000010ULL;
    EXPECT_EXIT(f.getFileByteSize(105), ExitedWithCode(255), "offset < nextOffset");
    EXPECT_EXIT(SeqFile("/x/a.fa", nullptr, InputFile::FASTA_FILE), ExitedWithCode(255),
                "ft == InputFile::SFF_FILE");
    EXPECT_EXIT(f.hasQual(), ExitedWithCode(255), "inputFile != __null");
}
