// Headless importer: runs the import of one Sysmon log (XML or .evtx) into a new database, for scripts,
// benchmarks and tests. Prints the dialog's label (and status line), exits with the modal result
// (0 for ok, 3 for abort).
#include "import/TImportController.h"
#include "import/elastic/TElasticImportController.h"
#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

using namespace kelvane;

namespace {

// Prints what the dialog would say and gives the exit code, for either import.
int finish(const ImportReport& report) {
    std::printf("%s\n", qPrintable(report.labelMessage().trimmed()));
    if (!report.statusBarLog().isEmpty())
        std::printf("%s\n", qPrintable(report.statusBarLog()));
    if (report.modalResult() == ImportReport::Abort) {
        // The dialog's label keeps only the mapper's errors; say the rest here so that nothing is silent.
        if (!report.labelMessage().startsWith("Error: "))
            for (const QString& line : report.errorMessage())
                std::fprintf(stderr, "Error: %s\n", qPrintable(line));
        if (report.recordsSkipped() > 0)
            std::fprintf(stderr, "%lld damaged records were skipped\n",
                         static_cast<long long>(report.recordsSkipped()));
        if (report.dateFailures() > 0)
            std::fprintf(stderr, "%d time stamps could not be read and were stored as 1899-12-30\n",
                         report.dateFailures());
        return 3;
    }
    return 0;
}

// The import from a search server: the password comes from the environment, never the command line.
int importFromServer(TMainDataModule& data, const QString& url, const QStringList& indexes,
                     const QString& user, const QStringList& fingerprints, const QString& key, bool consent,
                     bool geolocate, const QString& ipstackHost) {
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
    return finish(import.report());
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kelvane-import");
    QCoreApplication::setApplicationVersion("3.1");

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Imports a Sysmon log (an XML export or an .evtx file) into a Kelvane database.");
    parser.addHelpOption();
    parser.addVersionOption();
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
    parser.addPositionalArgument("LOG", "The Sysmon log to import: XML or .evtx, told apart by content.");
    parser.process(app);

    const QStringList files = parser.positionalArguments();
    const bool fromServer = parser.isSet(elasticOption);
    if (!parser.isSet(dbOption) ||
        (fromServer ? !files.isEmpty() || !parser.isSet(indexOption) : files.size() != 1)) {
        std::fprintf(
            stderr,
            "usage: kelvane-import [--geolocate] [--force] [--no-rules] [--rules DIR...] --db PATH LOG\n"
            "       kelvane-import --elastic URL --index NAME [--index NAME...] [--user USER]\n"
            "                      [--fingerprint SHA256] [--geolocate] [--force] --db PATH\n");
        return 2;
    }
    const QString dbPath = parser.value(dbOption);
    if (QFileInfo::exists(dbPath)) {
        if (!parser.isSet(forceOption)) {
            std::fprintf(stderr, "kelvane-import: %s exists; use --force to replace it\n",
                         qPrintable(dbPath));
            return 2;
        }
        if (!QFile::remove(dbPath)) {
            std::fprintf(stderr, "kelvane-import: cannot remove %s\n", qPrintable(dbPath));
            return 2;
        }
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

    TMainDataModule data;
    data.setDatabasePath(dbPath);
    if (fromServer)
        return importFromServer(data, parser.value(elasticOption), parser.values(indexOption),
                                parser.value(userOption), parser.values(fingerprintOption), key, consent,
                                parser.isSet(geoOption), parser.value(hostOption));
    TImportController import(data, key, consent, parser.value(hostOption));
    import.FileName = files.first();
    import.setPerformIPGeoMapping(parser.isSet(geoOption));
    const bool bundledRules = !parser.isSet(noRulesOption);
    import.setDetections(bundledRules || parser.isSet(rulesOption), bundledRules, parser.values(rulesOption));
    try {
        data.OpenDatabase();
        import.ButtonImportClick();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-import: %s\n", e.what());
        return 3;
    }
    import.waitForEnd();
    // On the error stream, so that the output stays the dialog's texts.
    for (const QString& skipped : import.skippedRuleFiles())
        std::fprintf(stderr, "Rule skipped: %s\n", qPrintable(skipped));
    if (!import.detectionSummary().isEmpty())
        std::fprintf(stderr, "%s\n", qPrintable(import.detectionSummary()));
    return finish(import.report());
}
