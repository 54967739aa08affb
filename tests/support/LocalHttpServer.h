#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QTcpServer>

// A small HTTP server on 127.0.0.1 for tests of clients that don't block the event loop: it runs on
// the test's own thread. Answers are scripted by path (the query left out); one request per
// connection. An unscripted path answers 404.
class LocalHttpServer : public QObject {
public:
    struct Answer {
        int status = 200;
        QByteArray body;
        QByteArray reason = "OK";
        bool silent = false; // take the request and never answer
    };

    LocalHttpServer();
    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const;

    void setAnswer(const QByteArray& path, const Answer& answer) { m_answers.insert(path, answer); }
    void clear();
    // Request line and headers of each request, in order.
    const QList<QByteArray>& heads() const { return m_heads; }
    QByteArray head(int i) const { return m_heads.value(i); }
    // The target of request i (path and query), as sent.
    QByteArray target(int i) const;
    // The value of header `name` in request i, or a null array.
    QByteArray header(int i, const QByteArray& name) const;

    // A base address on which nothing listens: connections are refused.
    static QString refusingBaseUrl();

private:
    void read(QTcpSocket* socket);

    QTcpServer m_server;
    QHash<QByteArray, Answer> m_answers;
    QList<QByteArray> m_heads;
};
