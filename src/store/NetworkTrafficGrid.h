#pragma once

#include "store/Sqlite.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace kelvane {

// What the map view's grid of one country's connections shows, without widgets: its columns in
// order and the SQL of its rows. The grid on screen and the exports read it from here.
class NetworkTrafficGrid {
public:
    struct Column {
        QString name;    // the column's control name
        QString field;   // of NetworkConnectionDetected
        QString caption; // the header
        int width = 0;   // pixels; 0 for the grid's default
    };

    static const std::vector<Column>& columns();
    static QStringList captions();
    // The column that opens a session window: the process GUID.
    static int linkColumn() { return 1; }

    // The query the grid stands on, with the parameter :Code.
    static std::string querySql();
    // The visible fields, in the columns' order, of the rows of :Code in the order the grid shows them.
    // The grid can't be sorted: rows stand in the table's order.
    static std::string rowsSql();

    // The country of the last click; empty before any.
    const QString& code() const { return m_code; }
    void setCode(const QString& code) { m_code = code; }

private:
    QString m_code;
};

// The rows of one country's connections as the grid shows them. One pass over the table finds them;
// their fields are read a page at a time by row id, so a click costs one scan however many rows
// the country has. The database must outlive the reader. Failures are sql::Error exceptions.
class NetworkTrafficRows {
public:
    static constexpr int kPageRows = 200;
    static constexpr size_t kMaxPages = 32;

    NetworkTrafficRows(sql::Database& db, const QString& code);

    int rowCount() const { return static_cast<int>(m_rowIds.size()); }
    int columnCount() const { return static_cast<int>(NetworkTrafficGrid::columns().size()); }
    // An invalid QVariant outside the rows, and for NULL.
    QVariant value(int row, int column);

private:
    const std::vector<QVariant>& page(int index);

    sql::Database& m_db;
    std::vector<std::int64_t> m_rowIds;
    std::unordered_map<int, std::vector<QVariant>> m_pages;
};

} // namespace kelvane
