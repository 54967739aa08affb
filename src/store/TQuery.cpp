#include "store/TQuery.h"

namespace kelvane {

TQuery::TQuery(QString name, std::string sql) : m_name(std::move(name)), m_sql(std::move(sql)) {}

void TQuery::setSql(std::string sql) {
    close();
    m_sql = std::move(sql);
}

void TQuery::setParam(const QString& name, const QVariant& value) {
    for (auto& p : m_params)
        if (p.first == name) {
            p.second = value;
            return;
        }
    m_params.emplace_back(name, value);
}

QVariant TQuery::param(const QString& name) const {
    for (const auto& p : m_params)
        if (p.first == name)
            return p.second;
    return {};
}

void TQuery::bindParams() {
    for (int i = 1; i <= m_stmt.parameterCount(); ++i) {
        const char* raw = sqlite3_bind_parameter_name(m_stmt.handle(), i);
        const QString name = raw ? QString::fromUtf8(raw + 1) : QString();
        const QVariant value = param(name);
        if (!value.isValid() || value.isNull())
            m_stmt.bindNull(i);
        else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong ||
                 value.typeId() == QMetaType::Bool)
            m_stmt.bind(i, static_cast<std::int64_t>(value.toLongLong()));
        else
            m_stmt.bind(i, value.toString().toStdString());
    }
}

void TQuery::open(sql::Database& db) {
    close();
    m_stmt = db.prepare(m_sql);
    bindParams();
    m_eof = !m_stmt.step();
}

void TQuery::execute(sql::Database& db) {
    close();
    if (m_params.empty() && m_sql.find(':') == std::string::npos) {
        db.exec(m_sql);
        return;
    }
    sql::Statement stmt = db.prepare(m_sql);
    std::swap(stmt, m_stmt);
    bindParams();
    m_stmt.run();
    m_stmt = sql::Statement();
}

void TQuery::close() {
    m_stmt = sql::Statement();
    m_eof = true;
}

void TQuery::next() {
    if (!m_eof)
        m_eof = !m_stmt.step();
}

QStringList TQuery::fieldNames() const {
    QStringList names;
    for (int i = 0; i < fieldCount(); ++i)
        names << QString::fromStdString(m_stmt.columnName(i));
    return names;
}

int TQuery::indexOf(const QString& field) const {
    for (int i = 0; i < fieldCount(); ++i)
        if (QString::fromStdString(m_stmt.columnName(i)).compare(field, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

QVariant TQuery::value(int column) const {
    if (m_eof || column < 0 || column >= fieldCount())
        return {};
    switch (m_stmt.columnType(column)) {
    case SQLITE_INTEGER:
        return QVariant::fromValue<qlonglong>(m_stmt.columnInt64(column));
    case SQLITE_FLOAT:
        return m_stmt.columnDouble(column);
    case SQLITE_NULL:
        return {};
    default: {
        const std::string_view text = m_stmt.columnText(column);
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    }
}

QVariant TQuery::value(const QString& field) const {
    return value(indexOf(field));
}
QString TQuery::text(int column) const {
    return value(column).toString();
}
QString TQuery::text(const QString& field) const {
    return value(field).toString();
}

} // namespace kelvane
