// The node diagram's painting: on screen, in bands for the exports, and coarse when far out.
#include "toolkit/TNodeDiagram.h"

#include "toolkit/NodeDiagramMetrics.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <qdrawutil.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvane::ui {

using namespace diagram;

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
    if (node.hasVisibleChildren()) {
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

} // namespace kelvane::ui
