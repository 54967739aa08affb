#include "import/DnsStatusMessages.h"

#include <QTest>

using namespace kelvane;

class TestDnsStatusMessages : public QObject {
    Q_OBJECT

private slots:
    void queryStatusDescription_data();
    void queryStatusDescription();
    void trimMessageEnd_data();
    void trimMessageEnd();
};

void TestDnsStatusMessages::queryStatusDescription_data() {
    QTest::addColumn<qint64>("code");
    QTest::addColumn<QString>("expected");
    QTest::newRow("success") << qint64(0) << "The operation completed successfully";
    // Only the closing full stop goes; the one inside the text stays.
    QTest::newRow("two sentences")
        << qint64(1231)
        << "The network location cannot be reached. For information about network troubleshooting, see "
           "Windows Help";
    QTest::newRow("unknown") << qint64(123456) << "";
    QTest::newRow("negative") << qint64(-1) << "";
}

void TestDnsStatusMessages::queryStatusDescription() {
    QFETCH(qint64, code);
    QFETCH(QString, expected);
    QCOMPARE(QueryStatusDescription(code), expected);
}

void TestDnsStatusMessages::trimMessageEnd_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* tag, const char* text, const char* expected) {
        QTest::newRow(tag) << text << expected;
    };
    row("line break", "Access is denied.\r\n", "Access is denied");
    row("dots and blanks mixed", "Done. . \t.\r\n", "Done");
    row("inner dots kept", "a.b.c", "a.b.c");
    row("leading blanks kept", "  x. ", "  x");
    row("nothing but dots", "...\n", "");
    row("empty", "", "");
}

void TestDnsStatusMessages::trimMessageEnd() {
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(TrimMessageEnd(text), expected);
}

QTEST_GUILESS_MAIN(TestDnsStatusMessages)
#include "tst_DnsStatusMessages.moc"
