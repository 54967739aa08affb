#pragma once

#include "import/evtx/SysmonItemFilter.h"

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace kelvane::evtx {

// A record whose binary XML cannot be read: it is left out and counted.
class DamagedRecord : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Walks the binary XML of the records of one chunk and tells the filter about elements and text, with
// template instances expanded, substitutions filled and nested fragments spliced in. Every offset in the
// data is checked against the chunk and the record, nesting is bounded and so is the work per record,
// so no input can make it read outside the chunk, recurse without end or run for long.
class BinXmlWalker {
public:
    explicit BinXmlWalker(SysmonItemFilter& filter);

    // A new chunk (at most 64 KiB): names and templates are chunk offsets, so what is known is forgotten.
    void setChunk(const std::uint8_t* data, std::uint32_t size);
    // Decodes the fragment in [begin, end) of the chunk. Throws DamagedRecord.
    void record(std::uint32_t begin, std::uint32_t end);

    static constexpr int kMaxDepth = 48;
    // Work allowed per record and per chunk. A step is a token, or 8 bytes of text rendered; a Sysmon record
    // takes a few hundred, so only a hostile one (templates instantiated within themselves, a large value
    // substituted thousands of times) reaches the limit, and then it fails instead of eating time and memory.
    static constexpr std::uint32_t kMaxStepsPerRecord = 200000;
    static constexpr std::uint32_t kMaxStepsPerChunk = 2000000;

private:
    struct Value {
        std::uint8_t type;
        std::uint32_t offset;
        std::uint32_t size;
    };
    struct Scope {
        std::uint32_t base = 0; // first value in m_values
        std::uint32_t count = 0;
        bool templateBody = false; // elements carry dependency ids
    };

    std::uint32_t fragment(std::uint32_t pos, std::uint32_t end, const Scope& scope, int depth);
    std::uint32_t templateInstance(std::uint32_t pos, std::uint32_t end, int depth);
    std::uint32_t element(std::uint8_t token, std::uint32_t pos, std::uint32_t end, const Scope& scope,
                          int depth);
    std::uint32_t attributeValue(std::uint32_t pos, std::uint32_t end, const Scope& scope, std::string* into,
                                 bool& dropped);
    std::uint32_t content(std::uint32_t pos, std::uint32_t end, const Scope& scope, NameKind kind, int depth);
    void substitution(const Scope& scope, std::uint16_t index, bool optional, NameKind kind, int depth);
    void appendArray(const Value& value, NameKind kind, std::string* attribute);
    std::uint32_t name(std::uint32_t& pos, std::uint32_t end);
    NameKind kindOf(std::uint32_t nameOffset);
    void appendEntity(std::string& out, std::uint32_t nameOffset);

    void need(std::uint32_t pos, std::uint64_t bytes, std::uint32_t end) const;
    std::uint8_t u8(std::uint32_t& pos, std::uint32_t end);
    std::uint16_t u16(std::uint32_t& pos, std::uint32_t end);
    std::uint32_t u32(std::uint32_t& pos, std::uint32_t end);
    void step(std::uint32_t steps = 1);
    [[noreturn]] static void fail(const char* what);

    SysmonItemFilter& m_filter;
    const std::uint8_t* m_data = nullptr;
    std::uint32_t m_size = 0;
    std::uint32_t m_steps = 0;
    std::uint32_t m_chunkSteps = 0;
    std::vector<Value> m_values;
    // Name kinds by chunk offset (0xFF: not looked at yet), and the offsets to reset for the next chunk.
    std::vector<std::uint8_t> m_kinds;
    std::vector<std::uint32_t> m_kindsSet;
    std::string m_scratch;
};

} // namespace kelvane::evtx
