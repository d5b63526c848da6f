#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "OptionParser.h"
#include "TestSupport.h"

using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

// Exit status of a child whose code returned instead of ending the process.
const int RETURNED = 99;

// A parser for the command line args (args[0] is the invoked name) of a
// program whose executable is exe.
OptionParser* makeParser(std::vector<std::string> args, const std::string& exe = "") {
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    return new OptionParser((int)args.size(), argv.data(), exe.empty() ? "/bin/" + args[0] : exe);
}

// The usage text a command's parser builds.
std::string usageOf(const std::string& command) { return makeParser({command})->usageText; }

using Outcome = testsupport::RunResult;

// Runs fn in a child process and collects its exit status and both streams.
Outcome inChild(const std::function<void()>& fn) {
    TempDir dir;
    std::string outPath = dir.path("out"), errPath = dir.path("err");
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
        dup2(open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
        fn();
        fflush(stdout);
        fflush(stderr);
        _exit(RETURNED);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath), readFile(errPath)};
}

// Parses args in a child process.
Outcome parseInChild(const std::vector<std::string>& args, const std::string& exe = "") {
    return inChild([&] { makeParser(args, exe)->parse(); });
}

}  // namespace

TEST(OptionParserTest, CommandLineFaultsPrintMessageAndUsageWithStatusZero) {
    // Each command line, and the message that comes before the command's usage.
    std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"readfix", "-nosuch"}, "Error:  Invalid option: -nosuch.\n"},
        {{"readfix", "-p", ""}, "Error:  Invalid option: -.\n"},
        {{"readfix", "-"}, "Error:  Invalid option: -.\n"},
        {{"readfix", "-cpu", "4", "-p"}, "Error:  Invalid options found:  -cpu.\n"},
        {{"readfix", "-p", "-cpu", "4", "-cpu", "5"},
         "Error:  Invalid options found:  -cpu -cpu.\n"},
        {{"readdrop", "-p"}, "Error:  Invalid options found:  -p.\n"},
        {{"mapgo", "-cpu"}, "Error:  No value specified after the '-cpu' option.\n"},
        {{"mapgo", "-o", "", "x"}, "Error:  No value specified after the '-o' option.\n"},
        {{"mapgo", "-o", "-cpu", "4"},
         "Error:  '-o' option's value likely missing, '-o -cpu' appears on command-line.\n"},
        {{"mapgo", "-cpu", "four"},
         "Error:  Invalid '-cpu' option's value: four (not a number).\n"},
        {{"mapgo", "-minlen", "19"},
         "Error:  Invalid '-minlen' option's value: 19, valid value range is from 20 to 100.\n"},
        {{"mapgo", "-minlen", "101"},
         "Error:  Invalid '-minlen' option's value: 101, valid value range is from 20 to 100.\n"},
        {{"quillon", "-numsamples", "11"},
         "Error:  Invalid '-numsamples' option's value: 11, valid value range is from 0 to 10.\n"},
        {{"mapgo", "-at", "-ar", "x"}, "Error:  Options -ar -at and -ad are mutually exclusive.\n"},
        {{"mapgo", "-info", "-noinfo"},
         "Error:  Options -info -infoall and -noinfo are mutually exclusive.\n"},
    };
    for (const auto& [args, message] : cases) {
        Outcome o = parseInChild(args);
        EXPECT_EQ(o.status, 0) << args[1];
        EXPECT_EQ(o.err, message + usageOf(args[0])) << args[1];
        EXPECT_EQ(o.out, "") << args[1];
    }
    EXPECT_EQ(usageOf("mapgo"), "Usage:  mapgo [options] refdesc [MIDList@]filedesc\n");
    Outcome unknown = parseInChild({"nothing-known", "-p"});
    EXPECT_EQ(unknown.status, 0);
    EXPECT_EQ(unknown.err, "Error:  Unknown command name \"nothing-known\".\n");
}

TEST(OptionParserTest, AcceptedValuesAndReturnedIndex) {
    EXPECT_EQ(makeParser({"readfix"})->parse(), 1);
    EXPECT_EQ(makeParser({"readfix", "proj", "-p"})->parse(), 1);
    EXPECT_EQ(makeParser({"readfix", "-p", "proj", "a.sff"})->parse(), 2);
    EXPECT_EQ(makeParser({"readfix", "-verbose", "-verbose"})->parse(), 3);

    OptionParser* p = makeParser({"mapgo", "-minlen", "20", "-a", "-3", "-bam", "-bamsub", "-o",
                                  "first", "-o", "second", "-e", "1.5x", "ref"});
    EXPECT_EQ(p->parse(), 13);
    EXPECT_EQ(p->getIntVal("a"), -3);
    EXPECT_EQ(p->getIntVal("e"), 1);
    EXPECT_DOUBLE_EQ(p->getDblVal("e"), 1.5);
    EXPECT_EQ(p->getStrVal("o"), "first");
    EXPECT_EQ(p->getStrValues("o"), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(p->getAllOptionsCount(), 7);
    EXPECT_TRUE(p->hasOption("bamsub") && !p->hasOption("nobam") && p->useOptionValue("o"));
    EXPECT_FALSE(p->useOptionValue("bam") || p->useOptionValue("nosuch"));
    EXPECT_EQ(makeParser({"quillon", "-numsamples", "0", "-minlen", "100"})->parse(), 5);

    EXPECT_EXIT(makeParser({"readfix"})->hasOption("nosuch"), ::testing::ExitedWithCode(255),
                "Assertion:  optionsMetadata.find\\(option\\) != optionsMetadata.end\\(\\)");
}

TEST(OptionParserTest, PrintOptionValuesIsSortedAndFramed) {
    Outcome o = inChild([] {
        OptionParser* p = makeParser({"mapgo", "-verbose", "-o", "out", "-cpu", "4", "-a", "1"});
        p->parse();
        p->printOptionValues();
    });
    EXPECT_EQ(o.status, RETURNED);
    EXPECT_EQ(o.out,
              "Command Line Options: --------\na: 1\ncpu: 4\no: out\nverbose\n"
              "------------------------------\n");
}

TEST(OptionParserTest, CommandIdentification) {
    // The row comes from the executable, the printed name from argv[0].
    OptionParser* link = makeParser({"/tmp/x/readdrop", "-p"}, "/opt/bin/readfix");
    EXPECT_EQ(link->commandKey, "readfix");
    EXPECT_EQ(link->commandName, "readdrop");
    EXPECT_EQ(link->validOptions, (std::vector<std::string>{"p", "np", "relink", "verbose"}));
    EXPECT_EQ(link->usageText.rfind("Usage:  readdrop { -p | -np } [projectDir] readfile...\n"
                                    "        readdrop { -relink",
                                    0),
              0u);
    EXPECT_EQ(link->parse(), 2);

    OptionParser* named = makeParser({"my-readfix-copy"}, "/opt/bin/readfix_v2");
    EXPECT_EQ(named->commandName, "readfix");
    EXPECT_EQ(named->usageText, usageOf("readfix"));
    // An executable named after no command takes the invoked name's row.
    EXPECT_EQ(makeParser({"projhalt"}, "/opt/bin/harness")->validOptions,
              std::vector<std::string>{"quiet"});
}

TEST(OptionParserTest, ProjectTypeChecksAndAdjustments) {
    const std::string usage =
        "Usage:  readjoin [options] [projectDir] [MID_List@](sfffile | fnafile | "
        "[regions:]analysisDirectory)...\n";
    Outcome o = inChild([&] {
        OptionParser* p = makeParser({"readjoin", "-nosort", "-pool", "x", "-p"});
        p->parse();
        p->checkValidOptions(true);
    });
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err,
              "Error: Option \"-nosort\" is not valid for mapping projects.\n"
              "Error: Option \"-pool\" is not valid for mapping projects.\n" +
                  usage);

    OptionParser* join = makeParser({"readjoin", "-d", "proj"});
    join->doReadjoinOptionAdjustment();
    EXPECT_FALSE(join->useOptionValue("d"));
    EXPECT_EQ(join->parse(), 2);
    OptionParser* asmgo = makeParser({"asmgo", "-o", "x", "-read", "r.sff"});
    asmgo->doMapgoAsmgoOptionAdjustment(false);
    EXPECT_TRUE(asmgo->useOptionValue("p"));
    EXPECT_EQ(asmgo->optionIndex, 3);
    OptionParser* mapgo = makeParser({"mapgo", "-ref", "r.fna"});
    mapgo->doMapgoAsmgoOptionAdjustment(true);
    EXPECT_EQ(mapgo->optionIndex, 0);
}

TEST(OptionParserTest, OptionFileUnderTheEngineOnly) {
    TempDir dir;
    std::string cfg = dir.path("opts.cfg");
    writeFile(cfg,
              "# settings\n\n   cpu 4 # four\nnosuch 1\nquiet yes\nminlen\noptcfg other.cfg\n"
              "minlen abc\nminlen 101\nsiom\t5#five\nverbose");
    Outcome o = inChild([&] {
        OptionParser* p = makeParser({"quillon", "-optcfg", cfg, "-cpu", "8", "proj"});
        int index = p->parse();
        printf("%d %s %d|", index, p->getStrVal("cpu").c_str(), p->getOptionCount("optcfg"));
        for (const auto& nv : p->getNameValuePairs())
            printf("%s=%s,", nv.first.c_str(), nv.second.c_str());
    });
    EXPECT_EQ(o.status, RETURNED);
    EXPECT_EQ(o.out, "5 4 0|cpu=4,cpu=8,siom=5,verbose=,");
    std::string in = " found in the file '" + cfg + "'.\n";
    EXPECT_EQ(o.err, "Error:  Invalid option: '-nosuch' found in file " + cfg + ".\n" +
                         "Error:  Invalid '-quiet' option's value: 'yes' (the option is no-value "
                         "option)" +
                         in +
                         "Error:  Invalid '-minlen' option's value (the option is missing value)" +
                         in + "Error:  Invalid option: '-optcfg' (recursive use of the option) " +
                         "found in file " + cfg + ".\n" +
                         "Error:  Invalid '-minlen' option's value: 'abc' (not a number)" + in +
                         "Error:  Invalid '-minlen' option's value: 101 (valid value range is " +
                         "from 20 to 100)" + in);

    Outcome missing = parseInChild({"quillon", "-optcfg", dir.path("none.cfg")});
    EXPECT_EQ(missing.status, 255);
    EXPECT_EQ(missing.err, "Error:  Unable to open file:  " + dir.path("none.cfg") + "\n");

    // Any other command keeps -optcfg as a plain option and never opens the file.
    OptionParser* p = makeParser({"mapgo", "-optcfg", dir.path("none.cfg")});
    p->parse();
    EXPECT_EQ(p->getStrVal("optcfg"), dir.path("none.cfg"));
}

// Lines of the option file may run far past the 128 bytes the line buffer starts with:
// values, comments and indentation of any length are read whole.
TEST(OptionParserTest, OptionFileLinesLongerThanTheLineBuffer) {
    TempDir dir;
    std::string cfg = dir.path("long.cfg");
    std::string value(300, 'v');
    writeFile(cfg, "vt " + value + "   # " + std::string(500, 'c') + "\ncpu 3\n" +
                       std::string(200, ' ') + "siom 7\n" + std::string(129, '#') + "\n" +
                       std::string(130, 'x') + " 1\n");
    Outcome o = inChild([&] {
        OptionParser* p = makeParser({"quillon"});
        int added = p->parseOptionsConfigFile(cfg);
        printf("%d|", added);
        for (const auto& nv : p->getNameValuePairs())
            printf("%s=%zu:%s,", nv.first.c_str(), nv.second.size(),
                   nv.second.substr(0, 3).c_str());
    });
    EXPECT_EQ(o.status, RETURNED);
    EXPECT_EQ(o.out, "3|cpu=1:3,siom=1:7,vt=300:vvv,");
    EXPECT_EQ(o.err, "Error:  Invalid option: '-" + std::string(130, 'x') + "' found in file " +
                         cfg + ".\n");
}
