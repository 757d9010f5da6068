// b3-dump and b3-png of files far beyond what is read into memory: the pixel data stays
// on disk, so the peak memory of the tool does not grow with it; deflated
// and truncated files.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

typedef std::vector<unsigned char> Bytes;

// One explicit little endian element with a short length field.
void put(Bytes& out, unsigned int tag, const char* vr, const std::string& value)
{
    unsigned char header[8] = {static_cast<unsigned char>(tag >> 16), static_cast<unsigned char>(tag >> 24),
                               static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8),
                               static_cast<unsigned char>(vr[0]), static_cast<unsigned char>(vr[1]),
                               static_cast<unsigned char>(value.size()), static_cast<unsigned char>(value.size() >> 8)};
    out.insert(out.end(), header, header + 8);
    out.insert(out.end(), value.begin(), value.end());
}

std::string us(unsigned short v)
{
    return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)};
}

// A multi-frame secondary capture file of frames x 512 x 512 16-bit pixels,
// its pixel data a hole in a sparse file.
std::string writeMultiFrame(const std::string& path, unsigned int frames)
{
    Bytes meta;
    put(meta, 0x00020002, "UI", std::string("1.2.840.10008.5.1.4.1.1.7.3") + '\0');
    put(meta, 0x00020003, "UI", "1.2.3.4.5.6");
    put(meta, 0x00020010, "UI", std::string("1.2.840.10008.1.2.1") + '\0');
    Bytes file(128, 0);
    file.insert(file.end(), {'D', 'I', 'C', 'M'});
    std::string length = {static_cast<char>(meta.size()), static_cast<char>(meta.size() >> 8), 0, 0};
    put(file, 0x00020000, "UL", length);
    file.insert(file.end(), meta.begin(), meta.end());
    put(file, 0x00080016, "UI", std::string("1.2.840.10008.5.1.4.1.1.7.3") + '\0');
    put(file, 0x00080018, "UI", "1.2.3.4.5.6");
    put(file, 0x00280002, "US", us(1));
    put(file, 0x00280004, "CS", "MONOCHROME2 ");
    put(file, 0x00280008, "IS", std::to_string(frames) + (std::to_string(frames).size() % 2 ? " " : ""));
    put(file, 0x00280010, "US", us(512));
    put(file, 0x00280011, "US", us(512));
    put(file, 0x00280100, "US", us(16));
    put(file, 0x00280101, "US", us(16));
    put(file, 0x00280102, "US", us(15));
    put(file, 0x00280103, "US", us(0));
    unsigned long long pixels = 512ULL * 512 * 2 * frames;
    const unsigned char pixelHeader[] = {0xe0, 0x7f, 0x10, 0x00, 'O', 'W', 0, 0};
    file.insert(file.end(), pixelHeader, pixelHeader + 8);
    for (int shift = 0; shift < 32; shift += 8)
        file.push_back(static_cast<unsigned char>(pixels >> shift));
    int fd = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(write(fd, file.data(), file.size()), static_cast<ssize_t>(file.size()));
    EXPECT_EQ(ftruncate(fd, static_cast<off_t>(file.size() + pixels)), 0);
    close(fd);
    return path;
}

// Runs a tool with its output thrown away; its exit status and peak
// resident memory in kilobytes.
int runMeasured(const std::vector<std::string>& argv, long& peakKb)
{
    pid_t child = fork();
    if (child == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::vector<char*> args;
        for (const std::string& arg : argv)
            args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child)
        return -1;
    peakKb = usage.ru_maxrss;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class LargeDump : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-dump", "b3-png"});
    }
};

}

TEST_F(LargeDump, A300MbyteMultiFrameFileIsDumpedAndRenderedInUnder32Mbyte)
{
    std::string path = writeMultiFrame(dir + "/large.dcm", 600);  // 300 Mbyte of pixels
    long peakKb = 0;
    EXPECT_EQ(runMeasured({toolPath("b3-dump"), path}, peakKb), 0);
    EXPECT_GT(peakKb, 0);
    EXPECT_LT(peakKb, 32 * 1024);
    RunResult dump = tool("b3-dump", {path});
    EXPECT_NE(dump.out.find("314572800 bytes"), std::string::npos) << dump.out;
    // b3-png reads just the frame it writes, the last one here.
    EXPECT_EQ(runMeasured({toolPath("b3-png"), "--frame", "600", path, dir + "/last.png"}, peakKb), 0);
    EXPECT_LT(peakKb, 32 * 1024);
    unlink(path.c_str());
}

TEST_F(LargeDump, TruncatedAndDeflatedFiles)
{
    std::string path = writeMultiFrame(dir + "/small.dcm", 1);
    // Cut inside the pixel data, then inside an element header.
    for (off_t size : {static_cast<off_t>(400000), static_cast<off_t>(330)}) {
        ASSERT_EQ(truncate(path.c_str(), size), 0);
        RunResult dump = tool("b3-dump", {path});
        EXPECT_NE(dump.status, 0) << size;
        EXPECT_NE(dump.err.find("small.dcm"), std::string::npos) << dump.err;
    }
    need({}, {"dcmconv"});
    std::string whole = writeMultiFrame(dir + "/whole.dcm", 1);
    ASSERT_EQ(run({"dcmconv", "+td", whole, dir + "/deflated.dcm"}).status, 0);
    RunResult dump = tool("b3-dump", {dir + "/deflated.dcm"});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_NE(dump.out.find("524288 bytes"), std::string::npos) << dump.out;
    EXPECT_NE(dump.out.find("numberOfFrames"), std::string::npos);
    EXPECT_EQ(tool("b3-png", {dir + "/deflated.dcm", dir + "/deflated.png"}).status, 0);
    // A deflate stream cut short.
    std::string deflated = readFile(dir + "/deflated.dcm");
    ASSERT_EQ(truncate((dir + "/deflated.dcm").c_str(), static_cast<off_t>(deflated.size() - 100)), 0);
    dump = tool("b3-dump", {dir + "/deflated.dcm"});
    EXPECT_NE(dump.status, 0);
    EXPECT_NE(dump.err.find("deflated data set"), std::string::npos) << dump.err;
}
