#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class QSettings;

namespace kelvane {

// The four persistent settings, read anew from the per-user store at every use.
// On Windows the store is HKEY_CURRENT_USER\SOFTWARE\Kelvane, section Kelvane; elsewhere an ini file
// under the user's configuration folder with the same section.
class TSharedResourcesModule {
public:
    // storePath: an ini file to use instead of the platform's store (tests, portable setups).
    explicit TSharedResourcesModule(const QString& storePath = QString());
    ~TSharedResourcesModule();

    QString VirusTotalKey() const;
    void setVirusTotalKey(const QString& key);
    bool VirusTotalToS() const;
    void setVirusTotalToS(bool accepted);
    QString IPStackKey() const;
    void setIPStackKey(const QString& key);
    bool IPStackToS() const;
    void setIPStackToS(bool accepted);

    // Folders of the user's own Sigma rules, evaluated on every import beside the bundled ones.
    QStringList SigmaRuleFolders() const;
    void setSigmaRuleFolders(const QStringList& folders);

    // A key is usable when its trimmed text is neither empty nor "EMPTY".
    static bool isUsableKey(const QString& key);
    static constexpr const char* kNoKey = "EMPTY";

    // Where the settings live (a file path, or the registry path on Windows).
    QString storeLocation() const;
    static QString defaultStorePath();

private:
    QString readText(const char* name, const QString& fallback) const;
    void writeText(const char* name, const QString& value);
    bool readFlag(const char* name) const;
    std::unique_ptr<QSettings> m_store;
};

// The program's single settings module, set up at start-up.
extern TSharedResourcesModule* SharedResourcesModule;

} // namespace kelvane
