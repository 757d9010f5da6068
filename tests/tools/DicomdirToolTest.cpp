// b3-dicomdir builds and lists DICOMDIRs; dcmtk reads what it writes and
// it reads what dcmtk writes.
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
