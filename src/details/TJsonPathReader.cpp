#include "details/TJsonPathReader.h"

#include <simdjson.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace kelvane {

namespace {

// Hostile documents must not exhaust the stack.
constexpr int kMaxDepth = 256;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Where a value stands in the text it was read from (objects and arrays are read to their end).
std::string_view rawText(simdjson::ondemand::value value) {
    switch (value.type().value()) {
    case simdjson::ondemand::json_type::object: {
        simdjson::ondemand::object object = value.get_object();
        return object.raw_json();
    }
    case simdjson::ondemand::json_type::array: {
        simdjson::ondemand::array array = value.get_array();
        return array.raw_json();
    }
    default:
        return value.raw_json_token();
    }
}

} // namespace

// Checks the document with simdjson, then walks it to note where each value stands in the text: each
// object and array is walked on its own text, by a parser of its depth.
class TJsonPathReader::Parser {
public:
    Parser(QByteArray& text, std::vector<Node>& nodes) : m_text(text), m_nodes(nodes) {}

    void run() {
        const auto size = static_cast<size_t>(m_text.size());
        // simdjson reads a little past the end of what it is given.
        m_text.reserve(m_text.size() + qsizetype(simdjson::SIMDJSON_PADDING));
        m_padded = m_text.constData() + m_text.capacity();
        simdjson::dom::parser checker;
        simdjson::dom::element root;
        if (const auto error = checker.parse(m_text.constData(), size).get(root))
            fail(simdjson::error_message(error));
        build(std::string_view(m_text.constData(), size), 0);
    }

private:
    [[noreturn]] static void fail(const char* what) {
        throw std::runtime_error(std::string("The answer is not valid JSON: ") + what);
    }

    int build(std::string_view raw, int depth) {
        if (depth > kMaxDepth)
            fail("nesting too deep");
        raw = trimmed(raw);
        if (raw.empty())
            fail("missing value");
        Kind kind = Kind::Number;
        switch (raw.front()) {
        case '{':
            kind = Kind::Object;
            break;
        case '[':
            kind = Kind::Array;
            break;
        case '"':
            kind = Kind::String;
            break;
        case 't':
            kind = Kind::True;
            break;
        case 'f':
            kind = Kind::False;
            break;
        case 'n':
            kind = Kind::Null;
            break;
        default:
            break;
        }
        const qsizetype begin = raw.data() - m_text.constData();
        m_nodes.push_back(Node{kind, begin, begin + qsizetype(raw.size()), {}, {}});
        const int node = static_cast<int>(m_nodes.size() - 1);
        if (kind != Kind::Object && kind != Kind::Array)
            return node;
        if (m_parsers.size() <= size_t(depth))
            m_parsers.resize(size_t(depth) + 1);
        if (!m_parsers[size_t(depth)])
            m_parsers[size_t(depth)] = std::make_unique<simdjson::ondemand::parser>();
        const size_t room = size_t(m_padded - raw.data());
        try {
            auto document = m_parsers[size_t(depth)]->iterate(raw.data(), raw.size(), room);
            if (kind == Kind::Object) {
                for (auto field : document.get_object()) {
                    const QString name = QString::fromUtf8(std::string_view(field.unescaped_key()));
                    const int child = build(rawText(field.value()), depth + 1);
                    m_nodes[size_t(node)].children.push_back(child);
                    m_nodes[size_t(node)].names.push_back(name);
                }
            } else {
                for (auto element : document.get_array()) {
                    const int child = build(rawText(element.value()), depth + 1);
                    m_nodes[size_t(node)].children.push_back(child);
                }
            }
        } catch (const simdjson::simdjson_error& e) {
            fail(e.what());
        }
        return node;
    }

    QByteArray& m_text;
    std::vector<Node>& m_nodes;
    const char* m_padded = nullptr;
    std::vector<std::unique_ptr<simdjson::ondemand::parser>> m_parsers;
};

void TJsonPathReader::reset() {
    m_document.clear();
    m_nodes.clear();
    m_current = kNone;
}

void TJsonPathReader::parse(const QByteArray& document) {
    reset();
    m_document = document;
    try {
        Parser(m_document, m_nodes).run();
    } catch (...) {
        reset();
        throw;
    }
    m_current = root();
}

bool TJsonPathReader::tryPath(const QString& path) {
    if (m_nodes.empty() || !path.startsWith(QLatin1Char('$')))
        return false;
    int node = 0;
    qsizetype i = 1;
    const qsizetype n = path.size();
    while (i < n) {
        if (path.at(i) == QLatin1Char('.'))
            ++i;
        if (i >= n)
            return false;
        if (path.at(i) == QLatin1Char('[')) {
            if (i + 1 < n && path.at(i + 1) == QLatin1Char('\'')) {
                const qsizetype close = path.indexOf(QLatin1String("']"), i + 2);
                if (close < 0)
                    return false;
                node = memberOf(node, path.mid(i + 2, close - i - 2));
                i = close + 2;
            } else {
                const qsizetype close = path.indexOf(QLatin1Char(']'), i + 1);
                bool ok = false;
                const int index = close < 0 ? -1 : path.mid(i + 1, close - i - 1).toInt(&ok);
                if (!ok)
                    return false;
                node = elementOf(node, index);
                i = close + 1;
            }
        } else {
            qsizetype end = i;
            while (end < n && path.at(end) != QLatin1Char('.') && path.at(end) != QLatin1Char('['))
                ++end;
            node = memberOf(node, path.mid(i, end - i));
            i = end;
        }
        if (node == kNone)
            return false;
    }
    m_current = node;
    return true;
}

QString TJsonPathReader::text() const {
    return m_current == kNone ? QString() : textOf(m_current);
}

int TJsonPathReader::childCount() const {
    return m_current == kNone ? 0 : countOf(m_current);
}

TJsonPathReader::Kind TJsonPathReader::kind() const {
    return m_current == kNone ? Kind::Null : kindOf(m_current);
}

QString TJsonPathReader::value() const {
    return m_current == kNone ? QString() : valueOf(m_current);
}

QString TJsonPathReader::textOf(int node) const {
    const Node& n = m_nodes[static_cast<size_t>(node)];
    return QString::fromUtf8(m_document.constData() + n.begin, n.end - n.begin);
}

QString TJsonPathReader::valueOf(int node) const {
    const Node& n = m_nodes[static_cast<size_t>(node)];
    if (n.kind == Kind::String)
        return unescape(m_document.mid(n.begin, n.end - n.begin));
    return textOf(node);
}

int TJsonPathReader::memberOf(int objectNode, const QString& name) const {
    if (objectNode == kNone)
        return kNone;
    const Node& n = m_nodes[static_cast<size_t>(objectNode)];
    if (n.kind != Kind::Object)
        return kNone;
    for (size_t i = 0; i < n.names.size(); ++i)
        if (n.names[i] == name)
            return n.children[i];
    return kNone;
}

int TJsonPathReader::elementOf(int arrayNode, int index) const {
    if (arrayNode == kNone)
        return kNone;
    const Node& n = m_nodes[static_cast<size_t>(arrayNode)];
    if (n.kind != Kind::Array || index < 0 || static_cast<size_t>(index) >= n.children.size())
        return kNone;
    return n.children[static_cast<size_t>(index)];
}

int TJsonPathReader::countOf(int node) const {
    return node == kNone ? 0 : static_cast<int>(m_nodes[static_cast<size_t>(node)].children.size());
}

int TJsonPathReader::childAt(int node, int index) const {
    const Node& n = m_nodes[static_cast<size_t>(node)];
    if (index < 0 || static_cast<size_t>(index) >= n.children.size())
        return kNone;
    return n.children[static_cast<size_t>(index)];
}

QString TJsonPathReader::nameOf(int objectNode, int index) const {
    const Node& n = m_nodes[static_cast<size_t>(objectNode)];
    return n.names[static_cast<size_t>(index)];
}

QString TJsonPathReader::unescape(const QByteArray& quoted) {
    if (quoted.size() < 2)
        return QString();
    const QByteArray body = quoted.mid(1, quoted.size() - 2);
    if (!body.contains('\\'))
        return QString::fromUtf8(body);
    QString out;
    QByteArray run; // unescaped UTF-8 bytes waiting to be decoded
    auto flush = [&] {
        out += QString::fromUtf8(run);
        run.clear();
    };
    for (qsizetype i = 0; i < body.size(); ++i) {
        const char c = body[i];
        if (c != '\\' || i + 1 >= body.size()) {
            run += c;
            continue;
        }
        const char e = body[++i];
        switch (e) {
        case 'b':
            run += '\b';
            break;
        case 'f':
            run += '\f';
            break;
        case 'n':
            run += '\n';
            break;
        case 'r':
            run += '\r';
            break;
        case 't':
            run += '\t';
            break;
        case 'u': {
            ushort code = 0;
            for (int k = 1; k <= 4 && i + k < body.size(); ++k)
                code = static_cast<ushort>(code * 16 + std::max(0, hexValue(body[i + k])));
            i += 4;
            flush();
            // Surrogate pairs arrive as two escapes; QString joins the halves.
            out += QChar(code);
            break;
        }
        default:
            run += e;
            break;
        }
    }
    flush();
    return out;
}

} // namespace kelvane
