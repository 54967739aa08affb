// Measures the main window over a big database: kelvane-view-bench-gui KelvaneDB.
// 1. "Load existing data" until the process view has painted its images list.
// 2. A session of up to 1000 events, from the click until the diagram has painted it.
#include "settings/CommandLine.h"
#include "store/SessionEvents.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TPagedQueryModel.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QScrollBar>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QApplication app(argc, argv);
    CommandLine commandLine(
        "Times Load existing data and a 1000-event session in the main window (on a copy).",
        {{0, "measured"}});
    commandLine.addPositional("DATABASE", "A Kelvane database.");
    commandLine.process(app, 1, 1);
    // The bench adds a session of its own: it works on a copy.
    QTemporaryDir temp;
    const QString dbPath = temp.filePath("KelvaneDB");
    if (!QFile::copy(QString::fromLocal8Bit(argv[1]), dbPath)) {
        std::fprintf(stderr, "cannot copy %s\n", argv[1]);
        return 2;
    }
    TMainDataModule data;
    MainDataModule = &data;
    TMainForm form(data, dbPath);
    form.resize(1226, 717);
    form.show();
    app.processEvents();

    QElapsedTimer timer;
    timer.start();
    form.LoadExistingDataMenuItemClick();
    auto* images = form.findChild<ui::TLinkGrid*>("cxGridImages");
    images->grab(); // painted: the first page of rows is read
    const double loadMs = timer.nsecsElapsed() / 1e6;
    std::printf("load existing data:  %.0f ms (%d images)\n", loadMs, images->model()->rowCount());

    // A session of exactly 1000 events: generated logs have short runs and a few endless services, so
    // one is made from the first 1000 events of the longest session, under a GUID of its own.
    data.connection().exec(
        "INSERT INTO AllEvents (UtcTime, EventType, EventTypeName, CorrelationGuid, EventDetails, Computer, "
        "RuleName) "
        "SELECT UtcTime, EventType, EventTypeName, '{BE4C4000-0000-0000-0000-000000001000}', EventDetails, "
        "Computer, "
        "RuleName FROM AllEvents WHERE CorrelationGuid = (SELECT CorrelationGuid FROM AllEvents GROUP BY "
        "CorrelationGuid ORDER BY COUNT(*) DESC LIMIT 1) LIMIT 1000;"
        "INSERT INTO AllImageExes (FID, Image, ImageExe, ProcessGuid, EventType) VALUES "
        "(0, 'C:\\Bench\\bench.exe', 'bench.exe', '{BE4C4000-0000-0000-0000-000000001000}', 1);");

    // The longest session that may still be drawn, and its image.
    TQuery pick("pick", "SELECT CorrelationGuid, COUNT(*) AS N FROM AllEvents GROUP BY CorrelationGuid "
                        "HAVING N <= 1000 ORDER BY N DESC LIMIT 1");
    pick.open(data.connection());
    const QString guid = pick.text(0);
    const int events = pick.value(1).toInt();
    pick.close();
    TQuery where("where", "SELECT ImageExe, Image FROM AllImageExes WHERE ProcessGuid = :G LIMIT 1");
    where.setParam("G", guid);
    where.open(data.connection());
    const QString exe = where.text(0), image = where.text(1);
    where.close();

    // The busiest image of the log: its paths, and the sessions of its first path.
    TQuery busiest("busiest", "SELECT ImageExe, Image FROM AllImageExes GROUP BY LOWER(ImageExe) "
                              "ORDER BY COUNT(*) DESC LIMIT 1");
    busiest.open(data.connection());
    const QString busyExe = busiest.text(0), busyImage = busiest.text(1);
    busiest.close();
    timer.restart();
    form.cxGridDBColumnImagesPropertiesStartClick(busyExe);
    form.findChild<ui::TLinkGrid*>("cxGridImagePath")->grab();
    std::printf("paths of %s: %.0f ms\n", qPrintable(busyExe), timer.nsecsElapsed() / 1e6);
    timer.restart();
    form.cxGridDBColumnImagePathPropertiesStartClick(busyImage);
    auto* sessions = form.findChild<ui::TLinkGrid*>("cxGridImageSessions");
    sessions->grab();
    std::printf("sessions of that path: %.0f ms (%d sessions)\n", timer.nsecsElapsed() / 1e6,
                sessions->model()->rowCount());

    form.cxGridDBColumnImagesPropertiesStartClick(exe);
    form.cxGridDBColumnImagePathPropertiesStartClick(image);
    app.processEvents();
    auto* diagram = form.findChild<ui::TNodeDiagram*>("EventsDiagram");
    timer.restart();
    form.cxGridDBColumnImageSessionsPropertiesStartClick(guid);
    diagram->viewport()->grab();
    const double sessionMs = timer.nsecsElapsed() / 1e6;
    std::printf("session of %d events: %.0f ms from click to drawn\n", events, sessionMs);

    timer.restart();
    diagram->verticalScrollBar()->setValue(diagram->verticalScrollBar()->maximum());
    diagram->viewport()->grab();
    std::printf("scroll to its end:    %.0f ms\n", timer.nsecsElapsed() / 1e6);

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak RSS:             %.1f MB\n", usage.ru_maxrss / 1024.0);
    MainDataModule = nullptr;
    return 0;
}
