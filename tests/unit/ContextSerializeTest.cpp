#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "Context.h"
#include "InputFile.h"
#include "TestSupport.h"

using testsupport::makeDir;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

using testsupport::exactly;

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// The dateModified value, which each writing replaces, as a fixed word.
std::string maskModified(const std::string& text) {
    return std::regex_replace(text, std::regex("<dateModified>[^<]*</dateModified>"),
                              "<dateModified>MODIFIED</dateModified>");
}

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
    writeFile(path, replaceAll(xml, "PROJ", root));
    return path;
}

Context* load(const TempDir& dir) {
    Context* c = checkProjectDirectory(dir.path("proj").c_str(), false);
    if (c != nullptr) c->releaseProjectLock();
    return c;
}

// A complete file as the writer lays it out: every element in writing order.
const char* const FULL_FILE =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
    "<ZeqProject>\n"
    "\n"
    "  <ProjectInformation>\n"
    "    <ProjectType>Mapping</ProjectType>\n"
    "    <ProjectDirectory>PROJ</ProjectDirectory>\n"
    "    <dateCreated>Sun Nov 15 03:20:11 2026</dateCreated>\n"
    "    <dateModified>Mon Nov 16 04:00:00 2026</dateModified>\n"
    "    <SoftwareVersion>3.0 (20140410_1040)</SoftwareVersion>\n"
    "  </ProjectInformation>\n"
    "\n"
    "  <Config>\n"
    "    <minimumReadLength>31</minimumReadLength>\n"
    "    <overlapSeedStep>12</overlapSeedStep>\n"
    "    <overlapSeedLength>16</overlapSeedLength>\n"
    "    <overlapMinSeedCount>1</overlapMinSeedCount>\n"
    "    <overlapSeedHitLimit>70</overlapSeedHitLimit>\n"
    "    <overlapHitPositionLimit>1000000</overlapHitPositionLimit>\n"
    "    <overlapMinMatchLength>60%</overlapMinMatchLength>\n"
    "    <overlapMinMatchIdentity>90</overlapMinMatchIdentity>\n"
    "    <overlapMatchIdentScore>2</overlapMatchIdentScore>\n"
    "    <overlapMatchDiffScore>-3</overlapMatchDiffScore>\n"
    "    <overlapMatchUniqueThresh>12</overlapMatchUniqueThresh>\n"
    "    <isogroupThresh>500</isogroupThresh>\n"
    "    <isotigThresh>100</isotigThresh>\n"
    "    <isotigContigCountThresh>100</isotigContigCountThresh>\n"
    "    <isotigContigLengthThresh>3</isotigContigLengthThresh>\n"
    "    <isotigDepthSplit>false</isotigDepthSplit>\n"
    "    <aceMode>Consed16</aceMode>\n"
    "    <aceReadMode>Raw</aceReadMode>\n"
    "    <pairAlignMode>Text</pairAlignMode>\n"
    "    <alignInfoMode>Auto</alignInfoMode>\n"
    "    <nucleotideFreqTable>false</nucleotideFreqTable>\n"
    "    <mapMinContigDepth>1</mapMinContigDepth>\n"
    "    <allContigThresh>100</allContigThresh>\n"
    "    <largeContigThresh>500</largeContigThresh>\n"
    "    <expectedDepth>0</expectedDepth>\n"
    "    <cDNAMode>false</cDNAMode>\n"
    "    <referenceMode>cDNA</referenceMode>\n"
    "    <largeGenome>true</largeGenome>\n"
    "    <multiplexMode>false</multiplexMode>\n"
    "    <scaffoldOutputMode>false</scaffoldOutputMode>\n"
    "    <scaffoldLengthThreshold>2000</scaffoldLengthThreshold>\n"
    "    <ripMode>false</ripMode>\n"
    "    <heterozygoteMode>false</heterozygoteMode>\n"
    "    <assemblerBatchSize>0</assemblerBatchSize>\n"
    "    <numCPU>4</numCPU>\n"
    "    <showSingleReadVariations>false</showSingleReadVariations>\n"
    "    <orvaneMappingMode>false</orvaneMappingMode>\n"
    "    <backwardCompatibleContigging>false</backwardCompatibleContigging>\n"
    "    <finishMode>false</finishMode>\n"
    "    <autoTrimming>true</autoTrimming>\n"
    "    <VectorDatabase/>\n"
    "    <screeningDatabase>/db/screen.fna</screeningDatabase>\n"
    "    <haplotypeFile/>\n"
    "    <targetedRegionFile/>\n"
    "    <annotationFile/>\n"
    "    <knownSNPFile/>\n"
    "    <accessionRenameFile/>\n"
    "    <filterExcludeFile/>\n"
    "    <filterIncludeFile/>\n"
    "    <UseSerialIO>false</UseSerialIO>\n"
    "    <SerialIOMinimizeDisk>false</SerialIOMinimizeDisk>\n"
    "    <SerialIOMemLimit>0</SerialIOMemLimit>\n"
    "  </Config>\n"
    "\n"
    "  <ReferenceFiles>\n"
    "    <SetRefCount>1</SetRefCount>\n"
    "    <File>\n"
    "      <Path>/refs/ref.fna</Path>\n"
    "      <Type>Fasta</Type>\n"
    "    </File>\n"
    "    <File>\n"
    "      <Path>/refs/ref.fastq</Path>\n"
    "      <Type>Fastq</Type>\n"
    "    </File>\n"
    "  </ReferenceFiles>\n"
    "\n"
    "  <ReadFiles>\n"
    "    <SetReadCount>7</SetReadCount>\n"
    "    <File>\n"
    "      <SFFDirFilename>run1.sff</SFFDirFilename>\n"
    "      <Path>/data/run1.sff</Path>\n"
    "      <Type>SFF</Type>\n"
    "      <IsPairedEnd>true</IsPairedEnd>\n"
    "      <Library>libA</Library>\n"
    "      <Pool>poolX</Pool>\n"
    "      <Rescore>false</Rescore>\n"
    "      <removeFlag>false</removeFlag>\n"
    "    </File>\n"
    "    <File>\n"
    "      <Path>/data/r.fastq</Path>\n"
    "      <Type>Fastq</Type>\n"
    "      <FastqScoreType>Illumina</FastqScoreType>\n"
    "      <FastqAccnoType>SRA</FastqAccnoType>\n"
    "      <RunName>run7</RunName>\n"
    "      <Region>2</Region>\n"
    "      <accnoPrefix>pre_</accnoPrefix>\n"
    "      <IsPairedEnd>false</IsPairedEnd>\n"
    "      <isLA>true</isLA>\n"
    "      <Pool>poolX</Pool>\n"
    "      <Rescore>true</Rescore>\n"
    "      <RescoreConfigFile>/cfg/r.cfg</RescoreConfigFile>\n"
    "      <removeFlag>true</removeFlag>\n"
    "      <Multiplex>\n"
    "        <Changed>true</Changed>\n"
    "        <Scheme>set1</Scheme>\n"
    "        <MID>\n"
    "          <Name>mid1</Name>\n"
    "          <Seq>ACGT</Seq>\n"
    "          <Error>2</Error>\n"
    "          <ThreepSeq>TTGA</ThreepSeq>\n"
    "        </MID>\n"
    "        <MID>\n"
    "          <Seq>GGCC</Seq>\n"
    "        </MID>\n"
    "      </Multiplex>\n"
    "    </File>\n"
    "    <File>\n"
    "      <Path>/data/map.sts</Path>\n"
    "      <Type>STS</Type>\n"
    "      <STSSeqFilename>/data/map.seq</STSSeqFilename>\n"
    "      <IsPairedEnd>false</IsPairedEnd>\n"
    "      <Pool>poolY</Pool>\n"
    "      <Rescore>false</Rescore>\n"
    "      <removeFlag>false</removeFlag>\n"
    "    </File>\n"
    "    <File>\n"
    "      <Path>/data/reads.fna</Path>\n"
    "      <Type>Fasta</Type>\n"
    "      <IsPairedEnd>false</IsPairedEnd>\n"
    "      <Rescore>false</Rescore>\n"
    "      <removeFlag>false</removeFlag>\n"
    "    </File>\n"
    "  </ReadFiles>\n"
    "\n"
    "</ZeqProject>\n";

// Loading the file in a child process must end with the message and status -1,
// and leave the file byte for byte as it was.
void expectLoadDies(const std::string& xml, const std::string& stderrRegex) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", xml);
    std::string before = readFile(path);
    EXPECT_EXIT(load(dir), testing::ExitedWithCode(255), stderrRegex);
    EXPECT_EQ(readFile(path), before);
}

std::string withConfig(const std::string& elements) {
    return "<ZeqProject>\n<Config>\n" + elements + "\n</Config>\n</ZeqProject>\n";
}

}  // namespace

TEST(ContextSerializeTest, ReadsEveryElement) {
    TempDir dir;
    makeProject(dir, "mapping", FULL_FILE);
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->dateCreated, "Sun Nov 15 03:20:11 2026");
    EXPECT_EQ(c->minimumReadLength, 31);
    EXPECT_TRUE(c->overlapMinMatchLengthIsPct);
    EXPECT_TRUE(c->aceMode == Context::ACE_CONSED && c->aceModeConsed16);
    EXPECT_EQ(c->referenceMode, Context::REFERENCE_CDNA);
    EXPECT_EQ(c->screeningDatabase, "/db/screen.fna");
    EXPECT_EQ(c->declaredReadCount, 7);  // not the number of File elements
    ASSERT_EQ(c->refFiles.size(), 2u);
    EXPECT_TRUE(c->refFiles[0]->isRefSeq() && c->refFiles[1]->isFastqFile());

    ASSERT_EQ(c->readFiles.size(), 4u);
    InputFile* sff = c->readFiles[0];
    EXPECT_EQ(sff->getProjectFilePath(), c->sffDirectory + "/run1.sff");
    EXPECT_EQ(sff->getPath(), "/data/run1.sff");
    InputFile* fq = c->readFiles[1];
    EXPECT_TRUE(fq->isFastqFile() && fq->isLA && fq->rescore && fq->removeFlag);
    EXPECT_EQ(fq->fastqAccnoType, 2);
    EXPECT_EQ(fq->poolId, sff->poolId);  // one pool name, one number
    EXPECT_NE(c->readFiles[2]->poolId, sff->poolId);
    EXPECT_TRUE(fq->doFiltering && fq->demultiplexFlag);
    ASSERT_EQ(fq->midList.size(), 2u);
    const MIDInfo& mid = fq->midList[0];
    EXPECT_EQ(mid.name + " " + mid.origName + " " + mid.threePrimeSeq, "MID1 mid1 TTGA");
    EXPECT_TRUE(mid.numError == 2 && mid.threePrimeNumError == 2 && mid.hasThreePrime);
    EXPECT_EQ(fq->midList[1].numError, -2);
    EXPECT_TRUE(c->readFiles[2]->isSTSFile() && c->readFiles[3]->isFastaFile());
    delete c;
}

TEST(ContextSerializeTest, RoundTripKeepsEveryByteButDateModified) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", FULL_FILE);
    std::string before = readFile(path);
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    EXPECT_TRUE(c->serialize());
    std::string after = readFile(path);
    EXPECT_EQ(maskModified(after), maskModified(before));
    EXPECT_NE(c->dateModified, "Mon Nov 16 04:00:00 2026");
    EXPECT_NE(after.find("<dateModified>" + c->dateModified + "</dateModified>\n"),
              std::string::npos);
    // No temporary file is left beside the project file.
    std::string listing;
    for (auto& entry : testsupport::snapshot(dir.path("proj/mapping")))
        listing += entry.first + " ";
    EXPECT_EQ(listing, "/.ProjectLock /ZeqMappingProject.xml ");
    delete c;
}

TEST(ContextSerializeTest, WritesThroughALinkAndKeepsTheMode) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", FULL_FILE);
    std::string target = dir.path("elsewhere.xml");
    ASSERT_EQ(rename(path.c_str(), target.c_str()), 0);
    ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    // A project file reached through a link is still the project's file.
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    EXPECT_TRUE(c->serialize());
    EXPECT_EQ(checkPath(path.c_str()), 2);  // still a link
    EXPECT_EQ(maskModified(readFile(target)),
              maskModified(replaceAll(FULL_FILE, "PROJ", dir.path("proj"))));
    struct stat st;
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
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
    std::string w = "Warning:  Unrecognized node in ZeqProject.xml file: ";
    EXPECT_EQ(err, w + "\"Extra\".\n" + w + "\"Owner\".\n" + w + "\"knob\".\n" + w + "\"Note\".\n" +
                       w + "\"Kind\".\n" + w + "\"Other\".\n" + w + "\"Color\".\n" + w +
                       "\"Bad\".\n" + w + "\"Odd\".\n" +
                       "Warning:  Invalid value in ZeqProject.xml file Error=two.\n");
    EXPECT_EQ(c->minimumReadLength, 30);  // not a number: default kept, no message
    EXPECT_EQ(c->declaredReadCount, 0);
    EXPECT_EQ(c->readFiles[0]->midList[0].numError, -2);
    EXPECT_TRUE(c->serialize());
    std::string out = readFile(path);
    for (const char* gone : {"Extra", "Owner", "knob", "Note", "Kind", "Other", "Color", "Bad",
                             "Odd", "truePairDistanceThresh", ">1.0<", "/else"}) {
        EXPECT_EQ(out.find(gone), std::string::npos) << gone;
    }
    for (std::string kept :
         {"    <ProjectType>Mapping</ProjectType>\n    <ProjectDirectory>" + dir.path("proj") +
              "</ProjectDirectory>\n",
          std::string("<overlapMinMatchLength>60</overlapMinMatchLength>"),
          std::string("<aceMode>Consed</aceMode>"), std::string("<ripMode>true</ripMode>"),
          std::string("<SoftwareVersion>3.0 (20140410_1040)</SoftwareVersion>"),
          std::string("        <MID>\n          <Seq>AC</Seq>\n        </MID>\n")}) {
        EXPECT_NE(out.find(kept), std::string::npos) << kept;
    }
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
    EXPECT_TRUE(d->isSFFFile());
    EXPECT_EQ(d->displayName, "d.sff, region 3");
    EXPECT_TRUE(d->isPairedEnd);
    EXPECT_FALSE(d->removeFlag);
    EXPECT_FALSE(d->isLA);
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
    // Only one line differs between these two writings: dateModified.
    EXPECT_NE(out.find("<dateCreated>" + c->dateCreated + "</dateCreated>"), std::string::npos);
    delete c;
}

TEST(ContextSerializeTest, InvalidMultiplexSequenceStopsTheWriter) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", FULL_FILE);
    Context* c = load(dir);
    ASSERT_NE(c, nullptr);
    std::string before = readFile(path);
    c->readFiles[1]->midList[1].midSeq = "ACGZ";
    EXPECT_EXIT(c->serialize(), testing::ExitedWithCode(255),
                exactly("Error:  Invalid format of ZeqProject.xml file (invalid DNA multipex "
                        "sequence).\n"));
    EXPECT_EQ(readFile(path), before);
    delete c;
}

TEST(ContextSerializeDeathTest, MalformedFilesEndTheLoad) {
    expectLoadDies(withConfig("<minimumReadLength>14</minimumReadLength>"),
                   exactly("Error:  The value of minimumReadLength in the ZeqProject.xml file must "
                           "be between 15 and 100.\n     The value in the project file is 14\n"));
    expectLoadDies(withConfig("<overlapSeedLength>65</overlapSeedLength>"),
                   exactly("Error:  The value of overlapSeedLength in the ZeqProject.xml file must "
                           "be between 6 and 64, inclusive.\n     The value in the project file "
                           "is 65\n"));
    expectLoadDies(withConfig("<overlapMinMatchIdentity>101</overlapMinMatchIdentity>"),
                   exactly("Error:  The value of overlapMinMatchPctIdent in the ZeqProject.xml "
                           "file must be between 0 and 100, inclusive.\n     The value in the "
                           "project file is 101\n"));
    expectLoadDies(withConfig("<maxSampleVariantFreqPct>-1</maxSampleVariantFreqPct>"),
                   exactly("Error:  The value of maxSampleVariantFreqPct in the ZeqProject.xml "
                           "file must be betveen 0 and 100.\n     The value in the project file "
                           "is -1\n"));
    expectLoadDies(withConfig("<aceMode>Bogus</aceMode>"),
                   exactly("Error:  Unrecognized aceMode in the ZeqProject.xml file.\n   The value "
                           "in the project file is Bogus\n   The allowed values are None, File, "
                           "Dir, Auto or Consed (case-insensitive).\n"));
    expectLoadDies(withConfig("<largeGenome>maybe</largeGenome>"),
                   exactly("Error:  Unrecognized largeGenomeMode in the ZeqProject.xml file.\n   "
                           "The value in the project file is maybe\n   The allowed values are "
                           "true or false (case-insensitive).\n"));
    expectLoadDies(withConfig("<cDNAMode>yes</cDNAMode>"),
                   exactly("Error:  Unrecognized cDNAMode value in the ZeqProject.xml file.\n   "
                           "The value in the project file is yes\n   The allowed values are true "
                           "or false (case-insensitive).\n"));
    expectLoadDies(
        "<ZeqProject><ReadFiles><File><Path>/a</Path><Multiplex><MID><Seq>AC1</Seq></MID>"
        "</Multiplex></File></ReadFiles></ZeqProject>",
        exactly("Error:  Invalid format of ZeqProject.xml file (invalid DNA multiplex "
                "sequence).\n"));
    expectLoadDies(
        "<ZeqProject><ReferenceFiles><File><Type>Genbank</Type></File>"
        "</ReferenceFiles></ZeqProject>",
        exactly("Error:  Unrecognized fasta file type in the ZeqProject.xml file.\n   "
                "The value in the project file is Genbank\n   The allowed values are "
                "Fasta or Fastq (case-insensitive).\n"));
    expectLoadDies("<Other></Other>",
                   "Assertion:  node != __null && node->getName\\(\\) == \"ZeqProject\"");
}

TEST(ContextSerializeDeathTest, MissingSubProjectFile) {
    TempDir dir;
    std::string path = makeProject(dir, "mapping", "");
    unlink(path.c_str());
    std::string proj = dir.path("proj");
    EXPECT_EXIT(Context(proj, "mapping", true, false, false), testing::ExitedWithCode(255),
                "Assertion:  node != __null && node->getName\\(\\) == \"ZeqProject\"");
    EXPECT_FALSE(testsupport::exists(path));
}
