// b3-dicomdir builds and lists DICOMDIRs; dcmtk reads what it writes and
// it reads what dcmtk writes.
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
    EXPECT_NE(built.out.find("2 patients, 2 studies, 2 series, 5 images"), std::string::npos) << built.out;

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
