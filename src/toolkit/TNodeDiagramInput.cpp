// The node diagram's input: hit tests, the mouse and the keyboard.
#include "toolkit/TNodeDiagram.h"

#include "toolkit/NodeDiagramMetrics.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
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
            const bool hit =
                withButton ? node->hasVisibleChildren() && expandButtonRect(node->m_rect).contains(drawingPos)
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
        // The toggled node stays where it was under the mouse.
        setExpandedInPlace(node, !node->isExpanded());
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

void TNodeDiagram::contextMenuEvent(QContextMenuEvent* event) {
    if (isUpdating())
        return;
    TDiagramNode* node = nullptr;
    if (event->reason() == QContextMenuEvent::Mouse) {
        const int index = layoutIndexAt(mapToDrawing(event->pos()), false);
        node = index < 0 ? nullptr : m_laidOut[index];
        setSelectedNode(node);
    } else {
        node = m_selected; // the menu key: for the selected node
    }
    emit contextMenuRequested(node, event->globalPos());
    event->accept();
}

const std::vector<std::unique_ptr<TDiagramNode>>& TNodeDiagram::siblingsOf(const TDiagramNode* node) const {
    return node->m_parent ? node->m_parent->m_children : m_roots;
}

TDiagramNode* TNodeDiagram::nextShown(TDiagramNode* node) const {
    if (node->m_expanded)
        for (const auto& child : node->m_children)
            if (!child->m_hidden)
                return child.get();
    // Else the next sibling of the node or of its nearest ancestor that has one.
    for (TDiagramNode* at = node; at; at = at->m_parent) {
        const auto& siblings = siblingsOf(at);
        auto it =
            std::find_if(siblings.begin(), siblings.end(), [at](const auto& n) { return n.get() == at; });
        for (++it; it != siblings.end(); ++it)
            if (!(*it)->m_hidden)
                return it->get();
    }
    return nullptr;
}

TDiagramNode* TNodeDiagram::previousShown(TDiagramNode* node) const {
    const auto& siblings = siblingsOf(node);
    auto it =
        std::find_if(siblings.begin(), siblings.end(), [node](const auto& n) { return n.get() == node; });
    while (it != siblings.begin()) {
        --it;
        if ((*it)->m_hidden)
            continue;
        // The last node shown in that sibling's subtree.
        TDiagramNode* last = it->get();
        for (;;) {
            TDiagramNode* deeper = nullptr;
            if (last->m_expanded)
                for (auto c = last->m_children.rbegin(); c != last->m_children.rend() && !deeper; ++c)
                    if (!(*c)->m_hidden)
                        deeper = c->get();
            if (!deeper)
                return last;
            last = deeper;
        }
    }
    return node->m_parent;
}

void TNodeDiagram::keyPressEvent(QKeyEvent* event) {
    if (isUpdating() || m_roots.empty()) {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    TDiagramNode* node = m_selected;
    TDiagramNode* target = nullptr;
    const auto firstShown = [this]() -> TDiagramNode* {
        for (const auto& root : m_roots)
            if (!root->m_hidden)
                return root.get();
        return nullptr;
    };
    switch (event->key()) {
    case Qt::Key_Down:
        target = node ? nextShown(node) : firstShown();
        break;
    case Qt::Key_Up:
        target = node ? previousShown(node) : firstShown();
        break;
    case Qt::Key_Right:
        if (node && node->hasVisibleChildren() && !node->m_expanded)
            setExpandedInPlace(node, true);
        else if (node && node->m_expanded && node->hasVisibleChildren())
            target = nextShown(node);
        else if (!node)
            target = firstShown();
        break;
    case Qt::Key_Left:
        if (node && node->m_expanded && node->hasVisibleChildren())
            setExpandedInPlace(node, false);
        else if (node)
            target = node->m_parent;
        else
            target = firstShown();
        break;
    case Qt::Key_Home:
        target = firstShown();
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (node) {
            emit nodeDoubleClicked(node);
            emit doubleClicked();
        }
        event->accept();
        return;
    default:
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    event->accept();
    if (target) {
        setSelectedNode(target);
        ensureNodeVisible(target);
    } else if (node) {
        ensureNodeVisible(node);
    }
}

} // namespace kelvane::ui
