#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvane {

namespace sql {
class Database;
}

// What a case holds beside its events: the files imported into it, and the identity of every event
// taken (computer, record id, time), so that an event imported twice is stored once. Kept in two
// tables of their own, which the Kelvane tables' count leaves out.
namespace casefiles {

struct ImportedFile {
    QString path;
    std::int64_t size = 0;
    QString sha256;
    std::int64_t eventsTaken = 0;
    std::int64_t eventsSkipped = 0;
    QString reason; // why events were skipped, or the file passed over; empty when none was
    QDateTime importedAt;
};

// Creates the two tables when they are missing.
void ensureTables(sql::Database& db);
// How many of sqlite_master's entries are the case's own (0 in a database of a single import of old).
int objectCount(sql::Database& db);

void addFile(sql::Database& db, const ImportedFile& file);
// In the order of import; empty when the database has no such table.
std::vector<ImportedFile> readFiles(sql::Database& db);

// The SHA-256 of a file, in lower-case hexadecimal; empty when it can't be read.
QString sha256(const QString& path);

} // namespace casefiles
} // namespace kelvane
