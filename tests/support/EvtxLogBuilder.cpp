#include "EvtxLogBuilder.h"

#include <QCryptographicHash>
#include <QFile>
#include <QUuid>

#include <zlib.h>

#include <functional>

namespace {

constexpr int kChunkSize = 0x10000;
constexpr int kHeaderSize = 0x200;

void put8(QByteArray& b, quint8 v) {
    b.append(char(v));
}
void put16(QByteArray& b, quint16 v) {
    put8(b, v & 0xFF);
    put8(b, v >> 8);
}
void put32(QByteArray& b, quint32 v) {
    put16(b, v & 0xFFFF);
    put16(b, v >> 16);
}
void put64(QByteArray& b, quint64 v) {
    put32(b, quint32(v));
    put32(b, quint32(v >> 32));
}
void set32(QByteArray& b, int at, quint32 v) {
    for (int i = 0; i < 4; ++i)
        b[at + i] = char((v >> (8 * i)) & 0xFF);
}
void set64(QByteArray& b, int at, quint64 v) {
    set32(b, at, quint32(v));
    set32(b, at + 4, quint32(v >> 32));
}
QByteArray utf16(const QString& s) {
    QByteArray b;
    for (const QChar c : s)
        put16(b, c.unicode());
    return b;
}
quint32 crc(const char* p, int n, quint32 start = 0) {
    return quint32(crc32(start, reinterpret_cast<const Bytef*>(p), uInt(n)));
}

} // namespace

// Writes binary XML into a chunk, at the chunk offsets it will have there.
class BinXmlWriter {
public:
    explicit BinXmlWriter(EvtxLogBuilder::Chunk& chunk) : c(chunk) {}

    int pos() const { return int(c.data.size()); }
    QByteArray& data() { return c.data; }
    void name(const QString& n) {
        if (c.names.contains(n)) {
            put32(c.data, c.names[n]);
            return;
        }
        const quint32 offset = quint32(pos() + 4);
        put32(c.data, offset);
        quint32 hash = 0;
        for (const QChar ch : n)
            hash = hash * 65599 + ch.unicode();
        put32(c.data, c.stringTable[(hash & 0xFFFF) % 64]);
        c.stringTable[(hash & 0xFFFF) % 64] = offset;
        put16(c.data, quint16(hash));
        put16(c.data, quint16(n.size()));
        c.data.append(utf16(n));
        put16(c.data, 0);
        c.names.insert(n, offset);
    }
    // Returns where the element's size is patched.
    int open(const QString& n, bool inTemplate, bool attributes, int dependency = 0xFFFF) {
        put8(c.data, attributes ? 0x41 : 0x01);
        if (inTemplate)
            put16(c.data, quint16(dependency));
        const int sizeAt = pos();
        put32(c.data, 0);
        name(n);
        if (attributes) {
            m_attributeSizeAt = pos();
            put32(c.data, 0);
        }
        return sizeAt;
    }
    void attribute(const QString& n, bool last) {
        put8(c.data, last ? 0x06 : 0x46);
        name(n);
    }
    void endAttributes() {
        if (m_attributeSizeAt >= 0)
            set32(c.data, m_attributeSizeAt, quint32(pos() - m_attributeSizeAt - 4));
        m_attributeSizeAt = -1;
    }
    void closeStart() {
        endAttributes();
        put8(c.data, 0x02);
    }
    void closeEmpty(int sizeAt) {
        endAttributes();
        put8(c.data, 0x03);
        set32(c.data, sizeAt, quint32(pos() - sizeAt - 4));
    }
    void end(int sizeAt) {
        put8(c.data, 0x04);
        set32(c.data, sizeAt, quint32(pos() - sizeAt - 4));
    }
    void text(const QString& s, bool more = false) {
        put8(c.data, more ? 0x45 : 0x05);
        put8(c.data, 0x01);
        put16(c.data, quint16(s.size()));
        c.data.append(utf16(s));
    }
    void entity(const QString& n, bool more) {
        put8(c.data, more ? 0x49 : 0x09);
        name(n);
    }
    void substitution(bool optional, int index, quint8 type) {
        put8(c.data, optional ? 0x0E : 0x0D);
        put16(c.data, quint16(index));
        put8(c.data, type);
    }
    // A template instance: the definition inline on its first use in the chunk, referenced after.
    // A value of type 0x21 with no bytes is written in place by nested().
    void instance(const QString& key, const std::function<void()>& body,
                  const QList<EvtxLogBuilder::Value>& values, const std::function<void()>& nested = {}) {
        const QByteArray guid = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Md5);
        put8(c.data, 0x0C);
        put8(c.data, 0x01);
        c.data.append(guid.left(4));
        if (c.templates.contains(key)) {
            put32(c.data, c.templates[key]);
        } else {
            const quint32 offset = quint32(pos() + 4);
            put32(c.data, offset);
            const int bucket = quint8(guid[0]) % 32;
            put32(c.data, c.templateTable[bucket]);
            c.templateTable[bucket] = offset;
            c.data.append(guid);
            const int sizeAt = pos();
            put32(c.data, 0);
            put32(c.data, 0x0001010F); // fragment header 0F 01 01 00
            body();
            put8(c.data, 0x00);
            set32(c.data, sizeAt, quint32(pos() - sizeAt - 4));
            c.templates.insert(key, offset);
        }
        put32(c.data, quint32(values.size()));
        const int descriptors = pos();
        for (const auto& v : values) {
            put16(c.data, quint16(v.bytes.size()));
            put8(c.data, v.type);
            put8(c.data, 0);
        }
        for (int i = 0; i < values.size(); ++i) {
            if (values[i].type == 0x21 && values[i].bytes.isEmpty() && nested) {
                const int start = pos();
                nested();
                const int size = pos() - start;
                c.data[descriptors + 4 * i] = char(size & 0xFF);
                c.data[descriptors + 4 * i + 1] = char(size >> 8);
            } else {
                c.data.append(values[i].bytes);
            }
        }
    }

private:
    EvtxLogBuilder::Chunk& c;
    int m_attributeSizeAt = -1;
};

EvtxLogBuilder::Value EvtxLogBuilder::string(const QString& text, bool withNul) {
    Value v{0x01, utf16(text)};
    if (withNul)
        put16(v.bytes, 0);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::null(int size) {
    return {0x00, QByteArray(size, '\0')};
}
EvtxLogBuilder::Value EvtxLogBuilder::u8(quint8 x) {
    Value v{0x04, {}};
    put8(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::u16(quint16 x) {
    Value v{0x06, {}};
    put16(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::u32(quint32 x) {
    Value v{0x08, {}};
    put32(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::u64(quint64 x) {
    Value v{0x0A, {}};
    put64(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::i32(qint32 x) {
    Value v{0x07, {}};
    put32(v.bytes, quint32(x));
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::hex32(quint32 x) {
    Value v{0x14, {}};
    put32(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::hex64(quint64 x) {
    Value v{0x15, {}};
    put64(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::boolean(quint32 x) {
    Value v{0x0D, {}};
    put32(v.bytes, x);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::guid(const QString& text) {
    const QUuid uuid = QUuid::fromString(text);
    Value v{0x0F, {}};
    put32(v.bytes, uuid.data1);
    put16(v.bytes, uuid.data2);
    put16(v.bytes, uuid.data3);
    for (const uchar b : uuid.data4)
        put8(v.bytes, b);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::sid(const QString& text) {
    const QStringList parts = text.split('-');
    Value v{0x13, {}};
    put8(v.bytes, quint8(parts.value(1).toUInt()));
    put8(v.bytes, quint8(parts.size() - 3));
    const quint64 authority = parts.value(2).toULongLong();
    for (int i = 5; i >= 0; --i)
        put8(v.bytes, quint8(authority >> (8 * i)));
    for (int i = 3; i < parts.size(); ++i)
        put32(v.bytes, parts[i].toUInt());
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::fileTime(quint64 ticks) {
    Value v{0x11, {}};
    put64(v.bytes, ticks);
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::systemTime(int y, int mo, int d, int h, int mi, int s, int ms) {
    Value v{0x12, {}};
    for (const int field : {y, mo, 0, d, h, mi, s, ms})
        put16(v.bytes, quint16(field));
    return v;
}
EvtxLogBuilder::Value EvtxLogBuilder::binary(const QByteArray& bytes) {
    return {0x0E, bytes};
}
EvtxLogBuilder::Value EvtxLogBuilder::stringArray(const QStringList& items) {
    Value v{0x81, {}};
    for (const QString& item : items) {
        v.bytes.append(utf16(item));
        put16(v.bytes, 0);
    }
    return v;
}

EvtxLogBuilder& EvtxLogBuilder::newChunk() {
    Chunk chunk;
    chunk.data = QByteArray(kHeaderSize, '\0');
    m_chunks.append(chunk);
    return *this;
}

void EvtxLogBuilder::addRecord(const std::function<void(BinXmlWriter&)>& binXml) {
    if (m_chunks.isEmpty())
        newChunk();
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Chunk before = m_chunks.last();
        Chunk& chunk = m_chunks.last();
        const int start = int(chunk.data.size());
        put32(chunk.data, 0x00002A2A);
        put32(chunk.data, 0);
        put64(chunk.data, m_nextId);
        put64(chunk.data, 132000000000000000ull + m_nextId);
        BinXmlWriter w(chunk);
        binXml(w);
        while ((chunk.data.size() - start + 4) % 8 != 0)
            put8(chunk.data, 0);
        const int size = int(chunk.data.size()) - start + 4;
        put32(chunk.data, quint32(size));
        set32(chunk.data, start + 4, quint32(size));
        if (chunk.data.size() > kChunkSize) {
            // It does not fit: the record goes into a chunk of its own.
            m_chunks.last() = before;
            newChunk();
            continue;
        }
        if (chunk.firstId == 0)
            chunk.firstId = m_nextId;
        chunk.lastId = m_nextId;
        chunk.lastRecordOffset = quint32(start);
        m_recordOffsets.append(qint64(0x1000) + qint64(m_chunks.size() - 1) * kChunkSize + start);
        ++m_nextId;
        return;
    }
}

EvtxLogBuilder& EvtxLogBuilder::event(int id, const Items& items, const QString& computer,
                                      const QString& channel) {
    const quint64 recordId = m_nextId;
    addRecord([&](BinXmlWriter& w) {
        const auto envelopeBody = [&] {
            const int event = w.open("Event", true, true);
            w.attribute("xmlns", true);
            w.text("http://schemas.microsoft.com/win/2004/08/events/event");
            w.closeStart();
            const int system = w.open("System", true, false);
            w.closeStart();
            int e = w.open("Provider", true, true);
            w.attribute("Name", false);
            w.substitution(true, 4, 0x01);
            w.attribute("Guid", true);
            w.substitution(true, 5, 0x0F);
            w.closeEmpty(e);
            e = w.open("EventID", true, true, 0);
            w.attribute("Qualifiers", true);
            w.substitution(true, 1, 0x06);
            w.closeStart();
            w.substitution(true, 0, 0x06);
            w.end(e);
            e = w.open("Keywords", true, false, 2);
            w.closeStart();
            w.substitution(true, 2, 0x15);
            w.end(e);
            e = w.open("TimeCreated", true, true);
            w.attribute("SystemTime", true);
            w.substitution(true, 3, 0x11);
            w.closeEmpty(e);
            e = w.open("EventRecordID", true, false, 6);
            w.closeStart();
            w.substitution(true, 6, 0x0A);
            w.end(e);
            e = w.open("Execution", true, true);
            w.attribute("ProcessID", false);
            w.substitution(true, 7, 0x08);
            w.attribute("ThreadID", true);
            w.substitution(true, 8, 0x08);
            w.closeEmpty(e);
            e = w.open("Channel", true, false, 9);
            w.closeStart();
            w.substitution(true, 9, 0x01);
            w.end(e);
            e = w.open("Computer", true, false);
            w.closeStart();
            w.text(computer);
            w.end(e);
            e = w.open("Security", true, true);
            w.attribute("UserID", true);
            w.substitution(true, 10, 0x13);
            w.closeEmpty(e);
            w.end(system);
            w.substitution(true, 11, 0x21);
            w.end(event);
        };
        const QList<Value> envelope{u16(quint16(id)),
                                    null(),
                                    hex64(0x8000000000000000ull),
                                    fileTime(132000000000000000ull + recordId),
                                    string("Microsoft-Windows-Sysmon"),
                                    guid("{5770385F-C22A-43E0-BF4C-06F5698FFBD9}"),
                                    u64(recordId + 1000),
                                    u32(1728),
                                    u32(316),
                                    string(channel),
                                    sid("S-1-5-18"),
                                    Value{0x21, {}}};
        QString dataKey = "EventData";
        QList<Value> dataValues;
        for (const auto& [name, value] : items) {
            dataKey += '|' + name + ':' + QString::number(value.type);
            dataValues << value;
        }
        const auto eventData = [&] {
            w.instance(
                dataKey,
                [&] {
                    const int data = w.open("EventData", true, false);
                    w.closeStart();
                    for (int i = 0; i < items.size(); ++i) {
                        const int e = w.open("Data", true, true);
                        w.attribute("Name", true);
                        w.text(items[i].first);
                        w.closeStart();
                        w.substitution(false, i, items[i].second.type);
                        w.end(e);
                    }
                    w.end(data);
                },
                dataValues);
        };
        put32(w.data(), 0x0001010F);
        w.instance("Envelope|" + computer, envelopeBody, envelope, [&] {
            put32(w.data(), 0x0001010F);
            eventData();
            put8(w.data(), 0x00);
        });
        put8(w.data(), 0x00);
    });
    return *this;
}

EvtxLogBuilder& EvtxLogBuilder::plainEvent(int id, const QList<QPair<QString, QString>>& items,
                                           const QString& computer) {
    addRecord([&](BinXmlWriter& w) {
        const auto textWithEntities = [&](const QString& text) {
            static const QHash<QChar, QString> entities{{'&', "amp"}, {'<', "lt"}, {'>', "gt"}};
            QString piece;
            QList<QPair<bool, QString>> parts; // entity?, text
            for (const QChar c : text) {
                if (entities.contains(c)) {
                    if (!piece.isEmpty())
                        parts.append({false, piece});
                    piece.clear();
                    parts.append({true, entities[c]});
                } else {
                    piece += c;
                }
            }
            if (!piece.isEmpty())
                parts.append({false, piece});
            for (int i = 0; i < parts.size(); ++i) {
                const bool more = i + 1 < parts.size();
                if (parts[i].first)
                    w.entity(parts[i].second, more);
                else
                    w.text(parts[i].second, more);
            }
        };
        const auto simple = [&](const QString& name, const QString& text) {
            const int e = w.open(name, false, false);
            w.closeStart();
            textWithEntities(text);
            w.end(e);
        };
        put32(w.data(), 0x0001010F);
        const int event = w.open("Event", false, false);
        w.closeStart();
        const int system = w.open("System", false, false);
        w.closeStart();
        simple("EventID", QString::number(id));
        simple("Channel", "Microsoft-Windows-Sysmon/Operational");
        simple("Computer", computer);
        w.end(system);
        const int data = w.open("EventData", false, false);
        w.closeStart();
        for (const auto& [name, value] : items) {
            const int e = w.open("Data", false, true);
            w.attribute("Name", true);
            w.text(name);
            w.closeStart();
            textWithEntities(value);
            w.end(e);
        }
        w.end(data);
        w.end(event);
        put8(w.data(), 0x00);
    });
    return *this;
}

void EvtxLogBuilder::finishChunk(QByteArray& data, const Chunk& chunk, quint64 number) const {
    data.append(chunk.data);
    const int at = int(data.size()) - int(chunk.data.size());
    QByteArray& c = data;
    memcpy(c.data() + at, "ElfChnk", 8);
    set64(c, at + 0x08, chunk.firstId);
    set64(c, at + 0x10, chunk.lastId);
    set64(c, at + 0x18, chunk.firstId);
    set64(c, at + 0x20, chunk.lastId);
    set32(c, at + 0x28, 128);
    set32(c, at + 0x2C, chunk.lastRecordOffset);
    set32(c, at + 0x30, quint32(chunk.data.size()));
    for (int i = 0; i < 64; ++i)
        set32(c, at + 0x80 + 4 * i, chunk.stringTable[i]);
    for (int i = 0; i < 32; ++i)
        set32(c, at + 0x180 + 4 * i, chunk.templateTable[i]);
    set32(c, at + 0x34, crc(c.constData() + at + kHeaderSize, int(chunk.data.size()) - kHeaderSize));
    set32(c, at + 0x78, 1);
    set32(c, at + 0x7C, crc(c.constData() + at + 0x80, kHeaderSize - 0x80, crc(c.constData() + at, 0x78)));
    data.append(QByteArray(kChunkSize - int(chunk.data.size()), '\0'));
    Q_UNUSED(number);
}

QByteArray EvtxLogBuilder::bytes() const {
    QByteArray file(0x1000, '\0');
    memcpy(file.data(), "ElfFile", 8);
    set64(file, 0x08, 0);
    set64(file, 0x10, quint64(qMax(0, int(m_chunks.size()) - 1)));
    set64(file, 0x18, m_nextId);
    set32(file, 0x20, 128);
    file[0x24] = 1;
    file[0x26] = 3;
    file[0x28] = 0x00;
    file[0x29] = 0x10;
    file[0x2A] = char(m_chunks.size() & 0xFF);
    file[0x2B] = char(m_chunks.size() >> 8);
    set32(file, 0x7C, crc(file.constData(), 0x78));
    for (int i = 0; i < m_chunks.size(); ++i)
        finishChunk(file, m_chunks[i], quint64(i));
    return file;
}

bool EvtxLogBuilder::write(const QString& path) const {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes()) >= 0;
}

QList<qint64> EvtxLogBuilder::chunkOffsets() const {
    QList<qint64> offsets;
    for (int i = 0; i < m_chunks.size(); ++i)
        offsets << 0x1000 + qint64(i) * kChunkSize;
    return offsets;
}
