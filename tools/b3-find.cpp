// b3-find: a query SCU (C-FIND). Sends one identifier built from -k keys and
// prints each match as a tree.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <Brenik3.h>

#include "common/Association.h"
#include "common/CommandLine.h"
#include "common/DataSetPrinter.h"
#include "common/QueryKeys.h"
#include "common/Tags.h"

using namespace b3tool;

namespace {

// C-FIND response statuses that announce one more match.
bool isPending(int status)
{
    return status == 0xFF00 || status == 0xFF01;
}

// Byte 2 of the C-FIND extended negotiation information: combined
// date-time matching (byte 1, relational queries, is not asked for).
const unsigned int COMBINED_DATE_TIME_BYTE = 1;

// Whether the peer's A-ASSOCIATE-AC agreed to combined date-time matching
// for the model.
bool combinedDateTimeAgreed(DcMsm& msm, const char* model)
{
    for (const DcPduExtNeg& answer : msm.getExtNegReceived())
        if (strcmp(answer.sopClassUid, model) == 0 && answer.infoLen > COMBINED_DATE_TIME_BYTE &&
            answer.info[COMBINED_DATE_TIME_BYTE] == 1)
            return true;
    return false;
}

}

int main(int argc, char** argv)
{
    PeerOptions peer;
    std::vector<std::string> keys;
    std::string level = "STUDY";
    bool patientRoot = false;
    bool worklist = false;
    bool combinedDateTime = false;
    CommandLine cl("b3-find", "HOST[:PORT]",
                   "Queries a C-FIND SCP and prints each match as a tree. Keys are given as -k TAG=VALUE\n"
                   "(matching) or -k TAG (return the attribute), with TAG as gggg,eeee or a dictionary name:\n"
                   "  b3-find -aec ARCHIVE pacs:104 -k patientName=DOE* -k studyDate -k studyInstanceUid");
    addPeerOptions(cl, peer);
    cl.list("-k", "--key", "TAG[=VALUE]", "a key of the identifier (repeatable)", keys);
    cl.text("-L", "--level", "LEVEL", "query/retrieve level: PATIENT, STUDY, SERIES or IMAGE (default STUDY)", level);
    cl.flag("-P", "--patient-root", "use the patient root model (default: study root)", patientRoot);
    cl.flag("-W", "--worklist", "query the modality worklist (no level is sent)", worklist);
    cl.flag(nullptr, "--combined-datetime",
            "ask to match a date key and its time key as one date-time (-v: say if agreed)",
            combinedDateTime);
    cl.note("Exit status: 0 when the query completed (with or without matches), 1 on failure.");
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;
    if (!takeHost(cl.program(), cl.operands()[0], peer))
        return EXIT_USAGE;
    if (level != "PATIENT" && level != "STUDY" && level != "SERIES" && level != "IMAGE") {
        fail(cl.program(), "unknown level '%s'", level.c_str());
        return EXIT_USAGE;
    }
    DICT_UID model = worklist ? UID_MODALITY_WORKLIST_FIND : patientRoot ? UID_PAT_ROOT_Q_R_FIND : UID_STUDY_ROOT_Q_R_FIND;

    DcCmdCFindRq* rq = new DcCmdCFindRq;
    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    rq->add(new DcElem(T_0000_0002_affectedSopClassUid, model));
    rq->add(new DcElem(T_0000_0110_messageId, messageId));
    rq->add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
    if (!worklist)
        rq->add(new DcElem(T_0008_0052_queryRetrieveLevel, level.c_str()));
    for (const std::string& key : keys) {
        DcElem* elem = keyElement(cl.program(), key);
        if (elem == nullptr) {
            delete rq;
            return EXIT_USAGE;
        }
        rq->add(elem);
    }

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    DICT_UID sops[] = {model, UID_NONE};
    info.sopList = sops;
    char modelUid[MSM_UID_LEN + 1] = "";
    Dict.getUid(model, modelUid);
    DcPduExtNeg extNeg[2];
    if (combinedDateTime) {
        snprintf(extNeg[0].sopClassUid, sizeof extNeg[0].sopClassUid, "%s", modelUid);
        extNeg[0].infoLen = COMBINED_DATE_TIME_BYTE + 1;
        extNeg[0].info[COMBINED_DATE_TIME_BYTE] = 1;
        info.extNegList = extNeg;
    }
    if (!connectToPeer(cl.program(), msm, peer, info)) {
        delete rq;
        return EXIT_FAILED;
    }
    if (combinedDateTime && cl.verbose())
        fprintf(stderr, "%s: combined date-time matching %s by the peer\n", cl.program(),
                combinedDateTimeAgreed(msm, modelUid) ? "accepted" : "not accepted");
    status = msm.write(model, rq);
    delete rq;
    if (status != 0) {
        fail(cl.program(), "sending C-FIND failed (status 0x%04x)", status);
        msm.abortAssociation();
        return EXIT_FAILED;
    }

    DataSetPrinter printer(stdout);
    int matches = 0;
    int final = -1;
    while (final < 0) {
        DcMsg* msg = nullptr;
        status = readMessage(msm, &msg);
        MSG_TYPE type = MSG_NONE;
        if (status != MSM_READ_MESSAGE || msg == nullptr || msg->getType(type) != 0) {
            fail(cl.program(), "query ended early: %s", outcomeText(status).c_str());
            delete msg;
            msm.abortAssociation();
            return EXIT_FAILED;
        }
        if (type == MSG_C_FIND_RSP) {
            int answer = responseStatus(*msg);
            if (!isPending(answer))
                final = answer;
        } else if (type == MSG_IOD) {
            matches++;
            printf("%s# match %d\n", matches > 1 ? "\n" : "", matches);
            printer.print(*msg->getElemList());
        }
        delete msg;
    }
    release(msm);
    if (final != 0) {
        fail(cl.program(), "query failed with status 0x%04x after %d match%s", final, matches,
             matches == 1 ? "" : "es");
        return EXIT_FAILED;
    }
    printf("%s%d match%s\n", matches > 0 ? "\n" : "", matches, matches == 1 ? "" : "es");
    return EXIT_OK;
}
