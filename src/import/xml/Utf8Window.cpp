#include "import/xml/Utf8Window.h"

#include "import/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace kelvane {

Utf8Window::Utf8Window(ByteSource& source, TextEncoding encoding, std::size_t chunkSize,
                       std::int64_t startOffset)
    : m_source(source), m_decoder(encoding), m_chunkSize(std::max<std::size_t>(chunkSize, 1)),
      m_offset(startOffset), m_lineStart(startOffset) {
    if (encoding != TextEncoding::Utf8)
        m_raw = std::make_unique_for_overwrite<char[]>(m_chunkSize + 4);
}

void Utf8Window::reserve(std::size_t capacity) {
    if (capacity <= m_capacity)
        return;
    const std::size_t grown = std::max(capacity, m_capacity + m_capacity / 2);
    auto buffer = std::make_unique_for_overwrite<char[]>(grown);
    if (m_end > 0)
        std::memcpy(buffer.get(), m_buffer.get(), m_end);
    m_buffer = std::move(buffer);
    m_capacity = grown;
}

void Utf8Window::countLines(std::size_t count) {
    const char* p = m_buffer.get();
    const char* const end = p + count;
    while (const void* found = p < end ? std::memchr(p, '\n', static_cast<std::size_t>(end - p)) : nullptr) {
        p = static_cast<const char*>(found) + 1;
        ++m_line;
        m_lineStart = m_offset + (p - m_buffer.get());
    }
}

bool Utf8Window::advance(std::size_t consumed) {
    if (consumed > 0) {
        countLines(consumed);
        std::memmove(m_buffer.get(), m_buffer.get() + consumed, m_end - consumed);
        m_size -= consumed;
        m_end -= consumed;
        m_offset += static_cast<std::int64_t>(consumed);
    }
    if (m_finished)
        return false;
    reserve(m_end + m_chunkSize * TextDecoder::MaxGrowth + 16);
    if (m_decoder.encoding() == TextEncoding::Utf8) {
        const std::size_t n = m_source.read(m_buffer.get() + m_end, m_chunkSize);
        if (n == 0) {
            m_finished = true;
            if (m_end == m_size)
                return false;
            checkUtf8(true); // a character cut off by the end of the file
            return true;
        }
        m_end += n;
        checkUtf8(false);
        return true;
    }
    const std::size_t n = m_source.read(m_raw.get() + m_rawSize, m_chunkSize);
    if (n == 0) {
        m_finished = true;
        if (m_rawSize == 0)
            return false;
    }
    const std::size_t total = m_rawSize + n;
    std::size_t written = 0;
    const std::size_t used =
        m_decoder.decode(m_raw.get(), total, m_finished, m_buffer.get() + m_size, written);
    m_size += written;
    m_end = m_size;
    std::memmove(m_raw.get(), m_raw.get() + used, total - used);
    m_rawSize = total - used;
    return true;
}

// Moves m_size over the well-formed part of what was read. Only for broken bytes, or a character cut at the
// end of the chunk, does the rest go through the decoder, which replaces the broken ones and holds back the
// cut one.
void Utf8Window::checkUtf8(bool final) {
    m_size += TextDecoder::validUtf8Prefix(m_buffer.get() + m_size, m_end - m_size);
    if (m_size == m_end)
        return;
    m_scratch.assign(m_buffer.get() + m_size, m_end - m_size);
    reserve(m_size + m_scratch.size() * TextDecoder::MaxGrowth + 16);
    std::size_t written = 0;
    const std::size_t used =
        m_decoder.decode(m_scratch.data(), m_scratch.size(), final, m_buffer.get() + m_size, written);
    m_size += written;
    std::memcpy(m_buffer.get() + m_size, m_scratch.data() + used, m_scratch.size() - used);
    m_end = m_size + (m_scratch.size() - used);
}

std::string Utf8Window::describePosition(std::size_t at) const {
    std::int64_t line = m_line;
    std::int64_t lineStart = m_lineStart;
    for (std::size_t i = 0; i < at; ++i) {
        if (m_buffer[i] == '\n') {
            ++line;
            lineStart = m_offset + static_cast<std::int64_t>(i) + 1;
        }
    }
    const std::int64_t offset = m_offset + static_cast<std::int64_t>(at);
    std::string text = "line " + std::to_string(line) + ", column " + std::to_string(offset - lineStart + 1);
    if (m_decoder.encoding() == TextEncoding::Utf8)
        text += " (byte " + std::to_string(offset) + ")";
    return text;
}

} // namespace kelvane
