#pragma once

#include "import/ReadLosses.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace kelvane {

class EventItemSink;

// Reads the Sysmon events of an .evtx file and tells the sink the same items, in the same order, as the
// XML reader tells it for the Windows XML export of that file. Chunks are decoded on several threads and
// handed to the sink one after the other in the order of their records, on the calling thread. Memory
// stays flat: a few chunks are in flight at any time. Records of other channels are passed over; damaged,
// stale and repeated records are left out and counted, and a damaged chunk loses only what cannot be read.
class TEvtxReader {
public:
    // threads: decoding threads; 0 for as many as the machine has cores.
    explicit TEvtxReader(int threads = 0);

    // Throws std::runtime_error when the file cannot be opened or read; exceptions of the sink pass through
    // after the decoding threads have stopped.
    void read(const std::string& path, EventItemSink& sink);

    // Progress of the running read, from any thread.
    std::int64_t bytesRead() const { return m_bytesRead.load(std::memory_order_relaxed); }
    std::int64_t totalBytes() const { return m_totalBytes.load(std::memory_order_relaxed); }
    // Of the last read: Sysmon records handed on, and what was left out or is doubtful.
    std::int64_t recordsRead() const { return m_recordsRead; }
    const ReadLosses& losses() const { return m_losses; }
    // Thread-safe; the running read ends after the chunk being handed on. Cleared when a read returns.
    void requestStop() { m_stopRequested.store(true, std::memory_order_relaxed); }

    // Chunks decoded ahead of the one being handed on, per decoding thread.
    static constexpr int kAheadPerThread = 2;

private:
    int m_threads;
    std::atomic<std::int64_t> m_bytesRead{0};
    std::atomic<std::int64_t> m_totalBytes{0};
    std::int64_t m_recordsRead = 0;
    ReadLosses m_losses;
    std::atomic<bool> m_stopRequested{false};
};

} // namespace kelvane
