// Measures one import: kelvane-import-bench LOG.xml [DB]. Prints events/s and the process's peak
// resident memory, so that speed and memory targets are checked here and not in unit tests.
#include "import/TImportController.h"
#include "settings/CommandLine.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    CommandLine commandLine("Times one import; prints events/s and peak memory.", {{0, "measured"}});
    commandLine.addPositional("LOG", "A Sysmon log.");
    commandLine.addPositional("DB", "The database to build (a temporary one).", "[DB]");
    commandLine.process(app, 1, 2);
    const QStringList args = app.arguments();
    QTemporaryDir dir;
    const QString dbPath = args.size() > 2 ? args.at(2) : dir.filePath("KelvaneDB");
    QFile::remove(dbPath);

    TMainDataModule data;
    data.setDatabasePath(dbPath);
    data.OpenDatabase();
    TImportController import(data, QString(), false);
    import.FileName = args.at(1);

    QElapsedTimer timer;
    timer.start();
    import.ButtonImportClick();
    import.waitForEnd();
    const double seconds = timer.nsecsElapsed() / 1e9;

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const qint64 events = import.FEventsCount();
    const double mib = QFileInfo(args.at(1)).size() / 1048576.0;
    std::printf("file:        %s (%.0f MiB)\n", qPrintable(args.at(1)), mib);
    std::printf("result:      %s\n", qPrintable(import.report().labelMessage().trimmed()));
    std::printf("events:      %lld in %.2f s\n", static_cast<long long>(events), seconds);
    std::printf("events/s:    %.0f\n", events / seconds);
    std::printf("MiB/s:       %.0f\n", mib / seconds);
    std::printf("peak RSS:    %.1f MB\n", usage.ru_maxrss / 1024.0);
    std::printf("database:    %.0f MiB\n", QFileInfo(dbPath).size() / 1048576.0);
    return import.report().modalResult() == ImportReport::Ok ? 0 : 3;
}
