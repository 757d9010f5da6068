// Dictionary look-ups per second: the indexed Dict next to a plain scan of
// the same built-in tables from the first slot (first match wins), for tags
// near the start and near the end of the table; and the time of a reset.
#include <benchmark/benchmark.h>

#include <cstring>

#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"

namespace {

const DcDictTagEntry* scanTag(unsigned int tag)
{
    unsigned int key = dictNormalizeTag(tag);
    for (int i = 0; i < DcDictBuiltinTagCount; ++i)
        if (DcDictBuiltinTags[i].tag == key)
            return &DcDictBuiltinTags[i];
    return nullptr;
}

int scanTagDef(unsigned int tag, int& tagConst)
{
    const DcDictTagEntry* entry = scanTag(tag);
    tagConst = entry ? entry->tagConst : -1;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int scanVrDef(unsigned int tag, DICT_VR& vr)
{
    const DcDictTagEntry* entry = scanTag(tag);
    vr = entry ? entry->vr : VR_UNKNOWN;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int scanVm(unsigned int tag, int& vm)
{
    const DcDictTagEntry* entry = scanTag(tag);
    vm = entry ? entry->vm : 0;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int scanUidDef(const char* uidStrg, DICT_UID& uid)
{
    for (int i = 0; i < DcDictBuiltinUidCount; ++i)
        if (strcmp(DcDictBuiltinUids[i].uidStrg, uidStrg) == 0) {
            uid = DcDictBuiltinUids[i].uid;
            return 0;
        }
    uid = UID_NONE;
    return DICT_ERR_NOT_FOUND;
}

// Near the start: the sixth entry; near the end: the repeating-group entry
// (60xx,4000), asked for as (6002,4000), the last before the item tags.
const unsigned int startTag = DcDictBuiltinTags[5].tag;
const unsigned int endTag = 0x60024000u;
const char* const startUid = "1.2.840.10008.1.3.10";
const char* const endUid = "1.2.840.10008.1.2.4.70";

unsigned int tagOf(const benchmark::State& state)
{
    return state.range(0) == 0 ? startTag : endTag;
}

const char* uidOf(const benchmark::State& state)
{
    return state.range(0) == 0 ? startUid : endUid;
}

void labelPosition(benchmark::State& state)
{
    state.SetLabel(state.range(0) == 0 ? "near start" : "near end");
    state.SetItemsProcessed(state.iterations());
}

// Times lookup(key, out) for the key that the benchmark's argument picked.
template <typename Out, typename Key, typename Lookup>
void timeLookup(benchmark::State& state, Key key, Lookup lookup)
{
    Out out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(lookup(key, out));
        benchmark::DoNotOptimize(out);
    }
    labelPosition(state);
}

void BM_GetTagDef_Indexed(benchmark::State& state)
{
    timeLookup<int>(state, tagOf(state), [](unsigned int tag, int& tagConst) { return Dict.getTagDef(tag, tagConst); });
}

void BM_GetTagDef_Scan(benchmark::State& state)
{
    timeLookup<int>(state, tagOf(state), scanTagDef);
}

void BM_GetVrDef_Indexed(benchmark::State& state)
{
    timeLookup<DICT_VR>(state, tagOf(state), [](unsigned int tag, DICT_VR& vr) { return Dict.getVrDef(tag, vr); });
}

void BM_GetVrDef_Scan(benchmark::State& state)
{
    timeLookup<DICT_VR>(state, tagOf(state), scanVrDef);
}

void BM_GetVm_Indexed(benchmark::State& state)
{
    timeLookup<int>(state, tagOf(state), [](unsigned int tag, int& vm) { return Dict.getVm(tag, vm); });
}

void BM_GetVm_Scan(benchmark::State& state)
{
    timeLookup<int>(state, tagOf(state), scanVm);
}

void BM_GetUidDef_Indexed(benchmark::State& state)
{
    timeLookup<DICT_UID>(state, uidOf(state),
                         [](const char* uidStrg, DICT_UID& uid) { return Dict.getUidDef(uidStrg, uid); });
}

void BM_GetUidDef_Scan(benchmark::State& state)
{
    timeLookup<DICT_UID>(state, uidOf(state), scanUidDef);
}

void BM_Reset(benchmark::State& state)
{
    for (auto _ : state)
        Dict.reset();
    state.SetItemsProcessed(state.iterations());
}

// What every tool pays at start: reset, then the current dictionary on top.
void BM_ResetAndLoadCurrent(benchmark::State& state)
{
    for (auto _ : state) {
        Dict.reset();
        Dict.loadCurrent();
    }
    state.SetItemsProcessed(state.iterations());
}

// Look-up of an attribute that only the current dictionary knows.
void BM_GetVrDef_Current(benchmark::State& state)
{
    Dict.loadCurrent();
    DICT_VR vr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Dict.getVrDef(0x7FE00008u, vr));
        benchmark::DoNotOptimize(vr);
    }
    state.SetItemsProcessed(state.iterations());
    Dict.reset();
}

}

BENCHMARK(BM_GetTagDef_Indexed)->Arg(0)->Arg(1);
BENCHMARK(BM_GetTagDef_Scan)->Arg(0)->Arg(1);
BENCHMARK(BM_GetVrDef_Indexed)->Arg(0)->Arg(1);
BENCHMARK(BM_GetVrDef_Scan)->Arg(0)->Arg(1);
BENCHMARK(BM_GetVm_Indexed)->Arg(0)->Arg(1);
BENCHMARK(BM_GetVm_Scan)->Arg(0)->Arg(1);
BENCHMARK(BM_GetUidDef_Indexed)->Arg(0)->Arg(1);
BENCHMARK(BM_GetUidDef_Scan)->Arg(0)->Arg(1);
BENCHMARK(BM_Reset)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ResetAndLoadCurrent)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetVrDef_Current);

BENCHMARK_MAIN();
