// One read in memory: storage of its parts and the homopolymer, quality and
// carry-forward measures computed on it.
#include "Sequence.h"

#include <algorithm>
#include <cstring>

#include "InputFile.h"
#include "SeqUtil.h"
#include "Util.h"
#include "threadstatic.h"

namespace {
// Score assumed for every base of a read without scores.
const int DEFAULT_QUALITY = 18;
// Bases on each side of a position that the quality averages look at.
const int QUALITY_WINDOW = 8;
// Flows in one cycle of the four bases.
const int FLOW_CYCLE = 4;
}  // namespace

void SeqAnnot::clear() {
    trimStart = -2;
    trimEnd = -2;
    phd.clear();
    scf.clear();
    scfPoints = 0;
    library.clear();
    templateName.clear();
    description.clear();
    dir = 0;
}

Sequence::Sequence()
    : id(-2),
      accno(128),
      length(0),
      clipLeft(0),
      clipRight(0),
      endNmerLeft(0),
      endNmerRight(0),
      flipped(false),
      qualCapacity(0),
      numQualityScores(0),
      qualityScores(nullptr),
      seqAnnot(nullptr),
      inputFile(nullptr) {
    SeqUtil::doStaticInit();
}

Sequence::~Sequence() {
    delete[] qualityScores;
    delete seqAnnot;
}

void Sequence::clear() {
    id = -2;
    accno.clear();
    length = 0;
    clipLeft = 0;
    clipRight = 0;
    endNmerLeft = 0;
    endNmerRight = 0;
    bases.clear();
    flowIndex.clear();
    flowgram.clear();
    numQualityScores = 0;
    flipped = false;
    if (seqAnnot != nullptr) seqAnnot->clear();
}

void Sequence::setSequence(int n, const char* chars) {
    bases.setSequence(n, chars, false);
    length = n;
    clipLeft = 0;
    clipRight = n - 1;
    endNmerLeft = 0;
    endNmerRight = 0;
}

void Sequence::setQualityScores(int n, const uint8_t* scores) {
    ASSERT(n >= 0);
    if (n > qualCapacity) {
        delete[] qualityScores;
        qualCapacity = n + 100;
        qualityScores = new uint8_t[qualCapacity];
    }
    if (n > 0) memcpy(qualityScores, scores, n);
    numQualityScores = n;
}

void Sequence::setFlowIndex(int n, const uint16_t* values) {
    int numFlows = (int)flowgram.size();
    ASSERT(numFlows > 0);
    flowIndex.clear();
    for (int i = 0; i < n; i++) {
        if (values[i] < 1 || values[i] > numFlows) {
            warn("Warning:  Flow index for %s out of range.\n", accno.c_str());
            return;
        }
    }
    if ((int)flowIndex.capacity() < n) flowIndex.reserve(n + 100);
    flowIndex.assign(values, values + n);
}

void Sequence::setFlowgram(int n, const uint16_t* values) {
    if ((int)flowgram.capacity() < n) flowgram.reserve(n + 100);
    flowgram.assign(values, values + n);
}

void Sequence::setSeqAnnot(const SeqAnnot& annot) {
    if (seqAnnot == nullptr) seqAnnot = new SeqAnnot();
    *seqAnnot = annot;
}

void Sequence::checkPos(int pos) const { ASSERT(pos >= 1 && pos <= getLength()); }

int Sequence::qualAt(int pos) const {
    ASSERT(pos >= 1 && pos <= numQualityScores);
    return qualityScores[pos - 1];
}

int Sequence::rawLength() const { return bases.seqlen > 0 ? bases.seqlen : numQualityScores; }

void Sequence::getSubstring(stringbuffer& buffer, int startPos, int endPos) const {
    ASSERT(startPos >= 1 && startPos <= getLength() && endPos >= 1 && endPos <= getLength() &&
           startPos <= endPos);
    bases.getSequence(buffer, clipLeft + startPos - 1, endPos - startPos + 1);
}

int Sequence::getNmerStartPos(int pos, bool reversed) const {
    checkPos(pos);
    if (!reversed) {
        char c = baseAt(pos);
        while (pos > 1 && baseAt(pos - 1) == c) pos--;
        return pos;
    }
    char c = revcomp[(unsigned char)baseAt(pos)];
    while (pos < length && revcomp[(unsigned char)baseAt(pos + 1)] == c) pos++;
    return pos;
}

int Sequence::getNmerSize(int pos) const {
    checkPos(pos);
    char c = baseAt(pos);
    int first = pos, last = pos;
    while (first > 1 && baseAt(first - 1) == c) first--;
    while (last < length && baseAt(last + 1) == c) last++;
    return last - first + 1;
}

std::pair<int, int> Sequence::getEndNmerBases() {
    if (length <= 0) return std::make_pair(0, 0);
    if (endNmerLeft == 0) {
        char first = baseAt(1);
        endNmerLeft = 1;
        while (endNmerLeft < length && baseAt(endNmerLeft + 1) == first) endNmerLeft++;
        char last = baseAt(length);
        endNmerRight = length;
        while (endNmerRight > endNmerLeft && baseAt(endNmerRight - 1) == last) endNmerRight--;
    }
    return std::make_pair(endNmerLeft, endNmerRight);
}

bool Sequence::isEndNmerBase(int pos) {
    checkPos(pos);
    int lastRaw = clipLeft + length - 1;
    if (!flowIndex.empty() && lastRaw < (int)flowIndex.size()) {
        uint16_t flow = flowIndex[clipLeft + pos - 1];
        return flow == flowIndex[clipLeft] || flow == flowIndex[lastRaw];
    }
    getEndNmerBases();
    return pos <= endNmerLeft || pos >= endNmerRight;
}

int Sequence::getAvgQualityScore(int pos) const {
    checkPos(pos);
    if (numQualityScores == 0) return DEFAULT_QUALITY;
    int from = std::max(1, pos - QUALITY_WINDOW);
    int to = std::min(length, pos + QUALITY_WINDOW);
    int sum = 0;
    for (int p = from; p <= to; p++) sum += qualAt(clipLeft + p);
    return (int)((double)sum / (to - from + 1) + 0.5);
}

int Sequence::getExpQualityScore(int start, int end) const {
    checkPos(start);
    checkPos(end);
    if (numQualityScores == 0) return DEFAULT_QUALITY;
    int from = std::max(1, start - QUALITY_WINDOW);
    int to = std::min(length, end + QUALITY_WINDOW);
    int sum = 0, count = 0;
    bool hasZero = false;
    for (int p = from; p <= to; p++) {
        int q = qualAt(clipLeft + p);
        sum += q;
        count++;
        if (q == 0) hasZero = true;
    }
    int avg = sum / count;
    if (sum % count >= count / 2) avg++;
    if (hasZero) avg /= 2;
    int lowest = avg;
    for (int p = start; p <= end; p++) lowest = std::min(lowest, qualAt(clipLeft + p));
    return lowest;
}

int Sequence::getCafieScore(int pos) const {
    checkPos(pos);
    if (flowIndex.empty() || flowgram.empty()) return 0;
    if (inputFile == nullptr) return 0;
    int numFlows = std::min(inputFile->numFlows, (int)flowgram.size());
    const char* flowChars = inputFile->flowOrderChars.c_str();
    numFlows = std::min(numFlows, inputFile->flowOrderChars.length());
    int raw = clipLeft + pos - 1;
    if (raw >= (int)flowIndex.size()) return 0;
    int f = flowIndex[raw];
    if (f < 1 || f > numFlows) return 0;
    char b = flowChars[f - 1];
    int maxSignal = 0;
    int seen = 0;
    for (int i = f - 2; i >= 0; i--) {
        unsigned char code = baseEncodedVal[(unsigned char)flowChars[i]];
        if (code != 255) seen |= baseBitVal[code];
        if (flowChars[i] == b) {
            maxSignal = std::max(maxSignal, (int)flowgram[i]);
            if (seen == 15) break;
        }
    }
    seen = 0;
    for (int i = f; i < numFlows; i++) {
        unsigned char code = baseEncodedVal[(unsigned char)flowChars[i]];
        if (code != 255) seen |= baseBitVal[code];
        if (flowChars[i] == b) {
            maxSignal = std::max(maxSignal, (int)flowgram[i]);
            if (seen == 15) break;
        }
    }
    return (int)(maxSignal / 100.0f + 0.5f);
}

int Sequence::getCafieScore_ORIG(int pos) const {
    checkPos(pos);
    int i = clipLeft + pos - 1;
    int last = clipLeft + length - 1;
    if (flowIndex.empty() || last >= (int)flowIndex.size()) return 0;
    int f = flowIndex[i];
    int before = 0;
    for (int j = i - 1; j >= clipLeft; j--) {
        int dist = f - flowIndex[j];
        if (dist == FLOW_CYCLE) {
            before++;
        } else if (dist > FLOW_CYCLE) {
            break;
        }
    }
    int after = 0;
    for (int j = i + 1; j <= last; j++) {
        int dist = flowIndex[j] - f;
        if (dist == FLOW_CYCLE) {
            after++;
        } else if (dist > FLOW_CYCLE) {
            break;
        }
    }
    return std::max(before, after);
}

void Sequence::getCafieScores_ORIG(std::vector<int>& list) const {
    list.assign(std::max(length, 0), 0);
    int last = clipLeft + length - 1;
    if (length <= 0 || flowIndex.empty() || last >= (int)flowIndex.size()) return;
    // Runs of (flow, bases called in it), in rising flow order.
    static threadstatic<std::vector<std::pair<int, int>>> runBuffers;
    std::vector<std::pair<int, int>>& runs = *runBuffers;
    runs.clear();
    for (int i = clipLeft; i <= last; i++) {
        if (!runs.empty() && runs.back().first == flowIndex[i]) {
            runs.back().second++;
        } else {
            runs.emplace_back(flowIndex[i], 1);
        }
    }
    size_t before = 0, after = 0;
    int numRuns = (int)runs.size();
    for (int p = 0; p < length; p++) {
        int f = flowIndex[clipLeft + p];
        int value = 0;
        while ((int)before < numRuns && runs[before].first < f - FLOW_CYCLE) before++;
        if ((int)before < numRuns && runs[before].first == f - FLOW_CYCLE) {
            value = runs[before].second;
        }
        while ((int)after < numRuns && runs[after].first < f + FLOW_CYCLE) after++;
        if ((int)after < numRuns && runs[after].first == f + FLOW_CYCLE) {
            value = std::max(value, runs[after].second);
        }
        list[p] = value;
    }
}

void Sequence::flip() {
    if (flipped) return;
    int n = rawLength();
    if (bases.seqlen > 0) {
        static threadstatic<stringbuffer> flipBuffers;
        stringbuffer& buf = *flipBuffers;
        buf.clear();
        bases.getSequence(buf, 0, bases.seqlen);
        SeqUtil::revcomplement(buf);
        bases.setSequence(buf.length(), buf.text(), false);
    }
    std::reverse(qualityScores, qualityScores + numQualityScores);
    std::reverse(flowIndex.begin(), flowIndex.end());
    int oldClipLeft = clipLeft;
    clipLeft = n - clipRight - 1;
    clipRight = n - oldClipLeft - 1;
    endNmerLeft = 0;
    endNmerRight = 0;
    flipped = true;
}
