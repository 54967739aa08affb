#include "toolkit/TLinkGrid.h"
#include "toolkit/TPagedQueryModel.h"

#include <QAbstractItemModelTester>
#include <QLineEdit>
#include <QTableView>
#include <QtTest>

using namespace kelvane;
using namespace kelvane::ui;

namespace {

constexpr int kManyRows = 1000000;

// Whether anything brighter than the background is drawn across the middle of the viewport.
bool middleHasInk(QWidget* viewport) {
    const QImage image = viewport->grab().toImage();
    const int background = viewport->palette().color(QPalette::Base).lightness();
    for (int y = image.height() / 2 - 8; y < image.height() / 2 + 8; ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAbs(QColor(image.pixel(x, y)).lightness() - background) > 60)
                return true;
    return false;
}

} // namespace

class TestLinkGrid : public QObject {
    Q_OBJECT

private:
    sql::Database m_db{":memory:"};

    std::unique_ptr<TPagedQuery> query(const char* sql) { return std::make_unique<TPagedQuery>(m_db, sql); }

private slots:
    void initTestCase() {
        m_db.exec("CREATE TABLE Names (name TEXT); INSERT INTO Names VALUES ('alpha'), ('beta'), ('gamma');"
                  "CREATE TABLE Many (name TEXT);"
                  "WITH RECURSIVE c(x) AS (SELECT 0 UNION ALL SELECT x + 1 FROM c WHERE x < " +
                  std::to_string(kManyRows - 1) + ") INSERT INTO Many SELECT printf('item%07d', x) FROM c;");
    }

    void modelKeepsItsContract() {
        TPagedQueryModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setQuery(query("SELECT name, rowid FROM Names ORDER BY name"));
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.headerData(1, Qt::Horizontal).toString(), "rowid");
        model.setFilter("a");
        QCOMPARE(model.index(2, 0).data().toString(), "gamma");
        model.setFilter("zzz");
        QCOMPARE(model.rowCount(), 0);
        model.clear();
        QCOMPARE(model.columnCount(), 0);
    }

    void failedReadGivesNoData() {
        TPagedQueryModel model;
        QSignalSpy failed(&model, &TPagedQueryModel::queryFailed);
        // Counting does not evaluate the column; reading it overflows.
        m_db.exec(
            "CREATE TABLE Smallest (v INTEGER); INSERT INTO Smallest VALUES (-9223372036854775807 - 1);");
        model.setQuery(query("SELECT abs(v) FROM Smallest"));
        QCOMPARE(model.rowCount(), 1);
        QVERIFY(!model.index(0, 0).data().isValid());
        QCOMPARE(failed.count(), 1);
    }

    void emptyText_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("shown");
        QTest::newRow("no query") << ""
                                  << "" << true;
        QTest::newRow("empty result") << "SELECT name FROM Names WHERE 0"
                                      << "" << true;
        QTest::newRow("rows") << "SELECT name FROM Names"
                              << "" << false;
        QTest::newRow("nothing found") << "SELECT name FROM Names"
                                       << "zzz" << true;
    }

    void emptyText() {
        QFETCH(QString, sql);
        QFETCH(QString, find);
        QFETCH(bool, shown);
        TLinkGrid grid;
        grid.resize(241, 300);
        grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&grid));
        grid.findBox()->setText(find);
        if (!sql.isEmpty())
            grid.setQuery(query(sql.toUtf8().constData()));
        QCOMPARE(grid.property("emptyTextShown").toBool(), shown);
        // Three rows sit at the top; only the empty text reaches the middle.
        QCOMPARE(middleHasInk(grid.view()->viewport()), shown);
    }

    void clickOnACellEmitsItsText() {
        TLinkGrid grid;
        grid.resize(241, 300);
        grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&grid));
        grid.setQuery(query("SELECT name FROM Names ORDER BY name"));
        QSignalSpy clicked(&grid, &TLinkGrid::linkClicked);
        QWidget* viewport = grid.view()->viewport();
        const QPoint beta = grid.view()->visualRect(grid.model()->index(1, 0)).center();

        QTest::mouseClick(viewport, Qt::LeftButton, {}, beta);
        // The same, already selected cell again: the click counts, not a change of selection.
        QTest::mouseClick(viewport, Qt::LeftButton, {}, beta);
        QTest::mouseClick(viewport, Qt::LeftButton, {}, QPoint(10, viewport->height() - 5)); // below the rows
        QTest::mouseClick(viewport, Qt::RightButton, {}, beta);
        QCOMPARE(clicked.count(), 2);
        QCOMPARE(clicked.at(0).at(0).toString(), "beta");
        QCOMPARE(clicked.at(1).at(0).toString(), "beta");
    }

    void findBoxNarrowsAfterAPause() {
        TLinkGrid grid;
        grid.setQuery(query("SELECT name FROM Names ORDER BY name"));
        QTest::keyClicks(grid.findBox(), "ET");
        QCOMPARE(grid.model()->rowCount(), 3); // not yet: typing goes on
        QTRY_COMPARE(grid.model()->rowCount(), 1);
        QCOMPARE(grid.model()->index(0, 0).data().toString(), "beta");

        // The next query of this list comes narrowed already.
        grid.setQuery(query("SELECT name FROM Names WHERE name <> 'alpha'"));
        QCOMPARE(grid.model()->rowCount(), 1);

        grid.findBox()->clear();
        QTRY_COMPARE(grid.model()->rowCount(), 2);
    }

    void scrollsToTheEndOfAMillionRows() {
        TLinkGrid grid;
        grid.resize(241, 400);
        grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&grid));
        grid.setQuery(query("SELECT name FROM Many"));
        QCOMPARE(grid.model()->rowCount(), kManyRows);

        QTableView* view = grid.view();
        view->scrollToBottom();
        view->viewport()->repaint();
        const QModelIndex last = view->indexAt(QPoint(5, view->viewport()->height() - 3));
        QCOMPARE(last.row(), kManyRows - 1);
        QCOMPARE(last.data().toString(), "item0999999");
        QVERIFY(grid.model()->query()->cachedChunkCount() <= TPagedQuery::DefaultMaxChunks);
    }
};

QTEST_MAIN(TestLinkGrid)
#include "tst_LinkGrid.moc"
