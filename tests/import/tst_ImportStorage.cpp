// Imports on a disk that fills up: every committed transaction stays, the message says the disk is full
// and how many events were kept, whatever came before it, and no second error follows.
#include "FullDiskVfs.h"
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "store/TMainDataModule.h"
#include "store/TQuery.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace kelvane;

namespace {

// A log of process terminations with a WMI binding event (which always fails) first, if asked.
QString writeLog(const QString& path, int events, bool bindingFirst) {
    SysmonLogBuilder log;
    if (bindingFirst)
        log.event(21, {{"UtcTime", "2024-01-01 00:00:00.000"}, {"Operation", "Created"}});
    for (int i = log.text().count("<Event>"); i < events; ++i)
        log.event(5, {{"UtcTime", QString("2024-01-01 00:%1:%2.000")
                                      .arg(i / 60 % 60, 2, 10, QChar('0'))
                                      .arg(i % 60, 2, 10, QChar('0'))},
                      {"ProcessGuid", QString("{%1}").arg(i)},
                      {"ProcessId", QString::number(i)},
                      {"Image", QString("C:\\Windows\\System32\\prog%1.exe").arg(i % 97)}});
    log.write(path);
    return path;
}

qint64 count(TMainDataModule& data, const char* sql) {
    TQuery q("count", sql);
    q.open(data.connection());
    return q.value(0).toLongLong();
}

} // namespace

class TestImportStorage : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log;
    QString m_logWithBinding;
    qint64 m_emptySize = 0;    // a new database with its version row
    qint64 m_oneBatchSize = 0; // the same with the first batch of events
    int m_counter = 0;

    struct Outcome {
        int result;
        QString label;
        QStringList errors;
        qint64 events; // rows in AllEvents once the file is opened again
        qint64 versions;
    };
    Outcome import(const QString& log, qint64 capacity) {
        const QString db = m_dir.filePath(QString("db%1").arg(++m_counter));
        Outcome outcome{};
        {
            std::unique_ptr<FullDiskVfs> disk;
            if (capacity > 0)
                disk = std::make_unique<FullDiskVfs>(capacity);
            TMainDataModule data;
            data.setDatabasePath(db);
            data.OpenDatabase();
            TImportController import(data, "EMPTY", false);
            import.FileName = log;
            import.ButtonImportClick();
            import.waitForEnd();
            outcome.result = import.report().modalResult();
            outcome.label = import.report().labelMessage();
            outcome.errors = import.report().errorMessage();
        }
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        outcome.events = count(data, "SELECT COUNT(*) FROM AllEvents");
        outcome.versions = count(data, "SELECT COUNT(*) FROM KelvaneVersion");
        return outcome;
    }

private slots:
    void initTestCase() {
        m_log = writeLog(m_dir.filePath("log.xml"), 2 * TImportTask::kBatchSize + 5000, false);
        m_logWithBinding = writeLog(m_dir.filePath("binding.xml"), 2 * TImportTask::kBatchSize + 5000, true);
        QCOMPARE(import(writeLog(m_dir.filePath("empty.xml"), 0, false), 0).versions, 1);
        m_emptySize = QFileInfo(m_dir.filePath(QString("db%1").arg(m_counter))).size();
        QCOMPARE(import(writeLog(m_dir.filePath("batch.xml"), TImportTask::kBatchSize, false), 0).events,
                 TImportTask::kBatchSize);
        m_oneBatchSize = QFileInfo(m_dir.filePath(QString("db%1").arg(m_counter))).size();
    }

    // Across the commits between batches nothing is lost.
    void roomEnough() {
        const Outcome outcome = import(m_log, 0);
        QCOMPARE(outcome.result, 1);
        QCOMPARE(outcome.label, QString("Done! Imported 45000 Events"));
        QCOMPARE(outcome.events, 45000);
    }

    void diskFull_data() {
        QTest::addColumn<bool>("bindingFirst");
        QTest::addColumn<int>("room"); // in batches of events
        QTest::addColumn<int>("kept");
        QTest::addColumn<QString>("label");
        const QString full = "The database could not be written: database or disk is full. %1 events were "
                             "kept in it and can be loaded.";
        QTest::newRow("second batch does not fit") << false << 1 << 20000 << full.arg(20000);
        QTest::newRow("first batch does not fit") << false << 0 << 0 << full.arg(0);
        QTest::newRow("after a failed event")
            << true << 1 << 20000 << "Error: WmibindingTable: Field 'Computer' not found\n" + full.arg(20000);
    }
    void diskFull() {
        QFETCH(bool, bindingFirst);
        QFETCH(int, room);
        QFETCH(int, kept);
        QFETCH(QString, label);
        // Room for the batches asked for, and a little more, but never for one more batch.
        const qint64 capacity = (room ? m_oneBatchSize : m_emptySize) + (m_oneBatchSize - m_emptySize) / 3;
        const Outcome outcome = import(bindingFirst ? m_logWithBinding : m_log, capacity);
        QCOMPARE(outcome.result, 3);
        QCOMPARE(outcome.label, label);
        // The committed rows stay, with the version row, and the file opens.
        QCOMPARE(outcome.events, kept);
        QCOMPARE(outcome.versions, 1);
        // One failure, told once.
        QCOMPARE(outcome.errors.filter("database or disk is full").size(), 1);
        QCOMPARE(outcome.errors.filter("transaction").size(), 0);
    }

    // A commit that fails leaves the batch open until it is rolled back; the file keeps what it had.
    void failedCommit() {
        const QString db = m_dir.filePath("commit.db");
        FullDiskVfs disk(1 << 30);
        TMainDataModule data;
        data.setDatabasePath(db);
        data.BuildDatabaseStructure();
        data.OpenDatabaseAndTables();
        disk.setCapacity(QFileInfo(db).size());
        data.beginBatch();
        TTableDataset& version = data.dataset("KelvaneversionTable");
        for (int i = 0; i < 20000; ++i) {
            version.append();
            version.setText("SVersion", "a version text long enough to need pages of its own");
            version.post();
        }
        try {
            data.commitBatch();
            QFAIL("the commit should have failed");
        } catch (const sql::Error& e) {
            QCOMPARE(e.code() & 0xFF, SQLITE_FULL);
        }
        QVERIFY(data.inBatch());
        data.rollbackBatch();
        QVERIFY(!data.inBatch());
        disk.setCapacity(1 << 30);
        QCOMPARE(count(data, "SELECT COUNT(*) FROM KelvaneVersion"), 0);
    }
};

QTEST_GUILESS_MAIN(TestImportStorage)
#include "tst_ImportStorage.moc"
