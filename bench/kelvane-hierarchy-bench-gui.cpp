// Measures the Hierarchy tab over a big database: kelvane-hierarchy-bench-gui KelvaneDB [ROUNDS [FOLDER]].
// Reference: one plain read of ProcessCreate's five columns, timed in the same run, so that figures of a
// busy machine can be compared. Then, per round: the tree alone, the click on the generate button until
// the diagram is laid out and painted, scroll and fit-to-window frames, and the peak memory. With a
// FOLDER, pictures of the far right end of the drawing and of the fitted drawing are saved there.
// After the drawing, the ways around it: find as one types, fold all and unfold, focus on a family and
// back, computer roots, and the tree list's opening, expanding its biggest node and sorting it.
#include "settings/CommandLine.h"
#include "store/ProcessHierarchy.h"
#include "store/ProcessTreeIndex.h"
#include "store/ProcessTreeModel.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/TNodeDiagram.h"
#include "views/HierarchyBrowser.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLineEdit>
#include <QScrollBar>
#include <QTabWidget>
#include <QToolButton>
#include <QTreeView>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <vector>

using namespace kelvane;

namespace {

double msSince(const QElapsedTimer& timer) {
    return timer.nsecsElapsed() / 1e6;
}

// CPU time of this thread: on a machine shared with others, wall time swings by the load.
double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

void plainRead(TMainDataModule& data) {
    QElapsedTimer timer;
    timer.start();
    const double cpu = cpuMs();
    sql::Statement statement = data.connection().prepare(
        "SELECT ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID FROM ProcessCreate");
    qint64 bytes = 0;
    while (statement.step())
        for (int c = 0; c < 4; ++c)
            bytes += static_cast<qint64>(statement.columnText(c).size());
    std::printf("  %-34s %8.0f ms, cpu %6.0f ms (%lld bytes of text)\n", "reference: plain read of the rows",
                msSince(timer), cpuMs() - cpu, static_cast<long long>(bytes));
}

// The slowest and the median of a series of frame times.
void printFrames(const char* what, std::vector<double> frames) {
    std::sort(frames.begin(), frames.end());
    std::printf("  %-34s median %6.1f ms, worst %6.1f ms (%zu frames, wall)\n", what,
                frames[frames.size() / 2], frames.back(), frames.size());
}

// Resident memory now, in MB.
double residentMb() {
    long pages = 0, resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(statm);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1048576.0);
}

// Times one step, until what it changed is painted.
void timed(const char* what, const std::function<void()>& step, QWidget* painted, const QString& note = {}) {
    QElapsedTimer timer;
    timer.start();
    const double cpu = cpuMs();
    step();
    painted->repaint();
    std::printf("  %-34s %8.1f ms, cpu %6.1f ms, resident %4.0f MB%s\n", what, msSince(timer), cpuMs() - cpu,
                residentMb(), note.isEmpty() ? "" : qPrintable(" (" + note + ")"));
}

// Find, fold, focus, computer roots and the tree list, on the tree the generate button drew.
void navigation(TMainForm& form, ui::TNodeDiagram* diagram) {
    HierarchyBrowser* browser = form.hierarchyBrowser();
    const ProcessTreeIndex& tree = *browser->shownTree();
    QWidget* view = diagram->viewport();

    std::printf("  resident after generating: %.0f MB\n", residentMb());
    // The search alone, then each keystroke: the search, the first match selected, centred, painted.
    std::vector<double> keys;
    double keysCpu = cpuMs();
    for (const QString& term : {QString("svchost.exe"), QString("powershell -enc"), QString("zzqxj")})
        for (qsizetype n = 1; n <= term.size(); ++n) {
            QElapsedTimer timer;
            timer.start();
            const auto found = tree.find(term.left(n));
            keys.push_back(msSince(timer) + found.size() * 0);
        }
    printFrames("find alone, per prefix", keys);
    std::printf("  %-34s mean cpu %6.1f ms\n", "", (cpuMs() - keysCpu) / keys.size());
    keys.clear();
    keysCpu = cpuMs();
    for (const QString& term : {QString("svchost.exe"), QString("powershell -enc"), QString("zzqxj")}) {
        browser->findBox()->clear();
        for (const QChar c : term) {
            QElapsedTimer timer;
            timer.start();
            browser->findBox()->insert(QString(c));
            view->repaint();
            keys.push_back(msSince(timer));
        }
        std::printf("  find \"%s\": %d matches\n", qPrintable(term), browser->matchCount());
    }
    printFrames("find, per keystroke", keys);
    std::printf("  %-34s mean cpu %6.1f ms\n", "", (cpuMs() - keysCpu) / keys.size());
    keys.clear();
    for (int i = 0; i < 20; ++i) {
        QElapsedTimer timer;
        timer.start();
        browser->findNext();
        view->repaint();
        keys.push_back(msSince(timer));
    }
    printFrames("next match", keys);
    browser->findBox()->clear();

    timed(
        "fold below depth 1 (all folded)", [&] { browser->foldBelow(1); }, view);
    timed(
        "unfold all", [&] { browser->unfoldAll(); }, view);
    timed(
        "fold below depth 3", [&] { browser->foldBelow(3); }, view);
    browser->unfoldAll();

    // The family of the process with the most descendants among the root's grandchildren.
    int chosen = -1;
    for (const int top : tree.children(0))
        for (const int child : tree.children(top))
            if (chosen < 0 || tree.childCount(child) > tree.childCount(chosen))
                chosen = child;
    if (chosen > 0) {
        const QString guid = QString::fromUtf8(tree.node(chosen).guid);
        timed(
            "focus on a family", [&] { browser->focusOnGuid(guid); }, view,
            QString("%1 children").arg(tree.childCount(chosen)));
        timed(
            "back to the whole tree", [&] { browser->showWholeTree(); }, view);
    }
    timed(
        "by computer", [&] { browser->setByComputer(true); }, view);
    timed(
        "and back", [&] { browser->setByComputer(false); }, view);

    QTreeView* list = browser->treeList();
    timed(
        "tree list: open", [&] { browser->setMode(1); }, list->viewport());
    int biggest = 0;
    for (int i = 1; i < browser->shownTree()->size(); ++i)
        if (browser->shownTree()->childCount(i) > browser->shownTree()->childCount(biggest) || biggest == 0)
            biggest = i;
    const int children = browser->shownTree()->childCount(biggest);
    timed(
        "tree list: expand the biggest node",
        [&] { browser->selectNode(browser->shownTree()->children(biggest).back(), true); }, list->viewport(),
        QString("%1 children").arg(children));
    timed(
        "tree list: sort by command line",
        [&] { list->sortByColumn(ProcessTreeModel::CommandLine, Qt::AscendingOrder); }, list->viewport());
    list->sortByColumn(-1, Qt::AscendingOrder);
    browser->setMode(0);
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QApplication app(argc, argv);
    CommandLine commandLine("Times the Hierarchy tab against a plain read of ProcessCreate (only reads).",
                            {{0, "measured"}});
    commandLine.addPositional("DATABASE", "A Kelvane database.");
    commandLine.addPositional("ROUNDS", "Rounds (3).", "[ROUNDS");
    commandLine.addPositional("FOLDER", "Where pictures go.", "[FOLDER]]");
    commandLine.process(app, 1, 3);
    if (!QFileInfo(QString::fromLocal8Bit(argv[1])).isFile())
        commandLine.fail(QString::fromLocal8Bit(argv[1]) + ": no such file");
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    // Nothing is written: the hierarchy only reads.
    TMainDataModule data;
    MainDataModule = &data;
    TMainForm form(data, QString::fromLocal8Bit(argv[1]));
    form.resize(1226, 717);
    form.show();
    auto* tabs = form.findChild<QTabWidget*>("PageControlMain");
    tabs->setCurrentWidget(form.findChild<QWidget*>("TabSheetProcessHierarchy"));
    app.processEvents();
    form.LoadExistingDataMenuItemClick();
    auto* diagram = form.findChild<ui::TNodeDiagram*>("ProcessDiagram");
    auto* generate = form.findChild<QToolButton*>("SpeedButtonGenerateProcessHierarchy");

    for (int round = 1; round <= rounds; ++round) {
        std::printf("round %d\n", round);
        plainRead(data);

        QElapsedTimer timer;
        timer.start();
        double cpu = cpuMs();
        {
            // Freed before the tab makes its own.
            const ProcessHierarchy tree = ProcessHierarchy::generate(data);
            std::printf("  %-34s %8.0f ms, cpu %6.0f ms (%d nodes)\n", "tree alone", msSince(timer),
                        cpuMs() - cpu, tree.size());
        }

        timer.restart();
        cpu = cpuMs();
        generate->click();
        const double clickMs = msSince(timer);
        const double clickCpu = cpuMs() - cpu;
        const QSize size = diagram->drawingSize();
        const double layoutMs = msSince(timer);
        const double layoutCpu = cpuMs() - cpu;
        diagram->viewport()->repaint();
        std::printf("  %-34s %8.0f ms, cpu %6.0f ms\n", "generate: click (tree and nodes)", clickMs,
                    clickCpu);
        std::printf("  %-34s %8.0f ms, cpu %6.0f ms\n", "  and laid out", layoutMs, layoutCpu);
        std::printf("  %-34s %8.0f ms, cpu %6.0f ms (drawing %d x %d)\n", "  and painted", msSince(timer),
                    cpuMs() - cpu, size.width(), size.height());

        // Scrolling along the widest row, where the top level nodes stand.
        std::vector<double> frames;
        QScrollBar* horizontal = diagram->horizontalScrollBar();
        QScrollBar* vertical = diagram->verticalScrollBar();
        vertical->setValue(0);
        for (int i = 0; i < 60; ++i) {
            timer.restart();
            horizontal->setValue(horizontal->value() + 37);
            diagram->viewport()->repaint();
            frames.push_back(msSince(timer));
        }
        printFrames("scroll by 37 pixels", frames);
        frames.clear();
        for (int i = 0; i < 30; ++i) {
            timer.restart();
            horizontal->setValue(static_cast<int>(qint64(horizontal->maximum()) * i / 29));
            vertical->setValue(vertical->maximum() * (i % 3) / 2);
            diagram->viewport()->repaint();
            frames.push_back(msSince(timer));
        }
        printFrames("jump across the drawing", frames);
        frames.clear();
        for (int i = 0; i < 10; ++i) {
            timer.restart();
            diagram->setZoomToFit(i % 2 == 0);
            diagram->viewport()->repaint();
            frames.push_back(msSince(timer));
        }
        printFrames("fit to window and back", frames);
        frames.clear();
        diagram->setZoomToFit(true);
        for (int i = 0; i < 30; ++i) {
            timer.restart();
            diagram->viewport()->repaint();
            frames.push_back(msSince(timer));
        }
        diagram->setZoomToFit(false);
        printFrames("repaint while fitted", frames);
        navigation(form, diagram);
    }

    if (argc > 3) {
        const QDir folder(QString::fromLocal8Bit(argv[3]));
        diagram->horizontalScrollBar()->setValue(diagram->horizontalScrollBar()->maximum());
        diagram->verticalScrollBar()->setValue(0);
        form.grab().save(folder.filePath("hierarchy-far-right.png"));
        diagram->setZoomToFit(true);
        form.grab().save(folder.filePath("hierarchy-fitted.png"));
        diagram->setZoomToFit(false);
    }

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak RSS: %.1f MB\n", usage.ru_maxrss / 1024.0);
    MainDataModule = nullptr;
    return 0;
}
