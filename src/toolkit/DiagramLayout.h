#pragma once

#include <QRectF>
#include <QSizeF>

#include <cmath>
#include <utility>
#include <vector>

namespace kelvane::ui {

// Places the boxes of a forest as a top-down organisation chart: one row per depth, rows as tall
// as their tallest box, boxes top-aligned in their row, siblings left to right, a parent centred
// over its first and last child. Subtrees are packed against each other level by level (contours),
// so a narrow branch does not reserve the width of a wide one deeper down.
//
// Runs without recursion in O(n log n) at worst, so chains thousands of levels deep are fine.
// Knows nothing of widgets or painting: it is fed sizes and gives back rectangles.
class DiagramLayout {
public:
    struct Box {
        int parent = -1; // index of the parent box, or -1 for a root; a parent precedes its children
        qreal width = 0;
        qreal height = 0;
    };

    struct Spacing {
        qreal horizontal = 16; // between neighbouring boxes of a row
        qreal vertical = 32;   // between the bottom of a row and the top of the next
        qreal margin = 16;     // around the whole drawing
    };

    // Siblings keep the order of their indices; roots stand side by side in their order.
    void compute(const std::vector<Box>& boxes, const Spacing& spacing);
    void clear();

    int count() const { return static_cast<int>(m_rects.size()); }
    // Integral positions, so that edges and connectors fall on whole pixels.
    const QRectF& rect(int box) const { return m_rects[box]; }
    // Where connectors meet the box: a parent and its only child share it.
    static qreal centreX(const QRectF& rect) { return rect.left() + std::floor(rect.width() / 2); }
    int parent(int box) const { return m_parents[box]; }
    int depth(int box) const { return m_depths[box]; }
    QSizeF size() const { return m_size; }
    const Spacing& spacing() const { return m_spacing; }

    int rowCount() const { return static_cast<int>(m_rows.size()); }
    // The boxes of one depth, left to right.
    const std::vector<int>& row(int depth) const { return m_rows[depth]; }
    qreal rowTop(int depth) const { return m_rowTops[depth]; }
    qreal rowHeight(int depth) const { return m_rowHeights[depth]; }
    // Positions in row(depth), as a half-open range, of the boxes that meet [left, right] in x.
    std::pair<int, int> rowRange(int depth, qreal left, qreal right) const;
    // The rows that meet [top, bottom] in y, as a half-open range of depths.
    std::pair<int, int> rowsBetween(qreal top, qreal bottom) const;

private:
    std::vector<QRectF> m_rects;
    std::vector<int> m_parents;
    std::vector<int> m_depths;
    std::vector<std::vector<int>> m_rows;
    std::vector<qreal> m_rowTops;
    std::vector<qreal> m_rowHeights;
    QSizeF m_size{0, 0};
    Spacing m_spacing;
};

} // namespace kelvane::ui
