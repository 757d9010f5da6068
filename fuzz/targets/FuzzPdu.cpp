// One PDU as it arrives on a connection, read by the class its type byte
// names (an unknown type goes to one of them all the same); what was read is
// sent back through the same class.
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "FuzzSupport.h"
#include "FuzzTargets.h"
#include "network/DcPduAbort.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduAssoRj.h"
#include "network/DcPduDataTf.h"
#include "network/DcPduRelease.h"

namespace {

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                             UID_JPEG_BASELINE};

// The connection: the library reads from lib what was written into peer.
struct Connection {
    int lib = -1;
    int peer = -1;
    Connection(const uint8_t* data, size_t size)
    {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
            return;
        lib = fds[0], peer = fds[1];
        fcntl(peer, F_SETFL, fcntl(peer, F_GETFL) | O_NONBLOCK);
        int room = static_cast<int>(size) + 4096;
        setsockopt(peer, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
        setsockopt(lib, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        // Whatever does not fit is cut off, as a peer closing early would.
        for (size_t done = 0; done < size;) {
            ssize_t n = send(peer, data + done, size - done, MSG_NOSIGNAL);
            if (n <= 0)
                break;
            done += static_cast<size_t>(n);
        }
        shutdown(peer, SHUT_WR);
    }
    ~Connection()
    {
        if (lib >= 0)
            close(lib);
        if (peer >= 0)
            close(peer);
    }
};

// Limits for a PDU on the fuzzing connection: waits end at once, since the
// peer has closed its side after the input.
DcPduInfo limits()
{
    DcPduInfo info;
    info.readTimeout = 1;
    info.writeTimeout = 1;
    return info;
}

void readAssociation(int sock, PDU_TYPE type)
{
    DcPduAssoAcRq pdu(sock, type);
    DcPduInfo info = limits();
    pdu.setInfo(info);
    PDU_TYPE read;
    if (pdu.readType(read, PDU_WAIT) != 0 || pdu.read(PDU_WAIT) != 0)
        return;
    DcPduInfoAcRq acRq;
    if (pdu.getInfo(acRq) != 0)
        return;
    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX] = {};
    pdu.getPresCtxItems(items);
    DICT_UID sopClasses[PDU_PRES_CTX_MAX] = {};
    unsigned int roles[PDU_PRES_CTX_MAX] = {};
    pdu.getScpScuRoles(sopClasses, roles);

    DcPduAssoAcRq back(sock, type);
    back.setInfo(info);
    back.setInfo(acRq);
    for (DcPduPresCtxItem* item : items) {
        if (item != nullptr)
            back.presCtxItemAdd(*item);
        delete item;
    }
    back.write();
}

void readReject(int sock)
{
    DcPduAssoRj pdu(sock);
    DcPduInfo info = limits();
    pdu.setInfo(info);
    PDU_TYPE read;
    if (pdu.readType(read, PDU_WAIT) != 0 || pdu.read(PDU_WAIT) != 0 || pdu.getInfo() == nullptr)
        return;
    DcPduInfoRj rj = *pdu.getInfo();
    DcPduAssoRj back(sock);
    back.setInfo(info);
    back.setInfo(&rj);
    back.write();
}

void readAbort(int sock)
{
    DcPduAbort pdu(sock);
    DcPduInfo info = limits();
    pdu.setInfo(info);
    PDU_TYPE read;
    if (pdu.readType(read, PDU_WAIT) != 0 || pdu.read(PDU_WAIT) != 0 || pdu.getInfo() == nullptr)
        return;
    DcPduInfoAbort abort = *pdu.getInfo();
    DcPduAbort back(sock);
    back.setInfo(info);
    back.setInfo(&abort);
    back.write();
}

void readRelease(int sock, PDU_TYPE type)
{
    DcPduReleaseRpRq pdu(sock, type);
    DcPduInfo info = limits();
    pdu.setInfo(info);
    PDU_TYPE read;
    if (pdu.readType(read, PDU_WAIT) == 0 && pdu.read(PDU_WAIT) == 0)
        pdu.write();
}

// The reserved byte of the header picks the syntax the data set is parsed in.
void readDataTf(int sock, DICT_UID syntax)
{
    DcPduDataTf pdu(sock);
    DcPduInfo info = limits();
    pdu.setInfo(info);
    PDU_TYPE read;
    if (pdu.readType(read, PDU_WAIT) != 0 || pdu.read(-1, PDU_WAIT) != 0)
        return;
    unsigned int size = 0;
    pdu.getBufSize(size);
    pdu.parse(syntax);
    pdu.printNodeList(fuzzNullStream(), PRINT_NODE_TREE);
}

// The PDU class is picked by the type byte; an unknown type goes to one of
// them all the same.
void readOne(const uint8_t* data, size_t size)
{
    Connection conn(data, size);
    if (conn.lib < 0)
        return;
    int type = data[0] >= PDU_ASSO_RQ && data[0] <= PDU_ABORT ? data[0] : data[0] % PDU_ABORT + 1;
    switch (type) {
    case PDU_ASSO_RQ:
    case PDU_ASSO_AC:
        readAssociation(conn.lib, static_cast<PDU_TYPE>(type));
        break;
    case PDU_ASSO_RJ:
        readReject(conn.lib);
        break;
    case PDU_DATA_TF:
        readDataTf(conn.lib, syntaxes[data[1] & 3]);
        break;
    case PDU_RELEASE_RQ:
    case PDU_RELEASE_RP:
        readRelease(conn.lib, static_cast<PDU_TYPE>(type));
        break;
    default:
        readAbort(conn.lib);
        break;
    }
}

}

int fuzzPdu(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 2)
        return 0;
    int openBefore = fuzzOpenDescriptors();
    readOne(data, size);
    FUZZ_CHECK(fuzzOpenDescriptors() == openBefore, "a descriptor was left open");
    return 0;
}
