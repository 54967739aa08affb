#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "store/TMainDataModule.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using Items = SysmonLogBuilder::Items;

namespace {

const QString kGuid = "{365ABB72-7ACC-5CC4-0000-0010B2470300}";

Items processCreate(const QString& hashes = "SHA1=AAAA,MD5=BBBB,SHA256=CCCC,IMPHASH=DDDD") {
    return {{"RuleName", "technique_id=T1059"},
            {"UtcTime", "2019-04-27 15:57:25.868"},
            {"ProcessGuid", kGuid},
            {"ProcessId", "2772"},
            {"Image", "C:\\Windows\\System32\\cmd.exe"},
            {"CommandLine", "cmd.exe /c \"dir\""},
            {"User", "IEWIN7\\IEUser"},
            {"LogonId", "0x3e7"},
            {"Hashes", hashes},
            {"ParentProcessGuid", "{365ABB72-0000-0000-0000-000000000001}"},
            {"ParentImage", "C:\\Windows\\explorer.exe"},
            {"OriginalFileName", "Cmd.Exe"}};
}

Items network(const QString& source, const QString& destination, const QString& sourceHost = "",
              const QString& destinationHost = "") {
    return {{"UtcTime", "2019-04-27 15:57:26.001"},
            {"ProcessGuid", kGuid},
            {"ProcessId", "2772"},
            {"Image", "C:\\Windows\\System32\\cmd.exe"},
            {"Protocol", "tcp"},
            {"Initiated", "true"},
            {"SourceIsIpv6", source.contains(':') ? "true" : "false"},
            {"SourceIp", source},
            {"SourceHostname", sourceHost},
            {"SourcePort", "49712"},
            {"DestinationIsIpv6", destination.contains(':') ? "true" : "false"},
            {"DestinationIp", destination},
            {"DestinationHostname", destinationHost},
            {"DestinationPort", "443"},
            {"DestinationPortName", "https"}};
}

} // namespace

class TestImport : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;
    std::unique_ptr<TMainDataModule> m_data;
    std::unique_ptr<TImportController> m_import;

    // Imports the text as a file through the whole pipeline; the database stays open for checks.
    void import(const QByteArray& bytes, bool geolocate = false, const QString& host = QString()) {
        const QString log = m_dir.filePath(QString("log%1.xml").arg(++m_counter));
        QFile file(log);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        importFile(log, geolocate, host);
    }

    void importFile(const QString& log, bool geolocate = false, const QString& host = QString()) {
        m_import.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath(QString("db%1").arg(++m_counter)));
        m_data->OpenDatabase();
        m_import = std::make_unique<TImportController>(*m_data, "KEY", true, host);
        m_import->FileName = log;
        m_import->setPerformIPGeoMapping(geolocate);
        m_import->ButtonImportClick();
        m_import->waitForEnd();
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
    QString one(const QString& sql) { return rows(sql).value(0); }
    int modalResult() const { return m_import->report().modalResult(); }

private slots:
    void initTestCase() { QCOMPARE(QLocale::system().name(), QString("C")); }

    void processCreateRows() {
        import(SysmonLogBuilder().event(1, processCreate(), "IEWIN7").utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(m_import->report().labelMessage(), QString("Done! Imported 1 Events"));
        QCOMPARE(
            rows("SELECT GID, UtcTime, EventType, EventTypeName, CorrelationGuid, Computer, RuleName FROM "
                 "AllEvents"),
            QStringList{"1|2019-04-27 15:57:25.868|1|Process Create|" + kGuid +
                        "|IEWIN7|technique_id=T1059"});
        QCOMPARE(
            one("SELECT FID, ProcessId, CommandLine, LogonId, ImageExe, ParentImageExe, Hashes, SHA1, MD5, "
                "SHA256, OriginalFileName, EventType, EventTypeName, CurrentDirectory, TerminalSessionId "
                "FROM "
                "ProcessCreate"),
            QString("1|2772|cmd.exe /c \\\"dir\\\"|999|cmd.exe|explorer.exe|"
                    "SHA1=AAAA,MD5=BBBB,SHA256=CCCC,IMPHASH=DDDD|AAAA|BBBB|CCCC|Cmd.Exe|1|Process "
                    "Create||-1"));
        QCOMPARE(rows("SELECT FID, UtcTime, ReportedByVT, MD5, SHA1, SHA256 FROM AllHashes"),
                 QStringList{"1|2019-04-27 15:57:25.868|Never asked|BBBB|AAAA|CCCC"});
        QCOMPARE(rows("SELECT FID, Image, ImageExe, ProcessGuid, EventType, EventTypeName FROM AllImageExes"),
                 QStringList{"1|C:\\Windows\\System32\\cmd.exe|cmd.exe|" + kGuid + "|1|Process Create"});
        QCOMPARE(rows("SELECT * FROM KelvaneVersion"), QStringList{"3.1"});

        QCOMPARE(
            one("SELECT EventDetails FROM AllEvents"),
            QString("  Process Create  \r\n  Time :  \r\n  27 Apr 2019 15:57:25  \r\n  Parent Image :  \r\n"
                    "  explorer.exe  \r\n"));
    }

    void hashSplits_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("hashes");
        QTest::addColumn<QString>("typeRow");
        QTest::addColumn<QStringList>("allHashes");
        QTest::newRow("sha256 alone")
            << 1 << "Hashes"
            << "SHA256=FFFF"
            << "SHA256=FFFF|nohash|nohash|FFFF" << QStringList{"nohash|nohash|FFFF"};
        QTest::newRow("no hash item") << 1 << ""
                                      << ""
                                      << "|nohash|nohash|nohash" << QStringList{};
        QTest::newRow("import hash only")
            << 7 << "Hashes"
            << "IMPHASH=1234"
            << "IMPHASH=1234|nohash|nohash|nohash" << QStringList{"nohash|nohash|nohash"};
        QTest::newRow("blanks around values")
            << 6 << "Hashes"
            << "MD5= ab ,SHA1=cd"
            << "MD5= ab ,SHA1=cd|ab|cd|nohash" << QStringList{"ab|cd|nohash"};
        QTest::newRow("stream reads Hash") << 15 << "Hash"
                                           << "MD5=EE"
                                           << "MD5=EE|EE|nohash|nohash" << QStringList{"EE|nohash|nohash"};
        QTest::newRow("stream ignores Hashes") << 15 << "Hashes"
                                               << "MD5=EE"
                                               << "|nohash|nohash|nohash" << QStringList{};
    }

    void hashSplits() {
        QFETCH(int, type);
        QFETCH(QString, item);
        QFETCH(QString, hashes);
        QFETCH(QString, typeRow);
        QFETCH(QStringList, allHashes);
        Items items{{"UtcTime", "2020-01-01 00:00:00.000"}, {"ProcessGuid", kGuid}, {"Image", "C:\\a.exe"}};
        if (!item.isEmpty())
            items.append({item, hashes});
        import(SysmonLogBuilder().event(type, items).utf8());
        QCOMPARE(modalResult(), 1);
        const QString table = type == 1   ? "ProcessCreate"
                              : type == 6 ? "DriverLoaded"
                              : type == 7 ? "ImageLoaded"
                                          : "FileStreamCreated";
        QCOMPARE(one("SELECT Hashes, MD5, SHA1, SHA256 FROM " + table), typeRow);
        QCOMPARE(rows("SELECT MD5, SHA1, SHA256 FROM AllHashes"), allHashes);
    }

    void networkRows() {
        import(SysmonLogBuilder()
                   .event(3, network("10.0.0.5", "8.8.8.8"))
                   .event(3, network("10.0.0.5", "1.1.1.1", "me.local", " "))
                   .utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(rows("SELECT FID, Hostname FROM AllHosts"), QStringList{"2|me.local"});
        QCOMPARE(rows("SELECT FID, IPAddress, Direction, Initiated FROM AllIPAddresses"),
                 (QStringList{"1|10.0.0.5|Source|1", "1|8.8.8.8|Destination|1", "2|10.0.0.5|Source|1",
                              "2|1.1.1.1|Destination|1"}));
        // The destination port row says "Source" too.
        QCOMPARE(rows("SELECT Port, PortName, Direction FROM AllPorts WHERE FID = 1"),
                 (QStringList{"49712||Source", "443|https|Source"}));
        QCOMPARE(rows("SELECT SourceCountry, SourceCountryCode, DestinationCountry, DestinationCountryCode, "
                      "Initiated, SourceIsIpv6 FROM NetworkConnectionDetected"),
                 (QStringList{"n/a|n/a|n/a|n/a|1|0", "n/a|n/a|n/a|n/a|1|0"}));
        QVERIFY(
            one("SELECT EventDetails FROM AllEvents WHERE GID = 1")
                .endsWith(
                    "  Source IP :  \r\n  10.0.0.5:49712  \r\n  Destination IP :  \r\n  8.8.8.8:443  \r\n"));
    }

    void ipv6AddressesAreCut() {
        import(SysmonLogBuilder().event(3, network("fe80::1c2d:3e4f:5a6b:7c8d", "2001:db8::1")).utf8());
        QCOMPARE(rows("SELECT IPAddress FROM AllIPAddresses"),
                 (QStringList{"fe80::1c2d:3e4f", "2001:db8::1"}));
        QCOMPARE(one("SELECT SourceIp FROM NetworkConnectionDetected"), QString("fe80::1c2d:3e4f:5a6b:7c8d"));
        // Only the part behind the last colon shows in the details.
        QVERIFY(one("SELECT EventDetails FROM AllEvents").contains("  7c8d:49712  "));
    }

    void correlationAndSummaries_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("correlation");
        QTest::addColumn<QStringList>("imageExes");
        QTest::newRow("driver") << 6 << "driverLoadedEvent" << QStringList{};
        QTest::newRow("wmi filter") << 19 << "wmiEventFilter" << QStringList{};
        QTest::newRow("wmi consumer") << 20 << "wmiEventConsumer" << QStringList{};
        QTest::newRow("remote thread") << 8 << "{S8}" << QStringList{"src.exe|{S8}", "dst.exe|{T8}"};
        QTest::newRow("process access") << 10 << "{S10}" << QStringList{"src.exe|{S10}", "dst.exe|{T10}"};
        QTest::newRow("image loaded") << 7 << "{P}" << QStringList{"a.exe|{P}", "b.dll|{P}"};
        QTest::newRow("dns") << 22 << "{P}" << QStringList{"a.exe|{P}"};
    }

    void correlationAndSummaries() {
        QFETCH(int, type);
        QFETCH(QString, correlation);
        QFETCH(QStringList, imageExes);
        const Items items{{"UtcTime", "2020-01-01 00:00:00.000"},
                          {"ProcessGuid", "{P}"},
                          {"Image", "C:\\a.exe"},
                          {"ImageLoaded", "C:\\b.dll"},
                          {"SourceProcessGuid", "{S8}"},
                          {"TargetProcessGuid", "{T8}"},
                          {"SourceProcessGUID", "{S10}"},
                          {"TargetProcessGUID", "{T10}"},
                          {"SourceImage", "D:src.exe"},
                          {"TargetImage", "C:\\x\\dst.exe"},
                          {"QueryStatus", "0"}};
        import(SysmonLogBuilder().event(type, items).utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(one("SELECT CorrelationGuid FROM AllEvents"), correlation);
        QCOMPARE(rows("SELECT ImageExe, ProcessGuid FROM AllImageExes"), imageExes);
    }

    void registryAndDns() {
        import(SysmonLogBuilder()
                   .event(13, {{"UtcTime", "2020-01-01 00:00:00.000"},
                               {"EventType", "SetValue"},
                               {"TargetObject", "HKLM\\Software\\Run\\x"},
                               { "Details",
                                 "DWORD (0x00000001)" }})
                   .event(22, {{"UtcTime", "2020-01-01 00:00:01.000"},
                               {"QueryName", "example.org"},
                               {"QueryStatus", "0"},
                               {"QueryResults", "::ffff:93.184.216.34;"},
                               { "Image",
                                 "C:\\b\\dns.exe" }})
                   .utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(one("SELECT EventType, EventType2, EventType2Name FROM RegistryValueSet"),
                 QString("SetValue|13|Registry Value Set"));
        QCOMPARE(rows("SELECT FID, TargetObject FROM AllRegTargets"),
                 QStringList{"1|HKLM\\Software\\Run\\x"});
        QCOMPARE(one("SELECT QueryStatus, QueryStatusDescription FROM DNSQuery"),
                 QString("0|The operation completed successfully"));
        QVERIFY(
            one("SELECT EventDetails FROM AllEvents WHERE GID = 2")
                .endsWith(
                    "  Image :  \r\n  dns.exe  \r\n  DNS Query :  \r\n  example.org  \r\n  Query Status :  "
                    "\r\n  The operation completed successfully (Code:0)  \r\n"));
    }

    void droppedEventsAreCounted() {
        // Ids that no Sysmon version defines are counted and leave no row.
        SysmonLogBuilder log;
        for (int id : {1, 0, 30, 254, 5, 256, 1})
            log.event(id, {{"UtcTime", "2020-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}});
        import(log.utf8());
        QCOMPARE(m_import->report().labelMessage(), QString("Done! Imported 7 Events"));
        QCOMPARE(rows("SELECT EventType FROM AllEvents"), (QStringList{"1", "5", "1"}));
        QCOMPARE(one("SELECT COUNT(*) FROM AllImageExes"), QString("3"));
    }

    void wmiBindingAlwaysFails() {
        const Items binding{{"UtcTime", "2020-01-01 00:00:00.000"},
                            {"Operation", "Created"},
                            {"Consumer", "c"},
                            {"Filter", "f"},
                            {"RuleName", "r"}};
        import(SysmonLogBuilder()
                   .event(21, binding)
                   .event(5, {{"UtcTime", "2020-01-01 00:00:01.000"},
                              {"ProcessGuid", "{P}"},
                              { "Operation",
                                "x" }})
                   .utf8());
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().labelMessage(),
                 QString("Error: WmibindingTable: Field 'Computer' not found\n"));
        // Master rows of both events are stored; the binding row stays pending and is dropped at the end.
        QCOMPARE(rows("SELECT EventType, CorrelationGuid FROM AllEvents"),
                 (QStringList{"21|wmiEventBinding", "5|{P}"}));
        QCOMPARE(one("SELECT COUNT(*) FROM WMIBinding"), QString("0"));
        // The items of the failed event were not cleared: the next event's Operation was dropped.
        QCOMPARE(m_import->report().statusBarLog(), QString("Seems like import was not fully succesful!"));
    }

    void staleItemsAfterAFailure() {
        // A bad number fails the first event; its items stay and win over the next event's.
        import(SysmonLogBuilder()
                   .event(5, {{"UtcTime", "2020-01-01 00:00:00.000"},
                              {"ProcessGuid", "{A}"},
                              { "ProcessId",
                                "abc" }})
                   .event(5, {{"UtcTime", "2020-01-01 00:00:01.000"},
                              {"ProcessGuid", "{B}"},
                              { "ProcessId",
                                "12" }})
                   .utf8());
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage().first(), QString("'abc' is not a valid integer value"));
        QCOMPARE(rows("SELECT CorrelationGuid FROM AllEvents"), (QStringList{"{A}", "{A}"}));
    }

    void dateWithoutFraction() {
        import(SysmonLogBuilder()
                   .event(5, {{"UtcTime", "2020-01-01 10:00:00"},
                              { "ProcessGuid",
                                "{P}" }})
                   .utf8());
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage(), QStringList{});
        QCOMPARE(one("SELECT UtcTime FROM AllEvents"), QString("1899-12-30 00:00:00.000"));
        QCOMPARE(one("SELECT UtcTime FROM ProcessTerminated"), QString("1899-12-30 00:00:00.000"));
    }

    void itemRules() {
        import(SysmonLogBuilder()
                   .event(11, {{"UtcTime", "2020-01-01 00:00:00.000"},
                               {"ProcessGuid", "{P}"},
                               {"GrantedAccess", "0x1410"},
                               {"TargetFilename", "line1\r\nline2\rx\"q\""},
                               {"Image", QString()},
                               { "Image",
                                 "C:\\second.exe" }})
                   .utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(m_import->report().statusBarLog(), QString());
        // Absent numbers read -1; hexadecimal is understood; a self-closing item is absent.
        QCOMPARE(one("SELECT ProcessId, GrantedAccess, TargetFilename, Image FROM FileCreated"),
                 QString("-1|5136|line1\\nline2\rx\\\"q\\\"|C:\\second.exe"));
    }

    void duplicateItemsKeepTheFirst() {
        import(SysmonLogBuilder()
                   .event(5, {{"UtcTime", "2020-01-01 00:00:00.000"},
                              {"ProcessGuid", "{A}"},
                              { "ProcessGuid",
                                "{B}" }})
                   .utf8());
        QCOMPARE(modalResult(), 1);
        QCOMPARE(m_import->report().statusBarLog(), QString("Seems like import was not fully succesful!"));
        QCOMPARE(one("SELECT ProcessGuid FROM ProcessTerminated"), QString("{A}"));
    }

    void workerFailures_data() {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("masterRows");
        const Items item{{"UtcTime", "2020-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}};
        QTest::newRow("event id not a number")
            << SysmonLogBuilder()
                   .event(5, item)
                   .raw("<Event><System><EventID>1a</EventID></System></Event>")
                   .utf8()
            << "'1a' is not a valid integer value" << 1;
        // Its magnitude has no positive 64-bit counterpart: the conversion must refuse it, not negate it.
        QTest::newRow("smallest 64-bit event id")
            << SysmonLogBuilder()
                   .event(5, item)
                   .raw("<Event><System><EventID>-9223372036854775808</EventID></System></Event>")
                   .utf8()
            << "'-9223372036854775808' is not a valid integer value" << 1;
    }

    void manyDistinctItems() {
        // A hostile event with 100,000 items of distinct names: each must not be looked up among all the
        // ones before it (minutes of reading; a stuck test then meets the suite's time limit).
        Items items{{"UtcTime", "2020-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}};
        for (int i = 0; i < 100000; ++i)
            items.append(qMakePair(QString("Item%1").arg(i), QString::number(i)));
        items.append(qMakePair(QString("Item99999"), QString("late")));
        items.append(qMakePair(QString("Image"), QString("C:\\x.exe")));
        const QByteArray log = SysmonLogBuilder().event(5, items).utf8();
        import(log);
        QCOMPARE(modalResult(), 1);
        QCOMPARE(m_import->report().statusBarLog(), QString("Seems like import was not fully succesful!"));
        QCOMPARE(rows("SELECT ProcessGuid, Image FROM ProcessTerminated"), QStringList{"{P}|C:\\x.exe"});
    }

    void workerFailures() {
        QFETCH(QByteArray, document);
        QFETCH(QString, error);
        QFETCH(int, masterRows);
        import(document);
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage(), QStringList{error});
        QCOMPARE(one("SELECT COUNT(*) FROM AllEvents").toInt(), masterRows);
    }

    void databaseFailureStopsTheImport() {
        // The database refuses the third process creation, as a full disk would.
        SysmonLogBuilder log;
        for (int i = 0; i < 50; ++i)
            log.event(1, processCreate());
        const QString path = m_dir.filePath("many.xml");
        QVERIFY(log.write(path));
        m_import.reset();
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath("refusing.db"));
        m_data->BuildDatabaseStructure();
        m_data->connection().exec("CREATE TRIGGER Refuse BEFORE INSERT ON ProcessCreate "
                                  "WHEN (SELECT COUNT(*) FROM ProcessCreate) >= 2 "
                                  "BEGIN SELECT RAISE(ABORT, 'database or disk is full'); END;");
        m_import = std::make_unique<TImportController>(*m_data, "KEY", true);
        m_import->FileName = path;
        m_import->BeginSysmonDatabaseImport();
        m_import->waitForEnd();
        m_data->OpenDatabase();
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage(), QStringList{"database or disk is full"});
        // What was written before the failure is kept.
        QCOMPARE(one("SELECT COUNT(*) FROM ProcessCreate"), QString("2"));
        QCOMPARE(one("SELECT COUNT(*) FROM AllEvents"), QString("3"));
    }

    void missingFile() {
        importFile(m_dir.filePath("does-not-exist.xml"));
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage().size(), 1);
        QCOMPARE(rows("SELECT * FROM KelvaneVersion"), QStringList{"3.1"});
        QCOMPARE(one("SELECT COUNT(*) FROM AllEvents"), QString("0"));
    }

    void readerTolerance_data() {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<int>("events");
        const Items item{{"UtcTime", "2020-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}};
        SysmonLogBuilder three;
        three.event(5, item).event(5, item).event(5, item);
        QTest::newRow("rooted") << three.utf8() << 3;
        QTest::newRow("rootless") << three.utf8(false) << 3;
        QByteArray utf16("\xFF\xFE", 2);
        const QString text = three.text(false);
        utf16.append(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
        QTest::newRow("rootless utf-16") << utf16 << 3;
        QByteArray cut = three.utf8();
        cut.truncate(cut.lastIndexOf("<EventData>") + 30);
        QTest::newRow("cut in an event") << cut << 2;
        QTest::newRow("nothing of use")
            << QByteArray("<?xml version=\"1.0\"?><Events><Foo>bar</Foo></Events>") << 0;
    }

    void readerTolerance() {
        QFETCH(QByteArray, document);
        QFETCH(int, events);
        import(document);
        QCOMPARE(modalResult(), 1);
        QCOMPARE(one("SELECT COUNT(*) FROM ProcessTerminated").toInt(), events);
        QCOMPARE(rows("SELECT * FROM KelvaneVersion"), QStringList{"3.1"});
    }

    void geolocatingMapperDifferences() {
        // Nothing listens on this port: every lookup fails, and rows take the (empty) last answer.
        import(SysmonLogBuilder()
                   .event(1, processCreate())
                   .event(3, network("10.0.0.5", "8.8.8.8"))
                   .event(3, network("fe80::1", "8.8.4.4"))
                   .event(2, {{"UtcTime", "2020-01-01 00:00:00.000"},
                              {"ProcessGuid", "{P}"},
                              { "Image",
                                "C:\\a.exe" }})
                   .utf8(),
               true, "127.0.0.1:9");
        QVERIFY(m_import->geolocating());
        QCOMPARE(modalResult(), 3);
        QCOMPARE(m_import->report().errorMessage(),
                 QStringList{"AlleventsTable: Field 'OriginalFileName' not found"});
        QCOMPARE(one("SELECT OriginalFileName FROM ProcessCreate"), QString("<null>"));
        QCOMPARE(
            rows("SELECT SourceCountry, SourceCountryCode, DestinationCountry, DestinationCountryCode FROM "
                 "NetworkConnectionDetected"),
            (QStringList{"n/a|n/a||", "n/a|n/a||"}));
        QCOMPARE(one("SELECT COUNT(*) FROM FileCreationTimeChanged"), QString("0"));
    }
};

// Summaries hold dates in the user's locale: the expected texts are written for the C locale, which
// must be chosen before the application reads it.
int main(int argc, char* argv[]) {
    qputenv("LC_ALL", "C");
    QCoreApplication app(argc, argv);
    TestImport test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Import.moc"
