// Parsing and framing of data sets: many small elements, and one large raw
// value next to a plain memory copy of the same size.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

namespace {

typedef std::vector<unsigned char> Bytes;

// Many distinct tags come from private groups: the dictionary keeps one
// entry for the elements (gggg,0001) to (gggg,00ff) of an odd group, so one
// registered entry per group gives 255 tags. Each group has one VR.
const DICT_VR groupVrs[] = {VR_LO, VR_US, VR_DS, VR_UL, VR_SH, VR_FD, VR_SQ, VR_SL};
const int groupVrCount = sizeof groupVrs / sizeof groupVrs[0];
const int elementsPerGroup = 255;
const int largestSet = 90000;

unsigned short groupOf(int k)
{
    return static_cast<unsigned short>(0x0009 + 2 * k);
}

void registerGroups()
{
    static bool done = false;
    if (done)
        return;
    for (int k = 0; k * elementsPerGroup < largestSet; ++k)
        Dict.add(groupOf(k), 0x0001, groupVrs[k % groupVrCount], 1, nullptr, nullptr);
    done = true;
}

Bytes frameList(DcElemList& list, DICT_UID xfer)
{
    unsigned int size = 0, len = 0;
    list.getBufSize(size);
    Bytes out(size);
    list.frame(out.data(), len, xfer);
    out.resize(len);
    return out;
}

// A sequence of one item with three short elements, read from its framed item.
DcElemSq* smallSequence(unsigned short group, unsigned short element, DICT_UID xfer)
{
    DcElemSqItem item;
    item.add(new DcElem(T_0008_0100_codeValue, "T-D1100"));
    item.add(new DcElem(T_0008_0104_codeMeaning, "Body part"));
    item.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(512)));
    unsigned int size = 0, len = 0;
    item.getBufSize(size, 0);
    Bytes bytes(size);
    item.frame(bytes.data(), len, xfer);
    return new DcElemSq(group, element, bytes.data(), len, xfer, VR_IM);
}

// count small elements in ascending tag order: short text, numbers and
// every eighth group sequences.
void buildSmallElements(DcElemList& list, int count, DICT_UID xfer)
{
    registerGroups();
    for (int i = 0; i < count; ++i) {
        int k = i / elementsPerGroup;
        unsigned short group = groupOf(k);
        unsigned short element = static_cast<unsigned short>(1 + i % elementsPerGroup);
        DICT_VR vr = groupVrs[k % groupVrCount];
        if (vr == VR_SQ) {
            list.add(smallSequence(group, element, xfer));
            continue;
        }
        DcElem* elem = new DcElem(group, element, nullptr, 0, xfer, VR_IM, 0);
        switch (vr) {
        case VR_LO: elem->addValue("Brenik imaging value"); break;
        case VR_SH: elem->addValue("SHORT"); break;
        case VR_DS: elem->addValue("12.5\\-3"); break;
        case VR_US: elem->addValue(static_cast<unsigned short>(i)); break;
        case VR_UL: elem->addValue(static_cast<unsigned int>(i)); break;
        case VR_SL: elem->addValue(-i); break;
        default: elem->addValue(i * 0.5); break;
        }
        list.add(elem);
    }
}

Bytes smallElementsEncoding(int count, DICT_UID xfer)
{
    DcElemList list;
    buildSmallElements(list, count, xfer);
    return frameList(list, xfer);
}

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT};
const char* const syntaxNames[] = {"implicit LE", "explicit LE", "explicit BE"};

void BM_ParseSmallElements(benchmark::State& state)
{
    int count = static_cast<int>(state.range(0));
    DICT_UID xfer = syntaxes[state.range(1)];
    Bytes bytes = smallElementsEncoding(count, xfer);
    // Only the parse is timed: checking and releasing the set are not.
    for (auto _ : state) {
        DcElemList* list = new DcElemList;
        unsigned int left = static_cast<unsigned int>(bytes.size());
        list->parse(bytes.data(), left, xfer);
        state.PauseTiming();
        if (list->count() != count)
            state.SkipWithError("parse lost elements");
        delete list;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
    state.SetLabel(syntaxNames[state.range(1)]);
}
BENCHMARK(BM_ParseSmallElements)->Args({20000, 0})->Args({20000, 1})->Args({20000, 2})->Unit(benchmark::kMillisecond);

void BM_FrameSmallElements(benchmark::State& state)
{
    int count = static_cast<int>(state.range(0));
    DICT_UID xfer = syntaxes[state.range(1)];
    DcElemList list;
    buildSmallElements(list, count, xfer);
    unsigned int size = 0;
    list.getBufSize(size);
    Bytes out(size);
    for (auto _ : state) {
        unsigned int len = 0;
        list.frame(out.data(), len, xfer);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetLabel(syntaxNames[state.range(1)]);
}
BENCHMARK(BM_FrameSmallElements)->Args({20000, 0})->Args({20000, 1})->Args({20000, 2})->Unit(benchmark::kMillisecond);

// Parse time against the number of elements arriving in ascending order;
// a linear fit means no element costs more as the set grows.
// Parse time of the number of elements in the argument, encoded by encode.
void timeParseOfCount(benchmark::State& state, Bytes (*encode)(int, DICT_UID))
{
    int count = static_cast<int>(state.range(0));
    Bytes bytes = encode(count, UID_LITTLE_ENDIAN_EXPLICIT);
    for (auto _ : state) {
        DcElemList list;
        unsigned int left = static_cast<unsigned int>(bytes.size());
        list.parse(bytes.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}

void BM_ParseAscending(benchmark::State& state)
{
    timeParseOfCount(state, smallElementsEncoding);
}
BENCHMARK(BM_ParseAscending)->Arg(9000)->Arg(20000)->Arg(45000)->Arg(largestSet)->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// The same question for 20,000 and 200,000 elements: a data set can hold only
// so many distinct tags, so here the elements stand ten to an item in one
// sequence, each item in ascending tag order.
Bytes itemElementsEncoding(int count, DICT_UID xfer)
{
    DcElemSqItem item;
    item.add(new DcElem(T_0008_0100_codeValue, "T-D1100"));
    item.add(new DcElem(T_0008_0102_codingSchemeDesignator, "SRT"));
    item.add(new DcElem(T_0008_0104_codeMeaning, "Body part"));
    item.add(new DcElem(T_0008_1150_referencedSopClassUid, "1.2.840.10008.5.1.4.1.1.2"));
    item.add(new DcElem(T_0008_1155_referencedSopInstanceUid, "2.999.7321.1.2.3.4"));
    item.add(new DcElem(T_0020_0013_instanceNumber, "17"));
    item.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(512)));
    item.add(new DcElem(T_0028_0011_columns, static_cast<unsigned short>(512)));
    item.add(new DcElem(T_0028_0030_pixelSpacing, "0.5\\0.5"));
    item.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    unsigned int size = 0, len = 0;
    item.getBufSize(size, 0);
    Bytes one(size);
    item.frame(one.data(), len, xfer);
    one.resize(len);
    const int elementsPerItem = 10;
    int items = count / elementsPerItem;
    Bytes bytes;
    bytes.reserve(12 + one.size() * items);
    const unsigned char header[12] = {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    bytes.insert(bytes.end(), header, header + 12);
    for (int i = 0; i < items; ++i)
        bytes.insert(bytes.end(), one.begin(), one.end());
    const unsigned char end[8] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
    bytes.insert(bytes.end(), end, end + 8);
    return bytes;
}

void BM_ParseElementsInItems(benchmark::State& state)
{
    timeParseOfCount(state, itemElementsEncoding);
}
BENCHMARK(BM_ParseElementsInItems)->Arg(20000)->Arg(200000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

const unsigned int largeValue = 64u * 1024 * 1024;

// One OB or OW element of 64 MB, framed.
Bytes largeElementEncoding(DICT_VR vr)
{
    Bytes value(largeValue);
    for (size_t i = 0; i < value.size(); ++i)
        value[i] = static_cast<unsigned char>(i * 31);
    DcElemList list;
    DcElem* elem = new DcElem(vr == VR_OB ? T_0028_2000_iccProfile : T_0028_1201_redPaletteColorLookupTableData);
    elem->addValue(value.data(), largeValue, UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(elem);
    return frameList(list, UID_LITTLE_ENDIAN_EXPLICIT);
}

void BM_ParseLargeValue(benchmark::State& state)
{
    DICT_VR vr = state.range(0) == 0 ? VR_OB : VR_OW;
    Bytes bytes = largeElementEncoding(vr);
    for (auto _ : state) {
        DcElemList list;
        unsigned int left = static_cast<unsigned int>(bytes.size());
        list.parse(bytes.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
        benchmark::DoNotOptimize(list.first());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(largeValue));
    state.SetLabel(vr == VR_OB ? "OB" : "OW");
}
BENCHMARK(BM_ParseLargeValue)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_FrameLargeValue(benchmark::State& state)
{
    DICT_VR vr = state.range(0) == 0 ? VR_OB : VR_OW;
    Bytes bytes = largeElementEncoding(vr);
    DcElemList list;
    unsigned int left = static_cast<unsigned int>(bytes.size());
    list.parse(bytes.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
    unsigned int size = 0;
    list.getBufSize(size);
    Bytes out(size);
    for (auto _ : state) {
        unsigned int len = 0;
        list.frame(out.data(), len, UID_LITTLE_ENDIAN_EXPLICIT);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(largeValue));
    state.SetLabel(vr == VR_OB ? "OB" : "OW");
}
BENCHMARK(BM_FrameLargeValue)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The floor for both: one copy of 64 MB into memory already touched.
void BM_Memcpy64MB(benchmark::State& state)
{
    Bytes from(largeValue, 0x5A), to(largeValue, 0);
    for (auto _ : state) {
        memcpy(to.data(), from.data(), largeValue);
        benchmark::DoNotOptimize(to.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(largeValue));
}
BENCHMARK(BM_Memcpy64MB)->Unit(benchmark::kMillisecond);

// A parse copies the value into a block of its own: the same copy into a
// fresh 64 MB block, whose pages are first touched by the copy.
void BM_MemcpyIntoFreshBlock64MB(benchmark::State& state)
{
    Bytes from(largeValue, 0x5A);
    for (auto _ : state) {
        void* to = malloc(largeValue);
        memcpy(to, from.data(), largeValue);
        benchmark::DoNotOptimize(to);
        free(to);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(largeValue));
}
BENCHMARK(BM_MemcpyIntoFreshBlock64MB)->Unit(benchmark::kMillisecond);

}

int main(int argc, char** argv)
{
    for (LOG_MSG channel : {LOG_CHANNEL_0, LOG_CHANNEL_1, LOG_CHANNEL_2, LOG_CHANNEL_3})
        Log->activate(channel, LOG_OFF);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
