#pragma once

#include "import/xml/TSysmonEventReader.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::evtx {

// What the records of one chunk told the reader, kept in order so that chunks can be decoded on several
// threads and handed to the sink one after the other: the same calls the XML reader's element handlers
// would have made for the same events.
class ChunkEvents {
public:
    enum class Kind : std::uint8_t { EventId, Computer, Data, EndEventData, RecordId };

    void clear() {
        m_calls.clear();
        m_arena.clear();
        m_records = m_skipped = 0;
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

    void replay(EventItemSink& sink) const {
        for (const Call& call : m_calls) {
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
            case Kind::RecordId:
                sink.recordIdText(value);
                break;
            }
        }
    }

    std::size_t callCount() const { return m_calls.size(); }
    // Records handed on, and records found damaged and left out.
    std::int64_t records() const { return m_records; }
    std::int64_t skipped() const { return m_skipped; }
    void recordRead() { ++m_records; }
    void recordSkipped() { ++m_skipped; }

private:
    struct Call {
        Kind kind;
        std::uint32_t offset, nameSize, valueSize;
    };
    std::vector<Call> m_calls;
    std::string m_arena;
    std::int64_t m_records = 0;
    std::int64_t m_skipped = 0;
};

} // namespace kelvane::evtx
