#include "store/EventCatalogue.h"

namespace kelvane::catalogue {
namespace {

constexpr EventTypeInfo kTypes[] = {
    {1, "Process Create", "ProcessCreate", "TProcessCreateForm", "ProcessGuid", ""},
    {2, "File Creation Time Changed", "FileCreationTimeChanged", "TFileCreationTimeChangedForm",
     "ProcessGuid", ""},
    {3, "Network Connection Detected", "NetworkConnectionDetected", "TFormNetworkConnectionDetected",
     "ProcessGuid", ""},
    {5, "Process Terminated", "ProcessTerminated", "TProcessTerminatedForm", "ProcessGuid", ""},
    {6, "Driver Loaded", "DriverLoaded", "TDriverLoadedForm", "", "driverLoadedEvent"},
    {7, "Image Loaded", "ImageLoaded", "TImageLoadedForm", "ProcessGuid", ""},
    {8, "CreateRemoteThread Detected", "CreateRemoteThreadDetected", "TCreateRemoteThreadDetectedForm",
     "SourceProcessGuid", ""},
    {9, "RawAccessRead Detected", "RawAccessReadDetected", "TRawAccessReadDetectedForm", "ProcessGuid", ""},
    {10, "Process Accessed", "ProcessAccessed", "TProcessAccessedForm", "SourceProcessGUID", ""},
    {11, "File Created", "FileCreated", "TFileCreatedForm", "ProcessGuid", ""},
    {12, "Registry Object Added Or Deleted", "RegistryObjectAddedOrDeleted",
     "TRegistryObjectAddedOrDeletedForm", "ProcessGuid", ""},
    {13, "Registry Value Set", "RegistryValueSet", "TRegistryValueSetForm", "ProcessGuid", ""},
    {14, "Registry Object Renamed", "RegistryObjectRenamed", "TRegistryObjectRenamedForm", "ProcessGuid", ""},
    {15, "File Stream Created", "FileStreamCreated", "TFileStreamCreatedForm", "ProcessGuid", ""},
    {17, "Pipe Created", "PipeCreated", "TPipeConnectedForm", "ProcessGuid", ""},
    {18, "Pipe Connected", "PipeConnected", "TPipeConnectedForm", "ProcessGuid", ""},
    {19, "WmiEventFilter activity detected", "WMIFilter", "TWMIFilterForm", "", "wmiEventFilter"},
    {20, "WmiEventConsumer activity detected", "WMIConsumer", "TWMIConsumerForm", "", "wmiEventConsumer"},
    {21, "WmiEventBinding activity detected", "WMIBinding", "TWMIBindingForm", "", "wmiEventBinding"},
    {22, "Dns query", "DNSQuery", "TDNSQueryForm", "ProcessGuid", ""},
};

constexpr EventFilterEntry kFilter[] = {
    {"CreateRemoteThreadDetected", 8},
    {"FileCreated", 11},
    {"FileCreationTimeChanged", 2},
    {"FileStreamCreated", 15},
    {"ImageLoaded", 7},
    {"NetworkConnectionDetected", 3},
    {"PipeConnected", 18},
    {"PipeCreated", 17},
    {"ProcessAccessed", 10},
    {"ProcessCreate", 1},
    {"ProcessTerminated", 5},
    {"RawAccessReadDetected", 9},
    {"RegistryObjectAddedOrDeleted", 12},
    {"RegistryValueSet", 13},
    {"RegistryObjectRenamed", 14},
    {"DnsQuery", 22},
};

} // namespace

std::span<const EventTypeInfo> types() {
    return kTypes;
}

const EventTypeInfo* find(int id) {
    for (const auto& t : kTypes)
        if (t.id == id)
            return &t;
    return nullptr;
}

const EventTypeInfo* findByTable(std::string_view table) {
    for (const auto& t : kTypes)
        if (table == t.table)
            return &t;
    return nullptr;
}

const char* readerDisplayName(int id) {
    if (id == 4 || id == 16)
        return "";
    const EventTypeInfo* type = find(id);
    return type ? type->displayName : nullptr;
}

std::span<const int> sysmonEventIds() {
    static constexpr int kIds[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                   16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 255};
    return kIds;
}

std::span<const EventFilterEntry> processViewFilter() {
    return kFilter;
}

} // namespace kelvane::catalogue
