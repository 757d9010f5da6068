// b3-send: a storage SCU. Sends DICOM files and folders (recursively) to a
// peer in one association. A file goes out as its data set bytes lie on
// disk, streamed, when the peer accepts its own transfer syntax; otherwise
// it is rewritten into another uncompressed syntax that the peer accepts.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <Brenik3.h>

#include "common/Association.h"
#include "common/CommandLine.h"
#include "common/CurrentUids.h"
#include "common/Tags.h"

using namespace b3tool;
namespace fs = std::filesystem;

namespace {

struct FileToSend {
    std::string path;
    DICT_UID sopClass;
    DICT_UID xfer;
    unsigned long long size;
};

// The Status (0000,0900) values that count as stored, with a warning.
bool isWarning(int status)
{
    return status == 0x0001 || (status & 0xF000) == 0xB000;
}

const char* const DICOMDIR_SOP_CLASS = "1.2.840.10008.1.3.10";

class Sender {
public:
    explicit Sender(const char* programName) : program(programName), progress(isatty(STDOUT_FILENO) != 0) {}

    void collect(const std::string& operand);
    bool send(const PeerOptions& peer);
    int failures() const { return failed; }
    size_t fileCount() const { return files.size(); }

private:
    const char* program;
    bool progress;
    std::vector<FileToSend> files;
    int failed = 0;
    int sent = 0;
    unsigned long long bytesSent = 0;
    std::chrono::steady_clock::time_point start;
    bool progressShown = false;

    void consider(const std::string& path, bool named);
    void failure(const std::string& path, const std::string& reason);
    bool sendFile(DcMsm& msm, const DcMsmAssoInfo& asso, const FileToSend& file);
    bool sendAsItIs(DcMsm& msm, unsigned char context, const FileToSend& file);
    bool response(DcMsm& msm, const FileToSend& file);
    int contextFor(const DcMsmAssoInfo& asso, const FileToSend& file, std::string& problem);
    void showProgress();
    void clearProgress();
};

void Sender::failure(const std::string& path, const std::string& reason)
{
    clearProgress();
    fprintf(stderr, "%s: FAILED %s: %s\n", program, path.c_str(), reason.c_str());
    failed++;
}

void Sender::collect(const std::string& operand)
{
    std::error_code ec;
    if (!fs::is_directory(operand, ec)) {
        consider(operand, true);
        return;
    }
    std::vector<std::string> found;
    for (auto it = fs::recursive_directory_iterator(operand, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (it->is_regular_file(ec))
            found.push_back(it->path().string());
    }
    if (ec)
        failure(operand, ec.message());
    std::sort(found.begin(), found.end());
    for (const std::string& path : found)
        consider(path, false);
}

void Sender::consider(const std::string& path, bool named)
{
    std::error_code ec;
    unsigned long long size = fs::file_size(path, ec);
    if (ec) {
        failure(path, ec.message());
        return;
    }
    DcMsmRawFile raw;
    if (raw.open(path.c_str()) != 0) {
        if (named)
            failure(path, "not a DICOM Part 10 file (no file meta information, or a malformed one)");
        else
            printf("skipped %s: not a DICOM Part 10 file\n", path.c_str());
        return;
    }
    if (raw.sopClassUid == DICOMDIR_SOP_CLASS) {
        printf("skipped %s: a DICOMDIR is not sent\n", path.c_str());
        return;
    }
    DcDirMetaInfo meta;
    meta.sopClassUid = dictUid(raw.sopClassUid, UID_SOP_CLASS);
    meta.xferSyn = dictUid(raw.xferSynUid, UID_TRANSFER_SYNTAX);
    if (meta.sopClassUid == UID_NONE || meta.xferSyn == UID_NONE) {
        failure(path, "SOP class " + raw.sopClassUid + " or transfer syntax " + raw.xferSynUid +
                          " is no UID, or too many different ones to propose");
        return;
    }
    files.push_back({path, meta.sopClassUid, meta.xferSyn, size});
}

// The presentation context for a file: its own transfer syntax, or another
// uncompressed one, which the library converts to.
int Sender::contextFor(const DcMsmAssoInfo& asso, const FileToSend& file, std::string& problem)
{
    int convertible = 0;
    bool classKnown = false;  // accepted in some syntax, or refused for the syntax only
    for (int i = 0; i < MSM_PRES_CTX_MAX; i++) {
        if (asso.presCtxId[i] == 0 || asso.sopClass[i] != file.sopClass)
            continue;
        classKnown |= asso.result[i] == PRES_CTX_ACCEPTANCE || asso.result[i] == PRES_CTX_XFER_SYNTAXES_NOT_SUPPORTED;
        if (asso.xferSyn[i] == UID_NONE)
            continue;
        if (asso.xferSyn[i] == file.xfer)
            return asso.presCtxId[i];
        if (convertible == 0 && isUncompressed(asso.xferSyn[i]) && isUncompressed(file.xfer))
            convertible = asso.presCtxId[i];
    }
    if (convertible != 0)
        return convertible;
    problem = classKnown ? "the peer does not accept " + describeUid(uidText(file.xfer)) + " for " +
                                  describeUid(uidText(file.sopClass))
                            : "the peer does not accept " + describeUid(uidText(file.sopClass));
    return 0;
}

bool Sender::sendFile(DcMsm& msm, const DcMsmAssoInfo& asso, const FileToSend& file)
{
    std::string problem;
    int context = contextFor(asso, file, problem);
    if (context == 0) {
        failure(file.path, problem);
        return true;
    }
    for (int i = 0; i < MSM_PRES_CTX_MAX; i++) {
        if (asso.presCtxId[i] == context && asso.xferSyn[i] == file.xfer)
            return sendAsItIs(msm, static_cast<unsigned char>(context), file);
    }
    DcDirMetaInfo meta;
    DcElemList* list = new DcElemList;
    int status = dirReadFileHeader(file.path.c_str(), meta, *list);
    if (status != 0) {
        delete list;
        failure(file.path, "cannot read the file (status " + hexStatus(status) + ")");
        return true;
    }
    char instance[DICT_UID_MAX + 1] = "";
    if (list->getValue(T_0008_0018_sopInstanceUid, instance, DICT_UID_MAX, ELEM_VAL_INDEX_KEEP) != 0)
        snprintf(instance, sizeof instance, "%s", meta.sopInstanceUid);

    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    DcCmdCStoreRq* rq = new DcCmdCStoreRq;
    rq->add(new DcElem(T_0000_0002_affectedSopClassUid, file.sopClass));
    rq->add(new DcElem(T_0000_0110_messageId, messageId));
    rq->add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
    rq->add(new DcElem(T_0000_1000_affectedSopInstanceUid, instance));
    rq->add(list);
    status = msm.write(static_cast<unsigned char>(context), rq);
    delete rq;
    if (status != 0) {
        failure(file.path, "connection lost while sending (status " + hexStatus(status) + "); association given up");
        return false;
    }
    return response(msm, file);
}

// The file's data set bytes as they lie, streamed from disk.
bool Sender::sendAsItIs(DcMsm& msm, unsigned char context, const FileToSend& file)
{
    DcMsmRawFile raw;
    int status = raw.open(file.path.c_str());
    if (status != 0) {
        failure(file.path, "cannot read the file (status " + hexStatus(status) + ")");
        return true;
    }
    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    status = msmRawStoreRq(msm, context, raw, messageId, 0);
    if (status != 0) {
        failure(file.path, (status == MSM_ERR_RAW_READ ? "cannot read the file" : "connection lost while sending") +
                               std::string(" (status ") + hexStatus(status) + "); association given up");
        return status == MSM_ERR_RAW_READ;
    }
    return response(msm, file);
}

// Reads the C-STORE response for the file just sent.
bool Sender::response(DcMsm& msm, const FileToSend& file)
{
    DcMsg* rsp = nullptr;
    int status = readMessage(msm, &rsp);
    MSG_TYPE type = MSG_NONE;
    if (status != MSM_READ_MESSAGE || rsp == nullptr || rsp->getType(type) != 0 || type != MSG_C_STORE_RSP) {
        delete rsp;
        failure(file.path, "no C-STORE response: " + outcomeText(status));
        return status == MSM_READ_MESSAGE;
    }
    int answer = responseStatus(*rsp);
    delete rsp;
    std::string hex = answer < 0 ? "missing" : hexStatus(answer);
    if (answer != 0 && !isWarning(answer)) {
        failure(file.path, "refused by the peer, status " + hex);
        return true;
    }
    if (answer != 0) {
        clearProgress();
        printf("warning %s: stored with status %s\n", file.path.c_str(), hex.c_str());
    }
    sent++;
    bytesSent += file.size;
    showProgress();
    return true;
}

void Sender::showProgress()
{
    if (!progress)
        return;
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double mb = bytesSent / 1e6;
    printf("\r%d/%zu files, %.1f MB, %.1f MB/s ", sent, files.size(), mb, seconds > 0 ? mb / seconds : 0.0);
    fflush(stdout);
    progressShown = true;
}

void Sender::clearProgress()
{
    if (progressShown) {
        printf("\r%*s\r", 60, "");
        fflush(stdout);
        progressShown = false;
    }
}

bool Sender::send(const PeerOptions& peer)
{
    // One presentation context per SOP class and transfer syntax found, for
    // sending files as they are; and per SOP class with uncompressed files
    // one offering the three uncompressed syntaxes, for a peer that takes
    // none of the files' own.
    std::vector<DcMsmSopXferSyn> contexts;
    std::map<std::pair<int, int>, bool> proposed;
    std::map<int, bool> fallback;
    for (const FileToSend& file : files) {
        if (!proposed.count({file.sopClass, file.xfer}) && contexts.size() < MSM_PRES_CTX_MAX) {
            proposed[{file.sopClass, file.xfer}] = true;
            DICT_UID own[2] = {file.xfer, UID_NONE};
            contexts.emplace_back(file.sopClass, own, MSM_ROLE_NONE);
        }
        if (isUncompressed(file.xfer) && !fallback.count(file.sopClass) && contexts.size() < MSM_PRES_CTX_MAX) {
            fallback[file.sopClass] = true;
            DICT_UID uncompressed[4] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                                        UID_NONE};
            contexts.emplace_back(file.sopClass, uncompressed, MSM_ROLE_NONE);
        }
    }
    contexts.emplace_back();

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    info.sopXferList = contexts.data();
    if (!connectToPeer(program, msm, peer, info)) {
        failed += static_cast<int>(files.size());
        return false;
    }
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    start = std::chrono::steady_clock::now();
    size_t i = 0;
    for (; i < files.size(); i++) {
        if (!sendFile(msm, asso, files[i]))
            break;
    }
    for (size_t rest = i + 1; rest < files.size(); rest++)
        failure(files[rest].path, "not sent, the association had ended");
    if (i == files.size())
        release(msm);
    else
        msm.abortAssociation();
    clearProgress();
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    printf("sent %d of %zu file%s (%.1f MB) to %s at %s:%ld in %.2f s (%.1f MB/s); %d failed\n", sent, files.size(),
           files.size() == 1 ? "" : "s", bytesSent / 1e6, peer.calledAet.c_str(), peer.host.c_str(), peer.port,
           seconds, seconds > 0 ? bytesSent / 1e6 / seconds : 0.0, failed);
    return true;
}

}

int main(int argc, char** argv)
{
    PeerOptions peer;
    CommandLine cl("b3-send", "HOST[:PORT] FILE|FOLDER...",
                   "Sends DICOM Part 10 files to a storage SCP (C-STORE) in one association. Folders are\n"
                   "searched recursively. Each SOP class found is proposed with the transfer syntaxes of its\n"
                   "files; pixel data is streamed from the files. On a terminal a progress line shows files,\n"
                   "bytes and rate; each failure is reported on its own line, and a summary ends the run.");
    addPeerOptions(cl, peer);
    cl.note("Exit status: 0 when every file was stored, 1 when any failed, 2 on a bad command line.");
    int status = cl.parse(argc, argv, 2, -1);
    if (status >= 0)
        return status;
    if (!takeHost(cl.program(), cl.operands()[0], peer))
        return EXIT_USAGE;

    Sender sender(cl.program());
    for (size_t i = 1; i < cl.operands().size(); i++)
        sender.collect(cl.operands()[i]);
    if (sender.fileCount() == 0) {
        fail(cl.program(), "no DICOM files to send");
        return EXIT_FAILED;
    }
    sender.send(peer);
    return sender.failures() == 0 ? EXIT_OK : EXIT_FAILED;
}
