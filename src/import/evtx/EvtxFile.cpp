#include "import/evtx/EvtxFile.h"

#include "import/evtx/EvtxChunk.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvane::evtx {
namespace {

std::uint32_t le32(const std::uint8_t* p) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

} // namespace

EvtxFile::EvtxFile(const std::string& path) : m_path(path) {
    m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0)
        throw std::runtime_error("Cannot open file \"" + path + "\". " + std::strerror(errno));
    struct stat info {};
    if (::fstat(m_fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        const int error = S_ISDIR(info.st_mode) ? EISDIR : errno;
        ::close(m_fd);
        throw std::runtime_error("Cannot open file \"" + path + "\". " + std::strerror(error));
    }
    m_size = info.st_size;

    std::uint8_t header[128] = {};
    if (readAt(0, header, sizeof header) == sizeof header &&
        std::memcmp(header, kFileSignature, sizeof kFileSignature) == 0) {
        const std::uint32_t flags = le32(header + 0x78);
        const std::uint32_t stored = le32(header + 0x7C);
        // Flags are tested bit by bit: files with garbage in the high bits exist.
        m_checksums = !(flags & 0x4);
        m_headerValid = !m_checksums || crc32(header, 0x78) == stored;
    }
    try {
        findChunks();
    } catch (...) {
        ::close(m_fd);
        throw;
    }
}

EvtxFile::~EvtxFile() {
    if (m_fd >= 0)
        ::close(m_fd);
}

std::size_t EvtxFile::readAt(std::int64_t offset, std::uint8_t* into, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pread(m_fd, into + done, size - done, offset + static_cast<std::int64_t>(done));
        if (n == 0)
            break;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            throw std::runtime_error("Cannot read file \"" + m_path + "\". " + std::strerror(errno));
        }
        done += static_cast<std::size_t>(n);
    }
    return done;
}

bool EvtxFile::probe(std::int64_t offset, Chunk& chunk, bool requireChecksum) const {
    std::uint8_t head[kChunkHeaderSize + 16] = {};
    if (readAt(offset, head, sizeof head) < kChunkHeaderSize)
        return false;
    const ChunkHeader header = ChunkHeader::read(head, m_checksums);
    if (requireChecksum && !(header.signature && header.checksumOk))
        return false;
    if (!header.signature) {
        // A damaged signature does not make a chunk: its structure does. Unused slots are all zero.
        if (std::all_of(head, head + kChunkHeaderSize, [](std::uint8_t b) { return b == 0; }))
            return false;
        std::vector<std::uint8_t> slot(kChunkSize);
        const std::size_t got = readAt(offset, slot.data(), slot.size());
        if (!looksLikeChunk(slot.data(), static_cast<std::uint32_t>(got)))
            return false;
    }
    chunk.offset = offset;
    chunk.size = static_cast<std::uint32_t>(std::min<std::int64_t>(kChunkSize, m_size - offset));
    // Chunks are put in the order of their records; a header that cannot be trusted yields to the first
    // record.
    if (header.sane && header.checksumOk)
        chunk.firstRecordId = header.firstRecordId;
    else if (le32(head + kChunkHeaderSize) == 0x00002A2A)
        chunk.firstRecordId = std::uint64_t(le32(head + kChunkHeaderSize + 8)) |
                              std::uint64_t(le32(head + kChunkHeaderSize + 12)) << 32;
    else
        chunk.firstRecordId = std::numeric_limits<std::uint64_t>::max();
    return true;
}

void EvtxFile::findChunks() {
    for (std::int64_t offset = kFileHeaderBlock; offset + kChunkHeaderSize <= m_size; offset += kChunkSize) {
        Chunk chunk{};
        if (probe(offset, chunk, false))
            m_chunks.push_back(chunk);
    }
    if (m_chunks.empty())
        searchChunks();
    std::stable_sort(m_chunks.begin(), m_chunks.end(),
                     [](const Chunk& a, const Chunk& b) { return a.firstRecordId < b.firstRecordId; });
}

void EvtxFile::searchChunks() {
    // Carved or shifted data: a signature anywhere counts when the header it starts checks out.
    constexpr std::size_t kWindow = 1 << 20;
    std::vector<std::uint8_t> buffer(kWindow);
    std::int64_t base = 0;
    while (base < m_size) {
        const std::size_t n = readAt(base, buffer.data(), buffer.size());
        if (n < sizeof kChunkSignature)
            break;
        std::int64_t next = base + static_cast<std::int64_t>(n - sizeof kChunkSignature + 1);
        for (std::size_t i = 0; i + sizeof kChunkSignature <= n;) {
            const void* hit = ::memmem(buffer.data() + i, n - i, kChunkSignature, sizeof kChunkSignature);
            if (!hit)
                break;
            const std::size_t at = static_cast<const std::uint8_t*>(hit) - buffer.data();
            Chunk chunk{};
            if (probe(base + static_cast<std::int64_t>(at), chunk, true)) {
                m_chunks.push_back(chunk);
                const std::int64_t after = chunk.offset + chunk.size;
                if (after > base + static_cast<std::int64_t>(n)) {
                    next = after;
                    break;
                }
                i = static_cast<std::size_t>(after - base);
            } else {
                i = at + 1;
            }
        }
        if (n < kWindow)
            break;
        base = std::max(next, base + 1);
    }
}

bool EvtxFile::looksLikeEventLog(const std::uint8_t* head, std::size_t size) {
    if (size >= sizeof kFileSignature && std::memcmp(head, kFileSignature, sizeof kFileSignature) == 0)
        return true;
    return size >= kFileHeaderBlock + sizeof kChunkSignature &&
           std::memcmp(head + kFileHeaderBlock, kChunkSignature, sizeof kChunkSignature) == 0;
}

} // namespace kelvane::evtx
