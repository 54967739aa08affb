#include "import/xml/TSaxReader.h"

#include <QFile>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <stdexcept>

using namespace kelvane;

namespace {

QString fromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// Logs every callback as "S:name[a=v,...]", "T:text", "E:name" and "D" for the end of the document,
// then calls onEntry, if set, with the entry.
class Recorder : public SaxHandler {
public:
    QStringList log;
    std::function<void(const QString&)> onEntry;

    void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override {
        QStringList pairs;
        for (const SaxAttribute& attribute : attributes)
            pairs << fromUtf8(attribute.name) + '=' + fromUtf8(attribute.value);
        add("S:" + fromUtf8(name) + '[' + pairs.join(',') + ']');
    }
    void text(std::string_view text) override { add("T:" + fromUtf8(text)); }
    void endElement(std::string_view name) override { add("E:" + fromUtf8(name)); }
    void endDocument() override { add("D"); }

private:
    void add(const QString& entry) {
        log << entry;
        if (onEntry)
            onEntry(entry);
    }
};

struct HandlerFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

QByteArray utf16(const QString& text, bool bigEndian, bool withBom) {
    using Encoder = QStringEncoder;
    return Encoder(bigEndian ? Encoder::Utf16BE : Encoder::Utf16LE,
                   withBom ? Encoder::Flag::WriteBom : Encoder::Flag::Default)(text);
}

// A log with what tends to break at a chunk boundary: references, CDATA, comments, CR LF, a long value.
QString richDocument() {
    QString longValue;
    for (int i = 0; i < 300; ++i)
        longValue += QStringLiteral("C:\\Windows\\x&amp;y&#x1F600;\r\n");
    return QStringLiteral("<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<!DOCTYPE Events>\r\n<Events>\r\n"
                          "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System>"
                          "<EventID>1</EventID><Computer>WS-\u00e9</Computer></System><EventData>"
                          "<Data Name='CommandLine'>\"a.exe\" &lt;x&gt; &#233;</Data>"
                          "<Data Name='Long'>") +
           longValue +
           QStringLiteral(
               "</Data><Data Name='C'>x<![CDATA[ <y> ]]>z<!-- n -->w</Data>"
               "<Data Name='Empty'/><Data Name='Space'>  </Data></EventData></Event>\r\n</Events>\r\n");
}

} // namespace

class TestSaxReader : public QObject {
    Q_OBJECT

private slots:
    void reads_data();
    void reads();
    void encodings_data();
    void encodings();
    void chunkBoundaries_data();
    void chunkBoundaries();
    void errorPosition();
    void handlerExceptionPropagates();
    void requestStopEndsParse();
    void missingFileThrows();
};

void TestSaxReader::reads_data() {
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("expected"); // the log joined by '|'
    QTest::addColumn<bool>("ok");
    auto row = [](const char* tag, const char* xml, const QString& expected, bool ok = true) {
        QTest::newRow(tag) << QByteArray(xml) << expected << ok;
    };

    row("root Events",
        "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n<Events><Event xmlns='http://x'>"
        "<System><EventID>1</EventID></System><EventData><Data Name='Image'>C:\\a.exe</Data></EventData>"
        "</Event></Events>",
        "S:Events[]|S:Event[xmlns=http://x]|S:System[]|S:EventID[]|T:1|E:EventID|E:System|S:EventData[]|"
        "S:Data[Name=Image]|T:C:\\a.exe|E:Data|E:EventData|E:Event|E:Events|D");
    row("no root", "<Event><EventID>1</EventID></Event>\r\n<Event><EventID>2</EventID></Event>\r\n",
        "S:Event[]|S:EventID[]|T:1|E:EventID|E:Event|S:Event[]|S:EventID[]|T:2|E:EventID|E:Event|D");
    row("prefixed names as written", "<e:Event xmlns:e='urn:x'><e:EventID>3</e:EventID></e:Event>",
        "S:e:Event[xmlns:e=urn:x]|S:e:EventID[]|T:3|E:e:EventID|E:e:Event|D");
    row("attributes in document order, entities",
        "<a z='1' t=\"&lt;&amp;&quot;&apos;&gt;\" m='2'>&lt;b&gt; &amp; &quot;q&quot; &apos;</a>",
        "S:a[z=1,t=<&\"'>,m=2]|T:<b> & \"q\" '|E:a|D");
    row("character references", "<a v='&#x41;'>&#65;&#x42;&#x1f600;&#128512;&#32;</a>",
        QString::fromUtf16(u"S:a[v=A]|T:AB\U0001F600\U0001F600|E:a|D"));
    row("unknown references kept", "<a>&foo; a & b &#xZZ; &#0; &#xD800; &#x110000;</a>",
        "S:a[]|T:&foo; a & b &#xZZ; &#0; &#xD800; &#x110000;|E:a|D");
    row("CDATA merged with text", "<a> x <![CDATA[<y> &amp; ]]> z <![CDATA[ ]]></a>",
        "S:a[]|T:x <y> &amp;  z|E:a|D");
    row("comments, PIs and DOCTYPE dropped",
        "<?xml version='1.0'?><!DOCTYPE Events [<!ENTITY e 'x>'>]><!-- <c> --><a>x<!-- <b> -->y<?pi "
        "<c>?>z</a>"
        "<?end?>",
        "S:a[]|T:xyz|E:a|D");
    row("white space silent and trimmed", "<a>\r\n\t <b> \t</b>  x y \r\n</a>",
        "S:a[]|S:b[]|E:b|T:x y|E:a|D");
    row("line ends kept", "<a>one\r\ntwo\rthree\nfour&#13;&#10;five</a>",
        "S:a[]|T:one\r\ntwo\rthree\nfour\r\nfive|E:a|D");
    // Text after the last tag is never delivered.
    row("text outside elements, end tags need not match", "lead<a><b>x</a></c>tail",
        "T:lead|S:a[]|S:b[]|T:x|E:a|E:c|D");
    row("< inside a value", "<Data Name='x<y>'>v</Data>", "S:Data[Name=x<y>]|T:v|E:Data|D");
    row("< where an attribute stands", "<Data Name='a' <b>v</b></Data <c>",
        "S:Data[Name=a]|S:b[]|T:v|E:b|E:Data|S:c[]|D");
    row("lenient attributes", "<a b=1 c d = \"2\" e=x/><i /><f g=<h>",
        "S:a[b=1,c=,d=2,e=x]|E:a|S:i[]|E:i|S:f[g=]|S:h[]|D");
    row("cut off in a value", "<Events><Event><Data Name='a'>1</Data></Event><Event><Data Name='a'>tru",
        "S:Events[]|S:Event[]|S:Data[Name=a]|T:1|E:Data|E:Event|S:Event[]|S:Data[Name=a]|D");
    row("cut off in a start tag", "<a>x</a><b c='1", "S:a[]|T:x|E:a", false);
    row("cut off in an end tag", "<a>x</a", "S:a[]", false);
    row("cut off after <", "<a/><", "S:a[]|E:a", false);
    row("cut off in a comment", "<a/><!-- x", "S:a[]|E:a", false);
    row("cut off in CDATA", "<a><![CDATA[x", "S:a[]", false);
    row("cut off in a PI", "<a/><?pi", "S:a[]|E:a", false);
    row("< and equals", "<a>1 <= 2</a>", "S:a[]", false);
    row("</ and space", "<a></ a>", "S:a[]", false);
    row("empty document", "", "D");
    row("only white space", " \r\n\t", "D");
}

void TestSaxReader::reads() {
    QFETCH(QByteArray, xml);
    QFETCH(QString, expected);
    QFETCH(bool, ok);

    // Each case also read in the smallest chunks, so every item is cut at every place once.
    for (const std::size_t chunkSize : {TSaxReader::DefaultChunkSize, std::size_t{1}}) {
        TSaxReader reader(chunkSize);
        Recorder recorder;
        QCOMPARE(reader.parseBuffer(std::string_view(xml.constData(), xml.size()), recorder), ok);
        QCOMPARE(recorder.log.join('|'), expected);
        QCOMPARE(reader.errorText().empty(), ok);
    }
}

void TestSaxReader::encodings_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("expectedText");

    const QString text = QString::fromUtf16(u"\u00e9\u20ac\U0001F600 x");
    const auto document = [&](const QString& encoding) {
        return QStringLiteral("<?xml version=\"1.0\" encoding=\"%1\"?>\r\n<a>%2</a>").arg(encoding, text);
    };
    QTest::newRow("UTF-8 BOM") << QByteArray("\xEF\xBB\xBF") + document("utf-8").toUtf8() << text;
    QTest::newRow("UTF-16LE BOM") << utf16(document("UTF-16"), false, true) << text;
    QTest::newRow("UTF-16BE BOM") << utf16(document("UTF-16"), true, true) << text;
    QTest::newRow("UTF-16LE no BOM") << utf16(document("UTF-16"), false, false) << text;
    QTest::newRow("UTF-16BE no BOM") << utf16(document("UTF-16"), true, false) << text;
    QTest::newRow("ISO-8859-1") << QByteArray("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9\x80</a>")
                                << QString::fromUtf16(u"\u00e9\u0080");
    QTest::newRow("windows-1252") << QByteArray(
                                         "<?xml version='1.0' encoding='windows-1252'?><a>\xE9\x80</a>")
                                  << QString::fromUtf16(u"\u00e9\u20ac");
    QTest::newRow("broken UTF-8 replaced")
        << QByteArray("<a>x\xFFy\xE2\x82z\xC0\xAF\xED\xA0\x80</a>")
        << QString::fromUtf16(u"x\uFFFDy\uFFFDz\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
    QTest::newRow("UTF-8 cut at the end of a text") << QByteArray("<a>x</a><b>\xE2\x82") << QString("x");
    QTest::newRow("lone UTF-16 surrogates replaced")
        << utf16(QString("<a>x") + QChar(0xD800) + "y" + QChar(0xDC00) + "</a>", false, true)
        << QString::fromUtf16(u"x\uFFFDy\uFFFD");
}

void TestSaxReader::encodings() {
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expectedText);

    // Small chunks split byte order marks, code units and surrogate pairs.
    for (const std::size_t chunkSize : {TSaxReader::DefaultChunkSize, std::size_t{1}, std::size_t{3}}) {
        TSaxReader reader(chunkSize);
        Recorder recorder;
        QVERIFY(reader.parseBuffer(std::string_view(bytes.constData(), bytes.size()), recorder));
        QCOMPARE(recorder.log.value(1), "T:" + expectedText);
    }
}

void TestSaxReader::chunkBoundaries_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("chunkSize");

    const QString document = richDocument();
    for (const int chunkSize : {1, 2, 3, 7, 64, 4096}) {
        QTest::addRow("UTF-8, %d", chunkSize) << document.toUtf8() << chunkSize;
        QTest::addRow("UTF-16LE, %d", chunkSize) << utf16(document, false, true) << chunkSize;
    }
}

void TestSaxReader::chunkBoundaries() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, chunkSize);

    QTemporaryDir dir;
    const QString path = dir.filePath("log.xml");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();

    TSaxReader whole;
    Recorder expected;
    QVERIFY(whole.parseBuffer(std::string_view(bytes.constData(), bytes.size()), expected));

    TSaxReader pieces{std::size_t(chunkSize)};
    Recorder recorder;
    QList<qint64> progress;
    recorder.onEntry = [&](const QString&) { progress << pieces.bytesRead(); };
    QVERIFY(pieces.parseFile(path.toStdString(), recorder));
    QCOMPARE(recorder.log, expected.log);
    // Progress grows as the file is read, not all up front, and ends at its size.
    QVERIFY(progress.first() < bytes.size());
    QVERIFY(std::is_sorted(progress.begin(), progress.end()));
    QCOMPARE(pieces.totalBytes(), bytes.size());
    QCOMPARE(pieces.bytesRead(), bytes.size());
}

void TestSaxReader::errorPosition() {
    for (const std::size_t chunkSize : {TSaxReader::DefaultChunkSize, std::size_t{2}}) {
        TSaxReader reader(chunkSize);
        Recorder recorder;
        QVERIFY(!reader.parseBuffer("<a>\n<b/>\n  <1", recorder));
        QCOMPARE(reader.errorText(), "'<' not followed by a name at line 3, column 3 (byte 11)");
        // A later good parse clears it.
        QVERIFY(reader.parseBuffer("<a/>", recorder));
        QVERIFY(reader.errorText().empty());
    }
}

void TestSaxReader::handlerExceptionPropagates() {
    TSaxReader reader(4);
    Recorder throwing;
    throwing.onEntry = [](const QString& entry) {
        if (entry.startsWith("S:Data"))
            throw HandlerFailure("'x' is not a valid integer value");
    };
    QVERIFY_THROWS_EXCEPTION(HandlerFailure, reader.parseBuffer("<a>t<Data Name='x'>1</Data></a>", throwing));
    QCOMPARE(throwing.log.join('|'), "S:a[]|T:t|S:Data[Name=x]");

    // The reader is fit for the next parse.
    Recorder recorder;
    QVERIFY(reader.parseBuffer("<a>t</a>", recorder));
    QCOMPARE(recorder.log.join('|'), "S:a[]|T:t|E:a|D");
}

void TestSaxReader::requestStopEndsParse() {
    const std::string_view xml = "<Events><EventData/><EventData/><EventData/></Events>";
    TSaxReader reader(8);
    Recorder stopping;
    int ends = 0;
    stopping.onEntry = [&](const QString& entry) {
        if (entry == "E:EventData" && ++ends == 2)
            reader.requestStop();
    };
    QVERIFY(reader.parseBuffer(xml, stopping));
    QCOMPARE(stopping.log.join('|'), "S:Events[]|S:EventData[]|E:EventData|S:EventData[]|E:EventData");

    // The request does not outlive the parse.
    Recorder recorder;
    QVERIFY(reader.parseBuffer(xml, recorder));
    QCOMPARE(recorder.log.size(), 9);
}

void TestSaxReader::missingFileThrows() {
    QTemporaryDir dir;
    const std::string path = dir.filePath("missing.xml").toStdString();
    TSaxReader reader;
    Recorder recorder;
    try {
        reader.parseFile(path, recorder);
        QFAIL("no exception");
    } catch (const std::runtime_error& error) {
        QCOMPARE(std::string(error.what()), "Cannot open file \"" + path + "\". No such file or directory");
    }
    QVERIFY(recorder.log.isEmpty());
}

QTEST_GUILESS_MAIN(TestSaxReader)
#include "tst_SaxReader.moc"
