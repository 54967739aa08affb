#pragma once

#include <QString>
#include <QStringList>

namespace kelvane {

class TSharedResourcesModule;

// The File menu's "Recent Databases": the last databases opened, newest first, kept in the settings.
class RecentDatabases {
public:
    static constexpr int kMaxEntries = 10;

    explicit RecentDatabases(TSharedResourcesModule& settings) : m_settings(settings) {}

    QStringList list() const;
    // Puts path first (once, however it was written), keeping at most kMaxEntries.
    void add(const QString& path);
    void remove(const QString& path);

    // The list after opening path.
    static QStringList withOpened(const QStringList& list, const QString& path);

private:
    TSharedResourcesModule& m_settings;
};

} // namespace kelvane
