// Helpers that sniff read files before they join a project, name new projects,
// and link the region files of a sequencing run.
#pragma once

#include <string>
#include <utility>
#include <vector>

// True if the file looks like FASTA: some bases after a ">" line, and at most
// three bytes with the top bit set. Directories and missing files give false.
bool checkFastaFile(const char* path);

// True if the file looks like FASTQ. Also tells whether the quality scores use
// the high (offset 64) range, the common prefix of all read names, and which
// name form the reads carry in accnoType: 1 accession names, 2 colour space,
// 3 colon form and 4 long form in an archive-named file, 0 none there; in a file
// of any other name 4 for the colon form, 5 when it also has the long form, and
// otherwise accnoType is left as it was.
bool checkFastqFile(const char* path, bool& illuminaScores, int& accnoType, std::string& firstName);

// A dated project directory name: "P_yyyy_mm_dd_hh_mm_ss_" + base, local time.
std::string generateProjectName(std::string base);

// Links the region SFF files of the run directory runPath (those in its "sff"
// directory named like "XXXXXXXNN.sff", NN being the region) into linkDirectory.
// With regions non-empty, only the listed regions are linked, and each linked
// file's name is stored in its pair; with regions empty, a pair is appended for
// every file linked. Returns the number of links made; 0 when runPath has no
// "sff" directory.
int linkRunRegionSffFiles(std::string& runPath, std::vector<std::pair<int, std::string>>& regions,
                          const std::string& linkDirectory = ".");

// Name-form tests of FASTQ read names, shared with the readers.
// "anything:digits:digits:digits:digits#anything/1" (or /2), on a name without blanks.
bool isColonReadName(const std::string& name);
// Colon-separated fields with one blank inside a field, the last field all digits.
bool isLongReadName(const std::string& header);
// 14 or 16 characters of letters and digits, the first a letter, the 8th and 9th
// digits, the 10th from 'A' to 'J' (14) or 'K' (16).
bool isAccessionReadName(const std::string& name);
// "SRR", six digits, then ".fastq", "_1.fastq" or "_2.fastq".
bool isArchiveFileName(const std::string& fileName);
