#pragma once

#include "toolkit/DiagramLayout.h"
#include "toolkit/TDiagramNode.h"

#include <QAbstractScrollArea>
#include <QColor>
#include <QFont>
#include <QHash>
#include <QImage>

#include <any>
#include <memory>
#include <vector>

class QPainter;

namespace kelvane::ui {

// A tree of boxes drawn top-down like an organisation chart, with elbow connectors and
// expand/collapse buttons. Placement is DiagramLayout's; it is redone only after a change, and
// painting touches only the nodes in the exposed area, so chains thousands of nodes deep scroll freely.
class TNodeDiagram : public QAbstractScrollArea {
    Q_OBJECT

public:
    enum class NodeStyle { Flat, Raised };

    explicit TNodeDiagram(QWidget* parent = nullptr);
    // Frees every node silently: nodeDeleted is not emitted while the widget goes.
    ~TNodeDiagram() override;

    // Adds a node as the last child of `parent`, or as a new root when `parent` is null. The node keeps
    // `record` (e.g. a TSysmonEventData) until it is deleted.
    TDiagramNode* addChild(TDiagramNode* parent, std::any record = {});
    int topLevelCount() const { return static_cast<int>(m_roots.size()); }
    TDiagramNode* topLevelNode(int index) const { return m_roots.at(index).get(); }

    // Both emit nodeDeleted for every node removed, children before their parent, while it still exists.
    void deleteChildren(TDiagramNode* node);
    void clear();

    // Expands `node` and all its descendants; a null node means the whole diagram.
    void expandAll(TDiagramNode* node);

    // Batches of changes, which may nest: no layout and no painting until the outermost endUpdate().
    void beginUpdate();
    void endUpdate();
    bool isUpdating() const { return m_updateCount > 0; }

    // On: the whole drawing is shrunk to fit the viewport (never enlarged). Off: full size, with scroll bars.
    bool zoomToFit() const { return m_zoomToFit; }
    void setZoomToFit(bool on);
    qreal zoomFactor();

    TDiagramNode* selectedNode() const { return m_selected; }
    void setSelectedNode(TDiagramNode* node);

    // Scrolls so that the node stands in the middle of the view, or only as far as it takes to show
    // it whole. A node that is not laid out (hidden, under a folded node) is left alone.
    void centreOn(TDiagramNode* node);
    void ensureNodeVisible(TDiagramNode* node);
    // Folds or unfolds a node, keeping it where it stands in the view though its subtree changes.
    void setExpandedInPlace(TDiagramNode* node, bool expanded);
    // Grows with every change of the drawing but the selection: lets a picture of the whole know when
    // to be redone.
    quint64 changeStamp() const { return m_contentStamp; }

    // Viewport coordinates to drawing coordinates and back, for the current scroll and zoom.
    QPointF mapToDrawing(const QPointF& viewportPos);
    QPointF mapFromDrawing(const QPointF& drawingPos);
    TDiagramNode* nodeAt(const QPoint& viewportPos);

    // The whole drawing at full size, margins included.
    QSize drawingSize();
    // Paints the part `exposed` of the drawing (in drawing coordinates, at full size) onto `painter`,
    // whose transform maps drawing coordinates to its device: translate it by minus the top left of a
    // band to render the drawing band by band, as big exports do (drawingSize() gives the whole). Only
    // the nodes and connectors that meet `exposed` are touched. Serves the screen and the exports alike.
    // Scaled down below about a third, boxes are drawn as blocks of their colour without text, merged
    // where they share a device pixel.
    void paintDrawing(QPainter& painter, const QRectF& exposed, bool markSelection = false);
    // The whole drawing at full size, without the selection mark; null if it is empty or too large.
    QImage renderToImage();

    QFont nodeFont() const { return m_font; }
    // Nodes grow to fit their texts in the new font.
    void setNodeFont(const QFont& font);
    QColor defaultNodeColor() const { return m_defaultNodeColor; }
    void setDefaultNodeColor(const QColor& color);
    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor& color);
    NodeStyle nodeStyle() const { return m_nodeStyle; }
    void setNodeStyle(NodeStyle style);

    // How often the drawing has been laid out; lets tests see that batches and no-op changes are cheap.
    int layoutCount() const { return m_layoutCount; }

signals:
    // The node is about to be freed, with its record; it is still readable, its children are gone.
    void nodeDeleted(kelvane::ui::TDiagramNode* node);
    // A double click anywhere on the drawing (the owner reads selectedNode()).
    void doubleClicked();
    // A double click on a node, after it was selected.
    void nodeDoubleClicked(kelvane::ui::TDiagramNode* node);
    void selectionChanged(kelvane::ui::TDiagramNode* node);
    // The view moved over the drawing, or the drawing changed its size.
    void viewChanged();
    // A right click, after the node under it (or none) was selected.
    void contextMenuRequested(kelvane::ui::TDiagramNode* node, const QPoint& globalPos);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    // Arrows move between nodes in the drawing's order, Left and Right fold and unfold, Enter opens.
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    friend class TDiagramNode;

    // Called by nodes: geometry changes need a new layout, colour changes only a repaint.
    void invalidateLayout();
    void repaintDrawing();
    // What a text paints and the room it needs in the current font. Big trees repeat a few names many
    // times, and shaping text is the dearest part of adding a node: each text is measured once.
    struct TextMetrics {
        QStringList lines; // the painted lines
        QSize size;        // of all lines, padding included
    };
    const TextMetrics& textMetrics(const QString& text);

    void ensureLayout();
    void updateScrollBars();
    QPointF drawingOrigin();
    QRectF expandButtonRect(const QRect& nodeRect) const;
    TDiagramNode* expandButtonAt(const QPointF& drawingPos);
    int layoutIndexAt(const QPointF& drawingPos, bool withButton);
    // Neighbours in the order of a depth-first walk over the nodes that are laid out.
    TDiagramNode* nextShown(TDiagramNode* node) const;
    TDiagramNode* previousShown(TDiagramNode* node) const;
    const std::vector<std::unique_ptr<TDiagramNode>>& siblingsOf(const TDiagramNode* node) const;
    void removeSubtrees(std::vector<std::unique_ptr<TDiagramNode>>& nodes, bool notify);

    void paintConnectors(QPainter& painter, const QRectF& exposed);
    void paintCoarse(QPainter& painter, const QRectF& exposed);
    void paintNode(QPainter& painter, const TDiagramNode& node, bool selected);

    std::vector<std::unique_ptr<TDiagramNode>> m_roots;
    TDiagramNode* m_selected = nullptr;

    int m_updateCount = 0;
    bool m_layoutDirty = false;
    bool m_inPaint = false;
    int m_layoutCount = 0;
    quint64 m_layoutStamp = 1;
    DiagramLayout m_layout;
    std::vector<TDiagramNode*> m_laidOut; // layout index -> node; emptied before any node is freed

    bool m_zoomToFit = false;
    quint64 m_paintStamp = 0; // grows with every change that shows
    quint64 m_contentStamp = 0;
    QImage m_fitPicture; // the fitted drawing as last painted
    quint64 m_fitPictureStamp = 0;
    QFont m_font;
    QHash<QString, TextMetrics> m_textMetrics;
    QColor m_defaultNodeColor;
    QColor m_backgroundColor;
    NodeStyle m_nodeStyle = NodeStyle::Flat;
};

} // namespace kelvane::ui
