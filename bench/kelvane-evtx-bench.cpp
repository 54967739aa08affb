// kelvane-evtx-bench: the .evtx reader's speed and memory, and the .evtx import against the XML import.
//   make N COPIES OUT          writes OUT.evtx and OUT.xml: N generated events, typed as Sysmon types them,
//                              as an .evtx file whose chunks are repeated COPIES times (record ids
//                              renumbered), and the same events as XML
//   repeat IN.evtx IN.xml COPIES OUT   the same from a real .evtx file and its XML export
//   parse FILE [THREADS]       reads FILE without a database; prints records/s and peak memory
//   versus OUT.evtx OUT.xml [ROUNDS]   imports both, alternately, each in a process of its own; prints
//                              events/s, CPU time and peak memory of each, and their ratio
//   import LOG                 one import (what versus runs)
// The generator first: Qt's keyword macros would rename its members.
#include "SysmonLogGenerator.h"
#include "settings/CommandLine.h"
// clang-format off
#include "EvtxLogBuilder.h"
// clang-format on
#include "import/ImportReport.h"
#include "import/TImportController.h"
#include "import/evtx/EvtxChunk.h"
#include "import/evtx/EvtxFile.h"
#include "import/evtx/TEvtxReader.h"
#include "import/xml/TSysmonEventReader.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

using namespace kelvane;
using V = EvtxLogBuilder;

namespace {

// Sysmon's own types for its fields; everything else is a string.
V::Value typed(const QString& name, const QString& text) {
    static const QSet<QString> guids{"ProcessGuid",       "ParentProcessGuid", "LogonGuid",
                                     "SourceProcessGuid", "TargetProcessGuid", "SourceProcessGUID",
                                     "TargetProcessGUID"};
    static const QSet<QString> u32s{"ProcessId",       "ParentProcessId", "TerminalSessionId",
                                    "SourceProcessId", "TargetProcessId", "SourceThreadId",
                                    "NewThreadId"};
    static const QSet<QString> bools{"Initiated", "SourceIsIpv6", "DestinationIsIpv6", "IsExecutable"};
    if (guids.contains(name))
        return V::guid(text);
    if (u32s.contains(name))
        return V::u32(text.toUInt());
    if (name == "SourcePort" || name == "DestinationPort")
        return V::u16(quint16(text.toUInt()));
    if (bools.contains(name))
        return V::boolean(text == "true");
    if (name == "GrantedAccess")
        return V::hex32(text.mid(2).toUInt(nullptr, 16));
    if (name == "LogonId")
        return V::hex64(text.mid(2).toULongLong(nullptr, 16));
    return V::string(text);
}

quint64 get64(const uchar* p) {
    quint64 v;
    memcpy(&v, p, 8);
    return v;
}
void put64(uchar* p, quint64 v) {
    memcpy(p, &v, 8);
}

// The chunks of a file with every record id (in the chunk headers and the records) raised by delta, and
// both checksums of each chunk made to match: a copy that reads as later records, not as the same ones.
QByteArray renumbered(QByteArray chunks, quint64 delta) {
    for (qsizetype at = 0; at + evtx::kChunkSize <= chunks.size(); at += evtx::kChunkSize) {
        auto* chunk = reinterpret_cast<uchar*>(chunks.data()) + at;
        if (memcmp(chunk, evtx::kChunkSignature, 8) != 0)
            continue;
        for (const int field : {0x08, 0x10, 0x18, 0x20})
            put64(chunk + field, get64(chunk + field) + delta);
        quint32 freeSpace;
        memcpy(&freeSpace, chunk + 0x30, 4);
        freeSpace = qMin<quint32>(freeSpace, evtx::kChunkSize);
        for (quint32 offset = evtx::kChunkHeaderSize; offset + 24 <= freeSpace;) {
            quint32 signature, size;
            memcpy(&signature, chunk + offset, 4);
            memcpy(&size, chunk + offset + 4, 4);
            if (signature != 0x00002A2A || size < 32 || offset + size > freeSpace)
                break;
            put64(chunk + offset + 8, get64(chunk + offset + 8) + delta);
            offset += size;
        }
        const quint32 records =
            evtx::crc32(chunk + evtx::kChunkHeaderSize, freeSpace - evtx::kChunkHeaderSize);
        memcpy(chunk + 0x34, &records, 4);
        quint32 crc = evtx::crc32(chunk, 0x78);
        crc = evtx::crc32(chunk + 0x80, evtx::kChunkHeaderSize - 0x80, crc);
        memcpy(chunk + 0x7C, &crc, 4);
    }
    return chunks;
}

// The same events COPIES times as an .evtx file (record ids renumbered) and as an XML export, from a real
// .evtx file and its export.
int repeat(const QString& evtxIn, const QString& xmlIn, int copies, const QString& out) {
    QFile in(evtxIn);
    QFile xmlFile(xmlIn);
    if (!in.open(QIODevice::ReadOnly) || !xmlFile.open(QIODevice::ReadOnly))
        return 1;
    const QByteArray bytes = in.readAll();
    const QByteArray xml = xmlFile.readAll();
    const QByteArray chunks = bytes.mid(evtx::kFileHeaderBlock);
    quint64 lastId = 0;
    for (qsizetype at = 0; at + evtx::kChunkSize <= chunks.size(); at += evtx::kChunkSize)
        if (chunks.mid(at, 8) == QByteArray(evtx::kChunkSignature, 8))
            lastId = qMax(lastId, get64(reinterpret_cast<const uchar*>(chunks.constData()) + at + 0x20));
    QFile file(out + ".evtx");
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    file.write(bytes.left(evtx::kFileHeaderBlock));
    for (int copy = 0; copy < copies; ++copy)
        file.write(renumbered(chunks, quint64(copy) * lastId));
    QFile text(out + ".xml");
    if (!text.open(QIODevice::WriteOnly))
        return 1;
    const qsizetype begin = xml.indexOf("<Event ");
    const qsizetype end = xml.lastIndexOf("</Events>");
    text.write(xml.left(begin));
    for (int copy = 0; copy < copies; ++copy)
        text.write(xml.mid(begin, end - begin));
    text.write(xml.mid(end));
    std::printf("%s.evtx: %lld bytes; %s.xml: %lld bytes, %lld events\n", qPrintable(out),
                static_cast<long long>(file.size()), qPrintable(out), static_cast<long long>(text.size()),
                static_cast<long long>(xml.count("<EventID")) * copies);
    return 0;
}

int make(quint64 events, int copies, const QString& out) {
    SysmonLogOptions options;
    options.events = events;
    const QByteArray xml = QByteArray::fromStdString(SysmonLogGenerator(options).generate());
    EvtxLogBuilder evtx;
    QXmlStreamReader reader(xml);
    int id = 0;
    QString computer;
    V::Items items;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("EventID")) {
            id = reader.readElementText().toInt();
        } else if (reader.isStartElement() && reader.name() == QLatin1String("Computer")) {
            computer = reader.readElementText();
        } else if (reader.isStartElement() && reader.name() == QLatin1String("Data")) {
            const QString name = reader.attributes().value("Name").toString();
            items.append(qMakePair(name, typed(name, reader.readElementText())));
        } else if (reader.isEndElement() && reader.name() == QLatin1String("Event")) {
            evtx.event(id, items, computer);
            items.clear();
        }
    }
    const QByteArray small = evtx.bytes();
    QFile file(out + ".evtx");
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    file.write(small.left(evtx::kFileHeaderBlock));
    const QByteArray chunks = small.mid(evtx::kFileHeaderBlock);
    const int perCopy = int(chunks.size() / evtx::kChunkSize);
    for (int copy = 0; copy < copies; ++copy)
        file.write(renumbered(chunks, quint64(copy) * events));
    file.close();
    QFile text(out + ".xml");
    if (!text.open(QIODevice::WriteOnly))
        return 1;
    // The same events, as many times, in one XML export.
    const qsizetype begin = xml.indexOf("<Event ");
    const qsizetype end = xml.lastIndexOf("</Events>");
    text.write(xml.left(begin));
    for (int copy = 0; copy < copies; ++copy)
        text.write(xml.mid(begin, end - begin));
    text.write(xml.mid(end));
    std::printf("%s.evtx: %d chunks, %llu records; %s.xml: %lld bytes\n", qPrintable(out), perCopy * copies,
                static_cast<unsigned long long>(events) * copies, qPrintable(out),
                static_cast<long long>(text.size()));
    return 0;
}

struct CountingSink : EventItemSink {
    long long events = 0, items = 0;
    void eventIdText(std::string_view) override { ++events; }
    void dataItem(std::string_view, std::string_view) override { ++items; }
    void computerText(std::string_view) override {}
    void endEventData() override {}
};

int parse(const QString& path, int threads) {
    CountingSink sink;
    TEvtxReader reader(threads);
    const auto start = std::chrono::steady_clock::now();
    reader.read(path.toStdString(), sink);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("file:        %s (%.0f MiB)\n", qPrintable(path), reader.totalBytes() / 1048576.0);
    std::printf("threads:     %d\n", threads);
    std::printf("records:     %lld in %.2f s, %lld items\n", static_cast<long long>(reader.recordsRead()),
                took.count(), sink.items);
    for (const QString& line : ImportReport::lossLines(reader.losses()))
        std::printf("losses:      %s\n", qPrintable(line));
    std::printf("records/s:   %.0f\n", reader.recordsRead() / took.count());
    std::printf("peak RSS:    %.1f MB\n", usage.ru_maxrss / 1024.0);
    return 0;
}

// One import into a new database in a temporary folder; prints "events seconds cpu-seconds peak-MB".
int importOnce(const QString& log) {
    QTemporaryDir dir;
    TMainDataModule data;
    data.setDatabasePath(dir.filePath("KelvaneDB"));
    data.OpenDatabase();
    TImportController import(data, QString(), false);
    import.FileName = log;
    QElapsedTimer timer;
    timer.start();
    import.ButtonImportClick();
    import.waitForEnd();
    const double seconds = timer.nsecsElapsed() / 1e9;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double cpu = usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
                       (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    std::printf("%lld %.3f %.3f %.1f\n", static_cast<long long>(import.FEventsCount()), seconds, cpu,
                usage.ru_maxrss / 1024.0);
    // Logs with WMI binding events end with an error on purpose: the import ran all the same.
    return 0;
}

// The two imports of the same events side by side: each in a process of its own, alternately, which one
// goes first changing from round to round, so that a change of the machine's load hits both alike.
int versus(const QString& evtxLog, const QString& xmlLog, int rounds) {
    struct Run {
        double rate, cpu, peak;
    };
    QList<Run> runs[2];
    const QString logs[2] = {evtxLog, xmlLog};
    std::printf("round  .evtx events/s  XML events/s  ratio   .evtx CPU s  XML CPU s  peak MB (.evtx/XML)\n");
    for (int round = 0; round < rounds; ++round) {
        Run got[2]{};
        for (int i = 0; i < 2; ++i) {
            const int which = (round + i) % 2;
            QProcess child;
            child.start(QCoreApplication::applicationFilePath(), {"import", logs[which]});
            child.waitForFinished(-1);
            const QStringList fields = QString::fromUtf8(child.readAllStandardOutput()).split(' ');
            if (child.exitCode() != 0 || fields.size() != 4) {
                std::fprintf(stderr, "the import of %s failed\n", qPrintable(logs[which]));
                return 3;
            }
            got[which] = {fields[0].toDouble() / fields[1].toDouble(), fields[2].toDouble(),
                          fields[3].toDouble()};
            runs[which] << got[which];
        }
        std::printf("%5d  %14.0f  %12.0f  %5.2f  %11.2f  %9.2f  %.0f / %.0f\n", round + 1, got[0].rate,
                    got[1].rate, got[0].rate / got[1].rate, got[0].cpu, got[1].cpu, got[0].peak, got[1].peak);
    }
    const auto median = [](QList<Run> list, auto field) {
        std::sort(list.begin(), list.end(), [&](const Run& a, const Run& b) { return a.*field < b.*field; });
        return list[list.size() / 2].*field;
    };
    std::printf("median %14.0f  %12.0f  %5.2f  %11.2f  %9.2f\n", median(runs[0], &Run::rate),
                median(runs[1], &Run::rate), median(runs[0], &Run::rate) / median(runs[1], &Run::rate),
                median(runs[0], &Run::cpu), median(runs[1], &Run::cpu));
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    CommandLine commandLine("Writes a large .evtx file (and the XML of the same events), or times the .evtx "
                            "reader alone.",
                            {{0, "done"}});
    commandLine.addPositional("make N COPIES OUT | parse FILE [THREADS]", "What to do.");
    commandLine.process(app, 2, 4);
    const QStringList args = app.arguments();
    if (args.size() == 5 && args[1] == "make")
        return make(args[2].toULongLong(), args[3].toInt(), args[4]);
    if (args.size() == 6 && args[1] == "repeat")
        return repeat(args[2], args[3], args[4].toInt(), args[5]);
    if (args.size() == 3 && args[1] == "import")
        return importOnce(args[2]);
    if ((args.size() == 4 || args.size() == 5) && args[1] == "versus")
        return versus(args[2], args[3], args.size() == 5 ? args[4].toInt() : 5);
    if ((args.size() == 3 || args.size() == 4) && args[1] == "parse")
        return parse(args[2], args.size() == 4 ? args[3].toInt() : 0);
    std::fprintf(stderr,
                 "usage: kelvane-evtx-bench make N COPIES OUT | repeat IN.evtx IN.xml COPIES OUT |\n"
                 "                          parse FILE [THREADS] | versus OUT.evtx OUT.xml [ROUNDS] |\n"
                 "                          import LOG\n");
    return 2;
}
