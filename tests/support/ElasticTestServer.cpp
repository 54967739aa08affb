#include "ElasticTestServer.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QMetaObject>
#include <QMutex>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>
#include <QUrl>
#include <QUrlQuery>

namespace {

struct Document {
    QByteArray source;
    QString channel;
    int eventId = -1;
    QString index;
    qint64 ordinal = 0;
};

struct Index {
    QString name;
    QString alias;
    QString dataStream;
    QList<Document> documents;
};

struct Context {
    QList<const Document*> hits; // matching documents in order
    QStringList indices;         // a point in time keeps its indices; the query comes with each page
    qsizetype position = 0;      // scroll
    int pages = 0;
    bool scroll = false;
};

// Sort values start above 2^53, so that a client that reads them as doubles sends wrong ones back.
constexpr qint64 kSortBase = 9007199254740993LL;

QJsonValue member(const QJsonObject& object, const QString& path) {
    if (object.contains(path))
        return object.value(path);
    const int dot = path.indexOf('.');
    if (dot < 0)
        return QJsonValue(QJsonValue::Undefined);
    for (int split = dot; split >= 0; split = path.indexOf('.', split + 1)) {
        const QJsonValue head = object.value(path.left(split));
        if (head.isObject()) {
            const QJsonValue found = member(head.toObject(), path.mid(split + 1));
            if (!found.isUndefined())
                return found;
        }
    }
    return QJsonValue(QJsonValue::Undefined);
}

void collectTerms(const QJsonValue& value, QMultiHash<QString, QString>& terms) {
    if (value.isArray()) {
        for (const QJsonValue& element : value.toArray())
            collectTerms(element, terms);
        return;
    }
    if (!value.isObject())
        return;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.key() == "term" && it.value().isObject()) {
            const QJsonObject term = it.value().toObject();
            for (auto t = term.begin(); t != term.end(); ++t)
                terms.insert(t.key(), t.value().isDouble() ? QString::number(t.value().toInteger())
                                                           : t.value().toString());
        } else {
            collectTerms(it.value(), terms);
        }
    }
}

QByteArray errorBody(const QString& type, const QString& reason, int status,
                     const QString& outerType = QString(), const QString& outerReason = QString()) {
    const QJsonObject cause{{"type", type}, {"reason", reason}};
    const QJsonObject error{{"root_cause", QJsonArray{cause}},
                            {"type", outerType.isEmpty() ? type : outerType},
                            {"reason", outerReason.isEmpty() ? reason : outerReason}};
    return QJsonDocument(QJsonObject{{"error", error}, {"status", status}}).toJson(QJsonDocument::Compact);
}

} // namespace

class ElasticTestServer::Impl : public QTcpServer {
public:
    explicit Impl(const Options& options) : m_options(options) {}

    Options m_options;
    QThread m_thread;
    mutable QMutex m_mutex;
    QMap<QString, Index> m_indices;
    QHash<QString, Context> m_contexts;
    QStringList m_requests;
    QStringList m_authorizations;
    int m_refuse = 0;
    int m_loseAfter = -1;
    int m_surplus = 0;
    static constexpr int kPageLimit = 10000; // a page holds at most this many hits
    int m_nextContext = 1;
    qint64 m_nextOrdinal = 0;
    QSslCertificate m_certificate;
    QSslKey m_key;

    struct Reply {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/json; charset=UTF-8";
        QList<QPair<QByteArray, QByteArray>> headers;
    };

    bool tls() const { return !m_options.certificateFile.isEmpty(); }
    bool openSearch() const {
        return m_options.flavour == Flavour::OpenSearch2 || m_options.flavour == Flavour::OpenSearch3 ||
               m_options.flavour == Flavour::OpenSearchCompat;
    }

protected:
    void incomingConnection(qintptr descriptor) override {
        QTcpSocket* socket = nullptr;
        if (tls()) {
            auto* ssl = new QSslSocket(this);
            ssl->setSocketDescriptor(descriptor);
            ssl->setLocalCertificate(m_certificate);
            ssl->setPrivateKey(m_key);
            ssl->setPeerVerifyMode(QSslSocket::VerifyNone);
            connect(ssl, &QSslSocket::sslErrors, ssl, [ssl] { ssl->abort(); });
            ssl->startServerEncryption();
            socket = ssl;
        } else {
            socket = new QTcpSocket(this);
            socket->setSocketDescriptor(descriptor);
        }
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, socket,
                [this, socket, buffer] { readRequests(socket, *buffer); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    void readRequests(QTcpSocket* socket, QByteArray& buffer) {
        buffer += socket->readAll();
        // A TLS greeting on the plain port: a real server drops it, and so does this one.
        if (!buffer.isEmpty() && static_cast<unsigned char>(buffer[0]) == 0x16) {
            socket->abort();
            return;
        }
        for (;;) {
            const int end = buffer.indexOf("\r\n\r\n");
            if (end < 0)
                return;
            const QList<QByteArray> lines = buffer.left(end).split('\n');
            const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
            QHash<QByteArray, QByteArray> headers;
            for (qsizetype i = 1; i < lines.size(); ++i) {
                const int colon = lines[i].indexOf(':');
                if (colon > 0)
                    headers.insert(lines[i].left(colon).trimmed().toLower(),
                                   lines[i].mid(colon + 1).trimmed());
            }
            const int length = headers.value("content-length").toInt();
            if (buffer.size() < end + 4 + length)
                return;
            const QByteArray body = buffer.mid(end + 4, length);
            buffer.remove(0, end + 4 + length);
            const Reply reply =
                answer(requestLine.value(0), QString::fromUtf8(requestLine.value(1)), headers, body);
            QByteArray out = "HTTP/1.1 " + QByteArray::number(reply.status) +
                             " Status\r\nContent-Type: " + reply.contentType +
                             "\r\nContent-Length: " + QByteArray::number(reply.body.size()) + "\r\n";
            for (const auto& [name, value] : reply.headers)
                out += name + ": " + value + "\r\n";
            out += "\r\n" + reply.body;
            socket->write(out);
        }
    }

    Reply json(const QJsonValue& value, int status = 200) {
        Reply reply;
        reply.status = status;
        reply.body = value.isArray() ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                                     : QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
        return reply;
    }
    Reply raw(const QByteArray& body, int status) {
        Reply reply;
        reply.status = status;
        reply.body = body;
        return reply;
    }

    Reply answer(const QByteArray& verb, const QString& target, const QHash<QByteArray, QByteArray>& headers,
                 const QByteArray& body) {
        QMutexLocker lock(&m_mutex);
        const QUrl url("http://x" + target);
        const QString path = url.path(QUrl::FullyDecoded);
        const QUrlQuery query(url);
        m_requests << QString::fromLatin1(verb) + ' ' + path;
        m_authorizations << QString::fromLatin1(headers.value("authorization"));

        if (!m_options.user.isEmpty()) {
            const QByteArray expected =
                "Basic " + (m_options.user + ':' + m_options.password).toUtf8().toBase64();
            if (headers.value("authorization") != expected) {
                Reply reply;
                reply.status = 401;
                if (openSearch()) {
                    reply.contentType = "text/plain; charset=UTF-8";
                    reply.body = "Unauthorized";
                    reply.headers << qMakePair(QByteArray("WWW-Authenticate"),
                                               QByteArray("Basic realm=\"OpenSearch Security\""));
                } else {
                    const QString reason =
                        QString("missing authentication credentials for REST request [%1]").arg(path);
                    reply.body = errorBody("security_exception", reason, 401);
                    reply.headers << qMakePair(QByteArray("WWW-Authenticate"),
                                               QByteArray("Basic realm=\"security\" charset=\"UTF-8\""));
                }
                return reply;
            }
        }
        if (!body.isEmpty() && !headers.value("content-type").startsWith("application/json"))
            return json(QJsonObject{{"error", QString("Content-Type header [%1] is not supported")
                                                  .arg(QString::fromLatin1(headers.value("content-type")))},
                                    {"status", 406}},
                        406);

        const QStringList parts = path.split('/', Qt::SkipEmptyParts);
        if (verb == "GET" && parts.isEmpty())
            return root();
        if (verb == "GET" && parts.value(0) == "_resolve" && parts.value(1) == "index")
            return resolve();
        if (verb == "GET" && parts.value(0) == "_cat" && parts.value(1) == "indices")
            return catIndices();
        if (parts.value(0) == "_pit" && verb == "DELETE")
            return closeContext(QJsonDocument::fromJson(body).object().value("id").toString(), false);
        if (parts.value(0) == "_search" && parts.value(1) == "point_in_time" && verb == "DELETE")
            return closeContext(
                QJsonDocument::fromJson(body).object().value("pit_id").toArray().at(0).toString(), true);
        if (parts.value(0) == "_search" && parts.value(1) == "scroll" && verb == "DELETE")
            return closeContext(QJsonDocument::fromJson(body).object().value("scroll_id").toString(), false);
        if (parts.value(0) == "_search" && parts.value(1) == "scroll")
            return scrollPage(QJsonDocument::fromJson(body).object().value("scroll_id").toString());
        if (parts.value(0) == "_search" && parts.size() == 1)
            return pointInTimePage(body);
        if (parts.size() >= 2 && !parts[0].startsWith('_')) {
            QStringList indices;
            if (!resolveTarget(parts[0], indices))
                return raw(
                    errorBody("index_not_found_exception", QString("no such index [%1]").arg(parts[0]), 404),
                    404);
            const QString action = parts.mid(1).join('/');
            if (action == "_count")
                return count(indices, body);
            if (action == "_pit" && verb == "POST" && !openSearch() &&
                m_options.flavour == Flavour::Elasticsearch8)
                return openContext(indices, false);
            if (action == "_search/point_in_time" && verb == "POST" &&
                (m_options.flavour == Flavour::OpenSearch2 || m_options.flavour == Flavour::OpenSearch3))
                return openContext(indices, true);
            if (action == "_search" && query.hasQueryItem("scroll"))
                return startScroll(indices, body);
        }
        return json(QJsonObject{{"error", QString("no handler found for uri [%1] and method [%2]")
                                              .arg(target, QString::fromLatin1(verb))},
                                {"status", 400}},
                    400);
    }

    Reply root() {
        QJsonObject version;
        QString tagline = "You Know, for Search";
        switch (m_options.flavour) {
        case Flavour::Elasticsearch8:
            version = {{"number", "8.13.2"}, {"build_flavor", "default"}};
            break;
        case Flavour::Elasticsearch6:
            version = {{"number", "6.8.23"}, {"build_flavor", "oss"}};
            break;
        case Flavour::OpenSearch2:
            version = {{"distribution", "opensearch"}, {"number", "2.11.0"}};
            tagline = "The OpenSearch Project: https://opensearch.org/";
            break;
        case Flavour::OpenSearch3:
            version = {{"distribution", "opensearch"}, {"number", "3.3.0"}};
            tagline = "The OpenSearch Project: https://opensearch.org/";
            break;
        case Flavour::OpenSearchCompat:
            version = {{"number", "7.10.2"}};
            tagline = "The OpenSearch Project: https://opensearch.org/";
            break;
        }
        return json(
            QJsonObject{{"name", "t"}, {"cluster_name", "t"}, {"version", version}, {"tagline", tagline}});
    }

    Reply resolve() {
        if (m_options.flavour == Flavour::Elasticsearch6)
            return raw(errorBody("index_not_found_exception", "no such index [_resolve]", 404), 404);
        QJsonArray indices, aliases, streams;
        QMap<QString, QStringList> aliasMembers, streamMembers;
        for (const Index& index : m_indices) {
            if (!index.dataStream.isEmpty()) {
                streamMembers[index.dataStream] << index.name;
                continue;
            }
            QJsonObject entry{{"name", index.name}, {"attributes", QJsonArray{"open"}}};
            if (!index.alias.isEmpty()) {
                entry.insert("aliases", QJsonArray{index.alias});
                aliasMembers[index.alias] << index.name;
            }
            indices << entry;
        }
        for (auto it = aliasMembers.begin(); it != aliasMembers.end(); ++it)
            aliases << QJsonObject{{"name", it.key()}, {"indices", QJsonArray::fromStringList(it.value())}};
        for (auto it = streamMembers.begin(); it != streamMembers.end(); ++it)
            streams << QJsonObject{{"name", it.key()},
                                   {"backing_indices", QJsonArray::fromStringList(it.value())},
                                   {"timestamp_field", "@timestamp"}};
        return json(QJsonObject{{"indices", indices}, {"aliases", aliases}, {"data_streams", streams}});
    }

    Reply catIndices() {
        QJsonArray rows;
        for (const Index& index : m_indices)
            rows << QJsonObject{{"health", "green"},
                                {"status", "open"},
                                {"index", index.name},
                                {"docs.count", QString::number(index.documents.size())}};
        rows << QJsonObject{
            {"health", "green"}, {"status", "open"}, {"index", ".kibana_1"}, {"docs.count", "5"}};
        rows << QJsonObject{{"health", "green"}, {"status", "close"}, {"index", "closed-1"}};
        return json(rows);
    }

    bool resolveTarget(const QString& target, QStringList& indices) const {
        for (const QString& name : target.split(',')) {
            bool found = false;
            const QRegularExpression pattern(QRegularExpression::wildcardToRegularExpression(name));
            for (const Index& index : m_indices) {
                const bool match =
                    name.contains('*')
                        ? (pattern.match(index.name).hasMatch() || pattern.match(index.alias).hasMatch() ||
                           pattern.match(index.dataStream).hasMatch())
                        : (index.name == name || index.alias == name || index.dataStream == name);
                if (match && !indices.contains(index.name))
                    indices << index.name;
                found = found || match;
            }
            if (!found && !name.contains('*'))
                return false;
        }
        return true;
    }

    QList<const Document*> matching(const QStringList& indices, const QJsonValue& queryValue) const {
        QMultiHash<QString, QString> terms;
        collectTerms(queryValue, terms);
        const QStringList channels = terms.values("log_name") + terms.values("log_name.keyword") +
                                     terms.values("winlog.channel") + terms.values("winlog.channel.keyword");
        QList<int> ids;
        for (const QString& id : terms.values("event_id") + terms.values("winlog.event_id"))
            ids << id.toInt();
        QList<const Document*> hits;
        for (const QString& name : indices)
            for (const Document& document : m_indices.constFind(name)->documents)
                if (ids.contains(document.eventId) && channels.contains(document.channel))
                    hits << &document;
        return hits;
    }

    Reply count(const QStringList& indices, const QByteArray& body) {
        const qsizetype n = matching(indices, QJsonDocument::fromJson(body).object().value("query")).size();
        return json(QJsonObject{{"count", n + m_surplus}, {"_shards", shards()}});
    }

    static QJsonObject shards() {
        return QJsonObject{{"total", 1}, {"successful", 1}, {"skipped", 0}, {"failed", 0}};
    }

    Reply openContext(const QStringList& indices, bool openSearchStyle) {
        const QString id = QString("pit-%1").arg(m_nextContext++);
        Context context;
        context.indices = indices;
        m_contexts.insert(id, context);
        if (openSearchStyle)
            return json(
                QJsonObject{{"pit_id", id}, {"_shards", shards()}, {"creation_time", 1700000000000.0}});
        return json(QJsonObject{{"id", id}});
    }

    Reply closeContext(const QString& id, bool openSearchStyle) {
        const bool existed = m_contexts.remove(id) > 0;
        if (openSearchStyle)
            return json(
                QJsonObject{{"pits", QJsonArray{QJsonObject{{"pit_id", id}, {"successful", existed}}}}},
                existed ? 200 : 404);
        return json(QJsonObject{{"succeeded", true}, {"num_freed", existed ? 1 : 0}}, existed ? 200 : 404);
    }

    bool refuse(Reply& reply) {
        if (m_refuse <= 0)
            return false;
        --m_refuse;
        reply = raw(errorBody("es_rejected_execution_exception", "rejected execution", 429), 429);
        return true;
    }

    bool lost(Context& context, Reply& reply) {
        if (m_loseAfter < 0 || context.pages < m_loseAfter)
            return false;
        reply = raw(errorBody("search_context_missing_exception", "No search context found for id [1]", 404,
                              "search_phase_execution_exception", "all shards failed"),
                    404);
        return true;
    }

    QByteArray page(const QList<const Document*>& hits, qsizetype from, qsizetype size, bool withSort,
                    const QByteArray& head, bool scroll) {
        QByteArray out =
            "{" + head + "\"_shards\":{\"total\":1,\"successful\":1,\"skipped\":0,\"failed\":0},\"hits\":{";
        if (scroll)
            out += m_options.flavour == Flavour::Elasticsearch6
                       ? "\"total\":" + QByteArray::number(hits.size()) + ","
                       : "\"total\":{\"value\":" + QByteArray::number(hits.size()) + ",\"relation\":\"eq\"},";
        out += "\"max_score\":null,\"hits\":[";
        for (qsizetype i = from; i < std::min(hits.size(), from + size); ++i) {
            const Document& document = *hits[i];
            if (i > from)
                out += ',';
            out += "{\"_index\":\"" + document.index.toUtf8() + "\",\"_id\":\"" +
                   QByteArray::number(document.ordinal) + "\",\"_score\":null,\"_source\":" + document.source;
            if (withSort)
                out += ",\"sort\":[" + QByteArray::number(kSortBase + document.ordinal) + "]";
            out += '}';
        }
        out += "]}}";
        return out;
    }

    Reply pointInTimePage(const QByteArray& body) {
        const QJsonObject request = QJsonDocument::fromJson(body).object();
        const QString id = request.value("pit").toObject().value("id").toString();
        Reply reply;
        if (refuse(reply))
            return reply;
        auto it = m_contexts.find(id);
        if (it == m_contexts.end() || it->scroll)
            return raw(errorBody("search_context_missing_exception", "No search context found for id [1]",
                                 404, "search_phase_execution_exception", "all shards failed"),
                       404);
        if (lost(*it, reply))
            return reply;
        if (m_options.flavour == Flavour::OpenSearch2)
            return raw(errorBody("query_shard_exception",
                                 "No mapping found for [_shard_doc] in order to sort on", 400,
                                 "search_phase_execution_exception", "all shards failed"),
                       400);
        // A point in time sees the documents of its opening; the client sends the same query each page.
        if (it->pages == 0)
            it->hits = matching(it->indices, request.value("query"));
        const QList<const Document*>& hits = it->hits;
        // search_after's value is read from the text: a double would not hold it.
        qsizetype from = 0;
        const QRegularExpressionMatch after =
            QRegularExpression(R"("search_after":\[(\d+)\])").match(QString::fromUtf8(body));
        if (after.hasMatch()) {
            const qint64 last = after.captured(1).toLongLong() - kSortBase;
            from = std::upper_bound(hits.begin(), hits.end(), last,
                                    [](qint64 value, const Document* d) { return value < d->ordinal; }) -
                   hits.begin();
        }
        ++it->pages;
        const qsizetype size = std::min<qsizetype>(request.value("size").toInt(10), kPageLimit);
        return raw(page(hits, from, size, true, "\"pit_id\":\"" + id.toUtf8() + "\",", false), 200);
    }

    Reply startScroll(const QStringList& indices, const QByteArray& body) {
        Reply reply;
        if (refuse(reply))
            return reply;
        const QJsonObject request = QJsonDocument::fromJson(body).object();
        Context context;
        context.scroll = true;
        context.hits = matching(indices, request.value("query"));
        const QString id = QString("scroll-%1").arg(m_nextContext++);
        const qsizetype size = std::min<qsizetype>(request.value("size").toInt(10), kPageLimit);
        context.position = size;
        context.pages = 1;
        m_contexts.insert(id, context);
        m_scrollSize[id] = size;
        return raw(page(context.hits, 0, size, false, "\"_scroll_id\":\"" + id.toUtf8() + "\",", true), 200);
    }

    Reply scrollPage(const QString& id) {
        Reply reply;
        if (refuse(reply))
            return reply;
        auto it = m_contexts.find(id);
        if (it == m_contexts.end() || !it->scroll)
            return raw(errorBody("search_context_missing_exception", "No search context found for id [1]",
                                 404, "search_phase_execution_exception", "all shards failed"),
                       404);
        if (lost(*it, reply))
            return reply;
        const qsizetype size = m_scrollSize.value(id);
        const qsizetype from = it->position;
        it->position += size;
        ++it->pages;
        return raw(page(it->hits, from, size, false, "\"_scroll_id\":\"" + id.toUtf8() + "\",", true), 200);
    }

public:
    QHash<QString, qsizetype> m_scrollSize;

    void addDocuments(const QString& name, const QList<QByteArray>& sources, const QString& alias,
                      const QString& dataStream) {
        QMutexLocker lock(&m_mutex);
        Index& index = m_indices[name];
        index.name = name;
        if (!alias.isEmpty())
            index.alias = alias;
        if (!dataStream.isEmpty())
            index.dataStream = dataStream;
        for (const QByteArray& source : sources) {
            const QJsonObject object = QJsonDocument::fromJson(source).object();
            Document document;
            // Served as given, so that numbers a double can't hold arrive intact.
            document.source = source.trimmed();
            QJsonValue channel = member(object, "log_name");
            if (channel.isUndefined())
                channel = member(object, "winlog.channel");
            document.channel = channel.toString();
            QJsonValue id = member(object, "event_id");
            if (id.isUndefined())
                id = member(object, "winlog.event_id");
            document.eventId = id.isDouble() ? id.toInt() : id.toString().toInt();
            document.index = name;
            document.ordinal = ++m_nextOrdinal;
            index.documents << document;
        }
    }

    void start() {
        if (tls()) {
            QFile certificate(m_options.certificateFile), key(m_options.keyFile);
            if (certificate.open(QIODevice::ReadOnly))
                m_certificate = QSslCertificate(&certificate, QSsl::Pem);
            if (key.open(QIODevice::ReadOnly))
                m_key = QSslKey(&key, QSsl::Rsa, QSsl::Pem);
        }
        listen(QHostAddress::LocalHost, 0);
    }

    friend class ElasticTestServer;
};

ElasticTestServer::ElasticTestServer(const Options& options) : d(std::make_unique<Impl>(options)) {
    d->moveToThread(&d->m_thread);
    d->m_thread.start();
    QMetaObject::invokeMethod(
        d.get(), [this] { d->start(); }, Qt::BlockingQueuedConnection);
}

ElasticTestServer::~ElasticTestServer() {
    QMetaObject::invokeMethod(
        d.get(),
        [this] {
            d->close();
            // A TLS socket owns a plain one: only the direct children are ours to delete.
            qDeleteAll(d->findChildren<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly));
        },
        Qt::BlockingQueuedConnection);
    d->m_thread.quit();
    d->m_thread.wait();
}

quint16 ElasticTestServer::port() const {
    return d->serverPort();
}

QString ElasticTestServer::url() const {
    return QString("%1://127.0.0.1:%2").arg(d->tls() ? "https" : "http").arg(port());
}

void ElasticTestServer::addDocuments(const QString& index, const QList<QByteArray>& sources,
                                     const QString& alias, const QString& dataStream) {
    d->addDocuments(index, sources, alias, dataStream);
}

void ElasticTestServer::refuseNextSearches(int times) {
    QMutexLocker lock(&d->m_mutex);
    d->m_refuse = times;
}

void ElasticTestServer::loseContextAfterPages(int pages) {
    QMutexLocker lock(&d->m_mutex);
    d->m_loseAfter = pages;
}

void ElasticTestServer::setCountSurplus(int surplus) {
    QMutexLocker lock(&d->m_mutex);
    d->m_surplus = surplus;
}

QStringList ElasticTestServer::requests() const {
    QMutexLocker lock(&d->m_mutex);
    return d->m_requests;
}

QStringList ElasticTestServer::authorizations() const {
    QMutexLocker lock(&d->m_mutex);
    return d->m_authorizations;
}

int ElasticTestServer::openContexts() const {
    QMutexLocker lock(&d->m_mutex);
    return static_cast<int>(d->m_contexts.size());
}

bool ElasticTestServer::makeCertificate(const QString& folder, QString& certificateFile, QString& keyFile) {
    certificateFile = folder + "/server.pem";
    keyFile = folder + "/server.key";
    QProcess openssl;
    openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", keyFile, "-out",
                              certificateFile, "-days", "2", "-subj", "/CN=Kelvane test authority", "-addext",
                              "subjectAltName=IP:127.0.0.1,DNS:localhost"});
    return openssl.waitForFinished(60000) && openssl.exitCode() == 0 && QFile::exists(certificateFile);
}
