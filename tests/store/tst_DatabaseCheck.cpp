// Opening a database says what is wrong with it (in use elsewhere, damaged, of another version) and never
// changes a file that it only meant to read.
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "store/DatabaseCheck.h"
#include "store/QueryCommands.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

void run(const QString& path, const char* sql) {
    sql::Database db(path.toStdString());
    db.exec(sql);
}

} // namespace

class TestDatabaseCheck : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_reference; // a database as an import leaves it
    int m_counter = 0;

    // A copy of the reference database, changed as the row asks.
    QString prepared(const QString& change) {
        const QString path = m_dir.filePath(QString("KelvaneDB%1").arg(++m_counter));
        const QByteArray reference = contents(m_reference);
        if (change == "missing")
            return path;
        if (change == "empty")
            overwrite(path, {});
        else if (change == "text")
            overwrite(path, "<Events><Event/></Events>\n");
        else if (change == "cut")
            overwrite(path, reference.left(reference.size() / 2));
        else if (change == "schema overwritten")
            overwrite(path, reference.left(3000) + QByteArray(1096, '\xA5') + reference.mid(4096));
        else
            overwrite(path, reference);
        if (change == "foreign")
            run(path, "DROP TABLE AllEvents; DROP TABLE KelvaneVersion");
        else if (change == "older schema")
            run(path, "ALTER TABLE ProcessCreate DROP COLUMN RuleName");
        else if (change == "other version")
            run(path, "UPDATE KelvaneVersion SET SVersion = '2.0'");
        else if (change == "no version")
            run(path, "DELETE FROM KelvaneVersion");
        return path;
    }

private slots:
    void initTestCase() {
        const QString log = m_dir.filePath("log.xml");
        SysmonLogBuilder()
            .event(1,
                   {{"UtcTime", "2024-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}, {"Image", "C:\\a.exe"}})
            .event(5,
                   {{"UtcTime", "2024-01-01 00:00:01.000"}, {"ProcessGuid", "{P}"}, {"Image", "C:\\a.exe"}})
            .write(log);
        m_reference = m_dir.filePath("reference");
        TMainDataModule data;
        data.setDatabasePath(m_reference);
        data.OpenDatabase();
        TImportController import(data, "EMPTY", false);
        import.FileName = log;
        import.ButtonImportClick();
        import.waitForEnd();
        QCOMPARE(import.report().modalResult(), 1);
    }

    void states_data() {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("says");
        QTest::newRow("intact") << "" << int(DatabaseCheck::Usable) << "";
        QTest::newRow("missing") << "missing" << int(DatabaseCheck::Missing) << "There is no database file.";
        QTest::newRow("empty file") << "empty" << int(DatabaseCheck::Empty)
                                    << "There are no data to be loaded, import logs first!";
        QTest::newRow("no version row") << "no version" << int(DatabaseCheck::Empty)
                                        << "There are no data to be loaded, import logs first!";
        QTest::newRow("not SQLite") << "text" << int(DatabaseCheck::NotKelvane)
                                    << "The file is not a Kelvane database.";
        QTest::newRow("another program's database")
            << "foreign" << int(DatabaseCheck::NotKelvane) << "The file is not a Kelvane database.";
        QTest::newRow("cut in half") << "cut" << int(DatabaseCheck::Damaged)
                                     << "The database is damaged (the file is cut short: ";
        QTest::newRow("schema overwritten")
            << "schema overwritten" << int(DatabaseCheck::Damaged) << "The database is damaged (";
        QTest::newRow("older schema")
            << "older schema" << int(DatabaseCheck::OtherVersion)
            << "The database was made by another version of Kelvane (its table ProcessCreate has no column "
               "RuleName). Import the logs again.";
        QTest::newRow("other version row")
            << "other version" << int(DatabaseCheck::OtherVersion)
            << "The database was made by another version of Kelvane (version 2.0). Import the logs again.";
    }
    void states() {
        QFETCH(QString, change);
        QFETCH(int, state);
        QFETCH(QString, says);
        const QString path = prepared(change);
        const QByteArray before = contents(path);
        const DatabaseCheck check = checkKelvaneDatabase(path);
        QVERIFY2(int(check.state) == state, qPrintable(check.message()));
        QCOMPARE(check.message().left(says.size()), says);
        // Only read: the file is as it was, and nothing was made beside it.
        QCOMPARE(QFile::exists(path), change != "missing");
        QCOMPARE(contents(path), before);
        QVERIFY(!QFile::exists(path + "-journal"));
    }

    // Another program writing to the file holds it: the check waits a little, then says so.
    void inUse() {
        const QString path = prepared("");
        sql::Database other(path.toStdString());
        other.exec("BEGIN EXCLUSIVE");
        const DatabaseCheck check = checkKelvaneDatabase(path, 50);
        QCOMPARE(int(check.state), int(DatabaseCheck::InUse));
        QVERIFY(check.message().startsWith("The database is in use by another program ("));
        other.exec("ROLLBACK");
        QVERIFY(checkKelvaneDatabase(path).usable());
    }

    // The queries of kelvane-query open the file read-only: a database of another version is refused with
    // its reason, a usable one opens and cannot be written through.
    void queriesOnlyRead() {
        TMainDataModule data;
        const QString older = prepared("older schema");
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, openKelvaneDatabase(data, older));
        try {
            openKelvaneDatabase(data, older);
        } catch (const std::runtime_error& e) {
            QVERIFY(QString(e.what()).endsWith("made by another version of Kelvane (its table ProcessCreate "
                                               "has no column RuleName). Import the logs again."));
        }
        const QString usable = prepared("");
        openKelvaneDatabase(data, usable);
        QVERIFY_THROWS_EXCEPTION(sql::Error, data.connection().exec("DELETE FROM AllEvents"));
    }
};

QTEST_GUILESS_MAIN(TestDatabaseCheck)
#include "tst_DatabaseCheck.moc"
