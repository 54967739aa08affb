#pragma once

#include <QColor>
#include <QRect>
#include <QString>
#include <QStringList>

#include <any>
#include <memory>
#include <vector>

namespace kelvane::ui {

class TNodeDiagram;

// One box of a TNodeDiagram. Nodes are made and owned by their diagram (addChild) and live until
// deleteChildren() or clear() removes them; a node owns the record attached to it.
class TDiagramNode {
    // Only the diagram can make nodes, yet std::make_unique needs a public constructor.
    class Key {
        Key() = default;
        friend class TNodeDiagram;
    };

public:
    enum class Shape { Rectangle, Ellipse };

    TDiagramNode(Key, TNodeDiagram* diagram, TDiagramNode* parent, std::any record);
    ~TDiagramNode();
    TDiagramNode(const TDiagramNode&) = delete;
    TDiagramNode& operator=(const TDiagramNode&) = delete;

    // Lines are separated by LF or CR LF. Setting a text grows the node to hold it (never shrinks it);
    // the same text again changes nothing.
    const QString& text() const { return m_text; }
    void setText(const QString& text);

    // Invalid until set; such nodes are painted in the diagram's default node colour.
    QColor color() const { return m_color; }
    void setColor(const QColor& color);

    Shape shape() const { return m_shape; }
    void setShape(Shape shape);

    // Exact sizes, for nodes without text; setText() may grow them again.
    int width() const { return m_width; }
    void setWidth(int width);
    int height() const { return m_height; }
    void setHeight(int height);

    TNodeDiagram* diagram() const { return m_diagram; }
    TDiagramNode* parent() const { return m_parent; }
    int childCount() const { return static_cast<int>(m_children.size()); }
    TDiagramNode* child(int index) const { return m_children.at(index).get(); }
    bool hasChildren() const { return !m_children.empty(); }

    // A collapsed node hides its descendants. New nodes start collapsed: fill, then expandAll().
    bool isExpanded() const { return m_expanded; }
    void setExpanded(bool expanded);

    // A hidden node is left out of the drawing with all its descendants (a focus on part of a tree).
    bool isHidden() const { return m_hidden; }
    void setHidden(bool hidden);
    // Whether the node has a child that is not hidden: what its +/- button stands for.
    bool hasVisibleChildren() const;

    // A number the owner gives the node, e.g. its place in the owner's own model; -1 until set.
    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }

    bool hasRecord() const { return m_record.has_value(); }
    const std::any& record() const { return m_record; }
    // The record if it is a T, else nullptr.
    template <class T> T* recordAs() { return std::any_cast<T>(&m_record); }
    template <class T> const T* recordAs() const { return std::any_cast<T>(&m_record); }

    // Place in the drawing, in drawing pixels; a null rect while the node is hidden by a collapsed
    // ancestor or the diagram is inside beginUpdate()/endUpdate().
    QRect rect() const;

private:
    friend class TNodeDiagram;

    void growToText();

    TNodeDiagram* m_diagram;
    TDiagramNode* m_parent;
    std::vector<std::unique_ptr<TDiagramNode>> m_children;
    std::any m_record;
    QString m_text;
    QStringList m_lines; // what is painted: the text's lines between its first and last non-blank one
    QColor m_color;
    Shape m_shape = Shape::Rectangle;
    int m_width;
    int m_height;
    bool m_expanded = false;
    bool m_hidden = false;
    int m_tag = -1;
    // Where the last layout put the node; valid while m_layoutStamp matches the diagram's.
    QRect m_rect;
    quint64 m_layoutStamp = 0;
};

} // namespace kelvane::ui
