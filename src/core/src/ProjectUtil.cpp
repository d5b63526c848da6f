#include "ProjectUtil.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "Util.h"

namespace {

// Longest line piece the sniffers look at; longer lines are read in pieces.
const size_t MAX_SNIFF_LINE = 10000;
const int MAX_FASTA_LINES = 500;
const int MAX_FASTQ_LINES = 1000;
// More high-bit bytes than this mark a binary file.
const int MAX_BAD_BYTES = 3;

// Reads one line piece of at most MAX_SNIFF_LINE - 1 bytes (newline kept), NUL
// bytes included; false at end of file.
bool readPiece(FILE* fp, std::string& line) {
    line.clear();
    int c;
    while (line.size() < MAX_SNIFF_LINE - 1 && (c = getc(fp)) != EOF) {
        line.push_back((char)c);
        if (c == '\n') break;
    }
    return !line.empty();
}

// True for an existing path that is not a directory.
bool isPlainFile(const char* path) {
    struct stat st;
    return path != nullptr && stat(path, &st) == 0 && !S_ISDIR(st.st_mode);
}

bool isBase(char c) {
    switch (c) {
        case 'A':
        case 'C':
        case 'G':
        case 'T':
        case 'N':
        case 'X':
        case 'a':
        case 'c':
        case 'g':
        case 't':
        case 'n':
        case 'x':
            return true;
        default:
            return false;
    }
}

// Counts the high-bit bytes of a line into bad; true while there are few enough.
bool countBadBytes(const std::string& line, int& bad) {
    for (char c : line) {
        if ((unsigned char)c & 0x80) {
            if (++bad > MAX_BAD_BYTES) return false;
        }
    }
    return true;
}

bool allDigits(const std::string& text, size_t from, size_t to) {
    if (from >= to) return false;
    for (size_t i = from; i < to; i++) {
        if (!isdigit((unsigned char)text[i])) return false;
    }
    return true;
}

// The header text after '@' without the line end.
std::string headerText(const std::string& line) {
    size_t end = line.size();
    while (end > 1 && (line[end - 1] == '\n' || line[end - 1] == '\r')) end--;
    return line.substr(1, end - 1);
}

}  // namespace

bool isColonReadName(const std::string& name) {
    size_t n = name.size();
    if (n < 3 || name[n - 2] != '/' || (name[n - 1] != '1' && name[n - 1] != '2')) return false;
    // Any '#' before the final "/x" may close the four ":digits" groups.
    for (size_t hash = 0; hash + 2 < n; hash++) {
        if (name[hash] != '#') continue;
        size_t end = hash;
        int groups = 0;
        while (groups < 4) {
            size_t start = end;
            while (start > 0 && isdigit((unsigned char)name[start - 1])) start--;
            if (start == end || start == 0 || name[start - 1] != ':') break;
            end = start - 1;
            groups++;
        }
        if (groups == 4) return true;
    }
    return false;
}

bool isLongReadName(const std::string& header) {
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        size_t colon = header.find(':', start);
        fields.push_back(
            header.substr(start, colon == std::string::npos ? std::string::npos : colon - start));
        if (colon == std::string::npos) break;
        start = colon + 1;
    }
    if (fields.size() < 3) return false;
    int blanks = 0;
    for (size_t i = 0; i < fields.size(); i++) {
        const std::string& field = fields[i];
        if (field.empty()) return false;
        size_t blank = field.find(' ');
        if (blank == std::string::npos) continue;
        // One blank, inside a field that is not the last one.
        if (i + 1 == fields.size() || blank == 0 || blank + 1 == field.size() ||
            field.find(' ', blank + 1) != std::string::npos) {
            return false;
        }
        blanks++;
    }
    const std::string& last = fields.back();
    return blanks == 1 && allDigits(last, 0, last.size());
}

bool isAccessionReadName(const std::string& name) {
    size_t n = name.size();
    if (n != 14 && n != 16) return false;
    if (!isalpha((unsigned char)name[0])) return false;
    for (char c : name) {
        if (!isalnum((unsigned char)c)) return false;
    }
    if (!allDigits(name, 7, 9)) return false;
    return n == 14 ? (name[9] >= 'A' && name[9] <= 'J') : name[9] == 'K';
}

bool isArchiveFileName(const std::string& fileName) {
    if (fileName.size() < 9 || fileName.compare(0, 3, "SRR") != 0 || !allDigits(fileName, 3, 9)) {
        return false;
    }
    std::string rest = fileName.substr(9);
    return rest == ".fastq" || rest == "_1.fastq" || rest == "_2.fastq";
}

bool checkFastaFile(const char* path) {
    if (!isPlainFile(path)) return false;
    FILE* fp = fopen(path, "r");
    if (fp == nullptr) return false;
    std::string line;
    int state = 0, bad = 0, bases = 0, lines = 0;
    while (bases == 0 && lines < MAX_FASTA_LINES && readPiece(fp, line)) {
        lines++;
        if (line[0] == '>') {
            if (state == 1) break;
            state = 1;
            continue;
        }
        if (!countBadBytes(line, bad)) {
            fclose(fp);
            return false;
        }
        if (state == 1) {
            for (char c : line) bases += isBase(c);
        }
    }
    fclose(fp);
    return bases > 0;
}

bool checkFastqFile(const char* path, bool& illuminaScores, int& accnoType,
                    std::string& firstName) {
    if (!isPlainFile(path)) return false;
    const char* slash = strrchr(path, '/');
    bool archiveNamed = isArchiveFileName(slash ? slash + 1 : path);
    FILE* fp = fopen(path, "r");
    if (fp == nullptr) return false;

    enum { HEADER, SEQUENCE, QUALITY } state = HEADER;
    std::string line;
    int lines = 0, bad = 0, headers = 0;
    long bases = 0, qualChars = 0, qualSum = 0, highQualChars = 0;
    // Name-form counts, by accnoType value: 1 accession, 2 colour, 3 colon, 4 long.
    int formCount[5] = {0, 0, 0, 0, 0};
    int colonAndLong = 0;
    bool haveName = false;
    while (lines < MAX_FASTQ_LINES && readPiece(fp, line)) {
        lines++;
        if (state == HEADER) {
            if (line[0] != '@') {
                if (!countBadBytes(line, bad)) break;
                continue;
            }
            headers++;
            std::string header = headerText(line);
            size_t white = 0;
            while (white < header.size() && !isspace((unsigned char)header[white])) white++;
            std::string name = header.substr(0, white);
            bool colon = isColonReadName(name);
            bool longForm = isLongReadName(header);
            formCount[1] += isAccessionReadName(name);
            formCount[3] += colon;
            formCount[4] += longForm;
            colonAndLong += colon && longForm;
            if (!haveName) {
                firstName = name;
                haveName = true;
            } else {
                size_t common = 0;
                while (common < firstName.size() && common < name.size() &&
                       firstName[common] == name[common]) {
                    common++;
                }
                firstName.resize(common);
            }
            state = SEQUENCE;
        } else if (state == SEQUENCE) {
            if (line[0] == '+') {
                state = QUALITY;
                continue;
            }
            if (line[0] == '@') continue;
            if (!countBadBytes(line, bad)) break;
            int lineBases = 0, colourMarks = 0;
            for (char c : line) {
                if (isBase(c)) {
                    lineBases++;
                } else if (c == '.' || (c >= '0' && c <= '3')) {
                    colourMarks++;
                }
            }
            bases += lineBases;
            if (lineBases == 1 && colourMarks >= 21) formCount[2]++;
        } else {
            if (!countBadBytes(line, bad)) break;
            for (char c : line) {
                if (!isgraph((unsigned char)c) || c == 'B') continue;
                qualChars++;
                qualSum += (unsigned char)c;
                if ((unsigned char)c >= 91) highQualChars++;
            }
            state = HEADER;
        }
    }
    fclose(fp);
    if (bad > MAX_BAD_BYTES || qualChars == 0 || bases == 0) return false;

    illuminaScores = highQualChars > 5 && (double)qualSum / qualChars > 63.0;
    if (archiveNamed) {
        accnoType = 0;
        for (int type = 1; type <= 4; type++) {
            bool aboveOthers = true;
            for (int other = 1; other <= 4; other++) {
                if (other != type && formCount[type] <= formCount[other]) aboveOthers = false;
            }
            if (aboveOthers && 2 * formCount[type] > headers) {
                accnoType = type;
                break;
            }
        }
    } else if (2 * formCount[3] > headers) {
        accnoType = 2 * colonAndLong >= formCount[3] ? 5 : 4;
    }
    return true;
}

std::string generateProjectName(std::string base) {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    char name[10000];
    snprintf(name, sizeof name, "P_%04d_%02d_%02d_%02d_%02d_%02d_%s", local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
             base.c_str());
    return name;
}

int linkRunRegionSffFiles(std::string& runPath, std::vector<std::pair<int, std::string>>& regions,
                          const std::string& linkDirectory) {
    std::string sffDir = runPath + "/sff";
    struct stat st;
    if (stat(sffDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return 0;
    DIR* dir = opendir(sffDir.c_str());
    if (dir == nullptr) die("Error: Cannot open the sff directory:  %s\n", sffDir.c_str());
    // Names in sorted order, so that the links and pairs come out the same on every run.
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (strlen(name) == 13 && strcmp(name + 9, ".sff") == 0 &&
            isdigit((unsigned char)name[7]) && isdigit((unsigned char)name[8])) {
            names.push_back(name);
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());

    bool allRegions = regions.empty();
    int count = 0;
    for (const std::string& name : names) {
        int region = (name[7] - '0') * 10 + (name[8] - '0');
        std::pair<int, std::string>* slot = nullptr;
        if (!allRegions) {
            for (auto& pair : regions) {
                if (pair.first == region) {
                    slot = &pair;
                    break;
                }
            }
            if (slot == nullptr) continue;
        }
        std::string link = linkDirectory + "/" + name;
        std::string target = sffDir + "/" + name;
        unlink(link.c_str());
        if (symlink(target.c_str(), link.c_str()) != 0) {
            die("Error:  Unable to link existing SFF files.\n");
        }
        if (slot != nullptr) {
            slot->second = name;
        } else {
            regions.push_back(std::make_pair(region, name));
        }
        count++;
    }
    return count;
}
