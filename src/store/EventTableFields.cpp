#include "store/EventTableFields.h"

// The columns of the twenty event tables of the first database layout. Their names, types, widths and
// defaults are what every database of an older log holds, so they stay as they are.
namespace kelvane::tablefields {
namespace {

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

} // namespace

constinit const std::span<const FieldDef> CreateRemoteThreadDetected = kCreateRemoteThreadDetectedFields;
constinit const std::span<const FieldDef> DriverLoaded = kDriverLoadedFields;
constinit const std::span<const FieldDef> FileCreated = kFileCreatedFields;
constinit const std::span<const FieldDef> FileCreationTimeChanged = kFileCreationTimeChangedFields;
constinit const std::span<const FieldDef> FileStreamCreated = kFileStreamCreatedFields;
constinit const std::span<const FieldDef> ImageLoaded = kImageLoadedFields;
constinit const std::span<const FieldDef> NetworkConnectionDetected = kNetworkConnectionDetectedFields;
constinit const std::span<const FieldDef> PipeConnected = kPipeConnectedFields;
constinit const std::span<const FieldDef> PipeCreated = kPipeCreatedFields;
constinit const std::span<const FieldDef> ProcessAccessed = kProcessAccessedFields;
constinit const std::span<const FieldDef> ProcessCreate = kProcessCreateFields;
constinit const std::span<const FieldDef> ProcessTerminated = kProcessTerminatedFields;
constinit const std::span<const FieldDef> RawAccessReadDetected = kRawAccessReadDetectedFields;
constinit const std::span<const FieldDef> RegistryObjectAddedOrDeleted = kRegistryObjectAddedOrDeletedFields;
constinit const std::span<const FieldDef> RegistryObjectRenamed = kRegistryObjectRenamedFields;
constinit const std::span<const FieldDef> RegistryValueSet = kRegistryValueSetFields;
constinit const std::span<const FieldDef> WMIFilter = kWMIFilterFields;
constinit const std::span<const FieldDef> WMIConsumer = kWMIConsumerFields;
constinit const std::span<const FieldDef> WMIBinding = kWMIBindingFields;
constinit const std::span<const FieldDef> DNSQuery = kDNSQueryFields;

} // namespace kelvane::tablefields
