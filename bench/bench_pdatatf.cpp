// P-DATA-TF throughput: a 256 Mbyte data set written and read over a
// loopback connection pair (AF_UNIX socket pair and TCP on 127.0.0.1) at
// several maximum PDU lengths, next to a plain copy of the same bytes over
// the same kind of connection; and one write whose pixel data lies in a file,
// with the process's peak resident set size.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "message/DcIod.h"
#include "network/DcPduDataTf.h"

namespace {

const unsigned int PIXEL_BYTES = 256u << 20;
const size_t COPY_CHUNK = 1 << 20;

enum SocketKind { UNIX_PAIR = 0, TCP_PAIR = 1 };

// A connected pair of stream sockets of the given kind.
struct Connection {
    int a = -1;
    int b = -1;

    explicit Connection(SocketKind kind)
    {
        if (kind == UNIX_PAIR) {
            int fds[2];
            if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) {
                a = fds[0];
                b = fds[1];
            }
            return;
        }
        int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len);
        a = socket(AF_INET, SOCK_STREAM, 0);
        connect(a, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        b = accept(listener, nullptr, nullptr);
        close(listener);
        int on = 1;
        setsockopt(a, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(b, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Connection()
    {
        close(a);
        close(b);
    }
};

// Receives and throws away everything until the sender closes.
size_t drain(int fd)
{
    std::vector<unsigned char> buf(COPY_CHUNK);
    size_t total = 0;
    ssize_t n;
    while ((n = recv(fd, buf.data(), buf.size(), 0)) > 0)
        total += size_t(n);
    return total;
}

void sendAll(int fd, const unsigned char* data, size_t len)
{
    while (len > 0) {
        ssize_t n = send(fd, data, std::min(len, COPY_CHUNK), MSG_NOSIGNAL);
        if (n <= 0)
            return;
        data += n;
        len -= size_t(n);
    }
}

// 256 Mbyte of pixel data in memory, made once and lent to every data set.
DcBuf* pixelEntry()
{
    static DcBuf* entry = nullptr;
    if (entry == nullptr) {
        unsigned char* pixels = static_cast<unsigned char*>(malloc(PIXEL_BYTES));
        for (unsigned int i = 0; i < PIXEL_BYTES; i++)
            pixels[i] = static_cast<unsigned char>(i * 31);
        entry = new DcBuf(pixels, PIXEL_BYTES, UID_LITTLE_ENDIAN_IMPLICIT);
    }
    return entry;
}

// The data set: a few attributes and the lent pixel data.
DcIod* makeDataSet()
{
    DcIod* iod = new DcIod;
    iod->add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.7"));
    iod->add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.826.0.1.3680043.2.1143.1"));
    iod->add(new DcElem(T_0010_0020_patientId, "BENCH"));
    iod->add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    DcElem* pixelData = new DcElem(T_7fe0_0010_pixelData);
    pixelData->getBufList()->add(pixelEntry());
    iod->add(pixelData);
    return iod;
}

// Takes the lent pixel data back and destroys the data set.
void dropDataSet(DcIod* iod)
{
    DcElem* pixelData = nullptr;
    iod->getElem(T_7fe0_0010_pixelData, &pixelData);
    pixelData->getBufList()->subtract(pixelEntry());
    delete iod;
}

// Sends the data set through the library; the peer only counts bytes.
size_t writeOnce(DcIod& iod, SocketKind kind, unsigned int maxPduLen)
{
    Connection conn(kind);
    size_t received = 0;
    std::thread reader([&] { received = drain(conn.b); });
    iod.attach(conn.a);
    DcPduInfoTf info;
    info.presCtxId = 1;
    info.xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
    info.maxPduLen = maxPduLen;
    iod.setInfo(info);
    iod.write();
    shutdown(conn.a, SHUT_WR);
    reader.join();
    return received;
}

// Runs one write on a fresh PDU bound to no socket yet.
void BM_Write(benchmark::State& state)
{
    SocketKind kind = static_cast<SocketKind>(state.range(0));
    unsigned int maxPduLen = static_cast<unsigned int>(state.range(1));
    size_t wire = 0;
    for (auto _ : state) {
        DcIod* iod = makeDataSet();
        wire = writeOnce(*iod, kind, maxPduLen);
        dropDataSet(iod);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PIXEL_BYTES);
    state.counters["wire_MB"] = double(wire) / (1 << 20);
}

// The wire bytes of the data set at a maximum PDU length, framed once by
// the library itself.
const std::vector<unsigned char>& framedStream(SocketKind kind, unsigned int maxPduLen)
{
    static std::vector<unsigned char> stream;
    static unsigned int framedFor = 0;
    if (framedFor != maxPduLen) {
        stream.clear();
        stream.shrink_to_fit();
        Connection conn(kind);
        std::thread reader([&] {
            std::vector<unsigned char> buf(COPY_CHUNK);
            ssize_t n;
            while ((n = recv(conn.b, buf.data(), buf.size(), 0)) > 0)
                stream.insert(stream.end(), buf.data(), buf.data() + n);
        });
        DcIod* iod = makeDataSet();
        iod->attach(conn.a);
        DcPduInfoTf info;
        info.presCtxId = 1;
        info.maxPduLen = maxPduLen;
        iod->setInfo(info);
        iod->write();
        shutdown(conn.a, SHUT_WR);
        reader.join();
        dropDataSet(iod);
        framedFor = maxPduLen;
    }
    return stream;
}

// Reads PDUs until the last fragment, collecting the fragments as the
// transport does; the peer sends the pre-framed stream.
void BM_Read(benchmark::State& state)
{
    SocketKind kind = static_cast<SocketKind>(state.range(0));
    unsigned int maxPduLen = static_cast<unsigned int>(state.range(1));
    const std::vector<unsigned char>& stream = framedStream(kind, maxPduLen);
    int pdus = 0;
    for (auto _ : state) {
        Connection conn(kind);
        std::thread sender([&] { sendAll(conn.a, stream.data(), stream.size()); });
        DcPduInfo limits;
        limits.maxPduLen = maxPduLen;
        DcPdu header(conn.b, PDU_DATA_TF);
        header.setInfo(limits);
        DcPduDataTf message;
        pdus = 0;
        for (;;) {
            PDU_TYPE type;
            if (header.readType(type, PDU_WAIT) != 0 || type != PDU_DATA_TF)
                break;
            DcPduDataTf pdu(conn.b);
            pdu.setInfo(limits);
            if (pdu.read(-1, PDU_WAIT) != 0)
                break;
            pdus++;
            while (DcBuf* buf = pdu.firstBuf()) {
                pdu.subtract(buf);
                message.add(buf);
            }
            DcPduInfoTf info;
            pdu.getInfo(info);
            if (info.msgCtrlHdr & PDV_MCH_LAST)
                break;
        }
        sender.join();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PIXEL_BYTES);
    state.counters["pdus"] = pdus;
}

// A whole message received in memory and parsed: its fragments either
// collected one buffer each and joined by the parse (gathered 0), or read
// into one growing block as the transport now does (gathered 1).
void BM_ReadAndParse(benchmark::State& state)
{
    SocketKind kind = static_cast<SocketKind>(state.range(0));
    unsigned int maxPduLen = static_cast<unsigned int>(state.range(1));
    bool gathered = state.range(2) != 0;
    const std::vector<unsigned char>& stream = framedStream(kind, maxPduLen);
    for (auto _ : state) {
        Connection conn(kind);
        std::thread sender([&] { sendAll(conn.a, stream.data(), stream.size()); });
        DcPduInfo limits;
        limits.maxPduLen = maxPduLen;
        DcPdu header(conn.b, PDU_DATA_TF);
        header.setInfo(limits);
        DcPduDataTf message;
        if (gathered)
            message.gatherInto(nullptr);
        for (;;) {
            PDU_TYPE type;
            if (header.readType(type, PDU_WAIT) != 0 || type != PDU_DATA_TF)
                break;
            DcPduDataTf pdu(conn.b);
            pdu.setInfo(limits);
            if (gathered)
                pdu.gatherInto(&message);
            if (pdu.read(-1, PDU_WAIT) != 0)
                break;
            while (DcBuf* buf = pdu.firstBuf()) {
                pdu.subtract(buf);
                message.add(buf);
            }
            DcPduInfoTf info;
            pdu.getInfo(info);
            if (info.msgCtrlHdr & PDV_MCH_LAST)
                break;
        }
        sender.join();
        if (message.parse(UID_LITTLE_ENDIAN_IMPLICIT) != 0)
            state.SkipWithError("the message did not parse");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PIXEL_BYTES);
}

// The same bytes copied plainly from one end to the other.
void BM_PlainCopy(benchmark::State& state)
{
    SocketKind kind = static_cast<SocketKind>(state.range(0));
    const unsigned char* pixels = static_cast<const unsigned char*>(pixelEntry()->getBuf());
    for (auto _ : state) {
        Connection conn(kind);
        std::thread sender([&] {
            sendAll(conn.a, pixels, PIXEL_BYTES);
            shutdown(conn.a, SHUT_WR);
        });
        benchmark::DoNotOptimize(drain(conn.b));
        sender.join();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PIXEL_BYTES);
}

// Pixel data in a 256 Mbyte file, streamed one fragment at a time. Runs
// first, so that the peak RSS reported is this write's own.
void BM_WriteFromDisk(benchmark::State& state)
{
    unsigned int maxPduLen = static_cast<unsigned int>(state.range(0));
    std::string path = "/tmp/bench_pdatatf_pixels_" + std::to_string(getpid());
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    std::vector<unsigned char> chunk(COPY_CHUNK);
    for (size_t i = 0; i < chunk.size(); i++)
        chunk[i] = static_cast<unsigned char>(i * 13);
    for (unsigned int done = 0; done < PIXEL_BYTES; done += unsigned(chunk.size()))
        if (write(fd, chunk.data(), chunk.size()) != ssize_t(chunk.size()))
            state.SkipWithError("could not write the pixel file");
    struct rusage before;
    getrusage(RUSAGE_SELF, &before);
    size_t wire = 0;
    for (auto _ : state) {
        DcIod iod;
        iod.add(new DcElem(T_0010_0020_patientId, "BENCH"));
        iod.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
        iod.add(new DcElem(T_7fe0_0010_pixelData, fd, 0, PIXEL_BYTES, UID_LITTLE_ENDIAN_IMPLICIT));
        wire = writeOnce(iod, UNIX_PAIR, maxPduLen);
    }
    struct rusage after;
    getrusage(RUSAGE_SELF, &after);
    close(fd);
    unlink(path.c_str());
    state.SetBytesProcessed(int64_t(state.iterations()) * PIXEL_BYTES);
    state.counters["wire_MB"] = double(wire) / (1 << 20);
    state.counters["peak_rss_MB_before"] = double(before.ru_maxrss) / 1024;
    state.counters["peak_rss_MB_after"] = double(after.ru_maxrss) / 1024;
}

const int64_t PDU_LENGTHS[] = {16384, 65536, 1 << 20};

void pduArgs(benchmark::internal::Benchmark* b)
{
    for (int kind : {UNIX_PAIR, TCP_PAIR})
        for (int64_t len : PDU_LENGTHS)
            b->Args({kind, len});
}

}

BENCHMARK(BM_WriteFromDisk)->Arg(65536)->Arg(1 << 20)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainCopy)->Arg(UNIX_PAIR)->Arg(TCP_PAIR)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write)->Apply(pduArgs)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read)->Apply(pduArgs)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadAndParse)
    ->ArgsProduct({{TCP_PAIR}, {16384, 65536, 1 << 20}, {0, 1}})
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
