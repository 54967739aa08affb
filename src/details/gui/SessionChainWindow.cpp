#include "details/gui/SessionChainWindow.h"

#include "settings/TSysmonEventData.h"
#include "store/EventCatalogue.h"
#include "toolkit/TNodeDiagram.h"

namespace kelvane {

namespace {

using ui::TDiagramNode;
using ui::TNodeDiagram;

// Node texts have two blanks on each side of a name.
QString padded(const QString& name) {
    return QStringLiteral("  ") + name + QStringLiteral("  ");
}

class UpdateBatch {
public:
    explicit UpdateBatch(TNodeDiagram& diagram) : m_diagram(diagram) { m_diagram.beginUpdate(); }
    ~UpdateBatch() { m_diagram.endUpdate(); }
    UpdateBatch(const UpdateBatch&) = delete;
    UpdateBatch& operator=(const UpdateBatch&) = delete;

private:
    TNodeDiagram& m_diagram;
};

TDiagramNode* computerNode(TNodeDiagram& diagram, TDiagramNode* root, const QString& text) {
    const int count = root ? root->childCount() : diagram.topLevelCount();
    for (int i = 0; i < count; ++i) {
        TDiagramNode* node = root ? root->child(i) : diagram.topLevelNode(i);
        if (node->text() == text)
            return node;
    }
    TDiagramNode* node = diagram.addChild(root);
    node->setText(text);
    node->setColor(sessionComputerColor());
    return node;
}

} // namespace

QColor sessionEventColor(int eventType) {
    const EventTypeInfo* type = catalogue::find(eventType);
    return type && type->colour ? QColor::fromRgb(type->colour) : QColor();
}

QColor sessionRootColor() {
    return QColor(0xFF, 0x8C, 0x00);
}
QColor sessionComputerColor() {
    return QColor(0xFF, 0x7F, 0x50);
}

void appendSessionChain(TNodeDiagram& diagram, TDiagramNode* root, const std::vector<SessionEvent>& events) {
    {
        UpdateBatch batch(diagram);
        // A session without events still gets its computer box, with an empty name.
        TDiagramNode* parent =
            computerNode(diagram, root, padded(events.empty() ? QString() : events.front().computer));
        for (const SessionEvent& event : events) {
            TDiagramNode* node =
                diagram.addChild(parent, TSysmonEventData{event.gid, static_cast<qint16>(event.eventType)});
            node->setText(event.details);
            // The trailing blanks and empty lines are the box's inner margin: it grows to its text.
            node->setText(node->text() + QStringLiteral("  \n\n"));
            const QColor colour = sessionEventColor(event.eventType);
            if (colour.isValid())
                node->setColor(colour);
            parent = node;
        }
    }
    diagram.expandAll(root);
}

} // namespace kelvane
