#include "import/ValueConversions.h"

#include <cstring>
#include <limits>

namespace kelvane {

ConversionError::ConversionError(std::string_view text)
    : std::runtime_error("'" + std::string(text) + "' is not a valid integer value") {}

bool clearTextInPlace(std::string& text) {
    // Most values have neither a quote nor a CR: two vectorised scans say so quickly.
    if (!std::memchr(text.data(), '"', text.size()) && !std::memchr(text.data(), '\r', text.size()))
        return false;
    std::string out;
    out.reserve(text.size() + 8);
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            out += "\\n";
            ++i;
        } else if (c == '"') {
            out += "\\\"";
        } else {
            out += c;
        }
    }
    text.swap(out);
    return true;
}

std::string ClearText(std::string_view text) {
    std::string out(text);
    clearTextInPlace(out);
    return out;
}

std::string_view trimmed(std::string_view text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ')
        ++begin;
    while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ')
        --end;
    return text.substr(begin, end - begin);
}

namespace {

// Digits of a number without sign; nothing on overflow or a stray character.
std::optional<std::uint64_t> parseDigits(std::string_view text) {
    bool hex = false;
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        hex = true;
        text.remove_prefix(2);
    } else if (!text.empty() && (text[0] == '$' || text[0] == 'x' || text[0] == 'X')) {
        hex = true;
        text.remove_prefix(1);
    }
    if (text.empty())
        return std::nullopt;
    std::uint64_t value = 0;
    const std::uint64_t base = hex ? 16 : 10;
    for (const char c : text) {
        unsigned digit;
        if (c >= '0' && c <= '9')
            digit = static_cast<unsigned>(c - '0');
        else if (hex && c >= 'a' && c <= 'f')
            digit = static_cast<unsigned>(c - 'a' + 10);
        else if (hex && c >= 'A' && c <= 'F')
            digit = static_cast<unsigned>(c - 'A' + 10);
        else
            return std::nullopt;
        if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / base)
            return std::nullopt;
        value = value * base + digit;
    }
    return value;
}

} // namespace

std::optional<std::uint64_t> parseUnsigned64(std::string_view text) {
    text = trimmed(text);
    if (!text.empty() && text[0] == '+')
        text.remove_prefix(1);
    return parseDigits(text);
}

std::optional<std::int64_t> parseSigned64(std::string_view text) {
    text = trimmed(text);
    bool negative = false;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    const auto digits = parseDigits(text);
    if (!digits)
        return std::nullopt;
    const bool hex = !text.empty() && (text[0] == '$' || text[0] == 'x' || text[0] == 'X' ||
                                       (text.size() > 1 && (text[1] == 'x' || text[1] == 'X')));
    // Hexadecimal may use the full 64 bits as a two's complement pattern; decimal must fit.
    if (!hex && *digits > (negative ? std::uint64_t(1) << 63
                                    : std::uint64_t(std::numeric_limits<std::int64_t>::max())))
        return std::nullopt;
    // Negated while unsigned: the smallest 64-bit number has no positive counterpart to negate.
    return static_cast<std::int64_t>(negative ? 0 - *digits : *digits);
}

std::int32_t StrToInt(std::string_view text) {
    const auto value = parseSigned64(text);
    const bool hex = trimmed(text).find_first_of("$xX") != std::string_view::npos;
    if (!value)
        throw ConversionError(text);
    if (hex) {
        if (static_cast<std::uint64_t>(*value) > 0xFFFFFFFFull && *value >= 0)
            throw ConversionError(text);
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(*value));
    }
    if (*value < std::numeric_limits<std::int32_t>::min() ||
        *value > std::numeric_limits<std::int32_t>::max())
        throw ConversionError(text);
    return static_cast<std::int32_t>(*value);
}

std::int32_t toInteger32(std::string_view text) {
    const auto value = parseUnsigned64(text);
    if (!value)
        throw ConversionError(text);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(*value));
}

std::int64_t toInteger64(std::string_view text) {
    const auto value = parseSigned64(text);
    if (!value)
        throw ConversionError(text);
    return *value;
}

std::string_view baseName(std::string_view path) {
    const size_t pos = path.find_last_of("\\:");
    return pos == std::string_view::npos ? path : path.substr(pos + 1);
}

namespace {

bool readNumber(std::string_view text, size_t pos, size_t count, int& out) {
    if (pos + count > text.size())
        return false;
    int value = 0;
    for (size_t i = pos; i < pos + count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        value = value * 10 + (text[i] - '0');
    }
    out = value;
    return true;
}

} // namespace

std::optional<DateTime> parseUtcTime(std::string_view text) {
    // "yyyy-mm-dd hh:nn:ss" and a fraction: the date and time by the format, the milliseconds as the
    // third part of the text cut at full stops and blanks, read as a plain number.
    DateTime dt;
    if (text.size() < 19 || text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' ||
        text[16] != ':')
        return std::nullopt;
    if (!readNumber(text, 0, 4, dt.year) || !readNumber(text, 5, 2, dt.month) ||
        !readNumber(text, 8, 2, dt.day) || !readNumber(text, 11, 2, dt.hour) ||
        !readNumber(text, 14, 2, dt.minute) || !readNumber(text, 17, 2, dt.second))
        return std::nullopt;
    // The third part: parts are separated by every full stop and blank, empty parts included.
    int part = 1;
    size_t start = 0;
    std::string_view third;
    bool found = false;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '.' || text[i] == ' ') {
            if (part == 3) {
                third = text.substr(start, i - start);
                found = true;
                break;
            }
            ++part;
            start = i + 1;
        }
    }
    if (!found)
        return std::nullopt;
    const auto ms = parseSigned64(third);
    if (!ms || third.empty() || *ms < 0 || *ms > 999)
        return std::nullopt;
    dt.msec = static_cast<int>(*ms);
    if (!dt.isValid())
        return std::nullopt;
    return dt;
}

HashParts splitHashes(std::string_view text) {
    HashParts parts;
    if (text.empty())
        return parts;
    auto take = [](std::string_view part, std::string_view prefix, std::string& out) {
        // Every occurrence of the prefix goes, then the blanks around.
        std::string value;
        size_t pos = 0;
        while (pos < part.size()) {
            const size_t hit = part.find(prefix, pos);
            if (hit == std::string_view::npos) {
                value.append(part.substr(pos));
                break;
            }
            value.append(part.substr(pos, hit - pos));
            pos = hit + prefix.size();
        }
        out.assign(trimmed(value));
    };
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string_view part =
            text.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start);
        ++parts.partCount;
        if (part.starts_with("SHA1=")) {
            take(part, "SHA1=", parts.sha1);
            parts.hasSha1 = true;
        } else if (part.starts_with("MD5=")) {
            take(part, "MD5=", parts.md5);
            parts.hasMd5 = true;
        } else if (part.starts_with("SHA256=")) {
            take(part, "SHA256=", parts.sha256);
            parts.hasSha256 = true;
        }
        if (comma == std::string_view::npos)
            break;
        start = comma + 1;
    }
    return parts;
}

} // namespace kelvane
