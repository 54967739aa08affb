// The price of the Sigma rules on an import: kelvane-detect-bench LOG [ROUNDS]. Each round imports the log
// three times, each in a child process of its own (so that each has its own peak memory): without rules, with
// the bundled rules on Vectorscan, and with them on RE2::Set. Prints events/s, rule evaluations/s and peak
// memory side by side, and the time with rules against the time without.
#include "detect/RuleLibrary.h"
#include "import/TImportController.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;

namespace {

// One import in this process; prints "seconds events matches evaluations peakMB".
int child(const QString& mode, const QString& log, const QString& dbPath) {
    QFile::remove(dbPath);
    TMainDataModule data;
    data.setDatabasePath(dbPath);
    data.OpenDatabase();
    TImportController import(data, QString(), false);
    import.FileName = log;
    import.setDetections(mode != "none");
    import.setDetectionMatcher(mode == "re2" ? detect::MatcherBackend::Re2Set
                                             : detect::MatcherBackend::Vectorscan);
    QElapsedTimer timer;
    timer.start();
    import.ButtonImportClick();
    import.waitForEnd();
    const double seconds = timer.nsecsElapsed() / 1e9;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const QString summary = import.detectionSummary();
    const qint64 matches = summary.section(", ", 1, 1).section(' ', 0, 0).toLongLong();
    std::printf("%.3f %lld %lld %llu %.1f\n", seconds, static_cast<long long>(import.FEventsCount()),
                static_cast<long long>(matches), static_cast<unsigned long long>(import.ruleEvaluations()),
                usage.ru_maxrss / 1024.0);
    return 0;
}

struct Run {
    double seconds = 0;
    long long events = 0, matches = 0;
    unsigned long long evaluations = 0;
    double peakMB = 0;
};

Run runChild(const QString& mode, const QString& log, const QString& db) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), {"--child", mode, log, db});
    process.waitForFinished(-1);
    Run run;
    std::sscanf(process.readAllStandardOutput().constData(), "%lf %lld %lld %llu %lf", &run.seconds,
                &run.events, &run.matches, &run.evaluations, &run.peakMB);
    return run;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 5 && args.at(1) == "--child")
        return child(args.at(2), args.at(3), args.at(4));
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: kelvane-detect-bench LOG [ROUNDS]\n");
        return 2;
    }
    const int rounds = args.size() > 2 ? args.at(2).toInt() : 2;
    QTemporaryDir dir;
    const QString db = dir.filePath("KelvaneDB");

    // The first load compiles the Vectorscan databases into the cache; every import after that loads them.
    QElapsedTimer timer;
    timer.start();
    const auto warm = detect::loadRules({}, true, detect::MatcherBackend::Vectorscan);
    std::printf("rules: %zu compiled, %zu skipped; first load %.1f s\n", warm.matcher->rules().size(),
                warm.skipped.size(), timer.nsecsElapsed() / 1e9);
    std::printf("%-5s %-11s %9s %11s %9s %14s %9s %8s\n", "round", "rules", "seconds", "events/s", "matches",
                "rule evals/s", "peak MB", "vs none");
    for (int round = 1; round <= rounds; ++round) {
        double baseline = 0;
        for (const QString mode : {"none", "vectorscan", "re2"}) {
            const Run run = runChild(mode, args.at(1), db);
            if (mode == QString("none"))
                baseline = run.seconds;
            std::printf("%-5d %-11s %9.2f %11.0f %9lld %14.0f %9.1f %7.2fx\n", round, qPrintable(mode),
                        run.seconds, run.events / run.seconds, run.matches, run.evaluations / run.seconds,
                        run.peakMB, run.seconds / baseline);
            std::fflush(stdout);
        }
    }
    return 0;
}
