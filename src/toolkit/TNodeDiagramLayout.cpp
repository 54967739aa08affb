// The node diagram's layout: measuring texts, placing the visible nodes, the scroll range.
#include "toolkit/TNodeDiagram.h"

#include "toolkit/NodeDiagramMetrics.h"

#include <QFontMetricsF>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

namespace kelvane::ui {

using namespace diagram;

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
        if (!(*it)->m_hidden)
            pending.emplace_back(it->get(), -1);
    while (!pending.empty()) {
        const auto [node, parent] = pending.back();
        pending.pop_back();
        const int index = static_cast<int>(m_laidOut.size());
        m_laidOut.push_back(node);
        boxes.push_back({parent, qreal(node->m_width), qreal(node->m_height)});
        if (node->m_expanded) {
            for (auto it = node->m_children.rbegin(); it != node->m_children.rend(); ++it)
                if (!(*it)->m_hidden)
                    pending.emplace_back(it->get(), index);
        }
    }
    m_layout.compute(boxes, DiagramLayout::Spacing{});
    for (int i = 0; i < m_layout.count(); ++i) {
        m_laidOut[i]->m_rect = m_layout.rect(i).toRect();
        m_laidOut[i]->m_layoutStamp = m_layoutStamp;
    }
    updateScrollBars();
    emit viewChanged();
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
    emit viewChanged();
}

void TNodeDiagram::scrollContentsBy(int dx, int dy) {
    // Scrolling blits what is on screen and paints only the uncovered strip; inside a paint, or when the
    // scale follows the view, everything is painted anew.
    if (m_inPaint || m_zoomToFit || m_updateCount > 0)
        viewport()->update();
    else
        viewport()->scroll(dx, dy);
    emit viewChanged();
}

} // namespace kelvane::ui
