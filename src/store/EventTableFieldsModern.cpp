#include "store/EventTableFields.h"

// The tables of the types that Sysmon added after the first database layout. They follow the style of the
// older tables (items, the executable's base name, the type's id and name as defaults, FID, Computer,
// RuleName), but a text width of 0: these columns keep every value whole.
namespace kelvane::tablefields {
namespace {

constexpr FieldDef kUtcTime{"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None};
constexpr FieldDef kProcessGuid{"ProcessGuid", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kProcessId{"ProcessId", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::None};
constexpr FieldDef kUser{"User", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kImage{"Image", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kTargetFilename{"TargetFilename", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kHashes{"Hashes", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kMd5{"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None};
constexpr FieldDef kSha1{"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None};
constexpr FieldDef kSha256{"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None};
constexpr FieldDef kIsExecutable{"IsExecutable", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kArchived{"Archived", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kImageExe{"ImageExe", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
constexpr FieldDef kFid{"FID", "INTEGER", "NOT NULL", FieldKind::Int32, 0, FieldFlag::Required};
constexpr FieldDef kComputer{"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None};
constexpr FieldDef kRuleName{"RuleName", "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};

constexpr FieldDef text(const char* name) {
    return {name, "VARCHAR", "", FieldKind::String, 0, FieldFlag::None};
}
constexpr FieldDef eventType(const char* defaultId) {
    return {"EventType", "SMALLINT", defaultId, FieldKind::Int16, 0, FieldFlag::None};
}
constexpr FieldDef eventTypeName(const char* defaultName) {
    return {"EventTypeName", "VARCHAR", defaultName, FieldKind::String, 50, FieldFlag::None};
}

constexpr FieldDef kFileDeleteArchived[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kUser,
    kImage,
    kTargetFilename,
    kHashes,
    kMd5,
    kSha1,
    kSha256,
    kIsExecutable,
    kArchived,
    kImageExe,
    eventType("DEFAULT 23"),
    eventTypeName("DEFAULT 'File Delete archived'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kClipboardChanged[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kImage,
    text("Session"),
    text("ClientInfo"),
    kHashes,
    kArchived,
    kUser,
    kImageExe,
    eventType("DEFAULT 24"),
    eventTypeName("DEFAULT 'Clipboard changed'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kProcessTampering[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kImage,
    text("Type"),
    kUser,
    kImageExe,
    eventType("DEFAULT 25"),
    eventTypeName("DEFAULT 'Process Tampering'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kFileDeleteLogged[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kUser,
    kImage,
    kTargetFilename,
    kHashes,
    kMd5,
    kSha1,
    kSha256,
    kIsExecutable,
    kImageExe,
    eventType("DEFAULT 26"),
    eventTypeName("DEFAULT 'File Delete logged'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kFileBlockExecutable[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kUser,
    kImage,
    kTargetFilename,
    kHashes,
    kMd5,
    kSha1,
    kSha256,
    kImageExe,
    eventType("DEFAULT 27"),
    eventTypeName("DEFAULT 'File Block Executable'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kFileBlockShredding[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kUser,
    kImage,
    kTargetFilename,
    kHashes,
    kMd5,
    kSha1,
    kSha256,
    kIsExecutable,
    kImageExe,
    eventType("DEFAULT 28"),
    eventTypeName("DEFAULT 'File Block Shredding'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kFileExecutableDetected[] = {
    kUtcTime,
    kProcessGuid,
    kProcessId,
    kUser,
    kImage,
    kTargetFilename,
    kHashes,
    kMd5,
    kSha1,
    kSha256,
    kImageExe,
    eventType("DEFAULT 29"),
    eventTypeName("DEFAULT 'File Executable Detected'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kSysmonServiceStateChanged[] = {
    kUtcTime,
    text("State"),
    text("Version"),
    text("SchemaVersion"),
    eventType("DEFAULT 4"),
    eventTypeName("DEFAULT 'Sysmon service state changed'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kSysmonConfigStateChanged[] = {
    kUtcTime,
    text("Configuration"),
    text("ConfigurationFileHash"),
    eventType("DEFAULT 16"),
    eventTypeName("DEFAULT 'Sysmon config state changed'"),
    kFid,
    kComputer,
    kRuleName,
};
constexpr FieldDef kSysmonError[] = {
    kUtcTime, text("ID"), text("Description"), eventType("DEFAULT 255"), eventTypeName("DEFAULT 'Error'"),
    kFid,     kComputer,  kRuleName,
};

} // namespace

constinit const std::span<const FieldDef> FileDeleteArchived = kFileDeleteArchived;
constinit const std::span<const FieldDef> ClipboardChanged = kClipboardChanged;
constinit const std::span<const FieldDef> ProcessTampering = kProcessTampering;
constinit const std::span<const FieldDef> FileDeleteLogged = kFileDeleteLogged;
constinit const std::span<const FieldDef> FileBlockExecutable = kFileBlockExecutable;
constinit const std::span<const FieldDef> FileBlockShredding = kFileBlockShredding;
constinit const std::span<const FieldDef> FileExecutableDetected = kFileExecutableDetected;
constinit const std::span<const FieldDef> SysmonServiceStateChanged = kSysmonServiceStateChanged;
constinit const std::span<const FieldDef> SysmonConfigStateChanged = kSysmonConfigStateChanged;
constinit const std::span<const FieldDef> SysmonError = kSysmonError;

} // namespace kelvane::tablefields
