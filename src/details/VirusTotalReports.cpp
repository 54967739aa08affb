#include "details/VirusTotalReports.h"

#include "details/TJsonPathReader.h"
#include "details/TVirusTotalIPReport.h"
#include "import/LocaleDateText.h"

#include <QDateTime>
#include <QLocale>
#include <QTimeZone>

namespace kelvane {

VTCellLook vtCellLook(const std::array<QString, 3>& cells, bool hasChildren) {
    VTCellLook look;
    look.heading = hasChildren;
    const QString& c1 = cells[0];
    const QString& c2 = cells[1];
    const QString& c3 = cells[2];
    look.fact =
        c1 == QLatin1String("Country") || c1 == QLatin1String("ASN (Owner)") ||
        (c1 == QLatin1String("Hostname") && c2 == QLatin1String("Last resolved")) ||
        (c1 == QLatin1String("URL") && c2 == QLatin1String("Scan date") &&
         c3 == QLatin1String("Detection")) ||
        (c1 == QLatin1String("Date") && c2 == QLatin1String("Detection") && c3 == QLatin1String("SHA256")) ||
        (c1 == QLatin1String("Detection") && c2 == QLatin1String("SHA256"));
    return look;
}

namespace vtreports {

namespace {

constexpr const char* kPassiveDns = "Passive DNS replication";

// Numbers of the IP report in the shortest general form, up to 15 significant digits.
QString number(double value) {
    QLocale locale = QLocale::system();
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale.toString(value, 'g', 15);
}

QString ratio(double positives, double total) {
    return number(positives) + QLatin1Char('/') + number(total);
}

QString dateText(const DateTime& value) {
    LocaleDateText locale;
    return QString::fromStdString(locale.text(value));
}

// The text at a path with its quotes removed, if the path exists.
std::optional<QString> read(TJsonPathReader& reader, const QString& path) {
    if (!reader.tryPath(path))
        return std::nullopt;
    return unquoted(reader.text());
}

void addDatedSamples(VTTreeNode& node, const char* caption, const auto& items) {
    if (items.empty())
        return;
    VTTreeNode& section = node.add(QString::fromLatin1(caption));
    section.add("Date", "Detection", "SHA256");
    for (const auto& item : items)
        section.add(dateText(item.date()), ratio(item.positives(), item.total()), item.sha256());
}

void addReferrerSamples(VTTreeNode& node, const char* caption, const auto& items) {
    if (items.empty())
        return;
    VTTreeNode& section = node.add(QString::fromLatin1(caption));
    section.add("Detection", "SHA256");
    for (const auto& item : items)
        section.add(ratio(item.positives(), item.total()), item.sha256());
}

// The whois record spells its line breaks as the two characters backslash and n.
QString whoisText(const QString& raw) {
    return unquoted(QString(raw).replace(QLatin1String("\\n"), QLatin1String("\r\n")));
}

struct DomainTable {
    const char* path;
    const char* caption;
    std::array<const char*, 3> heading;
    enum Shape { Urls, Dated, Referrer } shape;
};

// The downloaded-sample tables carry their two last headings swapped over the data; kept so.
constexpr DomainTable kDomainTables[] = {
    {"$.detected_urls", "Latest detected URLs", {"URL", "Scan date", "Detection"}, DomainTable::Urls},
    {"$.detected_downloaded_samples",
     "Detected downloaded samples",
     {"Date", "SHA256", "Detection"},
     DomainTable::Dated},
    {"$.detected_communicating_samples",
     "Detected communicating samples",
     {"Date", "Detection", "SHA256"},
     DomainTable::Dated},
    {"$.detected_referrer_samples",
     "Detected referrer samples",
     {"Detection", "SHA256", ""},
     DomainTable::Referrer},
    {"$.undetected_downloaded_samples",
     "Undetected downloaded samples",
     {"Date", "SHA256", "Detection"},
     DomainTable::Dated},
    {"$.undetected_communicating_samples",
     "Undetected communicating samples",
     {"Date", "Detection", "SHA256"},
     DomainTable::Dated},
    {"$.undetected_referrer_samples",
     "Undetected referrer samples",
     {"Detection", "SHA256", ""},
     DomainTable::Referrer},
};

// One element of a table; an element that lacks any of its keys gives no row.
std::optional<std::array<QString, 3>> tableRow(TJsonPathReader& reader, const QString& element,
                                               DomainTable::Shape shape) {
    auto key = [&](const char* name) { return read(reader, element + QLatin1Char('.') + name); };
    const auto positives = key("positives");
    const auto total = key("total");
    if (!positives || !total)
        return std::nullopt;
    const QString detection = *positives + QLatin1Char('/') + *total;
    switch (shape) {
    case DomainTable::Urls:
        if (const auto url = key("url"), scanDate = key("scan_date"); url && scanDate)
            return std::array<QString, 3>{*url, *scanDate, detection};
        break;
    case DomainTable::Dated:
        if (const auto date = key("date"), sha256 = key("sha256"); date && sha256)
            return std::array<QString, 3>{*date, detection, *sha256};
        break;
    case DomainTable::Referrer:
        if (const auto sha256 = key("sha256"))
            return std::array<QString, 3>{detection, *sha256, {}};
        break;
    }
    return std::nullopt;
}

} // namespace

QString unquoted(QString text) {
    return text.remove(QLatin1Char('"'));
}

VTOutcome readFileReport(const QByteArray& body) {
    TJsonPathReader reader;
    reader.parse(body);
    VTOutcome outcome;
    outcome.status = read(reader, "$.verbose_msg");
    // An unknown hash answers response_code 0: the service's message is the last word.
    const auto code = read(reader, "$.response_code");
    if (!code || *code != QLatin1String("1"))
        return outcome;
    const auto total = read(reader, "$.total");
    if (!total)
        return outcome;
    VTTreeNode& line = outcome.node.emplace();
    const auto positives = read(reader, "$.positives");
    if (!positives)
        return outcome;
    outcome.positives = positives;
    line.cells[0] = *positives + QLatin1Char('/') + *total;
    if (const auto date = read(reader, "$.scan_date"))
        line.cells[1] = *date;
    if (const auto link = read(reader, "$.permalink"))
        line.cells[2] = *link;
    return outcome;
}

VTOutcome readIPReport(const QByteArray& body, const QString& address) {
    const auto report = TVirusTotalIPReport::FromJsonString(QString::fromUtf8(body));
    VTOutcome outcome;
    outcome.status = report->verbose_msg();
    if (report->response_code() != 1)
        return outcome;
    VTTreeNode& node = outcome.node.emplace(VTTreeNode{{address}, {}});
    // The owner's name is read but the caption stands over the number alone.
    if (!report->country().isEmpty())
        node.add("Country", report->country());
    if (!report->asn().isEmpty())
        node.add("ASN (Owner)", report->asn());
    VTTreeNode& dns = node.add(kPassiveDns);
    if (report->resolutions().empty()) {
        dns.add("No domains! VirusTotal has never resolved any domain name to the IP address under "
                "consideration.");
    } else {
        dns.add("Hostname", "Last resolved");
        for (const TResolutionsClass& item : report->resolutions())
            dns.add(item.hostname(), dateText(item.last_resolved()));
    }
    if (!report->detected_urls().empty()) {
        VTTreeNode& urls = node.add("Latest detected URLs");
        urls.add("URL", "Scan date", "Detection");
        for (const TDetected_urlsClass& item : report->detected_urls())
            urls.add(item.url(), dateText(item.scan_date()), ratio(item.positives(), item.total()));
    }
    addDatedSamples(node, "Detected downloaded samples", report->detected_downloaded_samples());
    addDatedSamples(node, "Detected communicating samples", report->detected_communicating_samples());
    addReferrerSamples(node, "Detected referrer samples", report->detected_referrer_samples());
    addDatedSamples(node, "Undetected downloaded samples", report->undetected_downloaded_samples());
    addDatedSamples(node, "Undetected communicating samples", report->undetected_communicating_samples());
    addReferrerSamples(node, "Undetected referrer samples", report->undetected_referrer_samples());
    return outcome;
}

VTOutcome readDomainReport(const QByteArray& body, const QString& domain) {
    TJsonPathReader reader;
    reader.parse(body);
    VTOutcome outcome;
    outcome.status = read(reader, "$.verbose_msg");
    const auto code = read(reader, "$.response_code");
    if (!code || *code != QLatin1String("1"))
        return outcome;
    VTTreeNode& node = outcome.node.emplace(VTTreeNode{{domain}, {}});

    if (reader.tryPath("$.whois"))
        node.add("whois").add("whois information", whoisText(reader.text()));

    auto facts = [&](std::initializer_list<std::pair<const char*, const char*>> rows) {
        for (const auto& [path, caption] : rows)
            if (const auto text = read(reader, QString::fromLatin1(path)))
                node.add(QString::fromLatin1(caption), *text);
    };
    facts({{"$.['Alexa domain info']", "Alexa domain info"},
           {"$.['Alexa rank']", "Alexa rank"},
           {"$.['BitDefender domain info']", "BitDefender domain info"},
           {"$.['Malwarebytes hpHosts info']", "Malwarebytes hpHosts info"},
           {"$.['Opera domain info']", "Opera domain info"}});

    auto group = [&](const char* path, const char* caption,
                     std::initializer_list<std::pair<const char*, const char*>> members) {
        if (!reader.tryPath(QString::fromLatin1(path)))
            return;
        VTTreeNode& section = node.add(QString::fromLatin1(caption));
        for (const auto& [member, memberCaption] : members)
            if (const auto text = read(reader, QString::fromLatin1(path) + QString::fromLatin1(member)))
                section.add(QString::fromLatin1(memberCaption), *text);
    };
    group("$.['WOT domain info']", "WOT domain info",
          {{".['Child safety']", "Child safety"},
           {".Privacy", "Privacy"},
           {".Trustworthiness", "Trustworthiness"},
           {".['Vendor reliability']", "Vendor reliability"}});
    group("$.['Webutation domain info']", "Webutation domain info",
          {{".['Adult content']", "Adult content"},
           {".['Safety score']", "Safety score"},
           {".Verdict", "Verdict"}});

    facts({{"$.['Alexa category']", "Alexa category"},
           {"$.['BitDefender category']", "BitDefender category"},
           {"$.['Dr.Web category']", "Dr. Web category"},
           {"$.['TrendMicro category']", "TrendMicro category"},
           {"$.['Websense ThreatSeeker category']", "Websense ThreatSeeker category"}});

    for (const auto& [path, caption] :
         {std::pair{"$.categories", "Categories"}, std::pair{"$.domain_siblings", "Domain siblings"},
          std::pair{"$.pcaps", "pcaps"}, std::pair{"$.subdomains", "subdomains"}}) {
        if (!reader.tryPath(QString::fromLatin1(path)) || reader.childCount() < 1)
            continue;
        const int count = reader.childCount();
        VTTreeNode& section = node.add(QString::fromLatin1(caption));
        for (int i = 0; i < count; ++i)
            if (const auto text = read(reader, QStringLiteral("%1[%2]").arg(QLatin1String(path)).arg(i)))
                section.add(*text);
    }

    if (reader.tryPath("$.resolutions")) {
        const int count = reader.childCount();
        VTTreeNode& dns = node.add(kPassiveDns);
        if (count == 0)
            dns.add("No IP addresses! VirusTotal has never resolved this domain.");
        else
            dns.add("IP address", "Last resolved");
        for (int i = 0; i < count; ++i) {
            const QString element = QStringLiteral("$.resolutions[%1]").arg(i);
            const auto ip = read(reader, element + QLatin1String(".ip_address"));
            const auto resolved = read(reader, element + QLatin1String(".last_resolved"));
            if (ip && resolved)
                dns.add(*ip, *resolved);
        }
    }

    for (const DomainTable& table : kDomainTables) {
        if (!reader.tryPath(QString::fromLatin1(table.path)) || reader.childCount() < 1)
            continue;
        const int count = reader.childCount();
        VTTreeNode& section = node.add(QString::fromLatin1(table.caption));
        section.add(table.heading[0], table.heading[1], table.heading[2]);
        for (int i = 0; i < count; ++i) {
            const QString element = QStringLiteral("%1[%2]").arg(QLatin1String(table.path)).arg(i);
            if (const auto row = tableRow(reader, element, table.shape))
                section.children.push_back(VTTreeNode{*row, {}});
        }
    }
    return outcome;
}

// Version 3 answers: {"data": {"id": ..., "attributes": {...}}}. What version 2 showed and version 3
// has no counterpart for is left out.

namespace {

QString utcText(const QString& secondsSinceEpoch) {
    bool ok = false;
    const qint64 seconds = secondsSinceEpoch.toLongLong(&ok);
    if (!ok)
        return {};
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc()).toString("yyyy-MM-dd HH:mm:ss");
}

} // namespace

VTOutcome readFileReportV3(const QByteArray& body) {
    TJsonPathReader reader;
    reader.parse(body);
    VTOutcome outcome;
    outcome.status = QString();
    if (!reader.tryPath("$.data.attributes"))
        return outcome;
    VTTreeNode& line = outcome.node.emplace();
    if (!reader.tryPath("$.data.attributes.last_analysis_stats"))
        return outcome;
    // Engines that gave a verdict; those that timed out or could not read the type are not counted.
    double total = 0;
    for (const char* verdict : {"malicious", "suspicious", "undetected", "harmless"})
        if (const auto count =
                read(reader, QStringLiteral("$.data.attributes.last_analysis_stats.") + verdict))
            total += count->toDouble();
    const QString positives = read(reader, "$.data.attributes.last_analysis_stats.malicious").value_or("0");
    outcome.positives = positives;
    line.cells[0] = positives + QLatin1Char('/') + number(total);
    if (const auto date = read(reader, "$.data.attributes.last_analysis_date"))
        line.cells[1] = utcText(*date);
    if (const auto id = read(reader, "$.data.id"))
        line.cells[2] = QLatin1String(kFileGuiAddress) + *id;
    return outcome;
}

VTOutcome readIPReportV3(const QByteArray& body, const QString& address) {
    TJsonPathReader reader;
    reader.parse(body);
    VTOutcome outcome;
    outcome.status = QString();
    if (!reader.tryPath("$.data.attributes"))
        return outcome;
    VTTreeNode& node = outcome.node.emplace(VTTreeNode{{address}, {}});
    if (const auto country = read(reader, "$.data.attributes.country"); country && !country->isEmpty())
        node.add("Country", *country);
    if (const auto asn = read(reader, "$.data.attributes.asn"); asn && !asn->isEmpty())
        node.add("ASN (Owner)", *asn);
    return outcome;
}

VTOutcome readDomainReportV3(const QByteArray& body, const QString& domain) {
    TJsonPathReader reader;
    reader.parse(body);
    VTOutcome outcome;
    outcome.status = QString();
    if (!reader.tryPath("$.data.attributes"))
        return outcome;
    VTTreeNode& node = outcome.node.emplace(VTTreeNode{{domain}, {}});
    if (reader.tryPath("$.data.attributes.whois"))
        node.add("whois").add("whois information", whoisText(reader.text()));
    if (const auto rank = read(reader, "$.data.attributes.popularity_ranks.Alexa.rank"))
        node.add("Alexa rank", *rank);
    // Categories come per vendor; the vendors that version 2 named get their rows, and every
    // category joins the list.
    if (reader.tryPath("$.data.attributes.categories") && reader.kind() == TJsonPathReader::Kind::Object) {
        const int categories = reader.current();
        const std::pair<const char*, const char*> vendors[] = {
            {"Alexa", "Alexa category"},
            {"BitDefender", "BitDefender category"},
            {"Dr.Web", "Dr. Web category"},
            {"TrendMicro", "TrendMicro category"},
            {"Websense ThreatSeeker", "Websense ThreatSeeker category"},
        };
        for (const auto& [vendor, caption] : vendors) {
            const int value = reader.memberOf(categories, QLatin1String(vendor));
            if (value != TJsonPathReader::kNone)
                node.add(caption, unquoted(reader.textOf(value)));
        }
        if (reader.countOf(categories) > 0) {
            VTTreeNode& list = node.add("Categories");
            for (int i = 0; i < reader.countOf(categories); ++i)
                list.add(unquoted(reader.textOf(reader.childAt(categories, i))));
        }
    }
    return outcome;
}

std::optional<QString> errorMessageV3(const QByteArray& body) {
    TJsonPathReader reader;
    try {
        reader.parse(body);
    } catch (const std::exception&) {
        return std::nullopt;
    }
    // The server's words as it wrote them: its quotes come escaped in the JSON text.
    if (!reader.tryPath("$.error.message"))
        return std::nullopt;
    return reader.value();
}

} // namespace vtreports
} // namespace kelvane
