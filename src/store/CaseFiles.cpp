#include "store/CaseFiles.h"

#include "store/Sqlite.h"

#include <QCryptographicHash>
#include <QFile>

namespace kelvane::casefiles {

void ensureTables(sql::Database& db) {
    db.exec("CREATE TABLE IF NOT EXISTS CaseFiles (Id INTEGER PRIMARY KEY, Path TEXT, Size INTEGER, "
            "Sha256 TEXT, EventsTaken INTEGER, EventsSkipped INTEGER, Reason TEXT, ImportedAt TEXT);"
            "CREATE TABLE IF NOT EXISTS CaseEvents (Computer TEXT, RecordId TEXT, UtcTime TEXT, "
            "PRIMARY KEY (Computer, RecordId, UtcTime)) WITHOUT ROWID;");
}

int objectCount(sql::Database& db) {
    auto stmt =
        db.prepare("SELECT COUNT(name) FROM sqlite_master WHERE tbl_name IN ('CaseFiles', 'CaseEvents')");
    return stmt.step() ? static_cast<int>(stmt.columnInt64(0)) : 0;
}

void addFile(sql::Database& db, const ImportedFile& file) {
    auto stmt = db.prepare("INSERT INTO CaseFiles (Path, Size, Sha256, EventsTaken, EventsSkipped, Reason, "
                           "ImportedAt) VALUES (?, ?, ?, ?, ?, ?, ?)");
    const std::string path = file.path.toStdString(), hash = file.sha256.toStdString(),
                      reason = file.reason.toStdString(),
                      when = file.importedAt.toUTC().toString("yyyy-MM-dd hh:mm:ss").toStdString();
    stmt.bind(1, std::string_view(path));
    stmt.bind(2, file.size);
    stmt.bind(3, std::string_view(hash));
    stmt.bind(4, file.eventsTaken);
    stmt.bind(5, file.eventsSkipped);
    stmt.bind(6, std::string_view(reason));
    stmt.bind(7, std::string_view(when));
    stmt.step();
}

std::vector<ImportedFile> readFiles(sql::Database& db) {
    std::vector<ImportedFile> files;
    if (objectCount(db) == 0)
        return files;
    auto stmt = db.prepare("SELECT Path, Size, Sha256, EventsTaken, EventsSkipped, Reason, ImportedAt "
                           "FROM CaseFiles ORDER BY Id");
    while (stmt.step()) {
        ImportedFile file;
        file.path = QString::fromUtf8(stmt.columnText(0));
        file.size = stmt.columnInt64(1);
        file.sha256 = QString::fromUtf8(stmt.columnText(2));
        file.eventsTaken = stmt.columnInt64(3);
        file.eventsSkipped = stmt.columnInt64(4);
        file.reason = QString::fromUtf8(stmt.columnText(5));
        file.importedAt = QDateTime::fromString(QString::fromUtf8(stmt.columnText(6)), "yyyy-MM-dd hh:mm:ss");
        file.importedAt.setTimeSpec(Qt::UTC);
        files.push_back(file);
    }
    return files;
}

QString sha256(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&file))
        return QString();
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace kelvane::casefiles
