// Relink and listing modes: list the project's read files, or move them to a
// new directory after proving that the files there hold the same reads.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Context.h"
#include "Flags.h"
#include "InputFile.h"
#include "SeqCache.h"
#include "SeqFile.h"
#include "Sequence.h"
#include "Util.h"

using std::string;
using std::vector;
typedef vector<std::pair<int, string>> ChangeList;

// Reads compared one by one at each end of a file; in between the walk samples.
static const int SAMPLE_RUN = 1000;
static const int SAMPLE_STEP = 10000;

// A stretch of one destination file read in one go, so that the runs of
// consecutive reads at the ends of a file cost a few reads of the file
// rather than one each. Entries that don't lie wholly in it, and entries of
// a size the one-entry read would treat otherwise, are read one by one.
class EntryWindow {
public:
    static constexpr size_t BYTES = 128 << 10;

    // The entry's bytes, read in with the ones after it if need be; null
    // when the entry must be read by itself.
    const char* entry(SeqFile* file, uint64_t offset, uint32_t size) {
        if (size < (uint32_t)SeqFile::SFF_ENTRY_FIXED_SIZE || size > SeqFile::MAX_ONE_READ)
            return nullptr;
        if (!holds(offset, size)) {
            if (!file->isSFFFile()) return nullptr;
            file->openFile();
            bytes.resize(BYTES);
            ssize_t n = pread(fileno(file->getFileFP()), bytes.data(), BYTES, (off_t)offset);
            start = offset;
            got = n > 0 ? (size_t)n : 0;
            if (!holds(offset, size)) return nullptr;
        }
        return bytes.data() + (offset - start);
    }

private:
    bool holds(uint64_t offset, uint32_t size) const {
        return got > 0 && offset >= start && offset - start + size <= got;
    }

    vector<char> bytes;
    uint64_t start = 0;
    size_t got = 0;
};

// Lists the read files, and with two -verbose each read; ends the process.
static void listReadFiles(SeqCache* cache, Flags& flags) {
    printf("Project contains following read files:\n");
    vector<SeqFile*>& files = cache->getSeqFileList();
    for (size_t i = 0; i < files.size(); i++) {
        InputFile* inFile = files[i]->inputFile;
        if (inFile->isRefSeq()) continue;
        int first = files[i]->firstSeqId;
        int last = files[i]->getLastSeqId();
        int count = files[i]->numReads;
        const char* plural = count < 2 ? "" : "s";
        const char* missing = checkPath(inFile->path.c_str()) == 1 ? "" : ", file not found";
        if (!inFile->isSFFFile()) {
            printf("  %s (with %d sequence%s%s)\n", inFile->path.c_str(), count, plural, missing);
        } else {
            string link = inFile->getProjectFilePath();
            const char* name =
                checkPath(link.c_str()) == 2 ? inFile->sffDirFilename.c_str() : "(Broken SFF Link)";
            printf("  %s -> %s (with %d sequence%s%s)\n", name, inFile->path.c_str(), count, plural,
                   missing);
        }
        if (flags.verboseCount > 1) {
            for (int id = first; id <= last; id++)
                printf("      %d. %s, %d bp\n", id + 1, cache->getAccno(id),
                       cache->getSeqLength(id));
        }
    }
    fflush(stdout);
    safeExit(0);
}

SeqCache* changePathInfo(Context* context, ChangeList& changes, const string& source,
                         const string& destination, Flags& flags) {
    SeqCache* cache = new SeqCache(context, false);
    cache->readAndUpdate(nullptr, true, true);
    vector<SeqFile*>& files = cache->getSeqFileList();

    if (flags.verboseCount >= 1 && !flags.relink && !flags.fileWording) listReadFiles(cache, flags);

    for (size_t i = 0; i < files.size(); i++) {
        InputFile* inFile = files[i]->inputFile;
        if (inFile->isRefSeq()) continue;
        char directory[PATH_BUF_SIZE], fileName[PATH_BUF_SIZE];
        if (!splitPath(inFile->path.c_str(), directory, fileName)) continue;

        bool matches;
        if (flags.relink)
            matches = strcmp(directory, source.c_str()) == 0;
        else
            matches = inFile->isSFFFile() ? source == fileName : source == inFile->path;
        if (!matches) continue;

        string newPath = destination;
        if (flags.relink) {
            newPath = destination + "/" + fileName;
            if (checkPath(newPath.c_str()) != 1) {
                if (flags.verboseCount > 1)
                    warn(
                        "Warning:  Skipping read file in source path: %s (not found in "
                        "destination path: %s).\n",
                        inFile->path.c_str(), destination.c_str());
                continue;
            }
        }
        if (!compareSeqFileMetaData(cache, files[i], newPath)) {
            warn("  Source: %s\n", inFile->path.c_str());
            warn("  Destination: %s\n", newPath.c_str());
            die("Warning:  No read files were changed.\n");
        }
        changes.emplace_back((int)i, newPath);
    }

    if (flags.fileWording && changes.size() > 1) {
        warn("Error:  Multiple project's read files match source %s description:\n", "file");
        warn("  Source: %s\n", source.c_str());
        for (auto& change : changes)
            warn("  Project read file: %s\n", files[change.first]->inputFile->path.c_str());
        die("\n");
    }
    if (changes.empty())
        warn("Warning:  No matches found for read file source %s: %s\n",
             flags.fileWording ? "file" : "path", source.c_str());
    return cache;
}

// Cuts a trailing "/1" or "/2" off a name.
static size_t withoutPairEnding(const string& name) {
    size_t n = name.size();
    if (n >= 2 && name[n - 2] == '/' && (name[n - 1] == '1' || name[n - 1] == '2')) return n - 2;
    return n;
}

bool compareSeqFileMetaData(SeqCache* cache, SeqFile* file, const string& newPath) {
    int first = file->firstSeqId;
    int last = file->getLastSeqId();
    int fileType = file->inputFile->fileType;
    bool isRefSeq = file->inputFile->isRefSeq();
    ASSERT(!isRefSeq || (isRefSeq && fileType == InputFile::FASTA_FILE));

    InputFile* newInput = fileType == InputFile::SFF_FILE
                              ? new InputFile(newPath, newPath, "", "", false)
                              : new InputFile(newPath, (InputFile::FileType)fileType, true);
    SeqFile* newFile = new SeqFile(newInput, cache->context, first, false);
    Sequence* seq = new Sequence();
    EntryWindow window;

    bool ok = true;
    int id = first;
    while (id <= last) {
        uint64_t offset = file->getFileByteOffset(id);
        uint32_t size = file->getFileByteSize(id);
        int clipPoint = cache->getClipPoint(id);
        int oldLength = cache->getSeqLength(id);
        seq->clear();
        const char* entry = window.entry(newFile, offset, size);
        newFile->readSequence(seq, offset, size, 0, 0, oldLength, clipPoint, false, false, true,
                              false, false, false, false, entry, entry != nullptr);

        string oldName = cache->getAccno(id);
        string newName = seq->accno.c_str();
        int newLength = seq->getLength();
        if (fileType == InputFile::FASTQ_FILE) {
            oldName.resize(withoutPairEnding(oldName));
            newName.resize(withoutPairEnding(newName));
        }
        int flags = cache->getFlags(id);
        if ((flags & SCM_LEFT_HALF) && oldName.size() >= 5)
            oldName.resize(oldName.size() - 5);
        else if ((flags & SCM_RIGHT_HALF) && oldName.size() >= 6)
            oldName.resize(oldName.size() - 6);

        bool same = oldName.size() == newName.size() &&
                    strncmp(oldName.c_str(), newName.c_str(), oldName.size()) == 0;
        if (same && isRefSeq) same = oldLength == newLength;
        if (!same) {
            warn(
                "Error:  Found sequence mismatch in source and destination files at sequence "
                "#%d:\n",
                id + 1);
            warn("        sequences \"%s\" %d bp and \"%s\" %d bp\n", oldName.c_str(), oldLength,
                 newName.c_str(), newLength);
            ok = false;
            break;
        }

        // The first reads are all compared, then every 10,000th, then the last ones.
        id++;
        if (id - first >= SAMPLE_RUN && last - id > SAMPLE_RUN) {
            id += SAMPLE_STEP;
            if (id > last) id = last - SAMPLE_RUN;
        }
    }
    if (ok && id != last + 1) {
        warn("Error: Number of sequences mismatch in source and destination files.\n");
        ok = false;
    }
    delete seq;
    delete newFile;
    delete newInput;
    return ok;
}

// Removes whatever stands at the link's place, as a forced recursive removal
// does, but without a shell: a blank in a path can't widen what is removed.
static bool removeLink(const string& link) {
    struct stat st;
    if (lstat(link.c_str(), &st) != 0) return errno == ENOENT;
    std::error_code ec;
    if (S_ISDIR(st.st_mode)) return std::filesystem::remove_all(link, ec) != (uintmax_t)-1 && !ec;
    return unlink(link.c_str()) == 0;
}

// Replaces the first occurrence of oldText by newText on each line of the
// engine's statistics file, through a temporary file and a rename, so that
// the file is either the old or the new one.
static bool replaceInStats(const string& path, const string& oldText, const string& newText) {
    FILE* in = fopen(path.c_str(), "r");
    if (!in) return false;
    string content;
    char chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, in)) > 0) content.append(chunk, n);
    bool readOk = !ferror(in);
    fclose(in);
    if (!readOk) return false;

    string edited;
    edited.reserve(content.size());
    size_t pos = 0;
    while (pos < content.size()) {
        size_t end = content.find('\n', pos);
        end = end == string::npos ? content.size() : end + 1;
        string line = content.substr(pos, end - pos);
        size_t hit = oldText.empty() ? string::npos : line.find(oldText);
        if (hit != string::npos) line.replace(hit, oldText.size(), newText);
        edited += line;
        pos = end;
    }
    string temp = path + ".tmp";
    FILE* out = fopen(temp.c_str(), "w");
    if (!out) return false;
    bool ok = fwrite(edited.data(), 1, edited.size(), out) == edited.size();
    ok = fclose(out) == 0 && ok;
    if (ok) ok = rename(temp.c_str(), path.c_str()) == 0;
    if (!ok) unlink(temp.c_str());
    return ok;
}

bool saveChanges(SeqCache* cache, ChangeList& changes, Flags& flags) {
    bool commit = flags.verboseCount <= 1;
    Context* context = cache->context;
    vector<SeqFile*> files = cache->getSeqFileList();

    if (!changes.empty() && flags.verboseCount > 1) warn("Changing project state info:\n");
    for (auto& change : changes) {
        SeqFile* file = files[change.first];
        InputFile* inFile = file->inputFile;
        string oldPath = inFile->path;
        const string& newPath = change.second;
        string link = inFile->getProjectFilePath();

        if (flags.verboseCount > 0) {
            const char* missingText = checkPath(oldPath.c_str()) == 1 ? "" : " (file not found)";
            const char* linkText = inFile->isSFFFile() && checkPath(link.c_str()) != 2
                                       ? ", project's SFF link not found"
                                       : "";
            warn("    Read file:  %s%s%s\n", oldPath.c_str(), missingText, linkText);
            warn("  changing to:  %s\n", newPath.c_str());
        }
        if (inFile->isSFFFile()) {
            if (flags.verboseCount > 1) {
                printf("   SFF symlink: %s\n", link.c_str());
                printf("  changed from: %s\n", oldPath.c_str());
                printf("            to: %s\n", newPath.c_str());
                fflush(stdout);
            }
            if (commit) {
                bool replaced = true;
                if (!removeLink(link)) {
                    warn("Warning:  Unable to remove project's existing SFF symlink: %s.\n",
                         link.c_str());
                    replaced = false;
                } else if (symlink(newPath.c_str(), link.c_str()) != 0) {
                    warn(
                        "Error:  Unable to link destination SFF file: %s to project's sff "
                        "symlink: %s.\n",
                        newPath.c_str(), link.c_str());
                    replaced = false;
                }
                if (!replaced) die("Error:  Unable to update project state files.\n");
            }
        } else {
            if (commit && !replaceInStats(context->statsMetadataPath, oldPath, newPath))
                warn("Warning:  Unable to change project's stats metadata file.\n");
        }
        if (commit) {
            inFile->setPath(newPath);
            string projectPath = inFile->getProjectFilePath();
            file->setPath(projectPath);
            size_t slash = projectPath.rfind('/');
            file->setFileName(slash == string::npos ? projectPath : projectPath.substr(slash + 1));
        }
    }

    if (commit) {
        if (!context->serialize()) die("Error:  Unable to update project state files.\n");
        cache->write(true, false);
        context->releaseProjectLock();
    }

    if (changes.empty()) {
        warn(commit ? "Warning:  No read files were changed.\n"
                    : "Warning:  No read files will be changed.\n");
    } else {
        warn("Total of %d read file%s", (int)changes.size(), changes.size() == 1 ? "" : "s");
        warn(commit ? " successfully changed.\n"
                    : " will be changed (re-run command without multiple \"-verbose\" options to "
                      "commit changes).\n");
    }
    return true;
}
