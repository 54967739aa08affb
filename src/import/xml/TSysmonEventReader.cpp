#include "import/xml/TSysmonEventReader.h"

#include "import/ImportReport.h"
#include "import/ValueConversions.h"
#include "store/EventCatalogue.h"

namespace kelvane {

void TSysmonElementFilter::startElement(std::string_view name, std::span<const SaxAttribute> attributes) {
    FIsItData = false;
    FIsItEvent = false;
    FIsItComputer = false;
    m_isRecordId = name == "EventRecordID";
    // Element names hold neither quotes nor line breaks, so cleaning leaves them as they are.
    if (name == "EventID") {
        FIsItEvent = true;
    } else if (name == "Computer") {
        FIsItComputer = true;
    } else if (name == "Data") {
        FIsItData = true;
        FActiveKey.assign(attributes.empty() ? std::string_view() : attributes.front().value);
        clearTextInPlace(FActiveKey);
    }
}

void TSysmonElementFilter::text(std::string_view text) {
    if (m_isRecordId) {
        m_sink.recordIdText(text);
        return;
    }
    if (!FIsItEvent && !FIsItData && !FIsItComputer)
        return;
    m_buffer.assign(text);
    clearTextInPlace(m_buffer);
    if (FIsItEvent)
        m_sink.eventIdText(m_buffer);
    if (FIsItData)
        m_sink.dataItem(FActiveKey, m_buffer);
    if (FIsItComputer)
        m_sink.computerText(m_buffer);
}

void TSysmonElementFilter::endElement(std::string_view name) {
    if (name == "EventData")
        m_sink.endEventData();
}

TSysmonEventReader::TSysmonEventReader(TEventMapper& mapper, ImportReport& report)
    : m_mapper(mapper), m_report(report) {}

void TSysmonEventReader::eventIdText(std::string_view text) {
    // A failure here is the worker's: it leaves the parse.
    m_state.FEventIDUnderParsing = StrToInt(text);
    m_recordId.clear();
    m_eventsCount.fetch_add(1, std::memory_order_relaxed);
    if (const char* name = catalogue::readerDisplayName(m_state.FEventIDUnderParsing))
        m_state.FEventNameUnderParsing = name;
}

void TSysmonEventReader::dataItem(std::string_view name, std::string_view text) {
    if (!m_state.FEventRecordData.add(name, text))
        m_report.itemDropped();
}

void TSysmonEventReader::computerText(std::string_view text) {
    m_state.FComputerName.assign(text);
}

void TSysmonEventReader::endEventData() {
    if (m_isDuplicate && m_isDuplicate(m_state, m_recordId)) {
        ++m_duplicates;
        // Its items must not linger into the next event.
        m_state.FEventRecordData.clear();
        return;
    }
    m_mapper.writeEvent(m_state);
    if (m_afterEvent)
        m_afterEvent();
}

} // namespace kelvane
