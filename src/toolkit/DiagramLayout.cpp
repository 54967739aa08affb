#include "toolkit/DiagramLayout.h"

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvane::ui {

namespace {

// The left and right outline of a subtree, one entry per level. Entries are kept deepest first so
// that a parent adds its own level with push_back, and a shift of the whole subtree only moves
// `base`: both keep the cost of packing proportional to the shallower of two neighbours.
struct Contour {
    std::vector<qreal> left;
    std::vector<qreal> right;
    qreal base = 0;

    size_t levels() const { return left.size(); }
    // Level k counted from the top of the subtree.
    qreal leftAt(size_t k) const { return left[left.size() - 1 - k] + base; }
    qreal rightAt(size_t k) const { return right[right.size() - 1 - k] + base; }
    void setLeftAt(size_t k, qreal x) { left[left.size() - 1 - k] = x - base; }
    void setRightAt(size_t k, qreal x) { right[right.size() - 1 - k] = x - base; }
};

// Places the subtrees `first..last` side by side, each as far left as its contour allows, and gives
// their centres relative to the centre of the first. Returns the outline of the whole row of them.
Contour packSiblings(const int* first, const int* last, std::vector<Contour>& contours,
                     std::vector<qreal>& centres, qreal gap) {
    Contour packed = std::move(contours[*first]);
    centres[*first] = 0;
    for (const int* it = first + 1; it != last; ++it) {
        Contour next = std::move(contours[*it]);
        const size_t common = std::min(packed.levels(), next.levels());
        qreal shift = std::numeric_limits<qreal>::lowest();
        for (size_t k = 0; k < common; ++k)
            shift = std::max(shift, packed.rightAt(k) - next.leftAt(k) + gap);
        centres[*it] = shift;
        next.base += shift;
        if (next.levels() > packed.levels()) {
            for (size_t k = 0; k < common; ++k)
                next.setLeftAt(k, packed.leftAt(k));
            packed = std::move(next);
        } else {
            for (size_t k = 0; k < common; ++k)
                packed.setRightAt(k, next.rightAt(k));
        }
    }
    return packed;
}

} // namespace

void DiagramLayout::clear() {
    m_rects.clear();
    m_parents.clear();
    m_depths.clear();
    m_rows.clear();
    m_rowTops.clear();
    m_rowHeights.clear();
    m_size = QSizeF(0, 0);
}

void DiagramLayout::compute(const std::vector<Box>& boxes, const Spacing& spacing) {
    clear();
    m_spacing = spacing;
    const int n = static_cast<int>(boxes.size());
    if (n == 0)
        return;

    // Parents, depths, and the children of each box in one flat array (index order = sibling order).
    m_parents.resize(n);
    m_depths.resize(n);
    std::vector<int> childStart(n + 1, 0);
    std::vector<int> roots;
    int maxDepth = 0;
    for (int i = 0; i < n; ++i) {
        int p = boxes[i].parent;
        Q_ASSERT_X(p < i, "DiagramLayout::compute", "a parent must precede its children");
        if (p >= i || p < -1)
            p = -1;
        m_parents[i] = p;
        if (p < 0) {
            m_depths[i] = 0;
            roots.push_back(i);
        } else {
            m_depths[i] = m_depths[p] + 1;
            ++childStart[p + 1];
        }
        maxDepth = std::max(maxDepth, m_depths[i]);
    }
    for (int i = 0; i < n; ++i)
        childStart[i + 1] += childStart[i];
    std::vector<int> children(childStart[n]);
    {
        std::vector<int> fill(childStart.begin(), childStart.end() - 1);
        for (int i = 0; i < n; ++i)
            if (m_parents[i] >= 0)
                children[fill[m_parents[i]]++] = i;
    }

    // Bottom-up: every child has a higher index than its parent, so a reverse sweep sees children first.
    std::vector<Contour> contours(n);
    std::vector<qreal> centres(n, 0); // scratch: centres of siblings while they are packed
    std::vector<qreal> offsets(n, 0); // centre of a box relative to its parent's centre
    for (int i = n - 1; i >= 0; --i) {
        const qreal half = boxes[i].width / 2;
        const int* first = children.data() + childStart[i];
        const int* last = children.data() + childStart[i + 1];
        Contour outline;
        if (first != last) {
            outline = packSiblings(first, last, contours, centres, spacing.horizontal);
            const qreal mid = (centres[*first] + centres[*(last - 1)]) / 2;
            for (const int* c = first; c != last; ++c)
                offsets[*c] = centres[*c] - mid;
            outline.base -= mid;
        }
        outline.left.push_back(-half - outline.base);
        outline.right.push_back(half - outline.base);
        contours[i] = std::move(outline);
    }
    const Contour forest =
        packSiblings(roots.data(), roots.data() + roots.size(), contours, centres, spacing.horizontal);
    qreal minLeft = std::numeric_limits<qreal>::max();
    for (size_t k = 0; k < forest.levels(); ++k)
        minLeft = std::min(minLeft, forest.leftAt(k));

    // Rows: as tall as their tallest box.
    m_rowHeights.assign(maxDepth + 1, 0);
    for (int i = 0; i < n; ++i)
        m_rowHeights[m_depths[i]] = std::max(m_rowHeights[m_depths[i]], std::ceil(boxes[i].height));
    m_rowTops.resize(maxDepth + 1);
    qreal y = std::round(spacing.margin);
    for (int d = 0; d <= maxDepth; ++d) {
        m_rowTops[d] = y;
        y += m_rowHeights[d] + std::round(spacing.vertical);
    }

    // Top-down: absolute centres, then whole-pixel boxes.
    std::vector<qreal> centreX(n);
    for (const int r : roots)
        centreX[r] = centres[r] - minLeft + spacing.margin;
    m_rects.resize(n);
    m_rows.assign(maxDepth + 1, {});
    qreal right = 0;
    for (int i = 0; i < n; ++i) {
        if (m_parents[i] >= 0)
            centreX[i] = centreX[m_parents[i]] + offsets[i];
        const qreal w = std::ceil(boxes[i].width);
        const qreal h = std::ceil(boxes[i].height);
        // A whole-pixel centre at left + floor(w / 2): a chain of boxes of any widths stays in one line.
        m_rects[i] = QRectF(std::round(centreX[i]) - std::floor(w / 2), m_rowTops[m_depths[i]], w, h);
        right = std::max(right, m_rects[i].right());
        m_rows[m_depths[i]].push_back(i);
    }
    // Rows are in index order, which is left to right for the usual orders (depth- or breadth-first);
    // sort anyway so that searching a row never depends on how the caller listed the boxes.
    for (auto& row : m_rows) {
        auto byX = [this](int a, int b) { return m_rects[a].left() < m_rects[b].left(); };
        if (!std::is_sorted(row.begin(), row.end(), byX))
            std::sort(row.begin(), row.end(), byX);
    }
    m_size = QSizeF(std::ceil(right + spacing.margin),
                    m_rowTops[maxDepth] + m_rowHeights[maxDepth] + std::round(spacing.margin));
}

std::pair<int, int> DiagramLayout::rowRange(int depth, qreal left, qreal right) const {
    if (depth < 0 || depth >= rowCount())
        return {0, 0};
    const std::vector<int>& r = m_rows[depth];
    // Boxes of a row do not overlap, so both their left and right edges ascend.
    const auto begin =
        std::partition_point(r.begin(), r.end(), [&](int b) { return m_rects[b].right() < left; });
    const auto end = std::partition_point(begin, r.end(), [&](int b) { return m_rects[b].left() <= right; });
    return {static_cast<int>(begin - r.begin()), static_cast<int>(end - r.begin())};
}

std::pair<int, int> DiagramLayout::rowsBetween(qreal top, qreal bottom) const {
    // Rows do not overlap, so their tops and their bottoms both ascend.
    int lo = 0;
    int hi = rowCount();
    while (lo < hi) {
        const int mid = (lo + hi) / 2;
        if (m_rowTops[mid] + m_rowHeights[mid] < top)
            lo = mid + 1;
        else
            hi = mid;
    }
    const auto end = std::upper_bound(m_rowTops.begin() + lo, m_rowTops.end(), bottom);
    return {lo, static_cast<int>(end - m_rowTops.begin())};
}

} // namespace kelvane::ui
