// Sigma rules evaluated while a log is imported, stored beside the events, and evaluated again later.
#include "SysmonLogBuilder.h"

#include "detect/EventDetections.h"
#include "detect/StoredEvents.h"
#include "import/TImportController.h"
#include "store/Detections.h"
#include "store/TMainDataModule.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane;

namespace {

const char* const kRules[][2] = {
    {"whoami.yml",
     "title: Whoami\nid: r-whoami\nlevel: high\nlogsource: {category: process_creation, product: "
     "windows}\ndetection:\n  sel: {Image|endswith: '\\whoami.exe'}\n  condition: sel\n"},
    {"hash.yml",
     "title: Known hash\nid: r-hash\nlevel: critical\nlogsource: {category: process_creation, product: "
     "windows}\ndetection:\n  sel: {md5: 0123456789abcdef0123456789abcdef}\n  condition: sel\n"},
    // An item that no column keeps: only the import sees it.
    {"extra.yml",
     "title: Extra item\nid: r-extra\nlevel: low\nlogsource: {category: process_creation, product: "
     "windows}\ndetection:\n  sel: {FutureItem: yes}\n  condition: sel\n"},
    {"port.yml",
     "title: SMB\nid: r-smb\nlevel: medium\nlogsource: {category: network_connection, product: "
     "windows}\ndetection:\n  sel: {DestinationPort: 445, Initiated: 'true'}\n  condition: sel\n"},
    {"broken.yml", "title: Broken\nid: r-broken\nlogsource: {category: process_creation}\ndetection:\n  sel: "
                   "{Image|nosuch: x}\n  condition: sel\n"},
};

SysmonLogBuilder::Items process(const QString& image, const QString& hashes = {}) {
    return {{"UtcTime", "2024-01-01 10:00:00.000"},
            {"ProcessGuid", "{11111111-0000-0000-0000-000000000001}"},
            {"ProcessId", "42"},
            {"Image", image},
            {"CommandLine", image},
            {"Hashes", hashes},
            {"FutureItem", "yes"}};
}

} // namespace

class TestImportDetections : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_rules;
    QString m_log;

    QString importInto(const QString& db, bool rules) {
        const bool again = QFile::exists(db);
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        TImportController import(data, "", false);
        import.FileName = m_log;
        import.setDetections(rules, false, {m_rules});
        // Into a database that has its tables, the import empties them.
        if (again)
            import.BeginSysmonDatabaseImport();
        else
            import.ButtonImportClick();
        import.waitForEnd();
        return import.detectionSummary();
    }
    static QStringList lines(const QString& db) {
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        QStringList out;
        for (const auto& line : detections::matches(data.connection()))
            out << QString("%1 %2 %3").arg(line.gid).arg(line.ruleId, line.level);
        return out;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_rules = m_dir.filePath("rules");
        QVERIFY(QDir().mkpath(m_rules));
        for (const auto& [name, text] : kRules) {
            QFile file(QDir(m_rules).filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
        m_log = m_dir.filePath("log.xml");
        SysmonLogBuilder log;
        log.event(1, process(R"(C:\Windows\System32\whoami.exe)",
                             "MD5=0123456789ABCDEF0123456789ABCDEF,SHA256=00"));
        log.event(5, {{"UtcTime", "2024-01-01 10:00:01.000"}, {"ProcessGuid", "{P}"}, {"Image", "x"}});
        log.event(3, {{"UtcTime", "2024-01-01 10:00:02.000"},
                      {"ProcessGuid", "{P}"},
                      {"Initiated", "true"},
                      {"DestinationPort", "445"},
                      {"DestinationIp", "10.0.0.1"}});
        log.event(1, process(R"(C:\Windows\notepad.exe)"));
        QVERIFY(log.write(m_log));
    }

    // Every event is evaluated on all its items as read, and the matches land in GID order.
    void importStoresMatches() {
        const QString db = m_dir.filePath("a.db");
        const QString summary = importInto(db, true);
        QCOMPARE(summary, QString("Detections: 4 rules ran, 5 matches, 1 rule files skipped"));
        QCOMPARE(lines(db), (QStringList{"1 r-hash critical", "1 r-whoami high", "1 r-extra low",
                                         "3 r-smb medium", "4 r-extra low"}));
        TMainDataModule data;
        data.setDatabasePath(db);
        QVERIFY(data.TablesExist()); // still a Kelvane database
        const auto skipped = detections::skippedRules(data.connection());
        QCOMPARE(skipped.size(), std::size_t(1));
        QVERIFY(skipped.front().first.endsWith("broken.yml"));
        QVERIFY(skipped.front().second.contains("nosuch"));
        const auto rulesOfFirst = detections::rulesOfEvent(data.connection(), 1);
        QCOMPARE(rulesOfFirst.size(), std::size_t(3));
        QCOMPARE(rulesOfFirst.front().title, QString("Known hash"));
    }

    // Evaluating the stored events again finds what the import found: the columns' items and the extra ones.
    void storedEventsAgain() {
        const QString db = m_dir.filePath("b.db");
        importInto(db, false);
        QVERIFY(lines(db).isEmpty());
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        detect::EventDetections detections(detect::loadRules({m_rules.toStdString()}, false));
        QCOMPARE(
            detect::forEachStoredEvent(
                data.connection(), [&](int id, const EventRecord& items, std::string_view computer,
                                       std::int64_t gid) { detections.evaluate(id, items, computer, gid); }),
            std::int64_t(4));
        detections.store(data.connection());
        data.CloseDatabase();
        QCOMPARE(lines(db), (QStringList{"1 r-hash critical", "1 r-whoami high", "1 r-extra low",
                                         "3 r-smb medium", "4 r-extra low"}));
    }

    // An import without rules leaves no matches of an earlier import in the database.
    void importWithoutRulesDropsOldMatches() {
        const QString db = m_dir.filePath("c.db");
        importInto(db, true);
        QVERIFY(!lines(db).isEmpty());
        importInto(db, false);
        TMainDataModule data;
        data.setDatabasePath(db);
        data.OpenDatabase();
        QVERIFY(!detections::tablesExist(data.connection()));
    }

    // The headless tools: kelvane-detect re-evaluates, kelvane-query prints the matches.
    void commandLine() {
        const QString db = m_dir.filePath("d.db");
        importInto(db, false);
        const QString bin = QCoreApplication::applicationDirPath();
        QProcess detect;
        detect.start(bin + "/kelvane-detect", {"--db", db, "--no-bundled", "--rules", m_rules});
        QVERIFY(detect.waitForFinished(60000));
        QCOMPARE(detect.exitCode(), 0);
        QVERIFY(QString::fromUtf8(detect.readAllStandardError()).contains("broken.yml"));
        QProcess query;
        query.start(bin + "/kelvane-query", {"--db", db, "detections"});
        QVERIFY(query.waitForFinished(60000));
        QCOMPARE(
            QString::fromUtf8(query.readAllStandardOutput()),
            QString(
                "1\tr-hash\tcritical\tKnown hash\n1\tr-whoami\thigh\tWhoami\n1\tr-extra\tlow\tExtra item\n"
                "3\tr-smb\tmedium\tSMB\n4\tr-extra\tlow\tExtra item\n"));
    }
};

QTEST_GUILESS_MAIN(TestImportDetections)
#include "tst_ImportDetections.moc"
