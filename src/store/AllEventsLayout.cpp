#include "store/AllEventsLayout.h"

#include "store/AllEventsSearch.h"
#include "store/EventCatalogue.h"
#include "store/Schema.h"

#include <algorithm>
#include <deque>
#include <string>

namespace kelvane {

namespace {

constexpr MasterColumn kMaster[] = {
    {"cxGridAllEventsDBTableMasterViewUtcTime", "UtcTime", "Time", false, true},
    {"cxGridAllEventsDBTableMasterViewEventType", "EventType", "Event ID", false, false},
    {"cxGridAllEventsDBTableMasterViewEventTypeName", "EventTypeName", "Event Type", true, false},
    {"cxGridAllEventsDBTableMasterViewCorrelationGuid", "CorrelationGuid", "Process GUID", true, false},
    {"cxGridAllEventsDBTableMasterViewComputer", "Computer", "Computer", true, false},
    {"cxGridAllEventsDBTableMasterViewRuleName", "RuleName", "RuleName", true, false},
};

constexpr DetailLink D = DetailLink::Detail;
constexpr DetailLink S = DetailLink::Session;
constexpr DetailLink N = DetailLink::None;

DetailView view(const char* name, const char* table, std::vector<DetailColumn> columns) {
    return {name, table, std::move(columns), false, -1, ""};
}

// The view of a later type: its key, its time and a column per item, the session GUID as a link; hashes
// show split as the older hash views show them.
DetailView derivedView(const EventTypeInfo& type) {
    static std::deque<std::string> names;
    names.push_back(std::string("cxGridAllEventsDBTableView") + type.table);
    std::vector<DetailColumn> columns{{"FID", "", D}, {"UtcTime", "UTC time", N}};
    for (const char* item : type.items) {
        if (std::string_view(item) == "Hashes" && catalogue::columnOfItem(type, "MD5")) {
            for (const char* hash : {"MD5", "SHA1", "SHA256"})
                columns.push_back({hash, "", N});
            continue;
        }
        columns.push_back(
            {item, catalogue::itemCaption(item), std::string_view(item) == "ProcessGuid" ? S : N});
    }
    return view(names.back().c_str(), type.table, std::move(columns));
}

const std::vector<DetailView>& views() {
    static const std::vector<DetailView> all = [] {
        std::vector<DetailView> v;
        v.push_back(view("cxGridAllEventsDBTableViewCreateRemoteThreadDetected", "CreateRemoteThreadDetected",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"SourceProcessGuid", "Source process GUID", S},
                          {"SourceProcessId", "Source process ID", N},
                          {"SourceImage", "Source image", N},
                          {"TargetProcessGuid", "Target process GUID", S},
                          {"TargetProcessId", "Target process ID", N},
                          {"TargetImage", "Target image", N},
                          {"NewThreadId", "New thread ID", N},
                          {"StartAddress", "Start address", N},
                          {"StartModule", "Start module", N},
                          {"StartFunction", "Start function", N}}));
        v.back().emptyText = "nothing here!";
        v.push_back(view("cxGridAllEventsDBTableViewDriverLoaded", "DriverLoaded",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ImageLoaded", "Image loaded", N},
                          {"MD5", "", N},
                          {"SHA1", "", N},
                          {"SHA256", "", N},
                          {"Signed", "", N},
                          {"Signature", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewFileCreated", "FileCreated",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"TargetFilename", "Target file name", N},
                          {"GrantedAccess", "Granted access", N},
                          {"CreationUtcTime", "Creation UTC time", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewFileCreationTimeChanged", "FileCreationTimeChanged",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"TargetFilename", "Target file name", N},
                          {"CreationUtcTime", "Creation UTC time", N},
                          {"PreviousCreationUtcTime", "Previous creation UTC time", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewFileStreamCreated", "FileStreamCreated",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"TargetFilename", "Target file name", N},
                          {"CreationUtcTime", "Creation UTC time", N},
                          {"MD5", "", N},
                          {"SHA1", "", N},
                          {"SHA256", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewImageLoaded", "ImageLoaded",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"ImageLoaded", "Image loaded", N},
                          {"MD5", "", N},
                          {"SHA1", "", N},
                          {"SHA256", "", N},
                          {"Signed", "", N},
                          {"Signature", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewNetworkConnectionDetected", "NetworkConnectionDetected",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"User", "", N},
                          {"Protocol", "", N},
                          {"Initiated", "", N},
                          {"SourceIp", "Source IP", N},
                          {"SourceHostname", "Source host name", N},
                          {"SourcePort", "Source port", N},
                          {"SourcePortName", "Source port name", N},
                          {"SourceCountry", "Source country", N},
                          {"DestinationIp", "Destination IP", N},
                          {"DestinationHostname", "Destination host name", N},
                          {"DestinationPort", "Destination port", N},
                          {"DestinationPortName", "Destination port name", N},
                          {"DestinationCountry", "Destination country", N}}));
        for (const char* table : {"PipeConnected", "PipeCreated"})
            v.push_back(view(table == std::string_view("PipeConnected")
                                 ? "cxGridAllEventsDBTableViewPipeConnected"
                                 : "cxGridAllEventsDBTableViewPipeCreated",
                             table,
                             {{"FID", "", D},
                              {"UtcTime", "UTC time", N},
                              {"ProcessGuid", "Process GUID", S},
                              {"ProcessId", "Process ID", N},
                              {"PipeName", "Pipe name", N},
                              {"Image", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewProcessAccessed", "ProcessAccessed",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"SourceProcessGUID", "Source process GUID", S},
                          {"SourceProcessId", "Source process ID", N},
                          {"SourceThreadId", "Source thread ID", N},
                          {"SourceImage", "Source image", N},
                          {"TargetProcessGUID", "Target process GUID", S},
                          {"TargetProcessId", "Target process ID", N},
                          {"TargetImage", "Target image", N},
                          {"GrantedAccess", "Granted access", N},
                          {"CallTrace", "Call trace", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewProcessCreate", "ProcessCreate",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"CommandLine", "Command line", N},
                          {"CurrentDirectory", "Current directory", N},
                          {"User", "", N},
                          {"LogonGuid", "Logon GUID", N},
                          {"LogonId", "Logon ID", N},
                          {"TerminalSessionId", "Terminal session ID", N},
                          {"IntegrityLevel", "Integrity level", N},
                          {"MD5", "", N},
                          {"SHA1", "", N},
                          {"SHA256", "", N},
                          {"ParentProcessGuid", "Parent process GUID", S},
                          {"ParentProcessId", "Parent process ID", N},
                          {"ParentImage", "Parent image", N},
                          {"ParentCommandLine", "Parent command line", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewProcessTerminated", "ProcessTerminated",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewRawAccessReadDetected", "RawAccessReadDetected",
                         {{"FID", "", D},
                          {"UtcTime", "UTC time", N},
                          {"ProcessGuid", "Process GUID", S},
                          {"ProcessId", "Process ID", N},
                          {"Image", "", N},
                          {"Device", "", N}}));
        const std::vector<DetailColumn> registry = {{"FID", "", D},
                                                    {"UtcTime", "UTC time", N},
                                                    {"ProcessGuid", "Process GUID", S},
                                                    {"ProcessId", "Process ID", N},
                                                    {"Image", "", N},
                                                    {"EventType", "Event type", N},
                                                    {"TargetObject", "Target object", N}};
        v.push_back(view("cxGridAllEventsDBTableViewRegistryObjectAddedOrDeleted",
                         "RegistryObjectAddedOrDeleted", registry));
        auto renamed = registry;
        renamed.push_back({"NewName", "New name", N});
        v.push_back(
            view("cxGridAllEventsDBTableViewRegistryObjectRenamed", "RegistryObjectRenamed", renamed));
        auto valueSet = registry;
        valueSet.push_back({"Details", "", N});
        v.push_back(view("cxGridAllEventsDBTableViewRegistryValueSet", "RegistryValueSet", valueSet));
        v.push_back(view("cxGridAllEventsDBTableViewWMIFilter", "WMIFilter",
                         {{"FID", "", D},
                          {"UtcTime", "", N},
                          {"Operation", "", N},
                          {"User", "", N},
                          {"EventNamespace", "", N},
                          {"Name", "", N},
                          {"Query", "", N}}));
        v.back().firstSortable = 1;
        v.push_back(view("cxGridAllEventsDBTableViewWMIConsumer", "WMIConsumer",
                         {{"FID", "", D},
                          {"UtcTime", "", N},
                          {"Operation", "", N},
                          {"User", "", N},
                          {"Name", "", N},
                          {"Type", "", N},
                          {"Destination", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewWMIBinding", "WMIBinding",
                         {{"FID", "", D},
                          {"UtcTime", "", N},
                          {"Operation", "", N},
                          {"User", "", N},
                          {"Consumer", "", N},
                          {"Filter", "", N}}));
        v.push_back(view("cxGridAllEventsDBTableViewDNSQuery", "DNSQuery",
                         {{"FID", "", D},
                          {"UtcTime", "", N},
                          {"ProcessGuid", "", S},
                          {"ProcessId", "", N},
                          {"Image", "", N},
                          {"QueryName", "", N},
                          {"QueryStatus", "", N},
                          {"QueryStatusDescription", "", N},
                          {"QueryResults", "", N}}));
        v.back().groupByStrip = true;
        v.back().firstSortable = 0;
        for (const EventTypeInfo& type : catalogue::types())
            if (!type.firstLayout)
                v.push_back(derivedView(type));
        return v;
    }();
    return all;
}

QVariant cell(const sql::Statement& stmt, int column) {
    switch (stmt.columnType(column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
        return QVariant::fromValue<qint64>(stmt.columnInt64(column));
    case SQLITE_FLOAT:
        return stmt.columnDouble(column);
    default: {
        const std::string_view text = stmt.columnText(column);
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    }
}

bool isEventTable(const std::string& table) {
    return catalogue::findByTable(table) != nullptr;
}

} // namespace

std::span<const MasterColumn> masterColumns() {
    return kMaster;
}

std::span<const DetailView> detailViews() {
    return views();
}

const DetailView& detailViewForEventType(int eventType) {
    const EventTypeInfo* type = catalogue::find(eventType);
    const char* table = type ? type->table : "CreateRemoteThreadDetected";
    for (const DetailView& v : views())
        if (std::string_view(v.table) == table)
            return v;
    return views().front();
}

DetailKeys::Pairs DetailKeys::readTable(sql::Database& db, const std::string& table) {
    Pairs pairs;
    sql::Statement stmt = db.prepare("SELECT FID, rowid FROM " + table);
    bool ordered = true;
    while (stmt.step()) {
        const std::int64_t fid = stmt.isNull(0) ? INT64_MIN : stmt.columnInt64(0);
        ordered = ordered && (pairs.empty() || pairs.back().first <= fid);
        pairs.emplace_back(fid, stmt.columnInt64(1));
    }
    // An import writes the rows in key order; anything else is sorted here.
    if (!ordered)
        std::stable_sort(pairs.begin(), pairs.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    return pairs;
}

std::shared_ptr<const DetailKeys> DetailKeys::read(sql::Database& db, const std::atomic_bool* cancel) {
    const CancelGuard guard(db, cancel);
    auto keys = std::make_shared<DetailKeys>();
    try {
        for (const EventTypeInfo& type : catalogue::types())
            keys->m_tables[type.table] = readTable(db, type.table);
    } catch (const sql::Error& e) {
        if (e.code() == SQLITE_INTERRUPT && cancel && cancel->load())
            throw SearchCancelled();
        throw;
    }
    return keys;
}

const DetailKeys::Pairs* DetailKeys::table(const std::string& name) const {
    const auto it = m_tables.find(name);
    return it == m_tables.end() ? nullptr : &it->second;
}

DetailRows DetailRowReader::read(sql::Database& db, const QString& table, std::int64_t fid) {
    const std::string name = table.toStdString();
    // The name is pasted into the text below, so only the catalogue's tables are taken.
    if (!isEventTable(name))
        throw sql::Error("no such event table: " + name);
    const DetailKeys::Pairs* pairs = m_shared ? m_shared->table(name) : nullptr;
    if (!pairs) {
        auto it = m_own.find(name);
        if (it == m_own.end())
            it = m_own.emplace(name, DetailKeys::readTable(db, name)).first;
        pairs = &it->second;
    }
    DetailRows result;
    sql::Statement stmt = db.prepare("SELECT * FROM " + name + " WHERE rowid = ?");
    for (int c = 0; c < stmt.columnCount(); ++c)
        result.fields << QString::fromStdString(stmt.columnName(c));
    auto it = std::lower_bound(pairs->begin(), pairs->end(), fid,
                               [](const auto& pair, std::int64_t key) { return pair.first < key; });
    for (; it != pairs->end() && it->first == fid; ++it) {
        stmt.reset();
        stmt.bind(1, it->second);
        if (!stmt.step())
            continue;
        std::vector<QVariant> row;
        for (int c = 0; c < stmt.columnCount(); ++c)
            row.push_back(cell(stmt, c));
        result.rows.push_back(std::move(row));
    }
    return result;
}

} // namespace kelvane
