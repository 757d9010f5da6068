// b3-dicomdir: builds the DICOMDIR of a folder of Part 10 files (patient,
// study, series and one record per object: IMAGE for images, OVERLAY, LUT
// and CURVE records for those objects, PRIVATE for everything else such as
// structured reports, RT objects and waveforms) and lists an existing one as
// a tree.
#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <Brenik3.h>

#include "common/CommandLine.h"
#include "common/CurrentUids.h"
#include "common/ErrorText.h"
#include "common/Tags.h"
#ifdef BRENIK3_TOOLS_CODECS
#include "common/CodecFrame.h"
#endif

using namespace b3tool;
namespace fs = std::filesystem;

namespace {

// What the records need from one file.
struct ImageFile {
    std::string path;
    std::string fileId;
    std::string patientId, patientName;
    std::string studyUid, studyDate, studyTime, studyDesc, studyId, accession;
    std::string seriesUid, modality, seriesNumber;
    std::string instanceNumber;
    std::string sopClassUid;
    bool hasPixels = false;
};

std::string textOf(DcElemList& list, int tag)
{
    char text[256] = "";
    list.getValue(tag, text, sizeof text - 1, ELEM_VAL_INDEX_KEEP);
    return text;
}

std::string readWhole(const std::string& path)
{
    std::string bytes;
    FILE* in = fopen(path.c_str(), "rb");
    if (in == nullptr)
        return bytes;
    char chunk[65536];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, in)) > 0)
        bytes.append(chunk, got);
    fclose(in);
    return bytes;
}

bool validComponent(const std::string& part)
{
    if (part.empty() || part.size() > DIR_FILE_ID_COMPONENT_MAX)
        return false;
    for (char c : part)
        if (!isupper(static_cast<unsigned char>(c)) && !isdigit(static_cast<unsigned char>(c)) && c != '_')
            return false;
    return true;
}

// The File ID of a path relative to the root, or "" when it cannot be one.
std::string fileIdOf(const fs::path& relative)
{
    std::string id;
    int count = 0;
    for (const fs::path& part : relative) {
        if (!validComponent(part.string()) || ++count > DIR_FILE_ID_COMPONENTS)
            return "";
        id += (id.empty() ? "" : "\\") + part.string();
    }
    return id;
}

std::vector<std::string> regularFilesUnder(const std::string& folder)
{
    std::vector<std::string> found;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(folder, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        if (it->is_regular_file(ec) && it->path().filename() != DICOMDIR_FILE_NAME)
            found.push_back(it->path().string());
    std::sort(found.begin(), found.end());
    return found;
}

// Reads what the records need; false (with the reason) for files that are
// not Part 10 images or objects.
bool readImageFile(const std::string& path, ImageFile& file, std::string& reason)
{
    DcDirMetaInfo meta;
    DcElemList list;
    unsigned int offset = 0;
    // Classes and syntaxes outside the built-in table become known first.
    DcMsmRawFile raw;
    if (raw.open(path.c_str()) == 0) {
        dictUid(raw.sopClassUid, UID_SOP_CLASS);
        dictUid(raw.xferSynUid, UID_TRANSFER_SYNTAX);
    }
    if (dirReadFileMetaInfo(path.c_str(), meta, offset) != 0) {
        reason = "not a DICOM Part 10 file";
        return false;
    }
    int status = dirReadFileHeader(path.c_str(), meta, list);
    if (status != 0) {
        reason = "unreadable: " + fileErrorText(status, errno);
        return false;
    }
    file.path = path;
    file.patientId = textOf(list, T_0010_0020_patientId);
    file.patientName = textOf(list, T_0010_0010_patientName);
    file.studyUid = textOf(list, T_0020_000d_studyInstanceUid);
    file.studyDate = textOf(list, T_0008_0020_studyDate);
    file.studyTime = textOf(list, T_0008_0030_studyTime);
    file.studyDesc = textOf(list, T_0008_1030_studyDescription);
    file.studyId = textOf(list, T_0020_0010_studyId);
    file.accession = textOf(list, T_0008_0050_accessionNumber);
    file.seriesUid = textOf(list, T_0020_000e_seriesInstanceUid);
    file.modality = textOf(list, T_0008_0060_modality);
    file.seriesNumber = textOf(list, T_0020_0011_seriesNumber);
    file.instanceNumber = textOf(list, T_0020_0013_instanceNumber);
    file.sopClassUid = raw.sopClassUid;
    file.hasPixels = list.getElem(T_7fe0_0010_pixelData, static_cast<DcElem**>(nullptr)) == 0;
    if (file.studyUid.empty() || file.seriesUid.empty()) {
        reason = "no study or series instance UID";
        return false;
    }
    return true;
}

// An element with the value, or without one when the value is empty
// (attributes the records must carry, even if unknown).
void addText(DcDirRec* rec, int tag, const std::string& value)
{
    DcElem* elem = new DcElem(tag);
    if (!value.empty())
        elem->addValue(value.c_str());
    rec->add(elem);
}

// The record type that matches the object, among those the toolkit knows.
DIR_REC recordTypeFor(const ImageFile& file)
{
    std::string name = describeUid(file.sopClassUid);
    if (name.find("Image Storage") != std::string::npos || (name == file.sopClassUid && file.hasPixels))
        return DIR_REC_IMAGE;
    if (name.find("Overlay Storage") != std::string::npos)
        return DIR_REC_OVERLAY;
    if (name.find("Modality LUT Storage") != std::string::npos)
        return DIR_REC_MODALITY_LUT;
    if (name.find("VOI LUT Storage") != std::string::npos)
        return DIR_REC_VOI_LUT;
    if (name.find("Curve Storage") != std::string::npos)
        return DIR_REC_CURVE;
    return DIR_REC_PRIVATE;
}

DcDirRec* child(DcDirRec* parent, std::map<std::string, DcDirRec*>& known, const std::string& key, DIR_REC type)
{
    auto it = known.find(key);
    if (it != known.end())
        return it->second;
    DcDirRec* rec = new DcDirRec(type);
    known[key] = rec;
    parent->add(rec);
    return rec;
}

int build(const char* program, const std::string& folder, std::vector<ImageFile>& files, const std::string& setId)
{
    std::stable_sort(files.begin(), files.end(), [](const ImageFile& a, const ImageFile& b) {
        return std::tie(a.patientId, a.studyUid, a.seriesUid) < std::tie(b.patientId, b.studyUid, b.seriesUid);
    });
    DcDirDicomDir dir(folder.c_str());
    if (!setId.empty() && dir.setFileSetId(setId.c_str()) != 0) {
        fail(program, "bad file-set ID '%s' (at most 16 characters)", setId.c_str());
        return EXIT_USAGE;
    }
    std::map<std::string, DcDirRec*> patients, studies, series;
    int failures = 0;
    for (const ImageFile& file : files) {
        DcDirRec* patient = child(&dir, patients, file.patientId, DIR_REC_PATIENT);
        if (patient->firstElem() == nullptr) {
            addText(patient, T_0010_0010_patientName, file.patientName);
            addText(patient, T_0010_0020_patientId, file.patientId);
        }
        DcDirRec* study = child(patient, studies, file.studyUid, DIR_REC_STUDY);
        if (study->firstElem() == nullptr) {
            addText(study, T_0008_0020_studyDate, file.studyDate);
            addText(study, T_0008_0030_studyTime, file.studyTime);
            addText(study, T_0008_0050_accessionNumber, file.accession);
            addText(study, T_0008_1030_studyDescription, file.studyDesc);
            addText(study, T_0020_000d_studyInstanceUid, file.studyUid);
            addText(study, T_0020_0010_studyId, file.studyId);
        }
        DcDirRec* serie = child(study, series, file.seriesUid, DIR_REC_SERIES);
        if (serie->firstElem() == nullptr) {
            addText(serie, T_0008_0060_modality, file.modality);
            addText(serie, T_0020_000e_seriesInstanceUid, file.seriesUid);
            addText(serie, T_0020_0011_seriesNumber, file.seriesNumber);
        }
        DIR_REC type = recordTypeFor(file);
        DcDirRec* image = new DcDirRec(type);
        addText(image, T_0020_0013_instanceNumber, file.instanceNumber);
        if (type == DIR_REC_PRIVATE)
            image->setPvtRecUid(file.sopClassUid.c_str());
        serie->add(image);
        int status = image->setRefFile(file.fileId.c_str());
        if (status != 0) {
            fail(program, "%s: cannot be referenced as '%s' (status 0x%04x)", file.path.c_str(), file.fileId.c_str(),
                 status);
            serie->subtract(image);
            delete image;
            failures++;
        }
    }
    int status = dir.write();
    if (status != 0) {
        fail(program, "cannot write %s/DICOMDIR: %s", folder.c_str(), fileErrorText(status, errno).c_str());
        return EXIT_FAILED;
    }
    printf("wrote %s/%s: %zu patient%s, %zu stud%s, %zu series, %zu object%s\n", folder.c_str(), DICOMDIR_FILE_NAME,
           patients.size(), patients.size() == 1 ? "" : "s", studies.size(), studies.size() == 1 ? "y" : "ies",
           series.size(), files.size() - failures, files.size() - failures == 1 ? "" : "s");
    return failures == 0 ? EXIT_OK : EXIT_FAILED;
}

// Copies the Part 10 files found under source into folder as a file set:
// PAT0001/STU0001/SER0001/IMG0001 and so on.
bool copyInto(const char* program, const std::string& folder, std::vector<ImageFile>& files)
{
    std::map<std::string, int> patientNo, studyNo, seriesNo, imageCount;
    char name[64];
    for (ImageFile& file : files) {
        if (!patientNo.count(file.patientId))
            patientNo[file.patientId] = static_cast<int>(patientNo.size()) + 1;
        if (!studyNo.count(file.studyUid))
            studyNo[file.studyUid] = static_cast<int>(studyNo.size()) + 1;
        if (!seriesNo.count(file.seriesUid))
            seriesNo[file.seriesUid] = static_cast<int>(seriesNo.size()) + 1;
        int image = ++imageCount[file.seriesUid];
        snprintf(name, sizeof name, "PAT%04d/STU%04d/SER%04d/IMG%04d", patientNo[file.patientId],
                 studyNo[file.studyUid], seriesNo[file.seriesUid], image);
        fs::path target = fs::path(folder) / name;
        std::error_code ec;
        fs::create_directories(target.parent_path(), ec);
        if (!ec)
            fs::copy_file(file.path, target, fs::copy_options::overwrite_existing, ec);
        if (ec) {
            fail(program, "cannot copy %s into %s: %s", file.path.c_str(), target.c_str(), ec.message().c_str());
            return false;
        }
        file.path = target.string();
        file.fileId = fileIdOf(name);
    }
    return true;
}

// What --list prints and finds.
struct Listing {
    std::string folder;
    bool frames = false;  // decode the referenced files' frames
    int undecodable = 0;  // referenced files with frames that fail
};

// With --frames, what the frames of the file referenced by rec say, after
// the record's own line.
std::string framesOf(DcDirRec* rec, Listing& listing)
{
#ifdef BRENIK3_TOOLS_CODECS
    DcDirRecInfo info;
    rec->getInfo(info);
    if (!listing.frames || info.fileId[0] == '\0')
        return "";
    // The File ID names the file below the DICOMDIR's folder.
    std::string path = info.fileId;
    std::replace(path.begin(), path.end(), '\\', '/');
    FrameReport report = checkFrames(listing.folder + "/" + path);
    if (!report.decodable)
        listing.undecodable++;
    return "  [" + report.text + "]";
#else
    (void)rec;
    (void)listing;
    return "";
#endif
}

void printRecord(DcDirRec* rec, int depth, Listing& listing)
{
    DcDirRecInfo info;
    rec->getInfo(info);
    std::string text;
    switch (rec->getType()) {
    case DIR_REC_PATIENT:
        text = textOf(*rec, T_0010_0010_patientName) + " (ID " + textOf(*rec, T_0010_0020_patientId) + ")";
        break;
    case DIR_REC_STUDY:
        text = textOf(*rec, T_0008_0020_studyDate) + " " + textOf(*rec, T_0008_1030_studyDescription) + " [" +
               textOf(*rec, T_0020_000d_studyInstanceUid) + "]";
        break;
    case DIR_REC_SERIES:
        text = textOf(*rec, T_0008_0060_modality) + " series " + textOf(*rec, T_0020_0011_seriesNumber) + " [" +
               textOf(*rec, T_0020_000e_seriesInstanceUid) + "]";
        break;
    case DIR_REC_IMAGE:
    case DIR_REC_PRIVATE:
    case DIR_REC_OVERLAY:
    case DIR_REC_MODALITY_LUT:
    case DIR_REC_VOI_LUT:
    case DIR_REC_CURVE:
        text = "instance " + textOf(*rec, T_0020_0013_instanceNumber);
        break;
    default:
        break;
    }
    if (info.fileId[0] != '\0')
        text += std::string(text.empty() ? "" : "  ") + info.fileId + " (" + describeUid(uidText(info.refSopClass)) +
                ")";
    if (info.inUse == DIR_REC_INACTIVE)
        text += "  (inactive)";
    text += framesOf(rec, listing);
    printf("%*s%-8s %s\n", depth * 2, "", rec->getDesc(), text.c_str());
    for (DcDirRec* lower = rec->first(); lower != nullptr; lower = lower->next())
        printRecord(lower, depth + 1, listing);
}

// Record types of the current standard that this toolkit reads as UNKNOWN.
const char* const NEWER_RECORD_TYPES[] = {
    "SR DOCUMENT", "RT DOSE", "RT STRUCTURE SET", "RT PLAN", "RT TREAT RECORD", "PRESENTATION", "WAVEFORM",
    "KEY OBJECT DOC", "SPECTROSCOPY", "RAW DATA", "REGISTRATION", "FIDUCIAL", "HANGING PROTOCOL", "ENCAP DOC",
    "HL7 STRUC DOC", "VALUE MAP", "STEREOMETRIC", "PALETTE", "IMPLANT", "IMPLANT ASSY", "IMPLANT GROUP", "PLAN",
    "MEASUREMENT", "SURFACE", "SURFACE SCAN", "TRACT", "ASSESSMENT", "RADIOTHERAPY", "ANNOTATION", "INVENTORY"};

// Collects the library's messages while a DICOMDIR is read, so that records
// of types this toolkit does not know can be told from damage.
class CollectingLog : public DcLog {
public:
    using DcLog::report;
    int report(LOG_MSG, char*, char* format, ...) override
    {
        char line[MSG_BUF_SIZE + 64];
        va_list args;
        va_start(args, format);
        vsnprintf(line, sizeof line, format, args);
        va_end(args);
        lines.push_back(line);
        return 0;
    }
    std::vector<std::string> lines;
};

// Whether a message only says that a record has a newer type.
bool isNewerRecordType(const std::string& line)
{
    size_t at = line.find("invalid Record Type - '");
    if (at == std::string::npos)
        return false;
    std::string type = line.substr(at + 23, line.find('\'', at + 23) - at - 23);
    while (!type.empty() && type.back() == ' ')
        type.pop_back();
    for (const char* known : NEWER_RECORD_TYPES)
        if (type == known)
            return true;
    return false;
}

// The referenced SOP classes and transfer syntaxes of a DICOMDIR (explicit
// VR little endian, so their elements are found by their header bytes) are
// made known to the dictionary before the file is read.
void learnReferencedUids(const std::string& file)
{
    std::string bytes = readWhole(file);
    static const char classHeader[] = {0x04, 0x00, 0x10, 0x15, 'U', 'I'};
    static const char syntaxHeader[] = {0x04, 0x00, 0x12, 0x15, 'U', 'I'};
    for (const char* header : {classHeader, syntaxHeader}) {
        std::string pattern(header, 6);
        for (size_t at = bytes.find(pattern); at != std::string::npos && at + 8 <= bytes.size();
             at = bytes.find(pattern, at + 1)) {
            size_t len = static_cast<unsigned char>(bytes[at + 6]) | (static_cast<unsigned char>(bytes[at + 7]) << 8);
            if (at + 8 + len > bytes.size())
                break;
            std::string uid = bytes.substr(at + 8, len);
            while (!uid.empty() && (uid.back() == '\0' || uid.back() == ' '))
                uid.pop_back();
            dictUid(uid, header == classHeader ? UID_SOP_CLASS : UID_TRANSFER_SYNTAX);
        }
    }
}

int list(const char* program, std::string folder, bool frames)
{
    if (fs::path(folder).filename() == DICOMDIR_FILE_NAME)
        folder = fs::path(folder).parent_path().string();
    if (folder.empty())
        folder = ".";
    std::string file = folder + "/" + DICOMDIR_FILE_NAME;
    std::error_code ec;
    if (!fs::exists(file, ec)) {
        fail(program, "%s: no such file", file.c_str());
        return EXIT_FAILED;
    }
    learnReferencedUids(file);
    DcDirDicomDir dir(folder.c_str());
    CollectingLog collected;
    DcLog* own = Log;
    Log = &collected;
    int status = dir.read();
    Log = own;
    int newer = 0;
    bool damaged = false;
    for (const std::string& line : collected.lines) {
        if (isNewerRecordType(line))
            newer++;
        else
            logReport(LOG_CHANNEL_2, "DcDirDicomDir::read", "%s", line.c_str());
        damaged |= !isNewerRecordType(line);
    }
    if (status == DIR_ERR_INVALID && newer > 0 && !damaged)
        status = 0;
    int records = 0;
    for (DcDirRec* rec = dir.first(); rec != nullptr; rec = rec->next())
        records++;
    printf("%s: file-set ID '%s', %d top-level record%s\n", file.c_str(), dir.getFileSetId(), records,
           records == 1 ? "" : "s");
    Listing listing;
    listing.folder = folder;
    listing.frames = frames;
    for (DcDirRec* rec = dir.first(); rec != nullptr; rec = rec->next())
        printRecord(rec, 1, listing);
    if (newer > 0)
        printf("(%d record%s of a newer type, shown as UNKNOWN)\n", newer, newer == 1 ? "" : "s");
    if (status != 0) {
        fail(program, "%s is damaged (status 0x%04x); the records above are those that could be read", file.c_str(),
             status);
        return EXIT_FAILED;
    }
    if (listing.undecodable > 0) {
        fail(program, "%d referenced file%s with frames that cannot be decoded", listing.undecodable,
             listing.undecodable == 1 ? "" : "s");
        return EXIT_FAILED;
    }
    return EXIT_OK;
}

}

int main(int argc, char** argv)
{
    bool listOnly = false;
    std::string from;
    std::string setId;
    CommandLine cl("b3-dicomdir", "FOLDER",
                   "Builds FOLDER/DICOMDIR from the Part 10 files under FOLDER, with patient, study, series\n"
                   "and image records; file paths relative to FOLDER must be valid File IDs (components of\n"
                   "at most 8 upper-case letters, digits or _). With --from, the files found under SOURCE\n"
                   "are first copied into FOLDER as PAT0001/STU0001/SER0001/IMG0001 and so on.\n"
                   "With --list, prints an existing DICOMDIR as a tree instead.");
    cl.flag("-l", "--list", "print FOLDER/DICOMDIR (or the DICOMDIR file given) as a tree", listOnly);
    cl.text("-f", "--from", "SOURCE", "copy the Part 10 files under SOURCE into FOLDER first", from);
    cl.text(nullptr, "--file-set-id", "ID", "file-set ID of the new DICOMDIR (at most 16 characters)", setId);
    bool frames = false;
#ifdef BRENIK3_TOOLS_CODECS
    cl.flag(nullptr, "--frames", "with --list, decode the frames of every referenced file and name those that fail",
            frames);
#endif
    cl.note("Exit status: 0 on success, 1 when a file could not be indexed, the DICOMDIR not read or written,\n"
            "or (--frames) a referenced file has frames that cannot be decoded.");
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;
    std::string folder = cl.operands()[0];
    if (listOnly)
        return list(cl.program(), folder, frames);

    std::error_code ec;
    fs::create_directories(folder, ec);
    if (!fs::is_directory(folder, ec)) {
        fail(cl.program(), "%s is not a folder", folder.c_str());
        return EXIT_FAILED;
    }
    std::string scanned = from.empty() ? folder : from;
    std::vector<ImageFile> files;
    bool allRead = true;
    for (const std::string& path : regularFilesUnder(scanned)) {
        ImageFile file;
        std::string reason;
        if (!readImageFile(path, file, reason)) {
            printf("skipped %s: %s\n", path.c_str(), reason.c_str());
            continue;
        }
        if (from.empty()) {
            file.fileId = fileIdOf(fs::relative(path, folder));
            if (file.fileId.empty()) {
                fail(cl.program(), "%s: its path is not a valid File ID (use --from to copy it into a file set)",
                     path.c_str());
                allRead = false;
                continue;
            }
        }
        files.push_back(file);
    }
    if (files.empty()) {
        fail(cl.program(), "no DICOM files under %s", scanned.c_str());
        return EXIT_FAILED;
    }
    if (!from.empty() && !copyInto(cl.program(), folder, files))
        return EXIT_FAILED;
    status = build(cl.program(), folder, files, setId);
    return allRead ? status : EXIT_FAILED;
}
