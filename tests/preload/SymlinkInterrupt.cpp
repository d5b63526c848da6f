// Preloaded into a readfix run by the tests: after the number of successful
// symlink calls given in READFIX_KILL_AFTER_SYMLINKS, the process is killed,
// as a user's kill or a power cut would stop it between two link changes.
#include <dlfcn.h>
#include <signal.h>
#include <stdlib.h>

extern "C" int symlink(const char* target, const char* linkPath) {
    typedef int (*SymlinkFn)(const char*, const char*);
    static SymlinkFn real = (SymlinkFn)dlsym(RTLD_NEXT, "symlink");
    static int done = 0;
    int result = real(target, linkPath);
    const char* limit = getenv("READFIX_KILL_AFTER_SYMLINKS");
    if (result == 0 && limit && ++done >= atoi(limit)) raise(SIGKILL);
    return result;
}
