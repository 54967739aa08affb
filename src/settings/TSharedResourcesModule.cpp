#include "settings/TSharedResourcesModule.h"

#include "settings/SecretStore.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <cstdio>

namespace kelvane {

TSharedResourcesModule* SharedResourcesModule = nullptr;

namespace {
constexpr const char* kSection = "Kelvane";
}

QString TSharedResourcesModule::defaultStorePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Kelvane/Kelvane.ini";
}

TSharedResourcesModule::TSharedResourcesModule(const QString& storePath)
    : TSharedResourcesModule(storePath,
                             storePath.isEmpty() ? std::make_unique<KeychainSecretStore>() : nullptr) {}

TSharedResourcesModule::TSharedResourcesModule(const QString& storePath, std::unique_ptr<SecretStore> keyring)
    : m_keyring(std::move(keyring)) {
#ifdef Q_OS_WIN
    if (storePath.isEmpty())
        m_store =
            std::make_unique<QSettings>("HKEY_CURRENT_USER\\SOFTWARE\\Kelvane", QSettings::NativeFormat);
#endif
    if (!m_store) {
        const QString path = storePath.isEmpty() ? defaultStorePath() : storePath;
        QDir().mkpath(QFileInfo(path).absolutePath());
        m_store = std::make_unique<QSettings>(path, QSettings::IniFormat);
    }
    if (m_keyring)
        moveKeysToKeyring();
}

void TSharedResourcesModule::moveKeysToKeyring() {
    m_store->sync();
    for (const char* name : {"VTKey", "IPStackKey"}) {
        const QString storeKey = QString(kSection) + '/' + name;
        if (!m_store->contains(storeKey))
            continue;
        // The store's key is the newer one: Preferences writes there while no keyring answers.
        if (m_keyring->write(name, m_store->value(storeKey).toString()) != SecretStore::Result::Ok) {
            fallBackToStore();
            return;
        }
        m_store->remove(storeKey);
        m_store->sync();
    }
    // Nothing to move: ask once whether a keyring answers at all.
    QString probe;
    if (m_keyring->read("VTKey", &probe) == SecretStore::Result::Unavailable)
        fallBackToStore();
}

void TSharedResourcesModule::fallBackToStore() const {
    m_keyring.reset();
    m_keyringNotice = "No keyring answered: the API keys are kept in " +
                      QDir::toNativeSeparators(m_store->fileName()) + ".";
    std::fprintf(stderr, "%s\n", qPrintable(m_keyringNotice));
}

QString TSharedResourcesModule::readKey(const char* name) const {
    if (m_keyring) {
        QString value;
        switch (m_keyring->read(name, &value)) {
        case SecretStore::Result::Ok:
            return value;
        case SecretStore::Result::NotFound:
            return kNoKey;
        case SecretStore::Result::Unavailable:
            fallBackToStore();
            break;
        }
    }
    return readText(name, kNoKey);
}

void TSharedResourcesModule::writeKey(const char* name, const QString& value) {
    if (m_keyring) {
        if (m_keyring->write(name, value) == SecretStore::Result::Ok)
            return;
        fallBackToStore();
    }
    writeText(name, value);
}

TSharedResourcesModule::~TSharedResourcesModule() = default;

QString TSharedResourcesModule::storeLocation() const {
    return m_store->fileName();
}

QString TSharedResourcesModule::readText(const char* name, const QString& fallback) const {
    // Another program (or the user) may have changed the store since the last read.
    m_store->sync();
    return m_store->value(QString(kSection) + '/' + name, fallback).toString();
}

void TSharedResourcesModule::writeText(const char* name, const QString& value) {
    m_store->setValue(QString(kSection) + '/' + name, value);
    m_store->sync();
}

bool TSharedResourcesModule::readFlag(const char* name) const {
    bool ok = false;
    const int value = readText(name, "0").trimmed().toInt(&ok);
    return ok && value != 0;
}

QStringList TSharedResourcesModule::SigmaRuleFolders() const {
    return readText("SigmaRuleFolders", QString()).split(';', Qt::SkipEmptyParts);
}
void TSharedResourcesModule::setSigmaRuleFolders(const QStringList& folders) {
    writeText("SigmaRuleFolders", folders.join(';'));
}

QString TSharedResourcesModule::VirusTotalKey() const {
    return readKey("VTKey");
}
void TSharedResourcesModule::setVirusTotalKey(const QString& key) {
    writeKey("VTKey", key);
}
bool TSharedResourcesModule::VirusTotalToS() const {
    return readFlag("AcceptedVirusTotalToS");
}
void TSharedResourcesModule::setVirusTotalToS(bool accepted) {
    writeText("AcceptedVirusTotalToS", accepted ? "1" : "0");
}
QString TSharedResourcesModule::IPStackKey() const {
    return readKey("IPStackKey");
}
void TSharedResourcesModule::setIPStackKey(const QString& key) {
    writeKey("IPStackKey", key);
}
bool TSharedResourcesModule::IPStackToS() const {
    return readFlag("AcceptedIPStackToS");
}
void TSharedResourcesModule::setIPStackToS(bool accepted) {
    writeText("AcceptedIPStackToS", accepted ? "1" : "0");
}

QStringList TSharedResourcesModule::RecentDatabases() const {
    m_store->sync();
    return m_store->value("Recent/Databases").toStringList();
}

void TSharedResourcesModule::setRecentDatabases(const QStringList& paths) {
    m_store->setValue("Recent/Databases", paths);
    m_store->sync();
}

bool TSharedResourcesModule::isUsableKey(const QString& key) {
    const QString trimmed = key.trimmed();
    return !trimmed.isEmpty() && trimmed != kNoKey;
}

} // namespace kelvane
