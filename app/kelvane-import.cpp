// Headless importer: runs the import of Sysmon logs (XML or .evtx) into a new database or a case, for
// scripts, benchmarks and tests. Prints the dialog's label (and status line), exits with the modal result (0
// for ok, 3 for abort), or 4 when the import ended but left out damaged, stale or repeated records or read
// chunks that failed their checksum.
#include "import/FailedImportNote.h"
#include "import/TImportController.h"
#include "import/elastic/TElasticImportController.h"
#include "settings/CommandLine.h"
#include "settings/TSharedResourcesModule.h"
#include "store/QueryCommands.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QTimer>

#include <cstdio>
#include <utility>

using namespace kelvane;

namespace {

constexpr int kExitWithLosses = 4;

// The import writes a new file beside the one named and moves it there at the end, so that an import that
// fails before its first event leaves no file behind, and leaves an existing database as it was.
class DatabaseTarget {
public:
    explicit DatabaseTarget(const QString& path) : m_path(path) {
        QTemporaryFile file(QFileInfo(path).absoluteFilePath() + ".XXXXXX.part");
        file.setAutoRemove(false);
        if (file.open())
            m_work = file.fileName();
    }
    ~DatabaseTarget() {
        if (!m_work.isEmpty())
            QFile::remove(m_work);
    }
    bool valid() const { return !m_work.isEmpty(); }
    const QString& workPath() const { return m_work; }
    // Call with the database closed. Keeps the new file when it holds something, else drops it.
    bool finish(bool keep) {
        const QString work = std::exchange(m_work, QString());
        if (!keep)
            return QFile::remove(work);
        QFile::remove(m_path);
        return QFile::rename(work, m_path);
    }

private:
    QString m_path;
    QString m_work;
};

// Prints what the dialog would say and gives the exit code, for either import.
int finish(const ImportReport& report, const QString& dbPath) {
    std::printf("%s\n", qPrintable(report.labelMessage().trimmed()));
    if (!report.statusBarLog().isEmpty())
        std::printf("%s\n", qPrintable(report.statusBarLog()));
    if (report.modalResult() == ImportReport::Abort) {
        // The dialog's label keeps the mapper's errors and a storage failure; say the rest here so that
        // nothing is silent, and nothing twice.
        for (const QString& line : report.errorMessage())
            if (!report.labelMessage().contains(line))
                std::fprintf(stderr, "Error: %s\n", qPrintable(line));
        for (const QString& line : ImportReport::lossLines(report.readLosses()))
            std::fprintf(stderr, "%s\n", qPrintable(line));
        if (report.dateFailures() > 0)
            std::fprintf(stderr, "%d time stamps could not be read and were stored as 1899-12-30\n",
                         report.dateFailures());
        // What was read before the failure stays in the file and can be looked at.
        std::printf("%s\n", qPrintable(storedBeforeFailureText(eventsStoredIn(dbPath))));
        return 3;
    }
    // Imported, but the log lost records on the way, or some of it is doubtful (the label said what).
    return report.readLosses().any() ? kExitWithLosses : 0;
}

// The import from a search server: the password comes from the environment, never the command line.
int importFromServer(TMainDataModule& data, const QString& url, const QStringList& indexes,
                     const QString& user, const QStringList& fingerprints, const QString& key, bool consent,
                     bool geolocate, const QString& ipstackHost, qint64& eventsCount) {
    // Without a scheme the client tries https, then http.
    const bool schemeGiven = url.contains("://");
    const QUrl server(schemeGiven ? url : "none://" + url);
    ElasticConnectionParams params;
    params.add(schemeGiven ? server.scheme() + "://" + server.host() : server.host(),
               QString::number(server.port(9200)), user, qEnvironmentVariable("KELVANE_ES_PASSWORD"));
    TElasticImportController import(data, params, key, consent, ipstackHost);
    import.trust(fingerprints);
    import.setPerformIPGeoMapping(geolocate);
    try {
        data.OpenDatabase();
        import.prepare();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-import: %s\n", e.what());
        return 3;
    }
    import.ImportData(indexes.join(';'));
    import.waitForEnd();
    eventsCount = import.FEventsCount();
    return finish(import.report(), data.databasePath());
}

// Which Sigma rules the import evaluates: the bundled ones unless --no-rules, and every --rules folder.
struct RuleChoice {
    bool bundled = true;
    QStringList folders;
};

// The import of logs (one, or several into one case), with a line per file as it is done.
int importFromLogs(TMainDataModule& data, const QStringList& files, bool append, const QString& key,
                   bool consent, bool geolocate, const QString& ipstackHost, const RuleChoice& rules,
                   qint64& eventsCount) {
    TImportController import(data, key, consent, ipstackHost);
    import.FileNames = files;
    import.setAppend(append);
    import.setPerformIPGeoMapping(geolocate);
    import.setDetections(rules.bundled || !rules.folders.isEmpty(), rules.bundled, rules.folders);
    try {
        data.OpenDatabase();
        import.ButtonImportClick();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-import: %s\n", e.what());
        return 3;
    }
    const bool several = files.size() > 1;
    int printed = 0;
    const auto printLines = [&] {
        const QStringList lines = import.fileLines();
        for (; printed < lines.size(); ++printed)
            std::printf("[%d/%d] %s\n", printed + 1, static_cast<int>(files.size()),
                        qPrintable(lines[printed]));
        std::fflush(stdout);
    };
    QTimer progress;
    if (several) {
        QObject::connect(&progress, &QTimer::timeout, printLines);
        progress.start(250);
    }
    import.waitForEnd();
    if (several)
        printLines();
    eventsCount = import.FEventsCount();
    // On the error stream, so that the output stays the dialog's texts.
    for (const QString& skipped : import.skippedRuleFiles())
        std::fprintf(stderr, "Rule skipped: %s\n", qPrintable(skipped));
    if (!import.detectionSummary().isEmpty())
        std::fprintf(stderr, "%s\n", qPrintable(import.detectionSummary()));
    return finish(import.report(), data.databasePath());
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kelvane-import");

    CommandLine commandLine("Imports a Sysmon log (an XML export or an .evtx file) into a Kelvane database.",
                            {{0, "the import is done"},
                             {2, "bad arguments, or the database exists without --force"},
                             {3, "the import failed (what was read before the failure is kept)"},
                             {4, "the import ended, but records of an .evtx file were left out as damaged, "
                                 "stale or repeated, or come from chunks that failed their checksum"}});
    QCommandLineParser& parser = commandLine.parser();
    const QCommandLineOption dbOption("db", "The database file to build.", "PATH");
    const QCommandLineOption forceOption("force", "Replace the database file if it exists.");
    const QCommandLineOption geoOption(
        "geolocate", "Geolocate public IPv4 addresses through ipstack (uses the key and the "
                     "consent stored by Kelvane's Preferences).");
    const QCommandLineOption hostOption("ipstack-host", "The geolocation endpoint host[:port].", "HOST");
    const QCommandLineOption elasticOption(
        "elastic",
        "Import from the Elasticsearch or OpenSearch server at URL instead of a log "
        "(password in the environment variable KELVANE_ES_PASSWORD).",
        "URL");
    const QCommandLineOption indexOption(
        "index", "An index, alias, data stream or pattern to import (repeatable).", "NAME");
    const QCommandLineOption userOption("user", "The user for basic authentication.", "USER");
    const QCommandLineOption fingerprintOption(
        "fingerprint", "Trust the server certificate with this SHA-256 fingerprint (repeatable).", "SHA256");
    const QCommandLineOption noRulesOption("no-rules", "Do not evaluate the bundled Sigma rules.");
    const QCommandLineOption rulesOption("rules", "Evaluate the Sigma rules in DIR too (repeatable).", "DIR");
    parser.addOptions({dbOption, forceOption, geoOption, hostOption, elasticOption, indexOption, userOption,
                       fingerprintOption, noRulesOption, rulesOption});
    const QCommandLineOption appendOption(
        "append", "Add the logs' events to those of the existing database PATH (an event it holds already, "
                  "by computer, record id and time, is counted and not stored twice).");
    parser.addOption(appendOption);
    parser.addPositionalArgument("LOG",
                                 "Sysmon logs to import: XML or .evtx files (told apart by content), and "
                                 "folders searched through for .evtx and .xml files.",
                                 "LOG [LOG...]");
    commandLine.process(app);
    const RuleChoice rules{!parser.isSet(noRulesOption), parser.values(rulesOption)};

    const QStringList files = parser.positionalArguments();
    const bool fromServer = parser.isSet(elasticOption);
    if (!parser.isSet(dbOption))
        commandLine.fail("--db PATH is missing");
    if (fromServer && !files.isEmpty())
        commandLine.fail("--elastic takes no log");
    if (fromServer && !parser.isSet(indexOption))
        commandLine.fail("--elastic needs at least one --index");
    if (!fromServer && files.isEmpty())
        commandLine.fail("no log given");
    if (fromServer && parser.isSet(appendOption))
        commandLine.fail("--append takes logs, not a search server");
    if (parser.isSet(appendOption) && parser.isSet(forceOption))
        commandLine.fail("--append and --force exclude each other");
    const QString dbPath = parser.value(dbOption);
    const bool append = parser.isSet(appendOption) && QFileInfo::exists(dbPath);
    if (append) {
        TMainDataModule check;
        try {
            openKelvaneDatabase(check, dbPath);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "kelvane-import: %s\n", e.what());
            return 2;
        }
    } else if (QFileInfo::exists(dbPath) && !parser.isSet(forceOption)) {
        std::fprintf(stderr, "kelvane-import: %s exists; use --force to replace it\n", qPrintable(dbPath));
        return 2;
    }

    QString key;
    bool consent = false;
    if (parser.isSet(geoOption)) {
        TSharedResourcesModule settings;
        key = settings.IPStackKey();
        consent = settings.IPStackToS();
        if (!consent) {
            std::fprintf(stderr, "kelvane-import: accept IPStack's terms of service in Kelvane first\n");
            return 2;
        }
        if (!TSharedResourcesModule::isUsableKey(key)) {
            std::fprintf(stderr, "Set a IPStack API key first (File -> Preferences)\n");
            return 2;
        }
    }

    QStringList logs;
    if (!fromServer) {
        logs = TImportController::logsUnder(files);
        if (logs.isEmpty()) {
            std::fprintf(stderr, "kelvane-import: no .evtx or .xml file in %s\n",
                         qPrintable(files.join(", ")));
            return 2;
        }
    }
    if (append) {
        // Added events go into the case as they come: rows stored before a failure stay there.
        TMainDataModule data;
        data.setDatabasePath(dbPath);
        qint64 eventsCount = 0;
        return importFromLogs(data, logs, true, key, consent, parser.isSet(geoOption),
                              parser.value(hostOption), rules, eventsCount);
    }
    DatabaseTarget target(dbPath);
    if (!target.valid()) {
        std::fprintf(stderr, "kelvane-import: cannot write beside %s\n", qPrintable(dbPath));
        return 2;
    }
    int exitCode = 3;
    qint64 eventsCount = 0;
    {
        TMainDataModule data;
        data.setDatabasePath(target.workPath());
        exitCode =
            fromServer
                ? importFromServer(data, parser.value(elasticOption), parser.values(indexOption),
                                   parser.value(userOption), parser.values(fingerprintOption), key, consent,
                                   parser.isSet(geoOption), parser.value(hostOption), eventsCount)
                : importFromLogs(data, logs, false, key, consent, parser.isSet(geoOption),
                                 parser.value(hostOption), rules, eventsCount);
    }
    // Rows stored before a failure stay, as in the window; a failure before the first event leaves nothing.
    if (!target.finish(exitCode == 0 || eventsCount > 0)) {
        std::fprintf(stderr, "kelvane-import: cannot write %s\n", qPrintable(dbPath));
        return 3;
    }
    return exitCode;
}
