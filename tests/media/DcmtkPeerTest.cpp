// The library's files and DICOMDIRs against dcmtk's tools, used as a black box.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "MediaTestUtil.h"
#include "media/DcDirDicomDir.h"

namespace {

#define REQUIRE_TOOLS(...)                                  \
    for (const char* name : {__VA_ARGS__})                  \
        if (!haveTool(name))                                \
            GTEST_SKIP() << "dcmtk's " << name << " is not installed";

// dcmdump's output must hold every part; errors and warnings ("E: ", "W: ")
// must not appear.
void expectCleanDump(const std::string& path, const std::vector<std::string>& parts)
{
    std::string dump;
    EXPECT_EQ(run("dcmdump '" + path + "'", dump), 0) << dump;
    EXPECT_EQ(dump.find("E: "), std::string::npos) << dump;
    EXPECT_EQ(dump.find("W: "), std::string::npos) << dump;
    for (const std::string& part : parts)
        EXPECT_NE(dump.find(part), std::string::npos) << part << "\n" << dump;
}

// A 4 x 2 24-bit BMP image.
Bytes smallBmp()
{
    Bytes out = {'B', 'M'};
    for (unsigned int v : {54u + 24, 0u, 54u, 40u, 4u, 2u})
        put32(out, v);
    put16(out, 1);
    put16(out, 24);
    for (unsigned int v : {0u, 24u, 2835u, 2835u, 0u, 0u})
        put32(out, v);
    for (unsigned int i = 0; i < 24; ++i)
        out.push_back(static_cast<unsigned char>(i * 10));
    return out;
}

}

TEST(DcmtkPeer, FilesWrittenHereInEachUncompressedSyntaxPassDcmftestAndDcmdump)
{
    REQUIRE_TOOLS("dcmftest", "dcmdump");
    // Raw pixel buffers are written byte for byte as the caller gave them.
    const struct {
        DICT_UID xfer;
        const char* name;
        const char* pixels;
    } syntaxes[] = {{UID_LITTLE_ENDIAN_IMPLICIT, "Little Endian Implicit", "(7fe0,0010) OW 0801\\160f\\241d"},
                    {UID_LITTLE_ENDIAN_EXPLICIT, "Little Endian Explicit", "(7fe0,0010) OW 0801\\160f\\241d"},
                    {UID_BIG_ENDIAN_EXPLICIT, "Big Endian Explicit", "(7fe0,0010) OW 0108\\0f16\\1d24"}};
    for (auto& syntax : syntaxes) {
        SCOPED_TRACE(syntax.name);
        TempDir dir;
        DcElemList list;
        buildImage(list, "2.999.7321.3.1", 2, 3, 16);
        DcDirMetaInfo info;
        info.xferSyn = syntax.xfer;
        std::string path = dir / "out.dcm";
        ASSERT_EQ(dirWriteFile(path.c_str(), info, list), 0);
        std::string out;
        EXPECT_EQ(run("dcmftest '" + path + "'", out), 0) << out;
        EXPECT_NE(out.find("yes:"), std::string::npos) << out;
        expectCleanDump(path, {"TransferSyntaxUID", syntax.name, "(0010,0010) PN [Doe^Jane]", "(0028,0010) US 2",
                               "(0028,0011) US 3", "(0008,0018) UI [2.999.7321.3.1]",
                               "(0002,0012) UI [2.999.7321.4.3.2]", syntax.pixels});
    }
}

TEST(DcmtkPeer, DiskHeldEncapsulatedPixelsArePassedByDcmdump)
{
    REQUIRE_TOOLS("dcmftest", "dcmdump");
    TempDir dir;
    Bytes fragments = {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0, 0xFE, 0xFF, 0x00, 0xE0, 6, 0, 0, 0, 0xFF, 0xD8, 1, 2, 0xFF, 0xD9};
    DcElemList list;
    buildImage(list, "2.999.7321.3.2", 4, 4, 8, false);
    list.add(diskPixelData(dir / "frag.raw", fragments, UID_JPEG_BASELINE));
    DcDirMetaInfo info;
    std::string path = dir / "jpeg.dcm";
    ASSERT_EQ(dirWriteFile(path.c_str(), info, list), 0);
    std::string out;
    EXPECT_EQ(run("dcmftest '" + path + "'", out), 0) << out;
    expectCleanDump(path, {"JPEG Baseline", "(7fe0,0010) OB (PixelSequence #=2)",
                           "(fffe,e000) pi ff\\d8\\01\\02\\ff\\d9", "(fffe,e0dd) na (SequenceDelimitationItem)"});
}

TEST(DcmtkPeer, FilesWrittenByDcmtkAreReadWithTheirMetaInformationAndValues)
{
    REQUIRE_TOOLS("dump2dcm", "img2dcm", "dcmconv", "dcmdump");
    TempDir dir;
    std::ofstream(dir / "in.txt") << "(0008,0016) UI =SecondaryCaptureImageStorage\n"
                                     "(0008,0018) UI [2.999.7321.2.1]\n"
                                     "(0010,0010) PN [Roe^Richard]\n"
                                     "(0010,0020) LO [PID77]\n"
                                     "(0028,0010) US 2\n"
                                     "(0028,0011) US 2\n"
                                     "(0028,0100) US 16\n"
                                     "(7fe0,0010) OW 0102\\0304\\0506\\0708\n";
    std::string out;
    ASSERT_EQ(run("dump2dcm +te '" + (dir / "in.txt") + "' '" + (dir / "dump.dcm") + "'", out), 0) << out;
    writeBytes(dir / "in.bmp", smallBmp());
    ASSERT_EQ(run("img2dcm -i BMP '" + (dir / "in.bmp") + "' '" + (dir / "img.dcm") + "'", out), 0) << out;

    const struct {
        const char* option;
        DICT_UID xfer;
    } syntaxes[] = {{"+ti", UID_LITTLE_ENDIAN_IMPLICIT}, {"+te", UID_LITTLE_ENDIAN_EXPLICIT},
                    {"+tb", UID_BIG_ENDIAN_EXPLICIT}};
    for (auto& syntax : syntaxes) {
        SCOPED_TRACE(syntax.option);
        for (const char* name : {"dump", "img"}) {
            std::string converted = dir / (std::string(name) + "_conv.dcm");
            ASSERT_EQ(run(std::string("dcmconv ") + syntax.option + " '" + (dir / (std::string(name) + ".dcm")) +
                              "' '" + converted + "'", out), 0) << out;
        }
        DcDirMetaInfo info;
        DcElemList list;
        ASSERT_EQ(dirReadFile((dir / "dump_conv.dcm").c_str(), info, list), 0);
        EXPECT_EQ(info.xferSyn, syntax.xfer);
        EXPECT_EQ(info.sopClassUid, UID_SC_IMAGE_STORAGE);
        EXPECT_STREQ(info.sopInstanceUid, "2.999.7321.2.1");
        EXPECT_EQ(info.version, 1u);
        EXPECT_EQ(textOf(list, T_0010_0010_patientName), "Roe^Richard");
        EXPECT_EQ(textOf(list, T_0010_0020_patientId), "PID77");
        DcBuf pixels;
        ASSERT_EQ(list.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP), 0);
        ASSERT_EQ(pixels.getLen(), 8u);
        const unsigned char* p = static_cast<const unsigned char*>(pixels.getBuf());
        EXPECT_EQ(syntax.xfer == UID_BIG_ENDIAN_EXPLICIT ? (p[0] << 8 | p[1]) : (p[1] << 8 | p[0]), 0x0102);

        DcDirMetaInfo imageInfo;
        DcElemList image;
        ASSERT_EQ(dirReadFile((dir / "img_conv.dcm").c_str(), imageInfo, image), 0);
        EXPECT_EQ(imageInfo.xferSyn, syntax.xfer);
        EXPECT_EQ(imageInfo.sopClassUid, UID_SC_IMAGE_STORAGE);
        unsigned short columns = 0, samples = 0;
        EXPECT_EQ(image.getValue(T_0028_0011_columns, columns, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(columns, 4);
        EXPECT_EQ(image.getValue(T_0028_0002_samplesPerPixel, samples, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(samples, 3);
        ASSERT_EQ(image.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(pixels.getLen(), 4u * 2 * 3);
        EXPECT_EQ(textOf(image, T_0008_0018_sopInstanceUid), imageInfo.sopInstanceUid);
    }
}

TEST(DcmtkPeer, DicomDirWrittenHereIsDumpedWithItsRecords)
{
    REQUIRE_TOOLS("dcmdump");
    TempDir dir;
    ASSERT_EQ(writeImageFile(dir.path, "IMAGES/IMG1", "2.999.7321.3.11"), 0);
    ASSERT_EQ(writeImageFile(dir.path, "IMAGES/IMG2", "2.999.7321.3.12"), 0);
    DcDirDicomDir root(dir.path.c_str());
    root.setFileSetId("PEERTEST");
    DcDirRec* patient = root.add(new DcDirRec(DIR_REC_PATIENT));
    patient->DcElemList::add(new DcElem(T_0010_0010_patientName, "Doe^Jane"));
    patient->DcElemList::add(new DcElem(T_0010_0020_patientId, "PID001"));
    DcDirRec* study = patient->add(new DcDirRec(DIR_REC_STUDY));
    study->DcElemList::add(new DcElem(T_0020_000d_studyInstanceUid, "2.999.7321.1.1"));
    DcDirRec* series = study->add(new DcDirRec(DIR_REC_SERIES));
    series->DcElemList::add(new DcElem(T_0008_0060_modality, "OT"));
    ASSERT_EQ(series->add(new DcDirRec(DIR_REC_IMAGE))->setRefFile("IMAGES\\IMG1"), 0);
    ASSERT_EQ(series->add(new DcDirRec(DIR_REC_IMAGE))->setRefFile("IMAGES\\IMG2"), 0);
    ASSERT_EQ(root.write(), 0);

    expectCleanDump(dir / "DICOMDIR",
                    {"=MediaStorageDirectoryStorage", "(0004,1130) CS [PEERTEST]",
                     "(0004,1200) up " + std::to_string(patient->getOffset()),
                     "(0004,1420) up " + std::to_string(study->getOffset()), "(0004,1430) CS [PATIENT]",
                     "(0004,1430) CS [STUDY]", "(0004,1430) CS [SERIES]", "(0004,1430) CS [IMAGE]",
                     "(0004,1500) CS [IMAGES\\IMG1]", "(0004,1511) UI [2.999.7321.3.12]", "(0010,0010) PN [Doe^Jane]"});
}

TEST(DcmtkPeer, DicomDirMadeByDcmmkdirOverFilesWrittenHereIsReadIntoTheTree)
{
    REQUIRE_TOOLS("dcmmkdir");
    TempDir dir;
    ASSERT_EQ(writeImageFile(dir.path, "IMAGES/IMG1", "2.999.7321.3.21"), 0);
    ASSERT_EQ(writeImageFile(dir.path, "IMAGES/IMG2", "2.999.7321.3.22"), 0);
    std::string out;
    ASSERT_EQ(run("cd '" + dir.path + "' && dcmmkdir +I +r +D DICOMDIR IMAGES", out), 0) << out;

    DcDirDicomDir root(dir.path.c_str());
    ASSERT_EQ(root.read(), 0);
    DcDirRec* patient = root.first();
    ASSERT_NE(patient, nullptr);
    EXPECT_EQ(textOf(*patient, T_0010_0020_patientId), "PID001");
    DcDirRec* image = root.getRefFileObj("IMAGES\\IMG1");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->parent()->parent()->parent(), patient);
    EXPECT_EQ(image->parent()->getType(), DIR_REC_SERIES);
    EXPECT_EQ(image->next(), root.getRefFileObj("IMAGES\\IMG2"));
    EXPECT_EQ(image->next()->next(), nullptr);
    DcDirRecInfo info;
    image->getInfo(info);
    EXPECT_EQ(image->getType(), DIR_REC_IMAGE);
    EXPECT_STREQ(info.refSopInstance, "2.999.7321.3.21");
    EXPECT_EQ(info.refSopClass, UID_SC_IMAGE_STORAGE);
    EXPECT_EQ(info.refXferSyn, UID_LITTLE_ENDIAN_EXPLICIT);
}
