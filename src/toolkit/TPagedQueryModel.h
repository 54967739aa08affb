#pragma once

#include "store/TPagedQuery.h"

#include <QAbstractTableModel>

#include <functional>
#include <memory>

namespace kelvane::ui {

// A table model over the rows of a TPagedQuery: the row count comes from the query's COUNT(*), cells
// from its chunk cache, so a view asks only for the rows it shows. Read-only.
class TPagedQueryModel : public QAbstractTableModel {
    Q_OBJECT

public:
    // Extra looks of a row by its first cell's value (decoration, tool tip): marks set by the views.
    using Marker = std::function<QVariant(const QVariant& value, int role)>;
    void setMarker(Marker marker) { m_marker = std::move(marker); }
    explicit TPagedQueryModel(QObject* parent = nullptr);
    ~TPagedQueryModel() override;

    // Counts the rows before it takes the query: a failing query throws sql::Error and leaves the
    // model as it was.
    void setQuery(std::unique_ptr<TPagedQuery> query);
    // No query: no rows and no columns.
    void clear();
    TPagedQuery* query() const { return m_query.get(); }

    // Narrows the rows by the first column (see TPagedQuery::setFilter). On failure the old find
    // text stays and the exception goes on.
    void setFilter(const QString& text);
    QString filter() const;
    // Reads the database again.
    void refresh();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

signals:
    // A read made while a view paints cannot throw through the paint; it gives no data and says so here.
    void queryFailed(const QString& message) const;

private:
    Marker m_marker;
    std::unique_ptr<TPagedQuery> m_query;
};

} // namespace kelvane::ui
