#include "details/TVirusTotalLookup.h"

#include "settings/TSharedResourcesModule.h"
#include "settings/Utilities.h"

#include <QUrl>

#include <exception>

namespace kelvane {

namespace {

QString stripped(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text.at(begin).unicode() <= 0x20)
        ++begin;
    while (end > begin && text.at(end - 1).unicode() <= 0x20)
        --end;
    return text.mid(begin, end - begin);
}

const char* v2Path(TVirusTotalLookup::Kind kind) {
    switch (kind) {
    case TVirusTotalLookup::Kind::File:
        return "/vtapi/v2/file/report";
    case TVirusTotalLookup::Kind::IP:
        return "/vtapi/v2/ip-address/report";
    case TVirusTotalLookup::Kind::Domain:
        break;
    }
    return "/vtapi/v2/domain/report";
}

const char* v2SecondKey(TVirusTotalLookup::Kind kind) {
    switch (kind) {
    case TVirusTotalLookup::Kind::File:
        return "resource";
    case TVirusTotalLookup::Kind::IP:
        return "ip";
    case TVirusTotalLookup::Kind::Domain:
        break;
    }
    return "domain";
}

QString v3Path(TVirusTotalLookup::Kind kind, const QString& subject) {
    const QString encoded = QString::fromLatin1(QUrl::toPercentEncoding(subject));
    switch (kind) {
    case TVirusTotalLookup::Kind::File:
        return "/api/v3/files/" + encoded;
    case TVirusTotalLookup::Kind::IP:
        return "/api/v3/ip_addresses/" + encoded;
    case TVirusTotalLookup::Kind::Domain:
        break;
    }
    return "/api/v3/domains/" + encoded;
}

} // namespace

TVirusTotalLookup::TVirusTotalLookup(const QString& baseUrl, QObject* parent)
    : QObject(parent), m_client(new TVirusTotalClient(baseUrl, this)) {
    connect(m_client, &TVirusTotalClient::answered, this, [this](const VTAnswer& answer) {
        if (m_onV3)
            conclude(answer);
        else
            v2Answered(answer);
    });
}

bool TVirusTotalLookup::keyIsSet(const QString& key) {
    const QString copy = stripped(key);
    return !copy.isEmpty() && copy != QLatin1String(TSharedResourcesModule::kNoKey);
}

QString TVirusTotalLookup::readKey() const {
    return m_keySource ? m_keySource() : QString::fromLatin1(TSharedResourcesModule::kNoKey);
}

bool TVirusTotalLookup::start(Kind kind, const QString& subject) {
    if (busy())
        return false;
    if (kind == Kind::IP && IsPrivateIPAddress(subject, IdNetworkCalculator)) {
        setStatus(subject + QLatin1String(" is a private IP address"));
        return false;
    }
    if (!keyIsSet(readKey())) {
        setStatus(QString::fromLatin1(kNoKey));
        return false;
    }
    setStatus(QString::fromLatin1(kWaiting));
    m_kind = kind;
    m_subject = subject;
    m_onV3 = false;
    // Read again and sent as stored, blanks included.
    m_key = readKey();
    m_client->getV2(QString::fromLatin1(v2Path(kind)), m_key, QString::fromLatin1(v2SecondKey(kind)),
                    subject);
    return true;
}

void TVirusTotalLookup::setStatus(const QString& text) {
    emit statusChanged(withoutKey(text, m_key));
}

VTOutcome TVirusTotalLookup::read(const QByteArray& body, bool v3) const {
    switch (m_kind) {
    case Kind::File:
        return v3 ? vtreports::readFileReportV3(body) : vtreports::readFileReport(body);
    case Kind::IP:
        return v3 ? vtreports::readIPReportV3(body, m_subject) : vtreports::readIPReport(body, m_subject);
    case Kind::Domain:
        break;
    }
    return v3 ? vtreports::readDomainReportV3(body, m_subject) : vtreports::readDomainReport(body, m_subject);
}

void TVirusTotalLookup::v2Answered(const VTAnswer& answer) {
    if (answer.reached && (answer.status == 404 || answer.status == 410)) {
        // Version 2 answers an unknown resource with 200; these mean the interface itself is gone.
        m_onV3 = true;
        m_client->getV3(v3Path(m_kind, m_subject), m_key);
        return;
    }
    conclude(answer);
}

void TVirusTotalLookup::conclude(const VTAnswer& answer) {
    const bool v3 = m_onV3;
    m_onV3 = false;
    if (!answer.reached) {
        emit failed(answer.fault);
    } else if (answer.status != 200) {
        const auto message = v3 ? vtreports::errorMessageV3(answer.body) : std::nullopt;
        setStatus(message ? *message : QLatin1String(kWentWrong) + answer.reason);
    } else {
        try {
            VTOutcome outcome = read(answer.body, v3);
            if (outcome.status)
                outcome.status = withoutKey(*outcome.status, m_key);
            emit answered(outcome);
        } catch (const std::exception& e) {
            emit failed(withoutKey(QString::fromUtf8(e.what()), m_key));
        }
    }
    m_key.clear();
    emit finished();
}

} // namespace kelvane
