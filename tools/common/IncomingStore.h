#ifndef BRENIK3_TOOLS_INCOMINGSTORE_H
#define BRENIK3_TOOLS_INCOMINGSTORE_H

#include <string>

#include <Brenik3.h>

#include "common/ReceivedFile.h"

namespace b3tool {

// Status (0000,0900) values of the C-STORE response.
enum : unsigned short {
    STORE_SUCCESS = 0x0000,
    STORE_OUT_OF_RESOURCES = 0xA700,
    STORE_CANNOT_UNDERSTAND = 0xC000
};

// The objects of the C-STORE requests of one association, each written as
// FOLDER/<study instance UID>/<SOP instance UID>.dcm: the file meta header,
// then the data set exactly as it arrived, written once on its way from the
// network to disk, under a temporary name until complete. Register sink()
// with the association before it is accepted.
class IncomingStore {
public:
    // durable: each file and its folder are flushed to disk before the file
    // counts as stored.
    explicit IncomingStore(const std::string& folder, bool durable = false) : file(folder, durable) {}
    ~IncomingStore();
    IncomingStore(const IncomingStore&) = delete;
    IncomingStore& operator=(const IncomingStore&) = delete;

    // The data set sink for DcMsm::setDataSetSink.
    DcMsmRawStore& sink() { return raw; }
    // A C-STORE request has been read (ownership passes here): its file is
    // opened with the meta header written, and the sink armed for its data set.
    void request(DcMsm& msm, DcCmdCStoreRq* rq);
    // Whether a request waits for its data set.
    bool waiting() const { return pending != nullptr; }
    // The data set of the waiting request has been read: its file is put in
    // place. STORE_SUCCESS with where the file's path, or a failure status
    // with where "<file or SOP instance UID>: <reason>". Any partial file
    // is removed.
    unsigned short finish(std::string& where);
    // Sends the response to the waiting request and forgets the request.
    void answer(DcMsm& msm, unsigned short status);
    // The waiting request's SOP class UID.
    std::string sopClassUid() const;
    // Bytes of the last data set received.
    unsigned long long length() const { return static_cast<unsigned long long>(raw.length()); }

private:
    DcMsmRawStore raw;
    ReceivedFile file;
    DcCmdCStoreRq* pending = nullptr;
    std::string pendingProblem;
    int nowhere = -1;  // /dev/null, for data sets that have no file to go to
};

// A text element of a command, empty when absent.
std::string commandText(DcMsg& msg, int tag);

}

#endif
