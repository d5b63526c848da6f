#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CompressedSimpleDNA.h"

using testing::ExitedWithCode;

namespace {
std::string unpack(const CompressedSimpleDNA& dna, int start, int len) {
    stringbuffer buf(">");
    dna.getSequence(buf, start, len);
    return buf.str().substr(1);
}
}  // namespace

// Every prefix of each text, packed 3 bits (or 2 bits) a base, reads back
// every range as expected.
TEST(CompressedSimpleDNATest, RoundTripsEveryLengthAndRange) {
    struct Case {
        std::string source, expected;
        bool twoBits;
    };
    CompressedSimpleDNA dna;
    for (const Case& k : {Case{"ACGTNacgtn-RxTTGCAGGCATN", "ACGTNACGTN-**TTGCAGGCATN", false},
                          Case{"ACGTacgtTTGCAaGGCATCc", "ACGTACGTTTGCAAGGCATCC", true}}) {
        for (int n = 0; n <= (int)k.source.size(); n++) {
            dna.setSequence(n, k.source.data(), k.twoBits);
            ASSERT_EQ(dna.length(), n);
            EXPECT_EQ(dna.wordBases, k.twoBits ? n / 4 * 4 : n / 5 * 5);
            for (int start = 0; start <= n; start++) {
                for (int len = 0; start + len <= n; len++) {
                    ASSERT_EQ(unpack(dna, start, len), k.expected.substr(start, len))
                        << n << " " << start << " " << len;
                }
                if (start < n) {
                    ASSERT_EQ(dna.at(start), k.expected[start]);
                }
            }
        }
    }
}

TEST(CompressedSimpleDNATest, AppendingMatchesPacking) {
    // Appending base by base builds the same words as packing at once.
    const char* text = "TTAGC-NACGTTA";
    CompressedSimpleDNA grown, packed;
    for (int i = 0; text[i]; i++) grown.append(text[i]);
    packed.setSequence(13, text, false);
    EXPECT_EQ(unpack(grown, 0, 13), text);
    for (int w = 0; w < 2; w++) EXPECT_EQ(grown.words[w], packed.words[w]);
    std::string many(1003, 'G');
    for (char c : many) grown.append(c);  // grows past the first array
    EXPECT_EQ(unpack(grown, 13, 1003), many);
}

TEST(CompressedSimpleDNATest, CoarseScores) {
    CompressedSimpleDNA dna;
    dna.setSequence(7, "ACGTACG", false);
    EXPECT_EQ(dna.getScore(0), 20);
    const uint8_t high[] = {20, 20, 20, 20, 20, 30, 40};
    dna.setScores(7, high);
    std::vector<uint8_t> list;
    dna.getScores(list, 0, 7);
    const uint8_t mixed[] = {20, 20, 19, 20, 20, 30, 10};
    dna.setScores(7, mixed);
    dna.getScores(list, 3, 4);  // appended
    EXPECT_EQ(list, (std::vector<uint8_t>{33, 33, 33, 33, 33, 33, 33, 13, 13, 13, 13}));
    const uint8_t five[] = {40, 40, 40, 40, 40};
    dna.setSequence(5, "ACGTN", false);
    dna.setScores(5, five);
    EXPECT_EQ(dna.getScore(4), 33);
    // The 2-bit form keeps no scores.
    dna.setSequence(5, "ACGTA", true);
    dna.setScores(5, five);
    EXPECT_EQ(dna.getScore(2), 20);
}

TEST(CompressedSimpleDNATest, ChecksArguments) {
    CompressedSimpleDNA dna;
    dna.setSequence(4, "ACGT", true);
    EXPECT_EXIT(dna.append('A'), ExitedWithCode(255), "Assertion:  !twoBitsFlag");
    EXPECT_EXIT(dna.at(4), ExitedWithCode(255), "Assertion:  pos >= 0 && pos < seqlen");
    EXPECT_EXIT(unpack(dna, 2, 3), ExitedWithCode(255),
                "Assertion:  start >= 0 && start \\+ len - 1 < seqlen");
    const uint8_t scores[] = {1, 2, 3};
    EXPECT_EXIT(dna.setScores(3, scores), ExitedWithCode(255), "Assertion:  numScores == seqlen");
}
