#include "foundation/DcList.h"

DcList::DcList(CompFunc func)
    : compFunc(func), head(nullptr), tail(nullptr), cursor(nullptr), shallowCopy(false)
{
}

DcList::DcList(const DcList& other)
    : compFunc(other.compFunc), head(other.head), tail(other.tail), cursor(other.cursor), shallowCopy(true)
{
}

DcList& DcList::operator=(const DcList& other)
{
    if (this == &other)
        return *this;
    if (head != other.head)
        destroyAllNodes();
    compFunc = other.compFunc;
    head = other.head;
    tail = other.tail;
    cursor = other.cursor;
    shallowCopy = true;
    return *this;
}

DcList::~DcList()
{
    destroyAllNodes();
}

bool DcList::contains(DcNode* node)
{
    if (node == nullptr || head == nullptr)
        return false;
    if (node->owner == this)
        return true;
    if (node->owner == nullptr)
        return false;
    // Listed elsewhere: only a shallow copy of that list can share it.
    for (DcNode* n = head; n != nullptr; n = n->nextNode)
        if (n == node)
            return true;
    return false;
}

void DcList::linkAfter(DcNode* anchor, DcNode* node)
{
    node->owner = this;
    node->previousNode = anchor;
    node->nextNode = anchor ? anchor->nextNode : nullptr;
    if (anchor == nullptr) {
        head = tail = node;
        return;
    }
    if (anchor->nextNode)
        anchor->nextNode->previousNode = node;
    else
        tail = node;
    anchor->nextNode = node;
}

void DcList::linkAtHead(DcNode* node)
{
    node->owner = this;
    node->previousNode = nullptr;
    node->nextNode = head;
    if (head)
        head->previousNode = node;
    else
        tail = node;
    head = node;
}

// Binary search over the chain between head and tail: comparisons are what it
// saves, the pointer walks stay linear. Returns the node to link after.
DcNode* DcList::findInsertionPoint(DcNode* node)
{
    DcNode* low = head;
    DcNode* high = tail;
    while (low != high) {
        DcNode* forward = low;
        DcNode* backward = high;
        while (forward != backward && forward->nextNode != backward) {
            forward = forward->nextNode;
            if (forward == backward)
                break;
            backward = backward->previousNode;
        }
        DcNode* middle = forward;
        int cmp = compFunc(middle, node);
        if (cmp > 0) {
            high = middle;
        } else if (cmp == 0) {
            return middle;
        } else {
            if (middle == low)
                return low;
            low = middle;
        }
    }
    return high;
}

DcNode* DcList::add(DcNode* node)
{
    if (node == nullptr)
        return nullptr;
    if (contains(node))
        return node;
    if (head == nullptr || compFunc == nullptr || compFunc(tail, node) <= 0) {
        linkAfter(tail, node);
        return node;
    }
    if (compFunc(head, node) >= 0) {
        linkAtHead(node);
        return node;
    }
    linkAfter(findInsertionPoint(node), node);
    return node;
}

DcNode* DcList::add(DcNode* position, DcNode* node)
{
    if (node == nullptr)
        return nullptr;
    if (head == nullptr) {
        linkAfter(nullptr, node);
        return node;
    }
    // A node listed here already is never linked a second time: that would
    // tie the chain into a loop.
    if (contains(node))
        return node;
    if (position == nullptr) {
        linkAfter(tail, node);
        return node;
    }
    if (!contains(position))
        return node;
    if (position->previousNode)
        linkAfter(position->previousNode, node);
    else
        linkAtHead(node);
    return node;
}

DcNode* DcList::subtract(DcNode* node)
{
    if (!contains(node))
        return nullptr;
    DcNode* following = node->nextNode;
    if (node->previousNode)
        node->previousNode->nextNode = node->nextNode;
    else
        head = node->nextNode;
    if (node->nextNode)
        node->nextNode->previousNode = node->previousNode;
    else
        tail = node->previousNode;
    node->previousNode = node->nextNode = nullptr;
    node->owner = nullptr;
    return following;
}

DcList& DcList::operator+(DcNode* node)
{
    add(node);
    return *this;
}

DcList& DcList::operator-(DcNode* node)
{
    subtract(node);
    return *this;
}

int DcList::count()
{
    int n = 0;
    for (DcNode* node = head; node != nullptr; node = node->nextNode)
        ++n;
    return n;
}

int DcList::index(DcNode* node)
{
    int i = 0;
    for (DcNode* n = head; n != nullptr; n = n->nextNode, ++i)
        if (n == node)
            return i;
    return -1;
}

void DcList::setCursor(DcNode* node)
{
    if (contains(node))
        cursor = node;
}

void DcList::sort()
{
    if (compFunc != nullptr)
        sort(compFunc);
}

void DcList::sort(CompFunc func)
{
    CompFunc own = compFunc;
    compFunc = func;
    DcNode* node = head;
    head = tail = nullptr;
    while (node != nullptr) {
        DcNode* following = node->nextNode;
        node->previousNode = node->nextNode = nullptr;
        node->owner = nullptr;
        add(node);
        node = following;
    }
    compFunc = own;
}

void DcList::reverse()
{
    for (DcNode* node = head; node != nullptr; node = node->previousNode) {
        DcNode* swap = node->nextNode;
        node->nextNode = node->previousNode;
        node->previousNode = swap;
    }
    DcNode* swap = head;
    head = tail;
    tail = swap;
}

void DcList::destroyAllNodes()
{
    DcNode* node = shallowCopy ? nullptr : head;
    while (node != nullptr) {
        DcNode* following = node->nextNode;
        subtract(node);
        delete node;
        node = following;
    }
    head = tail = cursor = nullptr;
}

void DcList::printNodeList(FILE* stream)
{
    if (stream == nullptr)
        return;
    fprintf(stream, "%p\n", static_cast<void*>(this));
    for (DcNode* node = head; node != nullptr; node = node->nextNode)
        fprintf(stream, "  %p\n", static_cast<void*>(node));
}
