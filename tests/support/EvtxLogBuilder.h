#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>

class BinXmlWriter;

// Writes small .evtx files for the tests, shaped as Windows writes them: a file header, 64 KiB chunks with
// their string and template tables and checksums, records whose binary XML is a template instance (names
// and templates stored inline on first use in a chunk, referenced after) or plain elements.
class EvtxLogBuilder {
public:
    struct Value {
        quint8 type = 0;
        QByteArray bytes;
    };
    using Items = QList<QPair<QString, Value>>;

    static Value string(const QString& text, bool withNul = false);
    static Value null(int size = 0);
    static Value u8(quint8 v);
    static Value u16(quint16 v);
    static Value u32(quint32 v);
    static Value u64(quint64 v);
    static Value i32(qint32 v);
    static Value hex32(quint32 v);
    static Value hex64(quint64 v);
    static Value boolean(quint32 v);
    static Value guid(const QString& text); // "{5770385F-C22A-43E0-BF4C-06F5698FFBD9}"
    static Value sid(const QString& text);  // "S-1-5-18"
    static Value fileTime(quint64 ticks);
    static Value systemTime(int y, int mo, int d, int h, int mi, int s, int ms);
    static Value binary(const QByteArray& bytes);
    static Value stringArray(const QStringList& items);

    // A Sysmon event: the envelope template with the computer as literal text, EventData as a nested
    // template instance with one <Data Name=...>%i</Data> per item.
    EvtxLogBuilder& event(int id, const Items& items, const QString& computer = "WS-01",
                          const QString& channel = "Microsoft-Windows-Sysmon/Operational");
    // The same event written as plain elements, with no template; '&', '<' and '>' become entity references.
    EvtxLogBuilder& plainEvent(int id, const QList<QPair<QString, QString>>& items,
                               const QString& computer = "WS-01");
    // Later records go into a new chunk.
    EvtxLogBuilder& newChunk();

    QByteArray bytes() const;
    bool write(const QString& path) const;

    // File offsets of the records written so far, and of the chunks.
    const QList<qint64>& recordOffsets() const { return m_recordOffsets; }
    QList<qint64> chunkOffsets() const;

    struct Chunk {
        QByteArray data;
        QHash<QString, quint32> names;
        QHash<QString, quint32> templates;
        quint32 stringTable[64] = {};
        quint32 templateTable[32] = {};
        quint64 firstId = 0, lastId = 0;
        quint32 lastRecordOffset = 0;
    };
    void addRecord(const std::function<void(BinXmlWriter&)>& binXml);
    void finishChunk(QByteArray& file, const Chunk& chunk, quint64 number) const;

private:
    QList<Chunk> m_chunks;
    quint64 m_nextId = 1;
    QList<qint64> m_recordOffsets;

    friend class BinXmlWriter;
};
