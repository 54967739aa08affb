#pragma once

#include <string>

namespace kelvane {

// Writes a code point (at most U+10FFFF) as UTF-8 at out, which has room for four bytes; gives the end.
inline char* encodeUtf8(char32_t cp, char* out) noexcept {
    if (cp < 0x80) {
        *out++ = static_cast<char>(cp);
    } else if (cp < 0x800) {
        *out++ = static_cast<char>(0xC0 | (cp >> 6));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (cp >> 12));
        *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        *out++ = static_cast<char>(0xF0 | (cp >> 18));
        *out++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
    }
    return out;
}

inline void appendUtf8(std::string& out, char32_t cp) {
    char bytes[4];
    out.append(bytes, encodeUtf8(cp, bytes));
}

} // namespace kelvane
