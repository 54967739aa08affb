#include "import/evtx/EvtxChunk.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace kelvane::evtx {
namespace {

std::uint32_t le32(const std::uint8_t* p) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

std::uint64_t le64(const std::uint8_t* p) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

constexpr std::uint32_t kRecordSignature = 0x00002A2A;
constexpr std::uint32_t kRecordHeaderSize = 24;
constexpr std::uint32_t kSmallestRecord = 32;

} // namespace

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t crc) {
    return static_cast<std::uint32_t>(::crc32(crc, data, static_cast<uInt>(size)));
}

ChunkHeader ChunkHeader::read(const std::uint8_t* data, bool checksums) {
    ChunkHeader h;
    h.signature = std::memcmp(data, kChunkSignature, 8) == 0;
    h.firstRecordId = le64(data + 0x18);
    h.lastRecordId = le64(data + 0x20);
    const std::uint32_t headerSize = le32(data + 0x28);
    h.lastRecordOffset = le32(data + 0x2C);
    h.freeSpaceOffset = le32(data + 0x30);
    h.recordsChecksum = le32(data + 0x34);
    h.flags = le32(data + 0x78);
    const std::uint32_t stored = le32(data + 0x7C);
    if (!checksums || ((h.flags & 0x4) && stored == 0)) {
        h.checksumOk = true;
    } else {
        std::uint32_t crc = crc32(data, 0x78);
        crc = crc32(data + 0x80, kChunkHeaderSize - 0x80, crc);
        h.checksumOk = crc == stored;
    }
    // A header whose checksum fails (a damaged string table, say) still tells where the records end, as
    // long as what it says is consistent.
    h.sane = h.signature && headerSize == 128 && h.lastRecordOffset >= kChunkHeaderSize &&
             h.lastRecordOffset < h.freeSpaceOffset && h.freeSpaceOffset <= kChunkSize &&
             h.firstRecordId <= h.lastRecordId;
    return h;
}

ChunkDecoder::ChunkDecoder() : m_filter(m_unused), m_walker(m_filter) {}

bool ChunkDecoder::recordAt(std::uint32_t offset, std::uint32_t limit, std::uint32_t& size) const {
    if (offset > limit || limit - offset < kRecordHeaderSize)
        return false;
    if (le32(m_data + offset) != kRecordSignature)
        return false;
    size = le32(m_data + offset + 4);
    return size >= kSmallestRecord && size % 8 == 0 && size <= limit - offset &&
           le32(m_data + offset + size - 4) == size;
}

std::uint32_t ChunkDecoder::resync(std::uint32_t offset, std::uint32_t limit) const {
    offset = (offset + 7) & ~7u;
    std::uint32_t size = 0;
    for (; offset < limit; offset += 8)
        if (recordAt(offset, limit, size))
            return offset;
    return limit;
}

bool ChunkDecoder::decode(const std::uint8_t* data, std::uint32_t size, bool checksums, ChunkEvents& out) {
    size = std::min(size, kChunkSize);
    if (size < kChunkHeaderSize || std::memcmp(data, kChunkSignature, 8) != 0)
        return false;
    m_data = data;
    const ChunkHeader header = ChunkHeader::read(data, checksums);
    m_walker.setChunk(data, size);
    m_filter.setOutput(out);

    // Past the free space lie stale records; a chunk that cannot say where that is, is walked to its end.
    const std::uint32_t limit = header.sane ? std::min(header.freeSpaceOffset, size) : size;
    std::uint32_t offset = kChunkHeaderSize;
    bool resynced = false;
    while (offset < limit && limit - offset >= 8) {
        std::uint32_t recordSize = 0;
        if (!recordAt(offset, limit, recordSize)) {
            if (std::all_of(data + offset, data + limit, [](std::uint8_t b) { return b == 0; }))
                break;
            out.recordSkipped();
            offset = resync(offset + 8, limit);
            resynced = true;
            continue;
        }
        const std::uint64_t id = le64(data + offset + 8);
        // Behind damage may lie an older generation of records, which this chunk's header does not know.
        if (resynced && header.sane && (id < header.firstRecordId || id > header.lastRecordId)) {
            out.recordSkipped();
            offset += recordSize;
            continue;
        }
        decodeRecord(offset, recordSize, out);
        if (header.sane && (offset == header.lastRecordOffset || id == header.lastRecordId))
            break;
        offset += recordSize;
    }
    m_filter.setOutput(m_unused);
    return true;
}

bool ChunkDecoder::decodeRecord(std::uint32_t offset, std::uint32_t size, ChunkEvents& out) {
    m_filter.beginRecord();
    bool complete = true;
    try {
        m_walker.record(offset + kRecordHeaderSize, offset + size - 4);
    } catch (const DamagedRecord&) {
        complete = false;
    }
    const bool kept = m_filter.endRecord(complete);
    if (!complete)
        out.recordSkipped();
    else if (kept)
        out.recordRead();
    return complete;
}

} // namespace kelvane::evtx
