// b3-archive end to end: stored through the network, found, moved and
// got back by dcmtk's tools and by b3-find, b3-move and b3-get; requests
// it must refuse; restarts after files went missing or half-written.
#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/tools/ToolRun.h"

namespace fs = std::filesystem;

namespace {

class ArchiveTest : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        root = dir + "/store";
        destinationPort = freePort();
        std::ofstream(dir + "/destinations") << "# moves\nRECEIVER 127.0.0.1 " << destinationPort
                                              << "\nNOBODY 127.0.0.1 " << freePort() << "\n";
    }

    // Starts the archive; false when it does not come up.
    bool start()
    {
        archive.reset(new Background({toolPath("b3-archive"), "-p", std::to_string(port), "-o", root, "-d",
                                      dir + "/destinations", "-to", "10"},
                                     dir + "/archive-" + std::to_string(++starts) + ".log"));
        return archive->waitForOutput("listening on") && waitForListener(port);
    }

    // Two patients: DOE^JOHN with a study of three slices, Smith^Ann with one of two.
    void storeTwoStudies()
    {
        ASSERT_EQ(tool("b3-mkimage", {"-n", "3", "-s", "16", "--patient-name", "DOE^JOHN", "--patient-id", "P1",
                                      "--study-uid", "1.2.826.0.1.3680043.9.7.1", dir + "/in/doe"})
                      .status,
                  0);
        ASSERT_EQ(tool("b3-mkimage", {"-n", "2", "-s", "16", "--patient-name", "Smith^Ann", "--patient-id", "P2",
                                      "--study-uid", "1.2.826.0.1.3680043.9.7.2", dir + "/in/smith"})
                      .status,
                  0);
        RunResult sent = tool("b3-send", {address, "-aec", "B3-ARCHIVE", dir + "/in"});
        ASSERT_EQ(sent.status, 0) << sent.out << sent.err;
    }

    std::string archiveLog() const { return archive ? archive->output() : ""; }

    std::string root;
    int destinationPort = 0;
    int starts = 0;
    std::unique_ptr<Background> archive;
};

const char* const DOE_STUDY = "1.2.826.0.1.3680043.9.7.1";

TEST_F(ArchiveTest, DcmtkToolsFindMoveAndGetWhatWasStored)
{
    need({"b3-archive", "b3-send", "b3-mkimage"}, {"findscu", "movescu", "getscu"});
    ASSERT_TRUE(start());
    storeTwoStudies();
    EXPECT_EQ(filesUnder(root + "/" + DOE_STUDY).size(), 3u);

    RunResult found = run({"findscu", "-v", "-S", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=STUDY", "-k",
                           "PatientName=doe*", "-k", "StudyInstanceUID", "-k", "NumberOfStudyRelatedInstances",
                           "-k", "ModalitiesInStudy", "127.0.0.1", std::to_string(port)});
    ASSERT_EQ(found.status, 0) << found.err;
    std::string answers = found.out + found.err;
    EXPECT_EQ(countOf(answers, "(0020,000d) UI ["), 1) << answers;
    EXPECT_NE(answers.find(DOE_STUDY), std::string::npos);
    EXPECT_NE(answers.find("IS [3 ]"), std::string::npos);
    EXPECT_NE(answers.find("CS [CT]"), std::string::npos);

    RunResult patients = run({"findscu", "-v", "-P", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=PATIENT", "-k",
                              "PatientID", "-k", "PatientName", "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(countOf(patients.out + patients.err, "(0010,0020) LO ["), 2);

    // A list of UIDs matches each of them, however many the list holds.
    RunResult listed = run({"findscu", "-v", "-S", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=STUDY", "-k",
                            std::string("StudyInstanceUID=") + DOE_STUDY + "\\1.2.9.9.9\\1.2.826.0.1.3680043.9.7.2",
                            "-k", "PatientID", "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(countOf(listed.out + listed.err, "(0010,0020) LO ["), 2) << listed.out << listed.err;

    fs::create_directories(dir + "/moved");
    RunResult moved = run({"movescu", "-S", "-aet", "RECEIVER", "-aec", "B3-ARCHIVE", "-aem", "RECEIVER", "--port",
                           std::to_string(destinationPort), "-od", dir + "/moved", "-k", "QueryRetrieveLevel=STUDY",
                           "-k", std::string("StudyInstanceUID=") + DOE_STUDY, "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(moved.status, 0) << moved.err << archiveLog();
    EXPECT_EQ(filesUnder(dir + "/moved").size(), 3u);

    fs::create_directories(dir + "/got");
    RunResult got = run({"getscu", "-S", "-aec", "B3-ARCHIVE", "-od", dir + "/got", "-k",
                         "QueryRetrieveLevel=SERIES", "-k", std::string("StudyInstanceUID=") + DOE_STUDY, "-k",
                         "Modality=CT", "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(got.status, 0) << got.err << archiveLog();
    EXPECT_EQ(filesUnder(dir + "/got").size(), 3u);
}

TEST_F(ArchiveTest, OwnToolsQueryAndRetrieveIntoAFolder)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find", "b3-move", "b3-get"});
    ASSERT_TRUE(start());
    storeTwoStudies();

    RunResult series = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-P", "-L", "SERIES", "-k", "PatientID=P2",
                                        "-k", "StudyInstanceUID=1.2.826.0.1.3680043.9.7.2", "-k", "SeriesInstanceUID",
                                        "-k", "NumberOfSeriesRelatedInstances"});
    ASSERT_EQ(series.status, 0) << series.err;
    EXPECT_NE(series.out.find("1 match\n"), std::string::npos) << series.out;
    EXPECT_NE(series.out.find("numberOfSeriesRelatedInstances       2"), std::string::npos) << series.out;

    RunResult moved = tool("b3-move", {address, "-aec", "B3-ARCHIVE", "-aet", "RECEIVER", "--port-in",
                                       std::to_string(destinationPort), "-o", dir + "/moved", "-k",
                                       std::string("StudyInstanceUID=") + DOE_STUDY});
    EXPECT_EQ(moved.status, 0) << moved.out << moved.err;
    EXPECT_NE(moved.out.find("3 completed, 0 failed, 0 warning"), std::string::npos) << moved.out;
    EXPECT_EQ(filesUnder(dir + "/moved/" + DOE_STUDY).size(), 3u);

    RunResult got = tool("b3-get", {address, "-aec", "B3-ARCHIVE", "-P", "-L", "PATIENT", "-k", "PatientID=P2", "-o",
                                    dir + "/got"});
    EXPECT_EQ(got.status, 0) << got.out << got.err;
    EXPECT_NE(got.out.find("2 objects written"), std::string::npos) << got.out;
    // What comes back is what went in, from the archive.
    std::vector<std::string> back = filesUnder(dir + "/got");
    ASSERT_EQ(back.size(), 2u);
    std::string original = tool("b3-dump", {filesUnder(dir + "/in/smith")[0]}).out;
    int same = 0;
    for (const std::string& file : back) {
        std::string dump = tool("b3-dump", {file}).out;
        EXPECT_NE(dump.find("Source AE Title - B3-ARCHIVE"), std::string::npos) << dump;
        same += dump.substr(dump.find("\n(0008")) == original.substr(original.find("\n(0008"));
    }
    EXPECT_EQ(same, 1);
}

TEST_F(ArchiveTest, RefusesWhatItCannotServeAndKeepsServing)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find", "b3-move"});
    ASSERT_TRUE(start());
    storeTwoStudies();

    RunResult unknown = tool("b3-move", {address, "-aec", "B3-ARCHIVE", "-dest", "STRANGER", "-k",
                                         std::string("StudyInstanceUID=") + DOE_STUDY});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("0xa801"), std::string::npos) << unknown.err;

    // A destination that does not answer: every sub-operation fails and is named.
    RunResult refused = tool("b3-move", {address, "-aec", "B3-ARCHIVE", "-dest", "NOBODY", "-k",
                                         std::string("StudyInstanceUID=") + DOE_STUDY});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("0xa702"), std::string::npos) << refused.err;
    EXPECT_NE(refused.out.find("0 completed, 3 failed"), std::string::npos) << refused.out;
    EXPECT_EQ(countOf(refused.out, "1.2.826.0.1.3680043.9.7.1"), 0);  // instance UIDs, not the study's
    EXPECT_NE(refused.out.find("failed SOP instances: "), std::string::npos);

    RunResult malformed = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-k", "StudyInstanceUID=1.02.3"});
    EXPECT_EQ(malformed.status, 1);
    EXPECT_NE(malformed.err.find("0xa900"), std::string::npos) << malformed.err;

    // Keys the archive does not index come back empty and match everything.
    RunResult unindexed = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-k", "StudyInstanceUID", "-k",
                                           "institutionName=Nowhere"});
    EXPECT_EQ(unindexed.status, 0) << unindexed.err;
    EXPECT_NE(unindexed.out.find("2 matches"), std::string::npos) << unindexed.out;

    RunResult still = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-L", "IMAGE", "-k", "SOPInstanceUID"});
    EXPECT_EQ(still.status, 0);
    EXPECT_NE(still.out.find("5 matches"), std::string::npos) << still.out;
}

// A move of 60 slices is stopped midway by a cancel, then by a caller that
// goes away: the destination holds only complete files, and the archive
// serves on.
TEST_F(ArchiveTest, CancelAndVanishingCallerStopAMoveMidway)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find", "b3-move", "b3-dump"}, {"storescp", "movescu"});
    ASSERT_TRUE(start());
    ASSERT_EQ(tool("b3-mkimage", {"-n", "60", "-s", "256", "--study-uid", DOE_STUDY, dir + "/in/many"}).status, 0);
    ASSERT_EQ(tool("b3-send", {address, "-aec", "B3-ARCHIVE", dir + "/in/many"}).status, 0);
    fs::create_directories(dir + "/moved");
    Background receiver({"storescp", "-aet", "RECEIVER", "-od", dir + "/moved", std::to_string(destinationPort)},
                        dir + "/storescp.log");
    ASSERT_TRUE(waitForListener(destinationPort));
    std::vector<std::string> move = {"-aec", "B3-ARCHIVE", "-aem", "RECEIVER", "-k", "QueryRetrieveLevel=STUDY", "-k",
                                     std::string("StudyInstanceUID=") + DOE_STUDY, "127.0.0.1", std::to_string(port)};

    std::vector<std::string> cancelling = {"movescu", "-S", "--cancel", "1"};
    cancelling.insert(cancelling.end(), move.begin(), move.end());
    run(cancelling);
    EXPECT_TRUE(archive->waitForOutput("status 0xfe00")) << archiveLog();
    size_t moved = filesUnder(dir + "/moved").size();
    EXPECT_GT(moved, 0u);
    EXPECT_LT(moved, 60u);

    fs::remove_all(dir + "/moved");
    fs::create_directories(dir + "/moved");
    Background mover({toolPath("b3-move"), address, "-aec", "B3-ARCHIVE", "-dest", "RECEIVER", "-k",
                      std::string("StudyInstanceUID=") + DOE_STUDY},
                     dir + "/mover.log");
    ASSERT_TRUE(mover.waitForOutput(" of 60 done"));
    mover.stop(SIGKILL);
    // On a busy machine the last files may already be on their way when the
    // caller goes: the move then ends as a whole instead.
    bool gone = archive->waitForOutput("the caller has gone", 30);
    moved = filesUnder(dir + "/moved").size();
    EXPECT_TRUE(gone || moved == 60u) << archiveLog();
    EXPECT_GT(moved, 0u);
    for (const std::string& file : filesUnder(dir + "/moved"))
        EXPECT_EQ(tool("b3-dump", {file}).status, 0) << file;

    RunResult still = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-k", "NumberOfStudyRelatedInstances"});
    EXPECT_NE(still.out.find("60"), std::string::npos) << still.out;
}

// A name in ISO_IR 100 is found by its bytes, and the answers say which
// character set they are in.
TEST_F(ArchiveTest, AnswersCarryTheCharacterSetTheirRecordArrivedIn)
{
    need({"b3-archive", "b3-send", "b3-mkimage"}, {"findscu"});
    ASSERT_TRUE(start());
    fs::create_directories(dir + "/in");
    ASSERT_EQ(tool("b3-mkimage", {"-s", "16", "--patient-name", "M\xFCller^Hans", "--patient-id", "P7",
                                  dir + "/in/7.dcm"})
                  .status,
              0);
    ASSERT_EQ(tool("b3-send", {address, "-aec", "B3-ARCHIVE", dir + "/in"}).status, 0);

    RunResult found = run({"findscu", "-v", "-P", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=PATIENT", "-k",
                           "SpecificCharacterSet=ISO_IR 100", "-k", "PatientName=m\xFC*", "-k", "PatientID",
                           "127.0.0.1", std::to_string(port)});
    ASSERT_EQ(found.status, 0) << found.err;
    std::string answers = found.out + found.err;
    EXPECT_EQ(countOf(answers, "(0010,0020) LO [P7]"), 1) << answers;
    EXPECT_EQ(countOf(answers, "(0008,0005) CS [ISO_IR 100]"), 2) << answers;  // the request and the answer

    RunResult other = run({"findscu", "-v", "-P", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=PATIENT", "-k",
                           "PatientName=M\xDC*", "-k", "PatientID", "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(countOf(other.out + other.err, "(0010,0020) LO ["), 0) << other.out << other.err;
}

TEST_F(ArchiveTest, RestartBringsIndexAndFilesTogether)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find"});
    ASSERT_TRUE(start());
    storeTwoStudies();
    archive->stop(SIGTERM);

    // One file lost, one write interrupted, one file put in by hand.
    std::vector<std::string> doe = filesUnder(root + "/" + DOE_STUDY);
    ASSERT_EQ(doe.size(), 3u);
    fs::remove(doe[0]);
    std::ofstream(root + "/" + DOE_STUDY + "/.1.2.3.dcm.part") << "half";
    fs::create_directories(root + "/by-hand");
    ASSERT_EQ(tool("b3-mkimage", {"-s", "16", "--patient-id", "P9", "--study-uid", "1.2.826.0.1.3680043.9.7.9",
                                  root + "/by-hand/9.dcm"})
                  .status,
              0);

    ASSERT_TRUE(start());
    EXPECT_NE(archiveLog().find("1 file indexed, 1 row of missing files dropped, 1 partial file removed"),
              std::string::npos)
        << archiveLog();
    EXPECT_FALSE(fs::exists(root + "/" + DOE_STUDY + "/.1.2.3.dcm.part"));
    RunResult counts = tool("b3-find", {address, "-aec", "B3-ARCHIVE", "-P", "-L", "PATIENT", "-k", "PatientID",
                                        "-k", "NumberOfPatientRelatedInstances"});
    EXPECT_NE(counts.out.find("3 matches"), std::string::npos) << counts.out;
    EXPECT_NE(counts.out.find("numberOfPatientRelatedInstances      2"), std::string::npos) << counts.out;
    archive->stop(SIGTERM);

    RunResult rebuilt = tool("b3-archive", {"--reindex", "-o", root});
    EXPECT_EQ(rebuilt.status, 0) << rebuilt.err;
    EXPECT_NE(rebuilt.out.find("index rebuilt: 5 files indexed"), std::string::npos) << rebuilt.out;
}

}
