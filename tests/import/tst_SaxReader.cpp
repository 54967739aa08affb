#include "import/TSaxReader.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <stdexcept>

using namespace kelvane;

namespace {

QString fromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// Logs every callback as "S:name[a=v,...]", "T:text", "E:name" and "D" for the end of the document.
class Recorder : public SaxHandler {
public:
    QStringList log;

    void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override {
        QStringList pairs;
        for (const SaxAttribute& attribute : attributes)
            pairs << fromUtf8(attribute.name) + '=' + fromUtf8(attribute.value);
        log << "S:" + fromUtf8(name) + '[' + pairs.join(',') + ']';
    }
    void text(std::string_view text) override { log << "T:" + fromUtf8(text); }
    void endElement(std::string_view name) override { log << "E:" + fromUtf8(name); }
    void endDocument() override { log << "D"; }
};

struct HandlerFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

QByteArray utf16(const QString& text, bool bigEndian, bool withBom) {
    QByteArray bytes;
    if (withBom)
        bytes += bigEndian ? QByteArray("\xFE\xFF", 2) : QByteArray("\xFF\xFE", 2);
    for (const QChar c : text) {
        const char high = char(c.unicode() >> 8), low = char(c.unicode() & 0xFF);
        bytes += bigEndian ? QByteArray{&high, 1} + low : QByteArray{&low, 1} + high;
    }
    return bytes;
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
    void errorPosition_data();
    void errorPosition();
    void handlerExceptionPropagates();
    void requestStopEndsParse();
    void missingFileThrows();
    void progressReachesFileSize();
};

void TestSaxReader::reads_data() {
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("ok");

    QTest::newRow("root Events")
        << QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n<Events><Event "
                      "xmlns='http://x'><System><EventID>1</EventID></System><EventData><Data "
                      "Name='Image'>C:\\a.exe</Data></EventData></Event></Events>")
        << QStringList{"S:Events[]",
                       "S:Event[xmlns=http://x]",
                       "S:System[]",
                       "S:EventID[]",
                       "T:1",
                       "E:EventID",
                       "E:System",
                       "S:EventData[]",
                       "S:Data[Name=Image]",
                       "T:C:\\a.exe",
                       "E:Data",
                       "E:EventData",
                       "E:Event",
                       "E:Events",
                       "D"}
        << true;
    QTest::newRow("no root") << QByteArray(
                                    "<Event><EventID>1</EventID></Event>\r\n<Event><EventID>2</EventID>"
                                    "</Event>\r\n")
                             << QStringList{"S:Event[]", "S:EventID[]", "T:1", "E:EventID", "E:Event",
                                            "S:Event[]", "S:EventID[]", "T:2", "E:EventID", "E:Event",
                                            "D"}
                             << true;
    QTest::newRow("prefixed names as written")
        << QByteArray("<e:Event xmlns:e='urn:x'><e:EventID>3</e:EventID></e:Event>")
        << QStringList{"S:e:Event[xmlns:e=urn:x]", "S:e:EventID[]", "T:3", "E:e:EventID", "E:e:Event", "D"}
        << true;
    QTest::newRow("attributes in document order") << QByteArray("<x z='1' a=\"2\" m='&quot;3&quot;'/>")
                                                  << QStringList{"S:x[z=1,a=2,m=\"3\"]", "E:x", "D"} << true;
    QTest::newRow("entities") << QByteArray("<a t='&lt;&amp;&quot;&apos;&gt;'>&lt;b&gt; &amp; &quot;q&quot; "
                                            "&apos;</a>")
                              << QStringList{"S:a[t=<&\"'>]", "T:<b> & \"q\" '", "E:a", "D"} << true;
    QTest::newRow("character references")
        << QByteArray("<a v='&#x41;'>&#65;&#x42;&#x1f600;&#128512;&#32;</a>")
        << QStringList{"S:a[v=A]", QString::fromUtf16(u"T:AB\U0001F600\U0001F600"), "E:a", "D"} << true;
    QTest::newRow("unknown references kept")
        << QByteArray("<a>&foo; a & b &#xZZ; &#0; &#xD800; &#x110000;</a>")
        << QStringList{"S:a[]", "T:&foo; a & b &#xZZ; &#0; &#xD800; &#x110000;", "E:a", "D"} << true;
    QTest::newRow("CDATA merged with text") << QByteArray("<a> x <![CDATA[<y> &amp; ]]> z <![CDATA[ ]]></a>")
                                            << QStringList{"S:a[]", "T:x <y> &amp;  z", "E:a", "D"} << true;
    QTest::newRow("comments, PIs and DOCTYPE dropped")
        << QByteArray("<?xml version='1.0'?><!DOCTYPE Events [<!ENTITY e 'x>'>]><!-- <c> -->"
                      "<a>x<!-- <b> -->y<?pi <c>?>z</a><?end?>")
        << QStringList{"S:a[]", "T:xyz", "E:a", "D"} << true;
    QTest::newRow("white space silent and trimmed")
        << QByteArray("<a>\r\n\t <b> \t</b>  x y \r\n</a>")
        << QStringList{"S:a[]", "S:b[]", "E:b", "T:x y", "E:a", "D"} << true;
    QTest::newRow("line ends kept") << QByteArray("<a>one\r\ntwo\rthree\nfour&#13;&#10;five</a>")
                                    << QStringList{"S:a[]", "T:one\r\ntwo\rthree\nfour\r\nfive", "E:a", "D"}
                                    << true;
    QTest::newRow("self-closing")
        << QByteArray("<a><Data Name='Image'/><b /></a>")
        << QStringList{"S:a[]", "S:Data[Name=Image]", "E:Data", "S:b[]", "E:b", "E:a", "D"} << true;
    QTest::newRow("end tags need not match")
        << QByteArray("<a><b></a></c>") << QStringList{"S:a[]", "S:b[]", "E:a", "E:c", "D"} << true;
    QTest::newRow("text outside elements")
        << QByteArray("lead<a>x</a>tail") << QStringList{"T:lead", "S:a[]", "T:x", "E:a", "D"} << true;
    QTest::newRow("< inside a value") << QByteArray("<Data Name='x<y>'>v</Data>")
                                      << QStringList{"S:Data[Name=x<y>]", "T:v", "E:Data", "D"} << true;
    QTest::newRow("< where an attribute stands")
        << QByteArray("<Data Name='a' <b>v</b></Data <c>")
        << QStringList{"S:Data[Name=a]", "S:b[]", "T:v", "E:b", "E:Data", "S:c[]", "D"} << true;
    QTest::newRow("lenient attributes")
        << QByteArray("<a b=1 c d = \"2\" e=x/><f g=<h>")
        << QStringList{"S:a[b=1,c=,d=2,e=x]", "E:a", "S:f[g=]", "S:h[]", "D"} << true;
    QTest::newRow("cut off in a value")
        << QByteArray("<Events><Event><Data Name='a'>1</Data></Event><Event><Data Name='a'>tru")
        << QStringList{"S:Events[]", "S:Event[]", "S:Data[Name=a]", "T:1", "E:Data",
                       "E:Event",    "S:Event[]", "S:Data[Name=a]", "D"}
        << true;
    QTest::newRow("cut off in a start tag")
        << QByteArray("<a>x</a><b c='1") << QStringList{"S:a[]", "T:x", "E:a"} << false;
    QTest::newRow("cut off in an end tag") << QByteArray("<a>x</a") << QStringList{"S:a[]"} << false;
    QTest::newRow("cut off after <") << QByteArray("<a/><") << QStringList{"S:a[]", "E:a"} << false;
    QTest::newRow("cut off in a comment") << QByteArray("<a/><!-- x") << QStringList{"S:a[]", "E:a"} << false;
    QTest::newRow("cut off in CDATA") << QByteArray("<a><![CDATA[x") << QStringList{"S:a[]"} << false;
    QTest::newRow("cut off in a PI") << QByteArray("<a/><?pi") << QStringList{"S:a[]", "E:a"} << false;
    QTest::newRow("< and space") << QByteArray("<a>x</a>< b/><c/>") << QStringList{"S:a[]", "T:x", "E:a"}
                                 << false;
    QTest::newRow("< and digit") << QByteArray("<a/>x<1/>") << QStringList{"S:a[]", "E:a"} << false;
    QTest::newRow("< and equals") << QByteArray("<a>1 <= 2</a>") << QStringList{"S:a[]"} << false;
    QTest::newRow("</ and space") << QByteArray("<a></ a>") << QStringList{"S:a[]"} << false;
    QTest::newRow("empty document") << QByteArray() << QStringList{"D"} << true;
    QTest::newRow("only white space") << QByteArray(" \r\n\t") << QStringList{"D"} << true;
}

void TestSaxReader::reads() {
    QFETCH(QByteArray, xml);
    QFETCH(QStringList, expected);
    QFETCH(bool, ok);

    // Each case also read in the smallest chunks, so every item is cut at every place once.
    for (const std::size_t chunkSize : {TSaxReader::DefaultChunkSize, std::size_t{1}}) {
        TSaxReader reader(chunkSize);
        Recorder recorder;
        QCOMPARE(reader.parseBuffer(std::string_view(xml.constData(), xml.size()), recorder), ok);
        QCOMPARE(recorder.log, expected);
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
    QTest::newRow("UTF-8 declared") << document("UTF-8").toUtf8() << text;
    QTest::newRow("UTF-16LE BOM") << utf16(document("UTF-16"), false, true) << text;
    QTest::newRow("UTF-16BE BOM") << utf16(document("UTF-16"), true, true) << text;
    QTest::newRow("UTF-16LE no BOM") << utf16(document("UTF-16"), false, false) << text;
    QTest::newRow("UTF-16BE no BOM") << utf16(document("UTF-16"), true, false) << text;
    QTest::newRow("UTF-16LE no BOM, no declaration") << utf16("<a>" + text + "</a>", false, false) << text;
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
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();

    TSaxReader whole;
    Recorder expected;
    QVERIFY(whole.parseBuffer(std::string_view(bytes.constData(), bytes.size()), expected));
    QVERIFY(expected.log.contains("T:\"a.exe\" <x> \u00e9"));
    QVERIFY(expected.log.contains("T:x <y> zw"));

    TSaxReader pieces{std::size_t(chunkSize)};
    Recorder recorder;
    QVERIFY(pieces.parseFile(path.toStdString(), recorder));
    QCOMPARE(recorder.log, expected.log);
}

void TestSaxReader::errorPosition_data() {
    QTest::addColumn<int>("chunkSize");
    QTest::newRow("one chunk") << int(TSaxReader::DefaultChunkSize);
    QTest::newRow("chunks of 2") << 2;
}

void TestSaxReader::errorPosition() {
    QFETCH(int, chunkSize);

    const std::string_view xml = "<a>\n<b/>\n  <1";
    TSaxReader reader{std::size_t(chunkSize)};
    Recorder recorder;
    QVERIFY(!reader.parseBuffer(xml, recorder));
    QCOMPARE(reader.errorText(), "'<' not followed by a name at line 3, column 3 (byte 11)");

    // A later good parse clears it.
    QVERIFY(reader.parseBuffer("<a/>", recorder));
    QVERIFY(reader.errorText().empty());
}

void TestSaxReader::handlerExceptionPropagates() {
    class Throwing : public Recorder {
    public:
        void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override {
            if (name == "Data")
                throw HandlerFailure("'x' is not a valid integer value");
            Recorder::startElement(name, attributes);
        }
    };

    TSaxReader reader(4);
    Throwing handler;
    QVERIFY_THROWS_EXCEPTION(HandlerFailure, reader.parseBuffer("<a>t<Data Name='x'>1</Data></a>", handler));
    QCOMPARE(handler.log, QStringList({"S:a[]", "T:t"}));

    // The reader is fit for the next parse.
    Recorder recorder;
    QVERIFY(reader.parseBuffer("<a>t</a>", recorder));
    QCOMPARE(recorder.log, QStringList({"S:a[]", "T:t", "E:a", "D"}));
}

void TestSaxReader::requestStopEndsParse() {
    class Stopping : public Recorder {
    public:
        explicit Stopping(TSaxReader& reader) : m_reader(reader) {}
        void endElement(std::string_view name) override {
            Recorder::endElement(name);
            if (name == "EventData" && ++m_count == 2)
                m_reader.requestStop();
        }

    private:
        TSaxReader& m_reader;
        int m_count = 0;
    };

    const std::string_view xml = "<Events><EventData/><EventData/><EventData/></Events>";
    TSaxReader reader(8);
    Stopping handler(reader);
    QVERIFY(reader.parseBuffer(xml, handler));
    QCOMPARE(handler.log,
             QStringList({"S:Events[]", "S:EventData[]", "E:EventData", "S:EventData[]", "E:EventData"}));

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

void TestSaxReader::progressReachesFileSize() {
    class Watching : public Recorder {
    public:
        explicit Watching(const TSaxReader& reader) : m_reader(reader) {}
        void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override {
            Recorder::startElement(name, attributes);
            seen << m_reader.bytesRead();
        }
        QList<qint64> seen;

    private:
        const TSaxReader& m_reader;
    };

    QTemporaryDir dir;
    const QString path = dir.filePath("log.xml");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QByteArray bytes = richDocument().toUtf8();
    file.write(bytes);
    file.close();

    TSaxReader reader(1000);
    Watching handler(reader);
    QVERIFY(reader.parseFile(path.toStdString(), handler));
    QCOMPARE(reader.totalBytes(), bytes.size());
    QCOMPARE(reader.bytesRead(), bytes.size());
    QVERIFY(handler.seen.first() < bytes.size()); // read as it goes, not all up front
    QVERIFY(std::is_sorted(handler.seen.begin(), handler.seen.end()));
}

QTEST_GUILESS_MAIN(TestSaxReader)
#include "tst_SaxReader.moc"
