#ifndef BRENIK3_TOOLS_CURRENTUIDS_H
#define BRENIK3_TOOLS_CURRENTUIDS_H

#include <string>

#include <Brenik3.h>

namespace b3tool {

// One UID of the current standard's registry (generated tables, CurrentUids.cpp).
struct CurrentUid {
    const char* uid;
    const char* name;
    bool retired;
};

// Every storage SOP class and every transfer syntax, each ended by a null row.
extern const CurrentUid currentStorageSopClasses[];
extern const CurrentUid currentTransferSyntaxes[];

// The row of a storage SOP class or transfer syntax, or null.
const CurrentUid* findStorageSopClass(const std::string& uid);
const CurrentUid* findTransferSyntax(const std::string& uid);

// The dictionary's identifier of a UID, which is added to the process's
// dictionary (named from the tables) when it is missing; UID_NONE when it
// cannot be (not a UID, or the dictionary is full).
DICT_UID dictUid(const std::string& uid, DICT_UID_TYPE type);

// A UID's name: the dictionary's, the tables', or the UID itself.
std::string describeUid(const std::string& uid);

// The UID string of a dictionary identifier ("" for none).
std::string uidText(DICT_UID uid);

// Whether the syntax is one of the three whose bytes the library can
// rewrite into each other (no encapsulated pixel data, not deflated).
bool isUncompressed(DICT_UID xferSyn);

}

#endif
