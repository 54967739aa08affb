#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TWorldMap.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace kelvane;
using ui::MessageScript;

namespace {

// Three processes in a tree, and three connections, two of them to France; one image path needs escaping.
const char* const kRows[] = {
    "INSERT INTO ProcessCreate (UtcTime, ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID) "
    "VALUES "
    "('2024-05-01 10:00:01.000', 'R', 'X', 'r.exe', 'x.exe', 1),"
    "('2024-05-01 10:00:02.000', 'A', 'R', 'a.exe', 'r.exe', 2)",
    "INSERT INTO NetworkConnectionDetected (UtcTime, ProcessGuid, Image, DestinationIp, DestinationPort, "
    "DestinationCountryCode, DestinationCountry, FID) VALUES "
    "('2024-05-01 10:00:03.000', 'A', 'C:\\a&b\\<net>.exe', '1.0.0.1', '443', 'FR', 'France', 3),"
    "('2024-05-01 10:00:04.000', 'A', 'C:\\net.exe', '1.0.0.2', '80', 'US', 'United States', 4),"
    "('2024-05-01 10:00:05.000', 'A', 'C:\\net.exe', '1.0.0.3', '8080', 'FR', 'France', 5)",
    "INSERT INTO AllEvents (GID, UtcTime, EventType, EventTypeName, CorrelationGuid, Computer) VALUES "
    "(1, '2024-05-01 10:00:01.000', 1, 'Process Create', 'R', 'WS-01'),"
    "(2, '2024-05-01 10:00:02.000', 1, 'Process Create', 'A', 'WS-01'),"
    "(3, '2024-05-01 10:00:03.000', 3, 'Network Connection Detected', 'A', 'WS-01'),"
    "(4, '2024-05-01 10:00:04.000', 3, 'Network Connection Detected', 'A', 'WS-01'),"
    "(5, '2024-05-01 10:00:05.000', 3, 'Network Connection Detected', 'A', 'WS-<2>')",
};

QString fileText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QByteArray unzipped(const QString& archive, const QString& member) {
    QProcess unzip;
    unzip.start("unzip", {"-p", archive, member});
    unzip.waitForFinished(60000);
    return unzip.readAllStandardOutput();
}

QString pdfText(const QString& path, int page) {
    QProcess process;
    process.start("pdftotext", {"-f", QString::number(page), "-l", QString::number(page), path, "-"});
    process.waitForFinished(60000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

} // namespace

class TestMainFormExports : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    testing::MainWindowFixture m_window;
    std::unique_ptr<TSharedResourcesModule>& m_settings = m_window.settings;
    std::unique_ptr<TMainDataModule>& m_data = m_window.data;
    std::unique_ptr<TMainForm>& m_form = m_window.form;

    void click(const char* button) {
        QTest::mouseClick(m_form->findChild<QToolButton*>(button), Qt::LeftButton);
    }
    QString file(const QString& name) {
        return m_dir.filePath(QString("%1-%2").arg(m_window.counter).arg(name));
    }

    void load() {
        m_data->BuildDatabaseStructure();
        for (const char* sql : kRows)
            m_data->connection().exec(sql);
        m_data->CloseDatabase();
        m_form->LoadExistingDataMenuItemClick();
        QVERIFY(m_form->dataLoaded());
    }

    ui::TGroupingGrid* allEvents() { return m_form->findChild<ui::TGroupingGrid*>("cxGridAllEvents"); }

    void search(const QString& term, int rows) {
        m_form->findChild<QLineEdit*>("cxButtonEditAllEventsSearchText")->setText(term);
        m_form->cxButtonEditAllEventsSearchTextPropertiesButtonClick();
        QTRY_VERIFY(!m_form->allEventsSearchRunning());
        QTRY_COMPARE(allEvents()->model()->resultRowCount(), rows);
    }

    void clickCountry(const QString& code) {
        ui::TWorldMap* map = m_form->chartMap();
        for (int i = 0; i < map->shapeCount(); ++i)
            if (map->shape(i).code == code) {
                m_form->ChartMapClickSeries(i);
                return;
            }
        QFAIL("no such country on the map");
    }

private slots:
    void init() { QVERIFY(m_window.start(m_dir)); }

    void cleanup() { m_window.stop(); }

    void withoutData() {
        MessageScript script;
        click("SpeedButtonExportHierarchy");
        QCOMPARE(script.texts(), QStringList{"No content to export!"}); // no dialog
        // A grid without data: its header alone.
        script.fileName(file("empty.txt"));
        click("SpeedButtonExportMapViewToHTML");
        const QString html = fileText(file("empty.html"));
        QVERIFY(html.contains("<th>Destination country</th>"));
        QVERIFY(!html.contains("<td"));
    }

    void hierarchyToBitmap() {
        load();
        click("SpeedButtonGenerateProcessHierarchy");
        QVERIFY(m_form->topNode());
        MessageScript script;
        script.fileName(file("tree"));
        click("SpeedButtonExportHierarchy");
        QCOMPARE(script.records().front().title, QString("Export Diagram to Bitmap"));
        const QImage saved(file("tree"), "BMP");
        auto* diagram = m_form->findChild<ui::TNodeDiagram*>("ProcessDiagram");
        QCOMPARE(saved.size(), diagram->drawingSize());
        // The top node is a purple disc: its centre on the bitmap.
        QCOMPARE(saved.pixelColor(m_form->topNode()->rect().center()), QColor(0x93, 0x70, 0xDB));
        QCOMPARE(script.texts("message"), QStringList{}); // no box for a success, a word in the status bar
        QCOMPARE(m_form->statusBar()->currentMessage(),
                 "Exported to " + QDir::toNativeSeparators(file("tree")));
        auto* openFolder = m_form->findChild<QLabel*>("LabelOpenExportFolder");
        QVERIFY(openFolder->isVisible());
        emit openFolder->linkActivated("folder");
        QCOMPARE(script.texts("document"), QStringList{QFileInfo(file("tree")).absolutePath()});
    }

    void mapGridAndReport() {
        if (QStandardPaths::findExecutable("pdftotext").isEmpty())
            QSKIP("needs pdftotext");
        load();
        clickCountry("FR");
        MessageScript script;
        script.fileName(file("france.txt"));
        click("SpeedButtonExportMapViewToHTML");
        const QString html = fileText(file("france.html"));
        QCOMPARE(html.count("<tr>"), 3); // the header and France's two connections
        QVERIFY(html.contains("1.0.0.3") && !html.contains("1.0.0.2"));
        QVERIFY(html.contains("C:\\a&amp;b\\&lt;net&gt;.exe"));

        script.fileName(file("france-report"));
        click("SpeedButtonExportMapViewToPDF");
        const QString pdf = file("france-report.PDF");
        QCOMPARE(script.texts("document"), QStringList{pdf});
        QVERIFY(pdfText(pdf, 1).contains("Kelvane - Network Destinations Map"));
        const QString grid = pdfText(pdf, 2);
        QVERIFY(grid.contains("Destination IP") && grid.contains("1.0.0.1") && !grid.contains("1.0.0.2"));
    }

    void allEventsAsShown() {
        if (QStandardPaths::findExecutable("unzip").isEmpty())
            QSKIP("needs unzip");
        load();
        search(QString(), 5);
        MessageScript script;
        script.fileName(file("events"));
        click("SpeedButtonExportAllDataToXLSX"); // the dialog adds .HTML, the export makes it .xlsx
        const QByteArray sheet = unzipped(file("events.xlsx"), "xl/worksheets/sheet1.xml");
        for (const char* caption : {"Time", "Event ID", "Event Type", "Process GUID", "Computer", "RuleName"})
            QVERIFY2(sheet.contains(QByteArray("<t>") + caption + "</t>"), caption);
        QVERIFY(sheet.contains("<c r=\"B6\"><v>3</v></c>"));          // the event id, a number
        QVERIFY(sheet.contains("<c r=\"A6\" s=\"2\"><v>45413.4167")); // the time, a date
        QVERIFY(sheet.contains("WS-&lt;2&gt;") && !sheet.contains("<row r=\"7\""));

        // The rows of the search, and nothing of the detail level.
        search("1.0.0", 3);
        script.fileName(file("found.html"));
        click("SpeedButtonExportAllDataToHTML");
        const QString html = fileText(file("found.html"));
        QCOMPARE(html.count("<tr>"), 4);
        QVERIFY(!html.contains("1.0.0.1")); // a detail column
    }

    void allEventsGroupsAsTheyStand() {
        load();
        search(QString(), 5);
        allEvents()->groupBy({"EventTypeName"});
        auto* view = allEvents()->view();
        QTRY_COMPARE(view->model()->rowCount(), 2);
        // The second group, Process Create, open; the first closed.
        view->expand(view->model()->index(1, 0));
        MessageScript script;
        script.fileName(file("grouped.html"));
        click("SpeedButtonExportAllDataToHTML");
        const QString html = fileText(file("grouped.html"));
        QCOMPARE(html.count("<tr class=\"g\">"), 2);
        QVERIFY(html.contains("Event Type : Network Connection Detected"));
        QCOMPARE(html.count("<tr>"), 3); // the header and the two process creations
        QVERIFY(html.indexOf("Event Type : Process Create") < html.indexOf("<td>R</td>"));
    }
};

QTEST_MAIN(TestMainFormExports)
#include "tst_MainFormExports.moc"
