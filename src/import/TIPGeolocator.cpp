#include "import/TIPGeolocator.h"

#include "import/elastic/FlatDocument.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <QUrl>

#include <utility>

namespace kelvane {

namespace {

constexpr char kAccept[] = "application/json, text/plain; q=0.9, text/html;q=0.8,";
constexpr char kAcceptCharset[] = "UTF-8, *;q=0.8";

// Members are read as text, whatever their JSON type, as a tabular view of the answer would.
QString jsonText(simdjson::dom::element value) {
    std::string text;
    FlatDocument::appendScalar(value, text);
    return QString::fromStdString(text);
}

// A manager must die on its own thread, or after that thread is gone; one still running
// gets it through its event queue.
void discard(std::unique_ptr<QNetworkAccessManager>& manager) {
    if (!manager)
        return;
    QThread* owner = manager->thread();
    if (owner && owner != QThread::currentThread() && !owner->isFinished())
        manager.release()->deleteLater();
    else
        manager.reset();
}

} // namespace

TIPGeolocator::TIPGeolocator(QString apiKey, QString host)
    : FIPStackAPIKey(std::move(apiKey)), m_host(std::move(host)) {}

TIPGeolocator::~TIPGeolocator() {
    discard(m_manager);
}

QNetworkAccessManager& TIPGeolocator::manager() {
    // Made where it is first used: the object itself is made on the main thread, but the
    // requests run on the import worker.
    if (!m_manager || m_manager->thread() != QThread::currentThread()) {
        discard(m_manager);
        m_manager = std::make_unique<QNetworkAccessManager>();
    }
    return *m_manager;
}

bool TIPGeolocator::GetIPLocation(const QString& ipAddress) {
    try {
        // The pieces are joined as they are; nothing is encoded on our side.
        const QUrl url(QStringLiteral("http://") + m_host + QLatin1Char('/') + ipAddress +
                           QStringLiteral("?access_key=") + FIPStackAPIKey,
                       QUrl::TolerantMode);
        QNetworkRequest request(url);
        request.setRawHeader("Accept", kAccept);
        request.setRawHeader("Accept-Charset", kAcceptCharset);
        request.setTransferTimeout(m_transferTimeoutMs);

        const std::unique_ptr<QNetworkReply> reply(manager().get(request));
        ++m_requestCount;
        if (!reply->isFinished()) {
            QEventLoop loop;
            QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
            loop.exec();
        }

        // Any HTTP answer, an error status included, is judged by its body; only the lack of
        // one (refused, unreachable, timed out) fails here.
        if (!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid())
            return false;

        const QByteArray body = reply->readAll();
        simdjson::dom::parser parser;
        simdjson::dom::object answer;
        if (parser.parse(body.constData(), size_t(body.size())).get(answer) != simdjson::SUCCESS)
            return false;

        // The service's error objects have neither member. A name without a code is kept,
        // paired with the old code: the mapper stores whatever is there.
        simdjson::dom::element name, code;
        if (answer["country_name"].get(name) != simdjson::SUCCESS)
            return false;
        FCountry = jsonText(name);
        if (answer["country_code"].get(code) != simdjson::SUCCESS)
            return false;
        FCountryCode = jsonText(code);
        return true;
    } catch (...) {
        // A lookup never stops an import, and the user is never told.
        return false;
    }
}

bool TIPGeolocator::GeolocateEventAddress(const EventRecord& event, std::string_view key) {
    const std::string* value = event.find(key);
    if (!value)
        return false;
    try {
        const QString address = QString::fromStdString(*value);
        // Private and reserved addresses have no country and must not leave the machine.
        if (IsPrivateIPAddress(address, m_idNetworkCalculator)) {
            FGeoError = true;
            return false;
        }
        return GetIPLocation(address);
    } catch (...) {
        FGeoError = true;
        return false;
    }
}

} // namespace kelvane
