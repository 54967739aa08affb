#include "import/xml/TextDecoder.h"

#include "import/Utf8.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

namespace kelvane {

namespace {

constexpr char32_t Replacement = 0xFFFD;

inline void putUtf8(char*& out, char32_t cp) {
    out = encodeUtf8(cp, out);
}

// Checks the multi-byte sequence at p: its length when complete and well-formed, else minus the length of its
// broken start (at least 1), with truncated set when that start simply runs into the end.
int checkSequence(const unsigned char* p, const unsigned char* end, bool& truncated) {
    truncated = false;
    const unsigned lead = p[0];
    int length = 0;
    unsigned low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0; // no overlong forms
        else if (lead == 0xED)
            high = 0x9F; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F; // nothing above U+10FFFF
    } else {
        return -1;
    }
    for (int i = 1; i < length; ++i) {
        if (p + i >= end) {
            truncated = true;
            return -i;
        }
        if (p[i] < low || p[i] > high)
            return -i;
        low = 0x80;
        high = 0xBF;
    }
    return length;
}

std::size_t decodeUtf8(const unsigned char* in, std::size_t size, bool final, char*& out) {
    std::size_t i = 0;
    while (i < size) {
        const std::size_t valid =
            TextDecoder::validUtf8Prefix(reinterpret_cast<const char*>(in + i), size - i);
        std::memcpy(out, in + i, valid);
        out += valid;
        i += valid;
        if (i == size)
            break;
        bool truncated = false;
        const int broken = -checkSequence(in + i, in + size, truncated);
        if (truncated && !final)
            break;
        putUtf8(out, Replacement);
        i += static_cast<std::size_t>(broken);
    }
    return i;
}

std::size_t decodeUtf16(const unsigned char* in, std::size_t size, bool bigEndian, bool final, char*& out) {
    const auto unitAt = [&](std::size_t i) -> char32_t {
        return bigEndian ? (char32_t(in[i]) << 8 | in[i + 1]) : (char32_t(in[i + 1]) << 8 | in[i]);
    };
    // Four ASCII code units at a time: the zero high bytes and the clear top bits of the low bytes.
    const std::uint64_t asciiMask = bigEndian ? 0x80FF80FF80FF80FFull : 0xFF80FF80FF80FF80ull;
    const std::size_t lowByte = bigEndian ? 1 : 0;
    std::size_t i = 0;
    while (i + 1 < size) {
        if constexpr (std::endian::native == std::endian::little) {
            while (i + 8 <= size) {
                std::uint64_t word;
                std::memcpy(&word, in + i, 8);
                if (word & asciiMask)
                    break;
                out[0] = static_cast<char>(in[i + lowByte]);
                out[1] = static_cast<char>(in[i + 2 + lowByte]);
                out[2] = static_cast<char>(in[i + 4 + lowByte]);
                out[3] = static_cast<char>(in[i + 6 + lowByte]);
                out += 4;
                i += 8;
            }
            if (i + 1 >= size)
                break;
        }
        const char32_t unit = unitAt(i);
        if (unit < 0xD800 || unit > 0xDFFF) {
            putUtf8(out, unit);
            i += 2;
        } else if (unit <= 0xDBFF) {
            if (i + 3 >= size) {
                if (!final)
                    break; // the low surrogate is in the next piece
                putUtf8(out, Replacement);
                i += 2;
                continue;
            }
            const char32_t next = unitAt(i + 2);
            if (next >= 0xDC00 && next <= 0xDFFF) {
                putUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
                i += 4;
            } else {
                putUtf8(out, Replacement);
                i += 2;
            }
        } else {
            putUtf8(out, Replacement); // a low surrogate on its own
            i += 2;
        }
    }
    if (final && i < size) { // half a code unit, or a high surrogate cut off by the end
        putUtf8(out, Replacement);
        i = size;
    }
    return i;
}

// Windows-1252 in 0x80..0x9F; the five holes become U+FFFD.
constexpr char16_t Windows1252High[32] = {0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                          0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
                                          0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                          0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

void decodeSingleByte(const unsigned char* in, std::size_t size, bool windows1252, char*& out) {
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned char c = in[i];
        if (windows1252 && c >= 0x80 && c <= 0x9F)
            putUtf8(out, Windows1252High[c - 0x80]);
        else
            putUtf8(out, c);
    }
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    return result;
}

// The value of encoding="..." in an XML declaration at the start of head, or empty.
std::string declaredEncoding(std::string_view head) {
    if (!head.starts_with("<?xml"))
        return {};
    head = head.substr(0, head.find("?>"));
    const std::size_t key = head.find("encoding");
    if (key == std::string_view::npos)
        return {};
    std::size_t i = key + 8;
    const auto skipSpace = [&] {
        while (i < head.size() && static_cast<unsigned char>(head[i]) <= 0x20)
            ++i;
    };
    skipSpace();
    if (i >= head.size() || head[i] != '=')
        return {};
    ++i;
    skipSpace();
    if (i >= head.size() || (head[i] != '"' && head[i] != '\''))
        return {};
    const std::size_t close = head.find(head[i], i + 1);
    if (close == std::string_view::npos)
        return {};
    return lowered(head.substr(i + 1, close - i - 1));
}

} // namespace

EncodingGuess TextDecoder::detect(std::string_view head) {
    const auto byte = [&](std::size_t i) {
        return i < head.size() ? static_cast<unsigned char>(head[i]) : -1;
    };
    if (byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF)
        return {TextEncoding::Utf8, 3};
    if (byte(0) == 0xFF && byte(1) == 0xFE)
        return {TextEncoding::Utf16LE, 2};
    if (byte(0) == 0xFE && byte(1) == 0xFF)
        return {TextEncoding::Utf16BE, 2};
    // Without a byte order mark, UTF-16 shows as zero bytes beside ASCII markup ("<?" or "<E").
    if (head.size() >= 4) {
        if (byte(0) > 0 && byte(1) == 0 && byte(2) > 0 && byte(3) == 0)
            return {TextEncoding::Utf16LE, 0};
        if (byte(0) == 0 && byte(1) > 0 && byte(2) == 0 && byte(3) > 0)
            return {TextEncoding::Utf16BE, 0};
    }
    const std::string name = declaredEncoding(head);
    if (name == "iso-8859-1" || name == "iso8859-1" || name == "iso_8859-1" || name == "latin1" ||
        name == "latin-1" || name == "l1")
        return {TextEncoding::Latin1, 0};
    if (name == "windows-1252" || name == "cp1252")
        return {TextEncoding::Windows1252, 0};
    return {TextEncoding::Utf8, 0};
}

std::size_t TextDecoder::validUtf8Prefix(const char* bytes, std::size_t size) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(bytes);
    const auto* const end = begin + size;
    const auto* p = begin;
    while (p < end) {
        while (end - p >= 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            if (word & 0x8080808080808080ull)
                break;
            p += 8;
        }
        if (p == end)
            break;
        if (*p < 0x80) {
            ++p;
            continue;
        }
        bool truncated = false;
        const int length = checkSequence(p, end, truncated);
        if (length <= 0)
            break;
        p += length;
    }
    return static_cast<std::size_t>(p - begin);
}

std::size_t TextDecoder::decode(const char* bytes, std::size_t size, bool final, char* out,
                                std::size_t& written) const {
    const auto* in = reinterpret_cast<const unsigned char*>(bytes);
    char* cursor = out;
    std::size_t used = size;
    switch (m_encoding) {
    case TextEncoding::Utf8:
        used = decodeUtf8(in, size, final, cursor);
        break;
    case TextEncoding::Utf16LE:
    case TextEncoding::Utf16BE:
        used = decodeUtf16(in, size, m_encoding == TextEncoding::Utf16BE, final, cursor);
        break;
    case TextEncoding::Latin1:
    case TextEncoding::Windows1252:
        decodeSingleByte(in, size, m_encoding == TextEncoding::Windows1252, cursor);
        break;
    }
    written = static_cast<std::size_t>(cursor - out);
    return used;
}

} // namespace kelvane
