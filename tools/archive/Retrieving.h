#ifndef BRENIK3_ARCHIVE_RETRIEVING_H
#define BRENIK3_ARCHIVE_RETRIEVING_H

// What b3-move and b3-get share: the request, the files that arrive, and
// the progress the retrieve responses report.
#include <string>
#include <vector>

#include <Brenik3.h>

namespace b3archive {

// Objects that arrive by C-STORE, written into a folder as the archive
// writes them (FOLDER/<study instance UID>/<SOP instance UID>.dcm).
class IncomingFiles {
public:
    explicit IncomingFiles(const std::string& folder) : folder(folder) {}
    ~IncomingFiles() { delete pending; }
    IncomingFiles(const IncomingFiles&) = delete;
    IncomingFiles& operator=(const IncomingFiles&) = delete;

    // Takes a C-STORE request, or the data set that follows one, which is
    // then written and answered. False (msg untouched) for other messages.
    // Takes ownership of msg when true.
    bool take(DcMsm& msm, DcMsg* msg);
    // Serves one association as a storage SCP until it ends.
    void serve(DcMsm& msm);

    int stored = 0;
    int failed = 0;

private:
    std::string folder;
    DcCmdCStoreRq* pending = nullptr;
};

// Fills a C-MOVE or C-GET request: command fields, the level and the keys
// ("TAG=VALUE") of its identifier. False with the reason printed when a key
// is bad.
bool fillRetrieveRequest(const char* program, DcCmd& rq, DICT_UID model, const std::string& level,
                         const std::vector<std::string>& keys);

// The counts of a C-MOVE or C-GET response.
struct RetrieveCounts {
    int remaining = -1;
    int completed = 0;
    int failed = 0;
    int warning = 0;
};
RetrieveCounts countsOf(DcMsg& rsp);

// Reads and prints the failed SOP instance UID list that follows a final
// response carrying a data set.
void printFailedList(DcMsm& msm, DcMsg& finalResponse);

// One line of progress ("3 of 10 done, 0 failed, 0 warning").
void printProgress(const RetrieveCounts& counts);

}

#endif
