#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class QSettings;

namespace kelvane {

class SecretStore;

// The four persistent settings, read anew from the per-user store at every use.
// On Windows the store is HKEY_CURRENT_USER\SOFTWARE\Kelvane, section Kelvane; elsewhere an ini file
// under the user's configuration folder with the same section. The two API keys live in the desktop's
// keyring when one answers: a key found in the store is moved there at start; without a keyring they
// stay in the store, and the module says so once.
class TSharedResourcesModule {
public:
    // storePath: an ini file to use instead of the platform's store (tests, portable setups); such a
    // store keeps its keys itself unless a keyring is given. Without storePath the desktop's keyring is
    // used.
    explicit TSharedResourcesModule(const QString& storePath = QString());
    TSharedResourcesModule(const QString& storePath, std::unique_ptr<SecretStore> keyring);
    ~TSharedResourcesModule();

    // True while the keys are kept in a keyring; false when they are in the settings store.
    bool keysInKeyring() const { return m_keyring != nullptr; }
    // Why the keys are in the settings store when a keyring was tried, else empty.
    const QString& keyringNotice() const { return m_keyringNotice; }

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

    // The databases opened last, newest first (beside the four settings, in a section of its own).
    QStringList RecentDatabases() const;
    void setRecentDatabases(const QStringList& paths);

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
    QString readKey(const char* name) const;
    void writeKey(const char* name, const QString& value);
    void moveKeysToKeyring();
    // The keyring did not answer: the keys stay in the store from now on.
    void fallBackToStore() const;

    std::unique_ptr<QSettings> m_store;
    mutable std::unique_ptr<SecretStore> m_keyring;
    mutable QString m_keyringNotice;
};

// The program's single settings module, set up at start-up.
extern TSharedResourcesModule* SharedResourcesModule;

} // namespace kelvane
