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

std::uint64_t recordId(const std::uint8_t* data, std::uint32_t offset) {
    return le64(data + offset + 8);
}

// Whether a whole record starts at offset and ends before limit; its size goes to size.
bool recordAt(const std::uint8_t* data, std::uint32_t offset, std::uint32_t limit, std::uint32_t& size) {
    if (offset > limit || limit - offset < kRecordHeaderSize)
        return false;
    if (le32(data + offset) != kRecordSignature)
        return false;
    size = le32(data + offset + 4);
    return size >= kSmallestRecord && size % 8 == 0 && size <= limit - offset &&
           le32(data + offset + size - 4) == size;
}

} // namespace

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t crc) {
    return static_cast<std::uint32_t>(::crc32(crc, data, static_cast<uInt>(size)));
}

ChunkHeader ChunkHeader::read(const std::uint8_t* data, bool checksums) {
    ChunkHeader h;
    h.signature = std::memcmp(data, kChunkSignature, 8) == 0;
    h.firstRecordNumber = le64(data + 0x08);
    h.lastRecordNumber = le64(data + 0x10);
    h.firstRecordId = le64(data + 0x18);
    h.lastRecordId = le64(data + 0x20);
    const std::uint32_t headerSize = le32(data + 0x28);
    h.lastRecordOffset = le32(data + 0x2C);
    h.freeSpaceOffset = le32(data + 0x30);
    h.recordsChecksum = le32(data + 0x34);
    h.flags = le32(data + 0x78);
    const std::uint32_t stored = le32(data + 0x7C);
    // Files that keep no checksums store zeros in both of a chunk's.
    h.checksumsKept = checksums && !((h.flags & 0x4) && stored == 0);
    if (!h.checksumsKept) {
        h.checksumOk = true;
    } else {
        std::uint32_t crc = crc32(data, 0x78);
        crc = crc32(data + 0x80, kChunkHeaderSize - 0x80, crc);
        h.checksumOk = crc == stored;
    }
    // A header whose checksum fails (a damaged string table, say) still tells where the records end, as
    // long as what it says is consistent.
    h.offsetsSane = h.lastRecordOffset >= kChunkHeaderSize && h.lastRecordOffset < h.freeSpaceOffset &&
                    h.freeSpaceOffset <= kChunkSize;
    h.sane = h.signature && headerSize == 128 && h.offsetsSane && h.firstRecordId <= h.lastRecordId;
    return h;
}

bool looksLikeChunk(const std::uint8_t* data, std::uint32_t size) {
    size = std::min(size, kChunkSize);
    std::uint32_t recordSize = 0;
    if (size < kChunkHeaderSize || !recordAt(data, kChunkHeaderSize, size, recordSize))
        return false;
    const ChunkHeader h = ChunkHeader::read(data, false);
    if (recordId(data, kChunkHeaderSize) == h.firstRecordId)
        return true;
    return h.offsetsSane && h.lastRecordOffset % 8 == 0 &&
           recordAt(data, h.lastRecordOffset, size, recordSize) &&
           recordId(data, h.lastRecordOffset) == h.lastRecordId;
}

ChunkDecoder::ChunkDecoder() : m_filter(m_unused), m_walker(m_filter) {}

ChunkDecoder::IdRange ChunkDecoder::liveIds(const ChunkHeader& h, const std::uint8_t* data,
                                            std::uint32_t size) {
    // The header cannot be trusted as a whole. Its fields say the same thing several times over: the first
    // record's own id, the id and number ranges, and the id of the record at the last record's offset. A
    // damaged field is outvoted by the others.
    std::uint32_t recordSize = 0;
    const std::uint64_t first = recordAt(data, kChunkHeaderSize, size, recordSize)
                                    ? recordId(data, kChunkHeaderSize)
                                    : h.firstRecordId;
    std::uint64_t votes[3];
    int count = 0;
    if (h.lastRecordId >= first && h.lastRecordId - first < kMaxRecords)
        votes[count++] = h.lastRecordId;
    if (h.lastRecordNumber >= h.firstRecordNumber && h.lastRecordNumber - h.firstRecordNumber < kMaxRecords)
        votes[count++] = first + (h.lastRecordNumber - h.firstRecordNumber);
    if (h.offsetsSane && h.lastRecordOffset % 8 == 0 &&
        recordAt(data, h.lastRecordOffset, size, recordSize) && recordId(data, h.lastRecordOffset) >= first &&
        recordId(data, h.lastRecordOffset) - first < kMaxRecords)
        votes[count++] = recordId(data, h.lastRecordOffset);
    for (int i = 0; i < count; ++i)
        for (int j = i + 1; j < count; ++j)
            if (votes[i] == votes[j])
                return {true, first, votes[i]};
    return {};
}

std::uint32_t ChunkDecoder::resync(std::uint32_t offset, std::uint32_t limit) const {
    offset = (offset + 7) & ~7u;
    std::uint32_t size = 0;
    for (; offset < limit; offset += 8)
        if (recordAt(m_data, offset, limit, size))
            return offset;
    return limit;
}

bool ChunkDecoder::decode(const std::uint8_t* data, std::uint32_t size, bool checksums, ChunkEvents& out) {
    size = std::min(size, kChunkSize);
    if (size < kChunkHeaderSize)
        return false;
    const ChunkHeader header = ChunkHeader::read(data, checksums);
    if (!header.signature) {
        if (!looksLikeChunk(data, size))
            return false;
        ++out.losses().chunksWithoutSignature;
    }
    m_data = data;
    m_walker.setChunk(data, size);
    m_filter.setOutput(out);

    const bool trusted = header.checksumOk && header.sane;
    // The file ends before the records the header speaks of do.
    const bool cut = size < kChunkSize && (!header.offsetsSane || header.freeSpaceOffset > size);
    bool recordsOk = !header.checksumsKept;
    if (header.checksumsKept && header.offsetsSane && header.freeSpaceOffset <= size)
        recordsOk = crc32(data + kChunkHeaderSize, header.freeSpaceOffset - kChunkHeaderSize) ==
                    header.recordsChecksum;
    if (!recordsOk && !cut)
        out.setChecksumFailed();
    // Past the free space lie stale records. Where that is, is believed when the header's checksum holds,
    // or the records checksum over that range does; otherwise the chunk is walked to its end, and the ids
    // tell the live records from the stale ones.
    const bool freeSpaceKnown = header.offsetsSane && (trusted || (recordsOk && header.checksumsKept));
    const std::uint32_t limit = freeSpaceKnown ? std::min(header.freeSpaceOffset, size) : size;
    const IdRange live =
        trusted ? IdRange{true, header.firstRecordId, header.lastRecordId} : liveIds(header, data, size);

    ReadLosses& losses = out.losses();
    std::uint32_t offset = kChunkHeaderSize;
    bool pastLive = false; // the last live id was read: whatever follows is older data
    bool anyRead = false;
    std::uint64_t lastRead = 0;
    while (offset < limit && limit - offset >= 8) {
        std::uint32_t recordSize = 0;
        if (!recordAt(data, offset, limit, recordSize)) {
            if (std::all_of(data + offset, data + limit, [](std::uint8_t b) { return b == 0; }))
                break;
            // The record the end of a cut file runs into is counted with the records the cut lost.
            if (cut && le32(data + offset) == kRecordSignature && offset + le32(data + offset + 4) > size)
                break;
            if (!pastLive)
                ++losses.recordsDamaged;
            offset = resync(offset + 8, limit);
            continue;
        }
        const std::uint64_t id = recordId(data, offset);
        // Without a known range, live ids at least rise within a chunk.
        const bool inRun =
            live.known ? live.contains(id) : !anyRead || (id > lastRead && id - lastRead <= kMaxRecords);
        if (pastLive || !inRun) {
            ++losses.recordsStale;
            offset += recordSize;
            continue;
        }
        decodeRecord(offset, recordSize, out);
        anyRead = true;
        lastRead = id;
        if (live.known && id == live.last) {
            if (trusted)
                break;
            pastLive = true;
        }
        if (trusted && offset == header.lastRecordOffset)
            break;
        offset += recordSize;
    }
    if (cut) {
        ++losses.chunksCut;
        if (live.known && (!anyRead || lastRead < live.last))
            losses.recordsCut += static_cast<std::int64_t>(live.last - (anyRead ? lastRead : live.first - 1));
    }
    m_filter.setOutput(m_unused);
    return true;
}

void ChunkDecoder::decodeRecord(std::uint32_t offset, std::uint32_t size, ChunkEvents& out) {
    m_filter.beginRecord();
    bool complete = true;
    try {
        m_walker.record(offset + kRecordHeaderSize, offset + size - 4);
    } catch (const DamagedRecord&) {
        complete = false;
    }
    switch (m_filter.endRecord(complete)) {
    case SysmonItemFilter::Outcome::Kept:
        out.recordKept(recordId(m_data, offset));
        break;
    case SysmonItemFilter::Outcome::Damaged:
        ++out.losses().recordsDamaged;
        break;
    case SysmonItemFilter::Outcome::OtherChannel:
        break;
    }
}

} // namespace kelvane::evtx
