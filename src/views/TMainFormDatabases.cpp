// A database per case: opening one, importing into a new one, and the recent list.
#include "views/TMainForm.h"

#include "settings/RecentDatabases.h"
#include "settings/TSharedResourcesModule.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "views/TAboutForm.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>

namespace kelvane {

using ui::MessageService;

namespace {

constexpr const char* kDatabaseFilter = "Kelvane databases (*.db KelvaneDB);;All files (*)";

} // namespace

bool TMainForm::openDatabaseFile(const QString& path) {
    const QString chosen = QFileInfo(path).absoluteFilePath();
    if (!QFileInfo::exists(chosen)) {
        // A new case: the next import builds it.
        closeDatabaseAndViews();
        m_databasePath = chosen;
        m_data.setDatabasePath(chosen);
        setWindowTitle("Kelvane - " + QDir::toNativeSeparators(chosen));
        return true;
    }
    // Check the file on a module of its own, so that a wrong file leaves the open case as it was.
    TMainDataModule probe;
    try {
        openKelvaneDatabase(probe, chosen);
    } catch (const std::exception& e) {
        MessageService::message(this, QString::fromUtf8(e.what()));
        return false;
    }
    probe.CloseDatabase();

    closeDatabaseAndViews();
    m_databasePath = chosen;
    m_data.setDatabasePath(chosen);
    LoadExistingDataMenuItemClick();
    return FDataLoaded;
}

void TMainForm::OpenDatabaseMenuItemClick() {
    const QString path = MessageService::openFileName(
        this, "Open Database", QFileInfo(m_databasePath).absolutePath(), kDatabaseFilter);
    if (!path.isEmpty())
        openDatabaseFile(path);
}

void TMainForm::ImportIntoNewDatabaseMenuItemClick() {
    MessageService::SaveDialog dialog{"Import into New Database", kDatabaseFilter, "db", false};
    const QString path = MessageService::saveFileName(this, dialog, QFileInfo(m_databasePath).absolutePath());
    if (path.isEmpty())
        return;
    const QString previous = m_databasePath;
    m_databasePath = QFileInfo(path).absoluteFilePath();
    m_data.setDatabasePath(m_databasePath);
    // The import asks before it replaces a file that is there; declined, the old case stays chosen.
    if (runLogImport() == 0 && !QFileInfo::exists(m_databasePath)) {
        m_databasePath = previous;
        m_data.setDatabasePath(previous);
    }
}

void TMainForm::databaseShown() {
    setWindowTitle("Kelvane - " + QDir::toNativeSeparators(m_databasePath));
    if (SharedResourcesModule)
        RecentDatabases(*SharedResourcesModule).add(m_databasePath);
    // Later: this may run from an entry of that very menu.
    QMetaObject::invokeMethod(this, &TMainForm::fillRecentDatabasesMenu, Qt::QueuedConnection);
}

void TMainForm::fillRecentDatabasesMenu() {
    if (!m_recentDatabasesMenu)
        return;
    m_recentDatabasesMenu->clear();
    const QStringList recent =
        SharedResourcesModule ? RecentDatabases(*SharedResourcesModule).list() : QStringList();
    for (const QString& path : recent) {
        QAction* entry = m_recentDatabasesMenu->addAction(QDir::toNativeSeparators(path));
        connect(entry, &QAction::triggered, this, [this, path] {
            guarded([&] {
                if (!QFileInfo::exists(path)) {
                    MessageService::message(this, QDir::toNativeSeparators(path) + ": no such database file");
                    RecentDatabases(*SharedResourcesModule).remove(path);
                    QMetaObject::invokeMethod(this, &TMainForm::fillRecentDatabasesMenu,
                                              Qt::QueuedConnection);
                    return;
                }
                openDatabaseFile(path);
            });
        });
    }
    m_recentDatabasesMenu->setEnabled(!recent.isEmpty());
}

} // namespace kelvane
