// Packing of one read's bases into 3-bit words or 2-bit bytes.
#include "CompressedSimpleDNA.h"

#include <cstring>

#include "Util.h"

char CompressedSimpleDNA::bits2char[8];
uint8_t CompressedSimpleDNA::char2bits[256];
int CompressedSimpleDNA::maskshift[5] = {12, 9, 6, 3, 0};
const char* CompressedSimpleDNA::bitsword2string[32768];
char* CompressedSimpleDNA::bitswordBuffer = nullptr;
char CompressedSimpleDNA::two_bits2char[4];
uint8_t CompressedSimpleDNA::two_char2bits[256];
int CompressedSimpleDNA::two_maskshift[4] = {6, 4, 2, 0};
const char* CompressedSimpleDNA::two_bitsword2string[256];
char CompressedSimpleDNA::two_bitswordBuffer[256 * 4];
bool CompressedSimpleDNA::tablesBuilt = false;

namespace {
const uint16_t SCORE_BIT = 0x8000;
const int WORD_CODE_MASK = 0x7FFF;
}  // namespace

void CompressedSimpleDNA::initCompressedSimpleDNA() {
    if (tablesBuilt) return;
    memcpy(bits2char, "ACGTN-**", 8);
    memcpy(two_bits2char, "ACGT", 4);
    for (int i = 0; i < 256; i++) {
        char2bits[i] = 6;
        two_char2bits[i] = 0;
    }
    const char* letters = "ACGTN";
    for (int i = 0; i < 5; i++) {
        char2bits[(unsigned char)letters[i]] = i;
        char2bits[(unsigned char)letters[i] + 32] = i;
        if (i < 4) {
            two_char2bits[(unsigned char)letters[i]] = i;
            two_char2bits[(unsigned char)letters[i] + 32] = i;
        }
    }
    char2bits[(unsigned char)'-'] = 5;

    bitswordBuffer = (char*)safeMalloc(32768 * 5);
    for (int w = 0; w < 32768; w++) {
        char* text = bitswordBuffer + w * 5;
        bool valid = true;
        for (int k = 0; k < 5; k++) {
            int code = (w >> maskshift[k]) & 7;
            if (code == 7) valid = false;
            text[k] = bits2char[code];
        }
        bitsword2string[w] = valid ? text : nullptr;
    }
    for (int b = 0; b < 256; b++) {
        char* text = two_bitswordBuffer + b * 4;
        for (int k = 0; k < 4; k++) text[k] = two_bits2char[(b >> two_maskshift[k]) & 3];
        two_bitsword2string[b] = text;
    }
    tablesBuilt = true;
}

CompressedSimpleDNA::CompressedSimpleDNA()
    : seqlen(0),
      wordBases(0),
      capacity(0),
      words(nullptr),
      bytes(nullptr),
      tail{0, 0, 0, 0},
      hasScores(false),
      tailHighScores(false),
      twoBitsFlag(false) {
    initCompressedSimpleDNA();
}

CompressedSimpleDNA::~CompressedSimpleDNA() { safeFree(words); }

void CompressedSimpleDNA::ensureCapacity(int numWords) {
    if (numWords <= capacity) return;
    uint16_t* newWords = (uint16_t*)safeMalloc((size_t)numWords * sizeof(uint16_t));
    if (words != nullptr) {
        memcpy(newWords, words, (size_t)capacity * sizeof(uint16_t));
        safeFree(words);
    }
    words = newWords;
    bytes = (uint8_t*)newWords;
    capacity = numWords;
}

void CompressedSimpleDNA::clear() {
    seqlen = 0;
    wordBases = 0;
    hasScores = false;
    tailHighScores = false;
    twoBitsFlag = false;
}

void CompressedSimpleDNA::setSequence(int n, const char* chars, bool tryTwoBits) {
    ASSERT(n >= 0);
    bool two = tryTwoBits;
    for (int i = 0; two && i < n; i++) {
        unsigned char c = chars[i] & ~32;
        if (c != 'A' && c != 'C' && c != 'G' && c != 'T') two = false;
    }
    ensureCapacity(n / 5 + 40);
    seqlen = n;
    hasScores = false;
    tailHighScores = false;
    twoBitsFlag = two;
    const unsigned char* s = (const unsigned char*)chars;
    int i = 0;
    if (two) {
        int full = n / 4;
        for (int b = 0; b < full; b++, i += 4) {
            bytes[b] = (uint8_t)((two_char2bits[s[i]] << 6) | (two_char2bits[s[i + 1]] << 4) |
                                 (two_char2bits[s[i + 2]] << 2) | two_char2bits[s[i + 3]]);
        }
        wordBases = full * 4;
        for (int k = 0; i < n; i++, k++) tail[k] = two_bits2char[two_char2bits[s[i]]];
    } else {
        int full = n / 5;
        for (int w = 0; w < full; w++, i += 5) {
            words[w] = (uint16_t)((char2bits[s[i]] << 12) | (char2bits[s[i + 1]] << 9) |
                                  (char2bits[s[i + 2]] << 6) | (char2bits[s[i + 3]] << 3) |
                                  char2bits[s[i + 4]]);
        }
        wordBases = full * 5;
        for (int k = 0; i < n; i++, k++) tail[k] = bits2char[char2bits[s[i]]];
    }
}

void CompressedSimpleDNA::append(char c) {
    ASSERT(!twoBitsFlag);
    int inTail = seqlen - wordBases;
    if (inTail < 4) {
        tail[inTail] = bits2char[char2bits[(unsigned char)c]];
        seqlen++;
        return;
    }
    int w = wordBases / 5;
    if (w >= capacity) ensureCapacity(capacity > 0 ? capacity * 2 : 40);
    words[w] = (uint16_t)((char2bits[(unsigned char)tail[0]] << 12) |
                          (char2bits[(unsigned char)tail[1]] << 9) |
                          (char2bits[(unsigned char)tail[2]] << 6) |
                          (char2bits[(unsigned char)tail[3]] << 3) | char2bits[(unsigned char)c]);
    wordBases += 5;
    seqlen++;
    tailHighScores = false;
}

char CompressedSimpleDNA::at(int pos) const {
    ASSERT(pos >= 0 && pos < seqlen);
    if (pos >= wordBases) return tail[pos - wordBases];
    if (twoBitsFlag) return two_bits2char[(bytes[pos >> 2] >> two_maskshift[pos & 3]) & 3];
    return bits2char[(words[pos / 5] >> maskshift[pos % 5]) & 7];
}

void CompressedSimpleDNA::getSequence(stringbuffer& buffer, int start, int len) const {
    ASSERT(start >= 0 && start + len - 1 < seqlen);
    if (len <= 0) return;
    int oldLength = buffer.length();
    buffer._expand(oldLength + len);
    char* out = buffer.text() + oldLength;
    int pos = start;
    int end = start + len;
    int packedEnd = end < wordBases ? end : wordBases;
    if (twoBitsFlag) {
        for (; pos < packedEnd && (pos & 3) != 0; pos++) *out++ = at(pos);
        for (; pos + 4 <= packedEnd; pos += 4, out += 4) {
            memcpy(out, two_bitsword2string[bytes[pos >> 2]], 4);
        }
    } else {
        for (; pos < packedEnd && pos % 5 != 0; pos++) *out++ = at(pos);
        for (; pos + 5 <= packedEnd; pos += 5, out += 5) {
            const char* text = bitsword2string[words[pos / 5] & WORD_CODE_MASK];
            ASSERT(text != nullptr);
            memcpy(out, text, 5);
        }
    }
    for (; pos < end; pos++) *out++ = at(pos);
    buffer.length() = oldLength + len;
    buffer.text()[oldLength + len] = 0;
}

void CompressedSimpleDNA::setScores(int numScores, const uint8_t* scores) {
    ASSERT(numScores == seqlen);
    if (twoBitsFlag) return;
    int full = wordBases / 5;
    for (int w = 0; w < full; w++) {
        const uint8_t* s = scores + w * 5;
        bool high = s[0] >= HQ_THRESHOLD && s[1] >= HQ_THRESHOLD && s[2] >= HQ_THRESHOLD &&
                    s[3] >= HQ_THRESHOLD && s[4] >= HQ_THRESHOLD;
        words[w] = high ? (words[w] | SCORE_BIT) : (words[w] & ~SCORE_BIT);
    }
    tailHighScores = seqlen > wordBases;
    for (int i = wordBases; i < seqlen; i++) {
        if (scores[i] < HQ_THRESHOLD) tailHighScores = false;
    }
    hasScores = true;
}

int CompressedSimpleDNA::getScore(int pos) const {
    ASSERT(pos >= 0 && pos < seqlen);
    if (!hasScores) return NQ_SCORE;
    bool high = pos < wordBases ? (words[pos / 5] & SCORE_BIT) != 0 : tailHighScores;
    return high ? HQ_SCORE : LQ_SCORE;
}

void CompressedSimpleDNA::getScores(std::vector<uint8_t>& list, int start, int len) const {
    ASSERT(start >= 0 && start + len - 1 < seqlen);
    for (int pos = start; pos < start + len; pos++) list.push_back((uint8_t)getScore(pos));
}
