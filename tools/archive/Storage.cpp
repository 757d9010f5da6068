#include "archive/Storage.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <algorithm>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <Brenik3.h>

#include "common/ScpLoop.h"

namespace fs = std::filesystem;
using b3tool::partialPath;

namespace b3archive {

namespace {

const char* const FILE_SUFFIX = ".dcm";
const char* const PART_SUFFIX = ".part";
// The start of the names of the files b3tool::IncomingStore is receiving.
const char* const RECEIVING_PREFIX = ".b3-receiving-";

// A UID as a file or folder name: digits and dots only.
std::string safeName(const std::string& uid, const char* fallback)
{
    std::string name;
    for (char c : uid)
        name += (isdigit(static_cast<unsigned char>(c)) || c == '.') ? c : '_';
    return name.empty() || name[0] == '.' ? fallback : name;
}

bool syncPath(const std::string& path, int flags)
{
    int fd = open(path.c_str(), flags);
    if (fd < 0)
        return false;
    bool ok = fsync(fd) == 0;
    close(fd);
    return ok;
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}

std::string indexPath(const std::string& root)
{
    return root + "/index.sqlite";
}

IndexedObject describe(DcElemList& list, const std::string& relativePath)
{
    IndexedObject object;
    object.path = relativePath;
    for (const Key& key : keys())
        if (key.kind != KEY_COUNT)
            object.values[key.tag] = valueOf(list, key.tag);
    return object;
}

bool writeObjectFile(const std::string& root, DcDirMetaInfo& meta, DcElemList& list, std::string& relative,
                     std::string& error)
{
    std::string study = safeName(valueOf(list, 0x0020000D), "unknown-study");
    std::string name = safeName(valueOf(list, 0x00080018), "");
    if (name.empty()) {
        error = "no SOP instance UID";
        return false;
    }
    std::string folder = root + "/" + study;
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        error = folder + ": " + strerror(errno);
        return false;
    }
    relative = study + "/" + name + FILE_SUFFIX;
    std::string path = root + "/" + relative;
    std::string part = folder + "/." + name + FILE_SUFFIX + PART_SUFFIX;
    snprintf(partialPath, sizeof partialPath, "%s", part.c_str());
    int status = dirWriteFile(part.c_str(), meta, list);
    if (status != 0) {
        char text[64];
        snprintf(text, sizeof text, "writing failed (status 0x%04x)", status);
        error = text;
    } else if (!syncPath(part, O_RDONLY) || rename(part.c_str(), path.c_str()) != 0 ||
               !syncPath(folder, O_RDONLY | O_DIRECTORY)) {
        error = part + ": " + strerror(errno);
    }
    if (!error.empty())
        unlink(part.c_str());
    partialPath[0] = '\0';
    return error.empty();
}

bool indexFile(const std::string& root, const std::string& relativePath, ArchiveIndex& index, std::string& error,
               bool* lacksUids)
{
    DcDirMetaInfo meta;
    DcElemList list;
    int status = dirReadFileHeader((root + "/" + relativePath).c_str(), meta, list);
    if (status != 0) {
        char text[64];
        snprintf(text, sizeof text, "unreadable (status 0x%04x)", status);
        error = text;
        return false;
    }
    IndexedObject object = describe(list, relativePath);
    if (object.values[0x00080018].empty())
        object.values[0x00080018] = meta.sopInstanceUid;
    if (object.values[0x00080018].empty() || object.values[0x0020000D].empty()) {
        if (lacksUids != nullptr)
            *lacksUids = true;
        error = "no SOP instance or study instance UID";
        return false;
    }
    return index.add(object, error);
}

bool checkStore(const std::string& root, ArchiveIndex& index, bool rebuild, CheckResult& result, std::string& error)
{
    // The files indexed, by a hash of their path: a few bytes each, however
    // large the archive. (Were two paths ever to share a hash, the second
    // file would wait for --reindex.)
    std::vector<size_t> indexed;
    std::hash<std::string> hashOf;
    if (rebuild) {
        if (!index.clear(error))
            return false;
    } else {
        std::vector<std::string> missing;
        bool listed = index.eachPath(
            [&](const std::string& path) {
                struct stat st;
                if (stat((root + "/" + path).c_str(), &st) == 0)
                    indexed.push_back(hashOf(path));
                else
                    missing.push_back(path);
                return true;
            },
            error);
        if (!listed)
            return false;
        for (const std::string& path : missing) {
            if (!index.removePath(path, error))
                return false;
            result.dropped++;
        }
        std::sort(indexed.begin(), indexed.end());
    }
    std::error_code ec;
    std::vector<std::string> found;
    for (auto it = fs::recursive_directory_iterator(root, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_regular_file(ec))
            continue;
        std::string name = it->path().filename().string();
        std::string relative = fs::relative(it->path(), root, ec).string();
        if ((name[0] == '.' && endsWith(name, PART_SUFFIX)) || name.rfind(RECEIVING_PREFIX, 0) == 0) {
            if (unlink(it->path().c_str()) == 0)
                result.removed++;
        } else if (endsWith(name, FILE_SUFFIX) && name[0] != '.' &&
                   !std::binary_search(indexed.begin(), indexed.end(), hashOf(relative))) {
            found.push_back(relative);
        }
    }
    if (ec) {
        error = root + ": " + ec.message();
        return false;
    }
    for (const std::string& relative : found) {
        std::string why;
        if (indexFile(root, relative, index, why))
            result.added++;
        else
            result.unreadable++;
    }
    return true;
}

}
