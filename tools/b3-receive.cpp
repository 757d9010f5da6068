// b3-receive: a storage SCP. Listens on a port and writes every object it
// receives as a Part 10 file, one folder per study: the file meta header,
// then the data set exactly as it arrived, written once on its way from the
// network to disk. The parent process only accepts connections and hands
// each to a process of its own, so a burst of callers never waits in the
// listen backlog. Files are written under a temporary name and renamed when
// complete, so an interrupted transfer never leaves a file under its final
// name. SIGINT and SIGTERM stop the receiver and its running associations.
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <Brenik3.h>

#include "common/CommandLine.h"
#include "common/CurrentUids.h"
#include "common/IncomingStore.h"
#include "common/Proposals.h"
#include "common/ScpLoop.h"

using namespace b3tool;

namespace {

struct Settings : ScpSettings {
    std::string output = "received";
    long maxPdu = 65536;
    bool acceptAll = false;
};

// The acceptance table for what the caller proposes: every storage SOP
// class of the current standard (any SOP class with acceptAll) and
// Verification, each in the transfer syntaxes proposed for it that the
// standard knows, in the caller's order, so that the caller's first choice
// wins and its data arrives as it has it. UIDs new to the dictionary are
// added to it (this process serves one association only).
std::vector<DcMsmSopXferSyn> acceptanceFor(const std::vector<Proposal>& proposals, bool acceptAll)
{
    std::vector<DcMsmSopXferSyn> contexts;
    std::map<DICT_UID, size_t> entryOf;
    const std::string verification = uidText(UID_VERIFICATION);
    for (const Proposal& proposal : proposals) {
        bool wanted = proposal.sopClass == verification || findStorageSopClass(proposal.sopClass) != nullptr ||
                      (acceptAll && !proposal.sopClass.empty());
        if (!wanted || contexts.size() + 1 >= MSM_PRES_CTX_MAX)
            continue;
        DICT_UID sopClass = dictUid(proposal.sopClass, UID_SOP_CLASS);
        if (sopClass == UID_NONE)
            continue;
        if (!entryOf.count(sopClass)) {
            entryOf[sopClass] = contexts.size();
            DICT_UID none[1] = {UID_NONE};
            contexts.emplace_back(sopClass, none, MSM_ROLE_NONE);
            contexts.back().xferSyn[0] = UID_NONE;
        }
        DcMsmSopXferSyn& entry = contexts[entryOf[sopClass]];
        for (const std::string& syntax : proposal.syntaxes) {
            if (findTransferSyntax(syntax) == nullptr)
                continue;
            DICT_UID uid = dictUid(syntax, UID_TRANSFER_SYNTAX);
            int n = 0;
            while (n < MSM_XFER_SYN_MAX - 1 && entry.xferSyn[n] != UID_NONE && entry.xferSyn[n] != uid)
                n++;
            if (uid != UID_NONE && n < MSM_XFER_SYN_MAX - 1 && entry.xferSyn[n] == UID_NONE) {
                entry.xferSyn[n] = uid;
                entry.xferSyn[n + 1] = UID_NONE;
            }
        }
    }
    contexts.emplace_back();
    return contexts;
}

// One association, served in its own process.
class Association {
public:
    Association(const Settings& settings, int number) : cfg(settings), id(number), incoming(settings.output) {}
    int serve(int sock, const sockaddr_in& peerAddress);

private:
    const Settings& cfg;
    int id;
    std::string peer;
    int stored = 0;
    int failedCount = 0;
    IncomingStore incoming;
};

int Association::serve(int sock, const sockaddr_in& peerAddress)
{
    std::vector<DcMsmSopXferSyn> contexts =
        acceptanceFor(peekProposals(sock, static_cast<int>(cfg.timeout)), cfg.acceptAll);
    std::vector<char*> accepted = acceptedTitles(cfg);

    DcMsm msm(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcMsmScpInfo info;
    info.acceptAeTitles = accepted.data();
    info.sopXferList = contexts.data();
    info.maxPduLen = static_cast<unsigned int>(cfg.maxPdu);
    info.timeouts.readTimeout = static_cast<unsigned int>(cfg.timeout);
    msm.setDataSetSink(&incoming.sink());
    int status = msm.adoptConnection(sock, &peerAddress, sizeof peerAddress);
    if (status == 0)
        status = msm.connect(info);
    if (status != 0) {
        printf("[%d] no association: accepting the connection failed (status 0x%04x)\n", id, status);
        return EXIT_FAILED;
    }

    const char* ending = "connection closed";
    bool open = true;
    while (open) {
        DcMsg* msg = nullptr;
        DICT_UID sopClass = UID_NONE;
        status = msm.read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
        MSG_TYPE type = MSG_NONE;
        if (msg != nullptr)
            msg->getType(type);
        switch (status) {
        case MSM_READ_ASSO_RQ: {
            DcMsmAssoInfo asso;
            msm.getAssoInfo(asso);
            if (asso.callingAeTitle[0] == '\0') {
                printf("[%d] association request refused: AE title not accepted\n", id);
                open = false;
                ending = nullptr;
                break;
            }
            int contextsAccepted = 0;
            for (int i = 0; i < MSM_PRES_CTX_MAX; i++)
                contextsAccepted += asso.presCtxId[i] != 0 && asso.result[i] == PRES_CTX_ACCEPTANCE;
            peer = std::string(asso.callingAeTitle) + " (" + asso.ipAddress + ")";
            printf("[%d] association from %s to %s: %d of %d presentation contexts accepted\n", id, peer.c_str(),
                   asso.calledAeTitle, contextsAccepted, asso.assoNum);
            break;
        }
        case MSM_READ_MESSAGE:
            if (type == MSG_C_STORE_RQ) {
                incoming.request(msm, static_cast<DcCmdCStoreRq*>(msg));
                msg = nullptr;
            } else if (type == MSG_IOD && incoming.waiting()) {
                std::string where;
                unsigned short result = incoming.finish(where);
                if (result == STORE_SUCCESS) {
                    stored++;
                    printf("[%d] stored %s (%s, %llu bytes)\n", id, where.c_str(),
                           describeUid(incoming.sopClassUid()).c_str(), incoming.length());
                } else {
                    failedCount++;
                    printf("[%d] FAILED to store %s\n", id, where.c_str());
                }
                incoming.answer(msm, result);
            } else {
                char desc[DICT_NAME_MAX + 1] = "";
                msg->getDesc(desc);
                printf("[%d] ignored %s: only storage is served\n", id, desc);
            }
            break;
        case MSM_READ_RELEASE_RQ:
            msm.event13_writeRelRpPdu();
            ending = "released";
            open = false;
            break;
        case MSM_READ_ABORT:
            ending = "aborted by the peer";
            open = false;
            break;
        default:
            ending = status == MSM_READ_TIMEOUT ? "timed out" : "connection lost";
            open = false;
            break;
        }
        delete msg;
        fflush(stdout);
    }
    msm.closeAssociation();
    if (ending != nullptr)
        printf("[%d] association from %s %s: %d object%s stored, %d failed\n", id, peer.c_str(), ending, stored,
               stored == 1 ? "" : "s", failedCount);
    return failedCount == 0 ? EXIT_OK : EXIT_FAILED;
}

}

int main(int argc, char** argv)
{
    Settings cfg;
    cfg.aeTitle = "B3-RECEIVE";
    CommandLine cl("b3-receive", "-p PORT",
                   "A storage SCP: listens on PORT and writes every object received as a Part 10 file\n"
                   "FOLDER/<study instance UID>/<SOP instance UID>.dcm: the data set exactly as it arrived,\n"
                   "behind a file meta header. Accepts every storage SOP class of the current standard (any\n"
                   "SOP class with --accept-all) in every transfer syntax the standard knows, taking the\n"
                   "caller's first choice, and answers C-ECHO. Each association is served by a process of\n"
                   "its own; one line is logged per association and per object. Runs until SIGINT or\n"
                   "SIGTERM; files are complete when they appear under their final names.");
    addScpOptions(cl, cfg, "TCP port to listen on (required)", "our AE title (default B3-RECEIVE)");
    cl.text("-o", "--output", "FOLDER", "where the files go (default ./received)", cfg.output);
    cl.flag("-aa", "--accept-all", "accept any SOP class proposed, not only the standard's storage classes",
            cfg.acceptAll);
    cl.number("-pdu", "--max-pdu", "BYTES", "largest PDU we receive (4096 to 4194304, default 65536)", cfg.maxPdu,
              4096, 4194304);
    int status = cl.parse(argc, argv, 0, 0);
    if (status >= 0)
        return status;
    if (cfg.port == 0) {
        fail(cl.program(), "give the port to listen on with -p PORT");
        return EXIT_USAGE;
    }
    if (mkdir(cfg.output.c_str(), 0777) != 0 && errno != EEXIST) {
        fail(cl.program(), "cannot create %s: %s", cfg.output.c_str(), strerror(errno));
        return EXIT_FAILED;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    std::string started = "listening on port " + std::to_string(cfg.port) + " as " + cfg.aeTitle + ", writing to " +
                          cfg.output + " (one process per association); stop with Ctrl-C";
    return runScpLoop(cl.program(), cfg, started, [&cfg](int sock, const sockaddr_in& peer, int number) {
        Association association(cfg, number);
        return association.serve(sock, peer);
    });
}
