#include "ElasticDocuments.h"
#include "ElasticTestServer.h"
#include "import/elastic/TElasticImportController.h"
#include "import/gui/TImportElasticLogsForm.h"
#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"
#include "store/TQuery.h"
#include "toolkit/MessageService.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using elasticdocs::Shape;
using ui::MessageScript;

namespace {

QByteArray terminated(int pid, const QString& computer = "WS-01") {
    return elasticdocs::document(Shape::Winlogbeat7, 5,
                                 {{"RuleName", "-"},
                                  {"UtcTime", "2021-03-04 10:15:30.000"},
                                  {"ProcessGuid", "{5A1C3E20-8B3D-6040-6C01-000000000600}"},
                                  {"ProcessId", QString::number(pid)},
                                  {"Image", "C:\\a.exe"}},
                                 computer);
}

} // namespace

class TestImportElasticLogsForm : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;
    std::unique_ptr<TSharedResourcesModule> m_settings;
    std::unique_ptr<TMainDataModule> m_data;
    std::unique_ptr<TImportElasticLogsForm> m_form;

    template <typename T> T* find(const char* name) {
        T* widget = m_form->findChild<T*>(name);
        if (!widget)
            qFatal("no control %s", name);
        return widget;
    }

    void connectTo(const ElasticTestServer& server, const QString& user = QString(),
                   const QString& password = QString()) {
        find<QLineEdit>("EditElasticServer")->setText("127.0.0.1");
        find<QLineEdit>("EditPort")->setText(QString::number(server.port()));
        find<QLineEdit>("EditUsername")->setText(user);
        find<QLineEdit>("EditPassword")->setText(password);
        find<QPushButton>("ButtonConnect")->click();
    }

    QStringList listed() {
        QStringList names;
        auto* list = find<QListWidget>("CheckListBoxTables");
        for (int i = 0; i < list->count(); ++i)
            names << list->item(i)->text();
        return names;
    }

    void tick(int row) { find<QListWidget>("CheckListBoxTables")->item(row)->setCheckState(Qt::Checked); }

    // Presses Import and waits for the worker; gives the dialog's result (0 while it stays open).
    int importAndWait() {
        QSignalSpy finished(m_form.get(), &QDialog::finished);
        find<QPushButton>("ButtonImport")->click();
        if (!m_form->controller() ||
            m_form->controller()->state() != TElasticImportController::State::Running)
            return 0;
        m_form->controller()->waitForEnd();
        QCoreApplication::processEvents();
        return finished.isEmpty() ? 0 : finished.first().first().toInt();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_settings = std::make_unique<TSharedResourcesModule>();
        SharedResourcesModule = m_settings.get();
    }
    void cleanupTestCase() { SharedResourcesModule = nullptr; }

    void init() {
        m_form.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath(QString("db%1").arg(++m_counter)));
        m_data->OpenDatabase();
        m_form = std::make_unique<TImportElasticLogsForm>(*m_data, nullptr);
        m_form->setPageSize(2);
    }

    void importWithNothingTickedIsStuck_data() {
        QTest::addColumn<bool>("connectFirst");
        QTest::newRow("after Connect") << true;
        QTest::newRow("before any Connect") << false;
    }
    void importWithNothingTickedIsStuck() {
        QFETCH(bool, connectFirst);
        ElasticTestServer server({});
        server.addDocuments("s", {terminated(1)});
        if (connectFirst) {
            connectTo(server);
            QCOMPARE(listed(), QStringList{"s"});
        }
        QCOMPARE(importAndWait(), 0);
        QVERIFY(!find<QPushButton>("ButtonImport")->isEnabled());
        QVERIFY(!find<QPushButton>("ButtonOkCancel")->isEnabled());
        QCOMPARE(find<QProgressBar>("dxActivityIndicator")->maximum(), 0); // moving
        QTest::keyClick(m_form.get(), Qt::Key_Escape);                     // no way out
        QCOMPARE(m_form->result(), 0);
        QCOMPARE(server.requests().filter("_count").size(), 0);
    }

    void connectFailsAndTheFirstServerStays() {
        MessageScript script;
        ElasticTestServer server({});
        find<QLineEdit>("EditElasticServer")->setText("http://127.0.0.1");
        find<QLineEdit>("EditPort")->setText("1");
        find<QPushButton>("ButtonConnect")->click();
        // The reason stands beside the button; the message says only that it failed.
        QVERIFY2(find<QLabel>("LabelTestConnection")->toolTip().contains("127.0.0.1"),
                 qPrintable(find<QLabel>("LabelTestConnection")->toolTip()));
        // No user: the entries are there, empty, and no credentials go out.
        QCOMPARE(m_form->connectionParams().value("UserName"), QString(""));
        QVERIFY(m_form->connectionParams().value("Password").isEmpty());
        // Corrected, but the first "Server=" and "Port=" entries stay in force.
        connectTo(server);
        QCOMPARE(script.texts("message"),
                 QStringList(2, "Something went wrong! Please contact support@kelvane.org"));
        QCOMPARE(m_form->connectionParams().names(), QStringList({"Server", "Port", "UserName", "Password",
                                                                  "Server", "Port", "UserName", "Password"}));
        QCOMPARE(m_form->connectionParams().value("Port"), QString("1"));
        QCOMPARE(listed(), QStringList());
    }

    void selectAllAndImport() {
        ElasticTestServer::Options options;
        options.user = "elastic";
        options.password = "changeme";
        ElasticTestServer server(options);
        server.addDocuments("a", {terminated(1), terminated(2, "WS-02"), terminated(3)});
        server.addDocuments("b", {terminated(4, "WS-02")});
        connectTo(server, "elastic", "changeme");
        QCOMPARE(listed(), QStringList({"a", "b"}));
        find<QCheckBox>("CheckBoxCheckAll")->click();
        QCOMPARE(importAndWait(), 0);
        QCOMPARE(find<QLabel>("LabelMessage")->text(), QString("Done! Imported 4 Events"));
        QCOMPARE(find<QPushButton>("ButtonOkCancel")->text(), QString("Ok"));
        QVERIFY(find<QPushButton>("ButtonOkCancel")->isEnabled());
        QVERIFY(!find<QPushButton>("ButtonImport")->isEnabled());
        find<QPushButton>("ButtonOkCancel")->click();
        QCOMPARE(m_form->result(), 1);
        m_data->OpenDatabase();
        TQuery q("check", "SELECT group_concat(Computer) FROM AllEvents");
        q.open(m_data->connection());
        QCOMPARE(q.text(0), QString("WS-01,WS-01,WS-01,WS-02"));
    }

    void failureEndsTheDialog() {
        ElasticTestServer server({});
        server.addDocuments("s", {elasticdocs::document(Shape::Winlogbeat7, 21,
                                                        {{"UtcTime", "2021-03-04 10:15:30.000"},
                                                         {"Operation", "Created"},
                                                         {"Consumer", "c"},
                                                         {"Filter", "f"}})});
        connectTo(server);
        tick(0);
        QCOMPARE(importAndWait(), 3);
        QCOMPARE(m_form->ErrorMessage(), QStringList{"WmibindingTable: Field 'Computer' not found"});
        QCOMPARE(find<QLabel>("LabelMessage")->text(),
                 QString("Error: WmibindingTable: Field 'Computer' not found"));
    }

    void certificateQuestion() {
        ElasticTestServer::Options options;
        if (!ElasticTestServer::makeCertificate(m_dir.path(), options.certificateFile, options.keyFile))
            QSKIP("openssl is not available");
        ElasticTestServer server(options);
        server.addDocuments("s", {terminated(1)});
        MessageScript script;
        script.answer(true);
        connectTo(server);
        const QStringList questions = script.texts("question");
        QCOMPARE(questions.size(), 1);
        QVERIFY2(questions.first().contains("SHA-256 fingerprint:"), qPrintable(questions.first()));
        QCOMPARE(listed(), QStringList{"s"});
        tick(0);
        QCOMPARE(importAndWait(), 0);
        QCOMPARE(find<QLabel>("LabelMessage")->text(), QString("Done! Imported 1 Events"));
        // Trusted for this dialog only: the next one asks again.
        init();
        script.clear();
        connectTo(server);
        QCOMPARE(script.texts("question").size(), 1);
        QCOMPARE(script.texts("message"),
                 QStringList{"Something went wrong! Please contact support@kelvane.org"});
    }
};

QTEST_MAIN(TestImportElasticLogsForm)
#include "tst_ImportElasticLogsForm.moc"
