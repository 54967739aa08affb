#include "details/gui/SessionChainWindow.h"
#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TDetailForms.h"
#include "details/gui/TSessionViewForm.h"
#include "settings/TSysmonEventData.h"
#include "settings/Utilities.h"
#include "store/EventRowReader.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TPropertyGrid.h"

#include <QApplication>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <memory>
#include <stdexcept>

using namespace kelvane;
using namespace kelvane::ui;

namespace {

// One row per event type that the tests open, with the session rows in AllEvents. The session
// {AAAA-1} is stored in capitals and its events out of GID order in time: 1, then 7, then 2.
const char* const kRows = R"sql(
INSERT INTO ProcessCreate (FID, UtcTime, ProcessGuid, ProcessId, LogonId, ParentProcessGuid)
VALUES (1, '2023-04-05 10:11:12.345', '{AAAA-1}', 4242, 999999999999, '{PARENT-1}');
INSERT INTO NetworkConnectionDetected (FID, Initiated, SourceIsIpv6, DestinationIsIpv6, SourceCountry,
    DestinationCountry, SourceHostname) VALUES (2, 1, 0, 1, 'Germany', 'France', 'ws-01.example.org');
INSERT INTO ProcessAccessed (FID, SourceProcessGUID, TargetProcessGUID, GrantedAccess, CallTrace)
VALUES (3, '{SRC-3}', '{TGT-3}', 2097151, 'C:\Windows\SYSTEM32\ntdll.dll+9f644|C:\Windows\System32\KERNELBASE.dll+212be');
INSERT INTO PipeCreated (FID, PipeName) VALUES (4, '\PSHost');
INSERT INTO RegistryValueSet (FID, EventType, TargetObject, Details)
VALUES (5, 'SetValue', 'HKLM\SOFTWARE\Test', 'DWORD (0x00000001)');
INSERT INTO WMIConsumer (FID, Operation, Name) VALUES (6, 'Created', 'Updater');
INSERT INTO DNSQuery (FID, RuleName, QueryName, QueryResults) VALUES (7, 'dns-rule', 'example.org', '::ffff:192.0.2.7;');
INSERT INTO AllEvents (GID, UtcTime, EventType, CorrelationGuid, EventDetails, Computer) VALUES
    (1, '2023-04-05 10:11:12.345', 1, '{AAAA-1}', 'Process Create', 'WS-01'),
    (2, '2023-04-05 10:11:14.000', 3, '{AAAA-1}', 'Network Connection Detected', 'WS-02'),
    (7, '2023-04-05 10:11:13.000', 22, '{AAAA-1}', 'Dns query', 'WS-01'),
    (3, '2023-04-05 10:11:15.000', 10, '{SRC-3}', 'Process Accessed', 'WS-01');
-- Sessions of 1000 and 1001 events, either side of the most a diagram draws.
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1001)
INSERT INTO AllEvents (UtcTime, EventType, CorrelationGuid, EventDetails, Computer)
SELECT '2023-05-01 00:00:00.000', 11, '{EXACT}', 'File Created', 'WS-09' FROM n WHERE i <= 1000
UNION ALL SELECT '2023-05-01 00:00:00.000', 11, '{BIG}', 'File Created', 'WS-09' FROM n;
)sql";

QList<TSessionViewForm*> sessionWindows() {
    QList<TSessionViewForm*> list;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* form = qobject_cast<TSessionViewForm*>(widget);
            form && !form->testAttribute(Qt::WA_WState_Hidden))
            list << form;
    return list;
}

// The event boxes under the computer box, top to bottom.
QList<TDiagramNode*> chain(TDiagramNode* computer) {
    QList<TDiagramNode*> nodes;
    for (TDiagramNode* node = computer; node->childCount() > 0;) {
        node = node->child(0);
        nodes << node;
    }
    return nodes;
}

void closeAndFree(QWidget* widget) {
    widget->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QString classOf(const QObject* object) {
    return object ? QString(object->metaObject()->className()).section("::", -1) : QString();
}

} // namespace

class TestEventDetailForm : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<TMainDataModule> m_data;
    QWidget m_owner;

    TEventDetailForm* open(const QString& table, qint64 gid) {
        return qobject_cast<TEventDetailForm*>(openDetailFormByTable(&m_owner, *m_data, table, gid));
    }
    int formCount() const { return m_owner.findChildren<TEventDetailForm*>().size(); }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QFile::remove(RegistryEditorOptions::defaultSettingsFile()); // the editor was never run
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath("KelvaneDB"));
        m_data->BuildDatabaseStructure();
        m_data->connection().exec(kRows);
    }

    void formShowsTheRow_data() {
        QTest::addColumn<QString>("table"); // in the title, and how the form opens without a type
        QTest::addColumn<int>("type");
        QTest::addColumn<qint64>("gid");
        QTest::addColumn<QString>("className"); // empty: nothing opens
        QTest::addColumn<bool>("typed");
        QTest::addColumn<QStringList>("values"); // field=shown value; none given: every row is empty
        QTest::newRow("process create")
            << "ProcessCreate" << 1 << 1LL << "TProcessCreateForm" << false
            << QStringList{"ProcessId=4242", "LogonId=999999999999", "CommandLine=", "SHA1=nohash"};
        // The form's field list lacks the source country, so its row stays empty whatever the table holds.
        QTest::newRow("network")
            << "NetworkConnectionDetected" << 3 << 2LL << "TFormNetworkConnectionDetected" << false
            << QStringList{"Initiated=True", "SourceIsIpv6=False",        "DestinationIsIpv6=True",
                           "SourceCountry=", "DestinationCountry=France", "SourceHostname=ws-01.example.org"};
        QTest::newRow("process accessed")
            << "ProcessAccessed" << 10 << 3LL << "TProcessAccessedForm" << false
            << QStringList{"GrantedAccess=2097151", "CallTrace=C:\\Windows\\SYSTEM32\\ntdll.dll+9f644|"
                                                    "C:\\Windows\\System32\\KERNELBASE.dll+212be"};
        QTest::newRow("pipe created") << "PipeCreated" << 17 << 4LL << "TPipeConnectedForm" << false
                                      << QStringList{"PipeName=\\PSHost"};
        QTest::newRow("pipe connected")
            << "PipeConnected" << 18 << 4LL << "TPipeConnectedForm" << false << QStringList{};
        QTest::newRow("registry value") << "RegistryValueSet" << 13 << 5LL << "TRegistryValueSetForm" << false
                                        << QStringList{"EventType=SetValue", "Details=DWORD (0x00000001)"};
        QTest::newRow("dns") << "DNSQuery" << 22 << 7LL << "TDNSQueryForm" << false
                             << QStringList{"RuleName=dns-rule", "QueryResults=::ffff:192.0.2.7;"};
        // No diagram shows WMI activity, so only the name of the table opens these.
        QTest::newRow("wmi consumer") << "WMIConsumer" << 0 << 6LL << "TWMIConsumerForm" << true
                                      << QStringList{"UtcTime=", "Operation=Created", "Name=Updater"};
        QTest::newRow("wmi filter") << "WMIFilter" << 0 << 6LL << "TWMIFilterForm" << false << QStringList{};
        QTest::newRow("wmi binding") << "WMIBinding" << 0 << 6LL << "TWMIBindingForm" << true
                                     << QStringList{};
        QTest::newRow("type 19") << "WMIFilter" << 19 << 6LL << QString() << false << QStringList{};
        QTest::newRow("type 21") << "WMIBinding" << 21 << 6LL << QString() << false << QStringList{};
        QTest::newRow("type 30, none such") << QString() << 30 << 1LL << QString() << false << QStringList{};
        QTest::newRow("other case") << "processcreate" << 0 << 1LL << QString() << false << QStringList{};
        QTest::newRow("master table") << "AllEvents" << 0 << 1LL << QString() << false << QStringList{};
        QTest::newRow("sql in the name")
            << "ProcessCreate; DROP TABLE AllEvents" << 0 << 1LL << QString() << false << QStringList{};
    }

    void formShowsTheRow() {
        QFETCH(QString, table);
        QFETCH(int, type);
        QFETCH(qint64, gid);
        QFETCH(QString, className);
        QFETCH(bool, typed);
        QFETCH(QStringList, values);
        MessageScript script;
        const int before = formCount();
        QPointer<TEventDetailForm> form =
            qobject_cast<TEventDetailForm*>(type ? openDetailFormByType(&m_owner, *m_data, type, gid)
                                                 : openDetailFormByTable(&m_owner, *m_data, table, gid));
        QCOMPARE(classOf(form), className);
        QCOMPARE(formCount(), before + (form ? 1 : 0));
        if (!form)
            return;
        QCOMPARE(form->windowTitle(), table + " Event Details");
        QVERIFY(form->isVisible());
        TPropertyGrid* grid = form->grid();
        for (const QString& check : values) {
            const int row = grid->rowOf(check.section('=', 0, 0));
            QVERIFY2(row >= 0, qPrintable(check));
            QCOMPARE(grid->value(row), check.section('=', 1));
        }
        // A GID the table lacks opens the form all the same, empty and without a word.
        for (int row = 0; values.isEmpty() && row < grid->rowCount(); ++row)
            QCOMPARE(grid->value(row), QString());
        QVERIFY(script.records().empty());
        // Two of the WMI forms take typing, in every row but the rule name.
        for (int row = 0; row < grid->rowCount(); ++row)
            QVERIFY2(grid->options(row).editable == (typed && grid->rowName(row) != "RuleName"),
                     qPrintable(grid->rowName(row)));
        closeAndFree(form);
        QVERIFY(!form);
    }

    void dateShowsInLocaleFormat() {
        QPointer<TEventDetailForm> form = open("ProcessCreate", 1);
        const QString shown = form->fieldText("UtcTime");
        // Seconds, but no milliseconds.
        QVERIFY2(shown.startsWith(QLocale::system().toString(QDate(2023, 4, 5), QLocale::ShortFormat)) &&
                     shown.contains("10:11:12") && !shown.contains("345"),
                 qPrintable(shown));
        closeAndFree(form);
    }

    void formsLeaveNothingBehind() {
        // A form whose row cannot be read is not left open.
        const int before = formCount();
        m_data->CloseDatabase();
        QVERIFY_THROWS_EXCEPTION(sql::Error, openDetailFormByTable(&m_owner, *m_data, "ProcessCreate", 1));
        m_data->OpenDatabase();
        QCOMPARE(formCount(), before);

        auto owner = std::make_unique<QWidget>();
        QPointer<QWidget> first = openDetailFormByType(owner.get(), *m_data, 1, 1);
        QPointer<QWidget> second =
            openDetailFormByType(owner.get(), *m_data, 1, 1); // each call, a new window
        QVERIFY(first && second && first != second);
        // A window of its own, which frees itself on closing and goes with its owner.
        QVERIFY(first->isWindow());
        closeAndFree(first);
        QVERIFY(!first);
        owner.reset();
        QVERIFY(!second);
    }

    // What a click on a value brings: new session windows, messages, reputation look-ups.
    void linkClick_data() {
        QTest::addColumn<QString>("table");
        QTest::addColumn<qint64>("gid");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QStringList>("outcome");
        QTest::newRow("process") << "ProcessCreate" << 1LL << "ProcessGuid"
                                 << QStringList{"Events of {AAAA-1} session"};
        QTest::newRow("parent") << "ProcessCreate" << 1LL << "ParentProcessGuid"
                                << QStringList{"Events of {PARENT-1} session"};
        QTest::newRow("target") << "ProcessAccessed" << 3LL << "TargetProcessGuid"
                                << QStringList{"Events of {TGT-3} session"};
        QTest::newRow("hash, even none") << "ProcessCreate" << 1LL << "MD5" << QStringList{"hash nohash"};
        QTest::newRow("registry, no editor")
            << "RegistryValueSet" << 5LL << "TargetObject"
            << QStringList{"message Notification: Unable to navigate to key : \n\"HKLM\\SOFTWARE\\Test\""};
        QTest::newRow("no link") << "RegistryValueSet" << 5LL << "Details" << QStringList{};
    }

    void linkClick() {
        QFETCH(QString, table);
        QFETCH(qint64, gid);
        QFETCH(QString, field);
        QFETCH(QStringList, outcome);
        MessageScript script;
        QPointer<TEventDetailForm> form = open(table, gid);
        QSignalSpy reputation(form.data(), &TEventDetailForm::reputationLinkClicked);
        const QList<TSessionViewForm*> before = sessionWindows();
        TPropertyGrid* grid = form->grid();
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->valueRect(grid->rowOf(field)).center());

        closeAndFree(form); // a session view outlives the form that opened it

        QStringList seen;
        for (TSessionViewForm* view : sessionWindows())
            if (!before.contains(view)) {
                seen << view->windowTitle();
                closeAndFree(view);
            }
        for (const MessageService::Record& shown : script.records())
            seen << shown.kind + " " + shown.title + ": " + shown.text;
        for (const QList<QVariant>& args : reputation)
            seen << (args.at(0).value<RowAction>() == RowAction::Hash ? "hash " : "other ") +
                        args.at(1).toString();
        QCOMPARE(seen, outcome);
    }

    void readerAcceptsOnlyEventTables() {
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument, readEventRow(m_data->connection(), "AllEvents", 1));
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument, readEventRow(m_data->connection(), "DNSQuery--", 7));
        QVERIFY(readEventRow(m_data->connection(), "DNSQuery", 8).isEmpty());
    }

    void sessionView_data() {
        QTest::addColumn<QString>("guid");
        QTest::addColumn<int>("events"); // -1: too many to draw
        QTest::addColumn<QString>("computer");
        QTest::newRow("exactly the limit") << "{EXACT}" << 1000 << "  WS-09  ";
        QTest::newRow("one above") << "{BIG}" << -1 << QString();
        QTest::newRow("other case") << "{aaaa-1}" << 3 << "  WS-01  ";
        QTest::newRow("empty guid") << "" << 0 << "    "; // no rows, but a computer box all the same
    }

    void sessionView() {
        QFETCH(QString, guid);
        QFETCH(int, events);
        QFETCH(QString, computer);
        MessageScript script;
        QPointer<TSessionViewForm> view = TSessionViewForm::openSession(*m_data, guid);
        QCOMPARE(view->windowTitle(),
                 events < 0 ? "Too many events (1001)" : "Events of " + guid + " session");
        QCOMPARE(view->diagram()->topLevelCount(), events < 0 ? 0 : 1);
        if (events < 0) {
            QCOMPARE(script.texts("message"),
                     QStringList{"Too many events associated with this session (1001 events).\r\n"
                                 "Building a map of this size will impact performance and memory.\r\n"
                                 "It is better to use 'All Events View' instead and\r\n"
                                 "filter session  {BIG}  events"});
            script.clear();
            QTest::mouseClick(view->findChild<QToolButton*>("SpeedButtonExport"), Qt::LeftButton);
            QCOMPARE(script.texts("message"), QStringList{"No content to export!"});
        } else {
            QVERIFY(script.records().empty());
            TDiagramNode* root = view->firstNode();
            QCOMPARE(root->text(), " Session Events of \r\n" + guid);
            // One computer box, named after the first row, though a session may touch several.
            QCOMPARE(root->childCount(), 1);
            QCOMPARE(root->child(0)->text(), computer);
            QCOMPARE(chain(root->child(0)).size(), events);
            QVERIFY(root->child(0)->isExpanded());
        }
        closeAndFree(view);
        QVERIFY(!view);
    }

    void sessionViewOpensFormsItOwns() {
        QPointer<TSessionViewForm> view = TSessionViewForm::openSession(*m_data, "{AAAA-1}");
        view->resize(900, 700);
        QVERIFY(QTest::qWaitForWindowExposed(view.data()));
        TNodeDiagram* diagram = view->diagram();
        auto doubleClick = [&](TDiagramNode* node) {
            const QPoint pos = diagram->mapFromDrawing(QRectF(node->rect()).center()).toPoint();
            QTest::mouseClick(diagram->viewport(), Qt::LeftButton, {}, pos);
            QTest::mouseDClick(diagram->viewport(), Qt::LeftButton, {}, pos);
        };
        doubleClick(view->firstNode()->child(0)); // the computer box has no event
        QCOMPARE(view->findChildren<TEventDetailForm*>().size(), 0);

        doubleClick(chain(view->firstNode()->child(0)).first());
        const QList<TEventDetailForm*> forms = view->findChildren<TEventDetailForm*>();
        QCOMPARE(forms.size(), 1);
        QPointer<TEventDetailForm> form = forms.first();
        QCOMPARE(form->fieldText("ProcessGuid"), QString("{AAAA-1}"));
        closeAndFree(view);
        QVERIFY(!form);
    }

    void chainsFollowTimeAndShareTheirComputerBox() {
        TNodeDiagram diagram;
        TDiagramNode* root = diagram.addChild(nullptr);
        appendSessionChain(diagram, root, readSessionEvents(*m_data, "{AAAA-1}"));
        QList<qint32> gids;
        QList<QColor> colours;
        for (TDiagramNode* node : chain(root->child(0))) {
            gids << node->recordAs<TSysmonEventData>()->GID;
            colours << node->color();
        }
        QCOMPARE(gids, (QList<qint32>{1, 7, 2}));
        QCOMPARE(colours, (QList<QColor>{QColor(0xFF, 0x80, 0x80), QColor(0xCF, 0x03, 0x90),
                                         QColor(0xFF, 0x80, 0x00)}));
        QCOMPARE(root->child(0)->child(0)->text(), QString("Process Create  \n\n"));

        appendSessionChain(
            diagram, root,
            readSessionEvents(*m_data, "{src-3}")); // same computer: a second chain beside the first
        QCOMPARE(root->childCount(), 1);
        QCOMPARE(root->child(0)->childCount(), 2);
        QCOMPARE(root->child(0)->child(1)->recordAs<TSysmonEventData>()->GID, 3);
        appendSessionChain(diagram, root,
                           readSessionEvents(*m_data, "{EXACT}")); // another computer: a box of its own
        QCOMPARE(root->childCount(), 2);
        QCOMPARE(root->child(1)->text(), QString("  WS-09  "));
        QVERIFY(root->child(1)->isExpanded());
        QCOMPARE(countSessionEvents(*m_data, "{exact}"), 1000);
    }
};

QTEST_MAIN(TestEventDetailForm)
#include "tst_EventDetailForm.moc"
