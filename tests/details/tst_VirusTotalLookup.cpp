#include "LocalHttpServer.h"
#include "details/TVirusTotalLookup.h"

#include <QNetworkProxy>
#include <QSignalSpy>
#include <QtTest>

using namespace kelvane;
using Kind = TVirusTotalLookup::Kind;

class tst_VirusTotalLookup : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void keyTest_data();
    void keyTest();
    void requestShape();
    void answers_data();
    void answers();
    void noAnswer_data();
    void noAnswer();
    void addressesRefusedBeforeTheKey_data();
    void addressesRefusedBeforeTheKey();
    void versionThreeFallback_data();
    void versionThreeFallback();

private:
    // Runs one lookup to its end; gives the status words in order.
    QStringList run(TVirusTotalLookup& lookup, Kind kind, const QString& subject);

    LocalHttpServer m_server;
    QString m_key = QStringLiteral("0123456789abcdef");
    QList<VTOutcome> m_outcomes;
    QStringList m_failures;
};

void tst_VirusTotalLookup::initTestCase() {
    QNetworkProxyFactory::setUseSystemConfiguration(false);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QVERIFY(m_server.port() != 0);
}

void tst_VirusTotalLookup::init() {
    m_server.clear();
    m_outcomes.clear();
    m_failures.clear();
    m_key = QStringLiteral("0123456789abcdef");
}

QStringList tst_VirusTotalLookup::run(TVirusTotalLookup& lookup, Kind kind, const QString& subject) {
    QStringList statuses;
    lookup.setKeySource([this] { return m_key; });
    connect(&lookup, &TVirusTotalLookup::statusChanged, this, [&](const QString& s) { statuses << s; });
    connect(&lookup, &TVirusTotalLookup::answered, this, [this](const VTOutcome& o) { m_outcomes << o; });
    connect(&lookup, &TVirusTotalLookup::failed, this, [this](const QString& m) { m_failures << m; });
    QSignalSpy finished(&lookup, &TVirusTotalLookup::finished);
    if (lookup.start(kind, subject)) {
        // No second request while one is under way.
        if (lookup.start(kind, subject))
            qWarning("a second lookup started");
        if (!finished.wait(10000))
            qWarning("the lookup never finished");
    }
    return statuses;
}

void tst_VirusTotalLookup::keyTest_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("sentKey"); // empty: nothing sent
    QTest::newRow("no key stored") << "EMPTY" << QByteArray();
    QTest::newRow("empty") << "" << QByteArray();
    QTest::newRow("blanks and control characters") << " \t\x01 " << QByteArray();
    QTest::newRow("EMPTY with blanks") << "  EMPTY " << QByteArray();
    QTest::newRow("lower-case empty is a key") << "empty" << QByteArray("empty");
    QTest::newRow("blanks around are sent") << " k+y/= " << QByteArray("%20k%2By%2F%3D%20");
}

void tst_VirusTotalLookup::keyTest() {
    QFETCH(QString, key);
    QFETCH(QByteArray, sentKey);
    m_key = key;
    m_server.setAnswer("/vtapi/v2/file/report", {200, R"({"response_code": 0, "verbose_msg": "unknown"})"});
    TVirusTotalLookup lookup(m_server.baseUrl());
    const QStringList statuses = run(lookup, Kind::File, "abc");
    if (sentKey.isEmpty()) {
        QCOMPARE(statuses, QStringList{TVirusTotalLookup::kNoKey});
        QCOMPARE(m_server.heads().size(), 0);
    } else {
        QCOMPARE(statuses, QStringList{TVirusTotalLookup::kWaiting});
        QCOMPARE(m_server.target(0), "/vtapi/v2/file/report?apikey=" + sentKey + "&resource=abc");
        QCOMPARE(m_outcomes.size(), 1);
    }
}

void tst_VirusTotalLookup::requestShape() {
    TVirusTotalLookup lookup(m_server.baseUrl());
    run(lookup, Kind::Domain, "a b&c.org");
    QCOMPARE(m_server.heads().size(), 2); // unscripted: 404, then the version 3 path
    QCOMPARE(m_server.target(0),
             "/vtapi/v2/domain/report?apikey=" + m_key.toUtf8() + "&domain=a%20b%26c.org");
    QCOMPARE(m_server.head(0).startsWith("GET "), true);
    QCOMPARE(m_server.header(0, "User-Agent"), "Kelvane Client/1.0");
    QCOMPARE(m_server.header(0, "Accept"), "application/json, text/plain; q=0.9, text/html;q=0.8,");
    QCOMPARE(m_server.header(0, "Accept-Charset"), "UTF-8, *;q=0.8");
}

void tst_VirusTotalLookup::answers_data() {
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reason");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("statuses");
    QTest::addColumn<bool>("read"); // the body reached a report reader
    QTest::newRow("no content (quota)") << 204 << QByteArray("No Content") << QByteArray()
                                        << QStringList{"Something went wrong : No Content"} << false;
    QTest::newRow("server error with a body")
        << 500 << QByteArray("Internal Server Error") << QByteArray(R"({"response_code": 1})")
        << QStringList{"Something went wrong : Internal Server Error"} << false;
    QTest::newRow("forbidden") << 403 << QByteArray("Forbidden") << QByteArray()
                               << QStringList{"Something went wrong : Forbidden"} << false;
    QTest::newRow("unknown hash") << 200 << QByteArray("OK")
                                  << QByteArray(R"({"response_code": 0, "verbose_msg": "gone"})")
                                  << QStringList{"gone"} << true;
    QTest::newRow("not JSON: the wait stays")
        << 200 << QByteArray("OK") << QByteArray("<html>oops</html>") << QStringList() << false;
}

void tst_VirusTotalLookup::answers() {
    QFETCH(int, status);
    QFETCH(QByteArray, reason);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, statuses);
    QFETCH(bool, read);
    m_server.setAnswer("/vtapi/v2/file/report", {status, body, reason});
    TVirusTotalLookup lookup(m_server.baseUrl());
    QStringList seen = run(lookup, Kind::File, "abc");
    for (const VTOutcome& outcome : m_outcomes)
        if (outcome.status)
            seen << *outcome.status;
    QCOMPARE(seen, QStringList{TVirusTotalLookup::kWaiting} + statuses);
    QCOMPARE(m_outcomes.size(), read ? 1 : 0);
    QCOMPARE(m_failures.size(), (!read && statuses.isEmpty()) ? 1 : 0);
}

void tst_VirusTotalLookup::noAnswer_data() {
    QTest::addColumn<bool>("refused");
    QTest::addColumn<QString>("message");
    QTest::newRow("connection refused") << true << "VirusTotal refused the connection.";
    QTest::newRow("silent server, time-out") << false << "VirusTotal did not answer in time.";
}

void tst_VirusTotalLookup::noAnswer() {
    QFETCH(bool, refused);
    QFETCH(QString, message);
    m_server.setAnswer("/vtapi/v2/file/report", {200, {}, "OK", true});
    TVirusTotalLookup lookup(refused ? LocalHttpServer::refusingBaseUrl() : m_server.baseUrl());
    lookup.client().setTimeout(300);
    const QStringList statuses = run(lookup, Kind::File, "abc");
    QCOMPARE(statuses, QStringList{TVirusTotalLookup::kWaiting});
    QCOMPARE(m_failures, QStringList{message});
    QVERIFY(!lookup.busy());
}

void tst_VirusTotalLookup::addressesRefusedBeforeTheKey_data() {
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("faults");
    QTest::newRow("private") << "192.168.4.20" << false;
    QTest::newRow("documentation") << "198.51.100.7" << false;
    QTest::newRow("benchmark, second block") << "198.19.255.255" << false;
    QTest::newRow("IPv6") << "2001:db8::1" << true;
    QTest::newRow("empty") << "" << true;
}

void tst_VirusTotalLookup::addressesRefusedBeforeTheKey() {
    QFETCH(QString, address);
    QFETCH(bool, faults);
    m_key = "EMPTY";
    TVirusTotalLookup lookup(m_server.baseUrl());
    if (faults) {
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, run(lookup, Kind::IP, address));
    } else {
        QCOMPARE(run(lookup, Kind::IP, address), QStringList{address + " is a private IP address"});
    }
    QCOMPARE(m_server.heads().size(), 0);
}

void tst_VirusTotalLookup::versionThreeFallback_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("subject");
    QTest::addColumn<int>("v2Status");
    QTest::addColumn<QByteArray>("v3Path");
    QTest::addColumn<QByteArray>("v3Body");
    QTest::addColumn<QString>("firstCell");
    QTest::newRow("file after 410")
        << int(Kind::File) << "abc" << 410 << QByteArray("/api/v3/files/abc")
        << QByteArray(
               R"({"data": {"id": "abc", "attributes": {"last_analysis_stats": {"malicious": 2, "undetected": 5}}}})")
        << "2/7";
    QTest::newRow("address after 404")
        << int(Kind::IP) << "8.8.8.8" << 404 << QByteArray("/api/v3/ip_addresses/8.8.8.8")
        << QByteArray(R"({"data": {"attributes": {"country": "US"}}})") << "8.8.8.8";
    QTest::newRow("domain after 410")
        << int(Kind::Domain) << "example.org" << 410 << QByteArray("/api/v3/domains/example.org")
        << QByteArray(R"({"data": {"attributes": {"whois": "w"}}})") << "example.org";
}

void tst_VirusTotalLookup::versionThreeFallback() {
    QFETCH(int, kind);
    QFETCH(QString, subject);
    QFETCH(int, v2Status);
    QFETCH(QByteArray, v3Path);
    QFETCH(QByteArray, v3Body);
    QFETCH(QString, firstCell);
    const char* v2[] = {"/vtapi/v2/file/report", "/vtapi/v2/ip-address/report", "/vtapi/v2/domain/report"};
    m_server.setAnswer(v2[kind], {v2Status, "", "Gone"});
    m_server.setAnswer(v3Path, {200, v3Body});
    TVirusTotalLookup lookup(m_server.baseUrl());
    QCOMPARE(run(lookup, Kind(kind), subject), QStringList{TVirusTotalLookup::kWaiting});
    QCOMPARE(m_server.heads().size(), 2);
    QCOMPARE(m_server.target(1), v3Path);
    QCOMPARE(m_server.header(1, "x-apikey"), m_key.toUtf8());
    QCOMPARE(m_outcomes.size(), 1);
    QCOMPARE(m_outcomes[0].node->cells[0], firstCell);

    // Version 3 doesn't know the resource either: its message, and no line.
    m_server.setAnswer(
        v3Path, {404, R"({"error": {"code": "NotFoundError", "message": "Not found here"}})", "Not Found"});
    TVirusTotalLookup again(m_server.baseUrl());
    QCOMPARE(run(again, Kind(kind), subject), (QStringList{TVirusTotalLookup::kWaiting, "Not found here"}));
}

QTEST_GUILESS_MAIN(tst_VirusTotalLookup)
#include "tst_VirusTotalLookup.moc"
