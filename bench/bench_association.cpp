// C-STORE throughput over loopback: one 256 Mbyte object and 1,000 objects
// of 512 Kbyte in one association, at several maximum PDU lengths, for the
// four pairings of this library and dcmtk (storescu, storescp -ig). Every
// pairing other than dcmtk to dcmtk also reports its ratio to dcmtk to dcmtk,
// measured in the same run. dcmtk accepts at most 131072 as maximum PDU
// length, so its pairings use that where the library uses 1 Mbyte.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/DcLog.h"
#include "message/DcCmdCStore.h"
#include "message/DcIod.h"
#include "service/DcMsm.h"
#include "tests/network/NetTestUtil.h"

namespace {

enum Pairing { LIB_TO_LIB, STORESCU_TO_LIB, LIB_TO_STORESCP, DCMTK_TO_DCMTK };
enum Workload { ONE_LARGE, MANY_SMALL };

const unsigned int LARGE_BYTES = 256u << 20;
const unsigned int SMALL_BYTES = 512u << 10;
const int SMALL_COUNT = 1000;
const unsigned int DCMTK_MAX_PDU = 131072;

bool have(const char* tool)
{
    return system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0;
}

int freePort()
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(sock, reinterpret_cast<sockaddr*>(&addr), &len);
    close(sock);
    return ntohs(addr.sin_port);
}

bool listening(int port)
{
    for (int i = 0; i < 200; i++) {
        int sock = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bool ok = connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        close(sock);
        if (ok)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

void put16(std::string& out, unsigned int v)
{
    out += static_cast<char>(v);
    out += static_cast<char>(v >> 8);
}

void put32(std::string& out, unsigned int v)
{
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

void implicitElement(std::string& out, unsigned int group, unsigned int element, std::string value, char pad)
{
    if (value.size() % 2)
        value += pad;
    put16(out, group);
    put16(out, element);
    put32(out, static_cast<unsigned int>(value.size()));
    out += value;
}

void metaElement(std::string& out, unsigned int element, std::string value)
{
    if (value.size() % 2)
        value += '\0';
    put16(out, 2);
    put16(out, element);
    out += "UI";
    put16(out, static_cast<unsigned int>(value.size()));
    out += value;
}

const char* const CT = "1.2.840.10008.5.1.4.1.1.2";

// A CT image file in Implicit VR Little Endian whose pixel data ends the file.
struct ObjectFile {
    std::string path;
    unsigned int pixelOffset = 0;
    unsigned int pixelBytes = 0;

    ObjectFile(const std::string& dir, unsigned int bytes) : pixelBytes(bytes)
    {
        path = dir + "/object" + std::to_string(bytes) + ".dcm";
        std::string meta;
        put16(meta, 2);
        put16(meta, 1);
        meta += "OB";
        put16(meta, 0);
        put32(meta, 2);
        meta += std::string("\0\1", 2);
        metaElement(meta, 2, CT);
        metaElement(meta, 3, "1.2.3.4.5");
        metaElement(meta, 0x10, "1.2.840.10008.1.2");
        std::string file(128, '\0');
        file += "DICM";
        put16(file, 2);
        put16(file, 0);
        file += "UL";
        put16(file, 4);
        put32(file, static_cast<unsigned int>(meta.size()));
        file += meta;
        implicitElement(file, 0x0008, 0x0016, CT, '\0');
        implicitElement(file, 0x0008, 0x0018, "1.2.3.4.5", '\0');
        implicitElement(file, 0x0010, 0x0010, "Bench^Mark", ' ');
        put16(file, 0x7FE0);
        put16(file, 0x0010);
        put32(file, bytes);
        pixelOffset = static_cast<unsigned int>(file.size());
        std::vector<char> pixels(bytes);
        for (unsigned int i = 0; i < bytes; i++)
            pixels[i] = static_cast<char>(i * 7);
        std::ofstream out(path, std::ios::binary);
        out.write(file.data(), static_cast<std::streamsize>(file.size()));
        out.write(pixels.data(), static_cast<std::streamsize>(pixels.size()));
    }
};

// The two objects, written once per run into a temporary directory.
struct Objects {
    std::string dir;
    std::unique_ptr<ObjectFile> large;
    std::unique_ptr<ObjectFile> small;

    Objects()
    {
        char pattern[] = "/tmp/brenik3-bench-XXXXXX";
        dir = mkdtemp(pattern);
        large.reset(new ObjectFile(dir, LARGE_BYTES));
        small.reset(new ObjectFile(dir, SMALL_BYTES));
    }
    ~Objects() { system(("rm -rf " + dir).c_str()); }
    ObjectFile& of(Workload workload) { return workload == ONE_LARGE ? *large : *small; }
};

Objects& objects()
{
    static Objects made;
    return made;
}

int countOf(Workload workload)
{
    return workload == ONE_LARGE ? 1 : SMALL_COUNT;
}

DcMsmSopXferSyn* storageTable()
{
    static DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_NONE};
    static DcMsmSopXferSyn table[] = {DcMsmSopXferSyn(UID_CT_IMAGE_STORAGE, syntaxes, MSM_ROLE_NONE),
                                      DcMsmSopXferSyn()};
    return table;
}

// Sends the pixel data of every received data set to /dev/null, as
// storescp --ignore receives without storing.
int discardPixels(void*, DcElemList&, int& pixelDataHandle, DICT_UID)
{
    if (pixelDataHandle == -1)
        pixelDataHandle = open("/dev/null", O_WRONLY);
    return 0;
}

// An SCP of this library on its own thread for one association; received
// data sets are answered and dropped.
class LibraryScp {
public:
    LibraryScp(int listenPort, unsigned int maxPdu) : scp("STORESCP", MSM_ROLE_SCP, listenPort)
    {
        scp.registerPixRecvCB(nullptr, discardPixels);
        info.sopXferList = storageTable();
        info.maxPduLen = maxPdu;
        worker = std::thread([this] { run(); });
    }
    ~LibraryScp() { worker.join(); }

    std::atomic<int> stored{0};

private:
    void run()
    {
        if (scp.connect(info) != 0)
            return;
        std::unique_ptr<DcCmdCStoreRsp> pending;
        for (;;) {
            DICT_UID sop = UID_NONE;
            DcMsg* msg = nullptr;
            int outcome = scp.read(&sop, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
            if (outcome != MSM_READ_MESSAGE) {
                if (outcome == MSM_READ_ASSO_RQ)
                    continue;
                break;
            }
            MSG_TYPE type = MSG_NONE;
            msg->getType(type);
            if (type == MSG_C_STORE_RQ) {
                pending.reset(new DcCmdCStoreRsp());
                pending->parseRequest(static_cast<DcCmd*>(msg));
            } else if (pending) {
                pending->add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0)));
                scp.write(sop, pending.get());
                pending.reset();
                stored++;
            }
            delete msg;
        }
        scp.closeAssociation();
    }

    DcMsm scp;
    DcMsmScpInfo info;
    std::thread worker;
};

// Sends the workload from this library's SCU, pixel data streamed from the file.
bool librarySend(int port, unsigned int maxPdu, Workload workload)
{
    DcMsm scu("STORESCU", MSM_ROLE_SCU, port);
    DcMsmScuInfo info;
    strcpy(info.calledAeTitle, "STORESCP");
    info.sopXferList = storageTable();
    info.maxPduLen = maxPdu;
    if (scu.connect("127.0.0.1", info) != MSM_READ_ACCEPTED)
        return false;
    ObjectFile& object = objects().of(workload);
    int fd = open(object.path.c_str(), O_RDONLY);
    bool ok = fd >= 0;
    for (int i = 0; ok && i < countOf(workload); i++) {
        DcCmdCStoreRq rq;
        rq.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
        rq.add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
        rq.add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "1.2.3.4.5"));
        rq.add(new DcElem(static_cast<int>(T_0008_0016_sopClassUid), UID_CT_IMAGE_STORAGE));
        rq.add(new DcElem(static_cast<int>(T_0008_0018_sopInstanceUid), "1.2.3.4.5"));
        rq.add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Bench^Mark"));
        rq.add(new DcElem(static_cast<int>(T_7fe0_0010_pixelData), fd, static_cast<int>(object.pixelOffset),
                          object.pixelBytes, UID_LITTLE_ENDIAN_IMPLICIT));
        ok = scu.write(UID_CT_IMAGE_STORAGE, &rq) == 0;
        DcMsg* rsp = nullptr;
        ok = ok && scu.read(nullptr, &rsp, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING) == MSM_READ_MESSAGE;
        delete rsp;
    }
    if (fd >= 0)
        close(fd);
    scu.releaseAssociation();
    scu.read(nullptr, nullptr, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
    return ok;
}

std::vector<std::string> storescuArgs(int port, unsigned int maxPdu, Workload workload)
{
    std::vector<std::string> args = {"storescu", "-aet", "STORESCU", "-aec", "STORESCP", "-xi", "-pdu",
                                     std::to_string(maxPdu), "-to", "120", "127.0.0.1", std::to_string(port)};
    for (int i = 0; i < countOf(workload); i++)
        args.push_back(objects().of(workload).path);
    return args;
}

PeerProcess* startStorescp(int port, unsigned int maxPdu)
{
    PeerProcess* storescp = new PeerProcess({"storescp", "-aet", "STORESCP", "--ignore", "+xi", "-pdu",
                                             std::to_string(maxPdu), std::to_string(port)});
    if (!listening(port)) {
        delete storescp;
        return nullptr;
    }
    return storescp;
}

// Seconds for one transfer of the workload in the pairing; negative on failure.
double transfer(Pairing pairing, unsigned int maxPdu, Workload workload)
{
    unsigned int dcmtkPdu = maxPdu > DCMTK_MAX_PDU ? DCMTK_MAX_PDU : maxPdu;
    int port = freePort();
    auto start = std::chrono::steady_clock::now();
    bool ok = false;
    switch (pairing) {
    case LIB_TO_LIB: {
        LibraryScp scp(port, maxPdu);
        ok = librarySend(port, maxPdu, workload);
        break;
    }
    case STORESCU_TO_LIB: {
        LibraryScp scp(port, maxPdu);
        PeerProcess storescu(storescuArgs(port, dcmtkPdu, workload));
        ok = storescu.waitExit(600) == 0;
        break;
    }
    case LIB_TO_STORESCP: {
        std::unique_ptr<PeerProcess> storescp(startStorescp(port, dcmtkPdu));
        start = std::chrono::steady_clock::now();
        ok = storescp && librarySend(port, dcmtkPdu, workload);
        break;
    }
    case DCMTK_TO_DCMTK: {
        std::unique_ptr<PeerProcess> storescp(startStorescp(port, dcmtkPdu));
        start = std::chrono::steady_clock::now();
        PeerProcess storescu(storescuArgs(port, dcmtkPdu, workload));
        ok = storescp && storescu.waitExit(600) == 0;
        break;
    }
    }
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    return ok ? took.count() : -1;
}

// dcmtk to dcmtk, measured once per workload and PDU length in this run.
double reference(unsigned int maxPdu, Workload workload)
{
    static std::map<std::pair<unsigned int, int>, double> measured;
    auto key = std::make_pair(maxPdu, static_cast<int>(workload));
    if (measured.find(key) == measured.end())
        measured[key] = transfer(DCMTK_TO_DCMTK, maxPdu, workload);
    return measured[key];
}

void BM_CStore(benchmark::State& state)
{
    // dcmtk proposes many SOP classes the dictionary does not know; those
    // notes would drown the figures.
    Log->activate(LOG_CHANNEL_1, LOG_OFF);
    Pairing pairing = static_cast<Pairing>(state.range(0));
    Workload workload = static_cast<Workload>(state.range(1));
    unsigned int maxPdu = static_cast<unsigned int>(state.range(2));
    if (pairing != LIB_TO_LIB && !(have("storescu") && have("storescp"))) {
        state.SkipWithError("dcmtk's storescu or storescp is not installed");
        return;
    }
    objects();
    double total = 0;
    for (auto _ : state) {
        double seconds = transfer(pairing, maxPdu, workload);
        if (seconds < 0) {
            state.SkipWithError("transfer failed");
            return;
        }
        state.SetIterationTime(seconds);
        total += seconds;
    }
    double bytes = static_cast<double>(objects().of(workload).pixelBytes) * countOf(workload);
    state.SetBytesProcessed(static_cast<int64_t>(bytes * static_cast<double>(state.iterations())));
    if (pairing != DCMTK_TO_DCMTK && have("storescu") && have("storescp")) {
        double dcmtk = reference(maxPdu, workload);
        double mine = total / static_cast<double>(state.iterations());
        if (dcmtk > 0)
            state.counters["vs_dcmtk"] = dcmtk / mine;  // above 1: faster than dcmtk to dcmtk
    }
}

void pairings(benchmark::internal::Benchmark* b)
{
    for (int pairing : {LIB_TO_LIB, STORESCU_TO_LIB, LIB_TO_STORESCP, DCMTK_TO_DCMTK})
        for (int workload : {ONE_LARGE, MANY_SMALL})
            for (int pdu : {16384, 65536, 1 << 20})
                b->Args({pairing, workload, pdu});
}

}

BENCHMARK(BM_CStore)->Apply(pairings)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
