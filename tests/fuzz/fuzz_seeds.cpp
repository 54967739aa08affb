// Writes the seed corpora of the fuzz targets from the tests' own builders: fuzz_seeds XMLDIR EVTXDIR.
#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

void save(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: fuzz_seeds XMLDIR EVTXDIR\n");
        return 2;
    }
    const QDir xml(QString::fromLocal8Bit(argv[1]));
    const QDir evtx(QString::fromLocal8Bit(argv[2]));
    QDir().mkpath(xml.path());
    QDir().mkpath(evtx.path());
    using V = EvtxLogBuilder;

    const SysmonLogBuilder::Items items{{"UtcTime", "2019-02-16 10:01:45.887"},
                                        {"ProcessGuid", "{365ABB72-D695-5C67-0000-00103C3E0100}"},
                                        {"Image", "C:\\Windows\\a&b.exe"},
                                        {"CommandLine", "\"a\"\r\nb"}};
    const SysmonLogBuilder log = SysmonLogBuilder().event(1, items).event(3, items, "PC-2").event(22, items);
    // The first byte of an XML seed picks the reader's piece size.
    save(xml.filePath("rooted.xml"), QByteArray(1, '\x07') + log.utf8());
    save(xml.filePath("rootless.xml"), QByteArray(1, '\xff') + log.utf8(false));
    save(xml.filePath("entities.xml"),
         QByteArray(1, '\x02') +
             QByteArray("<?xml version='1.0'?><!DOCTYPE x><Events><Event><System><EventID>"
                        "1</EventID><Computer>&#65;&amp;</Computer></System><EventData>"
                        "<Data Name='X'><![CDATA[a<b]]></Data><!-- c --></EventData>"
                        "</Event></Events>"));

    EvtxLogBuilder file;
    file.event(1, {{"UtcTime", V::string("2019-02-16 10:01:45.887")},
                   {"ProcessGuid", V::guid("{365ABB72-D695-5C67-0000-00103C3E0100}")},
                   {"ProcessId", V::u32(1608)},
                   {"LogonId", V::hex64(0x3e7)},
                   {"GrantedAccess", V::hex32(0x1410)},
                   {"Initiated", V::boolean(1)},
                   {"SourcePort", V::u16(443)},
                   {"Sid", V::sid("S-1-5-18")},
                   {"Time", V::fileTime(132000000000000000ull)},
                   {"System", V::systemTime(2019, 3, 8, 23, 23, 5, 7)},
                   {"Bytes", V::binary("\x01\x02")},
                   {"Tags", V::stringArray({"a", "b"})},
                   {"Nothing", V::null(4)}})
        .event(5, {{"UtcTime", V::string("2019-02-16 10:01:45.887")}}, "PC-2", "Security")
        .plainEvent(3, {{"Image", "C:\\a&b>.exe"}})
        .newChunk()
        .event(22, {{"QueryName", V::string("example.com")}});
    const QByteArray bytes = file.bytes();
    save(evtx.filePath("file.evtx"), bytes);
    for (int i = 0; i < file.chunkOffsets().size(); ++i)
        save(evtx.filePath(QString("chunk%1.bin").arg(i)), bytes.mid(file.chunkOffsets()[i], 0x10000));
    return 0;
}
