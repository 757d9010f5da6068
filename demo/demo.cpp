// A first look at Brenik3: dictionary look-ups and a log line.
#include <cstdio>

#include <Brenik3.h>

int main()
{
    unsigned int tag = 0;
    Dict.getTag(T_0008_0018_sopInstanceUid, tag);
    printf("T_0008_0018_sopInstanceUid = 0x%08x\n", tag);

    DICT_VR vr;
    char vrName[3];
    Dict.getVrDef(0x60023000u, vr);
    Dict.getVr(vr, vrName);
    printf("VR of (6002,3000)        = %s\n", vrName);

    char uid[65];
    Dict.getUid(UID_CT_IMAGE_STORAGE, uid);
    char desc[61];
    Dict.getDesc(UID_CT_IMAGE_STORAGE, desc);
    printf("UID_CT_IMAGE_STORAGE     = %s (%s)\n", uid, desc);

    printf("An unknown VR name is reported through the log:\n");
    Dict.getVrDef("ae", vr);
    return 0;
}
