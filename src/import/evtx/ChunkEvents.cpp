#include "import/evtx/ChunkEvents.h"

namespace kelvane::evtx {

bool RecordIdSet::insert(std::uint64_t id) {
    auto next = m_runs.upper_bound(id);
    if (next != m_runs.begin()) {
        auto run = std::prev(next);
        if (id <= run->second)
            return false;
        if (run->second + 1 == id) {
            run->second = id;
            // The run now touches the next one: they become one.
            if (next != m_runs.end() && next->first == id + 1) {
                run->second = next->second;
                m_runs.erase(next);
            }
            return true;
        }
    }
    if (next != m_runs.end() && next->first == id + 1) {
        const std::uint64_t last = next->second;
        m_runs.erase(next);
        m_runs.emplace(id, last);
        return true;
    }
    m_runs.emplace(id, id);
    return true;
}

void ChunkEvents::replayCalls(EventItemSink& sink, std::size_t from, std::size_t to) const {
    for (std::size_t i = from; i < to; ++i) {
        const Call& call = m_calls[i];
        const std::string_view name(m_arena.data() + call.offset, call.nameSize);
        const std::string_view value(m_arena.data() + call.offset + call.nameSize, call.valueSize);
        switch (call.kind) {
        case Kind::EventId:
            sink.eventIdText(value);
            break;
        case Kind::Computer:
            sink.computerText(value);
            break;
        case Kind::Data:
            sink.dataItem(name, value);
            break;
        case Kind::EndEventData:
            sink.endEventData();
            break;
        }
    }
}

std::int64_t ChunkEvents::replay(EventItemSink& sink, RecordIdSet& seen, ReadLosses& losses) const {
    std::int64_t handedOn = 0;
    std::size_t from = 0;
    for (const Record& record : m_records) {
        // A record read before (a chunk copied twice, say) is no second event.
        if (seen.insert(record.id)) {
            replayCalls(sink, from, record.callsEnd);
            ++handedOn;
        } else {
            ++losses.recordsRepeated;
        }
        from = record.callsEnd;
    }
    losses += m_losses;
    if (m_checksumFailed) {
        ++losses.chunksChecksumFailed;
        losses.recordsFromFailedChunks += handedOn;
    }
    return handedOn;
}

} // namespace kelvane::evtx
