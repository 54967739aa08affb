#include "import/evtx/BinXmlWalker.h"

#include "import/evtx/EvtxValueText.h"

#include <cstring>

namespace kelvane::evtx {
namespace {

enum Token : std::uint8_t {
    EndOfFragment = 0x00,
    OpenStartElement = 0x01,
    CloseStartElement = 0x02,
    CloseEmptyElement = 0x03,
    EndElement = 0x04,
    ValueText = 0x05,
    Attribute = 0x06,
    CDataSection = 0x07,
    CharRef = 0x08,
    EntityRef = 0x09,
    PITarget = 0x0A,
    PIData = 0x0B,
    TemplateInstance = 0x0C,
    NormalSubstitution = 0x0D,
    OptionalSubstitution = 0x0E,
    FragmentHeader = 0x0F,
};

// The 0x40 bit of tokens 0x01..0x09 says "more follows"; it changes nothing about their layout.
std::uint8_t baseToken(std::uint8_t token) {
    const std::uint8_t base = token & 0xBF;
    return (token & 0x40) && base >= 0x01 && base <= 0x09 ? base : token;
}

bool nameIs(const std::uint8_t* chars, std::uint16_t count, std::string_view ascii) {
    if (count != ascii.size())
        return false;
    for (std::uint16_t i = 0; i < count; ++i)
        if (chars[2 * i] != static_cast<std::uint8_t>(ascii[i]) || chars[2 * i + 1] != 0)
            return false;
    return true;
}

void appendCodePoint(std::string& out, std::uint16_t c) {
    const std::uint8_t units[2] = {static_cast<std::uint8_t>(c & 0xFF), static_cast<std::uint8_t>(c >> 8)};
    appendUtf16(out, units, 1);
}

} // namespace

BinXmlWalker::BinXmlWalker(SysmonItemFilter& filter) : m_filter(filter), m_kinds(0x10000, 0xFF) {}

void BinXmlWalker::setChunk(const std::uint8_t* data, std::uint32_t size) {
    m_data = data;
    m_size = size > 0x10000 ? 0x10000 : size;
    for (const std::uint32_t offset : m_kindsSet)
        m_kinds[offset] = 0xFF;
    m_kindsSet.clear();
    m_chunkSteps = 0;
}

[[gnu::noinline, gnu::cold]] void BinXmlWalker::fail(const char* what) {
    throw DamagedRecord(what);
}

[[gnu::always_inline]] inline void BinXmlWalker::need(std::uint32_t pos, std::uint64_t bytes,
                                                      std::uint32_t end) const {
    if (pos > end || bytes > end - pos)
        fail("binary XML runs past its end");
}

[[gnu::always_inline]] inline std::uint8_t BinXmlWalker::u8(std::uint32_t& pos, std::uint32_t end) {
    need(pos, 1, end);
    return m_data[pos++];
}

[[gnu::always_inline]] inline std::uint16_t BinXmlWalker::u16(std::uint32_t& pos, std::uint32_t end) {
    need(pos, 2, end);
    const std::uint16_t v = static_cast<std::uint16_t>(m_data[pos] | (m_data[pos + 1] << 8));
    pos += 2;
    return v;
}

[[gnu::always_inline]] inline std::uint32_t BinXmlWalker::u32(std::uint32_t& pos, std::uint32_t end) {
    need(pos, 4, end);
    std::uint32_t v;
    std::memcpy(&v, m_data + pos, 4);
    pos += 4;
    return v;
}

[[gnu::always_inline]] inline void BinXmlWalker::step(std::uint32_t steps) {
    m_steps += steps;
    m_chunkSteps += steps;
    if (m_steps > kMaxStepsPerRecord || m_chunkSteps > kMaxStepsPerChunk)
        fail("binary XML expands beyond reason");
}

void BinXmlWalker::record(std::uint32_t begin, std::uint32_t end) {
    if (end > m_size || begin > end)
        fail("record outside its chunk");
    m_steps = 0;
    m_values.clear();
    fragment(begin, end, Scope{}, 0);
}

std::uint32_t BinXmlWalker::fragment(std::uint32_t pos, std::uint32_t end, const Scope& scope, int depth) {
    if (depth > kMaxDepth)
        fail("binary XML nested too deeply");
    while (pos < end) {
        step();
        const std::uint8_t token = m_data[pos++];
        switch (baseToken(token)) {
        case EndOfFragment:
            return pos;
        case FragmentHeader:
            need(pos, 3, end);
            pos += 3;
            break;
        case TemplateInstance:
            pos = templateInstance(pos, end, depth + 1);
            break;
        case OpenStartElement:
            pos = element(token, pos, end, scope, depth + 1);
            break;
        case PITarget:
            name(pos, end);
            break;
        case PIData: {
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            pos += 2u * count;
            break;
        }
        default:
            fail("unexpected token in a fragment");
        }
    }
    // A fragment that fills its range exactly needs no end token.
    return pos;
}

std::uint32_t BinXmlWalker::templateInstance(std::uint32_t pos, std::uint32_t end, int depth) {
    if (depth > kMaxDepth)
        fail("binary XML nested too deeply");
    u8(pos, end);  // always 1
    u32(pos, end); // template id
    const std::uint32_t definition = u32(pos, end);
    std::uint32_t bodyStart, bodySize;
    if (definition == pos) {
        // First use in this chunk: the definition is right here, and the instance data follows it.
        need(pos, 24, end);
        std::uint32_t at = pos + 20;
        bodySize = u32(at, end);
        bodyStart = at;
        need(bodyStart, bodySize, end);
        pos = bodyStart + bodySize;
    } else {
        std::uint32_t at = definition;
        need(at, 24, m_size);
        at += 20;
        bodySize = u32(at, m_size);
        bodyStart = at;
        need(bodyStart, bodySize, m_size);
    }

    const std::uint32_t count = u32(pos, end);
    need(pos, 4ull * count, end);
    Scope scope{static_cast<std::uint32_t>(m_values.size()), count, true};
    std::uint32_t valueAt = pos + 4 * count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint16_t size = static_cast<std::uint16_t>(m_data[pos] | (m_data[pos + 1] << 8));
        const std::uint8_t type = m_data[pos + 2];
        // Always zero in intact data: anything else means the descriptors were overwritten.
        if (m_data[pos + 3] != 0)
            fail("damaged value descriptor");
        pos += 4;
        need(valueAt, size, end);
        m_values.push_back({type, valueAt, size});
        valueAt += size;
    }
    fragment(bodyStart, bodyStart + bodySize, scope, depth + 1);
    m_values.resize(scope.base);
    return valueAt;
}

std::uint32_t BinXmlWalker::element(std::uint8_t token, std::uint32_t pos, std::uint32_t end,
                                    const Scope& scope, int depth) {
    if (depth > kMaxDepth)
        fail("binary XML nested too deeply");
    std::uint16_t dependency = 0xFFFF;
    if (scope.templateBody)
        dependency = u16(pos, end);
    const std::uint32_t dataSize = u32(pos, end);
    const std::uint32_t dataStart = pos;
    const NameKind kind = kindOf(name(pos, end));
    if (token & 0x40)
        u32(pos, end); // attribute list size

    if (dependency != 0xFFFF && dependency < scope.count && m_values[scope.base + dependency].type == Null) {
        // The element depends on a value that is absent: it is left out with all it holds.
        need(dataStart, dataSize, end);
        if (dataStart + dataSize < pos)
            fail("element size too small");
        return dataStart + dataSize;
    }

    m_filter.startElement(kind);
    for (;;) {
        need(pos, 1, end);
        if (baseToken(m_data[pos]) != Attribute)
            break;
        step();
        ++pos;
        name(pos, end);
        bool dropped = false;
        std::string* into = nullptr;
        if (m_filter.wantsKey()) {
            m_scratch.clear();
            into = &m_scratch;
        }
        pos = attributeValue(pos, end, scope, into, dropped);
        if (into && !dropped) {
            m_filter.key().swap(m_scratch);
            m_filter.keyDone();
        }
    }
    m_filter.keyDone();

    const std::uint8_t close = u8(pos, end);
    if (close == CloseEmptyElement) {
        m_filter.endElement(kind);
        return pos;
    }
    if (close != CloseStartElement)
        fail("start tag not closed");
    return content(pos, end, scope, kind, depth);
}

std::uint32_t BinXmlWalker::attributeValue(std::uint32_t pos, std::uint32_t end, const Scope& scope,
                                           std::string* into, bool& dropped) {
    for (;;) {
        need(pos, 1, end);
        const std::uint8_t token = baseToken(m_data[pos]);
        switch (token) {
        case ValueText: {
            ++pos;
            u8(pos, end);
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            if (into)
                appendUtf16(*into, m_data + pos, count);
            pos += 2u * count;
            break;
        }
        case CDataSection: {
            ++pos;
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            if (into)
                appendUtf16(*into, m_data + pos, count);
            pos += 2u * count;
            break;
        }
        case CharRef: {
            ++pos;
            const std::uint16_t c = u16(pos, end);
            if (into)
                appendCodePoint(*into, c);
            break;
        }
        case EntityRef: {
            ++pos;
            const std::uint32_t entity = name(pos, end);
            if (into)
                appendEntity(*into, entity);
            break;
        }
        case NormalSubstitution:
        case OptionalSubstitution: {
            ++pos;
            const std::uint16_t index = u16(pos, end);
            u8(pos, end);
            if (index >= scope.count)
                fail("substitution without a value");
            const Value& value = m_values[scope.base + index];
            if (value.type == Null) {
                dropped = dropped || token == OptionalSubstitution;
            } else if (into) {
                step(value.size / 8);
                if (value.type & ArrayFlag)
                    appendArray(value, NameKind::Other, into);
                else if (value.type != BinXml &&
                         !appendValueText(*into, value.type, m_data + value.offset, value.size))
                    fail("value does not fit its type");
            }
            break;
        }
        default:
            return pos;
        }
        step();
    }
}

std::uint32_t BinXmlWalker::content(std::uint32_t pos, std::uint32_t end, const Scope& scope, NameKind kind,
                                    int depth) {
    for (;;) {
        step();
        const std::uint8_t token = u8(pos, end);
        switch (baseToken(token)) {
        case OpenStartElement:
            pos = element(token, pos, end, scope, depth + 1);
            break;
        case EndElement:
            m_filter.endElement(kind);
            return pos;
        case ValueText: {
            u8(pos, end);
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            if (m_filter.wantsText()) {
                step(count / 4u);
                appendUtf16(m_filter.text(), m_data + pos, count);
            }
            pos += 2u * count;
            break;
        }
        case CDataSection: {
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            if (m_filter.wantsText()) {
                step(count / 4u);
                appendUtf16(m_filter.text(), m_data + pos, count);
            }
            pos += 2u * count;
            break;
        }
        case CharRef: {
            const std::uint16_t c = u16(pos, end);
            if (m_filter.wantsText())
                appendCodePoint(m_filter.text(), c);
            break;
        }
        case EntityRef: {
            const std::uint32_t entity = name(pos, end);
            if (m_filter.wantsText())
                appendEntity(m_filter.text(), entity);
            break;
        }
        case PITarget:
            name(pos, end);
            break;
        case PIData: {
            const std::uint16_t count = u16(pos, end);
            need(pos, 2ull * count, end);
            pos += 2u * count;
            break;
        }
        case TemplateInstance:
            pos = templateInstance(pos, end, depth + 1);
            break;
        case NormalSubstitution:
        case OptionalSubstitution: {
            const std::uint16_t index = u16(pos, end);
            u8(pos, end); // the declared type; the value's own type is the truth
            substitution(scope, index, token == OptionalSubstitution, kind, depth);
            break;
        }
        default:
            fail("unexpected token in element content");
        }
    }
}

void BinXmlWalker::substitution(const Scope& scope, std::uint16_t index, bool /*optional*/, NameKind kind,
                                int depth) {
    if (index >= scope.count)
        fail("substitution without a value");
    const Value value = m_values[scope.base + index];
    if (value.type == Null)
        return;
    if (value.type == BinXml) {
        // A nested fragment: its names and templates are chunk offsets too, and it brings its own values. It
        // fills its value exactly; one that ends early was cut short by a damaged length.
        if (fragment(value.offset, value.offset + value.size, Scope{}, depth + 1) !=
            value.offset + value.size)
            fail("nested fragment does not fill its value");
        return;
    }
    if (value.type & ArrayFlag) {
        appendArray(value, kind, nullptr);
        return;
    }
    if (!m_filter.wantsText())
        return;
    step(value.size / 8);
    if (!appendValueText(m_filter.text(), value.type, m_data + value.offset, value.size))
        fail("value does not fit its type");
}

void BinXmlWalker::appendArray(const Value& value, NameKind kind, std::string* attribute) {
    // In content the element is repeated for every item; in an attribute the items are joined by blanks.
    const std::uint8_t type = value.type & 0x7F;
    const std::uint8_t* p = m_data + value.offset;
    bool first = true;
    const auto item = [&](const std::uint8_t* at, std::size_t size) {
        step(1 + static_cast<std::uint32_t>(size / 8));
        if (!first) {
            if (attribute)
                *attribute += ' ';
            else
                m_filter.repeatElement(kind);
        }
        first = false;
        std::string* out = attribute ? attribute : m_filter.wantsText() ? &m_filter.text() : nullptr;
        if (out && !appendValueText(*out, type, at, size))
            fail("array item does not fit its type");
    };
    if (type == String) {
        std::size_t start = 0;
        const std::size_t units = value.size / 2;
        for (std::size_t i = 0; i < units; ++i) {
            if (p[2 * i] == 0 && p[2 * i + 1] == 0) {
                item(p + 2 * start, 2 * (i - start));
                start = i + 1;
            }
        }
        if (start < units)
            item(p + 2 * start, 2 * (units - start));
    } else if (type == AnsiString) {
        std::size_t start = 0;
        for (std::size_t i = 0; i < value.size; ++i) {
            if (p[i] == 0) {
                item(p + start, i - start);
                start = i + 1;
            }
        }
        if (start < value.size)
            item(p + start, value.size - start);
    } else {
        const std::size_t size = fixedValueSize(type);
        if (size == 0 || value.size % size != 0)
            fail("array of a type without a fixed size");
        for (std::size_t at = 0; at < value.size; at += size)
            item(p + at, size);
    }
}

std::uint32_t BinXmlWalker::name(std::uint32_t& pos, std::uint32_t end) {
    const std::uint32_t offset = u32(pos, end);
    if (offset == pos) {
        // Stored right here on first use: step over it.
        need(pos, 8, end);
        const std::uint16_t count = static_cast<std::uint16_t>(m_data[pos + 6] | (m_data[pos + 7] << 8));
        need(pos, 10ull + 2ull * count, end);
        pos += 10u + 2u * count;
    } else {
        need(offset, 8, m_size);
        const std::uint16_t count =
            static_cast<std::uint16_t>(m_data[offset + 6] | (m_data[offset + 7] << 8));
        need(offset, 8ull + 2ull * count, m_size);
    }
    kindOf(offset); // checks the name once per chunk
    return offset;
}

NameKind BinXmlWalker::kindOf(std::uint32_t offset) {
    std::uint8_t& cached = m_kinds[offset];
    if (cached != 0xFF)
        return static_cast<NameKind>(cached);
    const std::uint16_t count = static_cast<std::uint16_t>(m_data[offset + 6] | (m_data[offset + 7] << 8));
    const std::uint8_t* chars = m_data + offset + 8;
    // A name carries the hash of its characters: an offset that was damaged points at bytes that lack it.
    std::uint32_t hash = 0;
    for (std::uint16_t i = 0; i < count; ++i)
        hash = hash * 65599u + static_cast<std::uint32_t>(chars[2 * i] | (chars[2 * i + 1] << 8));
    if ((hash & 0xFFFF) != static_cast<std::uint32_t>(m_data[offset + 4] | (m_data[offset + 5] << 8)))
        fail("damaged element name");
    NameKind kind = NameKind::Other;
    if (nameIs(chars, count, "EventID"))
        kind = NameKind::EventID;
    else if (nameIs(chars, count, "Computer"))
        kind = NameKind::Computer;
    else if (nameIs(chars, count, "Data"))
        kind = NameKind::Data;
    else if (nameIs(chars, count, "EventData"))
        kind = NameKind::EventData;
    else if (nameIs(chars, count, "Channel"))
        kind = NameKind::Channel;
    cached = static_cast<std::uint8_t>(kind);
    m_kindsSet.push_back(offset);
    return kind;
}

void BinXmlWalker::appendEntity(std::string& out, std::uint32_t offset) {
    const std::uint16_t count = static_cast<std::uint16_t>(m_data[offset + 6] | (m_data[offset + 7] << 8));
    const std::uint8_t* chars = m_data + offset + 8;
    if (nameIs(chars, count, "amp"))
        out += '&';
    else if (nameIs(chars, count, "lt"))
        out += '<';
    else if (nameIs(chars, count, "gt"))
        out += '>';
    else if (nameIs(chars, count, "quot"))
        out += '"';
    else if (nameIs(chars, count, "apos"))
        out += '\'';
    else {
        // Unknown references stay as written, as the XML reader keeps them.
        out += '&';
        appendUtf16(out, chars, count);
        out += ';';
    }
}

} // namespace kelvane::evtx
