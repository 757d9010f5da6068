#ifndef BRENIK3_FUZZ_FUZZSUPPORT_H
#define BRENIK3_FUZZ_FUZZSUPPORT_H
// Helpers shared by the fuzz targets.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

// Ends the process with a message when a promise of the library does not
// hold, so that the fuzzer keeps the input.
#define FUZZ_CHECK(condition, what)                      \
    do {                                                 \
        if (!(condition))                                \
            fuzzFail(__FILE__, __LINE__, what);          \
    } while (0)
[[noreturn]] void fuzzFail(const char* file, int line, const char* what);

// Run first by every target: installs, once, a process-wide log that formats
// every report (so that bad format arguments are still caught) and prints
// nothing, and opens the null stream.
void fuzzPrepare();

// The number of open file descriptors of the process.
int fuzzOpenDescriptors();

// A stream that discards what is printed to it, for the print routines.
FILE* fuzzNullStream();

// Room for exactly size bytes, followed by a guard pattern: a write past
// the end is caught by intact() even where no sanitizer watches.
class GuardedBuffer {
public:
    explicit GuardedBuffer(size_t size);
    unsigned char* data() { return bytes.data(); }
    bool intact() const;

private:
    enum { GUARD_LEN = 64, GUARD_BYTE = 0xA5 };
    size_t size;
    std::vector<unsigned char> bytes;
};

// A file in memory holding the given bytes, reachable by path.
class MemFile {
public:
    MemFile(const uint8_t* data, size_t size);
    ~MemFile();
    MemFile(const MemFile&) = delete;
    MemFile& operator=(const MemFile&) = delete;
    // "/proc/self/fd/<n>", or "" when the file could not be made.
    const char* path() const { return name; }
    int fd() const { return handle; }

private:
    int handle;
    char name[40];
};

#endif
