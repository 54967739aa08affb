#include "toolkit/TNodeDiagram.h"

#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QScrollBar>
#include <qdrawutil.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvane::ui {

namespace {

constexpr int kTextPadding = 6; // per axis, around the measured text
constexpr int kButtonSize = 11;
constexpr int kButtonGap = 2; // between a node's bottom and its expand button
constexpr int kSelectionOutset = 3;
constexpr int kScrollStep = 20;
constexpr int kTextMetricsLimit = 100000;
constexpr qreal kCoarseScale = 0.35; // below it, 11 pixel text shrinks to 4 pixels: not worth shaping

} // namespace

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

QImage TNodeDiagram::renderToImage() {
    const QSize size = drawingSize();
    if (size.isEmpty() || isUpdating())
        return {};
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull()) // beyond what one image can hold
        return {};
    QPainter painter(&image);
    paintDrawing(painter, QRectF(QPointF(0, 0), size), false);
    return image;
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
    if (m_updateCount == 0)
        viewport()->update();
}

const TNodeDiagram::TextMetrics& TNodeDiagram::textMetrics(const QString& text) {
    const auto found = m_textMetrics.constFind(text);
    if (found != m_textMetrics.constEnd())
        return found.value();
    if (m_textMetrics.size() >= kTextMetricsLimit)
        m_textMetrics.clear(); // nodes keep their own copies: only the time of measuring is lost
    QString normalised = text;
    normalised.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    normalised.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const QStringList all = normalised.split(QLatin1Char('\n'));

    const QFontMetricsF metrics(m_font);
    qreal width = 0;
    for (const QString& line : all)
        width = std::max(width, metrics.horizontalAdvance(line));
    const qreal height = all.size() * metrics.lineSpacing();
    TextMetrics measured;
    measured.size = QSize(static_cast<int>(std::ceil(width)) + kTextPadding,
                          static_cast<int>(std::ceil(height)) + kTextPadding);
    // The painted lines: trimmed, so that each is centred on its words, and without the blank lines that
    // callers add before or after as an inner margin (they count for the size, not for the centring).
    measured.lines = all;
    for (QString& line : measured.lines)
        line = line.trimmed();
    while (!measured.lines.isEmpty() && measured.lines.last().isEmpty())
        measured.lines.removeLast();
    while (!measured.lines.isEmpty() && measured.lines.first().isEmpty())
        measured.lines.removeFirst();
    return m_textMetrics.insert(text, measured).value();
}

void TNodeDiagram::ensureLayout() {
    if (!m_layoutDirty || m_updateCount > 0)
        return;
    m_layoutDirty = false;
    ++m_layoutCount;
    ++m_layoutStamp;

    // Visible nodes depth-first, children in order; an explicit stack, as chains run thousands deep.
    std::vector<DiagramLayout::Box> boxes;
    m_laidOut.clear();
    std::vector<std::pair<TDiagramNode*, int>> pending;
    for (auto it = m_roots.rbegin(); it != m_roots.rend(); ++it)
        pending.emplace_back(it->get(), -1);
    while (!pending.empty()) {
        const auto [node, parent] = pending.back();
        pending.pop_back();
        const int index = static_cast<int>(m_laidOut.size());
        m_laidOut.push_back(node);
        boxes.push_back({parent, qreal(node->m_width), qreal(node->m_height)});
        if (node->m_expanded) {
            for (auto it = node->m_children.rbegin(); it != node->m_children.rend(); ++it)
                pending.emplace_back(it->get(), index);
        }
    }
    m_layout.compute(boxes, DiagramLayout::Spacing{});
    for (int i = 0; i < m_layout.count(); ++i) {
        m_laidOut[i]->m_rect = m_layout.rect(i).toRect();
        m_laidOut[i]->m_layoutStamp = m_layoutStamp;
    }
    updateScrollBars();
}

void TNodeDiagram::updateScrollBars() {
    ensureLayout();
    const QSize drawing = m_layout.size().toSize();
    const QSize view = viewport()->size();
    QScrollBar* horizontal = horizontalScrollBar();
    QScrollBar* vertical = verticalScrollBar();
    if (m_zoomToFit) {
        horizontal->setRange(0, 0);
        vertical->setRange(0, 0);
        return;
    }
    horizontal->setPageStep(view.width());
    horizontal->setRange(0, std::max(0, drawing.width() - view.width()));
    vertical->setPageStep(view.height());
    vertical->setRange(0, std::max(0, drawing.height() - view.height()));
}

void TNodeDiagram::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBars();
}

void TNodeDiagram::scrollContentsBy(int dx, int dy) {
    // Scrolling blits what is on screen and paints only the uncovered strip; inside a paint, or when the
    // scale follows the view, everything is painted anew.
    if (m_inPaint || m_zoomToFit || m_updateCount > 0)
        viewport()->update();
    else
        viewport()->scroll(dx, dy);
}

void TNodeDiagram::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), m_backgroundColor);
    if (m_updateCount > 0)
        return;
    m_inPaint = true;
    ensureLayout(); // also after clear(), to drop the scroll range of what was there
    m_inPaint = false;
    if (m_roots.empty())
        return;
    const QPointF origin = drawingOrigin();
    const qreal scale = zoomFactor();
    if (m_zoomToFit) {
        // Fitted, the picture stays the same until something changes: a fitted tree of a few hundred
        // thousand nodes is painted once, and every later paint is a copy.
        const qreal ratio = devicePixelRatioF();
        if (m_fitPicture.size() != viewport()->size() * ratio || m_fitPictureStamp != m_paintStamp) {
            m_fitPicture = QImage(viewport()->size() * ratio, QImage::Format_RGB32);
            m_fitPicture.setDevicePixelRatio(ratio);
            m_fitPicture.fill(m_backgroundColor);
            QPainter picture(&m_fitPicture);
            picture.translate(origin);
            picture.scale(scale, scale);
            paintDrawing(picture, picture.transform().inverted().mapRect(QRectF(viewport()->rect())), true);
            m_fitPictureStamp = m_paintStamp;
        }
        painter.drawImage(
            event->rect(), m_fitPicture,
            QRectF(QPointF(event->rect().topLeft()) * ratio, QSizeF(event->rect().size()) * ratio));
        return;
    }
    m_fitPicture = QImage();
    painter.translate(origin);
    painter.scale(scale, scale);
    const QRectF exposed = painter.transform().inverted().mapRect(QRectF(event->rect()));
    paintDrawing(painter, exposed, true);
}

void TNodeDiagram::paintDrawing(QPainter& painter, const QRectF& exposed, bool markSelection) {
    ensureLayout();
    painter.save();
    painter.fillRect(exposed, m_backgroundColor);
    if (m_updateCount == 0 && m_layout.count() > 0 && painter.worldTransform().m11() < kCoarseScale) {
        paintCoarse(painter, exposed);
    } else if (m_updateCount == 0 && m_layout.count() > 0) {
        paintConnectors(painter, exposed);
        // A node reaches below its row by its expand button, and around it by the selection mark.
        const qreal reach = kButtonGap + kButtonSize + 1;
        const auto [firstRow, endRow] = m_layout.rowsBetween(exposed.top() - reach, exposed.bottom() + reach);
        for (int depth = firstRow; depth < endRow; ++depth) {
            const std::vector<int>& row = m_layout.row(depth);
            const auto [first, end] =
                m_layout.rowRange(depth, exposed.left() - reach, exposed.right() + reach);
            for (int k = first; k < end; ++k) {
                const TDiagramNode* node = m_laidOut[row[k]];
                paintNode(painter, *node, markSelection && node == m_selected);
            }
        }
    }
    painter.restore();
}

void TNodeDiagram::paintConnectors(QPainter& painter, const QRectF& exposed) {
    // Elbows from a parent's bottom centre down to a bar half way to the next row, and from the bar down
    // to each child's top centre. One path for all, so that shared bits are not blended twice.
    QPainterPath path;
    const qreal barDrop = std::round(m_layout.spacing().vertical / 2);
    const auto [firstRow, endRow] = m_layout.rowsBetween(exposed.top() - 2, exposed.bottom() + 2);
    const int lastChildRow = std::min(m_layout.rowCount() - 1, endRow);
    for (int depth = std::max(1, firstRow); depth <= lastChildRow; ++depth) {
        const std::vector<int>& row = m_layout.row(depth);
        auto [first, end] = m_layout.rowRange(depth, exposed.left() - 2, exposed.right() + 2);
        // One child more on each side: a bar may cross the exposed area with all its children outside.
        first = std::max(0, first - 1);
        end = std::min(static_cast<int>(row.size()), end + 1);
        const qreal barY = m_layout.rowTop(depth) - barDrop;
        int parent = -1;
        qreal barLeft = 0;
        qreal barRight = 0;
        auto closeBar = [&] {
            if (parent < 0)
                return;
            const QRectF& box = m_layout.rect(parent);
            const qreal x = DiagramLayout::centreX(box);
            path.moveTo(x, box.bottom());
            path.lineTo(x, barY);
            path.moveTo(std::min(barLeft, x), barY);
            path.lineTo(std::max(barRight, x), barY);
        };
        for (int k = first; k < end; ++k) {
            const int child = row[k];
            const QRectF& box = m_layout.rect(child);
            const qreal x = DiagramLayout::centreX(box);
            path.moveTo(x, barY);
            path.lineTo(x, box.top());
            if (m_layout.parent(child) != parent) {
                closeBar();
                parent = m_layout.parent(child);
                barLeft = barRight = x;
            }
            barLeft = std::min(barLeft, x);
            barRight = std::max(barRight, x);
        }
        closeBar();
    }
    if (path.isEmpty())
        return;
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(Qt::black, 2, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
}

void TNodeDiagram::paintCoarse(QPainter& painter, const QRectF& exposed) {
    // Far out, a fitted tree of a few hundred thousand nodes puts many boxes into one pixel: work in
    // device pixels, and fill one block for each run of boxes of one colour that touch.
    const QTransform toDevice = painter.worldTransform();
    const qreal sx = toDevice.m11();
    const qreal sy = toDevice.m22();
    const auto deviceX = [&](qreal x) { return x * sx + toDevice.dx(); };
    const auto deviceY = [&](qreal y) { return y * sy + toDevice.dy(); };
    painter.save();
    painter.resetTransform();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(Qt::black, 1));

    const auto [firstRow, endRow] = m_layout.rowsBetween(exposed.top() - m_layout.spacing().vertical,
                                                         exposed.bottom() + m_layout.spacing().vertical);
    const qreal barDrop = std::round(m_layout.spacing().vertical / 2);
    for (int depth = std::max(1, firstRow); depth < endRow; ++depth) {
        const std::vector<int>& row = m_layout.row(depth);
        auto [first, end] = m_layout.rowRange(depth, exposed.left(), exposed.right());
        first = std::max(0, first - 1);
        end = std::min(static_cast<int>(row.size()), end + 1);
        const int barY = static_cast<int>(std::floor(deviceY(m_layout.rowTop(depth) - barDrop)));
        const int childTop = static_cast<int>(std::floor(deviceY(m_layout.rowTop(depth))));
        int parent = -1;
        int barLeft = 0;
        int barRight = 0;
        int lastX = std::numeric_limits<int>::min();
        const auto closeBar = [&] {
            if (parent < 0)
                return;
            const QRectF& box = m_layout.rect(parent);
            const int x = static_cast<int>(std::floor(deviceX(DiagramLayout::centreX(box))));
            painter.drawLine(x, static_cast<int>(std::floor(deviceY(box.bottom()))), x, barY);
            painter.drawLine(std::min(barLeft, x), barY, std::max(barRight, x), barY);
        };
        for (int k = first; k < end; ++k) {
            const int child = row[k];
            const int x = static_cast<int>(std::floor(deviceX(DiagramLayout::centreX(m_layout.rect(child)))));
            if (x != lastX && childTop > barY)
                painter.drawLine(x, barY, x, childTop);
            lastX = x;
            if (m_layout.parent(child) != parent) {
                closeBar();
                parent = m_layout.parent(child);
                barLeft = barRight = x;
            }
            barLeft = std::min(barLeft, x);
            barRight = std::max(barRight, x);
        }
        closeBar();
    }

    for (int depth = firstRow; depth < endRow; ++depth) {
        const std::vector<int>& row = m_layout.row(depth);
        const auto [first, end] = m_layout.rowRange(depth, exposed.left(), exposed.right());
        QRect block;
        QColor blockColour;
        for (int k = first; k < end; ++k) {
            const TDiagramNode* node = m_laidOut[row[k]];
            const QRectF box(node->m_rect);
            const int left = static_cast<int>(std::floor(deviceX(box.left())));
            const int right = std::max(left + 1, static_cast<int>(std::ceil(deviceX(box.right()))));
            const int top = static_cast<int>(std::floor(deviceY(box.top())));
            const int bottom = std::max(top + 1, static_cast<int>(std::ceil(deviceY(box.bottom()))));
            const QColor colour = node->m_color.isValid() ? node->m_color : m_defaultNodeColor;
            if (!block.isNull() && colour == blockColour && left <= block.right() + 1) {
                block.setRight(std::max(block.right(), right - 1));
                block.setBottom(std::max(block.bottom(), bottom - 1));
                continue;
            }
            if (!block.isNull())
                painter.fillRect(block, blockColour);
            block = QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
            blockColour = colour;
        }
        if (!block.isNull())
            painter.fillRect(block, blockColour);
    }
    painter.restore();
}

QRectF TNodeDiagram::expandButtonRect(const QRect& nodeRect) const {
    const qreal x = DiagramLayout::centreX(QRectF(nodeRect));
    return {x - kButtonSize / 2, qreal(nodeRect.top() + nodeRect.height() + kButtonGap), qreal(kButtonSize),
            qreal(kButtonSize)};
}

void TNodeDiagram::paintNode(QPainter& painter, const TDiagramNode& node, bool selected) {
    const QRect box = node.m_rect;
    const QColor fill = node.m_color.isValid() ? node.m_color : m_defaultNodeColor;
    const bool raised = m_nodeStyle == NodeStyle::Raised;
    if (node.m_shape == TDiagramNode::Shape::Rectangle) {
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.fillRect(box, fill);
        if (raised)
            qDrawShadePanel(&painter, box, QPalette(fill), false, 2);
    } else {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(Qt::NoPen);
        if (raised) {
            // Lit from the top left, like the bevel of the rectangles.
            QRadialGradient light(box.center(), std::max(box.width(), box.height()) * 0.6,
                                  box.center() - QPointF(box.width() / 4.0, box.height() / 4.0));
            light.setColorAt(0, fill.lighter(140));
            light.setColorAt(0.7, fill);
            light.setColorAt(1, fill.darker(140));
            painter.setBrush(light);
        } else {
            painter.setBrush(fill);
        }
        painter.drawEllipse(QRectF(box));
    }

    if (!node.m_lines.isEmpty()) {
        const QFontMetricsF metrics(m_font);
        const qreal lineHeight = metrics.lineSpacing();
        qreal y = box.top() + (box.height() - node.m_lines.size() * lineHeight) / 2;
        painter.setFont(m_font);
        painter.setPen(Qt::black);
        for (const QString& line : node.m_lines) {
            painter.drawText(QRectF(box.left(), y, box.width(), lineHeight),
                             Qt::AlignHCenter | Qt::AlignVCenter, line);
            y += lineHeight;
        }
    }

    painter.setRenderHint(QPainter::Antialiasing, false);
    if (node.hasChildren()) {
        // Filled whole-pixel rectangles rather than outlines: they come out the same in any band of
        // the drawing, where clipped lines may shift by a pixel.
        const QRect button = expandButtonRect(box).toRect();
        painter.fillRect(button, QColor(0x60, 0x60, 0x60));
        painter.fillRect(button.adjusted(1, 1, -1, -1), Qt::white);
        painter.fillRect(QRect(button.left() + 2, button.top() + kButtonSize / 2, kButtonSize - 4, 1),
                         Qt::black);
        if (!node.m_expanded)
            painter.fillRect(QRect(button.left() + kButtonSize / 2, button.top() + 2, 1, kButtonSize - 4),
                             Qt::black);
    }
    if (selected) {
        painter.setPen(QPen(QColor(0x00, 0x5A, 0xC8), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(
            QRectF(box).adjusted(-kSelectionOutset, -kSelectionOutset, kSelectionOutset, kSelectionOutset));
    }
}

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
