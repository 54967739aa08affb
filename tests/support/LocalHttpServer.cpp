#include "LocalHttpServer.h"

#include <QTcpSocket>

LocalHttpServer::LocalHttpServer() {
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    m_server.listen(QHostAddress::LocalHost, 0);
}

QString LocalHttpServer::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void LocalHttpServer::clear() {
    m_answers.clear();
    m_heads.clear();
}

QByteArray LocalHttpServer::target(int i) const {
    return m_heads.value(i).split(' ').value(1);
}

QByteArray LocalHttpServer::header(int i, const QByteArray& name) const {
    for (const QByteArray& line : m_heads.value(i).split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().toLower() == name.toLower())
            return line.mid(colon + 1).trimmed();
    }
    return {};
}

QString LocalHttpServer::refusingBaseUrl() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QStringLiteral("http://127.0.0.1:%1").arg(port);
}

void LocalHttpServer::read(QTcpSocket* socket) {
    const QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    socket->setProperty("buffer", buffer);
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0 || socket->property("taken").toBool())
        return;
    socket->setProperty("taken", true);
    const QByteArray head = buffer.left(end + 2);
    m_heads << head;
    const QByteArray path = head.split(' ').value(1).split('?').value(0);
    const Answer answer = m_answers.value(path, Answer{404, "{}", "Not Found"});
    if (answer.silent)
        return;
    QByteArray reply = "HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + answer.reason + "\r\n";
    if (answer.status != 204)
        reply +=
            "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(answer.body.size()) +
            "\r\n";
    reply += "Connection: close\r\n\r\n";
    if (answer.status != 204)
        reply += answer.body;
    socket->write(reply);
    socket->disconnectFromHost();
}
