#pragma once

#include "import/TEventMapper.h"
#include "import/TSaxReader.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace kelvane {

class ImportReport;

// The reader's handlers: they watch for EventID, Computer, Data and the end of EventData, gather one
// event's items and hand the event to the mapper.
class TSysmonEventReader : public SaxHandler {
public:
    TSysmonEventReader(TEventMapper& mapper, ImportReport& report);

    void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override;
    void text(std::string_view text) override;
    void endElement(std::string_view name) override;

    // Called after each event handed to the mapper (the importer commits its batches from here).
    void setAfterEvent(std::function<void()> callback) { m_afterEvent = std::move(callback); }

    std::int64_t FEventsCount() const { return m_eventsCount.load(std::memory_order_relaxed); }
    const EventState& state() const { return m_state; }

private:
    TEventMapper& m_mapper;
    ImportReport& m_report;
    EventState m_state;
    bool FIsItData = false;
    bool FIsItEvent = false;
    bool FIsItComputer = false;
    std::string FActiveKey;
    std::string m_buffer;
    std::atomic<std::int64_t> m_eventsCount{0};
    std::function<void()> m_afterEvent;
};

} // namespace kelvane
