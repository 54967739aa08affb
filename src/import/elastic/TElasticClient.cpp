#include "import/elastic/TElasticClient.h"

#include "import/elastic/SysmonDocument.h"

#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace kelvane {
namespace {

// Long enough for a slow page to be stored locally before the next request renews it.
constexpr const char* kKeepAlive = "5m";

// The top-level members that the import reads; the rest (the rendered message above all) stays home.
constexpr const char* kSourceFields =
    R"(["@timestamp","UtcTime","log_name","event_id","computer_name","event_data","winlog","process","file",)"
    R"("user","network","source","destination","rule","registry","dns","sysmon"])";

QString targetPath(const QString& target) {
    return '/' + QString::fromLatin1(QUrl::toPercentEncoding(target, ",*"));
}

QString normalisedFingerprint(QString text) {
    return text.remove(':').remove(' ').toUpper();
}

// A server's answer read as JSON; a body that is none reads as an empty object.
class JsonAnswer {
public:
    explicit JsonAnswer(const QByteArray& body) {
        if (m_parser.parse(body.constData(), size_t(body.size())).get(m_root) != simdjson::SUCCESS)
            [[maybe_unused]]
            const auto empty = m_parser.parse("{}", 2).get(m_root);
    }
    simdjson::dom::element root() const { return m_root; }

private:
    simdjson::dom::parser m_parser;
    simdjson::dom::element m_root;
};

// The string at a JSON pointer below element, or an empty text.
QString textAt(simdjson::dom::element element, std::string_view pointer) {
    std::string_view text;
    if (element.at_pointer(pointer).get(text) != simdjson::SUCCESS)
        return QString();
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// The elements of the array at a JSON pointer, or none.
std::vector<simdjson::dom::element> arrayAt(simdjson::dom::element element, std::string_view pointer) {
    std::vector<simdjson::dom::element> elements;
    simdjson::dom::array array;
    if (element.at_pointer(pointer).get(array) == simdjson::SUCCESS)
        for (const simdjson::dom::element item : array)
            elements.push_back(item);
    return elements;
}

} // namespace

void ElasticConnectionParams::add(const QString& server, const QString& port, const QString& user,
                                  const QString& password) {
    addParam("Server", server);
    addParam("Port", port);
    addParam("UserName", user);
    addParam("Password", password);
}

QString ElasticConnectionParams::value(const QString& name) const {
    const QString prefix = name + '=';
    for (const QString& param : m_params)
        if (param.startsWith(prefix))
            return param.mid(prefix.size());
    return QString();
}

QStringList ElasticConnectionParams::names() const {
    QStringList names;
    for (const QString& param : m_params)
        names << param.left(param.indexOf('='));
    return names;
}

TElasticClient::TElasticClient(const QString& server, const QString& port, const QString& user,
                               const QString& password)
    : m_address(server), m_port(port), m_user(user), m_password(password) {}

TElasticClient::TElasticClient(const ElasticConnectionParams& params)
    : TElasticClient(params.value("Server"), params.value("Port"), params.value("UserName"),
                     params.value("Password")) {}

TElasticClient::~TElasticClient() = default;

QNetworkAccessManager& TElasticClient::manager() {
    if (!m_manager)
        m_manager = std::make_unique<QNetworkAccessManager>();
    return *m_manager;
}

QString TElasticClient::fingerprint(const QSslCertificate& certificate) {
    const QByteArray hex = certificate.digest(QCryptographicHash::Sha256).toHex().toUpper();
    QStringList pairs;
    for (int i = 0; i + 1 < hex.size(); i += 2)
        pairs << QString::fromLatin1(hex.mid(i, 2));
    return pairs.join(':');
}

QUrl TElasticClient::urlFor(const QString& path) const {
    return QUrl(m_base.toString(QUrl::RemoveUserInfo | QUrl::StripTrailingSlash) + path);
}

TElasticClient::Response TElasticClient::send(const QByteArray& verb, const QUrl& url,
                                              const QByteArray& body) {
    QNetworkRequest request(url);
    request.setTransferTimeout(m_timeoutMs);
    request.setRawHeader("Accept", "application/json");
    if (!body.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
    if (!m_user.isEmpty())
        request.setRawHeader("Authorization", "Basic " + (m_user + ':' + m_password).toUtf8().toBase64());
    std::unique_ptr<QNetworkReply> reply(manager().sendCustomRequest(request, verb, body));

    QObject::connect(
        reply.get(), &QNetworkReply::sslErrors, reply.get(), [&](const QList<QSslError>& errors) {
            // Only an unknown authority or a name the certificate doesn't carry can be waived; an expired
            // or revoked certificate stays refused.
            for (const QSslError& error : errors)
                switch (error.error()) {
                case QSslError::SelfSignedCertificate:
                case QSslError::SelfSignedCertificateInChain:
                case QSslError::UnableToGetLocalIssuerCertificate:
                case QSslError::UnableToGetIssuerCertificate:
                case QSslError::UnableToVerifyFirstCertificate:
                case QSslError::CertificateUntrusted:
                case QSslError::HostNameMismatch:
                    break;
                default:
                    m_sslRefused = true;
                    return;
                }
            const QList<QSslCertificate> chain = reply->sslConfiguration().peerCertificateChain();
            for (const QSslCertificate& certificate : chain)
                for (const QString& trusted : m_trusted)
                    if (normalisedFingerprint(fingerprint(certificate)) == normalisedFingerprint(trusted)) {
                        reply->ignoreSslErrors();
                        return;
                    }
            // The authority at the top of the chain is what the server printed at its first start.
            const QSslCertificate shown = chain.isEmpty() ? QSslCertificate() : chain.last();
            const QString print = fingerprint(shown);
            if (m_trustQuestion && !shown.isNull() && m_trustQuestion(print, shown.subjectDisplayName())) {
                m_trusted << print;
                reply->ignoreSslErrors();
                return;
            }
            m_sslRefused = true;
            m_refusedFingerprint = print;
        });

    if (!reply->isFinished()) {
        QEventLoop loop;
        QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    Response response;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    response.status = status.isValid() ? status.toInt() : 0;
    response.body = reply->readAll();
    if (response.status == 0)
        response.transportError = reply->errorString();
    return response;
}

TElasticClient::Response TElasticClient::request(const QByteArray& verb, const QString& path,
                                                 const QByteArray& body) {
    if (!m_open)
        open();
    int delay = m_retryDelayMs;
    for (int attempt = 0;; ++attempt) {
        Response response = send(verb, urlFor(path), body);
        // A full search queue or a tripped breaker clears by itself: the very same request, later.
        if (response.status != 429 || attempt == 4)
            return response;
        // The client also runs on the GUI thread (Connect): wait in an event loop, not asleep.
        QEventLoop pause;
        QTimer::singleShot(delay, &pause, &QEventLoop::quit);
        pause.exec();
        delay *= 2;
    }
}

QByteArray TElasticClient::requestOk(const QByteArray& verb, const QString& path, const QByteArray& body) {
    Response response = request(verb, path, body);
    if (response.status != 200)
        throw ElasticError(describe(verb, path, response).toStdString());
    return response.body;
}

QString TElasticClient::describe(const QByteArray& verb, const QString& path,
                                 const Response& response) const {
    const QString where =
        QString::fromLatin1(verb) + ' ' + path.left(path.indexOf('?') < 0 ? path.size() : path.indexOf('?'));
    const QString server = m_base.toString(QUrl::RemoveUserInfo | QUrl::StripTrailingSlash);
    if (response.status == 0) {
        if (m_sslRefused && !m_refusedFingerprint.isEmpty())
            return QString("The certificate of %1 is not trusted (SHA-256 fingerprint %2)")
                .arg(server, m_refusedFingerprint);
        return QString("No answer from %1 to %2: %3").arg(server, where, response.transportError);
    }
    QString detail;
    const JsonAnswer answer(response.body);
    simdjson::dom::element error;
    const bool hasError = answer.root()["error"].get(error) == simdjson::SUCCESS;
    if (hasError && error.is_object()) {
        detail = textAt(error, "/type");
        QString reason = textAt(error, "/reason");
        const QString rootReason = textAt(error, "/root_cause/0/reason");
        if (reason.isEmpty() || (reason == "all shards failed" && !rootReason.isEmpty()))
            reason = rootReason;
        if (!reason.isEmpty())
            detail += ": " + reason;
    } else if (hasError && error.is_string()) {
        detail = textAt(error, "");
    } else {
        // OpenSearch says 401 in plain text, and proxies say anything.
        detail = QString::fromUtf8(response.body.left(200)).simplified();
    }
    QString text = QString("%1 %2 answered %3").arg(server, where).arg(response.status);
    if (!detail.isEmpty())
        text += " (" + detail + ")";
    return text;
}

const ElasticServer& TElasticClient::open() {
    QString host = m_address;
    QStringList schemes{"https", "http"};
    int port = -1;
    // "es01", "es01:9200", "https://es01" and "https://es01:9200/" all name a server.
    const bool schemeGiven = host.contains("://");
    const QUrl typed(schemeGiven ? host.trimmed() : "none://" + host.trimmed());
    if (schemeGiven) {
        if (typed.scheme() != "http" && typed.scheme() != "https")
            throw ElasticError(QString("Unknown scheme \"%1\"").arg(typed.scheme()).toStdString());
        schemes = QStringList{typed.scheme()};
    }
    if (typed.isValid() && !typed.host().isEmpty()) {
        port = typed.port(-1);
        host = typed.host();
    }
    if (port < 0) {
        bool ok = false;
        port = m_port.toInt(&ok);
        if (!ok || port <= 0 || port > 65535)
            throw ElasticError(QString("The port \"%1\" is no port number").arg(m_port).toStdString());
    }
    if (host.isEmpty())
        throw ElasticError("No server address");

    Response root;
    for (const QString& scheme : schemes) {
        m_base = QUrl();
        m_base.setScheme(scheme);
        m_base.setHost(host);
        m_base.setPort(port);
        m_sslRefused = false;
        root = send("GET", urlFor("/"), QByteArray());
        // A plain server fails the handshake, a TLS one drops plain requests: try the other.
        if (root.status != 0 || m_sslRefused)
            break;
    }
    if (root.status != 200)
        throw ElasticError(describe("GET", "/", root).toStdString());
    detect(root.body);
    m_open = true;
    return m_server;
}

void TElasticClient::detect(const QByteArray& body) {
    const JsonAnswer answer(body);
    const simdjson::dom::element root = answer.root();
    m_server = ElasticServer();
    m_server.version = textAt(root, "/version/number");
    const QStringList numbers = m_server.version.split('.');
    m_server.major = numbers.value(0).toInt();
    m_server.minor = numbers.value(1).toInt();
    if (textAt(root, "/version/distribution") == "opensearch") {
        m_server.openSearch = true;
    } else if (textAt(root, "/tagline").contains("OpenSearch")) {
        // An OpenSearch that poses as 7.10.2 hides its version: read it as the oldest.
        m_server.openSearch = true;
        m_server.major = 1;
        m_server.minor = 0;
    }
    const auto atLeast = [&](int major, int minor) {
        return m_server.major > major || (m_server.major == major && m_server.minor >= minor);
    };
    if (m_server.openSearch)
        m_server.paging =
            atLeast(2, 4) ? ElasticServer::Paging::OpenSearchPointInTime : ElasticServer::Paging::Scroll;
    else
        m_server.paging = atLeast(7, 12) ? ElasticServer::Paging::PointInTime : ElasticServer::Paging::Scroll;
    if (m_pointInTimeRefused)
        m_server.paging = ElasticServer::Paging::Scroll;
}

void TElasticClient::disconnect() {
    m_manager.reset();
    m_open = false;
}

QStringList TElasticClient::catalogue() {
    QStringList streams, aliases, indices;
    const Response resolved = request("GET", "/_resolve/index/*");
    if (resolved.status == 200) {
        const JsonAnswer answer(resolved.body);
        for (const simdjson::dom::element stream : arrayAt(answer.root(), "/data_streams"))
            streams << textAt(stream, "/name");
        for (const simdjson::dom::element alias : arrayAt(answer.root(), "/aliases")) {
            const QString name = textAt(alias, "/name");
            if (!name.startsWith('.'))
                aliases << name;
        }
        for (const simdjson::dom::element index : arrayAt(answer.root(), "/indices")) {
            const QString name = textAt(index, "/name");
            QStringList attributes;
            for (const simdjson::dom::element attribute : arrayAt(index, "/attributes"))
                attributes << textAt(attribute, "");
            if (name.startsWith('.') || index.at_key("data_stream").error() == simdjson::SUCCESS ||
                attributes.contains("hidden") || attributes.contains("system") ||
                attributes.contains("closed"))
                continue;
            indices << name;
        }
    } else {
        // Servers before the resolve call list their indices only.
        const QByteArray body = requestOk("GET", "/_cat/indices?format=json&h=index,status");
        const JsonAnswer answer(body);
        for (const simdjson::dom::element index : arrayAt(answer.root(), "")) {
            const QString name = textAt(index, "/index");
            if (!name.startsWith('.') && textAt(index, "/status") != "close")
                indices << name;
        }
    }
    streams.sort();
    aliases.sort();
    indices.sort();
    QStringList names = streams + aliases + indices;
    // Daily and rolled-over indices of one shipper are read together through a pattern.
    for (const QString& prefix :
         {QString("winlogbeat-"), QString("logs-windows.sysmon_operational-"), QString("sysmon-")}) {
        const auto matching = std::count_if(names.begin(), names.end(),
                                            [&](const QString& name) { return name.startsWith(prefix); });
        if (matching > 1)
            names << prefix + '*';
    }
    return names;
}

QByteArray TElasticClient::sysmonQuery(int eventId) {
    // A term on an unmapped field matches nothing, so one filter serves every shape and both
    // mappings of the channel (keyword from a template, text with a keyword sub-field without one).
    const QByteArray channel = QByteArray("\"") + kChannel + '"';
    const QByteArray id = QByteArray::number(eventId);
    return R"({"bool":{"filter":[{"bool":{"should":[{"term":{"log_name":)" + channel +
           R"(}},{"term":{"log_name.keyword":)" + channel + R"(}},{"term":{"winlog.channel":)" + channel +
           R"(}},{"term":{"winlog.channel.keyword":)" + channel +
           R"(}}],"minimum_should_match":1}},{"bool":{"should":[{"term":{"event_id":)" + id +
           R"(}},{"term":{"winlog.event_id":)" + id + R"(}}],"minimum_should_match":1}}]}})";
}

qint64 TElasticClient::count(const QString& target, int eventId) {
    const QString path = targetPath(target) + "/_count";
    const JsonAnswer answer(requestOk("POST", path, "{\"query\":" + sysmonQuery(eventId) + '}'));
    int64_t count = 0;
    if (answer.root()["count"].get(count) != simdjson::SUCCESS)
        throw ElasticError(QString("POST %1 answered without a count").arg(path).toStdString());
    return count;
}

std::unique_ptr<ElasticHits> TElasticClient::search(const QString& target, int eventId) {
    if (!m_open)
        open();
    std::unique_ptr<ElasticHits> hits(new ElasticHits(*this, target, sysmonQuery(eventId)));
    hits->start();
    return hits;
}

ElasticHits::ElasticHits(TElasticClient& client, QString target, QByteArray query)
    : m_client(client), m_target(std::move(target)), m_query(std::move(query)),
      m_paging(client.server().paging) {}

ElasticHits::~ElasticHits() {
    // Still open only while another failure unwinds: that one is reported, a second would hide it.
    try {
        close();
    } catch (const std::exception&) {
    }
}

void ElasticHits::start() {
    m_started = true;
    if (m_paging == ElasticServer::Paging::Scroll) {
        startScroll();
        return;
    }
    const bool openSearch = m_paging == ElasticServer::Paging::OpenSearchPointInTime;
    const QString path = targetPath(m_target) +
                         (openSearch ? "/_search/point_in_time?keep_alive=" : "/_pit?keep_alive=") +
                         kKeepAlive;
    const JsonAnswer answer(m_client.requestOk("POST", path));
    m_contextId = textAt(answer.root(), openSearch ? "/pit_id" : "/id").toUtf8();
    m_open = true;
    try {
        fetch();
    } catch (const ElasticError&) {
        // Servers that have a point in time but no _shard_doc to sort it by refuse the first page.
        if (m_lastStatus != 400)
            throw;
        close();
        m_client.m_pointInTimeRefused = true;
        m_client.m_server.paging = ElasticServer::Paging::Scroll;
        m_paging = ElasticServer::Paging::Scroll;
        startScroll();
    }
}

void ElasticHits::startScroll() {
    const QByteArray body = "{\"size\":" + QByteArray::number(m_client.pageSize()) + ",\"query\":" + m_query +
                            ",\"sort\":[\"_doc\"],\"_source\":" + kSourceFields + '}';
    readPage(m_client.requestOk("POST", targetPath(m_target) + "/_search?scroll=" + kKeepAlive, body));
    m_open = true;
}

void ElasticHits::fetch() {
    QByteArray body;
    QString path;
    if (m_paging == ElasticServer::Paging::Scroll) {
        path = "/_search/scroll";
        body = QByteArray("{\"scroll\":\"") + kKeepAlive + "\",\"scroll_id\":" +
               QJsonDocument(QJsonArray{QString::fromUtf8(m_contextId)})
                   .toJson(QJsonDocument::Compact)
                   .mid(1)
                   .chopped(1) +
               '}';
    } else {
        path = "/_search";
        body = "{\"size\":" + QByteArray::number(m_client.pageSize()) +
               ",\"track_total_hits\":false,\"pit\":{\"id\":\"" + m_contextId + "\",\"keep_alive\":\"" +
               kKeepAlive + "\"},\"sort\":[{\"_shard_doc\":\"asc\"}],\"query\":" + m_query +
               ",\"_source\":" + kSourceFields;
        if (!m_searchAfter.isEmpty())
            body += ",\"search_after\":" + m_searchAfter;
        body += '}';
    }
    const TElasticClient::Response response = m_client.request("POST", path, body);
    m_lastStatus = response.status;
    if (response.status != 200)
        throw ElasticError(m_client.describe("POST", path, response).toStdString());
    readPage(response.body);
}

void ElasticHits::readPage(const QByteArray& body) {
    simdjson::dom::element page;
    const auto parsed = m_parser.parse(body.constData(), static_cast<size_t>(body.size())).get(page);
    if (parsed != simdjson::SUCCESS)
        throw ElasticError(std::string("The server's answer to a search is no JSON (") +
                           simdjson::error_message(parsed) + ")");
    // A page that misses shards is incomplete: reading on would lose events without a word.
    int64_t failed = 0;
    if (page.at_pointer("/_shards/failed").get(failed) == simdjson::SUCCESS && failed > 0) {
        std::string_view reason;
        if (page.at_pointer("/_shards/failures/0/reason/reason").get(reason) != simdjson::SUCCESS)
            reason = "a shard failed";
        throw ElasticError("A page of the search missed " + std::to_string(failed) +
                           " shards: " + std::string(reason));
    }
    std::string_view id;
    if (page["pit_id"].get(id) == simdjson::SUCCESS || page["_scroll_id"].get(id) == simdjson::SUCCESS)
        m_contextId = QByteArray(id.data(), static_cast<qsizetype>(id.size()));
    simdjson::dom::array hits;
    if (page.at_pointer("/hits/hits").get(hits) != simdjson::SUCCESS)
        throw ElasticError("The server's answer to a search has no hits");
    m_hit = hits.begin();
    m_hitsEnd = hits.end();
    size_t count = 0;
    simdjson::dom::element last;
    for (auto hit : hits) {
        last = hit;
        ++count;
    }
    m_lastPage = count < static_cast<size_t>(m_client.pageSize());
    if (count > 0) {
        simdjson::dom::element sort;
        if (last["sort"].get(sort) == simdjson::SUCCESS) {
            // Sort values can pass 2^53: they go back exactly as they came.
            const std::string raw = simdjson::minify(sort);
            m_searchAfter = QByteArray(raw.data(), static_cast<qsizetype>(raw.size()));
        }
    }
}

bool ElasticHits::next() {
    while (m_hit == m_hitsEnd) {
        if (m_lastPage || !m_started)
            return false;
        fetch();
    }
    const simdjson::dom::element hit = *m_hit;
    ++m_hit;
    if (hit["_source"].get(m_source) != simdjson::SUCCESS)
        throw ElasticError("A hit of the search has no _source");
    return true;
}

void ElasticHits::close() {
    if (!m_open)
        return;
    m_open = false;
    const QByteArray id = QJsonDocument(QJsonArray{QString::fromUtf8(m_contextId)})
                              .toJson(QJsonDocument::Compact)
                              .mid(1)
                              .chopped(1);
    switch (m_paging) {
    case ElasticServer::Paging::PointInTime:
        m_client.request("DELETE", "/_pit", "{\"id\":" + id + '}');
        break;
    case ElasticServer::Paging::OpenSearchPointInTime:
        m_client.request("DELETE", "/_search/point_in_time", "{\"pit_id\":[" + id + "]}");
        break;
    case ElasticServer::Paging::Scroll:
        m_client.request("DELETE", "/_search/scroll", "{\"scroll_id\":" + id + '}');
        break;
    }
}

} // namespace kelvane
