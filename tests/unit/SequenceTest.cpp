#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "InputFile.h"
#include "Sequence.h"

using testing::ExitedWithCode;

namespace {
// A read with its used stretch set to 1-based raw positions first..last.
void fill(Sequence& seq, const std::string& bases, int first = 1, int last = -1) {
    seq.clear();
    seq.accno.assign("r1");
    seq.setSequence((int)bases.size(), bases.data());
    if (last < 0) last = (int)bases.size();
    seq.clipLeft = first - 1;
    seq.clipRight = last - 1;
    seq.length = last - first + 1;
}

std::string used(const Sequence& seq) {
    stringbuffer buf(16);
    seq.getSubstring(buf, 1, seq.getLength());
    return buf.str();
}
}  // namespace

TEST(SequenceTest, StorageClearAndPositions) {
    Sequence seq;
    fill(seq, "ACGTTGCA", 2, 6);
    stringbuffer buf("x");
    seq.getSubstring(buf, 2, 3);
    EXPECT_EQ(buf.str(), "xGT");  // appended, from the used part
    EXPECT_EXIT(seq.getSubstring(buf, 4, 6), ExitedWithCode(255),
                "Assertion:  startPos >= 1 && startPos <= getLength\\(\\) && endPos >= 1 && "
                "endPos <= getLength\\(\\) && startPos <= endPos");
    EXPECT_EXIT(seq.getNmerSize(0), ExitedWithCode(255),
                "Assertion:  pos >= 1 && pos <= getLength\\(\\)");
    EXPECT_EXIT(seq.getAvgQualityScore(6), ExitedWithCode(255),
                "Assertion:  pos >= 1 && pos <= getLength\\(\\)");
    EXPECT_EXIT(seq.setFlowIndex(0, nullptr), ExitedWithCode(255), "Assertion:  numFlows > 0");
    std::vector<uint8_t> scores(8, 30);
    seq.setQualityScores(8, scores.data());
    SeqAnnot annot;
    annot.library = "lib";
    seq.setSeqAnnot(annot);
    seq.id = 7;
    seq.clear();
    EXPECT_EQ(seq.id, -2);
    EXPECT_EQ(seq.accno.length() + seq.getLength() + seq.numQualityScores + seq.bases.length(), 0);
    ASSERT_NE(seq.seqAnnot, nullptr);
    EXPECT_EQ(seq.seqAnnot->library, "");
}

// Which used positions end a run, as a string of 0 and 1.
std::string runEnds(Sequence& seq) {
    std::string ends;
    for (int pos = 1; pos <= seq.getLength(); pos++) ends += seq.isEndNmerBase(pos) ? '1' : '0';
    return ends;
}

TEST(SequenceTest, HomopolymerRuns) {
    Sequence seq;
    fill(seq, "G");
    EXPECT_EQ(seq.getNmerSize(1), 1);
    EXPECT_EQ(seq.getEndNmerBases(), std::make_pair(1, 1));
    fill(seq, "AAAA");
    EXPECT_EQ(seq.getEndNmerBases(), std::make_pair(4, 4));
    EXPECT_EQ(runEnds(seq), "1111");
    // Raw read TAACCCGTTT used from position 2 to 9: AACCCGTT.
    fill(seq, "TAACCCGTTT", 2, 9);
    EXPECT_EQ(seq.getEndNmerBases(), std::make_pair(2, 7));
    std::string sizes;
    for (int pos = 1; pos <= 8; pos++) sizes += std::to_string(seq.getNmerSize(pos));
    EXPECT_EQ(sizes, "22333122");
    EXPECT_EQ(seq.getNmerStartPos(5, false), 3);
    EXPECT_EQ(seq.getNmerStartPos(3, true), 5);
    EXPECT_EQ(runEnds(seq), "11000011");
    // With a flow index, runs are bases called in one flow.
    const uint16_t flowgram[12] = {0};
    seq.setFlowgram(12, flowgram);
    const uint16_t index[10] = {1, 2, 2, 3, 3, 3, 4, 5, 5, 5};
    seq.setFlowIndex(10, index);
    EXPECT_EQ(runEnds(seq), "11000011");
}

TEST(SequenceTest, QualityAverages) {
    Sequence seq;
    fill(seq, std::string(22, 'A'), 2, 21);
    EXPECT_TRUE(seq.getAvgQualityScore(5) == 18 && seq.getExpQualityScore(5, 6) == 18);
    std::vector<uint8_t> q(22);
    for (int i = 0; i < 22; i++) q[i] = (uint8_t)(10 + i);
    seq.setQualityScores(22, q.data());
    // Used position p has score 10 + p; position 1 averages positions 1..9.
    EXPECT_EQ(seq.getAvgQualityScore(1), 15);
    EXPECT_EQ(seq.getAvgQualityScore(10), 20);
    // Window 1..12: sum 198, count 12, remainder 6 rounds up to 17; capped by 14.
    EXPECT_EQ(seq.getExpQualityScore(4, 4), 14);
    EXPECT_EQ(seq.getExpQualityScore(1, 4), 11);
    q[3] = 0;  // used position 3
    seq.setQualityScores(22, q.data());
    // Window 1..12 now sums 185: 15 (remainder 5 < 6), halved for the 0 to 7.
    EXPECT_EQ(seq.getExpQualityScore(4, 4), 7);
    EXPECT_EQ(seq.getExpQualityScore(2, 3), 0);
}

TEST(SequenceTest, FlowIndexRangeWarns) {
    Sequence seq;
    fill(seq, "ACG");
    const uint16_t flowgram[4] = {100, 100, 100, 100};
    seq.setFlowgram(4, flowgram);
    const uint16_t bad[3] = {1, 5, 0};
    testing::internal::CaptureStderr();
    seq.setFlowIndex(3, bad);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Warning:  Flow index for r1 out of range.\n");
    EXPECT_TRUE(seq.flowIndex.empty());
    const uint16_t good[3] = {2, 3, 4};
    seq.setFlowIndex(3, good);
    EXPECT_EQ(seq.flowIndex, (std::vector<uint16_t>{2, 3, 4}));
}

TEST(SequenceTest, CafieScores) {
    Sequence seq;
    fill(seq, "ATTAGCAA");
    EXPECT_TRUE(seq.getCafieScore(3) == 0 && seq.getCafieScore_ORIG(3) == 0);
    InputFile file("/tmp/x.sff", "/tmp/x.sff", "", "", false);
    file.flowOrderChars.assign("TACGTACGTACG");
    file.numFlows = 12;
    seq.inputFile = &file;
    const uint16_t flowgram[12] = {0, 40, 0, 0, 0, 300, 0, 0, 0, 160, 0, 0};
    seq.setFlowgram(12, flowgram);
    const uint16_t index[8] = {1, 1, 2, 5, 5, 5, 6, 9};
    seq.setFlowIndex(8, index);
    // Position 4 sits in flow 5 (T): T flows 1 and 9 around it hold 0 and 0.
    EXPECT_EQ(seq.getCafieScore(4), 0);
    // Position 7 sits in flow 6 (A): A flows 2 and 10 hold 40 and 160.
    EXPECT_EQ(seq.getCafieScore(7), 2);
    std::vector<int> all;
    seq.getCafieScores_ORIG(all);
    EXPECT_EQ(all, (std::vector<int>{3, 3, 1, 2, 2, 2, 1, 3}));
    for (int pos = 1; pos <= 8; pos++) EXPECT_EQ(seq.getCafieScore_ORIG(pos), all[pos - 1]) << pos;
    // Bases outside the clip points don't count.
    seq.clipLeft = 2;
    seq.length = 5;
    seq.getCafieScores_ORIG(all);
    EXPECT_EQ(all, (std::vector<int>{1, 0, 0, 0, 1}));
    EXPECT_EQ(seq.getCafieScore_ORIG(5), 1);
}

TEST(SequenceTest, FlipOnce) {
    Sequence seq;
    fill(seq, "AACGTTTG", 2, 6);
    const uint8_t q[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    seq.setQualityScores(8, q);
    const uint16_t flowgram[8] = {10, 20, 30, 40, 50, 60, 70, 80};
    seq.setFlowgram(8, flowgram);
    const uint16_t index[8] = {1, 1, 3, 4, 5, 5, 5, 8};
    seq.setFlowIndex(8, index);
    EXPECT_EQ(used(seq), "ACGTT");
    seq.getEndNmerBases();
    seq.flip();
    EXPECT_TRUE(seq.flipped && seq.clipLeft == 2 && seq.clipRight == 6);
    EXPECT_EQ(used(seq), "AACGT");
    EXPECT_EQ(std::string((const char*)seq.qualityScores, 8), "\x08\x07\x06\x05\x04\x03\x02\x01");
    EXPECT_EQ(seq.flowIndex, (std::vector<uint16_t>{8, 5, 5, 5, 4, 3, 1, 1}));
    EXPECT_EQ(seq.getEndNmerBases(), std::make_pair(2, 5));
    seq.flip();  // only once
    EXPECT_EQ(used(seq) + (char)('0' + seq.qualityScores[0]), "AACGT8");
}
