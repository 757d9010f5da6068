#include "internal/DcElemSlotLimit.h"

namespace {

// The innermost scope of this thread; one record, so that each call reaches
// the thread's storage once.
struct Remembered {
    const DcElem* owner = nullptr;
    int limit = 0;
    bool known = false;
};

// Initial-exec, so that the record is reached without a call for every
// value added; it is small enough for the static TLS room the C library
// keeps even for a library opened later.
thread_local Remembered remembered __attribute__((tls_model("initial-exec")));

}

DcElemSlotLimitScope::DcElemSlotLimitScope(const DcElem* elem)
{
    Remembered& r = remembered;
    savedOwner = r.owner;
    savedLimit = r.limit;
    savedKnown = r.known;
    r.owner = elem;
    r.known = false;
}

DcElemSlotLimitScope::~DcElemSlotLimitScope()
{
    Remembered& r = remembered;
    r.owner = savedOwner;
    r.limit = savedLimit;
    r.known = savedKnown;
}

bool DcElemSlotLimitScope::recall(const DcElem* elem, int& limit)
{
    const Remembered& r = remembered;
    if (!r.known || r.owner != elem)
        return false;
    limit = r.limit;
    return true;
}

void DcElemSlotLimitScope::remember(const DcElem* elem, int limit)
{
    Remembered& r = remembered;
    if (r.owner != elem)
        return;
    r.limit = limit;
    r.known = true;
}
