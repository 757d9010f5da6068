// Every committed fuzz input (the seed corpora and the regressions, each an
// input that once broke the library) goes through its fuzz target again.
// Each input runs in a child process, so that a crash names its file and
// the remaining inputs still run.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzTargets.h"

namespace {

typedef int (*Target)(const uint8_t*, size_t);

std::vector<std::string> filesIn(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* entry = readdir(d))
            if (entry->d_name[0] != '.')
                names.push_back(entry->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The exit status of the target run on the file in a child: 0 when it returned.
int runInChild(Target target, const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        target(data.data(), data.size());
        _exit(0);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid)
        return -1;
    return status;
}

// Runs every input of the target's corpus and regression folders.
void replay(const std::string& name, Target target)
{
    int count = 0;
    for (const char* kind : {"corpus", "regressions"}) {
        std::string dir = std::string(BRENIK3_FUZZ_DIR) + "/" + kind + "/" + name;
        for (const std::string& file : filesIn(dir)) {
            EXPECT_EQ(0, runInChild(target, dir + "/" + file)) << kind << "/" << name << "/" << file;
            count++;
        }
    }
    EXPECT_GT(count, 0) << "no inputs for " << name;
}

}

TEST(FuzzReplay, DataSetInputs) { replay("dataset", fuzzDataSet); }
TEST(FuzzReplay, FileInputs) { replay("file", fuzzFile); }
TEST(FuzzReplay, DicomDirInputs) { replay("dicomdir", fuzzDicomDir); }
TEST(FuzzReplay, PduInputs) { replay("pdu", fuzzPdu); }
TEST(FuzzReplay, AssociationInputs) { replay("association", fuzzAssociation); }
#ifdef BRENIK3_FUZZ_CODEC
TEST(FuzzReplay, CodecInputs) { replay("codec", fuzzCodec); }
#endif
