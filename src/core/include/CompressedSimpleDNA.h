// The packed bases of one read: five bases a 16-bit word (3 bits each, with a
// coarse score bit), or four bases a byte when only A, C, G and T occur.
#pragma once

#include <cstdint>
#include <vector>

#include "stringbuffer.h"

class CompressedSimpleDNA {
public:
    static constexpr int HQ_THRESHOLD = 20;
    static constexpr int HQ_SCORE = 33;
    static constexpr int LQ_SCORE = 13;
    static constexpr int NQ_SCORE = 20;

    CompressedSimpleDNA();
    ~CompressedSimpleDNA();
    CompressedSimpleDNA(const CompressedSimpleDNA&) = delete;
    CompressedSimpleDNA& operator=(const CompressedSimpleDNA&) = delete;

    // Builds the class-wide look-up tables once.
    static void initCompressedSimpleDNA();

    // Packs n characters; the 2-bit form is used only with tryTwoBits and when
    // every character is A, C, G or T. Reuses the array when it is big enough.
    void setSequence(int n, const char* chars, bool tryTwoBits);
    // Adds one base at the end (3-bit form only).
    void append(char c);
    // Empties the sequence, keeping the array.
    void clear();
    // The base at 0-based pos.
    char at(int pos) const;
    // Appends len bases from 0-based start to buffer.
    void getSequence(stringbuffer& buffer, int start, int len) const;
    // Keeps one high/low score bit per word and for the tail; nothing in the 2-bit form.
    void setScores(int numScores, const uint8_t* scores);
    // Appends one coarse score per base, from 0-based start.
    void getScores(std::vector<uint8_t>& list, int start, int len) const;
    // Coarse score of the base at 0-based pos: NQ_SCORE without scores, else HQ or LQ.
    int getScore(int pos) const;
    // Number of bases held.
    int length() const { return seqlen; }

    int seqlen;
    int wordBases;
    int capacity;
    uint16_t* words;
    uint8_t* bytes;
    char tail[4];
    bool hasScores;
    bool tailHighScores;
    bool twoBitsFlag;

    // 3-bit code to character, and character to 3-bit code.
    static char bits2char[8];
    static uint8_t char2bits[256];
    // Shift of each of the five places in a word.
    static int maskshift[5];
    // The five characters of each word value without its score bit (null when a
    // place holds the unused code 7).
    static const char* bitsword2string[32768];
    static char* bitswordBuffer;
    // The same for the 2-bit form: four characters per byte value.
    static char two_bits2char[4];
    static uint8_t two_char2bits[256];
    static int two_maskshift[4];
    static const char* two_bitsword2string[256];
    static char two_bitswordBuffer[256 * 4];
    static bool tablesBuilt;

private:
    // Makes the word array hold at least the given number of words; keeps contents.
    void ensureCapacity(int numWords);
};
