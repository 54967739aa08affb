// The node diagram's tree of nodes, its state and its mapping between view and drawing.
#include "toolkit/TNodeDiagram.h"

#include "toolkit/NodeDiagramMetrics.h"

#include <QScrollBar>

#include <algorithm>
#include <cmath>

namespace kelvane::ui {

using namespace diagram;

TNodeDiagram::TNodeDiagram(QWidget* parent)
    : QAbstractScrollArea(parent), m_font(QStringLiteral("Tahoma")), m_defaultNodeColor(0xB0, 0xC4, 0xDE),
      m_backgroundColor(Qt::white) {
    m_font.setPixelSize(12);
    m_font.setStyleHint(QFont::SansSerif);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    horizontalScrollBar()->setSingleStep(kScrollStep);
    verticalScrollBar()->setSingleStep(kScrollStep);
}

TNodeDiagram::~TNodeDiagram() {
    removeSubtrees(m_roots, false);
}

TDiagramNode* TNodeDiagram::addChild(TDiagramNode* parent, std::any record) {
    Q_ASSERT(!parent || parent->m_diagram == this);
    auto node = std::make_unique<TDiagramNode>(TDiagramNode::Key{}, this, parent, std::move(record));
    TDiagramNode* added = node.get();
    (parent ? parent->m_children : m_roots).push_back(std::move(node));
    invalidateLayout();
    return added;
}

void TNodeDiagram::deleteChildren(TDiagramNode* node) {
    if (!node || node->m_children.empty())
        return;
    removeSubtrees(node->m_children, true);
}

void TNodeDiagram::clear() {
    removeSubtrees(m_roots, true);
}

void TNodeDiagram::removeSubtrees(std::vector<std::unique_ptr<TDiagramNode>>& nodes, bool notify) {
    // Flattened breadth-first and freed from the end, so that no destructor recurses down a deep chain
    // and every child goes before its parent.
    std::vector<std::unique_ptr<TDiagramNode>> doomed;
    doomed.reserve(nodes.size());
    for (auto& node : nodes)
        doomed.push_back(std::move(node));
    nodes.clear();
    for (size_t i = 0; i < doomed.size(); ++i) {
        TDiagramNode* node = doomed[i].get();
        for (auto& child : node->m_children)
            doomed.push_back(std::move(child));
        node->m_children.clear();
    }

    // The layout refers to these nodes: drop it before any of them goes.
    m_laidOut.clear();
    m_layout.clear();
    ++m_layoutStamp;
    bool selectionLost = false;
    for (auto it = doomed.rbegin(); it != doomed.rend(); ++it) {
        if (notify)
            emit nodeDeleted(it->get());
        if (it->get() == m_selected) {
            m_selected = nullptr;
            selectionLost = true;
        }
        it->reset();
    }
    invalidateLayout();
    if (selectionLost && notify)
        emit selectionChanged(nullptr);
}

void TNodeDiagram::expandAll(TDiagramNode* node) {
    std::vector<TDiagramNode*> pending;
    if (node) {
        pending.push_back(node);
    } else {
        for (const auto& root : m_roots)
            pending.push_back(root.get());
    }
    while (!pending.empty()) {
        TDiagramNode* next = pending.back();
        pending.pop_back();
        next->m_expanded = true;
        for (const auto& child : next->m_children)
            pending.push_back(child.get());
    }
    invalidateLayout();
}

void TNodeDiagram::beginUpdate() {
    ++m_updateCount;
}

void TNodeDiagram::endUpdate() {
    if (m_updateCount == 0)
        return;
    if (--m_updateCount == 0)
        viewport()->update(); // lays out on the next paint or query
}

void TNodeDiagram::setZoomToFit(bool on) {
    if (on == m_zoomToFit)
        return;
    m_zoomToFit = on;
    updateScrollBars();
    viewport()->update();
    emit viewChanged();
}

qreal TNodeDiagram::zoomFactor() {
    ensureLayout();
    const QSizeF drawing = m_layout.size();
    if (!m_zoomToFit || drawing.isEmpty())
        return 1.0;
    const QSize view = viewport()->size();
    return std::min({1.0, view.width() / drawing.width(), view.height() / drawing.height()});
}

void TNodeDiagram::setSelectedNode(TDiagramNode* node) {
    if (node == m_selected)
        return;
    m_selected = node;
    ++m_paintStamp;
    viewport()->update();
    emit selectionChanged(node);
}

void TNodeDiagram::centreOn(TDiagramNode* node) {
    if (!node || node->rect().isNull() || m_zoomToFit)
        return;
    const QPoint centre = node->rect().center();
    horizontalScrollBar()->setValue(centre.x() - viewport()->width() / 2);
    verticalScrollBar()->setValue(centre.y() - viewport()->height() / 2);
}

void TNodeDiagram::ensureNodeVisible(TDiagramNode* node) {
    if (!node || node->rect().isNull() || m_zoomToFit)
        return;
    // With room for the selection mark and the +/- button.
    const QRect wanted = node->rect().adjusted(-8, -8, 8, 8 + kButtonGap + kButtonSize);
    const QRect view(QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value()),
                     viewport()->size());
    const auto shift = [](int low, int high, int viewLow, int viewHigh) {
        if (high - low > viewHigh - viewLow || low < viewLow)
            return low - viewLow;
        return high > viewHigh ? high - viewHigh : 0;
    };
    horizontalScrollBar()->setValue(view.left() +
                                    shift(wanted.left(), wanted.right(), view.left(), view.right()));
    verticalScrollBar()->setValue(view.top() +
                                  shift(wanted.top(), wanted.bottom(), view.top(), view.bottom()));
}

void TNodeDiagram::setExpandedInPlace(TDiagramNode* node, bool expanded) {
    if (!node || node->isExpanded() == expanded)
        return;
    const QRect rect = node->rect();
    if (rect.isNull()) {
        node->setExpanded(expanded);
        return;
    }
    const QPointF before = mapFromDrawing(QRectF(rect).center());
    node->setExpanded(expanded);
    const QPointF shift = mapFromDrawing(QRectF(node->rect()).center()) - before;
    if (!m_zoomToFit) {
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() + qRound(shift.x()));
        verticalScrollBar()->setValue(verticalScrollBar()->value() + qRound(shift.y()));
    }
}

QPointF TNodeDiagram::drawingOrigin() {
    const qreal scale = zoomFactor();
    const qreal width = m_layout.size().width() * scale;
    const int viewWidth = viewport()->width();
    // A drawing narrower than the view stands in the middle; otherwise it scrolls.
    const qreal x = width < viewWidth ? std::floor((viewWidth - width) / 2) : -horizontalScrollBar()->value();
    const qreal y = m_zoomToFit ? 0 : -verticalScrollBar()->value();
    return {x, y};
}

QPointF TNodeDiagram::mapToDrawing(const QPointF& viewportPos) {
    return (viewportPos - drawingOrigin()) / zoomFactor();
}

QPointF TNodeDiagram::mapFromDrawing(const QPointF& drawingPos) {
    return drawingPos * zoomFactor() + drawingOrigin();
}

TDiagramNode* TNodeDiagram::nodeAt(const QPoint& viewportPos) {
    const int index = layoutIndexAt(mapToDrawing(viewportPos), false);
    return index < 0 ? nullptr : m_laidOut[index];
}

QSize TNodeDiagram::drawingSize() {
    ensureLayout();
    return m_layout.size().toSize();
}

void TNodeDiagram::setNodeFont(const QFont& font) {
    m_font = font;
    m_textMetrics.clear();
    std::vector<TDiagramNode*> pending;
    for (const auto& root : m_roots)
        pending.push_back(root.get());
    while (!pending.empty()) {
        TDiagramNode* node = pending.back();
        pending.pop_back();
        node->growToText();
        for (const auto& child : node->m_children)
            pending.push_back(child.get());
    }
    invalidateLayout();
}

void TNodeDiagram::setDefaultNodeColor(const QColor& color) {
    m_defaultNodeColor = color;
    repaintDrawing();
}

void TNodeDiagram::setBackgroundColor(const QColor& color) {
    m_backgroundColor = color;
    repaintDrawing();
}

void TNodeDiagram::setNodeStyle(NodeStyle style) {
    m_nodeStyle = style;
    repaintDrawing();
}

void TNodeDiagram::invalidateLayout() {
    m_layoutDirty = true;
    repaintDrawing();
}

void TNodeDiagram::repaintDrawing() {
    ++m_paintStamp;
    ++m_contentStamp;
    if (m_updateCount == 0)
        viewport()->update();
}

} // namespace kelvane::ui
