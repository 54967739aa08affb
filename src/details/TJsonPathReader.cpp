#include "details/TJsonPathReader.h"

#include <stdexcept>
#include <string>

namespace kelvane {

namespace {

// Hostile documents must not exhaust the stack.
constexpr int kMaxDepth = 256;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
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

} // namespace

class TJsonPathReader::Parser {
public:
    Parser(const QByteArray& text, std::vector<Node>& nodes) : m_text(text), m_nodes(nodes) {}

    void run() {
        skipBlanks();
        parseValue(0);
        skipBlanks();
        if (m_pos != m_text.size())
            fail("unexpected text after the document");
    }

private:
    [[noreturn]] void fail(const char* what) const {
        throw std::runtime_error(std::string("The answer is not valid JSON: ") + what + " at byte " +
                                 std::to_string(m_pos));
    }
    char peek() const { return m_pos < m_text.size() ? m_text[m_pos] : '\0'; }
    bool atEnd() const { return m_pos >= m_text.size(); }
    void skipBlanks() {
        while (!atEnd() && isBlank(m_text[m_pos]))
            ++m_pos;
    }
    void expectWord(const char* word) {
        for (const char* c = word; *c; ++c, ++m_pos)
            if (atEnd() || m_text[m_pos] != *c)
                fail("unknown word");
    }

    int add(Kind kind) {
        m_nodes.push_back(Node{kind, m_pos, m_pos, {}, {}});
        return static_cast<int>(m_nodes.size() - 1);
    }

    int parseValue(int depth) {
        if (depth > kMaxDepth)
            fail("nesting too deep");
        if (atEnd())
            fail("missing value");
        const char c = peek();
        int node;
        if (c == '{') {
            node = add(Kind::Object);
            parseObject(node, depth);
        } else if (c == '[') {
            node = add(Kind::Array);
            parseArray(node, depth);
        } else if (c == '"') {
            node = add(Kind::String);
            skipString();
        } else if (c == '-' || isDigit(c)) {
            node = add(Kind::Number);
            skipNumber();
        } else if (c == 't') {
            node = add(Kind::True);
            expectWord("true");
        } else if (c == 'f') {
            node = add(Kind::False);
            expectWord("false");
        } else if (c == 'n') {
            node = add(Kind::Null);
            expectWord("null");
        } else {
            fail("unexpected character");
        }
        m_nodes[static_cast<size_t>(node)].end = m_pos;
        return node;
    }

    void parseObject(int node, int depth) {
        ++m_pos; // {
        skipBlanks();
        if (peek() == '}') {
            ++m_pos;
            return;
        }
        for (;;) {
            skipBlanks();
            if (peek() != '"')
                fail("expected a member name");
            const qsizetype nameBegin = m_pos;
            skipString();
            const QString name = unescape(m_text.mid(nameBegin, m_pos - nameBegin));
            skipBlanks();
            if (peek() != ':')
                fail("expected ':'");
            ++m_pos;
            skipBlanks();
            const int child = parseValue(depth + 1);
            m_nodes[static_cast<size_t>(node)].children.push_back(child);
            m_nodes[static_cast<size_t>(node)].names.push_back(name);
            skipBlanks();
            if (peek() == ',') {
                ++m_pos;
                continue;
            }
            if (peek() == '}') {
                ++m_pos;
                return;
            }
            fail("expected ',' or '}'");
        }
    }

    void parseArray(int node, int depth) {
        ++m_pos; // [
        skipBlanks();
        if (peek() == ']') {
            ++m_pos;
            return;
        }
        for (;;) {
            skipBlanks();
            const int child = parseValue(depth + 1);
            m_nodes[static_cast<size_t>(node)].children.push_back(child);
            skipBlanks();
            if (peek() == ',') {
                ++m_pos;
                continue;
            }
            if (peek() == ']') {
                ++m_pos;
                return;
            }
            fail("expected ',' or ']'");
        }
    }

    void skipString() {
        ++m_pos; // opening quote
        while (!atEnd()) {
            const char c = m_text[m_pos];
            if (c == '"') {
                ++m_pos;
                return;
            }
            if (static_cast<unsigned char>(c) < 0x20)
                fail("control character in a string");
            if (c == '\\') {
                ++m_pos;
                if (atEnd())
                    break;
                const char e = m_text[m_pos];
                if (e == 'u') {
                    for (int i = 1; i <= 4; ++i)
                        if (m_pos + i >= m_text.size() || hexValue(m_text[m_pos + i]) < 0)
                            fail("bad \\u escape");
                    m_pos += 4;
                } else if (!QByteArrayView("\"\\/bfnrt").contains(e)) {
                    fail("bad escape");
                }
            }
            ++m_pos;
        }
        fail("unterminated string");
    }

    void skipDigits() {
        if (!isDigit(peek()))
            fail("expected a digit");
        while (isDigit(peek()))
            ++m_pos;
    }

    void skipNumber() {
        if (peek() == '-')
            ++m_pos;
        if (peek() == '0')
            ++m_pos;
        else
            skipDigits();
        if (peek() == '.') {
            ++m_pos;
            skipDigits();
        }
        if (peek() == 'e' || peek() == 'E') {
            ++m_pos;
            if (peek() == '+' || peek() == '-')
                ++m_pos;
            skipDigits();
        }
    }

    const QByteArray& m_text;
    std::vector<Node>& m_nodes;
    qsizetype m_pos = 0;
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
