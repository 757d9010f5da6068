// b3-dicomdir builds and lists DICOMDIRs; dcmtk reads what it writes and
// it reads what dcmtk writes.
#include <filesystem>
#include <fstream>

#include "ToolRun.h"

namespace {

class DicomdirTool : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-dicomdir", "b3-mkimage"});
    }
    void makeSeries(const std::string& folder, int count, const std::string& patient)
    {
        makeImage(folder, {"-n", std::to_string(count), "-s", "16", "--patient-id", patient, "--patient-name",
                           patient + "^Test"});
    }
};

}

TEST_F(DicomdirTool, BuildsRecordsForAFolderWhosePathsAreFileIds)
{
    RunResult none = tool("b3-dicomdir", {"--list", dir});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("DICOMDIR: no such file"), std::string::npos) << none.err;
    makeSeries("set/CT1", 3, "P1");
    makeSeries("set/CT2", 2, "P2");
    RunResult built = tool("b3-dicomdir", {"--file-set-id", "TESTSET", dir + "/set"});
    ASSERT_EQ(built.status, 0) << built.out << built.err;
    EXPECT_NE(built.out.find("2 patients, 2 studies, 2 series, 5 objects"), std::string::npos) << built.out;

    RunResult listed = tool("b3-dicomdir", {"--list", dir + "/set/DICOMDIR"});
    ASSERT_EQ(listed.status, 0) << listed.err;
    EXPECT_NE(listed.out.find("file-set ID 'TESTSET', 2 top-level records"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("  PATIENT  P1^Test (ID P1)"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("      SERIES   CT series 1"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("        IMAGE    instance 3  CT1\\IMG0003 (CT Image Storage)"), std::string::npos)
        << listed.out;
    EXPECT_EQ(countOf(listed.out, "IMAGE "), 5);
}

TEST_F(DicomdirTool, CopiesFilesWithOtherNamesIntoAFileSet)
{
    std::string source = dir + "/received/some.study";
    makeSeries("received/some.study", 2, "P1");
    std::string renamed = source + "/1.2.3.dcm";
    ASSERT_EQ(rename((source + "/IMG0001").c_str(), renamed.c_str()), 0);

    RunResult inPlace = tool("b3-dicomdir", {dir + "/received"});
    EXPECT_EQ(inPlace.status, 1);
    EXPECT_NE(inPlace.err.find("1.2.3.dcm: its path is not a valid File ID"), std::string::npos) << inPlace.err;

    RunResult copied = tool("b3-dicomdir", {"--from", dir + "/received", dir + "/set"});
    ASSERT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(filesUnder(dir + "/set").size(), 3u) << "two images and the DICOMDIR";
    RunResult listed = tool("b3-dicomdir", {"-l", dir + "/set"});
    EXPECT_NE(listed.out.find("PAT0001\\STU0001\\SER0001\\IMG0002"), std::string::npos) << listed.out;
}

TEST_F(DicomdirTool, DcmtkReadsTheDicomdirItWrites)
{
    need({}, {"dcmdump"});
    makeSeries("set/CT1", 2, "P1");
    ASSERT_EQ(tool("b3-dicomdir", {dir + "/set"}).status, 0);
    RunResult dump = run({"dcmdump", dir + "/set/DICOMDIR"});
    ASSERT_EQ(dump.status, 0) << dump.err;
    EXPECT_EQ(countOf(dump.out, "\"Directory Record\" IMAGE"), 2) << dump.out;
    EXPECT_EQ(countOf(dump.out, "[CT1\\IMG0002]"), 1) << dump.out;
}

TEST_F(DicomdirTool, ListsADicomdirWrittenByDcmtk)
{
    need({}, {"dcmmkdir"});
    makeSeries("set/CT1", 3, "P1");
    RunResult made = run({"dcmmkdir", "+r", "+id", dir + "/set", "+D", dir + "/set/DICOMDIR", "CT1"});
    ASSERT_EQ(made.status, 0) << made.out << made.err;
    RunResult listed = tool("b3-dicomdir", {"-l", dir + "/set"});
    ASSERT_EQ(listed.status, 0) << listed.out << listed.err;
    EXPECT_NE(listed.out.find("PATIENT  P1^Test (ID P1)"), std::string::npos) << listed.out;
    EXPECT_EQ(countOf(listed.out, "IMAGE "), 3) << listed.out;
    EXPECT_NE(listed.out.find("CT1\\IMG0003"), std::string::npos) << listed.out;
}

// A structured report is no image: b3-dicomdir gives it a PRIVATE record
// naming its class, and reads dcmmkdir's SR DOCUMENT record without calling
// the DICOMDIR damaged.
TEST_F(DicomdirTool, StructuredReportGetsAMatchingRecordBothWays)
{
    need({}, {"dump2dcm", "dcmmkdir"});
    makeSeries("set/CT1", 2, "P1");
    std::filesystem::create_directories(dir + "/set/SR");
    std::ofstream(dir + "/sr.dump") << R"((0008,0016) UI =ComprehensiveSRStorage
(0008,0018) UI [1.2.3.77.1]
(0008,0020) DA [20200101]
(0008,0023) DA [20200101]
(0008,0030) TM [101010]
(0008,0033) TM [101010]
(0008,0050) SH [ACC1]
(0008,0060) CS [SR]
(0010,0010) PN [Doe^SR]
(0010,0020) LO [P2]
(0020,000d) UI [1.2.3.77.2]
(0020,000e) UI [1.2.3.77.3]
(0020,0010) SH [S1]
(0020,0011) IS [1]
(0020,0013) IS [1]
(0040,a040) CS [CONTAINER]
(0040,a043) SQ (Sequence with explicit length #=1)
  (fffe,e000) na (Item with explicit length #=3)
    (0008,0100) SH [1234]
    (0008,0102) SH [99X]
    (0008,0104) LO [Title]
  (fffe,e00d) na (ItemDelimitationItem for re-encoding)
(fffe,e0dd) na (SequenceDelimitationItem for re-encod.)
(0040,a050) CS [SEPARATE]
(0040,a073) SQ (Sequence with explicit length #=1)
  (fffe,e000) na (Item with explicit length #=3)
    (0040,a027) LO [Org]
    (0040,a030) DT [20200101101010]
    (0040,a075) PN [Obs^Er]
  (fffe,e00d) na (ItemDelimitationItem for re-encoding)
(fffe,e0dd) na (SequenceDelimitationItem for re-encod.)
(0040,a491) CS [COMPLETE]
(0040,a493) CS [VERIFIED]
)";
    ASSERT_EQ(run({"dump2dcm", "-q", "+te", dir + "/sr.dump", dir + "/set/SR/SR1"}).status, 0);

    ASSERT_EQ(tool("b3-dicomdir", {dir + "/set"}).status, 0);
    RunResult ours = tool("b3-dicomdir", {"-l", dir + "/set"});
    ASSERT_EQ(ours.status, 0) << ours.out << ours.err;
    EXPECT_NE(ours.out.find("PRIVATE  instance 1  SR\\SR1 (SR Comprehensive)"), std::string::npos) << ours.out;
    EXPECT_EQ(countOf(ours.out, "IMAGE "), 2) << ours.out;

    std::filesystem::remove(dir + "/set/DICOMDIR");
    RunResult made = run({"dcmmkdir", "+r", "+I", "+id", dir + "/set", "+D", dir + "/set/DICOMDIR", "CT1", "SR"});
    ASSERT_EQ(made.status, 0) << made.out << made.err;
    RunResult theirs = tool("b3-dicomdir", {"-l", dir + "/set"});
    EXPECT_EQ(theirs.status, 0) << theirs.out << theirs.err;
    EXPECT_NE(theirs.out.find("SR\\SR1"), std::string::npos) << theirs.out;
    EXPECT_NE(theirs.out.find("1 record of a newer type"), std::string::npos) << theirs.out;
    EXPECT_EQ(theirs.err.find("damaged"), std::string::npos) << theirs.err;
}

#ifdef BRENIK3_TEST_CODECS
TEST_F(DicomdirTool, ListingWithFramesNamesTheFilesWhoseFramesCannotBeDecoded)
{
    need({"b3-convert"});
    makeSeries("set/CT1", 2, "P1");
    // The second image in RLE, its only fragment's header claiming three
    // segments where a 16-bit grey image has two.
    std::string image = dir + "/set/CT1/IMG0002";
    ASSERT_EQ(tool("b3-convert", {"--rle", image, dir + "/rle.dcm"}).status, 0);
    std::string bytes = readFile(dir + "/rle.dcm");
    size_t header = bytes.rfind(std::string("\xfe\xff\x00\xe0", 4));
    ASSERT_NE(header, std::string::npos);
    bytes[header + 8] = 3;
    std::ofstream(image, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(tool("b3-dicomdir", {dir + "/set"}).status, 0);

    RunResult plain = tool("b3-dicomdir", {"--list", dir + "/set"});
    EXPECT_EQ(plain.status, 0) << "without --frames nothing is decoded";
    EXPECT_EQ(plain.out.find("decodable"), std::string::npos) << plain.out;

    RunResult listed = tool("b3-dicomdir", {"--list", "--frames", dir + "/set"});
    EXPECT_EQ(listed.status, 1);
    EXPECT_NE(listed.out.find("CT1\\IMG0001 (CT Image Storage)  [1 of 1 frames decodable]"), std::string::npos)
        << listed.out;
    EXPECT_NE(listed.out.find("CT1\\IMG0002 (CT Image Storage)  [0 of 1 frames decodable; cannot decode frame 1]"),
              std::string::npos)
        << listed.out;
    EXPECT_NE(listed.err.find("1 referenced file with frames that cannot be decoded"), std::string::npos) << listed.err;
}
#endif
