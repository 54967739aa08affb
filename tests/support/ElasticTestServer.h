#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

// A small search server on 127.0.0.1 for the tests and the benchmark. It answers the requests of the
// import's client with the response shapes of the real servers (root, index listing, field listing,
// count, searches in pages through a point in time or a scroll, errors), in several versions' manners,
// over HTTP or HTTPS, with or without basic authentication. It runs on a thread of its own.
class ElasticTestServer {
public:
    enum class Flavour {
        Elasticsearch8,   // point in time with _shard_doc
        Elasticsearch6,   // scroll only, no resolve call, hit totals as numbers
        OpenSearch2,      // its point in time refuses _shard_doc: scroll
        OpenSearch3,      // its own point in time
        OpenSearchCompat, // poses as 7.10.2
    };
    struct Options {
        Flavour flavour = Flavour::Elasticsearch8;
        QString user; // with a user, every request needs basic authentication
        QString password;
        QString certificateFile; // PEM; with both files the server speaks TLS only
        QString keyFile;
    };

    explicit ElasticTestServer(const Options& options);
    ~ElasticTestServer();
    ElasticTestServer(const ElasticTestServer&) = delete;
    ElasticTestServer& operator=(const ElasticTestServer&) = delete;

    quint16 port() const;
    // "http://127.0.0.1:port" or its https twin.
    QString url() const;

    // Adds documents (the JSON of _source) to an index, made on first use; an alias or a data stream
    // name makes the index a member of it (a data stream's index is hidden, as its backing index).
    void addDocuments(const QString& index, const QList<QByteArray>& sources,
                      const QString& alias = QString(), const QString& dataStream = QString());

    // Fault switches.
    void refuseNextSearches(int times);    // 429 rejected execution before a page
    void loseContextAfterPages(int pages); // then every page of that context: 404 context missing
    void setCountSurplus(int surplus);     // _count says this many more than match

    // What was asked: "POST /winlogbeat-6/_count", without query strings; the Authorization header
    // values seen are kept apart.
    QStringList requests() const;
    QStringList authorizations() const;
    int openContexts() const;

    // Makes a throw-away self-signed certificate for 127.0.0.1 and localhost in folder; false without
    // openssl. Its SHA-256 fingerprint is what a client is asked to trust.
    static bool makeCertificate(const QString& folder, QString& certificateFile, QString& keyFile);

private:
    class Impl;
    std::unique_ptr<Impl> d;
};
