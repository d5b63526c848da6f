// The mode record of readfix, filled by parseOptions and read by the modes.
#pragma once

#include <string>
#include <utility>
#include <vector>

class Context;
class SeqCache;
class SeqFile;

struct Flags {
    bool p = false;
    bool np = false;
    bool relink = false;
    // Selects "file"/"files" instead of "path"/"paths" in messages; no option sets it.
    bool fileWording = false;
    int verboseCount = 0;
};

// Validates the command line, finds the project and returns its context, loaded and locked.
// Never returns on a bad command line.
Context* parseOptions(int argc, char** argv, int& optionIndex, std::string& source,
                      std::string& destination, Flags& flags);

// Pairing mode: sets the paired-end flag of the named read files and writes the project file.
void changePEInfo(int argc, char** argv, int& optionIndex, Context* context, bool paired);

// Relink and listing modes: lists the read files, or finds those to move and checks them.
SeqCache* changePathInfo(Context* context, std::vector<std::pair<int, std::string>>& changes,
                         const std::string& source, const std::string& destination, Flags& flags);

// Applies the changes found by changePathInfo: links, stats file, project file, store list.
bool saveChanges(SeqCache* cache, std::vector<std::pair<int, std::string>>& changes, Flags& flags);

// True if the file at newPath holds the reads of file, at the same byte offsets.
bool compareSeqFileMetaData(SeqCache* cache, SeqFile* file, const std::string& newPath);
