#pragma once

#include "store/Schema.h"

#include <span>

// The column lists of the event tables, one per type, for the catalogue to hand out.
namespace kelvane::tablefields {

extern const std::span<const FieldDef> CreateRemoteThreadDetected;
extern const std::span<const FieldDef> DriverLoaded;
extern const std::span<const FieldDef> FileCreated;
extern const std::span<const FieldDef> FileCreationTimeChanged;
extern const std::span<const FieldDef> FileStreamCreated;
extern const std::span<const FieldDef> ImageLoaded;
extern const std::span<const FieldDef> NetworkConnectionDetected;
extern const std::span<const FieldDef> PipeConnected;
extern const std::span<const FieldDef> PipeCreated;
extern const std::span<const FieldDef> ProcessAccessed;
extern const std::span<const FieldDef> ProcessCreate;
extern const std::span<const FieldDef> ProcessTerminated;
extern const std::span<const FieldDef> RawAccessReadDetected;
extern const std::span<const FieldDef> RegistryObjectAddedOrDeleted;
extern const std::span<const FieldDef> RegistryObjectRenamed;
extern const std::span<const FieldDef> RegistryValueSet;
extern const std::span<const FieldDef> WMIFilter;
extern const std::span<const FieldDef> WMIConsumer;
extern const std::span<const FieldDef> WMIBinding;
extern const std::span<const FieldDef> DNSQuery;

// Tables of the types that later Sysmon versions added.
extern const std::span<const FieldDef> FileDeleteArchived;
extern const std::span<const FieldDef> ClipboardChanged;
extern const std::span<const FieldDef> ProcessTampering;
extern const std::span<const FieldDef> FileDeleteLogged;
extern const std::span<const FieldDef> FileBlockExecutable;
extern const std::span<const FieldDef> FileBlockShredding;
extern const std::span<const FieldDef> FileExecutableDetected;
extern const std::span<const FieldDef> SysmonServiceStateChanged;
extern const std::span<const FieldDef> SysmonConfigStateChanged;
extern const std::span<const FieldDef> SysmonError;

} // namespace kelvane::tablefields
