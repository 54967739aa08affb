#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kelvane {

// The raw bytes of a document, from a file or from memory, read front to back in pieces.
class ByteSource {
public:
    // Opens the file read-only (others may go on reading and writing it); throws std::runtime_error when it
    // cannot be opened.
    static ByteSource file(const std::string& path);
    // Serves the bytes, which must outlive the source.
    static ByteSource memory(std::string_view bytes);

    ByteSource(ByteSource&& other) noexcept;
    ByteSource& operator=(ByteSource&&) = delete;
    ByteSource(const ByteSource&) = delete;
    ~ByteSource();

    // Size of the whole document in bytes.
    std::int64_t size() const { return m_size; }
    // Copies up to max bytes into `into`; 0 only at the end. Throws std::runtime_error on a read failure.
    std::size_t read(char* into, std::size_t max);
    // Hands bytes just read back to the source, to be read again before anything else.
    void unread(std::string_view bytes);
    // Counter that read() keeps at the number of document bytes taken so far.
    void setProgressCounter(std::atomic<std::int64_t>* counter) { m_progress = counter; }

private:
    ByteSource() = default;
    std::size_t readFile(char* into, std::size_t max);

    int m_fd = -1;
    std::string m_path;
    std::string_view m_memory;
    std::string m_unread;
    std::size_t m_unreadPos = 0;
    std::int64_t m_size = 0;
    std::int64_t m_taken = 0;
    std::atomic<std::int64_t>* m_progress = nullptr;
};

} // namespace kelvane
