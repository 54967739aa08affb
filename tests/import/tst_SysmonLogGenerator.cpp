#include "../../bench/SysmonLogGenerator.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

using namespace kelvane;

namespace {

struct ParsedEvent {
    int id = 0;
    QString computer;
    QStringList names; // data item names in document order
    QHash<QString, QString> values;
};

QByteArray bytes(const std::string& text) {
    return QByteArray(text.data(), qsizetype(text.size()));
}

QString decode(const QByteArray& data, bool utf16) {
    if (!utf16)
        return QString::fromUtf8(data);
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(data.constData() + 2), (data.size() - 2) / 2);
}

// Reads a generated log with a stock XML reader; a log without root is wrapped in one first.
QList<ParsedEvent> parse(const QByteArray& data, const SysmonLogOptions& options, QString* error) {
    QXmlStreamReader xml;
    if (options.withRoot)
        xml.addData(data);
    else
        xml.addData(QStringLiteral("<Log>") + decode(data, options.utf16) + QStringLiteral("</Log>"));
    QList<ParsedEvent> events;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"Event") {
            events.append(ParsedEvent{});
        } else if (events.isEmpty()) {
            continue;
        } else if (xml.name() == u"EventID") {
            events.last().id = xml.readElementText().toInt();
        } else if (xml.name() == u"Computer") {
            events.last().computer = xml.readElementText();
        } else if (xml.name() == u"Data") {
            const QString name = xml.attributes().value("Name").toString();
            events.last().names << name;
            events.last().values.insert(name, xml.readElementText());
        }
    }
    if (xml.hasError())
        *error = xml.errorString() + " at line " + QString::number(xml.lineNumber());
    return events;
}

// The items the importer reads, by event id. Older Sysmon versions lack OriginalFileName, so it is left out.
const QHash<int, QStringList>& itemsRead() {
    static const QHash<int, QStringList> items = {
        {1,
         {"ProcessGuid", "ProcessId", "Image", "CommandLine", "CurrentDirectory", "User", "LogonGuid",
          "LogonId", "TerminalSessionId", "IntegrityLevel", "Hashes", "ParentProcessGuid", "ParentProcessId",
          "ParentImage", "ParentCommandLine"}},
        {2,
         {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime",
          "PreviousCreationUtcTime"}},
        {3,
         {"ProcessGuid", "ProcessId", "Image", "User", "Protocol", "Initiated", "SourceIsIpv6", "SourceIp",
          "SourceHostname", "SourcePort", "SourcePortName", "DestinationIsIpv6", "DestinationIp",
          "DestinationHostname", "DestinationPort", "DestinationPortName"}},
        {5, {"ProcessGuid", "ProcessId", "Image"}},
        {6, {"ImageLoaded", "Hashes", "Signed", "Signature"}},
        {7, {"ProcessGuid", "ProcessId", "Image", "ImageLoaded", "Hashes", "Signed", "Signature"}},
        {8,
         {"SourceProcessGuid", "SourceProcessId", "SourceImage", "TargetProcessGuid", "TargetProcessId",
          "TargetImage", "NewThreadId", "StartAddress", "StartModule", "StartFunction"}},
        {9, {"ProcessGuid", "ProcessId", "Image", "Device"}},
        {10,
         {"SourceProcessGUID", "SourceProcessId", "SourceThreadId", "SourceImage", "TargetProcessGUID",
          "TargetProcessId", "TargetImage", "GrantedAccess", "CallTrace"}},
        {11, {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime"}},
        {12, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject"}},
        {13, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "Details"}},
        {14, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "NewName"}},
        {15, {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime", "Hash"}},
        {17, {"ProcessGuid", "ProcessId", "PipeName", "Image"}},
        {18, {"ProcessGuid", "ProcessId", "PipeName", "Image"}},
        {19, {"Operation", "User", "EventNamespace", "Name", "Query"}},
        {20, {"Operation", "User", "Name", "Type", "Destination"}},
        {21, {"Operation", "User", "Consumer", "Filter"}},
        {22, {"ProcessGuid", "ProcessId", "Image", "QueryName", "QueryStatus", "QueryResults"}},
    };
    return items;
}

bool isHashText(const QString& text) {
    static const QRegularExpression part(
        "^(SHA1=[0-9A-F]{40}|MD5=[0-9A-F]{32}|SHA256=[0-9A-F]{64}|IMPHASH=[0-9A-F]{32})$");
    for (const QString& p : text.split(','))
        if (!part.match(p).hasMatch())
            return false;
    return true;
}

} // namespace

class TestSysmonLogGenerator : public QObject {
    Q_OBJECT

private slots:
    void sameSeedSameBytes();
    void wellFormedLog_data();
    void wellFormedLog();
    void utf16IsUtf8Transcoded_data();
    void utf16IsUtf8Transcoded();
};

void TestSysmonLogGenerator::sameSeedSameBytes() {
    SysmonLogOptions options;
    options.events = 3000;
    options.seed = 42;
    options.computers = 2;
    const std::string first = SysmonLogGenerator(options).generate();

    SysmonLogGenerator again(options);
    QVERIFY(again.generate() == first);
    QVERIFY(again.generate() == first); // a second run of one generator starts afresh

    QTemporaryDir dir;
    const QString path = dir.filePath("log.xml");
    QCOMPARE(again.writeFile(path.toStdString()), std::uint64_t(first.size()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == bytes(first));

    options.seed = 43;
    QVERIFY(SysmonLogGenerator(options).generate() != first);
}

void TestSysmonLogGenerator::wellFormedLog_data() {
    QTest::addColumn<bool>("withRoot");
    QTest::addColumn<bool>("utf16");
    QTest::addColumn<int>("computers");
    QTest::addColumn<quint64>("seed");

    QTest::newRow("root, UTF-8, one computer") << true << false << 1 << quint64(1);
    QTest::newRow("no root, UTF-8, three computers") << false << false << 3 << quint64(2);
    QTest::newRow("root, UTF-16, two computers") << true << true << 2 << quint64(3);
    QTest::newRow("no root, UTF-16, seven computers") << false << true << 7 << quint64(4);
}

void TestSysmonLogGenerator::wellFormedLog() {
    QFETCH(bool, withRoot);
    QFETCH(bool, utf16);
    QFETCH(int, computers);
    QFETCH(quint64, seed);
    SysmonLogOptions options{2000, seed, withRoot, utf16, computers};
    const QByteArray data = bytes(SysmonLogGenerator(options).generate());

    QCOMPARE(data.startsWith("\xFF\xFE"), utf16);
    QString error;
    const QList<ParsedEvent> events = parse(data, options, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(events.size(), 2000);
    const double bytesPerEvent = double(data.size()) / events.size() / (utf16 ? 2 : 1);
    QVERIFY2(bytesPerEvent > 900 && bytesPerEvent < 1800, qPrintable(QString::number(bytesPerEvent)));

    static const QRegularExpression time(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}$)");
    static const QRegularExpression guid(
        R"(^\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\}$)");
    QSet<int> ids;
    QSet<QString> hosts, started, seen, ended;
    QString lastTime;
    for (const ParsedEvent& e : events) {
        const QString where = QString("event %1 (id %2)").arg(&e - events.data()).arg(e.id);
        ids << e.id;
        hosts << e.computer;
        QVERIFY2(QSet<QString>(e.names.begin(), e.names.end()).size() == e.names.size(), qPrintable(where));
        const QString utc = e.values.value("UtcTime");
        QVERIFY2(time.match(utc).hasMatch() && utc >= lastTime, qPrintable(where + ": " + utc));
        lastTime = utc;
        if (e.id != 4 && e.id != 16)
            QVERIFY2(e.names.value(0) == "RuleName" && e.names.indexOf("UtcTime") <= 2, qPrintable(where));
        for (const QString& name : itemsRead().value(e.id))
            QVERIFY2(e.names.contains(name), qPrintable(where + " lacks " + name));
        for (const char* name : {"Hashes", "Hash", "ConfigurationFileHash"}) {
            const QString value = e.values.value(name, "Unknown");
            QVERIFY2(value == "Unknown" || isHashText(value), qPrintable(where + ": " + value));
        }

        // A session begins with its process creation, if the log saw it, and nothing follows its end.
        const QString process = e.values.value(
            "ProcessGuid", e.values.value("SourceProcessGuid", e.values.value("SourceProcessGUID")));
        if (process.isEmpty())
            continue;
        QVERIFY2(guid.match(process).hasMatch(), qPrintable(where + ": " + process));
        QVERIFY2(!ended.contains(process), qPrintable(where + " after the end of " + process));
        if (e.id == 1) {
            QVERIFY2(!seen.contains(process), qPrintable(where + " starts a known session"));
            QVERIFY2(!ended.contains(e.values.value("ParentProcessGuid")),
                     qPrintable(where + ": parent has ended"));
        }
        if (e.id == 5)
            ended << process;
        seen << process;
    }
    QCOMPARE(hosts.size(), computers);
    QSet<int> expected;
    for (int id = 1; id <= 22; ++id)
        expected << id;
    QCOMPARE(ids, expected);
}

void TestSysmonLogGenerator::utf16IsUtf8Transcoded_data() {
    QTest::addColumn<bool>("withRoot");
    QTest::newRow("root") << true;
    QTest::newRow("no root") << false;
}

void TestSysmonLogGenerator::utf16IsUtf8Transcoded() {
    QFETCH(bool, withRoot);
    // Many computers bring every user name, the non-ASCII ones too.
    SysmonLogOptions options{3000, 9, withRoot, false, 7};
    QString utf8 = QString::fromUtf8(bytes(SysmonLogGenerator(options).generate()));
    options.utf16 = true;
    const QByteArray utf16 = bytes(SysmonLogGenerator(options).generate());

    QVERIFY(utf16.startsWith("\xFF\xFE"));
    QVERIFY(utf8.contains(QStringLiteral("Björn")) && utf8.contains(QStringLiteral("📝")));
    utf8.replace(R"(encoding="utf-8")", R"(encoding="UTF-16")");
    QCOMPARE(decode(utf16, true), utf8);
}

QTEST_GUILESS_MAIN(TestSysmonLogGenerator)
#include "tst_SysmonLogGenerator.moc"
