#pragma once

#include <QString>

namespace kelvane {

// Where the program finds its data and keeps its database, wherever it was built or installed.
namespace paths {

// True when the program runs from an installed tree: the executable in a bin/ folder with
// share/kelvane beside it. An installed program never writes into its own folder.
bool isInstalledLayout(const QString& programFolder);

// True when a file can be created in folder (a real try: permission bits say nothing for root, and
// nothing for read-only mounts).
bool isWritableFolder(const QString& folder);

// The database when none is named: KelvaneDB beside the executable when that folder is writable and
// not an installed tree, else KelvaneDB in the user's data folder (created when missing).
QString defaultDatabasePath(const QString& programFolder);
QString defaultDatabasePath();

// The user's data folder for databases (~/.local/share/Kelvane on Linux).
QString userDataFolder();

// The read-only data the program ships (rules, and the like): share/kelvane of an installed tree, or
// third_party of the source tree it was built from. Empty when neither exists.
QString dataFolder(const QString& programFolder);
QString dataFolder();

} // namespace paths
} // namespace kelvane
