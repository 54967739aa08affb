#include "import/ByteSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvane {

ByteSource ByteSource::file(const std::string& path) {
    ByteSource source;
    source.m_path = path;
    source.m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (source.m_fd < 0)
        throw std::runtime_error("Cannot open file \"" + path + "\". " + std::strerror(errno));
    struct stat info {};
    if (::fstat(source.m_fd, &info) != 0)
        throw std::runtime_error("Cannot read file \"" + path + "\". " + std::strerror(errno));
    if (S_ISDIR(info.st_mode))
        throw std::runtime_error("Cannot open file \"" + path + "\". " + std::strerror(EISDIR));
    source.m_size = info.st_size;
    return source;
}

ByteSource ByteSource::memory(std::string_view bytes) {
    ByteSource source;
    source.m_memory = bytes;
    source.m_size = static_cast<std::int64_t>(bytes.size());
    return source;
}

ByteSource::ByteSource(ByteSource&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_path(std::move(other.m_path)), m_memory(other.m_memory),
      m_unread(std::move(other.m_unread)), m_unreadPos(other.m_unreadPos), m_size(other.m_size),
      m_taken(other.m_taken), m_progress(other.m_progress) {}

ByteSource::~ByteSource() {
    if (m_fd >= 0)
        ::close(m_fd);
}

std::size_t ByteSource::read(char* into, std::size_t max) {
    if (m_unreadPos < m_unread.size()) {
        const std::size_t n = std::min(max, m_unread.size() - m_unreadPos);
        std::memcpy(into, m_unread.data() + m_unreadPos, n);
        m_unreadPos += n;
        return n;
    }
    std::size_t n = 0;
    if (m_fd >= 0) {
        n = readFile(into, max);
    } else {
        n = std::min(max, m_memory.size() - static_cast<std::size_t>(m_taken));
        std::memcpy(into, m_memory.data() + m_taken, n);
    }
    m_taken += static_cast<std::int64_t>(n);
    if (m_progress)
        m_progress->store(m_taken, std::memory_order_relaxed);
    return n;
}

std::size_t ByteSource::readFile(char* into, std::size_t max) {
    for (;;) {
        const ssize_t n = ::read(m_fd, into, max);
        if (n >= 0)
            return static_cast<std::size_t>(n);
        if (errno != EINTR)
            throw std::runtime_error("Cannot read file \"" + m_path + "\". " + std::strerror(errno));
    }
}

void ByteSource::unread(std::string_view bytes) {
    m_unread.assign(bytes);
    m_unreadPos = 0;
}

} // namespace kelvane
