#include "SysmonLogBuilder.h"
#include "details/gui/TSessionViewForm.h"
#include "settings/TSharedResourcesModule.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TSizePanel.h"
#include "toolkit/TWorldMap.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QAbstractItemModelTester>
#include <QDialog>
#include <QHeaderView>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace kelvane;
using kelvane::testing::runImportDialog;
using ui::MessageScript;
using ui::TWorldMap;

namespace {

const QColor kLit(0xF5, 0x66, 0x2D);

// Eight network connections to the addresses 1.0.0.1 ... 1.0.0.8, each from its own process.
QByteArray networkLog() {
    SysmonLogBuilder log;
    for (int i = 1; i <= 8; ++i)
        log.event(3, {{"UtcTime", QString("2024-05-01 10:00:0%1.000").arg(i)},
                      {"ProcessGuid", QString("{CCCCCCCC-0000-0000-0000-00000000000%1}").arg(i)},
                      {"ProcessId", "100"},
                      {"Image", "C:\\Tools\\net.exe"},
                      {"User", "CORP\\alice"},
                      {"Protocol", "tcp"},
                      {"SourceIp", "10.0.0.1"},
                      {"SourcePort", "50000"},
                      {"DestinationIp", QString("1.0.0.%1").arg(i)},
                      {"DestinationPort", "443"}});
    return log.utf8();
}

} // namespace

class TestMapView : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log;
    testing::MainWindowFixture m_window;
    std::unique_ptr<TSharedResourcesModule>& m_settings = m_window.settings;
    std::unique_ptr<TMainDataModule>& m_data = m_window.data;
    std::unique_ptr<TMainForm>& m_form = m_window.form;

    TWorldMap* map() { return m_form->chartMap(); }
    QWidget* panel() { return m_form->findChild<QWidget*>("RzSizePanelNetworkTraffic"); }
    QTableView* grid() { return m_form->findChild<QTableView*>("cxGridNetworkEventsView"); }

    QList<int> shapesOf(const QString& code) {
        QList<int> list;
        for (int i = 0; i < map()->shapeCount(); ++i)
            if (map()->shape(i).code == code)
                list << i;
        return list;
    }

    QStringList gridColumn(int column) {
        QStringList list;
        for (int r = 0; r < grid()->model()->rowCount(); ++r)
            list << grid()->model()->index(r, column).data().toString();
        return list;
    }

    void import() {
        MessageScript script;
        script.answer(true).fileName(m_log).dialog(runImportDialog);
        m_form->ImportSysmonLogsMenuItemClick();
        QVERIFY(m_form->dataLoaded());
    }

    // Gives the eight connections their countries, as a geolocating import would, and loads them.
    void setCountriesAndLoad(const QStringList& codes) {
        // The all-events search that follows an import reads on a connection of its own: let it end
        // before writing.
        QTRY_VERIFY(!m_form->allEventsSearchRunning());
        m_data->OpenDatabase();
        for (int i = 0; i < codes.size(); ++i)
            m_data->connection().exec(
                QString("UPDATE NetworkConnectionDetected SET DestinationCountryCode = "
                        "'%1', DestinationCountry = 'Land %1' WHERE DestinationIp = '1.0.0.%2'")
                    .arg(codes[i])
                    .arg(i + 1)
                    .toStdString());
        MessageScript script;
        m_form->LoadExistingDataMenuItemClick();
        QVERIFY(script.texts().isEmpty());
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_log = m_dir.filePath("network.xml");
        QFile file(m_log);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(networkLog());
    }

    void init() { QVERIFY(m_window.start(m_dir)); }

    void cleanup() { m_window.stop(); }

    void startsDarkAndClicksDoNothingBeforeData() {
        for (int i = 0; i < map()->shapeCount(); ++i)
            QCOMPARE(map()->shape(i).color, QColor(Qt::black));
        m_form->ChartMapClickSeries(shapesOf("FR").first());
        QVERIFY(panel()->isHidden());
        QCOMPARE(grid()->model()->rowCount(), 0);
    }

    void countsLightEveryShapeOfTheirCountry() {
        import();
        // "fr" is counted apart and lights nothing (the codes compare exactly); ZZ is unknown to the map;
        // "n/a" and empty never count.
        setCountriesAndLoad({"FR", "FR", "US", "fr", "ZZ", "n/a", "", "FR"});
        for (int i = 0; i < map()->shapeCount(); ++i) {
            const ui::TMapShape& s = map()->shape(i);
            const double expected = s.code == "FR" ? 3 : s.code == "US" ? 1 : 0;
            QCOMPARE(s.value, expected);
            QCOMPARE(s.color, expected ? kLit : QColor(Qt::black));
        }
        QVERIFY(shapesOf("FR").size() > 5); // the mainland, Corsica and the overseas departments

        QString printed;
        QTextStream out(&printed);
        QCOMPARE(queryCommands().at("countries").run(*m_data, {}, out), 0);
        out.flush();
        QCOMPARE(printed, QString("FR\t3\nUS\t1\nZZ\t1\nfr\t1\n"));
    }

    void clickShowsTheCountrysConnections() {
        import();
        setCountriesAndLoad({"FR", "US", "fr", "n/a", "", "FR", "DE", "FR"});
        m_form->findChild<QTabWidget*>("PageControlMain")->setCurrentIndex(1);
        QVERIFY(panel()->isHidden());
        QAbstractItemModelTester tester(grid()->model(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QList<int> france = shapesOf("FR");
        QStringList first;
        for (int shape : {france.first(), france.last()}) {
            m_form->ChartMapClickSeries(shape);
            QVERIFY(!panel()->isHidden());
            // The click compares codes without case: "fr" belongs to France here.
            QCOMPARE(gridColumn(9), (QStringList{"1.0.0.1", "1.0.0.3", "1.0.0.6", "1.0.0.8"}));
        }
        const int height = panel()->height();
        QCOMPARE(panel()->geometry().bottom(), map()->rect().bottom());
        // Its top edge drags: the bottom stays.
        QWidget* grip = panel()->findChild<QWidget*>("grip");
        QTest::mousePress(grip, Qt::LeftButton, {}, QPoint(50, 2));
        QTest::mouseMove(grip, QPoint(50, -48));
        QTest::mouseRelease(grip, Qt::LeftButton, {}, QPoint(50, -48));
        QCOMPARE(panel()->height(), height + 50);
        QCOMPARE(panel()->geometry().bottom(), map()->rect().bottom());
        QCOMPARE(gridColumn(11).first(), QString("Land FR"));

        // A dark country opens the panel on no rows; the "x" hides it.
        m_form->ChartMapClickSeries(shapesOf("BR").first());
        QVERIFY(!panel()->isHidden());
        QCOMPARE(grid()->model()->rowCount(), 0);
        QTest::mouseClick(m_form->findChild<QToolButton*>("SpeedButtonClose"), Qt::LeftButton);
        QVERIFY(panel()->isHidden());

        // A real click on the map, with the right button, does the same as with the left.
        const QPointF us = map()->planeTransform(map()->rect()).map(ui::projectNaturalEarth(-100, 40));
        QTest::mouseClick(map(), Qt::RightButton, {}, us.toPoint());
        QVERIFY(!panel()->isHidden());
        QCOMPARE(gridColumn(9), QStringList{"1.0.0.2"});
        QCOMPARE(m_form->networkTraffic().code(), QString("US"));
    }

    void processGuidOpensItsSession() {
        import();
        setCountriesAndLoad({"FR"});
        m_form->ChartMapClickSeries(shapesOf("FR").first());
        const QModelIndex link = grid()->model()->index(0, 1);
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, grid()->visualRect(link).center());
        ui::TSessionViewForm* session = nullptr;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* s = qobject_cast<ui::TSessionViewForm*>(w))
                session = s;
        QVERIFY(session);
        QVERIFY(session->isVisible());
        QCOMPARE(session->windowTitle(), QString("Events of {CCCCCCCC-0000-0000-0000-000000000001} session"));
    }

    void aSecondImportKeepsEarlierColours() {
        import();
        setCountriesAndLoad({"FR", "FR"});
        m_form->ChartMapClickSeries(shapesOf("FR").first());
        import(); // no countries this time
        QCOMPARE(map()->shape(shapesOf("FR").first()).color, kLit);
        QCOMPARE(map()->shape(shapesOf("FR").first()).value, 2.0);
        // The panel stays as it was, empty, until the next click.
        QVERIFY(!panel()->isHidden());
        QCOMPARE(grid()->model()->rowCount(), 0);
    }
};

QTEST_MAIN(TestMapView)
#include "tst_MapView.moc"
