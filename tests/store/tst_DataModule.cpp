#include "store/Schema.h"
#include "store/TMainDataModule.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

namespace {

// Runs one SQL query on the module's connection and gives the first column of the first row.
QVariant scalar(TMainDataModule& data, const QString& sql) {
    TQuery q("probe", sql.toStdString());
    q.open(data.connection());
    return q.value(0);
}

} // namespace

class TestDataModule : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_counter = 0;
    QString newPath() { return m_dir.filePath(QString("db%1").arg(++m_counter)); }
    // A fresh database with every table.
    std::unique_ptr<TMainDataModule> database() {
        auto data = std::make_unique<TMainDataModule>();
        data->setDatabasePath(newPath());
        data->BuildDatabaseStructure();
        return data;
    }

private slots:
    void freshDatabaseHasEveryTable() {
        TMainDataModule data;
        data.setDatabasePath(newPath());
        QVERIFY(!data.HasDatabaseConnection());
        data.OpenDatabase();
        QVERIFY(data.HasDatabaseConnection());
        QCOMPARE(data.GetTableCount(), 0);
        QVERIFY(!data.HasImportedData()); // no tables: the union is not run
        data.BuildDatabaseStructure();
        QCOMPARE(data.GetTableCount(), schema::kTableCount);
        QVERIFY(data.TablesExist());
        QVERIFY(!data.HasImportedData());
        // The script fails on a database that already has the tables.
        QVERIFY_THROWS_EXCEPTION(sql::Error, data.BuildDatabaseStructure());
    }

    void openAndCloseAreIdempotent() {
        TMainDataModule data;
        data.setDatabasePath(newPath());
        data.CloseDatabase();
        data.OpenDatabase();
        data.OpenDatabase();
        QVERIFY(data.HasDatabaseConnection());
        data.CloseDatabaseAndTables();
        data.CloseDatabase();
        QVERIFY(!data.HasDatabaseConnection());
    }

    // A batch that cannot be committed at closing is reported, and the connection goes all the same.
    void closingReportsAFailedCommit() {
        TMainDataModule data;
        data.setDatabasePath(newPath());
        data.OpenDatabase();
        // A deferred foreign key fails the COMMIT itself, not the INSERT before it.
        data.connection().exec(
            "PRAGMA foreign_keys = ON;"
            "CREATE TABLE Parent(Id INTEGER PRIMARY KEY);"
            "CREATE TABLE Child(ParentId REFERENCES Parent(Id) DEFERRABLE INITIALLY DEFERRED);");
        data.beginBatch();
        data.connection().exec("INSERT INTO Child VALUES (7)");
        try {
            data.CloseDatabase();
            QFAIL("closing hid the failed commit");
        } catch (const sql::Error& e) {
            QVERIFY2(QString(e.what()).contains("FOREIGN KEY"), e.what());
        }
        QVERIFY(!data.HasDatabaseConnection());
        QVERIFY(!data.inBatch());
        data.CloseDatabase(); // nothing left to fail
    }

    void hasImportedData_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<bool>("expected");
        QTest::newRow("process create row") << "INSERT INTO ProcessCreate (FID) VALUES (1)" << true;
        QTest::newRow("wmi binding row") << "INSERT INTO WMIBinding (FID) VALUES (1)" << true;
        QTest::newRow("dns queries only") << "INSERT INTO DNSQuery (FID) VALUES (1)" << false;
        QTest::newRow("master row only") << "INSERT INTO AllEvents (CorrelationGuid) VALUES ('x')" << false;
        QTest::newRow("one table more")
            << "INSERT INTO ProcessCreate (FID) VALUES (1); CREATE TABLE Extra (a)" << false;
        QTest::newRow("one table less")
            << "INSERT INTO ProcessCreate (FID) VALUES (1); DROP TABLE AllPorts" << false;
    }

    void hasImportedData() {
        QFETCH(QString, setup);
        QFETCH(bool, expected);
        auto built = database();
        TMainDataModule& data = *built;
        data.connection().exec(setup.toStdString());
        QCOMPARE(data.HasImportedData(), expected);
    }

    void deleteAllEmptiesButKeysKeepRising() {
        auto built = database();
        TMainDataModule& data = *built;
        data.OpenDatabaseAndTables();
        TTableDataset& master = data.dataset("AlleventsTable");
        for (int i = 0; i < 3; ++i) {
            master.append();
            master.setText("CorrelationGuid", "g");
            master.post();
        }
        QCOMPARE(master.lastKey(), 3);
        data.DeleteAll();
        QCOMPARE(scalar(data, "SELECT COUNT(*) FROM AllEvents").toInt(), 0);
        QCOMPARE(data.GetTableCount(), schema::kTableCount);
        master.append();
        master.setText("CorrelationGuid", "g");
        master.post();
        QCOMPARE(master.lastKey(), 4);
        QCOMPARE(master.integer("GID"), 4);
    }

    void unassignedColumnsTakeTheirDefaults() {
        auto built = database();
        TMainDataModule& data = *built;
        data.OpenDatabaseAndTables();
        TTableDataset& net = data.dataset("NetworkconnectiondetectedTable");
        net.append();
        net.setInteger("FID", 1);
        net.post();
        TQuery q(
            "row",
            "SELECT SourceIp, DestinationCountry, EventType, EventTypeName FROM NetworkConnectionDetected");
        q.open(data.connection());
        QCOMPARE(q.text(0), QString("0.0.0.0"));
        QCOMPARE(q.text(1), QString("n/a"));
        QCOMPARE(q.value(2).toInt(), 3);
        QCOMPARE(q.text(3), QString("Network Connection Detected"));
        TTableDataset& hashes = data.dataset("AllhashesTable");
        hashes.append();
        hashes.setInteger("FID", 1);
        hashes.setText("SHA1", "abc");
        hashes.post();
        QCOMPARE(
            scalar(data, "SELECT ReportedByVT || '|' || MD5 || '|' || SHA1 || '|' || SHA256 FROM AllHashes")
                .toString(),
            QString("Never asked|nohash|abc|nohash"));
    }

    void textsAreCutToTheFieldWidth_data() {
        QTest::addColumn<QString>("dataset");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("stored");
        const auto row = [](const char* tag, const char* dataset, const char* field, const QString& value,
                            const QString& stored) {
            QTest::newRow(tag) << dataset << field << value << stored;
        };
        const QString longPath = "C:\\" + QString(297, 'a');
        row("image 300 -> 256", "ProcesscreateTable", "Image", longPath, longPath.left(256));
        row("ipv6 address -> 15", "AllipaddressesTable", "IPAddress", "fe80::1c2d:3e4f:5a6b:7c8d",
            "fe80::1c2d:3e4f");
        row("source ip keeps 40", "NetworkconnectiondetectedTable", "SourceIp", "fe80::1c2d:3e4f:5a6b:7c8d",
            "fe80::1c2d:3e4f:5a6b:7c8d");
        row("multi-byte counts characters", "AllportsTable", "Port", "äöüßéèx", "äöüßéè");
        row("astral counts two units", "AllportsTable", "Port", "ab😀cde", "ab😀cd");
        row("astral not split", "AllportsTable", "Port", "abcde😀", "abcde");
        row("default width 20", "AllportsTable", "PortName", QString(25, 'p'), QString(20, 'p'));
    }

    void textsAreCutToTheFieldWidth() {
        QFETCH(QString, dataset);
        QFETCH(QString, field);
        QFETCH(QString, value);
        QFETCH(QString, stored);
        auto built = database();
        TMainDataModule& data = *built;
        data.OpenDatabaseAndTables();
        TTableDataset& ds = data.dataset(dataset);
        ds.append();
        ds.setInteger("FID", 7);
        ds.setText(field.toStdString(), value.toStdString());
        ds.post();
        const QString table = ds.table().name;
        QCOMPARE(scalar(data, QString("SELECT %1 FROM %2").arg(field, table)).toString(), stored);
    }

    void datasetFailures_data() {
        QTest::addColumn<QString>("dataset");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* tag, const char* dataset, const char* field, const char* message) {
            QTest::newRow(tag) << dataset << field << message;
        };
        row("binding has no computer field", "WmibindingTable", "Computer",
            "WmibindingTable: Field 'Computer' not found");
        row("master has no original file name", "AlleventsTable", "OriginalFileName",
            "AlleventsTable: Field 'OriginalFileName' not found");
        row("key is read-only", "AlleventsTable", "GID", "AlleventsTable: Field 'GID' cannot be modified");
    }

    void datasetFailures() {
        QFETCH(QString, dataset);
        QFETCH(QString, field);
        QFETCH(QString, message);
        auto built = database();
        TMainDataModule& data = *built;
        data.OpenDatabaseAndTables();
        TTableDataset& ds = data.dataset(dataset);
        ds.append();
        try {
            ds.setText(field.toStdString(), "x");
            QFAIL("no failure");
        } catch (const DatasetError& e) {
            QCOMPARE(QString(e.what()), message);
        }
    }

    void pendingRowIsPostedByTheNextAppend() {
        auto built = database();
        TMainDataModule& data = *built;
        data.OpenDatabaseAndTables();
        TTableDataset& binding = data.dataset("WmibindingTable");
        binding.append();
        binding.setText("Operation", "Created");
        binding.setInteger("FID", 5);
        QVERIFY(binding.hasPendingRow());
        QCOMPARE(scalar(data, "SELECT COUNT(*) FROM WMIBinding").toInt(), 0);
        binding.append(); // posts the pending row
        binding.setText("Operation", "Deleted");
        binding.setInteger("FID", 6);
        binding.post();
        QCOMPARE(scalar(data, "SELECT group_concat(Operation || FID, ',') FROM WMIBinding").toString(),
                 QString("Created5,Deleted6"));
        // A pending row without its required key fails at every later append.
        binding.append();
        binding.setText("Operation", "Half");
        QVERIFY_THROWS_EXCEPTION(DatasetError, binding.append());
        QVERIFY_THROWS_EXCEPTION(DatasetError, binding.append());
        // Closing drops the pending row.
        data.CloseDatabaseAndTables();
        data.OpenDatabaseAndTables();
        QCOMPARE(scalar(data, "SELECT COUNT(*) FROM WMIBinding").toInt(), 2);
    }

    void namedQueries() {
        auto built = database();
        TMainDataModule& data = *built;
        data.connection().exec(
            "INSERT INTO AllEvents (UtcTime, EventType, CorrelationGuid) VALUES "
            "('2024-01-01 10:00:00.002', 1, '{abc}'), ('2024-01-01 10:00:00.001', 3, '{ABC}'), "
            "('2024-01-01 10:00:00.000', 5, '{other}');"
            "INSERT INTO ProcessCreate (FID, ProcessId, Image) VALUES (1, 4242, 'C:\\x\\cmd.exe');"
            "INSERT INTO NetworkConnectionDetected (FID, DestinationIp) VALUES (2, '8.8.8.8');"
            "INSERT INTO KelvaneVersion VALUES ('3.1');");
        TQuery& events = data.query("FDQueryGetSessionEvents");
        events.setParam("ProcessGuid", "{Abc}");
        events.open(data.connection());
        QList<int> types;
        for (; !events.eof(); events.next())
            types << events.value("EventType").toInt();
        QCOMPARE(types, (QList<int>{3, 1}));
        TQuery& count = data.query("FDQueryGetSessionEventsCount");
        count.setParam("ProcessGuid", "{ABC}");
        count.open(data.connection());
        QCOMPARE(count.value("TOTAL_COUNT").toInt(), 2);
        QCOMPARE(data.GetDatabaseVersion(), QString("3.1"));

        TQuery& search = data.query("FDQueryAllAllEvents");
        const auto find = [&](const QString& term) {
            search.setParam("TermParam", term);
            search.open(data.connection());
            QList<int> gids;
            for (; !search.eof(); search.next())
                gids << search.value("GID").toInt();
            return gids;
        };
        QCOMPARE(find("4242"), QList<int>{1});  // a numeric column, cast to text
        QCOMPARE(find("8.8.8"), QList<int>{2}); // another table of the union
        QCOMPARE(find(""), (QList<int>{1, 2})); // every event with a non-null searched column
        QCOMPARE(find("nothing"), QList<int>{});
    }
};

QTEST_GUILESS_MAIN(TestDataModule)
#include "tst_DataModule.moc"
