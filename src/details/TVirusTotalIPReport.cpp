#include "details/TVirusTotalIPReport.h"

#include "details/TJsonPathReader.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

namespace kelvane {

namespace {

using Kind = TJsonPathReader::Kind;

QString textField(const TJsonPathReader& reader, int object, const char* key) {
    const int node = reader.memberOf(object, QLatin1String(key));
    if (node == TJsonPathReader::kNone)
        return {};
    switch (reader.kindOf(node)) {
    case Kind::String:
        return reader.valueOf(node);
    case Kind::Null:
        return {};
    default:
        // A number (the ASN) becomes its text as written.
        return reader.textOf(node);
    }
}

double floatField(const TJsonPathReader& reader, int object, const char* key) {
    const int node = reader.memberOf(object, QLatin1String(key));
    if (node == TJsonPathReader::kNone)
        return 0;
    const Kind kind = reader.kindOf(node);
    if (kind != Kind::Number && kind != Kind::String)
        return 0;
    bool ok = false;
    const double value = reader.valueOf(node).trimmed().toDouble(&ok);
    return ok ? value : 0;
}

DateTime dateField(const TJsonPathReader& reader, int object, const char* key) {
    const int node = reader.memberOf(object, QLatin1String(key));
    if (node == TJsonPathReader::kNone || reader.kindOf(node) == Kind::Null)
        return DateTime::zero();
    return vtjson::readIsoDate(reader.valueOf(node));
}

template <class Item>
std::vector<Item> arrayField(const TJsonPathReader& reader, int object, const char* key) {
    std::vector<Item> items;
    const int node = reader.memberOf(object, QLatin1String(key));
    if (node == TJsonPathReader::kNone || reader.kindOf(node) != Kind::Array)
        return items;
    for (int i = 0; i < reader.countOf(node); ++i) {
        const int element = reader.elementOf(node, i);
        // Elements that aren't objects carry no keys: they stay at their initial values.
        items.push_back(Item::read(reader, element));
    }
    return items;
}

// Parses text that must be a JSON object; the reader's root is then that object.
void parseObject(TJsonPathReader& reader, const QString& text) {
    reader.parse(text.toUtf8());
    if (reader.kindOf(reader.root()) != Kind::Object)
        throw std::runtime_error("The answer is not a JSON object");
}

template <class Item> std::unique_ptr<Item> itemFromJson(const QString& text) {
    TJsonPathReader reader;
    parseObject(reader, text);
    return std::make_unique<Item>(Item::read(reader, reader.root()));
}

QString isoText(const DateTime& value) {
    return QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", value.year, value.month, value.day,
                             value.hour, value.minute, value.second, value.msec);
}

QString compact(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

template <class Item> QJsonArray jsonArray(const std::vector<Item>& items) {
    QJsonArray array;
    for (const Item& item : items)
        array.append(item.toJson());
    return array;
}

int readDigits(const QString& text, qsizetype& pos, int most) {
    int value = 0;
    int count = 0;
    while (pos < text.size() && count < most && text.at(pos).isDigit()) {
        value = value * 10 + text.at(pos).digitValue();
        ++pos;
        ++count;
    }
    return count == 0 ? -1 : value;
}

} // namespace

namespace vtjson {

DateTime readIsoDate(const QString& text) {
    const auto fault = [&text] {
        return std::runtime_error(("'" + text + "' is not a valid ISO 8601 date").toStdString());
    };
    if (text.size() < 4)
        throw fault();
    qsizetype pos = 0;
    DateTime value;
    value.year = readDigits(text, pos, 4);
    if (value.year < 0 || pos >= text.size() || text.at(pos) != QLatin1Char('-'))
        throw fault();
    ++pos;
    value.month = readDigits(text, pos, 2);
    if (value.month < 0 || pos >= text.size() || text.at(pos) != QLatin1Char('-'))
        throw fault();
    ++pos;
    value.day = readDigits(text, pos, 2);
    if (value.day < 0)
        throw fault();
    // VirusTotal writes a blank between date and time: the time is looked for only behind a "T".
    if (pos < text.size() && text.at(pos) == QLatin1Char('T')) {
        ++pos;
        value.hour = std::max(0, readDigits(text, pos, 2));
        if (pos < text.size() && text.at(pos) == QLatin1Char(':')) {
            ++pos;
            value.minute = std::max(0, readDigits(text, pos, 2));
        }
        if (pos < text.size() && text.at(pos) == QLatin1Char(':')) {
            ++pos;
            value.second = std::max(0, readDigits(text, pos, 2));
        }
        if (pos < text.size() && text.at(pos) == QLatin1Char('.')) {
            ++pos;
            value.msec = std::max(0, readDigits(text, pos, 3));
        }
    }
    if (!value.isValid())
        throw fault();
    return value;
}

} // namespace vtjson

TResolutionsClass TResolutionsClass::read(const TJsonPathReader& reader, int node) {
    TResolutionsClass item;
    item.FHostname = textField(reader, node, "hostname");
    item.FLast_resolved = dateField(reader, node, "last_resolved");
    return item;
}

QJsonObject TResolutionsClass::toJson() const {
    return QJsonObject{{"hostname", FHostname}, {"last_resolved", isoText(FLast_resolved)}};
}

QString TResolutionsClass::ToJsonString() const {
    return compact(toJson());
}

std::unique_ptr<TResolutionsClass> TResolutionsClass::FromJsonString(const QString& AJsonString) {
    return itemFromJson<TResolutionsClass>(AJsonString);
}

TDetected_urlsClass TDetected_urlsClass::read(const TJsonPathReader& reader, int node) {
    TDetected_urlsClass item;
    item.FPositives = floatField(reader, node, "positives");
    item.FScan_date = dateField(reader, node, "scan_date");
    item.FTotal = floatField(reader, node, "total");
    item.FUrl = textField(reader, node, "url");
    return item;
}

QJsonObject TDetected_urlsClass::toJson() const {
    return QJsonObject{
        {"positives", FPositives}, {"scan_date", isoText(FScan_date)}, {"total", FTotal}, {"url", FUrl}};
}

QString TDetected_urlsClass::ToJsonString() const {
    return compact(toJson());
}

std::unique_ptr<TDetected_urlsClass> TDetected_urlsClass::FromJsonString(const QString& AJsonString) {
    return itemFromJson<TDetected_urlsClass>(AJsonString);
}

void TDatedSampleClass::readFrom(const TJsonPathReader& reader, int node) {
    FDate = dateField(reader, node, "date");
    FPositives = floatField(reader, node, "positives");
    FSha256 = textField(reader, node, "sha256");
    FTotal = floatField(reader, node, "total");
}

QJsonObject TDatedSampleClass::toJson() const {
    return QJsonObject{
        {"date", isoText(FDate)}, {"positives", FPositives}, {"sha256", FSha256}, {"total", FTotal}};
}

QString TDatedSampleClass::ToJsonString() const {
    return compact(toJson());
}

void TReferrerSampleClass::readFrom(const TJsonPathReader& reader, int node) {
    FPositives = floatField(reader, node, "positives");
    FSha256 = textField(reader, node, "sha256");
    FTotal = floatField(reader, node, "total");
}

QJsonObject TReferrerSampleClass::toJson() const {
    return QJsonObject{{"positives", FPositives}, {"sha256", FSha256}, {"total", FTotal}};
}

QString TReferrerSampleClass::ToJsonString() const {
    return compact(toJson());
}

#define KELVANE_SAMPLE_FROM_JSON(Name)                                                                       \
    std::unique_ptr<Name> Name::FromJsonString(const QString& AJsonString) {                                 \
        return itemFromJson<Name>(AJsonString);                                                              \
    }
KELVANE_SAMPLE_FROM_JSON(TDetected_downloaded_samplesClass)
KELVANE_SAMPLE_FROM_JSON(TDetected_communicating_samplesClass)
KELVANE_SAMPLE_FROM_JSON(TUndetected_downloaded_samplesClass)
KELVANE_SAMPLE_FROM_JSON(TUndetected_communicating_samplesClass)
KELVANE_SAMPLE_FROM_JSON(TDetected_referrer_samplesClass)
KELVANE_SAMPLE_FROM_JSON(TUndetected_referrer_samplesClass)
#undef KELVANE_SAMPLE_FROM_JSON

std::unique_ptr<TVirusTotalIPReport> TVirusTotalIPReport::FromJsonString(const QString& AJsonString) {
    TJsonPathReader reader;
    parseObject(reader, AJsonString);
    const int root = reader.root();
    auto report = std::make_unique<TVirusTotalIPReport>();
    report->FAs_owner = textField(reader, root, "as_owner");
    report->FAsn = textField(reader, root, "asn");
    report->FCountry = textField(reader, root, "country");
    report->FDetected_communicating_samples =
        arrayField<TDetected_communicating_samplesClass>(reader, root, "detected_communicating_samples");
    report->FDetected_downloaded_samples =
        arrayField<TDetected_downloaded_samplesClass>(reader, root, "detected_downloaded_samples");
    report->FDetected_referrer_samples =
        arrayField<TDetected_referrer_samplesClass>(reader, root, "detected_referrer_samples");
    report->FDetected_urls = arrayField<TDetected_urlsClass>(reader, root, "detected_urls");
    report->FResolutions = arrayField<TResolutionsClass>(reader, root, "resolutions");
    report->FResponse_code = floatField(reader, root, "response_code");
    report->FUndetected_communicating_samples =
        arrayField<TUndetected_communicating_samplesClass>(reader, root, "undetected_communicating_samples");
    report->FUndetected_downloaded_samples =
        arrayField<TUndetected_downloaded_samplesClass>(reader, root, "undetected_downloaded_samples");
    report->FUndetected_referrer_samples =
        arrayField<TUndetected_referrer_samplesClass>(reader, root, "undetected_referrer_samples");
    report->FVerbose_msg = textField(reader, root, "verbose_msg");
    return report;
}

QString TVirusTotalIPReport::ToJsonString() const {
    return compact({
        {"as_owner", FAs_owner},
        {"asn", FAsn},
        {"country", FCountry},
        {"detected_communicating_samples", jsonArray(FDetected_communicating_samples)},
        {"detected_downloaded_samples", jsonArray(FDetected_downloaded_samples)},
        {"detected_referrer_samples", jsonArray(FDetected_referrer_samples)},
        {"detected_urls", jsonArray(FDetected_urls)},
        {"resolutions", jsonArray(FResolutions)},
        {"response_code", FResponse_code},
        {"undetected_communicating_samples", jsonArray(FUndetected_communicating_samples)},
        {"undetected_downloaded_samples", jsonArray(FUndetected_downloaded_samples)},
        {"undetected_referrer_samples", jsonArray(FUndetected_referrer_samples)},
        {"verbose_msg", FVerbose_msg},
    });
}

} // namespace kelvane
