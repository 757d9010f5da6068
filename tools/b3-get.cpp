// b3-get: a retrieve SCU (C-GET). Asks an archive for the studies, series or
// instances matching the keys and takes them on the same association,
// writing them as FOLDER/<study instance UID>/<SOP instance UID>.dcm.
#include <cerrno>
#include <sys/stat.h>

#include <Brenik3.h>

#include "archive/Retrieving.h"
#include "common/Association.h"
#include "common/CommandLine.h"

using namespace b3tool;
using namespace b3archive;

namespace {

// Storage classes proposed with the SCP role for this tool: the common
// image classes, each in the uncompressed little-endian syntaxes.
const DICT_UID RECEIVED_CLASSES[] = {
    UID_CT_IMAGE_STORAGE, UID_MR_IMAGE_STORAGE, UID_CR_IMAGE_STORAGE, UID_SC_IMAGE_STORAGE,
    UID_US_IMAGE_STORAGE, UID_US_MULTIFRAME_IMAGE_STORAGE, UID_NM_IMAGE_STORAGE, UID_PET_IMAGE_STORAGE,
    UID_XRAY_ANGIO_IMAGE_STORAGE, UID_XRAY_RF_IMAGE_STORAGE, UID_DIGI_XRAY_PRES_IMAGE_STORAGE,
    UID_DIGI_XRAY_PROC_IMAGE_STORAGE, UID_DIGI_MAMMO_PRES_IMAGE_STORAGE, UID_DIGI_MAMMO_PROC_IMAGE_STORAGE,
    UID_RT_IMAGE_STORAGE, UID_RT_DOSE_STORAGE, UID_RT_STRUCTURE_SET_STORAGE, UID_RT_PLAN_STORAGE,
    UID_VL_PHOTOGRAPHIC_IMAGE_STORAGE, UID_VL_ENDOSCOPIC_IMAGE_STORAGE};

}

int main(int argc, char** argv)
{
    PeerOptions peer;
    std::vector<std::string> keys;
    std::string level = "STUDY";
    std::string folder = "retrieved";
    bool patientRoot = false;
    CommandLine cl("b3-get", "HOST[:PORT]",
                   "Retrieves what matches the keys from a query/retrieve SCP (C-GET): the objects come back\n"
                   "on the same association and are written as FOLDER/<study instance UID>/<SOP instance\n"
                   "UID>.dcm, with a progress line per object:\n"
                   "  b3-get -aec ARCHIVE pacs:104 -L SERIES -k SeriesInstanceUID=1.2.3.4 -o here");
    addPeerOptions(cl, peer);
    cl.list("-k", "--key", "TAG=VALUE", "a key of the identifier (repeatable)", keys);
    cl.text("-L", "--level", "LEVEL", "PATIENT, STUDY, SERIES or IMAGE (default STUDY)", level);
    cl.flag("-P", "--patient-root", "use the patient root model (default: study root)", patientRoot);
    cl.text("-o", "--output", "FOLDER", "where the objects go (default ./retrieved)", folder);
    cl.note("Exit status: 0 when every sub-operation succeeded, 1 otherwise.");
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;
    if (!takeHost(cl.program(), cl.operands()[0], peer))
        return EXIT_USAGE;
    setvbuf(stdout, nullptr, _IOLBF, 0);
    DICT_UID model = patientRoot ? UID_PAT_ROOT_Q_R_GET : UID_STUDY_ROOT_Q_R_GET;
    DcCmdCGetRq rq;
    if (!fillRetrieveRequest(cl.program(), rq, model, level, keys))
        return EXIT_USAGE;
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        fail(cl.program(), "cannot create %s", folder.c_str());
        return EXIT_FAILED;
    }

    DICT_UID uncompressed[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_NONE};
    std::vector<DcMsmSopXferSyn> contexts;
    contexts.emplace_back(model, nullptr, MSM_ROLE_NONE);
    for (DICT_UID sop : RECEIVED_CLASSES)
        contexts.emplace_back(sop, uncompressed, MSM_ROLE_SCP);
    contexts.emplace_back();

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    info.sopXferList = contexts.data();
    if (!connectToPeer(cl.program(), msm, peer, info))
        return EXIT_FAILED;
    if ((status = msm.write(model, &rq)) != 0) {
        fail(cl.program(), "sending C-GET failed (status 0x%04x)", status);
        msm.abortAssociation();
        return EXIT_FAILED;
    }
    IncomingFiles files(folder);
    int final = -1;
    while (final < 0) {
        DcMsg* msg = nullptr;
        status = readMessage(msm, &msg);
        MSG_TYPE type = MSG_NONE;
        if (status != MSM_READ_MESSAGE || msg == nullptr || msg->getType(type) != 0) {
            fail(cl.program(), "retrieve ended early: %s", outcomeText(status).c_str());
            delete msg;
            break;
        }
        if (files.take(msm, msg))
            continue;
        if (type == MSG_C_GET_RSP) {
            int answer = responseStatus(*msg);
            printProgress(countsOf(*msg));
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
    printf("%d object%s written to %s\n", files.stored, files.stored == 1 ? "" : "s", folder.c_str());
    if (final != 0) {
        if (final > 0)
            fail(cl.program(), "retrieve ended with status 0x%04x", final);
        return EXIT_FAILED;
    }
    return files.failed == 0 ? EXIT_OK : EXIT_FAILED;
}
