#include "toolkit/TTreeList.h"

#include <QSignalSpy>
#include <QtTest>

using kelvane::ui::TTreeList;

class tst_TreeList : public QObject {
    Q_OBJECT

private slots:
    void rowsGrowToFitTheirText_data();
    void rowsGrowToFitTheirText();
    void headingsSpanAndLinksTakeOneClick();
};

void tst_TreeList::rowsGrowToFitTheirText_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("line breaks as CR LF")
        << "Domain Name: EXAMPLE.ORG\r\nRegistrar: Example\r\nCreated: 1995";
    QTest::newRow("words wider than the column") << "one two three four five six seven eight nine ten";
    QTest::newRow("one word wider than the column")
        << "5e0c8a2f1d3b4c6a7e9f0a1b2c3d4e5f60718293a4b5c6d7e8f90a1b2c3d4e5f";
}

void tst_TreeList::rowsGrowToFitTheirText() {
    QFETCH(QString, text);
    TTreeList tree;
    tree.setColumns({"a", "b", "c"}, {100, 100, 100});
    tree.resize(400, 300);
    tree.show();
    QTreeWidgetItem* plain = tree.addRow(nullptr, {"x", "y", "z"});
    QTreeWidgetItem* tall = tree.addRow(nullptr, {"x", text, "z"});
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    const int plainHeight = tree.visualItemRect(plain).height();
    QVERIFY2(tree.visualItemRect(tall).height() >= 2 * plainHeight - 8, "the row must show every line");
    // A wider column needs fewer lines.
    const int narrowHeight = tree.visualItemRect(tall).height();
    tree.setColumnWidth(1, 600);
    QTRY_VERIFY(tree.visualItemRect(tall).height() < narrowHeight);
}

void tst_TreeList::headingsSpanAndLinksTakeOneClick() {
    TTreeList tree;
    tree.setColumns({"a", "b", "c"}, {80, 80, 200});
    tree.setLinkColumn(2);
    tree.resize(400, 300);
    tree.show();
    QTreeWidgetItem* section = tree.addRow(nullptr, {"Section", "", "not a link"});
    QTreeWidgetItem* row = tree.addRow(section, {"1", "2", "https://example.org/r"});
    tree.markHeadings(section);
    tree.expandAll();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    QVERIFY(section->isFirstColumnSpanned());
    QVERIFY(!row->isFirstColumnSpanned());
    QVERIFY(tree.cellOptions(row, 2).font.underline());

    QSignalSpy links(&tree, &TTreeList::linkClicked);
    QTest::mouseClick(tree.viewport(), Qt::LeftButton, {},
                      tree.visualItemRect(row).topLeft() + QPoint(200, 5));
    QTest::mouseClick(tree.viewport(), Qt::LeftButton, {},
                      tree.visualRect(tree.model()->index(0, 0)).center()); // the heading is no link
    QCOMPARE(links.size(), 1);
    QCOMPARE(links.at(0).at(0).toString(), "https://example.org/r");
}

QTEST_MAIN(tst_TreeList)
#include "tst_TreeList.moc"
