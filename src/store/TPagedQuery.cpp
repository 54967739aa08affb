#include "store/TPagedQuery.h"

#include "store/GroupedColumnQuery.h"
#include "store/TQuery.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

namespace kelvane {
namespace {

// Our own parameters; the wrapped text uses ":Name" for its, so these cannot clash in practice.
constexpr const char* kLimit = ":_pagedLimit";
constexpr const char* kOffset = ":_pagedOffset";
constexpr const char* kFind = ":_pagedFind";

std::string stripTrailingSemicolons(std::string sql) {
    while (!sql.empty() && (sql.back() == ';' || std::isspace(static_cast<unsigned char>(sql.back()))))
        sql.pop_back();
    return sql;
}

std::string quotedIdentifier(const QString& name) {
    QString quoted = name;
    quoted.replace('"', "\"\"");
    return '"' + quoted.toStdString() + '"';
}

// What the user types is found as it is: LIKE's wildcards are escaped.
std::string likeLiteral(const QString& text) {
    QString escaped = text;
    escaped.replace('\\', "\\\\").replace('%', "\\%").replace('_', "\\_");
    return escaped.toStdString();
}

bool isOwnParameter(const char* name) {
    return std::strcmp(name, kLimit) == 0 || std::strcmp(name, kOffset) == 0 || std::strcmp(name, kFind) == 0;
}

QVariant cell(const sql::Statement& stmt, int column) {
    switch (stmt.columnType(column)) {
    case SQLITE_INTEGER:
        return QVariant::fromValue<qlonglong>(stmt.columnInt64(column));
    case SQLITE_FLOAT:
        return stmt.columnDouble(column);
    case SQLITE_NULL:
        return {};
    case SQLITE_BLOB: {
        const void* data = sqlite3_column_blob(stmt.handle(), column);
        return QByteArray(static_cast<const char*>(data), sqlite3_column_bytes(stmt.handle(), column));
    }
    default: {
        const std::string_view text = stmt.columnText(column);
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    }
}

// A statement left stepping would keep its read open on the connection.
class ResetOnExit {
public:
    explicit ResetOnExit(sql::Statement& stmt) : m_stmt(stmt) {}
    ~ResetOnExit() { m_stmt.reset(); }
    ResetOnExit(const ResetOnExit&) = delete;
    ResetOnExit& operator=(const ResetOnExit&) = delete;

private:
    sql::Statement& m_stmt;
};

} // namespace

TPagedQuery::TPagedQuery(sql::Database& db, std::string sql)
    : m_db(db), m_sql(stripTrailingSemicolons(std::move(sql))) {
    prepareStatements();
    for (int i = 0; i < m_pageStmt.columnCount(); ++i)
        m_columnNames << QString::fromStdString(m_pageStmt.columnName(i));
}

TPagedQuery::TPagedQuery(sql::Database& db, const TQuery& query) : TPagedQuery(db, query.sql()) {
    for (int i = 1; i <= m_pageStmt.parameterCount(); ++i) {
        const char* name = sqlite3_bind_parameter_name(m_pageStmt.handle(), i);
        if (name && !isOwnParameter(name))
            setParam(QString::fromUtf8(name + 1), query.param(QString::fromUtf8(name + 1)));
    }
}

std::string TPagedQuery::wrapped(const char* head, const char* tail) const {
    // The text goes on lines of its own, so that a closing line comment cannot swallow the ')'.
    std::string text = std::string(head) + " FROM (\n" + m_sql + "\n)";
    if (m_filtered)
        text += " WHERE " + quotedIdentifier(m_columnNames.value(0)) + " LIKE '%' || " + kFind +
                " || '%' ESCAPE '\\'";
    return text + tail;
}

void TPagedQuery::prepareStatements() {
    m_pageStmt = m_db.prepare(
        wrapped("SELECT *", (std::string(" LIMIT ") + kLimit + " OFFSET " + kOffset).c_str()), true);
    m_countStmt = m_db.prepare(wrapped("SELECT COUNT(*)", ""), true);
}

void TPagedQuery::bind(sql::Statement& stmt) const {
    for (int i = 1; i <= stmt.parameterCount(); ++i) {
        const char* raw = sqlite3_bind_parameter_name(stmt.handle(), i);
        if (!raw) {
            stmt.bindNull(i);
            continue;
        }
        if (std::strcmp(raw, kFind) == 0) {
            stmt.bind(i, likeLiteral(m_filter));
            continue;
        }
        if (isOwnParameter(raw))
            continue; // limit and offset are bound by the caller
        const QVariant value = param(QString::fromUtf8(raw + 1));
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            stmt.bindNull(i);
            break;
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            stmt.bind(i, static_cast<std::int64_t>(value.toLongLong()));
            break;
        case QMetaType::Double:
        case QMetaType::Float:
            stmt.bind(i, value.toDouble());
            break;
        default:
            if (value.isNull())
                stmt.bindNull(i);
            else
                stmt.bind(i, value.toString().toStdString());
        }
    }
}

void TPagedQuery::setParam(const QString& name, const QVariant& value) {
    auto it = std::find_if(m_params.begin(), m_params.end(), [&](const auto& p) { return p.first == name; });
    if (it == m_params.end())
        m_params.emplace_back(name, value);
    else
        it->second = value;
    reset();
}

QVariant TPagedQuery::param(const QString& name) const {
    for (const auto& p : m_params)
        if (p.first == name)
            return p.second;
    return {};
}

void TPagedQuery::setFilter(const QString& text) {
    if (text == m_filter)
        return;
    m_filter = text;
    const bool filtered = !text.isEmpty();
    if (filtered != m_filtered) {
        m_filtered = filtered;
        m_countStmt = sql::Statement();
        m_pageStmt = sql::Statement();
    }
    reset();
}

bool TPagedQuery::readWhole() {
    if (const auto grouped = GroupedColumnQuery::parse(m_sql)) {
        sql::Statement base = m_db.prepare(grouped->baseSql);
        ResetOnExit resetAfterwards(base);
        bind(base);
        std::vector<QVariant> rows = grouped->group(base);
        if (m_filtered)
            std::erase_if(
                rows, [&](const QVariant& v) { return v.isNull() || !likeContains(v.toString(), m_filter); });
        if (rows.size() <= static_cast<size_t>(kWholeResultRows)) {
            m_rowCount = static_cast<int>(rows.size());
            m_whole = std::move(rows);
            m_haveWhole = true;
            return true;
        }
    }
    sql::Statement whole = m_db.prepare(wrapped("SELECT *", (std::string(" LIMIT ") + kLimit).c_str()));
    bind(whole);
    whole.bind(whole.parameterIndex(kLimit), static_cast<std::int64_t>(kWholeResultRows + 1));
    std::vector<QVariant> cells;
    const int columns = columnCount();
    int rows = 0;
    while (whole.step()) {
        if (++rows > kWholeResultRows)
            return false;
        for (int c = 0; c < columns; ++c)
            cells.push_back(cell(whole, c));
    }
    m_whole = std::move(cells);
    m_haveWhole = true;
    m_rowCount = rows;
    return true;
}

int TPagedQuery::rowCount() {
    if (m_rowCount)
        return *m_rowCount;
    try {
        if (readWhole())
            return *m_rowCount;
    } catch (const sql::Error&) {
        // A row that can't be read fails where it is shown; the count may still be had.
    }
    if (!m_countStmt.isValid())
        prepareStatements();
    ResetOnExit resetAfterwards(m_countStmt);
    bind(m_countStmt);
    const std::int64_t count = m_countStmt.step() ? m_countStmt.columnInt64(0) : 0;
    m_rowCount = static_cast<int>(std::min<std::int64_t>(count, INT_MAX));
    return *m_rowCount;
}

QVariant TPagedQuery::value(int row, int column) {
    if (row < 0 || column < 0 || column >= columnCount() || row >= rowCount())
        return {};
    if (m_haveWhole)
        return m_whole[static_cast<size_t>(row) * m_columnNames.size() + column];
    const Chunk& found = chunk(row / m_chunkSize);
    const int inChunk = row % m_chunkSize;
    if (inChunk >= found.rows)
        return {}; // the table shrank under us; reset() catches up
    return found.cells[static_cast<size_t>(inChunk) * m_columnNames.size() + column];
}

const TPagedQuery::Chunk& TPagedQuery::chunk(int index) {
    if (auto it = m_chunks.find(index); it != m_chunks.end()) {
        it->second.lastUse = ++m_useClock;
        return it->second;
    }
    Chunk fetched = fetch(index);
    if (static_cast<int>(m_chunks.size()) >= m_maxChunks) {
        const auto oldest =
            std::min_element(m_chunks.begin(), m_chunks.end(), [](const auto& a, const auto& b) {
                return a.second.lastUse < b.second.lastUse;
            });
        m_chunks.erase(oldest);
    }
    fetched.lastUse = ++m_useClock;
    return m_chunks.emplace(index, std::move(fetched)).first->second;
}

TPagedQuery::Chunk TPagedQuery::fetch(int index) {
    if (!m_pageStmt.isValid())
        prepareStatements();
    ResetOnExit resetAfterwards(m_pageStmt);
    bind(m_pageStmt);
    m_pageStmt.bind(m_pageStmt.parameterIndex(kLimit), static_cast<std::int64_t>(m_chunkSize));
    m_pageStmt.bind(m_pageStmt.parameterIndex(kOffset), static_cast<std::int64_t>(index) * m_chunkSize);

    Chunk result;
    const int columns = columnCount();
    result.cells.reserve(static_cast<size_t>(m_chunkSize) * columns);
    while (m_pageStmt.step()) {
        for (int c = 0; c < columns; ++c)
            result.cells.push_back(cell(m_pageStmt, c));
        ++result.rows;
    }
    return result;
}

void TPagedQuery::reset() {
    m_rowCount.reset();
    m_whole.clear();
    m_haveWhole = false;
    m_chunks.clear();
}

void TPagedQuery::setCacheLimits(int chunkSize, int maxChunks) {
    m_chunkSize = std::max(1, chunkSize);
    m_maxChunks = std::max(1, maxChunks);
    m_chunks.clear();
}

} // namespace kelvane
