#include "SysmonLogBuilder.h"
#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TSessionViewForm.h"
#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TPagedQueryModel.h"
#include "toolkit/TPropertyGrid.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QCheckBox>
#include <QDialog>
#include <QFileInfo>
#include <QImage>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using kelvane::testing::runImportDialog;
using ui::MessageScript;
using ui::TDiagramNode;
using ui::TLinkGrid;
using ui::TNodeDiagram;

namespace {

const QString kG1 = "{AAAAAAAA-0000-0000-0000-000000000001}";
const QString kG2 = "{AAAAAAAA-0000-0000-0000-000000000002}";
const QString kG3 = "{AAAAAAAA-0000-0000-0000-000000000003}";
const QString kBig1000 = "{BBBBBBBB-0000-0000-0000-000000001000}";
const QString kBig1001 = "{BBBBBBBB-0000-0000-0000-000000001001}";

SysmonLogBuilder::Items item(const QString& guid, const QString& image, int second, int ms = 0) {
    return {{"UtcTime", QString("2024-05-01 10:%1:%2.%3")
                            .arg(second / 60, 2, 10, QChar('0'))
                            .arg(second % 60, 2, 10, QChar('0'))
                            .arg(ms, 3, 10, QChar('0'))},
            {"ProcessGuid", guid},
            {"ProcessId", "100"},
            {"Image", image},
            {"ParentImage", "C:\\Windows\\explorer.exe"},
            {"TargetFilename", "C:\\temp\\out.txt"},
            {"DestinationIp", "8.8.8.8"},
            {"SourceIp", "10.0.0.1"}};
}

// tool.exe: sessions G1 (process create, network, terminate on WS-01), G2 (one event on WS-01),
// G3 (one event on WS-02); big.exe: sessions of exactly 1000 and of 1001 events.
QByteArray sampleLog() {
    SysmonLogBuilder log;
    const QString tool = "C:\\Tools\\tool.exe";
    log.event(1, item(kG1, tool, 1), "WS-01")
        .event(3, item(kG1, tool, 2), "WS-01")
        .event(5, item(kG1, tool, 3), "WS-01");
    log.event(11, item(kG2, tool, 4), "WS-01");
    log.event(11, item(kG3, tool, 5), "WS-02");
    for (int i = 0; i < 1000; ++i)
        log.event(11, item(kBig1000, "C:\\big.exe", 10 + i / 1000, i % 1000), "WS-01");
    for (int i = 0; i < 1001; ++i)
        log.event(11, item(kBig1001, "C:\\big.exe", 20 + i / 1000, i % 1000), "WS-01");
    return log.utf8();
}

QStringList rows(TLinkGrid* grid) {
    QStringList list;
    for (int r = 0; r < grid->model()->rowCount(); ++r)
        list << grid->model()->index(r, 0).data().toString();
    return list;
}

void clickCell(TLinkGrid* grid, const QString& text) {
    for (int r = 0; r < grid->model()->rowCount(); ++r) {
        const QModelIndex index = grid->model()->index(r, 0);
        if (index.data().toString() == text) {
            grid->view()->scrollTo(index);
            QTest::mouseClick(grid->view()->viewport(), Qt::LeftButton, {},
                              grid->view()->visualRect(index).center());
            return;
        }
    }
    QFAIL(qPrintable("no cell " + text));
}

// The chain under a computer node, top to bottom.
QList<TDiagramNode*> chain(TDiagramNode* computer, int index) {
    QList<TDiagramNode*> nodes;
    for (TDiagramNode* n = computer->child(index); n; n = n->childCount() ? n->child(0) : nullptr)
        nodes << n;
    return nodes;
}

} // namespace

class TestMainForm : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log;
    testing::MainWindowFixture m_window;
    std::unique_ptr<TSharedResourcesModule>& m_settings = m_window.settings;
    std::unique_ptr<TMainDataModule>& m_data = m_window.data;
    std::unique_ptr<TMainForm>& m_form = m_window.form;

    template <class T> T* find(const QString& name) { return m_form->findChild<T*>(name); }
    TLinkGrid* grid(const char* name) { return find<TLinkGrid>(name); }
    TNodeDiagram* diagram() { return find<TNodeDiagram>("EventsDiagram"); }

    void importSample(MessageScript& script) {
        script.fileName(m_log).dialog(runImportDialog);
        m_form->ImportSysmonLogsMenuItemClick();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_log = m_dir.filePath("sample.xml");
        QFile file(m_log);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(sampleLog());
    }

    void init() { QVERIFY(m_window.start(m_dir)); }

    void cleanup() { m_window.stop(); }

    void startsEmpty() {
        QCOMPARE(m_form->windowTitle(), QString("Kelvane"));
        auto* tabs = find<QTabWidget>("PageControlMain");
        QCOMPARE(tabs->tabPosition(), QTabWidget::South);
        QStringList captions;
        for (int i = 0; i < tabs->count(); ++i)
            captions << tabs->tabText(i);
        QCOMPARE(captions,
                 (QStringList{"Process View", "Map View", "All Events View", "Hierarchy", "Detections"}));
        QCOMPARE(tabs->currentWidget()->objectName(), QString("TabSheetImages"));
        for (const char* name : {"cxGridImages", "cxGridImagePath", "cxGridImageSessions"})
            QVERIFY(grid(name)->emptyTextShown());
        QVERIFY(!m_form->dataLoaded());
        auto* filter = find<QListWidget>("scCheckListBoxEventsFilter");
        // The sixteen types of the first layout, then the later ones that reach the process view.
        QCOMPARE(filter->count(), 23);
        QCOMPARE(filter->item(15)->text(), QString("DnsQuery"));
        QCOMPARE(filter->item(22)->text(), QString("FileExecutableDetected"));
        QCOMPARE(filter->item(0)->checkState(), Qt::Checked);
        QStringList visible;
        for (QAction* a : m_form->menuBar()->actions().first()->menu()->actions())
            if (a->isVisible() && !a->isSeparator())
                visible << a->text();
        QCOMPARE(visible,
                 (QStringList{"&Load existing data", "&Import Sysmon Event logs...", "&Open Database...",
                              "Import into &New Database...", "&Recent Databases", "&Add Logs to Case...",
                              "Add &Folder to Case...", "&Case Contents", "&Preferences", "E&xit"}));
    }

    void hiddenShortcuts() {
        MessageScript script;
        m_form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_form.get()));
        QTest::keyClick(m_form.get(), Qt::Key_H, Qt::ControlModifier);
        QCOMPARE(script.records().size(), size_t(0));
        script.answer(true);
        QTest::keyClick(m_form.get(), Qt::Key_T, Qt::ControlModifier); // hidden entry, reached all the same
        QCOMPARE(script.texts("exec"), QStringList{"ImportElasticLogsForm"});
    }

    void loadWithoutData() {
        MessageScript script;
        m_form->LoadExistingDataMenuItemClick();
        QCOMPARE(script.texts(), QStringList{"There are no data to be loaded, import logs first!"});
        QVERIFY(!QFile::exists(m_form->databasePath())); // reading creates nothing
        QVERIFY(!m_form->dataLoaded());
        m_form->CheckDatabaseVersionMenuItemClick();
        QCOMPARE(script.texts().last(),
                 QString("No data is currently loaded, either import or load an existing data"));
        // So the first import has nothing to ask about.
        script.clear();
        importSample(script);
        QVERIFY(script.texts("question").isEmpty());
        QVERIFY(m_form->dataLoaded());
    }

    // A database that cannot be used says why, and is left as it is.
    void loadDamagedDatabase() {
        MessageScript script;
        importSample(script);
        m_data->CloseDatabase();
        QFile file(m_form->databasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.resize(file.size() / 2));
        file.close();
        const qint64 size = QFileInfo(m_form->databasePath()).size();
        script.clear();
        m_form->LoadExistingDataMenuItemClick();
        QCOMPARE(script.texts().size(), 1);
        QVERIFY2(script.texts().first().startsWith("The database is damaged (the file is cut short: "),
                 qPrintable(script.texts().first()));
        QCOMPARE(QFileInfo(m_form->databasePath()).size(), size);
    }

    void importThenLoad() {
        MessageScript script;
        importSample(script);
        QVERIFY(m_form->dataLoaded());
        QCOMPARE(rows(grid("cxGridImages")), (QStringList{"big.exe", "tool.exe"}));
        QVERIFY(grid("cxGridImagePath")->emptyTextShown());
        m_form->CheckDatabaseVersionMenuItemClick();
        QCOMPARE(script.texts("message").last(),
                 QString("Latest database version is : 3.1\r\nCurrently loaded database version is : 3.1"));

        // A second window over the same file loads what the first imported.
        m_form.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_form = std::make_unique<TMainForm>(*m_data,
                                             m_dir.filePath(QString("KelvaneDB%1").arg(m_window.counter)));
        m_form->show();
        m_form->LoadExistingDataMenuItemClick();
        QVERIFY(m_form->dataLoaded());
        QCOMPARE(rows(grid("cxGridImages")), (QStringList{"big.exe", "tool.exe"}));
    }

    void replacingAskedFirst() {
        MessageScript script;
        importSample(script);
        script.clear();
        script.answer(false);
        m_form->ImportSysmonLogsMenuItemClick();
        QCOMPARE(script.texts("question").size(), 1);
        QVERIFY(script.texts("question")
                    .first()
                    .startsWith("Are you sure? This will delete all existing data!\r\n"));
        QVERIFY(QFile::exists(m_form->databasePath()));
        QVERIFY(grid("cxGridImages")->emptyTextShown()); // closed, until loaded again
        QVERIFY(m_form->dataLoaded());
        // Yes, then no file: a new empty database is left.
        script.answer(true);
        m_form->ImportSysmonLogsMenuItemClick();
        m_data->OpenDatabase();
        QCOMPARE(m_data->GetTableCount(), 0);
    }

    void failedImport() {
        // A WMI binding fails the import, though what came before it is in the file.
        const QString broken = m_dir.filePath("binding.xml");
        QVERIFY(SysmonLogBuilder()
                    .event(1, item(kG1, "C:\\Tools\\tool.exe", 1), "WS-01")
                    .event(21, {{"UtcTime", "2024-01-01 00:00:00.000"}, {"Operation", "Created"}})
                    .write(broken));
        MessageScript script;
        script.fileName(broken).dialog(runImportDialog);
        m_form->ImportSysmonLogsMenuItemClick();
        QCOMPARE(script.texts("message"),
                 QStringList{"Something went wrong! Please contact support@kelvane.org"});
        QVERIFY(!m_form->dataLoaded());
        QCOMPARE(find<QStatusBar>("StatusBarMain")->currentMessage(),
                 QString("2 events were stored before the failure. File > Load existing data (Ctrl+L) "
                         "shows them."));
        m_form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_form.get()));
        QTest::keyClick(m_form.get(), Qt::Key_L, Qt::ControlModifier);
        QVERIFY(m_form->dataLoaded());
        QCOMPARE(rows(grid("cxGridImages")), QStringList{"tool.exe"});
        QVERIFY(find<QStatusBar>("StatusBarMain")->currentMessage().isEmpty());
    }

    // Arrow keys and Enter in the three lists do what a click does.
    void listsFollowKeyboard() {
        MessageScript script;
        importSample(script);
        QTableView* images = grid("cxGridImages")->view();
        images->setFocus();
        QVERIFY(!m_form->firstNode()); // focus makes the first row current, which is no click
        QTest::keyClick(images, Qt::Key_Enter);
        QCOMPARE(m_form->firstNode()->text(), QString("  big.exe  "));
        QTest::keyClick(images, Qt::Key_Down);
        QCOMPARE(m_form->firstNode()->text(), QString("  tool.exe  "));
        QCOMPARE(rows(grid("cxGridImagePath")), QStringList{"C:\\Tools\\tool.exe"});

        QTableView* paths = grid("cxGridImagePath")->view();
        paths->setCurrentIndex(paths->model()->index(0, 0)); // current without a click: nothing happens
        QVERIFY(grid("cxGridImageSessions")->emptyTextShown());
        QTest::keyClick(paths, Qt::Key_Return);
        QCOMPARE(rows(grid("cxGridImageSessions")).size(), 3);

        QTableView* sessions = grid("cxGridImageSessions")->view();
        QTest::keyClick(sessions, Qt::Key_Down);
        QCOMPARE(m_form->selectedSessions().size(), 1);
        QTest::keyClick(sessions, Qt::Key_Enter); // the same session again: drawn once
        QTest::keyClick(sessions, Qt::Key_Down);
        QCOMPARE(m_form->selectedSessions().size(), 2);
        QTest::keyClick(sessions, Qt::Key_Up);
        QCOMPARE(m_form->selectedSessions().size(), 2);

        // On to the diagram: down from the image to its computer and the first box, Enter opens it.
        TNodeDiagram* d = diagram();
        d->setFocus();
        QTest::keyClick(d, Qt::Key_Down);
        QCOMPARE(d->selectedNode(), m_form->firstNode());
        QTest::keyClick(d, Qt::Key_Return); // the image has no event: nothing opens
        QTest::keyClick(d, Qt::Key_Down);
        QTest::keyClick(d, Qt::Key_Down);
        QCOMPARE(d->selectedNode(), m_form->firstNode()->child(0)->child(0));
        QTest::keyClick(d, Qt::Key_Right); // the second chain's first box
        QCOMPARE(d->selectedNode(), m_form->firstNode()->child(0)->child(1));
        QVERIFY(m_form->findChildren<QWidget*>("TProcessCreateForm").isEmpty());
        QTest::keyClick(d, Qt::Key_Left);
        QTest::keyClick(d, Qt::Key_Return);
        QCOMPARE(m_form->findChildren<QWidget*>("TProcessCreateForm").size(), 1);
    }

    // Detail sheets and session windows open over the main window and close by keyboard.
    void sheetsCloseByKeys_data() {
        QTest::addColumn<bool>("session");
        QTest::addColumn<QKeyCombination>("keys");
        QTest::newRow("sheet, Escape") << false << QKeyCombination(Qt::Key_Escape);
        QTest::newRow("sheet, Ctrl+W") << false << QKeyCombination(Qt::ControlModifier, Qt::Key_W);
        QTest::newRow("session, Escape") << true << QKeyCombination(Qt::Key_Escape);
        QTest::newRow("session, Ctrl+W") << true << QKeyCombination(Qt::ControlModifier, Qt::Key_W);
    }
    void sheetsCloseByKeys() {
        QFETCH(bool, session);
        QFETCH(QKeyCombination, keys);
        MessageScript script;
        importSample(script);
        m_form->move(40, 30);
        QPointer<QWidget> window;
        if (session)
            window = ui::TSessionViewForm::openSession(*m_data, kG1, m_form.get());
        else
            window = openDetailFormByType(m_form.get(), *m_data, 1, 1);
        QVERIFY(window);
        QVERIFY(QTest::qWaitForWindowExposed(window));
        const QPoint offCentre = window->frameGeometry().center() - m_form->frameGeometry().center();
        QVERIFY2(offCentre.manhattanLength() < 40,
                 qPrintable(QString("%1,%2").arg(offCentre.x()).arg(offCentre.y())));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window->focusWidget() ? window->focusWidget() : window.data(), keys.key(),
                        keys.keyboardModifiers());
        QTRY_VERIFY(!window);
    }

    void walkToASession() {
        MessageScript script;
        importSample(script);
        clickCell(grid("cxGridImages"), "tool.exe");
        QCOMPARE(rows(grid("cxGridImagePath")), QStringList{"C:\\Tools\\tool.exe"});
        TDiagramNode* root = m_form->firstNode();
        QVERIFY(root);
        QCOMPARE(root->text(), QString("  tool.exe  "));
        QCOMPARE(root->color(), QColor(0xFF, 0x8C, 0x00));
        clickCell(grid("cxGridImagePath"), "C:\\Tools\\tool.exe");
        QCOMPARE(rows(grid("cxGridImageSessions")).size(), 3);

        clickCell(grid("cxGridImageSessions"), kG1);
        QCOMPARE(root->childCount(), 1);
        TDiagramNode* ws01 = root->child(0);
        QCOMPARE(ws01->text(), QString("  WS-01  "));
        QCOMPARE(ws01->color(), QColor(0xFF, 0x7F, 0x50));
        const auto nodes = chain(ws01, 0);
        QCOMPARE(nodes.size(), 3);
        QVERIFY(nodes[0]->text().startsWith("  Process Create  \r\n  Time :  \r\n"));
        QVERIFY(nodes[0]->text().endsWith("  explorer.exe  \r\n  \n\n"));
        QVERIFY(nodes[1]->text().startsWith("  Network Connection Detected  "));
        QCOMPARE(nodes[0]->color(), QColor(0xFF, 0x80, 0x80));
        QCOMPARE(nodes[1]->color(), QColor(0xFF, 0x80, 0x00));
        QCOMPARE(nodes[2]->color(), QColor(0xFF, 0x80, 0x80));

        clickCell(grid("cxGridImageSessions"), kG3);
        QCOMPARE(root->childCount(), 2);
        QCOMPARE(root->child(1)->text(), QString("  WS-02  "));
        clickCell(grid("cxGridImageSessions"), kG2);
        QCOMPARE(root->childCount(), 2);
        QCOMPARE(ws01->childCount(), 2); // a second chain beside the first
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kG1.toLower()); // GUIDs compare without case
        QCOMPARE(m_form->selectedSessions().size(), 3);

        m_form->SpeedButtonClearClick();
        QCOMPARE(root->childCount(), 0);
        QVERIFY(m_form->selectedSessions().isEmpty());
        clickCell(grid("cxGridImageSessions"), kG1);
        QCOMPARE(root->childCount(), 1);
        // A new image starts a new diagram.
        clickCell(grid("cxGridImages"), "tool.exe");
        QCOMPARE(m_form->firstNode()->childCount(), 0);
        QVERIFY(grid("cxGridImageSessions")->emptyTextShown());
    }

    void sessionLimit() {
        MessageScript script;
        importSample(script);
        m_form->cxGridDBColumnImagesPropertiesStartClick("big.exe");
        m_form->cxGridDBColumnImagePathPropertiesStartClick("C:\\big.exe");
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kBig1000);
        QCOMPARE(chain(m_form->firstNode()->child(0), 0).size(), 1000);
        QVERIFY(script.texts("question").isEmpty());

        script.answer(false);
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kBig1001);
        QCOMPARE(script.texts("question").size(), 1);
        QVERIFY(
            script.texts("question")
                .first()
                .startsWith("Too many events associated with this session (1001 events).\r\nBuilding a map"));
        QVERIFY(script.texts("question").first().endsWith("filter session  " + kBig1001 + "  events?"));
        auto* tabs = find<QTabWidget>("PageControlMain");
        QCOMPARE(tabs->currentWidget()->objectName(), QString("TabSheetImages"));

        script.answer(true);
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kBig1001); // asks again
        QCOMPARE(script.texts("question").size(), 2);
        QCOMPARE(find<QLineEdit>("cxButtonEditAllEventsSearchText")->text(), kBig1001);
        QCOMPARE(tabs->currentWidget()->objectName(), QString("TabSheetAllEvents"));
        QCOMPARE(m_form->selectedSessions(), QStringList{kBig1000});
    }

    void doubleClickOpensDetails() {
        MessageScript script;
        importSample(script);
        m_form->cxGridDBColumnImagesPropertiesStartClick("tool.exe");
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kG1);
        TNodeDiagram* d = diagram();
        d->setZoomToFit(true);
        TDiagramNode* processCreate = m_form->firstNode()->child(0)->child(0);
        const QPoint at = d->mapFromDrawing(processCreate->rect().center()).toPoint();
        QTest::mouseDClick(d->viewport(), Qt::LeftButton, {}, at);
        auto* detail = m_form->findChild<QWidget*>("TProcessCreateForm");
        QVERIFY(detail);
        QTRY_VERIFY(detail->isVisible());
        QCOMPARE(detail->windowTitle(), QString("ProcessCreate Event Details"));

        // The computer box has no event: nothing opens.
        d->setSelectedNode(m_form->firstNode()->child(0));
        m_form->EventsDiagramDblClick(d);
        QCOMPARE(m_form->findChildren<QWidget*>("TProcessCreateForm").size(), 1);

        // Follow the session link of the form into a window of its own.
        auto* properties = detail->findChild<ui::TPropertyGrid*>();
        QVERIFY(properties);
        const int row = properties->rowOf("ProcessGuid");
        QVERIFY(row >= 0);
        QTest::mouseClick(properties->viewport(), Qt::LeftButton, {}, properties->valueRect(row).center());
        ui::TSessionViewForm* session = nullptr;
        QTRY_VERIFY((session = [] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* s = qobject_cast<ui::TSessionViewForm*>(w); s && s->isVisible())
                    return s;
            return static_cast<ui::TSessionViewForm*>(nullptr);
        }()));
        QVERIFY(session->windowTitle().contains(kG1));
        QVERIFY(session->firstNode());
    }

    void exportDiagram() {
        MessageScript script;
        m_form->SpeedButtonExportProcessViewToPDFClick();
        QCOMPARE(script.texts(), QStringList{"No content to export!"}); // no dialog either
        importSample(script);
        m_form->cxGridDBColumnImagesPropertiesStartClick("tool.exe");
        m_form->cxGridDBColumnImageSessionsPropertiesStartClick(kG1);
        const QString file = m_dir.filePath("diagram.picture");
        script.fileName(file);
        m_form->SpeedButtonExportProcessViewToPDFClick();
        QCOMPARE(script.records().back().kind, QString("save"));
        QCOMPARE(script.records().back().title, QString("Export Diagram to Bitmap"));
        const QImage saved(file, "BMP"); // the name as chosen, no extension added
        QCOMPARE(saved.size(), diagram()->drawingSize());
    }

    void eventFilter() {
        MessageScript script;
        importSample(script);
        find<QPushButton>("ButtonFilterNone")->click();
        QCOMPARE(rows(grid("cxGridImages")).size(), 2); // nothing changes before Apply
        find<QPushButton>("ButtonFilterApply")->click();
        QVERIFY(grid("cxGridImages")->emptyTextShown());
        auto* filter = find<QListWidget>("scCheckListBoxEventsFilter");
        filter->item(5)->setCheckState(Qt::Checked); // NetworkConnectionDetected
        find<QPushButton>("ButtonFilterApply")->click();
        QCOMPARE(rows(grid("cxGridImages")), QStringList{"tool.exe"});
        QCOMPARE(QString::fromStdString(m_data->query("FDQueryExes").sql()),
                 QString("SELECT ImageExe FROM AllImageExes\nWHERE EventType = 3\nGROUP BY ImageExe"));
        filter->item(5)->setCheckState(Qt::Unchecked);
        filter->item(16)->setCheckState(Qt::Checked); // FileDeleteArchived, a later type
        find<QPushButton>("ButtonFilterApply")->click();
        QCOMPARE(QString::fromStdString(m_data->query("FDQueryExes").sql()),
                 QString("SELECT ImageExe FROM AllImageExes\nWHERE EventType = 23\nGROUP BY ImageExe"));
        find<QPushButton>("ButtonFilterAll")->click();
        find<QPushButton>("ButtonFilterApply")->click();
        QCOMPARE(rows(grid("cxGridImages")).size(), 2);
    }

    void geolocationNeedsConsent() {
        MessageScript script;
        // The import dialog: tick the box, refuse the terms, then cancel the dialog.
        script.fileName(m_log).dialog([&](QDialog* dialog) {
            auto* box = dialog->findChild<QCheckBox*>("scCheckBoxPerformIPGeoMapping");
            QTest::mouseClick(box, Qt::LeftButton);
            const bool unchecked = !box->isChecked();
            QTest::mouseClick(dialog->findChild<QPushButton*>("ButtonOkCancel"), Qt::LeftButton);
            return unchecked ? dialog->result() : -1;
        });
        script.dialog([](QDialog*) { return 2; }); // the terms: Cancel
        m_form->ImportSysmonLogsMenuItemClick();
        QVERIFY(!m_settings->IPStackToS());
        QVERIFY(script.texts("message").isEmpty()); // no word about the key
        QVERIFY(!m_form->dataLoaded());
        m_data->OpenDatabase();
        QCOMPARE(m_data->GetTableCount(), 0); // Cancel leaves an empty file
    }
};

QTEST_MAIN(TestMainForm)
#include "tst_MainForm.moc"
