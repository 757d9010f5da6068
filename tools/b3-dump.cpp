// b3-dump: prints DICOM files (Part 10 files and bare data sets) as a tree.
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include <Brenik3.h>

#include "common/CommandLine.h"
#ifdef BRENIK3_TOOLS_CODECS
#include "common/CodecFrame.h"
#include "common/CodecJson.h"
#endif
#include "common/DataSetPrinter.h"
#include "common/ReadFile.h"
#include "common/Tags.h"

using namespace b3tool;

namespace {

// A data set read without meta information starts at a low group; anything
// else is not DICOM at all.
const unsigned short BARE_FIRST_GROUP_MAX = 0x0008;

bool dumpFile(const char* program, const std::string& path, bool metaOnly, size_t width)
{
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        fail(program, "%s: %s", path.c_str(), strerror(errno));
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        fail(program, "%s: not a regular file", path.c_str());
        return false;
    }
    DcDirMetaInfo meta;
    unsigned int dataOffset = 0;
    int status = dirReadFileMetaInfo(path.c_str(), meta, dataOffset);
    bool bare = status == DIR_ERR_NO_META;
    if (status != 0 && !bare) {
        fail(program, "%s: unreadable file meta information (status 0x%04x)", path.c_str(), status);
        return false;
    }
    if (metaOnly && bare) {
        fail(program, "%s: no file meta information (not a Part 10 file)", path.c_str());
        return false;
    }
    DcElemList list;
    if (!metaOnly) {
        status = readDicomFile(path, meta, list);
        if (status != 0 && bare) {
            fail(program, "%s: not a DICOM file (no \"DICM\" marker and no data set)", path.c_str());
            return false;
        }
        if (status != 0) {
            fail(program, "%s: cannot read the data set: %s (status 0x%04x)", path.c_str(), failure(status),
                 status);
            return false;
        }
        unsigned short group = 0, element = 0;
        if (bare && (list.first() == nullptr || list.first()->getTag(group, element) != 0 ||
                     group > BARE_FIRST_GROUP_MAX)) {
            fail(program, "%s: not a DICOM file (no \"DICM\" marker and no data set)", path.c_str());
            return false;
        }
    }

    if (bare) {
        printf("# Data set without file meta information, %s\n", uidDescription(meta.xferSyn).c_str());
    } else {
        printf("# File meta information\n");
        meta.printInfo(stdout);
        if (metaOnly)
            return true;
        printf("# Data set, %s\n", uidDescription(meta.xferSyn).c_str());
    }
    DataSetPrinter printer(stdout, width == 0 ? std::string::npos : width);
    printer.print(list);
    return true;
}

}

int main(int argc, char** argv)
{
    bool metaOnly = false;
    long width = 64;
    CommandLine cl("b3-dump", "FILE...",
                   "Prints DICOM files as a tree: the file meta information, then each element of the data set\n"
                   "as (group,element) VR name value, with sequence items indented below their sequence.\n"
                   "Reads Part 10 files of any size in any transfer syntax (deflated ones inflated, encapsulated\n"
                   "pixel data shown as its fragments) and bare data sets (Implicit VR Little Endian).");
    cl.flag("-m", "--meta", "print only the file meta information", metaOnly);
    cl.number("-w", "--width", "CHARS", "cut values longer than CHARS characters (default 64, 0: never)", width, 0,
              1000000);
#ifdef BRENIK3_TOOLS_CODECS
    bool json = false;
    bool frames = false;
    cl.flag(nullptr, "--frames", "decode every frame instead, and name those that cannot be decoded", frames);
    std::string jsonFile = "-";
    long bulk = 0;
    cl.flag("-j", "--json", "write the file as the DICOM JSON model instead (binary values inline, Base64)", json);
    cl.text(nullptr, "--json-file", "OUT", "with --json, one FILE: write to OUT instead of standard output", jsonFile);
    cl.number(nullptr, "--bulk", "BYTES", "with --json-file: binary values above BYTES go to files beside OUT", bulk, 0,
              0x7FFFFFFF);
#endif
    cl.note("Exit status: 0 when every file was printed, 1 when a file could not be read, 2 on a bad command line.");
    int status = cl.parse(argc, argv, 1, -1);
    if (status >= 0)
        return status;

    bool allRead = true;
    const std::vector<std::string>& files = cl.operands();
#ifdef BRENIK3_TOOLS_CODECS
    if (json)
        return dumpJson(cl.program(), files, jsonFile, static_cast<size_t>(bulk));
    if (frames) {
        for (const std::string& file : files)
            allRead &= reportFrames(cl.program(), file);
        return allRead ? EXIT_OK : EXIT_FAILED;
    }
#endif
    for (size_t i = 0; i < files.size(); i++) {
        if (files.size() > 1)
            printf("%s== %s\n", i > 0 ? "\n" : "", files[i].c_str());
        allRead &= dumpFile(cl.program(), files[i], metaOnly, static_cast<size_t>(width));
        fflush(stdout);
    }
    return allRead ? EXIT_OK : EXIT_FAILED;
}
