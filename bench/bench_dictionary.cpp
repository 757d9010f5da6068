// Dictionary look-ups per second: the indexed Dict next to a plain scan of
// the same built-in tables from the first slot (first match wins), for tags
// near the start and near the end of the table; and the time of a reset.
#include <benchmark/benchmark.h>

#include <cstring>

#include "dictionary/DcDict.h"

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

void BM_GetTagDef_Indexed(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    int tagConst;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Dict.getTagDef(tag, tagConst));
        benchmark::DoNotOptimize(tagConst);
    }
    labelPosition(state);
}

void BM_GetTagDef_Scan(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    int tagConst;
    for (auto _ : state) {
        benchmark::DoNotOptimize(scanTagDef(tag, tagConst));
        benchmark::DoNotOptimize(tagConst);
    }
    labelPosition(state);
}

void BM_GetVrDef_Indexed(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    DICT_VR vr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Dict.getVrDef(tag, vr));
        benchmark::DoNotOptimize(vr);
    }
    labelPosition(state);
}

void BM_GetVrDef_Scan(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    DICT_VR vr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(scanVrDef(tag, vr));
        benchmark::DoNotOptimize(vr);
    }
    labelPosition(state);
}

void BM_GetVm_Indexed(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    int vm;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Dict.getVm(tag, vm));
        benchmark::DoNotOptimize(vm);
    }
    labelPosition(state);
}

void BM_GetVm_Scan(benchmark::State& state)
{
    unsigned int tag = tagOf(state);
    int vm;
    for (auto _ : state) {
        benchmark::DoNotOptimize(scanVm(tag, vm));
        benchmark::DoNotOptimize(vm);
    }
    labelPosition(state);
}

void BM_GetUidDef_Indexed(benchmark::State& state)
{
    const char* uidStrg = uidOf(state);
    DICT_UID uid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Dict.getUidDef(uidStrg, uid));
        benchmark::DoNotOptimize(uid);
    }
    labelPosition(state);
}

void BM_GetUidDef_Scan(benchmark::State& state)
{
    const char* uidStrg = uidOf(state);
    DICT_UID uid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(scanUidDef(uidStrg, uid));
        benchmark::DoNotOptimize(uid);
    }
    labelPosition(state);
}

void BM_Reset(benchmark::State& state)
{
    for (auto _ : state)
        Dict.reset();
    state.SetItemsProcessed(state.iterations());
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

BENCHMARK_MAIN();
