#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <simdjson.h>

#include <functional>
#include <memory>
#include <stdexcept>

class QNetworkAccessManager;

namespace kelvane {

// A failure of the server or of the way to it, worded for the user. Never holds the password.
class ElasticError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The connection's parameters as the dialog adds them: "Server=", "Port=", "UserName=", "Password=".
// A later Connect appends again; the first entry of a name stays in force.
class ElasticConnectionParams {
public:
    void add(const QString& server, const QString& port, const QString& user, const QString& password);
    void addParam(const QString& name, const QString& value) { m_params << name + '=' + value; }
    QString value(const QString& name) const;
    int count() const { return static_cast<int>(m_params.size()); }
    // The names of the entries in order, for tests; values are left out so that no password shows.
    QStringList names() const;

private:
    QStringList m_params;
};

// What answered at the server's root, and how its hits are read.
struct ElasticServer {
    enum class Paging { PointInTime, OpenSearchPointInTime, Scroll };
    bool openSearch = false;
    int major = 0;
    int minor = 0;
    QString version;
    Paging paging = Paging::Scroll;
};

class TElasticClient;

// All hits of one search, read in pages: a point in time with search_after where the server has one,
// a scroll where it has not. A source stays valid until the next call of next().
class ElasticHits {
public:
    ~ElasticHits();
    // Moves to the next hit; false at the end of the results, where the last hit stays current.
    bool next();
    simdjson::dom::element source() const { return m_source; }
    // Frees the server's search context; a failure throws like any request. The import closes its
    // hits itself on every path but an exception, so that such a failure is reported.
    void close();

private:
    friend class TElasticClient;
    ElasticHits(TElasticClient& client, QString target, QByteArray query);
    void start();
    void fetch();
    void startScroll();
    void readPage(const QByteArray& body);

    TElasticClient& m_client;
    QString m_target;
    QByteArray m_query;
    QByteArray m_contextId; // point in time or scroll id
    QByteArray m_searchAfter;
    ElasticServer::Paging m_paging;
    simdjson::dom::parser m_parser;
    simdjson::dom::array::iterator m_hit, m_hitsEnd;
    bool m_lastPage = false;
    int m_lastStatus = 0;
    bool m_open = false;
    bool m_started = false;
    simdjson::dom::element m_source;
};

// Speaks the search server's REST interface over HTTP or HTTPS, with basic authentication when a user
// is given. Lives on the thread that uses it: each request waits in a local event loop.
class TElasticClient {
public:
    // Called with the SHA-256 fingerprint and subject of a certificate the system does not trust;
    // true trusts it for this client and the imports it starts.
    using TrustQuestion = std::function<bool(const QString& fingerprint, const QString& subject)>;

    static constexpr const char* kChannel = "Microsoft-Windows-Sysmon/Operational";
    static constexpr int kDefaultPageSize = 1000;

    TElasticClient(const QString& server, const QString& port, const QString& user, const QString& password);
    explicit TElasticClient(const ElasticConnectionParams& params);
    ~TElasticClient();
    TElasticClient(const TElasticClient&) = delete;
    TElasticClient& operator=(const TElasticClient&) = delete;

    void setTrustQuestion(TrustQuestion question) { m_trustQuestion = std::move(question); }
    void trust(const QStringList& fingerprints) { m_trusted << fingerprints; }
    const QStringList& trusted() const { return m_trusted; }
    void setPageSize(int size) { m_pageSize = size; }
    int pageSize() const { return m_pageSize; }
    // The first wait before a request refused for load is repeated; it doubles up to four times.
    void setRetryDelay(int msecs) { m_retryDelayMs = msecs; }
    void setTransferTimeout(int msecs) { m_timeoutMs = msecs; }

    // Finds the server (https first when no scheme is given, then http) and learns its kind.
    const ElasticServer& open();
    bool isOpen() const { return m_open; }
    // Lets go of the connections; the next query opens again.
    void disconnect();
    const ElasticServer& server() const { return m_server; }
    QUrl baseUrl() const { return m_base; }

    // Data streams, aliases, open indices outside both, and a pattern per shipper.
    QStringList catalogue();
    // Sysmon events of one id in the target.
    qint64 count(const QString& target, int eventId);
    std::unique_ptr<ElasticHits> search(const QString& target, int eventId);

    // The filter that selects Sysmon events of an id in every shape and mapping.
    static QByteArray sysmonQuery(int eventId);

    struct Response {
        int status = 0; // 0: no HTTP answer
        QByteArray body;
        QString transportError;
    };
    // One request; 429 answers are repeated after a growing delay.
    Response request(const QByteArray& verb, const QString& path, const QByteArray& body = QByteArray());
    // As request, but anything but 200 becomes an ElasticError.
    QByteArray requestOk(const QByteArray& verb, const QString& path, const QByteArray& body = QByteArray());
    QString describe(const QByteArray& verb, const QString& path, const Response& response) const;
    static QString fingerprint(const QSslCertificate& certificate);

private:
    friend class ElasticHits;
    Response send(const QByteArray& verb, const QUrl& url, const QByteArray& body);
    QNetworkAccessManager& manager();
    QUrl urlFor(const QString& path) const;
    void detect(const QByteArray& root);

    QString m_address;
    QString m_port;
    QString m_user;
    QString m_password;
    QUrl m_base;
    bool m_open = false;
    bool m_sslRefused = false;
    QString m_refusedFingerprint;
    bool m_pointInTimeRefused = false;
    ElasticServer m_server;
    QStringList m_trusted;
    TrustQuestion m_trustQuestion;
    int m_pageSize = kDefaultPageSize;
    int m_retryDelayMs = 1000;
    int m_timeoutMs = 120000;
    std::unique_ptr<QNetworkAccessManager> m_manager;
};

} // namespace kelvane
