#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace kelvane {

// What came back for one request: an HTTP answer of any status, or the reason there was none.
struct VTAnswer {
    bool reached = false; // false: refused, unresolved, timed out, certificate refused...
    QString fault;        // why not, without the address or the key
    int status = 0;
    QString reason; // the status line's reason text
    QByteArray body;
};

// The HTTP side of the VirusTotal lookups: one GET at a time, without blocking the event loop.
// Certificates are verified (Qt's default); a dead network ends after the time-out.
class TVirusTotalClient : public QObject {
    Q_OBJECT

public:
    static constexpr const char* kDefaultBaseUrl = "https://www.virustotal.com";
    static constexpr int kDefaultTimeoutMs = 30000;
    static constexpr const char* kUserAgent = "Kelvane Client/1.0";

    explicit TVirusTotalClient(QString baseUrl = kDefaultBaseUrl, QObject* parent = nullptr);
    ~TVirusTotalClient() override;

    const QString& baseUrl() const { return m_baseUrl; }
    void setTimeout(int msecs) { m_timeoutMs = msecs; }
    bool busy() const { return !m_reply.isNull(); }

    // Version 2: GET base + path, with the query apikey=key and secondKey=value, both encoded.
    // The key is sent as given, blanks included.
    void getV2(const QString& path, const QString& key, const QString& secondKey, const QString& value);
    // Version 3: GET base + path, the key in the x-apikey header.
    void getV3(const QString& path, const QString& key);

signals:
    // Once per request, on the event loop.
    void answered(const kelvane::VTAnswer& answer);

private:
    void send(QNetworkRequest& request, const QString& key);
    void finish();

    QString m_baseUrl;
    int m_timeoutMs = kDefaultTimeoutMs;
    QNetworkAccessManager* m_manager;
    QPointer<QNetworkReply> m_reply;
    QString m_key; // of the request under way, to keep it out of fault texts
};

// Removes the key, as typed and as encoded, from a text meant for the user.
QString withoutKey(QString text, const QString& key);

} // namespace kelvane
