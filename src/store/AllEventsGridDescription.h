#pragma once

#include "store/Sqlite.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <string>

namespace kelvane {

// What the all-events grid displays, told without widgets, for whoever has to reproduce it (the
// exports): its visible columns, and one SELECT that gives every row of its current result in the
// order the grid shows them.
//
// The SELECT is the view's search statement over AllEvents with the search text bound as :TermParam,
// ordered by the group columns first (in the order they were dragged to the strip; a group's value
// ascending, NULL first), then by the time column if it is sorted, then by GID. It returns exactly the
// visible columns, in order, so an exporter streams it with bindTerm() and writes each row as it comes.
// The grid's group rows are not rows of the result: an exporter that wants them starts a group
// whenever a group column's value changes.
class AllEventsGridDescription {
public:
    struct Column {
        QString field;
        QString caption;
    };

    QList<Column> columns;   // visible master columns, left to right
    QString term;            // the search text of the current result
    QStringList groupFields; // outermost group first; empty when not grouped
    QString sortField;       // empty, or the one sortable field (UtcTime)
    bool sortAscending = true;

    // The grid as it starts: every master column, all events, no grouping, no sort.
    static AllEventsGridDescription initial();

    std::string sql() const;
    // Binds term to the statement prepared from sql().
    void bindTerm(sql::Statement& stmt) const;
};

} // namespace kelvane
