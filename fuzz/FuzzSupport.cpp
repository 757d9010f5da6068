#include "FuzzSupport.h"

#include <cstdarg>
#include <cstdlib>

#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include "foundation/DcLog.h"

namespace {

class QuietLog : public DcLog {
public:
    __attribute__((format(printf, 4, 5))) int report(LOG_MSG, char*, char* format, ...) override
    {
        if (format == nullptr)
            return LOG_ERR_NULL_FORMAT;
        char text[MSG_BUF_SIZE];
        va_list args;
        va_start(args, format);
        vsnprintf(text, sizeof text, format, args);
        va_end(args);
        return 0;
    }
};

// The log the library made; kept reachable so that leak checks ignore it.
DcLog* originalLog = nullptr;

}

void fuzzFail(const char* file, int line, const char* what)
{
    fprintf(stderr, "%s:%d: %s\n", file, line, what);
    abort();
}

void fuzzPrepare()
{
    if (originalLog != nullptr)
        return;
    originalLog = Log;
    Log = new QuietLog();
    fuzzNullStream();
}

int fuzzOpenDescriptors()
{
    int count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.')
                count++;
        closedir(dir);
    }
    return count;
}

FILE* fuzzNullStream()
{
    static FILE* stream = fopen("/dev/null", "w");
    return stream;
}

GuardedBuffer::GuardedBuffer(size_t n) : size(n), bytes(n + GUARD_LEN, GUARD_BYTE) {}

bool GuardedBuffer::intact() const
{
    for (size_t i = size; i < bytes.size(); i++)
        if (bytes[i] != GUARD_BYTE)
            return false;
    return true;
}

MemFile::MemFile(const uint8_t* data, size_t size) : handle(memfd_create("brenik3-fuzz", 0)), name()
{
    if (handle < 0)
        return;
    for (size_t done = 0; done < size;) {
        ssize_t n = write(handle, data + done, size - done);
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    snprintf(name, sizeof name, "/proc/self/fd/%d", handle);
}

MemFile::~MemFile()
{
    if (handle >= 0)
        close(handle);
}
