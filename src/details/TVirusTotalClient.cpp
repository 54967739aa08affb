#include "details/TVirusTotalClient.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace kelvane {

namespace {

constexpr char kAccept[] = "application/json, text/plain; q=0.9, text/html;q=0.8,";
constexpr char kAcceptCharset[] = "UTF-8, *;q=0.8";

QString faultText(QNetworkReply::NetworkError error, const QString& errorString) {
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("VirusTotal refused the connection.");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("VirusTotal's server name could not be resolved.");
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral("VirusTotal did not answer in time.");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("The secure connection to VirusTotal failed: ") + errorString;
    default:
        return QStringLiteral("VirusTotal could not be reached: ") + errorString;
    }
}

} // namespace

QString withoutKey(QString text, const QString& key) {
    // Short keys would blank out ordinary words; real keys are long.
    if (key.trimmed().size() < 8)
        return text;
    text.replace(key, QLatin1String("***"));
    text.replace(QString::fromLatin1(QUrl::toPercentEncoding(key)), QLatin1String("***"));
    return text.replace(key.trimmed(), QLatin1String("***"));
}

TVirusTotalClient::TVirusTotalClient(QString baseUrl, QObject* parent)
    : QObject(parent), m_baseUrl(std::move(baseUrl)), m_manager(new QNetworkAccessManager(this)) {
    while (m_baseUrl.endsWith(QLatin1Char('/')))
        m_baseUrl.chop(1);
}

TVirusTotalClient::~TVirusTotalClient() {
    // A form closed while it waits: the answer is dropped, nothing is reported.
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

void TVirusTotalClient::getV2(const QString& path, const QString& key, const QString& secondKey,
                              const QString& value) {
    const QByteArray address = m_baseUrl.toUtf8() + path.toUtf8() +
                               "?apikey=" + QUrl::toPercentEncoding(key) + '&' +
                               QUrl::toPercentEncoding(secondKey) + '=' + QUrl::toPercentEncoding(value);
    QNetworkRequest request(QUrl::fromEncoded(address, QUrl::StrictMode));
    send(request, key);
}

void TVirusTotalClient::getV3(const QString& path, const QString& key) {
    QNetworkRequest request(QUrl::fromEncoded(m_baseUrl.toUtf8() + path.toUtf8(), QUrl::StrictMode));
    request.setRawHeader("x-apikey", key.toUtf8());
    send(request, key);
}

void TVirusTotalClient::send(QNetworkRequest& request, const QString& key) {
    if (busy())
        return; // the caller keeps one request at a time; a second one would be a fault of ours
    request.setRawHeader("Accept", kAccept);
    request.setRawHeader("Accept-Charset", kAcceptCharset);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString::fromLatin1(kUserAgent));
    // HTTP/2 has no reason text, which the status bar shows after a failed request.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setTransferTimeout(m_timeoutMs);
    m_key = key;
    m_reply = m_manager->get(request);
    connect(m_reply, &QNetworkReply::finished, this, &TVirusTotalClient::finish);
}

void TVirusTotalClient::finish() {
    QNetworkReply* reply = m_reply;
    m_reply = nullptr;
    if (!reply)
        return;
    reply->deleteLater();
    VTAnswer answer;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    // A 4xx or 5xx status is an answer like any other; only the lack of one is a fault.
    if (status.isValid()) {
        answer.reached = true;
        answer.status = status.toInt();
        answer.reason =
            withoutKey(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString(), m_key);
        answer.body = reply->readAll();
    } else {
        QString fault = faultText(reply->error(), reply->errorString());
        // The error string may name the address, and with it the key.
        fault.replace(QString::fromUtf8(reply->url().toEncoded()), QLatin1String("VirusTotal"));
        fault.replace(reply->url().toString(), QLatin1String("VirusTotal"));
        answer.fault = withoutKey(fault, m_key);
    }
    m_key.clear();
    emit answered(answer);
}

} // namespace kelvane
