#pragma once

#include <QByteArray>
#include <QColor>
#include <QPainterPath>
#include <QPen>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QString>

#include <array>
#include <vector>

namespace kelvane::ui {

// The world map's projection (Natural Earth I): longitude and latitude in degrees to plane units, x to
// the east and y to the south, so that the plane paints as it is. The world spans about
// [-2.73, 2.73] by [-1.42, 1.42].
QPointF projectNaturalEarth(double longitude, double latitude);

// One polygon of a country (an island, a mainland), in plane units. A country may have many.
struct TMapShape {
    QString code;  // ISO 3166 two-letter code: the only key between the map and the data
    QString label; // the country's English name
    double value = 0;
    QColor color = Qt::black;
    QPen pen{QColor(Qt::black), 0}; // width 0: one pixel at any zoom
    std::vector<QPolygonF> rings;   // outer ring first, then holes
    QRectF bounds;

    // Even-odd rule over all rings, so holes are not inside.
    bool contains(const QPointF& point) const;

    // Paths at falling detail; level 0 is every point.
    static constexpr int kDetailLevels = 4;
    std::array<QPainterPath, kDetailLevels> paths;
    // The detail level to draw at for a scale of pixels per plane unit.
    static int detailLevel(double pixelsPerUnit);
};

// Reads the outline file that scripts/make-world-map.sh writes. Throws std::runtime_error on a
// malformed file.
std::vector<TMapShape> readWorldOutlines(const QByteArray& data);

// The shapes of the outline file that the program carries.
std::vector<TMapShape> loadWorldOutlines();

// The index of the topmost shape that holds point (plane units), or -1.
int shapeAt(const std::vector<TMapShape>& shapes, const QPointF& point);

} // namespace kelvane::ui
