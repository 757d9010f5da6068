// Combined date-time matching asked for in the extended negotiation of the
// association: by b3-find --combined-datetime, and by findscu, which cannot
// ask, through a relay that adds the sub-item to its association request.
#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "tests/tools/ToolRun.h"

namespace {

const char* const STUDY_ROOT_FIND = "1.2.840.10008.5.1.4.1.2.2.1";
const int RELAY_SECONDS = 60;

uint32_t be32(const unsigned char* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

void putBe16(unsigned char* p, size_t v)
{
    p[0] = static_cast<unsigned char>(v >> 8);
    p[1] = static_cast<unsigned char>(v);
}

void putBe32(unsigned char* p, size_t v)
{
    putBe16(p, v >> 16);
    putBe16(p + 2, v & 0xFFFF);
}

bool readFully(int fd, unsigned char* into, size_t length)
{
    for (size_t done = 0; done < length;) {
        pollfd p = {fd, POLLIN, 0};
        if (poll(&p, 1, RELAY_SECONDS * 1000) <= 0)
            return false;
        ssize_t n = read(fd, into + done, length - done);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool writeFully(int fd, const unsigned char* data, size_t length)
{
    for (size_t done = 0; done < length;) {
        ssize_t n = write(fd, data + done, length - done);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// The A-ASSOCIATE-RQ with an extended negotiation sub-item for sopClass
// added at the end of its user information item.
std::vector<unsigned char> withExtendedNegotiation(std::vector<unsigned char> pdu, const std::string& sopClass,
                                                   const std::string& info)
{
    for (size_t at = 74; at + 4 <= pdu.size();) {
        size_t length = (size_t(pdu[at + 2]) << 8) | pdu[at + 3];
        if (pdu[at] != 0x50) {
            at += 4 + length;
            continue;
        }
        std::vector<unsigned char> sub = {0x56, 0, 0, 0, 0, 0};
        putBe16(&sub[2], 2 + sopClass.size() + info.size());
        putBe16(&sub[4], sopClass.size());
        sub.insert(sub.end(), sopClass.begin(), sopClass.end());
        sub.insert(sub.end(), info.begin(), info.end());
        pdu.insert(pdu.begin() + static_cast<long>(at + 4 + length), sub.begin(), sub.end());
        putBe16(&pdu[at + 2], length + sub.size());
        putBe32(&pdu[2], pdu.size() - 6);
        break;
    }
    return pdu;
}

// Takes one connection on its port, adds the sub-item to its association
// request and relays everything else as it is, both ways.
class Relay {
public:
    Relay(int targetPort, const std::string& info) : port(freePort())
    {
        listener = socket(AF_INET, SOCK_STREAM, 0);
        int yes = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bool ready = bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                     listen(listener, 1) == 0;
        if (ready)
            worker = std::thread([this, targetPort, info] { relayOne(targetPort, info); });
    }
    ~Relay()
    {
        if (worker.joinable())
            worker.join();
        close(listener);
    }

    const int port;

private:
    int listener = -1;
    std::thread worker;

    void relayOne(int targetPort, const std::string& info)
    {
        pollfd p = {listener, POLLIN, 0};
        if (poll(&p, 1, RELAY_SECONDS * 1000) <= 0)
            return;
        int caller = accept(listener, nullptr, nullptr);
        int archive = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(targetPort));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::vector<unsigned char> pdu(6);
        if (caller >= 0 && connect(archive, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
            readFully(caller, pdu.data(), 6) && pdu[0] == 0x01) {
            pdu.resize(6 + be32(&pdu[2]));
            if (readFully(caller, pdu.data() + 6, pdu.size() - 6)) {
                pdu = withExtendedNegotiation(pdu, STUDY_ROOT_FIND, info);
                if (writeFully(archive, pdu.data(), pdu.size()))
                    pass(caller, archive);
            }
        }
        close(archive);
        if (caller >= 0)
            close(caller);
    }

    static void pass(int a, int b)
    {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(RELAY_SECONDS);
        unsigned char buffer[16384];
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd p[2] = {{a, POLLIN, 0}, {b, POLLIN, 0}};
            if (poll(p, 2, 100) <= 0)
                continue;
            for (int i = 0; i < 2; i++) {
                if ((p[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
                    continue;
                ssize_t n = read(p[i].fd, buffer, sizeof buffer);
                if (n <= 0 || !writeFully(p[1 - i].fd, buffer, static_cast<size_t>(n)))
                    return;
            }
        }
    }
};

class DateTimeNegotiationTest : public ToolTest {
protected:
    // The archive holding one study of 2024-03-01 10:15.
    bool start()
    {
        archive.reset(new Background({toolPath("b3-archive"), "-p", std::to_string(port), "-o", dir + "/store",
                                      "-to", "10"},
                                     dir + "/archive.log"));
        if (!archive->waitForOutput("listening on") || !waitForListener(port))
            return false;
        makeImage("slice.dcm", {"--patient-id", "P1"});
        return tool("b3-send", {address, "-aec", "B3-ARCHIVE", dir + "/slice.dcm"}).status == 0;
    }

    // The studies found from 2024-02-29 23:00 to 2024-03-01 11:00 through a
    // relay adding info as the service-class information to the request.
    int studiesOverMidnight(const std::string& info)
    {
        Relay relay(port, info);
        RunResult found = run({"findscu", "-v", "-S", "-aec", "B3-ARCHIVE", "-k", "QueryRetrieveLevel=STUDY", "-k",
                               "StudyDate=20240229-20240301", "-k", "StudyTime=2300-1100", "-k", "StudyInstanceUID",
                               "127.0.0.1", std::to_string(relay.port)});
        EXPECT_EQ(found.status, 0) << found.err << archive->output();
        return countOf(found.out + found.err, "(0020,000d) UI [");
    }

    // The studies b3-find finds over the same range, and what it says of
    // the negotiation.
    int studiesFoundByB3Find(bool combined, std::string& said)
    {
        std::vector<std::string> args = {"-v", "-aec", "B3-ARCHIVE", address, "-k", "StudyDate=20240229-20240301",
                                         "-k", "StudyTime=2300-1100", "-k", "StudyInstanceUID"};
        if (combined)
            args.insert(args.begin(), "--combined-datetime");
        RunResult found = tool("b3-find", args);
        EXPECT_EQ(found.status, 0) << found.err << archive->output();
        said = found.err;
        return countOf(found.out, "# match ");
    }

    std::unique_ptr<Background> archive;
};

TEST_F(DateTimeNegotiationTest, DateAndTimeMatchAsOneWhenTheCallerAsks)
{
    need({"b3-archive", "b3-send", "b3-mkimage"}, {"findscu"});
    ASSERT_TRUE(start());
    // Byte 1: relational queries; byte 2: combined date-time matching.
    EXPECT_EQ(studiesOverMidnight(std::string("\x01\x01", 2)), 1);
    // Without it, a time range round midnight matches nothing.
    EXPECT_EQ(studiesOverMidnight(std::string("\x01\x00", 2)), 0);
    EXPECT_EQ(studiesOverMidnight(std::string("\x01", 1)), 0);
}

}

TEST_F(DateTimeNegotiationTest, B3FindAsksAndTheArchiveGrantsItInItsAnswer)
{
    need({"b3-archive", "b3-send", "b3-mkimage", "b3-find"}, {});
    ASSERT_TRUE(start());
    std::string said;
    EXPECT_EQ(studiesFoundByB3Find(true, said), 1);
    EXPECT_NE(said.find("combined date-time matching accepted by the peer"), std::string::npos) << said;
    EXPECT_EQ(studiesFoundByB3Find(false, said), 0);
    EXPECT_EQ(said.find("combined date-time"), std::string::npos) << said;
}
