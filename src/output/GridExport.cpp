#include "output/GridExport.h"

#include "store/Sqlite.h"

#include <QFileInfo>

#include <charconv>

namespace kelvane::output {
namespace {

constexpr std::int64_t kProgressEvery = 2048;

Cell::Kind declaredKind(const char* declared) {
    if (!declared)
        return Cell::Kind::Null;
    const QByteArray type = QByteArray(declared).toUpper();
    if (type == "DATETIME" || type == "DATE" || type == "TIMESTAMP")
        return Cell::Kind::DateTime;
    if (type == "BIT" || type == "BOOLEAN")
        return Cell::Kind::Boolean;
    return Cell::Kind::Null;
}

Cell readCell(const sql::Statement& stmt, int col, Cell::Kind declared) {
    Cell cell;
    switch (stmt.columnType(col)) {
    case SQLITE_NULL:
        return cell;
    case SQLITE_INTEGER:
        cell.integer = stmt.columnInt64(col);
        cell.kind = declared == Cell::Kind::Boolean ? Cell::Kind::Boolean : Cell::Kind::Integer;
        return cell;
    case SQLITE_FLOAT:
        cell.real = stmt.columnDouble(col);
        cell.kind = Cell::Kind::Real;
        return cell;
    default:
        cell.text = stmt.columnText(col);
        cell.kind = declared == Cell::Kind::DateTime ? Cell::Kind::DateTime : Cell::Kind::Text;
        return cell;
    }
}

int columnIndex(const sql::Statement& stmt, const QString& field) {
    for (int i = 0; i < stmt.columnCount(); ++i)
        if (QString::fromStdString(stmt.columnName(i)).compare(field, Qt::CaseInsensitive) == 0)
            return i;
    throw ExportError(QString("The grid has no column %1 to export.").arg(field));
}

void bindParameters(sql::Statement& stmt, const QVariantList& parameters) {
    for (int i = 0; i < parameters.size(); ++i) {
        const QVariant& value = parameters.at(i);
        switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Bool:
            stmt.bind(i + 1, static_cast<std::int64_t>(value.toLongLong()));
            break;
        case QMetaType::Double:
            stmt.bind(i + 1, value.toDouble());
            break;
        default:
            if (value.isNull())
                stmt.bindNull(i + 1);
            else
                stmt.bind(i + 1, std::string_view(value.toString().toStdString()));
        }
    }
}

bool twoDigits(std::string_view s, size_t at, int& out) {
    return std::from_chars(s.data() + at, s.data() + at + 2, out).ptr == s.data() + at + 2;
}

// Days from 1970-01-01 of a civil date (proleptic Gregorian).
std::int64_t daysFromCivil(int y, int m, int d) {
    y -= m <= 2;
    const int era = (y >= 0 ? y : y - 399) / 400;
    const int yoe = y - era * 400;
    const int doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return std::int64_t(era) * 146097 + doe - 719468;
}

} // namespace

QString Cell::display() const {
    switch (kind) {
    case Kind::Null:
        return {};
    case Kind::Integer:
        return QString::number(integer);
    case Kind::Real:
        return QString::number(real, 'g', 15);
    case Kind::Boolean:
        return integer ? QStringLiteral("True") : QStringLiteral("False");
    case Kind::Text:
    case Kind::DateTime:
        break;
    }
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::optional<double> dateSerial(std::string_view s) {
    // yyyy-mm-dd hh:nn:ss[.zzz]
    if (s.size() < 19 || s[4] != '-' || s[7] != '-' || (s[10] != ' ' && s[10] != 'T') || s[13] != ':' ||
        s[16] != ':')
        return std::nullopt;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, msec = 0;
    if (std::from_chars(s.data(), s.data() + 4, year).ptr != s.data() + 4 || !twoDigits(s, 5, month) ||
        !twoDigits(s, 8, day) || !twoDigits(s, 11, hour) || !twoDigits(s, 14, minute) ||
        !twoDigits(s, 17, second))
        return std::nullopt;
    if (s.size() > 19) {
        if (s[19] != '.' || s.size() > 23)
            return std::nullopt;
        const auto digits = s.substr(20);
        if (digits.empty() || std::from_chars(digits.data(), digits.data() + digits.size(), msec).ptr !=
                                  digits.data() + digits.size())
            return std::nullopt;
        for (size_t i = digits.size(); i < 3; ++i)
            msec *= 10;
    }
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    const std::int64_t days = daysFromCivil(year, month, day) - daysFromCivil(1899, 12, 30);
    return double(days) + (hour * 3600000.0 + minute * 60000.0 + second * 1000.0 + msec) / 86400000.0;
}

std::int64_t exportGrid(sql::Database& db, const GridDescription& grid, GridSink& sink,
                        const ExportProgress& progress) {
    sql::Statement stmt = db.prepare(grid.sql.toStdString());
    bindParameters(stmt, grid.parameters);

    std::vector<int> indexes;
    std::vector<Cell::Kind> declared;
    for (const GridColumn& column : grid.columns) {
        indexes.push_back(columnIndex(stmt, column.field));
        declared.push_back(declaredKind(sqlite3_column_decltype(stmt.handle(), indexes.back())));
    }
    std::vector<int> groupIndexes;
    std::vector<Cell::Kind> groupDeclared;
    for (const GridColumn& column : grid.groups) {
        groupIndexes.push_back(columnIndex(stmt, column.field));
        groupDeclared.push_back(declaredKind(sqlite3_column_decltype(stmt.handle(), groupIndexes.back())));
    }

    sink.begin(grid);
    std::vector<Cell> cells(indexes.size());
    QStringList path;                        // the current group values, outermost first
    int openDepth = int(grid.groups.size()); // groups open down to here; rows show when all are
    bool first = true;
    std::int64_t rows = 0;
    std::int64_t seen = 0;
    while (stmt.step()) {
        if (!grid.groups.empty()) {
            // The outermost group whose value changed, and everything inside it, starts anew.
            int changed = first ? 0 : -1;
            for (size_t g = 0; changed < 0 && g < groupIndexes.size(); ++g)
                if (readCell(stmt, groupIndexes[g], groupDeclared[g]).display() != path.at(qsizetype(g)))
                    changed = int(g);
            first = false;
            if (changed >= 0) {
                path = path.mid(0, changed);
                if (changed <= openDepth)
                    openDepth = int(grid.groups.size());
                for (int g = changed; g < int(groupIndexes.size()); ++g) {
                    const Cell value = readCell(stmt, groupIndexes[g], groupDeclared[g]);
                    path << value.display();
                    if (g > openDepth)
                        continue;
                    sink.group(g, grid.groups[g], value);
                    if (openDepth == int(grid.groups.size()) && grid.groupExpanded &&
                        !grid.groupExpanded(path))
                        openDepth = g;
                }
            }
        }
        if (openDepth == int(grid.groups.size())) {
            for (size_t c = 0; c < indexes.size(); ++c)
                cells[c] = readCell(stmt, indexes[c], declared[c]);
            sink.row(cells);
            ++rows;
        }
        if (++seen % kProgressEvery == 0 && progress && !progress(seen, grid.rowCount))
            throw ExportCancelled();
    }
    sink.finish();
    if (progress)
        progress(seen, grid.rowCount);
    return rows;
}

void exportEmptyGrid(const GridDescription& grid, GridSink& sink) {
    sink.begin(grid);
    sink.finish();
}

QString withForcedExtension(const QString& fileName, const QString& ext) {
    const QFileInfo info(fileName);
    const QString suffix = info.suffix();
    QString base = fileName;
    if (!suffix.isEmpty())
        base.chop(suffix.size() + 1);
    else if (base.endsWith('.'))
        base.chop(1);
    return base + '.' + ext;
}

} // namespace kelvane::output
