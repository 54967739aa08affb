// The node diagram's input: hit tests, the mouse and the keyboard.
#include "toolkit/TNodeDiagram.h"

#include "toolkit/NodeDiagramMetrics.h"

#include <QMouseEvent>
#include <QScrollBar>

namespace kelvane::ui {

using namespace diagram;

int TNodeDiagram::layoutIndexAt(const QPointF& drawingPos, bool withButton) {
    ensureLayout();
    if (m_updateCount > 0)
        return -1;
    const qreal reach = withButton ? kButtonGap + kButtonSize : 0;
    const auto [firstRow, endRow] = m_layout.rowsBetween(drawingPos.y() - reach, drawingPos.y());
    for (int depth = firstRow; depth < endRow; ++depth) {
        const std::vector<int>& row = m_layout.row(depth);
        const auto [first, end] = m_layout.rowRange(depth, drawingPos.x() - reach, drawingPos.x() + reach);
        for (int k = first; k < end; ++k) {
            const int index = row[k];
            const TDiagramNode* node = m_laidOut[index];
            const bool hit = withButton
                                 ? node->hasChildren() && expandButtonRect(node->m_rect).contains(drawingPos)
                                 : QRectF(node->m_rect).contains(drawingPos);
            if (hit)
                return index;
        }
    }
    return -1;
}

TDiagramNode* TNodeDiagram::expandButtonAt(const QPointF& drawingPos) {
    const int index = layoutIndexAt(drawingPos, true);
    return index < 0 ? nullptr : m_laidOut[index];
}

void TNodeDiagram::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || isUpdating()) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    const QPointF pos = mapToDrawing(event->position());
    if (TDiagramNode* node = expandButtonAt(pos)) {
        // Keep the toggled node where it was under the mouse, though its subtree changes.
        const QPointF before = mapFromDrawing(QRectF(node->rect()).center());
        node->setExpanded(!node->isExpanded());
        const QPointF shift = mapFromDrawing(QRectF(node->rect()).center()) - before;
        if (!m_zoomToFit) {
            horizontalScrollBar()->setValue(horizontalScrollBar()->value() + qRound(shift.x()));
            verticalScrollBar()->setValue(verticalScrollBar()->value() + qRound(shift.y()));
        }
        return;
    }
    const int index = layoutIndexAt(pos, false);
    setSelectedNode(index < 0 ? nullptr : m_laidOut[index]);
}

void TNodeDiagram::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        event->accept(); // the press did the work
    else
        QAbstractScrollArea::mouseReleaseEvent(event);
}

void TNodeDiagram::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || isUpdating()) {
        QAbstractScrollArea::mouseDoubleClickEvent(event);
        return;
    }
    const QPointF pos = mapToDrawing(event->position());
    if (expandButtonAt(pos)) {
        mousePressEvent(event); // the second click of a quick pair toggles again
        return;
    }
    const int index = layoutIndexAt(pos, false);
    TDiagramNode* node = index < 0 ? nullptr : m_laidOut[index];
    setSelectedNode(node);
    if (node)
        emit nodeDoubleClicked(node);
    emit doubleClicked();
}

} // namespace kelvane::ui
