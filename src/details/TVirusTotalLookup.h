#pragma once

#include "details/TVirusTotalClient.h"
#include "details/VirusTotalReports.h"
#include "settings/TIdNetworkCalculator.h"

#include <QObject>
#include <QString>

#include <functional>

namespace kelvane {

// One VirusTotal lookup at a time, from the key test to the lines it gives. The status words come
// in this order: a missing key stops at once; otherwise "Waiting for VirusTotal...!", then the
// answer's words, or "Something went wrong : " and the reason text for a status other than 200.
// Where version 2 answers 404 or 410 (the interface retired), version 3 is asked instead.
class TVirusTotalLookup : public QObject {
    Q_OBJECT

public:
    enum class Kind { File, IP, Domain };

    static constexpr const char* kNoKey = "Set a VirusTotal API key first (File -> Preferences)";
    static constexpr const char* kWaiting = "Waiting for VirusTotal...!";
    static constexpr const char* kWentWrong = "Something went wrong : ";

    explicit TVirusTotalLookup(const QString& baseUrl = TVirusTotalClient::kDefaultBaseUrl,
                               QObject* parent = nullptr);

    // Where the key is read, anew at each use; without one there is no key.
    void setKeySource(std::function<QString()> source) { m_keySource = std::move(source); }
    TVirusTotalClient& client() { return *m_client; }
    bool busy() const { return m_client->busy(); }

    // Runs the checks and sends the request; gives whether one went out. A private or reserved
    // address (IP) is refused before the key is looked at. Throws on an address that isn't
    // dotted IPv4.
    bool start(Kind kind, const QString& subject);

    // The key test: blanks and control characters stripped from both ends, neither empty nor "EMPTY".
    static bool keyIsSet(const QString& key);

signals:
    void statusChanged(const QString& text);
    // A readable answer of the service (its lines, if any, and its words).
    void answered(const kelvane::VTOutcome& outcome);
    // No answer, or one that isn't JSON: the application's fault message.
    void failed(const QString& message);
    // The wait is over, whatever its end.
    void finished();

private:
    void v2Answered(const VTAnswer& answer);
    void conclude(const VTAnswer& answer);
    void setStatus(const QString& text);
    VTOutcome read(const QByteArray& body, bool v3) const;
    QString readKey() const;

    TVirusTotalClient* m_client;
    std::function<QString()> m_keySource;
    TIdNetworkCalculator IdNetworkCalculator;
    Kind m_kind = Kind::File;
    QString m_subject;
    QString m_key;
    bool m_onV3 = false;
};

} // namespace kelvane
