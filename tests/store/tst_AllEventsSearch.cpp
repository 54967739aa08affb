#include "store/AllEventsGridDescription.h"
#include "store/AllEventsIndex.h"
#include "store/AllEventsLayout.h"
#include "store/AllEventsSearch.h"
#include "store/AllEventsSearchTask.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

namespace {

const char* const kPopulate = R"(
INSERT INTO AllEvents (GID, UtcTime, EventType, EventTypeName, CorrelationGuid, Computer, RuleName) VALUES
 (1, '2024-01-01 10:00:05.000', 1, 'Process Create', '{P1}', 'WS-01', '-'),
 (2, '2024-01-01 10:00:01.000', 3, 'Network Connection Detected', '{P1}', 'WS-01', NULL),
 (3, '2024-01-01 10:00:03.000', 1, 'Process Create', '{C1}', 'WS-02', '-'),
 (4, '2024-01-01 10:00:01.000', 10, 'Process Accessed', '{S1}', 'WS-01', '-'),
 (5, '2024-01-01 10:00:02.000', 11, 'File Created', '{P1}', NULL, '-'),
 (6, NULL, 19, 'WmiEventFilter activity detected', 'WmiEventFilter', 'WS-02', '-'),
 (7, '2024-01-01 10:00:00.000', 5, 'Process Terminated', '{Q''1}', 'WS-01', '-'),
 (8, '2024-01-01 10:00:09.000', 22, 'Dns query', '{P1}', 'WS-01', '-');
INSERT INTO ProcessCreate (FID, RuleName, ProcessGuid, ProcessId, Image, CommandLine, Hashes, MD5, ParentProcessGuid, ParentProcessId)
 VALUES (1, '-', '{P1}', 1502, 'C:\Tools\tool.exe', 'tool.exe --name O''Brien 100%', 'MD5=AB12,SHA256=FEED', 'md5only', '{ROOT}', 4),
        (3, '-', '{C1}', 77, 'C:\Tools\child.exe', 'child_x', 'SHA1=CAFE', 'nohash', '{P1}', 1502);
INSERT INTO NetworkConnectionDetected (FID, ProcessGuid, ProcessId, Image, DestinationIp, SourcePortName, Initiated)
 VALUES (2, '{P1}', 1502, 'C:\Tools\tool.exe', '8.8.8.8', 'ephemeral-only', 'true');
INSERT INTO ProcessAccessed (FID, SourceProcessGUID, SourceProcessId, TargetProcessGUID, TargetProcessId, GrantedAccess)
 VALUES (4, '{S1}', 9, '{P1}', 1502, 5136);
INSERT INTO FileCreated (FID, ProcessGuid, Image, TargetFilename) VALUES (5, '{P1}', 'C:\Tools\tool.exe', 'C:\temp\Ärger.txt');
INSERT INTO WMIFilter (FID, Operation, Name, Query) VALUES (6, 'Created', 'evil', 'SELECT * FROM __Instance');
INSERT INTO ProcessTerminated (FID) VALUES (7);
INSERT INTO DNSQuery (FID, ProcessGuid, QueryName) VALUES (8, '{P1}', 'example.org'), (99, '{X}', 'example.org');
INSERT INTO KelvaneVersion VALUES ('3.1');
)";

QList<qint64> gidsOf(const std::vector<MasterRow>& rows) {
    QList<qint64> gids;
    for (const MasterRow& row : rows)
        gids << row.gid;
    return gids;
}

} // namespace

class TestAllEventsSearch : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    std::unique_ptr<TMainDataModule> m_data;

    // The view's statement as written, run by SQLite: the reference for every search.
    QList<qint64> statementGids(const QString& term) {
        TQuery& search = m_data->query("FDQueryAllAllEvents");
        search.close();
        search.setParam("TermParam", term);
        search.open(m_data->connection());
        QList<qint64> gids;
        for (; !search.eof(); search.next())
            gids << search.value("GID").toLongLong();
        search.close();
        std::sort(gids.begin(), gids.end());
        return gids;
    }

private slots:
    void initTestCase() {
        m_path = m_dir.filePath("KelvaneDB");
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_path);
        m_data->BuildDatabaseStructure();
        m_data->connection().exec(kPopulate);
    }

    void sameRowsAsTheStatement_data() {
        QTest::addColumn<QString>("term");
        QTest::addColumn<QList<qint64>>("expected");
        QTest::newRow("empty: every event with a searched value") << "" << QList<qint64>{1, 2, 3, 4, 5, 6, 8};
        QTest::newRow("hash inside Hashes") << "feed" << QList<qint64>{1};
        QTest::newRow("MD5 column is not searched") << "md5only" << QList<qint64>{};
        QTest::newRow("process id as text") << "1502" << QList<qint64>{1, 2, 3, 4};
        QTest::newRow("50 finds 1502") << "50" << QList<qint64>{1, 2, 3, 4};
        QTest::newRow("granted access as text") << "5136" << QList<qint64>{4};
        QTest::newRow("parent and target GUID too") << "{P1}" << QList<qint64>{1, 2, 3, 4, 5, 8};
        QTest::newRow("quote is harmless") << "O'Brien" << QList<qint64>{1};
        QTest::newRow("percent is a wildcard") << "100%" << QList<qint64>{1};
        QTest::newRow("underscore is a wildcard") << "child_x" << QList<qint64>{3};
        QTest::newRow("ASCII case ignored") << "TOOL.EXE" << QList<qint64>{1, 2, 5};
        QTest::newRow("only ASCII case is ignored") << "ärger" << QList<qint64>{};
        QTest::newRow("ASCII folded beside other letters") << "ÄRGER.TXT" << QList<qint64>{5};
        QTest::newRow("WMI query") << "__instance" << QList<qint64>{6};
        QTest::newRow("not searched: port name, computer") << "ephemeral" << QList<qint64>{};
        QTest::newRow("key without a master row") << "example.org" << QList<qint64>{8};
        QTest::newRow("nothing") << "no such text" << QList<qint64>{};
    }
    void sameRowsAsTheStatement() {
        QFETCH(QString, term);
        QFETCH(QList<qint64>, expected);
        const QList<qint64> found = gidsOf(searchMasterRows(m_data->connection(), term));
        QCOMPARE(found, expected);
        QCOMPARE(found, statementGids(term));
        // Shared out among two connections, the tables give the same keys.
        sql::Database second(m_path.toStdString());
        sql::Database* readers[] = {&m_data->connection(), &second};
        QCOMPARE(searchEventIds(readers, term), searchEventIds(m_data->connection(), term));
    }

    void masterRowColumns() {
        const auto rows = searchMasterRows(m_data->connection(), "evil");
        QCOMPARE(rows.size(), size_t(1));
        QCOMPARE(rows[0].utcTime, QString());
        QCOMPARE(rows[0].eventType, 19);
        QCOMPARE(rows[0].correlationGuid, QString("WmiEventFilter"));
        QCOMPARE(rows[0].computer, QString("WS-02"));
    }

    void cancelledSearchStops() {
        CancelFlag cancel(true);
        QVERIFY_THROWS_EXCEPTION(SearchCancelled, searchEventIds(m_data->connection(), "", &cancel));
    }

    void partialResultsGrow() {
        std::vector<std::vector<std::int64_t>> steps;
        const auto ids =
            searchEventIds(m_data->connection(), "{P1}", nullptr,
                           [&](const std::vector<std::int64_t>& soFar) { steps.push_back(soFar); });
        QCOMPARE(steps.size(), schema::searchSubSelects().size()); // one a table: none has 100,000 hits
        for (std::size_t i = 1; i < steps.size(); ++i)
            QVERIFY(
                std::includes(steps[i].begin(), steps[i].end(), steps[i - 1].begin(), steps[i - 1].end()));
        QCOMPARE(steps.back(), ids);
    }

    // Groups, counts and orders of the index are those of SQLite over the same rows.
    void groupsAsGroupBy_data() {
        QTest::addColumn<QString>("field");
        for (const char* field : {"EventTypeName", "CorrelationGuid", "Computer", "RuleName"})
            QTest::newRow(field) << field;
    }
    void groupsAsGroupBy() {
        QFETCH(QString, field);
        auto index = AllEventsIndex::read(m_data->connection());
        MasterKey key;
        QVERIFY(masterKeyOfField(field, key));
        const std::vector<int> rows = index->rowsOf({1, 2, 3, 4, 5, 6, 7, 8});
        QStringList groups;
        for (const RowGroup& group : groupRows(*index, rows, key))
            groups << QString("%1=%2").arg(group.text.isNull() ? "<null>" : group.text).arg(group.count);
        sql::Statement stmt = m_data->connection().prepare(
            QString("SELECT %1, COUNT(*) FROM AllEvents GROUP BY %1 ORDER BY %1").arg(field).toStdString());
        QStringList expected;
        while (stmt.step())
            expected << QString("%1=%2")
                            .arg(stmt.isNull(0) ? "<null>"
                                                : QString::fromStdString(std::string(stmt.columnText(0))))
                            .arg(stmt.columnInt64(1));
        QCOMPARE(groups, expected);
    }

    // What the grid shows (groups opened in turn, rows sorted by time) comes in the order of the SQL
    // that the exports are given.
    void descriptionOrder_data() {
        QTest::addColumn<QStringList>("groups");
        QTest::addColumn<int>("sort"); // 0 none, 1 ascending, 2 descending
        QTest::newRow("plain") << QStringList{} << 0;
        QTest::newRow("time ascending") << QStringList{} << 1;
        QTest::newRow("time descending") << QStringList{} << 2;
        QTest::newRow("by type") << QStringList{"EventTypeName"} << 0;
        QTest::newRow("by type, guid, time") << QStringList{"EventTypeName", "CorrelationGuid"} << 1;
        QTest::newRow("by computer, time desc") << QStringList{"Computer"} << 2;
    }
    void descriptionOrder() {
        QFETCH(QStringList, groups);
        QFETCH(int, sort);
        auto index = AllEventsIndex::read(m_data->connection());
        std::vector<int> rows = index->rowsOf(searchEventIds(m_data->connection(), ""));
        if (sort)
            sortRowsByTime(*index, rows, sort == 1);
        std::function<void(const std::vector<int>&, int, QList<qint64>&)> walk =
            [&](const std::vector<int>& members, int level, QList<qint64>& out) {
                if (level == groups.size()) {
                    for (int row : members)
                        out << index->gid(row);
                    return;
                }
                MasterKey key;
                masterKeyOfField(groups[level], key);
                for (const RowGroup& group : groupRows(*index, members, key))
                    walk(rowsOfGroup(*index, members, key, group.key), level + 1, out);
            };
        QList<qint64> shown;
        walk(rows, 0, shown);

        AllEventsGridDescription description = AllEventsGridDescription::initial();
        description.columns.append(AllEventsGridDescription::Column{"GID", "GID"});
        description.groupFields = groups;
        description.sortField = sort ? "UtcTime" : "";
        description.sortAscending = sort == 1;
        sql::Statement stmt = m_data->connection().prepare(description.sql());
        description.bindTerm(stmt);
        QList<qint64> streamed;
        while (stmt.step())
            streamed << stmt.columnInt64(6);
        QCOMPARE(shown, streamed);
    }

    void detailRowsByKey_data() {
        QTest::addColumn<QString>("table");
        QTest::addColumn<qint64>("fid");
        QTest::addColumn<int>("rows");
        QTest::newRow("one row") << "ProcessCreate" << qint64(3) << 1;
        QTest::newRow("other table's key") << "ProcessCreate" << qint64(2) << 0;
        QTest::newRow("two rows, written out of order") << "DNSQuery" << qint64(98) << 2;
        QTest::newRow("no row") << "DNSQuery" << qint64(1000) << 0;
    }
    void detailRowsByKey() {
        QFETCH(QString, table);
        QFETCH(qint64, fid);
        QFETCH(int, rows);
        sql::Database db(m_path.toStdString());
        db.exec("INSERT INTO DNSQuery (FID, QueryName) VALUES (98, 'b'), (97, 'c'), (98, 'a')");
        const auto cleanUp = qScopeGuard([&] { db.exec("DELETE FROM DNSQuery WHERE FID IN (97, 98)"); });
        DetailRowReader reader;
        const DetailRows found = reader.read(db, table, fid);
        QCOMPARE(static_cast<int>(found.rows.size()), rows);
        const auto fidColumn = static_cast<std::size_t>(found.fields.indexOf("FID"));
        for (const auto& row : found.rows)
            QCOMPARE(row[fidColumn].toLongLong(), fid);
        // The keys read on another thread give the same rows.
        reader.setKeys(DetailKeys::read(db));
        QCOMPARE(static_cast<int>(reader.read(db, table, fid).rows.size()), rows);
        QVERIFY_THROWS_EXCEPTION(sql::Error, reader.read(db, "AllEvents; --", 1));
    }

    void viewsPerType_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("view");
        QTest::newRow("19") << 19 << "cxGridAllEventsDBTableViewWMIFilter";
        QTest::newRow("17") << 17 << "cxGridAllEventsDBTableViewPipeCreated";
        QTest::newRow("unknown") << 30 << "cxGridAllEventsDBTableViewCreateRemoteThreadDetected";
    }
    void viewsPerType() {
        QFETCH(int, type);
        QFETCH(QString, view);
        QCOMPARE(QString(detailViewForEventType(type).name), view);
        // Every view's columns are columns of its table, FID first.
        for (const DetailView& v : detailViews()) {
            sql::Statement stmt = m_data->connection().prepare(std::string("SELECT * FROM ") + v.table);
            QStringList fields;
            for (int c = 0; c < stmt.columnCount(); ++c)
                fields << QString::fromStdString(stmt.columnName(c));
            QCOMPARE(QString(v.columns.front().field), QString("FID"));
            for (const DetailColumn& column : v.columns)
                QVERIFY2(fields.contains(column.field), column.field);
        }
    }

    void taskReportsOnlyTheNewestSearch() {
        AllEventsSearchTask task;
        QSignalSpy finished(&task, &AllEventsSearchTask::searchFinished);
        QSignalSpy index(&task, &AllEventsSearchTask::indexReady);
        task.readIndex(m_path);
        task.search(m_path, "");
        task.search(m_path, "evil");
        QVERIFY(finished.wait(10000) || finished.count() == 1);
        QTest::qWait(100);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(*finished.first().first().value<EventIds>(), (std::vector<std::int64_t>{6}));
        QTRY_COMPARE(index.count(), 1);
        QVERIFY(!task.searching());
        // Stopped before an import: nothing more comes, and the file is free.
        task.search(m_path, "");
        task.stop();
        QVERIFY(!task.searching());
        QTest::qWait(100);
        QCOMPARE(finished.count(), 1);
    }

    // Both reads say why they failed instead of leaving the grid silently unsorted or empty.
    void taskReportsFailures() {
        QTemporaryDir dir;
        const QString notADatabase = dir.filePath("KelvaneDB");
        QFile file(notADatabase);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        AllEventsSearchTask task;
        QSignalSpy indexFailed(&task, &AllEventsSearchTask::indexFailed);
        QSignalSpy searchFailed(&task, &AllEventsSearchTask::searchFailed);
        task.readIndex(notADatabase);
        task.search(notADatabase, "x");
        QTRY_COMPARE(indexFailed.count(), 1);
        QTRY_COMPARE(searchFailed.count(), 1);
        QVERIFY(indexFailed.first().first().toString().contains("not a database"));
        task.stop();
    }

    void queryCommand() {
        QString text;
        QTextStream out(&text);
        TMainDataModule data;
        openKelvaneDatabase(data, m_path);
        QCOMPARE(queryCommands().at("search").run(data, {"O'Brien"}, out), 0);
        out.flush();
        QCOMPARE(text, QString("1\t2024-01-01 10:00:05.000\t1\tProcess Create\t{P1}\tWS-01\t-\n1\n"));
    }

    void queryProgramExits_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("says");
        QTest::newRow("database") << "KelvaneDB" << 0 << "";
        QTest::newRow("missing") << "nope" << 2 << "no such database file";
        QTest::newRow("foreign") << "foreign.txt" << 2 << "not a Kelvane database";
    }
    void queryProgramExits() {
        QFETCH(QString, file);
        QFETCH(int, exitCode);
        QFETCH(QString, says);
        QFile foreign(m_dir.filePath("foreign.txt"));
        QVERIFY(foreign.open(QIODevice::WriteOnly));
        foreign.write("not sqlite at all\n");
        foreign.close();
        QProcess process;
        process.start(QCoreApplication::applicationDirPath() + "/kelvane-query",
                      {"--db", m_dir.filePath(file), "search", "1502"});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), exitCode);
        QVERIFY(QString(process.readAllStandardError()).contains(says));
        if (exitCode == 0)
            QVERIFY(process.readAllStandardOutput().endsWith("\n4\n"));
    }
};

QTEST_GUILESS_MAIN(TestAllEventsSearch)
#include "tst_AllEventsSearch.moc"
