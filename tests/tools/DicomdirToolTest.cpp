// b3-dicomdir builds and lists DICOMDIRs; dcmtk reads what it writes and
// it reads what dcmtk writes.
#include <fstream>

#include <gtest/gtest.h>

#include "ToolRun.h"

namespace {

int countOf(const std::string& text, const std::string& what)
{
    int count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        count++;
    return count;
}

class DicomdirTool : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!toolExists("b3-dicomdir") || !toolExists("b3-mkimage"))
            GTEST_SKIP() << "tools not built";
        dir = scratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }

    void makeSeries(const std::string& folder, int count, const std::string& patient)
    {
        RunResult r = run({toolPath("b3-mkimage"), "-n", std::to_string(count), "-s", "16", "--patient-id", patient,
                           "--patient-name", patient + "^Test", folder});
        ASSERT_EQ(r.status, 0) << r.err;
    }

    std::string dir;
};

}

TEST_F(DicomdirTool, BuildsRecordsForAFolderWhosePathsAreFileIds)
{
    makeSeries(dir + "/set/CT1", 3, "P1");
    makeSeries(dir + "/set/CT2", 2, "P2");
    RunResult built = run({toolPath("b3-dicomdir"), "--file-set-id", "TESTSET", dir + "/set"});
    ASSERT_EQ(built.status, 0) << built.out << built.err;
    EXPECT_NE(built.out.find("2 patients, 2 studies, 2 series, 5 images"), std::string::npos) << built.out;

    RunResult listed = run({toolPath("b3-dicomdir"), "--list", dir + "/set/DICOMDIR"});
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
    makeSeries(source, 2, "P1");
    std::string renamed = source + "/1.2.3.dcm";
    ASSERT_EQ(rename((source + "/IMG0001").c_str(), renamed.c_str()), 0);

    RunResult inPlace = run({toolPath("b3-dicomdir"), dir + "/received"});
    EXPECT_EQ(inPlace.status, 1);
    EXPECT_NE(inPlace.err.find("1.2.3.dcm: its path is not a valid File ID"), std::string::npos) << inPlace.err;

    RunResult copied = run({toolPath("b3-dicomdir"), "--from", dir + "/received", dir + "/set"});
    ASSERT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(filesUnder(dir + "/set").size(), 3u) << "two images and the DICOMDIR";
    RunResult listed = run({toolPath("b3-dicomdir"), "-l", dir + "/set"});
    EXPECT_NE(listed.out.find("PAT0001\\STU0001\\SER0001\\IMG0002"), std::string::npos) << listed.out;
}

TEST_F(DicomdirTool, FailsClearlyWithoutADicomdir)
{
    RunResult r = run({toolPath("b3-dicomdir"), "--list", dir});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("DICOMDIR: no such file"), std::string::npos) << r.err;
}

TEST_F(DicomdirTool, DcmtkReadsTheDicomdirItWrites)
{
    if (!programOnPath("dcmdump"))
        GTEST_SKIP() << "dcmtk's dcmdump not installed";
    makeSeries(dir + "/set/CT1", 2, "P1");
    ASSERT_EQ(run({toolPath("b3-dicomdir"), dir + "/set"}).status, 0);
    RunResult dump = run({"dcmdump", dir + "/set/DICOMDIR"});
    ASSERT_EQ(dump.status, 0) << dump.err;
    EXPECT_EQ(countOf(dump.out, "\"Directory Record\" IMAGE"), 2) << dump.out;
    EXPECT_EQ(countOf(dump.out, "[CT1\\IMG0002]"), 1) << dump.out;
}

TEST_F(DicomdirTool, ListsADicomdirWrittenByDcmtk)
{
    if (!programOnPath("dcmmkdir"))
        GTEST_SKIP() << "dcmtk's dcmmkdir not installed";
    makeSeries(dir + "/set/CT1", 3, "P1");
    RunResult made = run({"dcmmkdir", "+r", "+id", dir + "/set", "+D", dir + "/set/DICOMDIR", "CT1"});
    ASSERT_EQ(made.status, 0) << made.out << made.err;
    RunResult listed = run({toolPath("b3-dicomdir"), "-l", dir + "/set"});
    ASSERT_EQ(listed.status, 0) << listed.out << listed.err;
    EXPECT_NE(listed.out.find("PATIENT  P1^Test (ID P1)"), std::string::npos) << listed.out;
    EXPECT_EQ(countOf(listed.out, "IMAGE "), 3) << listed.out;
    EXPECT_NE(listed.out.find("CT1\\IMG0003"), std::string::npos) << listed.out;
}
