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

// Runs a program with the given arguments (argv[0] included) in directory cwd,
// with no standard input, and collects its output and exit status.
RunResult run(const std::string& program, const std::vector<std::string>& argv,
              const std::string& cwd = "");

// Runs the built readfix binary; args exclude argv[0], which is "readfix".
RunResult runReadfix(const std::vector<std::string>& args, const std::string& cwd = "");

// Whole contents of a file ("" when it can't be read); exists() tells them apart.
std::string readFile(const std::string& path);
bool exists(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
void makeDir(const std::string& path);

// Snapshot of every file under a directory: relative path -> content (links as "-> target").
std::vector<std::pair<std::string, std::string>> snapshot(const std::string& dir);

// Path of the shared real test data, or "" when it is absent.
std::string sharedTestData();

}  // namespace testsupport
