#include "detect/LogSourceMap.h"
#include "detect/RuleLibrary.h"
#include "detect/RuleLoader.h"
#include "detect/RuleMatcher.h"
#include "detect/SigmaValue.h"
#include "import/EventRecord.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;
using namespace kelvane::detect;

namespace {

const char* const kSources = R"(
logsources:
  pc:
    category: process_creation
    product: windows
    conditions: {EventID: 1}
    rewrite: {product: windows, service: sysmon}
  pc_security:
    category: process_creation
    product: windows
    conditions: {EventID: 4688}
    rewrite: {product: windows, service: security}
  nc:
    category: network_connection
    product: windows
    conditions: {EventID: 3}
    rewrite: {product: windows, service: sysmon}
  radd:
    category: registry_add
    product: windows
    conditions: {EventID: 12, EventType: CreateKey}
    rewrite: {product: windows, service: sysmon}
  rdel1:
    category: registry_delete
    product: windows
    conditions: {EventID: 12, EventType: DeleteKey}
    rewrite: {product: windows, service: sysmon}
  rdel2:
    category: registry_delete
    product: windows
    conditions: {EventID: 12, EventType: DeleteValue}
    rewrite: {product: windows, service: sysmon}
)";

QString indent(const QString& text) {
    QStringList lines = text.split('\n');
    for (QString& line : lines)
        line.prepend("  ");
    return lines.join('\n');
}

std::string ruleText(const QString& detection, const QString& category = "process_creation",
                     const QString& id = "rule-1") {
    return QString("title: Test rule\nid: %1\nlevel: high\nlogsource:\n  category: %2\n  product: windows\n"
                   "detection:\n%3\n")
        .arg(id, category, indent(detection))
        .toStdString();
}

// "Name=Value" entries; the value is everything after the first '='.
EventRecord record(const QStringList& items) {
    EventRecord record;
    for (const QString& item : items) {
        const qsizetype equals = item.indexOf('=');
        record.add(item.left(equals).toStdString(), item.mid(equals + 1).toStdString());
    }
    return record;
}

const MatcherBackend kBackends[] = {MatcherBackend::Re2Set, MatcherBackend::Vectorscan};

} // namespace

class TestSigmaEngine : public QObject {
    Q_OBJECT

    LogSourceMap m_sources = LogSourceMap::fromText(kSources);

    // The rules that fire on the event, by id, with each matcher; both must agree.
    QStringList fired(const std::vector<std::string>& texts, int eventId, const QStringList& items) {
        QStringList answers[2];
        for (int b = 0; b < 2; ++b) {
            std::vector<SigmaRule> rules;
            for (const std::string& text : texts)
                rules.push_back(RuleLoader(m_sources).parse(text, "test.yml"));
            std::vector<SkippedRule> skipped;
            RuleMatcher matcher(std::move(rules), kBackends[b], skipped);
            if (!skipped.empty())
                return {"skipped: " + QString::fromStdString(skipped.front().reason)};
            std::vector<std::uint32_t> hits;
            matcher.evaluate(eventId, record(items), "WS-01.corp.example", hits);
            for (std::uint32_t hit : hits)
                answers[b] << QString::fromStdString(matcher.rules()[hit].id);
        }
        if (answers[0] != answers[1])
            return {"matchers disagree: " + answers[0].join(',') + " / " + answers[1].join(',')};
        return answers[0];
    }
    bool fires(const QString& detection, const QStringList& items, int eventId = 1) {
        const QStringList result = fired({ruleText(detection)}, eventId, items);
        if (result.size() == 1 && result.first().contains(':'))
            qWarning() << result.first();
        return result == QStringList{"rule-1"};
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void modifiers_data() {
        QTest::addColumn<QString>("detection");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<bool>("expected");
        auto row = [](const char* name, const char* detection, const QStringList& items, bool expected) {
            QTest::newRow(name) << QString("sel:\n  %1\ncondition: sel").arg(detection) << items << expected;
        };
        const QString cmd = R"(Image=C:\Windows\System32\cmd.exe)";
        row("equal, any case", R"(Image: 'c:\windows\system32\CMD.EXE')", {cmd}, true);
        row("equal is whole value", R"(Image: 'cmd.exe')", {cmd}, false);
        row("contains", R"(Image|contains: '\system32\')", {cmd}, true);
        row("startswith", R"(Image|startswith: 'C:\Windows\')", {cmd}, true);
        row("startswith misses", R"(Image|startswith: 'System32')", {cmd}, false);
        row("endswith", R"(Image|endswith: '\cmd.exe')", {cmd}, true);
        row("star inside", R"(Image: 'C:*32\cmd.exe')", {cmd}, true);
        row("backslash star is a star", R"(Image: 'C:\*\cmd.exe')", {cmd}, false);
        row("question mark", R"(Image|endswith: '\cm?.exe')", {cmd}, true);
        row("question mark is one character", R"(Image|endswith: '\c?.exe')", {cmd}, false);
        row("escaped star is a star", R"(CommandLine: 'a\*b')", {"CommandLine=a*b"}, true);
        row("escaped star is no wildcard", R"(CommandLine: 'a\*b')", {"CommandLine=axxb"}, false);
        row("escaped question mark", R"(CommandLine: 'a\?')", {"CommandLine=ab"}, false);
        row("double backslash is one", R"(CommandLine: 'a\\b')", {R"(CommandLine=a\b)"}, true);
        row("backslash before a letter stays", R"(Image|endswith: 'Windows\')", {R"(Image=C:\Windows\)"},
            true);
        row("regex metacharacters are literal", R"(CommandLine|contains: '(a+)[b]')",
            {"CommandLine=x (a+)[b] y"}, true);
        row("all: every value", "CommandLine|contains|all: ['-nop', 'hidden']",
            {"CommandLine=ps -nop -w hidden"}, true);
        row("all: one missing", "CommandLine|contains|all: ['-nop', 'encoded']", {"CommandLine=ps -nop"},
            false);
        row("list is any value", "CommandLine|contains: ['zzz', 'nop']", {"CommandLine=ps -nop"}, true);
        row("re searches", "CommandLine|re: 'a.c'", {"CommandLine=xxabcxx"}, true);
        row("re is cased", "CommandLine|re: 'a.c'", {"CommandLine=ABC"}, false);
        row("re|i", "CommandLine|re|i: 'a.c'", {"CommandLine=ABC"}, true);
        row("re dot without s", "CommandLine|re: 'a.b'", {"CommandLine=a\nb"}, false);
        row("re|s", "CommandLine|re|s: 'a.b'", {"CommandLine=a\nb"}, true);
        row("re anchors without m", "CommandLine|re: '^b'", {"CommandLine=a\nb"}, false);
        row("re|m", "CommandLine|re|m: '^b'", {"CommandLine=a\nb"}, true);
        row("cidr v4", "DestinationIp|cidr: '10.0.0.0/8'", {"DestinationIp=10.20.30.40"}, true);
        row("cidr v4 outside", "DestinationIp|cidr: '10.0.0.0/8'", {"DestinationIp=11.0.0.1"}, false);
        row("cidr v6", "DestinationIp|cidr: 'fe80::/10'", {"DestinationIp=fe80::1:2"}, true);
        row("cidr not an address", "DestinationIp|cidr: '10.0.0.0/8'", {"DestinationIp=10.x"}, false);
        row("windash slash", "CommandLine|windash|contains: ' -enc '", {"CommandLine=ps /enc AAA"}, true);
        row("windash en dash", "CommandLine|windash|contains: ' -enc '", {"CommandLine=ps \u2013enc AAA"},
            true);
        row("windash keeps other dashes", "CommandLine|windash|contains: 'a-b'", {"CommandLine=a/b"}, false);
        row("base64", "CommandLine|base64|contains: 'http://'", {"CommandLine=x aHR0cDovLw== y"}, true);
        row("base64offset, shift 0", "CommandLine|base64offset|contains: 'whoami /all'",
            {"CommandLine=-e d2hvYW1pIC9hbGw="}, true);
        row("base64offset, shift 1", "CommandLine|base64offset|contains: 'whoami /all'",
            {"CommandLine=-e eHdob2FtaSAvYWxs"}, true);
        row("base64offset, shift 2", "CommandLine|base64offset|contains: 'whoami /all'",
            {"CommandLine=-e eHl3aG9hbWkgL2FsbA=="}, true);
        row("wide, base64offset", "CommandLine|wide|base64offset|contains: 'cmd.exe'",
            {"CommandLine=-enc cwB0AGEAcgB0ACAAYwBtAGQALgBlAHgAZQAgAC8AYwA="}, true);
        row("exists", "ParentUser|exists: true", {"ParentUser="}, true);
        row("exists false", "ParentUser|exists: false", {cmd}, true);
        row("fieldref", "ParentImage|fieldref: Image", {cmd, R"(ParentImage=c:\windows\system32\cmd.exe)"},
            true);
        row("fieldref differs", "ParentImage|fieldref: Image", {cmd, "ParentImage=x"}, false);
        row("fieldref endswith", "Image|fieldref|endswith: OriginalFileName",
            {cmd, "OriginalFileName=Cmd.Exe"}, true);
        row("lt", "DestinationPort|lt: 1024", {"DestinationPort=445"}, true);
        row("lt, not below", "DestinationPort|lt: 1024", {"DestinationPort=8080"}, false);
        row("gte", "DestinationPort|gte: 445", {"DestinationPort=445"}, true);
        row("gt, not a number", "DestinationPort|gt: 1", {"DestinationPort=http"}, false);
        row("cased", R"(Image|cased|endswith: '\CMD.exe')", {cmd}, false);
        row("null: missing", "OriginalFileName: null", {cmd}, true);
        row("null: empty", "OriginalFileName: null", {cmd, "OriginalFileName="}, true);
        row("null: a value", "OriginalFileName: null", {cmd, "OriginalFileName=x"}, false);
        row("empty text", "OriginalFileName: ''", {"OriginalFileName="}, true);
        row("neq", "User|neq: 'SYSTEM'", {"User=alice"}, true);
        row("number as text", "DestinationPort: 445", {"DestinationPort=445"}, true);
        row("EventID", "EventID: 1", {cmd}, true);
        row("Channel and Provider_Name",
            "Channel: 'Microsoft-Windows-Sysmon/Operational'\n  Provider_Name: 'Microsoft-Windows-Sysmon'",
            {cmd}, true);
        row("Computer", "Computer|startswith: 'ws-01'", {cmd}, true);
        const QString hashes = "Hashes=SHA1=AA11,MD5=BB22,SHA256=CC33,IMPHASH=DD44";
        row("md5", "md5: bb22", {hashes}, true);
        row("sha1", "sha1: AA11", {hashes}, true);
        row("sha256", "sha256: CC33", {hashes}, true);
        row("Imphash", "Imphash: DD44", {hashes}, true);
        row("hash of another kind", "md5: AA11", {hashes}, false);
        row("Hashes itself", "Hashes|contains: 'IMPHASH=DD44'", {hashes}, true);
        QTest::newRow("keywords") << QString("keywords:\n  - 'mimikatz'\n  - 'sekurlsa'\ncondition: keywords")
                                  << QStringList{"CommandLine=run sekurlsa::logonpasswords"} << true;
        QTest::newRow("list of maps") << QString("sel:\n  - Image|endswith: '\\a.exe'\n  - Image|endswith: "
                                                 "'\\cmd.exe'\ncondition: sel")
                                      << QStringList{cmd} << true;
    }
    void modifiers() {
        QFETCH(QString, detection);
        QFETCH(QStringList, items);
        QFETCH(bool, expected);
        QCOMPARE(fires(detection, items), expected);
    }

    void conditions_data() {
        QTest::addColumn<QString>("condition");
        QTest::addColumn<bool>("expected");
        // The event has sel_a and sel_b, not filter_c.
        QTest::newRow("and") << "sel_a and sel_b" << true;
        QTest::newRow("and, one false") << "sel_a and filter_c" << false;
        QTest::newRow("or") << "filter_c or sel_b" << true;
        QTest::newRow("not") << "not filter_c" << true;
        QTest::newRow("and not") << "sel_a and not sel_b" << false;
        QTest::newRow("and binds tighter than or") << "filter_c and sel_a or sel_b" << true;
        QTest::newRow("parentheses") << "filter_c and (sel_a or sel_b)" << false;
        QTest::newRow("not of parentheses") << "not (filter_c or sel_b)" << false;
        QTest::newRow("1 of pattern") << "1 of sel_*" << true;
        QTest::newRow("all of pattern") << "all of sel_*" << true;
        QTest::newRow("any of") << "any of filter_*" << false;
        QTest::newRow("1 of them") << "1 of them" << true;
        QTest::newRow("all of them") << "all of them" << false;
        QTest::newRow("all of them leaves out _ names") << "all of sel_* and not 1 of filter_*" << true;
        QTest::newRow("list of conditions") << "\n  - filter_c\n  - sel_a" << true;
    }
    void conditions() {
        QFETCH(QString, condition);
        QFETCH(bool, expected);
        const QString detection =
            "sel_a:\n  Image|endswith: '\\cmd.exe'\nsel_b:\n  CommandLine|contains: 'whoami'\n"
            "filter_c:\n  User: 'SYSTEM'\ncondition: " +
            condition;
        QCOMPARE(fires(detection, {R"(Image=C:\cmd.exe)", "CommandLine=cmd /c whoami", "User=alice"}),
                 expected);
    }

    // A rule is evaluated only where its log source applies, though another rule shares its patterns.
    void logSources_data() {
        QTest::addColumn<int>("eventId");
        QTest::addColumn<QString>("eventType");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("process creation") << 1 << "" << QStringList{"pc"};
        QTest::newRow("network connection") << 3 << "" << QStringList{"nc"};
        QTest::newRow("registry add") << 12 << "CreateKey" << QStringList{"add"};
        QTest::newRow("registry delete value") << 12 << "DeleteValue" << QStringList{"del"};
        QTest::newRow("registry delete key, any case") << 12 << "deletekey" << QStringList{"del"};
        QTest::newRow("an id no rule looks at") << 5 << "" << QStringList{};
    }
    void logSources() {
        QFETCH(int, eventId);
        QFETCH(QString, eventType);
        QFETCH(QStringList, expected);
        const QString detection = "sel:\n  Image|endswith: '\\x.exe'\ncondition: sel";
        QStringList items{R"(Image=C:\x.exe)"};
        if (!eventType.isEmpty())
            items << "EventType=" + eventType;
        QCOMPARE(
            fired({ruleText(detection, "process_creation", "pc"),
                   ruleText(detection, "network_connection", "nc"),
                   ruleText(detection, "registry_add", "add"), ruleText(detection, "registry_delete", "del")},
                  eventId, items),
            expected);
    }

    // The bundled configuration of log sources knows the newer Sysmon events too.
    void bundledLogSources_data() {
        QTest::addColumn<QString>("category");
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("expected");
        QTest::newRow("process_creation") << "process_creation"
                                          << ""
                                          << "1";
        QTest::newRow("registry_event") << "registry_event"
                                        << ""
                                        << "12 13 14";
        QTest::newRow("registry_add") << "registry_add"
                                      << ""
                                      << "12:CreateKey";
        QTest::newRow("registry_delete") << "registry_delete"
                                         << ""
                                         << "12:DeleteKey,DeleteValue";
        QTest::newRow("file_delete") << "file_delete"
                                     << ""
                                     << "23";
        QTest::newRow("file_delete_detected") << "file_delete_detected"
                                              << ""
                                              << "26";
        QTest::newRow("sysmon_status") << "sysmon_status"
                                       << ""
                                       << "4 16";
        QTest::newRow("sysmon_error") << "sysmon_error"
                                      << ""
                                      << "255";
        QTest::newRow("not sysmon") << "ps_script"
                                    << ""
                                    << "";
    }
    void bundledLogSources() {
        QFETCH(QString, category);
        QFETCH(QString, service);
        QFETCH(QString, expected);
        const std::string folder = bundledRulesFolder();
        QVERIFY(!folder.empty());
        const LogSourceMap map = LogSourceMap::fromFile(folder + "/thor.yml");
        QStringList targets;
        for (const LogSourceTarget& t :
             map.targets("windows", category.toStdString(), service.toStdString())) {
            QString text = QString::number(t.eventId);
            QStringList types;
            for (const std::string& type : t.eventTypes)
                types << QString::fromStdString(type);
            if (!types.isEmpty())
                text += ":" + types.join(',');
            targets << text;
        }
        QCOMPARE(targets.join(' '), expected);
        const auto all = map.targets("windows", "", "sysmon");
        QCOMPARE(all.size(), std::size_t(30)); // 1 to 29, and 255
    }

    // Rules that cannot be used are skipped with their file and reason; the others still load.
    void skipped_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("reason");
        QTest::newRow("broken YAML") << "title: x\ndetection: [unclosed"
                                     << "not valid YAML";
        QTest::newRow("unknown modifier")
            << QString::fromStdString(ruleText("sel:\n  Image|sounds_like: x\ncondition: sel"))
            << "unsupported modifier 'sounds_like'";
        QTest::newRow("unknown selection")
            << QString::fromStdString(ruleText("sel:\n  Image: x\ncondition: other"))
            << "unknown selection 'other'";
        QTest::newRow("aggregation") << QString::fromStdString(
                                            ruleText("sel:\n  Image: x\ncondition: sel | count() > 5"))
                                     << "aggregations";
        QTest::newRow("not a Sysmon source")
            << QString::fromStdString(ruleText("sel:\n  Image: x\ncondition: sel", "ps_script"))
            << "not a Sysmon";
        QTest::newRow("correlation") << "title: c\ncorrelation:\n  type: event_count\n"
                                     << "correlation";
        QTest::newRow("refused regex")
            << QString::fromStdString(ruleText("sel:\n  Image|re: '(?<=a)b'\ncondition: sel"))
            << "regular expression";
        QTest::newRow("wildcard under base64")
            << QString::fromStdString(ruleText("sel:\n  Image|base64: 'a*'\ncondition: sel")) << "wildcards";
    }
    void skipped() {
        QFETCH(QString, text);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QFile bad(dir.filePath("bad.yml")), good(dir.filePath("good.yml"));
        QVERIFY(bad.open(QIODevice::WriteOnly) && good.open(QIODevice::WriteOnly));
        bad.write(text.toUtf8());
        good.write(ruleText("sel:\n  Image: x\ncondition: sel", "process_creation", "good").c_str());
        bad.close();
        good.close();
        RuleSet set = RuleLoader(m_sources).loadFolders({dir.path().toStdString()});
        std::vector<SkippedRule> skipped = std::move(set.skipped);
        RuleMatcher matcher(std::move(set.rules), MatcherBackend::Vectorscan, skipped);
        QCOMPARE(matcher.rules().size(), std::size_t(1));
        QCOMPARE(matcher.rules().front().id, std::string("good"));
        QCOMPARE(skipped.size(), std::size_t(1));
        QCOMPARE(QString::fromStdString(skipped.front().file), dir.filePath("bad.yml"));
        QVERIFY2(QString::fromStdString(skipped.front().reason).contains(reason),
                 skipped.front().reason.c_str());
    }

    // Patterns that make backtracking engines take exponential time finish at once here.
    void hostileRegex_data() {
        QTest::addColumn<QString>("regex");
        QTest::newRow("nested plus") << "(a+)+$";
        QTest::newRow("overlapping alternatives") << "(a|aa)*c";
        QTest::newRow("counted repetition") << "(a{1,30}){1,30}b";
    }
    void hostileRegex() {
        QFETCH(QString, regex);
        const QString value = "CommandLine=" + QString(200000, 'a') + "!";
        QVERIFY(!fires(QString("sel:\n  CommandLine|re: '%1'\ncondition: sel").arg(regex), {value}));
    }
};

QTEST_GUILESS_MAIN(TestSigmaEngine)
#include "tst_SigmaEngine.moc"
