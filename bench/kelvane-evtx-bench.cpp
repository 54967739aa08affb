// kelvane-evtx-bench: the .evtx reader's speed and memory.
//   kelvane-evtx-bench make N COPIES OUT      writes OUT.evtx and OUT.xml: N generated events, typed as
//   Sysmon
//                                             types them, as an .evtx file whose chunks are repeated COPIES
//                                             times, and the same events as XML (for kelvane-import-bench)
//   kelvane-evtx-bench parse FILE [THREADS]   reads FILE without a database; prints records/s and peak memory
// The generator first: Qt's keyword macros would rename its members.
#include "SysmonLogGenerator.h"
#include "settings/CommandLine.h"
// clang-format off
#include "EvtxLogBuilder.h"
// clang-format on
#include "import/ImportReport.h"
#include "import/evtx/EvtxChunk.h"
#include "import/evtx/EvtxFile.h"
#include "import/evtx/TEvtxReader.h"
#include "import/xml/TSysmonEventReader.h"

#include <QCoreApplication>
#include <QFile>
#include <QSet>
#include <QXmlStreamReader>

#include <sys/resource.h>

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
    for (int copy = 0; copy < copies; ++copy) {
        QByteArray block = chunks;
        // Each copy's chunks carry later record ids, so that the file reads in copy order.
        for (int c = 0; c < perCopy; ++c) {
            auto* header = reinterpret_cast<uchar*>(block.data()) + qsizetype(c) * evtx::kChunkSize;
            for (const int field : {0x08, 0x10, 0x18, 0x20}) {
                quint64 value;
                memcpy(&value, header + field, 8);
                value += quint64(copy) * events;
                memcpy(header + field, &value, 8);
            }
            quint32 crc = evtx::crc32(header, 0x78);
            crc = evtx::crc32(header + 0x80, evtx::kChunkHeaderSize - 0x80, crc);
            memcpy(header + 0x7C, &crc, 4);
        }
        file.write(block);
    }
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

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    CommandLine commandLine("Writes a large .evtx file (and the XML of the same events), or times the .evtx "
                            "reader alone.",
                            {{0, "done"}});
    commandLine.addPositional("make N COPIES OUT | parse FILE [THREADS]", "What to do.");
    commandLine.process(app, 2, 4);
    const QStringList args = app.arguments();
    if (args.size() == 5 && args[1] == "make")
        return make(args[2].toULongLong(), args[3].toInt(), args[4]);
    if ((args.size() == 3 || args.size() == 4) && args[1] == "parse")
        return parse(args[2], args.size() == 4 ? args[3].toInt() : 0);
    std::fprintf(stderr, "usage: kelvane-evtx-bench make N COPIES OUT | parse FILE [THREADS]\n");
    return 2;
}
