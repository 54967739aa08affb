// Headless importer: runs the import of one Sysmon log (XML or .evtx) into a new database, for scripts,
// benchmarks and tests. Prints the dialog's label (and status line), exits with the modal result
// (0 for ok, 3 for abort), or 4 when the import ended but left out damaged, stale or repeated records or
// read chunks that failed their checksum.
#include "import/FailedImportNote.h"
#include "import/TImportController.h"
#include "import/elastic/TElasticImportController.h"
#include "settings/CommandLine.h"
#include "settings/TSharedResourcesModule.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

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

int importFromLog(TMainDataModule& data, const QString& file, const QString& key, bool consent,
                  bool geolocate, const QString& ipstackHost, qint64& eventsCount) {
    TImportController import(data, key, consent, ipstackHost);
    import.FileName = file;
    import.setPerformIPGeoMapping(geolocate);
    try {
        data.OpenDatabase();
        import.ButtonImportClick();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-import: %s\n", e.what());
        return 3;
    }
    import.waitForEnd();
    eventsCount = import.FEventsCount();
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
                             {3, "the import failed (what was read before the failure is kept)"}});
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
    parser.addOptions({dbOption, forceOption, geoOption, hostOption, elasticOption, indexOption, userOption,
                       fingerprintOption});
    parser.addPositionalArgument("LOG", "The Sysmon log to import: XML or .evtx, told apart by content.");
    commandLine.process(app);

    const QStringList files = parser.positionalArguments();
    const bool fromServer = parser.isSet(elasticOption);
    if (!parser.isSet(dbOption))
        commandLine.fail("--db PATH is missing");
    if (fromServer && !files.isEmpty())
        commandLine.fail("--elastic takes no log");
    if (fromServer && !parser.isSet(indexOption))
        commandLine.fail("--elastic needs at least one --index");
    if (!fromServer && files.size() != 1)
        commandLine.fail(files.isEmpty() ? "no log given" : "one log at a time");
    const QString dbPath = parser.value(dbOption);
    if (QFileInfo::exists(dbPath) && !parser.isSet(forceOption)) {
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
                : importFromLog(data, files.first(), key, consent, parser.isSet(geoOption),
                                parser.value(hostOption), eventsCount);
    }
    // Rows stored before a failure stay, as in the window; a failure before the first event leaves nothing.
    if (!target.finish(exitCode == 0 || eventsCount > 0)) {
        std::fprintf(stderr, "kelvane-import: cannot write %s\n", qPrintable(dbPath));
        return 3;
    }
    return exitCode;
}
