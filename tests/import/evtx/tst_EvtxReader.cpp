// The .evtx reader against the XML reader: the same events written both ways must give the sink the
// same calls; damaged files lose only what is damaged.
#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"
#include "import/evtx/TEvtxReader.h"
#include "import/xml/TSaxReader.h"
#include "import/xml/TSysmonEventReader.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using V = EvtxLogBuilder;

namespace {

struct Calls : EventItemSink {
    QStringList list;
    void eventIdText(std::string_view t) override {
        list << "id " + QString::fromUtf8(t.data(), qsizetype(t.size()));
    }
    void dataItem(std::string_view n, std::string_view t) override {
        list << QString::fromUtf8(n.data(), qsizetype(n.size())) + "=" +
                    QString::fromUtf8(t.data(), qsizetype(t.size()));
    }
    void computerText(std::string_view t) override {
        list << "computer " + QString::fromUtf8(t.data(), qsizetype(t.size()));
    }
    void endEventData() override { list << "end"; }
};

QStringList xmlCalls(const QByteArray& xml) {
    Calls calls;
    TSysmonElementFilter filter(calls);
    TSaxReader reader;
    reader.parseBuffer(xml.toStdString(), filter);
    return calls.list;
}

const V::Value kTime = V::string("2020-01-01 00:00:00.000");

} // namespace

Q_DECLARE_METATYPE(EvtxLogBuilder::Value)

class TestEvtxReader : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;
    qint64 m_skipped = 0;

    QStringList evtxCalls(const QByteArray& bytes, int threads = 2) {
        const QString path = m_dir.filePath(QString("f%1.evtx").arg(++m_files));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return {"cannot write"};
        file.write(bytes);
        file.close();
        Calls calls;
        TEvtxReader reader(threads);
        reader.read(path.toStdString(), calls);
        m_skipped = reader.recordsSkipped();
        return calls.list;
    }

    // 150 numbered events in three chunks.
    static EvtxLogBuilder threeChunks() {
        EvtxLogBuilder log;
        for (int i = 0; i < 150; ++i) {
            if (i == 50 || i == 100)
                log.newChunk();
            log.event(5,
                      {{"UtcTime", kTime}, {"ProcessGuid", V::string("{P}")}, {"Seq", V::u32(quint32(i))}});
        }
        return log;
    }
    static QList<int> sequence(const QStringList& calls) {
        QList<int> seqs;
        for (const QString& call : calls)
            if (call.startsWith("Seq="))
                seqs << call.mid(4).toInt();
        return seqs;
    }
    static QList<int> range(int from, int to, QList<int> except = {}) {
        QList<int> out;
        for (int i = from; i < to; ++i)
            if (!except.contains(i))
                out << i;
        return out;
    }

private slots:
    void valuesAsWindowsRendersThem_data() {
        QTest::addColumn<V::Value>("value");
        QTest::addColumn<QString>("text"); // as a Windows export writes it
        QTest::newRow("guid") << V::guid("{365abb72-d695-5c67-0000-00103c3e0100}")
                              << "{365ABB72-D695-5C67-0000-00103C3E0100}";
        QTest::newRow("uint32") << V::u32(4294967295u) << "4294967295";
        QTest::newRow("uint16") << V::u16(443) << "443";
        QTest::newRow("uint8") << V::u8(200) << "200";
        QTest::newRow("int32") << V::i32(-5) << "-5";
        QTest::newRow("uint64") << V::u64(18446744073709551615ull) << "18446744073709551615";
        QTest::newRow("bool") << V::boolean(1) << "true";
        QTest::newRow("bool other than one") << V::boolean(8) << "true";
        QTest::newRow("bool false") << V::boolean(0) << "false";
        QTest::newRow("hexint32") << V::hex32(0x1410) << "0x1410";
        QTest::newRow("hexint32 zero") << V::hex32(0) << "0x0";
        QTest::newRow("hexint64") << V::hex64(0x3e7) << "0x3e7";
        QTest::newRow("sid") << V::sid("S-1-5-21-1004336348-1177238915-682003330-512")
                             << "S-1-5-21-1004336348-1177238915-682003330-512";
        QTest::newRow("filetime") << V::fileTime(132000000000000001ull) << "2019-04-17T18:40:00.000000100Z";
        QTest::newRow("systemtime") << V::systemTime(2019, 3, 8, 23, 23, 5, 7)
                                    << "2019-03-08T23:23:05.007000000Z";
        QTest::newRow("binary") << V::binary(QByteArray("\x00\xA1\xff", 3)) << "00A1FF";
        QTest::newRow("quotes and line breaks") << V::string("a \"b\"\r\nc\nd") << "a \"b\"\r\nc\nd";
        QTest::newRow("markup characters") << V::string("a&b<c>'") << "a&b<c>'";
        QTest::newRow("trailing nul") << V::string("abc", true) << "abc";
        QTest::newRow("blanks around") << V::string("  x y  ") << "  x y  ";
        QTest::newRow("empty") << V::string("") << "";
        QTest::newRow("null") << V::null(8) << "";
        QTest::newRow("non-ascii") << V::string(QString::fromUtf8("C:\\Users\\Jörg\\日本\\😀.exe"))
                                   << QString::fromUtf8("C:\\Users\\Jörg\\日本\\😀.exe");
    }
    void valuesAsWindowsRendersThem() {
        QFETCH(V::Value, value);
        QFETCH(QString, text);
        const QStringList fromEvtx = evtxCalls(
            EvtxLogBuilder().event(1, {{"UtcTime", kTime}, {"X", value}, {"Y", V::u32(1)}}).bytes());
        const QStringList fromXml =
            xmlCalls(SysmonLogBuilder()
                         .event(1, {{"UtcTime", "2020-01-01 00:00:00.000"}, {"X", text}, {"Y", "1"}})
                         .utf8());
        QCOMPARE(fromEvtx, fromXml);
        QCOMPARE(m_skipped, 0);
    }

    void recordShapes_data() {
        QTest::addColumn<QByteArray>("evtx");
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("plain elements")
            << EvtxLogBuilder()
                   .plainEvent(3, {{"Image", "C:\\a&b>.exe"}, {"DestinationIp", "10.0.0.1"}}, "PC-9")
                   .bytes()
            << SysmonLogBuilder()
                   .event(3, {{"Image", "C:\\a&b>.exe"}, {"DestinationIp", "10.0.0.1"}}, "PC-9")
                   .utf8();
        // Each item of an array repeats its element: the second Data of the same name is dropped, as in XML.
        QTest::newRow("array")
            << EvtxLogBuilder().event(1, {{"Tags", V::stringArray({"a", "b"})}, {"Z", V::u16(7)}}).bytes()
            << SysmonLogBuilder().event(1, {{"Tags", "a"}, {"Tags", "b"}, {"Z", "7"}}).utf8();
        QTest::newRow("other channels left out")
            << EvtxLogBuilder()
                   .event(4624, {{"TargetUserName", V::string("bob")}}, "DC", "Security")
                   .event(5, {{"UtcTime", kTime}})
                   .plainEvent(7, {{"Image", "x"}})
                   .bytes()
            << SysmonLogBuilder()
                   .event(5, {{"UtcTime", "2020-01-01 00:00:00.000"}})
                   .event(7, {{"Image", "x"}})
                   .utf8();
        EvtxLogBuilder many;
        SysmonLogBuilder manyXml;
        for (int i = 0; i < 700; ++i) {
            const QString computer = QString("WS-%1").arg(i % 3);
            const QString image = QString("C:\\Windows\\System32\\prog%1.exe").arg(i % 17);
            many.event(1 + i % 22,
                       {{"UtcTime", kTime}, {"Image", V::string(image)}, {"ProcessId", V::u32(quint32(i))}},
                       computer);
            manyXml.event(
                1 + i % 22,
                {{"UtcTime", "2020-01-01 00:00:00.000"}, {"Image", image}, {"ProcessId", QString::number(i)}},
                computer);
        }
        QVERIFY(many.chunkOffsets().size() >= 3);
        QTest::newRow("several chunks") << many.bytes() << manyXml.utf8();
    }
    void recordShapes() {
        QFETCH(QByteArray, evtx);
        QFETCH(QByteArray, xml);
        const QStringList expected = xmlCalls(xml);
        QCOMPARE(evtxCalls(evtx, 1), expected);
        QCOMPARE(evtxCalls(evtx, 3), expected);
        QCOMPARE(m_skipped, 0);
    }

    void damage_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QList<int>>("kept");
        QTest::addColumn<int>("skipped");
        const EvtxLogBuilder log = threeChunks();
        const QByteArray whole = log.bytes();
        const QList<qint64> chunk = log.chunkOffsets();
        const QList<qint64> record = log.recordOffsets();
        const auto changed = [&](qint64 at, const QByteArray& with) {
            QByteArray b = whole;
            b.replace(at, with.size(), with);
            return b;
        };
        QTest::newRow("intact") << whole << range(0, 150) << 0;
        QTest::newRow("file header destroyed") << changed(0, QByteArray(128, 'x')) << range(0, 150) << 0;
        QTest::newRow("file header checksum") << changed(0x7C, "\x01\x02") << range(0, 150) << 0;
        QTest::newRow("chunk header checksum") << changed(chunk[1] + 0x7C, "\x01\x02") << range(0, 150) << 0;
        QTest::newRow("chunk string table zeroed")
            << changed(chunk[1] + 0x80, QByteArray(256, '\0')) << range(0, 150) << 0;
        QTest::newRow("chunk header fields destroyed")
            << changed(chunk[1] + 8, QByteArray(0x70, '\xEE')) << range(0, 150) << 0;
        QTest::newRow("chunk records checksum") << changed(chunk[0] + 0x34, "\x01\x02") << range(0, 150) << 0;
        QTest::newRow("chunk signature destroyed")
            << changed(chunk[1], "XXXXXXXX") << range(0, 150, range(50, 100)) << 0;
        QTest::newRow("cut in a record") << whole.left(record[75] + 40) << range(0, 75) << 1;
        QTest::newRow("cut between chunks") << whole.left(chunk[2]) << range(0, 100) << 0;
        QTest::newRow("length past the chunk")
            << changed(record[60] + 4, QByteArray("\x00\x00\x02\x00", 4)) << range(0, 150, {60}) << 1;
        QTest::newRow("size copy differs")
            << changed(record[61] - 4, QByteArray("\x08\x00\x00\x00", 4)) << range(0, 150, {60}) << 1;
        QTest::newRow("binary xml overwritten")
            << changed(record[20] + 28, QByteArray(6, '\xFF')) << range(0, 150, {20}) << 1;
        QTest::newRow("zeroed records") << changed(record[30], QByteArray(int(record[32] - record[30]), '\0'))
                                        << range(0, 150, {30, 31}) << 1;
        // A wrapped log: the oldest chunk sits in a later slot.
        QByteArray wrapped = whole;
        wrapped.replace(chunk[0], 0x10000, whole.mid(chunk[2], 0x10000));
        wrapped.replace(chunk[2], 0x10000, whole.mid(chunk[0], 0x10000));
        QTest::newRow("chunks out of slot order") << wrapped << range(0, 150) << 0;
        QTest::newRow("shifted by three bytes") << QByteArray("abc") + whole.mid(8) << range(0, 150) << 0;
    }
    void damage() {
        QFETCH(QByteArray, bytes);
        QFETCH(QList<int>, kept);
        QFETCH(int, skipped);
        QCOMPARE(sequence(evtxCalls(bytes)), kept);
        QCOMPARE(m_skipped, skipped);
    }

    void unreadableFile() {
        Calls calls;
        TEvtxReader reader;
        QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                                 reader.read(m_dir.filePath("missing.evtx").toStdString(), calls));
    }
};

QTEST_GUILESS_MAIN(TestEvtxReader)
#include "tst_EvtxReader.moc"
