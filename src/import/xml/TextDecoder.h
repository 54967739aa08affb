#pragma once

#include <cstddef>
#include <string_view>

namespace kelvane {

enum class TextEncoding { Utf8, Utf16LE, Utf16BE, Latin1, Windows1252 };

struct EncodingGuess {
    TextEncoding encoding = TextEncoding::Utf8;
    std::size_t bomLength = 0;
};

// Turns the bytes of a document into UTF-8, one piece at a time. Broken input never stops it: each malformed
// sequence (a stray UTF-8 byte, a lone UTF-16 surrogate, an odd last byte) becomes U+FFFD, so the reader's
// callers always get valid UTF-8 and a damaged log still imports.
class TextDecoder {
public:
    // Most output bytes that decode() writes per input byte.
    static constexpr std::size_t MaxGrowth = 3;

    // Tells the encoding from the first bytes of a document (byte order mark, the zero bytes of UTF-16, or
    // the XML declaration's encoding="..."); UTF-8 when nothing says otherwise or the name is unknown.
    static EncodingGuess detect(std::string_view head);
    // Length of the longest prefix that is complete, well-formed UTF-8.
    static std::size_t validUtf8Prefix(const char* bytes, std::size_t size);

    explicit TextDecoder(TextEncoding encoding) : m_encoding(encoding) {}
    TextEncoding encoding() const { return m_encoding; }

    // Writes the UTF-8 form of bytes to out, which has room for size * MaxGrowth bytes, and sets written.
    // Returns how many input bytes were used: all of them when final, else it may stop short before a
    // character cut off by the end of the piece, which must then be passed again with the bytes that follow.
    std::size_t decode(const char* bytes, std::size_t size, bool final, char* out,
                       std::size_t& written) const;

private:
    TextEncoding m_encoding;
};

} // namespace kelvane
