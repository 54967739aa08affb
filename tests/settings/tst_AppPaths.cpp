#include "settings/AppPaths.h"
#include "settings/RecentDatabases.h"
#include "settings/TSharedResourcesModule.h"

#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

// Where the database and the shipped data are found, and the recent list of databases.
class TestAppPaths : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void databaseLocation_data() {
        QTest::addColumn<QString>("programFolder");
        QTest::addColumn<bool>("besideProgram");
        const QString build = m_dir.filePath("build/bin");
        const QString installed = m_dir.filePath("prefix/bin");
        QDir().mkpath(build);
        QDir().mkpath(installed);
        QDir().mkpath(m_dir.filePath("prefix/share/kelvane"));
        QTest::newRow("writable build folder") << build << true;
        // Writable here, but a bin/ folder shared with other programs is no place for a case.
        QTest::newRow("installed tree") << installed << false;
        // Read-only for every user, root included.
        QTest::newRow("read-only folder") << QString("/proc") << false;
        QTest::newRow("missing folder") << m_dir.filePath("gone") << false;
    }
    void databaseLocation() {
        QFETCH(QString, programFolder);
        QFETCH(bool, besideProgram);
        const QString path = paths::defaultDatabasePath(programFolder);
        QCOMPARE(QFileInfo(path).fileName(), QString("KelvaneDB"));
        const QString expectedFolder = besideProgram ? programFolder : paths::userDataFolder();
        QCOMPARE(QFileInfo(path).absolutePath(), QDir(expectedFolder).absolutePath());
        // The folder must be there for the database to be created in it.
        QVERIFY(QFileInfo(QFileInfo(path).absolutePath()).isDir());
    }

    void userFolderIsPerUser() {
        const QString folder = paths::userDataFolder();
        QVERIFY(folder.startsWith(QDir::homePath()));
        QVERIFY(folder.contains("Kelvane"));
    }

    void dataFolder() {
        QDir().mkpath(m_dir.filePath("prefix/bin"));
        QDir().mkpath(m_dir.filePath("prefix/share/kelvane"));
        QCOMPARE(paths::dataFolder(m_dir.filePath("prefix/bin")), m_dir.filePath("prefix/share/kelvane"));
        // From a build folder: the source tree's data, or nothing when it has none.
        const QString fromBuild = paths::dataFolder(m_dir.filePath("build/bin"));
        QVERIFY(fromBuild.isEmpty() || fromBuild.endsWith("/third_party"));
    }

    void recentList_data() {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QString>("opened");
        QTest::addColumn<QStringList>("after");
        QTest::newRow("first") << QStringList() << "/c/a.db" << QStringList{"/c/a.db"};
        QTest::newRow("newest first")
            << QStringList{"/c/a.db"} << "/c/b.db" << QStringList{"/c/b.db", "/c/a.db"};
        QTest::newRow("opened again moves up") << QStringList{"/c/a.db", "/c/b.db", "/c/c.db"} << "/c/b.db"
                                               << QStringList{"/c/b.db", "/c/a.db", "/c/c.db"};
        QTest::newRow("one entry per file")
            << QStringList{"/c/a.db"} << "/c/x/../a.db" << QStringList{"/c/a.db"};
        QStringList ten, expected{"/c/new.db"};
        for (int i = 0; i < 10; ++i)
            ten << QString("/c/%1.db").arg(i);
        expected << ten.mid(0, 9);
        QTest::newRow("ten at most") << ten << "/c/new.db" << expected;
    }
    void recentList() {
        QFETCH(QStringList, before);
        QFETCH(QString, opened);
        QFETCH(QStringList, after);
        QCOMPARE(RecentDatabases::withOpened(before, opened), after);
    }

    void recentListIsKeptInTheSettings() {
        const QString store = m_dir.filePath("recent.ini");
        {
            TSharedResourcesModule settings(store);
            RecentDatabases recent(settings);
            recent.add("/cases/one.db");
            recent.add("/cases/two.db");
            recent.remove("/cases/one.db");
            recent.add("/cases/three.db");
        }
        TSharedResourcesModule settings(store);
        QCOMPARE(RecentDatabases(settings).list(), (QStringList{"/cases/three.db", "/cases/two.db"}));
        // The four settings are untouched by it.
        QCOMPARE(settings.VirusTotalKey(), QString("EMPTY"));
    }
};

QTEST_GUILESS_MAIN(TestAppPaths)
#include "tst_AppPaths.moc"
