#ifndef BRENIK3_FOUNDATION_DCNODE_H
#define BRENIK3_FOUNDATION_DCNODE_H

#include "foundation/Export.h"

class DcList;

// One link of an intrusive doubly linked list. Everything that is listed
// (elements, items, records, buffers, PDU items) derives from it.
class BRENIK3_API DcNode {
public:
    explicit DcNode(void* nodeInfo = nullptr);
    DcNode(const DcNode& other);
    DcNode& operator=(const DcNode& other);
    virtual ~DcNode();

    void* getNodeInfo() { return nodeInfo; }
    DcNode* next() { return nextNode; }
    DcNode* previous() { return previousNode; }

private:
    friend class DcList;
    DcNode* previousNode;
    DcNode* nextNode;
    void* nodeInfo;
    // The list that linked this node last, so that membership is answered
    // without walking the list. Not copied: a copy is not listed anywhere.
    DcList* owner;
};

#endif
