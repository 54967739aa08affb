#include "store/DatabaseCheck.h"

#include "store/Schema.h"
#include "store/Sqlite.h"

#include <QFile>
#include <QFileInfo>

#include <set>

namespace kelvane {
namespace {

std::uint32_t bigEndian(const unsigned char* p, int bytes) {
    std::uint32_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | p[i];
    return v;
}

DatabaseCheck fromError(const sql::Error& e) {
    switch (e.code() & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return {DatabaseCheck::InUse, QString::fromUtf8(e.what())};
    case SQLITE_READONLY:
        // Only a journal left by an interrupted write makes a read-only connection refuse to read.
        return {DatabaseCheck::Damaged, "an interrupted write left its journal beside it"};
    default:
        return {DatabaseCheck::Damaged, QString::fromUtf8(e.what())};
    }
}

// A file whose header promises more pages than it holds was cut short.
QString cutShort(const QString& path, qint64 size) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray header = file.read(100);
    if (header.size() < 100)
        return QString("the file is cut short: %1 bytes").arg(size);
    const auto* h = reinterpret_cast<const unsigned char*>(header.constData());
    const std::uint32_t pageSize = bigEndian(h + 16, 2) == 1 ? 65536 : bigEndian(h + 16, 2);
    const std::uint32_t pages = bigEndian(h + 28, 4);
    // The page count in the header holds only when it was written by the same change as the counter.
    if (bigEndian(h + 24, 4) != bigEndian(h + 92, 4))
        return {};
    const qint64 expected = qint64(pageSize) * pages;
    if (size < expected)
        return QString("the file is cut short: %1 of %2 bytes").arg(size).arg(expected);
    return {};
}

} // namespace

QString DatabaseCheck::message() const {
    switch (state) {
    case Usable:
        return {};
    case Missing:
        return "There is no database file.";
    case Empty:
        return "There are no data to be loaded, import logs first!";
    case InUse:
        return "The database is in use by another program (" + detail + "). Close it there and try again.";
    case Damaged:
        return "The database is damaged (" + detail + "). Import the logs again.";
    case OtherVersion:
        return "The database was made by another version of Kelvane (" + detail + "). Import the logs again.";
    case NotKelvane:
        return "The file is not a Kelvane database.";
    }
    return {};
}

DatabaseCheck checkKelvaneDatabase(const QString& path, int waitMs) {
    const QFileInfo info(path);
    if (!info.isFile())
        return {DatabaseCheck::Missing, {}};
    if (info.size() == 0)
        return {DatabaseCheck::Empty, {}};
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {DatabaseCheck::InUse, file.errorString()};
        if (!file.read(16).startsWith(QByteArray("SQLite format 3\0", 16)))
            return {DatabaseCheck::NotKelvane, {}};
    }
    if (const QString cut = cutShort(path, info.size()); !cut.isEmpty())
        return {DatabaseCheck::Damaged, cut};

    try {
        sql::Database db(path.toStdString(), sql::Database::ReadOnly);
        sqlite3_busy_timeout(db.handle(), waitMs);
        std::set<std::string> tables;
        {
            auto names = db.prepare("SELECT name FROM sqlite_master WHERE type = 'table'");
            while (names.step())
                tables.emplace(names.columnText(0));
        }
        if (!tables.count("AllEvents") && !tables.count("KelvaneVersion"))
            return {DatabaseCheck::NotKelvane, {}};
        for (const TableDef& table : schema::tables()) {
            if (!tables.count(table.name))
                return {DatabaseCheck::OtherVersion, QString("it has no table %1").arg(table.name)};
            std::set<std::string> columns;
            auto info = db.prepare(std::string("PRAGMA table_info(\"") + table.name + "\")");
            while (info.step())
                columns.emplace(info.columnText(1));
            for (const FieldDef& field : table.fields)
                if (!columns.count(field.name))
                    return {DatabaseCheck::OtherVersion,
                            QString("its table %1 has no column %2").arg(table.name, field.name)};
            // The newest row of every table: a damaged end of a table shows here, without reading it all.
            // A table without row ids gives its first row instead.
            const std::string quoted = std::string("\"") + table.name + "\"";
            sql::Statement last;
            try {
                last = db.prepare("SELECT * FROM " + quoted + " ORDER BY rowid DESC LIMIT 1");
            } catch (const sql::Error&) {
                last = db.prepare("SELECT * FROM " + quoted + " LIMIT 1");
            }
            last.step();
        }
        auto version = db.prepare("SELECT SVersion FROM KelvaneVersion");
        // The version row is the import's first: without it no import ever ran.
        if (!version.step())
            return {DatabaseCheck::Empty, {}};
        const std::string_view text = version.columnText(0);
        if (text != schema::kDatabaseVersion)
            return {DatabaseCheck::OtherVersion,
                    QString("version %1").arg(QString::fromUtf8(text.data(), qsizetype(text.size())))};
    } catch (const sql::Error& e) {
        return fromError(e);
    }
    return {};
}

} // namespace kelvane
