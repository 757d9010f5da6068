#include "internal/DcElemSlotLimit.h"

namespace {

thread_local const DcElem* owner = nullptr;
thread_local int limitOfOwner = 0;
thread_local bool known = false;

}

DcElemSlotLimitScope::DcElemSlotLimitScope(const DcElem* elem)
    : savedOwner(owner), savedLimit(limitOfOwner), savedKnown(known)
{
    owner = elem;
    known = false;
}

DcElemSlotLimitScope::~DcElemSlotLimitScope()
{
    owner = savedOwner;
    limitOfOwner = savedLimit;
    known = savedKnown;
}

bool DcElemSlotLimitScope::recall(const DcElem* elem, int& limit)
{
    if (!known || owner != elem)
        return false;
    limit = limitOfOwner;
    return true;
}

void DcElemSlotLimitScope::remember(const DcElem* elem, int limit)
{
    if (owner != elem)
        return;
    limitOfOwner = limit;
    known = true;
}
