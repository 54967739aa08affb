#pragma once

#include "import/ReadLosses.h"
#include "import/xml/TSysmonEventReader.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::evtx {

// The record ids read so far in a file, as runs of consecutive ids: a file's ids mostly are one run.
class RecordIdSet {
public:
    // False when the id was there already.
    bool insert(std::uint64_t id);
    void clear() { m_runs.clear(); }

private:
    std::map<std::uint64_t, std::uint64_t> m_runs; // first id -> last id
};

// What the records of one chunk told the reader, kept in order so that chunks can be decoded on several
// threads and handed to the sink one after the other: the same calls the XML reader's element handlers
// would have made for the same events.
class ChunkEvents {
public:
    enum class Kind : std::uint8_t { EventId, Computer, Data, EndEventData };

    void clear() {
        m_calls.clear();
        m_arena.clear();
        m_records.clear();
        m_losses = ReadLosses{};
        m_checksumFailed = false;
    }

    void add(Kind kind, std::string_view value, std::string_view name = {}) {
        Call call{kind, static_cast<std::uint32_t>(m_arena.size()), static_cast<std::uint32_t>(name.size()),
                  static_cast<std::uint32_t>(value.size())};
        m_arena.append(name);
        m_arena.append(value);
        m_calls.push_back(call);
    }

    // A record's calls are kept only once it has been read to its end, and it is a Sysmon record.
    struct Mark {
        std::size_t calls, arena;
    };
    Mark mark() const { return {m_calls.size(), m_arena.size()}; }
    void rollBack(Mark mark) {
        m_calls.resize(mark.calls);
        m_arena.resize(mark.arena);
    }

    // A record's calls end here; its id decides at replay whether it was read before.
    void recordKept(std::uint64_t id) { m_records.push_back({id, m_calls.size()}); }

    // Tells the sink the calls of every record whose id is new to seen, and adds what was left out to
    // losses. Returns the records handed on.
    std::int64_t replay(EventItemSink& sink, RecordIdSet& seen, ReadLosses& losses) const;

    std::size_t callCount() const { return m_calls.size(); }
    std::size_t recordCount() const { return m_records.size(); }
    // What the chunk lost while it was decoded; the decoder counts into it.
    ReadLosses& losses() { return m_losses; }
    // The chunk's records checksum failed: what it gives is doubtful.
    void setChecksumFailed() { m_checksumFailed = true; }

private:
    struct Call {
        Kind kind;
        std::uint32_t offset, nameSize, valueSize;
    };
    struct Record {
        std::uint64_t id;
        std::size_t callsEnd;
    };
    void replayCalls(EventItemSink& sink, std::size_t from, std::size_t to) const;

    std::vector<Call> m_calls;
    std::string m_arena;
    std::vector<Record> m_records;
    ReadLosses m_losses;
    bool m_checksumFailed = false;
};

} // namespace kelvane::evtx
