// Shared pieces of the fuzz targets: the exit hook that turns a clean end of the
// process into an exception the target catches, a scratch directory that lives
// as long as the process, and clean-up of descriptors an aborted reader left open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Thrown by the exit hook in place of ending the process.
struct FuzzExit {
    int status;
};

// Installs the exit hook (once) and makes the scratch directory; returns its path.
const std::string& fuzzSetUp();

// Writes size bytes of data to path, replacing the file; ends the run when it can't.
void fuzzWriteFile(const std::string& path, const uint8_t* data, size_t size);

// Makes a directory (and not its parents); an existing one is kept.
void fuzzMakeDir(const std::string& path);

// Takes the descriptors open now as the ones to keep (after a target's fixture is made).
void fuzzKeepOpenFds();

// Closes every file or directory descriptor opened since fuzzSetUp first ran (or
// fuzzKeepOpenFds): a reader stopped by the hook leaves its files (and a project's lock) open.
void fuzzCloseNewFds();

// Splits data at the first occurrence of marker into the part before and after it;
// without the marker, all of it goes to first.
void fuzzSplit(const uint8_t* data, size_t size, const std::string& marker, std::string& first,
               std::string& second);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
