// Two archives sharing one PostgreSQL index and one file store: what either
// stores, both find and both retrieve. A PostgreSQL server is started in a
// temporary folder for the test, as an unprivileged user when run as root.
#include <filesystem>
#include <fstream>
#include <memory>

#include <pwd.h>
#include <unistd.h>

#include "tests/tools/ToolRun.h"

namespace fs = std::filesystem;

namespace {

const char* const POSTGRES_BIN = "/usr/lib/postgresql/15/bin";

class PostgresServer {
public:
    // Starts a server on a Unix socket in folder; running() tells whether it came up.
    PostgresServer(const std::string& folder, int port) : folder(folder), port(port)
    {
        if (access((std::string(POSTGRES_BIN) + "/initdb").c_str(), X_OK) != 0)
            return;
        fs::create_directories(folder);
        if (geteuid() == 0) {
            passwd* user = getpwnam("nobody");
            if (user == nullptr || chown(folder.c_str(), user->pw_uid, user->pw_gid) != 0)
                return;
            asUser = {"runuser", "-u", "nobody", "--"};
        }
        if (command({"initdb", "-D", folder + "/data", "-A", "trust", "-U", "archive", "-E", "SQL_ASCII", "--locale=C", "--no-sync"}).status != 0)
            return;
        up = command({"pg_ctl", "-D", folder + "/data", "-l", folder + "/server.log", "-w", "-t", "30", "-o",
                      "-k " + folder + " -c listen_addresses='' -p " + std::to_string(port) + " -c fsync=off",
                      "start"})
                 .status == 0;
    }
    ~PostgresServer()
    {
        if (up)
            command({"pg_ctl", "-D", folder + "/data", "-w", "-t", "30", "-m", "fast", "stop"});
    }
    bool running() const { return up; }
    std::string conninfo() const
    {
        return "host=" + folder + " port=" + std::to_string(port) + " user=archive dbname=postgres";
    }

private:
    RunResult command(std::vector<std::string> argv)
    {
        argv[0] = std::string(POSTGRES_BIN) + "/" + argv[0];
        argv.insert(argv.begin(), asUser.begin(), asUser.end());
        return run(argv, 60);
    }

    std::string folder;
    int port;
    std::vector<std::string> asUser;
    bool up = false;
};

class SharedIndexTest : public ToolTest {};

TEST_F(SharedIndexTest, TwoArchivesStoreThroughEitherAndAnswerFromBoth)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find", "b3-get"});
    // The server's folder must be reachable by the unprivileged user.
    std::string serverFolder = "/tmp/b3-pg-" + std::to_string(getpid());
    fs::remove_all(serverFolder);
    {
        PostgresServer server(serverFolder, freePort());
        if (!server.running())
            GTEST_SKIP() << "PostgreSQL could not be started";
        std::string store = dir + "/store";
        int ports[2] = {port, freePort()};
        std::unique_ptr<Background> archives[2];
        for (int i = 0; i < 2; i++) {
            archives[i].reset(new Background({toolPath("b3-archive"), "-p", std::to_string(ports[i]), "-o", store,
                                              "--postgres", server.conninfo()},
                                             dir + "/archive" + std::to_string(i) + ".log"));
            ASSERT_TRUE(archives[i]->waitForOutput("listening on")) << archives[i]->output();
            ASSERT_TRUE(waitForListener(ports[i]));
        }
        for (int i = 0; i < 2; i++) {
            std::string in = dir + "/in" + std::to_string(i);
            ASSERT_EQ(tool("b3-mkimage", {"-n", std::to_string(2 + i), "-s", "16", "--patient-id",
                                          "P" + std::to_string(i), in})
                          .status,
                      0);
            RunResult sent = tool("b3-send", {"127.0.0.1:" + std::to_string(ports[i]), "-aec", "B3-ARCHIVE", in});
            ASSERT_EQ(sent.status, 0) << sent.out << sent.err << archives[i]->output();
        }
        for (int i = 0; i < 2; i++) {
            RunResult found = tool("b3-find", {"127.0.0.1:" + std::to_string(ports[i]), "-aec", "B3-ARCHIVE", "-k",
                                               "PatientID", "-k", "NumberOfStudyRelatedInstances"});
            EXPECT_EQ(found.status, 0) << found.err;
            EXPECT_NE(found.out.find("2 matches"), std::string::npos) << found.out;
            EXPECT_NE(found.out.find("numberOfStudyRelatedInstances        3"), std::string::npos) << found.out;
        }
        // Stored through the second, retrieved through the first.
        RunResult got = tool("b3-get", {"127.0.0.1:" + std::to_string(ports[0]), "-aec", "B3-ARCHIVE", "-P", "-L",
                                        "PATIENT", "-k", "PatientID=P1", "-o", dir + "/got"});
        EXPECT_EQ(got.status, 0) << got.out << got.err;
        EXPECT_EQ(filesUnder(dir + "/got").size(), 3u);
        for (auto& archive : archives)
            archive->stop(SIGTERM);
    }
    fs::remove_all(serverFolder);
}

}
