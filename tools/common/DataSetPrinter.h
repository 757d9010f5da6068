#ifndef BRENIK3_TOOLS_DATASETPRINTER_H
#define BRENIK3_TOOLS_DATASETPRINTER_H

#include <cstdio>
#include <string>

class DcElem;
class DcElemList;

namespace b3tool {

// Prints a data set as a tree, one line per element:
//   (gggg,eeee) VR name                              value\value...
// Sequences list their items below them, indented by two spaces per level;
// raw values (OB, OW, UN and the newer binary VRs) print their size and first
// bytes, encapsulated Pixel Data its fragments below it; values longer
// than maxValue characters are cut and end in "...".
class DataSetPrinter {
public:
    explicit DataSetPrinter(FILE* stream, size_t maxValue = 64) : out(stream), maxValue(maxValue) {}
    void print(DcElemList& list, int depth = 0);

private:
    // The values of one element as the tree shows them, joined by "\\";
    // values past the first `enough` characters are not fetched.
    static std::string valueText(DcElem& elem, size_t enough);

    FILE* out;
    size_t maxValue;
    void printElem(DcElem& elem, int depth);
    // Encapsulated Pixel Data: one line per item (offset table, fragments).
    void printFragments(DcElem& elem, int indent);
};

}

#endif
