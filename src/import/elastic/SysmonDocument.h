#pragma once

#include "import/EventRecord.h"
#include "import/TEventMapper.h"

#include <set>
#include <string>
#include <string_view>

namespace kelvane {

class FlatDocument;

// The columns an index has for documents in winlogbeat 6's names, as the server lists its fields.
struct IndexColumns {
    std::set<std::string, std::less<>> items; // X of every event_data.X
    bool computerName = false;
    bool utcTime = false; // a bare UtcTime column
};

// One Sysmon event read from a shipped document, under Sysmon's own item names.
//
// Three shapes are read. winlogbeat 6 writes log_name, event_id, computer_name and event_data.X.
// winlogbeat 7 and later write winlog.channel, winlog.event_id, winlog.computer_name and
// winlog.event_data.X; their Sysmon module and Elastic Agent's integration move many items into
// ECS fields (process.pid, file.path, ...), which are mapped back here. The shippers of the second
// layout leave out empty items, so there every item counts as a column and a missing one is empty.
class SysmonDocument {
public:
    void read(const FlatDocument& flat, int eventId);

    EventRecord items;
    bool winlogLayout = false;
    bool hasComputer = false;
    std::string computer;
    bool hasUtcTime = false; // a bare UtcTime beside event_data
    std::string utcTime;

    // The ISO 8601 time stamp of a document in Sysmon's "yyyy-MM-dd HH:mm:ss.SSS", or empty.
    static std::string sysmonTime(std::string_view timestamp);

private:
    void readEcs(const FlatDocument& flat, int eventId);
    std::string m_scratch;
};

// The result columns of the row being mapped: the index's fields for winlogbeat 6 documents,
// every item for the later layout.
class ElasticResultColumns : public TResultColumns {
public:
    void set(const SysmonDocument& document, const IndexColumns& index) {
        m_document = &document;
        m_index = &index;
    }
    bool hasItem(std::string_view item) const override;
    const std::string* column(std::string_view name) const override;

private:
    const SysmonDocument* m_document = nullptr;
    const IndexColumns* m_index = nullptr;
    std::string m_empty;
};

} // namespace kelvane
