// b3-convert, b3-png and b3-dump --json against dcmtk's and GDCM's
// encoders, decoders and JSON writer, on the same files.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>

#include "Brenik3.h"
#include "ToolRun.h"
#ifdef BRENIK3_TEST_CODECS
#include "codec/JsonText.h"
#endif

namespace {

// The Pixel Data bytes of a native file.
std::vector<uint8_t> pixelsOf(const std::string& path)
{
    DcDirMetaInfo meta;
    DcElemList list;
    std::vector<uint8_t> out;
    EXPECT_EQ(0, dirReadFile(path.c_str(), meta, list)) << path;
    DcElem* pixels = nullptr;
    DcBuf value;
    if (list.getElem(0x7FE00010u, &pixels) != 0 || pixels->getValue(value, ELEM_VAL_INDEX_KEEP) != 0)
        return out;
    const uint8_t* p = static_cast<const uint8_t*>(value.getBuf());
    out.assign(p, p + value.getLen());
    return out;
}

int maxWordError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    int worst = a.size() == b.size() ? 0 : 1 << 20;
    for (size_t i = 0; i + 1 < a.size() && i + 1 < b.size(); i += 2)
        worst = std::max(worst, std::abs((a[i] | (a[i + 1] << 8)) - (b[i] | (b[i + 1] << 8))));
    return worst;
}

struct Peer {
    const char* name;
    std::vector<std::string> encode;  // program and options; input and output follow
    std::vector<std::string> decode;
    const char* ourOption;
};

const Peer peers[] = {
    {"rle", {"dcmcrle"}, {"dcmdrle"}, "--rle"},
    {"jpegLossless", {"dcmcjpeg", "+el"}, {"dcmdjpeg"}, "--jpeg-lossless"},
    {"jpegLossless14", {"dcmcjpeg", "+e1"}, {"dcmdjpeg"}, "--jpeg-lossless"},
    {"jpegLs", {"dcmcjpls"}, {"dcmdjpls"}, "--jpls"},
    {"j2k", {"gdcmconv", "--j2k"}, {"gdcmconv", "--raw"}, "--j2k-lossless"},
    {"deflate", {"dcmconv", "+td"}, {"dcmconv", "+te"}, "--deflate"},
};

class CodecPeer : public ToolTest, public ::testing::WithParamInterface<Peer> {};
class CodecTools : public ToolTest {};

TEST_P(CodecPeer, PixelsAgreeBitForBitInBothDirections)
{
    const Peer& peer = GetParam();
    need({"b3-convert", "b3-png", "b3-mkimage"}, {peer.encode[0], peer.decode[0], "dcmftest"});
    std::string original = makeImage("ct.dcm", {"--size", "128"});
    std::vector<uint8_t> pixels = pixelsOf(original);
    ASSERT_EQ(128u * 128u * 2u, pixels.size());

    // Their encoding, our decoding.
    std::vector<std::string> encode = peer.encode;
    encode.insert(encode.end(), {original, dir + "/theirs.dcm"});
    RunResult r = run(encode);
    ASSERT_EQ(0, r.status) << r.err;
    r = tool("b3-convert", {"--explicit", dir + "/theirs.dcm", dir + "/ours-decoded.dcm"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(pixels, pixelsOf(dir + "/ours-decoded.dcm"));
    r = tool("b3-png", {dir + "/theirs.dcm", dir + "/theirs.png"});
    EXPECT_EQ(0, r.status) << r.err;

    // Our encoding, their decoding; their checker accepts the file.
    r = tool("b3-convert", {peer.ourOption, original, dir + "/ours.dcm"});
    ASSERT_EQ(0, r.status) << r.err;
    r = run({"dcmftest", dir + "/ours.dcm"});
    EXPECT_NE(std::string::npos, r.out.find("yes")) << r.out;
    std::vector<std::string> decode = peer.decode;
    decode.insert(decode.end(), {dir + "/ours.dcm", dir + "/their-decoded.dcm"});
    r = run(decode);
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(pixels, pixelsOf(dir + "/their-decoded.dcm"));
}

INSTANTIATE_TEST_SUITE_P(Peers, CodecPeer, ::testing::ValuesIn(peers),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CodecTools, LossyJpeg2000DecodesAsGdcmDecodesIt)
{
    need({"b3-convert", "b3-mkimage"}, {"gdcmconv"});
    std::string original = makeImage("ct.dcm", {"--size", "128"});
    RunResult r = tool("b3-convert", {"--j2k", original, dir + "/lossy.dcm"});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("--lossy")) << r.err;
    r = tool("b3-convert", {"--j2k", "--lossy", "--ratio", "8", original, dir + "/lossy.dcm"});
    ASSERT_EQ(0, r.status) << r.err;
    ASSERT_EQ(0, run({"gdcmconv", "--raw", dir + "/lossy.dcm", dir + "/gdcm.dcm"}).status);
    ASSERT_EQ(0, tool("b3-convert", {"--explicit", dir + "/lossy.dcm", dir + "/ours.dcm"}).status);
    std::vector<uint8_t> theirs = pixelsOf(dir + "/gdcm.dcm"), ours = pixelsOf(dir + "/ours.dcm");
    EXPECT_LE(maxWordError(theirs, ours), 1);
    EXPECT_GT(maxWordError(pixelsOf(original), ours), 0);  // it is lossy after all
    r = run({"dcmdump", dir + "/lossy.dcm"});
    EXPECT_NE(std::string::npos, r.out.find("(0028,2110) CS [01]")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("ISO_15444_1")) << r.out;
}

// Mean and largest difference of two 16-bit frames.
struct WordError {
    int worst = 0;
    double mean = 0;
};

WordError wordError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    WordError e;
    size_t n = std::min(a.size(), b.size()) / 2;
    for (size_t i = 0; i < n; i++) {
        int d = std::abs((a[2 * i] | (a[2 * i + 1] << 8)) - (b[2 * i] | (b[2 * i + 1] << 8)));
        e.worst = std::max(e.worst, d);
        e.mean += d;
    }
    e.mean = n ? e.mean / double(n) : 1e9;
    if (a.size() != b.size())
        e.worst = 1 << 20;
    return e;
}

TEST_F(CodecTools, TwelveBitLossyJpegOfDcmtkDecodesAsDcmdjpegDecodesIt)
{
    need({"b3-convert", "b3-mkimage"}, {"dcmcjpeg", "dcmdjpeg"});
    std::string original = makeImage("ct.dcm", {"--size", "200"});
    for (std::vector<std::string> options : {std::vector<std::string>{"+ee"}, {"+ee", "+q", "40"}}) {
        SCOPED_TRACE(options.back());
        std::vector<std::string> encode = {"dcmcjpeg"};
        encode.insert(encode.end(), options.begin(), options.end());
        encode.insert(encode.end(), {original, dir + "/theirs.dcm"});
        ASSERT_EQ(0, run(encode).status);
        ASSERT_EQ(0, run({"dcmdjpeg", dir + "/theirs.dcm", dir + "/their-decoded.dcm"}).status);
        RunResult r = tool("b3-convert", {"--explicit", dir + "/theirs.dcm", dir + "/ours-decoded.dcm"});
        ASSERT_EQ(0, r.status) << r.err;
        std::vector<uint8_t> theirs = pixelsOf(dir + "/their-decoded.dcm");
        ASSERT_EQ(200u * 200u * 2u, theirs.size());
        WordError e = wordError(theirs, pixelsOf(dir + "/ours-decoded.dcm"));
        EXPECT_LE(e.worst, 1);
        EXPECT_LT(e.mean, 0.5);
    }
}

TEST_F(CodecTools, OurTwelveBitLossyJpegDecodesWithDcmtkAndGdcmAsWithUs)
{
    need({"b3-convert", "b3-mkimage", "b3-dump"}, {"dcmdjpeg", "dcmftest"});
    std::string original = makeImage("ct.dcm", {"--size", "200"});
    RunResult r = tool("b3-convert", {"--jpeg", original, dir + "/lossy.dcm"});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("--lossy")) << r.err;
    r = tool("b3-convert", {"--jpeg", "--lossy", original, dir + "/lossy.dcm"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_NE(std::string::npos, run({"dcmftest", dir + "/lossy.dcm"}).out.find("yes"));
    EXPECT_NE(std::string::npos, tool("b3-dump", {dir + "/lossy.dcm"}).out.find("1.2.840.10008.1.2.4.51"));
    ASSERT_EQ(0, run({"dcmdjpeg", dir + "/lossy.dcm", dir + "/dcmtk.dcm"}).status);
    ASSERT_EQ(0, tool("b3-convert", {"--explicit", dir + "/lossy.dcm", dir + "/ours.dcm"}).status);
    std::vector<uint8_t> dcmtk = pixelsOf(dir + "/dcmtk.dcm"), ours = pixelsOf(dir + "/ours.dcm");
    WordError e = wordError(pixelsOf(original), dcmtk);
    EXPECT_GT(e.worst, 0);  // lossy after all
    EXPECT_LT(e.worst, 64);
    EXPECT_LT(e.mean, 4.0);
    EXPECT_LE(wordError(dcmtk, ours).worst, 1);
    if (run({"which", "gdcmconv"}).status == 0) {
        ASSERT_EQ(0, run({"gdcmconv", "--raw", dir + "/lossy.dcm", dir + "/gdcm.dcm"}).status);
        EXPECT_LE(wordError(pixelsOf(dir + "/gdcm.dcm"), ours).worst, 1);
    }
}

TEST_F(CodecTools, ConvertingAFolderKeepsEveryNonPixelElement)
{
    need({"b3-convert", "b3-mkimage", "b3-dump"}, {"dcmftest"});
    std::string series = makeImage("series", {"--count", "3", "--size", "32"});
    for (const char* option : {"--implicit", "--big", "--deflate", "--rle", "--jpeg-lossless", "--jpls", "--j2k-lossless"}) {
        SCOPED_TRACE(option);
        std::string there = dir + "/there" + option, back = dir + "/back" + option;
        RunResult r = tool("b3-convert", {option, series, there});
        ASSERT_EQ(0, r.status) << r.err;
        EXPECT_NE(std::string::npos, r.out.find("converted 3 files, 0 failed")) << r.out;
        ASSERT_EQ(0, tool("b3-convert", {"--explicit", there, back}).status);
        for (std::string name : {"IMG0001", "IMG0002", "IMG0003"}) {
            EXPECT_NE(std::string::npos, run({"dcmftest", there + "/" + name}).out.find("yes"));
            std::string before = tool("b3-dump", {series + "/" + name}).out;
            std::string after = tool("b3-dump", {back + "/" + name}).out;
            EXPECT_EQ(before, after);
        }
    }
}

TEST_F(CodecTools, DamagedFramesAreNamedAndRefusedNotShown)
{
    need({"b3-convert", "b3-mkimage", "b3-dump", "b3-png"});
    std::string original = makeImage("ct.dcm", {"--size", "32"});
    ASSERT_EQ(0, tool("b3-convert", {"--rle", original, dir + "/rle.dcm"}).status);
    RunResult r = tool("b3-dump", {"--frames", dir + "/rle.dcm"});
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.out.find("1 of 1 frames decodable")) << r.out;

    // The RLE header of the only fragment claims three segments where the
    // 16-bit grey image has two.
    std::string bytes = readFile(dir + "/rle.dcm");
    size_t header = bytes.rfind(std::string("\xfe\xff\x00\xe0", 4));
    ASSERT_NE(std::string::npos, header);
    bytes[header + 8] = 3;
    std::ofstream(dir + "/bad.dcm", std::ios::binary) << bytes;
    r = tool("b3-dump", {"--frames", dir + "/bad.dcm"});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.out.find("cannot decode frame 1")) << r.out;
    r = tool("b3-png", {dir + "/bad.dcm", dir + "/bad.png"});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("frame 1 cannot be decoded")) << r.err;
}

#ifdef BRENIK3_TEST_CODECS
// The members of a DICOM JSON object, keyed by tag, as parsed nodes.
JsonNode parsed(const std::string& text)
{
    JsonNode root;
    std::string error;
    EXPECT_TRUE(jsonParse(text, root, error)) << error;
    return root;
}

TEST_F(CodecTools, JsonAgreesWithDcm2jsonAndComesBackUnchanged)
{
    need({"b3-convert", "b3-mkimage", "b3-dump"}, {"dcm2json"});
    std::string original = makeImage("ct.dcm", {"--size", "16"});
    RunResult ours = tool("b3-dump", {"--json", original});
    RunResult theirs = run({"dcm2json", original});
    ASSERT_EQ(0, ours.status) << ours.err;
    ASSERT_EQ(0, theirs.status) << theirs.err;
    JsonNode a = parsed(ours.out), b = parsed(theirs.out);
    int compared = 0;
    for (const auto& member : b.members) {
        if (member.first == "7FE00010")
            continue;
        SCOPED_TRACE(member.first);
        const JsonNode* mine = a.member(member.first);
        ASSERT_NE(nullptr, mine);
        EXPECT_EQ(member.second.member("vr")->text, mine->member("vr")->text);
        const JsonNode* v1 = member.second.member("Value");
        const JsonNode* v2 = mine->member("Value");
        ASSERT_EQ(v1 == nullptr, v2 == nullptr);
        if (v1 == nullptr)
            continue;
        ASSERT_EQ(v1->items.size(), v2->items.size());
        for (size_t i = 0; i < v1->items.size(); i++) {
            const JsonNode& x = v1->items[i];
            const JsonNode& y = v2->items[i];
            if (x.kind == JsonNode::NUMBER) {
                EXPECT_DOUBLE_EQ(atof(x.text.c_str()), atof(y.text.c_str()));
            } else if (x.kind == JsonNode::OBJECT) {
                EXPECT_EQ(x.member("Alphabetic")->text, y.member("Alphabetic")->text);
            } else if (member.first != "00080005") {  // dcm2json names the character set it converted to
                EXPECT_EQ(x.text, y.text);
            }
        }
        compared++;
    }
    EXPECT_GT(compared, 30);

    // JSON -> file -> JSON, with the pixels in a bulk data file.
    ASSERT_EQ(0, tool("b3-dump", {"--json", "--json-file", dir + "/a.json", "--bulk", "64", original}).status);
    ASSERT_EQ(0, tool("b3-convert", {"--from-json", dir + "/a.json", dir + "/back.dcm"}).status);
    EXPECT_EQ(pixelsOf(original), pixelsOf(dir + "/back.dcm"));
    EXPECT_EQ(ours.out, tool("b3-dump", {"--json", dir + "/back.dcm"}).out);
}
#endif

}
