#include "toolkit/TDiagramOverview.h"
#include "toolkit/TNodeDiagram.h"

#include <QScrollBar>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QtTest>

using kelvane::ui::TDiagramNode;
using kelvane::ui::TDiagramOverview;
using kelvane::ui::TNodeDiagram;

namespace {

using Tree = QMap<QString, TDiagramNode*>;

// root -> a (a1, a2 -> a21), b -> b1; boxes of 60 x 30, all expanded.
Tree buildTree(TNodeDiagram& diagram) {
    Tree t;
    const QList<QPair<QString, QString>> shape{{"root", ""},  {"a", "root"}, {"a1", "a"}, {"a2", "a"},
                                               {"a21", "a2"}, {"b", "root"}, {"b1", "b"}};
    for (const auto& [name, parent] : shape) {
        t[name] = diagram.addChild(t.value(parent));
        t[name]->setWidth(60);
        t[name]->setHeight(30);
    }
    diagram.expandAll(t["root"]);
    return t;
}

QString nameOf(const Tree& tree, TDiagramNode* node) {
    return node ? tree.key(node) : QString("none");
}

} // namespace

class TestNodeDiagramNavigation : public QObject {
    Q_OBJECT

private slots:
    void keyboard_data() {
        QTest::addColumn<QString>("start"); // selected first; empty for none
        QTest::addColumn<QList<int>>("keys");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("folded"); // the node left folded, if any
        const int down = Qt::Key_Down, up = Qt::Key_Up, left = Qt::Key_Left, right = Qt::Key_Right;
        QTest::newRow("down walks depth-first from the first root")
            << "" << QList<int>{down, down, down} << "a1"
            << "";
        QTest::newRow("down leaves a subtree for the next sibling") << "a21" << QList<int>{down} << "b"
                                                                    << "";
        QTest::newRow("up enters the previous sibling's last node") << "b" << QList<int>{up} << "a21"
                                                                    << "";
        QTest::newRow("up from a first child goes to the parent") << "a1" << QList<int>{up} << "a"
                                                                  << "";
        QTest::newRow("left folds, then goes to the parent") << "a2" << QList<int>{left, left} << "a"
                                                             << "a2";
        QTest::newRow("right unfolds, then goes to the first child")
            << "a2" << QList<int>{left, right, right} << "a21"
            << "";
        QTest::newRow("a fold hides its nodes from the walk") << "a" << QList<int>{left, down, up} << "a"
                                                              << "a";
        QTest::newRow("left on a leaf goes to the parent") << "b1" << QList<int>{left} << "b"
                                                           << "";
        QTest::newRow("past the last node stays") << "b1" << QList<int>{down} << "b1"
                                                  << "";
    }
    void keyboard() {
        QFETCH(QString, start);
        QFETCH(QList<int>, keys);
        QFETCH(QString, selected);
        QFETCH(QString, folded);
        TNodeDiagram diagram;
        const Tree tree = buildTree(diagram);
        diagram.resize(600, 400);
        diagram.show();
        QVERIFY(QTest::qWaitForWindowExposed(&diagram));
        if (!start.isEmpty())
            diagram.setSelectedNode(tree[start]);
        for (const int key : keys)
            QTest::keyClick(&diagram, static_cast<Qt::Key>(key));
        QCOMPARE(nameOf(tree, diagram.selectedNode()), selected);
        for (auto it = tree.begin(); it != tree.end(); ++it)
            QCOMPARE(it.value()->isExpanded(), it.key() != folded);
        // What is selected by the keyboard is in view.
        const QRect shown = QRect(diagram.mapFromDrawing(diagram.selectedNode()->rect().topLeft()).toPoint(),
                                  diagram.selectedNode()->rect().size());
        QVERIFY(diagram.viewport()->rect().contains(shown));
    }

    void enterOpensTheSelectedNode() {
        TNodeDiagram diagram;
        const Tree tree = buildTree(diagram);
        diagram.show();
        QSignalSpy opened(&diagram, &TNodeDiagram::nodeDoubleClicked);
        QSignalSpy any(&diagram, &TNodeDiagram::doubleClicked);
        QTest::keyClick(&diagram, Qt::Key_Return);
        QCOMPARE(opened.size(), 0); // nothing selected
        diagram.setSelectedNode(tree["a1"]);
        QTest::keyClick(&diagram, Qt::Key_Return);
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().value<TDiagramNode*>(), tree["a1"]);
        QCOMPARE(any.size(), 1);
    }

    // Hidden nodes leave the drawing with their subtrees, and the walk and the +/- buttons pass them by.
    void hiddenNodesLeaveTheDrawing() {
        TNodeDiagram diagram;
        const Tree tree = buildTree(diagram);
        diagram.show();
        const int wide = diagram.drawingSize().width();
        tree["a2"]->setHidden(true);
        QVERIFY(tree["a2"]->rect().isNull() && tree["a21"]->rect().isNull());
        QVERIFY(diagram.drawingSize().width() < wide);
        QVERIFY(tree["a"]->hasVisibleChildren());
        diagram.setSelectedNode(tree["a1"]);
        QTest::keyClick(&diagram, Qt::Key_Down);
        QCOMPARE(nameOf(tree, diagram.selectedNode()), QString("b"));
        tree["a1"]->setHidden(true);
        QVERIFY(!tree["a"]->hasVisibleChildren());
        tree["a2"]->setHidden(false);
        QVERIFY(tree["a21"]->rect().isValid());
    }

    // A drawing wider than the view gets a strip of the whole that moves the view; a fitted one none.
    void overviewMovesTheView() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* diagram = new TNodeDiagram(&window);
        auto* overview = new TDiagramOverview(diagram, &window);
        layout->addWidget(overview);
        layout->addWidget(diagram);
        TDiagramNode* root = diagram->addChild(nullptr);
        for (int i = 0; i < 300; ++i)
            diagram->addChild(root)->setWidth(60);
        diagram->expandAll(root);
        window.resize(500, 400);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(overview->isVisible());
        QScrollBar* bar = diagram->horizontalScrollBar();
        QTest::mouseClick(overview, Qt::LeftButton, {},
                          QPoint(overview->width() - 2, overview->height() / 2));
        QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(overview->viewMark().right() > overview->width() - 4);
        QTest::mouseClick(overview, Qt::LeftButton, {},
                          QPoint(overview->width() / 2, overview->height() / 2));
        QVERIFY(qAbs(bar->value() + diagram->viewport()->width() / 2 - diagram->drawingSize().width() / 2) <
                100);
        diagram->setZoomToFit(true);
        QVERIFY(overview->isHidden());
    }
};

QTEST_MAIN(TestNodeDiagramNavigation)
#include "tst_NodeDiagramNavigation.moc"
