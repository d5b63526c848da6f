// Writes a sample project: synthetic reads in several SFF files under a runs
// directory, and a mapping project that links them, with its project file and
// read store state written by the core's own writers.
//
//   makeSampleProject PROJECT_DIR RUNS_DIR [NUM_FILES [READS_PER_FILE]]
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ProjectBuilder.h"
#include "SampleReads.h"
#include "SffWriter.h"

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "Usage:  %s projectDir runsDir [numFiles [readsPerFile]]\n", argv[0]);
        return 1;
    }
    std::string projectDir = argv[1], runsDir = argv[2];
    int numFiles = argc > 3 ? atoi(argv[3]) : 3;
    int readsPerFile = argc > 4 ? atoi(argv[4]) : 200;
    if (numFiles < 1 || numFiles > 99 || readsPerFile < 1) {
        fprintf(stderr, "Error:  numFiles must be 1 to 99 and readsPerFile at least 1.\n");
        return 1;
    }
    mkdir(runsDir.c_str(), 0755);

    ProjectBuilder builder(projectDir, "mapping");
    for (int f = 0; f < numFiles; f++) {
        char name[32], prefix[32];
        snprintf(name, sizeof name, "RUN%02dA.sff", f + 1);
        snprintf(prefix, sizeof prefix, "RUN%02dA", f + 1);
        SffWriter writer(400);
        addSampleSffReads(writer, readsPerFile, 1000 + f, prefix);
        std::string path = runsDir + "/" + name;
        if (!writer.write(path)) {
            fprintf(stderr, "Error:  Unable to write %s\n", path.c_str());
            return 1;
        }
        builder.addSffFile(path);
    }
    builder.write();
    printf("Sample project %s: %d SFF files of %d reads in %s\n", projectDir.c_str(), numFiles,
           readsPerFile, runsDir.c_str());
    return 0;
}
