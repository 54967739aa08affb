// Measures the import from a search server: kelvane-elastic-bench [EVENTS] [SHAPE]. A child process
// of this program serves EVENTS generated Sysmon documents (shape 6, 7 or agent) from the test server;
// this process imports them and, as the reference of the same run, imports the same events from an
// XML log. Prints events/s and the peak memory of the importing process.
#include "ElasticDocuments.h"
#include "ElasticTestServer.h"
#include "SysmonLogBuilder.h"
#include "import/TImportController.h"
#include "import/elastic/TElasticImportController.h"
#include "settings/CommandLine.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;
using elasticdocs::Shape;

namespace {

// A run of events like one busy workstation's: process starts, connections, images, files, registry.
SysmonLogBuilder::Items itemsFor(int id, int n) {
    const QString guid = QString("{5A1C3E20-%1-6040-6C01-000000000600}").arg(n % 5000, 4, 16, QChar('0'));
    const QString time = QString("2024-05-02 %1:%2:%3.%4")
                             .arg(n / 3600000 % 24, 2, 10, QChar('0'))
                             .arg(n / 60000 % 60, 2, 10, QChar('0'))
                             .arg(n / 1000 % 60, 2, 10, QChar('0'))
                             .arg(n % 1000, 3, 10, QChar('0'));
    SysmonLogBuilder::Items items{{"RuleName", "-"}, {"UtcTime", time}};
    const SysmonLogBuilder::Items process{
        {"ProcessGuid", guid},
        {"ProcessId", QString::number(1000 + n % 5000)},
        {"Image", QString("C:\\Program Files\\App%1\\app%1.exe").arg(n % 97)}};
    switch (id) {
    case 1:
        return items + process +
               SysmonLogBuilder::Items{{"FileVersion", "10.0.19041.1"},
                                       {"Description", "Application"},
                                       {"Product", "Product"},
                                       {"Company", "Company"},
                                       {"OriginalFileName", "app.exe"},
                                       {"CommandLine", QString("app.exe --run %1 --verbose").arg(n)},
                                       {"CurrentDirectory", "C:\\Users\\alice\\"},
                                       {"User", "CORP\\alice"},
                                       {"LogonGuid", "{5A1C3E20-7F10-6040-1F3A-0A0000000000}"},
                                       {"LogonId", "0xa3a1f"},
                                       {"TerminalSessionId", "1"},
                                       {"IntegrityLevel", "Medium"},
                                       {"Hashes",
                                        "SHA1=B1B2D511D5B20D529675207DD87338A3D31EE7DB,MD5="
                                        "BC9D90581C71273B7A56DA368AFE2AEB,SHA256="
                                        "2ED534311510DF97245FFB8E6344C3C033208413B07F8DCDF5507075B4656D"
                                        "91,IMPHASH=06FC488D4DCC0FC4C0180E84FCB0501B"},
                                       {"ParentProcessGuid", guid},
                                       {"ParentProcessId", "4312"},
                                       {"ParentImage", "C:\\Windows\\explorer.exe"},
                                       {"ParentCommandLine", "C:\\Windows\\Explorer.EXE"}};
    case 3:
        return items + process +
               SysmonLogBuilder::Items{{"User", "CORP\\alice"},
                                       {"Protocol", "tcp"},
                                       {"Initiated", "true"},
                                       {"SourceIsIpv6", "false"},
                                       {"SourceIp", "10.0.0.5"},
                                       {"SourceHostname", "ws01.corp.local"},
                                       {"SourcePort", QString::number(49152 + n % 10000)},
                                       {"SourcePortName", ""},
                                       {"DestinationIsIpv6", "false"},
                                       {"DestinationIp", QString("93.184.%1.%2").arg(n % 200).arg(n % 250)},
                                       {"DestinationHostname", "example.org"},
                                       {"DestinationPort", "443"},
                                       {"DestinationPortName", "https"}};
    case 7:
        return items + process +
               SysmonLogBuilder::Items{
                   {"ImageLoaded", QString("C:\\Windows\\System32\\lib%1.dll").arg(n % 300)},
                   {"FileVersion", "10.0"},
                   {"OriginalFileName", "lib.dll"},
                   {"Hashes", "SHA1=CCCC,MD5=DDDD,SHA256=EEEE"},
                   {"Signed", "true"},
                   {"Signature", "Microsoft Windows"},
                   {"SignatureStatus", "Valid"}};
    case 10:
        return items + SysmonLogBuilder::Items{{"SourceProcessGUID", guid},
                                               {"SourceProcessId", QString::number(1000 + n % 5000)},
                                               {"SourceThreadId", "2216"},
                                               {"SourceImage", "C:\\Windows\\System32\\svchost.exe"},
                                               {"TargetProcessGUID", guid},
                                               {"TargetProcessId", "640"},
                                               {"TargetImage", "C:\\Windows\\System32\\lsass.exe"},
                                               {"GrantedAccess", "0x1410"},
                                               {"CallTrace", "C:\\Windows\\SYSTEM32\\ntdll.dll+9c534"}};
    case 11:
        return items + process +
               SysmonLogBuilder::Items{{"TargetFilename", QString("C:\\Temp\\file%1.tmp").arg(n)},
                                       {"CreationUtcTime", time}};
    case 13:
        return items + SysmonLogBuilder::Items{{"EventType", "SetValue"}} + process +
               SysmonLogBuilder::Items{{"TargetObject", QString("HKLM\\Software\\App\\Value%1").arg(n % 500)},
                                       {"Details", "DWORD (0x00000001)"}};
    default:
        return items + process;
    }
}

// Shares of a workstation's log: image loads and registry writes lead.
const int kIds[] = {7, 7, 7, 13, 13, 3, 11, 1, 5, 10};

int serve(int events, Shape shape) {
    ElasticTestServer server({});
    QList<QByteArray> documents;
    for (int n = 0; n < events; ++n) {
        const int id = kIds[n % 10];
        documents << elasticdocs::document(shape, id, itemsFor(id, n));
        if (documents.size() == 10000) {
            server.addDocuments("sysmon-bench", documents);
            documents.clear();
        }
    }
    server.addDocuments("sysmon-bench", documents);
    std::printf("%d\n", server.port());
    std::fflush(stdout);
    // Serves until the parent closes the pipe.
    char c;
    while (std::fread(&c, 1, 1, stdin) == 1) {
    }
    return 0;
}

double peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    CommandLine commandLine("Times the import from a search server against the same events from a log.",
                            {{0, "measured"}, {1, "the test server did not start"}});
    commandLine.addPositional("EVENTS", "Documents to serve (100000).", "[EVENTS]");
    commandLine.addPositional("SHAPE", "agent, 7 or 6: the shipper whose documents are served.", "[SHAPE]");
    commandLine.process(app, 0, 3);
    const QStringList args = app.arguments();
    if (args.value(1) == "serve")
        return serve(args.value(2).toInt(), Shape(args.value(3).toInt()));
    const int events = args.value(1, "100000").toInt();
    const QString shapeName = args.value(2, "agent");
    const Shape shape = shapeName == "6"   ? Shape::Winlogbeat6
                        : shapeName == "7" ? Shape::Winlogbeat7
                                           : Shape::Agent;

    QProcess server;
    server.start(app.applicationFilePath(), {"serve", QString::number(events), QString::number(int(shape))});
    if (!server.waitForReadyRead(600000)) {
        std::fprintf(stderr, "the server did not start\n");
        return 1;
    }
    const int port = server.readLine().trimmed().toInt();
    QTemporaryDir dir;

    TMainDataModule data;
    data.setDatabasePath(dir.filePath("elastic.db"));
    data.OpenDatabase();
    ElasticConnectionParams params;
    params.add("http://127.0.0.1", QString::number(port), "", "");
    TElasticImportController import(data, params, "EMPTY", false);
    QElapsedTimer timer;
    timer.start();
    import.prepare();
    import.ImportData("sysmon-bench");
    import.waitForEnd();
    const double seconds = timer.nsecsElapsed() / 1e9;
    const double peak = peakMegabytes();
    std::printf("search server (%s documents): %s\n", qPrintable(shapeName),
                qPrintable(import.report().labelMessage()));
    std::printf("  %.2f s, %.0f events/s, peak RSS %.1f MB\n", seconds, events / seconds, peak);
    server.closeWriteChannel();
    server.waitForFinished();

    // The reference: the same events from a log file, through the same writer.
    SysmonLogBuilder log;
    for (int n = 0; n < events; ++n)
        log.event(kIds[n % 10], itemsFor(kIds[n % 10], n));
    const QString path = dir.filePath("same.xml");
    log.write(path);
    TMainDataModule xmlData;
    xmlData.setDatabasePath(dir.filePath("xml.db"));
    xmlData.OpenDatabase();
    TImportController xml(xmlData, "EMPTY", false);
    xml.FileName = path;
    timer.restart();
    xml.ButtonImportClick();
    xml.waitForEnd();
    const double xmlSeconds = timer.nsecsElapsed() / 1e9;
    std::printf("XML log of the same events: %s\n", qPrintable(xml.report().labelMessage()));
    std::printf("  %.2f s, %.0f events/s\n", xmlSeconds, events / xmlSeconds);
    return 0;
}
