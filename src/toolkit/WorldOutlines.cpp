#include "toolkit/WorldOutlines.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>

// The outlines are compiled into the widget library; a static library must register them by hand.
static void registerOutlines() {
    Q_INIT_RESOURCE(map);
}

namespace kelvane::ui {

namespace {

// Tolerances of the simplified paths, in plane units. A plane unit is about 220 pixels when the whole
// world fills a window 1200 pixels wide.
constexpr double kTolerance[TMapShape::kDetailLevels] = {0, 0.0006, 0.0025, 0.01};

class Reader {
public:
    explicit Reader(const QByteArray& data) : m_data(data) {}
    std::uint32_t u8() {
        need(1);
        return static_cast<unsigned char>(m_data[m_pos++]);
    }
    std::uint32_t u16() { return u8() | (u8() << 8); }
    std::uint32_t u32() { return u16() | (u16() << 16); }
    std::int64_t zigzag() {
        std::uint64_t v = 0;
        for (int shift = 0;; shift += 7) {
            if (shift > 35)
                throw std::runtime_error("world outlines: bad number");
            const std::uint32_t b = u8();
            v |= std::uint64_t(b & 0x7f) << shift;
            if (!(b & 0x80))
                break;
        }
        return (v & 1) ? -std::int64_t(v >> 1) - 1 : std::int64_t(v >> 1);
    }
    QByteArray bytes(int n) {
        need(n);
        const QByteArray b = m_data.mid(m_pos, n);
        m_pos += n;
        return b;
    }
    bool atEnd() const { return m_pos == m_data.size(); }
    qsizetype remaining() const { return m_data.size() - m_pos; }

private:
    void need(qsizetype n) const {
        if (m_pos + n > m_data.size())
            throw std::runtime_error("world outlines: file cut short");
    }
    const QByteArray& m_data;
    qsizetype m_pos = 0;
};

// Drops points closer than tolerance to the last kept one; a ring keeps at least its first three.
QPolygonF simplified(const QPolygonF& ring, double tolerance) {
    if (tolerance <= 0 || ring.size() <= 4)
        return ring;
    QPolygonF out;
    out.reserve(ring.size() / 4);
    out << ring.first();
    const double t2 = tolerance * tolerance;
    for (qsizetype i = 1; i < ring.size(); ++i) {
        const QPointF d = ring[i] - out.last();
        if (d.x() * d.x() + d.y() * d.y() >= t2)
            out << ring[i];
    }
    if (out.size() < 3)
        return QPolygonF{ring[0], ring[ring.size() / 3], ring[2 * ring.size() / 3]};
    return out;
}

// A straight edge in degrees is a curve on the map (the map's rounded sides): long edges, the closing
// one too, get a point every degree.
QPolygonF projectedRing(const std::vector<QPointF>& degrees) {
    QPolygonF ring;
    ring.reserve(static_cast<qsizetype>(degrees.size()));
    for (size_t i = 0; i < degrees.size(); ++i) {
        const QPointF& from = degrees[i];
        const QPointF& to = degrees[(i + 1) % degrees.size()];
        ring << projectNaturalEarth(from.x(), from.y());
        const int steps =
            static_cast<int>(std::max(std::abs(to.x() - from.x()), std::abs(to.y() - from.y())));
        for (int k = 1; k < steps; ++k) {
            const QPointF p = from + (to - from) * k / steps;
            ring << projectNaturalEarth(p.x(), p.y());
        }
    }
    return ring;
}

void buildPaths(TMapShape& shape) {
    for (int level = 0; level < TMapShape::kDetailLevels; ++level) {
        QPainterPath path;
        path.setFillRule(Qt::OddEvenFill);
        for (const QPolygonF& ring : shape.rings) {
            path.addPolygon(simplified(ring, kTolerance[level]));
            path.closeSubpath();
        }
        shape.paths[level] = path;
    }
}

} // namespace

QPointF projectNaturalEarth(double longitude, double latitude) {
    const double lambda = longitude * std::numbers::pi / 180;
    const double phi = latitude * std::numbers::pi / 180;
    const double p2 = phi * phi;
    const double p4 = p2 * p2;
    const double p6 = p4 * p2;
    const double p8 = p4 * p4;
    const double p10 = p8 * p2;
    const double p12 = p6 * p6;
    const double x = lambda * (0.8707 - 0.131979 * p2 - 0.013791 * p4 + 0.003971 * p10 - 0.001529 * p12);
    const double y = phi * (1.007226 + 0.015085 * p2 - 0.044475 * p6 + 0.028874 * p8 - 0.005916 * p10);
    return {x, -y};
}

bool TMapShape::contains(const QPointF& point) const {
    if (!bounds.contains(point))
        return false;
    bool inside = false;
    for (const QPolygonF& ring : rings) {
        const qsizetype n = ring.size();
        for (qsizetype i = 0, j = n - 1; i < n; j = i++) {
            const QPointF& a = ring[i];
            const QPointF& b = ring[j];
            if ((a.y() > point.y()) != (b.y() > point.y()) &&
                point.x() < (b.x() - a.x()) * (point.y() - a.y()) / (b.y() - a.y()) + a.x())
                inside = !inside;
        }
    }
    return inside;
}

int TMapShape::detailLevel(double pixelsPerUnit) {
    // The coarsest level whose tolerance stays under half a pixel.
    for (int level = kDetailLevels - 1; level > 0; --level)
        if (kTolerance[level] * pixelsPerUnit <= 0.5)
            return level;
    return 0;
}

std::vector<TMapShape> readWorldOutlines(const QByteArray& data) {
    Reader in(data);
    if (in.bytes(4) != "KWM1")
        throw std::runtime_error("world outlines: not an outline file");
    std::vector<TMapShape> shapes;
    const std::uint32_t countries = in.u16();
    for (std::uint32_t c = 0; c < countries; ++c) {
        const QString code = QString::fromLatin1(in.bytes(2));
        const QString label = QString::fromUtf8(in.bytes(static_cast<int>(in.u8())));
        const std::uint32_t shapeCount = in.u16();
        for (std::uint32_t s = 0; s < shapeCount; ++s) {
            TMapShape shape;
            shape.code = code;
            shape.label = label;
            const std::uint32_t ringCount = in.u16();
            for (std::uint32_t r = 0; r < ringCount; ++r) {
                const std::uint32_t points = in.u32();
                // Each point takes two bytes at least: a count beyond that is a broken file.
                if (points > in.remaining() / 2)
                    throw std::runtime_error("world outlines: file cut short");
                std::vector<QPointF> degrees;
                degrees.reserve(points);
                std::int64_t x = 0, y = 0;
                for (std::uint32_t p = 0; p < points; ++p) {
                    x += in.zigzag();
                    y += in.zigzag();
                    degrees.emplace_back(x / 1000.0, y / 1000.0);
                }
                QPolygonF ring = projectedRing(degrees);
                if (ring.size() < 3)
                    continue;
                shape.bounds =
                    shape.bounds.isNull() ? ring.boundingRect() : shape.bounds | ring.boundingRect();
                shape.rings.push_back(std::move(ring));
            }
            if (shape.rings.empty())
                continue;
            buildPaths(shape);
            shapes.push_back(std::move(shape));
        }
    }
    if (!in.atEnd())
        throw std::runtime_error("world outlines: trailing bytes");
    return shapes;
}

std::vector<TMapShape> loadWorldOutlines() {
    registerOutlines();
    QFile file(":/map/world-50m.bin");
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("world outlines: resource missing");
    return readWorldOutlines(file.readAll());
}

int shapeAt(const std::vector<TMapShape>& shapes, const QPointF& point) {
    for (int i = static_cast<int>(shapes.size()) - 1; i >= 0; --i)
        if (shapes[static_cast<size_t>(i)].contains(point))
            return i;
    return -1;
}

} // namespace kelvane::ui
