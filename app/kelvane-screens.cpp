// Writes pictures of Kelvane's windows for review: kelvane-screens OUTPUT_FOLDER [EVENTS].
// Imports a generated log into a temporary folder, then drives the main window as a user would and
// grabs the main window on each tab, a drawn session, a detail form and a session view window.
// kelvane-screens OUTPUT_FOLDER --hierarchy KelvaneDB --find TERM --focus GUID pictures the Hierarchy
// tab over a copy of a database: a process found by TERM, the family of GUID, and the tree list.
#include "../bench/CountryFill.h"
#include "../bench/SysmonLogGenerator.h"
#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TDetailForms.h"
#include "details/gui/TSessionViewForm.h"
#include "import/TImportController.h"
#include "import/gui/TImportForm.h"
#include "settings/CommandLine.h"
#include "settings/TSharedResourcesModule.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/DarkTheme.h"
#include "toolkit/MessageService.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TPropertyGrid.h"
#include "toolkit/TTreeList.h"
#include "toolkit/TWorldMap.h"
#include "views/HierarchyBrowser.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QSplitter>
#include <QTabWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>

using namespace kelvane;

namespace {

void settle(int ms = 150) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

bool save(QWidget* widget, const QString& folder, const QString& name) {
    settle();
    const QString path = QDir(folder).filePath(name + ".png");
    const bool ok = widget->grab().save(path);
    std::printf("%s %s\n", ok ? "wrote" : "FAILED", qPrintable(path));
    return ok;
}

// The lit map with the connections of the United States open under it and the tip over Germany.
// The diagram walked by keyboard to its first event box, Enter, and the sheet that opens over the
// window, as the user sees the two together.
void saveSheetOpenedByKeyboard(TMainForm& form, const QString& out) {
    auto* diagram = form.findChild<ui::TNodeDiagram*>("EventsDiagram");
    diagram->setFocus();
    diagram->setSelectedNode(nullptr);
    const auto press = [diagram](int key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QCoreApplication::sendEvent(diagram, &event);
    };
    for (int i = 0; i < 3; ++i)
        press(Qt::Key_Down);
    press(Qt::Key_Return);
    QWidget* sheet = nullptr;
    for (QWidget* child : form.findChildren<QWidget*>())
        if (child->isWindow() && child->isVisible() && child != &form)
            sheet = child;
    if (!sheet)
        return;
    QImage picture = form.grab().toImage();
    QPainter painter(&picture);
    painter.drawPixmap(sheet->frameGeometry().topLeft() - form.geometry().topLeft(), sheet->grab());
    painter.end();
    picture.save(QDir(out).filePath("detail-form-by-keyboard.png"));
    sheet->close();
}

void saveMap(TMainForm& form, QTabWidget& tabs, const QString& out) {
    tabs.setCurrentWidget(form.findChild<QWidget*>("TabSheetMapView"));
    ui::TWorldMap* map = form.chartMap();
    settle();
    auto positionOf = [map](double longitude, double latitude) {
        return map->planeTransform(map->rect()).map(ui::projectNaturalEarth(longitude, latitude));
    };
    const int us = map->shapeAtPosition(positionOf(-100, 40));
    if (us >= 0)
        form.ChartMapClickSeries(us);
    const QPointF germany = positionOf(10, 51);
    QMouseEvent move(QEvent::MouseMove, germany, map->mapToGlobal(germany), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(map, &move);
    save(&form, out, "main-map-view");
    // Europe up close, with Malta and Luxembourg.
    form.SpeedButtonCloseClick();
    map->zoomAt(positionOf(12, 47), 5);
    const QPointF malta = positionOf(14.4, 35.9);
    QMouseEvent overMalta(QEvent::MouseMove, malta, map->mapToGlobal(malta), Qt::NoButton, Qt::NoButton,
                          Qt::NoModifier);
    QApplication::sendEvent(map, &overMalta);
    save(map, out, "map-europe");
    map->resetZoom();
}

// The All Events tab grouped by type with a group and a detail row open, then a search result.
void saveAllEventsView(TMainForm& form, QTabWidget& tabs, const QString& guid, const QString& out) {
    auto* grid = form.findChild<ui::TGroupingGrid*>("cxGridAllEvents");
    auto* model = grid->model();
    auto waitForResult = [&] {
        for (int i = 0; i < 600 && (form.allEventsSearchRunning() || !model->hasIndex()); ++i)
            settle(50);
    };
    waitForResult();
    tabs.setCurrentWidget(form.findChild<QWidget*>("TabSheetAllEvents"));
    grid->groupBy({"EventTypeName"});
    for (int g = 0; g < model->rowCount(); ++g) {
        const QModelIndex group = model->index(g, 0);
        if (!group.data().toString().contains("Process Create"))
            continue;
        grid->view()->expand(group);
        const QModelIndex master = model->index(0, 0, group);
        grid->view()->expand(master);
        grid->view()->selectionModel()->select(master, QItemSelectionModel::ClearAndSelect |
                                                           QItemSelectionModel::Rows);
    }
    save(&form, out, "all-events-grouped");
    grid->groupBy({});
    auto* box = form.findChild<QLineEdit*>("cxButtonEditAllEventsSearchText");
    box->setText(guid);
    form.cxButtonEditAllEventsSearchTextPropertiesButtonClick();
    waitForResult();
    save(&form, out, "all-events-search");
    tabs.setCurrentIndex(0);
}

// Serves sample VirusTotal answers on 127.0.0.1, so that the panels can be pictured offline.
class SampleVirusTotal : public QTcpServer {
public:
    SampleVirusTotal() {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection())
                connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    const QByteArray head = socket->readAll();
                    const QByteArray body = answer(head.split(' ').value(1).split('?').value(0));
                    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                                  QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
                    socket->disconnectFromHost();
                });
        });
        listen(QHostAddress::LocalHost, 0);
    }
    QString address() const { return QString("http://127.0.0.1:%1").arg(serverPort()); }

private:
    static QByteArray answer(const QByteArray& path) {
        if (path.endsWith("/file/report"))
            return R"({"response_code": 1, "verbose_msg": "Scan finished, information embedded", "total": 68,
                "positives": 3, "scan_date": "2024-03-14 09:26:53",
                "permalink": "https://www.virustotal.com/gui/file/0f1e2d3c4b5a69788796a5b4c3d2e1f0"})";
        if (path.endsWith("/ip-address/report"))
            return R"({"response_code": 1, "verbose_msg": "IP address in dataset", "asn": 15169, "country": "US",
                "as_owner": "GOOGLE", "resolutions": [{"hostname": "dns.google", "last_resolved": "2024-02-01 10:00:00"},
                {"hostname": "8888.google", "last_resolved": "2023-11-20 08:12:00"}],
                "detected_urls": [{"url": "http://dns.google/bad", "positives": 2, "total": 90,
                "scan_date": "2024-01-05 12:00:00"}], "detected_referrer_samples": [{"positives": 4, "total": 72,
                "sha256": "5e0c8a2f1d3b4c6a7e9f0a1b2c3d4e5f60718293a4b5c6d7e8f90a1b2c3d4e5f"}]})";
        return R"({"response_code": 1, "verbose_msg": "Domain found in dataset",
            "whois": "Domain Name: EXAMPLE.ORG\nRegistrar: Example Registrar, Inc.\nCreation Date: 1995-08-31",
            "Alexa rank": 4021, "WOT domain info": {"Child safety": "Excellent", "Trustworthiness": "Excellent"},
            "BitDefender category": "computersandsoftware", "categories": ["computersandsoftware", "information technology"],
            "subdomains": ["www.example.org", "mail.example.org"],
            "resolutions": [{"ip_address": "93.184.216.34", "last_resolved": "2024-02-11 17:40:02"}],
            "undetected_downloaded_samples": [{"date": "2023-12-24 06:00:00", "positives": 0, "total": 71,
            "sha256": "9a8b7c6d5e4f30211203f4e5d6c7b8a99a8b7c6d5e4f30211203f4e5d6c7b8a9"}]})";
    }
};

// Waits for the form's lookup to end, so that its answer is in the picture.
void awaitVirusTotal(ui::TEventDetailForm* form) {
    QEventLoop loop;
    QObject::connect(form, &ui::TEventDetailForm::virusTotalFinished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    if (form->virusTotalBusy())
        loop.exec();
}

// The Hierarchy tab's find, focus and tree list on a database of the caller's (a real log).
int hierarchyScreens(const QString& out, const QString& database, const QString& term, const QString& guid) {
    QTemporaryDir temp;
    const QString dbPath = temp.filePath("KelvaneDB");
    if (!QFile::copy(database, dbPath)) {
        std::fprintf(stderr, "kelvane-screens: cannot read %s\n", qPrintable(database));
        return 2;
    }
    TSharedResourcesModule settings(temp.filePath("settings.ini"));
    SharedResourcesModule = &settings;
    TMainDataModule data;
    MainDataModule = &data;
    ui::MessageScript script;
    {
        TMainForm form(data, dbPath);
        form.resize(1400, 860);
        form.show();
        form.LoadExistingDataMenuItemClick();
        auto* tabs = form.findChild<QTabWidget*>("PageControlMain");
        tabs->setCurrentWidget(form.findChild<QWidget*>("TabSheetProcessHierarchy"));
        form.SpeedButtonGenerateProcessHierarchyClick();
        HierarchyBrowser* browser = form.hierarchyBrowser();
        browser->findBox()->setText(term);
        save(&form, out, "hierarchy-found");
        browser->findBox()->clear();
        form.focusProcessInHierarchy(guid);
        save(&form, out, "hierarchy-focused");
        browser->showWholeTree();
        browser->setMode(1);
        browser->findBox()->setText(term);
        save(&form, out, "hierarchy-list");
        form.close();
    }
    MainDataModule = nullptr;
    SharedResourcesModule = nullptr;
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName("Kelvane");
    ui::applyDarkTheme(app);
    CommandLine commandLine("Imports a generated log and writes pictures of Kelvane's windows into FOLDER.",
                            {{0, "the pictures are written"}});
    commandLine.addPositional("FOLDER", "Where the PNG files go.");
    commandLine.addPositional("EVENTS", "Events in the generated log (20000).", "[EVENTS]");
    const QCommandLineOption hierarchyOption(
        "hierarchy",
        "Only the Hierarchy tab, over a copy of DATABASE: a process found by "
        "--find, the family of --focus, the tree list.",
        "DATABASE");
    const QCommandLineOption findTerm("find", "What the Hierarchy pictures find.", "TERM");
    const QCommandLineOption focusGuid("focus", "The process GUID the Hierarchy pictures focus on.", "GUID");
    commandLine.parser().addOptions({hierarchyOption, findTerm, focusGuid});
    commandLine.process(app, 1, 2);
    const QString out = commandLine.positional().at(0);
    QDir().mkpath(out);
    if (commandLine.isSet("hierarchy"))
        return hierarchyScreens(out, commandLine.value("hierarchy"), commandLine.value("find"),
                                commandLine.value("focus"));
    const int events = commandLine.positional().size() > 1 ? commandLine.positional().at(1).toInt() : 20000;

    QTemporaryDir temp;
    TSharedResourcesModule settings(temp.filePath("settings.ini"));
    SharedResourcesModule = &settings;
    TMainDataModule data;
    MainDataModule = &data;
    const QString dbPath = temp.filePath("KelvaneDB");
    const QString logPath = temp.filePath("log.xml");
    SysmonLogOptions options;
    options.events = static_cast<std::uint64_t>(events);
    options.computers = 2;
    SysmonLogGenerator(options).writeFile(logPath.toStdString());
    {
        // The import through its dialog, as the main window runs it, pictured before and after.
        data.setDatabasePath(dbPath);
        data.OpenDatabase();
        TImportForm dialog(data, nullptr);
        dialog.FileName = logPath;
        dialog.show();
        save(&dialog, out, "import-dialog");
        dialog.ButtonImportClick();
        save(&dialog, out, "import-dialog-running");
        QEventLoop wait;
        QObject::connect(&dialog.controller(), &TImportController::finished, &wait, &QEventLoop::quit);
        if (dialog.controller().state() == TImportController::State::Running)
            wait.exec();
        save(&dialog, out, "import-dialog-done");
        std::printf("%s\n",
                    qPrintable(dialog.controller().report().labelMessage().trimmed().section('\n', 0, 0)));
    }

    // The import geolocates only through ipstack: give the destinations their countries here.
    data.OpenDatabase();
    bench::fillDestinationCountries(data.connection());
    data.CloseDatabase();

    ui::MessageScript script; // no modal box may block the pictures
    {
        // The first start: no database yet, the canvas says how to begin.
        TMainForm first(data, temp.filePath("none/KelvaneDB"));
        first.resize(1226, 717);
        first.show();
        save(&first, out, "main-first-start");
    }
    TMainForm form(data, dbPath);
    form.resize(1400, 860);
    form.show();
    form.LoadExistingDataMenuItemClick();

    // A session of a handful of events, of an image with several paths.
    data.OpenDatabase();
    TQuery pick("pick",
                "SELECT x.ImageExe, x.Image, x.ProcessGuid FROM AllImageExes x WHERE x.EventType = 1 AND "
                "(SELECT COUNT(*) FROM AllEvents e WHERE e.CorrelationGuid = x.ProcessGuid) BETWEEN 8 AND 14 "
                "LIMIT 2");
    pick.open(data.connection());
    const QString exe = pick.text(0), image = pick.text(1), guid = pick.text(2);
    pick.next();
    const QString secondGuid = pick.text(2);
    pick.close();

    if (auto* filter = form.findChild<QWidget*>("PanelEventFilters"))
        save(filter, out, "event-filter");
    auto* tabs = form.findChild<QTabWidget*>("PageControlMain");
    save(&form, out, "main-process-view-loaded");
    form.cxGridDBColumnImagesPropertiesStartClick(exe);
    form.cxGridDBColumnImagePathPropertiesStartClick(image);
    form.cxGridDBColumnImageSessionsPropertiesStartClick(guid);
    if (!secondGuid.isEmpty() && secondGuid != guid)
        form.cxGridDBColumnImageSessionsPropertiesStartClick(secondGuid);
    save(&form, out, "main-process-view-session");
    saveSheetOpenedByKeyboard(form, out);
    auto* diagram = form.findChild<ui::TNodeDiagram*>("EventsDiagram");
    diagram->renderToImage().save(QDir(out).filePath("session-diagram-full.png"));
    for (int i = 1; i < tabs->count(); ++i) {
        tabs->setCurrentIndex(i);
        save(&form, out, QString("main-tab-%1").arg(tabs->widget(i)->objectName()));
    }
    // The process hierarchy as the generate button draws it, with its legend, at full size and fitted.
    tabs->setCurrentWidget(form.findChild<QWidget*>("TabSheetProcessHierarchy"));
    form.SpeedButtonGenerateProcessHierarchyClick();
    save(&form, out, "main-hierarchy");
    auto* hierarchy = form.findChild<ui::TNodeDiagram*>("ProcessDiagram");
    hierarchy->setZoomToFit(true);
    save(&form, out, "main-hierarchy-fitted");
    hierarchy->setZoomToFit(false);
    saveMap(form, *tabs, out);
    tabs->setCurrentIndex(0);
    saveAllEventsView(form, *tabs, guid, out);

    // A detail form of the first event of the drawn session.
    TQuery first("first",
                 "SELECT GID, EventType FROM AllEvents WHERE CorrelationGuid = :G AND EventType IN (1, 3) "
                 "ORDER BY EventType DESC LIMIT 1");
    first.setParam("G", guid);
    first.open(data.connection());
    if (!first.eof()) {
        QWidget* detail =
            openDetailFormByType(&form, data, first.value(1).toInt(), first.value(0).toLongLong());
        first.close();
        if (detail)
            save(detail, out, "detail-form");
    }
    first.close();
    TQuery net("net", "SELECT FID FROM NetworkConnectionDetected LIMIT 1");
    net.open(data.connection());
    if (!net.eof()) {
        const qint64 gid = net.value(0).toLongLong();
        net.close();
        if (QWidget* detail = openDetailFormByType(&form, data, 3, gid))
            save(detail, out, "detail-form-network");
    }
    net.close();

    {
        // The VirusTotal panels, answered by the sample server: a file report, an address, a domain.
        SampleVirusTotal sample;
        settings.setVirusTotalKey("0123456789abcdef");
        settings.setVirusTotalToS(true);
        auto* hashForm = new ui::TProcessCreateForm(&form);
        hashForm->setDataModule(data);
        hashForm->SetQueryParams("ProcessCreate", 0);
        hashForm->grid()->setValue(hashForm->grid()->rowOf("MD5"), "0f1e2d3c4b5a69788796a5b4c3d2e1f0");
        hashForm->setVirusTotalAddress(sample.address());
        hashForm->show();
        hashForm->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
        awaitVirusTotal(hashForm);
        save(hashForm, out, "virustotal-file");

        auto* netForm = new ui::TFormNetworkConnectionDetected(&form);
        netForm->setDataModule(data);
        netForm->SetQueryParams("NetworkConnectionDetected", 0);
        netForm->grid()->setValue(netForm->grid()->rowOf("DestinationIp"), "8.8.8.8");
        netForm->grid()->setValue(netForm->grid()->rowOf("DestinationHostname"), "www.example.org");
        netForm->setVirusTotalAddress(sample.address());
        netForm->resize(560, 760);
        netForm->show();
        // A taller tree than the form opens with, so that the reports show whole.
        if (auto* splitter = netForm->findChild<QSplitter*>("Splitter"))
            splitter->setSizes({150, 560});
        netForm->DestinationIPClick();
        awaitVirusTotal(netForm);
        netForm->cxTreeListVTDisplay->expandAll();
        save(netForm, out, "virustotal-ip");
        netForm->cxTreeListVTDisplay->clear();
        netForm->DestinationDomainClick();
        awaitVirusTotal(netForm);
        netForm->cxTreeListVTDisplay->expandAll();
        save(netForm, out, "virustotal-domain");
        hashForm->close();
        netForm->close();
    }

    auto* session = new ui::TSessionViewForm(data);
    session->setSessionGUID(guid);
    session->show();
    session->resize(900, 700);
    save(session, out, "session-view");
    session->close();
    form.close();
    MainDataModule = nullptr;
    SharedResourcesModule = nullptr;
    return 0;
}
