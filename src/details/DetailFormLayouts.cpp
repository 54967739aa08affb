#include "details/DetailFormLayouts.h"

#include "store/EventCatalogue.h"

#include <deque>
#include <iterator>
#include <vector>

namespace kelvane::detailforms {
namespace {

using A = RowAction;
using RowFlag::Editable;
using RowFlag::MultiLine;
using RowFlag::Undeclared;

constexpr const char* kSessionHint =
    "Click to get a view of all the events within the context of this session";
constexpr const char* kIpHint = "Click to get whois, cymon and VirusTotal information about the IP address";
constexpr const char* kDomainHint =
    "Click to get whois, cymon and VirusTotal information about the domain name";

constexpr DetailRowLayout kProcessCreate[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"CommandLine", "Command line"},
    {"CurrentDirectory", "Current directory"},
    {"User", "User"},
    {"LogonGuid", "Logon GUID"},
    {"LogonId", "Logon ID"},
    {"TerminalSessionId", "Terminal session ID"},
    {"IntegrityLevel", "Integrity level"},
    {"MD5", "MD5", A::Hash},
    {"SHA1", "SHA1", A::Hash},
    {"SHA256", "SHA256", A::Hash},
    {"ParentProcessGuid", "Parent process GUID", A::Session},
    {"ParentProcessId", "Parent process ID"},
    {"ParentImage", "Parent image"},
    {"ParentCommandLine", "Parent command line"},
};

constexpr DetailRowLayout kFileCreationTimeChanged[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"TargetFilename", "Target file name"},
    {"CreationUtcTime", "Creation UTC time"},
    {"PreviousCreationUtcTime", "Previous creation UTC time"},
};

constexpr DetailRowLayout kNetworkConnectionDetected[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session, RowFlag::None, kSessionHint},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"User", "User"},
    {"Protocol", "Protocol"},
    {"Initiated", "Initiated"},
    {"SourceIsIpv6", "Source is IPv6"},
    {"SourceIp", "Source IP", A::IP, RowFlag::None, kIpHint},
    {"SourceHostname", "Source hostname", A::Domain, RowFlag::None, kDomainHint},
    {"SourcePort", "Source port"},
    {"SourcePortName", "Source port name"},
    // The form's field list has no source country, so this row never shows one.
    {"SourceCountry", "Source country", A::None, Undeclared},
    {"DestinationIsIpv6", "Destination is IPv6"},
    {"DestinationIp", "Destination IP", A::IP, RowFlag::None, kIpHint},
    {"DestinationHostname", "Destination hostname", A::Domain, RowFlag::None, kDomainHint},
    {"DestinationPort", "Destination port"},
    {"DestinationPortName", "Destination port name"},
    {"DestinationCountry", "Destination country"},
};

constexpr DetailRowLayout kProcessTerminated[] = {
    {"UtcTime", "UTC time"},     {"RuleName", "RuleName"}, {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"}, {"Image", "Image"},
};

constexpr DetailRowLayout kDriverLoaded[] = {
    {"UtcTime", "UTC time"}, {"RuleName", "RuleName"},   {"ImageLoaded", "Image loaded"},
    {"MD5", "MD5", A::Hash}, {"SHA1", "SHA1", A::Hash},  {"SHA256", "SHA256", A::Hash},
    {"Signed", "Signed"},    {"Signature", "Signature"},
};

constexpr DetailRowLayout kImageLoaded[] = {
    {"UtcTime", "UTC time"},     {"RuleName", "RuleName"},   {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"}, {"Image", "Image"},         {"ImageLoaded", "Image loaded"},
    {"MD5", "MD5", A::Hash},     {"SHA1", "SHA1", A::Hash},  {"SHA256", "SHA256", A::Hash},
    {"Signed", "Signed"},        {"Signature", "Signature"},
};

constexpr DetailRowLayout kCreateRemoteThreadDetected[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "Rule Name"},
    {"SourceProcessGuid", "Source process GUID", A::Session},
    {"SourceProcessId", "Source process ID"},
    {"SourceImage", "Source image"},
    {"TargetProcessGuid", "Target process GUID", A::Session},
    {"TargetProcessId", "Target process ID"},
    {"TargetImage", "Target image"},
    {"NewThreadId", "New thread ID"},
    {"StartAddress", "Start address"},
    {"StartModule", "Start module"},
    {"StartFunction", "Start function"},
};

constexpr DetailRowLayout kRawAccessReadDetected[] = {
    {"UtcTime", "UTC time"},     {"RuleName", "RuleName"}, {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"}, {"Image", "Image"},       {"Device", "Device"},
};

constexpr DetailRowLayout kProcessAccessed[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"SourceProcessGUID", "Source process GUID", A::Session},
    {"SourceProcessId", "Source process ID"},
    {"SourceThreadId", "Source thread ID"},
    {"SourceImage", "Source image"},
    {"TargetProcessGuid", "Target process GUID", A::Session},
    {"TargetProcessId", "Target process ID"},
    {"TargetImage", "Target image"},
    {"GrantedAccess", "Granted access"},
    {"CallTrace", "Call trace", A::None, MultiLine},
};

constexpr DetailRowLayout kFileCreated[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"TargetFilename", "Target file name"},
    {"GrantedAccess", "Granted access"},
    {"CreationUtcTime", "Creation UTC time"},
};

constexpr DetailRowLayout kRegistryObjectAddedOrDeleted[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"EventType", "Event type"},
    {"TargetObject", "Target object", A::Registry},
};

constexpr DetailRowLayout kRegistryValueSet[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"EventType", "Event type"},
    {"TargetObject", "Target object", A::Registry},
    {"Details", "Details"},
};

constexpr DetailRowLayout kRegistryObjectRenamed[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"EventType", "Event type"},
    {"TargetObject", "Target object", A::Registry},
    {"NewName", "New name"},
};

constexpr DetailRowLayout kFileStreamCreated[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "RuleName"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"MD5", "MD5", A::Hash},
    {"SHA1", "SHA1", A::Hash},
    {"SHA256", "SHA256", A::Hash},
    {"TargetFilename", "Target file name"},
};

constexpr DetailRowLayout kPipe[] = {
    {"UtcTime", "UTC time"},     {"RuleName", "RuleName"}, {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"}, {"Image", "Image"},       {"PipeName", "Pipe name"},
};

constexpr DetailRowLayout kWMIFilter[] = {
    {"UtcTime", "UTC Time"},
    {"RuleName", "RuleName"},
    {"Operation", "Operation"},
    {"User", "User"},
    {"EventNamespace", "Event namespace"},
    {"Name", "Name"},
    {"Query", "Query"},
};

// Of the WMI forms only these two take typing, and in every row but RuleName.
constexpr DetailRowLayout kWMIConsumer[] = {
    {"UtcTime", "UTC Time", A::None, Editable},
    {"RuleName", "RuleName"},
    {"Operation", "Operation", A::None, Editable},
    {"User", "User", A::None, Editable},
    {"Name", "Name", A::None, Editable},
    {"Type", "Type", A::None, Editable},
    {"Destination", "Destination", A::None, Editable},
};

constexpr DetailRowLayout kWMIBinding[] = {
    {"UtcTime", "UTC Time", A::None, Editable},    {"RuleName", "RuleName"},
    {"Operation", "Operation", A::None, Editable}, {"User", "User", A::None, Editable},
    {"Consumer", "Consumer", A::None, Editable},   {"Filter", "Filter", A::None, Editable},
};

constexpr DetailRowLayout kDNSQuery[] = {
    {"UtcTime", "UTC time"},
    {"RuleName", "Rule Name"},
    {"ProcessGuid", "Process GUID", A::Session},
    {"ProcessId", "Process ID"},
    {"Image", "Image"},
    {"QueryName", "Query Name"},
    {"QueryStatus", "Query Status"},
    {"QueryStatusDescription", "Query Status Description"},
    {"QueryResults", "Query Results"},
};

// class, table, size, minimum, header width, title follows table, reputation panel, rows
constexpr DetailFormLayout kForms[] = {
    {"TProcessCreateForm", "ProcessCreate", 562, 554, 380, 556, 108, false, true, kProcessCreate},
    {"TFileCreationTimeChangedForm", "FileCreationTimeChanged", 364, 461, 0, 0, 108, false, false,
     kFileCreationTimeChanged},
    {"TFormNetworkConnectionDetected", "NetworkConnectionDetected", 364, 594, 380, 604, 108, false, true,
     kNetworkConnectionDetected},
    {"TProcessTerminatedForm", "ProcessTerminated", 364, 461, 0, 0, 108, false, false, kProcessTerminated},
    {"TDriverLoadedForm", "DriverLoaded", 364, 461, 0, 0, 95, false, true, kDriverLoaded},
    {"TImageLoadedForm", "ImageLoaded", 562, 548, 380, 556, 108, false, true, kImageLoaded},
    {"TCreateRemoteThreadDetectedForm", "CreateRemoteThreadDetected", 364, 461, 0, 0, 108, true, false,
     kCreateRemoteThreadDetected},
    {"TRawAccessReadDetectedForm", "RawAccessReadDetected", 364, 461, 0, 0, 108, false, false,
     kRawAccessReadDetected},
    {"TProcessAccessedForm", "ProcessAccessed", 364, 461, 0, 0, 108, true, false, kProcessAccessed},
    {"TFileCreatedForm", "FileCreated", 364, 461, 0, 0, 108, false, false, kFileCreated},
    {"TRegistryObjectAddedOrDeletedForm", "RegistryObjectAddedOrDeleted", 364, 461, 380, 500, 0, false, false,
     kRegistryObjectAddedOrDeleted},
    {"TRegistryValueSetForm", "RegistryValueSet", 364, 461, 380, 500, 0, false, false, kRegistryValueSet},
    {"TRegistryObjectRenamedForm", "RegistryObjectRenamed", 364, 461, 380, 500, 0, false, false,
     kRegistryObjectRenamed},
    {"TFileStreamCreatedForm", "FileStreamCreated", 562, 548, 380, 556, 108, false, true, kFileStreamCreated},
    {"TPipeConnectedForm", "PipeConnected", 364, 461, 0, 0, 108, true, false, kPipe},
    {"TWMIFilterForm", "WMIFilter", 364, 461, 0, 0, 108, true, false, kWMIFilter},
    {"TWMIConsumerForm", "WMIConsumer", 364, 461, 0, 0, 108, true, false, kWMIConsumer},
    {"TWMIBindingForm", "WMIBinding", 364, 461, 0, 0, 108, true, false, kWMIBinding},
    {"TDNSQueryForm", "DNSQuery", 364, 461, 0, 0, 145, true, false, kDNSQuery},
};

// The sheet of a later type: time, rule name and a row per item, in the catalogue's order. A session GUID
// opens its session, split hashes ask VirusTotal, as on the older sheets.
DetailFormLayout derivedLayout(const EventTypeInfo& type) {
    static std::deque<std::vector<DetailRowLayout>> rowLists;
    std::vector<DetailRowLayout> rows{{"UtcTime", "UTC time"}, {"RuleName", "RuleName"}};
    bool hashes = false;
    for (const char* item : type.items) {
        const std::string_view name(item);
        if (name == "Hashes" && catalogue::columnOfItem(type, "MD5")) {
            hashes = true;
            for (const char* hash : {"MD5", "SHA1", "SHA256"})
                rows.push_back({hash, hash, A::Hash});
        } else if (name.ends_with("ProcessGuid")) {
            rows.push_back({item, catalogue::itemCaption(item), A::Session, RowFlag::None, kSessionHint});
        } else {
            const bool long_ = name == "Configuration" || name == "Description" || name == "TargetFilename";
            rows.push_back({item, catalogue::itemCaption(item), A::None, long_ ? MultiLine : RowFlag::None});
        }
    }
    rowLists.push_back(std::move(rows));
    return {type.detailForm, type.table, hashes ? 562 : 364, hashes ? 548 : 461, 0, 0, 108,
            false,           hashes,     rowLists.back()};
}

const std::vector<DetailFormLayout>& allForms() {
    static const std::vector<DetailFormLayout> forms = [] {
        std::vector<DetailFormLayout> list(std::begin(kForms), std::end(kForms));
        for (const EventTypeInfo& type : catalogue::types())
            if (!type.firstLayout)
                list.push_back(derivedLayout(type));
        return list;
    }();
    return forms;
}

} // namespace

std::span<const DetailFormLayout> layouts() {
    return allForms();
}

const DetailFormLayout* layout(std::string_view className) {
    for (const auto& form : allForms())
        if (className == form.className)
            return &form;
    return nullptr;
}

} // namespace kelvane::detailforms
