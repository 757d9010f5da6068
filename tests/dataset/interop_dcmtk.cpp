// Data sets exchanged with dcmtk's command-line tools as a black-box peer:
// data sets written by dump2dcm and dcmconv are parsed here, and data sets
// framed here are read by dcmdump.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "DataSetModel.h"
#include "dataset/DcElemCodec.h"
#include "foundation/ByteOrder.h"

namespace {

// The syntax, dcmtk's name of it, and the letter of its dcmtk options
// ("+t?" to write, "-t?" to read).
struct Syntax {
    DICT_UID uid;
    const char* name;
    const char* letter;
};

const Syntax syntaxes[] = {
    {UID_LITTLE_ENDIAN_IMPLICIT, "Little Endian Implicit", "i"},
    {UID_LITTLE_ENDIAN_EXPLICIT, "Little Endian Explicit", "e"},
    {UID_BIG_ENDIAN_EXPLICIT, "Big Endian Explicit", "b"},
};

ModelElem text(unsigned int tag, DICT_VR vr, std::vector<std::string> values)
{
    return ModelElem{tag, vr, std::move(values), {}, {}};
}

ModelElem raw(unsigned int tag, DICT_VR vr, Bytes bytes)
{
    return ModelElem{tag, vr, {}, std::move(bytes), {}};
}

ModelElem sequence(unsigned int tag, std::vector<ModelSet> items)
{
    return ModelElem{tag, VR_SQ, {}, {}, std::move(items)};
}

// Every VR the toolkit reads and writes, values of odd and even lengths,
// several values where the dictionary allows them, an empty item, an empty
// sequence and sequences nested three deep. OW words are held in the byte
// order of the syntax.
ModelSet reference(bool bigEndian)
{
    Bytes words = {0x00, 0x01, 0xab, 0xcd, 0xff, 0xfe};
    if (bigEndian)
        for (size_t i = 0; i < words.size(); i += 2)
            std::swap(words[i], words[i + 1]);
    ModelSet innermost = {text(0x00100010, VR_PN, {"Inner^Most"})};
    ModelSet middle = {text(0x00080100, VR_SH, {"CODE1"}), sequence(0x0040A730, {innermost})};
    ModelSet outer = {text(0x00081150, VR_UI, {"1.2.3.4"}), text(0x00081155, VR_UI, {"1.2.3.4.5.6"}),
                      sequence(0x0040A730, {middle, {text(0x00080100, VR_SH, {"CODE22"})}})};
    return {
        text(0x00080008, VR_CS, {"ORIGINAL", "PRIMARY", "AXIAL"}),
        text(0x00080018, VR_UI, {"1.2.826.0.1.3680043.2.1125.1.7"}),
        text(0x00080020, VR_DA, {"20240131"}),
        text(0x0008002A, VR_DT, {"20240131101530.250000+0100"}),
        text(0x00080030, VR_TM, {"101530"}),
        text(0x00080050, VR_SH, {"ACC-1"}),
        text(0x00080054, VR_AE, {"STORE_SCP", "ARCHIVE"}),
        text(0x00080060, VR_CS, {"CT"}),
        text(0x00080070, VR_LO, {"Brenik Imaging"}),
        text(0x00080081, VR_ST, {"1 Main St\\Springfield"}),
        sequence(0x00081115, {}),
        sequence(0x00081140, {outer, {}}),
        text(0x00081160, VR_IS, {"1", "22", "333"}),
        text(0x00081161, VR_UL, {"70000", "4"}),
        text(0x00081163, VR_FD, {"1.5", "-0.125"}),
        text(MODEL_PRIVATE_CREATOR_TAG, VR_LO, {"BRENIK3"}),
        raw(MODEL_PRIVATE_UN_TAG, VR_UN, {0x01, 0x02, 0x03, 0x04}),
        text(0x00100010, VR_PN, {"Doe^John^^Dr"}),
        text(0x00100028, VR_US, {"1", "2", "3"}),
        text(0x00101010, VR_AS, {"045Y"}),
        text(0x00101030, VR_DS, {"72.5"}),
        text(0x00104000, VR_LT, {"first part\\second part"}),
        text(0x00181201, VR_TM, {"080000", "235959.500000"}),
        text(0x00182043, VR_FL, {"1.5", "-2.25"}),
        text(0x00280009, VR_AT, {"(0018,1063)", "(0018,1065)"}),
        text(0x00280010, VR_US, {"512"}),
        text(0x00281041, VR_SS, {"-1"}),
        raw(0x00281201, VR_OW, words),
        raw(0x00282000, VR_OB, {0x01, 0x02, 0x03, 0x04}),
        text(0x00321066, VR_UT, {"reason for the visit\\with a backslash"}),
        text(0x0040A162, VR_SL, {"-5", "70000"}),
    };
}

std::string join(const std::vector<std::string>& parts)
{
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i)
        out += (i > 0 ? "\\" : "") + parts[i];
    return out;
}

// A value as dump2dcm reads it and dcmdump prints it.
std::string dumpValue(const ModelElem& elem, bool bigEndian)
{
    std::vector<std::string> parts;
    char hex[8];
    if (elem.vr == VR_OW) {
        for (size_t i = 0; i + 1 < elem.raw.size(); i += 2) {
            snprintf(hex, sizeof hex, "%04x", byteorder::get16(&elem.raw[i], bigEndian));
            parts.push_back(hex);
        }
        return join(parts);
    }
    if (modelIsRaw(elem.vr)) {
        for (unsigned char byte : elem.raw) {
            snprintf(hex, sizeof hex, "%02x", byte);
            parts.push_back(hex);
        }
        return join(parts);
    }
    if (elemcodec::isTextVr(elem.vr))
        return "[" + join(elem.texts) + "]";
    return join(elem.texts);
}

std::string header(unsigned int tag, DICT_VR vr)
{
    return tagName(tag) + " " + elemcodec::vrName(vr);
}

// dump2dcm input, sequences and items of undefined length.
void writeDump(const ModelSet& set, std::string& out)
{
    for (const ModelElem& elem : set) {
        if (elem.vr != VR_SQ) {
            out += header(elem.tag, elem.vr) + " " + dumpValue(elem, false) + "\n";
            continue;
        }
        out += header(elem.tag, VR_SQ) + " (Sequence with undefined length)\n";
        for (const ModelSet& item : elem.items) {
            out += "(fffe,e000) na (Item with undefined length)\n";
            writeDump(item, out);
            out += "(fffe,e00d) na (ItemDelimitationItem)\n";
        }
        out += "(fffe,e0dd) na (SequenceDelimitationItem)\n";
    }
}

// The lines dcmdump should print for the set: tag, VR and value; sequences
// and items by tag and VR alone.
void expectedLines(const ModelSet& set, bool bigEndian, std::vector<std::string>& out)
{
    for (const ModelElem& elem : set) {
        if (elem.vr != VR_SQ) {
            out.push_back(header(elem.tag, elem.vr) + " " + dumpValue(elem, bigEndian));
            continue;
        }
        out.push_back(header(elem.tag, VR_SQ));
        for (const ModelSet& item : elem.items) {
            out.push_back("(fffe,e000) na");
            expectedLines(item, bigEndian, out);
        }
    }
}

// dcmdump's lines of the data set in the same form; the delimitation items
// it shows for re-encoding are left out.
std::vector<std::string> dumpedLines(const std::string& dump)
{
    std::vector<std::string> out;
    std::istringstream in(dump);
    std::string line;
    bool inDataSet = false;
    while (std::getline(in, line)) {
        if (line.rfind("# Dicom-Data-Set", 0) == 0)
            inDataSet = true;
        size_t start = line.find_first_not_of(' ');
        if (!inDataSet || start == std::string::npos || line[start] != '(')
            continue;
        line = line.substr(start);
        size_t comment = line.rfind(" #");
        if (comment != std::string::npos)
            line = line.substr(0, comment);
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        std::string tag = line.substr(0, 11);
        if (tag == "(fffe,e00d)" || tag == "(fffe,e0dd)")
            continue;
        std::string vr = line.substr(12, 2);
        out.push_back(vr == "SQ" || vr == "na" ? line.substr(0, 14) : line);
    }
    return out;
}

bool toolAvailable(const char* name)
{
    return system((std::string("command -v ") + name + " >/dev/null 2>&1").c_str()) == 0;
}

class DcmtkPeer : public ::testing::Test {
protected:
    std::filesystem::path dir;

    void SetUp() override
    {
        for (const char* tool : {"dump2dcm", "dcmconv", "dcmdump"})
            if (!toolAvailable(tool))
                GTEST_SKIP() << tool << " is not installed";
        registerModelPrivateTags();
        char name[] = "/tmp/brenik3_dcmtkXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        dir = name;
    }

    void TearDown() override
    {
        if (!dir.empty())
            std::filesystem::remove_all(dir);
    }

    std::string path(const std::string& name) { return (dir / name).string(); }

    // Runs a command line; its standard output and error come back.
    int run(const std::string& command, std::string* out = nullptr, std::string* err = nullptr)
    {
        std::string outPath = path("stdout.txt"), errPath = path("stderr.txt");
        int status = system((command + " >" + outPath + " 2>" + errPath).c_str());
        if (out != nullptr)
            *out = readText(outPath);
        if (err != nullptr)
            *err = readText(errPath);
        return status;
    }

    static std::string readText(const std::string& file)
    {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // The reference data set as dump2dcm writes it.
    std::string referenceFile()
    {
        std::string dump;
        writeDump(reference(false), dump);
        std::ofstream(path("reference.dump")) << dump;
        std::string err;
        EXPECT_EQ(run("dump2dcm +te " + path("reference.dump") + " " + path("reference.dcm"), nullptr, &err), 0)
            << err;
        return path("reference.dcm");
    }
};

}

TEST_F(DcmtkPeer, DataSetsConvertedByDcmconvParseIntoTheReferenceElements)
{
    std::string source = referenceFile();
    for (const Syntax& syntax : syntaxes) {
        for (const char* lengths : {"+e", "-e"}) {
            SCOPED_TRACE(std::string(syntax.name) + " " + lengths);
            std::string converted = path(std::string("converted") + syntax.letter + lengths + ".dcm");
            std::string err;
            ASSERT_EQ(run(std::string("dcmconv -F +t") + syntax.letter + " " + lengths + " " + source + " " + converted,
                          nullptr, &err),
                      0)
                << err;
            std::string content = readText(converted);
            Bytes dataSet(content.begin(), content.end());
            const unsigned char undefined[] = {0xFF, 0xFF, 0xFF, 0xFF};
            bool undefinedLengths =
                std::search(dataSet.begin(), dataSet.end(), undefined, undefined + 4) != dataSet.end();
            EXPECT_EQ(undefinedLengths, std::string(lengths) == "-e");

            DcElemList list;
            unsigned int left = 99;
            EXPECT_EQ(parse(list, dataSet, syntax.uid, &left), 0);
            EXPECT_EQ(left, 0u);
            expectSameSet(list, reference(syntax.uid == UID_BIG_ENDIAN_EXPLICIT), "");
        }
    }
}

TEST_F(DcmtkPeer, DcmdumpReadsWhatTheLibraryFramesWithTheSameValues)
{
    for (const Syntax& syntax : syntaxes) {
        SCOPED_TRACE(syntax.name);
        bool big = syntax.uid == UID_BIG_ENDIAN_EXPLICIT;
        ModelSet model = reference(big);
        DcElemList list;
        buildInto(list, model, syntax.uid);
        int status = -1;
        Bytes dataSet = encode(list, syntax.uid, &status);
        ASSERT_EQ(status, 0);
        std::string file = path("framed.dcm");
        std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(dataSet.data()),
                                                    static_cast<std::streamsize>(dataSet.size()));

        std::string out, err;
        EXPECT_EQ(run(std::string("dcmdump -f -t") + syntax.letter + " +L -Un " + file, &out, &err), 0);
        EXPECT_EQ(err, "");
        EXPECT_NE(out.find(std::string("# Used TransferSyntax: ") + syntax.name), std::string::npos) << out;
        std::vector<std::string> expected;
        expectedLines(model, big, expected);
        // Without a VR on the wire dcmdump cannot name the private element's.
        if (syntax.uid == UID_LITTLE_ENDIAN_IMPLICIT)
            for (std::string& line : expected)
                if (line.rfind(header(MODEL_PRIVATE_UN_TAG, VR_UN), 0) == 0)
                    line.replace(12, 2, "??");
        EXPECT_EQ(dumpedLines(out), expected);
    }
}
