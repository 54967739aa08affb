// The whole import from an .evtx file against the import of the same events as XML: the databases must be
// identical, table by table and row by row.
#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "store/TMainDataModule.h"
#include "store/TQuery.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using V = EvtxLogBuilder;

namespace {

struct Item {
    QString name;
    V::Value value;
    QString text; // as a Windows export writes it
};

// A day of one machine in a few events of the busiest kinds, with the value types Sysmon gives them. The
// event at leftOut is written to the .evtx file only.
void sysmonDay(EvtxLogBuilder& evtx, SysmonLogBuilder& xml, int leftOut = -1) {
    int index = 0;
    const auto add = [&](int id, const QList<Item>& items) {
        EvtxLogBuilder::Items e;
        SysmonLogBuilder::Items x;
        for (const Item& item : items) {
            e << qMakePair(item.name, item.value);
            x << qMakePair(item.name, item.text);
        }
        evtx.event(id, e, "PC01.example.corp");
        if (index++ != leftOut)
            xml.event(id, x, "PC01.example.corp");
    };
    const auto s = [](const QString& name, const QString& text) { return Item{name, V::string(text), text}; };
    const Item guid{"ProcessGuid", V::guid("{365ABB72-D695-5C67-0000-00103C3E0100}"),
                    "{365ABB72-D695-5C67-0000-00103C3E0100}"};
    const Item pid{"ProcessId", V::u32(1608), "1608"};
    const Item image = s("Image", "C:\\Windows\\System32\\svchost.exe");
    add(1, {s("RuleName", ""),
            s("UtcTime", "2019-02-16 10:01:45.887"),
            guid,
            pid,
            image,
            s("CommandLine", "\"C:\\Windows\\system32\\svchost.exe\" -k netsvcs\r\n-p"),
            s("User", "NT AUTHORITY\\SYSTEM"),
            {"LogonGuid", V::guid("{365ABB72-0000-0000-0000-0020E7030000}"),
             "{365ABB72-0000-0000-0000-0020E7030000}"},
            {"LogonId", V::hex64(0x3e7), "0x3e7"},
            {"TerminalSessionId", V::u32(0), "0"},
            s("IntegrityLevel", "System"),
            s("Hashes", "SHA1=AB,MD5=CD,SHA256=EF,IMPHASH=01"),
            {"ParentProcessGuid", V::guid("{365abb72-0000-0000-0000-000000000001}"),
             "{365ABB72-0000-0000-0000-000000000001}"},
            {"ParentProcessId", V::u32(4), "4"},
            s("ParentImage", "C:\\Windows\\System32\\services.exe")});
    add(3, {s("UtcTime", "2019-02-16 10:01:46.100"),
            guid,
            pid,
            image,
            s("Protocol", "tcp"),
            {"Initiated", V::boolean(1), "true"},
            {"SourceIsIpv6", V::boolean(0), "false"},
            s("SourceIp", "10.0.2.16"),
            s("SourceHostname", "PC01.example.corp"),
            {"SourcePort", V::u16(57182), "57182"},
            s("SourcePortName", ""),
            {"DestinationIsIpv6", V::boolean(0), "false"},
            s("DestinationIp", "93.184.216.34"),
            s("DestinationHostname", ""),
            {"DestinationPort", V::u16(443), "443"},
            s("DestinationPortName", "https")});
    add(10, {s("UtcTime", "2019-02-16 10:01:47.000"),
             {"SourceProcessGUID", V::guid("{365ABB72-D695-5C67-0000-00103C3E0100}"),
              "{365ABB72-D695-5C67-0000-00103C3E0100}"},
             {"SourceProcessId", V::u32(1608), "1608"},
             {"SourceThreadId", V::u32(77), "77"},
             s("SourceImage", "C:\\a.exe"),
             {"TargetProcessGUID", V::guid("{365ABB72-D695-5C67-0000-0010AAAAAAAA}"),
              "{365ABB72-D695-5C67-0000-0010AAAAAAAA}"},
             {"TargetProcessId", V::u32(620), "620"},
             s("TargetImage", "C:\\Windows\\system32\\lsass.exe"),
             {"GrantedAccess", V::hex32(0x1410), "0x1410"},
             s("CallTrace", "C:\\Windows\\SYSTEM32\\ntdll.dll+a5314|UNKNOWN(0)")});
    add(13, {s("EventType", "SetValue"), s("UtcTime", "2019-02-16 10:01:48.000"), guid, pid, image,
             s("TargetObject", "HKLM\\System\\CurrentControlSet\\Services\\x\\Start"),
             s("Details", "DWORD (0x00000002)")});
    add(22, {s("UtcTime", "2019-02-16 10:01:49.000"), guid, pid, s("QueryName", "example.com"),
             s("QueryStatus", "0"), s("QueryResults", "type:  5 example.net;::ffff:93.184.216.34;"), image});
    add(4, {s("UtcTime", "2019-02-16 10:01:50.000"), s("State", "Started")});
    add(5, {s("UtcTime", "2019-02-16 10:01:51.000"), guid, pid, image});
}

QStringList dump(TMainDataModule& data) {
    QStringList out;
    // The events' tables; the case's list of imported files names the file itself.
    TQuery tables("tables", "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT IN "
                            "('CaseFiles', 'CaseEvents') ORDER BY name");
    tables.open(data.connection());
    QStringList names;
    for (; !tables.eof(); tables.next())
        names << tables.text(0);
    for (const QString& table : names) {
        const QString order = " ORDER BY rowid";
        TQuery rows("rows", ("SELECT * FROM \"" + table + "\"" + order).toStdString());
        rows.open(data.connection());
        for (; !rows.eof(); rows.next()) {
            QStringList cells{table};
            for (int i = 0; i < rows.fieldCount(); ++i)
                cells << (rows.value(i).isNull() ? QString("<null>") : rows.text(i));
            out << cells.join('|');
        }
    }
    return out;
}

} // namespace

class TestEvtxImport : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;

    struct Outcome {
        QStringList rows;
        QString label;
        int result;
    };
    Outcome import(const QString& log) {
        TMainDataModule data;
        data.setDatabasePath(m_dir.filePath(QString("db%1").arg(++m_counter)));
        data.OpenDatabase();
        TImportController import(data, "EMPTY", false);
        import.FileName = log;
        import.ButtonImportClick();
        import.waitForEnd();
        data.OpenDatabase();
        return {dump(data), import.report().labelMessage(), import.report().modalResult()};
    }

private slots:
    void sameDatabaseAsFromXml() {
        EvtxLogBuilder evtx;
        SysmonLogBuilder xml;
        for (int day = 0; day < 40; ++day)
            sysmonDay(evtx, xml);
        QVERIFY(evtx.chunkOffsets().size() > 1);
        // Told apart by content: neither file's name says what it is.
        const QString evtxPath = m_dir.filePath("events.log");
        const QString xmlPath = m_dir.filePath("events.dat");
        QVERIFY(evtx.write(evtxPath));
        QVERIFY(xml.write(xmlPath));
        const Outcome fromXml = import(xmlPath);
        const Outcome fromEvtx = import(evtxPath);
        QCOMPARE(fromXml.label, QString("Done! Imported 280 Events"));
        QCOMPARE(fromEvtx.label, fromXml.label);
        QCOMPARE(fromEvtx.result, 1);
        QCOMPARE(fromEvtx.rows.size(), fromXml.rows.size());
        QCOMPARE(fromEvtx.rows, fromXml.rows);
    }

    // A record that cannot be read whole is left out, and the events around it are stored exactly as if it
    // had never been there.
    void damagedRecordLeavesNoTrace() {
        EvtxLogBuilder evtx;
        SysmonLogBuilder xml;
        sysmonDay(evtx, xml, 2);
        QByteArray bytes = evtx.bytes();
        // The third event is the first process access: its EventData template is defined inside it. Its
        // element name is made to point at another name, so its items would never be closed.
        const auto nameStruct = [&](const char* name) {
            QByteArray chars(1, char(qstrlen(name)));
            chars.append('\0');
            for (const char* c = name; *c; ++c)
                chars.append(*c).append('\0');
            return quint32(bytes.indexOf(chars, evtx.recordOffsets()[0]) - 6 - evtx.chunkOffsets()[0]);
        };
        const quint32 eventData = nameStruct("EventData");
        const quint32 system = nameStruct("System");
        const qint64 at =
            bytes.indexOf(QByteArray(reinterpret_cast<const char*>(&eventData), 4), evtx.recordOffsets()[2]);
        QVERIFY(at > 0 && at < evtx.recordOffsets()[3]);
        bytes.replace(at, 4, QByteArray(reinterpret_cast<const char*>(&system), 4));
        const QString evtxPath = m_dir.filePath("damaged.evtx");
        QFile file(evtxPath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        const QString xmlPath = m_dir.filePath("without.xml");
        QVERIFY(xml.write(xmlPath));

        const Outcome fromEvtx = import(evtxPath);
        const Outcome fromXml = import(xmlPath);
        QCOMPARE(fromEvtx.result, 1);
        QCOMPARE(fromEvtx.label, QString("Done! Imported 6 Events\n"
                                         "1 damaged records could not be read and were skipped\n"
                                         "1 chunks failed their checksum; 6 imported events come from them"));
        QCOMPARE(fromEvtx.rows, fromXml.rows);
    }
};

QTEST_GUILESS_MAIN(TestEvtxImport)
#include "tst_EvtxImport.moc"
