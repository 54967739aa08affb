#include "details/TJsonPathReader.h"
#include "details/TVirusTotalIPReport.h"
#include "details/VirusTotalReports.h"

#include <QLocale>
#include <QtTest>

#include <optional>

using namespace kelvane;

class tst_VirusTotalReports : public QObject {
    Q_OBJECT

private slots:
    void pathsGiveRawText_data();
    void pathsGiveRawText();
    void childCountAndValues();
    void malformedDocumentsThrow_data();
    void malformedDocumentsThrow();
    void fileReport_data();
    void fileReport();
    void ipReportWithEverySection();
    void ipReportConversions_data();
    void ipReportConversions();
    void domainReportInFixedOrder();
    void domainReportGaps();
    void cellLook_data();
    void cellLook();
    void versionThreeAnswers();
};

namespace {

// A tree as lines: two blanks of indent per level, then the cells joined by "|" without trailing empties.
QStringList lines(const VTTreeNode& node, int depth = 0) {
    QStringList cells(node.cells.begin(), node.cells.end());
    while (!cells.isEmpty() && cells.last().isEmpty())
        cells.removeLast();
    QStringList out{QString(depth * 2, ' ') + cells.join('|')};
    for (const VTTreeNode& child : node.children)
        out << lines(child, depth + 1);
    return out;
}

QString shortDate(int y, int m, int d) {
    return QLocale::system().toString(QDate(y, m, d), QLocale::system().dateFormat(QLocale::ShortFormat));
}

const char* const kDocument = R"({"verbose_msg": "Scan \"done\"", "n": 1.50, "Alexa rank": 7,
  "WOT domain info": {"Child safety": "Good", "Privacy": "x"}, "a": [{"f": "\u00e9"}, 2], "e": [],
  "o": {}, "t": true, "nul": null, "Dr.Web category": "news"})";

} // namespace

void tst_VirusTotalReports::pathsGiveRawText_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("text");
    QTest::newRow("string keeps quotes and escapes") << "$.verbose_msg" << true << R"("Scan \"done\"")";
    QTest::newRow("number as written") << "$.n" << true << "1.50";
    QTest::newRow("name with blanks") << "$.['Alexa rank']" << true << "7";
    QTest::newRow("bracket then plain") << "$.['WOT domain info'].Privacy" << true << R"("x")";
    QTest::newRow("bracket then bracket") << "$.['WOT domain info'].['Child safety']" << true << R"("Good")";
    QTest::newRow("dot inside brackets") << "$.['Dr.Web category']" << true << R"("news")";
    QTest::newRow("element field, escape kept") << "$.a[0].f" << true << R"("\u00e9")";
    QTest::newRow("element") << "$.a[1]" << true << "2";
    QTest::newRow("literals") << "$.t" << true << "true";
    QTest::newRow("null") << "$.nul" << true << "null";
    QTest::newRow("object text") << "$.o" << true << "{}";
    QTest::newRow("past the end") << "$.a[2]" << false << "";
    QTest::newRow("missing") << "$.missing" << false << "";
    QTest::newRow("index into a number") << "$.n[0]" << false << "";
    QTest::newRow("member of an array") << "$.a.f" << false << "";
    QTest::newRow("not a path") << "verbose_msg" << false << "";
    QTest::newRow("unclosed bracket") << "$.['Alexa rank" << false << "";
}

void tst_VirusTotalReports::pathsGiveRawText() {
    QFETCH(QString, path);
    QFETCH(bool, exists);
    QFETCH(QString, text);
    TJsonPathReader reader;
    reader.parse(kDocument);
    QCOMPARE(reader.tryPath(path), exists);
    if (exists)
        QCOMPARE(reader.text(), text);
}

void tst_VirusTotalReports::childCountAndValues() {
    TJsonPathReader reader;
    reader.parse(kDocument);
    QVERIFY(reader.tryPath("$.a"));
    QCOMPARE(reader.childCount(), 2);
    QVERIFY(reader.tryPath("$.e"));
    QCOMPARE(reader.childCount(), 0);
    QVERIFY(reader.tryPath("$.a[0].f"));
    QCOMPARE(reader.value(), QString::fromUtf8("\xc3\xa9"));
    reader.parse(R"(["\ud83d\ude00 \\ \/ \t"])");
    QVERIFY(reader.tryPath("$[0]"));
    QCOMPARE(reader.value(), QString::fromUtf8("\xf0\x9f\x98\x80 \\ / \t"));
    reader.reset();
    QVERIFY(!reader.tryPath("$"));
}

void tst_VirusTotalReports::malformedDocumentsThrow_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("html") << QByteArray("<html>Bad gateway</html>");
    QTest::newRow("unclosed object") << QByteArray(R"({"a": 1)");
    QTest::newRow("missing value") << QByteArray(R"({"a": })");
    QTest::newRow("trailing comma") << QByteArray("[1,]");
    QTest::newRow("text after the document") << QByteArray("{} x");
    QTest::newRow("raw line break in a string") << QByteArray("[\"a\nb\"]");
    QTest::newRow("bad escape") << QByteArray(R"(["\x"])");
    QTest::newRow("leading zero") << QByteArray("[01]");
    QTest::newRow("nesting too deep") << QByteArray(5000, '[');
}

void tst_VirusTotalReports::malformedDocumentsThrow() {
    QFETCH(QByteArray, body);
    TJsonPathReader reader;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, reader.parse(body));
    QVERIFY(!reader.hasDocument());
}

void tst_VirusTotalReports::fileReport_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("status");    // null: unchanged
    QTest::addColumn<QStringList>("line");  // empty: no line added
    QTest::addColumn<QString>("positives"); // null: unchanged
    QTest::newRow("unknown hash")
        << QByteArray(
               R"({"response_code": 0, "resource": "abc", "verbose_msg": "The requested resource is not among the finished, queued or pending scans"})")
        << "The requested resource is not among the finished, queued or pending scans" << QStringList()
        << QString();
    QTest::newRow("three engines")
        << QByteArray(
               R"({"response_code": 1, "verbose_msg": "Scan finished, information embedded", "total": 66,
            "positives": 3, "scan_date": "2016-05-12 10:22:33", "permalink": "https://www.virustotal.com/file/ab/analysis/1463048553/"})")
        << "Scan finished, information embedded"
        << QStringList{"3/66|2016-05-12 10:22:33|https://www.virustotal.com/file/ab/analysis/1463048553/"}
        << "3";
    QTest::newRow("clean") << QByteArray(R"({"response_code": 1, "total": 70, "positives": 0})") << QString()
                           << QStringList{"0/70"} << "0";
    QTest::newRow("known without positives: an empty line")
        << QByteArray(R"({"response_code": 1, "total": 66, "scan_date": "2016-05-12 10:22:33"})") << QString()
        << QStringList{""} << QString();
    QTest::newRow("no total") << QByteArray(R"({"response_code": 1, "positives": 2})") << QString()
                              << QStringList() << QString();
    QTest::newRow("code as float text is not 1")
        << QByteArray(R"({"response_code": 1.0, "total": 5})") << QString() << QStringList() << QString();
    QTest::newRow("neither message nor code")
        << QByteArray(R"({"error": "quota"})") << QString() << QStringList() << QString();
    QTest::newRow("quotes removed, backslashes kept")
        << QByteArray(R"({"verbose_msg": "Not \"here\""})") << R"(Not \here\)" << QStringList() << QString();
}

void tst_VirusTotalReports::fileReport() {
    QFETCH(QByteArray, body);
    QFETCH(QString, status);
    QFETCH(QStringList, line);
    QFETCH(QString, positives);
    const VTOutcome outcome = vtreports::readFileReport(body);
    QCOMPARE(outcome.status.has_value(), !status.isNull());
    if (outcome.status)
        QCOMPARE(*outcome.status, status);
    QCOMPARE(outcome.node ? lines(*outcome.node) : QStringList(), line);
    QCOMPARE(outcome.positives.value_or(QString()), positives);
}

void tst_VirusTotalReports::ipReportWithEverySection() {
    const QByteArray body =
        R"({"response_code": 1, "verbose_msg": "IP address in dataset", "as_owner": "Google LLC",
      "asn": 15169, "country": "US", "unknown_key": [1, 2],
      "resolutions": [{"last_resolved": "2016-05-12 10:22:33", "hostname": "a.example.org"}],
      "detected_urls": [{"url": "http://a.example.org/x", "positives": 3, "total": 66, "scan_date": "2017-01-02 03:04:05"}],
      "detected_downloaded_samples": [{"date": "2018-02-03 00:00:00", "positives": 5, "total": 60, "sha256": "d1"}],
      "detected_communicating_samples": [{"date": "2018-02-04 01:00:00", "positives": 1, "total": 61, "sha256": "c1"}],
      "detected_referrer_samples": [{"positives": 2, "total": 62, "sha256": "r1"}],
      "undetected_downloaded_samples": [{"date": "2018-02-05 00:00:00", "positives": 0, "total": 63, "sha256": "d2"}],
      "undetected_communicating_samples": [{"date": "2018-02-06 00:00:00", "positives": 0, "total": 64, "sha256": "c2"}],
      "undetected_referrer_samples": [{"positives": 0, "total": 65, "sha256": "r2"}]})";
    const VTOutcome outcome = vtreports::readIPReport(body, "8.8.8.8");
    QCOMPARE(outcome.status.value_or("-"), "IP address in dataset");
    QVERIFY(outcome.node);
    const QStringList expected{
        "8.8.8.8",
        "  Country|US",
        "  ASN (Owner)|15169",
        "  Passive DNS replication",
        "    Hostname|Last resolved",
        "    a.example.org|" + shortDate(2016, 5, 12),
        "  Latest detected URLs",
        "    URL|Scan date|Detection",
        "    http://a.example.org/x|" + shortDate(2017, 1, 2) + "|3/66",
        "  Detected downloaded samples",
        "    Date|Detection|SHA256",
        "    " + shortDate(2018, 2, 3) + "|5/60|d1",
        "  Detected communicating samples",
        "    Date|Detection|SHA256",
        "    " + shortDate(2018, 2, 4) + "|1/61|c1",
        "  Detected referrer samples",
        "    Detection|SHA256",
        "    2/62|r1",
        "  Undetected downloaded samples",
        "    Date|Detection|SHA256",
        "    " + shortDate(2018, 2, 5) + "|0/63|d2",
        "  Undetected communicating samples",
        "    Date|Detection|SHA256",
        "    " + shortDate(2018, 2, 6) + "|0/64|c2",
        "  Undetected referrer samples",
        "    Detection|SHA256",
        "    0/65|r2",
    };
    QCOMPARE(lines(*outcome.node), expected);

    // The report classes round-trip what they read.
    const auto report = TVirusTotalIPReport::FromJsonString(QString::fromUtf8(body));
    const auto again = TVirusTotalIPReport::FromJsonString(report->ToJsonString());
    QCOMPARE(again->as_owner(), "Google LLC");
    QCOMPARE(again->detected_urls().at(0).positives(), 3.0);
    QCOMPARE(again->resolutions().at(0).last_resolved().day, 12);
}

void tst_VirusTotalReports::ipReportConversions_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("tree"); // empty: no node
    QTest::newRow("every array empty")
        << QByteArray(R"({"response_code": 1, "verbose_msg": "", "resolutions": [], "detected_urls": []})")
        << QStringList{
               "192.0.1.1", "  Passive DNS replication",
               "    No domains! VirusTotal has never resolved any domain name to the IP address under "
               "consideration."};
    QTest::newRow("code written as float")
        << QByteArray(R"({"response_code": 1.0, "asn": "AS1"})")
        << QStringList{"192.0.1.1", "  ASN (Owner)|AS1", "  Passive DNS replication",
                       "    No domains! VirusTotal has never resolved any domain "
                       "name to the IP address under consideration."};
    QTest::newRow("unknown address") << QByteArray(
                                            R"({"response_code": 0, "verbose_msg": "Missing IP address"})")
                                     << QStringList();
    QTest::newRow("numbers as text, bad text as 0, time after T kept")
        << QByteArray(
               R"({"response_code": "1", "detected_referrer_samples": [{"positives": "4", "total": "x", "sha256": 7}],
            "resolutions": [{"hostname": "h", "last_resolved": "2019-03-04T05:06:07"}]})")
        << QStringList{"192.0.1.1",
                       "  Passive DNS replication",
                       "    Hostname|Last resolved",
                       "    h|" + QLocale::system()
                                      .toString(QDateTime(QDate(2019, 3, 4), QTime(5, 6, 7)),
                                                QLocale::system().dateFormat(QLocale::ShortFormat) + ' ' +
                                                    QLocale::system().timeFormat(QLocale::LongFormat))
                                      .remove(QRegularExpression(" ?[A-Z]{3,4}$")),
                       "  Detected referrer samples",
                       "    Detection|SHA256",
                       "    4/0|7"};
}

void tst_VirusTotalReports::ipReportConversions() {
    QFETCH(QByteArray, body);
    QFETCH(QStringList, tree);
    const VTOutcome outcome = vtreports::readIPReport(body, "192.0.1.1");
    QVERIFY(outcome.status);
    QCOMPARE(outcome.node ? lines(*outcome.node) : QStringList(), tree);
}

void tst_VirusTotalReports::domainReportInFixedOrder() {
    const QByteArray body = R"({"response_code": 1, "verbose_msg": "Domain found in dataset",
      "subdomains": ["www.example.org"], "pcaps": ["p1"], "domain_siblings": ["mail.example.org", "ftp.example.org"],
      "categories": ["news", "searchengines"],
      "TrendMicro category": "search engines", "Dr.Web category": "known infection source",
      "Webutation domain info": {"Verdict": "safe", "Adult content": "no", "Safety score": 80},
      "WOT domain info": {"Vendor reliability": "Excellent", "Child safety": "Good"},
      "Opera domain info": "safe", "Alexa rank": 1, "Alexa domain info": "top site",
      "whois": "Domain: example.org\nRegistrar: \"Acme\"",
      "resolutions": [{"ip_address": "192.0.2.7", "last_resolved": "2016-05-12 10:22:33"}, {"ip_address": "no date"}],
      "detected_urls": [{"url": "http://example.org/", "scan_date": "2017-01-02 03:04:05", "positives": 2, "total": 66}],
      "detected_downloaded_samples": [{"date": "2018-01-01 00:00:00", "positives": 4, "total": 60, "sha256": "d1"},
                                      {"date": "2018-01-02 00:00:00", "positives": 4, "total": 60}],
      "undetected_referrer_samples": [{"positives": 0, "total": 65, "sha256": "r2"}],
      "detected_communicating_samples": [{"date": "2018-01-04 00:00:00", "positives": 1, "total": 62, "sha256": "c1"}],
      "detected_referrer_samples": [{"positives": 3, "total": 63, "sha256": "r1"}, {"total": 63, "sha256": "r0"}],
      "undetected_communicating_samples": [{"date": "2018-01-05 00:00:00", "positives": 0, "total": 64, "sha256": "c2"}],
      "undetected_downloaded_samples": [{"date": "2018-01-03 00:00:00", "positives": 0, "total": 61, "sha256": "d2"}]})";
    const VTOutcome outcome = vtreports::readDomainReport(body, "example.org");
    QCOMPARE(outcome.status.value_or("-"), "Domain found in dataset");
    QVERIFY(outcome.node);
    const QStringList expected{
        "example.org",
        "  whois",
        "    whois information|Domain: example.org\r\nRegistrar: \\Acme\\",
        "  Alexa domain info|top site",
        "  Alexa rank|1",
        "  Opera domain info|safe",
        "  WOT domain info",
        "    Child safety|Good",
        "    Vendor reliability|Excellent",
        "  Webutation domain info",
        "    Adult content|no",
        "    Safety score|80",
        "    Verdict|safe",
        "  Dr. Web category|known infection source",
        "  TrendMicro category|search engines",
        "  Categories",
        "    news",
        "    searchengines",
        "  Domain siblings",
        "    mail.example.org",
        "    ftp.example.org",
        "  pcaps",
        "    p1",
        "  subdomains",
        "    www.example.org",
        "  Passive DNS replication",
        "    IP address|Last resolved",
        "    192.0.2.7|2016-05-12 10:22:33",
        "  Latest detected URLs",
        "    URL|Scan date|Detection",
        "    http://example.org/|2017-01-02 03:04:05|2/66",
        "  Detected downloaded samples",
        "    Date|SHA256|Detection",
        "    2018-01-01 00:00:00|4/60|d1",
        "  Detected communicating samples",
        "    Date|Detection|SHA256",
        "    2018-01-04 00:00:00|1/62|c1",
        "  Detected referrer samples",
        "    Detection|SHA256",
        "    3/63|r1",
        "  Undetected downloaded samples",
        "    Date|SHA256|Detection",
        "    2018-01-03 00:00:00|0/61|d2",
        "  Undetected communicating samples",
        "    Date|Detection|SHA256",
        "    2018-01-05 00:00:00|0/64|c2",
        "  Undetected referrer samples",
        "    Detection|SHA256",
        "    0/65|r2",
    };
    QCOMPARE(lines(*outcome.node), expected);
}

void tst_VirusTotalReports::domainReportGaps() {
    // Empty lists make no section; an empty address history makes its sentence; a group without members
    // stays.
    VTOutcome outcome = vtreports::readDomainReport(
        R"({"response_code": 1, "categories": [], "resolutions": [], "WOT domain info": {}})", "example.org");
    QCOMPARE(lines(*outcome.node),
             (QStringList{"example.org", "  WOT domain info", "  Passive DNS replication",
                          "    No IP addresses! VirusTotal has never resolved this domain."}));
    outcome =
        vtreports::readDomainReport(R"({"response_code": 0, "verbose_msg": "Domain not found"})", "x.org");
    QCOMPARE(outcome.status.value_or("-"), "Domain not found");
    QVERIFY(!outcome.node);
}

void tst_VirusTotalReports::cellLook_data() {
    QTest::addColumn<QStringList>("cells");
    QTest::addColumn<bool>("children");
    QTest::addColumn<bool>("heading");
    QTest::addColumn<bool>("fact");
    QTest::newRow("section") << QStringList{"Passive DNS replication", "", ""} << true << true << false;
    QTest::newRow("country") << QStringList{"Country", "US", ""} << false << false << true;
    QTest::newRow("asn") << QStringList{"ASN (Owner)", "1", ""} << false << false << true;
    QTest::newRow("hostname heading")
        << QStringList{"Hostname", "Last resolved", ""} << false << false << true;
    QTest::newRow("url heading") << QStringList{"URL", "Scan date", "Detection"} << false << false << true;
    QTest::newRow("sample heading") << QStringList{"Date", "Detection", "SHA256"} << false << false << true;
    QTest::newRow("referrer heading") << QStringList{"Detection", "SHA256", ""} << false << false << true;
    QTest::newRow("swapped heading is plain")
        << QStringList{"Date", "SHA256", "Detection"} << false << false << false;
    QTest::newRow("address heading is plain")
        << QStringList{"IP address", "Last resolved", ""} << false << false << false;
    QTest::newRow("case matters") << QStringList{"country", "US", ""} << false << false << false;
    QTest::newRow("data row") << QStringList{"a.example.org", "12/05/2016", ""} << false << false << false;
}

void tst_VirusTotalReports::cellLook() {
    QFETCH(QStringList, cells);
    QFETCH(bool, children);
    QFETCH(bool, heading);
    QFETCH(bool, fact);
    const VTCellLook look = vtCellLook({cells[0], cells[1], cells[2]}, children);
    QCOMPARE(look.heading, heading);
    QCOMPARE(look.fact, fact);
}

void tst_VirusTotalReports::versionThreeAnswers() {
    VTOutcome file = vtreports::readFileReportV3(R"({"data": {"id": "abc", "type": "file", "attributes": {
        "last_analysis_date": 1463048553, "last_analysis_stats": {"harmless": 0, "type-unsupported": 4,
        "suspicious": 1, "timeout": 2, "malicious": 3, "undetected": 62}}}})");
    QCOMPARE(lines(*file.node),
             QStringList{"3/66|2016-05-12 10:22:33|https://www.virustotal.com/gui/file/abc"});
    QCOMPARE(file.positives.value_or("-"), "3");
    QCOMPARE(file.status.value_or("-"), "");

    const VTOutcome ip = vtreports::readIPReportV3(
        R"({"data": {"id": "8.8.8.8", "attributes": {"country": "US", "asn": 15169, "as_owner": "Google"}}})",
        "8.8.8.8");
    QCOMPARE(lines(*ip.node), (QStringList{"8.8.8.8", "  Country|US", "  ASN (Owner)|15169"}));

    const VTOutcome domain = vtreports::readDomainReportV3(
        R"({"data": {"attributes": {"whois": "Domain: example.org\nX: y", "popularity_ranks": {"Alexa": {"rank": 9}},
            "categories": {"Dr.Web": "news", "Sophos": "portals"}}}})",
        "example.org");
    QCOMPARE(lines(*domain.node),
             (QStringList{"example.org", "  whois", "    whois information|Domain: example.org\r\nX: y",
                          "  Alexa rank|9", "  Dr. Web category|news", "  Categories", "    news",
                          "    portals"}));

    QCOMPARE(
        vtreports::errorMessageV3(
            R"({"error": {"code": "NotFoundError", "message": "Resource \"108.179.232.58\" not found"}})")
            .value_or("-"),
        "Resource \"108.179.232.58\" not found");
    QVERIFY(!vtreports::errorMessageV3("<html/>"));
}

QTEST_GUILESS_MAIN(tst_VirusTotalReports)
#include "tst_VirusTotalReports.moc"
