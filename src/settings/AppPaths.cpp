#include "settings/AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

namespace kelvane::paths {

namespace {

QString programFolderOrCurrent() {
    // Functions of the core also run without an application object (some tests).
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
}

constexpr const char* kDatabaseName = "KelvaneDB";

} // namespace

bool isInstalledLayout(const QString& programFolder) {
    const QDir folder(programFolder);
    return folder.dirName() == "bin" && QFileInfo(folder.filePath("../share/kelvane")).isDir();
}

bool isWritableFolder(const QString& folder) {
    if (!QFileInfo(folder).isDir())
        return false;
    QTemporaryFile probe(QDir(folder).filePath(".kelvane-probe-XXXXXX"));
    return probe.open();
}

QString userDataFolder() {
    // Named here rather than after the running program, so that the viewer and the command-line tools
    // share one folder.
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty())
        base = QDir::homePath() + "/.local/share";
    return base + "/Kelvane";
}

QString defaultDatabasePath(const QString& programFolder) {
    if (!isInstalledLayout(programFolder) && isWritableFolder(programFolder))
        return QDir(programFolder).filePath(kDatabaseName);
    const QString folder = userDataFolder();
    QDir().mkpath(folder);
    return QDir(folder).filePath(kDatabaseName);
}

QString defaultDatabasePath() {
    return defaultDatabasePath(programFolderOrCurrent());
}

QString dataFolder(const QString& programFolder) {
    const QString installed = QDir(programFolder).filePath("../share/kelvane");
    if (isInstalledLayout(programFolder))
        return QDir::cleanPath(installed);
#ifdef KELVANE_SOURCE_DATA_DIR
    if (QFileInfo(KELVANE_SOURCE_DATA_DIR).isDir())
        return QStringLiteral(KELVANE_SOURCE_DATA_DIR);
#endif
    return QString();
}

QString dataFolder() {
    return dataFolder(programFolderOrCurrent());
}

} // namespace kelvane::paths
