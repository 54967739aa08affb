#include "import/TIPGeolocator.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QNetworkProxy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>

using kelvane::EventRecord;
using kelvane::TIPGeolocator;

namespace {

// A small HTTP server on 127.0.0.1 with scripted answers by path, one request per connection.
// It runs on a thread of its own, since the thread under test blocks while it waits.
class ScriptedHttpServer {
public:
    struct Answer {
        int status = 200;
        QByteArray body;
        bool silent = false; // take the request and never answer
    };

    ScriptedHttpServer() {
        m_context.moveToThread(&m_thread);
        m_thread.start();
        QMetaObject::invokeMethod(
            &m_context,
            [this] {
                auto* server = new QTcpServer(&m_context);
                QObject::connect(server, &QTcpServer::newConnection, server, [this, server] {
                    while (QTcpSocket* socket = server->nextPendingConnection())
                        QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                         [this, socket] { read(socket); });
                });
                if (server->listen(QHostAddress::LocalHost, 0))
                    m_port = server->serverPort();
            },
            Qt::BlockingQueuedConnection);
    }
    ~ScriptedHttpServer() {
        QMetaObject::invokeMethod(
            &m_context, [this] { qDeleteAll(m_context.children()); }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

    quint16 port() const { return m_port; }
    void setAnswer(const QByteArray& path, const Answer& answer) {
        QMutexLocker lock(&m_mutex);
        m_answers.insert(path, answer);
    }
    // The head of each request received: request line and headers.
    QList<QByteArray> heads() const {
        QMutexLocker lock(&m_mutex);
        return m_heads;
    }
    QList<QByteArray> paths() const {
        QList<QByteArray> result;
        for (const QByteArray& head : heads())
            result << head.split(' ').value(1).split('?').value(0);
        return result;
    }
    void clear() {
        QMutexLocker lock(&m_mutex);
        m_heads.clear();
        m_answers.clear();
    }

private:
    void read(QTcpSocket* socket) {
        const QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        socket->setProperty("buffer", buffer);
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QByteArray head = buffer.left(end + 2);
        Answer answer{404, "no such page"};
        {
            QMutexLocker lock(&m_mutex);
            m_heads << head;
            answer = m_answers.value(head.split(' ').value(1).split('?').value(0), answer);
        }
        if (answer.silent)
            return;
        socket->write("HTTP/1.1 " + QByteArray::number(answer.status) +
                      " Scripted\r\nContent-Type: application/json\r\nContent-Length: " +
                      QByteArray::number(answer.body.size()) + "\r\nConnection: close\r\n\r\n" + answer.body);
        socket->disconnectFromHost();
    }

    QThread m_thread;
    QObject m_context;
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    QHash<QByteArray, Answer> m_answers;
    QList<QByteArray> m_heads;
};

// The import worker is a thread without an event loop of its own; so is this one.
bool runOnWorker(const std::function<void()>& job) {
    std::unique_ptr<QThread> worker(QThread::create(job));
    worker->start();
    if (worker->wait(QDeadlineTimer(20000)))
        return true;
    worker->terminate();
    worker->wait();
    return false;
}

EventRecord eventOf(const QStringList& items) {
    EventRecord event;
    for (const QString& item : items)
        event.add(item.section('=', 0, 0).toStdString(), item.section('=', 1).toStdString());
    return event;
}

quint16 closedPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}

constexpr int kRefused = -1;
constexpr int kSilent = 0;

} // namespace

class tst_IPGeolocator : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Requests must reach the local server, whatever the environment says about proxies.
        QNetworkProxyFactory::setUseSystemConfiguration(false);
        QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
        m_server = std::make_unique<ScriptedHttpServer>();
        QVERIFY(m_server->port() != 0);
    }
    void init() { m_server->clear(); }
    void cleanupTestCase() { m_server.reset(); }

    void lookup_data();
    void lookup();
    void eventSequence_data();
    void eventSequence();
    void requestForm();

private:
    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(m_server->port()); }
    std::unique_ptr<ScriptedHttpServer> m_server;
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

    // Germany/DE are what an earlier lookup of the same import left behind.
    QTest::newRow("answer sets name and code")
        << "8.8.8.8" << 200
        << QByteArray(R"({"ip":"8.8.8.8","type":"ipv4","country_code":"US","country_name":"United States",)"
                      R"("location":{"languages":[{"code":"en"}]}})")
        << true << "United States"
        << "US" << false << 1;
    QTest::newRow("null and number read as text")
        << "8.8.4.4" << 200 << QByteArray(R"({"country_name":null,"country_code":840})") << true << ""
        << "840" << false << 1;
    QTest::newRow("code missing: new name, old code")
        << "2.2.2.2" << 200 << QByteArray(R"({"country_name":"France"})") << false << "France"
        << "DE" << false << 1;
    QTest::newRow("error object without country_name")
        << "3.3.3.3" << 200 << QByteArray(R"({"success":false,"country_code":"XX","error":{"code":101}})")
        << false << "Germany"
        << "DE" << false << 1;
    QTest::newRow("not JSON") << "4.4.4.4" << 200 << QByteArray("<html><body>Bad Gateway</body></html>")
                              << false << "Germany"
                              << "DE" << false << 1;
    QTest::newRow("server error with a valid body")
        << "5.5.5.5" << 500 << QByteArray(R"({"country_name":"Japan","country_code":"JP"})") << true
        << "Japan"
        << "JP" << false << 1;
    QTest::newRow("connection refused") << "6.6.6.6" << kRefused << QByteArray() << false << "Germany"
                                        << "DE" << false << 1;
    QTest::newRow("no answer times out") << "7.7.7.7" << kSilent << QByteArray() << false << "Germany"
                                         << "DE" << false << 1;
    QTest::newRow("private address is not sent")
        << "10.0.0.5" << 200 << QByteArray(R"({"country_name":"Japan","country_code":"JP"})") << false
        << "Germany"
        << "DE" << true << 0;
    QTest::newRow("unparsable address") << "not-an-address" << 200 << QByteArray() << false << "Germany"
                                        << "DE" << true << 0;
    QTest::newRow("item missing") << QString() << 200 << QByteArray() << false << "Germany"
                                  << "DE" << false << 0;
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

    m_server->setAnswer("/" + address.toUtf8(), {status, body, status == kSilent});
    const QString target = status == kRefused ? QStringLiteral("127.0.0.1:%1").arg(closedPort()) : host();
    TIPGeolocator geolocator(QStringLiteral("KEY"), target);
    geolocator.setTransferTimeout(status == kSilent ? 300 : 10000);
    geolocator.FCountry = QStringLiteral("Germany");
    geolocator.FCountryCode = QStringLiteral("DE");
    const EventRecord event =
        eventOf(address.isNull() ? QStringList() : QStringList{QStringLiteral("DestinationIp=") + address});

    bool result = !ok;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(runOnWorker([&] { result = geolocator.GeolocateEventAddress(event, "DestinationIp"); }));
    // A dead or silent service costs at most the transfer timeout, not the import.
    QVERIFY2(clock.elapsed() < 8000, qPrintable(QString::number(clock.elapsed())));

    QCOMPARE(result, ok);
    QCOMPARE(geolocator.FCountry, country);
    QCOMPARE(geolocator.FCountryCode, code);
    QCOMPARE(geolocator.FGeoError, geoError);
    QCOMPARE(geolocator.requestCount(), requests);
    QCOMPARE(m_server->heads().size(), status == kRefused ? 0 : requests);
}

void tst_IPGeolocator::eventSequence_data() {
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<QStringList>("keys"); // looked up in this order, as the mapper does
    QTest::addColumn<QList<bool>>("geoErrors");
    QTest::addColumn<QList<QByteArray>>("paths");
    QTest::addColumn<QString>("code");

    QTest::newRow("private source, public destination")
        << QStringList{"SourceIp=10.0.0.5", "DestinationIp=8.8.8.8"}
        << QStringList{"SourceIp", "DestinationIp"} << QList<bool>{true, false}
        << QList<QByteArray>{"/8.8.8.8"} << "US";
    QTest::newRow("same address twice, two requests")
        << QStringList{"DestinationIp=8.8.8.8"} << QStringList{"DestinationIp", "DestinationIp"}
        << QList<bool>{false, false} << QList<QByteArray>{"/8.8.8.8", "/8.8.8.8"} << "US";
    QTest::newRow("failure after success keeps the earlier country")
        << QStringList{"SourceIp=8.8.8.8", "DestinationIp=3.3.3.3"}
        << QStringList{"SourceIp", "DestinationIp"} << QList<bool>{false, false}
        << QList<QByteArray>{"/8.8.8.8", "/3.3.3.3"} << "US";
    QTest::newRow("failure before any success leaves empty text")
        << QStringList{"DestinationIp=3.3.3.3"} << QStringList{"DestinationIp"} << QList<bool>{false}
        << QList<QByteArray>{"/3.3.3.3"} << "";
}

void tst_IPGeolocator::eventSequence() {
    QFETCH(QStringList, items);
    QFETCH(QStringList, keys);
    QFETCH(QList<bool>, geoErrors);
    QFETCH(QList<QByteArray>, paths);
    QFETCH(QString, code);

    m_server->setAnswer("/8.8.8.8", {200, R"({"country_name":"United States","country_code":"US"})"});
    m_server->setAnswer("/3.3.3.3", {503, "Service Unavailable"});
    TIPGeolocator geolocator(QStringLiteral("KEY"), host());
    const EventRecord event = eventOf(items);

    QList<bool> seen;
    QVERIFY(runOnWorker([&] {
        for (const QString& key : keys) {
            geolocator.GeolocateEventAddress(event, key.toStdString());
            seen << geolocator.FGeoError;
            geolocator.FGeoError = false; // the mapper resets it after each lookup
        }
    }));

    QCOMPARE(seen, geoErrors);
    QCOMPARE(m_server->paths(), paths);
    QCOMPARE(geolocator.FCountryCode, code);
    QVERIFY(!geolocator.FCountryCode.isNull() && !geolocator.FCountry.isNull());
}

void tst_IPGeolocator::requestForm() {
    m_server->setAnswer("/8.8.8.8", {200, R"({"country_name":"United States","country_code":"US"})"});
    TIPGeolocator geolocator(QStringLiteral("KEY"), host());

    // A second worker thread must work too: nothing may stay bound to the first one.
    bool first = false;
    bool second = false;
    QVERIFY(runOnWorker([&] { first = geolocator.GetIPLocation(QStringLiteral("8.8.8.8")); }));
    QVERIFY(runOnWorker([&] { second = geolocator.GetIPLocation(QStringLiteral("8.8.8.8")); }));
    QVERIFY(first);
    QVERIFY(second);

    const QList<QByteArray> heads = m_server->heads();
    QCOMPARE(heads.size(), 2);
    const QList<QByteArray> lines = heads.first().split('\n');
    QCOMPARE(lines.first().trimmed(), QByteArray("GET /8.8.8.8?access_key=KEY HTTP/1.1"));
    QVERIFY(lines.contains("Accept: application/json, text/plain; q=0.9, text/html;q=0.8,\r"));
    QVERIFY(lines.contains("Accept-Charset: UTF-8, *;q=0.8\r"));
}

QTEST_GUILESS_MAIN(tst_IPGeolocator)
#include "tst_IPGeolocator.moc"
