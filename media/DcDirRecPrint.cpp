// Printing directory records with their links, and the record tree.
#include <string>

#include "media/DcDirRec.h"

namespace {

void printLink(FILE* stream, DcDirRec* rec, const char* label)
{
    DcDirRecInfo info;
    if (rec != nullptr)
        rec->getInfo(info);
    fprintf(stream, "        %p %-6s %-12.12s %s\n", static_cast<void*>(rec), label,
            rec != nullptr ? rec->getDesc() : "", rec != nullptr ? info.fileId : "");
}

}

void DcDirRec::printNodeList(FILE* stream, DIR_INCLUDE_CHILD child)
{
    if (stream == nullptr)
        return;
    printLink(stream, parentRec, "parent");
    printLink(stream, previous(), "prev");
    printLink(stream, this, "this");
    printLink(stream, next(), "next");
    printLink(stream, first(), "child");
    printLink(stream, mrdr, "mrdr");
    DcElemList::printNodeList(stream);
    fprintf(stream, "\n");
    if (child == DIR_CHILD_INCLUDE)
        for (DcDirRec* rec = first(); rec != nullptr; rec = rec->next())
            rec->printNodeList(stream, child);
}

void DcDirRec::printNodeTree(FILE* stream)
{
    if (stream == nullptr)
        return;
    fprintf(stream, "%s %s\n", getDesc(), fileId);
    printTree(stream, "");
}

void DcDirRec::printTree(FILE* stream, const char* indent)
{
    for (DcDirRec* rec = first(); rec != nullptr; rec = rec->next()) {
        bool lastChild = rec->next() == nullptr;
        fprintf(stream, "%s%s%s %s\n", indent, lastChild ? "  +--" : "  |--", rec->getDesc(), rec->fileId);
        std::string deeper = std::string(indent) + (lastChild ? "     " : "  |  ");
        rec->printTree(stream, deeper.c_str());
    }
}
