#include "toolkit/TDiagramNode.h"

#include "toolkit/TNodeDiagram.h"

#include <algorithm>
#include <cmath>

namespace kelvane::ui {

namespace {

constexpr int kDefaultNodeWidth = 24;
constexpr int kDefaultNodeHeight = 16;

} // namespace

TDiagramNode::TDiagramNode(Key, TNodeDiagram* diagram, TDiagramNode* parent, std::any record)
    : m_diagram(diagram), m_parent(parent), m_record(std::move(record)), m_width(kDefaultNodeWidth),
      m_height(kDefaultNodeHeight) {}

TDiagramNode::~TDiagramNode() = default;

void TDiagramNode::setText(const QString& text) {
    if (text == m_text)
        return;
    m_text = text;
    m_lines = m_diagram->textMetrics(text).lines;
    const QSize before(m_width, m_height);
    growToText();
    if (before != QSize(m_width, m_height))
        m_diagram->invalidateLayout();
    else
        m_diagram->repaintDrawing();
}

void TDiagramNode::growToText() {
    if (m_text.isEmpty())
        return;
    QSize needed = m_diagram->textMetrics(m_text).size;
    if (m_shape == Shape::Ellipse) // the text's box inscribed in the ellipse
        needed = QSize(std::ceil(needed.width() * M_SQRT2), std::ceil(needed.height() * M_SQRT2));
    m_width = std::max(m_width, needed.width());
    m_height = std::max(m_height, needed.height());
}

void TDiagramNode::setColor(const QColor& color) {
    if (color == m_color)
        return;
    m_color = color;
    m_diagram->repaintDrawing();
}

void TDiagramNode::setShape(Shape shape) {
    if (shape == m_shape)
        return;
    m_shape = shape;
    growToText();
    m_diagram->invalidateLayout();
}

void TDiagramNode::setWidth(int width) {
    width = std::max(0, width);
    if (width == m_width)
        return;
    m_width = width;
    m_diagram->invalidateLayout();
}

void TDiagramNode::setHeight(int height) {
    height = std::max(0, height);
    if (height == m_height)
        return;
    m_height = height;
    m_diagram->invalidateLayout();
}

void TDiagramNode::setExpanded(bool expanded) {
    if (expanded == m_expanded)
        return;
    m_expanded = expanded;
    if (hasVisibleChildren())
        m_diagram->invalidateLayout();
}

void TDiagramNode::setHidden(bool hidden) {
    if (hidden == m_hidden)
        return;
    m_hidden = hidden;
    m_diagram->invalidateLayout();
}

bool TDiagramNode::hasVisibleChildren() const {
    return std::any_of(m_children.begin(), m_children.end(),
                       [](const auto& child) { return !child->m_hidden; });
}

QRect TDiagramNode::rect() const {
    m_diagram->ensureLayout();
    return m_layoutStamp == m_diagram->m_layoutStamp ? m_rect : QRect();
}

} // namespace kelvane::ui
