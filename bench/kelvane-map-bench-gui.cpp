// Measures the map view over a big database: kelvane-map-bench-gui KelvaneDB.
// Works on a copy; when no destination has a country yet (the import geolocates only through ipstack),
// the copy's destinations get countries as a geolocating import would give them.
// 1. Colouring the countries after a load.
// 2. The map's first paint, and frames while scrolling and zooming, at the size of the main window.
// 3. A click on a country until its grid has painted its rows.
// A fixed CPU task runs first and last as the reference of this run, since the machine's speed varies.
#include "CountryFill.h"
#include "settings/CommandLine.h"
#include "store/DestinationCountries.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/TWorldMap.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMouseEvent>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QWheelEvent>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

using namespace kelvane;

namespace {

double referenceMs() {
    std::mt19937 rng(7);
    std::vector<std::uint32_t> values(2'000'000);
    for (auto& v : values)
        v = rng();
    QElapsedTimer timer;
    timer.start();
    std::sort(values.begin(), values.end());
    return timer.nsecsElapsed() / 1e6;
}

// This process's CPU time: on a machine shared with other work the wall time also counts the waits.
double cpuMs() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

struct Frames {
    std::vector<double> ms;
    void print(const char* what) {
        std::sort(ms.begin(), ms.end());
        double sum = 0;
        for (double m : ms)
            sum += m;
        std::printf("%-34s %5.1f fps mean, median frame %.1f ms, worst %.1f ms (%zu frames)\n", what,
                    1000.0 * ms.size() / sum, ms[ms.size() / 2], ms.back(), ms.size());
    }
};

template <class Step> Frames frames(ui::TWorldMap* map, int count, Step step) {
    Frames f;
    QElapsedTimer timer;
    for (int i = 0; i < count; ++i) {
        timer.start();
        step(i);
        map->repaint();
        f.ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    return f;
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QApplication app(argc, argv);
    CommandLine commandLine("Times the map view over a copy of a database.", {{0, "measured"}});
    commandLine.addPositional("DATABASE", "A Kelvane database.");
    commandLine.process(app, 1, 1);
    std::printf("reference (sort of 2M integers):   %.0f ms\n", referenceMs());
    QTemporaryDir temp;
    const QString dbPath = temp.filePath("KelvaneDB");
    if (!QFile::copy(QString::fromLocal8Bit(argv[1]), dbPath)) {
        std::fprintf(stderr, "cannot copy %s\n", argv[1]);
        return 2;
    }
    TMainDataModule data;
    MainDataModule = &data;
    data.setDatabasePath(dbPath);
    data.OpenDatabase();
    if (readDestinationCountries(data).empty()) {
        QElapsedTimer fill;
        fill.start();
        const int addresses = bench::fillDestinationCountries(data.connection());
        std::printf("gave %d destination addresses a country in %.0f ms\n", addresses,
                    fill.nsecsElapsed() / 1e6);
    }
    data.CloseDatabase();

    TMainForm form(data, dbPath);
    form.resize(1226, 717);
    form.show();
    form.LoadExistingDataMenuItemClick();
    form.findChild<QTabWidget*>("PageControlMain")
        ->setCurrentWidget(form.findChild<QWidget*>("TabSheetMapView"));
    app.processEvents();
    ui::TWorldMap* map = form.chartMap();

    QElapsedTimer timer;
    timer.start();
    const std::vector<CountryCount> countries = readDestinationCountries(data);
    const double readMs = timer.nsecsElapsed() / 1e6;
    timer.restart();
    for (const CountryCount& c : countries)
        form.MarkCountry(c.code, c.count);
    std::printf("colour the countries:              %.0f ms reading %zu countries, %.1f ms marking\n", readMs,
                countries.size(), timer.nsecsElapsed() / 1e6);

    Frames first = frames(map, 7, [&](int) {
        map->shape(0); /* marks the picture stale */
    });
    first.print("first paint of the whole world:");
    // A frame that only moves the mouse tip reuses the picture.
    Frames tip = frames(map, 60, [&](int i) {
        QMouseEvent move(QEvent::MouseMove, QPointF(300 + i, 200), QPointF(300 + i, 200), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(map, &move);
    });
    tip.print("tip following the mouse:");
    // As the user does it: drags with the left button, the wheel in small steps (a fine wheel or a touch
    // pad), and a rest after each, when the map is drawn in full again.
    auto send = [map](QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons) {
        QMouseEvent event(type, at, map->mapToGlobal(at), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(map, &event);
    };
    auto rest = [&] {
        QElapsedTimer wait;
        wait.start();
        while (wait.elapsed() < 400)
            app.processEvents();
    };
    auto drag = [&](const char* what, QPointF step) {
        QPointF at = map->rect().center();
        send(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton);
        frames(map, 120, [&](int i) {
            at += i < 60 ? step : -step;
            send(QEvent::MouseMove, at, Qt::NoButton, Qt::LeftButton);
        }).print(what);
        send(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        rest();
    };
    auto wheel = [&](const char* what, QPointF at, int delta) {
        frames(map, 60, [&](int) {
            QWheelEvent event(at, map->mapToGlobal(at), QPoint(), QPoint(0, delta), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(map, &event);
        }).print(what);
        rest();
    };
    rest();
    drag("scrolling the whole world:", QPointF(6, 2));
    const QPointF europe = map->planeTransform(map->rect()).map(ui::projectNaturalEarth(10, 50));
    wheel("zooming in on Europe (to 18x):", europe, 32);
    drag("scrolling at 18x:", QPointF(8, 3));
    wheel("zooming out again:", europe, -32);
    map->resetZoom();

    // Clicks on the busiest country, a small one and a dark one.
    auto* grid = form.findChild<QTableView*>("cxGridNetworkEventsView");
    auto shapeOf = [&](const QString& code) {
        for (int i = 0; i < map->shapeCount(); ++i)
            if (map->shape(i).code == code)
                return i;
        return -1;
    };
    const QString busiest = std::max_element(countries.begin(), countries.end(), [](auto& a, auto& b) {
                                return a.count < b.count;
                            })->code;
    for (const QString& code : {busiest, QString("MT"), QString("BR"), busiest}) {
        const int shape = shapeOf(code);
        if (shape < 0)
            continue;
        const double cpuBefore = cpuMs();
        timer.restart();
        form.ChartMapClickSeries(shape);
        app.processEvents();
        grid->viewport()->repaint();
        std::printf("click on %s until its grid shows:    %.0f ms, %.0f ms of CPU (%d rows)\n",
                    qPrintable(code), timer.nsecsElapsed() / 1e6, cpuMs() - cpuBefore,
                    grid->model()->rowCount());
    }

    std::printf("reference again:                   %.0f ms\n", referenceMs());
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak RSS:                          %.1f MB\n", usage.ru_maxrss / 1024.0);
    MainDataModule = nullptr;
    return 0;
}
