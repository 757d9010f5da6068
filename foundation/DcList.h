#ifndef BRENIK3_FOUNDATION_DCLIST_H
#define BRENIK3_FOUNDATION_DCLIST_H

#include <cstdio>

#include "foundation/DcNode.h"
#include "foundation/Export.h"

// Doubly linked list of DcNodes with a caller-positioned cursor and an
// optional ordering. The list owns its nodes: destroying it destroys them.
// Copies are shallow (they share the nodes).
class BRENIK3_API DcList {
public:
    typedef int (*CompFunc)(void*, void*);

    explicit DcList(CompFunc compFunc = nullptr);
    DcList(const DcList& other) = default;
    DcList& operator=(const DcList& other) = default;
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
    CompFunc compFunc;
    DcNode* head;
    DcNode* tail;
    DcNode* cursor;

private:
    DcNode* findInsertionPoint(DcNode* node);
    void linkAfter(DcNode* anchor, DcNode* node);
    void linkAtHead(DcNode* node);
};

#endif
