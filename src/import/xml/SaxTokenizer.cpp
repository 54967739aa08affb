#include "import/xml/SaxTokenizer.h"

#include "import/Utf8.h"
#include "import/xml/Utf8Window.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace kelvane {

namespace {

// A tag or declaration may not grow past this: a quote that is never closed would otherwise pull the rest of
// the file into memory before the reader could tell.
constexpr std::size_t MaxMarkupSize = std::size_t{64} << 20;
// Longest reference looked at, '&' and ';' included ("&#x10FFFF;" with room for leading zeros).
constexpr std::size_t MaxReferenceSize = 32;

enum : std::uint8_t { Space = 1, NameStop = 2, NameStart = 4 };

constexpr std::array<std::uint8_t, 256> makeClasses() {
    std::array<std::uint8_t, 256> classes{};
    // Every control byte counts as white space between attributes, as it does in trimming.
    for (int c = 0; c <= 0x20; ++c)
        classes[c] = Space | NameStop;
    for (const char c : {'>', '/', '<', '=', '"', '\''})
        classes[static_cast<unsigned char>(c)] |= NameStop;
    for (int c = 'a'; c <= 'z'; ++c)
        classes[c] |= NameStart;
    for (int c = 'A'; c <= 'Z'; ++c)
        classes[c] |= NameStart;
    classes['_'] |= NameStart;
    classes[':'] |= NameStart;
    for (int c = 0x80; c <= 0xFF; ++c)
        classes[c] |= NameStart;
    return classes;
}
constexpr std::array<std::uint8_t, 256> Classes = makeClasses();

inline std::uint8_t classOf(char c) {
    return Classes[static_cast<unsigned char>(c)];
}
inline bool isSpace(char c) {
    return static_cast<unsigned char>(c) <= 0x20;
}

inline const char* skipSpace(const char* p, const char* end) {
    while (p < end && isSpace(*p))
        ++p;
    return p;
}

inline const char* skipName(const char* p, const char* end) {
    while (p < end && !(classOf(*p) & NameStop))
        ++p;
    return p;
}

inline const char* findChar(const char* p, const char* end, char c) {
    return p < end ? static_cast<const char*>(std::memchr(p, c, static_cast<std::size_t>(end - p))) : nullptr;
}

inline const char* findText(const char* p, const char* end, std::string_view what) {
    const std::size_t at = std::string_view(p, static_cast<std::size_t>(end - p)).find(what);
    return at == std::string_view::npos ? nullptr : p + at;
}

enum class Prefix { Match, Mismatch, Partial };

// Whether [p, end) starts with what, or could once more bytes have come.
Prefix matchPrefix(const char* p, const char* end, std::string_view what) {
    const std::size_t available = std::min(what.size(), static_cast<std::size_t>(end - p));
    if (std::string_view(p, available) != what.substr(0, available))
        return Prefix::Mismatch;
    return available == what.size() ? Prefix::Match : Prefix::Partial;
}

// Appends what the reference between '&' and ';' stands for; false for one it does not know.
bool appendReference(std::string_view name, std::string& out) {
    if (name.size() >= 2 && name[0] == '#') {
        const bool hex = name[1] == 'x' || name[1] == 'X';
        const std::string_view digits = name.substr(hex ? 2 : 1);
        if (digits.empty())
            return false;
        char32_t cp = 0;
        for (const char c : digits) {
            unsigned digit = 0;
            if (c >= '0' && c <= '9')
                digit = static_cast<unsigned>(c - '0');
            else if (hex && c >= 'a' && c <= 'f')
                digit = static_cast<unsigned>(c - 'a' + 10);
            else if (hex && c >= 'A' && c <= 'F')
                digit = static_cast<unsigned>(c - 'A' + 10);
            else
                return false;
            cp = cp * (hex ? 16 : 10) + digit;
            if (cp > 0x10FFFF)
                return false;
        }
        if (cp == 0 || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        appendUtf8(out, cp);
        return true;
    }
    char c = 0;
    if (name == "lt")
        c = '<';
    else if (name == "gt")
        c = '>';
    else if (name == "amp")
        c = '&';
    else if (name == "quot")
        c = '"';
    else if (name == "apos")
        c = '\'';
    else
        return false;
    out.push_back(c);
    return true;
}

// Appends [p, end) with its references expanded. An unknown or broken one, or a lone '&', stays as it stands.
void appendExpanded(const char* p, const char* end, std::string& out) {
    while (p < end) {
        const char* const amp = findChar(p, end, '&');
        if (!amp) {
            out.append(p, end);
            return;
        }
        out.append(p, amp);
        const char* const limit = std::min(end, amp + MaxReferenceSize);
        const char* const semicolon = findChar(amp + 1, limit, ';');
        if (semicolon &&
            appendReference(std::string_view(amp + 1, static_cast<std::size_t>(semicolon - amp - 1)), out)) {
            p = semicolon + 1;
        } else {
            out.push_back('&');
            p = amp + 1;
        }
    }
}

} // namespace

SaxTokenizer::SaxTokenizer(Utf8Window& window, SaxHandler& handler, const std::atomic<bool>& stopRequested)
    : m_window(window), m_handler(handler), m_stopRequested(stopRequested) {}

SaxTokenizer::Outcome SaxTokenizer::run() {
    for (;;) {
        const Step step = scan();
        if (step == Step::Failed)
            return Outcome::Failed;
        if (step == Step::Stopped)
            return Outcome::Stopped;
        // Step::NeedMore: what lies before m_pos is done with, the rest is one unfinished piece.
        if (m_window.size() - m_pos > MaxMarkupSize) {
            fail(m_window.data() + m_pos, "Markup longer than 64 MiB");
            return Outcome::Failed;
        }
        copyText();
        const bool more = m_window.advance(m_pos);
        m_pos = 0;
        if (!more)
            return finish();
        if (m_stopRequested.load(std::memory_order_relaxed))
            return Outcome::Stopped;
    }
}

SaxTokenizer::Outcome SaxTokenizer::finish() {
    const char* const rest = m_window.data();
    const char* const end = rest + m_window.size();
    switch (m_mode) {
    case Mode::Comment:
        fail(end, "Unexpected end of file inside a comment");
        return Outcome::Failed;
    case Mode::CData:
        fail(end, "Unexpected end of file inside a CDATA section");
        return Outcome::Failed;
    case Mode::Instruction:
        fail(end, "Unexpected end of file inside a processing instruction");
        return Outcome::Failed;
    case Mode::Content:
        break;
    }
    if (rest != end && *rest == '<') {
        fail(rest, "Unexpected end of file inside a tag");
        return Outcome::Failed;
    }
    // Text after the last tag is dropped: it belongs to no complete item, and in a file cut off in the
    // middle of a value it would hand over a truncated one. Elements still open are no error.
    m_handler.endDocument();
    return Outcome::Finished;
}

SaxTokenizer::Step SaxTokenizer::scan() {
    const char* const base = m_window.data();
    const char* const end = base + m_window.size();
    const char* p = base + m_pos;
    const auto needMore = [&](const char* from) {
        m_pos = static_cast<std::size_t>(from - base);
        return Step::NeedMore;
    };
    for (;;) {
        switch (m_mode) {
        case Mode::Comment:
        case Mode::Instruction: {
            const std::string_view close = m_mode == Mode::Comment ? "-->" : "?>";
            const char* const found = findText(p, end, close);
            if (!found) // keep what may be the start of the closing mark
                return needMore(end - p >= std::ptrdiff_t(close.size()) ? end - (close.size() - 1) : p);
            p = found + close.size();
            m_mode = Mode::Content;
            break;
        }
        case Mode::CData: {
            const char* const found = findText(p, end, "]]>");
            if (!found) {
                const char* const keep = end - p >= 3 ? end - 2 : p;
                addText(p, keep, false);
                return needMore(keep);
            }
            addText(p, found, false);
            p = found + 3;
            m_mode = Mode::Content;
            break;
        }
        case Mode::Content: {
            if (p < end && *p != '<') {
                const char* const open = findChar(p, end, '<');
                if (!open) {
                    // The text goes on in the next chunk; hold back a reference that the chunk may have cut.
                    const char* cut = end;
                    const std::size_t tail = std::min(MaxReferenceSize, static_cast<std::size_t>(end - p));
                    for (std::size_t i = 1; i <= tail; ++i) {
                        if (end[-static_cast<std::ptrdiff_t>(i)] == '&') {
                            cut = end - i;
                            break;
                        }
                    }
                    addText(p, cut, true);
                    return needMore(cut);
                }
                addText(p, open, true);
                p = open;
            }
            if (end - p < 2)
                return needMore(p);
            if (m_stopRequested.load(std::memory_order_relaxed))
                return Step::Stopped;
            const char* next = nullptr;
            Step step = Step::Done;
            const char c = p[1];
            if (c == '/') {
                step = endTag(p, end, next);
            } else if (c == '!') {
                step = exclamation(p, end, next);
            } else if (c == '?') {
                m_mode = Mode::Instruction; // the XML declaration too
                next = p + 2;
            } else if (classOf(c) & NameStart) {
                step = startTag(p, end, next);
            } else {
                return fail(p, "'<' not followed by a name");
            }
            if (step == Step::NeedMore)
                return needMore(p);
            if (step != Step::Done)
                return step;
            p = next;
            break;
        }
        }
    }
}

// Reads a start tag at p. Lenient where a log can be broken:
// - a '<' inside a quoted value is a plain character of the value;
// - a '<' where an attribute name (or an unquoted value) would stand ends the broken tag there, with the
//   attributes read so far, and starts the next markup: `<Data Name='a' <b>` gives Data, then b;
// - a value without quotes runs to white space, '>' or "/>"; an attribute without '=' has an empty value;
// - a stray '/', '=' or quote between attributes is passed over.
SaxTokenizer::Step SaxTokenizer::startTag(const char* p, const char* end, const char*& next) {
    const char* const nameBegin = p + 1;
    const char* q = skipName(nameBegin, end);
    if (q == end)
        return Step::NeedMore;
    const std::string_view name(nameBegin, static_cast<std::size_t>(q - nameBegin));
    m_attributes.clear();
    m_attributeValues.clear();
    bool selfClosing = false;
    for (;;) {
        q = skipSpace(q, end);
        if (q == end)
            return Step::NeedMore;
        const char c = *q;
        if (c == '>') {
            ++q;
            break;
        }
        if (c == '<')
            break;
        if (c == '/') {
            if (q + 1 == end)
                return Step::NeedMore;
            if (q[1] == '>') {
                selfClosing = true;
                q += 2;
                break;
            }
            ++q;
            continue;
        }
        if (classOf(c) & NameStop) {
            ++q;
            continue;
        }
        const char* const attributeBegin = q;
        q = skipName(q, end);
        if (q == end)
            return Step::NeedMore;
        const std::string_view attributeName(attributeBegin, static_cast<std::size_t>(q - attributeBegin));
        q = skipSpace(q, end);
        if (q == end)
            return Step::NeedMore;
        if (*q != '=') {
            addAttribute(attributeName, q, q);
            continue;
        }
        q = skipSpace(q + 1, end);
        if (q == end)
            return Step::NeedMore;
        if (*q == '"' || *q == '\'') {
            const char* const close = findChar(q + 1, end, *q);
            if (!close)
                return Step::NeedMore;
            addAttribute(attributeName, q + 1, close);
            q = close + 1;
            continue;
        }
        const char* const value = q;
        while (q < end && !isSpace(*q) && *q != '>' && *q != '<') {
            if (*q == '/') {
                if (q + 1 == end)
                    return Step::NeedMore;
                if (q[1] == '>')
                    break;
            }
            ++q;
        }
        if (q == end)
            return Step::NeedMore;
        addAttribute(attributeName, value, q);
    }
    next = q;
    m_saxAttributes.clear();
    const std::string_view stored(m_attributeValues);
    for (const Attribute& attribute : m_attributes)
        m_saxAttributes.push_back(
            {attribute.name,
             attribute.stored ? stored.substr(attribute.storedAt, attribute.storedSize) : attribute.value});
    flushText();
    m_handler.startElement(name, m_saxAttributes);
    if (selfClosing)
        m_handler.endElement(name);
    return Step::Done;
}

// Reads an end tag at p; whatever stands between its name and '>' is passed over, and a '<' there ends it
// like a broken start tag.
SaxTokenizer::Step SaxTokenizer::endTag(const char* p, const char* end, const char*& next) {
    const char* const nameBegin = p + 2;
    if (nameBegin == end)
        return Step::NeedMore;
    if (!(classOf(*nameBegin) & NameStart))
        return fail(p, "'</' not followed by a name");
    const char* q = skipName(nameBegin, end);
    if (q == end)
        return Step::NeedMore;
    const std::string_view name(nameBegin, static_cast<std::size_t>(q - nameBegin));
    while (q < end && *q != '>' && *q != '<')
        ++q;
    if (q == end)
        return Step::NeedMore;
    if (*q == '>')
        ++q;
    next = q;
    flushText();
    m_handler.endElement(name);
    return Step::Done;
}

// Reads what starts with "<!": a comment, a CDATA section, or a declaration such as DOCTYPE, which is dropped
// up to its '>' (reading past quoted text and an internal subset in brackets).
SaxTokenizer::Step SaxTokenizer::exclamation(const char* p, const char* end, const char*& next) {
    const struct {
        std::string_view open;
        Mode mode;
    } sections[] = {{"<!--", Mode::Comment}, {"<![CDATA[", Mode::CData}};
    for (const auto& section : sections) {
        switch (matchPrefix(p, end, section.open)) {
        case Prefix::Match:
            m_mode = section.mode;
            next = p + section.open.size();
            return Step::Done;
        case Prefix::Partial:
            return Step::NeedMore;
        case Prefix::Mismatch:
            break;
        }
    }
    int depth = 0;
    char quote = 0;
    for (const char* q = p + 2; q < end; ++q) {
        const char c = *q;
        if (quote) {
            if (c == quote)
                quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '[') {
            ++depth;
        } else if (c == ']') {
            depth = std::max(depth - 1, 0);
        } else if (c == '>' && depth == 0) {
            next = q + 1;
            return Step::Done;
        }
    }
    return Step::NeedMore;
}

void SaxTokenizer::addAttribute(std::string_view name, const char* value, const char* valueEnd) {
    Attribute attribute;
    attribute.name = name;
    if (findChar(value, valueEnd, '&')) {
        attribute.stored = true;
        attribute.storedAt = m_attributeValues.size();
        appendExpanded(value, valueEnd, m_attributeValues);
        attribute.storedSize = m_attributeValues.size() - attribute.storedAt;
    } else {
        attribute.value = std::string_view(value, static_cast<std::size_t>(valueEnd - value));
    }
    m_attributes.push_back(attribute);
}

// Gathers a piece of text; expand is false for CDATA. White space ahead of the first piece is dropped at
// once, the rest of the trimming waits for the whole text.
void SaxTokenizer::addText(const char* p, const char* end, bool expand) {
    if (m_textState == TextState::None)
        p = skipSpace(p, end);
    if (p == end)
        return;
    const bool plain = !expand || !findChar(p, end, '&');
    if (plain && m_textState == TextState::None) {
        m_textView = std::string_view(p, static_cast<std::size_t>(end - p));
        m_textState = TextState::Viewed;
        return;
    }
    if (m_textState == TextState::None) {
        m_text.clear();
        m_textState = TextState::Copied;
    }
    copyText();
    if (plain)
        m_text.append(p, end);
    else
        appendExpanded(p, end, m_text);
}

// Turns a text still seen through the window into a copy, before the window moves or another piece joins.
void SaxTokenizer::copyText() {
    if (m_textState == TextState::Viewed) {
        m_text.assign(m_textView);
        m_textState = TextState::Copied;
    }
}

void SaxTokenizer::flushText() {
    if (m_textState == TextState::None)
        return;
    std::string_view text = m_textState == TextState::Viewed ? m_textView : std::string_view(m_text);
    m_textState = TextState::None;
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    if (!text.empty())
        m_handler.text(text);
}

SaxTokenizer::Step SaxTokenizer::fail(const char* at, std::string_view what) {
    m_errorText = std::string(what) + " at " +
                  m_window.describePosition(static_cast<std::size_t>(at - m_window.data()));
    return Step::Failed;
}

} // namespace kelvane
