#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "Context.h"
#include "InputFile.h"
#include "TestSupport.h"

using namespace testsupport;

namespace {

// A project skeleton of the given type whose sub-project file holds xml; returns
// the path of that file.
std::string makeProject(const TempDir& dir, const std::string& type, const std::string& xml) {
    std::string root = dir.path("proj");
    makeDir(root);
    makeDir(root + "/sff");
    writeFile(root + "/ZeqProject.xml", "<ZeqProject/>\n");
    makeDir(root + "/" + type);
    writeFile(root + "/" + type + "/.ProjectLock", "");
    std::string path = root + "/" + type +
                       (type == "mapping" ? "/ZeqMappingProject.xml" : "/ZeqAssemblyProject.xml");
    writeFile(path, xml);
    return path;
}

Context* load(const TempDir& dir) {
    Context* c = checkProjectDirectory(dir.path("proj").c_str(), false);
    if (c != nullptr) c->releaseProjectLock();
    return c;
}

// The text with each first occurrence of a part replaced.
template <size_t N>
std::string edit(std::string x, const char* const (&changes)[N][2]) {
    for (auto& change : changes) {
        size_t at = x.find(change[0]);
        EXPECT_NE(at, std::string::npos) << change[0];
        if (at != std::string::npos) x.replace(at, strlen(change[0]), change[1]);
    }
    return x;
}

// A complete file as the writer lays it out, with a value other than the
// default in every kind of element: the default file with these changes.
std::string fullFile(const TempDir& dir) {
    std::string x = expectedProjectXml(dir.path("proj"), "Sun Nov 15 03:20:11 2026", {});
    const char* changes[][2] = {
        {"*</dateModified>", "Mon Nov 16 04:00:00 2026</dateModified>"},
        {">30</minimumReadLength>", ">31</minimumReadLength>"},
        {">40</overlapMinMatchLength>", ">60%</overlapMinMatchLength>"},
        {">Auto</aceMode>\n    <aceReadMode>Default<",
         ">Consed16</aceMode>\n    <aceReadMode>Raw<"},
        {">Auto</referenceMode>", ">cDNA</referenceMode>"},
        {">false</largeGenome>", ">true</largeGenome>"},
        {">0</numCPU>", ">4</numCPU>"},
        {"<screeningDatabase/>", "<screeningDatabase>/db/screen.fna</screeningDatabase>"},
        {"<SetRefCount>0</SetRefCount>\n",
         "<SetRefCount>1</SetRefCount>\n    <File>\n      <Path>/refs/ref.fna</Path>\n"
         "      <Type>Fasta</Type>\n    </File>\n    <File>\n      <Path>/refs/ref.fastq</Path>\n"
         "      <Type>Fastq</Type>\n    </File>\n"},
        {"<SetReadCount>0</SetReadCount>\n",
         "<SetReadCount>7</SetReadCount>\n    <File>\n      "
         "<SFFDirFilename>run1.sff</SFFDirFilename>\n"
         "      <Path>/data/run1.sff</Path>\n      <Type>SFF</Type>\n"
         "      <IsPairedEnd>true</IsPairedEnd>\n      <Library>libA</Library>\n"
         "      <Pool>poolX</Pool>\n      <Rescore>false</Rescore>\n"
         "      <removeFlag>false</removeFlag>\n    </File>\n    <File>\n"
         "      <Path>/data/r.fastq</Path>\n      <Type>Fastq</Type>\n"
         "      <FastqScoreType>Illumina</FastqScoreType>\n      "
         "<FastqAccnoType>SRA</FastqAccnoType>\n"
         "      <RunName>run7</RunName>\n      <Region>2</Region>\n"
         "      <accnoPrefix>pre_</accnoPrefix>\n      <IsPairedEnd>false</IsPairedEnd>\n"
         "      <isLA>true</isLA>\n      <Pool>poolX</Pool>\n      <Rescore>true</Rescore>\n"
         "      <RescoreConfigFile>/cfg/r.cfg</RescoreConfigFile>\n"
         "      <removeFlag>true</removeFlag>\n      <Multiplex>\n        <Changed>true</Changed>\n"
         "        <Scheme>set1</Scheme>\n        <MID>\n          <Name>mid1</Name>\n"
         "          <Seq>ACGT</Seq>\n          <Error>2</Error>\n"
         "          <ThreepSeq>TTGA</ThreepSeq>\n        </MID>\n        <MID>\n"
         "          <Seq>GGCC</Seq>\n        </MID>\n      </Multiplex>\n    </File>\n"
         "    <File>\n      <Path>/data/map.sts</Path>\n      <Type>STS</Type>\n"
         "      <STSSeqFilename>/data/map.seq</STSSeqFilename>\n"
         "      <IsPairedEnd>false</IsPairedEnd>\n      <Pool>poolY</Pool>\n"
         "      <Rescore>false</Rescore>\n      <removeFlag>false</removeFlag>\n    </File>\n"}};
    return edit(x, changes);
}

}  // namespace

// The file is reached through a link: every element is read, and the writing
// goes to the link's target, keeps its mode, changes only dateModified and
// leaves no temporary file behind.
TEST(ContextSerializeTest, ReadsAndWritesBackEveryElement) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", fullFile(dir));
    std::string before = readFile(path), target = dir.path("elsewhere.xml");
    ASSERT_EQ(rename(path.c_str(), target.c_str()), 0);
    ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->dateCreated + "|" + c->screeningDatabase,
              "Sun Nov 15 03:20:11 2026|/db/screen.fna");
    EXPECT_TRUE(c->minimumReadLength == 31 && c->overlapMinMatchLengthIsPct && c->aceModeConsed16 &&
                c->aceMode == Context::ACE_CONSED && c->referenceMode == Context::REFERENCE_CDNA);
    EXPECT_EQ(c->declaredReadCount, 7);  // not the number of File elements
    ASSERT_TRUE(c->refFiles.size() == 2 && c->readFiles.size() == 3);
    EXPECT_TRUE(c->refFiles[0]->isRefSeq() && c->refFiles[1]->isFastqFile());
    InputFile *sff = c->readFiles[0], *fq = c->readFiles[1];
    EXPECT_EQ(sff->getProjectFilePath() + " " + sff->getPath(),
              c->sffDirectory + "/run1.sff /data/run1.sff");
    EXPECT_TRUE(fq->isFastqFile() && fq->isLA && fq->rescore && fq->removeFlag &&
                fq->fastqAccnoType == 2 && fq->doFiltering && fq->demultiplexFlag);
    // One pool name, one number.
    EXPECT_TRUE(fq->poolId == sff->poolId && c->readFiles[2]->poolId != sff->poolId);
    ASSERT_EQ(fq->midList.size(), 2u);
    const MIDInfo& mid = fq->midList[0];
    EXPECT_EQ(mid.name + " " + mid.origName + " " + mid.threePrimeSeq, "MID1 mid1 TTGA");
    EXPECT_TRUE(mid.numError == 2 && mid.threePrimeNumError == 2 && mid.hasThreePrime);
    EXPECT_TRUE(fq->midList[1].numError == -2 && c->readFiles[2]->isSTSFile());

    EXPECT_TRUE(c->serialize());
    std::string after = readFile(target);
    EXPECT_EQ(maskDateModified(after), maskDateModified(before));
    EXPECT_NE(after.find("<dateModified>" + c->dateModified + "</dateModified>\n"),
              std::string::npos);
    EXPECT_NE(c->dateModified, "Mon Nov 16 04:00:00 2026");
    EXPECT_EQ(linkTarget(path), target);
    struct stat st;
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    std::string listing;
    for (auto& entry : snapshot(dir.path())) listing += entry.first + " ";
    EXPECT_EQ(listing,
              "/elsewhere.xml /proj /proj/ZeqProject.xml /proj/mapping /proj/mapping/.ProjectLock "
              "/proj/mapping/ZeqMappingProject.xml /proj/sff ");

    // A sequence that is no DNA stops the writer before the file is touched.
    c->readFiles[1]->midList[1].midSeq = "ACGZ";
    EXPECT_EXIT(c->serialize(), testing::ExitedWithCode(255),
                exactly("Error:  Invalid format of ZeqProject.xml file (invalid DNA multipex "
                        "sequence).\n"));
    EXPECT_EQ(readFile(target), after);
    delete c;
}

TEST(ContextSerializeTest, UnknownElementsWarnAndAreDropped) {
    TempDir dir;
    std::string path = makeProject(
        dir, "mapping",
        "<?xml version=\"1.0\"?>\n<ZeqProject>\n<Extra>1</Extra>\n"
        "<ProjectInformation><ProjectType>Assembly</ProjectType><Owner>x</Owner>"
        "<SoftwareVersion>1.0</SoftwareVersion><ProjectDirectory>/else</ProjectDirectory>"
        "</ProjectInformation>\n"
        "<Config><truePairDistanceThresh>5</truePairDistanceThresh><knob>1</knob>"
        "<minimumReadLength>abc</minimumReadLength><overlapMinMatchLength>60"
        "</overlapMinMatchLength><aceMode>consed</aceMode><ripMode>TRUE</ripMode></Config>\n"
        "<ReferenceFiles><Note/><File><Path>/r.fna</Path><Kind>x</Kind></File></ReferenceFiles>\n"
        "<ReadFiles><SetReadCount>x</SetReadCount><Other/><File><Path>/a.fna</Path><Color>red"
        "</Color><Multiplex><Bad/><MID><Seq>AC</Seq><Odd/><Error>two</Error></MID></Multiplex>"
        "</File></ReadFiles>\n</ZeqProject>\n");
    testing::internal::CaptureStderr();
    Context* c = load(dir);
    std::string err = testing::internal::GetCapturedStderr();
    ASSERT_NE(c, nullptr);
    std::string expected;
    for (const char* name :
         {"Extra", "Owner", "knob", "Note", "Kind", "Other", "Color", "Bad", "Odd"})
        expected +=
            std::string("Warning:  Unrecognized node in ZeqProject.xml file: \"") + name + "\".\n";
    EXPECT_EQ(err, expected + "Warning:  Invalid value in ZeqProject.xml file Error=two.\n");
    EXPECT_EQ(c->minimumReadLength, 30);  // not a number: default kept, no message
    EXPECT_EQ(c->declaredReadCount, 0);
    EXPECT_EQ(c->readFiles[0]->midList[0].numError, -2);
    // What is written is the default file with the known values only.
    EXPECT_TRUE(c->serialize());
    const char* const known[][2] = {
        {">40</overlapMinMatchLength>", ">60</overlapMinMatchLength>"},
        {">Auto</aceMode>", ">Consed</aceMode>"},
        {">false</ripMode>", ">true</ripMode>"},
        {"<SetRefCount>0</SetRefCount>\n",
         "<SetRefCount>0</SetRefCount>\n    <File>\n      <Path>/r.fna</Path>\n"
         "      <Type>Fasta</Type>\n    </File>\n"},
        {"<SetReadCount>0</SetReadCount>\n",
         "<SetReadCount>0</SetReadCount>\n    <File>\n      <Path>/a.fna</Path>\n"
         "      <Type>Fasta</Type>\n      <IsPairedEnd>false</IsPairedEnd>\n"
         "      <Rescore>false</Rescore>\n      <removeFlag>false</removeFlag>\n"
         "      <Multiplex>\n        <MID>\n          <Seq>AC</Seq>\n        </MID>\n"
         "      </Multiplex>\n    </File>\n"}};
    EXPECT_EQ(maskDateModified(readFile(path)),
              edit(expectedProjectXml(dir.path("proj"), c->dateModified, {}), known));
    delete c;
}

TEST(ContextSerializeTest, ReadFileTypesAndFlags) {
    TempDir dir;
    makeProject(dir, "mapping",
                "<ZeqProject><ReadFiles>"
                "<File><Path>/a.sff</Path><Type>sff</Type></File>"
                "<File><Path>/b.fna</Path></File>"
                "<File><SFFDirFilename>c.sff</SFFDirFilename><Path>/c</Path><Type>Fasta</Type>"
                "</File>"
                "<File><SFFDirFilename>d.sff</SFFDirFilename><Path>/d.sff</Path>"
                "<RunName>R</RunName><Region>3</Region><IsPairedEnd>TRUE</IsPairedEnd>"
                "<removeFlag>True</removeFlag><isLA>TRUE</isLA></File>"
                "</ReadFiles></ZeqProject>");
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    ASSERT_EQ(c->readFiles.size(), 4u);
    EXPECT_TRUE(c->readFiles[0]->isSTSFile());    // the type words are case-sensitive
    EXPECT_TRUE(c->readFiles[1]->isFastaFile());  // neither Type nor SFFDirFilename
    EXPECT_TRUE(c->readFiles[2]->isFastaFile());  // a later Type overrides SFFDirFilename
    InputFile* d = c->readFiles[3];
    EXPECT_TRUE(d->isSFFFile() && d->isPairedEnd && !d->removeFlag && !d->isLA);
    EXPECT_EQ(d->displayName, "d.sff, region 3");
    EXPECT_TRUE(c->serialize());
    std::string out = readFile(c->projectXMLPath);
    EXPECT_EQ(out.find("<RunName>"), std::string::npos);  // never written for SFF files
    EXPECT_EQ(out.find("<isLA>"), std::string::npos);
    delete c;
}

TEST(ContextSerializeTest, WritesTypeDefaultsAndOptionalElements) {
    TempDir dir;
    makeProject(dir, "assembly", "<ZeqProject></ZeqProject>");
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    c->aceReadMode = 7;  // out of range: an empty element
    c->multiplexMode = true;
    EXPECT_TRUE(c->serialize());
    std::string out = readFile(c->projectXMLPath);
    EXPECT_EQ(c->dateCreated, c->dateModified);  // an empty creation date takes this writing's
    EXPECT_NE(out.find("<dateCreated>" + c->dateCreated + "</dateCreated>"), std::string::npos);
    for (const char* part :
         {"<ProjectType>Assembly</ProjectType>", "<numCPU>1</numCPU>",
          "<pairAlignMode>None</pairAlignMode>", "<scaffoldOutputMode>true</scaffoldOutputMode>",
          "<aceMode>Auto</aceMode>\n    <aceReadMode/>\n",
          "<multiplexMode>true</multiplexMode>\n"
          "    <minSampleVariantFreqPct>0</minSampleVariantFreqPct>\n"
          "    <maxSampleVariantFreqPct>100</maxSampleVariantFreqPct>\n"
          "    <sampleVariantFreqShowEmptyRow>true</sampleVariantFreqShowEmptyRow>\n",
          "  <ReferenceFiles>\n    <SetRefCount>0</SetRefCount>\n  </ReferenceFiles>\n",
          "  <ReadFiles>\n    <SetReadCount>0</SetReadCount>\n  </ReadFiles>\n"}) {
        EXPECT_NE(out.find(part), std::string::npos) << part;
    }
    delete c;
}

// Loading each file ends with the message and status 255, and leaves the file
// byte for byte as it was.
TEST(ContextSerializeDeathTest, MalformedFilesEndTheLoad) {
    auto config = [](const std::string& element) {
        return "<ZeqProject>\n<Config>\n" + element + "\n</Config>\n</ZeqProject>\n";
    };
    const std::string range = " in the ZeqProject.xml file must be between ";
    const std::string word = "\n   The allowed values are true or false (case-insensitive).\n";
    std::vector<std::pair<std::string, std::string>> cases = {
        {config("<overlapSeedLength>65</overlapSeedLength>"),
         exactly("Error:  The value of overlapSeedLength" + range +
                 "6 and 64, inclusive.\n     The value in the project file is 65\n")},
        {config("<overlapMinMatchIdentity>101</overlapMinMatchIdentity>"),
         exactly("Error:  The value of overlapMinMatchPctIdent" + range +
                 "0 and 100, inclusive.\n     The value in the project file is 101\n")},
        {config("<maxSampleVariantFreqPct>-1</maxSampleVariantFreqPct>"),
         exactly("Error:  The value of maxSampleVariantFreqPct in the ZeqProject.xml file must be "
                 "betveen 0 and 100.\n     The value in the project file is -1\n")},
        {config("<aceMode>Bogus</aceMode>"),
         exactly("Error:  Unrecognized aceMode in the ZeqProject.xml file.\n   The value in the "
                 "project file is Bogus\n   The allowed values are None, File, Dir, Auto or "
                 "Consed (case-insensitive).\n")},
        {config("<largeGenome>maybe</largeGenome>"),
         exactly("Error:  Unrecognized largeGenomeMode in the ZeqProject.xml file.\n   The value "
                 "in the project file is maybe" +
                 word)},
        {config("<cDNAMode>yes</cDNAMode>"),
         exactly("Error:  Unrecognized cDNAMode value in the ZeqProject.xml file.\n   The value in "
                 "the project file is yes" +
                 word)},
        {"<ZeqProject><ReadFiles><File><Path>/a</Path><Multiplex><MID><Seq>AC1</Seq></MID>"
         "</Multiplex></File></ReadFiles></ZeqProject>",
         exactly("Error:  Invalid format of ZeqProject.xml file (invalid DNA multiplex "
                 "sequence).\n")},
        {"<ZeqProject><ReferenceFiles><File><Type>Genbank</Type></File></ReferenceFiles>"
         "</ZeqProject>",
         exactly("Error:  Unrecognized fasta file type in the ZeqProject.xml file.\n   The value "
                 "in the project file is Genbank\n   The allowed values are Fasta or Fastq "
                 "(case-insensitive).\n")},
        {"<Other></Other>", "Assertion:  node != __null && node->getName\\(\\) == \"ZeqProject\""}};
    for (auto& [xml, message] : cases) {
        TempDir dir;
        std::string path = makeProject(dir, "mapping", xml);
        EXPECT_EXIT(load(dir), testing::ExitedWithCode(255), message) << xml;
        EXPECT_EQ(readFile(path), xml);
    }
}

TEST(ContextSerializeDeathTest, MissingSubProjectFile) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", "");
    unlink(path.c_str());
    EXPECT_EXIT(Context(dir.path("proj"), "mapping", true, false, false),
                testing::ExitedWithCode(255),
                "Assertion:  node != __null && node->getName\\(\\) == \"ZeqProject\"");
    EXPECT_FALSE(exists(path));
}
