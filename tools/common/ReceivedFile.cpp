#include "common/ReceivedFile.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace b3tool {

std::string safeName(const std::string& uid, const char* fallback)
{
    std::string name;
    for (char c : uid)
        name += (isdigit(static_cast<unsigned char>(c)) || c == '.') ? c : '_';
    return name.empty() || name[0] == '.' ? fallback : name;
}

int ReceivedFile::open(DcDirMetaInfo& meta, std::string& problem)
{
    discard();
    std::string pattern = root + "/.b3-receiving-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    fd = mkstemp(name.data());
    if (fd < 0) {
        problem = root + ": " + systemErrorText(errno);
        return -1;
    }
    partial = name.data();
    if (meta.implClassUid[0] == '\0') {
        DcMsmScpInfo toolkit;  // carries the toolkit's implementation class UID
        snprintf(meta.implClassUid, sizeof meta.implClassUid, "%s", toolkit.implClassUid);
    }
    int status = dirCheckMetaInfo(meta);
    if (status != 0) {
        char text[96];
        snprintf(text, sizeof text, "file meta information refused (status 0x%04x)", status);
        problem = text;
        discard();
        return -1;
    }
    std::vector<unsigned char> header;
    dirFrameMetaHeader(meta, header);
    size_t done = 0;
    while (done < header.size()) {
        ssize_t n = write(fd, header.data() + done, header.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            problem = systemErrorText(n < 0 ? errno : ENOSPC);
            discard();
            return -1;
        }
        done += static_cast<size_t>(n);
    }
    return fd;
}

bool ReceivedFile::finish(const std::string& studyUid, const std::string& instanceUid, std::string& where,
                          std::string& problem)
{
    std::string folder = root + "/" + safeName(studyUid, "unknown-study");
    where = folder + "/" + safeName(instanceUid, "unknown-instance") + ".dcm";
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        problem = folder + ": " + systemErrorText(errno);
        return false;
    }
    bool written = !durable || fsync(fd) == 0;
    int writeErrno = errno;
    if (close(fd) != 0 && written) {
        written = false;
        writeErrno = errno;
    }
    fd = -1;
    if (!written) {
        problem = systemErrorText(writeErrno);
        return false;
    }
    if (rename(partial.c_str(), where.c_str()) != 0) {
        problem = where + ": " + systemErrorText(errno);
        return false;
    }
    partial.clear();
    if (durable) {
        int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            fsync(dir);
            close(dir);
        }
    }
    return true;
}

void ReceivedFile::discard()
{
    if (fd >= 0)
        close(fd);
    fd = -1;
    if (!partial.empty())
        unlink(partial.c_str());
    partial.clear();
}

}
