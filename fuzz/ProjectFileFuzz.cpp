// Fuzz target of the project file loader: the input becomes the sub-project XML
// file of a real project directory, which a loading Context locks and reads; what it
// read is written back and loaded again.
#include <string>

#include "Context.h"
#include "FuzzSupport.h"
#include "InputFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string project = dir + "/project";
    static bool made = false;
    if (!made) {
        fuzzMakeDir(project);
        fuzzMakeDir(project + "/sff");
        fuzzMakeDir(project + "/mapping");
        const uint8_t none[] = {0};
        fuzzWriteFile(project + "/ZeqProject.xml", none, 0);
        fuzzWriteFile(project + "/mapping/.ProjectLock", none, 0);
        made = true;
    }
    fuzzWriteFile(project + "/mapping/ZeqMappingProject.xml", data, size);
    // Pool names are process-wide; each input starts without any.
    InputFile::poolIds.clear();
    InputFile::poolNames.clear();
    try {
        Context* context = new Context(project, "mapping", true, false, false);
        // What was read is written back and must load again.
        context->serialize();
        context->releaseProjectLock();
        Context* again = new Context(project, "mapping", true, false, false);
        again->releaseProjectLock();
        for (InputFile* file : again->refFiles) delete file;
        for (InputFile* file : again->readFiles) delete file;
        delete again;
        // The context keeps its records for the process's life; here they go with it.
        for (InputFile* file : context->refFiles) delete file;
        for (InputFile* file : context->readFiles) delete file;
        delete context;
    } catch (const FuzzExit&) {
    }
    fuzzCloseNewFds();
    return 0;
}
