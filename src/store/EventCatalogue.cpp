#include "store/EventCatalogue.h"

#include "store/EventTableFields.h"

#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kelvane::catalogue {
namespace {

using Items = std::initializer_list<const char*>;

// The columns that the process-bound types share.
constexpr ImageFeed kImage[] = {{"Image", "ImageExe", "ProcessGuid"}};
constexpr ImageFeed kImageAndLoaded[] = {{"Image", "ImageExe", "ProcessGuid"},
                                         {"ImageLoaded", "ImageLoadedExe", "ProcessGuid"}};
constexpr ImageFeed kRemoteThread[] = {{"SourceImage", "SourceImageExe", "SourceProcessGuid"},
                                       {"TargetImage", "TargetImageExe", "TargetProcessGuid"}};
constexpr ImageFeed kAccess[] = {{"SourceImage", "SourceImageExe", "SourceProcessGUID"},
                                 {"TargetImage", "TargetImageExe", "TargetProcessGUID"}};

// Items and search columns by type, as spans over static arrays.
#define ITEMS(name, ...) constexpr const char* name[] = {__VA_ARGS__};

ITEMS(kProcessCreateItems, "ProcessGuid", "ProcessId", "Image", "CommandLine", "CurrentDirectory", "User",
      "LogonGuid", "LogonId", "TerminalSessionId", "IntegrityLevel", "Hashes", "ParentProcessGuid",
      "ParentProcessId", "ParentImage", "ParentCommandLine", "OriginalFileName")
ITEMS(kProcessCreateSearch, "ProcessGuid", "ProcessId#", "Image", "CommandLine", "CurrentDirectory", "User",
      "LogonGuid", "LogonId#", "TerminalSessionId#", "IntegrityLevel", "Hashes", "ParentProcessGuid",
      "ParentProcessId#", "ParentImage", "ParentCommandLine", "ImageExe", "ParentImageExe",
      "OriginalFileName")
ITEMS(kTimeChangedItems, "ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime",
      "PreviousCreationUtcTime")
ITEMS(kTimeChangedSearch, "ProcessGuid", "ProcessId#", "Image", "TargetFilename", "ImageExe")
ITEMS(kNetworkItems, "ProcessGuid", "ProcessId", "Image", "User", "Protocol", "Initiated", "SourceIsIpv6",
      "SourceIp", "SourceHostname", "SourcePort", "SourcePortName", "DestinationIsIpv6", "DestinationIp",
      "DestinationHostname", "DestinationPort", "DestinationPortName")
ITEMS(kNetworkSearch, "ProcessGuid", "ProcessId#", "Image", "User", "Protocol", "SourceIp", "SourceHostname",
      "SourcePort", "SourceCountry", "SourceCountryCode", "DestinationIp", "DestinationHostname",
      "DestinationPort", "DestinationPortName", "DestinationCountry", "DestinationCountryCode", "ImageExe")
ITEMS(kProcessItems, "ProcessGuid", "ProcessId", "Image")
ITEMS(kTerminatedSearch, "ProcessGuid", "ProcessId#", "Image", "ImageExe")
ITEMS(kDriverItems, "ImageLoaded", "Hashes", "Signed", "Signature")
ITEMS(kImageLoadedItems, "ProcessGuid", "ProcessId", "Image", "ImageLoaded", "Hashes", "Signed", "Signature",
      "OriginalFileName")
ITEMS(kImageLoadedSearch, "ProcessGuid", "ProcessId#", "Image", "ImageLoaded", "Hashes", "Signed",
      "Signature", "ImageExe", "ImageLoadedExe", "OriginalFileName")
ITEMS(kRemoteThreadItems, "SourceProcessGuid", "SourceProcessId", "SourceImage", "TargetProcessGuid",
      "TargetProcessId", "TargetImage", "NewThreadId", "StartAddress", "StartModule", "StartFunction")
ITEMS(kRemoteThreadSearch, "SourceProcessGuid", "SourceProcessId#", "SourceImage", "TargetProcessGuid",
      "TargetProcessId#", "TargetImage", "NewThreadId#", "StartAddress", "StartModule", "StartFunction",
      "SourceImageExe", "TargetImageExe")
ITEMS(kRawReadItems, "ProcessGuid", "ProcessId", "Image", "Device")
ITEMS(kRawReadSearch, "ProcessGuid", "ProcessId#", "Image", "Device", "ImageExe")
ITEMS(kAccessItems, "SourceProcessGUID", "SourceProcessId", "SourceThreadId", "SourceImage",
      "TargetProcessGUID", "TargetProcessId", "TargetImage", "GrantedAccess", "CallTrace")
// The search reads the columns under the other spelling; SQLite's names ignore case.
ITEMS(kAccessSearch, "SourceProcessGuid", "SourceProcessId#", "SourceThreadId#", "SourceImage",
      "TargetProcessGuid", "TargetProcessId#", "TargetImage", "GrantedAccess#", "CallTrace", "SourceImageExe",
      "TargetImageExe")
ITEMS(kFileCreatedItems, "ProcessGuid", "ProcessId", "Image", "TargetFilename", "GrantedAccess",
      "CreationUtcTime")
ITEMS(kFileCreatedSearch, "ProcessGuid", "ProcessId#", "Image", "TargetFilename", "GrantedAccess#",
      "ImageExe")
ITEMS(kRegAddItems, "ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject")
ITEMS(kRegAddSearch, "ProcessGuid", "ProcessId#", "Image", "TargetObject", "ImageExe")
ITEMS(kRegSetItems, "ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "Details")
ITEMS(kRegSetSearch, "ProcessGuid", "ProcessId#", "Image", "TargetObject", "Details", "ImageExe")
ITEMS(kRegRenameItems, "ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "NewName")
ITEMS(kRegRenameSearch, "ProcessGuid", "ProcessId#", "Image", "TargetObject", "NewName", "ImageExe")
ITEMS(kStreamItems, "ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime", "Hash")
ITEMS(kStreamSearch, "ProcessGuid", "ProcessId#", "Image", "TargetFilename", "Hashes", "ImageExe")
ITEMS(kPipeItems, "ProcessGuid", "ProcessId", "PipeName", "Image")
ITEMS(kPipeSearch, "ProcessGuid", "ProcessId#", "PipeName", "Image", "ImageExe")
ITEMS(kWmiFilterItems, "Operation", "User", "EventNamespace", "Name", "Query")
ITEMS(kWmiConsumerItems, "Operation", "User", "Name", "Type", "Destination")
ITEMS(kWmiBindingItems, "Operation", "User", "Consumer", "Filter")
ITEMS(kDnsItems, "ProcessGuid", "ProcessId", "Image", "QueryName", "QueryStatus", "QueryResults")
ITEMS(kDnsSearch, "ProcessGuid", "ProcessId#", "Image", "ImageExe", "QueryName", "QueryStatus",
      "QueryStatusDescription", "QueryResults")

// Later types: the search takes every text column, so that a deleted or blocked file's name is found.
ITEMS(kDeleteArchivedItems, "ProcessGuid", "ProcessId", "User", "Image", "TargetFilename", "Hashes",
      "IsExecutable", "Archived")
ITEMS(kDeleteArchivedSearch, "ProcessGuid", "ProcessId#", "User", "Image", "TargetFilename", "Hashes",
      "IsExecutable", "Archived", "ImageExe")
ITEMS(kClipboardItems, "ProcessGuid", "ProcessId", "Image", "Session", "ClientInfo", "Hashes", "Archived",
      "User")
ITEMS(kClipboardSearch, "ProcessGuid", "ProcessId#", "Image", "Session", "ClientInfo", "Hashes", "Archived",
      "User", "ImageExe")
ITEMS(kTamperingItems, "ProcessGuid", "ProcessId", "Image", "Type", "User")
ITEMS(kTamperingSearch, "ProcessGuid", "ProcessId#", "Image", "Type", "User", "ImageExe")
ITEMS(kDeleteLoggedItems, "ProcessGuid", "ProcessId", "User", "Image", "TargetFilename", "Hashes",
      "IsExecutable")
ITEMS(kDeleteLoggedSearch, "ProcessGuid", "ProcessId#", "User", "Image", "TargetFilename", "Hashes",
      "IsExecutable", "ImageExe")
ITEMS(kBlockItems, "ProcessGuid", "ProcessId", "User", "Image", "TargetFilename", "Hashes")
ITEMS(kBlockSearch, "ProcessGuid", "ProcessId#", "User", "Image", "TargetFilename", "Hashes", "ImageExe")
ITEMS(kServiceItems, "State", "Version", "SchemaVersion")
ITEMS(kConfigItems, "Configuration", "ConfigurationFileHash")
ITEMS(kErrorItems, "ID", "Description")

#undef ITEMS

using SummaryFeed::Hashes;
using SummaryFeed::Network;
using SummaryFeed::RegTarget;
constexpr std::span<const ImageFeed> kNoImage{};

const std::vector<EventTypeInfo>& all() {
    namespace f = tablefields;
    static const std::vector<EventTypeInfo> types = {
        {1, "Process Create", "ProcessCreate", "TProcessCreateForm", "ProcessGuid", "", "ProcesscreateTable",
         "FDQueryAllProcessCreate", f::ProcessCreate, kProcessCreateItems, kProcessCreateSearch, kImage,
         Hashes, 0xFF8080, "ProcessCreate", true},
        {2, "File Creation Time Changed", "FileCreationTimeChanged", "TFileCreationTimeChangedForm",
         "ProcessGuid", "", "FilecreationtimechangedTable", "FDQueryAllFileCreationTimeChanged",
         f::FileCreationTimeChanged, kTimeChangedItems, kTimeChangedSearch, kImage, 0, 0xFF80FF,
         "FileCreationTimeChanged", true},
        {3, "Network Connection Detected", "NetworkConnectionDetected", "TFormNetworkConnectionDetected",
         "ProcessGuid", "", "NetworkconnectiondetectedTable", "FDQueryAllNetworkConnectionDetected",
         f::NetworkConnectionDetected, kNetworkItems, kNetworkSearch, kImage, Network, 0xFF8000,
         "NetworkConnectionDetected", true},
        {4, "Sysmon service state changed", "SysmonServiceStateChanged", "TSysmonServiceStateChangedForm", "",
         "sysmonServiceState", "SysmonservicestatechangedTable", "FDQueryAllSysmonServiceStateChanged",
         f::SysmonServiceStateChanged, kServiceItems, kServiceItems, kNoImage, 0, 0xD3D3D3, "", false},
        {5, "Process Terminated", "ProcessTerminated", "TProcessTerminatedForm", "ProcessGuid", "",
         "ProcessterminatedTable", "FDQueryAllProcessTerminated", f::ProcessTerminated, kProcessItems,
         kTerminatedSearch, kImage, 0, 0xFF8080, "ProcessTerminated", true},
        {6, "Driver Loaded", "DriverLoaded", "TDriverLoadedForm", "", "driverLoadedEvent",
         "DriverloadedTable", "FDQueryAllDriverLoaded", f::DriverLoaded, kDriverItems, kDriverItems, kNoImage,
         Hashes, 0xC0C0C0, "", true},
        {7, "Image Loaded", "ImageLoaded", "TImageLoadedForm", "ProcessGuid", "", "ImageloadedTable",
         "FDQueryAllImageLoaded", f::ImageLoaded, kImageLoadedItems, kImageLoadedSearch, kImageAndLoaded,
         Hashes, 0xB0B000, "ImageLoaded", true},
        {8, "CreateRemoteThread Detected", "CreateRemoteThreadDetected", "TCreateRemoteThreadDetectedForm",
         "SourceProcessGuid", "", "CreateremotethreaddetectedTable", "FDQueryAllCreateRemoteThreadDetected",
         f::CreateRemoteThreadDetected, kRemoteThreadItems, kRemoteThreadSearch, kRemoteThread, 0, 0xB87070,
         "CreateRemoteThreadDetected", true},
        {9, "RawAccessRead Detected", "RawAccessReadDetected", "TRawAccessReadDetectedForm", "ProcessGuid",
         "", "RawaccessreaddetectedTable", "FDQueryAllRawAccessReadDetected", f::RawAccessReadDetected,
         kRawReadItems, kRawReadSearch, kImage, 0, 0xE8E800, "RawAccessReadDetected", true},
        {10, "Process Accessed", "ProcessAccessed", "TProcessAccessedForm", "SourceProcessGUID", "",
         "ProcessaccessedTable", "FDQueryAllProcessAccessed", f::ProcessAccessed, kAccessItems, kAccessSearch,
         kAccess, 0, 0xB3E8D3, "ProcessAccessed", true},
        {11, "File Created", "FileCreated", "TFileCreatedForm", "ProcessGuid", "", "FilecreatedTable",
         "FDQueryAllFileCreated", f::FileCreated, kFileCreatedItems, kFileCreatedSearch, kImage, 0, 0xAED7FF,
         "FileCreated", true},
        {12, "Registry Object Added Or Deleted", "RegistryObjectAddedOrDeleted",
         "TRegistryObjectAddedOrDeletedForm", "ProcessGuid", "", "RegistryobjectaddedordeletedTable",
         "FDQueryAllRegistryObjectAddedOrDeleted", f::RegistryObjectAddedOrDeleted, kRegAddItems,
         kRegAddSearch, kImage, RegTarget, 0x9370DB, "RegistryObjectAddedOrDeleted", true},
        {13, "Registry Value Set", "RegistryValueSet", "TRegistryValueSetForm", "ProcessGuid", "",
         "RegistryvaluesetTable", "FDQueryAllRegistryValueSet", f::RegistryValueSet, kRegSetItems,
         kRegSetSearch, kImage, RegTarget, 0x9370DB, "RegistryValueSet", true},
        {14, "Registry Object Renamed", "RegistryObjectRenamed", "TRegistryObjectRenamedForm", "ProcessGuid",
         "", "RegistryobjectrenamedTable", "FDQueryAllRegistryObjectRenamed", f::RegistryObjectRenamed,
         kRegRenameItems, kRegRenameSearch, kImage, RegTarget, 0x9370DB, "RegistryObjectRenamed", true},
        {15, "File Stream Created", "FileStreamCreated", "TFileStreamCreatedForm", "ProcessGuid", "",
         "FilestreamcreatedTable", "FDQueryAllFileStreamCreated", f::FileStreamCreated, kStreamItems,
         kStreamSearch, kImage, Hashes, 0xF5F5DC, "FileStreamCreated", true},
        {16, "Sysmon config state changed", "SysmonConfigStateChanged", "TSysmonConfigStateChangedForm", "",
         "sysmonConfigState", "SysmonconfigstatechangedTable", "FDQueryAllSysmonConfigStateChanged",
         f::SysmonConfigStateChanged, kConfigItems, kConfigItems, kNoImage, 0, 0xD3D3D3, "", false},
        {17, "Pipe Created", "PipeCreated", "TPipeConnectedForm", "ProcessGuid", "", "PipecreatedTable",
         "FDQueryAllPipeCreated", f::PipeCreated, kPipeItems, kPipeSearch, kImage, 0, 0x00B359, "PipeCreated",
         true},
        {18, "Pipe Connected", "PipeConnected", "TPipeConnectedForm", "ProcessGuid", "", "PipeconnectedTable",
         "FDQueryAllPipeConnected", f::PipeConnected, kPipeItems, kPipeSearch, kImage, 0, 0x00B359,
         "PipeConnected", true},
        {19, "WmiEventFilter activity detected", "WMIFilter", "TWMIFilterForm", "", "wmiEventFilter",
         "WmifilterTable", "FDQueryAllWmifilterTable", f::WMIFilter, kWmiFilterItems, kWmiFilterItems,
         kNoImage, 0, 0, "", true},
        {20, "WmiEventConsumer activity detected", "WMIConsumer", "TWMIConsumerForm", "", "wmiEventConsumer",
         "WmiconsumerTable", "FDQueryAllWmiconsumerTable", f::WMIConsumer, kWmiConsumerItems,
         kWmiConsumerItems, kNoImage, 0, 0, "", true},
        {21, "WmiEventBinding activity detected", "WMIBinding", "TWMIBindingForm", "", "wmiEventBinding",
         "WmibindingTable", "FDQueryAllWmibindingTable", f::WMIBinding, kWmiBindingItems, kWmiBindingItems,
         kNoImage, 0, 0, "", true},
        {22, "Dns query", "DNSQuery", "TDNSQueryForm", "ProcessGuid", "", "DnsqueryTable",
         "FDQueryAllDnsqueries", f::DNSQuery, kDnsItems, kDnsSearch, kImage, 0, 0xCF0390, "DnsQuery", true},
        {23, "File Delete archived", "FileDeleteArchived", "TFileDeleteArchivedForm", "ProcessGuid", "",
         "FiledeletearchivedTable", "FDQueryAllFileDeleteArchived", f::FileDeleteArchived,
         kDeleteArchivedItems, kDeleteArchivedSearch, kImage, Hashes, 0xA0522D, "FileDeleteArchived", false},
        // A clipboard hash is no file's: it stays out of the hashes that go to VirusTotal.
        {24, "Clipboard changed", "ClipboardChanged", "TClipboardChangedForm", "ProcessGuid", "",
         "ClipboardchangedTable", "FDQueryAllClipboardChanged", f::ClipboardChanged, kClipboardItems,
         kClipboardSearch, kImage, 0, 0x40E0D0, "ClipboardChanged", false},
        {25, "Process Tampering", "ProcessTampering", "TProcessTamperingForm", "ProcessGuid", "",
         "ProcesstamperingTable", "FDQueryAllProcessTampering", f::ProcessTampering, kTamperingItems,
         kTamperingSearch, kImage, 0, 0xFF3030, "ProcessTampering", false},
        {26, "File Delete logged", "FileDeleteLogged", "TFileDeleteLoggedForm", "ProcessGuid", "",
         "FiledeleteloggedTable", "FDQueryAllFileDeleteLogged", f::FileDeleteLogged, kDeleteLoggedItems,
         kDeleteLoggedSearch, kImage, Hashes, 0xCD853F, "FileDeleteLogged", false},
        {27, "File Block Executable", "FileBlockExecutable", "TFileBlockExecutableForm", "ProcessGuid", "",
         "FileblockexecutableTable", "FDQueryAllFileBlockExecutable", f::FileBlockExecutable, kBlockItems,
         kBlockSearch, kImage, Hashes, 0xDC143C, "FileBlockExecutable", false},
        {28, "File Block Shredding", "FileBlockShredding", "TFileBlockShreddingForm", "ProcessGuid", "",
         "FileblockshreddingTable", "FDQueryAllFileBlockShredding", f::FileBlockShredding, kDeleteLoggedItems,
         kDeleteLoggedSearch, kImage, Hashes, 0xB22222, "FileBlockShredding", false},
        {29, "File Executable Detected", "FileExecutableDetected", "TFileExecutableDetectedForm",
         "ProcessGuid", "", "FileexecutabledetectedTable", "FDQueryAllFileExecutableDetected",
         f::FileExecutableDetected, kBlockItems, kBlockSearch, kImage, Hashes, 0xFFA07A,
         "FileExecutableDetected", false},
        {255, "Error", "SysmonError", "TSysmonErrorForm", "", "sysmonError", "SysmonerrorTable",
         "FDQueryAllSysmonError", f::SysmonError, kErrorItems, kErrorItems, kNoImage, 0, 0xFF0000, "", false},
    };
    return types;
}

// The order of the filter list that the first layout fixed.
constexpr int kFirstFilterOrder[] = {8, 11, 2, 15, 7, 3, 18, 17, 10, 1, 5, 9, 12, 13, 14, 22};

} // namespace

std::span<const EventTypeInfo> types() {
    return all();
}

const EventTypeInfo* find(int id) {
    for (const auto& t : all())
        if (t.id == id)
            return &t;
    return nullptr;
}

const EventTypeInfo* findByTable(std::string_view table) {
    for (const auto& t : all())
        if (table == t.table)
            return &t;
    return nullptr;
}

std::span<const int> sysmonEventIds() {
    static const std::vector<int> ids = [] {
        std::vector<int> list;
        for (const auto& t : all())
            list.push_back(t.id);
        return list;
    }();
    return ids;
}

const char* readerDisplayName(int id) {
    const EventTypeInfo* type = find(id);
    return type ? type->displayName : nullptr;
}

std::span<const EventFilterEntry> processViewFilter() {
    static const std::vector<EventFilterEntry> entries = [] {
        std::vector<EventFilterEntry> list;
        for (int id : kFirstFilterOrder)
            list.push_back({find(id)->filterCaption, id});
        for (const auto& t : all())
            if (!t.firstLayout && *t.filterCaption)
                list.push_back({t.filterCaption, t.id});
        return list;
    }();
    return entries;
}

const FieldDef* columnOfItem(const EventTypeInfo& type, std::string_view item) {
    for (const FieldDef& field : type.fields)
        if (item == field.name)
            return &field;
    return nullptr;
}

const char* itemCaption(std::string_view item) {
    std::string caption;
    std::string word;
    auto flush = [&] {
        if (word.empty())
            return;
        if (word == "Guid" || word == "Id" || word == "Utc")
            for (char& c : word)
                c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        else if (!caption.empty() && word.size() > 1 && !(word[1] >= 'A' && word[1] <= 'Z'))
            word[0] = static_cast<char>(word[0] - 'A' + 'a');
        if (!caption.empty())
            caption += ' ';
        caption += word;
        word.clear();
    };
    for (size_t i = 0; i < item.size(); ++i) {
        const char c = item[i];
        const bool upper = c >= 'A' && c <= 'Z';
        // A capital starts a word, unless it continues a run of capitals ("ID").
        const bool nextLower = i + 1 < item.size() && item[i + 1] >= 'a' && item[i + 1] <= 'z';
        const bool prevUpper = i > 0 && item[i - 1] >= 'A' && item[i - 1] <= 'Z';
        if (upper && (!prevUpper || nextLower))
            flush();
        word += c;
    }
    flush();
    static std::mutex lock;
    static std::set<std::string, std::less<>> captions;
    const std::lock_guard guard(lock);
    return captions.insert(std::move(caption)).first->c_str();
}

} // namespace kelvane::catalogue
