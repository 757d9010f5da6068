// b3-move: a retrieve SCU (C-MOVE). Asks an archive to send the studies,
// series or instances matching the keys to a destination; with --port-in
// this tool is the destination too and stores what arrives in a folder.
#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Brenik3.h>

#include "archive/Retrieving.h"
#include "archive/Service.h"
#include "common/Association.h"
#include "common/CommandLine.h"

using namespace b3tool;
using namespace b3archive;

namespace {

// The storage SCP that takes the moved objects, in a process of its own.
pid_t startReceiver(const PeerOptions& peer, long port, const std::string& folder, int ready[2])
{
    pid_t pid = fork();
    if (pid != 0)
        return pid;
    close(ready[0]);
    signal(SIGTERM, SIG_DFL);
    DcMsm listener(peer.callingAet.c_str(), MSM_ROLE_SCP, static_cast<int>(port));
    char ok = 1;
    if (write(ready[1], &ok, 1) < 0)
        _exit(EXIT_FAILED);
    close(ready[1]);
    IncomingFiles files(folder);
    std::vector<DcMsmSopXferSyn> contexts = archiveContexts();
    for (;;) {
        DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCP, static_cast<int>(port));
        DcMsmScpInfo info;
        info.sopXferList = contexts.data();
        info.timeouts.readTimeout = static_cast<unsigned int>(peer.timeout);
        if (msm.connect(info) != 0)
            _exit(EXIT_FAILED);
        files.serve(msm);
        printf("received %d object%s into %s\n", files.stored, files.stored == 1 ? "" : "s", folder.c_str());
        fflush(stdout);
    }
}

}

int main(int argc, char** argv)
{
    PeerOptions peer;
    std::vector<std::string> keys;
    std::string level = "STUDY";
    std::string destination;
    std::string folder = "retrieved";
    long portIn = 0;
    bool patientRoot = false;
    CommandLine cl("b3-move", "HOST[:PORT]",
                   "Asks a query/retrieve SCP to send what matches the keys (C-MOVE) to a destination,\n"
                   "printing the sub-operation counts as they come. With --port-in this tool receives the\n"
                   "objects itself and writes them as FOLDER/<study instance UID>/<SOP instance UID>.dcm:\n"
                   "  b3-move -aec ARCHIVE pacs:104 --port-in 11113 -k StudyInstanceUID=1.2.3");
    addPeerOptions(cl, peer);
    cl.list("-k", "--key", "TAG=VALUE", "a key of the identifier (repeatable)", keys);
    cl.text("-L", "--level", "LEVEL", "PATIENT, STUDY, SERIES or IMAGE (default STUDY)", level);
    cl.flag("-P", "--patient-root", "use the patient root model (default: study root)", patientRoot);
    cl.text("-dest", "--destination", "AET", "the move destination (default: our calling AE title)", destination);
    cl.number(nullptr, "--port-in", "PORT", "receive the objects on this port", portIn, 1, 65535);
    cl.text("-o", "--output", "FOLDER", "where received objects go (default ./retrieved)", folder);
    cl.note("Exit status: 0 when every sub-operation succeeded, 1 otherwise.");
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;
    if (!takeHost(cl.program(), cl.operands()[0], peer))
        return EXIT_USAGE;
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (destination.empty())
        destination = peer.callingAet;
    DICT_UID model = patientRoot ? UID_PAT_ROOT_Q_R_MOVE : UID_STUDY_ROOT_Q_R_MOVE;
    DcCmdCMoveRq* rq = new DcCmdCMoveRq;
    rq->add(new DcElem(T_0000_0600_moveDestination, destination.c_str()));
    if (!fillRetrieveRequest(cl.program(), *rq, model, level, keys)) {
        delete rq;
        return EXIT_USAGE;
    }

    pid_t receiver = -1;
    if (portIn != 0) {
        int ready[2];
        if (pipe(ready) != 0 || (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST)) {
            fail(cl.program(), "cannot prepare %s", folder.c_str());
            delete rq;
            return EXIT_FAILED;
        }
        receiver = startReceiver(peer, portIn, folder, ready);
        close(ready[1]);
        char ok = 0;
        if (read(ready[0], &ok, 1) != 1)
            receiver = -1;
        close(ready[0]);
    }

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    DICT_UID sops[] = {model, UID_NONE};
    info.sopList = sops;
    int final = -1;
    RetrieveCounts counts;
    if (!connectToPeer(cl.program(), msm, peer, info)) {
        // connectToPeer has said why and closed the connection.
    } else if ((status = msm.write(model, rq)) != 0) {
        fail(cl.program(), "sending C-MOVE failed (status 0x%04x)", status);
        msm.abortAssociation();
    } else {
        while (final < 0) {
            DcMsg* msg = nullptr;
            status = readMessage(msm, &msg);
            MSG_TYPE type = MSG_NONE;
            if (status != MSM_READ_MESSAGE || msg == nullptr || msg->getType(type) != 0) {
                fail(cl.program(), "retrieve ended early: %s", outcomeText(status).c_str());
                delete msg;
                break;
            }
            if (type == MSG_C_MOVE_RSP) {
                int answer = responseStatus(*msg);
                counts = countsOf(*msg);
                printProgress(counts);
                if (answer != 0xFF00) {
                    final = answer;
                    printFailedList(msm, *msg);
                }
            }
            delete msg;
        }
        if (final >= 0)
            release(msm);
        else
            msm.abortAssociation();
    }
    delete rq;
    if (receiver > 0) {
        // Moved objects have all been answered once the final response came.
        kill(receiver, SIGTERM);
        waitpid(receiver, nullptr, 0);
    }
    if (final != 0) {
        if (final > 0)
            fail(cl.program(), "retrieve ended with status 0x%04x", final);
        return EXIT_FAILED;
    }
    return EXIT_OK;
}
