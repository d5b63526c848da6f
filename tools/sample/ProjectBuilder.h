// Builds a real project directory around read files that already exist: the
// top-level marker, the sff/ links, the sub-project XML file (through the
// project's own writer) and the read store's state files (through the store's
// own writer). Used by the tests, the benchmarks, the demo and the tools.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class ProjectBuilder {
public:
    // One read file of the project.
    struct ReadFile {
        std::string path;      // the file itself (resolved to its real path)
        std::string linkName;  // SFF only: name of the link in sff/; default the base name
        int type = 0;          // 0 SFF, 1 FASTA, 2 FASTQ
        bool pairedEnd = false;
    };

    // A project of the given type ("mapping" or "assembly") at projectDir, which must not exist.
    ProjectBuilder(const std::string& projectDir, const std::string& type = "mapping");

    // Adds a read file; the order of calls is the order of the project's file list.
    void addSffFile(const std::string& path, const std::string& linkName = "",
                    bool pairedEnd = false);
    void addFastaFile(const std::string& path, bool pairedEnd = false);
    void addFastqFile(const std::string& path, bool pairedEnd = false);

    // Writes the whole project. Reads of each file are indexed by walking the
    // file itself, so the state files describe what is really on disk.
    void write();

    std::string projectDir;
    std::string type;
    std::vector<ReadFile> files;
};
