#ifndef BRENIK3_INTERNAL_DCELEMSLOTLIMIT_H
#define BRENIK3_INTERNAL_DCELEMSLOTLIMIT_H

class DcElem;

// How many values an element's tag allows is looked up in the dictionary for
// each value added. While a scope is alive (one call that adds many values
// to one element, the dictionary unchanged meanwhile), the first look-up is
// remembered for the rest.
class DcElemSlotLimitScope {
public:
    explicit DcElemSlotLimitScope(const DcElem* elem);
    ~DcElemSlotLimitScope();
    DcElemSlotLimitScope(const DcElemSlotLimitScope&) = delete;
    DcElemSlotLimitScope& operator=(const DcElemSlotLimitScope&) = delete;

    // The limit remembered for elem, if a scope of elem holds one.
    static bool recall(const DcElem* elem, int& limit);
    // Keeps limit for elem when a scope of elem is alive.
    static void remember(const DcElem* elem, int limit);

private:
    const DcElem* savedOwner;
    int savedLimit;
    bool savedKnown;
};

#endif
