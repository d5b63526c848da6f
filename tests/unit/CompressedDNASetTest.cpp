#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CompressedDNASet.h"
#include "TestSupport.h"

using testing::ExitedWithCode;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {
std::string bases(CompressedDNASet& set, int seqId) {
    stringbuffer buf(">");
    set.getSequence(seqId, buf, 0, set.length(seqId));
    return buf.str().substr(1);
}

std::vector<uint8_t> scores(CompressedDNASet& set, int seqId) {
    std::vector<uint8_t> list;
    set.getScores(seqId, list, 0, set.length(seqId));
    return list;
}

std::string record(CompressedDNASet& set, int seqId) {
    const uint8_t* buf = set.getBuffer(seqId);
    int n = set.length(seqId);
    return std::string((const char*)buf, n - n / 2 + 4);
}

const std::string INDEX_ASSERT =
    "Assertion:  \\(int\\) sectionByteOffsets.size\\(\\) == numCacheSeqs / SECTION_SIZE";
}  // namespace

TEST(CompressedDNASetTest, RecordBytesAndScoreClasses) {
    CompressedDNASet set;
    const uint8_t one[] = {30};
    set.setSequence(0, 1, "A", one);
    EXPECT_EQ(record(set, 0), std::string("\0\0\0\1\x02", 5));
    const uint8_t three[] = {5, 20, 40};
    set.setSequence(1, 3, "ACG", three);
    EXPECT_EQ(record(set, 1), std::string("\0\0\0\3\x40\x08", 6));
    const uint8_t many[] = {14, 27, 13, 100, 0, 99, 60, 26};
    set.setSequence(2, 8, "ACGTNT-x", many);
    EXPECT_EQ(bases(set, 2), "ACGTNT-N");
    EXPECT_EQ(scores(set, 2), (std::vector<uint8_t>{20, 33, 9, 9, 0, 33, 0, 0}));
    set.setSequence(3, 3, "acg", nullptr);
    EXPECT_EQ(bases(set, 3), "NNN");
    set.setSequence(4, 4, "GATC", nullptr);
    EXPECT_EQ(scores(set, 4), std::vector<uint8_t>(4, 20));
    stringbuffer buf(8);
    set.getSequence(2, buf, 1, 3);
    EXPECT_EQ(buf.str(), "CGT");
    EXPECT_EQ(set.getBuffer(7), nullptr);
    EXPECT_EXIT(set.getSequence(2, buf, 5, 4), ExitedWithCode(255),
                "Assertion:  start >= 0 && start \\+ len - 1 < length\\(seqId\\)");
}

// Rewritten records, and reads large enough to need chunks of their own or fresh ones.
TEST(CompressedDNASetTest, RecordsReuseAndChunks) {
    CompressedDNASet set;
    std::string big(140000, 'C'), mid(70000, 'A');
    const std::pair<int, std::string> writes[] = {
        {5, "ACGTACGTAC"}, {5, "TTTT"}, {5, "GGGGGCCCCCA"}, {6, big}, {7, "GAT"},
        {8, mid},          {9, mid}};
    for (const auto& [id, text] : writes) {
        set.setSequence(id, (int)text.size(), text.data(), nullptr);
        EXPECT_EQ(bases(set, id), text) << id;
    }
    EXPECT_EQ(set.numChunks, 3);
    EXPECT_EQ(bases(set, 6), big);
}

TEST(CompressedDNASetTest, FilesWrittenAndReadBack) {
    TempDir dir;
    CompressedDNASet set;
    set.cachePath = dir.root;
    set.setCacheMode(CompressedDNASet::DISK_WRITE);
    const uint8_t sc[] = {30, 10, 20};
    set.setSequence(0, 3, "ACG", sc);
    set.setSequence(1, 1, "T", nullptr);
    set.setSequence(2, 0, "", nullptr);
    EXPECT_EXIT(set.setSequence(4, 1, "A", nullptr), ExitedWithCode(255),
                "Assertion:  seqId == numCacheSeqs");
    EXPECT_EXIT(set.length(0), ExitedWithCode(255), "Assertion:  cacheMode != DISK_WRITE");
    set.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EQ(readFile(dir.path(".SeqBasesIndex")), "3\n0\n15\n");
    EXPECT_EQ(readFile(dir.path(".SeqBasesMetadata")),
              std::string("\0\0\0\3\x32\x07\0\0\0\1\x0a\0\0\0\0", 15));
    EXPECT_EQ(bases(set, 0), "ACG");

    CompressedDNASet reader;
    reader.cachePath = dir.root;
    reader.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EQ(reader.numCacheSeqs, 3);
    EXPECT_EQ(bases(reader, 1), "T");
    EXPECT_EQ(scores(reader, 0), (std::vector<uint8_t>{33, 9, 20}));
    EXPECT_TRUE(reader.hasSequence(2));
    EXPECT_EQ(reader.getBuffer(3), nullptr);
    reader.setSequence(1, 2, "GG", nullptr);
    EXPECT_TRUE(reader.changed);
    EXPECT_EQ(bases(reader, 1), "GG");
}

TEST(CompressedDNASetTest, SectionOffsets) {
    for (int count : {0, 1000, 1001, 2500}) {
        TempDir dir;
        CompressedDNASet set;
        set.cachePath = dir.root;
        set.setCacheMode(CompressedDNASet::DISK_WRITE);
        for (int i = 0; i < count; i++) set.setSequence(i, 2 + i % 3, "ACGTA" + i % 2, nullptr);
        set.setCacheMode(CompressedDNASet::DISK_READ);
        size_t expected = count == 0 ? 1 : count == 1000 ? 2 : count == 1001 ? 3 : 4;
        EXPECT_EQ(set.sectionByteOffsets.size(), expected) << count;
        if (count == 1001) {
            EXPECT_EQ(readFile(dir.path(".SeqBasesIndex")), "1001\n0\n5666\n5672\n");
        }
        CompressedDNASet reader;
        reader.cachePath = dir.root;
        reader.setCacheMode(CompressedDNASet::DISK_READ);
        for (int i = count - 1; i >= 0; i -= 7) {
            ASSERT_EQ(bases(reader, i), std::string("ACGTA" + i % 2, 2 + i % 3)) << i;
        }
    }
}

TEST(CompressedDNASetTest, LongReadsStopInDiskMode) {
    TempDir dir;
    CompressedDNASet set;
    set.cachePath = dir.root;
    set.setCacheMode(CompressedDNASet::DISK_WRITE);
    std::string ok(3999, 'A'), tooLong(4000, 'C');
    set.setSequence(0, (int)ok.size(), ok.data(), nullptr);
    set.setSequence(1, (int)tooLong.size(), tooLong.data(), nullptr);
    set.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EQ(bases(set, 0), ok);
    EXPECT_EXIT(set.getBuffer(1), ExitedWithCode(255), "Assertion:  len < 4000");
}

TEST(CompressedDNASetTest, BadFilesEndTheRun) {
    TempDir dir;
    CompressedDNASet set;
    set.cachePath = dir.root;
    EXPECT_EXIT(set.setCacheMode(CompressedDNASet::DISK_READ), ExitedWithCode(255),
                "^Error:  Unable to open file:  " + dir.root + "/.SeqBasesIndex\n$");
    set.cachePath = dir.path("missing");
    EXPECT_EXIT(set.setCacheMode(CompressedDNASet::DISK_WRITE), ExitedWithCode(255),
                "^Error:  Unable to open file:  " + dir.root + "/missing/.SeqBasesMetadata\n$");

    std::string meta(std::string("\0\0\0\2\x74\0\0\0\1\x0a", 10));
    writeFile(dir.path(".SeqBasesMetadata"), meta);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "^Error:  Invalid SeqBases index file:  "},
        {"2\n0\n", INDEX_ASSERT},
        {"2\n0\n10\n10\n", INDEX_ASSERT},
        {"1001\n0\n10\n", INDEX_ASSERT},
        {"2\n0\nten\n", "^Error:  Invalid SeqBases index file:  "},
        {"2\n10\n0\n", "^Error:  Invalid SeqBases index file:  "},
    };
    CompressedDNASet reader;
    reader.cachePath = dir.root;
    for (const auto& [index, message] : cases) {
        writeFile(dir.path(".SeqBasesIndex"), index);
        EXPECT_EXIT(reader.setCacheMode(CompressedDNASet::DISK_READ), ExitedWithCode(255), message)
            << index;
        EXPECT_EQ(readFile(dir.path(".SeqBasesIndex")), index);
        EXPECT_EQ(readFile(dir.path(".SeqBasesMetadata")), meta);
    }
    // An index pointing past the end of the data.
    writeFile(dir.path(".SeqBasesIndex"), "2\n0\n99\n");
    reader.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EXIT(reader.getBuffer(0), ExitedWithCode(255),
                "^Error:  Unable to read SeqBases cache file.\n$");
    // A section whose records overrun it.
    writeFile(dir.path(".SeqBasesIndex"), "2\n0\n5\n");
    reader.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EXIT(reader.getBuffer(1), ExitedWithCode(255), "Assertion:  offset < cachePageSize");
    // A section of no bytes: its first record is refused by the page check.
    writeFile(dir.path(".SeqBasesIndex"), "2\n4\n4\n");
    reader.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EXIT(reader.getBuffer(1), ExitedWithCode(255), "Assertion:  offset < cachePageSize");
    writeFile(dir.path(".SeqBasesIndex"), "2\n0\n10\n");
    reader.setCacheMode(CompressedDNASet::DISK_READ);
    EXPECT_EQ(bases(reader, 1), "T");
    EXPECT_EQ(bases(reader, 0), "CG");
}
