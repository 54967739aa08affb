#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "store/CaseFiles.h"
#include "store/Schema.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

namespace {

SysmonLogBuilder::Items items(const QString& guid, int second, const QString& image = "C:\\Tools\\tool.exe") {
    return {{"RuleName", "-"},
            {"UtcTime", QString("2024-05-01 10:00:%1.000").arg(second, 2, 10, QChar('0'))},
            {"ProcessGuid", guid},
            {"ProcessId", "100"},
            {"Image", image},
            {"Hashes", "SHA1=AB,MD5=CD"},
            {"DestinationIp", "8.8.8.8"},
            {"SourceIp", "10.0.0.1"},
            {"ParentProcessGuid", "{P}"},
            {"ParentImage", "C:\\Windows\\explorer.exe"}};
}

struct Event {
    int type;
    qint64 recordId;
    QString computer;
    int second;
    QString guid;
};

QByteArray log(const QList<Event>& events) {
    SysmonLogBuilder builder;
    for (const Event& e : events)
        builder.event(e.type, e.recordId, items(e.guid, e.second), e.computer);
    return builder.utf8();
}

// Every row of every Kelvane table: what a database of events holds.
QStringList contents(const QString& path) {
    sql::Database db(path.toStdString());
    QStringList out;
    for (const char* table : schema::writeDatasetOrder()) {
        // Rows carry their keys (GID, FID), so sorted texts compare order too.
        auto stmt = db.prepare(std::string("SELECT * FROM ") + table);
        QStringList rows;
        while (stmt.step()) {
            QString row = table;
            for (int i = 0; i < stmt.columnCount(); ++i)
                row += '|' + (stmt.isNull(i) ? QString("<null>") : QString::fromUtf8(stmt.columnText(i)));
            rows << row;
        }
        rows.sort();
        out << rows;
    }
    return out;
}

} // namespace

Q_DECLARE_METATYPE(QList<Event>)

// Many logs in one case: appending, duplicates, folders, and the table of the files imported.
class TestCaseImport : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;

    QString write(const QByteArray& bytes, const QString& name = QString()) {
        const QString path = m_dir.filePath(name.isEmpty() ? QString("log%1.xml").arg(++m_counter) : name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return path;
    }

    // Imports the logs into the database at db (appending when asked); gives the events count reported.
    qint64 import(const QString& db, const QStringList& logs, bool append = false) {
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        TImportController controller(data, QString(), false);
        controller.FileNames = TImportController::logsUnder(logs);
        controller.setAppend(append);
        controller.ButtonImportClick();
        controller.waitForEnd();
        return controller.FEventsCount();
    }

    std::vector<casefiles::ImportedFile> files(const QString& db) {
        sql::Database connection(db.toStdString());
        return casefiles::readFiles(connection);
    }

private slots:
    // Appending equals one import of the logs concatenated, less the events the case holds already.
    void appendEqualsOneImportOfAll_data() {
        QTest::addColumn<QList<Event>>("first");
        QTest::addColumn<QList<Event>>("second");
        QTest::addColumn<QList<Event>>("secondWithoutDuplicates");
        const QList<Event> first = {
            {1, 10, "WS-01", 1, "{G1}"}, {3, 11, "WS-01", 2, "{G1}"}, {5, 12, "WS-01", 3, "{G1}"}};
        QTest::newRow("another machine")
            << first << QList<Event>{{1, 10, "WS-02", 1, "{G2}"}, {3, 11, "WS-02", 4, "{G2}"}}
            << QList<Event>{{1, 10, "WS-02", 1, "{G2}"}, {3, 11, "WS-02", 4, "{G2}"}};
        // Same computer and record id, another time: another event (a log that was cleared and refilled).
        QTest::newRow("overlapping export")
            << first
            << QList<Event>{{3, 11, "WS-01", 2, "{G1}"},
                            {5, 12, "WS-01", 3, "{G1}"},
                            {5, 13, "WS-01", 9, "{G1}"},
                            {11, 10, "WS-01", 30, "{G3}"}}
            << QList<Event>{{5, 13, "WS-01", 9, "{G1}"}, {11, 10, "WS-01", 30, "{G3}"}};
        QTest::newRow("the same log twice") << first << first << QList<Event>{};
    }
    void appendEqualsOneImportOfAll() {
        QFETCH(QList<Event>, first);
        QFETCH(QList<Event>, second);
        QFETCH(QList<Event>, secondWithoutDuplicates);
        const QString tag = QTest::currentDataTag();
        const QString caseDb = m_dir.filePath(tag + ".case.db");
        const QString secondLog = write(log(second));
        QCOMPARE(import(caseDb, {write(log(first))}), qint64(first.size()));
        QCOMPARE(import(caseDb, {secondLog}, true), qint64(second.size()));

        const QString oneDb = m_dir.filePath(tag + ".one.db");
        import(oneDb, {write(log(first + secondWithoutDuplicates))});
        QCOMPARE(contents(caseDb), contents(oneDb));

        const auto caseFiles = files(caseDb);
        QCOMPARE(int(caseFiles.size()), 2);
        QCOMPARE(caseFiles[1].path, secondLog);
        QCOMPARE(caseFiles[1].eventsTaken, qint64(secondWithoutDuplicates.size()));
        const qint64 duplicates = second.size() - secondWithoutDuplicates.size();
        QCOMPARE(caseFiles[1].eventsSkipped, duplicates);
        QCOMPARE(caseFiles[1].reason,
                 duplicates ? QString("%1 already in the case").arg(duplicates) : QString());
    }

    // A folder of a machine's exports: .evtx and .xml found at any depth, other files left alone, a log
    // without Sysmon events listed and passed over, the same events as .evtx and as XML stored once.
    void folderOfLogs() {
        const QString folder = m_dir.filePath("collected");
        EvtxLogBuilder evtx;
        evtx.event(1,
                   {{"UtcTime", EvtxLogBuilder::string("2024-05-01 10:00:01.000")},
                    {"ProcessGuid", EvtxLogBuilder::guid("{5770385F-C22A-43E0-BF4C-06F5698FFBD9}")},
                    {"Image", EvtxLogBuilder::string("C:\\a.exe")}},
                   "HOST-A");
        QDir().mkpath(folder + "/HOST-A");
        QVERIFY(evtx.write(folder + "/HOST-A/Sysmon.evtx"));
        const QString xml = write(log({{1, 1, "HOST-B", 5, "{B}"}, {3, 2, "HOST-B", 6, "{B}"}}),
                                  "collected/HOST-B/export.xml");
        write("<Events><Event><System><EventID>4624</EventID><Channel>Security</Channel></System></Event></"
              "Events>",
              "collected/security.XML");
        write("not a log", "collected/notes.txt");
        // The .evtx file again, as another machine's copy.
        QVERIFY(QFile::copy(folder + "/HOST-A/Sysmon.evtx", folder + "/z-copy.evtx"));

        const QStringList logs = TImportController::logsUnder({folder});
        QCOMPARE(logs, (QStringList{folder + "/HOST-A/Sysmon.evtx", folder + "/HOST-B/export.xml",
                                    folder + "/security.XML", folder + "/z-copy.evtx"}));
        const QString db = m_dir.filePath("folder.db");
        QCOMPARE(import(db, {folder}), qint64(1 + 2 + 1 + 1));

        const auto caseFiles = files(db);
        QStringList summary;
        for (const auto& f : caseFiles)
            summary << QString("%1 %2 %3 %4")
                           .arg(QFileInfo(f.path).fileName())
                           .arg(f.eventsTaken)
                           .arg(f.eventsSkipped)
                           .arg(f.reason);
        QCOMPARE(summary, (QStringList{"Sysmon.evtx 1 0 ", "export.xml 2 0 ",
                                       "security.XML 0 1 1 not stored (event types not kept, or failed)",
                                       "z-copy.evtx 0 1 1 already in the case"}));
        QCOMPARE(caseFiles[1].size, QFileInfo(xml).size());
        QCOMPARE(caseFiles[1].sha256, casefiles::sha256(xml));
        QCOMPARE(caseFiles[1].sha256.size(), 64);
        QVERIFY(qAbs(caseFiles[1].importedAt.secsTo(QDateTime::currentDateTimeUtc())) < 120);

        // Still one Kelvane database to every reader.
        TMainDataModule data;
        data.setDatabasePath(db);
        QVERIFY(data.HasImportedData());
    }

    void unreadableLogOfSeveralIsPassedOver() {
        const QString good = write(log({{1, 1, "WS-01", 1, "{G}"}}));
        const QString gone = m_dir.filePath("gone.evtx");
        const QString db = m_dir.filePath("unreadable.db");
        import(db, {gone, good});
        const auto caseFiles = files(db);
        QCOMPARE(int(caseFiles.size()), 2);
        QVERIFY(caseFiles[0].reason.startsWith("not read: "));
        QCOMPARE(caseFiles[1].eventsTaken, qint64(1));
    }
};

QTEST_GUILESS_MAIN(TestCaseImport)
#include "tst_CaseImport.moc"
