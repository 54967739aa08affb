#include "toolkit/TNodeDiagram.h"

#include <QPainter>
#include <QtTest>

using kelvane::ui::TDiagramNode;
using kelvane::ui::TNodeDiagram;

namespace {

// A root over `count` boxes of 40 x 20 in two alternating colours, each with one child box below.
TDiagramNode* wideTree(TNodeDiagram& diagram, int count) {
    diagram.beginUpdate();
    TDiagramNode* root = diagram.addChild(nullptr);
    root->setText("  root  ");
    root->setColor(Qt::darkGreen);
    for (int i = 0; i < count; ++i) {
        TDiagramNode* node = diagram.addChild(root);
        node->setWidth(40);
        node->setHeight(20);
        node->setColor(i % 2 ? QColor(Qt::red) : QColor(Qt::blue));
        TDiagramNode* child = diagram.addChild(node);
        child->setText(QString("  c%1  ").arg(i));
        child->setColor(Qt::yellow);
    }
    diagram.expandAll(root);
    diagram.endUpdate();
    return root;
}

bool showAt(TNodeDiagram& diagram, int width, int height) {
    diagram.resize(width, height);
    diagram.show();
    return QTest::qWaitForWindowExposed(&diagram);
}

} // namespace

class TestNodeDiagramScale : public QObject {
    Q_OBJECT

private slots:
    // Big drawings are exported band by band: a band painted on its own is the same part of the whole.
    void bandsMatchTheWhole_data() {
        QTest::addColumn<QRect>("band");
        QTest::newRow("top left") << QRect(0, 0, 300, 40);
        QTest::newRow("through the connectors") << QRect(500, 30, 900, 50);
        QTest::newRow("bottom right edge") << QRect(3000, 60, 10000, 100);
    }
    void bandsMatchTheWhole() {
        QFETCH(QRect, band);
        TNodeDiagram diagram;
        wideTree(diagram, 80);
        const QImage whole = diagram.renderToImage();
        QVERIFY(!whole.isNull());
        const QRect inside = band.intersected(whole.rect());
        QVERIFY(!inside.isEmpty());
        QImage part(inside.size(), QImage::Format_RGB32);
        {
            QPainter painter(&part);
            painter.translate(-inside.topLeft());
            diagram.paintDrawing(painter, QRectF(inside));
        }
        QCOMPARE(part, whole.copy(inside));
    }

    // Far out, boxes become blocks of their colour: each box still shows where it stands.
    void farOutEveryBoxShows() {
        TNodeDiagram diagram;
        TDiagramNode* root = wideTree(diagram, 200);
        QVERIFY(showAt(diagram, 1000, 300));
        diagram.setZoomToFit(true);
        QVERIFY(diagram.zoomFactor() < 0.35);
        const QImage shot = diagram.viewport()->grab().toImage();
        for (int i = 0; i < root->childCount(); ++i) {
            TDiagramNode* node = root->child(i);
            const QPoint at = diagram.mapFromDrawing(QRectF(node->rect()).center()).toPoint();
            QCOMPARE(shot.pixelColor(at), node->color());
        }
    }

    // The fitted picture is kept between paints, and made anew after a change.
    void fittedPictureFollowsChanges() {
        TNodeDiagram diagram;
        TDiagramNode* root = wideTree(diagram, 200);
        QVERIFY(showAt(diagram, 1000, 300));
        diagram.setZoomToFit(true);
        TDiagramNode* node = root->child(7);
        const auto shown = [&] {
            const QImage shot = diagram.viewport()->grab().toImage();
            return shot.pixelColor(diagram.mapFromDrawing(QRectF(node->rect()).center()).toPoint());
        };
        QCOMPARE(shown(), QColor(Qt::red));
        node->setColor(Qt::cyan);
        QCOMPARE(shown(), QColor(Qt::cyan));
        diagram.deleteChildren(root);
        const QImage empty = diagram.viewport()->grab().toImage();
        QCOMPARE(empty.pixelColor(empty.width() / 2, empty.height() - 5), diagram.backgroundColor());
    }

    // A tree of a hundred thousand nodes is laid out and painted, fitted or not, without recursion.
    void hundredThousandNodes() {
        TNodeDiagram diagram;
        diagram.beginUpdate();
        TDiagramNode* root = diagram.addChild(nullptr);
        TDiagramNode* chain = root;
        for (int i = 0; i < 50000; ++i) {
            diagram.addChild(root)->setText("  wide.exe  ");
            chain = diagram.addChild(chain);
            chain->setText("  deep.exe  ");
        }
        diagram.expandAll(root);
        diagram.endUpdate();
        QVERIFY(showAt(diagram, 800, 600));
        QVERIFY(diagram.drawingSize().height() > 50000 * 20);
        QVERIFY(!chain->rect().isNull());
        diagram.setZoomToFit(true);
        QVERIFY(!diagram.viewport()->grab().isNull());
        diagram.clear();
        QCOMPARE(diagram.topLevelCount(), 0);
    }
};

QTEST_MAIN(TestNodeDiagramScale)
#include "tst_NodeDiagramScale.moc"
