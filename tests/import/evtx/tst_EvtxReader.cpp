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

// The losses that are not zero, as "damaged=1 stale=2 ...".
QString describe(const ReadLosses& l) {
    QStringList parts;
    const auto part = [&](const char* name, std::int64_t value) {
        if (value)
            parts << QString("%1=%2").arg(name).arg(value);
    };
    part("damaged", l.recordsDamaged);
    part("stale", l.recordsStale);
    part("repeated", l.recordsRepeated);
    part("cutChunks", l.chunksCut);
    part("cutRecords", l.recordsCut);
    part("failedChunks", l.chunksChecksumFailed);
    part("fromFailed", l.recordsFromFailedChunks);
    part("recovered", l.chunksWithoutSignature);
    return parts.join(' ');
}

} // namespace

Q_DECLARE_METATYPE(EvtxLogBuilder::Value)

class TestEvtxReader : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;
    ReadLosses m_losses;

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
        m_losses = reader.losses();
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
        QCOMPARE(describe(m_losses), QString());
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
        QCOMPARE(describe(m_losses), QString());
    }

    void damage_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QList<int>>("kept");
        QTest::addColumn<QString>("losses");
        const EvtxLogBuilder log = threeChunks();
        const QByteArray whole = log.bytes();
        const QList<qint64> chunk = log.chunkOffsets();
        const QList<qint64> record = log.recordOffsets();
        const auto changed = [&](QByteArray b, qint64 at, const QByteArray& with) {
            b.replace(at, with.size(), with);
            return b;
        };
        const auto u32 = [](quint32 v) { return QByteArray(reinterpret_cast<const char*>(&v), 4); };
        const auto u64 = [](quint64 v) { return QByteArray(reinterpret_cast<const char*>(&v), 8); };
        QTest::newRow("intact") << whole << range(0, 150) << "";
        QTest::newRow("file header destroyed")
            << changed(whole, 0, QByteArray(128, 'x')) << range(0, 150) << "";
        QTest::newRow("file header checksum") << changed(whole, 0x7C, "\x01\x02") << range(0, 150) << "";
        QTest::newRow("chunk header checksum")
            << changed(whole, chunk[1] + 0x7C, "\x01\x02") << range(0, 150) << "";
        QTest::newRow("chunk string table zeroed")
            << changed(whole, chunk[1] + 0x80, QByteArray(256, '\0')) << range(0, 150) << "";
        QTest::newRow("chunk header fields destroyed")
            << changed(whole, chunk[1] + 8, QByteArray(0x70, '\xEE')) << range(0, 150)
            << "failedChunks=1 fromFailed=50";
        QTest::newRow("records checksum")
            << changed(whole, chunk[0] + 0x34, "\x01\x02") << range(0, 150) << "failedChunks=1 fromFailed=50";
        // A value changed under a header that is intact: imported as it reads, but said to be doubtful.
        const qint64 time = whole.indexOf(QByteArray("2\x00"
                                                     "0\x00"
                                                     "2\x00"
                                                     "0\x00"),
                                          record[70]);
        QTest::newRow("value byte flipped")
            << changed(whole, time, "3") << range(0, 150) << "failedChunks=1 fromFailed=50";
        QTest::newRow("chunk signature destroyed")
            << changed(whole, chunk[1], "XXXXXXXX") << range(0, 150) << "recovered=1";
        QTest::newRow("one signature byte")
            << changed(whole, chunk[2] + 3, "c") << range(0, 150) << "recovered=1";
        QTest::newRow("cut between chunks") << whole.left(chunk[2]) << range(0, 100) << "";
        QTest::newRow("length past the chunk")
            << changed(whole, record[60] + 4, QByteArray("\x00\x00\x02\x00", 4)) << range(0, 150, {60})
            << "damaged=1 failedChunks=1 fromFailed=49";
        QTest::newRow("size copy differs")
            << changed(whole, record[61] - 4, QByteArray("\x08\x00\x00\x00", 4)) << range(0, 150, {60})
            << "damaged=1 failedChunks=1 fromFailed=49";
        QTest::newRow("binary xml overwritten")
            << changed(whole, record[20] + 28, QByteArray(6, '\xFF')) << range(0, 150, {20})
            << "damaged=1 failedChunks=1 fromFailed=49";
        QTest::newRow("zeroed records")
            << changed(whole, record[30], QByteArray(int(record[32] - record[30]), '\0'))
            << range(0, 150, {30, 31}) << "damaged=1 failedChunks=1 fromFailed=48";

        // Leftovers of an older generation behind the live records (here: copies of the third chunk's
        // first five), which a damaged header no longer fences off.
        QByteArray stale = whole;
        const quint32 liveEnd = *reinterpret_cast<const quint32*>(whole.constData() + chunk[0] + 0x30);
        stale.replace(chunk[0] + liveEnd, int(record[105] - record[100]),
                      whole.mid(record[100], record[105] - record[100]));
        QTest::newRow("stale records behind a damaged free space offset")
            << changed(stale, chunk[0] + 0x30, u32(0x10000)) << range(0, 150)
            << "stale=5 failedChunks=1 fromFailed=50";
        QTest::newRow("stale records, last id damaged too")
            << changed(changed(stale, chunk[0] + 0x30, u32(0x10000)), chunk[0] + 0x20, u64(0x7FFF))
            << range(0, 150) << "stale=5 failedChunks=1 fromFailed=50";
        QTest::newRow("stale records under an intact header") << stale << range(0, 150) << "";
        // A copy of a chunk in another slot: its records are read once.
        QTest::newRow("chunk repeated")
            << changed(whole, chunk[2], whole.mid(chunk[1], 0x10000)) << range(0, 100) << "repeated=50";
        // A wrapped log: the oldest chunk sits in a later slot.
        QByteArray wrapped = whole;
        wrapped.replace(chunk[0], 0x10000, whole.mid(chunk[2], 0x10000));
        wrapped.replace(chunk[2], 0x10000, whole.mid(chunk[0], 0x10000));
        QTest::newRow("chunks out of slot order") << wrapped << range(0, 150) << "";
        QTest::newRow("shifted by three bytes") << QByteArray("abc") + whole.mid(8) << range(0, 150) << "";
    }
    void damage() {
        QFETCH(QByteArray, bytes);
        QFETCH(QList<int>, kept);
        QFETCH(QString, losses);
        QCOMPARE(sequence(evtxCalls(bytes)), kept);
        QCOMPARE(describe(m_losses), losses);
    }

    // A file cut anywhere keeps every record before the cut, and says how many the header promised.
    void cutFiles_data() {
        QTest::addColumn<int>("cutInRecord"); // the record of the last chunk the cut falls in
        QTest::addColumn<int>("bytesIntoIt");
        QTest::newRow("in the first record's header") << 100 << 4;
        QTest::newRow("between two records") << 120 << 0;
        QTest::newRow("in a record's header") << 120 << 10;
        QTest::newRow("in a record's binary XML") << 130 << 60;
        QTest::newRow("in the last record's size copy") << 149 << -2;
    }
    void cutFiles() {
        QFETCH(int, cutInRecord);
        QFETCH(int, bytesIntoIt);
        const EvtxLogBuilder log = threeChunks();
        // The last record's end is where the free space starts.
        const QByteArray whole = log.bytes();
        const quint32 freeSpace =
            *reinterpret_cast<const quint32*>(whole.constData() + log.chunkOffsets()[2] + 0x30);
        const qint64 end = bytesIntoIt >= 0 ? log.recordOffsets()[cutInRecord] + bytesIntoIt
                                            : log.chunkOffsets()[2] + freeSpace + bytesIntoIt;
        QCOMPARE(sequence(evtxCalls(whole.left(end))), range(0, cutInRecord));
        QCOMPARE(describe(m_losses), QString("cutChunks=1 cutRecords=%1").arg(150 - cutInRecord));
    }

    // A record damaged inside its EventData is read completely or not at all: the event after it gets
    // exactly its own items.
    void damagedEventData_data() {
        QTest::addColumn<QString>("damage");
        QTest::newRow("EventData element renamed") << "EventData name";
        QTest::newRow("Data element name points at no name") << "Data name";
        QTest::newRow("value type unknown") << "type";
        QTest::newRow("value descriptor overwritten") << "descriptor";
        QTest::newRow("value length shorter") << "length";
        QTest::newRow("value length longer") << "longer";
    }
    void damagedEventData() {
        QFETCH(QString, damage);
        EvtxLogBuilder log;
        log.event(1, {{"UtcTime", V::string("2020-01-01 00:00:00.001")}, {"ProcessGuid", V::string("{A}")}});
        // Items of its own: its EventData template is defined inside it, so damage to it stays in it.
        log.event(1, {{"UtcTime", V::string("2020-01-01 00:00:00.002")},
                      {"ProcessGuid", V::string("{B}")},
                      {"Extra", V::string("b")}});
        log.event(1, {{"UtcTime", V::string("2020-01-01 00:00:00.003")}, {"ProcessGuid", V::string("{C}")}});
        QByteArray bytes = log.bytes();
        const qint64 chunk = log.chunkOffsets()[0];
        const qint64 damaged = log.recordOffsets()[1];
        const qint64 after = log.recordOffsets()[2];
        const auto nameOffset = [&](const QString& name) {
            // Its character count, then its characters.
            QByteArray chars(1, char(name.size()));
            chars.append('\0');
            for (const QChar c : name)
                chars.append(char(c.unicode())).append('\0');
            const qint64 at = bytes.indexOf(chars, log.recordOffsets()[0]);
            return quint32(at - 6 - chunk); // the name structure starts 6 bytes before its count
        };
        const auto u32 = [](quint32 v) { return QByteArray(reinterpret_cast<const char*>(&v), 4); };
        const auto replaceIn = [&](const QByteArray& what, const QByteArray& with) {
            const qint64 at = bytes.indexOf(what, damaged);
            QVERIFY(at > 0 && at < after);
            bytes.replace(at, with.size(), with);
        };
        const QByteArray timeDescriptor("\x2E\x00\x01\x00", 4); // 23 UTF-16 characters, a string
        if (damage == "EventData name")
            replaceIn(u32(nameOffset("EventData")), u32(nameOffset("System")));
        else if (damage == "Data name")
            replaceIn(u32(nameOffset("Data")), u32(nameOffset("Data") + 2));
        else if (damage == "type")
            replaceIn(timeDescriptor, QByteArray("\x2E\x00\x2F\x00", 4));
        else if (damage == "descriptor")
            replaceIn(timeDescriptor, QByteArray("\x2E\x00\x01\x01", 4));
        else if (damage == "length")
            replaceIn(timeDescriptor, QByteArray("\x2C\x00\x01\x00", 4));
        else
            replaceIn(timeDescriptor, QByteArray("\x30\x00\x01\x00", 4));

        const QStringList expected =
            xmlCalls(SysmonLogBuilder()
                         .event(1, {{"UtcTime", "2020-01-01 00:00:00.001"}, {"ProcessGuid", "{A}"}})
                         .event(1, {{"UtcTime", "2020-01-01 00:00:00.003"}, {"ProcessGuid", "{C}"}})
                         .utf8());
        QCOMPARE(evtxCalls(bytes), expected);
        QCOMPARE(describe(m_losses), QString("damaged=1 failedChunks=1 fromFailed=2"));
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
