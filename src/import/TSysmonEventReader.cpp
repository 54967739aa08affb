#include "import/TSysmonEventReader.h"

#include "import/ImportReport.h"
#include "import/ValueConversions.h"
#include "store/EventCatalogue.h"

namespace kelvane {

TSysmonEventReader::TSysmonEventReader(TEventMapper& mapper, ImportReport& report)
    : m_mapper(mapper), m_report(report) {}

void TSysmonEventReader::startElement(std::string_view name, std::span<const SaxAttribute> attributes) {
    FIsItData = false;
    FIsItEvent = false;
    FIsItComputer = false;
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

void TSysmonEventReader::text(std::string_view text) {
    if (!FIsItEvent && !FIsItData && !FIsItComputer)
        return;
    m_buffer.assign(text);
    clearTextInPlace(m_buffer);
    if (FIsItEvent) {
        // A failure here is the worker's: it leaves the parse.
        m_state.FEventIDUnderParsing = StrToInt(m_buffer);
        m_eventsCount.fetch_add(1, std::memory_order_relaxed);
        if (const char* name = catalogue::readerDisplayName(m_state.FEventIDUnderParsing))
            m_state.FEventNameUnderParsing = name;
    }
    if (FIsItData) {
        if (!m_state.FEventRecordData.add(FActiveKey, m_buffer))
            m_report.itemDropped();
    }
    if (FIsItComputer)
        m_state.FComputerName = m_buffer;
}

void TSysmonEventReader::endElement(std::string_view name) {
    if (name != "EventData")
        return;
    m_mapper.writeEvent(m_state);
    if (m_afterEvent)
        m_afterEvent();
}

} // namespace kelvane
