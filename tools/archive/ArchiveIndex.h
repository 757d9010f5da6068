#ifndef BRENIK3_ARCHIVE_ARCHIVEINDEX_H
#define BRENIK3_ARCHIVE_ARCHIVEINDEX_H

// The index of the archive: patients, studies, series and instances with
// their key attributes and counts. The logic is written once, in SQL that
// every back end understands; a back end supplies the connection.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "archive/Query.h"

namespace b3archive {

// One stored object as the index sees it: its key attribute values by tag
// and its file, relative to the archive's folder.
struct IndexedObject {
    std::map<unsigned int, std::string> values;
    std::string path;
};

// One answer to a query: the values of the keys of its level and above.
using Row = std::map<unsigned int, std::string>;

// One instance to retrieve.
struct RetrieveItem {
    std::string sopInstanceUid;
    std::string path;
};

class ArchiveIndex {
public:
    virtual ~ArchiveIndex() = default;

    // Creates the tables and indexes when missing. False with a reason.
    bool open(std::string& error);
    // Adds an object in one transaction, the counts of its series, study and
    // patient updated when it is new. An object already indexed is replaced
    // by the new file (same path), its counts unchanged.
    bool add(const IndexedObject& object, std::string& error);
    // Calls each for every match of query at its level, in order, until
    // each returns false.
    bool find(const Query& query, const std::function<bool(const Row&)>& each, std::string& error);
    // The instances below the matches of query.
    bool instances(const Query& query, std::vector<RetrieveItem>& items, std::string& error);
    // Calls each with every indexed file, one at a time, until each returns
    // false; each must not use the index.
    bool eachPath(const std::function<bool(const std::string&)>& each, std::string& error);
    // Removes the instance of a file, with the counts, and series, studies
    // and patients left empty.
    bool removePath(const std::string& path, std::string& error);
    // Empties every table.
    bool clear(std::string& error);

protected:
    // The back end's primitives. SQL uses '?' for the parameters.
    virtual bool exec(const std::string& sql, const std::vector<std::string>& params, std::string& error) = 0;
    // Runs a query; each row's columns as text (NULL as empty), until each
    // returns false.
    virtual bool select(const std::string& sql, const std::vector<std::string>& params,
                        const std::function<bool(const std::vector<std::string>&)>& each, std::string& error) = 0;
    virtual bool begin(std::string& error) = 0;
    virtual bool commit(std::string& error) = 0;
    virtual void rollback() = 0;
    // The column type of a generated primary key.
    virtual const char* keyType() const = 0;

private:
    // Adds the key columns of level that an older table lacks.
    bool addMissingColumns(Level level, std::string& error);
    bool selectOne(const std::string& sql, const std::vector<std::string>& params, std::string& value,
                   std::string& error);
    // The primary key of the row of table whose unique column is value,
    // created with the other columns when missing; created tells which.
    bool ensureRow(Level level, const std::string& parentColumn, const std::string& parentKey,
                   const IndexedObject& object, std::string& key, bool& created, std::string& error);
    bool addInTransaction(const IndexedObject& object, std::string& error);
    bool removeInTransaction(const std::string& path, std::string& error);
};

// The SQLite index in file path (created when missing).
std::unique_ptr<ArchiveIndex> openSqliteIndex(const std::string& path, std::string& error);
// The PostgreSQL index on the server of a libpq connection string.
std::unique_ptr<ArchiveIndex> openPostgresIndex(const std::string& conninfo, std::string& error);

}

#endif
