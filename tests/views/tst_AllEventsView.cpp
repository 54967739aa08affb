#include "details/gui/TDetailForms.h"
#include "details/gui/TSessionViewForm.h"
#include "settings/TSharedResourcesModule.h"
#include "store/AllEventsGridDescription.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TDetailRowWidget.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace kelvane;
using ui::TGroupedEventsModel;
using ui::TGroupingGrid;

namespace {

const QString kBig = "{BBBBBBBB-0000-0000-0000-000000001001}";

// Eight events of known content, and a session of 1001 events (GIDs 101 to 1101).
const char* const kPopulate = R"(
INSERT INTO AllEvents (GID, UtcTime, EventType, EventTypeName, CorrelationGuid, Computer, RuleName) VALUES
 (1, '2024-01-01 10:00:05.000', 1, 'Process Create', '{P1}', 'WS-01', '-'),
 (2, '2024-01-01 10:00:01.000', 3, 'Network Connection Detected', '{P1}', 'WS-01', '-'),
 (3, '2024-01-01 10:00:03.000', 1, 'Process Create', '{C1}', 'WS-02', '-'),
 (4, '2024-01-01 10:00:01.000', 10, 'Process Accessed', '{S1}', 'WS-01', '-'),
 (5, '2024-01-01 10:00:02.000', 11, 'File Created', '{P1}', 'WS-01', '-'),
 (6, '2024-01-01 10:00:04.000', 19, 'WmiEventFilter activity detected', 'WmiEventFilter', 'WS-02', '-'),
 (7, '2024-01-01 10:00:06.000', 22, 'Dns query', '{D1}', 'WS-01', '-');
INSERT INTO DNSQuery (FID, ProcessGuid, QueryName) VALUES (7, '{D1}', 'b.example'), (7, '{D1}', 'a.example');
INSERT INTO ProcessCreate (FID, RuleName, UtcTime, ProcessGuid, ProcessId, Image, CommandLine, Hashes, ParentProcessGuid)
 VALUES (1, '-', '2024-01-01 10:00:05.000', '{P1}', 1502, 'C:\Tools\tool.exe', 'tool.exe O''Brien 100%', 'SHA256=FEED', '{ROOT}'),
        (3, '-', '2024-01-01 10:00:03.000', '{C1}', 77, 'C:\Tools\child.exe', 'child', 'SHA1=CAFE', '{P1}');
INSERT INTO NetworkConnectionDetected (FID, ProcessGuid, ProcessId, DestinationIp) VALUES (2, '{P1}', 1502, '8.8.8.8');
INSERT INTO ProcessAccessed (FID, SourceProcessGUID, TargetProcessGUID, TargetProcessId) VALUES (4, '{S1}', '{P1}', 1502);
INSERT INTO FileCreated (FID, ProcessGuid, Image, TargetFilename) VALUES (5, '{P1}', 'C:\Tools\tool.exe', 'C:\a.txt');
INSERT INTO WMIFilter (FID, UtcTime, Operation, Name, Query) VALUES (6, '2024-01-01 10:00:04.000', 'Created', 'evil', 'SELECT 1'),
 (6, '2024-01-01 10:00:04.000', 'Deleted', 'evil', 'SELECT 2');
WITH RECURSIVE n(i) AS (SELECT 101 UNION ALL SELECT i + 1 FROM n WHERE i < 1101)
 INSERT INTO AllEvents (GID, UtcTime, EventType, EventTypeName, CorrelationGuid, Computer, RuleName)
 SELECT i, '2024-01-02 00:00:00.000', 11, 'File Created', '{BBBBBBBB-0000-0000-0000-000000001001}', 'WS-03', '-' FROM n;
WITH RECURSIVE n(i) AS (SELECT 101 UNION ALL SELECT i + 1 FROM n WHERE i < 1101)
 INSERT INTO FileCreated (FID, ProcessGuid, TargetFilename)
 SELECT i, '{BBBBBBBB-0000-0000-0000-000000001001}', 'C:\big.txt' FROM n;
INSERT INTO KelvaneVersion VALUES ('3.1');
)";

} // namespace

class TestAllEventsView : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    testing::MainWindowFixture m_window;
    std::unique_ptr<TSharedResourcesModule>& m_settings = m_window.settings;
    std::unique_ptr<TMainDataModule>& m_data = m_window.data;
    std::unique_ptr<TMainForm>& m_form = m_window.form;

    template <class T> T* find(const QString& name) { return m_form->findChild<T*>(name); }
    TGroupingGrid* grid() { return find<TGroupingGrid>("cxGridAllEvents"); }
    TGroupedEventsModel* model() { return grid()->model(); }
    QLineEdit* box() { return find<QLineEdit>("cxButtonEditAllEventsSearchText"); }

    bool settled() {
        return QTest::qWaitFor([&] { return !m_form->allEventsSearchRunning() && model()->hasIndex(); },
                               10000);
    }

    void load() {
        m_form->LoadExistingDataMenuItemClick();
        QVERIFY(settled());
    }

    void search(const QString& text, bool byEnter = false) {
        box()->setText(text);
        if (byEnter)
            QTest::keyClick(box(), Qt::Key_Return);
        else
            QTest::mouseClick(find<QToolButton>("cxButtonEditAllEventsSearchTextGo"), Qt::LeftButton);
        QVERIFY(settled());
    }

    // The GIDs of the rows under parent, in the order shown.
    QList<qint64> shown(const QModelIndex& parent = QModelIndex()) {
        QList<qint64> gids;
        for (int r = 0; r < model()->rowCount(parent); ++r)
            gids << model()->index(r, 0, parent).data(TGroupedEventsModel::GidRole).toLongLong();
        return gids;
    }

    QStringList texts(const QModelIndex& parent = QModelIndex()) {
        QStringList list;
        for (int r = 0; r < model()->rowCount(parent); ++r)
            list << model()->index(r, 0, parent).data().toString();
        return list;
    }

    // Drops a header on the strip as a drag would; false when the strip refuses it.
    bool dropOnStrip(const QString& field) {
        QMimeData mime;
        mime.setData(ui::TGroupByStrip::MimeType, field.toUtf8());
        // A drop goes where the drag entered last.
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(grid()->strip(), &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(grid()->strip(), &drop);
        return true;
    }

    // Opens the detail of the master row of gid (a top-level row) and gives its widget.
    ui::TDetailRowWidget* openDetail(qint64 gid) {
        const int row = static_cast<int>(shown().indexOf(gid));
        if (row < 0)
            return nullptr;
        const QModelIndex master = model()->index(row, 0);
        grid()->view()->expand(master);
        QTest::qWait(50); // laid out and painted, so that a click lands in a cell
        return qobject_cast<ui::TDetailRowWidget*>(grid()->detailWidget(master));
    }

    void clickLink(ui::TDetailRowWidget* detail, const QString& caption) {
        QTableView* table = detail->table();
        for (int c = 0; c < table->model()->columnCount(); ++c)
            if (table->model()->headerData(c, Qt::Horizontal).toString() == caption) {
                table->scrollTo(table->model()->index(0, c));
                QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                                  table->visualRect(table->model()->index(0, c)).center());
                return;
            }
        QFAIL(qPrintable("no column " + caption));
    }

private slots:
    void init() {
        QVERIFY(m_window.start(m_dir, [](TMainDataModule& data, const QString& path) {
            data.setDatabasePath(path);
            data.BuildDatabaseStructure();
            data.connection().exec(kPopulate);
            data.CloseDatabase();
        }));
        find<QTabWidget>("PageControlMain")->setCurrentWidget(find<QWidget>("TabSheetAllEvents"));
    }

    void cleanup() { m_window.stop(); }

    void nothingBeforeALoad() {
        QVERIFY(grid()->emptyTextShown());
        box()->setText("tool");
        QTest::keyClick(box(), Qt::Key_Return);
        QTest::mouseClick(find<QToolButton>("cxButtonEditAllEventsSearchTextGo"), Qt::LeftButton);
        QVERIFY(!m_form->allEventsSearchRunning());
        QVERIFY(m_data->query("FDQueryAllAllEvents").param("TermParam").isNull());
        QVERIFY(grid()->emptyTextShown());
    }

    void searches_data() {
        QTest::addColumn<QString>("term");
        QTest::addColumn<bool>("byEnter");
        QTest::addColumn<QList<qint64>>("gids");
        QTest::newRow("hash inside Hashes") << "feed" << true << QList<qint64>{1};
        QTest::newRow("process id as text, by the button") << "50" << false << QList<qint64>{1, 2, 4};
        QTest::newRow("no hits") << "nowhere at all" << false << QList<qint64>{};
    }
    void searches() {
        QFETCH(QString, term);
        QFETCH(bool, byEnter);
        QFETCH(QList<qint64>, gids);
        load();
        QCOMPARE(model()->resultRowCount(), 7 + 1001);
        QAbstractItemModelTester tester(model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        search(term, byEnter);
        QCOMPARE(shown(), gids);
        QCOMPARE(grid()->emptyTextShown(), gids.isEmpty());
        QCOMPARE(m_form->allEventsGridDescription().term, term);
        // The empty text after a search shows every event again.
        search("");
        QCOMPARE(model()->resultRowCount(), 7 + 1001);
    }

    void groupsByTypeThenSession() {
        load();
        QAbstractItemModelTester tester(model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(!dropOnStrip("EventType")); // Event ID and Time can't group
        QVERIFY(!dropOnStrip("UtcTime"));
        QVERIFY(dropOnStrip("EventTypeName"));
        QCOMPARE(texts(), (QStringList{"Event Type : Dns query (1)", "Event Type : File Created (1002)",
                                       "Event Type : Network Connection Detected (1)",
                                       "Event Type : Process Accessed (1)", "Event Type : Process Create (2)",
                                       "Event Type : WmiEventFilter activity detected (1)"}));
        QVERIFY(dropOnStrip("CorrelationGuid"));
        const QModelIndex files = model()->index(1, 0);
        QCOMPARE(texts(files), (QStringList{"Process GUID : {BBBBBBBB-0000-0000-0000-000000001001} (1001)",
                                            "Process GUID : {P1} (1)"}));
        QCOMPARE(shown(model()->index(1, 0, files)), QList<qint64>{5});
        QCOMPARE(texts(model()->index(4, 0)),
                 (QStringList{"Process GUID : {C1} (1)", "Process GUID : {P1} (1)"}));
        QCOMPARE(m_form->allEventsGridDescription().groupFields,
                 (QStringList{"EventTypeName", "CorrelationGuid"}));
        QVERIFY(grid()->strip()->findChild<QToolButton*>("GroupChipEventTypeName"));
        QVERIFY(!grid()->strip()->hintLabel()->isVisible());
        // Removing the outer chip leaves the session grouping alone.
        QTest::mouseClick(grid()->strip()->findChild<QToolButton*>("GroupChipEventTypeName"), Qt::LeftButton);
        QCOMPARE(texts().size(), 6);
        QCOMPARE(texts().first(), QString("Process GUID : WmiEventFilter (1)"));
        QTest::mouseClick(grid()->strip()->findChild<QToolButton*>("GroupChipCorrelationGuid"),
                          Qt::LeftButton);
        QCOMPARE(model()->rowCount(), 7 + 1001);
        QVERIFY(grid()->strip()->hintLabel()->isVisible());
    }

    void onlyTimeSorts() {
        load();
        auto* header = grid()->view()->header();
        const auto clickHeader = [&](int section) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              QPoint(header->sectionViewportPosition(section) + 5, header->height() / 2));
        };
        search("{P1}");
        clickHeader(2); // Event Type does not sort
        QCOMPARE(shown(), (QList<qint64>{1, 2, 3, 4, 5}));
        clickHeader(0);
        QCOMPARE(shown(), (QList<qint64>{2, 4, 5, 3, 1}));
        clickHeader(0);
        QCOMPARE(shown(), (QList<qint64>{1, 3, 5, 2, 4}));
    }

    void wmiRowOpensItsViewAndForm() {
        load();
        search("evil");
        ui::TDetailRowWidget* detail = openDetail(6);
        QVERIFY(detail);
        QCOMPARE(detail->objectName(), QString("cxGridAllEventsDBTableViewWMIFilter"));
        QCOMPARE(detail->cellText(0, 5), QString("evil"));
        clickLink(detail, "FID");
        auto* form = m_form->findChild<ui::TWMIFilterForm*>();
        QVERIFY(form);
        QVERIFY(form->isVisible());
    }

    // DNS queries sort and filter by every column, WMI filters by all but FID, the others by none.
    void detailTools_data() {
        QTest::addColumn<qint64>("gid");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("keep");
        QTest::addColumn<QStringList>("sorted");
        QTest::addColumn<int>("shown");
        QTest::newRow("DNS by query name")
            << qint64(7) << 5 << "a.example" << QStringList{"b.example", "a.example"} << 1;
        QTest::newRow("DNS by FID") << qint64(7) << 0 << "7" << QStringList{"7", "7"} << 2;
        QTest::newRow("WMI by operation")
            << qint64(6) << 2 << "Created" << QStringList{"Deleted", "Created"} << 1;
        QTest::newRow("WMI not by FID") << qint64(6) << 0 << "nothing" << QStringList{"6", "6"} << 2;
        QTest::newRow("process create by none")
            << qint64(1) << 4 << "nothing" << QStringList{"C:\\Tools\\tool.exe"} << 1;
    }
    void detailTools() {
        QFETCH(qint64, gid);
        QFETCH(int, column);
        QFETCH(QString, keep);
        QFETCH(QStringList, sorted);
        QFETCH(int, shown);
        load();
        ui::TDetailRowWidget* detail = openDetail(gid);
        QVERIFY(detail);
        detail->sortColumn(column, Qt::DescendingOrder);
        QStringList cells;
        for (int row = 0; row < detail->rowCount(); ++row)
            cells << detail->cellText(row, column);
        QCOMPARE(cells, sorted);
        detail->filterColumn(column, keep);
        int visible = 0;
        for (int row = 0; row < detail->rowCount(); ++row)
            visible += detail->rowShown(row) ? 1 : 0;
        QCOMPARE(visible, shown);
    }

    void parentGuidOpensThatSession() {
        load();
        ui::TDetailRowWidget* detail = openDetail(3);
        QVERIFY(detail);
        QCOMPARE(detail->objectName(), QString("cxGridAllEventsDBTableViewProcessCreate"));
        clickLink(detail, "Parent process GUID");
        QStringList titles;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (qobject_cast<ui::TSessionViewForm*>(w))
                titles << w->windowTitle();
        QCOMPARE(titles, QStringList{"Events of {P1} session"});
    }

    void oversizedSessionHandsOver() {
        ui::MessageScript script;
        load();
        find<QTabWidget>("PageControlMain")->setCurrentWidget(find<QWidget>("TabSheetImages"));
        script.answer(true);
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kBig);
        QCOMPARE(script.texts("question").size(), 1);
        QCOMPARE(box()->text(), kBig);
        QCOMPARE(find<QTabWidget>("PageControlMain")->currentWidget(), find<QWidget>("TabSheetAllEvents"));
        QVERIFY(settled());
        QCOMPARE(model()->rowCount(), 1001);
        QCOMPARE(shown().first(), 101);
    }

    void searchSurvivesATabChangeAndALoad() {
        load();
        search("evil");
        auto* tabs = find<QTabWidget>("PageControlMain");
        tabs->setCurrentIndex(0);
        tabs->setCurrentWidget(find<QWidget>("TabSheetAllEvents"));
        QCOMPARE(shown(), QList<qint64>{6});
        // A load runs the text last searched, not what the box holds now.
        box()->setText("tool");
        load();
        QCOMPARE(box()->text(), QString("tool"));
        QCOMPARE(shown(), QList<qint64>{6});
    }
};

QTEST_MAIN(TestAllEventsView)
#include "tst_AllEventsView.moc"
