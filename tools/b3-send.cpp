// b3-send: a storage SCU. Sends DICOM files and folders (recursively) to a
// peer in one association, with the pixel data streamed from the files.
#include <algorithm>
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

bool isUncompressedLittle(DICT_UID xfer)
{
    return xfer == UID_LITTLE_ENDIAN_IMPLICIT || xfer == UID_LITTLE_ENDIAN_EXPLICIT;
}

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
    DcDirMetaInfo meta;
    unsigned int dataOffset = 0;
    int status = dirReadFileMetaInfo(path.c_str(), meta, dataOffset);
    if (status == DIR_ERR_NO_META) {
        if (named)
            failure(path, "not a DICOM Part 10 file (no file meta information)");
        else
            printf("skipped %s: not a DICOM Part 10 file\n", path.c_str());
        return;
    }
    if (status != 0) {
        failure(path, "unreadable file meta information (status " + hexStatus(status) + ")");
        return;
    }
    if (meta.sopClassUid == UID_MEDIA_STORAGE_DIR_STORAGE) {
        printf("skipped %s: a DICOMDIR is not sent\n", path.c_str());
        return;
    }
    if (meta.sopClassUid == UID_NONE || meta.xferSyn == UID_NONE) {
        failure(path, "SOP class or transfer syntax not known to the dictionary");
        return;
    }
    files.push_back({path, meta.sopClassUid, meta.xferSyn, size});
}

// The presentation context for a file: its own transfer syntax, or the other
// little-endian uncompressed one, which the library converts to.
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
        if (convertible == 0 && isUncompressedLittle(asso.xferSyn[i]) && isUncompressedLittle(file.xfer))
            convertible = asso.presCtxId[i];
    }
    if (convertible != 0)
        return convertible;
    problem = classKnown ? "the peer does not accept " + uidDescription(file.xfer) + " for " +
                                  uidDescription(file.sopClass)
                            : "the peer does not accept " + uidDescription(file.sopClass);
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
        failure(file.path, "sending failed (status " + hexStatus(status) + "); association given up");
        return false;
    }
    DcMsg* rsp = nullptr;
    status = readMessage(msm, &rsp);
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
    // One presentation context per SOP class and transfer syntax found; a
    // little-endian file also offers the other little-endian syntax.
    std::vector<DcMsmSopXferSyn> contexts;
    std::map<std::pair<int, int>, bool> proposed;
    for (const FileToSend& file : files) {
        if (proposed.count({file.sopClass, file.xfer}) || contexts.size() >= MSM_PRES_CTX_MAX)
            continue;
        proposed[{file.sopClass, file.xfer}] = true;
        DICT_UID syntaxes[3] = {file.xfer, UID_NONE, UID_NONE};
        if (isUncompressedLittle(file.xfer))
            syntaxes[1] = file.xfer == UID_LITTLE_ENDIAN_IMPLICIT ? UID_LITTLE_ENDIAN_EXPLICIT
                                                                 : UID_LITTLE_ENDIAN_IMPLICIT;
        contexts.emplace_back(file.sopClass, syntaxes, MSM_ROLE_NONE);
    }
    contexts.emplace_back();

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    snprintf(info.calledAeTitle, sizeof info.calledAeTitle, "%s", peer.calledAet.c_str());
    info.sopXferList = contexts.data();
    info.timeouts.readTimeout = static_cast<unsigned int>(peer.timeout);
    int status = msm.connect(peer.host.c_str(), info);
    if (status != MSM_READ_ACCEPTED) {
        fail(program, "no association with %s at %s:%ld: %s", peer.calledAet.c_str(), peer.host.c_str(), peer.port,
             outcomeText(status).c_str());
        msm.closeAssociation();
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
