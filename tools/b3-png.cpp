// b3-png: writes one frame of an uncompressed DICOM image as a PNG file.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include <Brenik3.h>

#include "common/CommandLine.h"
#ifdef BRENIK3_TOOLS_CODECS
#include "common/CodecFrame.h"
#endif
#include "common/ErrorText.h"
#include "common/ReadFile.h"
#include "common/Png.h"
#include "common/Tags.h"

using namespace b3tool;

namespace {

// The image attributes that decide how the pixel bytes are read.
struct ImageInfo {
    unsigned short rows = 0;
    unsigned short columns = 0;
    unsigned short samplesPerPixel = 1;
    unsigned short bitsAllocated = 0;
    unsigned short bitsStored = 0;
    unsigned short pixelRepresentation = 0;
    unsigned short planarConfiguration = 0;
    int frames = 1;
    std::string photometric;
    double slope = 1.0;
    double intercept = 0.0;
    bool hasWindow = false;
    double center = 0.0;
    double width = 0.0;
};

std::string textValue(DcElemList& list, int tag)
{
    char text[256] = "";
    if (list.getValue(tag, text, sizeof text - 1, ELEM_VAL_INDEX_KEEP) != 0)
        return "";
    return text;
}

bool readInfo(DcElemList& list, ImageInfo& info, std::string& problem)
{
    if (list.getValue(T_0028_0010_rows, info.rows, ELEM_VAL_INDEX_KEEP) != 0 ||
        list.getValue(T_0028_0011_columns, info.columns, ELEM_VAL_INDEX_KEEP) != 0 ||
        list.getValue(T_0028_0100_bitsAllocated, info.bitsAllocated, ELEM_VAL_INDEX_KEEP) != 0) {
        problem = "not an image (rows, columns or bits allocated missing)";
        return false;
    }
    list.getValue(T_0028_0002_samplesPerPixel, info.samplesPerPixel, ELEM_VAL_INDEX_KEEP);
    if (list.getValue(T_0028_0101_bitsStored, info.bitsStored, ELEM_VAL_INDEX_KEEP) != 0)
        info.bitsStored = info.bitsAllocated;
    list.getValue(T_0028_0103_pixelRepresentation, info.pixelRepresentation, ELEM_VAL_INDEX_KEEP);
    list.getValue(T_0028_0006_planarConfiguration, info.planarConfiguration, ELEM_VAL_INDEX_KEEP);
    std::string frames = textValue(list, T_0028_0008_numberOfFrames);
    if (!frames.empty())
        info.frames = atoi(frames.c_str());
    info.photometric = textValue(list, T_0028_0004_photometricInterpretation);
    std::string slope = textValue(list, T_0028_1053_rescaleSlope);
    std::string intercept = textValue(list, T_0028_1052_rescaleIntercept);
    if (!slope.empty())
        info.slope = atof(slope.c_str());
    if (!intercept.empty())
        info.intercept = atof(intercept.c_str());
    std::string center = textValue(list, T_0028_1050_windowCenter);
    std::string width = textValue(list, T_0028_1051_windowWidth);
    if (!center.empty() && !width.empty() && atof(width.c_str()) >= 1.0) {
        info.hasWindow = true;
        info.center = atof(center.c_str());
        info.width = atof(width.c_str());
    }
    if (info.bitsAllocated != 8 && info.bitsAllocated != 16) {
        problem = "only 8 and 16 bits allocated are supported, not " + std::to_string(info.bitsAllocated);
        return false;
    }
    bool grey = info.samplesPerPixel == 1 && (info.photometric == "MONOCHROME1" || info.photometric == "MONOCHROME2");
    // Colour JPEG (YBR) decodes to RGB; the decoder says so once it has run.
    bool rgb = info.samplesPerPixel == 3 && (info.photometric == "RGB" || info.photometric.compare(0, 3, "YBR") == 0);
    if (!grey && !rgb) {
        problem = "photometric interpretation '" + info.photometric + "' with " +
                  std::to_string(info.samplesPerPixel) + " samples is not supported";
        return false;
    }
    if (info.frames < 1)
        info.frames = 1;
    return true;
}

#ifndef BRENIK3_TOOLS_CODECS
// Copies len bytes at offset of the element's raw value (memory or disk
// buffers, one after another) into out.
bool readRawBytes(DcElem& elem, size_t offset, size_t len, std::vector<unsigned char>& out)
{
    out.assign(len, 0);
    size_t bufStart = 0;
    size_t done = 0;
    DcBufList* bufs = elem.getBufList();
    for (DcBuf* buf = bufs ? bufs->first() : nullptr; buf != nullptr && done < len; buf = buf->next()) {
        size_t bufLen = buf->getLen();
        size_t want = offset + done;
        if (want >= bufStart + bufLen) {
            bufStart += bufLen;
            continue;
        }
        size_t from = want - bufStart;
        size_t take = std::min(bufLen - from, len - done);
        if (buf->getType() == BUF_MEMORY) {
            memcpy(out.data() + done, static_cast<unsigned char*>(buf->getBuf()) + from, take);
        } else if (buf->getType() == BUF_DISK) {
            ssize_t got = pread(buf->getHandle(), out.data() + done, take, buf->getOffset() + static_cast<off_t>(from));
            if (got != static_cast<ssize_t>(take))
                return false;
        } else {
            return false;
        }
        done += take;
        bufStart += bufLen;
    }
    return done == len;
}

#endif

double windowed(double value, double center, double width, double top)
{
    double low = center - 0.5 - (width - 1.0) / 2.0;
    double high = center - 0.5 + (width - 1.0) / 2.0;
    if (value <= low)
        return 0.0;
    if (value > high)
        return top;
    return ((value - (center - 0.5)) / (width - 1.0) + 0.5) * top;
}

}

int main(int argc, char** argv)
{
    long frame = 1;
    long bits = 8;
    double center = NAN;
    double width = NAN;
    CommandLine cl("b3-png", "INPUT OUTPUT.png",
                   "Writes one frame of an uncompressed DICOM image (MONOCHROME1, MONOCHROME2 or RGB; 8 or 16\n"
                   "bits allocated) as a PNG file. Grey images go through the rescale slope and intercept and\n"
                   "then the window: from the options, else from the file, else the frame's full range.");
    cl.number("-f", "--frame", "N", "frame to write, counted from 1 (default 1)", frame, 1, 1000000);
    cl.real("-wc", "--window-center", "VALUE", "window centre, in rescaled units", center);
    cl.real("-ww", "--window-width", "VALUE", "window width, at least 1", width);
    cl.number("-b", "--bits", "8|16", "bits per PNG sample (default 8)", bits, 8, 16);
    int status = cl.parse(argc, argv, 2, 2);
    if (status >= 0)
        return status;
    if (bits != 8 && bits != 16) {
        fail(cl.program(), "--bits must be 8 or 16");
        return EXIT_USAGE;
    }
    if (std::isnan(center) != std::isnan(width) || (!std::isnan(width) && width < 1.0)) {
        fail(cl.program(), "give --window-center and --window-width together, with a width of at least 1");
        return EXIT_USAGE;
    }
    const std::string& input = cl.operands()[0];
    const std::string& output = cl.operands()[1];

    DcDirMetaInfo meta;
    DcElemList list;
#ifdef BRENIK3_TOOLS_CODECS
    status = readAnyFile(input, meta, list);
    int error = errno;
    if (status != 0) {
        fail(cl.program(), "cannot read %s: %s", input.c_str(), fileErrorText(status, error).c_str());
#else
    status = readDicomFile(input, meta, list);
    if (status != 0) {
        fail(cl.program(), "cannot read %s: %s (status 0x%04x)", input.c_str(), failure(status), status);
#endif
        return EXIT_FAILED;
    }
    ImageInfo info;
    std::string problem;
    if (!readInfo(list, info, problem)) {
        fail(cl.program(), "%s: %s", input.c_str(), problem.c_str());
        return EXIT_FAILED;
    }
#ifndef BRENIK3_TOOLS_CODECS
    if (meta.xferSyn != UID_LITTLE_ENDIAN_IMPLICIT && meta.xferSyn != UID_LITTLE_ENDIAN_EXPLICIT &&
        meta.xferSyn != UID_BIG_ENDIAN_EXPLICIT &&
        static_cast<int>(meta.xferSyn) != UID_XFER_DEFLATED_EXPLICIT_VR_LITTLE_ENDIAN) {
        fail(cl.program(), "%s: compressed pixel data (%s) is not supported", input.c_str(),
             uidDescription(meta.xferSyn).c_str());
        return EXIT_FAILED;
    }
#endif
    if (frame > info.frames) {
        fail(cl.program(), "%s has %d frame%s, not %ld", input.c_str(), info.frames, info.frames == 1 ? "" : "s",
             frame);
        return EXIT_FAILED;
    }
    DcElem* pixelData = nullptr;
    if (list.getElem(static_cast<unsigned int>(T_7fe0_0010_pixelData), &pixelData) != 0 || pixelData == nullptr) {
        fail(cl.program(), "%s has no pixel data", input.c_str());
        return EXIT_FAILED;
    }

    size_t bytesPerSample = info.bitsAllocated / 8;
    size_t samples = static_cast<size_t>(info.rows) * info.columns * info.samplesPerPixel;
#ifndef BRENIK3_TOOLS_CODECS
    size_t frameBytes = samples * bytesPerSample;
#endif
    std::vector<unsigned char> raw;
#ifdef BRENIK3_TOOLS_CODECS
    bool bigEndian = false;
    if (!decodeFrame(list, meta.xferSyn, static_cast<unsigned int>(frame - 1), raw, info.photometric, problem)) {
        fail(cl.program(), "%s: %s", input.c_str(), problem.c_str());
        return EXIT_FAILED;
    }
    if (info.samplesPerPixel == 3 && info.photometric != "RGB") {
        fail(cl.program(), "%s: photometric interpretation '%s' is not supported", input.c_str(),
             info.photometric.c_str());
        return EXIT_FAILED;
    }
#else
    bool bigEndian = meta.xferSyn == UID_BIG_ENDIAN_EXPLICIT;
    if (!readRawBytes(*pixelData, frameBytes * static_cast<size_t>(frame - 1), frameBytes, raw)) {
        fail(cl.program(), "%s: pixel data shorter than %d frame%s of %zu bytes", input.c_str(), info.frames,
             info.frames == 1 ? "" : "s", frameBytes);
        return EXIT_FAILED;
    }

#endif
    // Stored values, in pixel order with channels interleaved.
    std::vector<double> values(samples);
    unsigned int storedMask = info.bitsStored >= 32 ? 0xFFFFFFFFu : (1u << info.bitsStored) - 1;
    size_t plane = static_cast<size_t>(info.rows) * info.columns;
    for (size_t i = 0; i < samples; i++) {
        unsigned int v = bytesPerSample == 1 ? raw[i]
                         : bigEndian         ? (raw[2 * i] << 8) | raw[2 * i + 1]
                                             : raw[2 * i] | (raw[2 * i + 1] << 8);
        v &= storedMask;
        int value = static_cast<int>(v);
        if (info.pixelRepresentation == 1 && (v & (1u << (info.bitsStored - 1))))
            value -= static_cast<int>(storedMask) + 1;
        size_t target = i;
        if (info.samplesPerPixel == 3 && info.planarConfiguration == 1)
            target = (i % plane) * 3 + i / plane;
        values[target] = value;
    }

    PngImage image;
    image.width = info.columns;
    image.height = info.rows;
    image.channels = info.samplesPerPixel;
    image.bitDepth = static_cast<int>(bits);
    image.samples.resize(samples);
    double top = bits == 16 ? 65535.0 : 255.0;
    if (info.samplesPerPixel == 3) {
        double inputTop = info.bitsStored >= 16 ? 65535.0 : (1u << info.bitsStored) - 1.0;
        for (size_t i = 0; i < samples; i++)
            image.samples[i] = static_cast<uint16_t>(std::lround(values[i] / inputTop * top));
    } else {
        for (double& v : values)
            v = v * info.slope + info.intercept;
        if (!std::isnan(center)) {
            info.center = center;
            info.width = width;
        } else if (!info.hasWindow) {
            double low = values[0], high = values[0];
            for (double v : values) {
                low = std::min(low, v);
                high = std::max(high, v);
            }
            info.center = (low + high + 1.0) / 2.0;
            info.width = std::max(1.0, high - low + 1.0);
        }
        bool invert = info.photometric == "MONOCHROME1";
        for (size_t i = 0; i < samples; i++) {
            double level = windowed(values[i], info.center, info.width, top);
            image.samples[i] = static_cast<uint16_t>(std::lround(invert ? top - level : level));
        }
    }
    if (!writePng(output, image)) {
        fail(cl.program(), "cannot write %s: %s", output.c_str(), systemErrorText(errno).c_str());
        return EXIT_FAILED;
    }
    printf("wrote %s: %ux%u %s, %ld bits, frame %ld of %d", output.c_str(), image.width, image.height,
           info.samplesPerPixel == 3 ? "RGB" : "grey", bits, frame, info.frames);
    if (info.samplesPerPixel == 1)
        printf(", window %g/%g", info.center, info.width);
    printf("\n");
    return EXIT_OK;
}
