// b3-mkimage, b3-dump and b3-png run through their command lines.
#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "PngReader.h"
#include "ToolRun.h"

namespace {

// The value column of the tree line of tag "(gggg,eeee)", or "<absent>".
std::string dumpValue(const std::string& dump, const std::string& tag)
{
    std::istringstream lines(dump);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.compare(0, tag.size(), tag) != 0)
            continue;
        // (gggg,eeee) VR name...padded to 36 value
        size_t valueAt = 12 + 3 + 37;
        return line.size() > valueAt ? line.substr(valueAt) : "";
    }
    return "<absent>";
}

class ImageTools : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!toolExists("b3-mkimage") || !toolExists("b3-dump") || !toolExists("b3-png"))
            GTEST_SKIP() << "image tools not built";
        dir = scratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }

    std::string makeImage(const std::string& name, const std::vector<std::string>& options = {})
    {
        std::string path = dir + "/" + name;
        std::vector<std::string> argv = {toolPath("b3-mkimage")};
        argv.insert(argv.end(), options.begin(), options.end());
        argv.push_back(path);
        RunResult r = run(argv);
        EXPECT_EQ(r.status, 0) << r.err;
        return path;
    }

    PngPicture toPng(const std::string& input, const std::vector<std::string>& options = {})
    {
        std::string png = input + ".png";
        std::vector<std::string> argv = {toolPath("b3-png")};
        argv.insert(argv.end(), options.begin(), options.end());
        argv.push_back(input);
        argv.push_back(png);
        RunResult r = run(argv);
        EXPECT_EQ(r.status, 0) << r.err;
        PngPicture picture;
        EXPECT_EQ(readPng(readFile(png), picture), "");
        return picture;
    }

    std::string dir;
};

// Pixel positions in the synthetic 256 x 256 slice.
const uint32_t CORNER_X = 2, CORNER_Y = 2;        // air
const uint32_t SPINE_X = 128, SPINE_Y = 179;      // vertebral marrow, 250 HU
const uint32_t LUNG_X = 82, LUNG_Y = 125;         // lung, -850 HU
const uint32_t TISSUE_X = 128, TISSUE_Y = 70;     // soft tissue, 40 HU

}

TEST_F(ImageTools, DumpShowsTheMetaInformationAndTheDataSetTree)
{
    std::string file = makeImage("ct.dcm", {"--patient-name", "Tree^Test"});
    RunResult r = run({toolPath("b3-dump"), file});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("File Meta Header"), std::string::npos);
    EXPECT_NE(r.out.find("CT Image Storage"), std::string::npos);
    EXPECT_NE(r.out.find("# Data set, Little Endian Explicit"), std::string::npos) << r.out;
    EXPECT_EQ(dumpValue(r.out, "(0010,0010)"), "Tree^Test");
    EXPECT_EQ(dumpValue(r.out, "(0028,0010)"), "256");
    EXPECT_EQ(dumpValue(r.out, "(0008,0008)"), "ORIGINAL\\PRIMARY\\AXIAL");
    EXPECT_EQ(dumpValue(r.out, "(7fe0,0010)").compare(0, 13, "131072 bytes:"), 0) << dumpValue(r.out, "(7fe0,0010)");
    EXPECT_TRUE(r.err.empty()) << "quiet by default, got: " << r.err;
}

TEST_F(ImageTools, DumpReadsEveryUncompressedSyntaxToTheSameValues)
{
    std::map<std::string, std::string> rowsBySyntax;
    for (const char* syntax : {"implicit", "explicit", "big"}) {
        std::string file = makeImage(std::string(syntax) + ".dcm", {"-t", syntax, "-s", "64"});
        RunResult r = run({toolPath("b3-dump"), file});
        ASSERT_EQ(r.status, 0) << syntax << ": " << r.err;
        EXPECT_EQ(dumpValue(r.out, "(0028,0011)"), "64") << syntax;
        EXPECT_EQ(dumpValue(r.out, "(0028,1052)"), "-1024") << syntax;
        EXPECT_EQ(dumpValue(r.out, "(0020,0037)"), "1\\0\\0\\0\\1\\0") << syntax;
    }
    RunResult big = run({toolPath("b3-dump"), dir + "/big.dcm"});
    EXPECT_NE(big.out.find("Big Endian Explicit"), std::string::npos);
}

TEST_F(ImageTools, DumpCutsLongValuesOnlyWhenAsked)
{
    std::string file = makeImage("ct.dcm", {"--patient-name", std::string(60, 'A') + "^B"});
    RunResult cut = run({toolPath("b3-dump"), "-w", "10", file});
    EXPECT_EQ(dumpValue(cut.out, "(0010,0010)"), "AAAAAAAAAA...");
    RunResult whole = run({toolPath("b3-dump"), "--width=0", file});
    EXPECT_EQ(dumpValue(whole.out, "(0010,0010)"), std::string(60, 'A') + "^B");
}

TEST_F(ImageTools, DumpFailsClearlyOnWhatItCannotRead)
{
    RunResult missing = run({toolPath("b3-dump"), dir + "/nothing-here.dcm"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("No such file or directory"), std::string::npos) << missing.err;

    std::string text = dir + "/notes.txt";
    FILE* f = fopen(text.c_str(), "w");
    fputs("These are notes, not an image.\n", f);
    fclose(f);
    RunResult notDicom = run({toolPath("b3-dump"), text});
    EXPECT_EQ(notDicom.status, 1);
    EXPECT_NE(notDicom.err.find("not a DICOM file"), std::string::npos) << notDicom.err;

    std::string good = makeImage("good.dcm");
    RunResult mixed = run({toolPath("b3-dump"), good, text});
    EXPECT_EQ(mixed.status, 1) << "one unreadable file fails the run";
    EXPECT_NE(mixed.out.find("== " + good), std::string::npos);
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

TEST_F(ImageTools, PngTakesWindowAndDepthFromTheOptions)
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
}

TEST_F(ImageTools, PngOfABigEndianFileMatchesTheLittleEndianOne)
{
    PngPicture little = toPng(makeImage("le.dcm", {"-t", "explicit"}));
    PngPicture big = toPng(makeImage("be.dcm", {"-t", "big"}));
    EXPECT_EQ(little.scanLines, big.scanLines);
}

TEST_F(ImageTools, PngRefusesAFrameThatIsNotThere)
{
    std::string file = makeImage("ct.dcm");
    RunResult r = run({toolPath("b3-png"), "--frame", "2", file, dir + "/x.png"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("has 1 frame, not 2"), std::string::npos) << r.err;
}

TEST_F(ImageTools, MkimageWritesASeriesIntoAFolder)
{
    std::string series = dir + "/series";
    RunResult r = run({toolPath("b3-mkimage"), "-n", "3", "-s", "32", series});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> files = filesUnder(series);
    ASSERT_EQ(files.size(), 3u);
    std::string study, seriesUid;
    for (size_t i = 0; i < files.size(); i++) {
        RunResult d = run({toolPath("b3-dump"), files[i]});
        EXPECT_EQ(dumpValue(d.out, "(0020,0013)"), std::to_string(i + 1));
        if (i == 0) {
            study = dumpValue(d.out, "(0020,000d)");
            seriesUid = dumpValue(d.out, "(0020,000e)");
        }
        EXPECT_EQ(dumpValue(d.out, "(0020,000d)"), study);
        EXPECT_EQ(dumpValue(d.out, "(0020,000e)"), seriesUid);
    }
}

// A 4 x 2 RGB picture written as a 24-bit BMP (bottom-up rows, BGR,
// rows padded to 4 bytes) for dcmtk's img2dcm to turn into an RGB image.
TEST_F(ImageTools, PngOfAnRgbImageMadeByDcmtkKeepsItsColours)
{
    if (!programOnPath("img2dcm"))
        GTEST_SKIP() << "dcmtk's img2dcm not installed";
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

TEST_F(ImageTools, LibraryLogShowsOnStandardErrorOnlyWhenVerbose)
{
    std::string text = dir + "/notes.txt";
    std::ofstream(text) << "plain text\n";
    RunResult quiet = run({toolPath("b3-dump"), text});
    EXPECT_EQ(quiet.err.find("<dirReadFileMetaInfo>"), std::string::npos) << quiet.err;
    RunResult verbose = run({toolPath("b3-dump"), "-v", text});
    EXPECT_EQ(verbose.status, 1);
    EXPECT_NE(verbose.err.find("<dirReadFileMetaInfo> File Meta Information missing\n"), std::string::npos)
        << verbose.err;
    EXPECT_NE(verbose.err.find("b3-dump: " + text + ": not a DICOM file"), std::string::npos) << verbose.err;
    EXPECT_EQ(verbose.out.find("dirReadFileMetaInfo"), std::string::npos);
}
