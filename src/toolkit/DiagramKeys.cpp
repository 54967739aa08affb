#include "toolkit/DiagramKeys.h"

#include "toolkit/TDiagramNode.h"
#include "toolkit/TNodeDiagram.h"

#include <QKeyEvent>
#include <QScrollBar>

namespace kelvane::ui {

namespace {

TDiagramNode* sibling(TDiagramNode* node, int step) {
    const TDiagramNode* parent = node->parent();
    if (!parent)
        return nullptr;
    for (int i = 0; i < parent->childCount(); ++i)
        if (parent->child(i) == node) {
            const int next = i + step;
            return next >= 0 && next < parent->childCount() ? parent->child(next) : nullptr;
        }
    return nullptr;
}

TDiagramNode* target(const TNodeDiagram& diagram, int key) {
    TDiagramNode* node = diagram.selectedNode();
    if (!node)
        return diagram.topLevelCount() > 0 ? diagram.topLevelNode(0) : nullptr;
    switch (key) {
    case Qt::Key_Down:
        return node->childCount() > 0 ? node->child(0) : nullptr;
    case Qt::Key_Up:
        return node->parent();
    case Qt::Key_Left:
        return sibling(node, -1);
    case Qt::Key_Right:
        return sibling(node, +1);
    default:
        return nullptr;
    }
}

void scrollTo(TNodeDiagram& diagram, const TDiagramNode& node) {
    const QRect box = node.rect();
    if (box.isNull())
        return;
    const QPointF centre = diagram.mapFromDrawing(box.center());
    const QRect view = diagram.viewport()->rect();
    if (view.contains(centre.toPoint()))
        return;
    QScrollBar* across = diagram.horizontalScrollBar();
    QScrollBar* down = diagram.verticalScrollBar();
    across->setValue(across->value() + static_cast<int>(centre.x()) - view.width() / 2);
    down->setValue(down->value() + static_cast<int>(centre.y()) - view.height() / 2);
}

class KeyFilter : public QObject {
public:
    explicit KeyFilter(TNodeDiagram* diagram) : QObject(diagram), m_diagram(diagram) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return QObject::eventFilter(watched, event);
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (!m_diagram->selectedNode())
                return false;
            emit m_diagram->doubleClicked();
            return true;
        }
        if (key != Qt::Key_Up && key != Qt::Key_Down && key != Qt::Key_Left && key != Qt::Key_Right)
            return false;
        if (TDiagramNode* next = target(*m_diagram, key)) {
            m_diagram->setSelectedNode(next);
            scrollTo(*m_diagram, *next);
        }
        return true;
    }

private:
    TNodeDiagram* m_diagram;
};

} // namespace

void followKeyboard(TNodeDiagram* diagram) {
    diagram->setFocusPolicy(Qt::StrongFocus);
    auto* filter = new KeyFilter(diagram);
    diagram->installEventFilter(filter);
    diagram->viewport()->installEventFilter(filter);
}

} // namespace kelvane::ui
