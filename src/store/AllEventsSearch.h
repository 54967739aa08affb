#pragma once

#include "store/Sqlite.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kelvane {

// The text search of the all-events view, shared by the grid and by `kelvane-query search`.
//
// The view's statement (FDQueryAllAllEvents) gives the AllEvents rows whose GID is the FID of a row of
// any event table in which one searched column contains the term. This runs its twenty sub-selects
// one by one and collects their FIDs in a bit set, instead of letting SQLite build the UNION and the
// IN list as two temporary b-trees: the rows are the same, found in about half the time, and what
// each table gives can be shown before the last table is read.

// A flag the caller sets to stop a running read; the read then throws SearchCancelled.
using CancelFlag = std::atomic_bool;

struct SearchCancelled : std::runtime_error {
    SearchCancelled() : std::runtime_error("search cancelled") {}
};

// Opens the database at path read-only for a reader on another thread; a missing file is an error,
// never a new empty database.
std::unique_ptr<sql::Database> openReadOnlyDatabase(const std::string& path);

// The FIDs that the search statement picks for term, sorted and unique. They can include FIDs that
// have no row in AllEvents (the statement drops those). afterTable runs after each table with the
// FIDs found so far, in order; it may be empty.
std::vector<std::int64_t>
searchEventIds(sql::Database& db, const QString& term, const CancelFlag* cancel = nullptr,
               const std::function<void(const std::vector<std::int64_t>&)>& afterTable = {});

// The same, the tables shared out among several connections to the same file, one thread each (the
// first on the calling thread). afterTable runs on any of them, one at a time.
std::vector<std::int64_t>
searchEventIds(std::span<sql::Database* const> readers, const QString& term,
               const CancelFlag* cancel = nullptr,
               const std::function<void(const std::vector<std::int64_t>&)>& afterTable = {});

// The search as kelvane-query prints it: the master rows in GID order, as the statement gives them.
struct MasterRow {
    QString utcTime;
    int eventType = 0;
    QString eventTypeName;
    std::int64_t gid = 0;
    QString correlationGuid;
    QString computer;
    QString ruleName;
};
std::vector<MasterRow> searchMasterRows(sql::Database& db, const QString& term);

// Reads the master rows of the given GIDs (in that order) from AllEvents; a GID without a row is left out.
class MasterRowReader {
public:
    explicit MasterRowReader(sql::Database& db);
    // False when AllEvents has no row of this GID.
    bool read(std::int64_t gid, MasterRow& row);
    // Every row of AllEvents in GID order.
    void readAll(const std::function<void(MasterRow&&)>& take);

private:
    sql::Database& m_db;
    sql::Statement m_stmt;
};

// Installs a progress handler that makes SQLite stop when cancel is set; removed on destruction.
class CancelGuard {
public:
    CancelGuard(sql::Database& db, const CancelFlag* cancel);
    ~CancelGuard();
    CancelGuard(const CancelGuard&) = delete;
    CancelGuard& operator=(const CancelGuard&) = delete;

private:
    sql::Database& m_db;
};

} // namespace kelvane
