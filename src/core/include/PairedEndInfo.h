// Paired-end libraries of a project: distance statistics that tell true pairs
// from false ones, and the templates that join reads lying apart.
#pragma once

#include <cstdio>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

class SeqCache;

// Kind of a library; its word form is what .PairMetadata holds.
enum class LibraryType : int { Default = 0, SFF = 1, IllPairedEnd = 2, IllMatePair = 3 };

// The word of a library type ("Default", "SFF", "IllPairedEnd", "IllMatePair").
const char* libraryTypeName(int type);

constexpr int PAIR_NUM_BINS = 500;

class PairedEndLibrary {
public:
    std::string name;
    LibraryType type = LibraryType::Default;
    int numPairs = 0;
    int numDistances = 0;
    int numShortDistances = 0;
    int numLongDistances = 0;
    int shortBins[PAIR_NUM_BINS] = {};
    int longBins[PAIR_NUM_BINS] = {};
    int minDistance = 0;
    int maxDistance = 0;
    float meanDistance = 0;
    int median = 0;
    float stdDev = 0;
    int otherLibraryId = -2;

    // Bin i of the short bins followed by the long bins, as one run of 1000.
    int& bin(int i) { return i < PAIR_NUM_BINS ? shortBins[i] : longBins[i - PAIR_NUM_BINS]; }
    // Recomputes mean, median, deviation and the true-pair range from the bins.
    void computeStats();
};

class PairedEndTemplate {
public:
    std::string name;
    int libraryId = -2;
    bool hasPair = false;
    std::vector<int> forwardIds;
    std::vector<int> reverseIds;
    int refId = -2;
    int refStart = 0;
    int refEnd = 0;
    bool isForwardFirst = true;
    bool flag1 = false;
    bool flag2 = false;
};

// Log-scale distances of a sample, to fit a library's range.
class PairedEndLogLibrary {
public:
    std::vector<double> distances;
    double mean = 0;
    double sd = 0;
    int trimStart = 0;
    int trimEnd = -1;
    int aPoint = 0;
    int bPoint = -1;

    // Appends one (log-scale) distance.
    void addPairDistance(double d) { distances.push_back(d); }
    // Sorts, drops a tenth at each end, and averages the rest.
    void setTrimPoints();
    // Marks the first value above mean - 4 sd and the last below mean + 4 sd.
    void setABPoints();
    // Both of the above.
    void calculateAll();
    // Distance between the two marks, in the log scale.
    double getMeanABBaseDist() const;
};

class PairedEndInfo {
public:
    std::vector<PairedEndLibrary> libraries;
    std::vector<PairedEndTemplate> templates;
    std::vector<int> templateAux;
    std::map<int, int> seqIdToTemplate;
    std::map<std::string, int> templateNames;
    std::deque<std::pair<int, int>> pairs;

    PairedEndInfo();

    // Id of the library of that name; appends it (and a mate-pair partner for
    // type 2) when new.
    int addLibrary(const std::string& name, int type);
    // -2 when unknown.
    int getLibraryId(const std::string& name) const;
    int getLibraryId(int seqId) const;
    // Records a read under its template; 1 or 2 when it completes a pair as
    // the forward or reverse half, else 0.
    int setSeqInfo(int seqId, const std::string& templateName, char dir,
                   const std::string& library);
    // The other read of the read's template, or -2.
    int getPairOtherId(int seqId) const;
    // The template name of the read into buffer; false when it has none.
    bool getPairTemplate(int seqId, std::string& buffer) const;
    // Adds one distance to a library and recomputes its statistics.
    void addPairDistance(int libraryId, int seqId, int distance);
    // Zeroes all bins and counts.
    void clearLibraryDistances();
    // Links each library with the library of its reads' partners.
    void setOtherIds(SeqCache* cache);
    // Renumbers template reads after files are removed (old id -> new id, kept).
    void removeSequences(const std::vector<std::pair<int, bool>>& seqIdMap);
    // Writes .PairMetadata.
    void writeMetadata(const std::string& path);
    // Reads .PairMetadata; a missing file leaves the object empty.
    void readMetadata(const std::string& path);
    // Prints each library's name and type.
    void print();
    // Prints each library's statistics and its non-empty bins.
    void printDist(FILE* fp);
};
