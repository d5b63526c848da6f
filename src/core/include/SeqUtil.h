// Nucleotide tables and the small operations on them: complement, validity,
// a three-bit base code, sequence hashing, and translation of codons.
#pragma once

#include <cstdint>
#include <string>

#include "stringbuffer.h"

// Complement of each byte; '*' for bytes that are no base letter.
extern char revcomp[256];
// 1 for a byte accepted in a DNA sequence (IUB letters and the gap marks '-', '.').
extern unsigned char isIUBChar[256];
// Codon code of a base: A 0, T 1, C 2, G 3 in either case; 255 otherwise.
extern unsigned char baseEncodedVal[256];
// 1 shifted by a base's codon code, to build sets of bases seen.
extern int baseBitVal[4];
// The letters that isDna accepts.
extern const char* dnaLetters;

// One amino acid: full name, three-letter abbreviation, one-letter code.
struct AminoAcid {
    const char* name;
    const char* abriv;
    const char* code;
};

// The genetic code: entry of each codon, indexed by the sum of
// baseEncodedVal[base] << (2 * position), position 0 for the first base.
extern AminoAcid aaTable[64];
// The entry given for a codon that can't be translated.
extern const AminoAcid aaUnknown;

// Fills aaTable with the standard genetic code (TGA read as selenocysteine).
void initGeneticCode();
// Full name of the codon's amino acid; aaUnknown's for a short text or a non-ACGT base.
const char* aaName(const char* codon);
// Three-letter abbreviation of the codon's amino acid.
const char* aaAbriv(const char* codon);
// One-letter code of the codon's amino acid ('X' when unknown).
char aaCode(const char* codon);
// Translates seq[start..end] (0-based, inclusive) on the given strand and frame
// into out; with spaced, each letter stands under its codon's first base and
// the text is as long as the stretch. False for bad arguments or no whole codon.
bool dna2aa(const stringbuffer& seq, stringbuffer& out, int start, int end, char strand, char frame,
            bool spaced);
// Translates the whole text from its first base, codon by codon.
std::string dna2aa(const std::string& seq);
// Place (0, 1 or 2) of the base at pos within its codon, for a stretch
// start..end (0-based, inclusive) read on strand (0, 1) in frame (0..2);
// -2 for bad arguments or a base before the first whole codon.
int base2codonBasePos(int pos, int start, int end, char strand, char frame);

class SeqUtil {
public:
    // Builds the tables once; every user of the tables calls it first.
    static void doStaticInit();

    // Reverse-complements the buffer in place.
    static void revcomplement(stringbuffer& seq);
    // Complements the buffer in place.
    static void complement(stringbuffer& seq);
    // Reverse-complements the string in place.
    static void revcompString(std::string& seq);
    // The reverse complement of the string.
    static std::string reverseComplement(const std::string& seq);
    // Complements the string in place.
    static void complement(std::string& seq);
    // Reverses the string in place.
    static void reverse(std::string& seq);

    // True if every byte is marked in isIUBChar; otherwise prints the first bad
    // byte on standard output and gives false.
    static bool checkDnaSeq(const std::string& seq);
    // True if every byte is one of dnaLetters.
    static bool isDna(const std::string& seq);
    static bool isDna(const char* seq);
    // Number of bytes other than the gap mark '-'.
    static int countBases(const std::string& seq);
    static int countBases(const stringbuffer& seq);
    static int countBases(const char* seq, int length);
    // The text without white space.
    static std::string cleanDnaSeq(const std::string& seq);
    // The text cut into lines of width characters, each ending in a newline.
    static std::string formatSeq(const std::string& seq, int width = 60);

    // Three-bit base code: A 0, C 1, G 2, T 3 (either case), other letters 4,
    // '-' 5, anything else 6.
    static int charToThreeBits(char c);
    // The character of a three-bit code; codes above 6 are an internal error.
    static char threeBitsToChar(int code);

    // Hash of len bases from pos (len 0: the whole buffer); strand 1 reads
    // backward through revcomp, so a stretch and its reverse complement agree.
    static uint64_t getHash64(const stringbuffer& seq, int pos, int len, int strand);
    // 0 for a homopolymer length of 1, otherwise 1.
    static int hpLen2Val(int hpLen);
    // The given bit of value.
    static int getBit(int value, int bit);

    // True if the text is a 64-letter code table in the NCBI codon order.
    static bool isGeneticCodeNCBI(const char* code);
    // Replaces the genetic code by a 64-letter NCBI table; false if it isn't one.
    static bool setGeneticCodeNCBI(const char* code);
    // Replaces the genetic code from a file: 0 on success, -3 and lower for a bad
    // file (-3 unreadable, -4 bad line, -5 codons missing).
    static int setGeneticCodeFromFile(const char* path);
    // True if every codon has a known amino acid.
    static bool isFullGeneticCode();
};
