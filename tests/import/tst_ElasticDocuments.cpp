#include "import/elastic/FlatDocument.h"
#include "import/elastic/SysmonDocument.h"

#include <QtTest>

using namespace kelvane;

class TestElasticDocuments : public QObject {
    Q_OBJECT

    static QString flatten(const QByteArray& json) {
        simdjson::dom::parser parser;
        simdjson::dom::element element;
        if (parser.parse(json.constData(), static_cast<size_t>(json.size())).get(element) !=
            simdjson::SUCCESS)
            return "<no JSON>";
        FlatDocument flat;
        flat.read(element);
        QStringList columns;
        for (size_t i = 0; i < flat.size(); ++i)
            columns << QString::fromStdString(flat.at(i).first + '=' + flat.at(i).second);
        return columns.join(" | ");
    }

private slots:
    void columns_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
        QTest::newRow("nested names joined by dots")
            << QByteArray("{\"winlog\":{\"event_data\":{\"Image\":\"C:\\\\x.exe\"}}}")
            << "winlog.event_data.Image=C:\\x.exe";
        QTest::newRow("numbers without point or exponent")
            << QByteArray("{\"pid\":5124,\"big\":48213000.0,\"record_id\":18446744073709551615,\"neg\":-7,"
                          "\"f\":1.5}")
            << "pid=5124 | big=48213000 | record_id=18446744073709551615 | neg=-7 | f=1.5";
        QTest::newRow("booleans, null, escapes")
            << QByteArray("{\"a\":true,\"b\":false,\"c\":null,\"d\":\"say \\\"hi\\\"\\nnext \\u00e9\"}")
            << QString::fromUtf8("a=true | b=false | c= | d=say \"hi\"\nnext é");
        QTest::newRow("arrays stay one column")
            << QByteArray("{\"args\":[\"cmd.exe\",\"/"
                          "c\",1],\"one\":[\"alice\"],\"answers\":[{\"type\":\"A\",\"data\":\"1.2.3.4\"}]}")
            << "args=cmd.exe, /c, 1 | one=alice | answers=[{\"type\":\"A\",\"data\":\"1.2.3.4\"}]";
        QTest::newRow("dotted keys beside nested ones")
            << QByteArray("{\"winlog.event_id\":\"1\",\"winlog\":{\"channel\":\"x\"}}")
            << "winlog.event_id=1 | winlog.channel=x";
    }
    void columns() {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        QCOMPARE(flatten(json), expected);
    }

    // Items that the module and the pipelines moved or split, read back under their Sysmon names.
    void itemsMappedBack_data() {
        QTest::addColumn<int>("eventId");
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("expected");
        const QByteArray head = "{\"winlog\":{\"channel\":\"c\",\"event_data\":{";
        const auto row = [&](const char* tag, int id, const QByteArray& json, const char* item,
                             const char* expected) { QTest::newRow(tag) << id << json << item << expected; };
        row("arguments, quoted as Windows splits them", 1,
            head +
                "}},\"process\":{\"args\":[\"C:\\\\Program Files\\\\a.exe\",\"/x\",\"\",\"say \\\"hi\\\"\","
                "\"C:\\\\dir with space\\\\\"]}}",
            "CommandLine",
            "\"C:\\Program Files\\a.exe\" /x \"\" \"say \\\"hi\\\"\" \"C:\\dir with space\\\\\"");
        row("a comma inside an argument", 1,
            head + "}},\"process\":{\"parent\":{\"args\":[\"a.exe\",\"x,y\",\"z\"]}}}", "ParentCommandLine",
            "a.exe x,y z");
        row("the whole command line wins over its arguments", 1,
            head + "}},\"process\":{\"command_line\":\"\\\"a.exe\\\" x\",\"args\":[\"a.exe\",\"x\"]}}",
            "CommandLine", "\"a.exe\" x");
        row("top-level hashes in Sysmon's order and case", 1,
            head + "}},\"hash\":{\"sha256\":\"cc\",\"imphash\":\"dd\",\"md5\":\"bb\",\"sha1\":\"aa\"}}",
            "Hashes", "SHA1=AA,MD5=BB,SHA256=CC,IMPHASH=DD");
        row("a loaded image's hashes", 7,
            head + "}},\"file\":{\"hash\":{\"md5\":\"bb\"},\"pe\":{\"imphash\":\"dd\"}}}", "Hashes",
            "MD5=BB,IMPHASH=DD");
        row("an item left where it was wins", 1, head + "\"Hashes\":\"MD5=X\"}},\"hash\":{\"md5\":\"bb\"}}",
            "Hashes", "MD5=X");
        row("DNS answers", 22,
            head + "}},\"dns\":{\"answers\":[{\"type\":\"CNAME\",\"data\":\"a.example\"},{\"type\":\"A\","
                   "\"data\":\"1.2.3.4\"},{\"type\":\"AAAA\",\"data\":\"::1\"}]}}",
            "QueryResults", "type:  5 a.example;::ffff:1.2.3.4;::1;");
        row("port name: the destination's", 3,
            head + "\"SourcePort\":\"49712\"}},\"destination\":{\"port\":443},\"network\":{\"protocol\":"
                   "\"https\"}}",
            "DestinationPortName", "https");
        row("port name: the source's, kept apart", 3,
            head + "\"SourcePortName\":\"microsoft-ds\",\"SourcePort\":\"445\"}},\"destination\":{"
                   "\"port\":50000},\"network\":{\"protocol\":\"microsoft-ds\"}}",
            "DestinationPortName", "");
        row("port name: one port, one name", 3,
            head +
                "\"SourcePortName\":\"netbios-ns\",\"SourcePort\":\"137\"}},\"destination\":{\"port\":137},"
                "\"network\":{\"protocol\":\"netbios-ns\"}}",
            "DestinationPortName", "netbios-ns");
    }
    void itemsMappedBack() {
        QFETCH(int, eventId);
        QFETCH(QByteArray, json);
        QFETCH(QString, item);
        QFETCH(QString, expected);
        simdjson::dom::parser parser;
        simdjson::dom::element element;
        QVERIFY(parser.parse(json.constData(), static_cast<size_t>(json.size())).get(element) ==
                simdjson::SUCCESS);
        FlatDocument flat;
        flat.read(element);
        SysmonDocument document;
        document.read(flat, eventId);
        const std::string* value = document.items.find(item.toStdString());
        QCOMPARE(value ? QString::fromStdString(*value) : QString(), expected);
    }

    void sysmonTime_data() {
        QTest::addColumn<QString>("timestamp");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* tag, const char* timestamp, const char* expected) {
            QTest::newRow(tag) << timestamp << expected;
        };
        row("milliseconds", "2021-03-04T10:15:30.452Z", "2021-03-04 10:15:30.452");
        row("trimmed zeros", "2021-03-04T10:15:14.32Z", "2021-03-04 10:15:14.320");
        row("no fraction", "2021-03-04T10:15:14Z", "2021-03-04 10:15:14.000");
        row("nanoseconds", "2021-03-04T10:15:14.123456789Z", "2021-03-04 10:15:14.123");
        row("an offset is left for the date parser to refuse", "2021-03-04T10:15:14.1+02:00",
            "2021-03-04T10:15:14.1+02:00");
    }
    void sysmonTime() {
        QFETCH(QString, timestamp);
        QFETCH(QString, expected);
        QCOMPARE(QString::fromStdString(SysmonDocument::sysmonTime(timestamp.toStdString())), expected);
    }
};

QTEST_GUILESS_MAIN(TestElasticDocuments)
#include "tst_ElasticDocuments.moc"
