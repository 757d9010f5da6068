#ifndef BRENIK3_TESTS_MEDIA_MEDIATESTUTIL_H
#define BRENIK3_TESTS_MEDIA_MEDIATESTUTIL_H

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "media/dirFile.h"
#include "tests/foundation/LogCapture.h"

typedef std::vector<unsigned char> Bytes;

// A fresh directory under /tmp, removed with everything in it at the end.
class TempDir {
public:
    TempDir()
    {
        char name[] = "/tmp/brenik3_mediaXXXXXX";
        char* made = mkdtemp(name);
        path = made != nullptr ? made : "";
    }
    ~TempDir()
    {
        if (!path.empty())
            (void)!system(("rm -rf '" + path + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }

    std::string path;
};

inline void writeBytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

inline Bytes readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void put16(Bytes& out, unsigned int v)
{
    out.push_back(static_cast<unsigned char>(v));
    out.push_back(static_cast<unsigned char>(v >> 8));
}

inline void put32(Bytes& out, unsigned int v)
{
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

// One Explicit VR Little Endian element with a 2-byte length field.
inline void putShortElem(Bytes& out, unsigned int tag, const char* vr, const std::string& value)
{
    put16(out, tag >> 16);
    put16(out, tag & 0xFFFF);
    out.insert(out.end(), vr, vr + 2);
    put16(out, static_cast<unsigned int>(value.size()));
    out.insert(out.end(), value.begin(), value.end());
}

// Whether a program is on PATH.
inline bool haveTool(const std::string& name)
{
    return system(("command -v '" + name + "' >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command, collecting its standard output and error; returns
// its exit status.
inline int run(const std::string& command, std::string& output)
{
    output.clear();
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return -1;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0)
        output.append(chunk, n);
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A small image data set: patient, study, series and instance attributes and
// rows x columns pixels of the given bit depth held in memory, if asked.
inline void buildImage(DcElemList& list, const char* instanceUid, unsigned short rows = 4,
                       unsigned short columns = 4, unsigned short bits = 8, bool withPixels = true)
{
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, instanceUid));
    list.add(new DcElem(T_0008_0060_modality, "OT"));
    list.add(new DcElem(T_0010_0010_patientName, "Doe^Jane"));
    list.add(new DcElem(T_0010_0020_patientId, "PID001"));
    list.add(new DcElem(T_0020_000d_studyInstanceUid, "2.999.7321.1.1"));
    list.add(new DcElem(T_0020_000e_seriesInstanceUid, "2.999.7321.1.1.1"));
    list.add(new DcElem(T_0020_0013_instanceNumber, "1"));
    list.add(new DcElem(T_0028_0002_samplesPerPixel, static_cast<unsigned short>(1)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2"));
    list.add(new DcElem(T_0028_0010_rows, rows));
    list.add(new DcElem(T_0028_0011_columns, columns));
    list.add(new DcElem(T_0028_0100_bitsAllocated, bits));
    list.add(new DcElem(T_0028_0101_bitsStored, bits));
    list.add(new DcElem(T_0028_0102_highBit, static_cast<unsigned short>(bits - 1)));
    list.add(new DcElem(T_0028_0103_pixelRepresentation, static_cast<unsigned short>(0)));
    if (!withPixels)
        return;
    unsigned int len = static_cast<unsigned int>(rows) * columns * (bits / 8);
    Bytes pixels(len);
    for (unsigned int i = 0; i < len; ++i)
        pixels[i] = static_cast<unsigned char>(i * 7 + 1);
    DcElem* pixelData = new DcElem(T_7fe0_0010_pixelData);
    pixelData->addValue(pixels.data(), len, UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(pixelData);
}

// A Pixel Data element whose value is the given bytes, written to a file of
// their own behind lead filler bytes and handed over as a disk buffer (of
// len bytes if given).
inline DcElem* diskPixelData(const std::string& path, const Bytes& bytes, DICT_UID xfer, unsigned int lead = 0,
                             unsigned int len = 0)
{
    Bytes content(lead, 0xEE);
    content.insert(content.end(), bytes.begin(), bytes.end());
    writeBytes(path, content);
    int handle = open(path.c_str(), O_RDONLY);
    DcElem* pixelData = new DcElem(T_7fe0_0010_pixelData);
    pixelData->addValue(handle, static_cast<int>(lead), len != 0 ? len : static_cast<unsigned int>(bytes.size()), xfer);
    close(handle);
    return pixelData;
}

inline std::string textOf(DcElemList& list, int tagConst)
{
    char buf[1025] = "";
    list.getValue(tagConst, buf, 1024, ELEM_VAL_INDEX_KEEP);
    return buf;
}

// Writes a small image file at root/relative (directories made as needed).
inline int writeImageFile(const std::string& root, const std::string& relative, const char* instanceUid,
                          DICT_UID xfer = UID_LITTLE_ENDIAN_EXPLICIT)
{
    std::string path = root + "/" + relative;
    for (size_t slash = path.find('/', root.size() + 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);
    DcElemList list;
    buildImage(list, instanceUid);
    DcDirMetaInfo info;
    info.xferSyn = xfer;
    return dirWriteFile(path.c_str(), info, list);
}

#endif
