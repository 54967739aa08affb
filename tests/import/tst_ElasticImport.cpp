#include "ElasticDocuments.h"
#include "ElasticTestServer.h"
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "import/elastic/TElasticImportController.h"
#include "store/EventCatalogue.h"
#include "store/ExtraItemsCodec.h"
#include "store/TMainDataModule.h"
#include "store/TQuery.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using elasticdocs::Shape;
using Flavour = ElasticTestServer::Flavour;
using Items = SysmonLogBuilder::Items;

Q_DECLARE_METATYPE(elasticdocs::Shape)
Q_DECLARE_METATYPE(ElasticTestServer::Flavour)

namespace {

// A server of the given kind, open to anyone, over plain HTTP.
ElasticTestServer::Options serverOf(Flavour flavour) {
    ElasticTestServer::Options options;
    options.flavour = flavour;
    return options;
}

const QString kGuid = "{5A1C3E20-8B3D-6040-6C01-000000000600}";
const QString kParentGuid = "{5A1C3E20-7F12-6040-5A00-000000000600}";
const QString kTargetGuid = "{5A1C3E20-9000-6040-7C01-000000000600}";

struct Event {
    int id;
    Items items;
};

// One event of each type whose rows the two imports write alike.
QList<Event> commonEvents() {
    const Items process{
        {"ProcessGuid", kGuid}, {"ProcessId", "5124"}, {"Image", "C:\\Windows\\System32\\cmd.exe"}};
    auto with = [&](Items items, const Items& more) {
        items += more;
        return items;
    };
    return {
        {1, with({{"RuleName", "technique_id=T1059"}, {"UtcTime", "2021-03-04 10:15:30.450"}}, process) +
                Items{{"FileVersion", "10.0.19041.746"},
                      {"Description", "Windows Command Processor"},
                      {"Product", "Microsoft Windows Operating System"},
                      {"Company", "Microsoft Corporation"},
                      {"OriginalFileName", "Cmd.Exe"},
                      {"CommandLine", "cmd.exe /c whoami"},
                      {"CurrentDirectory", "C:\\Users\\alice\\"},
                      {"User", "CORP\\alice"},
                      {"LogonGuid", "{5A1C3E20-7F10-6040-1F3A-0A0000000000}"},
                      {"LogonId", "0xa3a1f"},
                      {"TerminalSessionId", "1"},
                      {"IntegrityLevel", "Medium"},
                      {"Hashes",
                       "SHA1=B1B2D511D5B20D529675207DD87338A3D31EE7DB,MD5=BC9D90581C71273B7A56DA368AFE2AEB,"
                       "SHA256=2ED534311510DF97245FFB8E6344C3C033208413B07F8DCDF5507075B4656D91,"
                       "IMPHASH=06FC488D4DCC0FC4C0180E84FCB0501B"},
                      {"ParentProcessGuid", kParentGuid},
                      {"ParentProcessId", "4312"},
                      {"ParentImage", "C:\\Windows\\explorer.exe"},
                      {"ParentCommandLine", "C:\\Windows\\Explorer.EXE"}}},
        {2, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:31.001"}}, process) +
                Items{{"TargetFilename", "C:\\Users\\alice\\a.txt"},
                      {"CreationUtcTime", "2020-01-01 00:00:00.000"},
                      {"PreviousCreationUtcTime", "2021-03-04 10:15:31.000"}}},
        {3, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:32.120"}}, process) +
                Items{{"User", "CORP\\alice"},
                      {"Protocol", "tcp"},
                      {"Initiated", "true"},
                      {"SourceIsIpv6", "false"},
                      {"SourceIp", "10.0.0.5"},
                      {"SourceHostname", "ws01.corp.local"},
                      {"SourcePort", "49712"},
                      {"SourcePortName", ""},
                      {"DestinationIsIpv6", "false"},
                      {"DestinationIp", "93.184.216.34"},
                      {"DestinationHostname", "example.org"},
                      {"DestinationPort", "443"},
                      {"DestinationPortName", "https"}}},
        {5, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:33.000"}}, process)},
        {6,
         {{"RuleName", "-"},
          {"UtcTime", "2021-03-04 10:15:34.100"},
          {"ImageLoaded", "C:\\Windows\\System32\\drivers\\x.sys"},
          {"Hashes", "SHA256=AAAA1111BBBB2222"},
          {"Signed", "true"},
          {"Signature", "Microsoft Windows"},
          {"SignatureStatus", "Valid"}}},
        {7, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:35.200"}}, process) +
                Items{{"ImageLoaded", "C:\\Windows\\System32\\ntdll.dll"},
                      {"FileVersion", "10.0"},
                      {"OriginalFileName", "ntdll.dll"},
                      {"Hashes", "SHA1=CCCC,MD5=DDDD"},
                      {"Signed", "true"},
                      {"Signature", "Microsoft Windows"},
                      {"SignatureStatus", "Valid"}}},
        {9, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:36.300"}}, process) +
                Items{{"Device", "\\Device\\HarddiskVolume2"}}},
        {10,
         {{"RuleName", "-"},
          {"UtcTime", "2021-03-04 10:15:37.400"},
          {"SourceProcessGUID", kGuid},
          {"SourceProcessId", "5124"},
          {"SourceThreadId", "2216"},
          {"SourceImage", "C:\\Windows\\System32\\cmd.exe"},
          {"TargetProcessGUID", kTargetGuid},
          {"TargetProcessId", "640"},
          {"TargetImage", "C:\\Windows\\System32\\lsass.exe"},
          {"GrantedAccess", "0x1410"},
          {"CallTrace", "C:\\Windows\\SYSTEM32\\ntdll.dll+9c534"}}},
        {11,
         with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:38.500"}}, process) +
             Items{{"TargetFilename", "C:\\Temp\\drop.exe"}, {"CreationUtcTime", "2021-03-04 10:15:38.500"}}},
        {12, with({{"RuleName", "-"}, {"EventType", "CreateKey"}, {"UtcTime", "2021-03-04 10:15:39.600"}},
                  process) +
                 Items{{"TargetObject", "HKLM\\System\\CurrentControlSet\\Services\\x"}}},
        {13, with({{"RuleName", "-"}, {"EventType", "SetValue"}, {"UtcTime", "2021-03-04 10:15:40.700"}},
                  process) +
                 Items{{"TargetObject", "HKLM\\System\\CurrentControlSet\\Services\\x\\Start"},
                       {"Details", "DWORD (0x00000002)"}}},
        {15, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:41.800"}}, process) +
                 Items{{"TargetFilename", "C:\\Temp\\drop.exe:Zone.Identifier"},
                       {"CreationUtcTime", "2021-03-04 10:15:41.800"},
                       {"Hash", "MD5=EEEE,SHA256=FFFF"}}},
        {17, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:42.900"}}, process) +
                 Items{{"PipeName", "\\mypipe"}}},
        {18, with({{"RuleName", "-"}, {"UtcTime", "2021-03-04 10:15:43.010"}}, process) +
                 Items{{"PipeName", "\\mypipe"}}},
        {19,
         {{"RuleName", "-"},
          {"UtcTime", "2021-03-04 10:15:44.020"},
          {"Operation", "Created"},
          {"User", "CORP\\admin"},
          {"EventNamespace", "root\\subscription"},
          {"Name", "filter1"},
          {"Query", "SELECT * FROM Win32_ProcessStartTrace"}}},
        {20,
         {{"RuleName", "-"},
          {"UtcTime", "2021-03-04 10:15:45.030"},
          {"Operation", "Created"},
          {"User", "CORP\\admin"},
          {"Name", "consumer1"},
          {"Type", "Command Line"},
          {"Destination", "C:\\Windows\\evil.exe"}}},
    };
}

Items remoteThread() {
    return {{"RuleName", "rule8"},        {"UtcTime", "2021-03-04 10:15:31.000"},
            {"SourceProcessGuid", kGuid}, {"SourceProcessId", "1"},
            {"SourceImage", "C:\\a.exe"}, {"TargetProcessGuid", kTargetGuid},
            {"TargetProcessId", "2"},     {"TargetImage", "C:\\b.exe"},
            {"NewThreadId", "3"},         {"StartAddress", "0x1"},
            {"StartModule", "-"},         {"StartFunction", "-"}};
}

QList<QByteArray> documents(Shape shape, const QList<Event>& events, const QString& computer = "WS-01") {
    QList<QByteArray> out;
    for (const Event& event : events)
        out << elasticdocs::document(shape, event.id, event.items, computer);
    return out;
}

} // namespace

class TestElasticImport : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;
    std::unique_ptr<TMainDataModule> m_data;
    std::unique_ptr<TElasticImportController> m_import;

    void newDatabase() {
        m_import.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath(QString("db%1").arg(++m_counter)));
        m_data->OpenDatabase();
    }

    // Runs the worker against the server on the indexes given; the database stays open for checks.
    void importFrom(const ElasticTestServer& server, const QString& tables, int pageSize = 3,
                    const QString& user = QString(), const QString& password = QString(),
                    const QStringList& trusted = QStringList(), const QString& ipstackHost = QString()) {
        newDatabase();
        ElasticConnectionParams params;
        params.add(server.url(), QString::number(server.port()), user, password);
        m_import = std::make_unique<TElasticImportController>(*m_data, params, "KEY", !ipstackHost.isEmpty(),
                                                              ipstackHost);
        m_import->setPerformIPGeoMapping(!ipstackHost.isEmpty());
        m_import->setPageSize(pageSize);
        m_import->setRetryDelay(5);
        m_import->trust(trusted);
        m_import->prepare();
        m_import->ImportData(tables);
        m_import->waitForEnd();
        m_data->OpenDatabase();
    }

    void importXml(const QList<Event>& events) {
        SysmonLogBuilder log;
        for (const Event& event : events)
            log.event(event.id, event.items, "WS-01");
        const QString path = m_dir.filePath(QString("log%1.xml").arg(++m_counter));
        QVERIFY(log.write(path));
        importXml(path);
    }
    void importXml(const QString& path) {
        m_import.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath(QString("db%1").arg(++m_counter)));
        m_data->OpenDatabase();
        TImportController xml(*m_data, "EMPTY", false);
        xml.FileName = path;
        xml.ButtonImportClick();
        xml.waitForEnd();
        QCOMPARE(xml.report().modalResult(), 1);
        m_data->OpenDatabase();
    }

    QStringList rows(const QString& sql) {
        TQuery q("check", sql.toStdString());
        q.open(m_data->connection());
        QStringList out;
        for (; !q.eof(); q.next()) {
            QStringList cells;
            for (int i = 0; i < q.fieldCount(); ++i)
                cells << (q.value(i).isNull() ? QString("<null>") : q.text(i));
            out << cells.join('|');
        }
        return out;
    }

    // Every table's rows without their keys, sorted: the keys follow the order of reading.
    QMap<QString, QStringList> contents() {
        QMap<QString, QStringList> tables;
        for (const QString& table :
             // The case's list of imported log files has no part in a server's import.
             rows("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                  "'sqlite%' AND name NOT IN ('CaseFiles', 'CaseEvents') ORDER BY name")) {
            QStringList columns;
            for (const QString& column : rows(QString("SELECT name FROM pragma_table_info('%1')").arg(table)))
                if (column != "GID" && column != "FID")
                    columns << '"' + column + '"';
            QStringList content = rows(QString("SELECT %1 FROM \"%2\"").arg(columns.join(','), table));
            // A document has no log order, so an event's extra items are compared without their place.
            if (table == "ExtraItems")
                for (QString& row : content) {
                    QStringList items;
                    for (const auto& [name, value] : decodeExtraItems(row.toStdString()))
                        items << QString::fromStdString(name + '=' + value);
                    items.sort();
                    row = items.join('\t');
                }
            content.sort();
            tables.insert(table, content);
        }
        return tables;
    }

    int modalResult() const { return m_import->report().modalResult(); }
    QString label() const {
        const ImportReport& report = m_import->report();
        // A worker's failure leaves the label alone: show it where a test looks.
        if (report.modalResult() == ImportReport::Abort && !report.labelMessage().startsWith("Error: "))
            return "Failed: " + report.errorMessage().join('\n');
        return report.labelMessage().trimmed();
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void sameDatabaseAsTheLogImport_data() {
        QTest::addColumn<Shape>("shape");
        QTest::addColumn<Flavour>("flavour");
        QTest::newRow("winlogbeat 6, Elasticsearch 6 scroll")
            << Shape::Winlogbeat6 << Flavour::Elasticsearch6;
        QTest::newRow("winlogbeat 7 module, OpenSearch posing as 7.10")
            << Shape::Winlogbeat7 << Flavour::OpenSearchCompat;
        QTest::newRow("agent, OpenSearch 2 falls back to scroll") << Shape::Agent << Flavour::OpenSearch2;
        QTest::newRow("agent, OpenSearch 3 point in time") << Shape::Agent << Flavour::OpenSearch3;
    }
    void sameDatabaseAsTheLogImport() {
        QFETCH(Shape, shape);
        QFETCH(Flavour, flavour);
        const QList<Event> events = commonEvents();
        importXml(events);
        const auto expected = contents();

        ElasticTestServer server(serverOf(flavour));
        // Other channels share the index, as winlogbeat ships every log it reads.
        server.addDocuments("sysmon-1", documents(shape, events) +
                                            QList<QByteArray>{elasticdocs::otherChannel(shape, 1),
                                                              elasticdocs::otherChannel(shape, 3)});
        importFrom(server, "sysmon-1", 2);
        QCOMPARE(label(), QString("Done! Imported %1 Events").arg(events.size()));
        QCOMPARE(modalResult(), 1);
        const auto actual = contents();
        for (auto it = expected.begin(); it != expected.end(); ++it)
            QCOMPARE(actual.value(it.key()), it.value());
        QCOMPARE(server.openContexts(), 0);
    }

    // Documents as the shippers really write them (kept in tests/data/elastic with the logs of the same
    // events): winlogbeat 6 leaves out the empty rule names, winlogbeat 7's module keeps only the split
    // command lines and puts the hashes at the top level, the Agent drops "-" and empty items.
    void shippersDocumentsGiveTheLogsRows_data() {
        QTest::addColumn<QString>("documents");
        QTest::addColumn<QString>("log");
        QTest::addColumn<Flavour>("flavour");
        QTest::newRow("winlogbeat 6, no RuleName anywhere") << "winlogbeat6.ndjson"
                                                            << "sysmon-old.xml" << Flavour::Elasticsearch6;
        QTest::newRow("winlogbeat 7 module, args and hash.*") << "winlogbeat7-module.ndjson"
                                                              << "sysmon.xml" << Flavour::OpenSearchCompat;
        QTest::newRow("Elastic Agent") << "agent.ndjson"
                                       << "sysmon.xml" << Flavour::Elasticsearch8;
    }
    void shippersDocumentsGiveTheLogsRows() {
        QFETCH(QString, documents);
        QFETCH(QString, log);
        QFETCH(Flavour, flavour);
        const QString folder = QStringLiteral(KELVANE_TEST_DATA "/elastic/");
        importXml(folder + log);
        const auto expected = contents();
        QFile file(folder + documents);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QList<QByteArray> sources;
        for (const QByteArray& line : file.readAll().split('\n'))
            if (!line.trimmed().isEmpty())
                sources << line;
        ElasticTestServer server(serverOf(flavour));
        server.addDocuments("winlogbeat-1", sources);
        importFrom(server, "winlogbeat-1");
        QCOMPARE(label(), QString("Done! Imported %1 Events").arg(sources.size()));
        const auto actual = contents();
        for (auto it = expected.begin(); it != expected.end(); ++it) {
            // Values from a server are stored without the log reader's escaping of quotes.
            QStringList cleaned = actual.value(it.key());
            cleaned.replaceInStrings("\"", "\\\"");
            QCOMPARE(cleaned, it.value());
        }
    }

    void differencesFromTheLogImport() {
        // The remote thread's own row reads a bare UtcTime column that no shipper writes, the binding's
        // table has no computer, and the rename's summary keeps the new name on the label's line.
        const Items rename{
            {"RuleName", "-"},           {"EventType", "RenameKey"}, {"UtcTime", "2021-03-04 10:15:30.000"},
            {"ProcessGuid", kGuid},      {"ProcessId", "1"},         {"Image", "C:\\a.exe"},
            {"TargetObject", "HKLM\\x"}, {"NewName", "HKLM\\y"}};
        const Items thread = remoteThread();
        const Items binding{{"RuleName", "-"},        {"UtcTime", "2021-03-04 10:15:32.000"},
                            {"Operation", "Created"}, {"User", "CORP\\x"},
                            {"Consumer", "c"},        {"Filter", "f"}};
        Items command = commonEvents().first().items;
        for (auto& [name, value] : command)
            if (name == "CommandLine")
                value = "cmd /c \"a\"\r\nnext";
        ElasticTestServer server(serverOf(Flavour::Elasticsearch8));
        server.addDocuments("s", {elasticdocs::document(Shape::Winlogbeat6, 14, rename),
                                  elasticdocs::document(Shape::Winlogbeat6, 8, thread),
                                  elasticdocs::document(Shape::Winlogbeat6, 21, binding),
                                  elasticdocs::document(Shape::Winlogbeat6, 1, command)});
        importFrom(server, "s");
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage(),
                 QStringList{"WmibindingTable: Field 'Computer' not found"});
        // No text cleaning: the command line keeps its quotes and line break.
        QCOMPARE(rows("SELECT CommandLine FROM ProcessCreate"), QStringList{"cmd /c \"a\"\r\nnext"});
        QCOMPARE(rows("SELECT EventType, RuleName FROM AllEvents ORDER BY GID"),
                 QStringList({"1|technique_id=T1059", "8|<null>", "14|-", "21|-"}));
        const QString details = rows("SELECT EventDetails FROM AllEvents WHERE EventType = 14").value(0);
        QVERIFY2(details.endsWith("  New Name :    HKLM\\y  \r\n"), qPrintable(details));
        QCOMPARE(rows("SELECT UtcTime, RuleName FROM CreateRemoteThreadDetected"),
                 QStringList{"1899-12-30 00:00:00.000|rule8"});
    }

    void geolocatingMapper() {
        // Nothing answers for the geolocation service: public addresses take the (empty) last answer,
        // private ones and IPv6 stay "n/a". Neither difference of the log's geolocating mapper occurs.
        QList<Event> events = commonEvents().mid(0, 3);
        Items ipv6 = events[2].items;
        for (auto& [name, value] : ipv6) {
            if (name == "SourceIsIpv6")
                value = "true";
            if (name == "SourceIp")
                value = "fe80::1";
        }
        events << Event{3, ipv6};
        ElasticTestServer server({});
        server.addDocuments(
            "s", documents(Shape::Winlogbeat6, events) +
                     QList<QByteArray>{elasticdocs::document(Shape::Winlogbeat6, 8, remoteThread())});
        importFrom(server, "s", 3, "", "", {}, "127.0.0.1:9");
        QVERIFY(m_import->geolocating());
        QCOMPARE(m_import->report().errorMessage(), QStringList());
        QCOMPARE(rows("SELECT COUNT(*) FROM FileCreationTimeChanged"), QStringList{"1"});
        QCOMPARE(rows("SELECT OriginalFileName FROM ProcessCreate"), QStringList{"Cmd.Exe"});
        QCOMPARE(
            rows("SELECT SourceCountry, SourceCountryCode, DestinationCountry, DestinationCountryCode FROM "
                 "NetworkConnectionDetected ORDER BY FID"),
            (QStringList{"n/a|n/a||", "n/a|n/a||"}));
        QCOMPARE(rows("SELECT RuleName FROM AllEvents WHERE EventType = 8"), QStringList{"rule8"});
    }

    void batches_data() {
        QTest::addColumn<int>("surplus");
        QTest::addColumn<QStringList>("computers");
        QTest::addColumn<QString>("tables");
        QTest::addColumn<QStringList>("expected");
        const QStringList two{"WS-01", "WS-02"};
        QTest::newRow("over two computers: the first one's name")
            << 0 << two << "s" << QStringList{"5124|WS-01", "5125|WS-01"};
        QTest::newRow("count above the rows: the last row again")
            << 1 << two << "s" << QStringList{"5124|WS-01", "5125|WS-01", "5125|WS-01"};
        QTest::newRow("count below the rows: the surplus unread")
            << -1 << two << "s" << QStringList{"5124|WS-01"};
        QTest::newRow("ticked twice: twice the events")
            << 0 << two << "s;s" << QStringList{"5124|WS-01", "5125|WS-01", "5124|WS-01", "5125|WS-01"};
    }
    void batches() {
        QFETCH(int, surplus);
        QFETCH(QStringList, computers);
        QFETCH(QString, tables);
        QFETCH(QStringList, expected);
        ElasticTestServer server(serverOf(Flavour::Elasticsearch8));
        for (int i = 0; i < computers.size(); ++i)
            server.addDocuments("s", {elasticdocs::document(Shape::Winlogbeat6, 5,
                                                            {{"RuleName", "-"},
                                                             {"UtcTime", "2021-03-04 10:15:30.000"},
                                                             {"ProcessGuid", kGuid},
                                                             {"ProcessId", QString::number(5124 + i)},
                                                             {"Image", "C:\\a.exe"}},
                                                            computers[i])});
        server.setCountSurplus(surplus);
        importFrom(server, tables, 1);
        QCOMPARE(modalResult(), 1);
        QCOMPARE(rows("SELECT ProcessId, Computer FROM ProcessTerminated ORDER BY FID"), expected);
        QCOMPARE(label(), QString("Done! Imported %1 Events").arg(expected.size()));
    }

    void everyTypeIsCounted_data() {
        QTest::addColumn<QList<int>>("ids");
        QTest::addColumn<bool>("otherChannel");
        QTest::addColumn<int>("counted");
        QTest::newRow("no Sysmon documents") << QList<int>{1, 3} << true << 0;
        // Asked for and counted as the log's import counts them.
        QTest::newRow("ids 4, 16 and 27 only") << QList<int>{4, 16, 27} << false << 3;
    }
    void everyTypeIsCounted() {
        QFETCH(QList<int>, ids);
        QFETCH(bool, otherChannel);
        QFETCH(int, counted);
        ElasticTestServer server(serverOf(Flavour::Elasticsearch8));
        QList<QByteArray> sources;
        for (const int id : ids)
            sources << (otherChannel ? elasticdocs::otherChannel(Shape::Winlogbeat7, id)
                                     : elasticdocs::document(Shape::Winlogbeat7, id,
                                                             {{"UtcTime", "2021-03-04 10:15:30.000"}}));
        server.addDocuments("s", sources);
        importFrom(server, "s");
        QCOMPARE(label(), QString("Done! Imported %1 Events").arg(counted));
        QCOMPARE(server.requests().filter("/s/_count").size(), int(catalogue::sysmonEventIds().size()));
        QCOMPARE(rows("SELECT SVersion FROM KelvaneVersion"), QStringList{"3.1"});
    }

    void serverFailures_data() {
        QTest::addColumn<int>("failure");
        QTest::addColumn<QString>("expected");
        QTest::newRow("wrong password") << 0 << "answered 401 (security_exception: missing authentication";
        QTest::newRow("unreachable") << 1 << "No answer from http://127.0.0.1:";
        QTest::newRow("no such index")
            << 2 << "answered 404 (index_not_found_exception: no such index [gone])";
        QTest::newRow("search context lost") << 3 << "No search context found for id";
    }
    void serverFailures() {
        QFETCH(int, failure);
        QFETCH(QString, expected);
        ElasticTestServer::Options options;
        options.user = "elastic";
        options.password = "right";
        auto server = std::make_unique<ElasticTestServer>(options);
        QList<Event> events = commonEvents().mid(3, 1);
        server->addDocuments("s", documents(Shape::Winlogbeat6, events + events + events));
        server->loseContextAfterPages(1);
        const QString url = server->url();
        const quint16 port = server->port();
        if (failure == 1)
            server.reset();
        newDatabase();
        ElasticConnectionParams params;
        params.add(url, QString::number(port), "elastic", failure == 0 ? "s3cret-wrong" : "right");
        m_import = std::make_unique<TElasticImportController>(*m_data, params, "EMPTY", false);
        m_import->setPageSize(1);
        m_import->prepare();
        m_import->ImportData(failure == 2 ? "gone" : "s");
        m_import->waitForEnd();
        QCOMPARE(modalResult(), 3);
        const QString message = m_import->report().errorMessage().join('\n');
        QVERIFY2(message.contains(expected), qPrintable(message));
        QVERIFY(!message.contains("s3cret"));
        QVERIFY(!message.contains("right"));
    }

    void pagesRetriesAndCredentials() {
        ElasticTestServer::Options options;
        options.user = "reader";
        options.password = "pässword";
        ElasticTestServer server(options);
        QList<QByteArray> sources;
        for (int i = 0; i < 7; ++i)
            sources << elasticdocs::document(Shape::Agent, 5,
                                             {{"UtcTime", "2021-03-04 10:15:30.000"},
                                              {"ProcessGuid", kGuid},
                                              {"ProcessId", QString::number(100 + i)},
                                              {"Image", "C:\\a.exe"}});
        server.addDocuments(".ds-logs-windows.sysmon_operational-default-000001", sources, QString(),
                            "logs-windows.sysmon_operational-default");
        server.refuseNextSearches(2);
        importFrom(server, "logs-windows.sysmon_operational-default", 3, "reader", "pässword");
        QCOMPARE(modalResult(), 1);
        QCOMPARE(rows("SELECT ProcessId FROM ProcessTerminated ORDER BY FID"),
                 QStringList({"100", "101", "102", "103", "104", "105", "106"}));
        // 7 hits in pages of 3, each page asked once more while the server is busy.
        QCOMPARE(server.requests().filter("POST /_search").size(), 3 + 2);
        QCOMPARE(server.openContexts(), 0);
        const QString basic = "Basic " + QString::fromLatin1(QString("reader:pässword").toUtf8().toBase64());
        QCOMPARE(server.authorizations().filter(basic).size(), server.authorizations().size());
        // The connection is dropped after the index and made again for the next one.
        QVERIFY(server.requests().contains("GET /"));
    }

    void noUserSendsNoCredentials() {
        ElasticTestServer server(serverOf(Flavour::Elasticsearch8));
        ElasticConnectionParams params;
        // A port in the address stands before the port field's.
        params.add("127.0.0.1:" + QString::number(server.port()), "9200", "", "");
        TElasticClient client(params);
        client.setTrustQuestion([](const QString&, const QString&) { return false; });
        // No scheme: https is tried first, and the plain server's answer comes over http.
        client.open();
        QCOMPARE(client.baseUrl().scheme(), QString("http"));
        client.catalogue();
        for (const QString& header : server.authorizations())
            QVERIFY(header.isEmpty());
    }

    void catalogue_data() {
        QTest::addColumn<Flavour>("flavour");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("resolve: streams, aliases, indices, patterns")
            << Flavour::Elasticsearch8
            << QStringList{"logs-windows.sysmon_operational-default",
                           "winlogbeat-7.17.9",
                           "sysmon-2024.05.02",
                           "winlogbeat-6.8.23-2021.03.04",
                           "winlogbeat-6.8.23-2021.03.05",
                           "winlogbeat-7.17.9-2024.01.15-000001",
                           "winlogbeat-*"};
        QTest::newRow("6.x: the index listing")
            << Flavour::Elasticsearch6
            << QStringList{"sysmon-2024.05.02", "winlogbeat-6.8.23-2021.03.04",
                           "winlogbeat-6.8.23-2021.03.05", "winlogbeat-7.17.9-2024.01.15-000001",
                           "winlogbeat-*"};
    }
    void catalogue() {
        QFETCH(Flavour, flavour);
        QFETCH(QStringList, expected);
        ElasticTestServer server(serverOf(flavour));
        const QList<QByteArray> none{elasticdocs::otherChannel(Shape::Winlogbeat6, 1)};
        server.addDocuments("winlogbeat-6.8.23-2021.03.04", none);
        server.addDocuments("winlogbeat-6.8.23-2021.03.05", none);
        server.addDocuments("winlogbeat-7.17.9-2024.01.15-000001", none, "winlogbeat-7.17.9");
        server.addDocuments(".ds-logs-windows.sysmon_operational-default-000001", none, QString(),
                            "logs-windows.sysmon_operational-default");
        server.addDocuments("sysmon-2024.05.02", none);
        TElasticClient client(server.url(), QString::number(server.port()), "", "");
        QCOMPARE(client.catalogue().join(' '), expected.join(' '));
    }

    void headlessImport_data() {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("existing");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");
        QTest::newRow("done") << "pw-ok" << false << 0 << "Done! Imported 2 Events\n";
        QTest::newRow("done, replacing") << "pw-ok" << true << 0 << "Done! Imported 2 Events\n";
        QTest::newRow("refused: no file left") << "pw-wrong" << false << 3 << "Please note";
        QTest::newRow("refused: the old file kept") << "pw-wrong" << true << 3 << "Please note";
    }
    void headlessImport() {
        QFETCH(QString, password);
        QFETCH(bool, existing);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        ElasticTestServer::Options options;
        options.user = "reader";
        options.password = "pw-ok";
        ElasticTestServer server(options);
        server.addDocuments("a", documents(Shape::Winlogbeat6, commonEvents().mid(3, 1)));
        server.addDocuments("b", documents(Shape::Agent, commonEvents().mid(3, 1)));
        const QString db = m_dir.filePath(QString("cli%1").arg(++m_counter));
        if (existing) {
            QFile old(db);
            QVERIFY(old.open(QIODevice::WriteOnly));
            old.write("old");
        }
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KELVANE_ES_PASSWORD", password);
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationDirPath() + "/kelvane-import",
                      {"--elastic", server.url(), "--index", "a", "--index", "b", "--user", "reader",
                       "--force", "--db", db});
        QVERIFY(process.waitForFinished(60000));
        const QString out = QString::fromUtf8(process.readAllStandardOutput());
        const QString err = QString::fromUtf8(process.readAllStandardError());
        QCOMPARE(process.exitCode(), exitCode);
        QVERIFY2(out.startsWith(output), qPrintable(out + err));
        QVERIFY(!(out + err).contains(password));
        if (exitCode != 0) {
            QVERIFY2(err.contains("answered 401"), qPrintable(err));
            QCOMPARE(QFileInfo::exists(db), existing);
            if (existing)
                QCOMPARE(QFileInfo(db).size(), 3);
        } else {
            QVERIFY(QFileInfo(db).size() > 3);
        }
        QCOMPARE(QDir(m_dir.path()).entryList({"*.part"}), QStringList());
    }

    void certificateQuestion_data() {
        QTest::addColumn<bool>("answer");
        QTest::newRow("trusted for this import") << true;
        QTest::newRow("refused") << false;
    }
    void certificateQuestion() {
        QFETCH(bool, answer);
        ElasticTestServer::Options options;
        if (!ElasticTestServer::makeCertificate(m_dir.path(), options.certificateFile, options.keyFile))
            QSKIP("openssl is not available");
        ElasticTestServer server(options);
        server.addDocuments("s", documents(Shape::Winlogbeat7, commonEvents().mid(3, 1)));
        QFile pem(options.certificateFile);
        QVERIFY(pem.open(QIODevice::ReadOnly));
        const QString expected = TElasticClient::fingerprint(QSslCertificate(&pem, QSsl::Pem));

        TElasticClient client("127.0.0.1", QString::number(server.port()), "", "");
        QStringList asked;
        client.setTrustQuestion([&](const QString& fingerprint, const QString&) {
            asked << fingerprint;
            return answer;
        });
        if (!answer) {
            try {
                client.open();
                QFAIL("an untrusted certificate was accepted");
            } catch (const ElasticError& e) {
                QVERIFY2(QString(e.what()).contains(expected), e.what());
            }
            QCOMPARE(asked, QStringList{expected});
            return;
        }
        client.open();
        QCOMPARE(client.baseUrl().scheme(), QString("https"));
        QCOMPARE(asked, QStringList{expected});
        client.catalogue();
        QCOMPARE(asked.size(), 1);
        // The worker trusts what the user trusted while connecting, and asks nothing.
        importFrom(server, "s", 3, "", "", client.trusted());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(rows("SELECT COUNT(*) FROM ProcessTerminated"), QStringList{"1"});
    }
};

QTEST_GUILESS_MAIN(TestElasticImport)
#include "tst_ElasticImport.moc"
