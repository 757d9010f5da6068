// b3-mkimage, b3-dump and b3-png run through their command lines.
#include <cstdint>
#include <fstream>
#include <set>

#include "ToolRun.h"

namespace {

// A small PNG reader for checking what b3-png writes: checks every chunk's
// CRC, the zlib header and Adler-32, and inflates stored deflate blocks
// (the only kind the writer makes). Filter type 0 (none) only.
struct PngPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    int bitDepth = 0;
    int colourType = -1;
    std::vector<std::string> chunks;  // chunk types in file order
    std::vector<uint8_t> scanLines;   // inflated IDAT data, filter bytes included

    int channels() const { return colourType == 2 ? 3 : 1; }
    // Sample c of pixel (x, y).
    unsigned int sample(uint32_t x, uint32_t y, int c = 0) const
    {
        size_t bytes = bitDepth == 16 ? 2 : 1;
        size_t row = 1 + size_t(width) * channels() * bytes;
        size_t at = y * row + 1 + (size_t(x) * channels() + c) * bytes;
        return bytes == 2 ? (unsigned(scanLines[at]) << 8) | scanLines[at + 1] : scanLines[at];
    }
};

uint32_t be32(const std::string& b, size_t at)
{
    return (uint32_t(uint8_t(b[at])) << 24) | (uint32_t(uint8_t(b[at + 1])) << 16) |
           (uint32_t(uint8_t(b[at + 2])) << 8) | uint32_t(uint8_t(b[at + 3]));
}

// Bit by bit, independent of the writer's table.
uint32_t slowCrc(const std::string& bytes, size_t from, size_t len)
{
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = from; i < from + len; i++) {
        crc ^= uint8_t(bytes[i]);
        for (int k = 0; k < 8; k++)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
    }
    return ~crc;
}

uint32_t slowAdler(const std::vector<uint8_t>& data)
{
    uint32_t a = 1, b = 0;
    for (uint8_t byte : data) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    return (b << 16) | a;
}


// Returns "" on success, else what is wrong with the file.
std::string readPng(const std::string& bytes, PngPicture& picture)
{
    static const char signature[] = "\x89PNG\r\n\x1a\n";
    if (bytes.size() < 8 || bytes.compare(0, 8, signature, 8) != 0)
        return "no PNG signature";
    std::string idat;
    size_t pos = 8;
    while (pos + 12 <= bytes.size()) {
        uint32_t len = be32(bytes, pos);
        if (pos + 12 + len > bytes.size())
            return "chunk runs past the end";
        std::string type = bytes.substr(pos + 4, 4);
        if (slowCrc(bytes, pos + 4, 4 + len) != be32(bytes, pos + 8 + len))
            return "bad CRC in " + type;
        picture.chunks.push_back(type);
        if (type == "IHDR") {
            picture.width = be32(bytes, pos + 8);
            picture.height = be32(bytes, pos + 12);
            picture.bitDepth = uint8_t(bytes[pos + 16]);
            picture.colourType = uint8_t(bytes[pos + 17]);
        } else if (type == "IDAT") {
            idat += bytes.substr(pos + 8, len);
        }
        pos += 12 + len;
    }
    if (pos != bytes.size())
        return "trailing bytes after the last chunk";
    if (idat.size() < 6 || ((uint8_t(idat[0]) << 8) | uint8_t(idat[1])) % 31 != 0 || (uint8_t(idat[0]) & 0x0F) != 8)
        return "bad zlib header";
    size_t at = 2;
    bool last = false;
    while (!last) {
        if (at + 5 > idat.size())
            return "deflate stream cut short";
        uint8_t head = uint8_t(idat[at]);
        last = head & 1;
        if ((head >> 1) != 0)
            return "not a stored deflate block";
        unsigned len = uint8_t(idat[at + 1]) | (uint8_t(idat[at + 2]) << 8);
        unsigned nlen = uint8_t(idat[at + 3]) | (uint8_t(idat[at + 4]) << 8);
        if ((len ^ 0xFFFF) != nlen)
            return "stored block length check fails";
        if (at + 5 + len > idat.size())
            return "stored block runs past the end";
        picture.scanLines.insert(picture.scanLines.end(), idat.begin() + at + 5, idat.begin() + at + 5 + len);
        at += 5 + len;
    }
    if (at + 4 != idat.size() || be32(idat, at) != slowAdler(picture.scanLines))
        return "bad Adler-32";
    size_t row = 1 + size_t(picture.width) * picture.channels() * (picture.bitDepth == 16 ? 2 : 1);
    if (picture.scanLines.size() != row * picture.height)
        return "scan lines do not match the header";
    for (uint32_t y = 0; y < picture.height; y++)
        if (picture.scanLines[y * row] != 0)
            return "unexpected filter type";
    return "";
}

class ImageTools : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-mkimage", "b3-dump", "b3-png"});
    }
    PngPicture toPng(const std::string& input, std::vector<std::string> options = {})
    {
        std::string png = input + ".png";
        options.push_back(input);
        options.push_back(png);
        RunResult r = tool("b3-png", options);
        EXPECT_EQ(r.status, 0) << r.err;
        PngPicture picture;
        EXPECT_EQ(readPng(readFile(png), picture), "");
        return picture;
    }
};

// Pixel positions in the synthetic 256 x 256 slice.
const uint32_t CORNER_X = 2, CORNER_Y = 2;        // air
const uint32_t SPINE_X = 128, SPINE_Y = 179;      // vertebral marrow, 250 HU
const uint32_t LUNG_X = 82, LUNG_Y = 125;         // lung, -850 HU
const uint32_t TISSUE_X = 128, TISSUE_Y = 70;     // soft tissue, 40 HU

}

// Long values are cut only when asked.
TEST_F(ImageTools, DumpShowsTheMetaInformationAndTheDataSetTree)
{
    std::string name = std::string(60, 'A') + "^B";
    std::string file = makeImage("ct.dcm", {"--patient-name", name});
    RunResult r = tool("b3-dump", {"--width=0", file});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("File Meta Header"), std::string::npos);
    EXPECT_NE(r.out.find("CT Image Storage"), std::string::npos);
    EXPECT_NE(r.out.find("# Data set, Little Endian Explicit"), std::string::npos) << r.out;
    EXPECT_EQ(dumpValue(r.out, "(0010,0010)"), name);
    EXPECT_EQ(dumpValue(r.out, "(0028,0010)"), "256");
    EXPECT_EQ(dumpValue(r.out, "(0008,0008)"), "ORIGINAL\\PRIMARY\\AXIAL");
    EXPECT_EQ(dumpValue(r.out, "(7fe0,0010)").compare(0, 13, "131072 bytes:"), 0) << dumpValue(r.out, "(7fe0,0010)");
    EXPECT_TRUE(r.err.empty()) << "quiet by default, got: " << r.err;
    RunResult cut = tool("b3-dump", {"-w", "10", file});
    EXPECT_EQ(dumpValue(cut.out, "(0010,0010)"), "AAAAAAAAAA...");
}

// The same values and pixels from every uncompressed syntax.
TEST_F(ImageTools, DumpAndPngReadEveryUncompressedSyntaxAlike)
{
    std::vector<uint8_t> firstPixels;
    for (const char* syntax : {"implicit", "explicit", "big"}) {
        SCOPED_TRACE(syntax);
        std::string file = makeImage(std::string(syntax) + ".dcm", {"-t", syntax, "-s", "64"});
        RunResult r = tool("b3-dump", {file});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(dumpValue(r.out, "(0028,0011)"), "64");
        EXPECT_EQ(dumpValue(r.out, "(0028,1052)"), "-1024");
        EXPECT_EQ(dumpValue(r.out, "(0020,0037)"), "1\\0\\0\\0\\1\\0");
        EXPECT_EQ(std::string(syntax) == "big", r.out.find("Big Endian Explicit") != std::string::npos);
        PngPicture png = toPng(file);
        if (firstPixels.empty())
            firstPixels = png.scanLines;
        EXPECT_EQ(png.scanLines, firstPixels);
    }
}

// The library log shows on standard error only when verbose.
TEST_F(ImageTools, DumpFailsClearlyOnWhatItCannotRead)
{
    RunResult missing = tool("b3-dump", {dir + "/nothing-here.dcm"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("No such file or directory"), std::string::npos) << missing.err;

    std::string text = dir + "/notes.txt";
    std::ofstream(text) << "These are notes, not an image.\n";
    RunResult notDicom = tool("b3-dump", {text});
    EXPECT_EQ(notDicom.status, 1);
    EXPECT_NE(notDicom.err.find("not a DICOM file"), std::string::npos) << notDicom.err;

    std::string good = makeImage("good.dcm");
    RunResult mixed = tool("b3-dump", {good, text});
    EXPECT_EQ(mixed.status, 1) << "one unreadable file fails the run";
    EXPECT_NE(mixed.out.find("== " + good), std::string::npos);

    EXPECT_EQ(notDicom.err.find("<dirReadFileMetaInfo>"), std::string::npos) << "quiet by default";
    RunResult verbose = tool("b3-dump", {"-v", text});
    EXPECT_EQ(verbose.status, 1);
    EXPECT_NE(verbose.err.find("<dirReadFileMetaInfo> File Meta Information missing\n"), std::string::npos)
        << verbose.err;
    EXPECT_NE(verbose.err.find("b3-dump: " + text + ": not a DICOM file"), std::string::npos) << verbose.err;
    EXPECT_EQ(verbose.out.find("dirReadFileMetaInfo"), std::string::npos);
}

TEST_F(ImageTools, PngHoldsTheWindowedSlice)
{
    PngPicture png = toPng(makeImage("ct.dcm"));
    EXPECT_EQ(png.chunks, (std::vector<std::string>{"IHDR", "IDAT", "IEND"}));
    EXPECT_EQ(png.width, 256u);
    EXPECT_EQ(png.height, 256u);
    EXPECT_EQ(png.bitDepth, 8);
    EXPECT_EQ(png.colourType, 0);
    EXPECT_EQ(png.sample(CORNER_X, CORNER_Y), 0u);
    EXPECT_EQ(png.sample(LUNG_X, LUNG_Y), 0u);
    EXPECT_EQ(png.sample(SPINE_X, SPINE_Y), 255u);
    EXPECT_GT(png.sample(TISSUE_X, TISSUE_Y), 110u);
    EXPECT_LT(png.sample(TISSUE_X, TISSUE_Y), 145u);
}

TEST_F(ImageTools, PngTakesWindowDepthAndFrameFromTheOptions)
{
    std::string file = makeImage("ct.dcm");
    PngPicture deep = toPng(file, {"--bits", "16"});
    EXPECT_EQ(deep.bitDepth, 16);
    EXPECT_EQ(deep.sample(CORNER_X, CORNER_Y), 0u);
    EXPECT_EQ(deep.sample(SPINE_X, SPINE_Y), 65535u);

    PngPicture lungWindow = toPng(file, {"-wc", "-600", "-ww", "1200"});
    EXPECT_GT(lungWindow.sample(LUNG_X, LUNG_Y), 20u);
    EXPECT_LT(lungWindow.sample(LUNG_X, LUNG_Y), 80u);
    EXPECT_EQ(lungWindow.sample(SPINE_X, SPINE_Y), 255u);

    RunResult r = tool("b3-png", {"--frame", "2", file, dir + "/x.png"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("has 1 frame, not 2"), std::string::npos) << r.err;
}

TEST_F(ImageTools, MkimageWritesASeriesIntoAFolder)
{
    std::string series = dir + "/series";
    RunResult r = tool("b3-mkimage", {"-n", "3", "-s", "32", series});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> files = filesUnder(series);
    ASSERT_EQ(files.size(), 3u);
    std::set<std::string> studyAndSeries;
    for (size_t i = 0; i < files.size(); i++) {
        RunResult d = tool("b3-dump", {files[i]});
        EXPECT_EQ(dumpValue(d.out, "(0020,0013)"), std::to_string(i + 1));
        studyAndSeries.insert(dumpValue(d.out, "(0020,000d)") + " " + dumpValue(d.out, "(0020,000e)"));
    }
    EXPECT_EQ(studyAndSeries.size(), 1u);
}

// A 4 x 2 RGB picture written as a 24-bit BMP (bottom-up rows, BGR,
// rows padded to 4 bytes) for dcmtk's img2dcm to turn into an RGB image.
TEST_F(ImageTools, PngOfAnRgbImageMadeByDcmtkKeepsItsColours)
{
    need({}, {"img2dcm"});
    const unsigned char rgb[2][4][3] = {{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}},
                                        {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}, {0, 0, 0}}};
    std::string bmp = {'B', 'M'};
    auto le = [&bmp](uint32_t v, int bytes) {
        for (int i = 0; i < bytes; i++)
            bmp += static_cast<char>(v >> (8 * i));
    };
    le(54 + 24, 4), le(0, 4), le(54, 4);
    le(40, 4), le(4, 4), le(2, 4), le(1, 2), le(24, 2), le(0, 4), le(24, 4), le(2835, 4), le(2835, 4), le(0, 4),
        le(0, 4);
    for (int y = 1; y >= 0; y--)
        for (int x = 0; x < 4; x++)
            bmp += {static_cast<char>(rgb[y][x][2]), static_cast<char>(rgb[y][x][1]), static_cast<char>(rgb[y][x][0])};
    std::ofstream(dir + "/rgb.bmp", std::ios::binary) << bmp;
    RunResult made = run({"img2dcm", "-i", "BMP", dir + "/rgb.bmp", dir + "/rgb.dcm"});
    ASSERT_EQ(made.status, 0) << made.err;

    PngPicture png = toPng(dir + "/rgb.dcm");
    EXPECT_EQ(png.colourType, 2);
    EXPECT_EQ(png.bitDepth, 8);
    for (uint32_t y = 0; y < 2; y++)
        for (uint32_t x = 0; x < 4; x++)
            for (int c = 0; c < 3; c++)
                EXPECT_EQ(png.sample(x, y, c), rgb[y][x][c]) << x << "," << y << " channel " << c;
}
