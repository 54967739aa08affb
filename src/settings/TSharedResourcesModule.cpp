#include "settings/TSharedResourcesModule.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace kelvane {

TSharedResourcesModule* SharedResourcesModule = nullptr;

namespace {
constexpr const char* kSection = "Kelvane";
}

QString TSharedResourcesModule::defaultStorePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Kelvane/Kelvane.ini";
}

TSharedResourcesModule::TSharedResourcesModule(const QString& storePath) {
#ifdef Q_OS_WIN
    if (storePath.isEmpty()) {
        m_store =
            std::make_unique<QSettings>("HKEY_CURRENT_USER\\SOFTWARE\\Kelvane", QSettings::NativeFormat);
        return;
    }
#endif
    const QString path = storePath.isEmpty() ? defaultStorePath() : storePath;
    QDir().mkpath(QFileInfo(path).absolutePath());
    m_store = std::make_unique<QSettings>(path, QSettings::IniFormat);
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
    return readText("VTKey", kNoKey);
}
void TSharedResourcesModule::setVirusTotalKey(const QString& key) {
    writeText("VTKey", key);
}
bool TSharedResourcesModule::VirusTotalToS() const {
    return readFlag("AcceptedVirusTotalToS");
}
void TSharedResourcesModule::setVirusTotalToS(bool accepted) {
    writeText("AcceptedVirusTotalToS", accepted ? "1" : "0");
}
QString TSharedResourcesModule::IPStackKey() const {
    return readText("IPStackKey", kNoKey);
}
void TSharedResourcesModule::setIPStackKey(const QString& key) {
    writeText("IPStackKey", key);
}
bool TSharedResourcesModule::IPStackToS() const {
    return readFlag("AcceptedIPStackToS");
}
void TSharedResourcesModule::setIPStackToS(bool accepted) {
    writeText("AcceptedIPStackToS", accepted ? "1" : "0");
}

bool TSharedResourcesModule::isUsableKey(const QString& key) {
    const QString trimmed = key.trimmed();
    return !trimmed.isEmpty() && trimmed != kNoKey;
}

} // namespace kelvane
