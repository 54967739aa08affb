#pragma once

#include "store/DateTime.h"

#include <QJsonObject>
#include <QString>

#include <memory>
#include <vector>

namespace kelvane {

class TJsonPathReader;

// The IP address report of VirusTotal, key by key. Keys missing from the JSON leave empty text,
// empty arrays and 0; keys the classes don't declare are passed over. Numbers in float fields may
// come as text; text that isn't a number gives 0. Dates are read as ISO 8601 dates, which keeps only
// the day of VirusTotal's "2016-05-12 10:22:33". FromJsonString throws on text that isn't a JSON
// object and on a date shorter than four characters.

class TResolutionsClass {
public:
    const QString& hostname() const { return FHostname; }
    const DateTime& last_resolved() const { return FLast_resolved; }
    QString ToJsonString() const;
    QJsonObject toJson() const;
    static std::unique_ptr<TResolutionsClass> FromJsonString(const QString& AJsonString);
    static TResolutionsClass read(const TJsonPathReader& reader, int node);

private:
    QString FHostname;
    DateTime FLast_resolved;
};

class TDetected_urlsClass {
public:
    double positives() const { return FPositives; }
    const DateTime& scan_date() const { return FScan_date; }
    double total() const { return FTotal; }
    const QString& url() const { return FUrl; }
    QString ToJsonString() const;
    QJsonObject toJson() const;
    static std::unique_ptr<TDetected_urlsClass> FromJsonString(const QString& AJsonString);
    static TDetected_urlsClass read(const TJsonPathReader& reader, int node);

private:
    double FPositives = 0;
    DateTime FScan_date;
    double FTotal = 0;
    QString FUrl;
};

// The four sample lists with a date share their keys: date, positives, sha256, total.
class TDatedSampleClass {
public:
    const DateTime& date() const { return FDate; }
    double positives() const { return FPositives; }
    const QString& sha256() const { return FSha256; }
    double total() const { return FTotal; }
    QString ToJsonString() const;
    QJsonObject toJson() const;

protected:
    void readFrom(const TJsonPathReader& reader, int node);

private:
    DateTime FDate;
    double FPositives = 0;
    QString FSha256;
    double FTotal = 0;
};

// The two referrer lists have no date: positives, sha256, total.
class TReferrerSampleClass {
public:
    double positives() const { return FPositives; }
    const QString& sha256() const { return FSha256; }
    double total() const { return FTotal; }
    QString ToJsonString() const;
    QJsonObject toJson() const;

protected:
    void readFrom(const TJsonPathReader& reader, int node);

private:
    double FPositives = 0;
    QString FSha256;
    double FTotal = 0;
};

// One class per list, so that each keeps its own name.
#define KELVANE_SAMPLE_CLASS(Name, Base)                                                                     \
    class Name : public Base {                                                                               \
    public:                                                                                                  \
        static std::unique_ptr<Name> FromJsonString(const QString& AJsonString);                             \
        static Name read(const TJsonPathReader& reader, int node) {                                          \
            Name item;                                                                                       \
            item.readFrom(reader, node);                                                                     \
            return item;                                                                                     \
        }                                                                                                    \
    };
KELVANE_SAMPLE_CLASS(TDetected_downloaded_samplesClass, TDatedSampleClass)
KELVANE_SAMPLE_CLASS(TDetected_communicating_samplesClass, TDatedSampleClass)
KELVANE_SAMPLE_CLASS(TUndetected_downloaded_samplesClass, TDatedSampleClass)
KELVANE_SAMPLE_CLASS(TUndetected_communicating_samplesClass, TDatedSampleClass)
KELVANE_SAMPLE_CLASS(TDetected_referrer_samplesClass, TReferrerSampleClass)
KELVANE_SAMPLE_CLASS(TUndetected_referrer_samplesClass, TReferrerSampleClass)
#undef KELVANE_SAMPLE_CLASS

class TVirusTotalIPReport {
public:
    const QString& as_owner() const { return FAs_owner; }
    const QString& asn() const { return FAsn; }
    const QString& country() const { return FCountry; }
    const std::vector<TDetected_communicating_samplesClass>& detected_communicating_samples() const {
        return FDetected_communicating_samples;
    }
    const std::vector<TDetected_downloaded_samplesClass>& detected_downloaded_samples() const {
        return FDetected_downloaded_samples;
    }
    const std::vector<TDetected_referrer_samplesClass>& detected_referrer_samples() const {
        return FDetected_referrer_samples;
    }
    const std::vector<TDetected_urlsClass>& detected_urls() const { return FDetected_urls; }
    const std::vector<TResolutionsClass>& resolutions() const { return FResolutions; }
    double response_code() const { return FResponse_code; }
    const std::vector<TUndetected_communicating_samplesClass>& undetected_communicating_samples() const {
        return FUndetected_communicating_samples;
    }
    const std::vector<TUndetected_downloaded_samplesClass>& undetected_downloaded_samples() const {
        return FUndetected_downloaded_samples;
    }
    const std::vector<TUndetected_referrer_samplesClass>& undetected_referrer_samples() const {
        return FUndetected_referrer_samples;
    }
    const QString& verbose_msg() const { return FVerbose_msg; }

    QString ToJsonString() const;
    static std::unique_ptr<TVirusTotalIPReport> FromJsonString(const QString& AJsonString);

private:
    QString FAs_owner;
    QString FAsn;
    QString FCountry;
    std::vector<TDetected_communicating_samplesClass> FDetected_communicating_samples;
    std::vector<TDetected_downloaded_samplesClass> FDetected_downloaded_samples;
    std::vector<TDetected_referrer_samplesClass> FDetected_referrer_samples;
    std::vector<TDetected_urlsClass> FDetected_urls;
    std::vector<TResolutionsClass> FResolutions;
    double FResponse_code = 0;
    std::vector<TUndetected_communicating_samplesClass> FUndetected_communicating_samples;
    std::vector<TUndetected_downloaded_samplesClass> FUndetected_downloaded_samples;
    std::vector<TUndetected_referrer_samplesClass> FUndetected_referrer_samples;
    QString FVerbose_msg;
};

namespace vtjson {
// The ISO 8601 date reader of the report: up to four digits of year, "-", up to two of month, "-",
// up to two of day, and a time only behind a "T". Throws on text shorter than four characters or
// that holds no date.
DateTime readIsoDate(const QString& text);
} // namespace vtjson

} // namespace kelvane
