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

const std::string READFIX_USAGE =
    "Usage:  readfix { -p | -np } [projectDir] readfile...\n"
    "        readfix { -relink [-verbose] } [projectDir] ReadFileOldPath ReadFileNewPath\n"
    "Options:\n"
    "   -p            - These runs/files contain Zeq paired reads\n"
    "   -np           - Default paired-end library to use for these files\n"
    "   -relink       - Changes path of one or more RefSeq files with that\n"
    "                   path in a mapping project\n"
    "   -verbose      - Outputs additional info about read files being changed.\n"
    "                   If specified more than once, it will just output details\n"
    "                   about what is changing without doing actual changes.\n"
    "\n"
    "In the first mode (with either -p or -np), this command changes the paired-end\n"
    "read status for one or more read data files.The -p and -nop options can appear\n"
    "anywhere on the command-line and affect the files after the option until the\n"
    "appearance of the next option).\n"
    "The readfile arguments should be specified as follows:\n"
    "   - SFF filenames as they appear in the project's \"sff\" sub-dir\n"
    "   - Fasta files using the full path to their physical location.\n"
    "In the second mode (using -relink option and optionally -verbose), it will\n"
    "change the path of one or more existing read files containing \"old\" path\n"
    "into a \"new\" path in a given project. Path names should not contain file\n"
    "names. No wild (joker) characters are allowed in the path names.\n"
    "The path arguments should be specified as they appear in the project's XML\n"
    "file (i.e. full path to their physical location should be used for both sff\n"
    "and non-sff (fasta and fastq) files).\n"
    "The -verbose option will just list project's read files info if no -relink \n"
    "option and arguments are specified.\n";
const std::string MAPGO_USAGE = "Usage:  mapgo [options] refdesc [MIDList@]filedesc\n";
const std::string QUILLON_USAGE = "Usage:  projgo [projectDirectory]\n";

// A parser for the command line args (args[0] is the invoked name) of a
// program whose executable is exe.
OptionParser* makeParser(std::vector<std::string> args, const std::string& exe = "") {
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    return new OptionParser((int)args.size(), argv.data(), exe.empty() ? "/bin/" + args[0] : exe);
}

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

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

TEST(OptionParserTest, HelpAndVersionGoToStdoutWithStatusZero) {
    Outcome help = parseInChild({"readfix", "-p", "-help", "-nosuch"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, "\n" + READFIX_USAGE +
                            "\n\n(The full documentation for \"readfix\" command can be found in "
                            "the user manual).\n\n");
    EXPECT_EQ(help.err, "");
    Outcome version = parseInChild({"/some/dir/readfix", "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "readfix 3.0 (20140410_1040)\nCopyright (c) readfix developers.\n\n");
    EXPECT_EQ(version.err, "");
}

TEST(OptionParserTest, CommandLineFaultsPrintMessageAndUsageWithStatusZero) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
        std::string usage;
    };
    std::vector<Case> cases = {
        {{"readfix", "-nosuch"}, "Error:  Invalid option: -nosuch.\n", READFIX_USAGE},
        {{"readfix", "-p", ""}, "Error:  Invalid option: -.\n", READFIX_USAGE},
        {{"readfix", "-"}, "Error:  Invalid option: -.\n", READFIX_USAGE},
        {{"readfix", "-cpu", "4", "-p"}, "Error:  Invalid options found:  -cpu.\n", READFIX_USAGE},
        {{"readfix", "-p", "-cpu", "4", "-cpu", "5"},
         "Error:  Invalid options found:  -cpu -cpu.\n",
         READFIX_USAGE},
        {{"mapgo", "-cpu"}, "Error:  No value specified after the '-cpu' option.\n", MAPGO_USAGE},
        {{"mapgo", "-o", "", "x"},
         "Error:  No value specified after the '-o' option.\n",
         MAPGO_USAGE},
        {{"mapgo", "-o", "-cpu", "4"},
         "Error:  '-o' option's value likely missing, '-o -cpu' appears on command-line.\n",
         MAPGO_USAGE},
        {{"mapgo", "-cpu", "four"},
         "Error:  Invalid '-cpu' option's value: four (not a number).\n",
         MAPGO_USAGE},
        {{"mapgo", "-minlen", "19"},
         "Error:  Invalid '-minlen' option's value: 19, valid value range is from 20 to 100.\n",
         MAPGO_USAGE},
        {{"mapgo", "-minlen", "101"},
         "Error:  Invalid '-minlen' option's value: 101, valid value range is from 20 to 100.\n",
         MAPGO_USAGE},
        {{"quillon", "-numsamples", "11"},
         "Error:  Invalid '-numsamples' option's value: 11, valid value range is from 0 to 10.\n",
         QUILLON_USAGE},
        {{"mapgo", "-at", "-ar", "x"},
         "Error:  Options -ar -at and -ad are mutually exclusive.\n",
         MAPGO_USAGE},
        {{"mapgo", "-info", "-noinfo"},
         "Error:  Options -info -infoall and -noinfo are mutually exclusive.\n",
         MAPGO_USAGE},
        {{"readdrop", "-p"},
         "Error:  Invalid options found:  -p.\n",
         "Usage:  readdrop [projectDir] readfile...\n"},
        {{"nothing-known"}, "", "Error:  Unknown command name \"nothing-known\".\n"},
    };
    for (const Case& c : cases) {
        Outcome o = parseInChild(c.args);
        std::string line = c.args.size() > 1 ? c.args[1] : c.args[0];
        EXPECT_EQ(o.status, 0) << line;
        EXPECT_EQ(o.err, c.message + c.usage) << line;
        EXPECT_EQ(o.out, "") << line;
    }
}

TEST(OptionParserTest, AcceptedValuesAndReturnedIndex) {
    EXPECT_EQ(makeParser({"readfix"})->parse(), 1);
    EXPECT_EQ(makeParser({"readfix", "proj", "-p"})->parse(), 1);
    EXPECT_EQ(makeParser({"readfix", "-p", "proj", "a.sff"})->parse(), 2);
    EXPECT_EQ(makeParser({"readfix", "-verbose", "-verbose"})->parse(), 3);

    OptionParser* p = makeParser({"mapgo", "-minlen", "20", "-a", "-3", "-bam", "-bamsub", "-o",
                                  "first", "-o", "second", "-e", "1.5x", "ref"});
    EXPECT_EQ(p->parse(), 13);
    EXPECT_EQ(p->getIntVal("minlen"), 20);
    EXPECT_EQ(p->getIntVal("a"), -3);
    EXPECT_EQ(p->getIntVal("e"), 1);
    EXPECT_DOUBLE_EQ(p->getDblVal("e"), 1.5);
    EXPECT_EQ(p->getIntVal("o"), -2);
    EXPECT_EQ(p->getStrVal("o"), "first");
    EXPECT_EQ(p->getStrValues("o"), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(p->getOptionCount("o"), 2);
    EXPECT_EQ(p->getStrVal("cpu"), "");
    EXPECT_EQ(p->getAllOptionsCount(), 7);
    EXPECT_EQ(p->getOptionNames(),
              (std::vector<std::string>{"a", "bam", "bamsub", "e", "minlen", "o"}));
    EXPECT_TRUE(p->hasOption("bamsub"));
    EXPECT_FALSE(p->hasOption("nobam"));
    EXPECT_TRUE(p->useOptionValue("o"));
    EXPECT_FALSE(p->useOptionValue("bam"));
    EXPECT_FALSE(p->useOptionValue("nosuch"));

    OptionParser* q = makeParser({"quillon", "-numsamples", "0", "-minlen", "100"});
    q->parse();
    EXPECT_EQ(q->getIntValues("numsamples"), std::vector<int>{0});
    EXPECT_EQ(q->getIntValues("minlen"), std::vector<int>{100});

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
    EXPECT_EQ(named->usageText, READFIX_USAGE);
    // An executable named after no command takes the invoked name's row.
    EXPECT_EQ(makeParser({"projhalt"}, "/opt/bin/harness")->validOptions,
              std::vector<std::string>{"quiet"});
    EXPECT_EQ(makeParser({"projbegin"})->usageText,
              "Usage:  mapbegin/asmbegin [projectDirectory]\n");
    EXPECT_EQ(makeParser({"quillon"})->usageText, QUILLON_USAGE);
    EXPECT_EQ(makeParser({"readdrop"})->validOptions.size(), 0u);
    EXPECT_EQ(makeParser({"projdump"})->validOptions,
              (std::vector<std::string>{"-refseq", "-contig"}));
}

TEST(OptionParserTest, CatalogueTables) {
    OptionParser* p = makeParser({"readfix"});
    EXPECT_EQ(p->optionsMetadata.size(), 197u);
    EXPECT_EQ(p->commandNames.size(), 13u);
    EXPECT_EQ(p->exclusiveOptions.size(), 15u);
    EXPECT_EQ(p->defaultOptions, (std::vector<std::string>{"version", "help"}));
    const OptionMetadata& siom = p->optionsMetadata["siom"];
    EXPECT_TRUE(siom.hasValue && siom.isInteger && siom.validForMapping && siom.validForAssembly);
    EXPECT_EQ(siom.minValue, 1);
    EXPECT_EQ(siom.maxValue, 1000);
    const OptionMetadata& nosort = p->optionsMetadata["nosort"];
    EXPECT_FALSE(nosort.hasValue || nosort.validForMapping || nosort.validForAssembly);
    // Every option a command lists is known, but the two dashed projdump entries.
    for (const std::string& command : p->commandNames) {
        for (const std::string& name : makeParser({command})->validOptions) {
            if (command != "projdump") {
                EXPECT_EQ(p->optionsMetadata.count(name), 1u) << name;
            }
        }
    }
}

TEST(OptionParserTest, ProjectTypeChecksAndAdjustments) {
    const std::string usage =
        "Usage:  readjoin [options] [projectDir] [MID_List@](sfffile | fnafile | "
        "[regions:]analysisDirectory)...\n";
    for (bool mapping : {false, true}) {
        Outcome o = inChild([&] {
            OptionParser* p = makeParser({"readjoin", "-nosort", "-pool", "x", "-p"});
            p->parse();
            p->checkValidOptions(mapping);
        });
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, mapping ? "Error: Option \"-nosort\" is not valid for mapping projects.\n"
                                   "Error: Option \"-pool\" is not valid for mapping projects.\n" +
                                       usage
                                 : "Error: Option \"-nosort\" is not valid for assembly "
                                   "projects.\n" +
                                       usage);
    }
    Outcome fine = inChild([] {
        OptionParser* p = makeParser({"readjoin", "-p", "-r"});
        p->parse();
        p->checkValidOptions(true);
        p->checkValidOptions(false);
    });
    EXPECT_EQ(fine.status, RETURNED);
    EXPECT_EQ(fine.err, "");

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
    EXPECT_EQ(o.err,
              "Error:  Invalid option: '-nosuch' found in file " + cfg + ".\n" +
                  "Error:  Invalid '-quiet' option's value: 'yes' (the option is no-value "
                  "option) found in the file '" +
                  cfg + "'.\n" +
                  "Error:  Invalid '-minlen' option's value (the option is missing value) found "
                  "in the file '" +
                  cfg + "'.\n" +
                  "Error:  Invalid option: '-optcfg' (recursive use of the option) found in file " +
                  cfg + ".\n" +
                  "Error:  Invalid '-minlen' option's value: 'abc' (not a number) found in the "
                  "file '" +
                  cfg + "'.\n" +
                  "Error:  Invalid '-minlen' option's value: 101 (valid value range is from 20 "
                  "to 100) found in the file '" +
                  cfg + "'.\n");

    Outcome missing = parseInChild({"quillon", "-optcfg", dir.path("none.cfg")});
    EXPECT_EQ(missing.status, 255);
    EXPECT_EQ(missing.err, "Error:  Unable to open file:  " + dir.path("none.cfg") + "\n");

    // Any other command keeps -optcfg as a plain option and never opens the file.
    OptionParser* p = makeParser({"mapgo", "-optcfg", dir.path("none.cfg")});
    p->parse();
    EXPECT_EQ(p->getStrVal("optcfg"), dir.path("none.cfg"));
}
