// b3-archive: a storage and query/retrieve SCP. Every object received is
// written as a file, ROOT/<study instance UID>/<SOP instance UID>.dcm, and
// indexed; C-FIND, C-MOVE and C-GET are served from the index in the
// patient root and study root models. Each association is served by a
// process of its own. SIGINT and SIGTERM stop the archive.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Brenik3.h>

#include "archive/Service.h"
#include "archive/Storage.h"
#include "common/CommandLine.h"

using namespace b3tool;
using namespace b3archive;

namespace {

const int POLL_INTERVAL_MS = 250;
const int STOP_GRACE_SECONDS = 5;

volatile sig_atomic_t stopRequested = 0;

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

void reap(std::map<pid_t, int>& children)
{
    pid_t pid;
    while ((pid = waitpid(-1, nullptr, WNOHANG)) > 0)
        children.erase(pid);
}

// Waits until the new association process has taken its caller.
void waitUntilAccepted(int fd)
{
    pollfd p = {fd, POLLIN, 0};
    while (!stopRequested) {
        int ready = poll(&p, 1, POLL_INTERVAL_MS);
        if (ready > 0 || (ready < 0 && errno != EINTR))
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

std::unique_ptr<ArchiveIndex> openIndex(const Settings& cfg, const std::string& postgres, std::string& error)
{
    if (!postgres.empty())
        return openPostgresIndex(postgres, error);
    return openSqliteIndex(indexPath(cfg.root), error);
}

}

int main(int argc, char** argv)
{
    Settings cfg;
    std::string destinationFile;
    std::string postgres;
    bool reindex = false;
    CommandLine cl("b3-archive", "-p PORT",
                   "A storage and query/retrieve SCP. Stores every object received as\n"
                   "ROOT/<study instance UID>/<SOP instance UID>.dcm and indexes it; answers C-FIND,\n"
                   "C-MOVE and C-GET in the patient root and study root models, and C-ECHO. The index is\n"
                   "ROOT/index.sqlite, or a PostgreSQL database shared by several archives (--postgres).\n"
                   "On start, rows of missing files are dropped and unindexed files indexed.");
    cl.number("-p", "--port", "PORT", "TCP port to listen on (required unless --reindex)", cfg.port, 1, 65535);
    cl.text("-o", "--root", "FOLDER", "where the files and the index go (default ./archive)", cfg.root);
    cl.text("-aet", "--aetitle", "AET", "our AE title (default B3-ARCHIVE)", cfg.aeTitle);
    cl.text("-d", "--destinations", "FILE", "move destinations, one a line: AE_TITLE HOST PORT", destinationFile);
    cl.text(nullptr, "--postgres", "CONNINFO", "keep the index in PostgreSQL (a libpq connection string)", postgres);
    cl.flag(nullptr, "--reindex", "rebuild the index from the files, then exit (or serve, with -p)", reindex);
    cl.list("-ac", "--accept-calling", "AET", "accept only this calling AE title (repeatable)", cfg.acceptCalling);
    cl.number("-to", "--timeout", "SECONDS", "network time-out for reads (default 30)", cfg.timeout, 1, 3600);
    int status = cl.parse(argc, argv, 0, 0);
    if (status >= 0)
        return status;
    if (cfg.port == 0 && !reindex) {
        fail(cl.program(), "give the port to listen on with -p PORT");
        return EXIT_USAGE;
    }
    std::string error;
    if (!destinationFile.empty() && !readDestinations(destinationFile, cfg.destinations, error)) {
        fail(cl.program(), "%s", error.c_str());
        return EXIT_USAGE;
    }
    if (mkdir(cfg.root.c_str(), 0777) != 0 && errno != EEXIST) {
        fail(cl.program(), "cannot create %s: %s", cfg.root.c_str(), strerror(errno));
        return EXIT_FAILED;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    {
        std::unique_ptr<ArchiveIndex> index = openIndex(cfg, postgres, error);
        CheckResult check;
        if (index == nullptr || !checkStore(cfg.root, *index, reindex, check, error)) {
            fail(cl.program(), "index: %s", error.c_str());
            return EXIT_FAILED;
        }
        printf("index %s: %d file%s indexed, %d row%s of missing files dropped, %d partial file%s removed, "
               "%d unreadable\n",
               reindex ? "rebuilt" : "checked", check.added, check.added == 1 ? "" : "s", check.dropped,
               check.dropped == 1 ? "" : "s", check.removed, check.removed == 1 ? "" : "s", check.unreadable);
    }
    if (cfg.port == 0)
        return EXIT_OK;
    installHandler(SIGINT, onStopParent);
    installHandler(SIGTERM, onStopParent);
    signal(SIGPIPE, SIG_IGN);

    DcMsm listener(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcTsmTcpInfo tcp;
    listener.getTcpInfo(tcp);
    if (tcp.sockListen <= 0) {
        fail(cl.program(), "cannot listen on port %ld (in use?)", cfg.port);
        return EXIT_FAILED;
    }
    printf("listening on port %ld as %s, archive in %s, %zu move destination%s; stop with Ctrl-C\n", cfg.port,
           cfg.aeTitle.c_str(), cfg.root.c_str(), cfg.destinations.size(), cfg.destinations.size() == 1 ? "" : "s");

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
            installHandler(SIGINT, onStopChild);
            installHandler(SIGTERM, onStopChild);
            // The index connection is the process's own.
            std::unique_ptr<ArchiveIndex> index = openIndex(cfg, postgres, error);
            if (index == nullptr) {
                printf("[%d] index: %s\n", associations, error.c_str());
                _exit(EXIT_FAILED);
            }
            Service service(cfg, *index, associations);
            int code = service.serve(accepted[1]);
            index.reset();
            fflush(stdout);
            _exit(code);
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
