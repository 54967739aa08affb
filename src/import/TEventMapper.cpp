#include "import/TEventMapper.h"

#include "import/DnsStatusMessages.h"
#include "import/ImportReport.h"
#include "import/ValueConversions.h"
#include "store/EventCatalogue.h"
#include "store/ExtraItemsCodec.h"
#include "store/TDatasetSource.h"
#include "store/TTableDataset.h"

#include <algorithm>

namespace kelvane {
namespace {

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

bool isItemOf(const EventTypeInfo& type, std::string_view column) {
    if (column == "UtcTime")
        return true;
    return std::any_of(type.items.begin(), type.items.end(),
                       [&](const char* item) { return column == item; });
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
    // The items its columns take, with their lengths at hand: each item of each event is looked up here.
    std::vector<std::string_view> taken;

    bool takes(std::string_view item) const {
        return std::find(taken.begin(), taken.end(), item) != taken.end();
    }
};

TEventMapper::TEventMapper(TDatasetSource& data, ImportReport& report, TIPGeolocator* geolocator,
                           EventSource source)
    : m_data(data), m_report(report), m_geo(geolocator), m_source(source),
      m_master(&data.tableDataset("AllEvents")), m_imageExes(&data.tableDataset("AllImageExes")),
      m_hashes(&data.tableDataset("AllHashes")), m_hosts(&data.tableDataset("AllHosts")),
      m_addresses(&data.tableDataset("AllIPAddresses")), m_ports(&data.tableDataset("AllPorts")),
      m_regTargets(&data.tableDataset("AllRegTargets")), m_extras(&data.tableDataset("ExtraItems")),
      m_extraFid(m_extras->fieldByName("FID")), m_extraItems(m_extras->fieldByName("Items")) {
    using Role = FieldPlan::Role;
    for (const EventTypeInfo& type : catalogue::types()) {
        TypePlan plan;
        plan.type = &type;
        plan.taken = {"UtcTime", "RuleName"};
        plan.taken.insert(plan.taken.end(), type.items.begin(), type.items.end());
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
            } else if (name == "OriginalFileName" && type.id == 1 && m_geo && source == EventSource::XmlLog) {
                // The geolocating import of a log leaves this column of process creations alone.
            } else if (name == "Hashes") {
                plan.fields.push_back({Role::Hashes, index, type.id == 15 ? "Hash" : "Hashes"});
            } else if (name == "MD5") {
                plan.fields.push_back({Role::Md5, index, nullptr});
            } else if (name == "SHA1") {
                plan.fields.push_back({Role::Sha1, index, nullptr});
            } else if (name == "SHA256") {
                plan.fields.push_back({Role::Sha256, index, nullptr});
            } else if (name == "QueryStatusDescription") {
                plan.fields.push_back({Role::Description, index, nullptr});
            } else if (isItemOf(type, name)) {
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
                        if (type.id == 3 && m_geo && name == "ImageExe")
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

    // Before the type row, so that an event whose own row fails keeps its other items all the same.
    writeExtraItems(*plan, gid);
    writeTypeRow(*plan, gid, description);

    // Summary rows, read back from the type row as it was written.
    const TTableDataset& row = *plan->dataset;
    const EventTypeInfo& type = *plan->type;
    if (type.summaryFeeds & SummaryFeed::Hashes)
        writeHashes(row, gid);
    for (const ImageFeed& feed : type.imageFeeds)
        writeImageExe(id, row, feed.image, feed.imageExe, feed.guid, gid);
    if (type.summaryFeeds & SummaryFeed::Network)
        writeNetworkSummary(row, gid);
    if (type.summaryFeeds & SummaryFeed::RegTarget) {
        TTableDataset& targets = *m_regTargets;
        targets.append();
        targets.setInteger("FID", gid);
        targets.setText("UtcTime", row.text("UtcTime"));
        targets.setText("TargetObject", row.text("TargetObject"));
        targets.post();
    }
    return gid;
}

void TEventMapper::writeExtraItems(const TypePlan& plan, std::int64_t gid) {
    const EventRecord& record = m_state->FEventRecordData;
    m_extraText.clear();
    bool any = false;
    for (size_t i = 0; i < record.size(); ++i) {
        const auto& [name, value] = record.at(i);
        if (plan.takes(name))
            continue;
        appendExtraItem(m_extraText, name, value);
        any = true;
    }
    if (!any)
        return;
    TTableDataset& extras = *m_extras;
    extras.append();
    extras.setInteger(m_extraFid, gid);
    extras.setText(m_extraItems, m_extraText);
    extras.post();
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

} // namespace kelvane
