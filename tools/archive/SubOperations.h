#ifndef BRENIK3_ARCHIVE_SUBOPERATIONS_H
#define BRENIK3_ARCHIVE_SUBOPERATIONS_H

// The storage sub-operations of a retrieve: stored files sent by C-STORE
// over an association, to a move destination or back to a getter.
#include <functional>
#include <string>
#include <vector>

#include <Brenik3.h>

#include "archive/ArchiveIndex.h"

namespace b3archive {

// One file to send, with what its meta information says.
struct Outgoing {
    std::string sopInstanceUid;
    std::string path;
    DICT_UID sopClass = UID_NONE;
    DICT_UID xferSyn = UID_NONE;
};

struct SubOpCounts {
    int remaining = 0;
    int completed = 0;
    int failed = 0;
    int warning = 0;
    std::vector<std::string> failedUids;
};

// Reads the meta information of each item's file (ROOT/path). Items whose
// file cannot be read are counted as failed.
std::vector<Outgoing> prepareOutgoing(const std::string& root, const std::vector<RetrieveItem>& items,
                                      SubOpCounts& counts);

// The presentation contexts to propose for files: each SOP class with the
// transfer syntaxes its files have, the little-endian ones interchangeable.
std::vector<DcMsmSopXferSyn> contextsFor(const std::vector<Outgoing>& files);

class SubOperations {
public:
    // originator and originatorId fill the move originator fields of each
    // C-STORE request (empty and 0: none).
    SubOperations(DcMsm& msm, const std::string& originator, unsigned short originatorId)
        : msm(msm), originator(originator), originatorId(originatorId)
    {
    }

    // Called with each message read that is not the awaited C-STORE
    // response (a C-CANCEL on the association of a C-GET); the message is
    // deleted afterwards.
    std::function<void(DcMsg&)> onOther;

    // Sends one file and waits for its response, counting the outcome.
    // False when the association can no longer be used.
    bool send(const Outgoing& file, SubOpCounts& counts);

private:
    DcMsm& msm;
    std::string originator;
    unsigned short originatorId;

    int contextFor(const Outgoing& file);
};

}

#endif
