#pragma once

#include "import/evtx/BinXmlWalker.h"
#include "import/evtx/ChunkEvents.h"
#include "import/evtx/SysmonItemFilter.h"

#include <cstdint>

namespace kelvane::evtx {

inline constexpr std::uint32_t kChunkSize = 0x10000;
inline constexpr std::uint32_t kChunkHeaderSize = 0x200;
inline constexpr char kChunkSignature[8] = {'E', 'l', 'f', 'C', 'h', 'n', 'k', '\0'};

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t crc = 0);

// The 512-byte header of a chunk, read and checked.
struct ChunkHeader {
    bool signature = false;
    bool checksumOk = false;    // the header's CRC matches (or checksums are not kept)
    bool sane = false;          // offsets and ids are consistent
    bool offsetsSane = false;   // the last record and free space offsets are, at least
    bool checksumsKept = false; // the records checksum is worth checking
    std::uint64_t firstRecordNumber = 0;
    std::uint64_t lastRecordNumber = 0;
    std::uint64_t firstRecordId = 0;
    std::uint64_t lastRecordId = 0;
    std::uint32_t lastRecordOffset = 0;
    std::uint32_t freeSpaceOffset = 0;
    std::uint32_t recordsChecksum = 0;
    std::uint32_t flags = 0;

    // data holds at least kChunkHeaderSize bytes. checksums: false when the file says they are not kept.
    static ChunkHeader read(const std::uint8_t* data, bool checksums);
};

// Whether bytes whose signature is damaged still hold a chunk: a record that parses where the first one
// belongs, and a header whose ids or offsets agree with the records.
bool looksLikeChunk(const std::uint8_t* data, std::uint32_t size);

// Decodes the records of one chunk into the calls its Sysmon events make. Each record is decoded
// completely or not at all; a damaged one is skipped and counted, and the walk resynchronises on the next
// record signature. Only records of the chunk's own generation are live: one whose id lies outside the
// range the header gives (or, when the header is damaged, outside the run of ids the chunk holds) is a
// leftover of older data and is counted, not read. Nothing outside the chunk's bytes is read.
class ChunkDecoder {
public:
    ChunkDecoder();

    // data: the chunk's bytes as far as the file holds them (at most 64 KiB; less when the file is cut).
    // Appends to out. False when the bytes are not a chunk at all.
    bool decode(const std::uint8_t* data, std::uint32_t size, bool checksums, ChunkEvents& out);

    // Most records a chunk can hold.
    static constexpr std::uint64_t kMaxRecords = (kChunkSize - kChunkHeaderSize) / 32;

private:
    struct IdRange {
        bool known = false;
        std::uint64_t first = 0, last = 0;
        bool contains(std::uint64_t id) const { return !known || (id >= first && id <= last); }
    };
    static IdRange liveIds(const ChunkHeader& header, const std::uint8_t* data, std::uint32_t size);
    std::uint32_t resync(std::uint32_t offset, std::uint32_t limit) const;
    void decodeRecord(std::uint32_t offset, std::uint32_t size, ChunkEvents& out);

    const std::uint8_t* m_data = nullptr;
    ChunkEvents m_unused;
    SysmonItemFilter m_filter;
    BinXmlWalker m_walker;
};

} // namespace kelvane::evtx
