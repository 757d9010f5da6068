// Lossy JPEG (baseline and extended): 8-bit images through libjpeg, 12-bit
// ones, and 8-bit ones libjpeg refuses, through our own coder.
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "codec/Codec.h"
#include "codec/CodecJpegDct.h"
#include "foundation/DcLog.h"

namespace {

struct ErrorTrap {
    jpeg_error_mgr manager;
    jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void onError(j_common_ptr info)
{
    ErrorTrap* trap = reinterpret_cast<ErrorTrap*>(info->err);
    (*info->err->format_message)(info, trap->message);
    longjmp(trap->jump, 1);
}

void onMessage(j_common_ptr, int) {}

bool isYbr(const std::string& photometric)
{
    return photometric.compare(0, 3, "YBR") == 0;
}

class JpegCodec : public PixelCodec {
public:
    const char* name() const override { return "JPEG"; }

    int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const override
    {
        const char* fn = "JpegCodec::decode";
        int status = codecCheckDecode(fn, data, size, image);
        if (status != 0)
            return status;
        if (image.bitsAllocated == 8 && codecJpegPrecision(data, size) == 8) {
            status = decodeLibjpeg(data, size, image, out);
            // libjpeg refuses some valid extended files (four tables of a kind).
            if (status != CODEC_ERR_CORRUPT)
                return status;
        }
        return codecJpegDctDecode(data, size, image, out);
    }

    int decodeLibjpeg(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const
    {
        const char* fn = "JpegCodec::decode";
        out.bytes.assign(image.frameBytes(), 0);
        out.photometric.clear();
        jpeg_decompress_struct info;
        ErrorTrap trap;
        info.err = jpeg_std_error(&trap.manager);
        trap.manager.error_exit = onError;
        trap.manager.emit_message = onMessage;
        jpeg_create_decompress(&info);
        // Whatever owns memory must live before setjmp: a longjmp skips
        // the destructors of anything made after it.
        size_t rowBytes = size_t(image.columns) * image.samplesPerPixel;
        std::vector<uint8_t> row(rowBytes);
        if (setjmp(trap.jump)) {
            logReport(LOG_CHANNEL_1, fn, "Corrupt JPEG codestream: %s", trap.message);
            jpeg_destroy_decompress(&info);
            out.bytes.clear();
            return CODEC_ERR_CORRUPT;
        }
        jpeg_mem_src(&info, data, static_cast<unsigned long>(size));
        jpeg_read_header(&info, TRUE);
        if (info.image_width != image.columns || info.image_height != image.rows ||
            info.num_components != static_cast<int>(image.samplesPerPixel) || info.data_precision != 8) {
            int status = codecWrongSize(fn, info.image_width, info.image_height, info.num_components,
                                        info.data_precision, image);
            jpeg_destroy_decompress(&info);
            out.bytes.clear();
            return status;
        }
        if (info.num_components == 3) {
            info.out_color_space = JCS_RGB;
            if (info.jpeg_color_space == JCS_YCbCr && isYbr(image.photometric))
                out.photometric = "RGB";
        }
        jpeg_start_decompress(&info);
        size_t plane = size_t(image.rows) * image.columns;
        while (info.output_scanline < info.output_height) {
            unsigned y = info.output_scanline;
            JSAMPROW rows[1] = {row.data()};
            jpeg_read_scanlines(&info, rows, 1);
            if (image.samplesPerPixel == 3 && image.planarConfiguration == 1) {
                for (unsigned x = 0; x < image.columns; x++)
                    for (unsigned s = 0; s < 3; s++)
                        out.bytes[s * plane + size_t(y) * image.columns + x] = row[3 * x + s];
            } else {
                memcpy(&out.bytes[y * rowBytes], row.data(), rowBytes);
            }
        }
        jpeg_finish_decompress(&info);
        jpeg_destroy_decompress(&info);
        return 0;
    }

    int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions& options,
               CodecFrame& out) const override
    {
        const char* fn = "JpegCodec::encode";
        int status = codecCheckEncode(fn, pixels, size, image);
        if (status != 0)
            return status;
        if (image.bitsStored > 8)
            return codecJpegDctEncode(pixels, image, options, out);
        if (image.bitsAllocated != 8 || (image.samplesPerPixel != 1 && image.samplesPerPixel != 3) ||
            (image.samplesPerPixel == 3 && image.photometric != "RGB")) {
            logReport(LOG_CHANNEL_1, fn, "Lossy JPEG takes 8-bit grey or RGB images only");
            return CODEC_ERR_UNSUPPORTED;
        }
        jpeg_compress_struct info;
        ErrorTrap trap;
        info.err = jpeg_std_error(&trap.manager);
        trap.manager.error_exit = onError;
        trap.manager.emit_message = onMessage;
        jpeg_create_compress(&info);
        unsigned char* buffer = nullptr;
        unsigned long length = 0;
        size_t rowBytes = size_t(image.columns) * image.samplesPerPixel;
        std::vector<uint8_t> row(rowBytes);
        if (setjmp(trap.jump)) {
            logReport(LOG_CHANNEL_1, fn, "JPEG encoder failed: %s", trap.message);
            jpeg_destroy_compress(&info);
            free(buffer);
            return CODEC_ERR_ENCODE;
        }
        jpeg_mem_dest(&info, &buffer, &length);
        info.image_width = image.columns;
        info.image_height = image.rows;
        info.input_components = static_cast<int>(image.samplesPerPixel);
        info.in_color_space = image.samplesPerPixel == 3 ? JCS_RGB : JCS_GRAYSCALE;
        jpeg_set_defaults(&info);
        jpeg_set_quality(&info, options.quality < 1 ? 1 : options.quality > 100 ? 100 : options.quality, TRUE);
        if (image.samplesPerPixel == 3) {
            // YBR_FULL_422: chroma halved horizontally only.
            info.comp_info[0].h_samp_factor = 2;
            info.comp_info[0].v_samp_factor = 1;
            out.photometric = "YBR_FULL_422";
        } else {
            out.photometric.clear();
        }
        jpeg_start_compress(&info, TRUE);
        size_t plane = size_t(image.rows) * image.columns;
        while (info.next_scanline < info.image_height) {
            unsigned y = info.next_scanline;
            if (image.samplesPerPixel == 3 && image.planarConfiguration == 1) {
                for (unsigned x = 0; x < image.columns; x++)
                    for (unsigned s = 0; s < 3; s++)
                        row[3 * x + s] = pixels[s * plane + size_t(y) * image.columns + x];
            } else {
                memcpy(row.data(), pixels + y * rowBytes, rowBytes);
            }
            JSAMPROW rows[1] = {row.data()};
            jpeg_write_scanlines(&info, rows, 1);
        }
        jpeg_finish_compress(&info);
        out.bytes.assign(buffer, buffer + length);
        jpeg_destroy_compress(&info);
        free(buffer);
        return 0;
    }
};

}

const PixelCodec& codecJpegBaseline()
{
    static JpegCodec codec;
    return codec;
}
