// b3-receive: a storage SCP. Listens on a port and writes every object it
// receives as a Part 10 file, one folder per study: the file meta header,
// then the data set exactly as it arrived, written once on its way from the
// network to disk. The parent process only accepts connections and hands
// each to a process of its own, so a burst of callers never waits in the
// listen backlog. Files are written under a temporary name and renamed when
// complete, so an interrupted transfer never leaves a file under its final
// name. SIGINT and SIGTERM stop the receiver and its running associations.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <Brenik3.h>

#include "common/CommandLine.h"
#include "common/CurrentUids.h"
#include "common/Proposals.h"
#include "common/ReceivedFile.h"
#include "common/Tags.h"

using namespace b3tool;

namespace {

// Status (0000,0900) values of the C-STORE response.
enum : unsigned short {
    STORE_SUCCESS = 0x0000,
    STORE_OUT_OF_RESOURCES = 0xA700,
    STORE_CANNOT_UNDERSTAND = 0xC000
};

const int POLL_INTERVAL_MS = 250;
const int STOP_GRACE_SECONDS = 5;

volatile sig_atomic_t stopRequested = 0;
// The file an association process is writing, removed if it is stopped.
char partialPath[4096] = "";

void onStopParent(int)
{
    stopRequested = 1;
}

void onStopChild(int)
{
    if (partialPath[0] != '\0')
        unlink(partialPath);
    _exit(EXIT_FAILED);
}

void installHandler(int sig, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(sig, &action, nullptr);
}

struct Settings {
    std::string aeTitle = "B3-RECEIVE";
    std::string output = "received";
    long port = 0;
    long timeout = 30;
    long maxPdu = 65536;
    bool acceptAll = false;
    std::vector<std::string> acceptCalling;
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

std::string commandText(DcMsg& msg, int tag)
{
    char text[DICT_UID_MAX + 1] = "";
    msg.getValue(tag, text, DICT_UID_MAX, ELEM_VAL_INDEX_KEEP);
    return text;
}

// One association, served in its own process.
class Association {
public:
    Association(const Settings& settings, int number) : cfg(settings), id(number), file(settings.output) {}
    int serve(int sock);

private:
    const Settings& cfg;
    int id;
    std::string peer;
    int stored = 0;
    int failedCount = 0;
    DcMsmRawStore raw;
    ReceivedFile file;
    DcCmdCStoreRq* pending = nullptr;
    std::string pendingProblem;
    int nowhere = -1;  // /dev/null, for data sets that have no file to go to

    void request(DcMsm& msm, DcCmdCStoreRq* rq);
    unsigned short store(std::string& where);
    void answer(DcMsm& msm, DcCmdCStoreRq& rq, unsigned short status);
};

// A C-STORE request: the file for its data set is opened with the meta
// header written, and the raw store armed to append the data set to it.
void Association::request(DcMsm& msm, DcCmdCStoreRq* rq)
{
    delete pending;
    pending = rq;
    pendingProblem.clear();
    DcPduInfoTf tf;
    rq->getInfo(tf);
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    DcDirMetaInfo meta;
    meta.sopClassUid = dictUid(commandText(*rq, T_0000_0002_affectedSopClassUid), UID_SOP_CLASS);
    snprintf(meta.sopInstanceUid, sizeof meta.sopInstanceUid, "%s",
             commandText(*rq, T_0000_1000_affectedSopInstanceUid).c_str());
    for (int i = 0; i < MSM_PRES_CTX_MAX; i++)
        if (asso.presCtxId[i] != 0 && asso.presCtxId[i] == tf.presCtxId)
            meta.xferSyn = asso.xferSyn[i];
    snprintf(meta.sourceAeTitle, sizeof meta.sourceAeTitle, "%s", asso.callingAeTitle);
    int fd = file.open(meta, pendingProblem);
    snprintf(partialPath, sizeof partialPath, "%s", file.partialPath().c_str());
    // Without a file the data set is still taken as it comes, and dropped:
    // the request fails, memory stays small and the association goes on.
    if (fd < 0) {
        if (nowhere < 0)
            nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        fd = nowhere;
    }
    raw.expect(fd);
}

unsigned short Association::store(std::string& where)
{
    std::string problem = pendingProblem;
    int status = raw.status();
    if (problem.empty() && status != 0) {
        char code[32];
        snprintf(code, sizeof code, " (status 0x%04x)", status);
        problem = status == MSM_ERR_RAW_WRITE ? systemErrorText(raw.writeErrno()) : "data set not received";
        problem += code;
    }
    std::string instance = raw.sopInstanceUid();
    if (instance.empty())
        instance = commandText(*pending, T_0000_1000_affectedSopInstanceUid);
    if (problem.empty() && file.finish(raw.studyInstanceUid(), instance, where, problem)) {
        partialPath[0] = '\0';
        return STORE_SUCCESS;
    }
    file.discard();
    partialPath[0] = '\0';
    where = (where.empty() ? instance : where) + ": " + problem;
    return STORE_OUT_OF_RESOURCES;
}

void Association::answer(DcMsm& msm, DcCmdCStoreRq& rq, unsigned short status)
{
    DcCmdCStoreRsp rsp;
    rsp.parseRequest(&rq);
    rsp.add(new DcElem(T_0000_0900_status, status));
    DcPduInfoTf info;
    rq.getInfo(info);
    msm.write(info.presCtxId, &rsp);
}

int Association::serve(int sock)
{
    installHandler(SIGINT, onStopChild);
    installHandler(SIGTERM, onStopChild);
    std::vector<DcMsmSopXferSyn> contexts =
        acceptanceFor(peekProposals(sock, static_cast<int>(cfg.timeout)), cfg.acceptAll);
    std::vector<char*> accepted;
    for (const std::string& title : cfg.acceptCalling)
        accepted.push_back(const_cast<char*>(title.c_str()));
    accepted.push_back(nullptr);

    DcMsm msm(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcMsmScpInfo info;
    info.acceptAeTitles = accepted.data();
    info.sopXferList = contexts.data();
    info.maxPduLen = static_cast<unsigned int>(cfg.maxPdu);
    info.timeouts.readTimeout = static_cast<unsigned int>(cfg.timeout);
    msm.setDataSetSink(&raw);
    int status = msm.adoptConnection(sock);
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
                request(msm, static_cast<DcCmdCStoreRq*>(msg));
                msg = nullptr;
            } else if (type == MSG_IOD && pending != nullptr) {
                std::string where;
                unsigned short result = store(where);
                if (result == STORE_SUCCESS) {
                    stored++;
                    printf("[%d] stored %s (%s, %llu bytes)\n", id, where.c_str(),
                           describeUid(commandText(*pending, T_0000_0002_affectedSopClassUid)).c_str(),
                           static_cast<unsigned long long>(raw.length()));
                } else {
                    failedCount++;
                    printf("[%d] FAILED to store %s\n", id, where.c_str());
                }
                answer(msm, *pending, result);
                delete pending;
                pending = nullptr;
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
    delete pending;
    pending = nullptr;
    file.discard();
    msm.closeAssociation();
    if (ending != nullptr)
        printf("[%d] association from %s %s: %d object%s stored, %d failed\n", id, peer.c_str(), ending, stored,
               stored == 1 ? "" : "s", failedCount);
    return failedCount == 0 ? EXIT_OK : EXIT_FAILED;
}

void reap(std::map<pid_t, int>& children)
{
    int raw;
    pid_t pid;
    while ((pid = waitpid(-1, &raw, WNOHANG)) > 0)
        children.erase(pid);
}

void stopChildren(std::map<pid_t, int>& children)
{
    for (auto& child : children)
        kill(child.first, SIGTERM);
    for (int waited = 0; !children.empty() && waited < STOP_GRACE_SECONDS * 10; waited++) {
        reap(children);
        if (!children.empty())
            usleep(100000);
    }
    for (auto& child : children) {
        kill(child.first, SIGKILL);
        waitpid(child.first, nullptr, 0);
    }
}

}

int main(int argc, char** argv)
{
    Settings cfg;
    CommandLine cl("b3-receive", "-p PORT",
                   "A storage SCP: listens on PORT and writes every object received as a Part 10 file\n"
                   "FOLDER/<study instance UID>/<SOP instance UID>.dcm: the data set exactly as it arrived,\n"
                   "behind a file meta header. Accepts every storage SOP class of the current standard (any\n"
                   "SOP class with --accept-all) in every transfer syntax the standard knows, taking the\n"
                   "caller's first choice, and answers C-ECHO. Each association is served by a process of\n"
                   "its own; one line is logged per association and per object. Runs until SIGINT or\n"
                   "SIGTERM; files are complete when they appear under their final names.");
    cl.number("-p", "--port", "PORT", "TCP port to listen on (required)", cfg.port, 1, 65535);
    cl.text("-o", "--output", "FOLDER", "where the files go (default ./received)", cfg.output);
    cl.text("-aet", "--aetitle", "AET", "our AE title (default B3-RECEIVE)", cfg.aeTitle);
    cl.list("-ac", "--accept-calling", "AET",
            "accept only this calling AE title (repeatable); the called AE title must then be ours\n"
            "                               (default: any calling and called AE title)",
            cfg.acceptCalling);
    cl.flag("-aa", "--accept-all", "accept any SOP class proposed, not only the standard's storage classes",
            cfg.acceptAll);
    cl.number("-pdu", "--max-pdu", "BYTES", "largest PDU we receive (4096 to 4194304, default 65536)", cfg.maxPdu,
              4096, 4194304);
    cl.number("-to", "--timeout", "SECONDS", "network time-out for reads (default 30)", cfg.timeout, 1, 3600);
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
    installHandler(SIGINT, onStopParent);
    installHandler(SIGTERM, onStopParent);
    signal(SIGPIPE, SIG_IGN);

    // This state machine only opens the listening socket; the parent
    // accepts on it and each association process takes its connection.
    DcMsm listener(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcTsmTcpInfo tcp;
    listener.getTcpInfo(tcp);
    if (tcp.sockListen <= 0) {
        fail(cl.program(), "cannot listen on port %ld: address in use or not permitted (status 0x%04x)", cfg.port,
             listener.getStartupStatus());
        return EXIT_FAILED;
    }
    int listenFlags = fcntl(tcp.sockListen, F_GETFL);
    fcntl(tcp.sockListen, F_SETFL, listenFlags | O_NONBLOCK);
    printf("listening on port %ld as %s, writing to %s (one process per association); stop with Ctrl-C\n",
           cfg.port, cfg.aeTitle.c_str(), cfg.output.c_str());

    std::map<pid_t, int> children;
    int associations = 0;
    while (!stopRequested) {
        reap(children);
        pollfd p = {tcp.sockListen, POLLIN, 0};
        if (poll(&p, 1, POLL_INTERVAL_MS) <= 0)
            continue;
        // Everything waiting is taken at once; the work is the children's.
        for (;;) {
            int sock = accept(tcp.sockListen, nullptr, nullptr);
            if (sock < 0)
                break;
            associations++;
            pid_t pid = fork();
            if (pid == 0) {
                Association association(cfg, associations);
                fflush(stdout);
                _exit(association.serve(sock));
            }
            close(sock);
            if (pid < 0) {
                fail(cl.program(), "fork: %s", strerror(errno));
                break;
            }
            children[pid] = associations;
        }
    }
    stopChildren(children);
    printf("stopped after %d association%s\n", associations, associations == 1 ? "" : "s");
    return EXIT_OK;
}
