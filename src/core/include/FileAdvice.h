// Read-pattern hints to the kernel for input files. A hint that can't be given
// is no error, so failures are turned into a text and dropped.
#pragma once

#include <sys/types.h>

#include <cstdio>

// Hints sequential or random reading over a range of the file.
void doAdviseForFileRead(FILE* fp, off_t offset, off_t length, bool sequential);
// Hints sequential or random reading over the whole file; keeps the position.
void setReadModeForFile(FILE* fp, bool sequential);
// The text for a failure code of posix_fadvise.
const char* fileAdviceErrorText(int code);
