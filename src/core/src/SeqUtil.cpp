// Nucleotide tables, complement and validity checks, hashing and translation.
#include "SeqUtil.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "Util.h"
#include "threadstatic.h"

char revcomp[256];
unsigned char isIUBChar[256];
unsigned char baseEncodedVal[256];
int baseBitVal[4] = {1, 2, 4, 8};
const char* dnaLetters = "AaCcGgTtNn";

AminoAcid aaTable[64];
const AminoAcid aaUnknown = {"Unknown Amino Acid", "Xaa", "X"};

namespace {

bool tablesBuilt = false;

// Amino acids by one-letter code, for filling the genetic code from letters.
const AminoAcid aminoAcids[] = {
    {"Alanine", "Ala", "A"},
    {"Arginine", "Arg", "R"},
    {"Asparagine", "Asn", "N"},
    {"Aspartic Acid", "Asp", "D"},
    {"Cysteine", "Cys", "C"},
    {"Glutamine", "Gln", "Q"},
    {"Glutamic Acid", "Glu", "E"},
    {"Glycine", "Gly", "G"},
    {"Histidine", "His", "H"},
    {"Isoleucine", "Ile", "I"},
    {"Leucine", "Leu", "L"},
    {"Lysine", "Lys", "K"},
    {"Methionine", "Met", "M"},
    {"Phenylalanine", "Phe", "F"},
    {"Proline", "Pro", "P"},
    {"Serine", "Ser", "S"},
    {"Threonine", "Thr", "T"},
    {"Tryptophan", "Trp", "W"},
    {"Tyrosine", "Tyr", "Y"},
    {"Valine", "Val", "V"},
    {"Stop Codon", "Term", "*"},
    {"Selenocysteine", "Sec", "U"},
    {"Pyrrolysine", "Pyl", "O"},
    {"Asparagine or Aspartic Acid", "Asx", "B"},
    {"Glutamine or Glutamic Acid", "Glx", "Z"},
    {"Leucine or Isoleucine", "Xle", "J"},
};

const char* NCBI_LETTERS = "FLSYCWPHQRIMTNKVADEG*BZJOU";
// Bases in the order the NCBI tables walk each codon position.
const char* NCBI_BASES = "TCAG";
// The standard code in NCBI order, with TGA read as selenocysteine.
const char* STANDARD_CODE = "FFLLSSSSYY**CCUWLLLLPPPPHHQQRRRRIIIMTTTTNNKKSSRRVVVVAAAADDEEGGGG";

const AminoAcid* aminoAcidOf(char letter) {
    for (const AminoAcid& aa : aminoAcids) {
        if (aa.code[0] == letter) return &aa;
    }
    return nullptr;
}

int codonIndex(char b0, char b1, char b2) {
    return baseEncodedVal[(unsigned char)b0] | (baseEncodedVal[(unsigned char)b1] << 2) |
           (baseEncodedVal[(unsigned char)b2] << 4);
}

// Fills aaTable from a 64-letter table already checked by isGeneticCodeNCBI.
void applyNCBI(const char* code) {
    int pos = 0;
    for (int i = 0; i < 4; i++) {
        for (int j = 0; j < 4; j++) {
            for (int k = 0; k < 4; k++) {
                ASSERT(pos < 64);
                int idx = codonIndex(NCBI_BASES[i], NCBI_BASES[j], NCBI_BASES[k]);
                const AminoAcid* aa = aminoAcidOf(code[pos]);
                aaTable[idx] = aa ? *aa : aaUnknown;
                pos++;
            }
        }
    }
}

// The table entry of a codon, or aaUnknown's for a short text or a non-ACGT base.
const AminoAcid& lookupCodon(const char* codon) {
    SeqUtil::doStaticInit();
    if (codon == nullptr || codon[0] == 0 || codon[1] == 0 || codon[2] == 0) return aaUnknown;
    for (int i = 0; i < 3; i++) {
        if (baseEncodedVal[(unsigned char)codon[i]] == 255) return aaUnknown;
    }
    return aaTable[codonIndex(codon[0], codon[1], codon[2])];
}

}  // namespace

void SeqUtil::doStaticInit() {
    if (tablesBuilt) return;
    for (int i = 0; i < 256; i++) {
        revcomp[i] = '*';
        isIUBChar[i] = 0;
        baseEncodedVal[i] = 255;
    }
    const char* pairs[] = {"AT", "CG", "RY", "MK", "BV", "DH"};
    for (const char* p : pairs) {
        for (int lower = 0; lower < 2; lower++) {
            unsigned char a = lower ? tolower(p[0]) : p[0];
            unsigned char b = lower ? tolower(p[1]) : p[1];
            revcomp[a] = b;
            revcomp[b] = a;
            isIUBChar[a] = isIUBChar[b] = 1;
        }
    }
    for (const char* s = "SWNXswnx-."; *s; s++) {
        revcomp[(unsigned char)*s] = *s;
        isIUBChar[(unsigned char)*s] = 1;
    }
    revcomp[(unsigned char)'U'] = 'A';
    revcomp[(unsigned char)'u'] = 'a';
    isIUBChar[(unsigned char)'U'] = isIUBChar[(unsigned char)'u'] = 1;
    revcomp[(unsigned char)'/'] = '/';
    const char* codes = "ATCG";
    for (int i = 0; i < 4; i++) {
        baseEncodedVal[(unsigned char)codes[i]] = i;
        baseEncodedVal[(unsigned char)tolower(codes[i])] = i;
    }
    tablesBuilt = true;
    initGeneticCode();
}

void initGeneticCode() {
    SeqUtil::doStaticInit();
    applyNCBI(STANDARD_CODE);
}

const char* aaName(const char* codon) { return lookupCodon(codon).name; }

const char* aaAbriv(const char* codon) { return lookupCodon(codon).abriv; }

char aaCode(const char* codon) { return lookupCodon(codon).code[0]; }

bool dna2aa(const stringbuffer& seq, stringbuffer& out, int start, int end, char strand, char frame,
            bool spaced) {
    SeqUtil::doStaticInit();
    if (!(start < end) || strand < 0 || strand >= 2 || frame < 0 || frame >= 3) return false;
    if (start < 0 || end >= seq.length()) return false;
    const char* text = seq.text();
    static threadstatic<stringbuffer> revBufs;
    if (strand == 1) {
        stringbuffer& revBuf = *revBufs;
        revBuf.assign(seq);
        SeqUtil::revcomplement(revBuf);
        text = revBuf.text();
        int len = seq.length();
        int newStart = len - end - 1;
        end = len - start - 1;
        start = newStart;
    }
    int stretch = end - start + 1;
    int pos = start + frame;
    if (pos + 2 > end) return false;
    out.clear();
    if (spaced) {
        for (int i = 0; i < frame; i++) out.append(' ');
    }
    for (; pos + 2 <= end; pos += 3) {
        out.append(aaCode(text + pos));
        if (spaced && pos + 3 <= end) out.append("  ", 2);
    }
    if (spaced) {
        while (out.length() < stretch) out.append(' ');
        if (strand == 1) {
            char* o = out.text();
            for (int i = 0, j = out.length() - 1; i < j; i++, j--) std::swap(o[i], o[j]);
        }
    }
    return true;
}

std::string dna2aa(const std::string& seq) {
    std::string out;
    for (size_t pos = 0; pos + 3 <= seq.size(); pos += 3) out += aaCode(seq.c_str() + pos);
    return out;
}

int base2codonBasePos(int pos, int start, int end, char strand, char frame) {
    if (start > end || pos < start || pos > end || strand < 0 || strand > 1 || frame < 0 ||
        frame > 2) {
        return -2;
    }
    int dist = strand == 0 ? pos - (start + frame) : (end - frame) - pos;
    if (dist < 0) return -2;
    return dist % 3;
}

void SeqUtil::revcomplement(stringbuffer& seq) {
    doStaticInit();
    char* s = seq.text();
    int i = 0, j = seq.length() - 1;
    for (; i < j; i++, j--) {
        char c = s[i];
        s[i] = revcomp[(unsigned char)s[j]];
        s[j] = revcomp[(unsigned char)c];
    }
    if (i == j) s[i] = revcomp[(unsigned char)s[i]];
}

void SeqUtil::complement(stringbuffer& seq) {
    doStaticInit();
    char* s = seq.text();
    for (int i = 0; i < seq.length(); i++) s[i] = revcomp[(unsigned char)s[i]];
}

void SeqUtil::revcompString(std::string& seq) {
    doStaticInit();
    int i = 0, j = (int)seq.size() - 1;
    for (; i < j; i++, j--) {
        char c = seq[i];
        seq[i] = revcomp[(unsigned char)seq[j]];
        seq[j] = revcomp[(unsigned char)c];
    }
    if (i == j) seq[i] = revcomp[(unsigned char)seq[i]];
}

std::string SeqUtil::reverseComplement(const std::string& seq) {
    std::string out(seq);
    revcompString(out);
    return out;
}

void SeqUtil::complement(std::string& seq) {
    doStaticInit();
    for (char& c : seq) c = revcomp[(unsigned char)c];
}

void SeqUtil::reverse(std::string& seq) {
    for (int i = 0, j = (int)seq.size() - 1; i < j; i++, j--) std::swap(seq[i], seq[j]);
}

bool SeqUtil::checkDnaSeq(const std::string& seq) {
    doStaticInit();
    for (size_t i = 0; i < seq.size(); i++) {
        if (!isIUBChar[(unsigned char)seq[i]]) {
            printf("Error:  SeqUtil::checkDnaSeq : non-IUB char: (%c) at position %d .\n", seq[i],
                   (int)i);
            return false;
        }
    }
    return true;
}

bool SeqUtil::isDna(const std::string& seq) {
    for (char c : seq) {
        if (c == 0 || strchr(dnaLetters, c) == nullptr) return false;
    }
    return true;
}

bool SeqUtil::isDna(const char* seq) { return isDna(std::string(seq ? seq : "")); }

int SeqUtil::countBases(const char* seq, int length) {
    int n = 0;
    for (int i = 0; i < length; i++) {
        if (seq[i] != '-') n++;
    }
    return n;
}

int SeqUtil::countBases(const std::string& seq) { return countBases(seq.data(), (int)seq.size()); }

int SeqUtil::countBases(const stringbuffer& seq) { return countBases(seq.text(), seq.length()); }

std::string SeqUtil::cleanDnaSeq(const std::string& seq) {
    std::string out;
    out.reserve(seq.size());
    for (char c : seq) {
        if (!isspace((unsigned char)c)) out += c;
    }
    return out;
}

std::string SeqUtil::formatSeq(const std::string& seq, int width) {
    if (width <= 0) width = 60;
    std::string out;
    for (size_t i = 0; i < seq.size(); i += width) {
        out.append(seq, i, width);
        out += '\n';
    }
    return out;
}

int SeqUtil::charToThreeBits(char c) {
    static int table[256];
    static bool built = false;
    if (!built) {
        for (int i = 0; i < 256; i++) table[i] = isalpha(i) ? 4 : 6;
        const char* codes = "ACGT";
        for (int i = 0; i < 4; i++) {
            table[(unsigned char)codes[i]] = i;
            table[tolower(codes[i])] = i;
        }
        table[(unsigned char)'-'] = 5;
        built = true;
    }
    return table[(unsigned char)c];
}

char SeqUtil::threeBitsToChar(int code) {
    static const char chars[] = "ACGTN-*";
    if (code < 0 || code > 6) {
        ASSERT(false);
        return '*';
    }
    return chars[code];
}

uint64_t SeqUtil::getHash64(const stringbuffer& seq, int pos, int len, int strand) {
    doStaticInit();
    if (len == 0) len = seq.length();
    ASSERT((strand == 0 && pos + len - 1 < seq.length()) || (strand == 1 && pos - len + 1 >= 0));
    uint64_t hash = 5381;
    if (len <= 0) return hash;
    const char* s = seq.text();
    if (strand == 0) {
        ASSERT(pos >= 0);
        for (int i = 0; i < len; i++) hash = (hash * 33) ^ (unsigned char)s[pos + i];
    } else {
        ASSERT(pos < seq.length());
        for (int i = 0; i < len; i++) {
            hash = (hash * 33) ^ (unsigned char)revcomp[(unsigned char)s[pos - i]];
        }
    }
    return hash;
}

int SeqUtil::hpLen2Val(int hpLen) { return hpLen == 1 ? 0 : 1; }

int SeqUtil::getBit(int value, int bit) { return (value >> bit) & 1; }

bool SeqUtil::isGeneticCodeNCBI(const char* code) {
    if (code == nullptr || strlen(code) != 64) return false;
    for (int i = 0; i < 64; i++) {
        if (strchr(NCBI_LETTERS, code[i]) == nullptr) return false;
    }
    return true;
}

bool SeqUtil::setGeneticCodeNCBI(const char* code) {
    doStaticInit();
    if (!isGeneticCodeNCBI(code)) return false;
    applyNCBI(code);
    return true;
}

// The file holds either one line with a 64-letter NCBI table (optionally after
// "AAs =" or "AAs="), or one line per codon: the three bases, white space and
// the one-letter code. Blank lines and lines starting with '#' are skipped.
int SeqUtil::setGeneticCodeFromFile(const char* path) {
    doStaticInit();
    FILE* fp = path ? fopen(path, "r") : nullptr;
    if (fp == nullptr) return -3;
    AminoAcid table[64];
    bool seen[64] = {false};
    int numSeen = 0;
    bool ncbiDone = false;
    std::string ncbiCode;
    stringbuffer line(256);
    int result = 0;
    while (line.getline(fp)) {
        std::string text = cleanDnaSeq(line.str());
        if (text.empty() || text[0] == '#') continue;
        if (text.compare(0, 4, "AAs=") == 0) text = text.substr(4);
        if (text.size() == 64) {
            if (!isGeneticCodeNCBI(text.c_str()) || ncbiDone || numSeen > 0) {
                result = -4;
                break;
            }
            ncbiDone = true;
            ncbiCode = text;
            continue;
        }
        if (text.size() != 4 || ncbiDone) {
            result = -4;
            break;
        }
        bool basesOk = true;
        for (int i = 0; i < 3; i++) {
            if (baseEncodedVal[(unsigned char)text[i]] == 255) basesOk = false;
        }
        const AminoAcid* aa = aminoAcidOf(text[3]);
        if (!basesOk || aa == nullptr) {
            result = -4;
            break;
        }
        int idx = codonIndex(text[0], text[1], text[2]);
        if (seen[idx]) {
            result = -4;
            break;
        }
        seen[idx] = true;
        table[idx] = *aa;
        numSeen++;
    }
    fclose(fp);
    if (result != 0) return result;
    if (ncbiDone) {
        applyNCBI(ncbiCode.c_str());
        return 0;
    }
    if (numSeen != 64) return -5;
    for (int i = 0; i < 64; i++) aaTable[i] = table[i];
    return 0;
}

bool SeqUtil::isFullGeneticCode() {
    doStaticInit();
    for (int i = 0; i < 64; i++) {
        if (aaTable[i].code[0] == aaUnknown.code[0]) return false;
    }
    return true;
}
