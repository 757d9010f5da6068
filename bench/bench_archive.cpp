// The archive's index under load: 100,000 instances (10,000 patients, one
// study of two series of five instances each), indexed directly, then
// study-level queries by patient ID and by a wildcard patient name, each
// timed alone, with the 95th percentile and the process's peak resident
// memory reported. With B3_BENCH_ARCHIVE=FOLDER the index is made in
// FOLDER/index.sqlite and kept, with an empty file for each instance, so
// that b3-archive -o FOLDER can serve it (bench/archive-100k.sh).
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "archive/ArchiveIndex.h"

using namespace b3archive;
namespace fs = std::filesystem;

namespace {

const int PATIENTS = 10000;
const char* const SURNAMES[] = {"Smith", "Jones", "Brown", "Miller", "Novak", "Horvat", "Garcia", "Moreau"};

// Peak resident memory of this process (VmHWM), in MB.
double peakResidentMb()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atof(line.c_str() + 6) / 1024.0;
    return 0;
}

// The index of the run, its folder removed at exit unless it is to be kept.
struct BenchIndex {
    std::unique_ptr<ArchiveIndex> index;
    std::string folder;
    bool keep = false;
    ~BenchIndex()
    {
        index.reset();
        if (!keep && !folder.empty())
            fs::remove_all(folder);
    }
};

ArchiveIndex& sharedIndex()
{
    static BenchIndex made;
    std::unique_ptr<ArchiveIndex>& index = made.index;
    if (index)
        return *index;
    const char* kept = std::getenv("B3_BENCH_ARCHIVE");
    std::string folder = kept != nullptr ? std::string(kept)
                                         : (fs::temp_directory_path() / ("b3-bench-index-" + std::to_string(getpid()))).string();
    made.folder = folder;
    made.keep = kept != nullptr;
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::string error;
    index = openSqliteIndex(folder + "/index.sqlite", error);
    for (int p = 0; p < PATIENTS; p++) {
        std::string study = "1.2.3." + std::to_string(p);
        for (int s = 0; s < 2; s++) {
            for (int i = 0; i < 5; i++) {
                IndexedObject o;
                std::string series = study + "." + std::to_string(s + 1);
                std::string sop = series + "." + std::to_string(i + 1);
                o.values = {{0x00100020, "PID" + std::to_string(p)},
                            {0x00100010, std::string(SURNAMES[p % 8]) + "^Patient" + std::to_string(p)},
                            {0x0020000D, study},
                            {0x00080020, "2024" + std::to_string(1000 + p % 1200).substr(1)},
                            {0x0020000E, series},
                            {0x00080060, s == 0 ? "CT" : "MR"},
                            {0x00080018, sop}};
                o.path = study + "/" + sop + ".dcm";
                index->add(o, error);
                if (kept != nullptr) {
                    fs::create_directories(folder + "/" + study);
                    std::ofstream(folder + "/" + o.path);
                }
            }
        }
    }
    return *index;
}

double p95(const std::vector<double>& v)
{
    std::vector<double> sorted = v;
    std::sort(sorted.begin(), sorted.end());
    return sorted[std::min(sorted.size() - 1, sorted.size() * 95 / 100)];
}

void runQuery(benchmark::State& state, unsigned int tag, const std::function<std::string(int)>& value)
{
    ArchiveIndex& index = sharedIndex();
    int n = 0;
    for (auto _ : state) {
        Query query;
        query.level = STUDY;
        std::string error;
        conditionFor(*findKey(tag), value(n++), query.conditions, error);
        int matches = 0;
        index.find(query,
                   [&](const Row&) {
                       matches++;
                       return true;
                   },
                   error);
        benchmark::DoNotOptimize(matches);
    }
    state.counters["peak_MB"] = peakResidentMb();
}

void StudiesByPatientId(benchmark::State& state)
{
    runQuery(state, 0x00100020, [](int n) { return "PID" + std::to_string((n * 7919) % PATIENTS); });
}

void StudiesByWildcardName(benchmark::State& state)
{
    runQuery(state, 0x00100010, [](int n) { return std::string("*") + SURNAMES[n % 8] + "^PATIENT1*"; });
}

}

BENCHMARK(StudiesByPatientId)->Iterations(1)->Repetitions(200)->ReportAggregatesOnly()->ComputeStatistics("p95", p95)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(StudiesByWildcardName)->Iterations(1)->Repetitions(200)->ReportAggregatesOnly()->ComputeStatistics("p95", p95)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
