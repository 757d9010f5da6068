#include "internal/DcElemSlotLimit.h"

namespace {

// The innermost scope of this thread; one record, so that each call reaches
// the thread's storage once.
struct Remembered {
    const DcElem* owner = nullptr;
    int limit = 0;
    bool known = false;
};

thread_local Remembered remembered;

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
