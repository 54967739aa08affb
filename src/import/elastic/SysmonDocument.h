#pragma once

#include "import/EventRecord.h"
#include "import/TEventMapper.h"

#include <string>
#include <string_view>

namespace kelvane {

class FlatDocument;

// One Sysmon event read from a shipped document, under Sysmon's own item names.
//
// Three shapes are read. winlogbeat 6 writes log_name, event_id, computer_name and event_data.X.
// winlogbeat 7 and later write winlog.channel, winlog.event_id, winlog.computer_name and
// winlog.event_data.X; their Sysmon module and Elastic Agent's integration move many items into
// ECS fields (process.pid, file.path, ...), which are mapped back here. Every shipper leaves out empty
// items, so an item that a document lacks reads as empty, as an empty Data item of a log.
class SysmonDocument {
public:
    void read(const FlatDocument& flat, int eventId);

    EventRecord items;
    bool winlogLayout = false;
    std::string computer;
    bool hasUtcTime = false; // a bare UtcTime beside event_data
    std::string utcTime;

    // The ISO 8601 time stamp of a document in Sysmon's "yyyy-MM-dd HH:mm:ss.SSS", or empty.
    static std::string sysmonTime(std::string_view timestamp);

private:
    void readEcs(const FlatDocument& flat, int eventId);
    std::string m_scratch;
};

// The columns of the row being mapped outside its items: a bare UtcTime, where a document has one.
class ElasticResultColumns : public TResultColumns {
public:
    void set(const SysmonDocument& document) { m_document = &document; }
    const std::string* column(std::string_view name) const override;

private:
    const SysmonDocument* m_document = nullptr;
};

} // namespace kelvane
