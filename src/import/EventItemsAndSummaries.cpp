// Reading the items of the event being mapped, and the rows of the summary tables it feeds.
#include "import/TEventMapper.h"

#include "import/ImportReport.h"
#include "import/TIPGeolocator.h"
#include "import/ValueConversions.h"
#include "store/EventCatalogue.h"
#include "store/TTableDataset.h"

namespace kelvane {

const std::string* TEventMapper::item(std::string_view name) const {
    return m_state->FEventRecordData.find(name);
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

DateTime TEventMapper::bareUtcTime() const {
    // The remote thread's own row reads its time from a column without the event_data prefix.
    // Shippers write no such column: it reads as an absent item.
    const std::string* value = m_columns ? m_columns->column("UtcTime") : nullptr;
    if (!value)
        return DateTime::zero();
    if (auto parsed = parseUtcTime(*value))
        return *parsed;
    m_report.dateFailed();
    return DateTime::zero();
}

void TEventMapper::geolocate(TTableDataset& row, const char* isIpv6, const char* address, const char* country,
                             const char* countryCode) {
    if (row.boolean(isIpv6))
        return;
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
