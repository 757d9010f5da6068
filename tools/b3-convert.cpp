// b3-convert: rewrites DICOM files in another transfer syntax, compressing
// or decompressing their pixel data; folders are converted recursively.
#include <filesystem>
#include <string>
#include <vector>

#include <Brenik3.h>
#include <Brenik3Codec.h>

#include "common/CommandLine.h"
#include "common/CodecJson.h"

using namespace b3tool;
namespace fs = std::filesystem;

namespace {

struct Target {
    const char* option;
    const char* help;
    bool chosen = false;
};

struct Job {
    DICT_UID to = UID_NONE;
    CodecOptions options;
    bool lossy = false;
    bool fromJson = false;
    const char* program = "b3-convert";
};

bool convertFile(const Job& job, const std::string& input, const std::string& output, bool verbose)
{
    DcDirMetaInfo meta;
    DcElemList list;
    int status = job.fromJson ? readJsonFile(input, meta, list) : codecReadFileHeader(input.c_str(), meta, list);
    if (status != 0) {
        fail(job.program, "cannot read %s (status %s)", input.c_str(), hexStatus(status).c_str());
        return false;
    }
    DICT_UID from = meta.xferSyn == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : meta.xferSyn;
    DICT_UID to = job.to == UID_NONE ? from : job.to;
    CodecImage image;
    if (to == UID_JPEG_BASELINE && codecReadImage(list, image) == 0 && image.bitsStored > 8)
        to = UID_JPEG_EXTENDED;  // baseline holds 8-bit samples only
    if (output != "-" && !fs::path(output).parent_path().empty()) {
        std::error_code ec;
        fs::create_directories(fs::path(output).parent_path(), ec);
    }
    status = codecWriteConverted(output.c_str(), meta, list, to, job.options, job.lossy);
    if (status == CODEC_ERR_LOSSY) {
        fail(job.program, "%s: the conversion would be lossy; give --lossy to allow it", input.c_str());
        return false;
    }
    if (status >= CODEC_ERR_NULL_ARG && status <= CODEC_ERR_TOO_LARGE) {
        fail(job.program, "cannot convert %s (status %s)", input.c_str(), hexStatus(status).c_str());
        return false;
    }
    if (status != 0) {
        fail(job.program, "cannot write %s (status %s)", output.c_str(), hexStatus(status).c_str());
        return false;
    }
    if (verbose)
        printf("%s -> %s\n", input.c_str(), output.c_str());
    return true;
}

}

int main(int argc, char** argv)
{
    Target targets[] = {
        {"--implicit", "Implicit VR Little Endian"},
        {"--explicit", "Explicit VR Little Endian"},
        {"--big", "Explicit VR Big Endian"},
        {"--deflate", "Deflated Explicit VR Little Endian"},
        {"--rle", "RLE Lossless"},
        {"--jpeg-lossless", "JPEG Lossless, first-order prediction"},
        {"--jpeg", "JPEG Baseline (8 bits) or Extended (12 bits); lossy"},
        {"--jpls", "JPEG-LS (lossless; near-lossless with --near)"},
        {"--j2k", "JPEG 2000 (lossy, ratio from --ratio)"},
        {"--j2k-lossless", "JPEG 2000 lossless"},
    };
    Job job;
    long quality = 90;
    long near = 0;
    double ratio = 10.0;
    CommandLine cl("b3-convert", "INPUT OUTPUT",
                   "Rewrites the DICOM file INPUT as OUTPUT in another transfer syntax, compressing or\n"
                   "decompressing its pixel data frame by frame and updating the meta information (and, for\n"
                   "lossy results, Lossy Image Compression with its ratio and method). When INPUT is a folder,\n"
                   "every file under it is converted into the same place under the folder OUTPUT. Without a\n"
                   "syntax option the file keeps its syntax.");
    for (Target& t : targets)
        cl.flag(nullptr, t.option, t.help, t.chosen);
    cl.flag(nullptr, "--lossy", "allow a conversion that loses information", job.lossy);
    cl.number("-q", "--quality", "1..100", "lossy JPEG quality (default 90)", quality, 1, 100);
    cl.number(nullptr, "--near", "N", "JPEG-LS near-lossless error bound (default 0: lossless)", near, 0, 255);
    cl.real(nullptr, "--ratio", "R", "lossy JPEG 2000 compression ratio (default 10)", ratio);
    cl.flag(nullptr, "--from-json", "INPUT is a DICOM JSON document (as b3-dump --json writes)", job.fromJson);
    int status = cl.parse(argc, argv, 2, 2);
    if (status >= 0)
        return status;
    setupLog(cl.verbose());
    codecRegisterSyntaxes();

    int chosen = 0;
    for (const Target& t : targets)
        chosen += t.chosen ? 1 : 0;
    if (chosen > 1) {
        fail(cl.program(), "give at most one transfer syntax option");
        return EXIT_USAGE;
    }
    DICT_UID uids[] = {UID_LITTLE_ENDIAN_IMPLICIT,
                       UID_LITTLE_ENDIAN_EXPLICIT,
                       UID_BIG_ENDIAN_EXPLICIT,
                       codecDeflate(),
                       UID_RLE_LOSSLESS,
                       UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION,
                       UID_JPEG_BASELINE,
                       near > 0 ? codecJpegLsNearLossless() : codecJpegLsLossless(),
                       codecJ2k(),
                       codecJ2kLossless()};
    for (size_t i = 0; i < sizeof targets / sizeof targets[0]; i++)
        if (targets[i].chosen)
            job.to = uids[i];
    job.options.quality = static_cast<int>(quality);
    job.options.nearLossless = static_cast<int>(near);
    job.options.ratio = ratio;

    const std::string& input = cl.operands()[0];
    const std::string& output = cl.operands()[1];
    std::error_code ec;
    if (!fs::is_directory(input, ec))
        return convertFile(job, input, output, cl.verbose()) ? EXIT_OK : EXIT_FAILED;
    int failed = 0, done = 0;
    for (auto it = fs::recursive_directory_iterator(input, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_regular_file(ec))
            continue;
        fs::path relative = fs::relative(it->path(), input, ec);
        if (convertFile(job, it->path().string(), (fs::path(output) / relative).string(), cl.verbose()))
            done++;
        else
            failed++;
    }
    printf("converted %d file%s, %d failed\n", done, done == 1 ? "" : "s", failed);
    return failed == 0 ? EXIT_OK : EXIT_FAILED;
}
