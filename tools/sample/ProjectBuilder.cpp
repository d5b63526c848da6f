#include "ProjectBuilder.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "ByteUtil.h"
#include "Context.h"
#include "InputFile.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "XMLnode.h"

using std::string;

namespace {

string realPathOf(const string& path) {
    char buffer[PATH_MAX];
    if (!realpath(path.c_str(), buffer)) throw std::runtime_error("no such file: " + path);
    return buffer;
}

string baseName(const string& path) {
    size_t slash = path.rfind('/');
    return slash == string::npos ? path : path.substr(slash + 1);
}

void makeDirectory(const string& path) {
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
        throw std::runtime_error("cannot create " + path);
}

void touch(const string& path) {
    FILE* fp = fopen(path.c_str(), "a");
    if (!fp) throw std::runtime_error("cannot create " + path);
    fclose(fp);
}

string readAll(const string& path) {
    std::ifstream in(path, std::ios::binary);
    return string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One stored read as the index of the store keeps it.
struct IndexedRead {
    string name;
    uint64_t offset;
    uint32_t size;
    int left;    // 1-based first used base
    int length;  // used bases
};

// Walks the entries of an SFF file: offsets, sizes, names and the clip rule.
void indexSff(const string& data, SeqFile* file, std::vector<IndexedRead>& reads) {
    const unsigned char* p = (const unsigned char*)data.data();
    if (data.size() < 31 || memcmp(p, ".sff", 4) != 0) throw std::runtime_error("not an SFF file");
    uint64_t indexOffset = getuint64(p + 8);
    uint32_t indexLength = getuint32(p + 16);
    uint32_t numReads = getuint32(p + 20);
    uint64_t pos = getuint16(p + 24);
    int numFlows = getuint16(p + 28);
    file->numFlows = numFlows;
    file->bytesPerFlow = 2;
    for (uint32_t r = 0; r < numReads; r++) {
        if (indexOffset != 0 && pos == indexOffset) pos += (indexLength + 7) / 8 * 8;
        if (pos + 16 > data.size()) throw std::runtime_error("truncated SFF file");
        const unsigned char* e = p + pos;
        int headerLength = getuint16(e);
        int nameLength = getuint16(e + 2);
        int numBases = (int)getuint32(e + 4);
        std::pair<int, int> clip = SeqFile::sffClipPoints(
            numBases, getuint16(e + 8), getuint16(e + 10), getuint16(e + 12), getuint16(e + 14));
        uint32_t size = headerLength + SeqFile::sffDataLength(numFlows, 2, numBases);
        reads.push_back({string((const char*)e + 16, nameLength), pos, size, clip.first,
                         clip.second - clip.first + 1});
        pos += size;
    }
    file->fileSize = SeqFile::sffDataEnd(p, data.size());
}

// Walks the records of a FASTA (marker '>') or FASTQ (marker '@', four lines) file.
void indexText(const string& data, bool fastq, SeqFile* file, std::vector<IndexedRead>& reads) {
    size_t pos = 0;
    while (pos < data.size()) {
        size_t lineEnd = data.find('\n', pos);
        if (lineEnd == string::npos) lineEnd = data.size();
        string header = data.substr(pos + 1, lineEnd - pos - 1);
        string name = header.substr(0, header.find_first_of(" \t"));
        size_t next;
        int bases = 0;
        if (fastq) {
            size_t seqEnd = data.find('\n', lineEnd + 1);
            bases = (int)(seqEnd - lineEnd - 1);
            size_t plusEnd = data.find('\n', seqEnd + 1);
            size_t qualEnd = data.find('\n', plusEnd + 1);
            next = qualEnd == string::npos ? data.size() : qualEnd + 1;
        } else {
            next = data.find("\n>", lineEnd);
            next = next == string::npos ? data.size() : next + 1;
            for (size_t i = lineEnd; i < next; i++)
                if (data[i] != '\n' && data[i] != '\r') bases++;
        }
        reads.push_back({name, pos, (uint32_t)(next - pos), 1, bases});
        pos = next;
    }
    file->fileSize = data.size();
}

}  // namespace

ProjectBuilder::ProjectBuilder(const string& projectDir, const string& type)
    : projectDir(projectDir), type(type) {}

void ProjectBuilder::addSffFile(const string& path, const string& linkName, bool pairedEnd) {
    files.push_back({realPathOf(path), linkName.empty() ? baseName(path) : linkName, 0, pairedEnd});
}

void ProjectBuilder::addFastaFile(const string& path, bool pairedEnd) {
    files.push_back({realPathOf(path), "", 1, pairedEnd});
}

void ProjectBuilder::addFastqFile(const string& path, bool pairedEnd) {
    files.push_back({realPathOf(path), "", 2, pairedEnd});
}

void ProjectBuilder::write() {
    string sub = type == "mapping" ? "mapping" : "assembly";
    makeDirectory(projectDir);
    makeDirectory(projectDir + "/sff");
    makeDirectory(projectDir + "/" + sub);

    // The top-level file only marks the directory as a project.
    XMLnode* marker = new XMLnode("ZeqProject");
    marker->addChild(new XMLnode("ProjectType", type == "mapping" ? "Mapping" : "Assembly"));
    writeXMLFile(projectDir + "/ZeqProject.xml", marker);
    deleteTree(marker);

    Context context(projectDir, type, false, false, false);
    touch(context.projectLockPath);
    touch(context.runLockPath);

    SeqCache cache(&context, false);
    string stats;
    for (const ReadFile& f : files) {
        InputFile* inFile;
        if (f.type == 0) {
            string link = context.sffDirectory + "/" + f.linkName;
            if (symlink(f.path.c_str(), link.c_str()) != 0)
                throw std::runtime_error("cannot link " + link);
            inFile = new InputFile(link, f.path, "", "", false);
        } else {
            inFile = new InputFile(false, f.path,
                                   f.type == 1 ? InputFile::FASTA_FILE : InputFile::FASTQ_FILE, 0,
                                   0, false);
        }
        inFile->isPairedEnd = f.pairedEnd;
        context.readFiles.push_back(inFile);

        int fileIndex = (int)cache.sfmList.size();
        SeqFile* seqFile = new SeqFile(inFile, &context, cache.getNumReads(), false);
        std::vector<IndexedRead> reads;
        string data = readAll(f.path);
        if (f.type == 0)
            indexSff(data, seqFile, reads);
        else
            indexText(data, f.type == 2, seqFile, reads);
        std::vector<IndexedRead> quals;
        if (inFile->hasQualFile()) {
            SeqFile qualIndex(inFile, &context, 0, false);
            indexText(readAll(inFile->getQualPath()), false, &qualIndex, quals);
            seqFile->qualFileSize = qualIndex.fileSize;
            if (quals.size() != reads.size())
                throw std::runtime_error("quality file does not match " + f.path);
        }
        seqFile->sffFileFlag = f.type == 0 ? 1 : 0;
        seqFile->qualFileFlag = inFile->hasQual() ? 1 : 0;
        cache.sfmList.push_back(seqFile);
        for (size_t r = 0; r < reads.size(); r++) {
            const IndexedRead& read = reads[r];
            cache.addRead(fileIndex, read.offset, read.size, quals.empty() ? 0 : quals[r].offset,
                          quals.empty() ? 0 : quals[r].size, read.length, read.left, 0,
                          read.name.c_str());
            seqFile->numReads++;
            seqFile->numBases += read.length;
            if (read.length >= 50) {
                seqFile->numLongReads++;
                seqFile->numLongBases += read.length;
            } else {
                seqFile->numShortReads++;
                seqFile->numShortBases += read.length;
            }
            if (read.length > seqFile->maxSeqLength) seqFile->maxSeqLength = read.length;
        }
        if (f.type != 0)
            stats += "readFile\t" + f.path + "\t" + std::to_string(reads.size()) + "\n";
    }
    context.declaredReadCount = (int)files.size();
    if (!context.serialize()) throw std::runtime_error("cannot write the project file");
    cache.write(true, true);

    // The engine's statistics name the non-SFF read files by path.
    std::ofstream(context.statsMetadataPath) << stats;
}
