#include "toolkit/TDetailRowWidget.h"

#include "toolkit/TLinkDelegate.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>

namespace kelvane::ui {

TDetailRowWidget::TDetailRowWidget(const DetailView& view, const DetailRows& rows, QWidget* parent)
    : QWidget(parent), m_view(view) {
    setObjectName(QString::fromLatin1(view.name));
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 2, 2, 2);
    layout->setSpacing(0);
    if (view.groupByStrip) {
        auto* strip = new QLabel("Drag a column header here to group by that column", this);
        strip->setObjectName("GroupByBox");
        strip->setEnabled(false);
        layout->addWidget(strip);
    }
    m_table = new QTableView(this);
    m_table->setObjectName("Table");
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->verticalHeader()->hide();
    m_table->setWordWrap(false);
    m_table->setMouseTracking(true);
    m_table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_table->horizontalHeader()->setSectionsClickable(view.firstSortable >= 0);
    m_table->horizontalHeader()->setSortIndicatorShown(false);
    layout->addWidget(m_table);
    m_empty = new QLabel(QString::fromLatin1(view.emptyText), this);
    m_empty->setObjectName("EmptyText");
    m_empty->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_empty);

    m_model = new QStandardItemModel(0, static_cast<int>(view.columns.size()), this);
    for (std::size_t c = 0; c < view.columns.size(); ++c)
        m_model->setHeaderData(static_cast<int>(c), Qt::Horizontal, view.columns[c].shownCaption());
    for (const auto& row : rows.rows) {
        QList<QStandardItem*> items;
        for (const DetailColumn& column : view.columns) {
            const auto at = rows.fields.indexOf(QString::fromLatin1(column.field));
            auto* item =
                new QStandardItem(at >= 0 ? row[static_cast<std::size_t>(at)].toString() : QString());
            // Keys sort as numbers, not as text.
            if (at >= 0)
                item->setData(row[static_cast<std::size_t>(at)], Qt::UserRole);
            items << item;
        }
        m_model->appendRow(items);
    }
    m_model->setSortRole(Qt::UserRole);
    m_table->setModel(m_model);
    for (std::size_t c = 0; c < view.columns.size(); ++c)
        if (view.columns[c].link != DetailLink::None)
            m_table->setItemDelegateForColumn(static_cast<int>(c), new TLinkDelegate(m_table));
    m_table->resizeColumnsToContents();
    // A command line or a path as wide as the screen would push the key columns (a connection's
    // destination) out of a small window: long columns are capped, their full text in a tooltip.
    constexpr int kWidestColumn = 320;
    for (int c = 0; c < m_model->columnCount(); ++c) {
        if (m_table->columnWidth(c) <= kWidestColumn)
            continue;
        m_table->setColumnWidth(c, kWidestColumn);
        for (int r = 0; r < m_model->rowCount(); ++r)
            if (QStandardItem* item = m_model->item(r, c))
                item->setToolTip(item->text());
    }
    const bool empty = rows.rows.empty();
    m_table->setVisible(!empty || !*view.emptyText);
    m_empty->setVisible(empty && *view.emptyText);

    connect(m_table, &QTableView::clicked, this,
            [this](const QModelIndex& index) { clickCell(index.row(), index.column()); });
    connect(m_table->horizontalHeader(), &QHeaderView::sectionClicked, this,
            &TDetailRowWidget::sectionClicked);
    if (view.firstSortable >= 0) {
        m_table->horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(m_table->horizontalHeader(), &QWidget::customContextMenuRequested, this,
                &TDetailRowWidget::headerMenu);
    }
}

QSize TDetailRowWidget::sizeHint() const {
    // As tall as its rows, not as a table view would like to be.
    const int rows = std::max(1, m_model->rowCount());
    const int line = m_table->verticalHeader()->defaultSectionSize();
    int height = m_table->horizontalHeader()->sizeHint().height() + rows * line + 2 * m_table->frameWidth() +
                 m_table->horizontalScrollBar()->sizeHint().height() + 4;
    if (auto* strip = findChild<QLabel*>("GroupByBox"))
        height += strip->sizeHint().height();
    return {QWidget::sizeHint().width(), height};
}

int TDetailRowWidget::rowCount() const {
    return m_model->rowCount();
}

QString TDetailRowWidget::cellText(int row, int column) const {
    return m_model->data(m_model->index(row, column)).toString();
}

void TDetailRowWidget::clickCell(int row, int column) {
    if (row < 0 || row >= m_model->rowCount() || column < 0 ||
        column >= static_cast<int>(m_view.columns.size()))
        return;
    const QString text = cellText(row, column);
    switch (m_view.columns[static_cast<std::size_t>(column)].link) {
    case DetailLink::Detail:
        emit detailLinkClicked(QString::fromLatin1(m_view.table), text);
        break;
    case DetailLink::Session:
        emit sessionLinkClicked(text);
        break;
    case DetailLink::None:
        break;
    }
}

bool TDetailRowWidget::toolsAllowed(int column) const {
    return m_view.firstSortable >= 0 && column >= m_view.firstSortable &&
           column < static_cast<int>(m_view.columns.size());
}

void TDetailRowWidget::sectionClicked(int section) {
    auto* header = m_table->horizontalHeader();
    const bool same = header->isSortIndicatorShown() && header->sortIndicatorSection() == section;
    sortColumn(section, same && header->sortIndicatorOrder() == Qt::AscendingOrder ? Qt::DescendingOrder
                                                                                   : Qt::AscendingOrder);
}

void TDetailRowWidget::sortColumn(int column, Qt::SortOrder order) {
    if (!toolsAllowed(column))
        return;
    auto* header = m_table->horizontalHeader();
    header->setSortIndicatorShown(true);
    header->setSortIndicator(column, order);
    m_model->sort(column, order);
}

void TDetailRowWidget::filterColumn(int column, const QString& text) {
    if (!toolsAllowed(column))
        return;
    for (int row = 0; row < m_model->rowCount(); ++row)
        m_table->setRowHidden(row, !text.isNull() && cellText(row, column) != text);
}

bool TDetailRowWidget::rowShown(int row) const {
    return !m_table->isRowHidden(row);
}

void TDetailRowWidget::headerMenu(const QPoint& at) {
    const int column = m_table->horizontalHeader()->logicalIndexAt(at);
    if (!toolsAllowed(column))
        return;
    // The values of the column to filter by, as a grid's filter drop-down offers them.
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction("(All)", this, [this, column] { filterColumn(column, QString()); });
    QStringList values;
    for (int row = 0; row < m_model->rowCount(); ++row)
        if (!values.contains(cellText(row, column)))
            values << cellText(row, column);
    values.sort();
    for (const QString& value : values)
        menu->addAction(value.isEmpty() ? QString("(Blanks)") : value, this,
                        [this, column, value] { filterColumn(column, value); });
    menu->popup(m_table->horizontalHeader()->mapToGlobal(at));
}

} // namespace kelvane::ui
