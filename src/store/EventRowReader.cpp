#include "store/EventRowReader.h"

#include "store/EventCatalogue.h"

#include <stdexcept>
#include <string>

namespace kelvane {

EventRow readEventRow(sql::Database& db, const QString& table, qint64 gid) {
    const std::string name = table.toStdString();
    const EventTypeInfo* type = catalogue::findByTable(name);
    if (!type)
        throw std::invalid_argument("Unknown event table: " + name);

    // The name pasted into the text is the catalogue's own, never the caller's.
    sql::Statement stmt = db.prepare(std::string("SELECT * FROM ") + type->table + " WHERE FID = ?");
    stmt.bind(1, static_cast<std::int64_t>(gid));
    EventRow row;
    if (!stmt.step())
        return row;
    const int columns = stmt.columnCount();
    row.reserve(columns);
    for (int c = 0; c < columns; ++c) {
        QVariant value;
        switch (stmt.columnType(c)) {
        case SQLITE_INTEGER:
            value = QVariant::fromValue<qlonglong>(stmt.columnInt64(c));
            break;
        case SQLITE_FLOAT:
            value = stmt.columnDouble(c);
            break;
        case SQLITE_NULL:
            break;
        default: {
            const std::string_view text = stmt.columnText(c);
            value = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
        }
        }
        row.append({QString::fromStdString(stmt.columnName(c)), value});
    }
    return row;
}

QVariant eventRowValue(const EventRow& row, const QString& column) {
    for (const auto& [name, value] : row)
        if (name.compare(column, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

} // namespace kelvane
