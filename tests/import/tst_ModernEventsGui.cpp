// The event types and items of later Sysmon versions, imported from the tests' own XML and .evtx logs and
// followed into the views: their rows, the session, the detail sheet, the search and the items listing.
#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"
#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TEventDetailForm.h"
#include "import/TImportController.h"
#include "store/AllEventsSearch.h"
#include "store/EventItems.h"
#include "store/SessionEvents.h"
#include "store/TMainDataModule.h"
#include "store/TQuery.h"
#include "toolkit/TPropertyGrid.h"

#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <memory>

using namespace kelvane;
using namespace kelvane::ui;
using V = EvtxLogBuilder;

namespace {

const QString kGuid = "{365ABB72-D695-5C67-0000-00103C3E0100}";
const QString kImage = "C:\\Tools\\wiper.exe";

using Items = QList<QPair<QString, QString>>;

// The items of one event as Sysmon writes them, with a GUID and a process id typed as in a real .evtx.
Items withProcess(const Items& rest) {
    Items items{{"RuleName", "-"},      {"UtcTime", "2024-03-01 09:00:01.500"},
                {"ProcessGuid", kGuid}, {"ProcessId", "4412"},
                {"User", "CORP\\ana"},  {"Image", kImage}};
    return items + rest;
}

V::Value evtxValue(const QString& name, const QString& text) {
    if (name.endsWith("ProcessGuid"))
        return V::guid(text);
    if (name == "ProcessId")
        return V::u32(text.toUInt());
    return V::string(text);
}

enum class Format { Xml, Evtx };

} // namespace

class TestModernEvents : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<TMainDataModule> m_data;
    QWidget m_owner;
    int m_counter = 0;

    // Imports the events into a new database, as XML or as .evtx.
    void import(const QList<QPair<int, Items>>& events, Format format) {
        const QString log = m_dir.filePath(QString("log%1").arg(++m_counter));
        if (format == Format::Xml) {
            SysmonLogBuilder xml;
            for (const auto& [id, items] : events)
                xml.event(id, items);
            QVERIFY(xml.write(log));
        } else {
            EvtxLogBuilder evtx;
            for (const auto& [id, items] : events) {
                EvtxLogBuilder::Items typed;
                for (const auto& [name, text] : items)
                    typed << qMakePair(name, evtxValue(name, text));
                evtx.event(id, typed);
            }
            QVERIFY(evtx.write(log));
        }
        MainDataModule = nullptr;
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath(QString("db%1").arg(m_counter)));
        m_data->OpenDatabase();
        {
            TImportController import(*m_data, "KEY", true, QString());
            import.FileName = log;
            import.ButtonImportClick();
            import.waitForEnd();
            QCOMPARE(import.report().labelMessage(), QString("Done! Imported %1 Events").arg(events.size()));
        }
        m_data->OpenDatabase();
        MainDataModule = m_data.get();
    }

    QStringList rows(const QString& sql) {
        TQuery q("check", sql.toStdString());
        q.open(m_data->connection());
        QStringList out;
        for (; !q.eof(); q.next()) {
            QStringList cells;
            for (int i = 0; i < q.fieldCount(); ++i)
                cells << q.text(i);
            out << cells.join('|');
        }
        return out;
    }
    QStringList storedExtras(std::int64_t gid) {
        QStringList out;
        for (const auto& [name, value] : readExtraItems(m_data->connection(), gid))
            out << QString::fromStdString(name + '=' + value);
        return out;
    }

    QStringList itemsListing() {
        QStringList lines;
        forEachEventItems(m_data->connection(),
                          [&](const EventItems& e) { lines << QString::fromStdString(itemsLine(e)); });
        return lines;
    }

    // The rows of a detail sheet's "More items" grid as name=value.
    static QStringList moreItems(const TEventDetailForm& form) {
        QStringList shown;
        const TPropertyGrid* grid = form.moreItemsGrid();
        for (int i = 0; i < grid->rowCount(); ++i)
            shown << grid->rowName(i) + '=' + grid->value(i);
        return shown;
    }

private slots:
    void cleanupTestCase() { MainDataModule = nullptr; }

    void newTypeIsFirstClass_data() {
        QTest::addColumn<int>("id");
        QTest::addColumn<int>("format");
        QTest::addColumn<Items>("items");
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown"); // a row of the sheet: field=text
        const Items deleted{{"TargetFilename", "C:\\Users\\ana\\Documents\\q3-report.docx"},
                            {"Hashes", "MD5=0A1B,SHA256=FF00,IMPHASH=00"},
                            {"IsExecutable", "false"}};
        const QList<std::tuple<int, Items, QString, QString, QString>> types = {
            {23, withProcess(deleted + Items{{"Archived", "true"}}), "FileDeleteArchived",
             "File Delete archived", "MD5=0A1B"},
            {24,
             withProcess({{"Session", "1"},
                          {"ClientInfo", "user: ana ip: 10.0.0.9"},
                          {"Hashes", "SHA1=77"},
                          {"Archived", "false"}}),
             "ClipboardChanged", "Clipboard changed", "ClientInfo=user: ana ip: 10.0.0.9"},
            {25, withProcess({{"Type", "Image is replaced"}}), "ProcessTampering", "Process Tampering",
             "Type=Image is replaced"},
            {26, withProcess(deleted), "FileDeleteLogged", "File Delete logged",
             "TargetFilename=C:\\Users\\ana\\Documents\\q3-report.docx"},
            {27, withProcess(deleted.mid(0, 2)), "FileBlockExecutable", "File Block Executable",
             "SHA256=FF00"},
            {28, withProcess(deleted), "FileBlockShredding", "File Block Shredding", "IsExecutable=false"},
            {29, withProcess(deleted.mid(0, 2)), "FileExecutableDetected", "File Executable Detected",
             "Image=" + kImage},
            {4,
             {{"UtcTime", "2024-03-01 09:00:01.500"},
              {"State", "Started"},
              {"Version", "15.14"},
              {"SchemaVersion", "4.90"}},
             "SysmonServiceStateChanged",
             "Sysmon service state changed",
             "Version=15.14"},
            {16,
             {{"UtcTime", "2024-03-01 09:00:01.500"},
              {"Configuration", "C:\\sysmon.xml"},
              {"ConfigurationFileHash", "SHA256=AB12"}},
             "SysmonConfigStateChanged",
             "Sysmon config state changed",
             "Configuration=C:\\sysmon.xml"},
            {255,
             {{"UtcTime", "2024-03-01 09:00:01.500"},
              {"ID", "DriverCommunication"},
              {"Description", "Failed"}},
             "SysmonError",
             "Error",
             "ID=DriverCommunication"},
        };
        for (const auto& [id, items, table, name, shown] : types)
            for (Format format : {Format::Xml, Format::Evtx})
                QTest::addRow("%d %s", id, format == Format::Xml ? "xml" : "evtx")
                    << id << int(format) << items << table << name << shown;
    }

    void newTypeIsFirstClass() {
        QFETCH(int, id);
        QFETCH(int, format);
        QFETCH(Items, items);
        QFETCH(QString, table);
        QFETCH(QString, name);
        QFETCH(QString, shown);
        const bool processBound = items.contains(qMakePair(QString("ProcessGuid"), kGuid));
        // The process starts first, so that the new event joins its session; an item of a future Sysmon
        // comes last.
        import({{1, withProcess(
                        {{ "CommandLine",
                           "wiper.exe /all" }})},
                { id,
                  items +
                      Items {
                          { "FutureItem",
                            "kept as it came" }
                      } }},
               Format(format));

        // Its own row holds every item that has a column.
        for (const auto& [item, value] : items)
            if (item != "Hashes")
                QCOMPARE(rows(QString("SELECT \"%1\" FROM %2").arg(item, table)), QStringList{value});
        QCOMPARE(rows("SELECT FID FROM " + table), QStringList{"2"});
        // Types without a process share one fixed session word, as WMI activity does.
        const QMap<int, QString> words{
            {4, "sysmonServiceState"}, {16, "sysmonConfigState"}, {255, "sysmonError"}};
        QCOMPARE(
            rows("SELECT EventType, EventTypeName, CorrelationGuid FROM AllEvents WHERE GID = 2"),
            QStringList{QString("%1|%2|%3").arg(id).arg(name).arg(processBound ? kGuid : words.value(id))});
        QCOMPARE(storedExtras(2), QStringList{"FutureItem=kept as it came"});

        // Process-bound types reach the process view and the session of their process.
        QCOMPARE(rows(QString("SELECT ImageExe FROM AllImageExes WHERE EventType = %1").arg(id)),
                 processBound ? QStringList{"wiper.exe"} : QStringList{});
        QList<int> session;
        for (const SessionEvent& e : readSessionEvents(*m_data, kGuid.toLower()))
            session << e.eventType;
        QCOMPARE(session, processBound ? (QList<int>{1, id}) : QList<int>{1});

        // Its sheet shows its items and, below them, the one no column takes.
        auto* form = qobject_cast<TEventDetailForm*>(openDetailFormByType(&m_owner, *m_data, id, 2));
        QVERIFY(form);
        QCOMPARE(form->windowTitle(), table + " Event Details");
        QCOMPARE(shown.section('=', 0, 0) + '=' + form->fieldText(shown.section('=', 0, 0)), shown);
        QCOMPARE(moreItems(*form), QStringList{"FutureItem=kept as it came"});
        QVERIFY(form->findChild<QToolButton*>("ButtonMoreItems")->isChecked());
        form->close();

        // The search finds it by an item of its table and by an item of no column.
        const QString term = shown.section('=', 1);
        QVERIFY(searchEventIds(m_data->connection(), term).size() >= 1);
        QCOMPARE(searchEventIds(m_data->connection(), "as it came"), (std::vector<std::int64_t>{2}));
    }

    void modernProcessCreateKeepsItsItems_data() {
        QTest::addColumn<int>("format");
        QTest::newRow("xml") << int(Format::Xml);
        QTest::newRow("evtx") << int(Format::Evtx);
    }
    void modernProcessCreateKeepsItsItems() {
        QFETCH(int, format);
        // Sysmon 15 writes these among the items of the first layout.
        import({{ 1,
                  withProcess({{"FileVersion", "10.0.19041.1"},
                               {"Description", "Windows Command Processor"},
                               {"Product", "Microsoft Windows"},
                               {"Company", "Contoso Ltd."},
                               {"OriginalFileName", "Cmd.Exe"},
                               {"CommandLine", "cmd /c whoami"},
                               { "ParentUser",
                                 "CORP\\svc" }}) }},
               Format(format));
        const QStringList extras{"FileVersion=10.0.19041.1", "Description=Windows Command Processor",
                                 "Product=Microsoft Windows", "Company=Contoso Ltd.", "ParentUser=CORP\\svc"};
        QCOMPARE(storedExtras(1), extras);
        QCOMPARE(rows("SELECT OriginalFileName, CommandLine FROM ProcessCreate"),
                 QStringList{"Cmd.Exe|cmd /c whoami"});

        auto* form = qobject_cast<TEventDetailForm*>(openDetailFormByType(&m_owner, *m_data, 1, 1));
        QVERIFY(form);
        QCOMPARE(moreItems(*form), extras);
        form->close();
        QCOMPARE(searchEventIds(m_data->connection(), "contoso"), (std::vector<std::int64_t>{1}));
    }

    void sheetWithoutExtraItemsKeepsTheSectionClosed() {
        import({{ 5, withProcess({}) }}, Format::Xml);
        auto* form = qobject_cast<TEventDetailForm*>(openDetailFormByType(&m_owner, *m_data, 5, 1));
        QVERIFY(form);
        // User is no column of a process end in the first layout.
        QCOMPARE(moreItems(*form), QStringList{"User=CORP\\ana"});
        form->close();
        import({{ 5, { {"UtcTime", "2024-03-01 09:00:01.500"}, { "ProcessGuid", kGuid } } }}, Format::Xml);
        form = qobject_cast<TEventDetailForm*>(openDetailFormByType(&m_owner, *m_data, 5, 1));
        const auto* button = form->findChild<QToolButton*>("ButtonMoreItems");
        QVERIFY(!button->isChecked() && !button->isEnabled());
        QVERIFY(form->moreItemsGrid()->isHidden());
        form->close();
    }

    void xmlAndEvtxGiveTheSameItems() {
        const QList<QPair<int, Items>> events = {
            {1, withProcess({{"CommandLine", "a\tb \\ c"}, {"Hashes", "SHA1=AA,MD5=BB"}, {"Product", "X"}})},
            {23, withProcess({{"TargetFilename", "C:\\t.txt"},
                              {"Hashes", "MD5=CC"},
                              {"IsExecutable", "false"},
                              {"Archived", "true"}})},
            {16, {{"UtcTime", "2024-03-01 09:00:02.000"}, {"Configuration", "C:\\s.xml"}}},
            {13, withProcess({{"EventType", "SetValue"}, {"TargetObject", "HKLM\\x"}, {"Details", "1"}})},
        };
        import(events, Format::Xml);
        const QStringList fromXml = itemsListing();
        import(events, Format::Evtx);
        QCOMPARE(itemsListing(), fromXml);
        // Column items in the catalogue's order (absent ones as the import stores them), then the rest
        // in the order of the log.
        QCOMPARE(fromXml.value(1),
                 QString("2\t23\tUtcTime=2024-03-01 09:00:01.500\tRuleName=-\t"
                         "ProcessGuid=%1\tProcessId=4412\tUser=CORP\\\\ana\tImage=C:\\\\Tools\\\\"
                         "wiper.exe\tTargetFilename=C:\\\\t.txt\tHashes=MD5=CC\t"
                         "IsExecutable=false\tArchived=true")
                     .arg(kGuid));
        QVERIFY(fromXml.value(0).contains("\tCommandLine=a\\tb \\\\ c\t"));
        QVERIFY(fromXml.value(0).endsWith("\tProduct=X"));
        QCOMPARE(readEventItems(m_data->connection(), 3)->items.back(),
                 (std::pair<std::string, std::string>("ConfigurationFileHash", "")));
    }
};

QTEST_MAIN(TestModernEvents)
#include "tst_ModernEventsGui.moc"
