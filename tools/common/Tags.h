#ifndef BRENIK3_TOOLS_TAGS_H
#define BRENIK3_TOOLS_TAGS_H

#include <string>

namespace b3tool {

// The attribute name of a tag as the dictionary knows it ("patientName"),
// or "unknown".
std::string tagName(unsigned int tag);

// A tag written as "gggg,eeee", "(gggg,eeee)", "ggggeeee" or as a dictionary
// name ("patientName", "PatientName" or "T_0010_0010_patientName").
bool parseTag(const std::string& text, unsigned int& tag);

// The VR of an element as two letters; IM (from the dictionary) is resolved.
std::string vrName(unsigned int tag, int vr);

// The UID string of a built-in UID, or "" for none.
std::string uidString(int uid);
// Its description ("CT Image Storage").
std::string uidDescription(int uid);

}

#endif
