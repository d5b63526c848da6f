// Pairing mode: switches the paired-end flag of named read files in the project file.
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "Context.h"
#include "Flags.h"
#include "InputFile.h"
#include "Util.h"

using std::string;

// Real path of a file, which must exist: a path that can't be resolved is an internal fault.
static string resolvedPath(const string& path) {
    char buffer[PATH_MAX];
    char* s = realpath(path.c_str(), buffer);
    ASSERT(s != __null);
    return s;
}

void changePEInfo(int argc, char** argv, int& optionIndex, Context* context, bool paired) {
    // A copy of the list: the records are shared, so changes reach the project.
    std::vector<InputFile*> files = context->readFiles;
    int sffCount = 0, fastaCount = 0, updated = 0;

    for (; optionIndex < argc; optionIndex++) {
        const char* argument = argv[optionIndex];
        const char* slash = strrchr(argument, '/');
        string name = slash ? slash + 1 : argument;
        string candidate = context->sffDirectory + "/" + name;

        struct stat st;
        if (stat(candidate.c_str(), &st) != 0 || !(S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)))
            candidate = resolvedPath(argument);
        string realPath = resolvedPath(candidate);

        InputFile* given = new InputFile(candidate, realPath, "", "", false);
        if (!given) die("Error:  Cannot init InputFile:  %s\n", candidate.c_str());

        bool found = false;
        for (InputFile* file : files) {
            if (file->sffDirFilename == given->sffDirFilename) {
                file->isPairedEnd = paired;
                updated++;
                sffCount++;
                found = true;
                break;
            }
            if (file->path == given->path) {
                file->isPairedEnd = paired;
                updated++;
                fastaCount++;
                found = true;
                break;
            }
        }
        if (!found) {
            warn(
                "Error:  The file %s cannot be updated,\n        because it is not present in the "
                "project XML file.\n\n",
                files.empty() ? "" : given->path.c_str());
        }
        delete given;
    }

    if (!context->serialize()) die("Error:  Unable to update project state files.\n");
    context->releaseProjectLock();

    if (updated == 0) {
        warn("Warning:  No read files were updated.\n");
        return;
    }
    warn("Total of ");
    if (sffCount > 0) warn("%d SFF file%s", sffCount, sffCount == 1 ? "" : "s");
    if (fastaCount > 0)
        warn("%s%d fasta file%s", sffCount > 0 ? " and " : "", fastaCount,
             fastaCount == 1 ? "" : "s");
    warn(" successfully updated.\n");
}
