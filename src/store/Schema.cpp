#include "store/Schema.h"

namespace kelvane::schema {
namespace {

using FieldFlag::ReadOnly;
using FieldFlag::ReadSideOnly;
using FieldFlag::Required;

// AllEvents
constexpr FieldDef kAllEventsFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 8", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "", FieldKind::String, 50, FieldFlag::None},
    {"GID", "INTEGER", "PRIMARY KEY AUTOINCREMENT NOT NULL", FieldKind::AutoInc, 0, FieldFlag::ReadOnly},
    {"CorrelationGuid", "VARCHAR", "DEFAULT '' NOT NULL", FieldKind::String, 40, FieldFlag::Required},
    {"EventDetails", "VARCHAR", "DEFAULT ''", FieldKind::String, 512, FieldFlag::None},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// AllHashes
constexpr FieldDef kAllHashesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ReportedByVT", "VARCHAR", "DEFAULT 'Never asked'", FieldKind::String, 11, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
};
// AllIPAddresses
constexpr FieldDef kAllIPAddressesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"IPAddress", "VARCHAR", "", FieldKind::String, 15, FieldFlag::None},
    {"Direction", "VARCHAR", "", FieldKind::String, 12, FieldFlag::None},
    {"Initiated", "BOOLEAN", "", FieldKind::Boolean, 0, FieldFlag::None},
};
// AllHosts
constexpr FieldDef kAllHostsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Hostname", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
};
// AllRegTargets
constexpr FieldDef kAllRegTargetsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"TargetObject", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
};
// AllImageExes
constexpr FieldDef kAllImageExesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "DEFAULT ''", FieldKind::String, 40, FieldFlag::None},
    {"EventType", "SMALLINT", "", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT ''", FieldKind::String, 30, FieldFlag::None},
};
// AllPorts
constexpr FieldDef kAllPortsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Port", "VARCHAR", "", FieldKind::String, 6, FieldFlag::None},
    {"PortName", "VARCHAR", "DEFAULT ''", FieldKind::String, 20, FieldFlag::None},
    {"Direction", "VARCHAR", "", FieldKind::String, 12, FieldFlag::None},
};
// CreateRemoteThreadDetected
constexpr FieldDef kCreateRemoteThreadDetectedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"SourceProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"SourceProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"SourceImage", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"TargetProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"TargetImage", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"NewThreadId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"StartAddress", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"StartModule", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"StartFunction", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"SourceImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 8", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'CreateRemoteThread Detected'", FieldKind::String, 30,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// DriverLoaded
constexpr FieldDef kDriverLoadedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ImageLoaded", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Hashes", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 200, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
    {"Signed", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Signature", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 6", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Driver Loaded'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// FileCreated
constexpr FieldDef kFileCreatedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetFilename", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"GrantedAccess", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"CreationUtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 11", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'File Created'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// FileCreationTimeChanged
constexpr FieldDef kFileCreationTimeChangedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetFilename", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"CreationUtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"PreviousCreationUtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 2", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'File Creation Time Changed'", FieldKind::String, 30,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// FileStreamCreated
constexpr FieldDef kFileStreamCreatedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetFilename", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"CreationUtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Hashes", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 200, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 15", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'File Stream Created'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// ImageLoaded
constexpr FieldDef kImageLoadedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageLoaded", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Hashes", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 200, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
    {"Signed", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Signature", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageLoadedExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 7", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Image Loaded'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
    {"OriginalFileName", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
};
// NetworkConnectionDetected
constexpr FieldDef kNetworkConnectionDetectedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"User", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Protocol", "VARCHAR", "", FieldKind::String, 20, FieldFlag::None},
    {"Initiated", "BIT", "", FieldKind::Boolean, 0, FieldFlag::None},
    {"SourceIsIpv6", "BIT", "", FieldKind::Boolean, 0, FieldFlag::None},
    {"SourceIp", "VARCHAR", "DEFAULT '0.0.0.0'", FieldKind::String, 40, FieldFlag::None},
    {"SourceHostname", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"SourcePort", "VARCHAR", "", FieldKind::String, 6, FieldFlag::None},
    {"SourcePortName", "VARCHAR", "", FieldKind::String, 20, FieldFlag::None},
    {"SourceCountry", "VARCHAR", "DEFAULT 'n/a'", FieldKind::String, 255, FieldFlag::None},
    {"SourceCountryCode", "VARCHAR", "DEFAULT 'n/a'", FieldKind::String, 10, FieldFlag::None},
    {"DestinationIsIpv6", "BIT", "", FieldKind::Boolean, 0, FieldFlag::None},
    {"DestinationIp", "VARCHAR", "DEFAULT '0.0.0.0'", FieldKind::String, 40, FieldFlag::None},
    {"DestinationHostname", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"DestinationPort", "VARCHAR", "", FieldKind::String, 6, FieldFlag::None},
    {"DestinationPortName", "VARCHAR", "", FieldKind::String, 20, FieldFlag::None},
    {"DestinationCountry", "VARCHAR", "DEFAULT 'n/a'", FieldKind::String, 255, FieldFlag::None},
    {"DestinationCountryCode", "VARCHAR", "DEFAULT 'n/a'", FieldKind::String, 10, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 3", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Network Connection Detected'", FieldKind::String, 30,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// PipeConnected
constexpr FieldDef kPipeConnectedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"PipeName", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 18", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Pipe Connected'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// PipeCreated
constexpr FieldDef kPipeCreatedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"PipeName", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 17", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Pipe Created'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// ProcessAccessed
constexpr FieldDef kProcessAccessedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"SourceProcessGUID", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"SourceProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"SourceThreadId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"SourceImage", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetProcessGUID", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"TargetProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"TargetImage", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"GrantedAccess", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"CallTrace", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"SourceImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"TargetImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 10", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Process Accessed'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// ProcessCreate
constexpr FieldDef kProcessCreateFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"CommandLine", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"CurrentDirectory", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"User", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"LogonGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"LogonId", "BIGINT", "", FieldKind::Int64, 0, FieldFlag::None},
    {"TerminalSessionId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"IntegrityLevel", "VARCHAR", "", FieldKind::String, 25, FieldFlag::None},
    {"Hashes", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 200, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
    {"ParentProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ParentProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"ParentImage", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ParentCommandLine", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ParentImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 1", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Process Create'", FieldKind::String, 25, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
    {"OriginalFileName", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
};
// ProcessTerminated
constexpr FieldDef kProcessTerminatedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 5", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Process Terminated'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// RawAccessReadDetected
constexpr FieldDef kRawAccessReadDetectedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"Device", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 9", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'RawAccessRead Detected'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// RegistryObjectAddedOrDeleted
constexpr FieldDef kRegistryObjectAddedOrDeletedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"TargetObject", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType2", "SMALLINT", "DEFAULT 12", FieldKind::Int16, 0, FieldFlag::None},
    {"EventType2Name", "VARCHAR", "DEFAULT 'Registry Object Added Or Deleted'", FieldKind::String, 35,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// RegistryObjectRenamed
constexpr FieldDef kRegistryObjectRenamedFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"TargetObject", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"NewName", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType2", "SMALLINT", "DEFAULT 14", FieldKind::Int16, 0, FieldFlag::None},
    {"EventType2Name", "VARCHAR", "DEFAULT 'Registry Object Renamed'", FieldKind::String, 30,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// RegistryValueSet
constexpr FieldDef kRegistryValueSetFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"TargetObject", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"Details", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"EventType2", "SMALLINT", "DEFAULT 13", FieldKind::Int16, 0, FieldFlag::None},
    {"EventType2Name", "VARCHAR", "DEFAULT 'Registry Value Set'", FieldKind::String, 30, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// WMIFilter
constexpr FieldDef kWMIFilterFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Operation", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"User", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"EventNamespace", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Name", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Query", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 19", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'WmiEventFilter activity detected'", FieldKind::String, 32,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// WMIConsumer
constexpr FieldDef kWMIConsumerFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Operation", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"User", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Name", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Type", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Destination", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 20", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'WmiEventConsumer activity detected'", FieldKind::String, 34,
     FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// WMIBinding
constexpr FieldDef kWMIBindingFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Operation", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"User", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Consumer", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"Filter", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 21", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'WmiEventConsumerToFilter activity detected'", FieldKind::String,
     42, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::ReadSideOnly},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// DNSQuery
constexpr FieldDef kDNSQueryFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "", FieldKind::String, 40, FieldFlag::None},
    {"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"QueryName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
    {"QueryStatus", "VARCHAR", "", FieldKind::String, 20, FieldFlag::None},
    {"QueryStatusDescription", "VARCHAR", "", FieldKind::String, 200, FieldFlag::None},
    {"QueryResults", "VARCHAR", "", FieldKind::String, 10000, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 22", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT 'Dns query'", FieldKind::String, 25, FieldFlag::None},
    {"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// KelvaneVersion
constexpr FieldDef kKelvaneVersionFields[] = {
    {"SVersion", "VARCHAR", "", FieldKind::String, 10, FieldFlag::None},
};

constexpr TableDef kTables[] = {
    {"AllEvents", "AlleventsTable", "", kAllEventsFields},
    {"AllHashes", "AllhashesTable", "", kAllHashesFields},
    {"AllIPAddresses", "AllipaddressesTable", "", kAllIPAddressesFields},
    {"AllHosts", "AllhostsTable", "", kAllHostsFields},
    {"AllRegTargets", "AllregtargetsTable", "", kAllRegTargetsFields},
    {"AllImageExes", "AllimageexesTable", "", kAllImageExesFields},
    {"AllPorts", "AllportsTable", "", kAllPortsFields},
    {"CreateRemoteThreadDetected", "CreateremotethreaddetectedTable", "FDQueryAllCreateRemoteThreadDetected",
     kCreateRemoteThreadDetectedFields},
    {"DriverLoaded", "DriverloadedTable", "FDQueryAllDriverLoaded", kDriverLoadedFields},
    {"FileCreated", "FilecreatedTable", "FDQueryAllFileCreated", kFileCreatedFields},
    {"FileCreationTimeChanged", "FilecreationtimechangedTable", "FDQueryAllFileCreationTimeChanged",
     kFileCreationTimeChangedFields},
    {"FileStreamCreated", "FilestreamcreatedTable", "FDQueryAllFileStreamCreated", kFileStreamCreatedFields},
    {"ImageLoaded", "ImageloadedTable", "FDQueryAllImageLoaded", kImageLoadedFields},
    {"NetworkConnectionDetected", "NetworkconnectiondetectedTable", "FDQueryAllNetworkConnectionDetected",
     kNetworkConnectionDetectedFields},
    {"PipeConnected", "PipeconnectedTable", "FDQueryAllPipeConnected", kPipeConnectedFields},
    {"PipeCreated", "PipecreatedTable", "FDQueryAllPipeCreated", kPipeCreatedFields},
    {"ProcessAccessed", "ProcessaccessedTable", "FDQueryAllProcessAccessed", kProcessAccessedFields},
    {"ProcessCreate", "ProcesscreateTable", "FDQueryAllProcessCreate", kProcessCreateFields},
    {"ProcessTerminated", "ProcessterminatedTable", "FDQueryAllProcessTerminated", kProcessTerminatedFields},
    {"RawAccessReadDetected", "RawaccessreaddetectedTable", "FDQueryAllRawAccessReadDetected",
     kRawAccessReadDetectedFields},
    {"RegistryObjectAddedOrDeleted", "RegistryobjectaddedordeletedTable",
     "FDQueryAllRegistryObjectAddedOrDeleted", kRegistryObjectAddedOrDeletedFields},
    {"RegistryObjectRenamed", "RegistryobjectrenamedTable", "FDQueryAllRegistryObjectRenamed",
     kRegistryObjectRenamedFields},
    {"RegistryValueSet", "RegistryvaluesetTable", "FDQueryAllRegistryValueSet", kRegistryValueSetFields},
    {"WMIFilter", "WmifilterTable", "FDQueryAllWmifilterTable", kWMIFilterFields},
    {"WMIConsumer", "WmiconsumerTable", "FDQueryAllWmiconsumerTable", kWMIConsumerFields},
    {"WMIBinding", "WmibindingTable", "FDQueryAllWmibindingTable", kWMIBindingFields},
    {"DNSQuery", "DnsqueryTable", "FDQueryAllDnsqueries", kDNSQueryFields},
    {"KelvaneVersion", "KelvaneversionTable", "", kKelvaneVersionFields},
};

constexpr const char* kWriteOrder[] = {
    "ProcessCreate",
    "CreateRemoteThreadDetected",
    "DriverLoaded",
    "FileCreated",
    "FileCreationTimeChanged",
    "FileStreamCreated",
    "ImageLoaded",
    "NetworkConnectionDetected",
    "PipeConnected",
    "PipeCreated",
    "ProcessAccessed",
    "ProcessTerminated",
    "RawAccessReadDetected",
    "RegistryObjectAddedOrDeleted",
    "RegistryObjectRenamed",
    "RegistryValueSet",
    "WMIFilter",
    "WMIConsumer",
    "WMIBinding",
    "DNSQuery",
    "AllEvents",
    "AllHashes",
    "AllIPAddresses",
    "AllHosts",
    "AllRegTargets",
    "AllImageExes",
    "AllPorts",
    "KelvaneVersion",
};

constexpr const char* kDeleteOrder[] = {
    "ProcessCreate",
    "FileCreationTimeChanged",
    "NetworkConnectionDetected",
    "ProcessTerminated",
    "DriverLoaded",
    "ImageLoaded",
    "CreateRemoteThreadDetected",
    "RawAccessReadDetected",
    "ProcessAccessed",
    "FileCreated",
    "RegistryObjectAddedOrDeleted",
    "RegistryValueSet",
    "RegistryObjectRenamed",
    "FileStreamCreated",
    "PipeCreated",
    "PipeConnected",
    "WMIFilter",
    "WMIConsumer",
    "WMIBinding",
    "DNSQuery",
    "AllEvents",
    "AllHashes",
    "AllIPAddresses",
    "AllHosts",
    "AllRegTargets",
    "AllImageExes",
    "AllPorts",
    "KelvaneVersion",
};

// Columns of the all-events text search; a trailing '#' marks a numeric column that is cast to text.
struct SearchBlock {
    const char* table;
    std::initializer_list<const char*> columns;
};

const SearchBlock kSearchBlocks[] = {
    {"CreateRemoteThreadDetected",
     {"SourceProcessGuid", "SourceProcessId#", "SourceImage", "TargetProcessGuid", "TargetProcessId#",
      "TargetImage", "NewThreadId#", "StartAddress", "StartModule", "StartFunction", "SourceImageExe",
      "TargetImageExe"}},
    {"DriverLoaded", {"ImageLoaded", "Hashes", "Signed", "Signature"}},
    {"FileCreated", {"ProcessGuid", "ProcessId#", "Image", "TargetFilename", "GrantedAccess#", "ImageExe"}},
    {"FileCreationTimeChanged", {"ProcessGuid", "ProcessId#", "Image", "TargetFilename", "ImageExe"}},
    {"FileStreamCreated", {"ProcessGuid", "ProcessId#", "Image", "TargetFilename", "Hashes", "ImageExe"}},
    {"ImageLoaded",
     {"ProcessGuid", "ProcessId#", "Image", "ImageLoaded", "Hashes", "Signed", "Signature", "ImageExe",
      "ImageLoadedExe", "OriginalFileName"}},
    {"NetworkConnectionDetected",
     {"ProcessGuid", "ProcessId#", "Image", "User", "Protocol", "SourceIp", "SourceHostname", "SourcePort",
      "SourceCountry", "SourceCountryCode", "DestinationIp", "DestinationHostname", "DestinationPort",
      "DestinationPortName", "DestinationCountry", "DestinationCountryCode", "ImageExe"}},
    {"PipeConnected", {"ProcessGuid", "ProcessId#", "PipeName", "Image", "ImageExe"}},
    {"PipeCreated", {"ProcessGuid", "ProcessId#", "PipeName", "Image", "ImageExe"}},
    {"ProcessAccessed",
     {"SourceProcessGuid", "SourceProcessId#", "SourceThreadId#", "SourceImage", "TargetProcessGuid",
      "TargetProcessId#", "TargetImage", "GrantedAccess#", "CallTrace", "SourceImageExe", "TargetImageExe"}},
    {"ProcessCreate",
     {"ProcessGuid", "ProcessId#", "Image", "CommandLine", "CurrentDirectory", "User", "LogonGuid",
      "LogonId#", "TerminalSessionId#", "IntegrityLevel", "Hashes", "ParentProcessGuid", "ParentProcessId#",
      "ParentImage", "ParentCommandLine", "ImageExe", "ParentImageExe", "OriginalFileName"}},
    {"ProcessTerminated", {"ProcessGuid", "ProcessId#", "Image", "ImageExe"}},
    {"RawAccessReadDetected", {"ProcessGuid", "ProcessId#", "Image", "Device", "ImageExe"}},
    {"RegistryObjectAddedOrDeleted", {"ProcessGuid", "ProcessId#", "Image", "TargetObject", "ImageExe"}},
    {"RegistryObjectRenamed", {"ProcessGuid", "ProcessId#", "Image", "TargetObject", "NewName", "ImageExe"}},
    {"RegistryValueSet", {"ProcessGuid", "ProcessId#", "Image", "TargetObject", "Details", "ImageExe"}},
    {"WMIFilter", {"Operation", "User", "EventNamespace", "Name", "Query"}},
    {"WMIConsumer", {"Operation", "User", "Name", "Type", "Destination"}},
    {"WMIBinding", {"Operation", "User", "Consumer", "Filter"}},
    {"DNSQuery",
     {"ProcessGuid", "ProcessId#", "Image", "ImageExe", "QueryName", "QueryStatus", "QueryStatusDescription",
      "QueryResults"}},
};

} // namespace

std::span<const TableDef> tables() {
    return kTables;
}

const TableDef* table(std::string_view name) {
    for (const auto& t : kTables)
        if (name == t.name)
            return &t;
    return nullptr;
}

const TableDef* tableByDataset(std::string_view datasetName) {
    for (const auto& t : kTables)
        if (datasetName == t.datasetName)
            return &t;
    return nullptr;
}

std::vector<FieldDef> writeFields(const TableDef& table) {
    std::vector<FieldDef> fields;
    for (const auto& f : table.fields)
        if (!(f.flags & ReadSideOnly))
            fields.push_back(f);
    return fields;
}

std::vector<FieldDef> readFields(const TableDef& table) {
    std::vector<FieldDef> fields(table.fields.begin(), table.fields.end());
    // The read side of WMIFilter shows its type name two characters narrower than it is written.
    if (std::string_view(table.name) == "WMIFilter")
        for (auto& f : fields)
            if (std::string_view(f.name) == "EventTypeName")
                f.width = 30;
    return fields;
}

std::span<const char* const> writeDatasetOrder() {
    return kWriteOrder;
}
std::span<const char* const> allEventsViewOrder() {
    // The twenty type tables in the order of the write side, then the master table.
    static const std::vector<const char*> order = [] {
        std::vector<const char*> tables(std::begin(kWriteOrder), std::begin(kWriteOrder) + 20);
        tables.push_back("AllEvents");
        return tables;
    }();
    return order;
}

std::string creationScript() {
    std::string sql;
    for (const auto& t : kTables) {
        sql += "CREATE TABLE ";
        sql += t.name;
        sql += " (\n";
        bool first = true;
        for (const auto& f : t.fields) {
            if (!first)
                sql += ",\n";
            first = false;
            sql += "  ";
            sql += f.name;
            sql += ' ';
            sql += f.sqlType;
            if (*f.constraint) {
                sql += ' ';
                sql += f.constraint;
            }
        }
        sql += "\n);\n";
    }
    return sql;
}

std::string deleteAllScript() {
    std::string sql;
    for (const char* t : kDeleteOrder) {
        sql += "DELETE FROM ";
        sql += t;
        sql += ";\n";
    }
    return sql;
}

std::string checkDataQuery() {
    std::string sql;
    // The type tables in the order of the emptying script, but DNSQuery: a database of DNS queries alone
    // counts as holding no data.
    for (const char* t : std::span(kDeleteOrder).first(19)) {
        if (!sql.empty())
            sql += "\nUNION ALL\n";
        sql += "SELECT UtcTime FROM ";
        sql += t;
    }
    return sql;
}

std::vector<SearchSubSelect> searchSubSelects() {
    std::vector<SearchSubSelect> selects;
    for (const auto& block : kSearchBlocks) {
        std::string sql = "SELECT FID FROM ";
        sql += block.table;
        sql += " WHERE RuleName LIKE '%' || :TermParam || '%'";
        for (std::string_view column : block.columns) {
            sql += " OR ";
            if (column.ends_with('#')) {
                sql += "CAST(";
                sql += column.substr(0, column.size() - 1);
                sql += " AS TEXT)";
            } else {
                sql += column;
            }
            sql += " LIKE '%' || :TermParam || '%'";
        }
        selects.push_back({block.table, std::move(sql)});
    }
    return selects;
}

std::string searchAllEventsQuery() {
    std::string sql = "SELECT * FROM AllEvents\nWHERE GID IN (\n";
    bool firstBlock = true;
    for (const auto& select : searchSubSelects()) {
        if (!firstBlock)
            sql += "\nUNION\n";
        firstBlock = false;
        sql += select.sql;
    }
    sql += "\n);";
    return sql;
}

} // namespace kelvane::schema
