#pragma once

#include "import/TSysmonEventReader.h"

#include <string>

namespace kelvane {

class TSaxReader;

// Reads a log on a thread of its own while the calling thread writes: the element filter's findings
// travel in batches, in document order, to a sink that runs on the calling thread. So parsing and the
// database share the two cores, and the order of effects stays that of a single pass.
class TParsePipeline {
public:
    explicit TParsePipeline(TSaxReader& reader) : m_reader(reader) {}

    // Parses path and feeds sink. Returns the reader's result (false when the file is not well formed).
    // A failure to read the file, and any failure of the sink, comes out of this call; a sink failure
    // stops the reading.
    bool run(const std::string& path, EventItemSink& sink);

    // Items per batch handed from the reading thread to the writing one.
    static constexpr size_t kBatchItems = 4096;
    static constexpr size_t kQueueDepth = 8;

private:
    TSaxReader& m_reader;
};

} // namespace kelvane
