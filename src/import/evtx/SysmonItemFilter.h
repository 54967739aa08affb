#pragma once

#include "import/evtx/ChunkEvents.h"

#include <string>

namespace kelvane::evtx {

// The element names the importer reacts to; every other name is Other.
enum class NameKind : std::uint8_t { Other, EventID, Computer, Data, EventData, Channel };

// Watches the elements of a decoded record as the XML reader's element handlers watch a Windows export
// of it, and records what they would pass on: text is gathered between two tags, trimmed, dropped when
// empty, cleaned, and given to whatever the last start tag announced; a Data item takes its name from the
// element's first attribute. Only texts that somebody wants are rendered at all.
class SysmonItemFilter {
public:
    static constexpr std::string_view kSysmonChannel = "Microsoft-Windows-Sysmon/Operational";

    explicit SysmonItemFilter(ChunkEvents& out) : m_out(&out) {}
    void setOutput(ChunkEvents& out) { m_out = &out; }

    enum class Outcome { Kept, OtherChannel, Damaged };

    void beginRecord();
    // Keeps the record's calls when it was read whole and belongs to Sysmon's channel. A record whose items
    // are not closed by the end of its EventData is damaged: kept, its items would join the next event's.
    Outcome endRecord(bool complete);

    void startElement(NameKind kind);
    // The element repeated for the next item of an array: same name, same attributes.
    void repeatElement(NameKind kind);
    void endElement(NameKind kind);

    // Between the start of a Data element and the end of its first attribute, the attribute's value is
    // wanted.
    bool wantsKey() const { return m_wantsKey; }
    std::string& key() { return m_key; }
    void keyDone();

    // Whether the text of the current content matters; if so, it is appended to text().
    bool wantsText() const { return m_current != NameKind::Other; }
    std::string& text() { return m_text; }

private:
    void flush();

    ChunkEvents* m_out;
    ChunkEvents::Mark m_mark{};
    NameKind m_current = NameKind::Other;
    bool m_wantsKey = false;
    bool m_sysmon = false;
    bool m_openItems = false; // Data items told since the last end of EventData
    std::string m_key;
    std::string m_text;
};

} // namespace kelvane::evtx
