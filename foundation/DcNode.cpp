#include "foundation/DcNode.h"

DcNode::DcNode(void* info) : previousNode(nullptr), nextNode(nullptr), nodeInfo(info), owner(nullptr) {}

DcNode::DcNode(const DcNode& other)
    : previousNode(other.previousNode), nextNode(other.nextNode), nodeInfo(other.nodeInfo), owner(nullptr) {}

DcNode& DcNode::operator=(const DcNode& other)
{
    previousNode = other.previousNode;
    nextNode = other.nextNode;
    nodeInfo = other.nodeInfo;
    return *this;
}

DcNode::~DcNode() = default;
