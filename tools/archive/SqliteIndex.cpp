// The embedded index: one SQLite file beside the stored objects, shared by
// the archive's association processes (write-ahead log, busy wait).
#include <sqlite3.h>

#include "archive/ArchiveIndex.h"

namespace b3archive {

namespace {

const int BUSY_TIMEOUT_MS = 30000;

class SqliteIndex : public ArchiveIndex {
public:
    ~SqliteIndex() override { sqlite3_close(db); }
    bool connect(const std::string& path, std::string& error);

protected:
    bool exec(const std::string& sql, const std::vector<std::string>& params, std::string& error) override
    {
        return select(sql, params, [](const std::vector<std::string>&) { return true; }, error);
    }
    bool select(const std::string& sql, const std::vector<std::string>& params,
                const std::function<bool(const std::vector<std::string>&)>& each, std::string& error) override;
    bool begin(std::string& error) override { return exec("BEGIN IMMEDIATE", {}, error); }
    bool commit(std::string& error) override { return exec("COMMIT", {}, error); }
    void rollback() override
    {
        std::string ignored;
        exec("ROLLBACK", {}, ignored);
    }
    const char* keyType() const override { return "INTEGER"; }

private:
    sqlite3* db = nullptr;
    bool failed(std::string& error)
    {
        error = sqlite3_errmsg(db);
        return false;
    }
};

bool SqliteIndex::connect(const std::string& path, std::string& error)
{
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        return failed(error);
    sqlite3_busy_timeout(db, BUSY_TIMEOUT_MS);
    // Matching on anything but names is case-sensitive.
    return exec("PRAGMA journal_mode = WAL", {}, error) && exec("PRAGMA synchronous = NORMAL", {}, error) &&
           exec("PRAGMA case_sensitive_like = ON", {}, error);
}

bool SqliteIndex::select(const std::string& sql, const std::vector<std::string>& params,
                         const std::function<bool(const std::vector<std::string>&)>& each, std::string& error)
{
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK)
        return failed(error);
    for (size_t i = 0; i < params.size(); i++)
        sqlite3_bind_text(stmt, static_cast<int>(i + 1), params[i].c_str(), static_cast<int>(params[i].size()),
                          SQLITE_TRANSIENT);
    int step;
    std::vector<std::string> row;
    while ((step = sqlite3_step(stmt)) == SQLITE_ROW) {
        int columns = sqlite3_column_count(stmt);
        row.assign(static_cast<size_t>(columns), std::string());
        for (int c = 0; c < columns; c++) {
            const unsigned char* text = sqlite3_column_text(stmt, c);
            if (text != nullptr)
                row[static_cast<size_t>(c)] = reinterpret_cast<const char*>(text);
        }
        if (!each(row)) {
            step = SQLITE_DONE;
            break;
        }
    }
    bool ok = step == SQLITE_DONE;
    if (!ok)
        error = sqlite3_errmsg(db);
    sqlite3_finalize(stmt);
    return ok;
}

}

std::unique_ptr<ArchiveIndex> openSqliteIndex(const std::string& path, std::string& error)
{
    std::unique_ptr<SqliteIndex> index(new SqliteIndex);
    if (!index->connect(path, error) || !index->open(error))
        return nullptr;
    return index;
}

}
