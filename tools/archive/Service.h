#ifndef BRENIK3_ARCHIVE_SERVICE_H
#define BRENIK3_ARCHIVE_SERVICE_H

// One association with the archive, served in its own process: storage,
// C-FIND, C-MOVE and C-GET in the patient root and study root models, and
// verification.
#include <set>
#include <string>
#include <vector>

#include <netinet/in.h>

#include <Brenik3.h>

#include "archive/ArchiveIndex.h"
#include "archive/Destinations.h"
#include "common/IncomingStore.h"
#include "common/ScpLoop.h"

namespace b3archive {

struct Settings : b3tool::ScpSettings {
    Settings() { aeTitle = "B3-ARCHIVE"; }
    std::string root = "archive";
    Destinations destinations;
};

class Service {
public:
    Service(const Settings& settings, ArchiveIndex& index, int number)
        : cfg(settings), index(index), id(number), incoming(settings.root, true)
    {
    }
    // Serves the caller of an accepted connection until release, abort or
    // loss. The process's exit status.
    int serve(int sock, const sockaddr_in& peerAddress);

private:
    const Settings& cfg;
    ArchiveIndex& index;
    int id;
    DcMsm* msm = nullptr;
    std::string peer;
    int stored = 0;
    int failedStores = 0;

    b3tool::IncomingStore incoming;
    // The FIND SOP classes for which the caller asked for combined
    // date-time matching in its extended negotiation.
    std::set<std::string> combinedDateTime;

    // Answers the caller's extended negotiation for a FIND SOP class it was
    // granted (self is the Service); others go unanswered.
    static bool answerExtNeg(void* self, const DcPduExtNeg& asked, DcPduExtNeg& answer);

    // Indexes the object of the C-STORE just received and answers it.
    void store();
    void find(DcCmd& rq, DcMsg& identifier, DICT_UID model);
    void retrieve(DcCmd& rq, DcMsg& identifier, DICT_UID model, bool get);
    // Whether a C-CANCEL (or anything else) waits on the association; a
    // cancel is read and noted, a lost connection noted too.
    bool cancelWaiting(bool& lost);
    // Sends a response made from its request, with its status and identifier.
    void answer(DcCmd& rsp, DICT_UID model, unsigned short status, DcElemList* identifier);
    void answerRetrieve(DcCmd& rq, DICT_UID model, bool get, unsigned short status, const struct SubOpCounts* counts);
    bool cancelled = false;
};

// The presentation contexts the archive accepts.
std::vector<DcMsmSopXferSyn> archiveContexts();

}

#endif
