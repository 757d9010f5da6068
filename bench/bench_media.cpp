// Writing and reading back a file with 256 MB of pixel data held on disk,
// next to a plain copy of the same number of bytes, and the peak memory of
// the write.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "dictionary/DcDict.h"
#include "media/dirFile.h"

namespace {

const unsigned int PIXEL_BYTES = 256u * 1024 * 1024;
const unsigned int CHUNK = 16384;

std::string scratch()
{
    static std::string dir;
    if (dir.empty()) {
        char name[] = "/tmp/brenik3_benchXXXXXX";
        dir = mkdtemp(name);
    }
    return dir;
}

std::string pixelPath() { return scratch() + "/pixels.raw"; }
std::string outputPath() { return scratch() + "/image.dcm"; }
std::string copyPath() { return scratch() + "/copy.raw"; }

void makePixelFile()
{
    if (access(pixelPath().c_str(), F_OK) == 0)
        return;
    FILE* out = fopen(pixelPath().c_str(), "wb");
    std::vector<unsigned char> chunk(1 << 20);
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = static_cast<unsigned char>(i * 31 + 7);
    for (unsigned int written = 0; written < PIXEL_BYTES; written += static_cast<unsigned int>(chunk.size()))
        fwrite(chunk.data(), 1, chunk.size(), out);
    fclose(out);
}

// A 8192 x 16384 8-bit image whose pixels stay in the pixel file.
void buildList(DcElemList& list)
{
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "2.999.7321.100.1"));
    list.add(new DcElem(T_0010_0010_patientName, "Bench^Mark"));
    list.add(new DcElem(T_0028_0002_samplesPerPixel, static_cast<unsigned short>(1)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2"));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(16384)));
    list.add(new DcElem(T_0028_0011_columns, static_cast<unsigned short>(16384)));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(8)));
    list.add(new DcElem(T_0028_0101_bitsStored, static_cast<unsigned short>(8)));
    list.add(new DcElem(T_0028_0102_highBit, static_cast<unsigned short>(7)));
    list.add(new DcElem(T_0028_0103_pixelRepresentation, static_cast<unsigned short>(0)));
    int handle = open(pixelPath().c_str(), O_RDONLY);
    DcElem* pixelData = new DcElem(T_7fe0_0010_pixelData);
    pixelData->addValue(handle, 0, PIXEL_BYTES, UID_LITTLE_ENDIAN_EXPLICIT);
    close(handle);
    list.add(pixelData);
}

long statusField(const char* field)
{
    FILE* status = fopen("/proc/self/status", "r");
    char line[256];
    long value = -1;
    size_t len = strlen(field);
    while (status != nullptr && fgets(line, sizeof line, status) != nullptr)
        if (strncmp(line, field, len) == 0)
            value = strtol(line + len + 1, nullptr, 10);
    if (status != nullptr)
        fclose(status);
    return value;
}

// Sets the peak resident size back to the current one.
void resetPeak()
{
    FILE* clear = fopen("/proc/self/clear_refs", "w");
    if (clear != nullptr) {
        fputs("5", clear);
        fclose(clear);
    }
}

void dropFromCache(const std::string& path)
{
    int handle = open(path.c_str(), O_RDONLY);
    if (handle != -1) {
        fdatasync(handle);
        posix_fadvise(handle, 0, 0, POSIX_FADV_DONTNEED);
        close(handle);
    }
}

void BM_WriteDiskPixels(benchmark::State& state)
{
    makePixelFile();
    DcElemList list;
    buildList(list);
    long peakGrowth = 0;
    for (auto _ : state) {
        DcDirMetaInfo info;
        info.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
        resetPeak();
        long before = statusField("VmRSS:");
        if (dirWriteFile(outputPath().c_str(), info, list) != 0)
            state.SkipWithError("dirWriteFile failed");
        long growth = statusField("VmHWM:") - before;
        peakGrowth = growth > peakGrowth ? growth : peakGrowth;
    }
    unsigned int nonPixel = 0;
    DcElem* pixelData = nullptr;
    list.getElem(T_7fe0_0010_pixelData, &pixelData);
    list.subtract(pixelData);
    list.getBufSize(nonPixel);
    list.add(pixelData);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * PIXEL_BYTES);
    state.counters["peak_rss_growth_kB"] = static_cast<double>(peakGrowth);
    state.counters["non_pixel_kB"] = nonPixel / 1024.0;
}

// Reads the written file's header with the pixels left on disk, then streams
// the pixel value through chunk; false when the header cannot be read.
bool readBackPixels(std::vector<unsigned char>& chunk, unsigned long long& sum)
{
    DcDirMetaInfo info;
    DcElemList list;
    if (dirReadFileHeader(outputPath().c_str(), info, list) != 0)
        return false;
    DcBuf pixels;
    list.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP);
    for (unsigned int done = 0; done < pixels.getLen(); done += CHUNK) {
        unsigned int want = pixels.getLen() - done < CHUNK ? pixels.getLen() - done : CHUNK;
        if (pread(pixels.getHandle(), chunk.data(), want, pixels.getOffset() + done) != want)
            break;
        sum += chunk[0];
    }
    return true;
}

// Reads the file back with its pixels left on disk, then streams the pixel
// value through a 16 KiB buffer as an application consuming it would.
void BM_ReadBackDiskPixels(benchmark::State& state)
{
    std::vector<unsigned char> chunk(CHUNK);
    unsigned long long sum = 0;
    for (auto _ : state) {
        if (!readBackPixels(chunk, sum)) {
            state.SkipWithError("dirReadFileHeader failed");
            break;
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * PIXEL_BYTES);
}

// The same read with the file dropped from the page cache first.
void BM_ReadBackDiskPixelsCold(benchmark::State& state)
{
    std::vector<unsigned char> chunk(CHUNK);
    unsigned long long sum = 0;
    for (auto _ : state) {
        state.PauseTiming();
        dropFromCache(outputPath());
        state.ResumeTiming();
        readBackPixels(chunk, sum);
    }
    benchmark::DoNotOptimize(sum);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * PIXEL_BYTES);
}

// A plain copy of the pixel file through a 16 KiB buffer.
void BM_PlainCopy(benchmark::State& state)
{
    makePixelFile();
    std::vector<unsigned char> chunk(CHUNK);
    for (auto _ : state) {
        int in = open(pixelPath().c_str(), O_RDONLY);
        int out = open(copyPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ssize_t got;
        while ((got = read(in, chunk.data(), chunk.size())) > 0)
            if (write(out, chunk.data(), static_cast<size_t>(got)) != got)
                break;
        close(in);
        close(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * PIXEL_BYTES);
}

// A plain read of the written file through a 16 KiB buffer.
void BM_PlainRead(benchmark::State& state)
{
    std::vector<unsigned char> chunk(CHUNK);
    for (auto _ : state) {
        int in = open(outputPath().c_str(), O_RDONLY);
        while (read(in, chunk.data(), chunk.size()) > 0) {
        }
        close(in);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * PIXEL_BYTES);
}

}

BENCHMARK(BM_WriteDiskPixels)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_PlainCopy)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_ReadBackDiskPixels)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_PlainRead)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_ReadBackDiskPixelsCold)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::string dir = scratch();
    unlink(pixelPath().c_str());
    unlink(outputPath().c_str());
    unlink(copyPath().c_str());
    rmdir(dir.c_str());
    return 0;
}
