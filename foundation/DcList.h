#ifndef BRENIK3_FOUNDATION_DCLIST_H
#define BRENIK3_FOUNDATION_DCLIST_H

#include <cstdio>

#include "foundation/DcNode.h"
#include "foundation/Export.h"

// Doubly linked list of DcNodes with a caller-positioned cursor and an
// optional ordering. The list owns its nodes: destroying it destroys them.
// Copies are shallow: they see the same nodes, which stay owned by the list
// they were copied from, so a copy never destroys them (neither when it is
// destroyed nor in destroyAllNodes, where it only lets go of them).
class BRENIK3_API DcList {
public:
    typedef int (*CompFunc)(void*, void*);

    explicit DcList(CompFunc compFunc = nullptr);
    DcList(const DcList& other);
    // Destroys this list's own nodes first (unless other has the same chain),
    // then becomes a shallow copy of other.
    DcList& operator=(const DcList& other);
    virtual ~DcList();

    DcNode* add(DcNode* node);
    DcNode* add(DcNode* position, DcNode* node);
    DcNode* subtract(DcNode* node);
    DcList& operator+(DcNode* node);
    DcList& operator-(DcNode* node);

    DcNode* first() { return head; }
    DcNode* last() { return tail; }
    int count();
    int index(DcNode* node);
    bool contains(DcNode* node);

    DcNode* getCursor() { return cursor; }
    void setCursor(DcNode* node);
    void resetCursor() { cursor = head; }

    void sort();
    void sort(CompFunc compFunc);
    void reverse();
    void destroyAllNodes();
    void printNodeList(FILE* stream);

protected:
    // Whether this list is a shallow copy, which owns none of its nodes.
    bool isShallowCopy() const { return shallowCopy; }

    CompFunc compFunc;
    DcNode* head;
    DcNode* tail;
    DcNode* cursor;

private:
    bool shallowCopy;

    DcNode* findInsertionPoint(DcNode* node);
    void linkAfter(DcNode* anchor, DcNode* node);
    void linkAtHead(DcNode* node);
};

#endif
