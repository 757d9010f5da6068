// b3-dump, b3-png and b3-convert of files far beyond what is read into
// memory: the pixel data stays on disk and is taken one frame at a time, so
// the peak memory of the tool does not grow with it; deflated and truncated
// files.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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
// its pixel data a hole in a sparse file, or with filled set, 12-bit
// gradients and noise that differ from frame to frame.
std::string writeMultiFrame(const std::string& path, unsigned int frames, bool filled = false)
{
    Bytes meta = {0x02, 0x00, 0x01, 0x00, 'O', 'B', 0, 0, 2, 0, 0, 0, 0, 1};  // version 1
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
    if (!filled) {
        EXPECT_EQ(ftruncate(fd, static_cast<off_t>(file.size() + pixels)), 0);
    }
    uint32_t noise = 2463534242u;
    Bytes frame(512 * 512 * 2);
    for (unsigned int f = 0; filled && f < frames; f++) {
        for (size_t i = 0; i < frame.size(); i += 2) {
            noise ^= noise << 13;
            noise ^= noise >> 17;
            noise ^= noise << 5;
            unsigned int x = (i / 2) % 512, y = (i / 2) / 512;
            unsigned int value = (x * 3 + y * 5 + f * 17 + (x % 13 == 0 ? noise & 63 : 0)) & 0xFFF;
            frame[i] = static_cast<unsigned char>(value);
            frame[i + 1] = static_cast<unsigned char>(value >> 8);
        }
        EXPECT_EQ(write(fd, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
    }
    close(fd);
    return path;
}

// The last size bytes of two files are the same.
bool sameTail(const std::string& a, const std::string& b, off_t size)
{
    int fa = open(a.c_str(), O_RDONLY), fb = open(b.c_str(), O_RDONLY);
    off_t endA = fa < 0 ? -1 : lseek(fa, 0, SEEK_END), endB = fb < 0 ? -1 : lseek(fb, 0, SEEK_END);
    bool same = endA >= size && endB >= size;
    Bytes chunkA(1 << 20), chunkB(1 << 20);
    for (off_t done = 0; same && done < size; done += static_cast<off_t>(chunkA.size())) {
        size_t want = static_cast<size_t>(std::min<off_t>(size - done, static_cast<off_t>(chunkA.size())));
        same = pread(fa, chunkA.data(), want, endA - size + done) == static_cast<ssize_t>(want) &&
               pread(fb, chunkB.data(), want, endB - size + done) == static_cast<ssize_t>(want) &&
               memcmp(chunkA.data(), chunkB.data(), want) == 0;
    }
    if (fa >= 0)
        close(fa);
    if (fb >= 0)
        close(fb);
    return same;
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

TEST_F(LargeDump, AMultiFrameFileAboveTheInMemoryLimitIsConvertedInAFewFramesOfMemory)
{
    need({"b3-convert"});
    const unsigned int frames = 260;  // 136 Mbyte of pixels: above the 128 Mbyte a file is read whole up to
    const off_t pixels = 512 * 512 * 2 * frames;
    std::string path = writeMultiFrame(dir + "/large.dcm", frames, true);
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer's shadow and quarantine grow a run's memory: there it
    // need only stay below the pixels, which a whole-file read would hold.
    const long convertKb = pixels / 1024, viewKb = pixels / 1024;
#else
    const long convertKb = 40 * 1024, viewKb = 32 * 1024;
#endif
    for (const char* target : {"--rle", "--jpls"}) {
        SCOPED_TRACE(target);
        std::string packed = dir + "/packed.dcm", back = dir + "/back.dcm";
        long peakKb = 0;
        EXPECT_EQ(runMeasured({toolPath("b3-convert"), target, path, packed}, peakKb), 0);
        EXPECT_LT(peakKb, convertKb);
        EXPECT_EQ(runMeasured({toolPath("b3-convert"), "--explicit", packed, back}, peakKb), 0);
        EXPECT_LT(peakKb, convertKb);
        EXPECT_TRUE(sameTail(path, back, pixels));
        // The last frame, found through the offset table of the packed file.
        EXPECT_EQ(runMeasured({toolPath("b3-png"), "--frame", std::to_string(frames), packed, dir + "/last.png"},
                              peakKb),
                  0);
        EXPECT_LT(peakKb, viewKb);
        unlink(packed.c_str());
        unlink(back.c_str());
    }
    unlink(path.c_str());
}