#include "TestSupport.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace testsupport {

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/readfix-test-XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
    char* real = realpath(buf.data(), nullptr);
    root = real;
    free(real);
}

TempDir::~TempDir() {
    std::error_code ec;
    // Restore write permission first, so that tests of read-only directories clean up.
    for (auto it = std::filesystem::recursive_directory_iterator(root, ec);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec)) chmod(it->path().c_str(), 0755);
    }
    std::filesystem::remove_all(root, ec);
}

std::string TempDir::path(const std::string& rel) const {
    return rel.empty() ? root : root + "/" + rel;
}

RunResult run(const std::string& program, const std::vector<std::string>& argv,
              const std::string& cwd) {
    RunOptions options;
    options.cwd = cwd;
    return run(program, argv, options);
}

RunResult run(const std::string& program, const std::vector<std::string>& argv,
              const RunOptions& options) {
    const std::string& cwd = options.cwd;
    int outPipe[2], errPipe[2];
    if (pipe(outPipe) != 0 || pipe(errPipe) != 0) throw std::runtime_error("pipe failed");
    pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        int devnull = open("/dev/null", O_RDONLY);
        dup2(devnull, 0);
        dup2(outPipe[1], 1);
        dup2(errPipe[1], 2);
        close(outPipe[0]);
        close(errPipe[0]);
        if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
        if (!cwd.empty()) setenv("PWD", cwd.c_str(), 1);
        for (const std::string& setting : options.environment) putenv(strdup(setting.c_str()));
        if (options.uid >= 0 && (setgid(options.uid) != 0 || setuid(options.uid) != 0)) _exit(125);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(program.c_str(), args.data());
        _exit(127);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    RunResult result;
    struct pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    int open = 2;
    char buf[65536];
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < 2; i++) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n <= 0) {
                close(fds[i].fd);
                fds[i].fd = -1;
                open--;
            } else {
                (i == 0 ? result.out : result.err).append(buf, n);
            }
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

RunResult runReadfix(const std::vector<std::string>& args, const std::string& cwd) {
    RunOptions options;
    options.cwd = cwd;
    return runReadfix(args, options);
}

RunResult runReadfix(const std::vector<std::string>& args, const RunOptions& options) {
    std::vector<std::string> argv{"readfix"};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(READFIX_BIN, argv, options);
}

int nobodyUid() {
    struct passwd* pw = getpwnam("nobody");
    return pw ? (int)pw->pw_uid : 65534;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out) throw std::runtime_error("cannot write " + path);
}

void makeDir(const std::string& path) { std::filesystem::create_directories(path); }

std::vector<std::pair<std::string, std::string>> snapshot(const std::string& dir) {
    std::vector<std::pair<std::string, std::string>> files;
    for (auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        std::string rel = entry.path().string().substr(dir.size());
        if (entry.is_symlink()) {
            files.emplace_back(rel, "-> " + std::filesystem::read_symlink(entry.path()).string());
        } else if (entry.is_regular_file()) {
            files.emplace_back(rel, readFile(entry.path().string()));
        } else {
            files.emplace_back(rel, "<dir>");
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string exactly(const std::string& text) {
    std::string re = "^";
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) re += '\\';
        re += c;
    }
    return re + "$";
}

std::string linkTarget(const std::string& link) {
    std::error_code ec;
    return std::filesystem::read_symlink(link, ec).string();
}

std::string sharedTestData() {
    struct stat st;
    if (stat(SHARED_TESTDATA "/sff", &st) == 0 && S_ISDIR(st.st_mode)) return SHARED_TESTDATA;
    return "";
}

}  // namespace testsupport

#include "ProjectBuilder.h"
#include "SampleReads.h"

namespace testsupport {

std::string expectedProjectXml(const std::string& projectDir, const std::string& dateCreated,
                               const std::vector<ExpectedFile>& files) {
    std::string x =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n<ZeqProject>\n\n";
    x += "  <ProjectInformation>\n    <ProjectType>Mapping</ProjectType>\n";
    x += "    <ProjectDirectory>" + projectDir + "</ProjectDirectory>\n";
    x += "    <dateCreated>" + dateCreated + "</dateCreated>\n";
    x += "    <dateModified>*</dateModified>\n";
    x += "    <SoftwareVersion>3.0 (20140410_1040)</SoftwareVersion>\n  </ProjectInformation>\n\n";
    const char* config[][2] = {{"minimumReadLength", "30"},
                               {"overlapSeedStep", "12"},
                               {"overlapSeedLength", "16"},
                               {"overlapMinSeedCount", "1"},
                               {"overlapSeedHitLimit", "70"},
                               {"overlapHitPositionLimit", "1000000"},
                               {"overlapMinMatchLength", "40"},
                               {"overlapMinMatchIdentity", "90"},
                               {"overlapMatchIdentScore", "2"},
                               {"overlapMatchDiffScore", "-3"},
                               {"overlapMatchUniqueThresh", "12"},
                               {"isogroupThresh", "500"},
                               {"isotigThresh", "100"},
                               {"isotigContigCountThresh", "100"},
                               {"isotigContigLengthThresh", "3"},
                               {"isotigDepthSplit", "false"},
                               {"aceMode", "Auto"},
                               {"aceReadMode", "Default"},
                               {"pairAlignMode", "Text"},
                               {"alignInfoMode", "Auto"},
                               {"nucleotideFreqTable", "false"},
                               {"mapMinContigDepth", "1"},
                               {"allContigThresh", "100"},
                               {"largeContigThresh", "500"},
                               {"expectedDepth", "0"},
                               {"cDNAMode", "false"},
                               {"referenceMode", "Auto"},
                               {"largeGenome", "false"},
                               {"multiplexMode", "false"},
                               {"scaffoldOutputMode", "false"},
                               {"scaffoldLengthThreshold", "2000"},
                               {"ripMode", "false"},
                               {"heterozygoteMode", "false"},
                               {"assemblerBatchSize", "0"},
                               {"numCPU", "0"},
                               {"showSingleReadVariations", "false"},
                               {"orvaneMappingMode", "false"},
                               {"backwardCompatibleContigging", "false"},
                               {"finishMode", "false"},
                               {"autoTrimming", "true"},
                               {"VectorDatabase", ""},
                               {"screeningDatabase", ""},
                               {"haplotypeFile", ""},
                               {"targetedRegionFile", ""},
                               {"annotationFile", ""},
                               {"knownSNPFile", ""},
                               {"accessionRenameFile", ""},
                               {"filterExcludeFile", ""},
                               {"filterIncludeFile", ""},
                               {"UseSerialIO", "false"},
                               {"SerialIOMinimizeDisk", "false"},
                               {"SerialIOMemLimit", "0"}};
    x += "  <Config>\n";
    for (auto& c : config) {
        std::string name = c[0], value = c[1];
        x += value.empty() ? "    <" + name + "/>\n"
                           : "    <" + name + ">" + value + "</" + name + ">\n";
    }
    x += "  </Config>\n\n  <ReferenceFiles>\n    <SetRefCount>0</SetRefCount>\n  "
         "</ReferenceFiles>\n\n";
    x += "  <ReadFiles>\n    <SetReadCount>" + std::to_string(files.size()) + "</SetReadCount>\n";
    for (const ExpectedFile& f : files) {
        x += "    <File>\n";
        if (f.type == 0) x += "      <SFFDirFilename>" + f.linkName + "</SFFDirFilename>\n";
        x += "      <Path>" + f.path + "</Path>\n";
        x += std::string("      <Type>") +
             (f.type == 0   ? "SFF"
              : f.type == 1 ? "Fasta"
                            : "Fastq") +
             "</Type>\n";
        if (f.type == 2)
            x += "      <FastqScoreType>Standard</FastqScoreType>\n"
                 "      <FastqAccnoType>General</FastqAccnoType>\n";
        x += std::string("      <IsPairedEnd>") + (f.pairedEnd ? "true" : "false") +
             "</IsPairedEnd>\n";
        x += "      <Rescore>false</Rescore>\n      <removeFlag>false</removeFlag>\n";
        x += "    </File>\n";
    }
    x += "  </ReadFiles>\n\n</ZeqProject>\n";
    return x;
}

std::string elementValue(const std::string& xml, const std::string& name) {
    size_t open = xml.find("<" + name + ">");
    if (open == std::string::npos) return "";
    open += name.size() + 2;
    size_t close = xml.find("</" + name + ">", open);
    return close == std::string::npos ? "" : xml.substr(open, close - open);
}

std::string maskDateModified(const std::string& xml) {
    size_t open = xml.find("<dateModified>");
    if (open == std::string::npos) return xml;
    open += 14;
    size_t close = xml.find("</dateModified>", open);
    if (close == std::string::npos) return xml;
    return xml.substr(0, open) + "*" + xml.substr(close);
}

SampleProject::SampleProject(const std::string& dir, bool withTextFiles) {
    proj = dir + "/proj";
    runs = dir + "/runs";
    subDir = proj + "/mapping";
    xmlPath = subDir + "/ZeqMappingProject.xml";
    makeDir(runs);
    SffWriter a(400), b(400);
    addSampleSffReads(a, 5, 11, "AAAA");
    addSampleSffReads(b, 4, 12, "BBBB");
    if (!a.write(runs + "/A.sff") || !b.write(runs + "/B.sff"))
        throw std::runtime_error("cannot write sample SFF files");
    ProjectBuilder builder(proj);
    builder.addSffFile(runs + "/A.sff");
    builder.addSffFile(runs + "/B.sff");
    files = {{0, "A.sff", runs + "/A.sff", false}, {0, "B.sff", runs + "/B.sff", false}};
    if (withTextFiles) {
        writeSampleFasta(runs + "/reads.fna", runs + "/reads.qual", 3, 13, "FFFF");
        writeSampleFastq(runs + "/reads.fastq", 3, 14, "QQQQ");
        builder.addFastaFile(runs + "/reads.fna");
        builder.addFastqFile(runs + "/reads.fastq");
        files.push_back({1, "", runs + "/reads.fna", false});
        files.push_back({2, "", runs + "/reads.fastq", false});
    }
    builder.write();
}

}  // namespace testsupport
