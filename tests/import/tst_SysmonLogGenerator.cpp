#include "../../bench/SysmonLogGenerator.h"

#include <QSet>
#include <QStringDecoder>
#include <QXmlStreamReader>
#include <QtTest>

using namespace kelvane;

namespace {

QByteArray generate(const SysmonLogOptions& options) {
    const std::string text = SysmonLogGenerator(options).generate();
    return QByteArray(text.data(), qsizetype(text.size()));
}

} // namespace

class TestSysmonLogGenerator : public QObject {
    Q_OBJECT

private slots:
    void sameSeedSameBytes();
    void wellFormedLog_data();
    void wellFormedLog();
};

void TestSysmonLogGenerator::sameSeedSameBytes() {
    SysmonLogOptions options{3000, 42, true, false, 2};
    SysmonLogGenerator generator(options);
    const std::string first = generator.generate();
    QVERIFY(generator.generate() == first); // a second run of one generator starts afresh
    QVERIFY(SysmonLogGenerator(options).generate() == first);
    options.seed = 43;
    QVERIFY(SysmonLogGenerator(options).generate() != first);
}

void TestSysmonLogGenerator::wellFormedLog_data() {
    QTest::addColumn<bool>("withRoot");
    QTest::addColumn<bool>("utf16");
    QTest::newRow("root, UTF-8") << true << false;
    QTest::newRow("no root, UTF-8") << false << false;
    QTest::newRow("root, UTF-16") << true << true;
    QTest::newRow("no root, UTF-16") << false << true;
}

void TestSysmonLogGenerator::wellFormedLog() {
    QFETCH(bool, withRoot);
    QFETCH(bool, utf16);
    // Seven computers bring every user name, the non-ASCII ones too.
    SysmonLogOptions options{3000, 9, withRoot, utf16, 7};
    const QByteArray data = generate(options);
    QCOMPARE(data.startsWith("\xFF\xFE"), utf16);
    const QString text = QStringDecoder(utf16 ? QStringDecoder::Utf16LE : QStringDecoder::Utf8)(data);
    if (utf16) {
        options.utf16 = false;
        QString utf8 = QString::fromUtf8(generate(options));
        QVERIFY(utf8.contains(QStringLiteral("Björn")) && utf8.contains(QStringLiteral("📝")));
        utf8.replace(R"(encoding="utf-8")", R"(encoding="UTF-16")");
        QCOMPARE(text, utf8);
    }

    // A log without root is wrapped in one, so that a stock reader takes it.
    QXmlStreamReader xml;
    if (withRoot)
        xml.addData(data);
    else
        xml.addData(QStringLiteral("<Log>") + text + QStringLiteral("</Log>"));
    int events = 0;
    QSet<int> ids;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"Event")
            ++events;
        else if (xml.name() == u"EventID")
            ids << xml.readElementText().toInt();
    }
    QVERIFY2(!xml.hasError(),
             qPrintable(xml.errorString() + " at line " + QString::number(xml.lineNumber())));
    QCOMPARE(events, 3000);
    QSet<int> expected;
    for (int id = 1; id <= 22; ++id)
        expected << id;
    QCOMPARE(ids, expected);
}

QTEST_GUILESS_MAIN(TestSysmonLogGenerator)
#include "tst_SysmonLogGenerator.moc"
