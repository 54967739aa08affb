#pragma once

#include "store/Sqlite.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kelvane {

class TQuery;

// The rows of one SELECT, read in chunks as they are asked for, so that a grid over a million rows
// holds only the few chunks in sight. The row count comes from COUNT(*) over the same text, and an
// optional find text narrows the rows in SQL by the first column.
//
// The database must outlive the query. No statement stays active between calls, so the connection
// is free for other work while a grid shows the rows. Failures are sql::Error exceptions.
class TPagedQuery {
public:
    static constexpr int kWholeResultRows = 20000;
    static constexpr int DefaultChunkSize = 200;
    static constexpr int DefaultMaxChunks = 16;

    // sql is one SELECT, named parameters written ":Name" (a trailing ';' is allowed). Prepares the
    // text at once, so a bad text throws here.
    TPagedQuery(sql::Database& db, std::string sql);
    // Takes the text and the current parameter values of a named query.
    TPagedQuery(sql::Database& db, const TQuery& query);
    TPagedQuery(const TPagedQuery&) = delete;
    TPagedQuery& operator=(const TPagedQuery&) = delete;

    // The text as wrapped, without its trailing ';'.
    const std::string& sql() const { return m_sql; }

    void setParam(const QString& name, const QVariant& value);
    QVariant param(const QString& name) const;

    // Keeps the rows whose first column contains text (ASCII case ignored, '%' and '_' taken
    // literally). An empty text keeps every row.
    void setFilter(const QString& text);
    const QString& filter() const { return m_filter; }

    int rowCount();
    int columnCount() const { return static_cast<int>(m_columnNames.size()); }
    const QStringList& columnNames() const { return m_columnNames; }
    // An invalid QVariant outside the rows, and for NULL.
    QVariant value(int row, int column);

    // Forgets the count and every cached chunk, so that the next read sees the database as it is.
    void reset();

    void setCacheLimits(int chunkSize, int maxChunks);
    int chunkSize() const { return m_chunkSize; }
    int maxChunks() const { return m_maxChunks; }
    int cachedChunkCount() const { return static_cast<int>(m_chunks.size()); }

private:
    struct Chunk {
        std::vector<QVariant> cells; // row-major
        int rows = 0;
        std::uint64_t lastUse = 0;
    };

    std::string wrapped(const char* head, const char* tail) const;
    void prepareStatements();
    void bind(sql::Statement& stmt) const;
    const Chunk& chunk(int index);
    Chunk fetch(int index);

    sql::Database& m_db;
    std::string m_sql;
    std::vector<std::pair<QString, QVariant>> m_params;
    QString m_filter;
    QStringList m_columnNames;

    sql::Statement m_countStmt;
    sql::Statement m_pageStmt;
    bool m_filtered = false; // whether the prepared statements carry the find clause

    std::optional<int> m_rowCount;
    // A result of at most kWholeResultRows rows is read in one pass and kept whole: a grouped query then
    // runs once instead of once for the count and once per page.
    std::vector<QVariant> m_whole;
    bool m_haveWhole = false;
    bool readWhole();
    int m_chunkSize = DefaultChunkSize;
    int m_maxChunks = DefaultMaxChunks;
    std::unordered_map<int, Chunk> m_chunks;
    std::uint64_t m_useClock = 0;
};

} // namespace kelvane
