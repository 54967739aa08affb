#pragma once

#include "import/EventRecord.h"
#include "import/LocaleDateText.h"
#include "store/DateTime.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

class ImportReport;
class TIPGeolocator;
class TDatasetSource;
class TTableDataset;

// What the reader has gathered of the event being read.
struct EventState {
    int FEventIDUnderParsing = -1;
    std::string FEventNameUnderParsing;
    std::string FComputerName;
    EventRecord FEventRecordData;
};

// The columns of a search result row, for events that come from a server rather than a log file.
// An item of the event is the column event_data.<item>; an item a row lacks reads like an absent item
// of a log.
class TResultColumns {
public:
    virtual ~TResultColumns() = default;
    // The value of a column outside event_data, or nullptr when the result has no such column.
    virtual const std::string* column(std::string_view name) const = 0;
};

// Where the events come from: the mapping differs in a few settled ways between the two.
enum class EventSource { XmlLog, Elasticsearch };

// Turns one gathered event into its master row, its type row and its summary rows.
class TEventMapper {
public:
    // With a geolocator the mapper is the geolocating form; without one, the plain form.
    TEventMapper(TDatasetSource& data, ImportReport& report, TIPGeolocator* geolocator = nullptr,
                 EventSource source = EventSource::XmlLog);

    // Told of every event whose rows were written, with its master row's key (the detections read the
    // event's items there, before they are cleared).
    using EventObserver = std::function<void(const EventState& state, std::int64_t gid)>;
    void setEventObserver(EventObserver observer) { m_observer = std::move(observer); }

    // The columns of the row being mapped; set before each event from a server.
    void setResultColumns(const TResultColumns* columns) { m_columns = columns; }
    ~TEventMapper();

    // Called at the end tag of EventData. Writes the event's rows and clears its items; on a failure the
    // report learns of it, the items stay, and the row being written stays pending on its dataset.
    void writeEvent(EventState& state);
    bool geolocating() const { return m_geo != nullptr; }

    // Field accessors over the current event's items.
    std::string_view ReadText(std::string_view name) const;
    std::int32_t ReadInteger(std::string_view name) const;
    std::int64_t ReadInt64(std::string_view name) const;
    std::string_view ReadBaseName(std::string_view name) const;
    DateTime ReadDateTime(std::string_view name) const;
    bool ReadBoolean(std::string_view name) const;

    // The EventDetails text of the current event (before the cut to the column's width).
    std::string eventDetails(const DateTime& utcTime, std::string_view queryStatusDescription) const;

private:
    struct FieldPlan;
    struct TypePlan;
    std::int64_t writeRows(EventState& state);
    void writeTypeRow(const TypePlan& plan, std::int64_t gid, std::string_view description);
    // Every item that the type's table has no column for, in the order of the log.
    void writeExtraItems(const TypePlan& plan, std::int64_t gid);
    void writeImageExe(int id, const TTableDataset& row, const char* image, const char* imageExe,
                       const char* guid, std::int64_t gid);
    void writeHashes(const TTableDataset& row, std::int64_t gid);
    void writeNetworkSummary(const TTableDataset& row, std::int64_t gid);
    void geolocate(TTableDataset& row, const char* isIpv6, const char* address, const char* country,
                   const char* countryCode);
    const TypePlan* planFor(int id) const;
    const std::string* item(std::string_view name) const;
    DateTime bareUtcTime() const;
    bool fromServer() const { return m_source == EventSource::Elasticsearch; }

    TDatasetSource& m_data;
    ImportReport& m_report;
    TIPGeolocator* m_geo;
    EventSource m_source;
    const TResultColumns* m_columns = nullptr;
    EventObserver m_observer;
    const EventState* m_state = nullptr;
    TTableDataset* m_master;
    TTableDataset* m_imageExes;
    TTableDataset* m_hashes;
    TTableDataset* m_hosts;
    TTableDataset* m_addresses;
    TTableDataset* m_ports;
    TTableDataset* m_regTargets;
    TTableDataset* m_extras;
    int m_extraFid, m_extraItems;
    std::string m_extraText; // reused, so that an event costs no allocation
    std::vector<TypePlan> m_plans;
    mutable LocaleDateText m_dateText;
};

} // namespace kelvane
