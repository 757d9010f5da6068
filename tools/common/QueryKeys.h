#ifndef BRENIK3_TOOLS_QUERYKEYS_H
#define BRENIK3_TOOLS_QUERYKEYS_H

#include <string>

class DcElem;

namespace b3tool {

// An identifier element for "TAG=VALUE" (or "TAG": return that attribute),
// TAG as gggg,eeee or a dictionary name; null with the reason printed when
// the key is unknown, a sequence, or its value invalid.
DcElem* keyElement(const char* program, const std::string& key);

}

#endif
