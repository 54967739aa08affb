#pragma once

#include "output/ExportErrors.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace kelvane::sql {
class Database;
}

namespace kelvane::output {

struct GridColumn {
    QString field;   // the column of the rows' SQL
    QString caption; // the header as the grid shows it
};

// What a grid shows, as the exports need it: the visible columns in their order, and the SQL that
// gives its rows in display order, with the grid's filter, sort and grouping applied.
struct GridDescription {
    QString title; // the report's heading and the sheet's name
    std::vector<GridColumn> columns;
    QString sql;
    QVariantList parameters; // bound in order to the SQL's parameters
    // Grouped by these, outermost first; the SQL must order by them before anything else.
    std::vector<GridColumn> groups;
    // Whether the group at this path of values (outermost first) is open; rows of a closed group are
    // left out, its heading stays. Unset: every group is written open.
    std::function<bool(const QStringList& path)> groupExpanded;
    std::int64_t rowCount = -1; // when known, for the progress shown
};

// One value as the database holds it. Text points into the current row and is valid until the next.
struct Cell {
    enum class Kind { Null, Integer, Real, Text, DateTime, Boolean };
    Kind kind = Kind::Null;
    std::int64_t integer = 0;
    double real = 0;
    std::string_view text;

    // The words a grid shows for it.
    QString display() const;
};

// The days since 1899-12-30, with the time as the fraction, of a stored "yyyy-mm-dd hh:nn:ss.zzz";
// nothing for text of another form.
std::optional<double> dateSerial(std::string_view text);

// Receives the grid in display order.
class GridSink {
public:
    virtual ~GridSink() = default;
    virtual void begin(const GridDescription& grid) = 0;
    // A group's heading row, at its nesting level (0 outermost).
    virtual void group(int level, const GridColumn& column, const Cell& value) = 0;
    virtual void row(std::span<const Cell> cells) = 0;
    // All rows are written; the file is complete after this.
    virtual void finish() = 0;
};

// Runs the grid's SQL on db and hands its rows to sink, without holding them. Columns are matched by
// name, without regard to case; a date column (declared DATETIME) gives DateTime cells, a BIT column
// Boolean ones. Throws ExportError for a column the rows don't have, sql::Error for a fault of the
// database, ExportCancelled when progress says stop. Gives the number of data rows written.
std::int64_t exportGrid(sql::Database& db, const GridDescription& grid, GridSink& sink,
                        const ExportProgress& progress = {});

// A grid with no data behind it: the header alone.
void exportEmptyGrid(const GridDescription& grid, GridSink& sink);

// The file name with its extension made ext, whatever was typed ("report.txt" -> "report.html").
QString withForcedExtension(const QString& fileName, const QString& ext);

} // namespace kelvane::output
