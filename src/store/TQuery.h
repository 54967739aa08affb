#pragma once

#include "store/Sqlite.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <string>
#include <vector>

namespace kelvane {

// A named SQL text with named parameters, opened on the one connection and read row by row.
// Parameters are written ":Name" in the text; values survive close() so that a query can be
// closed, given a new value and opened again.
class TQuery {
public:
    TQuery(QString name, std::string sql);

    const QString& name() const { return m_name; }
    const std::string& sql() const { return m_sql; }
    // Changing the text closes the query.
    void setSql(std::string sql);

    void setParam(const QString& name, const QVariant& value);
    QVariant param(const QString& name) const;

    bool active() const { return m_stmt.isValid(); }
    // Prepares, binds and moves to the first row.
    void open(sql::Database& db);
    // Runs a statement (or a script, when the query has no parameters) that returns no rows.
    void execute(sql::Database& db);
    void close();

    bool eof() const { return m_eof; }
    void next();

    int fieldCount() const { return m_stmt.isValid() ? m_stmt.columnCount() : 0; }
    QStringList fieldNames() const;
    int indexOf(const QString& field) const;
    QVariant value(int column) const;
    QVariant value(const QString& field) const;
    QString text(int column) const;
    QString text(const QString& field) const;

private:
    void bindParams();
    QString m_name;
    std::string m_sql;
    std::vector<std::pair<QString, QVariant>> m_params;
    sql::Statement m_stmt;
    bool m_eof = true;
};

} // namespace kelvane
