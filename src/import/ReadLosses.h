#pragma once

#include <cstdint>

namespace kelvane {

// What a reader left out of a log, or could not vouch for, and why. Only .evtx files fill it: an XML
// export has no checksums or record ids to tell damage by.
struct ReadLosses {
    std::int64_t recordsDamaged = 0;  // records that could not be decoded
    std::int64_t recordsStale = 0;    // records outside their chunk's id range: leftovers of older data
    std::int64_t recordsRepeated = 0; // records whose id was read before (a chunk copied twice)
    std::int64_t recordsCut = 0;      // records the chunk header promises but the cut file lacks
    std::int64_t chunksCut = 0;       // chunks the end of the file cuts into
    std::int64_t chunksChecksumFailed = 0;
    std::int64_t recordsFromFailedChunks = 0; // imported, but from a chunk that failed its checksum
    std::int64_t chunksWithoutSignature = 0;  // found by their structure

    // Whether anything was lost or is doubtful.
    bool any() const {
        return recordsDamaged || recordsStale || recordsRepeated || recordsCut || chunksCut ||
               chunksChecksumFailed || chunksWithoutSignature;
    }
    ReadLosses& operator+=(const ReadLosses& other) {
        recordsDamaged += other.recordsDamaged;
        recordsStale += other.recordsStale;
        recordsRepeated += other.recordsRepeated;
        recordsCut += other.recordsCut;
        chunksCut += other.chunksCut;
        chunksChecksumFailed += other.chunksChecksumFailed;
        recordsFromFailedChunks += other.recordsFromFailedChunks;
        chunksWithoutSignature += other.chunksWithoutSignature;
        return *this;
    }
    bool operator==(const ReadLosses&) const = default;
};

} // namespace kelvane
