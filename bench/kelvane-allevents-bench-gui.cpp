// Measures the All Events view over a big database: kelvane-allevents-bench-gui KelvaneDB [TERM].
// Reads the database only. Prints, for the empty term and for TERM (a rare one by default):
// - the view's statement as SQLite runs it (the reference, measured in the same run),
// - the search of the view: first hits and whole result;
// and then, in the grid, once the result is in: grouping by Event Type, opening the largest group,
// opening a detail row, and scrolling from the top to the bottom.
#include "settings/CommandLine.h"
#include "store/AllEventsIndex.h"
#include "store/AllEventsLayout.h"
#include "store/AllEventsSearch.h"
#include "store/Schema.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTabWidget>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;

namespace {

double ms(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

void reference(sql::Database& db, const QString& term) {
    QElapsedTimer timer;
    timer.start();
    sql::Statement stmt = db.prepare(schema::searchAllEventsQuery());
    const std::string text = term.toStdString();
    stmt.bindStatic(stmt.parameterIndex(":TermParam"), text);
    double first = -1;
    int rows = 0;
    while (stmt.step()) {
        if (rows++ == 0)
            first = ms(timer);
    }
    std::printf("  statement as written: first row %.0f ms, %d rows in %.0f ms\n", first, rows, ms(timer));
}

void ours(std::span<sql::Database* const> readers, const QString& term) {
    QElapsedTimer timer;
    timer.start();
    double first = -1;
    const auto ids = searchEventIds(readers, term, nullptr, [&](const std::vector<std::int64_t>& soFar) {
        if (first < 0 && !soFar.empty())
            first = ms(timer);
    });
    std::printf("  search of the view, %zu reader(s): first hits %.0f ms, %zu ids in %.0f ms\n",
                readers.size(), first, ids.size(), ms(timer));
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QApplication app(argc, argv);
    CommandLine commandLine(
        "Times the All Events search against the statement as SQLite runs it, and the grid.",
        {{0, "measured"}});
    commandLine.addPositional("DATABASE", "A Kelvane database (only read).");
    commandLine.addPositional("TERM", "A rare search term.", "[TERM]");
    commandLine.process(app, 1, 2);
    const QString path = QString::fromLocal8Bit(argv[1]);
    const QString rare = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString("{00000000-DEAD-BEEF");

    auto db = openReadOnlyDatabase(path.toStdString());
    auto second = openReadOnlyDatabase(path.toStdString());
    sql::Database* one[] = {db.get()};
    sql::Database* two[] = {db.get(), second.get()};
    for (const QString& term : {QString(), rare}) {
        std::printf("search \"%s\":\n", qPrintable(term));
        ours(two, term);
        reference(*db, term);
        ours(one, term);
        ours(two, term);
    }

    QElapsedTimer timer;
    timer.start();
    auto index = AllEventsIndex::read(*db);
    std::printf("index of %d master rows read in %.0f ms (on its own thread after a load)\n", index->size(),
                ms(timer));
    timer.restart();
    auto keys = DetailKeys::read(*db);
    std::printf("detail keys read in %.0f ms (same thread, after the index)\n", ms(timer));

    // The window, loaded as a user loads it, its grid given the whole result.
    TMainDataModule data;
    MainDataModule = &data;
    TMainForm form(data, path);
    form.resize(1226, 717);
    form.show();
    app.processEvents();
    timer.restart();
    form.LoadExistingDataMenuItemClick();
    app.processEvents();
    std::printf("load existing data until the window is free: %.0f ms\n", ms(timer));
    timer.restart();
    while (form.allEventsSearchRunning())
        app.processEvents(QEventLoop::WaitForMoreEvents);
    std::printf("  ... and the search of all events is in %.0f ms later\n", ms(timer));
    auto* grid = form.findChild<ui::TGroupingGrid*>("cxGridAllEvents");
    auto* model = grid->model();
    while (!model->hasIndex())
        app.processEvents(QEventLoop::WaitForMoreEvents);
    form.findChild<QTabWidget*>("PageControlMain")
        ->setCurrentWidget(form.findChild<QWidget*>("TabSheetAllEvents"));
    grid->grab();

    for (int round = 0; round < 3; ++round) {
        grid->groupBy({});
        grid->grab();
        timer.restart();
        grid->groupBy({"EventTypeName"});
        grid->grab();
        const double group = ms(timer);
        auto countOf = [&](int g) {
            return model->index(g, 0).data().toString().section('(', -1).remove(')').toInt();
        };
        int largest = 0;
        for (int g = 1; g < model->rowCount(); ++g)
            if (countOf(g) > countOf(largest))
                largest = g;
        const int groupRows = countOf(largest);
        timer.restart();
        const QModelIndex groupRow = model->index(largest, 0);
        grid->view()->expand(groupRow);
        grid->grab();
        const double open = ms(timer);
        timer.restart();
        grid->view()->expand(model->index(0, 0, groupRow));
        const double detailOnly = ms(timer);
        timer.restart();
        grid->grab();
        const double detail = detailOnly + ms(timer);
        timer.restart();
        grid->grab();
        const double paint = ms(timer);
        grid->groupBy({});
        grid->grab();
        auto* bar = grid->view()->verticalScrollBar();
        timer.restart();
        const int steps = 20;
        for (int i = 1; i <= steps; ++i) {
            bar->setValue(bar->maximum() * i / steps);
            grid->view()->viewport()->grab();
        }
        const double scroll = ms(timer) / steps;
        std::printf("grid of %d rows: group by Event Type %.0f ms, open a group of %d rows %.0f ms, open a "
                    "detail row %.0f ms (%.0f ms without painting; a repaint alone %.0f ms), one scroll step "
                    "to the bottom %.1f ms\n",
                    model->rowCount(), group, groupRows, open, detail, detailOnly, paint, scroll);
        bar->setValue(0);
    }

    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak RSS %.0f MB\n", static_cast<double>(usage.ru_maxrss) / 1024.0);
    MainDataModule = nullptr;
    return 0;
}
