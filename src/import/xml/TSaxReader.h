#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kelvane {

class ByteSource;

struct SaxAttribute {
    std::string_view name;
    std::string_view value; // references expanded, UTF-8
};

// Receives what TSaxReader reads, in document order. The views are valid during the call only.
class SaxHandler {
public:
    virtual ~SaxHandler() = default;
    // Attributes in document order. A self-closing element gives a start and an end.
    virtual void startElement(std::string_view name, std::span<const SaxAttribute> attributes) = 0;
    // All character data between two tags (CDATA included, comments and processing instructions left out),
    // references expanded, trimmed of characters up to U+0020, in one call just before the next tag's; never
    // empty. Line ends stay as they are in the file: CR LF comes as CR LF.
    virtual void text(std::string_view text) = 0;
    // With the end tag's own name, which need not match the start tag's.
    virtual void endElement(std::string_view name) = 0;
    // At the end of a parse that neither failed nor was stopped.
    virtual void endDocument() {}
};

// A streaming, lenient XML reader for Sysmon logs. It reads in chunks, so memory stays flat whatever the size
// of the file, and keeps line ends exactly as written. The encoding comes from the file: a byte order mark
// (UTF-8, UTF-16LE, UTF-16BE), the zero bytes of UTF-16 without one, or the XML declaration (UTF-8 and ASCII,
// ISO-8859-1, Windows-1252); handler strings are always UTF-8, with U+FFFD for each malformed byte sequence.
//
// Lenient: several top-level elements or none, text outside them, end tags that do not match, elements still
// open at the end of the file, unknown references (kept as written) and a '<' inside a tag are all read
// through. Comments, processing instructions, the XML declaration and a DOCTYPE are dropped.
//
// What stops a parse (false, with errorText()): a '<' or "</" not followed by a name, and a file that ends
// inside a tag, comment, CDATA section or processing instruction. Everything complete before the error has
// been delivered; text after the last tag of a file is never delivered.
class TSaxReader {
public:
    static constexpr std::size_t DefaultChunkSize = std::size_t{1} << 20;

    explicit TSaxReader(std::size_t chunkSize = DefaultChunkSize);
    ~TSaxReader();
    TSaxReader(const TSaxReader&) = delete;
    TSaxReader& operator=(const TSaxReader&) = delete;

    // Parses the file at path (UTF-8). Throws std::runtime_error when the file cannot be opened or read.
    // Returns false on a syntax error that lenient reading cannot pass over, true otherwise.
    // Exceptions thrown by the handler pass through unchanged.
    bool parseFile(const std::string& path, SaxHandler& handler);
    // The same for bytes in memory.
    bool parseBuffer(std::string_view bytes, SaxHandler& handler);
    // What stopped the last parse, and where: "line L, column C" (columns count UTF-8 bytes), and for UTF-8
    // input the byte offset in the file. Empty after a parse that did not fail.
    const std::string& errorText() const { return m_errorText; }

    std::size_t chunkSize() const { return m_chunkSize; }
    void setChunkSize(std::size_t bytes) { m_chunkSize = bytes > 0 ? bytes : 1; }

    // Progress of the running parse, readable from any thread: bytes of the input taken so far, and its size.
    std::int64_t bytesRead() const { return m_bytesRead.load(std::memory_order_relaxed); }
    std::int64_t totalBytes() const { return m_totalBytes.load(std::memory_order_relaxed); }

    // Thread-safe. The running parse returns true soon after, at the next tag or chunk, delivering nothing
    // more (no endDocument). A request made before a parse starts stops that parse at once; the request is
    // cleared when a parse returns.
    void requestStop() { m_stopRequested.store(true, std::memory_order_relaxed); }

private:
    bool parse(ByteSource& source, SaxHandler& handler);

    std::size_t m_chunkSize;
    std::string m_errorText;
    std::atomic<std::int64_t> m_bytesRead{0};
    std::atomic<std::int64_t> m_totalBytes{0};
    std::atomic<bool> m_stopRequested{false};
};

} // namespace kelvane
