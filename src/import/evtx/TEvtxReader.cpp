#include "import/evtx/TEvtxReader.h"

#include "import/evtx/ChunkEvents.h"
#include "import/evtx/EvtxChunk.h"
#include "import/evtx/EvtxFile.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvane {

using namespace evtx;

namespace {

// Chunks decoded by the threads, kept in a ring until the calling thread takes them in order.
class ChunkRing {
public:
    ChunkRing(std::size_t chunks, std::size_t window) : m_chunks(chunks), m_slots(window) {
        for (auto& slot : m_slots)
            slot.events = std::make_unique<ChunkEvents>();
    }

    // The next chunk to decode, or false when all are taken or the read is over. Waits while the ring is
    // full.
    bool claim(std::size_t& index) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock,
                       [&] { return m_stopped || m_next >= m_chunks || m_next < m_taken + m_slots.size(); });
        if (m_stopped || m_next >= m_chunks)
            return false;
        index = m_next++;
        return true;
    }
    ChunkEvents& slotFor(std::size_t index) { return *m_slots[index % m_slots.size()].events; }
    void decoded(std::size_t index) {
        std::lock_guard lock(m_mutex);
        m_slots[index % m_slots.size()].ready = true;
        m_changed.notify_all();
    }
    // Waits for the chunk at index; false when a decoding thread failed or the read was stopped.
    bool wait(std::size_t index) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_stopped || m_slots[index % m_slots.size()].ready; });
        return !m_stopped;
    }
    void release(std::size_t index) {
        std::lock_guard lock(m_mutex);
        Slot& slot = m_slots[index % m_slots.size()];
        slot.ready = false;
        slot.events->clear();
        ++m_taken;
        m_changed.notify_all();
    }
    void stop(std::exception_ptr error = nullptr) {
        std::lock_guard lock(m_mutex);
        if (error && !m_error)
            m_error = error;
        m_stopped = true;
        m_changed.notify_all();
    }
    std::exception_ptr error() {
        std::lock_guard lock(m_mutex);
        return m_error;
    }

private:
    struct Slot {
        std::unique_ptr<ChunkEvents> events;
        bool ready = false;
    };
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_chunks;
    std::size_t m_next = 0;
    std::size_t m_taken = 0;
    bool m_stopped = false;
    std::exception_ptr m_error;
    std::vector<Slot> m_slots;
};

void decodeChunks(const EvtxFile& file, ChunkRing& ring) {
    try {
        ChunkDecoder decoder;
        std::vector<std::uint8_t> buffer(kChunkSize);
        std::size_t index = 0;
        while (ring.claim(index)) {
            const EvtxFile::Chunk& chunk = file.chunks()[index];
            const std::size_t got = file.readAt(chunk.offset, buffer.data(), chunk.size);
            // A file that shrank since it was opened gives what is left.
            decoder.decode(buffer.data(), static_cast<std::uint32_t>(got), file.checksums(),
                           ring.slotFor(index));
            ring.decoded(index);
        }
    } catch (...) {
        ring.stop(std::current_exception());
    }
}

// Joins the decoding threads however the read ends.
struct ThreadGroup {
    ChunkRing& ring;
    std::vector<std::thread> threads;
    ~ThreadGroup() {
        ring.stop();
        for (auto& thread : threads)
            thread.join();
    }
};

} // namespace

TEvtxReader::TEvtxReader(int threads)
    : m_threads(threads > 0 ? threads : std::clamp(int(std::thread::hardware_concurrency()), 1, 8)) {}

void TEvtxReader::read(const std::string& path, EventItemSink& sink) {
    struct ClearStop {
        std::atomic<bool>& flag;
        ~ClearStop() { flag.store(false, std::memory_order_relaxed); }
    } clearStop{m_stopRequested};
    m_recordsRead = 0;
    m_losses = ReadLosses{};
    m_bytesRead.store(0, std::memory_order_relaxed);
    m_totalBytes.store(0, std::memory_order_relaxed);

    EvtxFile file(path);
    m_totalBytes.store(file.size(), std::memory_order_relaxed);
    const std::size_t count = file.chunks().size();
    const int threads = static_cast<int>(std::min<std::size_t>(m_threads, std::max<std::size_t>(count, 1)));
    ChunkRing ring(count, static_cast<std::size_t>(threads) * (kAheadPerThread + 1));
    RecordIdSet seen;
    {
        ThreadGroup group{ring, {}};
        for (int i = 0; i < threads; ++i)
            group.threads.emplace_back(decodeChunks, std::cref(file), std::ref(ring));

        for (std::size_t index = 0; index < count; ++index) {
            if (m_stopRequested.load(std::memory_order_relaxed) || !ring.wait(index))
                break;
            ChunkEvents& events = ring.slotFor(index);
            m_recordsRead += events.replay(sink, seen, m_losses);
            const EvtxFile::Chunk& chunk = file.chunks()[index];
            m_bytesRead.fetch_add(chunk.size, std::memory_order_relaxed);
            ring.release(index);
        }
    }
    if (auto error = ring.error())
        std::rethrow_exception(error);
    if (!m_stopRequested.load(std::memory_order_relaxed))
        m_bytesRead.store(file.size(), std::memory_order_relaxed);
}

} // namespace kelvane
