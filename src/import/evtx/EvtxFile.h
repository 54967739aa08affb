#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelvane::evtx {

inline constexpr std::uint32_t kFileHeaderBlock = 0x1000;
inline constexpr char kFileSignature[8] = {'E', 'l', 'f', 'F', 'i', 'l', 'e', '\0'};

// An .evtx file opened for reading: its header, and where its chunks lie, in the order of their records.
// The header's chunk count and numbers are only hints: every 64 KiB slot is probed, a chunk whose signature
// is damaged is known by its structure, and when no slot holds a chunk the file is searched for chunk
// signatures whose header checksum holds.
class EvtxFile {
public:
    struct Chunk {
        std::int64_t offset;
        std::uint32_t size; // less than 64 KiB for a chunk cut off by the end of the file
        std::uint64_t firstRecordId;
    };

    // Throws std::runtime_error when the file cannot be opened or read.
    explicit EvtxFile(const std::string& path);
    ~EvtxFile();
    EvtxFile(const EvtxFile&) = delete;
    EvtxFile& operator=(const EvtxFile&) = delete;

    std::int64_t size() const { return m_size; }
    bool headerValid() const { return m_headerValid; }
    // False when the file says its checksums are not kept.
    bool checksums() const { return m_checksums; }
    const std::vector<Chunk>& chunks() const { return m_chunks; }

    // Reads up to size bytes at offset (fewer at the end of the file); thread-safe. Throws on a read error.
    std::size_t readAt(std::int64_t offset, std::uint8_t* into, std::size_t size) const;

    // Whether bytes that begin a file look like an event log: its signature, or a chunk's where the header
    // block ends.
    static bool looksLikeEventLog(const std::uint8_t* head, std::size_t size);

private:
    void findChunks();
    void searchChunks();
    bool probe(std::int64_t offset, Chunk& chunk, bool requireChecksum) const;

    int m_fd = -1;
    std::string m_path;
    std::int64_t m_size = 0;
    bool m_headerValid = false;
    bool m_checksums = true;
    std::vector<Chunk> m_chunks;
};

} // namespace kelvane::evtx
