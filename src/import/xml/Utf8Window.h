#pragma once

#include "import/xml/TextDecoder.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kelvane {

class ByteSource;

// A moving window of UTF-8 text over a document in any supported encoding. The reader looks at what is in the
// window, and when it needs more it drops what it has finished with and the window takes the next chunk, so
// memory stays at about one chunk plus the one unfinished piece, whatever the size of the document.
// UTF-8 input is read straight into the window and only checked; other encodings are decoded into it.
class Utf8Window {
public:
    Utf8Window(ByteSource& source, TextEncoding encoding, std::size_t chunkSize, std::int64_t startOffset);

    const char* data() const { return m_buffer.get(); }
    std::size_t size() const { return m_size; }

    // Drops the first `consumed` bytes and decodes the next chunk behind the rest. Returns false, with
    // nothing added, once the input is used up. Pointers into the window are invalid afterwards.
    bool advance(std::size_t consumed);

    // "line L, column C" of a place in the window, with the byte offset in the file for UTF-8 input.
    std::string describePosition(std::size_t at) const;

private:
    void reserve(std::size_t capacity);
    void checkUtf8(bool final);
    void countLines(std::size_t count);

    ByteSource& m_source;
    TextDecoder m_decoder;
    std::size_t m_chunkSize;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_capacity = 0;
    std::size_t m_size = 0; // decoded bytes
    std::size_t m_end = 0;  // UTF-8 input: end of the bytes read, a cut-off character may follow m_size
    std::unique_ptr<char[]> m_raw; // other encodings: the bytes read and not yet decoded
    std::size_t m_rawSize = 0;
    std::string m_scratch;
    bool m_finished = false;
    // Where the window starts in the text, for error positions.
    std::int64_t m_offset = 0;
    std::int64_t m_line = 1;
    std::int64_t m_lineStart = 0;
};

} // namespace kelvane
