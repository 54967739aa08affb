#include "toolkit/TLinkTableView.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace kelvane::ui {

TLinkTableView::TLinkTableView(QWidget* parent) : QTableView(parent) {
    horizontalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setSectionsMovable(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setShowGrid(false);
    setSortingEnabled(false);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragEnabled(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setMouseTracking(true);
    updateRowHeight();
}

void TLinkTableView::setEmptyText(const QString& text) {
    m_emptyText = text;
    viewport()->update();
}

bool TLinkTableView::isEmpty() const {
    return !model() || model()->rowCount(rootIndex()) == 0;
}

void TLinkTableView::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (!isEmpty() || m_emptyText.isEmpty())
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextSingleLine, m_emptyText);
}

void TLinkTableView::keyPressEvent(QKeyEvent* event) {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && currentIndex().isValid()) {
        emit keyActivated(currentIndex());
        return;
    }
    const QModelIndex before = currentIndex();
    QTableView::keyPressEvent(event);
    if (currentIndex().isValid() && currentIndex() != before)
        emit keyActivated(currentIndex());
}

void TLinkTableView::mouseMoveEvent(QMouseEvent* event) {
    const bool overCell = indexAt(event->position().toPoint()).isValid();
    viewport()->setCursor(overCell ? Qt::PointingHandCursor : Qt::ArrowCursor);
    QTableView::mouseMoveEvent(event);
}

void TLinkTableView::changeEvent(QEvent* event) {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        updateRowHeight();
}

void TLinkTableView::updateRowHeight() {
    const int height = fontMetrics().height() + 6;
    verticalHeader()->setMinimumSectionSize(height);
    verticalHeader()->setDefaultSectionSize(height);
}

} // namespace kelvane::ui
