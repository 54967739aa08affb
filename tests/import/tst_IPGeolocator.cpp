#include "LocalHttpServer.h"
#include "import/TIPGeolocator.h"

#include <QNetworkProxy>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>

using kelvane::EventRecord;
using kelvane::TIPGeolocator;

namespace {

// The import worker is a thread without an event loop of its own; so is this one. The server answers
// on this thread meanwhile.
bool runOnWorker(const std::function<void()>& job) {
    std::unique_ptr<QThread> worker(QThread::create(job));
    worker->start();
    if (QTest::qWaitFor([&] { return worker->isFinished(); }, 20000))
        return true;
    worker->terminate();
    worker->wait();
    return false;
}

// Taken but never answered: the lookup must give up at its transfer timeout.
constexpr int kSilent = 0;

} // namespace

class tst_IPGeolocator : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Requests must reach the local server, whatever the environment says about proxies.
        QNetworkProxyFactory::setUseSystemConfiguration(false);
        QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
        QVERIFY(m_server.port() != 0);
    }
    void init() { m_server.clear(); }

    void lookup_data();
    void lookup();
    void requestForm();

private:
    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(m_server.port()); }
    LocalHttpServer m_server;
};

void tst_IPGeolocator::lookup_data() {
    QTest::addColumn<QString>("address"); // null: the event has no such item
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("country");
    QTest::addColumn<QString>("code");
    QTest::addColumn<bool>("geoError");
    QTest::addColumn<int>("requests");
    auto row = [](const char* tag, const QString& address, int status, const QByteArray& body, bool ok,
                  const QString& country, const QString& code, bool geoError, int requests) {
        QTest::newRow(tag) << address << status << body << ok << country << code << geoError << requests;
    };

    // Germany/DE are what an earlier lookup of the same import left behind.
    row("answer sets name and code", "8.8.8.8", 200,
        R"({"ip":"8.8.8.8","country_code":"US","country_name":"United States","location":{"languages":[]}})",
        true, "United States", "US", false, 1);
    row("null and number read as text", "8.8.4.4", 200, R"({"country_name":null,"country_code":840})", true,
        "", "840", false, 1);
    row("code missing: new name, old code", "2.2.2.2", 200, R"({"country_name":"France"})", false, "France",
        "DE", false, 1);
    row("error object without country_name", "3.3.3.3", 200,
        R"({"success":false,"country_code":"XX","error":{"code":101}})", false, "Germany", "DE", false, 1);
    row("not JSON", "4.4.4.4", 200, "<html><body>Bad Gateway</body></html>", false, "Germany", "DE", false,
        1);
    row("server error with a valid body", "5.5.5.5", 500, R"({"country_name":"Japan","country_code":"JP"})",
        true, "Japan", "JP", false, 1);
    row("no answer times out", "7.7.7.7", kSilent, "", false, "Germany", "DE", false, 1);
    row("private address is not sent", "10.0.0.5", 200, R"({"country_name":"Japan","country_code":"JP"})",
        false, "Germany", "DE", true, 0);
    row("unparsable address", "not-an-address", 200, "", false, "Germany", "DE", true, 0);
    row("item missing", QString(), 200, "", false, "Germany", "DE", false, 0);
}

void tst_IPGeolocator::lookup() {
    QFETCH(QString, address);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, ok);
    QFETCH(QString, country);
    QFETCH(QString, code);
    QFETCH(bool, geoError);
    QFETCH(int, requests);

    m_server.setAnswer("/" + address.toUtf8(), {status, body, "OK", status == kSilent});
    TIPGeolocator geolocator(QStringLiteral("KEY"), host());
    geolocator.setTransferTimeout(status == kSilent ? 300 : 10000);
    // Rows written before any answer hold empty text, not NULL.
    QVERIFY(geolocator.FCountry.isEmpty() && !geolocator.FCountry.isNull());
    QVERIFY(geolocator.FCountryCode.isEmpty() && !geolocator.FCountryCode.isNull());
    geolocator.FCountry = QStringLiteral("Germany");
    geolocator.FCountryCode = QStringLiteral("DE");
    EventRecord event;
    if (!address.isNull())
        event.add("DestinationIp", address.toStdString());

    bool result = !ok;
    // A silent service costs the transfer timeout, and the lookup gives up.
    QVERIFY(runOnWorker([&] { result = geolocator.GeolocateEventAddress(event, "DestinationIp"); }));

    QCOMPARE(result, ok);
    QCOMPARE(geolocator.FCountry, country);
    QCOMPARE(geolocator.FCountryCode, code);
    QCOMPARE(geolocator.FGeoError, geoError);
    QCOMPARE(m_server.heads().size(), requests);
}

void tst_IPGeolocator::requestForm() {
    m_server.setAnswer("/8.8.8.8", {200, R"({"country_name":"United States","country_code":"US"})"});
    TIPGeolocator geolocator(QStringLiteral("KEY"), host());

    // A second worker thread must work too: nothing may stay bound to the first one.
    bool first = false, second = false;
    QVERIFY(runOnWorker([&] { first = geolocator.GetIPLocation(QStringLiteral("8.8.8.8")); }));
    QVERIFY(runOnWorker([&] { second = geolocator.GetIPLocation(QStringLiteral("8.8.8.8")); }));
    QVERIFY(first && second);

    const QList<QByteArray> heads = m_server.heads();
    QCOMPARE(heads.size(), 2);
    const QList<QByteArray> lines = heads.first().split('\n');
    QCOMPARE(lines.first().trimmed(), QByteArray("GET /8.8.8.8?access_key=KEY HTTP/1.1"));
    QVERIFY(lines.contains("Accept: application/json, text/plain; q=0.9, text/html;q=0.8,\r"));
    QVERIFY(lines.contains("Accept-Charset: UTF-8, *;q=0.8\r"));
}

QTEST_GUILESS_MAIN(tst_IPGeolocator)
#include "tst_IPGeolocator.moc"
