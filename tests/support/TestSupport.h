// Helpers for tests that work on real files and run the built binary.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

// A fresh directory under the system temp dir, removed with its contents on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    // Absolute path of the directory, or of a path below it.
    std::string path(const std::string& rel = "") const;

    std::string root;
};

// What a finished child process left behind.
struct RunResult {
    int status = -1;  // exit status 0..255, or 128+signal when killed
    std::string out;  // standard output
    std::string err;  // standard error
};

// How a child process is started.
struct RunOptions {
    std::string cwd;                       // working directory; "" keeps ours
    int uid = -1;                          // run as this user (and its group), when root
    std::vector<std::string> environment;  // extra NAME=value settings
};

// Runs a program with the given arguments (argv[0] included), with no standard
// input, and collects its output and exit status.
RunResult run(const std::string& program, const std::vector<std::string>& argv,
              const RunOptions& options);
RunResult run(const std::string& program, const std::vector<std::string>& argv,
              const std::string& cwd = "");

// Runs the built readfix binary; args exclude argv[0], which is "readfix".
RunResult runReadfix(const std::vector<std::string>& args, const std::string& cwd = "");
RunResult runReadfix(const std::vector<std::string>& args, const RunOptions& options);

// The user id of "nobody", for runs that must meet file permissions as root can't.
int nobodyUid();

// Whole contents of a file ("" when it can't be read); exists() tells them apart.
std::string readFile(const std::string& path);
bool exists(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
void makeDir(const std::string& path);

// Snapshot of every file under a directory: relative path -> content (links as "-> target").
std::vector<std::pair<std::string, std::string>> snapshot(const std::string& dir);

// A regex (as death tests match output) that matches exactly the given text.
std::string exactly(const std::string& text);

// Target of a symbolic link, or "" when the path is none.
std::string linkTarget(const std::string& link);

// Path of the shared real test data, or "" when it is absent.
std::string sharedTestData();

}  // namespace testsupport

namespace testsupport {

// One read file as the expected project file lists it.
struct ExpectedFile {
    int type;              // 0 SFF, 1 FASTA, 2 FASTQ
    std::string linkName;  // SFF only
    std::string path;
    bool pairedEnd;
};

// The sub-project file that the writer must produce for a default mapping
// project with these read files; dateModified holds the placeholder "*".
std::string expectedProjectXml(const std::string& projectDir, const std::string& dateCreated,
                               const std::vector<ExpectedFile>& files);

// The file text with the value of dateModified replaced by "*".
std::string maskDateModified(const std::string& xml);
// The value of the first element of that name in the text, or "".
std::string elementValue(const std::string& xml, const std::string& name);

// A mapping project at dir/proj over read files in dir/runs: two SFF files
// (A.sff with 5 reads, B.sff with 4), reads.fna with reads.qual beside it, and
// reads.fastq. Only the SFF files are linked in sff/.
struct SampleProject {
    // Without text files the project holds only the two SFF files.
    explicit SampleProject(const std::string& dir, bool withTextFiles = true);
    std::string proj, runs, subDir, xmlPath;
    std::vector<ExpectedFile> files;
};

}  // namespace testsupport
