#include "settings/RecentDatabases.h"

#include "settings/TSharedResourcesModule.h"

#include <QDir>
#include <QFileInfo>

namespace kelvane {

namespace {

// One spelling per file, so that "./case.db" and "/cases/case.db" are one entry.
QString normalized(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

} // namespace

QStringList RecentDatabases::withOpened(const QStringList& list, const QString& path) {
    const QString opened = normalized(path);
    QStringList result{opened};
    for (const QString& entry : list)
        if (normalized(entry) != opened && result.size() < kMaxEntries)
            result << entry;
    return result;
}

QStringList RecentDatabases::list() const {
    return m_settings.RecentDatabases().mid(0, kMaxEntries);
}

void RecentDatabases::add(const QString& path) {
    m_settings.setRecentDatabases(withOpened(list(), path));
}

void RecentDatabases::remove(const QString& path) {
    QStringList entries = list();
    entries.removeIf([&](const QString& entry) { return normalized(entry) == normalized(path); });
    m_settings.setRecentDatabases(entries);
}

} // namespace kelvane
