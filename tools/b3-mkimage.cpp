// b3-mkimage: makes synthetic CT-like slices as Part 10 files, to have
// something to send, dump and look at without a scanner.
#include <cerrno>
#include <filesystem>
#include <string>

#include <Brenik3.h>

#include "common/CommandLine.h"
#include "common/ErrorText.h"
#include "common/SyntheticImage.h"
#include "common/Tags.h"

using namespace b3tool;

namespace {

bool syntaxByName(const std::string& name, DICT_UID& xfer)
{
    if (name == "implicit")
        xfer = UID_LITTLE_ENDIAN_IMPLICIT;
    else if (name == "explicit")
        xfer = UID_LITTLE_ENDIAN_EXPLICIT;
    else if (name == "big")
        xfer = UID_BIG_ENDIAN_EXPLICIT;
    else
        return false;
    return true;
}

}

int main(int argc, char** argv)
{
    long count = 1;
    long size = 256;
    std::string syntax = "explicit";
    SyntheticSlice slice;
    CommandLine cl("b3-mkimage", "OUTPUT",
                   "Writes a synthetic CT-like axial slice (CT Image Storage, 16-bit, window 40/400) as a Part 10\n"
                   "file OUTPUT; with --count N, writes a series of N slices into the folder OUTPUT\n"
                   "(IMG0001, IMG0002, ..., names that can serve as File IDs), sharing one study and series.");
    cl.number("-n", "--count", "N", "slices to write into the folder OUTPUT (default 1: OUTPUT is a file)", count, 1,
              999);
    cl.number("-s", "--size", "PIXELS", "rows and columns, 16 to 1024 (default 256)", size, 16, 1024);
    cl.text("-t", "--syntax", "SYNTAX", "transfer syntax: implicit, explicit or big (default explicit)", syntax);
    cl.text(nullptr, "--patient-name", "NAME", "patient's name (default Demo^Patient)", slice.patientName);
    cl.text(nullptr, "--patient-id", "ID", "patient ID (default B3-0001)", slice.patientId);
    cl.text(nullptr, "--study-uid", "UID", "study instance UID (default: a new one)", slice.studyUid);
    cl.text(nullptr, "--series-uid", "UID", "series instance UID (default: a new one)", slice.seriesUid);
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;

    DICT_UID xfer;
    if (!syntaxByName(syntax, xfer)) {
        fail(cl.program(), "unknown transfer syntax '%s' (implicit, explicit or big)", syntax.c_str());
        return EXIT_USAGE;
    }
    const std::string& output = cl.operands()[0];
    std::error_code ec;
    if (count > 1 && !std::filesystem::create_directories(output, ec) && ec) {
        fail(cl.program(), "cannot create folder %s: %s", output.c_str(), ec.message().c_str());
        return EXIT_FAILED;
    }
    slice.size = static_cast<unsigned int>(size);
    slice.bigEndian = xfer == UID_BIG_ENDIAN_EXPLICIT;
    if (slice.studyUid.empty())
        slice.studyUid = newUid();
    if (slice.seriesUid.empty())
        slice.seriesUid = newUid();

    for (long i = 1; i <= count; i++) {
        std::string path = output;
        if (count > 1) {
            char name[32];
            snprintf(name, sizeof name, "/IMG%04ld", i);
            path += name;
        }
        slice.instance = static_cast<int>(i);
        DcElemList list;
        status = makeSyntheticSlice(slice, list);
        if (status != 0) {
            fail(cl.program(), "could not build the slice (status 0x%04x)", status);
            return EXIT_FAILED;
        }
        DcDirMetaInfo meta;
        meta.xferSyn = xfer;
        status = dirWriteFile(path.c_str(), meta, list);
        int error = errno;
        if (status != 0) {
            fail(cl.program(), "could not write %s: %s", path.c_str(), fileErrorText(status, error).c_str());
            return EXIT_FAILED;
        }
    }
    printf("wrote %s: %ld CT slice%s of %ldx%ld pixels, %s\n", output.c_str(), count, count == 1 ? "" : "s", size,
           size, uidDescription(xfer).c_str());
    return EXIT_OK;
}
