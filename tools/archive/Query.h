#ifndef BRENIK3_ARCHIVE_QUERY_H
#define BRENIK3_ARCHIVE_QUERY_H

// A query identifier turned into SQL: which level, which keys match how,
// and which keys the answers carry.
#include <string>
#include <vector>

#include "archive/Keys.h"

class DcElemList;

namespace b3archive {

// Status values of the query/retrieve responses.
enum : unsigned short {
    QR_SUCCESS = 0x0000,
    QR_PENDING = 0xFF00,
    QR_CANCELED = 0xFE00,
    QR_SUBOPS_WARNING = 0xB000,
    QR_OUT_OF_RESOURCES = 0xA700,
    QR_SUBOPS_IMPOSSIBLE = 0xA702,
    QR_UNKNOWN_DESTINATION = 0xA801,
    QR_BAD_IDENTIFIER = 0xA900,
    QR_UNABLE_TO_PROCESS = 0xC000
};

// One matching condition, as SQL with '?' for each parameter.
struct Condition {
    std::string sql;
    std::vector<std::string> params;
};

struct Query {
    Level level = STUDY;
    std::vector<Condition> conditions;
    std::vector<unsigned int> requested;  // the identifier's tags, in order
};

// Reads the level and the keys of an identifier. False with the status to
// answer and a reason when the identifier cannot be served (no or unknown
// level, a malformed UID in a list). With combinedDateTime (the caller asked
// for it in its extended negotiation) a date key and its time key that both
// hold values, one of them a range, match as one date-time range: dates
// 20240101-20240102 with times 2200-0600 take 2024-01-01 22:00 to
// 2024-01-02 06:00. Otherwise each matches on its own.
bool parseQuery(DcElemList& identifier, Query& query, unsigned short& status, std::string& reason,
                bool combinedDateTime = false);

// The condition for one key and value; false with a reason when the value
// cannot match (a malformed UID). An empty or "*" value adds nothing.
bool conditionFor(const Key& key, const std::string& value, std::vector<Condition>& into, std::string& reason);

// The condition matching a date key and its time key as one date-time
// range; dates and times are their values (a single value or a range).
void dateTimeCondition(const Key& date, const Key& time, const std::string& dates, const std::string& times,
                       std::vector<Condition>& into);

// The FROM and WHERE clauses joining the tables from the patient down to
// level, with the conditions of query.
std::string fromWhere(const Query& query, Level level, std::vector<std::string>& params);

// Whether text is a syntactically valid UID.
bool isValidUid(const std::string& text);

}

#endif
