#include "SysmonLogBuilder.h"
#include "settings/RecentDatabases.h"
#include "store/Sqlite.h"
#include "toolkit/MessageService.h"
#include "views/TAboutForm.h"

#include "MainWindowFixture.h"

#include <QLabel>
#include <QMenu>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using kelvane::testing::runImportDialog;
using ui::MessageScript;

// A database per case: opening one, importing into a new one, the recent list and the title.
class TestCaseDatabases : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log;
    testing::MainWindowFixture m_window;

    TMainForm& form() { return *m_window.form; }
    QStringList recent() { return RecentDatabases(*m_window.settings).list(); }

    void importInto(const QString& path) {
        MessageScript script;
        script.fileName(path).fileName(m_log).dialog(runImportDialog);
        form().ImportIntoNewDatabaseMenuItemClick();
        QVERIFY2(script.texts("message").isEmpty(), qPrintable(script.texts("message").join('|')));
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_log = m_dir.filePath("one.xml");
        SysmonLogBuilder log;
        log.event(1, {{"UtcTime", "2024-05-01 10:00:00.000"},
                      {"ProcessGuid", "{A-1}"},
                      {"Image", "C:\\Tools\\tool.exe"}});
        QVERIFY(log.write(m_log));
    }
    void init() { QVERIFY(m_window.start(m_dir)); }
    void cleanup() { m_window.stop(); }

    void casesAreOpenedByName() {
        const QString first = m_dir.filePath("first.db");
        const QString second = m_dir.filePath("second.db");
        QCOMPARE(form().windowTitle(), QString("Kelvane"));
        importInto(first);
        QVERIFY(form().dataLoaded());
        QCOMPARE(form().windowTitle(), "Kelvane - " + first);
        importInto(second);
        QCOMPARE(form().databasePath(), second);
        QCOMPARE(recent(), (QStringList{second, first}));

        MessageScript script;
        QVERIFY(form().openDatabaseFile(first));
        QCOMPARE(form().windowTitle(), "Kelvane - " + first);
        QCOMPARE(m_window.data->databasePath(), first);
        QCOMPARE(recent(), (QStringList{first, second}));

        // The about box names the open file.
        ui::TAboutForm about(&form());
        about.setDatabasePath(form().openDatabasePath());
        QVERIFY(about.findChild<QLabel*>("LabelDatabase")->text().endsWith("first.db"));
        QVERIFY(script.texts().isEmpty());
    }

    void wrongFilesKeepTheOpenCase_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("sql");
        QTest::newRow("not SQLite") << QByteArray("just some text\n") << QString();
        QTest::newRow("another program's database") << QByteArray() << QString("CREATE TABLE Notes(a)");
        QTest::newRow("empty file") << QByteArray() << QString();
    }
    void wrongFilesKeepTheOpenCase() {
        QFETCH(QByteArray, content);
        QFETCH(QString, sql);
        const QString kept = m_dir.filePath(QString("kept%1.db").arg(QTest::currentDataTag()));
        importInto(kept);
        const QString wrong = m_dir.filePath("wrong.db");
        QFile::remove(wrong);
        QFile file(wrong);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        if (!sql.isEmpty())
            sql::Database(wrong.toStdString()).exec(sql.toStdString());

        MessageScript script;
        QVERIFY(!form().openDatabaseFile(wrong));
        QCOMPARE(script.texts("message"), QStringList{wrong + ": not a Kelvane database"});
        QCOMPARE(form().databasePath(), kept);
        QVERIFY(form().dataLoaded());
        QCOMPARE(recent().first(), kept);
    }

    void recentMenuOpensACase() {
        const QString one = m_dir.filePath("menu-one.db");
        importInto(one);
        importInto(m_dir.filePath("menu-two.db"));
        auto* menu = form().findChild<QAction*>("RecentDatabasesMenuItem")->menu();
        emit menu->aboutToShow();
        QCOMPARE(menu->actions().size(), 2);
        MessageScript script;
        menu->actions().at(1)->trigger();
        QCOMPARE(form().databasePath(), one);
        QVERIFY(script.texts().isEmpty());

        // A case that was moved away is said to be gone and leaves the list.
        QVERIFY(QFile::rename(one, one + ".moved"));
        emit menu->aboutToShow();
        menu->actions().at(0)->trigger();
        QCOMPARE(script.texts("message"),
                 QStringList{QDir::toNativeSeparators(one) + ": no such database file"});
        QVERIFY(!recent().contains(one));
    }

    void aNewNameIsTheNextImportsDatabase() {
        const QString fresh = m_dir.filePath("fresh.db");
        QVERIFY(form().openDatabaseFile(fresh));
        QVERIFY(!QFileInfo::exists(fresh));
        MessageScript script;
        script.fileName(m_log).dialog(runImportDialog);
        form().ImportSysmonLogsMenuItemClick();
        QVERIFY(QFileInfo(fresh).size() > 0);
        QCOMPARE(form().windowTitle(), "Kelvane - " + fresh);
    }
};

QTEST_MAIN(TestCaseDatabases)
#include "tst_CaseDatabases.moc"
