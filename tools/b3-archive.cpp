// b3-archive: a storage and query/retrieve SCP. Every object received is
// written as a file, ROOT/<study instance UID>/<SOP instance UID>.dcm, and
// indexed; C-FIND, C-MOVE and C-GET are served from the index in the
// patient root and study root models. Each association is served by a
// process of its own. SIGINT and SIGTERM stop the archive.
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include <Brenik3.h>

#include "archive/Service.h"
#include "archive/Storage.h"
#include "common/CommandLine.h"
#include "common/ScpLoop.h"

using namespace b3tool;
using namespace b3archive;

namespace {

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
                   "C-MOVE and C-GET in the patient root and study root models, and C-ECHO. A C-FIND\n"
                   "caller that asks for combined date-time matching is granted it. The index is\n"
                   "ROOT/index.sqlite, or a PostgreSQL database shared by several archives (--postgres).\n"
                   "On start, rows of missing files are dropped and unindexed files indexed.");
    addScpOptions(cl, cfg, "TCP port to listen on (required unless --reindex)", "our AE title (default B3-ARCHIVE)");
    cl.text("-o", "--root", "FOLDER", "where the files and the index go (default ./archive)", cfg.root);
    cl.text("-d", "--destinations", "FILE", "move destinations, one a line: AE_TITLE HOST PORT", destinationFile);
    cl.text(nullptr, "--postgres", "CONNINFO", "keep the index in PostgreSQL (a libpq connection string)", postgres);
    cl.flag(nullptr, "--reindex", "rebuild the index from the files, then exit (or serve, with -p)", reindex);
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
    std::string started = "listening on port " + std::to_string(cfg.port) + " as " + cfg.aeTitle + ", archive in " +
                          cfg.root + ", " + std::to_string(cfg.destinations.size()) + " move destination" +
                          (cfg.destinations.size() == 1 ? "" : "s") + "; stop with Ctrl-C";
    return runScpLoop(cl.program(), cfg, started, [&](int sock, const sockaddr_in& peer, int number) -> int {
        // The index connection is the association process's own.
        std::string error;
        std::unique_ptr<ArchiveIndex> index = openIndex(cfg, postgres, error);
        if (index == nullptr) {
            printf("[%d] index: %s\n", number, error.c_str());
            return EXIT_FAILED;
        }
        Service service(cfg, *index, number);
        return service.serve(sock, peer);
    });
}
