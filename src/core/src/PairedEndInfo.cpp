#include "PairedEndInfo.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "SeqCache.h"
#include "Util.h"

namespace {

const char* const TYPE_NAMES[] = {"Default", "SFF", "IllPairedEnd", "IllMatePair"};

const int SHORT_LIMIT = 50000;
const int MAX_DISTANCE = 499999;

// Parses "1,2,3" (or "") into ids; false on anything but digits and commas.
bool parseIdList(const char* text, std::vector<int>& ids) {
    ids.clear();
    const char* p = text;
    while (*p) {
        if (*p < '0' || *p > '9') return false;
        char* end;
        long v = strtol(p, &end, 10);
        if (v > 0x7FFFFFFF) return false;
        ids.push_back((int)v);
        p = end;
        if (*p == ',') {
            p++;
            if (!*p) return false;
        } else if (*p) {
            return false;
        }
    }
    return true;
}

void chomp(char* line) {
    size_t n = strlen(line);
    while (n > 0 && (line[n - 1] == '\n' || line[n - 1] == '\r')) line[--n] = 0;
}

}  // namespace

const char* libraryTypeName(int type) {
    if (type < 0 || type > 3) {
        ASSERT(false);
        return "";
    }
    return TYPE_NAMES[type];
}

// ---------------------------------------------------------------------------
// PairedEndLibrary

void PairedEndLibrary::computeStats() {
    double sum = 0, count = 0;
    double mean = 0, var = 0;
    int med = 0;
    if (numLongDistances > numShortDistances) {
        for (int i = 0; i < PAIR_NUM_BINS; i++) {
            count += longBins[i];
            sum += (double)longBins[i] * (50500.0 + 1000.0 * i);
        }
        if (count == 0) return;
        mean = sum / count;
        for (int i = 0; i < PAIR_NUM_BINS; i++) {
            double d = 50500.0 + 1000.0 * i - mean;
            var += longBins[i] * d * d;
        }
        var /= count;
        int running = 0;
        for (int i = 0; i < PAIR_NUM_BINS; i++) {
            running += longBins[i];
            if (2 * running >= numLongDistances) {
                med = i * 1000 + 50500;
                break;
            }
        }
    } else {
        // The densest stretch of bins i/2 .. 2i, found through prefix sums.
        int prefix[PAIR_NUM_BINS + 1];
        prefix[0] = 0;
        for (int i = 0; i < PAIR_NUM_BINS; i++) prefix[i + 1] = prefix[i] + shortBins[i];
        int bestLo = 0, bestHi = PAIR_NUM_BINS - 1, best = -1;
        for (int i = 0; i < PAIR_NUM_BINS; i++) {
            int lo = i / 2, hi = std::min(2 * i, PAIR_NUM_BINS - 1);
            int c = prefix[hi + 1] - prefix[lo];
            if (c > best) {
                best = c;
                bestLo = lo;
                bestHi = hi;
            }
        }
        if (2 * best < numShortDistances) {
            bestLo = 0;
            bestHi = PAIR_NUM_BINS - 1;
        }
        for (int i = bestLo; i <= bestHi; i++) {
            count += shortBins[i];
            sum += (double)shortBins[i] * (100.0 * i + 50);
        }
        if (count == 0) return;
        mean = sum / count;
        for (int i = bestLo; i <= bestHi; i++) {
            double d = 100.0 * i + 50 - mean;
            var += shortBins[i] * d * d;
        }
        var /= count;
        int running = 0;
        for (int i = bestLo; i <= bestHi; i++) {
            running += shortBins[i];
            if (2 * running >= count) {
                med = i * 100 + 50;
                break;
            }
        }
    }
    meanDistance = (float)mean;
    median = med;
    if (count > 7) {
        double sd = sqrt(var);
        if (sd < mean / 4) sd = mean / 4;
        if (sd > mean) sd = mean;
        stdDev = (float)sd;
        minDistance = (int)(mean * 0.5);
        maxDistance = (int)(mean + 2 * sd);
    } else {
        stdDev = (float)(mean * 0.5);
        minDistance = (int)(mean * 0.5);
        maxDistance = 2 * (int)mean;
        if (maxDistance < 2000) maxDistance = 2000;
    }
}

// ---------------------------------------------------------------------------
// PairedEndLogLibrary

void PairedEndLogLibrary::setTrimPoints() {
    std::sort(distances.begin(), distances.end());
    int n = (int)distances.size();
    trimStart = n / 10;
    trimEnd = n - n / 10 - 1;
    double sum = 0;
    int cnt = 0;
    for (int i = trimStart; i <= trimEnd; i++, cnt++) sum += distances[i];
    mean = cnt ? sum / cnt : 0;
    double var = 0;
    for (int i = trimStart; i <= trimEnd; i++) var += (distances[i] - mean) * (distances[i] - mean);
    sd = cnt ? sqrt(var / cnt) : 0;
}

void PairedEndLogLibrary::setABPoints() {
    int n = (int)distances.size();
    aPoint = trimStart;
    bPoint = trimEnd;
    for (int i = 0; i < n; i++) {
        if (distances[i] > mean - 4 * sd) {
            aPoint = i;
            break;
        }
    }
    for (int i = n - 1; i >= 0; i--) {
        if (distances[i] < mean + 4 * sd) {
            bPoint = i;
            break;
        }
    }
}

void PairedEndLogLibrary::calculateAll() {
    setTrimPoints();
    setABPoints();
}

double PairedEndLogLibrary::getMeanABBaseDist() const {
    if (aPoint < 0 || bPoint < aPoint || bPoint >= (int)distances.size()) return 0;
    return distances[bPoint] - distances[aPoint];
}

// ---------------------------------------------------------------------------
// PairedEndInfo

PairedEndInfo::PairedEndInfo() { templates.reserve(10000); }

int PairedEndInfo::addLibrary(const std::string& name, int type) {
    int id = getLibraryId(name);
    if (id != -2) return id;
    libraryTypeName(type);  // asserts on an unknown type
    PairedEndLibrary lib;
    lib.name = name;
    lib.type = (LibraryType)type;
    libraries.push_back(lib);
    id = (int)libraries.size() - 1;
    if (type == (int)LibraryType::IllPairedEnd) {
        PairedEndLibrary mate;
        mate.name = name + "_matepair";
        mate.type = LibraryType::IllMatePair;
        mate.otherLibraryId = id;
        libraries.push_back(mate);
        libraries[id].otherLibraryId = (int)libraries.size() - 1;
    }
    return id;
}

int PairedEndInfo::getLibraryId(const std::string& name) const {
    for (size_t i = 0; i < libraries.size(); i++)
        if (libraries[i].name == name) return (int)i;
    return -2;
}

int PairedEndInfo::getLibraryId(int seqId) const {
    auto it = seqIdToTemplate.find(seqId);
    if (it == seqIdToTemplate.end()) return -2;
    return templates[it->second].libraryId;
}

int PairedEndInfo::setSeqInfo(int seqId, const std::string& templateName, char dir,
                              const std::string& library) {
    int libId = -2;
    if (!library.empty()) {
        libId = getLibraryId(library);
        if (libId == -2) libId = addLibrary(library, (int)LibraryType::Default);
    }
    int t;
    auto it = templateNames.find(templateName);
    if (it == templateNames.end()) {
        PairedEndTemplate tpl;
        tpl.name = templateName;
        tpl.libraryId = libId;
        tpl.isForwardFirst = dir == 'F';
        templates.push_back(tpl);
        t = (int)templates.size() - 1;
        templateNames[templateName] = t;
    } else {
        t = it->second;
    }
    PairedEndTemplate& tpl = templates[t];
    if (tpl.libraryId == -2) tpl.libraryId = libId;
    seqIdToTemplate[seqId] = t;
    bool forward = dir == 'F';
    std::vector<int>& mine = forward ? tpl.forwardIds : tpl.reverseIds;
    std::vector<int>& other = forward ? tpl.reverseIds : tpl.forwardIds;
    bool completes = mine.empty() && !other.empty();
    mine.push_back(seqId);
    if (!completes) return 0;
    tpl.hasPair = true;
    return forward ? 1 : 2;
}

int PairedEndInfo::getPairOtherId(int seqId) const {
    auto it = seqIdToTemplate.find(seqId);
    if (it == seqIdToTemplate.end()) return -2;
    const PairedEndTemplate& tpl = templates[it->second];
    if (!tpl.hasPair || tpl.forwardIds.empty() || tpl.reverseIds.empty()) return -2;
    for (int id : tpl.forwardIds)
        if (id == seqId) return tpl.reverseIds[0];
    return tpl.forwardIds[0];
}

bool PairedEndInfo::getPairTemplate(int seqId, std::string& buffer) const {
    auto it = seqIdToTemplate.find(seqId);
    if (it == seqIdToTemplate.end()) return false;
    buffer = templates[it->second].name;
    return true;
}

void PairedEndInfo::addPairDistance(int libraryId, int seqId, int distance) {
    (void)seqId;
    ASSERT(distance >= 0);
    // clang-format off
    ASSERT(libraryId >= 0 && libraryId < (int) libraries.size());
    // clang-format on
    if (distance > MAX_DISTANCE) return;
    PairedEndLibrary& lib = libraries[libraryId];
    lib.numDistances++;
    if (distance < SHORT_LIMIT) {
        lib.numShortDistances++;
        // Distances 49,950..49,999 fall in bin 500, the first of the long bins.
        lib.bin((distance + 50) / 100)++;
    } else {
        lib.numLongDistances++;
        lib.longBins[(distance - 49500) / 1000]++;
    }
    lib.computeStats();
}

void PairedEndInfo::clearLibraryDistances() {
    for (PairedEndLibrary& lib : libraries) {
        lib.numDistances = lib.numShortDistances = lib.numLongDistances = 0;
        memset(lib.shortBins, 0, sizeof lib.shortBins);
        memset(lib.longBins, 0, sizeof lib.longBins);
        lib.minDistance = lib.maxDistance = lib.median = 0;
        lib.meanDistance = lib.stdDev = 0;
    }
}

void PairedEndInfo::setOtherIds(SeqCache* cache) {
    for (const PairedEndTemplate& tpl : templates) {
        if (!tpl.hasPair) continue;
        for (int seqId : tpl.forwardIds) {
            bool isPairedRead = (cache->getFlags(seqId) &
                                 (SCM_LEFT_HALF | SCM_RIGHT_HALF | SCM_TEMPLATE_PAIR)) != 0;
            ASSERT(isPairedRead);
            int otherId = getPairOtherId(seqId);
            ASSERT(otherId != INTNULL);
            int libId = getLibraryId(seqId);
            int otherLibId = getLibraryId(otherId);
            ASSERT(otherLibId != INTNULL);
            if (libId >= 0 && otherLibId != libId) {
                libraries[libId].otherLibraryId = otherLibId;
                libraries[otherLibId].otherLibraryId = libId;
            }
        }
    }
}

void PairedEndInfo::removeSequences(const std::vector<std::pair<int, bool>>& seqIdMap) {
    seqIdToTemplate.clear();
    auto remap = [&](std::vector<int>& ids) {
        size_t out = 0;
        for (int id : ids) {
            if (id < 0 || id >= (int)seqIdMap.size() || !seqIdMap[id].second) continue;
            ids[out++] = seqIdMap[id].first;
        }
        ids.resize(out);
    };
    for (size_t t = 0; t < templates.size(); t++) {
        PairedEndTemplate& tpl = templates[t];
        remap(tpl.forwardIds);
        remap(tpl.reverseIds);
        if (tpl.forwardIds.empty() || tpl.reverseIds.empty()) tpl.hasPair = false;
        for (int id : tpl.forwardIds) seqIdToTemplate[id] = (int)t;
        for (int id : tpl.reverseIds) seqIdToTemplate[id] = (int)t;
    }
}

void PairedEndInfo::writeMetadata(const std::string& path) {
    FILE* fp = fopen(path.c_str(), "w");
    if (!fp) {
        die("Error:  Cannot write project state files.\n");
        return;
    }
    fprintf(fp, "Version:\t1.1\n");
    for (size_t l = 0; l < libraries.size(); l++) {
        const PairedEndLibrary& lib = libraries[l];
        fprintf(fp, "%s\t%s\t%d\n", lib.name.c_str(), libraryTypeName((int)lib.type),
                lib.otherLibraryId);
        for (const PairedEndTemplate& tpl : templates) {
            if (tpl.libraryId != (int)l) continue;
            fprintf(fp, "\t%s\t", tpl.name.c_str());
            for (size_t i = 0; i < tpl.forwardIds.size(); i++)
                fprintf(fp, i ? ",%d" : "%d", tpl.forwardIds[i]);
            fprintf(fp, "\t");
            for (size_t i = 0; i < tpl.reverseIds.size(); i++)
                fprintf(fp, i ? ",%d" : "%d", tpl.reverseIds[i]);
            fprintf(fp, "\n");
        }
    }
    if (fclose(fp) != 0) die("Error:  Cannot write project state files.\n");
}

void PairedEndInfo::readMetadata(const std::string& path) {
    FILE* fp = fopen(path.c_str(), "r");
    if (!fp) return;
    static char line[10000];
    static char libLine[10000];
    libLine[0] = 0;
    int libId = -2;
    while (fgets(line, sizeof line, fp)) {
        chomp(line);
        if (!line[0]) continue;
        if (strncmp(line, "Version:", 8) == 0) continue;
        if (line[0] != '\t') {
            // Library line: name, type word, partner id.
            char* tab1 = strchr(line, '\t');
            if (!tab1) {
                fclose(fp);
                die("Error:  Invalid format of project state files.\n");
                return;
            }
            char* tab2 = strchr(tab1 + 1, '\t');
            std::string typeWord = tab2 ? std::string(tab1 + 1, tab2 - tab1 - 1) : tab1 + 1;
            int type = -1;
            for (int t = 0; t < 4; t++)
                if (typeWord == TYPE_NAMES[t]) type = t;
            if (type < 0) {
                fclose(fp);
                die("Error:  Invalid format of project state files.\n");
                return;
            }
            int other = -2;
            if (type == (int)LibraryType::IllPairedEnd) {
                if (sscanf(tab1, "\tIllPairedEnd\t%d", &other) != 1) other = -2;
            } else if (tab2 && sscanf(tab2 + 1, "%d", &other) != 1) {
                other = -2;
            }
            PairedEndLibrary lib;
            lib.name.assign(line, tab1 - line);
            lib.type = (LibraryType)type;
            lib.otherLibraryId = other;
            libraries.push_back(lib);
            libId = (int)libraries.size() - 1;
            snprintf(libLine, sizeof libLine, "%s", line);
            continue;
        }
        // Template line: "\tname\tforward ids\treverse ids".
        char* nameStart = line + 1;
        char* tab1 = strchr(nameStart, '\t');
        char* tab2 = tab1 ? strchr(tab1 + 1, '\t') : nullptr;
        std::vector<int> fwd, rev;
        bool ok = libId >= 0 && tab1 && tab2 && tab1 > nameStart;
        if (ok) {
            *tab1 = 0;
            *tab2 = 0;
            ok = parseIdList(tab1 + 1, fwd) && parseIdList(tab2 + 1, rev);
            *tab1 = '\t';
            *tab2 = '\t';
        }
        if (!ok) {
            fclose(fp);
            die("Error:  Invalid format of project state files.\n'%s'\n'%s'\n", libLine, line);
            return;
        }
        PairedEndTemplate tpl;
        tpl.name.assign(nameStart, tab1 - nameStart);
        tpl.libraryId = libId;
        tpl.forwardIds = fwd;
        tpl.reverseIds = rev;
        tpl.hasPair = !fwd.empty() && !rev.empty();
        int t = (int)templates.size();
        templates.push_back(tpl);
        templateNames[tpl.name] = t;
        for (int id : fwd) seqIdToTemplate[id] = t;
        for (int id : rev) seqIdToTemplate[id] = t;
    }
    fclose(fp);
}

void PairedEndInfo::print() {
    for (const PairedEndLibrary& lib : libraries)
        printf("Library %s:  (%s)\n", lib.name.c_str(), libraryTypeName((int)lib.type));
}

void PairedEndInfo::printDist(FILE* fp) {
    for (PairedEndLibrary& lib : libraries) {
        int used = 0;
        for (int i = 0; i < PAIR_NUM_BINS; i++) used += lib.shortBins[i] + lib.longBins[i];
        fprintf(fp,
                "Library %s:   %d pairs, %d pairs used, %.1f avgdist, %.1f stddev, range %d..%d\n",
                lib.name.c_str(), lib.numPairs, used, lib.meanDistance, lib.stdDev, lib.minDistance,
                lib.maxDistance);
        for (int i = 0; i < PAIR_NUM_BINS; i++)
            if (lib.shortBins[i]) fprintf(fp, "   %5d:  %d\n", i * 100 + 50, lib.shortBins[i]);
        for (int i = 0; i < PAIR_NUM_BINS; i++)
            if (lib.longBins[i]) fprintf(fp, "   %5d:  %d\n", 50500 + i * 1000, lib.longBins[i]);
    }
}
