#pragma once

#include "store/Sqlite.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QVariant>

namespace kelvane {

// The row of one event in its type's table, as (column, value) pairs in the table's column order.
// Values are as stored: integers as qlonglong, texts as QString, NULL as an invalid QVariant.
using EventRow = QList<QPair<QString, QVariant>>;

// Reads the row whose FID is gid from `table`. Only the event tables of the catalogue are accepted,
// so no text from elsewhere ever reaches the SQL; any other name throws std::invalid_argument.
// A gid with no row gives an empty list.
EventRow readEventRow(sql::Database& db, const QString& table, qint64 gid);

// The value of `column` in `row` (names compared without regard to case), or an invalid QVariant.
QVariant eventRowValue(const EventRow& row, const QString& column);

} // namespace kelvane
