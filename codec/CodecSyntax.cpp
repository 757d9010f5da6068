#include "codec/CodecSyntax.h"

#include <atomic>
#include <mutex>

#include "dictionary/DcDict.h"

namespace {

// The names match the current dictionary's, so that a name does not depend
// on whether loadCurrent() ran.
struct AddedSyntax {
    const char* uid;
    const char* description;
};

const AddedSyntax added[] = {
    {"1.2.840.10008.1.2.4.80", "JPEG-LS Lossless Image Compression"},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS Lossy (Near-Lossless) Image Compression"},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 Image Compression (Lossless Only)"},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000 Image Compression"},
    {"1.2.840.10008.1.2.1.99", "Deflated Explicit VR Little Endian"},
};

std::mutex registering;
std::atomic<bool> registeredOnce{false};

// Adds the syntaxes the dictionary lacks; the caller holds the lock.
void addMissing()
{
    for (const AddedSyntax& syntax : added) {
        DICT_UID uid = UID_NONE;
        if (Dict.getUidDef(syntax.uid, uid) != 0)
            Dict.add(syntax.uid, syntax.description, &uid, UID_TRANSFER_SYNTAX);
    }
}

// The syntax's number in the dictionary, added first when it is missing.
// Threads meeting the first use wait for it; later uses only read, unless a
// reset of the dictionary has dropped the entries since.
DICT_UID number(const AddedSyntax& syntax)
{
    if (!registeredOnce.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> lock(registering);
        addMissing();
        registeredOnce.store(true, std::memory_order_release);
    }
    DICT_UID uid = UID_NONE;
    if (Dict.getUidDef(syntax.uid, uid) == 0)
        return uid;
    std::lock_guard<std::mutex> lock(registering);
    addMissing();
    Dict.getUidDef(syntax.uid, uid);
    return uid;
}

}

void codecRegisterSyntaxes()
{
    for (const AddedSyntax& syntax : added)
        number(syntax);
}

DICT_UID codecJpegLsLossless() { return number(added[0]); }
DICT_UID codecJpegLsNearLossless() { return number(added[1]); }
DICT_UID codecJ2kLossless() { return number(added[2]); }
DICT_UID codecJ2k() { return number(added[3]); }
DICT_UID codecDeflate() { return number(added[4]); }

bool codecIsNative(DICT_UID xfer)
{
    return xfer == UID_LITTLE_ENDIAN_IMPLICIT || xfer == UID_LITTLE_ENDIAN_EXPLICIT ||
           xfer == UID_BIG_ENDIAN_EXPLICIT || (xfer != UID_NONE && xfer == codecDeflate());
}

bool codecIsEncapsulated(DICT_UID xfer)
{
    return xfer != UID_NONE && !codecIsNative(xfer);
}

bool codecIsLossy(DICT_UID xfer)
{
    switch (xfer) {
    case UID_JPEG_BASELINE:
    case UID_JPEG_EXTENDED:
    case UID_JPEG_EXTENDED_ARITHMETIC:
    case UID_JPEG_SPECTRAL:
    case UID_JPEG_SPECTRAL_ARITHMETIC:
    case UID_JPEG_FULL:
    case UID_JPEG_FULL_ARITHMETIC:
        return true;
    default:
        return xfer != UID_NONE && (xfer == codecJpegLsNearLossless() || xfer == codecJ2k());
    }
}
