#include "details/gui/SessionChainWindow.h"

#include "settings/TSysmonEventData.h"
#include "toolkit/TNodeDiagram.h"

namespace kelvane {

namespace {

using ui::TDiagramNode;
using ui::TNodeDiagram;

struct TypeColour {
    int eventType;
    QRgb rgb;
};

// Process start and end share a colour, as do the three registry types and the two pipe types.
constexpr TypeColour kColours[] = {
    {1, 0xFF8080},  {2, 0xFF80FF},  {3, 0xFF8000},  {5, 0xFF8080},  {6, 0xC0C0C0},  {7, 0xB0B000},
    {8, 0xB87070},  {9, 0xE8E800},  {10, 0xB3E8D3}, {11, 0xAED7FF}, {12, 0x9370DB}, {13, 0x9370DB},
    {14, 0x9370DB}, {15, 0xF5F5DC}, {17, 0x00B359}, {18, 0x00B359}, {22, 0xCF0390},
};

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
    for (const TypeColour& colour : kColours)
        if (colour.eventType == eventType)
            return QColor::fromRgb(colour.rgb);
    return {};
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
                diagram.addChild(parent, TSysmonEventData{static_cast<qint32>(event.gid),
                                                          static_cast<qint16>(event.eventType)});
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
