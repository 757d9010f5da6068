#ifndef BRENIK3_ARCHIVE_KEYS_H
#define BRENIK3_ARCHIVE_KEYS_H

// The attributes the archive indexes: for each query/retrieve level, the
// keys a query can match on or ask for, and the column that holds each.
#include <string>
#include <vector>

class DcElem;
class DcElemList;

namespace b3archive {

enum Level { PATIENT = 0, STUDY = 1, SERIES = 2, IMAGE = 3 };

// How a key matches: the kinds follow the value representation.
enum KeyKind {
    KEY_TEXT,     // single value and wildcard, case-sensitive
    KEY_NAME,     // a person name: single value and wildcard, case-insensitive
    KEY_DATE,     // single value and range
    KEY_TIME,     // single value and range, a shorter bound matching by prefix
    KEY_UID,      // single value and list of UIDs
    KEY_MULTI,    // a multi-valued code string (modalities in study): one value matches
    KEY_COUNT,    // maintained by the archive; returned, never matched
    KEY_CHARSET   // the Specific Character Set of the object a row came from; returned, never matched
};

struct Key {
    unsigned int tag;
    Level level;
    const char* column;  // the table is the level's
    KeyKind kind;
};

// Every indexed key, by level in the order of the tables' columns.
const std::vector<Key>& keys();
// The key for tag, or null when the archive does not index it.
const Key* findKey(unsigned int tag);
// The time key that goes with a date key (Study Time with Study Date...),
// or null when date has none.
const Key* timeKeyOf(const Key& date);
// The table of a level.
const char* tableOf(Level level);
// The level named by a Query/Retrieve Level value ("STUDY"); false if none.
bool levelFromText(const std::string& text, Level& level);
const char* levelText(Level level);

// The value of an element as text, values joined by '\'; trailing and
// leading spaces removed. Empty for an element without value.
std::string elementText(DcElem& elem);
// The text of tag in list, empty when absent.
std::string valueOf(DcElemList& list, unsigned int tag);

}

#endif
