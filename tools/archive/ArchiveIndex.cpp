#include "archive/ArchiveIndex.h"

namespace b3archive {

namespace {

// The column that identifies a row of each level.
const char* const UNIQUE_COLUMN[] = {"patient_id", "study_uid", "series_uid", "sop_uid"};
// The column of each level that points at its parent.
const char* const PARENT_COLUMN[] = {"", "patient_pk", "study_pk", "series_pk"};

std::vector<const Key*> keysOf(Level level, bool withCounts)
{
    std::vector<const Key*> found;
    for (const Key& key : keys())
        if (key.level == level && (withCounts || key.kind != KEY_COUNT))
            found.push_back(&key);
    return found;
}

std::string valueIn(const IndexedObject& object, unsigned int tag)
{
    auto it = object.values.find(tag);
    return it == object.values.end() ? std::string() : it->second;
}

}

bool ArchiveIndex::open(std::string& error)
{
    for (int level = PATIENT; level <= IMAGE; level++) {
        Level l = static_cast<Level>(level);
        std::string sql = std::string("CREATE TABLE IF NOT EXISTS ") + tableOf(l) + " (pk " + keyType() +
                          " PRIMARY KEY";
        if (l != PATIENT)
            sql += std::string(", ") + PARENT_COLUMN[l] + " BIGINT NOT NULL";
        for (const Key* key : keysOf(l, true)) {
            sql += std::string(", ") + key->column;
            sql += key->kind == KEY_COUNT ? " INTEGER NOT NULL DEFAULT 0" : " TEXT NOT NULL DEFAULT ''";
            if (key->column == std::string(UNIQUE_COLUMN[l]))
                sql += " UNIQUE";
        }
        if (l == IMAGE)
            sql += ", path TEXT NOT NULL";
        sql += ")";
        if (!exec(sql, {}, error) || !addMissingColumns(l, error))
            return false;
        if (l != PATIENT && !exec(std::string("CREATE INDEX IF NOT EXISTS ") + tableOf(l) + "_parent ON " +
                                      tableOf(l) + " (" + PARENT_COLUMN[l] + ")",
                                  {}, error))
            return false;
    }
    return exec("CREATE INDEX IF NOT EXISTS patient_name_index ON patient (patient_name)", {}, error) &&
           exec("CREATE INDEX IF NOT EXISTS study_date_index ON study (study_date)", {}, error) &&
           exec("CREATE INDEX IF NOT EXISTS instance_path_index ON instance (path)", {}, error);
}

bool ArchiveIndex::addMissingColumns(Level level, std::string& error)
{
    // An index made by an earlier version lacks the keys added since; their
    // values stay empty until --reindex.
    for (const Key* key : keysOf(level, false)) {
        std::string ignored;
        std::string table = tableOf(level);
        if (select("SELECT " + std::string(key->column) + " FROM " + table + " WHERE 1 = 0", {},
                   [](const std::vector<std::string>&) { return true; }, ignored))
            continue;
        if (!exec("ALTER TABLE " + table + " ADD COLUMN " + key->column + " TEXT NOT NULL DEFAULT ''", {}, error))
            return false;
    }
    return true;
}

bool ArchiveIndex::selectOne(const std::string& sql, const std::vector<std::string>& params, std::string& value,
                             std::string& error)
{
    value.clear();
    return select(sql, params,
                  [&](const std::vector<std::string>& row) {
                      value = row.empty() ? "" : row[0];
                      return false;
                  },
                  error);
}

bool ArchiveIndex::ensureRow(Level level, const std::string& parentColumn, const std::string& parentKey,
                             const IndexedObject& object, std::string& key, bool& created, std::string& error)
{
    std::string table = tableOf(level);
    std::string columns;
    std::string marks;
    std::vector<std::string> params;
    if (!parentColumn.empty()) {
        columns = parentColumn;
        marks = "?";
        params.push_back(parentKey);
    }
    for (const Key* k : keysOf(level, false)) {
        columns += (columns.empty() ? "" : ", ") + std::string(k->column);
        marks += marks.empty() ? "?" : ", ?";
        params.push_back(valueIn(object, k->tag));
    }
    if (level == IMAGE) {
        columns += ", path";
        marks += ", ?";
        params.push_back(object.path);
    }
    std::string sql = "INSERT INTO " + table + " (" + columns + ") VALUES (" + marks + ") ON CONFLICT (" +
                      UNIQUE_COLUMN[level] + ") DO NOTHING RETURNING pk";
    if (!selectOne(sql, params, key, error))
        return false;
    created = !key.empty();
    if (created)
        return true;
    std::string unique = valueIn(object, keysOf(level, false)[0]->tag);
    return selectOne("SELECT pk FROM " + table + " WHERE " + UNIQUE_COLUMN[level] + " = ?", {unique}, key, error);
}

bool ArchiveIndex::addInTransaction(const IndexedObject& object, std::string& error)
{
    std::string keysFound[4];
    bool created[4] = {};
    for (int level = PATIENT; level <= IMAGE; level++) {
        Level l = static_cast<Level>(level);
        if (!ensureRow(l, PARENT_COLUMN[l], level > 0 ? keysFound[level - 1] : "", object, keysFound[level],
                       created[level], error))
            return false;
    }
    if (!created[IMAGE])
        return exec("UPDATE instance SET path = ? WHERE pk = ?", {object.path, keysFound[IMAGE]}, error);
    std::string series = created[SERIES] ? "1" : "0";
    std::string study = created[STUDY] ? "1" : "0";
    if (!exec("UPDATE series SET n_instances = n_instances + 1 WHERE pk = ?", {keysFound[SERIES]}, error) ||
        !exec("UPDATE study SET n_instances = n_instances + 1, n_series = n_series + ? WHERE pk = ?",
              {series, keysFound[STUDY]}, error) ||
        !exec("UPDATE patient SET n_instances = n_instances + 1, n_series = n_series + ?, n_studies = n_studies + ? "
              "WHERE pk = ?",
              {series, study, keysFound[PATIENT]}, error))
        return false;
    if (!created[SERIES])
        return true;
    std::string modalities;
    bool ok = select("SELECT DISTINCT modality FROM series WHERE study_pk = ? AND modality <> '' ORDER BY modality",
                     {keysFound[STUDY]},
                     [&](const std::vector<std::string>& row) {
                         modalities += (modalities.empty() ? "" : "\\") + row[0];
                         return true;
                     },
                     error);
    return ok && exec("UPDATE study SET modalities = ? WHERE pk = ?", {modalities, keysFound[STUDY]}, error);
}

bool ArchiveIndex::add(const IndexedObject& object, std::string& error)
{
    if (!begin(error))
        return false;
    if (!addInTransaction(object, error)) {
        rollback();
        return false;
    }
    return commit(error);
}

bool ArchiveIndex::find(const Query& query, const std::function<bool(const Row&)>& each, std::string& error)
{
    std::vector<const Key*> columns;
    std::string sql = "SELECT ";
    for (int level = PATIENT; level <= query.level; level++) {
        for (const Key* key : keysOf(static_cast<Level>(level), true)) {
            sql += std::string(columns.empty() ? "" : ", ") + tableOf(key->level) + "." + key->column;
            columns.push_back(key);
        }
    }
    std::vector<std::string> params;
    sql += fromWhere(query, query.level, params) + " ORDER BY " + tableOf(query.level) + ".pk";
    return select(sql, params,
                  [&](const std::vector<std::string>& values) {
                      Row row;
                      for (size_t i = 0; i < columns.size() && i < values.size(); i++)
                          row[columns[i]->tag] = values[i];
                      return each(row);
                  },
                  error);
}

bool ArchiveIndex::instances(const Query& query, std::vector<RetrieveItem>& items, std::string& error)
{
    std::vector<std::string> params;
    std::string sql = "SELECT instance.sop_uid, instance.path" + fromWhere(query, IMAGE, params) +
                      " ORDER BY instance.pk";
    return select(sql, params,
                  [&](const std::vector<std::string>& row) {
                      items.push_back({row[0], row[1]});
                      return true;
                  },
                  error);
}

bool ArchiveIndex::eachPath(const std::function<bool(const std::string&)>& each, std::string& error)
{
    return select("SELECT path FROM instance ORDER BY pk", {},
                  [&](const std::vector<std::string>& row) { return each(row[0]); }, error);
}

bool ArchiveIndex::removeInTransaction(const std::string& path, std::string& error)
{
    std::vector<std::string> found;
    bool ok = select("SELECT instance.pk, series.pk, study.pk, patient.pk FROM instance JOIN series ON series.pk = "
                     "instance.series_pk JOIN study ON study.pk = series.study_pk JOIN patient ON patient.pk = "
                     "study.patient_pk WHERE instance.path = ?",
                     {path},
                     [&](const std::vector<std::string>& row) {
                         found = row;
                         return false;
                     },
                     error);
    if (!ok || found.size() != 4)
        return ok;
    const std::string& series = found[1];
    const std::string& study = found[2];
    const std::string& patient = found[3];
    std::string left;
    if (!exec("DELETE FROM instance WHERE pk = ?", {found[0]}, error) ||
        !exec("UPDATE series SET n_instances = n_instances - 1 WHERE pk = ?", {series}, error) ||
        !selectOne("SELECT n_instances FROM series WHERE pk = ?", {series}, left, error))
        return false;
    std::string seriesGone = left == "0" ? "1" : "0";
    if (seriesGone == "1" && !exec("DELETE FROM series WHERE pk = ?", {series}, error))
        return false;
    if (!exec("UPDATE study SET n_instances = n_instances - 1, n_series = n_series - ? WHERE pk = ?",
              {seriesGone, study}, error) ||
        !selectOne("SELECT n_series FROM study WHERE pk = ?", {study}, left, error))
        return false;
    std::string studyGone = left == "0" ? "1" : "0";
    if (studyGone == "1" && !exec("DELETE FROM study WHERE pk = ?", {study}, error))
        return false;
    if (!exec("UPDATE patient SET n_instances = n_instances - 1, n_series = n_series - ?, n_studies = n_studies - ? "
              "WHERE pk = ?",
              {seriesGone, studyGone, patient}, error))
        return false;
    return exec("DELETE FROM patient WHERE pk = ? AND n_studies = 0", {patient}, error);
}

bool ArchiveIndex::removePath(const std::string& path, std::string& error)
{
    if (!begin(error))
        return false;
    if (!removeInTransaction(path, error)) {
        rollback();
        return false;
    }
    return commit(error);
}

bool ArchiveIndex::clear(std::string& error)
{
    for (const char* table : {"instance", "series", "study", "patient"})
        if (!exec(std::string("DELETE FROM ") + table, {}, error))
            return false;
    return true;
}

}
