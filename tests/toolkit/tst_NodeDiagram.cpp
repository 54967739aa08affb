#include "toolkit/TNodeDiagram.h"

#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using kelvane::ui::TDiagramNode;
using kelvane::ui::TNodeDiagram;

namespace {

// A record whose freeing a test can observe.
struct Token {
    std::shared_ptr<int> alive = std::make_shared<int>(0);
};

using Tree = QMap<QString, TDiagramNode*>;

// root -> a (a1, a2 -> a21), b -> b1; boxes of 60 x 30 with records, all expanded.
Tree buildTree(TNodeDiagram& diagram) {
    Tree t;
    const QList<QPair<QString, QString>> shape{{"root", ""},  {"a", "root"}, {"a1", "a"}, {"a2", "a"},
                                               {"a21", "a2"}, {"b", "root"}, {"b1", "b"}};
    for (const auto& [name, parent] : shape) {
        t[name] = diagram.addChild(t.value(parent), Token{});
        t[name]->setWidth(60);
        t[name]->setHeight(30);
    }
    diagram.expandAll(t["root"]);
    return t;
}

TDiagramNode* addChain(TNodeDiagram& diagram, TDiagramNode* parent, int length, const QColor& color) {
    for (int i = 0; i < length; ++i) {
        parent = diagram.addChild(parent);
        parent->setText(
            QStringLiteral("  Event %1  \r\n  Time :  \r\n  21/11/2026 10:00:00  \r\n\r\n").arg(i));
        parent->setColor(color);
    }
    return parent;
}

bool showAt(TNodeDiagram& diagram, int width, int height) {
    diagram.resize(width, height);
    diagram.show();
    return QTest::qWaitForWindowExposed(&diagram);
}

QPoint viewportPoint(TNodeDiagram& diagram, const QPointF& drawingPos) {
    return diagram.mapFromDrawing(drawingPos).toPoint();
}

// What the screen shows at a point of the drawing; invalid when the point is out of view.
QColor shownAt(TNodeDiagram& diagram, const QPointF& drawingPos) {
    const QImage shot = diagram.viewport()->grab().toImage();
    const QPoint at = viewportPoint(diagram, drawingPos);
    return shot.rect().contains(at) ? shot.pixelColor(at) : QColor();
}

} // namespace

class TestNodeDiagram : public QObject {
    Q_OBJECT

private slots:
    void setTextGrowsOnly_data() {
        QTest::addColumn<QStringList>("texts"); // the first, then the second
        QTest::addColumn<bool>("wider");
        QTest::addColumn<bool>("taller");
        QTest::newRow("longer line") << QStringList{"  ab  ", "  abcdefghijkl  "} << true << false;
        QTest::newRow("more lines") << QStringList{"  a  ", "  a  \r\n  a  \r\n  a  "} << false << true;
        QTest::newRow("trailing line feeds") << QStringList{"  a  ", "  a  \r\n\r\n"} << false << true;
        QTest::newRow("shorter text")
            << QStringList{"  a long line  \r\nsecond\r\nthird", "x"} << false << false;
        QTest::newRow("CR LF, one break") << QStringList{"  a  \n  b  ", "  a  \r\n  b  "} << false << false;
    }

    void setTextGrowsOnly() {
        QFETCH(QStringList, texts);
        QFETCH(bool, wider);
        QFETCH(bool, taller);
        TNodeDiagram diagram;
        TDiagramNode* node = diagram.addChild(nullptr);
        node->setText(texts[0]);
        const QSize before(node->width(), node->height());
        node->setText(texts[1]);
        QCOMPARE(node->width() > before.width(), wider);
        QCOMPARE(node->height() > before.height(), taller);
        QVERIFY(node->width() >= before.width() && node->height() >= before.height());
    }

    void layoutOnlyAfterChangesAndBatches() {
        TNodeDiagram diagram;
        QVERIFY(showAt(diagram, 300, 200));
        TDiagramNode* root = diagram.addChild(nullptr);
        diagram.drawingSize();
        const int layouts = diagram.layoutCount();
        diagram.beginUpdate();
        diagram.beginUpdate();
        TDiagramNode* last = addChain(diagram, root, 50, Qt::red);
        diagram.expandAll(nullptr);
        diagram.endUpdate();
        diagram.viewport()->repaint();
        QVERIFY(last->rect().isNull());
        QCOMPARE(diagram.layoutCount(), layouts);
        diagram.endUpdate();
        diagram.viewport()->repaint();
        QVERIFY(!last->rect().isNull());
        diagram.viewport()->repaint(); // nothing changed since
        QCOMPARE(diagram.layoutCount(), layouts + 1);
    }

    void deletionReportsEachNodeOnce_data() {
        QTest::addColumn<QString>("target"); // whose children go; empty: clear()
        QTest::addColumn<QStringList>("deleted");
        QTest::newRow("children of a") << "a" << QStringList{"a1", "a2", "a21"};
        QTest::newRow("children of root") << "root" << QStringList{"a", "a1", "a2", "a21", "b", "b1"};
        QTest::newRow("children of a leaf") << "b1" << QStringList{};
        QTest::newRow("clear") << "" << QStringList{"a", "a1", "a2", "a21", "b", "b1", "root"};
    }

    void deletionReportsEachNodeOnce() {
        QFETCH(QString, target);
        QFETCH(QStringList, deleted);
        TNodeDiagram diagram;
        const Tree t = buildTree(diagram);
        QMap<QString, std::weak_ptr<int>> records;
        for (auto it = t.begin(); it != t.end(); ++it)
            records[it.key()] = it.value()->recordAs<Token>()->alive;
        diagram.setSelectedNode(t["a21"]);

        QStringList reported;
        connect(&diagram, &TNodeDiagram::nodeDeleted, this, [&](TDiagramNode* node) {
            reported << t.key(node);
            QCOMPARE(node->childCount(), 0); // children go first
            QVERIFY(node->recordAs<Token>());
        });
        if (target.isEmpty())
            diagram.clear();
        else
            diagram.deleteChildren(t[target]);

        reported.sort();
        QCOMPARE(reported, deleted);
        for (auto it = records.begin(); it != records.end(); ++it)
            QCOMPARE(it.value().expired(), deleted.contains(it.key()));
        QCOMPARE(diagram.selectedNode(), deleted.contains("a21") ? nullptr : t["a21"]);
        // The next layout must not touch freed nodes.
        QCOMPARE(diagram.drawingSize().isEmpty(), target.isEmpty());
    }

    void collapsedUntilExpanded() {
        TNodeDiagram diagram;
        TDiagramNode* root = diagram.addChild(nullptr);
        TDiagramNode* child = diagram.addChild(root);
        QVERIFY(child->rect().isNull());
        const Tree t = buildTree(diagram);
        QVERIFY(showAt(diagram, 400, 300));

        // The expand button hangs just under a node's bottom centre.
        auto clickButton = [&](TDiagramNode* node) {
            const QRect r = node->rect();
            QTest::mouseClick(diagram.viewport(), Qt::LeftButton, {},
                              viewportPoint(diagram, QPointF(r.center().x(), r.top() + r.height() + 8)));
        };
        clickButton(root);
        QVERIFY(!child->rect().isNull());
        clickButton(t["a"]);
        QVERIFY(t["a1"]->rect().isNull() && t["a21"]->rect().isNull());
        QCOMPARE(diagram.selectedNode(), nullptr);
        clickButton(t["a"]);
        QVERIFY(!t["a21"]->rect().isNull()); // a2 kept its own state
    }

    void zoomToFitScalesToViewport() {
        TNodeDiagram diagram;
        TDiagramNode* last = addChain(diagram, diagram.addChild(nullptr), 40, Qt::green);
        diagram.expandAll(nullptr);
        QVERIFY(showAt(diagram, 300, 200));
        const QSize full = diagram.drawingSize();
        const int fullRange = diagram.verticalScrollBar()->maximum();
        QCOMPARE(fullRange, full.height() - diagram.viewport()->height());

        diagram.setZoomToFit(true);
        QCOMPARE(diagram.verticalScrollBar()->maximum(), 0);
        const QRectF view(diagram.viewport()->rect());
        const QRectF shown(diagram.mapFromDrawing(QPointF(0, 0)),
                           diagram.mapFromDrawing(QPointF(full.width(), full.height())));
        QVERIFY(view.adjusted(-0.5, -0.5, 0.5, 0.5).contains(shown));
        QVERIFY(qAbs(shown.height() - view.height()) < 1 || qAbs(shown.width() - view.width()) < 1);
        QTest::mouseClick(diagram.viewport(), Qt::LeftButton, {},
                          viewportPoint(diagram, QRectF(last->rect()).center()));
        QCOMPARE(diagram.selectedNode(), last); // clicks land on the scaled boxes

        diagram.setZoomToFit(false);
        QCOMPARE(diagram.verticalScrollBar()->maximum(), fullRange);
    }

    void clicksSelectAndDoubleClicksReport() {
        TNodeDiagram diagram;
        const Tree t = buildTree(diagram);
        QVERIFY(showAt(diagram, 200, 150));
        QSignalSpy nodeSpy(&diagram, &TNodeDiagram::nodeDoubleClicked);
        QSignalSpy anySpy(&diagram, &TNodeDiagram::doubleClicked);
        const QPoint onNode = viewportPoint(diagram, QRectF(t["a2"]->rect()).center());
        QTest::mouseClick(diagram.viewport(), Qt::LeftButton, {}, onNode);
        QCOMPARE(diagram.selectedNode(), t["a2"]);
        QTest::mouseDClick(diagram.viewport(), Qt::LeftButton, {}, onNode);
        QCOMPARE(nodeSpy.count(), 1);
        QCOMPARE(nodeSpy.first().first().value<TDiagramNode*>(), t["a2"]);
        // Empty space drops the selection; a double click there is reported, but names no node.
        const QPoint empty = viewportPoint(diagram, QPointF(3, 3));
        QTest::mouseClick(diagram.viewport(), Qt::LeftButton, {}, empty);
        QCOMPARE(diagram.selectedNode(), nullptr);
        QTest::mouseDClick(diagram.viewport(), Qt::LeftButton, {}, empty);
        QCOMPARE(anySpy.count(), 2);
        QCOMPARE(nodeSpy.count(), 1);
    }

    void renderedImageShowsColoursAndConnectors_data() {
        QTest::addColumn<TNodeDiagram::NodeStyle>("style");
        QTest::addColumn<TDiagramNode::Shape>("shape");
        QTest::newRow("flat") << TNodeDiagram::NodeStyle::Flat << TDiagramNode::Shape::Rectangle;
        QTest::newRow("raised") << TNodeDiagram::NodeStyle::Raised << TDiagramNode::Shape::Rectangle;
        QTest::newRow("ellipse") << TNodeDiagram::NodeStyle::Flat << TDiagramNode::Shape::Ellipse;
    }

    void renderedImageShowsColoursAndConnectors() {
        QFETCH(TNodeDiagram::NodeStyle, style);
        QFETCH(TDiagramNode::Shape, shape);
        TNodeDiagram diagram;
        diagram.setNodeStyle(style);
        const Tree t = buildTree(diagram);
        t["root"]->setShape(shape);
        t["root"]->setColor(QColor(0x93, 0x70, 0xDB));
        t["a"]->setColor(QColor(0xFF, 0x80, 0x80));
        diagram.setSelectedNode(t["a"]); // the screen's mark stays out of the picture

        const QImage image = diagram.renderToImage();
        QCOMPARE(image.size(), diagram.drawingSize());
        QCOMPARE(image.pixelColor(1, 1), QColor(Qt::white));
        auto colourAt = [&](const QString& name, int dy) {
            const QRect r = t[name]->rect();
            return image.pixelColor(r.center().x(), r.top() + dy);
        };
        QCOMPARE(colourAt("root", 15), t["root"]->color());
        QCOMPARE(colourAt("a", 5), t["a"]->color());
        QCOMPARE(colourAt("a1", 5), diagram.defaultNodeColor());
        QCOMPARE(image.pixelColor(t["a"]->rect().left() - 3, t["a"]->rect().center().y()), QColor(Qt::white));
        // The drop into a child, and the bar between siblings.
        QCOMPARE(colourAt("a1", -4), QColor(Qt::black));
        const int betweenSiblings = (t["a1"]->rect().center().x() + t["a2"]->rect().center().x()) / 2;
        QCOMPARE(image.pixelColor(betweenSiblings, t["a1"]->rect().top() - 16), QColor(Qt::black));
    }

    // Painting culls by area: a bar whose ends and children all lie outside the view still shows.
    void barAcrossTheViewIsDrawn() {
        TNodeDiagram diagram;
        TDiagramNode* root = diagram.addChild(nullptr);
        TDiagramNode* left = diagram.addChild(root);
        TDiagramNode* right = diagram.addChild(root);
        // Narrow children held far apart by wide grandchildren.
        diagram.addChild(left)->setWidth(800);
        diagram.addChild(right)->setWidth(800);
        diagram.expandAll(root);
        QVERIFY(showAt(diagram, 120, 300));
        const int x = (root->rect().center().x() + right->rect().center().x()) / 2;
        diagram.horizontalScrollBar()->setValue(x - 60);
        QCOMPARE(shownAt(diagram, QPointF(x, right->rect().top() - 16)), QColor(Qt::black));
    }

    void deepChainsDrawAtTheirEnd() {
        TNodeDiagram diagram;
        diagram.beginUpdate();
        TDiagramNode* root = diagram.addChild(nullptr);
        TDiagramNode* deepest = addChain(diagram, root, 5000, QColor(0xFF, 0x80, 0x00));
        for (int c = 0; c < 4; ++c)
            addChain(diagram, root, 1000, QColor(0x00, 0xB3, 0x59));
        diagram.expandAll(root);
        diagram.endUpdate();
        QVERIFY(showAt(diagram, 400, 300));

        // Scrolled to the far end, the last node is painted where the layout put it.
        const QRect last = deepest->rect();
        diagram.horizontalScrollBar()->setValue(last.left() - 20);
        diagram.verticalScrollBar()->setValue(diagram.verticalScrollBar()->maximum());
        QCOMPARE(shownAt(diagram, QPointF(last.left() + 3, last.top() + 3)), QColor(0xFF, 0x80, 0x00));

        QSignalSpy deleted(&diagram, &TNodeDiagram::nodeDeleted);
        diagram.clear();
        QCOMPARE(deleted.count(), 1 + 5000 + 4 * 1000);
        QCOMPARE(diagram.drawingSize(), QSize(0, 0));
        QCOMPARE(diagram.verticalScrollBar()->maximum(), 0);
    }
};

QTEST_MAIN(TestNodeDiagram)
#include "tst_NodeDiagram.moc"
