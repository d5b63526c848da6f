// Entry point of readfix: argument checks and dispatch to the pairing,
// relink or listing mode.
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include "Context.h"
#include "Flags.h"
#include "OptionParser.h"
#include "SeqUtil.h"
#include "Thread.h"
#include "Util.h"

using std::string;

// The text with all trailing slashes stripped, as trimLastSlash does in place.
static string trimmedOfSlashes(const string& text) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    trimLastSlash(buffer.data());
    return buffer.data();
}

int main(int argc, char** argv) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = Thread::_handler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    if (sigaction(SIGUSR2, &action, nullptr) != 0)
        fatal("Error:  Unable to setup multi-thread environment.");
    Thread::mainThreadId = pthread_self();
    SeqUtil::doStaticInit();

    int optionIndex = 0;
    string source, destination;
    Flags flags;
    Context* context = parseOptions(argc, argv, optionIndex, source, destination, flags);

    if (flags.p || flags.np) {
        changePEInfo(argc, argv, optionIndex, context, flags.p);
        return 0;
    }
    std::vector<std::pair<int, string>> changes;
    SeqCache* cache = changePathInfo(context, changes, source, destination, flags);
    saveChanges(cache, changes, flags);
    return 0;
}

Context* parseOptions(int argc, char** argv, int& optionIndex, string& source, string& destination,
                      Flags& flags) {
    // The parser lives for the whole run: the log header prints its arguments.
    OptionParser* parser = new OptionParser(argc, argv);
    optionIndex = parser->parse();

    flags.p = parser->hasOption("p");
    flags.np = parser->hasOption("np");
    flags.fileWording = false;
    flags.relink = parser->hasOption("relink");
    flags.verboseCount = (int)parser->getStrValues("verbose").size();

    if (optionIndex == 1) parser->usage(true);

    bool pairing = flags.p || flags.np;
    bool paths = flags.fileWording || flags.relink || flags.verboseCount >= 1;
    if (pairing && paths) {
        warn(
            "Error:  Either (-p , -np) or (-relink , -verbose) optionscan be given on the "
            "command-line.\n");
        parser->usage(true);
    }
    if (flags.p && flags.np) {
        warn("Error:  Only one of -p and -np can be given on the command-line.\n");
        parser->usage(true);
    }
    if (!pairing && !paths) {
        warn("Error:  No options given on the command-line.\n");
        parser->usage(true);
    }

    Context* context = nullptr;
    if (optionIndex < argc) {
        context = checkProjectDirectory(argv[optionIndex], false);
        if (context) optionIndex++;
    }
    if (!context) context = checkCurrentDirectory(false);
    if (!context) {
        warn(
            "Error:  Neither the given argument nor the current working directory is a project "
            "directory.\n");
        parser->usage(true);
    }
    if (pairing) return context;

    const char* word = flags.fileWording ? "file" : "path";
    const char* words = flags.fileWording ? "files" : "paths";
    if (flags.fileWording || flags.relink) {
        if (optionIndex == argc) {
            warn("Error:  No source %s for project's read files specified on the command line.\n",
                 word);
            parser->usage(true);
        }
        source = argv[optionIndex++];
        if (optionIndex == argc) {
            warn(
                "Error:  No destination %s for project's read files specified on the command "
                "line.\n",
                word);
            parser->usage(true);
        }
        const char* rawDestination = argv[optionIndex];
        if (strchr(source.c_str(), '*') || strchr(rawDestination, '*')) {
            warn(
                "Error:  No joker (wild) characters allowed in source and destination %s for "
                "project's read files.\n",
                words);
            parser->usage(true);
        }
        char resolved[PATH_MAX];
        if (checkPath(rawDestination) != 3 || !realpath(rawDestination, resolved)) {
            warn("Error:  Invalid destination %s for project's readfiles specified: %s.\n", word,
                 rawDestination);
            parser->usage(true);
        }
        destination = resolved;
        if (flags.relink) {
            // Only an argument that was empty from the start stands for the current directory;
            // "/" strips down to an empty text that matches no file's directory.
            if (source.empty())
                source = ".";
            else
                source = trimmedOfSlashes(source);
            destination = trimmedOfSlashes(destination);
        }
    }

    optionIndex++;
    if (optionIndex >= argc) return context;

    warn(
        "Error:  Too many arguments (project's source and/or destination %s) specified on the "
        "command line:\n",
        words);
    for (int i = 0; i < argc; i++) warn("%d. %s\n", i + 1, argv[i]);
    warn(
        "If you are using joker (wild) characters in your %s names, please re-run command "
        "without them.\n\n",
        words);
    parser->usage(true);
    return context;
}
