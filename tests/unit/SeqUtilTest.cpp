#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "SeqUtil.h"
#include "TestSupport.h"

using testing::ExitedWithCode;

class SeqUtilTest : public testing::Test {
protected:
    void SetUp() override { SeqUtil::doStaticInit(); }
    void TearDown() override { initGeneticCode(); }
};

TEST_F(SeqUtilTest, ComplementTableAndValidity) {
    const char* from = "ATCGRYMKBVDHatcgrymkbvdhSWNXswnx-./Uu";
    const char* to = "TAGCYRKMVBHDtagcyrkmvbhdSWNXswnx-./Aa";
    for (int i = 0; from[i]; i++) EXPECT_EQ(revcomp[(unsigned char)from[i]], to[i]) << from[i];
    for (const char* s = "ZzEeJjOo*0 \n"; *s; s++) EXPECT_EQ(revcomp[(unsigned char)*s], '*');
    std::string iub;
    for (int c = 1; c < 256; c++)
        if (isIUBChar[c]) iub += (char)c;
    EXPECT_EQ(iub, "-.ABCDGHKMNRSTUVWXYabcdghkmnrstuvwxy");
}

TEST_F(SeqUtilTest, CheckDnaSeqPrintsFirstBadByte) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(SeqUtil::checkDnaSeq("ACGT-."));
    EXPECT_TRUE(SeqUtil::checkDnaSeq(""));
    EXPECT_FALSE(SeqUtil::checkDnaSeq("ACG/"));
    EXPECT_FALSE(SeqUtil::checkDnaSeq("Z"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error:  SeqUtil::checkDnaSeq : non-IUB char: (/) at position 3 .\n"
              "Error:  SeqUtil::checkDnaSeq : non-IUB char: (Z) at position 0 .\n");
    EXPECT_TRUE(SeqUtil::isDna("ACgtNn"));
    EXPECT_FALSE(SeqUtil::isDna("ACR"));
    EXPECT_FALSE(SeqUtil::isDna("AC-"));
}

TEST_F(SeqUtilTest, ReverseComplementInPlace) {
    stringbuffer odd("ACA");
    SeqUtil::revcomplement(odd);
    EXPECT_EQ(odd.str(), "TGT");
    stringbuffer even("AACGTN");
    SeqUtil::revcomplement(even);
    EXPECT_EQ(even.str(), "NACGTT");
    std::string s = "GATTACA";
    SeqUtil::revcompString(s);
    EXPECT_EQ(s, "TGTAATC");
    EXPECT_EQ(SeqUtil::reverseComplement("ACGTN"), "NACGT");
    EXPECT_EQ(SeqUtil::countBases(std::string("A-C--G")), 3);
    EXPECT_EQ(SeqUtil::formatSeq("ACGTACG", 3), "ACG\nTAC\nG\n");
}

TEST_F(SeqUtilTest, ThreeBitCodes) {
    const char* in = "AaCcGgTtNnRr-*.";
    const int out[] = {0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 4, 4, 5, 6, 6};
    for (int i = 0; in[i]; i++) EXPECT_EQ(SeqUtil::charToThreeBits(in[i]), out[i]) << in[i];
    std::string back;
    for (int c = 0; c <= 6; c++) back += SeqUtil::threeBitsToChar(c);
    EXPECT_EQ(back, "ACGTN-*");
    EXPECT_EXIT(SeqUtil::threeBitsToChar(7), ExitedWithCode(255), "Assertion:  false");
}

TEST_F(SeqUtilTest, Hash64) {
    stringbuffer empty("");
    EXPECT_EQ(SeqUtil::getHash64(empty, 0, 0, 0), 5381u);
    stringbuffer seq("ACGTTCGT");
    uint64_t ac = ((5381ull * 33) ^ 'A') * 33 ^ 'C';
    EXPECT_EQ(SeqUtil::getHash64(seq, 0, 2, 0), ac);
    // "ACG" forward equals the reverse strand read back from the last base.
    EXPECT_EQ(SeqUtil::getHash64(seq, 0, 3, 0), SeqUtil::getHash64(seq, 7, 3, 1));
    EXPECT_NE(SeqUtil::getHash64(seq, 0, 3, 0), SeqUtil::getHash64(seq, 1, 3, 0));
    EXPECT_EQ(SeqUtil::getHash64(seq, 0, 0, 0), SeqUtil::getHash64(seq, 0, 8, 0));
    EXPECT_EXIT(SeqUtil::getHash64(seq, 6, 3, 0), ExitedWithCode(255),
                "Assertion:  \\(strand == 0 && pos \\+ len - 1 < seq.length\\(\\)\\)");
}

TEST_F(SeqUtilTest, CodonLookup) {
    std::string seen;
    for (const char* codon : {"ATG", "TGA", "TAA", "TAG", "tgg", "ANG", "AC"})
        seen += std::string(1, aaCode(codon)) + " " + aaAbriv(codon) + " " + aaName(codon) + "|";
    EXPECT_EQ(seen,
              "M Met Methionine|U Sec Selenocysteine|* Term Stop Codon|* Term Stop Codon|"
              "W Trp Tryptophan|X Xaa Unknown Amino Acid|X Xaa Unknown Amino Acid|");
    EXPECT_TRUE(SeqUtil::isFullGeneticCode());
    EXPECT_EQ(dna2aa(std::string("ATGTGGTAAGG")), "MW*");
}

TEST_F(SeqUtilTest, TranslateStretch) {
    stringbuffer seq("ATGAAATTT");
    stringbuffer out(16);
    struct Case {
        int strand, frame;
        bool spaced;
        const char* expected;
    };
    for (const Case& k :
         {Case{0, 0, false, "MKF"}, Case{0, 0, true, "M  K  F  "}, Case{0, 1, true, " U  N    "},
          Case{1, 0, false, "KFH"}, Case{1, 0, true, "  H  F  K"}}) {
        EXPECT_TRUE(dna2aa(seq, out, 0, 8, k.strand, k.frame, k.spaced));
        EXPECT_EQ(out.str(), k.expected);
    }
    out.assign("keep");
    EXPECT_FALSE(dna2aa(seq, out, 0, 8, 0, 3, false));
    EXPECT_FALSE(dna2aa(seq, out, 0, 8, 2, 0, false));
    EXPECT_FALSE(dna2aa(seq, out, 6, 8, 0, 1, false));
    EXPECT_EQ(out.str(), "keep");
    EXPECT_EQ(base2codonBasePos(4, 0, 8, 0, 1), 0);
    EXPECT_EQ(base2codonBasePos(8, 0, 8, 1, 0), 0);
    EXPECT_EQ(base2codonBasePos(0, 0, 8, 0, 1), -2);
    EXPECT_EQ(base2codonBasePos(9, 0, 8, 0, 0), -2);
}

TEST_F(SeqUtilTest, ReplacingTheGeneticCode) {
    std::string ncbi = "FFLLSSSSYY**CC*WLLLLPPPPHHQQRRRRIIIMTTTTNNKKSSRRVVVVAAAADDEEGGGG";
    EXPECT_TRUE(SeqUtil::isGeneticCodeNCBI(ncbi.c_str()));
    EXPECT_FALSE(SeqUtil::isGeneticCodeNCBI(ncbi.substr(1).c_str()));
    EXPECT_FALSE(SeqUtil::setGeneticCodeNCBI((ncbi.substr(1) + "X").c_str()));
    EXPECT_EQ(aaCode("TGA"), 'U');
    EXPECT_TRUE(SeqUtil::setGeneticCodeNCBI(ncbi.c_str()));
    EXPECT_EQ(aaCode("TGA"), '*');
    EXPECT_EQ(aaCode("TTA"), 'L');
    std::string mito = ncbi;
    mito[14] = 'W';  // TGA
    testsupport::TempDir dir;
    testsupport::writeFile(dir.path("code.txt"), "# mitochondrial\n\nAAs = " + mito + "\n");
    EXPECT_EQ(SeqUtil::setGeneticCodeFromFile(dir.path("code.txt").c_str()), 0);
    EXPECT_EQ(aaCode("TGA"), 'W');
    EXPECT_EQ(SeqUtil::setGeneticCodeFromFile(dir.path("none.txt").c_str()), -3);
    testsupport::writeFile(dir.path("bad.txt"), "TGA W\nTGQ W\n");
    EXPECT_EQ(SeqUtil::setGeneticCodeFromFile(dir.path("bad.txt").c_str()), -4);
    testsupport::writeFile(dir.path("short.txt"), "TGA C\nATG M\n");
    EXPECT_EQ(SeqUtil::setGeneticCodeFromFile(dir.path("short.txt").c_str()), -5);
    EXPECT_EQ(aaCode("TGA"), 'W');  // failed files change nothing
}
