#pragma once

#include "import/TEventMapper.h"
#include "import/xml/TSaxReader.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace kelvane {

class ImportReport;

// What the reader's element handlers pass on: the texts of EventID, Computer and Data (cleaned), and
// the end of each EventData element.
class EventItemSink {
public:
    virtual ~EventItemSink() = default;
    virtual void eventIdText(std::string_view text) = 0;
    virtual void dataItem(std::string_view name, std::string_view text) = 0;
    virtual void computerText(std::string_view text) = 0;
    virtual void endEventData() = 0;
    // The event's EventRecordID, which tells one event of a machine's log from another.
    virtual void recordIdText(std::string_view) {}
};

// The element handlers: they watch for EventID, Computer, Data and the end of EventData, clean the texts
// and tell the sink. The flags are cleared by the next start tag only, not by an end tag.
class TSysmonElementFilter : public SaxHandler {
public:
    explicit TSysmonElementFilter(EventItemSink& sink) : m_sink(sink) {}

    void startElement(std::string_view name, std::span<const SaxAttribute> attributes) override;
    void text(std::string_view text) override;
    void endElement(std::string_view name) override;

private:
    EventItemSink& m_sink;
    bool FIsItData = false;
    bool FIsItEvent = false;
    bool FIsItComputer = false;
    bool m_isRecordId = false;
    std::string FActiveKey;
    std::string m_buffer;
};

// The state of reading: one event's id, name, computer and items, handed to the mapper at the end of
// its EventData.
class TSysmonEventReader : public EventItemSink {
public:
    TSysmonEventReader(TEventMapper& mapper, ImportReport& report);

    void eventIdText(std::string_view text) override;
    void dataItem(std::string_view name, std::string_view text) override;
    void computerText(std::string_view text) override;
    void endEventData() override;
    void recordIdText(std::string_view text) override { m_recordId.assign(text); }

    // Asked at the end of each event before it is mapped; an event it calls a duplicate is not stored.
    using DuplicateTest = std::function<bool(const EventState& event, const std::string& recordId)>;
    void setDuplicateTest(DuplicateTest test) { m_isDuplicate = std::move(test); }
    std::int64_t duplicates() const { return m_duplicates; }

    // Called after each event handed to the mapper (the importer commits its batches from here).
    void setAfterEvent(std::function<void()> callback) { m_afterEvent = std::move(callback); }

    std::int64_t FEventsCount() const { return m_eventsCount.load(std::memory_order_relaxed); }
    const EventState& state() const { return m_state; }

private:
    TEventMapper& m_mapper;
    ImportReport& m_report;
    EventState m_state;
    std::atomic<std::int64_t> m_eventsCount{0};
    std::function<void()> m_afterEvent;
    std::string m_recordId;
    DuplicateTest m_isDuplicate;
    std::int64_t m_duplicates = 0;
};

} // namespace kelvane
