#pragma once

#include "import/EventRecord.h"
#include "settings/Utilities.h"

#include <QString>

#include <memory>
#include <string_view>

class QNetworkAccessManager;

namespace kelvane {

// Asks the ipstack service for the country of an address, for the geolocating event mapper.
// One object serves one import. It is made on the main thread and then used only on the
// import worker, which runs no event loop of its own: each request blocks in a local loop,
// and the network manager is made on the thread that first asks.
class TIPGeolocator {
public:
    static constexpr const char* kDefaultHost = "api.ipstack.com";
    // A user would rather lose one country than wait for ever on a silent server.
    static constexpr int kDefaultTransferTimeoutMs = 30000;

    explicit TIPGeolocator(QString apiKey, QString host = kDefaultHost);
    ~TIPGeolocator();
    TIPGeolocator(const TIPGeolocator&) = delete;
    TIPGeolocator& operator=(const TIPGeolocator&) = delete;

    // One request. True with FCountry and FCountryCode set; false on any failure, silently,
    // with both unchanged, but for a new name paired with the old code when only the code
    // is missing from the answer.
    bool GetIPLocation(const QString& ipAddress);
    // Looks up the address item `key` of the event. A private or unreadable address sets
    // FGeoError; a missing item does not. The caller reads only FGeoError.
    bool GeolocateEventAddress(const EventRecord& event, std::string_view key);

    int requestCount() const { return m_requestCount; }
    int transferTimeout() const { return m_transferTimeoutMs; }
    void setTransferTimeout(int msecs) { m_transferTimeoutMs = msecs; }

    QString FIPStackAPIKey;
    // Empty, not null, so that a row written before any answer holds an empty text.
    QString FCountry = QStringLiteral("");
    QString FCountryCode = QStringLiteral("");
    bool FGeoError = false;

private:
    QNetworkAccessManager& manager();

    QString m_host;
    int m_transferTimeoutMs = kDefaultTransferTimeoutMs;
    int m_requestCount = 0;
    TIdNetworkCalculator m_idNetworkCalculator;
    std::unique_ptr<QNetworkAccessManager> m_manager;
};

} // namespace kelvane
