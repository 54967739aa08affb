#include "details/SessionChainWindow.h"
#include "details/TDetailFormFactory.h"
#include "details/TDetailForms.h"
#include "details/TSessionViewForm.h"
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
INSERT INTO ProcessCreate (FID, UtcTime, RuleName, ProcessGuid, ProcessId, Image, LogonId, MD5,
    ParentProcessGuid, ParentImage)
VALUES (1, '2023-04-05 10:11:12.345', 'rule-a', '{AAAA-1}', 4242, 'C:\Windows\cmd.exe', 999999999999,
    'nohash', '{PARENT-1}', 'C:\Windows\explorer.exe');
INSERT INTO NetworkConnectionDetected (FID, Initiated, SourceIsIpv6, DestinationIsIpv6, SourceIp,
    SourceCountry, DestinationCountry, SourceHostname)
VALUES (2, 1, 0, 1, '10.0.0.1', 'Germany', 'France', 'ws-01.example.org');
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
    (3, '2023-04-05 10:11:15.000', 10, '{SRC-3}', 'Process Accessed', 'WS-01'),
    (6, '2023-04-05 10:11:16.000', 20, 'wmiEventConsumer', 'WmiEventConsumer activity detected', 'WS-01');
)sql";

// A session of `count` events under `guid`.
QString bulkSession(const QString& guid, int count) {
    return QString("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                   "INSERT INTO AllEvents (UtcTime, EventType, CorrelationGuid, EventDetails, Computer) "
                   "SELECT '2023-05-01 00:00:00.000', 11, '%2', 'File Created', 'WS-09' FROM n;")
        .arg(count)
        .arg(guid);
}

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

} // namespace

class TestEventDetailForm : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<TMainDataModule> m_data;
    QWidget m_owner;

    TEventDetailForm* open(const QString& table, qint64 gid) {
        return qobject_cast<TEventDetailForm*>(openDetailFormByTable(&m_owner, table, gid));
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QFile::remove(RegistryEditorOptions::defaultSettingsFile()); // the editor was never run
        m_data = std::make_unique<TMainDataModule>();
        m_data->setDatabasePath(m_dir.filePath("KelvaneDB"));
        m_data->BuildDatabaseStructure();
        m_data->connection().exec(kRows);
        m_data->connection().exec(bulkSession("{EXACT}", 1000).toStdString());
        m_data->connection().exec(bulkSession("{BIG}", 1001).toStdString());
        MainDataModule = m_data.get();
    }

    void cleanupTestCase() {
        for (TSessionViewForm* form : sessionWindows())
            closeAndFree(form);
        MainDataModule = nullptr;
    }

    void formShowsTheRow_data();
    void formShowsTheRow();
    void dateShowsInLocaleFormat();
    void dispatchByType_data();
    void dispatchByType();
    void dispatchByTable_data();
    void dispatchByTable();
    void failedFillLeavesNoForm();
    void formBelongsToItsOwner();
    void sessionLinkOpensItsOwnSession_data();
    void sessionLinkOpensItsOwnSession();
    void registryLinkWithoutEditorNotifies();
    void hashLinkGoesToReputation();
    void readerAcceptsOnlyEventTables();
    void sessionView_data();
    void sessionView();
    void sessionViewChainFollowsTime();
    void sessionViewOpensFormsItOwns();
    void chainsShareTheirComputerBox();
};

void TestEventDetailForm::formShowsTheRow_data() {
    QTest::addColumn<QString>("table");
    QTest::addColumn<qint64>("gid");
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("title");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QStringList>("checks"); // field|caption|shown value
    QTest::addColumn<QStringList>("editable");

    QTest::newRow("process create") << "ProcessCreate" << 1LL << "TProcessCreateForm"
                                    << "ProcessCreate Event Details" << 19
                                    << QStringList{"RuleName|RuleName|rule-a",
                                                   "ProcessId|Process ID|4242",
                                                   "LogonId|Logon ID|999999999999",
                                                   "MD5|MD5|nohash",
                                                   "ParentProcessGuid|Parent process GUID|{PARENT-1}",
                                                   "SHA1|SHA1|nohash",
                                                   "CommandLine|Command line|"}
                                    << QStringList{};
    // The form's field list lacks the source country, so its row stays empty whatever the table holds.
    QTest::newRow("network") << "NetworkConnectionDetected" << 2LL << "TFormNetworkConnectionDetected"
                             << "NetworkConnectionDetected Event Details" << 20
                             << QStringList{"Initiated|Initiated|True",
                                            "SourceIsIpv6|Source is IPv6|False",
                                            "DestinationIsIpv6|Destination is IPv6|True",
                                            "SourceCountry|Source country|",
                                            "DestinationCountry|Destination country|France",
                                            "SourceHostname|Source hostname|ws-01.example.org"}
                             << QStringList{};
    QTest::newRow("process accessed")
        << "ProcessAccessed" << 3LL << "TProcessAccessedForm"
        << "ProcessAccessed Event Details" << 11
        << QStringList{"SourceProcessGUID|Source process GUID|{SRC-3}",
                       "TargetProcessGuid|Target process GUID|{TGT-3}",
                       "GrantedAccess|Granted access|2097151",
                       "CallTrace|Call trace|C:\\Windows\\SYSTEM32\\ntdll.dll+9f644|"
                       "C:\\Windows\\System32\\KERNELBASE.dll+212be"}
        << QStringList{};
    QTest::newRow("pipe created") << "PipeCreated" << 4LL << "TPipeConnectedForm"
                                  << "PipeCreated Event Details" << 6
                                  << QStringList{"PipeName|Pipe name|\\PSHost"} << QStringList{};
    QTest::newRow("registry value") << "RegistryValueSet" << 5LL << "TRegistryValueSetForm"
                                    << "RegistryValueSet Event Details" << 8
                                    << QStringList{"EventType|Event type|SetValue",
                                                   "TargetObject|Target object|HKLM\\SOFTWARE\\Test",
                                                   "Details|Details|DWORD (0x00000001)"}
                                    << QStringList{};
    QTest::newRow("wmi consumer") << "WMIConsumer" << 6LL << "TWMIConsumerForm"
                                  << "WMIConsumer Event Details" << 7
                                  << QStringList{"UtcTime|UTC Time|", "Operation|Operation|Created",
                                                 "Name|Name|Updater"}
                                  << QStringList{"UtcTime", "Operation", "User",
                                                 "Name",    "Type",      "Destination"};
    QTest::newRow("dns") << "DNSQuery" << 7LL << "TDNSQueryForm"
                         << "DNSQuery Event Details" << 9
                         << QStringList{"RuleName|Rule Name|dns-rule", "QueryName|Query Name|example.org",
                                        "QueryResults|Query Results|::ffff:192.0.2.7;"}
                         << QStringList{};
}

void TestEventDetailForm::formShowsTheRow() {
    QFETCH(QString, table);
    QFETCH(qint64, gid);
    QFETCH(QString, className);
    QFETCH(QString, title);
    QFETCH(int, rows);
    QFETCH(QStringList, checks);
    QFETCH(QStringList, editable);

    MessageScript script;
    QPointer<TEventDetailForm> form = open(table, gid);
    QVERIFY(form);
    QCOMPARE(form->metaObject()->className(), ("kelvane::ui::" + className).toLatin1());
    QCOMPARE(form->windowTitle(), title);
    QVERIFY(form->isVisible());
    TPropertyGrid* grid = form->grid();
    QCOMPARE(grid->rowCount(), rows);
    for (const QString& check : checks) {
        const QStringList parts = check.split('|');
        const int row = grid->rowOf(parts[0]);
        QVERIFY2(row >= 0, qPrintable(parts[0]));
        QCOMPARE(grid->caption(row), parts[1]);
        QCOMPARE(grid->value(row), parts.mid(2).join('|'));
    }
    for (int row = 0; row < grid->rowCount(); ++row)
        QVERIFY2(grid->options(row).editable == editable.contains(grid->rowName(row)),
                 qPrintable(grid->rowName(row)));
    QVERIFY(script.records().empty());
    closeAndFree(form);
    QVERIFY(!form);
}

void TestEventDetailForm::dateShowsInLocaleFormat() {
    QPointer<TEventDetailForm> form = open("ProcessCreate", 1);
    const QString shown = form->fieldText("UtcTime");
    QVERIFY2(shown.startsWith(QLocale::system().toString(QDate(2023, 4, 5), QLocale::ShortFormat)),
             qPrintable(shown));
    QVERIFY2(shown.contains("10:11:12"), qPrintable(shown));
    QVERIFY2(!shown.contains("345"), qPrintable(shown)); // no milliseconds
    closeAndFree(form);
}

void TestEventDetailForm::dispatchByType_data() {
    QTest::addColumn<int>("eventType");
    QTest::addColumn<QString>("className"); // empty: nothing opens
    QTest::addColumn<QString>("title");
    QTest::newRow("1") << 1 << "TProcessCreateForm"
                       << "ProcessCreate Event Details";
    QTest::newRow("3") << 3 << "TFormNetworkConnectionDetected"
                       << "NetworkConnectionDetected Event Details";
    QTest::newRow("6") << 6 << "TDriverLoadedForm"
                       << "DriverLoaded Event Details";
    QTest::newRow("17") << 17 << "TPipeConnectedForm"
                        << "PipeCreated Event Details";
    QTest::newRow("18") << 18 << "TPipeConnectedForm"
                        << "PipeConnected Event Details";
    QTest::newRow("22") << 22 << "TDNSQueryForm"
                        << "DNSQuery Event Details";
    QTest::newRow("4, no table") << 4 << ""
                                 << "";
    QTest::newRow("16, no table") << 16 << ""
                                  << "";
    QTest::newRow("19, wmi") << 19 << ""
                             << "";
    QTest::newRow("20, wmi") << 20 << ""
                             << "";
    QTest::newRow("21, wmi") << 21 << ""
                             << "";
    QTest::newRow("unknown") << 99 << ""
                             << "";
}

void TestEventDetailForm::dispatchByType() {
    QFETCH(int, eventType);
    QFETCH(QString, className);
    QFETCH(QString, title);
    const int before = m_owner.findChildren<TEventDetailForm*>().size();
    MessageScript script;
    // No row has this GID: the form opens all the same, empty and without a word.
    QPointer<TEventDetailForm> form =
        qobject_cast<TEventDetailForm*>(openDetailFormByType(&m_owner, eventType, 424242));
    QCOMPARE(form != nullptr, !className.isEmpty());
    QCOMPARE(m_owner.findChildren<TEventDetailForm*>().size(), before + (form ? 1 : 0));
    if (!form)
        return;
    QCOMPARE(form->metaObject()->className(), ("kelvane::ui::" + className).toLatin1());
    QCOMPARE(form->windowTitle(), title);
    for (int row = 0; row < form->grid()->rowCount(); ++row)
        QCOMPARE(form->grid()->value(row), QString());
    QVERIFY(script.records().empty());
    closeAndFree(form);
}

void TestEventDetailForm::dispatchByTable_data() {
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("className"); // empty: nothing opens
    QTest::newRow("wmi filter") << "WMIFilter"
                                << "TWMIFilterForm";
    QTest::newRow("wmi consumer") << "WMIConsumer"
                                  << "TWMIConsumerForm";
    QTest::newRow("wmi binding") << "WMIBinding"
                                 << "TWMIBindingForm";
    QTest::newRow("pipe connected") << "PipeConnected"
                                    << "TPipeConnectedForm";
    QTest::newRow("other case") << "processcreate"
                                << "";
    QTest::newRow("master table") << "AllEvents"
                                  << "";
    QTest::newRow("sql in the name") << "ProcessCreate; DROP TABLE AllEvents"
                                     << "";
}

void TestEventDetailForm::dispatchByTable() {
    QFETCH(QString, table);
    QFETCH(QString, className);
    QPointer<QWidget> form = openDetailFormByTable(&m_owner, table, 424242);
    QCOMPARE(form != nullptr, !className.isEmpty());
    if (!form)
        return;
    QCOMPARE(form->metaObject()->className(), ("kelvane::ui::" + className).toLatin1());
    QCOMPARE(form->windowTitle(), table + " Event Details");
    closeAndFree(form);
}

void TestEventDetailForm::failedFillLeavesNoForm() {
    const int before = m_owner.findChildren<TEventDetailForm*>().size();
    m_data->CloseDatabase();
    QVERIFY_THROWS_EXCEPTION(sql::Error, openDetailFormByTable(&m_owner, "ProcessCreate", 1));
    m_data->OpenDatabase();
    QCOMPARE(m_owner.findChildren<TEventDetailForm*>().size(), before);
}

void TestEventDetailForm::formBelongsToItsOwner() {
    auto owner = std::make_unique<QWidget>();
    QPointer<QWidget> first = openDetailFormByType(owner.get(), 1, 1);
    QPointer<QWidget> second = openDetailFormByType(owner.get(), 1, 1); // each call, a new window
    QVERIFY(first && second && first != second);
    QCOMPARE(first->parentWidget(), owner.get());
    QVERIFY(first->isWindow());
    closeAndFree(first); // closing frees it
    QVERIFY(!first);
    owner.reset(); // the end of the owner ends the rest
    QVERIFY(!second);
}

void TestEventDetailForm::sessionLinkOpensItsOwnSession_data() {
    QTest::addColumn<QString>("table");
    QTest::addColumn<qint64>("gid");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("guid");
    QTest::newRow("process") << "ProcessCreate" << 1LL << "ProcessGuid"
                             << "{AAAA-1}";
    QTest::newRow("parent") << "ProcessCreate" << 1LL << "ParentProcessGuid"
                            << "{PARENT-1}";
    QTest::newRow("source") << "ProcessAccessed" << 3LL << "SourceProcessGUID"
                            << "{SRC-3}";
    QTest::newRow("target") << "ProcessAccessed" << 3LL << "TargetProcessGuid"
                            << "{TGT-3}";
    QTest::newRow("empty guid") << "ProcessCreate" << 424242LL << "ProcessGuid"
                                << "";
}

void TestEventDetailForm::sessionLinkOpensItsOwnSession() {
    QFETCH(QString, table);
    QFETCH(qint64, gid);
    QFETCH(QString, field);
    QFETCH(QString, guid);
    QPointer<TEventDetailForm> form = open(table, gid);
    TPropertyGrid* grid = form->grid();
    const QList<TSessionViewForm*> before = sessionWindows();
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->valueRect(grid->rowOf(field)).center());
    const QList<TSessionViewForm*> after = sessionWindows();
    QCOMPARE(after.size(), before.size() + 1);
    TSessionViewForm* view = nullptr;
    for (TSessionViewForm* w : after)
        if (!before.contains(w))
            view = w;
    QVERIFY(view);
    QCOMPARE(view->parentWidget(), nullptr);
    QCOMPARE(view->windowTitle(), "Events of " + guid + " session");
    // The session view outlives the form that opened it.
    QPointer<TSessionViewForm> guard = view;
    closeAndFree(form);
    QVERIFY(guard);
    closeAndFree(view);
}

void TestEventDetailForm::registryLinkWithoutEditorNotifies() {
    MessageScript script;
    QPointer<TEventDetailForm> form = open("RegistryValueSet", 5);
    TPropertyGrid* grid = form->grid();
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {},
                      grid->valueRect(grid->rowOf("TargetObject")).center());
    QCOMPARE(script.records().size(), size_t(1));
    const MessageService::Record& shown = script.records().front();
    QCOMPARE(shown.kind, QString("message"));
    QCOMPARE(shown.title, QString("Notification"));
    QCOMPARE(shown.text, QString("Unable to navigate to key : \n\"HKLM\\SOFTWARE\\Test\""));
    // Other rows of the form are no links.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->valueRect(grid->rowOf("Details")).center());
    QCOMPARE(script.records().size(), size_t(1));
    closeAndFree(form);
}

void TestEventDetailForm::hashLinkGoesToReputation() {
    QPointer<TEventDetailForm> form = open("ProcessCreate", 1);
    TPropertyGrid* grid = form->grid();
    QSignalSpy spy(form.data(), &TEventDetailForm::reputationLinkClicked);
    const int sessions = sessionWindows().size();
    // "nohash" is still a link.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->valueRect(grid->rowOf("MD5")).center());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.first().at(0).value<RowAction>(), RowAction::Hash);
    QCOMPARE(spy.first().at(1).toString(), QString("nohash"));
    QCOMPARE(sessionWindows().size(), sessions);
    closeAndFree(form);
}

void TestEventDetailForm::readerAcceptsOnlyEventTables() {
    QVERIFY_THROWS_EXCEPTION(std::invalid_argument, readEventRow(m_data->connection(), "AllEvents", 1));
    QVERIFY_THROWS_EXCEPTION(std::invalid_argument, readEventRow(m_data->connection(), "DNSQuery--", 7));
    const EventRow row = readEventRow(m_data->connection(), "DNSQuery", 7);
    QCOMPARE(eventRowValue(row, "queryname").toString(), QString("example.org"));
    QCOMPARE(eventRowValue(row, "FID").toLongLong(), 7);
    QVERIFY(readEventRow(m_data->connection(), "DNSQuery", 8).isEmpty());
}

void TestEventDetailForm::sessionView_data() {
    QTest::addColumn<QString>("guid");
    QTest::addColumn<int>("events"); // -1: too many to draw
    QTest::addColumn<QString>("computer");
    QTest::addColumn<QString>("title");
    QTest::newRow("exactly the limit") << "{EXACT}" << 1000 << "  WS-09  "
                                       << "Events of {EXACT} session";
    QTest::newRow("one above") << "{BIG}" << -1 << ""
                               << "Too many events (1001)";
    QTest::newRow("other case") << "{aaaa-1}" << 3 << "  WS-01  "
                                << "Events of {aaaa-1} session";
    QTest::newRow("no rows") << "{NONE}" << 0 << "    "
                             << "Events of {NONE} session";
    QTest::newRow("empty guid") << "" << 0 << "    "
                                << "Events of  session";
}

void TestEventDetailForm::sessionView() {
    QFETCH(QString, guid);
    QFETCH(int, events);
    QFETCH(QString, computer);
    QFETCH(QString, title);
    MessageScript script;
    QPointer<TSessionViewForm> view = TSessionViewForm::openSession(guid);
    QCOMPARE(view->windowTitle(), title);
    QCOMPARE(view->parentWidget(), nullptr);
    if (events < 0) {
        QCOMPARE(script.texts("message"),
                 QStringList{"Too many events associated with this session (1001 events).\r\n"
                             "Building a map of this size will impact performance and memory.\r\n"
                             "It is better to use 'All Events View' instead and\r\n"
                             "filter session  {BIG}  events"});
        QCOMPARE(view->firstNode(), nullptr);
        QCOMPARE(view->diagram()->topLevelCount(), 0);
        script.clear();
        QTest::mouseClick(view->findChild<QToolButton*>("SpeedButtonExport"), Qt::LeftButton);
        QCOMPARE(script.texts("message"), QStringList{"No content to export!"});
    } else {
        QVERIFY(script.records().empty());
        TDiagramNode* root = view->firstNode();
        QVERIFY(root);
        QCOMPARE(view->diagram()->topLevelCount(), 1);
        QCOMPARE(root->text(), " Session Events of \r\n" + guid);
        QCOMPARE(root->color(), QColor(0xFF, 0x8C, 0x00));
        QCOMPARE(root->childCount(), 1);
        TDiagramNode* computerNode = root->child(0);
        QCOMPARE(computerNode->text(), computer);
        QCOMPARE(computerNode->color(), QColor(0xFF, 0x7F, 0x50));
        QVERIFY(!computerNode->hasRecord());
        QCOMPARE(chain(computerNode).size(), events);
        QVERIFY(computerNode->isExpanded());
    }
    closeAndFree(view);
    QVERIFY(!view);
}

void TestEventDetailForm::sessionViewChainFollowsTime() {
    QPointer<TSessionViewForm> view = TSessionViewForm::openSession("{AAAA-1}");
    const QList<TDiagramNode*> nodes = chain(view->firstNode()->child(0));
    QList<qint32> gids;
    QList<QColor> colours;
    for (TDiagramNode* node : nodes) {
        gids << node->recordAs<TSysmonEventData>()->GID;
        colours << node->color();
        QVERIFY(node->text().endsWith("  \n\n"));
    }
    QCOMPARE(gids, (QList<qint32>{1, 7, 2}));
    QCOMPARE(colours,
             (QList<QColor>{QColor(0xFF, 0x80, 0x80), QColor(0xCF, 0x03, 0x90), QColor(0xFF, 0x80, 0x00)}));
    // One computer box, named after the first row, though the session touched two computers.
    QCOMPARE(view->firstNode()->childCount(), 1);
    QCOMPARE(nodes.first()->text(), QString("Process Create  \n\n"));
    closeAndFree(view);
}

void TestEventDetailForm::sessionViewOpensFormsItOwns() {
    QPointer<TSessionViewForm> view = TSessionViewForm::openSession("{AAAA-1}");
    view->resize(900, 700);
    QVERIFY(QTest::qWaitForWindowExposed(view.data()));
    TNodeDiagram* diagram = view->diagram();
    auto doubleClick = [&](TDiagramNode* node) {
        const QPoint pos = diagram->mapFromDrawing(QRectF(node->rect()).center()).toPoint();
        QTest::mouseClick(diagram->viewport(), Qt::LeftButton, {}, pos);
        QTest::mouseDClick(diagram->viewport(), Qt::LeftButton, {}, pos);
    };
    doubleClick(view->firstNode());
    doubleClick(view->firstNode()->child(0));
    QCOMPARE(view->findChildren<TEventDetailForm*>().size(), 0);

    doubleClick(chain(view->firstNode()->child(0)).first());
    const QList<TEventDetailForm*> forms = view->findChildren<TEventDetailForm*>();
    QCOMPARE(forms.size(), 1);
    QPointer<TEventDetailForm> form = forms.first();
    QCOMPARE(form->metaObject()->className(), "kelvane::ui::TProcessCreateForm");
    QCOMPARE(form->fieldText("ProcessGuid"), QString("{AAAA-1}"));
    closeAndFree(view);
    QVERIFY(!form);
}

void TestEventDetailForm::chainsShareTheirComputerBox() {
    TNodeDiagram diagram;
    TDiagramNode* root = diagram.addChild(nullptr);
    root->setText("  cmd.exe  ");
    appendSessionChain(diagram, root, "{AAAA-1}");
    appendSessionChain(diagram, root, "{src-3}"); // same computer: a second chain beside the first
    QCOMPARE(root->childCount(), 1);
    QCOMPARE(root->child(0)->childCount(), 2);
    QCOMPARE(root->child(0)->child(1)->recordAs<TSysmonEventData>()->GID, 3);
    appendSessionChain(diagram, root, "{EXACT}"); // another computer: a box of its own
    QCOMPARE(root->childCount(), 2);
    QCOMPARE(root->child(1)->text(), QString("  WS-09  "));
    QCOMPARE(countSessionEvents("{exact}"), 1000);
    QVERIFY(root->child(1)->isExpanded());
}

QTEST_MAIN(TestEventDetailForm)
#include "tst_EventDetailForm.moc"
