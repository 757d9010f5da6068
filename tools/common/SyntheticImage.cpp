#include "common/SyntheticImage.h"

#include <cmath>
#include <cstdio>
#include <unistd.h>

#include <Brenik3.h>

namespace b3tool {

namespace {

const int HU_OFFSET = 1024;
const int STORED_MAX = 4095;
const double FIELD_OF_VIEW_MM = 320.0;
const double SLICE_THICKNESS_MM = 2.5;

bool inEllipse(double u, double v, double cu, double cv, double ru, double rv)
{
    double du = (u - cu) / ru;
    double dv = (v - cv) / rv;
    return du * du + dv * dv <= 1.0;
}

// Hounsfield units at (u, v), both from -1 to 1; z shifts organs slowly.
int tissueAt(double u, double v, double z)
{
    if (v > 0.80 && v < 0.88 && std::fabs(u) < 0.9)
        return 300;  // table
    if (!inEllipse(u, v, 0.0, 0.0, 0.86, 0.66))
        return -1000;  // air
    if (!inEllipse(u, v, 0.0, 0.0, 0.80, 0.60))
        return -100;  // subcutaneous fat
    if (!inEllipse(u, v, 0.0, 0.0, 0.76, 0.56)) {
        double angle = std::atan2(v, u);
        return std::fmod(angle + 4.0, 0.35) < 0.12 ? 700 : 40;  // ribs between muscle
    }
    if (inEllipse(u, v, 0.0, 0.40, 0.09, 0.09))
        return inEllipse(u, v, 0.0, 0.40, 0.05, 0.05) ? 250 : 900;  // vertebra: cortex and marrow
    double lungGrow = 0.02 * std::sin(z);
    if (inEllipse(u, v, -0.36, -0.02, 0.24 + lungGrow, 0.38 + lungGrow) ||
        inEllipse(u, v, 0.38, -0.02, 0.22 + lungGrow, 0.36 + lungGrow)) {
        if (inEllipse(u, v, -0.30, -0.10, 0.03, 0.03) || inEllipse(u, v, 0.32, 0.05, 0.025, 0.025))
            return 30;  // vessels
        return -850;
    }
    if (inEllipse(u, v, 0.08, 0.02, 0.20, 0.17))
        return 50;  // heart
    if (inEllipse(u, v, -0.05, 0.25, 0.06, 0.06))
        return 45;  // aorta
    return 40;
}

std::string formatNumber(double value)
{
    char text[32];
    snprintf(text, sizeof text, "%.4g", value);
    return text;
}

class Builder {
public:
    explicit Builder(DcElemList& target) : list(target), status(0) {}

    void text(int tag, const std::string& value) { keep(new DcElem(tag, value.c_str())); }
    void uid(int tag, DICT_UID value) { keep(new DcElem(tag, value)); }
    void us(int tag, unsigned short value) { keep(new DcElem(tag, value)); }
    void pixels(const std::vector<uint16_t>& values, bool bigEndian)
    {
        std::vector<unsigned char> bytes(values.size() * 2);
        for (size_t i = 0; i < values.size(); i++) {
            unsigned char low = static_cast<unsigned char>(values[i]);
            unsigned char high = static_cast<unsigned char>(values[i] >> 8);
            bytes[2 * i] = bigEndian ? high : low;
            bytes[2 * i + 1] = bigEndian ? low : high;
        }
        DICT_UID xfer = bigEndian ? UID_BIG_ENDIAN_EXPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
        DcElem* elem = new DcElem(T_7fe0_0010_pixelData, nullptr, 0, xfer, VR_OW);
        remember(elem->addValue(bytes.data(), static_cast<unsigned int>(bytes.size()), xfer));
        keep(elem);
    }
    int result() const { return status; }

private:
    DcElemList& list;
    int status;

    void remember(int code)
    {
        if (status == 0)
            status = code;
    }
    void keep(DcElem* elem)
    {
        int count = elem->getValueCount();
        DcBufList* raw = elem->getBufList();
        if (count == 0 && (raw == nullptr || raw->first() == nullptr))
            remember(ELEM_ERR_BAD_VALUE);
        list.add(elem);
    }
};

}

std::string newUid()
{
    char uid[DICT_UID_MAX + 1] = "";
    Dict.genUid(uid);
    std::string unique = std::string(uid) + "." + std::to_string(getpid());
    return unique.size() <= DICT_UID_MAX ? unique : uid;
}

std::vector<uint16_t> syntheticPixels(unsigned int size, int instance)
{
    std::vector<uint16_t> pixels(static_cast<size_t>(size) * size);
    uint32_t noise = 12345u + static_cast<uint32_t>(instance);
    double z = instance * 0.3;
    for (unsigned int y = 0; y < size; y++) {
        for (unsigned int x = 0; x < size; x++) {
            double u = (2.0 * x + 1.0) / size - 1.0;
            double v = (2.0 * y + 1.0) / size - 1.0;
            noise = noise * 1103515245u + 12345u;
            int jitter = static_cast<int>((noise >> 16) % 21) - 10;
            int hu = tissueAt(u, v, z);
            int stored = hu + HU_OFFSET + (hu > -1000 ? jitter : 0);
            pixels[static_cast<size_t>(y) * size + x] =
                static_cast<uint16_t>(stored < 0 ? 0 : stored > STORED_MAX ? STORED_MAX : stored);
        }
    }
    return pixels;
}

int makeSyntheticSlice(const SyntheticSlice& slice, DcElemList& list)
{
    Builder b(list);
    double spacing = FIELD_OF_VIEW_MM / slice.size;
    double location = (slice.instance - 1) * SLICE_THICKNESS_MM;
    std::string half = formatNumber(-FIELD_OF_VIEW_MM / 2);

    b.text(T_0008_0005_specificCharacterSet, "ISO_IR 100");
    b.text(T_0008_0008_imageType, "ORIGINAL\\PRIMARY\\AXIAL");
    b.uid(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE);
    b.text(T_0008_0018_sopInstanceUid, slice.sopInstanceUid.empty() ? newUid() : slice.sopInstanceUid);
    b.text(T_0008_0020_studyDate, "20240301");
    b.text(T_0008_0030_studyTime, "101500");
    b.text(T_0008_0050_accessionNumber, "A0001");
    b.text(T_0008_0060_modality, "CT");
    b.text(T_0008_0070_manufacturer, "Brenik3 synthetic");
    b.text(T_0008_1030_studyDescription, "Synthetic chest");
    b.text(T_0008_103e_seriesDescription, "Axial 2.5 mm");
    b.text(T_0010_0010_patientName, slice.patientName);
    b.text(T_0010_0020_patientId, slice.patientId);
    b.text(T_0010_0030_patientBirthDate, "19700101");
    b.text(T_0010_0040_patientSex, "O");
    b.text(T_0018_0050_sliceThickness, formatNumber(SLICE_THICKNESS_MM));
    b.text(T_0020_000d_studyInstanceUid, slice.studyUid.empty() ? newUid() : slice.studyUid);
    b.text(T_0020_000e_seriesInstanceUid, slice.seriesUid.empty() ? newUid() : slice.seriesUid);
    b.text(T_0020_0010_studyId, "1");
    b.text(T_0020_0011_seriesNumber, "1");
    b.text(T_0020_0013_instanceNumber, std::to_string(slice.instance));
    b.text(T_0020_0032_imagePosition, half + "\\" + half + "\\" + formatNumber(location));
    b.text(T_0020_0037_imageOrientation, "1\\0\\0\\0\\1\\0");
    b.text(T_0020_1041_sliceLocation, formatNumber(location));
    b.us(T_0028_0002_samplesPerPixel, 1);
    b.text(T_0028_0004_photometricInterpretation, "MONOCHROME2");
    b.us(T_0028_0010_rows, static_cast<unsigned short>(slice.size));
    b.us(T_0028_0011_columns, static_cast<unsigned short>(slice.size));
    b.text(T_0028_0030_pixelSpacing, formatNumber(spacing) + "\\" + formatNumber(spacing));
    b.us(T_0028_0100_bitsAllocated, 16);
    b.us(T_0028_0101_bitsStored, 12);
    b.us(T_0028_0102_highBit, 11);
    b.us(T_0028_0103_pixelRepresentation, 0);
    b.text(T_0028_1050_windowCenter, "40");
    b.text(T_0028_1051_windowWidth, "400");
    b.text(T_0028_1052_rescaleIntercept, "-1024");
    b.text(T_0028_1053_rescaleSlope, "1");
    b.pixels(syntheticPixels(slice.size, slice.instance), slice.bigEndian);
    return b.result();
}

}
