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

    void destinationPortName_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
        const QByteArray head = "{\"winlog\":{\"channel\":\"c\",\"event_data\":{";
        QTest::newRow("the destination's name")
            << head + "\"SourcePort\":\"49712\"}},\"destination\":{\"port\":443},\"network\":{\"protocol\":"
                      "\"https\"}}"
            << "https";
        QTest::newRow("the source's name, kept apart")
            << head + "\"SourcePortName\":\"microsoft-ds\",\"SourcePort\":\"445\"}},\"destination\":{"
                      "\"port\":50000},"
                      "\"network\":{\"protocol\":\"microsoft-ds\"}}"
            << "";
        QTest::newRow("one port, one name") << head + "\"SourcePortName\":\"netbios-ns\",\"SourcePort\":"
                                                      "\"137\"}},\"destination\":{\"port\":137},"
                                                      "\"network\":{\"protocol\":\"netbios-ns\"}}"
                                            << "netbios-ns";
    }
    void destinationPortName() {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        simdjson::dom::parser parser;
        simdjson::dom::element element;
        QVERIFY(parser.parse(json.constData(), static_cast<size_t>(json.size())).get(element) ==
                simdjson::SUCCESS);
        FlatDocument flat;
        flat.read(element);
        SysmonDocument document;
        document.read(flat, 3);
        const std::string* name = document.items.find("DestinationPortName");
        QCOMPARE(name ? QString::fromStdString(*name) : QString(), expected);
        QVERIFY(document.winlogLayout);
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
