#include "detect/SigmaValue.h"

#include <QHostAddress>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>

namespace kelvane::detect {
namespace {

const char* const kKnownModifiers[] = {
    "contains", "startswith", "endswith", "all",          "re",      "i",       "m",     "s",
    "cidr",     "windash",    "base64",   "base64offset", "utf16le", "utf16be", "utf16", "wide",
    "exists",   "fieldref",   "lt",       "lte",          "gt",      "gte",     "cased", "neq"};

// A piece of a value after its wildcards were read.
struct Piece {
    enum class Kind { Text, AnyRun, AnyOne, Dash } kind;
    std::string text;
};
using Pieces = std::vector<Piece>;

void appendText(Pieces& pieces, std::string_view text) {
    if (!pieces.empty() && pieces.back().kind == Piece::Kind::Text)
        pieces.back().text.append(text);
    else
        pieces.push_back({Piece::Kind::Text, std::string(text)});
}

// `*` and `?` are wildcards; `\*`, `\?` and `\\` the characters themselves; any other backslash is literal.
Pieces readWildcards(std::string_view value) {
    Pieces pieces;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '\\' && i + 1 < value.size() &&
            (value[i + 1] == '*' || value[i + 1] == '?' || value[i + 1] == '\\')) {
            appendText(pieces, value.substr(++i, 1));
        } else if (c == '*') {
            if (pieces.empty() || pieces.back().kind != Piece::Kind::AnyRun)
                pieces.push_back({Piece::Kind::AnyRun, {}});
        } else if (c == '?') {
            pieces.push_back({Piece::Kind::AnyOne, {}});
        } else {
            appendText(pieces, value.substr(i, 1));
        }
    }
    return pieces;
}

bool isWordChar(unsigned char c) {
    return std::isalnum(c) || c == '_' || c >= 0x80;
}

// A dash or slash that starts a word (a command-line switch) may be written with any of the dashes Windows
// accepts.
Pieces markSwitches(const Pieces& pieces) {
    Pieces out;
    for (const Piece& piece : pieces) {
        if (piece.kind != Piece::Kind::Text) {
            out.push_back(piece);
            continue;
        }
        const std::string& t = piece.text;
        std::size_t start = 0;
        for (std::size_t i = 0; i < t.size(); ++i) {
            const bool before = i > 0 ? isWordChar(t[i - 1]) : false;
            const bool after = i + 1 < t.size() && isWordChar(t[i + 1]);
            if ((t[i] == '-' || t[i] == '/') && !before && after) {
                if (i > start)
                    appendText(out, std::string_view(t).substr(start, i - start));
                out.push_back({Piece::Kind::Dash, {}});
                start = i + 1;
            }
        }
        if (start < t.size())
            appendText(out, std::string_view(t).substr(start));
    }
    return out;
}

std::string plainText(const Pieces& pieces, const char* modifier) {
    std::string text;
    for (const Piece& piece : pieces) {
        if (piece.kind != Piece::Kind::Text)
            throw RuleError(std::string("wildcards in a value with the modifier ") + modifier);
        text += piece.text;
    }
    return text;
}

std::u16string toUtf16(const std::string& text) {
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = text[i];
        char32_t cp = c;
        int extra = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
        if (c >= 0x80)
            cp = c & (0x3F >> extra);
        for (int k = 1; k <= extra && i + k < text.size(); ++k)
            cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        i += 1 + extra;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(char16_t(0xD800 + (cp >> 10)));
            out.push_back(char16_t(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(char16_t(cp));
        }
    }
    return out;
}

std::string utf16Bytes(const std::string& text, bool bigEndian, bool bom) {
    std::string out;
    auto put = [&](char16_t unit) {
        const char lo = char(unit & 0xFF), hi = char(unit >> 8);
        out.push_back(bigEndian ? hi : lo);
        out.push_back(bigEndian ? lo : hi);
    };
    if (bom)
        put(0xFEFF);
    for (char16_t unit : toUtf16(text))
        put(unit);
    return out;
}

std::string base64(std::string_view bytes) {
    static const char* const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const std::uint32_t v =
            (std::uint8_t(bytes[i]) << 16) | (std::uint8_t(bytes[i + 1]) << 8) | std::uint8_t(bytes[i + 2]);
        for (int shift : {18, 12, 6, 0})
            out.push_back(alphabet[(v >> shift) & 0x3F]);
    }
    if (i < bytes.size()) {
        std::uint32_t v = std::uint8_t(bytes[i]) << 16;
        if (i + 1 < bytes.size())
            v |= std::uint8_t(bytes[i + 1]) << 8;
        out.push_back(alphabet[(v >> 18) & 0x3F]);
        out.push_back(alphabet[(v >> 12) & 0x3F]);
        out.push_back(i + 1 < bytes.size() ? alphabet[(v >> 6) & 0x3F] : '=');
        out.push_back('=');
    }
    return out;
}

// The three encodings of a text that stands 0, 1 or 2 bytes into a base64 block, without the characters
// that depend on its neighbours.
std::vector<std::string> base64Offsets(const std::string& bytes) {
    static const int starts[3] = {0, 2, 3};
    static const int ends[3] = {0, 3, 2}; // characters cut off the end, by (length + shift) % 3
    std::vector<std::string> out;
    for (int shift = 0; shift < 3; ++shift) {
        const std::string encoded = base64(std::string(shift, ' ') + bytes);
        const int cut = ends[(bytes.size() + shift) % 3];
        const int length = static_cast<int>(encoded.size()) - starts[shift] - cut;
        if (length > 0)
            out.push_back(encoded.substr(starts[shift], length));
    }
    return out;
}

std::string render(const Pieces& pieces) {
    std::string out;
    for (const Piece& piece : pieces) {
        switch (piece.kind) {
        case Piece::Kind::Text:
            out += escapeRegex(piece.text);
            break;
        case Piece::Kind::AnyRun:
            out += ".*";
            break;
        case Piece::Kind::AnyOne:
            out += ".";
            break;
        case Piece::Kind::Dash:
            out += "(?:-|/|\xE2\x80\x93|\xE2\x80\x94|\xE2\x80\x95)";
            break;
        }
    }
    return out;
}

// Anchors a value's pattern at both ends of the field, except where it is open (wildcard or modifier).
std::string anchored(Pieces pieces, bool openStart, bool openEnd) {
    while (!pieces.empty() && pieces.front().kind == Piece::Kind::AnyRun) {
        pieces.erase(pieces.begin());
        openStart = true;
    }
    while (!pieces.empty() && pieces.back().kind == Piece::Kind::AnyRun) {
        pieces.pop_back();
        openEnd = true;
    }
    return (openStart ? "" : "\\A") + render(pieces) + (openEnd ? "" : "\\z");
}

double readNumber(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw RuleError("'" + text + "' is not a number");
    return number;
}

} // namespace

std::string escapeRegex(std::string_view text) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size() + 8);
    for (const char ch : text) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (std::isalnum(c) || c >= 0x80 || c == '_') {
            out.push_back(ch);
        } else if (c > 0x20 && c < 0x7F) {
            out.push_back('\\');
            out.push_back(ch);
        } else {
            out += "\\x";
            out.push_back(hex[c >> 4]);
            out.push_back(hex[c & 15]);
        }
    }
    return out;
}

std::string parseFieldKey(std::string_view key, FieldModifiers& modifiers) {
    modifiers = {};
    const std::size_t bar = key.find('|');
    std::string field(key.substr(0, bar));
    std::size_t at = bar;
    while (at != std::string_view::npos) {
        const std::size_t next = key.find('|', at + 1);
        const std::string name(key.substr(at + 1, next == std::string_view::npos ? next : next - at - 1));
        if (std::find(std::begin(kKnownModifiers), std::end(kKnownModifiers), name) ==
            std::end(kKnownModifiers))
            throw RuleError("unsupported modifier '" + name + "'");
        if (name == "all")
            modifiers.all = true;
        else if (name == "cased")
            modifiers.cased = true;
        else if (name == "neq")
            modifiers.negate = true;
        else
            modifiers.chain.push_back(name);
        at = next;
    }
    return field;
}

std::vector<ValueTest> expandValue(const std::optional<std::string>& value, const FieldModifiers& modifiers) {
    const auto& chain = modifiers.chain;
    auto has = [&](const char* name) { return std::find(chain.begin(), chain.end(), name) != chain.end(); };
    ValueTest base;
    base.caseless = !modifiers.cased;

    if (!value) {
        if (!chain.empty())
            throw RuleError("a null value with modifiers");
        base.kind = ValueTest::Kind::Null;
        return {base};
    }
    const std::string& text = *value;
    const bool contains = has("contains"), starts = has("startswith"), ends = has("endswith");

    if (has("exists")) {
        if (text != "true" && text != "false")
            throw RuleError("exists takes true or false");
        base.kind = ValueTest::Kind::Exists;
        base.exists = text == "true";
        return {base};
    }
    if (has("fieldref")) {
        base.kind = ValueTest::Kind::FieldRef;
        base.otherField = text;
        base.place = contains ? ValueTest::Place::Anywhere
                     : starts ? ValueTest::Place::Start
                     : ends   ? ValueTest::Place::End
                              : ValueTest::Place::Equal;
        return {base};
    }
    if (has("cidr")) {
        if (QHostAddress::parseSubnet(QString::fromStdString(text)).second < 0)
            throw RuleError("'" + text + "' is not a network");
        base.kind = ValueTest::Kind::Cidr;
        base.network = text;
        return {base};
    }
    for (const auto& [name, compare] :
         {std::pair{"lt", ValueTest::Compare::Less}, std::pair{"lte", ValueTest::Compare::LessOrEqual},
          std::pair{"gt", ValueTest::Compare::Greater},
          std::pair{"gte", ValueTest::Compare::GreaterOrEqual}}) {
        if (has(name)) {
            base.kind = ValueTest::Kind::Compare;
            base.compare = compare;
            base.number = readNumber(text);
            return {base};
        }
    }
    if (has("re")) {
        base.regex = text;
        base.written = true;
        base.caseless = has("i");
        base.multiLine = has("m");
        base.dotAll = has("s");
        return {base};
    }
    if (has("i") || has("m") || has("s"))
        throw RuleError("the flags i, m and s belong to re");

    // Text values: wildcards first, then the modifiers in the order written.
    std::vector<Pieces> alternatives{readWildcards(text)};
    for (const std::string& name : chain) {
        if (name == "windash") {
            for (Pieces& pieces : alternatives)
                pieces = markSwitches(pieces);
        } else if (name == "utf16le" || name == "wide" || name == "utf16be" || name == "utf16") {
            for (Pieces& pieces : alternatives)
                pieces = {{Piece::Kind::Text,
                           utf16Bytes(plainText(pieces, name.c_str()), name == "utf16be", name == "utf16")}};
        } else if (name == "base64") {
            for (Pieces& pieces : alternatives)
                pieces = {{Piece::Kind::Text, base64(plainText(pieces, "base64"))}};
        } else if (name == "base64offset") {
            std::vector<Pieces> expanded;
            for (const Pieces& pieces : alternatives)
                for (std::string& encoded : base64Offsets(plainText(pieces, "base64offset")))
                    expanded.push_back({{Piece::Kind::Text, std::move(encoded)}});
            alternatives = std::move(expanded);
        }
    }
    std::vector<ValueTest> tests;
    for (const Pieces& pieces : alternatives) {
        ValueTest test = base;
        test.regex = anchored(pieces, contains || ends, contains || starts);
        tests.push_back(std::move(test));
    }
    return tests;
}

} // namespace kelvane::detect
