#include "toolkit/TWorldMap.h"

#include <QHash>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace kelvane::ui {

namespace {

constexpr int kDragThreshold = 3;
// How far in the map zooms: a hundredth of the world's width fills the view.
constexpr double kMaxZoom = 100;
// Lit countries smaller than this many pixels are drawn as a dot of this size, so that a lit Malta or
// Singapore shows on the whole world.
constexpr double kMinLitSize = 4;
// The cached picture reaches this share of the widget's size beyond each edge.
constexpr double kCacheMargin = 0.25;
// How long the map must rest before a draft is drawn again in full.
constexpr int kSettleMs = 150;

QRectF worldBounds(const std::vector<TMapShape>& shapes) {
    QRectF r;
    for (const TMapShape& s : shapes)
        r = r.isNull() ? s.bounds : r | s.bounds;
    return r.isNull() ? QRectF(-1, -1, 2, 2) : r;
}

std::vector<QRectF> countryBounds(const std::vector<TMapShape>& shapes) {
    QHash<QString, QRectF> byCode;
    for (const TMapShape& s : shapes) {
        QRectF& r = byCode[s.code];
        r = r.isNull() ? s.bounds : r | s.bounds;
    }
    std::vector<QRectF> bounds;
    bounds.reserve(shapes.size());
    for (const TMapShape& s : shapes)
        bounds.push_back(byCode.value(s.code));
    return bounds;
}

} // namespace

TWorldMap::TWorldMap(QWidget* parent) : TWorldMap(loadWorldOutlines(), parent) {}

TWorldMap::TWorldMap(std::vector<TMapShape> shapes, QWidget* parent)
    : QWidget(parent), m_shapes(std::move(shapes)), m_countryBounds(countryBounds(m_shapes)),
      m_world(worldBounds(m_shapes)), m_area(m_world) {
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_settle.setSingleShot(true);
    m_settle.setInterval(kSettleMs);
    connect(&m_settle, &QTimer::timeout, this, &TWorldMap::settle);
    setMinimumSize(100, 60);
}

TMapShape& TWorldMap::shape(int index) {
    changed();
    return m_shapes.at(static_cast<size_t>(index));
}

void TWorldMap::endUpdate() {
    if (m_updateDepth > 0 && --m_updateDepth == 0)
        changed();
}

void TWorldMap::changed() {
    m_cacheValid = false;
    if (m_updateDepth == 0)
        update();
}

void TWorldMap::setVisibleArea(const QRectF& area) {
    QRectF a = area.normalized();
    if (a.isEmpty())
        return;
    // Not further out than the whole world, not further in than the zoom limit.
    const double scale =
        std::clamp(std::max(a.width() / m_world.width(), a.height() / m_world.height()), 1 / kMaxZoom, 1.0);
    const double fit = scale / std::max(a.width() / m_world.width(), a.height() / m_world.height());
    QPointF centre = a.center();
    a.setSize(a.size() * fit);
    // The centre stays over the world.
    centre.setX(std::clamp(centre.x(), m_world.left(), m_world.right()));
    centre.setY(std::clamp(centre.y(), m_world.top(), m_world.bottom()));
    a.moveCenter(centre);
    if (a == m_area)
        return;
    m_area = a;
    update();
}

QTransform TWorldMap::planeTransform(const QRectF& target) const {
    const double scale = std::min(target.width() / m_area.width(), target.height() / m_area.height());
    QTransform t;
    t.translate(target.center().x(), target.center().y());
    t.scale(scale, scale);
    t.translate(-m_area.center().x(), -m_area.center().y());
    return t;
}

void TWorldMap::zoomAt(const QPointF& widgetPoint, double factor) {
    if (factor <= 0)
        return;
    const QTransform toPlane = planeTransform(rect()).inverted();
    const QPointF anchor = toPlane.map(widgetPoint);
    QRectF a = m_area;
    a.setSize(a.size() / factor);
    // Keep the anchor at the same place relative to the area.
    const QPointF offset = (m_area.center() - anchor) / factor;
    a.moveCenter(anchor + offset);
    setVisibleArea(a);
}

void TWorldMap::scrollBy(const QPointF& widgetDelta) {
    const double scale = planeTransform(rect()).m11();
    setVisibleArea(m_area.translated(-widgetDelta / scale));
}

int TWorldMap::shapeAtPosition(const QPointF& widgetPoint) const {
    return shapeAt(m_shapes, planeTransform(rect()).inverted().map(widgetPoint));
}

void TWorldMap::render(QPainter& painter, const QRectF& target) const {
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    draw(painter, planeTransform(target), target, Quality::Final);
    painter.restore();
}

void TWorldMap::draw(QPainter& painter, const QTransform& toTarget, const QRectF& target,
                     Quality quality) const {
    painter.fillRect(target, kBackground);
    const double scale = toTarget.m11();
    const QRectF visible = toTarget.inverted().mapRect(target);
    int level = TMapShape::detailLevel(scale * std::max(1.0, painter.device()->devicePixelRatioF()));
    // A draft, while the map moves, is coarser and not smoothed.
    if (quality == Quality::Draft)
        level = std::min(level + 1, TMapShape::kDetailLevels - 1);
    painter.setRenderHint(QPainter::Antialiasing, quality == Quality::Final);
    const QTransform base = painter.transform();
    painter.setTransform(toTarget, true);
    std::vector<const TMapShape*> dots;
    for (size_t i = 0; i < m_shapes.size(); ++i) {
        const TMapShape& s = m_shapes[i];
        if (!s.bounds.intersects(visible))
            continue;
        painter.setPen(s.pen);
        painter.setBrush(s.color);
        painter.drawPath(s.paths[static_cast<size_t>(level)]);
        const QRectF& country = m_countryBounds[i];
        if (s.color != Qt::black && country.width() * scale < kMinLitSize &&
            country.height() * scale < kMinLitSize)
            dots.push_back(&s);
    }
    // Dots in pixels, over the outlines.
    painter.setTransform(base);
    painter.setPen(Qt::NoPen);
    for (const TMapShape* s : dots) {
        painter.setBrush(s->color);
        painter.drawEllipse(toTarget.map(s->bounds.center()), kMinLitSize / 2, kMinLitSize / 2);
    }
}

void TWorldMap::renderCache(Quality quality) {
    // The picture reaches a margin beyond each edge, so that scrolling a little only moves it.
    const QSizeF margin(width() * kCacheMargin, height() * kCacheMargin);
    const QSizeF logical = QSizeF(size()) + 2 * margin;
    const qreal ratio = devicePixelRatioF();
    if (m_cache.size() != (logical * ratio).toSize()) {
        m_cache = QPixmap((logical * ratio).toSize());
        m_cache.setDevicePixelRatio(ratio);
    }
    m_cacheTransform = planeTransform(rect()) * QTransform::fromTranslate(margin.width(), margin.height());
    QPainter painter(&m_cache);
    draw(painter, m_cacheTransform, QRectF(QPointF(0, 0), logical), quality);
    m_cacheValid = true;
    m_cacheQuality = quality;
}

QString TWorldMap::tipText() const {
    if (m_hover < 0)
        return QString();
    const TMapShape& s = shape(m_hover);
    return QString("%1: %2").arg(s.label).arg(s.value, 0, 'f', 0);
}

void TWorldMap::paintEvent(QPaintEvent*) {
    const bool moving = m_settle.isActive() || m_dragButton != Qt::NoButton;
    const Quality quality = moving ? Quality::Draft : Quality::Final;
    const QTransform now = planeTransform(rect());
    // From the picture's pixels to the widget's.
    QTransform toWidget = m_cacheValid ? m_cacheTransform.inverted() * now : QTransform();
    const bool sameScale = m_cacheValid && std::abs(toWidget.m11() - 1) < 1e-9;
    const QRectF covered = toWidget.mapRect(QRectF(QPointF(0, 0), m_cache.deviceIndependentSize()));
    const bool covers = covered.adjusted(-0.5, -0.5, 0.5, 0.5).contains(QRectF(rect()));
    QPainter painter(this);
    if (!m_cacheValid || (sameScale && !covers) || (!sameScale && !moving)) {
        renderCache(quality);
        toWidget = m_cacheTransform.inverted() * now;
    }
    if (std::abs(toWidget.m11() - 1) < 1e-9) {
        painter.drawPixmap(QPointF(std::round(toWidget.dx()), std::round(toWidget.dy())), m_cache);
    } else {
        // Zooming: the picture, stretched, stands in until the wheel rests.
        painter.fillRect(rect(), kBackground);
        painter.setTransform(toWidget);
        painter.drawPixmap(QPointF(0, 0), m_cache);
        painter.resetTransform();
    }
    if (!m_zoomRect.isNull()) {
        painter.setPen(QPen(Qt::white, 1, Qt::DashLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(m_zoomRect.normalized());
    }
    if (m_hover >= 0 && m_dragButton == Qt::NoButton) {
        const QString text = tipText();
        const QFontMetrics metrics(font());
        QRect box = metrics.boundingRect(text).adjusted(-6, -4, 6, 4);
        box.moveTopLeft(m_hoverPosition + QPoint(14, 16));
        // Keep the tip inside the map.
        if (box.right() > width())
            box.moveRight(m_hoverPosition.x() - 8);
        if (box.bottom() > height())
            box.moveBottom(m_hoverPosition.y() - 8);
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QColor(0x20, 0x24, 0x2A));
        painter.setBrush(QColor(0xF2, 0xF2, 0xF2));
        painter.drawRoundedRect(box, 3, 3);
        painter.setPen(Qt::black);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

void TWorldMap::resizeEvent(QResizeEvent*) {
    m_cacheValid = false;
}

void TWorldMap::settle() {
    // The map has come to rest: draw it in full.
    m_cacheValid = m_cacheValid && m_cacheQuality == Quality::Final &&
                   std::abs((m_cacheTransform.inverted() * planeTransform(rect())).m11() - 1) < 1e-9;
    update();
}

void TWorldMap::wheelEvent(QWheelEvent* event) {
    // One notch of a wheel (120) zooms by a fifth.
    m_settle.start();
    zoomAt(event->position(), std::pow(1.2, event->angleDelta().y() / 120.0));
    event->accept();
}

void TWorldMap::mousePressEvent(QMouseEvent* event) {
    if (m_dragButton != Qt::NoButton)
        return;
    m_dragButton = event->button();
    m_pressPosition = m_lastPosition = event->position().toPoint();
    m_dragged = false;
    update();
}

void TWorldMap::mouseMoveEvent(QMouseEvent* event) {
    const QPoint position = event->position().toPoint();
    if (m_dragButton == Qt::NoButton) {
        setHover(shapeAtPosition(position), position);
        return;
    }
    if (!m_dragged && (position - m_pressPosition).manhattanLength() < kDragThreshold)
        return;
    m_dragged = true;
    if (m_dragButton == Qt::LeftButton) {
        setCursor(Qt::ClosedHandCursor);
        scrollBy(position - m_lastPosition);
    } else if (m_dragButton == Qt::RightButton) {
        m_zoomRect = QRect(m_pressPosition, position);
        update();
    }
    m_lastPosition = position;
}

void TWorldMap::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != m_dragButton)
        return;
    const QPoint position = event->position().toPoint();
    const Qt::MouseButton button = m_dragButton;
    m_dragButton = Qt::NoButton;
    unsetCursor();
    // A scroll has left drafts behind; a zoom rectangle is drawn in full at once.
    if (m_dragged && button == Qt::LeftButton)
        m_settle.start();
    if (!m_dragged) {
        const int index = shapeAtPosition(position);
        if (index >= 0)
            emit shapeClicked(index, button);
    } else if (button == Qt::RightButton) {
        const QRect r = m_zoomRect;
        m_zoomRect = QRect();
        if (r.width() < 0 && r.height() < 0) {
            resetZoom();
        } else if (std::abs(r.width()) > kDragThreshold && std::abs(r.height()) > kDragThreshold) {
            const QTransform toPlane = planeTransform(rect()).inverted();
            setVisibleArea(toPlane.mapRect(QRectF(r.normalized())));
        }
        update();
    }
    setHover(shapeAtPosition(position), position);
}

void TWorldMap::leaveEvent(QEvent*) {
    setHover(-1, QPoint());
}

void TWorldMap::setHover(int index, const QPoint& position) {
    if (index == m_hover && (index < 0 || position == m_hoverPosition))
        return;
    m_hover = index;
    m_hoverPosition = position;
    update();
}

} // namespace kelvane::ui
