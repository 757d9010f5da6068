// The embedded index: one SQLite file beside the stored objects, shared by
// the archive's association processes (write-ahead log, busy wait).
#include <cstdint>
#include <sqlite3.h>

#include "archive/ArchiveIndex.h"

namespace b3archive {

namespace {

const int BUSY_TIMEOUT_MS = 30000;

// The length of the character at text: a whole UTF-8 sequence where one
// stands, otherwise one byte (the single-byte character sets).
size_t characterLength(const unsigned char* text, size_t left)
{
    unsigned char lead = text[0];
    size_t length = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead <= 0xEF ? 3 : lead >= 0xC2 && lead <= 0xDF ? 2 : 1;
    if (length > left)
        return 1;
    for (size_t i = 1; i < length; i++)
        if ((text[i] & 0xC0) != 0x80)
            return 1;
    return length;
}

// LIKE as the archive matches: byte for byte (the values are in whatever
// character set they arrived in, and SQLite's own LIKE reads bytes that are
// not UTF-8 as one and the same character), '%' any run of characters, '_'
// one character, escape taking the next pattern byte as it is.
bool likeMatches(const unsigned char* pattern, size_t patternLength, const unsigned char* text, size_t textLength,
                 int escape)
{
    size_t p = 0;
    size_t t = 0;
    size_t starPattern = SIZE_MAX;
    size_t starText = 0;
    while (t < textLength) {
        if (p < patternLength && pattern[p] == '%') {
            starPattern = ++p;
            starText = t;
            continue;
        }
        if (p < patternLength) {
            bool escaped = pattern[p] == escape && p + 1 < patternLength;
            unsigned char c = pattern[escaped ? p + 1 : p];
            if (!escaped && c == '_') {
                t += characterLength(text + t, textLength - t);
                p++;
                continue;
            }
            if (c == text[t]) {
                t++;
                p += escaped ? 2 : 1;
                continue;
            }
        }
        if (starPattern == SIZE_MAX)
            return false;
        // The last '%' takes one character more.
        starText += characterLength(text + starText, textLength - starText);
        t = starText;
        p = starPattern;
    }
    while (p < patternLength && pattern[p] == '%')
        p++;
    return p == patternLength;
}

// like(pattern, text[, escape]): what X LIKE Y [ESCAPE Z] calls.
void likeFunction(sqlite3_context* context, int argc, sqlite3_value** argv)
{
    for (int i = 0; i < argc; i++)
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL)
            return;
    const unsigned char* pattern = sqlite3_value_text(argv[0]);
    int patternLength = sqlite3_value_bytes(argv[0]);
    const unsigned char* text = sqlite3_value_text(argv[1]);
    int textLength = sqlite3_value_bytes(argv[1]);
    int escape = -1;
    if (argc == 3) {
        const unsigned char* given = sqlite3_value_text(argv[2]);
        if (given == nullptr || sqlite3_value_bytes(argv[2]) != 1) {
            sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
            return;
        }
        escape = given[0];
    }
    if (pattern == nullptr || text == nullptr)
        return;
    sqlite3_result_int(context, likeMatches(pattern, static_cast<size_t>(patternLength), text,
                                            static_cast<size_t>(textLength), escape));
}

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
    // Matching on anything but names is case-sensitive, bytes as stored.
    for (int args : {2, 3})
        if (sqlite3_create_function(db, "like", args, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, likeFunction,
                                    nullptr, nullptr) != SQLITE_OK)
            return failed(error);
    return exec("PRAGMA journal_mode = WAL", {}, error) && exec("PRAGMA synchronous = NORMAL", {}, error);
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
