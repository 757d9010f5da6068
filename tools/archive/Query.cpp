#include "archive/Query.h"

#include <map>
#include <set>

#include <Brenik3.h>

namespace b3archive {

namespace {

const unsigned int TAG_LEVEL = 0x00080052;
const unsigned int TAG_CHARSET = 0x00080005;
const char LIKE_ESCAPE = '!';

std::string column(const Key& key)
{
    return std::string(tableOf(key.level)) + "." + key.column;
}

bool hasWildcard(const std::string& value)
{
    return value.find_first_of("*?") != std::string::npos;
}

// A wildcard value as a LIKE pattern: '*' is '%', '?' is '_', and the
// pattern characters of the value itself are escaped.
std::string likePattern(const std::string& value)
{
    std::string pattern;
    for (char c : value) {
        if (c == '*')
            pattern += '%';
        else if (c == '?')
            pattern += '_';
        else {
            if (c == '%' || c == '_' || c == LIKE_ESCAPE)
                pattern += LIKE_ESCAPE;
            pattern += c;
        }
    }
    return pattern;
}

std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t end = text.find('\\', start);
        parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

// The two ends of a range value; a single value is both.
void rangeEnds(const std::string& value, std::string& low, std::string& high)
{
    size_t dash = value.find('-');
    low = value.substr(0, dash);
    high = dash == std::string::npos ? low : value.substr(dash + 1);
}

bool matchesAll(const std::string& value)
{
    return value.empty() || value == "*";
}

void rangeCondition(const Key& key, const std::string& value, std::vector<Condition>& into)
{
    std::string low, high;
    rangeEnds(value, low, high);
    std::string col = column(key);
    Condition c;
    c.sql = "(" + col + " <> ''";
    if (!low.empty()) {
        c.sql += " AND " + col + " >= ?";
        c.params.push_back(low);
    }
    if (!high.empty()) {
        // A shorter upper bound takes everything it is a prefix of: 12 ends at 125959.
        c.sql += " AND substr(" + col + ", 1, " + std::to_string(high.size()) + ") <= ?";
        c.params.push_back(high);
    }
    c.sql += ")";
    into.push_back(c);
}

}

void dateTimeCondition(const Key& date, const Key& time, const std::string& dates, const std::string& times,
                       std::vector<Condition>& into)
{
    std::string lowDate, highDate, lowTime, highTime;
    rangeEnds(dates, lowDate, highDate);
    rangeEnds(times, lowTime, highTime);
    std::string stamp = "(" + column(date) + " || " + column(time) + ")";
    Condition c;
    c.sql = "(" + column(date) + " <> ''";
    // An open date end leaves that end open whatever the time says; an open
    // time end takes the whole day.
    if (!lowDate.empty()) {
        c.sql += " AND " + stamp + " >= ?";
        c.params.push_back(lowDate + lowTime);
    }
    if (!highDate.empty()) {
        std::string high = highDate + highTime;
        // A shorter upper bound takes everything it is a prefix of.
        c.sql += " AND substr(" + stamp + ", 1, " + std::to_string(high.size()) + ") <= ?";
        c.params.push_back(high);
    }
    c.sql += ")";
    into.push_back(c);
}

bool isValidUid(const std::string& text)
{
    if (text.empty() || text.size() > DICT_UID_MAX || text.front() == '.' || text.back() == '.')
        return false;
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c == '.') {
            if (text[i - 1] == '.')
                return false;
        } else if (c < '0' || c > '9') {
            return false;
        } else if (c == '0' && (i == 0 || text[i - 1] == '.') && i + 1 < text.size() && text[i + 1] != '.') {
            return false;  // a component with a leading zero
        }
    }
    return true;
}

bool conditionFor(const Key& key, const std::string& value, std::vector<Condition>& into, std::string& reason)
{
    if (value.empty() || value == "*" || key.kind == KEY_COUNT || key.kind == KEY_CHARSET)
        return true;
    std::string col = column(key);
    switch (key.kind) {
    case KEY_UID: {
        std::vector<std::string> uids = split(value);
        Condition c;
        for (const std::string& uid : uids) {
            if (!isValidUid(uid)) {
                reason = "malformed UID '" + uid + "' in " + key.column;
                return false;
            }
            c.sql += c.sql.empty() ? col + " IN (?" : ", ?";
            c.params.push_back(uid);
        }
        c.sql += ")";
        into.push_back(c);
        return true;
    }
    case KEY_DATE:
    case KEY_TIME:
        if (value.find('-') != std::string::npos) {
            rangeCondition(key, value, into);
            return true;
        }
        into.push_back({col + " = ?", {value}});
        return true;
    case KEY_NAME:
        if (hasWildcard(value))
            into.push_back({"UPPER(" + col + ") LIKE UPPER(?) ESCAPE '!'", {likePattern(value)}});
        else
            into.push_back({"UPPER(" + col + ") = UPPER(?)", {value}});
        return true;
    case KEY_MULTI: {
        // Any one of the values given matches any one of the values held.
        Condition c;
        for (const std::string& one : split(value)) {
            c.sql += c.sql.empty() ? "(" : " OR ";
            c.sql += "('\\' || " + col + " || '\\') LIKE ? ESCAPE '!'";
            c.params.push_back("%\\" + likePattern(one) + "\\%");
        }
        c.sql += ")";
        into.push_back(c);
        return true;
    }
    default:
        if (hasWildcard(value))
            into.push_back({col + " LIKE ? ESCAPE '!'", {likePattern(value)}});
        else
            into.push_back({col + " = ?", {value}});
        return true;
    }
}

bool parseQuery(DcElemList& identifier, Query& query, unsigned short& status, std::string& reason,
                bool combinedDateTime)
{
    std::string levelValue = valueOf(identifier, TAG_LEVEL);
    if (!levelFromText(levelValue, query.level)) {
        status = QR_BAD_IDENTIFIER;
        reason = "no valid query/retrieve level ('" + levelValue + "')";
        return false;
    }
    // The matching keys' values, by tag, before any is turned into SQL: a
    // date key may need its time key.
    std::map<unsigned int, std::string> matching;
    for (DcElem* elem = identifier.first(); elem != nullptr; elem = elem->next()) {
        unsigned int tag = 0;
        elem->getTag(tag);
        if (tag == TAG_LEVEL || tag == TAG_CHARSET || (tag >> 16) == 0x0002)
            continue;
        query.requested.push_back(tag);
        const Key* key = findKey(tag);
        // Keys the archive does not index, and keys below the level, match
        // everything; they come back empty.
        if (key != nullptr && key->level <= query.level)
            matching[tag] = elementText(*elem);
    }
    std::set<unsigned int> done;
    for (const auto& entry : matching) {
        const Key& key = *findKey(entry.first);
        const Key* time = combinedDateTime ? timeKeyOf(key) : nullptr;
        auto times = time != nullptr ? matching.find(time->tag) : matching.end();
        if (times != matching.end() && !matchesAll(entry.second) && !matchesAll(times->second) &&
            (entry.second.find('-') != std::string::npos || times->second.find('-') != std::string::npos)) {
            dateTimeCondition(key, *time, entry.second, times->second, query.conditions);
            done.insert(time->tag);
            continue;
        }
        if (done.count(entry.first) != 0)
            continue;
        if (!conditionFor(key, entry.second, query.conditions, reason)) {
            status = QR_BAD_IDENTIFIER;
            return false;
        }
    }
    return true;
}

std::string fromWhere(const Query& query, Level level, std::vector<std::string>& params)
{
    std::string sql = " FROM patient";
    if (level >= STUDY)
        sql += " JOIN study ON study.patient_pk = patient.pk";
    if (level >= SERIES)
        sql += " JOIN series ON series.study_pk = study.pk";
    if (level >= IMAGE)
        sql += " JOIN instance ON instance.series_pk = series.pk";
    for (size_t i = 0; i < query.conditions.size(); i++) {
        sql += i == 0 ? " WHERE " : " AND ";
        sql += query.conditions[i].sql;
        params.insert(params.end(), query.conditions[i].params.begin(), query.conditions[i].params.end());
    }
    return sql;
}

}
