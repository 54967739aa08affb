#pragma once

#include "toolkit/WorldOutlines.h"

#include <QPixmap>
#include <QTimer>
#include <QWidget>

#include <vector>

namespace kelvane::ui {

// A world map of country shapes on a flat dark background, with no title, legend, axes or margins.
// The wheel and a drag with the right button zoom (a drag up and to the left shows the whole world
// again), a drag with the left button scrolls, and the aspect of the map is always kept. A click
// without a drag on a shape, with any button, emits shapeClicked. A tip follows the mouse over a shape
// with its label and value.
class TWorldMap : public QWidget {
    Q_OBJECT

public:
    static inline const QColor kBackground{0x44, 0x4E, 0x59};

    // Loads the outlines the program carries.
    explicit TWorldMap(QWidget* parent = nullptr);
    // With the given shapes (tests).
    TWorldMap(std::vector<TMapShape> shapes, QWidget* parent = nullptr);

    int shapeCount() const { return static_cast<int>(m_shapes.size()); }
    const TMapShape& shape(int index) const { return m_shapes.at(static_cast<size_t>(index)); }
    // Changes to a shape show after endUpdate, or at once outside a batch.
    TMapShape& shape(int index);
    void beginUpdate() { ++m_updateDepth; }
    void endUpdate();

    // The part of the plane in view; the widget shows at least this much, centred, keeping the aspect.
    QRectF visibleArea() const { return m_area; }
    void setVisibleArea(const QRectF& area);
    QRectF worldArea() const { return m_world; }
    void resetZoom() { setVisibleArea(m_world); }
    // factor > 1 zooms in, keeping the plane point under widgetPoint where it is.
    void zoomAt(const QPointF& widgetPoint, double factor);
    void scrollBy(const QPointF& widgetDelta);

    // Plane units to the pixels of target, for the visible area.
    QTransform planeTransform(const QRectF& target) const;
    int shapeAtPosition(const QPointF& widgetPoint) const;

    // Draws the visible area of the map into target: the screen, a bitmap and a PDF all use this.
    void render(QPainter& painter, const QRectF& target) const;

    // The shape under the mouse, -1 for none, and the tip shown for it.
    int hoveredShape() const { return m_hover; }
    QString tipText() const;

signals:
    void shapeClicked(int index, Qt::MouseButton button);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    enum class Quality { Draft, Final };
    void changed();
    void draw(QPainter& painter, const QTransform& toTarget, const QRectF& target, Quality quality) const;
    void renderCache(Quality quality);
    void settle();
    void setHover(int index, const QPoint& position);

    std::vector<TMapShape> m_shapes;
    std::vector<QRectF> m_countryBounds; // by shape: the bounds of all shapes of its country
    QRectF m_world;
    QRectF m_area;
    int m_updateDepth = 0;

    // The map as last drawn, a margin beyond the edges: scrolling moves it, zooming stretches it until the
    // wheel rests, and the mouse tip and the zoom rectangle are drawn over it.
    QPixmap m_cache;
    QTransform m_cacheTransform; // plane units to the picture's pixels
    bool m_cacheValid = false;
    Quality m_cacheQuality = Quality::Final;
    QTimer m_settle;

    Qt::MouseButton m_dragButton = Qt::NoButton;
    QPoint m_pressPosition;
    QPoint m_lastPosition;
    bool m_dragged = false;
    QRect m_zoomRect;

    int m_hover = -1;
    QPoint m_hoverPosition;
};

} // namespace kelvane::ui
