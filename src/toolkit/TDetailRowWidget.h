#pragma once

#include "store/AllEventsLayout.h"

#include <QWidget>

class QLabel;
class QStandardItemModel;
class QTableView;

namespace kelvane::ui {

// The detail of one master row: the event's rows in its own table, in the columns of its view. The
// FID cell is a link to the event's detail form, each GUID cell of the view a link to that session.
// Only the views that allow it sort by a click on a header.
class TDetailRowWidget : public QWidget {
    Q_OBJECT
public:
    TDetailRowWidget(const DetailView& view, const DetailRows& rows, QWidget* parent = nullptr);

    const DetailView& detailView() const { return m_view; }
    QTableView* table() const { return m_table; }
    // The text of a cell, by row and by the view's column.
    QString cellText(int row, int column) const;
    int rowCount() const;

    QSize sizeHint() const override;

    // Acts as a click on a cell: a link column emits its signal.
    void clickCell(int row, int column);
    // Sorts by a column, or keeps only the rows with this text in it (a null text keeps all), in the
    // views that allow it; others ignore both. The header offers the same through a click and its menu.
    void sortColumn(int column, Qt::SortOrder order);
    void filterColumn(int column, const QString& text);
    bool rowShown(int row) const;

signals:
    void detailLinkClicked(const QString& table, const QString& fid);
    void sessionLinkClicked(const QString& guid);

private:
    void sectionClicked(int section);
    void headerMenu(const QPoint& at);
    bool toolsAllowed(int column) const;

    const DetailView& m_view;
    QTableView* m_table = nullptr;
    QStandardItemModel* m_model = nullptr;
    QLabel* m_empty = nullptr;
};

} // namespace kelvane::ui
