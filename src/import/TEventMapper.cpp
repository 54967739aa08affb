#include "import/TEventMapper.h"

#include "import/DnsStatusMessages.h"
#include "import/ImportReport.h"
#include "import/TIPGeolocator.h"
#include "import/ValueConversions.h"
#include "store/EventCatalogue.h"
#include "store/TDatasetSource.h"
#include "store/TTableDataset.h"

#include <algorithm>
#include <initializer_list>

namespace kelvane {
namespace {

constexpr const char* kNL = "\r\n";

// The data items each type carries besides UtcTime and RuleName.
struct TypeItems {
    int id;
    std::initializer_list<const char*> items;
};

const TypeItems kTypeItems[] = {
    {1,
     {"ProcessGuid", "ProcessId", "Image", "CommandLine", "CurrentDirectory", "User", "LogonGuid", "LogonId",
      "TerminalSessionId", "IntegrityLevel", "Hashes", "ParentProcessGuid", "ParentProcessId", "ParentImage",
      "ParentCommandLine", "OriginalFileName"}},
    {2,
     {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime", "PreviousCreationUtcTime"}},
    {3,
     {"ProcessGuid", "ProcessId", "Image", "User", "Protocol", "Initiated", "SourceIsIpv6", "SourceIp",
      "SourceHostname", "SourcePort", "SourcePortName", "DestinationIsIpv6", "DestinationIp",
      "DestinationHostname", "DestinationPort", "DestinationPortName"}},
    {5, {"ProcessGuid", "ProcessId", "Image"}},
    {6, {"ImageLoaded", "Hashes", "Signed", "Signature"}},
    {7,
     {"ProcessGuid", "ProcessId", "Image", "ImageLoaded", "Hashes", "Signed", "Signature",
      "OriginalFileName"}},
    {8,
     {"SourceProcessGuid", "SourceProcessId", "SourceImage", "TargetProcessGuid", "TargetProcessId",
      "TargetImage", "NewThreadId", "StartAddress", "StartModule", "StartFunction"}},
    {9, {"ProcessGuid", "ProcessId", "Image", "Device"}},
    {10,
     {"SourceProcessGUID", "SourceProcessId", "SourceThreadId", "SourceImage", "TargetProcessGUID",
      "TargetProcessId", "TargetImage", "GrantedAccess", "CallTrace"}},
    {11, {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "GrantedAccess", "CreationUtcTime"}},
    {12, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject"}},
    {13, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "Details"}},
    {14, {"ProcessGuid", "ProcessId", "Image", "EventType", "TargetObject", "NewName"}},
    {15, {"ProcessGuid", "ProcessId", "Image", "TargetFilename", "CreationUtcTime", "Hash"}},
    {17, {"ProcessGuid", "ProcessId", "PipeName", "Image"}},
    {18, {"ProcessGuid", "ProcessId", "PipeName", "Image"}},
    {19, {"Operation", "User", "EventNamespace", "Name", "Query"}},
    {20, {"Operation", "User", "Name", "Type", "Destination"}},
    {21, {"Operation", "User", "Consumer", "Filter"}},
    {22, {"ProcessGuid", "ProcessId", "Image", "QueryName", "QueryStatus", "QueryResults"}},
};

// Columns whose value is the base name of another item.
struct BaseNameColumn {
    const char* column;
    const char* item;
};
const BaseNameColumn kBaseNameColumns[] = {
    {"ImageExe", "Image"},
    {"ParentImageExe", "ParentImage"},
    {"ImageLoadedExe", "ImageLoaded"},
    {"SourceImageExe", "SourceImage"},
    {"TargetImageExe", "TargetImage"},
};

bool isItemOf(const TypeItems& type, std::string_view column) {
    if (column == "UtcTime")
        return true;
    return std::any_of(type.items.begin(), type.items.end(),
                       [&](const char* item) { return column == item; });
}

void appendBlock(std::string& out, std::string_view label, std::string_view value) {
    out += label;
    out += kNL;
    out += "  ";
    out += value;
    out += "  ";
    out += kNL;
}

void appendInline(std::string& out, std::string_view label, std::string_view value) {
    out += label;
    out += "  ";
    out += value;
    out += "  ";
    out += kNL;
}

} // namespace

struct TEventMapper::FieldPlan {
    enum class Role {
        Text,
        Integer,
        Int64,
        Date,
        Boolean,
        BaseName,
        Hashes,
        Md5,
        Sha1,
        Sha256,
        Description,
        Geo
    };
    Role role;
    int field;        // index in the type dataset
    const char* item; // item read, where there is one
};

struct TEventMapper::TypePlan {
    const EventTypeInfo* type = nullptr;
    TTableDataset* dataset = nullptr;
    std::vector<FieldPlan> fields;
    int fid = -1, computer = -1, ruleName = -1;
};

TEventMapper::TEventMapper(TDatasetSource& data, ImportReport& report, TIPGeolocator* geolocator,
                           EventSource source)
    : m_data(data), m_report(report), m_geo(geolocator), m_source(source),
      m_master(&data.tableDataset("AllEvents")), m_imageExes(&data.tableDataset("AllImageExes")),
      m_hashes(&data.tableDataset("AllHashes")), m_hosts(&data.tableDataset("AllHosts")),
      m_addresses(&data.tableDataset("AllIPAddresses")), m_ports(&data.tableDataset("AllPorts")),
      m_regTargets(&data.tableDataset("AllRegTargets")) {
    using Role = FieldPlan::Role;
    for (const TypeItems& items : kTypeItems) {
        TypePlan plan;
        plan.type = catalogue::find(items.id);
        plan.dataset = &m_data.tableDataset(plan.type->table);
        const auto& fields = plan.dataset->fields();
        for (size_t i = 0; i < fields.size(); ++i) {
            const FieldDef& f = fields[i];
            const std::string_view name = f.name;
            const int index = static_cast<int>(i);
            if (name == "FID") {
                plan.fid = index;
            } else if (name == "Computer") {
                plan.computer = index;
            } else if (name == "RuleName") {
                plan.ruleName = index;
            } else if (name == "OriginalFileName" &&
                       (source == EventSource::Elasticsearch || (items.id == 1 && m_geo))) {
                // The geolocating import leaves this column of process creations alone, and the
                // server import never fills it.
            } else if (name == "Hashes") {
                plan.fields.push_back({Role::Hashes, index, items.id == 15 ? "Hash" : "Hashes"});
            } else if (name == "MD5") {
                plan.fields.push_back({Role::Md5, index, nullptr});
            } else if (name == "SHA1") {
                plan.fields.push_back({Role::Sha1, index, nullptr});
            } else if (name == "SHA256") {
                plan.fields.push_back({Role::Sha256, index, nullptr});
            } else if (name == "QueryStatusDescription") {
                plan.fields.push_back({Role::Description, index, nullptr});
            } else if (isItemOf(items, name)) {
                Role role = Role::Text;
                switch (f.kind) {
                case FieldKind::DateTime:
                    role = Role::Date;
                    break;
                case FieldKind::Int16:
                case FieldKind::Int32:
                case FieldKind::AutoInc:
                    role = Role::Integer;
                    break;
                case FieldKind::Int64:
                    role = Role::Int64;
                    break;
                case FieldKind::Boolean:
                    role = Role::Boolean;
                    break;
                case FieldKind::String:
                    role = Role::Text;
                    break;
                }
                plan.fields.push_back({role, index, f.name});
            } else {
                for (const auto& derived : kBaseNameColumns)
                    if (name == derived.column) {
                        plan.fields.push_back({Role::BaseName, index, derived.item});
                        if (items.id == 3 && m_geo && name == "ImageExe")
                            plan.fields.push_back({Role::Geo, -1, nullptr});
                    }
            }
        }
        m_plans.push_back(std::move(plan));
    }
}

TEventMapper::~TEventMapper() = default;

const TEventMapper::TypePlan* TEventMapper::planFor(int id) const {
    for (const auto& plan : m_plans)
        if (plan.type->id == id)
            return &plan;
    return nullptr;
}

const std::string* TEventMapper::item(std::string_view name) const {
    const std::string* value = m_state->FEventRecordData.find(name);
    if (!value && fromServer() && !(m_columns && m_columns->hasItem(name)))
        throw DatasetError("FDQueryData: Field 'event_data." + std::string(name) + "' not found");
    return value;
}

std::string_view TEventMapper::ReadText(std::string_view name) const {
    const std::string* value = item(name);
    return value ? std::string_view(*value) : std::string_view();
}

std::int32_t TEventMapper::ReadInteger(std::string_view name) const {
    const std::string* value = item(name);
    return value ? toInteger32(*value) : -1;
}

std::int64_t TEventMapper::ReadInt64(std::string_view name) const {
    const std::string* value = item(name);
    return value ? toInteger64(*value) : -1;
}

std::string_view TEventMapper::ReadBaseName(std::string_view name) const {
    return baseName(ReadText(name));
}

DateTime TEventMapper::ReadDateTime(std::string_view name) const {
    const std::string* value = item(name);
    if (!value)
        return DateTime::zero();
    if (auto parsed = parseUtcTime(*value))
        return *parsed;
    m_report.dateFailed();
    return DateTime::zero();
}

bool TEventMapper::ReadBoolean(std::string_view name) const {
    const std::string* value = item(name);
    if (!value || value->size() != 4)
        return false;
    std::string upper = *value;
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return upper == "TRUE";
}

std::string TEventMapper::eventDetails(const DateTime& utcTime, std::string_view description) const {
    std::string out;
    out.reserve(256);
    out += "  ";
    out += m_state->FEventNameUnderParsing;
    out += "  ";
    out += kNL;
    out += "  Time :  ";
    out += kNL;
    out += "  ";
    out += m_dateText.text(utcTime);
    out += "  ";
    out += kNL;
    switch (m_state->FEventIDUnderParsing) {
    case 1:
        appendBlock(out, "  Parent Image :  ", ReadBaseName("ParentImage"));
        break;
    case 2:
        appendBlock(out, "  Target File :  ", ReadBaseName("TargetFilename"));
        break;
    case 3: {
        std::string source(ReadBaseName("SourceIp"));
        source += ':';
        source += ReadBaseName("SourcePort");
        appendBlock(out, "  Source IP :  ", source);
        std::string destination(ReadBaseName("DestinationIp"));
        destination += ':';
        destination += ReadBaseName("DestinationPort");
        appendBlock(out, "  Destination IP :  ", destination);
        break;
    }
    case 6:
        appendBlock(out, "  Image Loaded :  ", ReadText("ImageLoaded"));
        break;
    case 7:
        appendBlock(out, "  Loaded Image :  ", ReadBaseName("ImageLoaded"));
        break;
    case 8:
    case 10:
        appendBlock(out, "  Source Image :  ", ReadBaseName("SourceImage"));
        appendBlock(out, "  Target Image :  ", ReadBaseName("TargetImage"));
        break;
    case 9:
        appendBlock(out, "  Device :  ", ReadText("Device"));
        break;
    case 11:
        appendBlock(out, "  Target File :  ", ReadText("TargetFilename"));
        break;
    case 12:
    case 13:
        appendBlock(out, "  Target Object :  ", ReadText("TargetObject"));
        break;
    case 14:
        appendBlock(out, "  Target Object :  ", ReadText("TargetObject"));
        // The server import's summary keeps the new name on the label's line.
        if (fromServer())
            appendInline(out, "  New Name :  ", ReadText("NewName"));
        else
            appendBlock(out, "  New Name :  ", ReadText("NewName"));
        break;
    case 15:
        appendBlock(out, "  Target File Name :  ", ReadText("TargetFilename"));
        break;
    case 17:
    case 18:
        appendBlock(out, "  Pipe Name :  ", ReadText("PipeName"));
        break;
    case 19:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  Name :  ", ReadText("User"));
        appendBlock(out, "  EventNamespace :  ", ReadText("EventNamespace"));
        appendBlock(out, "  Name :  ", ReadText("Name"));
        appendInline(out, "  Query :  ", ReadText("Query"));
        break;
    case 20:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  User :  ", ReadText("User"));
        appendBlock(out, "  Name :  ", ReadText("Name"));
        appendInline(out, "  Type :  ", ReadText("Type"));
        appendInline(out, "  Destination :  ", ReadText("Destination"));
        break;
    case 21:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  User :  ", ReadText("User"));
        appendBlock(out, "  Consumer :  ", ReadText("Consumer"));
        appendInline(out, "  Filter :  ", ReadText("Filter"));
        break;
    case 22:
        appendBlock(out, "  Image :  ", ReadBaseName("Image"));
        appendBlock(out, "  DNS Query :  ", ReadText("QueryName"));
        out += "  Query Status :  ";
        out += kNL;
        out += "  ";
        out += description;
        out += " (Code:";
        out += ReadText("QueryStatus");
        out += ")  ";
        out += kNL;
        break;
    default:
        break;
    }
    return out;
}

void TEventMapper::writeEvent(EventState& state) {
    m_state = &state;
    try {
        const std::int64_t gid = writeRows(state);
        if (gid != 0 && m_observer)
            m_observer(state, gid);
        state.FEventRecordData.clear();
    } catch (const std::exception& e) {
        m_report.mapperFailed(QString::fromUtf8(e.what()));
    }
    m_state = nullptr;
}

std::int64_t TEventMapper::writeRows(EventState& state) {
    const TypePlan* plan = planFor(state.FEventIDUnderParsing);
    if (!plan)
        return 0;
    const int id = plan->type->id;

    std::string description;
    if (id == 22)
        description = QueryStatusDescription(StrToInt(ReadText("QueryStatus"))).toStdString();

    // Master row.
    TTableDataset& master = *m_master;
    const DateTime utcTime = ReadDateTime("UtcTime");
    const std::string details = eventDetails(utcTime, description);
    master.append();
    master.setDateTime("UtcTime", utcTime);
    master.setInteger("EventType", id);
    master.setText("EventTypeName", state.FEventNameUnderParsing);
    master.setText("CorrelationGuid", *plan->type->correlationLiteral
                                          ? plan->type->correlationLiteral
                                          : ReadText(plan->type->correlationItem));
    master.setText("EventDetails", details);
    master.setText("Computer", state.FComputerName);
    // The plain server import leaves the master row of a remote thread without its rule name.
    if (!(id == 8 && fromServer() && !m_geo))
        master.setText("RuleName", ReadText("RuleName"));
    if (id == 2 && m_geo && !fromServer())
        master.setText("OriginalFileName", ReadText("OriginalFileName"));
    master.post();
    const std::int64_t gid = master.lastKey();

    writeTypeRow(*plan, gid, description);

    // Summary rows, read back from the type row as it was written.
    const TTableDataset& row = *plan->dataset;
    switch (id) {
    case 1:
        writeHashes(row, gid);
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        break;
    case 2:
    case 5:
    case 9:
    case 11:
    case 17:
    case 18:
    case 22:
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        break;
    case 3:
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        writeNetworkSummary(row, gid);
        break;
    case 6:
        writeHashes(row, gid);
        break;
    case 7:
        writeHashes(row, gid);
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        writeImageExe(id, row, "ImageLoaded", "ImageLoadedExe", "ProcessGuid", gid);
        break;
    case 8:
        writeImageExe(id, row, "SourceImage", "SourceImageExe", "SourceProcessGuid", gid);
        writeImageExe(id, row, "TargetImage", "TargetImageExe", "TargetProcessGuid", gid);
        break;
    case 10:
        writeImageExe(id, row, "SourceImage", "SourceImageExe", "SourceProcessGUID", gid);
        writeImageExe(id, row, "TargetImage", "TargetImageExe", "TargetProcessGUID", gid);
        break;
    case 12:
    case 13:
    case 14: {
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        TTableDataset& targets = *m_regTargets;
        targets.append();
        targets.setInteger("FID", gid);
        targets.setText("UtcTime", row.text("UtcTime"));
        targets.setText("TargetObject", row.text("TargetObject"));
        targets.post();
        break;
    }
    case 15:
        writeHashes(row, gid);
        writeImageExe(id, row, "Image", "ImageExe", "ProcessGuid", gid);
        break;
    default:
        break;
    }
    return gid;
}

void TEventMapper::writeTypeRow(const TypePlan& plan, std::int64_t gid, std::string_view description) {
    using Role = FieldPlan::Role;
    TTableDataset& row = *plan.dataset;
    row.append();
    HashParts hashes;
    for (const FieldPlan& f : plan.fields) {
        switch (f.role) {
        case Role::Text:
            row.setText(f.field, ReadText(f.item));
            break;
        case Role::Integer:
            row.setInteger(f.field, ReadInteger(f.item));
            break;
        case Role::Int64:
            row.setInteger(f.field, ReadInt64(f.item));
            break;
        case Role::Date:
            if (plan.type->id == 8 && fromServer() && std::string_view(f.item) == "UtcTime")
                row.setDateTime(f.field, bareUtcTime());
            else
                row.setDateTime(f.field, ReadDateTime(f.item));
            break;
        case Role::Boolean:
            row.setBoolean(f.field, ReadBoolean(f.item));
            break;
        case Role::BaseName:
            row.setText(f.field, ReadBaseName(f.item));
            break;
        case Role::Hashes:
            row.setText(f.field, ReadText(f.item));
            hashes = splitHashes(row.text(f.field));
            break;
        case Role::Md5:
            if (hashes.hasMd5)
                row.setText(f.field, hashes.md5);
            break;
        case Role::Sha1:
            if (hashes.hasSha1)
                row.setText(f.field, hashes.sha1);
            break;
        case Role::Sha256:
            if (hashes.hasSha256)
                row.setText(f.field, hashes.sha256);
            break;
        case Role::Description:
            row.setText(f.field, description);
            break;
        case Role::Geo:
            geolocate(row, "SourceIsIpv6", "SourceIp", "SourceCountry", "SourceCountryCode");
            geolocate(row, "DestinationIsIpv6", "DestinationIp", "DestinationCountry",
                      "DestinationCountryCode");
            break;
        }
    }
    row.setInteger(plan.fid, gid);
    row.setText(plan.computer < 0 ? row.fieldByName("Computer") : plan.computer, m_state->FComputerName);
    row.setText(plan.ruleName, ReadText("RuleName"));
    row.post();
}

DateTime TEventMapper::bareUtcTime() const {
    // The remote thread's own row reads its time from a column without the event_data prefix.
    const std::string* value = m_columns ? m_columns->column("UtcTime") : nullptr;
    if (!value)
        throw DatasetError("FDQueryData: Field 'UtcTime' not found");
    if (auto parsed = parseUtcTime(*value))
        return *parsed;
    m_report.dateFailed();
    return DateTime::zero();
}

void TEventMapper::geolocate(TTableDataset& row, const char* isIpv6, const char* address, const char* country,
                             const char* countryCode) {
    if (row.boolean(isIpv6))
        return;
    // A column the result lacks cannot be classified; the country columns stay as they are.
    if (fromServer() && !m_state->FEventRecordData.contains(address) &&
        !(m_columns && m_columns->hasItem(address)))
        m_geo->FGeoError = true;
    else
        m_geo->GeolocateEventAddress(m_state->FEventRecordData, address);
    if (!m_geo->FGeoError) {
        row.setText(country, m_geo->FCountry.toStdString());
        row.setText(countryCode, m_geo->FCountryCode.toStdString());
    } else {
        m_geo->FGeoError = false;
    }
}

void TEventMapper::writeImageExe(int id, const TTableDataset& row, const char* image, const char* imageExe,
                                 const char* guid, std::int64_t gid) {
    TTableDataset& exes = *m_imageExes;
    exes.append();
    exes.setInteger("FID", gid);
    exes.setText("UtcTime", row.text("UtcTime"));
    exes.setText("Image", row.text(image));
    exes.setText("ImageExe", row.text(imageExe));
    exes.setText("ProcessGuid", row.text(guid));
    exes.setInteger("EventType", id);
    exes.setText("EventTypeName", catalogue::find(id)->displayName);
    exes.post();
}

void TEventMapper::writeHashes(const TTableDataset& row, std::int64_t gid) {
    const HashParts hashes = splitHashes(row.text("Hashes"));
    if (hashes.partCount == 0)
        return;
    TTableDataset& all = *m_hashes;
    all.append();
    all.setInteger("FID", gid);
    all.setText("UtcTime", row.text("UtcTime"));
    if (hashes.hasMd5)
        all.setText("MD5", hashes.md5);
    if (hashes.hasSha1)
        all.setText("SHA1", hashes.sha1);
    if (hashes.hasSha256)
        all.setText("SHA256", hashes.sha256);
    all.post();
}

void TEventMapper::writeNetworkSummary(const TTableDataset& row, std::int64_t gid) {
    const std::string_view utc = row.text("UtcTime");
    TTableDataset& hosts = *m_hosts;
    for (const char* column : {"SourceHostname", "DestinationHostname"}) {
        if (trimmed(row.text(column)).empty())
            continue;
        hosts.append();
        hosts.setInteger("FID", gid);
        hosts.setText("UtcTime", utc);
        hosts.setText("Hostname", row.text(column));
        hosts.post();
    }
    TTableDataset& addresses = *m_addresses;
    const bool initiated = row.boolean("Initiated");
    for (const auto& [column, direction] :
         {std::pair{"SourceIp", "Source"}, std::pair{"DestinationIp", "Destination"}}) {
        addresses.append();
        addresses.setInteger("FID", gid);
        addresses.setText("UtcTime", utc);
        addresses.setText("IPAddress", row.text(column));
        addresses.setText("Direction", direction);
        addresses.setBoolean("Initiated", initiated);
        addresses.post();
    }
    // Both port rows say "Source": the column is no reliable direction, and the views don't rely on it.
    TTableDataset& ports = *m_ports;
    for (const auto& [port, name] :
         {std::pair{"SourcePort", "SourcePortName"}, std::pair{"DestinationPort", "DestinationPortName"}}) {
        ports.append();
        ports.setInteger("FID", gid);
        ports.setText("UtcTime", utc);
        ports.setText("Port", row.text(port));
        ports.setText("PortName", row.text(name));
        ports.setText("Direction", "Source");
        ports.post();
    }
}

} // namespace kelvane
