#include "toolkit/TGroupingGrid.h"

#include "toolkit/TDetailRowWidget.h"
#include "toolkit/TGroupedEventsModel.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

namespace kelvane::ui {

namespace {

QString droppedField(const QMimeData* mime) {
    return mime && mime->hasFormat(TGroupByStrip::MimeType)
               ? QString::fromUtf8(mime->data(TGroupByStrip::MimeType))
               : QString();
}

} // namespace

// ---- the strip

TGroupByStrip::TGroupByStrip(QWidget* parent) : QFrame(parent) {
    setAcceptDrops(true);
    setFrameShape(QFrame::StyledPanel);
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(6, 4, 6, 4);
    m_layout->setSpacing(6);
    m_hint = new QLabel(this);
    m_hint->setObjectName("GroupByHint");
    m_hint->setEnabled(false);
    m_layout->addWidget(m_hint);
    m_layout->addStretch();
    setMinimumHeight(32);
}

void TGroupByStrip::setHint(const QString& text) {
    m_hint->setText(text);
}

QString TGroupByStrip::hint() const {
    return m_hint->text();
}

void TGroupByStrip::setGroups(const QList<QPair<QString, QString>>& groups) {
    qDeleteAll(m_chips);
    m_chips.clear();
    int at = 0;
    for (const auto& [field, caption] : groups) {
        auto* chip = new QToolButton(this);
        chip->setObjectName("GroupChip" + field);
        chip->setText(caption + QStringLiteral("  \u2715"));
        chip->setToolTip("Remove this grouping");
        chip->setToolButtonStyle(Qt::ToolButtonTextOnly);
        connect(chip, &QToolButton::clicked, this, [this, field = field] { emit fieldRemoved(field); });
        m_layout->insertWidget(at++, chip);
        m_chips << chip;
    }
    m_hint->setVisible(groups.isEmpty());
}

void TGroupByStrip::dragEnterEvent(QDragEnterEvent* event) {
    if (m_accepted.contains(droppedField(event->mimeData())))
        event->acceptProposedAction();
}

void TGroupByStrip::dropEvent(QDropEvent* event) {
    const QString field = droppedField(event->mimeData());
    if (!m_accepted.contains(field))
        return;
    event->acceptProposedAction();
    emit fieldDropped(field);
}

// ---- the header

TGroupingHeader::TGroupingHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
    setSectionsClickable(true);
    setSectionsMovable(false);
    setHighlightSections(false);
}

void TGroupingHeader::mousePressEvent(QMouseEvent* event) {
    m_pressedSection = logicalIndexAt(event->position().toPoint());
    m_pressedAt = event->position().toPoint();
    QHeaderView::mousePressEvent(event);
}

void TGroupingHeader::mouseMoveEvent(QMouseEvent* event) {
    const bool dragging =
        (event->buttons() & Qt::LeftButton) && m_pressedSection >= 0 &&
        (event->position().toPoint() - m_pressedAt).manhattanLength() >= QApplication::startDragDistance();
    if (!dragging || !model() || cursor().shape() == Qt::SplitHCursor) {
        QHeaderView::mouseMoveEvent(event);
        return;
    }
    const int section = m_pressedSection;
    m_pressedSection = -1;
    if (!model()->headerData(section, Qt::Horizontal, TGroupedEventsModel::CanGroupRole).toBool())
        return;
    auto* mime = new QMimeData;
    mime->setData(
        TGroupByStrip::MimeType,
        model()->headerData(section, Qt::Horizontal, TGroupedEventsModel::FieldRole).toString().toUtf8());
    auto* drag = new QDrag(this);
    drag->setMimeData(mime);
    const QRect rect(sectionViewportPosition(section), 0, sectionSize(section), height());
    drag->setPixmap(grab(rect));
    drag->exec(Qt::CopyAction);
}

// ---- the tree

TGroupingTreeView::TGroupingTreeView(QWidget* parent) : QTreeView(parent) {
    setUniformRowHeights(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAllColumnsShowFocus(true);
    setSortingEnabled(false);
    setWordWrap(false);
    setExpandsOnDoubleClick(false);
}

void TGroupingTreeView::setEmptyText(const QString& text) {
    m_emptyText = text;
    viewport()->update();
}

bool TGroupingTreeView::isEmpty() const {
    return !model() || model()->rowCount() == 0;
}

void TGroupingTreeView::setDetailWidget(qint64 gid, QWidget* widget) {
    widget->setParent(viewport());
    widget->hide();
    m_details.insert(gid, widget);
}

void TGroupingTreeView::clearDetails() {
    qDeleteAll(m_details);
    m_details.clear();
    m_placed.clear();
}

void TGroupingTreeView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    const auto kind =
        static_cast<TGroupedEventsModel::RowKind>(index.data(TGroupedEventsModel::RowKindRole).toInt());
    if (kind == TGroupedEventsModel::RowKind::Detail) {
        if (QWidget* widget = m_details.value(index.data(TGroupedEventsModel::GidRole).toLongLong())) {
            const int left = visualRect(index.sibling(index.row(), 0)).left();
            const QRect place(left, option.rect.top(), viewport()->width() - left, option.rect.height());
            if (widget->geometry() != place)
                widget->setGeometry(place);
            widget->show();
            m_placed.insert(widget);
        }
        return;
    }
    if (kind != TGroupedEventsModel::RowKind::Group) {
        QTreeView::drawRow(painter, option, index);
        return;
    }
    // A group row: its branch, then its text across every column.
    const QModelIndex first = index.sibling(index.row(), 0);
    const QRect cell = visualRect(first);
    QStyleOptionViewItem opt = option;
    if (selectionModel() && selectionModel()->isSelected(first))
        opt.state |= QStyle::State_Selected;
    const QRect row(option.rect.left(), option.rect.top(), viewport()->width(), option.rect.height());
    painter->fillRect(row,
                      opt.state & QStyle::State_Selected ? palette().highlight() : palette().alternateBase());
    drawBranches(painter, QRect(0, option.rect.top(), cell.left(), option.rect.height()), first);
    painter->save();
    QFont bold = font();
    bold.setBold(true);
    painter->setFont(bold);
    painter->setPen(
        palette().color(opt.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(QRect(cell.left() + 4, option.rect.top(), viewport()->width() - cell.left() - 8,
                            option.rect.height()),
                      Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine, first.data().toString());
    painter->restore();
}

void TGroupingTreeView::paintEvent(QPaintEvent* event) {
    m_placed.clear();
    QTreeView::paintEvent(event);
    // A detail row that was not drawn is collapsed or scrolled away: so is its widget. A paint of a part
    // of the viewport leaves the widgets elsewhere alone.
    if (event->rect() == viewport()->rect())
        for (QWidget* widget : std::as_const(m_details))
            if (!m_placed.contains(widget))
                widget->hide();
    if (!isEmpty() || m_emptyText.isEmpty())
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextSingleLine, m_emptyText);
}

// ---- the grid

TGroupingGrid::TGroupingGrid(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* top = new QHBoxLayout;
    m_strip = new TGroupByStrip(this);
    m_strip->setObjectName("GroupByBox");
    top->addWidget(m_strip, 1);
    m_status = new QLabel(this);
    m_status->setObjectName("SearchStatus");
    m_status->setContentsMargins(8, 0, 8, 0);
    top->addWidget(m_status);
    layout->addLayout(top);

    m_view = new TGroupingTreeView(this);
    m_view->setObjectName("MasterView");
    m_view->setHeader(new TGroupingHeader(m_view));
    m_view->header()->setSectionsClickable(true);
    m_model = new TGroupedEventsModel(this);
    m_model->setRowHeight(m_view->fontMetrics().height() + 6);
    m_view->setModel(m_model);
    m_view->setEmptyText(emptyText());
    layout->addWidget(m_view, 1);
    const int widths[] = {200, 70, 230, 310, 190, 150};
    for (int c = 0; c < m_model->columnCount(); ++c)
        m_view->header()->resizeSection(c, widths[c]);

    m_view->header()->setStretchLastSection(true);
    connect(m_view->header(), &QHeaderView::sectionClicked, this, &TGroupingGrid::sectionClicked);
    QStringList groupable;
    for (int c = 0; c < m_model->columnCount(); ++c)
        if (m_model->headerData(c, Qt::Horizontal, TGroupedEventsModel::CanGroupRole).toBool())
            groupable << m_model->headerData(c, Qt::Horizontal, TGroupedEventsModel::FieldRole).toString();
    m_strip->setAcceptedFields(groupable);
    m_model->setDetailHeight([this](const QModelIndex& detail) { return detailHeight(detail); });
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, m_view, &TGroupingTreeView::clearDetails);
    connect(m_strip, &TGroupByStrip::fieldDropped, this,
            [this](const QString& field) { groupBy(m_model->groupFields() + QStringList{field}); });
    connect(m_strip, &TGroupByStrip::fieldRemoved, this, [this](const QString& field) {
        QStringList fields = m_model->groupFields();
        fields.removeAll(field);
        groupBy(fields);
    });
    connect(m_model, &QAbstractItemModel::modelReset, this, &TGroupingGrid::updateStrip);
}

bool TGroupingGrid::emptyTextShown() const {
    return m_view->isEmpty();
}

void TGroupingGrid::groupBy(const QStringList& fields) {
    m_model->setGroupFields(fields);
}

void TGroupingGrid::updateStrip() {
    QList<QPair<QString, QString>> groups;
    for (const QString& field : m_model->groupFields())
        for (int c = 0; c < m_model->columnCount(); ++c)
            if (m_model->headerData(c, Qt::Horizontal, TGroupedEventsModel::FieldRole).toString() == field)
                groups.append({field, m_model->headerData(c, Qt::Horizontal).toString()});
    m_strip->setGroups(groups);
}

void TGroupingGrid::setBusy(bool busy, int found) {
    m_status->setText(busy ? QString("Searching... %1 found so far").arg(found) : QString());
}

void TGroupingGrid::sectionClicked(int section) {
    if (!m_model->headerData(section, Qt::Horizontal, TGroupedEventsModel::CanSortRole).toBool())
        return;
    const bool ascending = !(m_model->timeSorted() && m_model->timeAscending());
    m_model->setTimeSort(true, ascending);
    m_view->header()->setSortIndicatorShown(true);
    m_view->header()->setSortIndicator(section, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

int TGroupingGrid::detailHeight(const QModelIndex& detail) {
    // The tree asks a detail row's height when it first lays the row out: the widget is made then.
    const qint64 gid = detail.data(TGroupedEventsModel::GidRole).toLongLong();
    QWidget* widget = m_view->detailWidget(gid);
    if (!widget) {
        auto* row = new TDetailRowWidget(m_model->detailView(detail), m_model->detailRows(detail));
        connect(row, &TDetailRowWidget::detailLinkClicked, this, &TGroupingGrid::detailLinkClicked);
        connect(row, &TDetailRowWidget::sessionLinkClicked, this, &TGroupingGrid::sessionLinkClicked);
        m_view->setDetailWidget(gid, row);
        widget = row;
    }
    return widget->sizeHint().height();
}

QWidget* TGroupingGrid::detailWidget(const QModelIndex& master) const {
    return m_view->detailWidget(master.data(TGroupedEventsModel::GidRole).toLongLong());
}

} // namespace kelvane::ui
