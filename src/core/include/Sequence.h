// One read or reference in memory: name, packed bases, scores and flow data.
// Public positions are 1-based and count from the first base after the left
// clip; the fields hold 0-based positions in the raw read.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "CompressedSimpleDNA.h"
#include "stringbuffer.h"

class InputFile;

// Annotations of a FASTA description line.
class SeqAnnot {
public:
    SeqAnnot() { clear(); }
    // Back to the values of a read without annotations.
    void clear();

    int trimStart;  // 1-based, -2 when absent
    int trimEnd;    // 1-based, -2 when absent
    std::string phd;
    std::string scf;
    int scfPoints;
    std::string library;
    std::string templateName;
    std::string description;
    char dir;  // 'F', 'R' or 0
};

class Sequence {
public:
    Sequence();
    ~Sequence();
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;

    // Empties the record for reuse; capacities stay.
    void clear();
    // Stores the raw bases; length becomes n and the clip points span them all.
    void setSequence(int n, const char* chars);
    // Copies n scores, in raw read order.
    void setQualityScores(int n, const uint8_t* scores);
    // Copies the 1-based flow of each raw base; needs the flowgram first. A value
    // outside 1..flows warns and keeps no flow index.
    void setFlowIndex(int n, const uint16_t* values);
    // Copies one signal per flow, in hundredths.
    void setFlowgram(int n, const uint16_t* values);
    // Copies the description annotations, making the record on first use.
    void setSeqAnnot(const SeqAnnot& annot);

    // Bases between the clip points.
    int getLength() const { return length; }
    // Appends the bases of 1-based positions startPos to endPos.
    void getSubstring(stringbuffer& buffer, int startPos, int endPos) const;
    // First position of the run holding pos; with reversed, the last position,
    // as a reader of the other strand sees the run's start.
    int getNmerStartPos(int pos, bool reversed) const;
    // Length of the homopolymer run holding pos, within the clip points.
    int getNmerSize(int pos) const;
    // (last position of the first run, first position of the last run), cached.
    std::pair<int, int> getEndNmerBases();
    // True if pos lies in the first or the last run of the read.
    bool isEndNmerBase(int pos);
    // Average score of the 17 bases around pos; 18 without scores.
    int getAvgQualityScore(int pos) const;
    // Expected score of start..end: the window average (halved next to a 0
    // score), capped by the lowest score of the stretch; 18 without scores.
    int getExpQualityScore(int start, int end) const;
    // Largest signal of a same-base flow around the base's own flow, in whole units.
    int getCafieScore(int pos) const;
    // Bases one flow cycle before or after the base's flow, from the flow index only.
    int getCafieScore_ORIG(int pos) const;
    // getCafieScore_ORIG of every position, into list (replaced).
    void getCafieScores_ORIG(std::vector<int>& list) const;
    // Reverse-complements the record once: bases, scores, flow index and clip points.
    void flip();

    int id;
    stringbuffer accno;
    int length;
    int clipLeft;
    int clipRight;
    int endNmerLeft;
    int endNmerRight;
    CompressedSimpleDNA bases;
    std::vector<uint16_t> flowIndex;
    std::vector<uint16_t> flowgram;
    bool flipped;
    int qualCapacity;
    int numQualityScores;
    uint8_t* qualityScores;
    SeqAnnot* seqAnnot;
    InputFile* inputFile;

private:
    // Checks a public position against the used length.
    void checkPos(int pos) const;
    // Base at 1-based used position pos.
    char baseAt(int pos) const { return bases.at(clipLeft + pos - 1); }
    // Score at 1-based raw position pos.
    int qualAt(int pos) const;
    // Raw read length: the bases held, or the scores when there are no bases.
    int rawLength() const;
};
