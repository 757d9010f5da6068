// b3-receive: a storage SCP. Listens on a port and writes every object it
// receives as a Part 10 file, one folder per study. Each association is
// served by a process of its own, forked when a caller is waiting; pixel
// data goes from the network straight to disk through the pixel receive
// callback. Files are written under a temporary name and renamed when
// complete, so an interrupted transfer never leaves a file under its final
// name. SIGINT and SIGTERM stop the receiver and its running associations.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <Brenik3.h>

#include "common/CommandLine.h"
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
    std::vector<std::string> acceptCalling;
};

// The storage SOP classes of the dictionary's UID table, each accepted in
// every encapsulated syntax and the three uncompressed ones. The acceptor's
// order decides, and encapsulated syntaxes come first: a sender that offers
// its compressed pixel data as it is gets it stored as it is.
std::vector<DcMsmSopXferSyn> storageContexts()
{
    std::vector<DICT_UID> syntaxes;
    for (int uid = UID_JPEG_BASELINE; uid <= UID_RLE_LOSSLESS; uid++)
        syntaxes.push_back(static_cast<DICT_UID>(uid));
    syntaxes.insert(syntaxes.end(), {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                                     UID_NONE});

    std::vector<DcMsmSopXferSyn> contexts;
    for (int uid = UID_VERIFICATION; uid <= UID_BUILTIN_LAST; uid++) {
        DICT_UID_TYPE type;
        std::string desc = uidDescription(uid);
        if (Dict.getUidType(static_cast<DICT_UID>(uid), type) != 0 || type != UID_SOP_CLASS ||
            desc.find("Storage") == std::string::npos || desc.find("Commitment") != std::string::npos ||
            uid == UID_MEDIA_STORAGE_DIR_STORAGE)
            continue;
        contexts.emplace_back(static_cast<DICT_UID>(uid), syntaxes.data(), MSM_ROLE_NONE);
    }
    contexts.emplace_back(UID_VERIFICATION, nullptr, MSM_ROLE_NONE);
    contexts.emplace_back();
    return contexts;
}

// A UID as a file or folder name: digits and dots only.
std::string safeName(const std::string& uid, const char* fallback)
{
    std::string name;
    for (char c : uid)
        name += (isdigit(static_cast<unsigned char>(c)) || c == '.') ? c : '_';
    return name.empty() || name[0] == '.' ? fallback : name;
}

std::string textOf(DcElemList& list, int tag)
{
    char text[DICT_UID_MAX + 1] = "";
    list.getValue(tag, text, DICT_UID_MAX, ELEM_VAL_INDEX_KEEP);
    return text;
}

// One association, served in its own process.
class Association {
public:
    Association(const Settings& settings, int number) : cfg(settings), id(number) {}
    int serve(int acceptedPipe);

private:
    const Settings& cfg;
    int id;
    std::string peer;
    int stored = 0;
    int failedCount = 0;

    static int pixelCallback(void* self, DcElemList& header, int& handle, DICT_UID xfer);
    unsigned short store(DcMsm& msm, DcCmdCStoreRq& rq, DcMsg& data, std::string& where);
    void answer(DcMsm& msm, DcCmdCStoreRq& rq, unsigned short status);
};

int Association::pixelCallback(void* self, DcElemList&, int& handle, DICT_UID)
{
    const Settings& cfg = static_cast<Association*>(self)->cfg;
    std::string path = cfg.output + "/.b3-pixels-XXXXXX";
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    int fd = mkstemp(name.data());
    // Without a file the pixel data stays in memory, and writing the object
    // then says whether there is room: a failure answers the request only.
    if (fd < 0)
        return 0;
    // Unlinked at once: the data lives while the descriptor does, and
    // nothing is left behind whatever happens to this process.
    unlink(name.data());
    if (handle >= 0)
        close(handle);
    handle = fd;
    return 0;
}

unsigned short Association::store(DcMsm& msm, DcCmdCStoreRq& rq, DcMsg& data, std::string& where)
{
    DcElemList* list = data.getElemList();
    DcPduInfoTf info;
    data.getInfo(info);
    std::string instance = textOf(*list, T_0008_0018_sopInstanceUid);
    if (instance.empty()) {
        char fromCommand[DICT_UID_MAX + 1] = "";
        rq.getValue(T_0000_1000_affectedSopInstanceUid, fromCommand, DICT_UID_MAX, ELEM_VAL_INDEX_KEEP);
        instance = fromCommand;
    }
    std::string folder = cfg.output + "/" + safeName(textOf(*list, T_0020_000d_studyInstanceUid), "unknown-study");
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        where = folder + ": " + strerror(errno);
        return STORE_OUT_OF_RESOURCES;
    }
    std::string name = safeName(instance, "unknown-instance");
    where = folder + "/" + name + ".dcm";
    std::string part = folder + "/." + name + ".dcm.part";
    snprintf(partialPath, sizeof partialPath, "%s", part.c_str());

    DcDirMetaInfo meta;
    meta.xferSyn = info.xferSyn;
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    snprintf(meta.sourceAeTitle, sizeof meta.sourceAeTitle, "%s", asso.callingAeTitle);
    int status = dirWriteFile(part.c_str(), meta, *list);
    if (status == 0 && rename(part.c_str(), where.c_str()) != 0)
        status = errno;
    if (status != 0) {
        unlink(part.c_str());
        partialPath[0] = '\0';
        char reason[64];
        snprintf(reason, sizeof reason, " (status 0x%04x)", status);
        where += reason;
        return STORE_OUT_OF_RESOURCES;
    }
    partialPath[0] = '\0';
    return STORE_SUCCESS;
}

void Association::answer(DcMsm& msm, DcCmdCStoreRq& rq, unsigned short status)
{
    DcCmdCStoreRsp rsp;
    rsp.parseRequest(&rq);
    rsp.add(new DcElem(T_0000_0900_status, status));
    DICT_UID sopClass = UID_NONE;
    rq.getValue(T_0000_0002_affectedSopClassUid, sopClass, ELEM_VAL_INDEX_KEEP);
    msm.write(sopClass, &rsp);
}

int Association::serve(int acceptedPipe)
{
    installHandler(SIGINT, onStopChild);
    installHandler(SIGTERM, onStopChild);
    std::vector<DcMsmSopXferSyn> contexts = storageContexts();
    std::vector<char*> accepted;
    for (const std::string& title : cfg.acceptCalling)
        accepted.push_back(const_cast<char*>(title.c_str()));
    accepted.push_back(nullptr);

    DcMsm msm(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcMsmScpInfo info;
    info.acceptAeTitles = accepted.data();
    info.sopXferList = contexts.data();
    info.timeouts.readTimeout = static_cast<unsigned int>(cfg.timeout);
    msm.registerPixRecvCB(this, pixelCallback);
    int status = msm.connect(info);
    char done = 1;
    if (write(acceptedPipe, &done, 1) < 0)
        status = status == 0 ? errno : status;
    close(acceptedPipe);
    if (status != 0) {
        printf("[%d] no association: accepting the connection failed (status 0x%04x)\n", id, status);
        return EXIT_FAILED;
    }

    DcCmdCStoreRq* pending = nullptr;
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
                delete pending;
                pending = static_cast<DcCmdCStoreRq*>(msg);
                msg = nullptr;
            } else if (type == MSG_IOD && pending != nullptr) {
                std::string where;
                unsigned short result = store(msm, *pending, *msg, where);
                msm.setPixelDataHandle(-1);
                if (result == STORE_SUCCESS) {
                    stored++;
                    struct stat st = {};
                    stat(where.c_str(), &st);
                    printf("[%d] stored %s (%s, %lld bytes)\n", id, where.c_str(),
                           uidDescription(sopClass).c_str(), static_cast<long long>(st.st_size));
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
        case MSM_READ_NOT_STORED:
            // The pixel data could not be written (a full disk, say): the
            // request fails, the association goes on.
            msm.setPixelDataHandle(-1);
            if (pending != nullptr) {
                failedCount++;
                printf("[%d] FAILED to store an object: its pixel data could not be written\n", id);
                answer(msm, *pending, STORE_OUT_OF_RESOURCES);
                delete pending;
                pending = nullptr;
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

// Waits until the new association process has taken its caller.
void waitUntilAccepted(int fd)
{
    pollfd p = {fd, POLLIN, 0};
    while (!stopRequested) {
        int ready = poll(&p, 1, POLL_INTERVAL_MS);
        if (ready > 0)
            break;
        if (ready < 0 && errno != EINTR)
            break;
    }
    close(fd);
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
                   "FOLDER/<study instance UID>/<SOP instance UID>.dcm, pixel data streamed to disk.\n"
                   "Accepts the storage SOP classes of the dictionary in the three uncompressed and every\n"
                   "encapsulated transfer syntax, and answers C-ECHO. Each association is served by a\n"
                   "process of its own; one line is logged per association and per object. Runs until\n"
                   "SIGINT or SIGTERM; files are complete when they appear under their final names.");
    cl.number("-p", "--port", "PORT", "TCP port to listen on (required)", cfg.port, 1, 65535);
    cl.text("-o", "--output", "FOLDER", "where the files go (default ./received)", cfg.output);
    cl.text("-aet", "--aetitle", "AET", "our AE title (default B3-RECEIVE)", cfg.aeTitle);
    cl.list("-ac", "--accept-calling", "AET",
            "accept only this calling AE title (repeatable); the called AE title must then be ours\n"
            "                               (default: any calling and called AE title)",
            cfg.acceptCalling);
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

    // This state machine only opens the listening socket, which the
    // association processes share.
    DcMsm listener(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcTsmTcpInfo tcp;
    listener.getTcpInfo(tcp);
    if (tcp.sockListen <= 0) {
        fail(cl.program(), "cannot listen on port %ld (in use?)", cfg.port);
        return EXIT_FAILED;
    }
    printf("listening on port %ld as %s, writing to %s (one process per association); stop with Ctrl-C\n",
           cfg.port, cfg.aeTitle.c_str(), cfg.output.c_str());

    std::map<pid_t, int> children;
    int associations = 0;
    while (!stopRequested) {
        reap(children);
        pollfd p = {tcp.sockListen, POLLIN, 0};
        if (poll(&p, 1, POLL_INTERVAL_MS) <= 0)
            continue;
        int accepted[2];
        if (pipe(accepted) != 0) {
            fail(cl.program(), "pipe: %s", strerror(errno));
            break;
        }
        associations++;
        pid_t pid = fork();
        if (pid == 0) {
            close(accepted[0]);
            Association association(cfg, associations);
            fflush(stdout);
            _exit(association.serve(accepted[1]));
        }
        close(accepted[1]);
        if (pid < 0) {
            close(accepted[0]);
            fail(cl.program(), "fork: %s", strerror(errno));
            continue;
        }
        children[pid] = associations;
        waitUntilAccepted(accepted[0]);
    }
    stopChildren(children);
    printf("stopped after %d association%s\n", associations, associations == 1 ? "" : "s");
    return EXIT_OK;
}
