#include "toolkit/TPagedQueryModel.h"

namespace kelvane::ui {

TPagedQueryModel::TPagedQueryModel(QObject* parent) : QAbstractTableModel(parent) {}

TPagedQueryModel::~TPagedQueryModel() = default;

void TPagedQueryModel::setQuery(std::unique_ptr<TPagedQuery> query) {
    if (query)
        query->rowCount();
    beginResetModel();
    m_query = std::move(query);
    endResetModel();
}

void TPagedQueryModel::clear() {
    setQuery(nullptr);
}

void TPagedQueryModel::setFilter(const QString& text) {
    if (!m_query || m_query->filter() == text)
        return;
    const QString previous = m_query->filter();
    beginResetModel();
    try {
        m_query->setFilter(text);
        m_query->rowCount();
    } catch (...) {
        m_query->setFilter(previous);
        endResetModel();
        throw;
    }
    endResetModel();
}

QString TPagedQueryModel::filter() const {
    return m_query ? m_query->filter() : QString();
}

void TPagedQueryModel::refresh() {
    beginResetModel();
    if (m_query)
        m_query->reset();
    endResetModel();
}

int TPagedQueryModel::rowCount(const QModelIndex& parent) const {
    if (parent.isValid() || !m_query)
        return 0;
    try {
        return m_query->rowCount();
    } catch (const sql::Error& e) {
        emit queryFailed(QString::fromStdString(e.what()));
        return 0;
    }
}

int TPagedQueryModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_query ? 0 : m_query->columnCount();
}

QVariant TPagedQueryModel::data(const QModelIndex& index, int role) const {
    if (!m_query || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (m_marker && index.column() == 0 && (role == Qt::DecorationRole || role == Qt::ToolTipRole)) {
        try {
            const QVariant mark = m_marker(m_query->value(index.row(), 0), role);
            if (mark.isValid())
                return mark;
        } catch (const sql::Error& e) {
            emit queryFailed(QString::fromStdString(e.what()));
            return {};
        }
    }
    if (role != Qt::DisplayRole && role != Qt::EditRole && role != Qt::ToolTipRole)
        return {};
    try {
        return m_query->value(index.row(), index.column());
    } catch (const sql::Error& e) {
        emit queryFailed(QString::fromStdString(e.what()));
        return {};
    }
}

QVariant TPagedQueryModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role == Qt::DisplayRole && orientation == Qt::Horizontal && m_query && section >= 0 &&
        section < m_query->columnCount())
        return m_query->columnNames().at(section);
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags TPagedQueryModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

} // namespace kelvane::ui
