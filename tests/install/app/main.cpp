// An application outside the source tree, built against an installed copy of
// the library: it sees only <Brenik3.h>.
#include <cstdio>
#include <cstring>

#include <Brenik3.h>

static int failures = 0;

static void check(bool ok, const char* what)
{
    printf("%s: %s\n", ok ? "ok" : "FAILED", what);
    if (!ok)
        ++failures;
}

int main()
{
    unsigned int tag = 0;
    check(Dict.getTag(T_0008_0018_sopInstanceUid, tag) == 0 && tag == 0x00080018u,
          "getTag(T_0008_0018_sopInstanceUid) is 0x00080018");

    DICT_VR vr = VR_UNKNOWN;
    char vrName[3];
    check(Dict.getVrDef(0x60023000u, vr) == 0 && Dict.getVr(vr, vrName) == 0 && strcmp(vrName, "OX") == 0,
          "getVrDef(0x60023000) is OX");

    int tagConst = 0;
    char name[61];
    check(Dict.add(0x00091010u, VR_LO, 1, nullptr, &tagConst) == 0 && tagConst == 0x7FE00011,
          "first addition of (0009,1010) takes constant 0x7FE00011");
    check(Dict.getDesc(tagConst, name) == 0 && strcmp(name, "T_0009_ff10") == 0,
          "first addition of (0009,1010) is named T_0009_ff10");

    int status = 0;
    int additions = 1;
    for (unsigned int element = 0x1000; status == 0; ++element, ++additions)
        status = Dict.add(0x70000000u | element, VR_LO, 1, nullptr, &tagConst);
    check(status == 0x1404 && additions == 384, "the 384th addition gives 0x1404");

    Dict.getVrDef("ae", vr);
    return failures == 0 ? 0 : 1;
}
