// The shared index: a PostgreSQL database that several archives, on one or
// several machines, use together with one file store.
#include <libpq-fe.h>

#include "archive/ArchiveIndex.h"

namespace b3archive {

namespace {

// '?' marks become $1, $2... (the SQL of the index has no '?' in literals).
std::string numbered(const std::string& sql)
{
    std::string out;
    int n = 0;
    for (char c : sql) {
        if (c == '?')
            out += "$" + std::to_string(++n);
        else
            out += c;
    }
    return out;
}

class PostgresIndex : public ArchiveIndex {
public:
    ~PostgresIndex() override { PQfinish(conn); }
    bool connect(const std::string& conninfo, std::string& error);

protected:
    bool exec(const std::string& sql, const std::vector<std::string>& params, std::string& error) override
    {
        return select(sql, params, [](const std::vector<std::string>&) { return true; }, error);
    }
    bool select(const std::string& sql, const std::vector<std::string>& params,
                const std::function<bool(const std::vector<std::string>&)>& each, std::string& error) override;
    bool begin(std::string& error) override { return exec("BEGIN", {}, error); }
    bool commit(std::string& error) override { return exec("COMMIT", {}, error); }
    void rollback() override
    {
        std::string ignored;
        exec("ROLLBACK", {}, ignored);
    }
    const char* keyType() const override { return "BIGSERIAL"; }

private:
    PGconn* conn = nullptr;
};

bool PostgresIndex::connect(const std::string& conninfo, std::string& error)
{
    conn = PQconnectdb(conninfo.c_str());
    if (PQstatus(conn) != CONNECTION_OK) {
        error = PQerrorMessage(conn);
        return false;
    }
    // Two archives creating the tables at once would collide: one at a time.
    if (!exec("SELECT pg_advisory_lock(6171)", {}, error))
        return false;
    bool created = open(error);
    std::string ignored;
    exec("SELECT pg_advisory_unlock(6171)", {}, ignored);
    return created;
}

bool PostgresIndex::select(const std::string& sql, const std::vector<std::string>& params,
                           const std::function<bool(const std::vector<std::string>&)>& each, std::string& error)
{
    std::vector<const char*> values;
    for (const std::string& p : params)
        values.push_back(p.c_str());
    PGresult* result = PQexecParams(conn, numbered(sql).c_str(), static_cast<int>(values.size()), nullptr,
                                    values.data(), nullptr, nullptr, 0);
    ExecStatusType state = PQresultStatus(result);
    if (state != PGRES_COMMAND_OK && state != PGRES_TUPLES_OK) {
        error = PQresultErrorMessage(result);
        PQclear(result);
        return false;
    }
    int rows = PQntuples(result);
    int columns = PQnfields(result);
    std::vector<std::string> row;
    for (int r = 0; r < rows; r++) {
        row.assign(static_cast<size_t>(columns), std::string());
        for (int c = 0; c < columns; c++)
            row[static_cast<size_t>(c)] = PQgetvalue(result, r, c);
        if (!each(row))
            break;
    }
    PQclear(result);
    return true;
}

}

std::unique_ptr<ArchiveIndex> openPostgresIndex(const std::string& conninfo, std::string& error)
{
    std::unique_ptr<PostgresIndex> index(new PostgresIndex);
    if (!index->connect(conninfo, error))
        return nullptr;
    return index;
}

}
