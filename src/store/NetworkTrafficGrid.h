#pragma once

#include <QString>
#include <QStringList>

#include <string>
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

} // namespace kelvane
