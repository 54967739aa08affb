// Evaluates the Sigma rules again on an existing Kelvane database (after new rules arrived), replacing the
// detections it holds. Prints what ran and what was skipped; exits 0, 2 on bad use, 3 when it failed.
#include "detect/EventDetections.h"
#include "detect/StoredEvents.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <ctime>

using namespace kelvane;

namespace {
double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}
} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kelvane-detect");
    QCommandLineParser parser;
    parser.setApplicationDescription("Evaluates Sigma rules on the events of a Kelvane database.");
    parser.addHelpOption();
    const QCommandLineOption dbOption("db", "The database.", "PATH");
    const QCommandLineOption rulesOption("rules", "Evaluate the Sigma rules in DIR too (repeatable).", "DIR");
    const QCommandLineOption noBundledOption("no-bundled", "Leave out the bundled rules.");
    const QCommandLineOption backendOption("matcher", "re2 or vectorscan (the default).", "NAME");
    parser.addOptions({dbOption, rulesOption, noBundledOption, backendOption});
    parser.process(app);
    if (!parser.isSet(dbOption) || !parser.positionalArguments().isEmpty() ||
        (parser.isSet(noBundledOption) && !parser.isSet(rulesOption))) {
        std::fprintf(stderr, "usage: kelvane-detect --db PATH [--rules DIR...] [--no-bundled]\n");
        return 2;
    }
    const auto backend = parser.value(backendOption) == "re2" ? detect::MatcherBackend::Re2Set
                                                              : detect::MatcherBackend::Vectorscan;
    std::vector<std::string> folders;
    for (const QString& folder : parser.values(rulesOption))
        folders.push_back(folder.toStdString());

    TMainDataModule data;
    try {
        openKelvaneDatabase(data, parser.value(dbOption));
        // The check opens for reading; the detections are written.
        data.CloseDatabase();
        data.setReadOnly(false);
        data.OpenDatabase();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-detect: %s\n", e.what());
        return 2;
    }
    try {
        QElapsedTimer timer;
        timer.start();
        const double cpuStart = cpuSeconds();
        detect::EventDetections detections(
            detect::loadRules(folders, !parser.isSet(noBundledOption), backend));
        const double compiled = timer.nsecsElapsed() / 1e9;
        const double compiledCpu = cpuSeconds() - cpuStart;
        sql::Database& db = data.connection();
        const std::int64_t events = detect::forEachStoredEvent(
            db, [&](int eventId, const EventRecord& items, std::string_view computer, std::int64_t gid) {
                detections.evaluate(eventId, items, computer, gid);
            });
        const double evaluated = timer.nsecsElapsed() / 1e9 - compiled;
        const double evaluatedCpu = cpuSeconds() - cpuStart - compiledCpu;
        sql::Transaction transaction(db);
        detections.store(db);
        transaction.commit();
        for (const detect::SkippedRule& skipped : detections.skipped())
            std::fprintf(stderr, "Rule skipped: %s: %s\n", skipped.file.c_str(), skipped.reason.c_str());
        std::printf("%s\n", detections.summary().c_str());
        // CPU time beside the wall clock: on a shared machine it is the steadier figure.
        std::printf(
            "%lld events in %.2f s, %.2f s CPU (rules compiled in %.2f s, %.2f s CPU, %s): %.0f events/s, "
            "%.0f rule evaluations/s of CPU\n",
            static_cast<long long>(events), evaluated, evaluatedCpu, compiled, compiledCpu,
            detect::backendName(backend), events / std::max(evaluatedCpu, 1e-9),
            detections.matcher().ruleEvaluations() / std::max(evaluatedCpu, 1e-9));
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-detect: %s\n", e.what());
        return 3;
    }
}
