// A database per case: opening one, importing into a new one, and the recent list.
#include "views/TMainForm.h"

#include "import/TImportController.h"
#include "import/gui/TImportForm.h"
#include "settings/ProductInfo.h"
#include "settings/RecentDatabases.h"
#include "settings/TSharedResourcesModule.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "views/TAboutForm.h"
#include "views/TCaseContentsForm.h"

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

void TMainForm::AddLogsToCaseMenuItemClick() {
    const QStringList logs =
        MessageService::openFileNames(this, "Add Sysmon Logs to the Case", QString(),
                                      "Sysmon logs (*.xml *.evtx);;XML Files (*.xml);;Event logs (*.evtx)");
    if (!logs.isEmpty())
        addToCase(logs);
}

void TMainForm::AddFolderToCaseMenuItemClick() {
    const QString folder =
        MessageService::existingDirectory(this, "Add a Folder of Sysmon Logs to the Case", QString());
    if (!folder.isEmpty())
        addToCase({folder});
}

void TMainForm::addToCase(const QStringList& paths) {
    const QStringList logs = TImportController::logsUnder(paths);
    if (logs.isEmpty()) {
        MessageService::message(this,
                                "No .evtx or .xml file in " + QDir::toNativeSeparators(paths.join(", ")));
        return;
    }
    closeDatabaseAndViews();
    if (!connectDatabase())
        return;
    // A case with Kelvane's tables takes the events in; an empty file is built as by an import.
    bool kelvaneTables = false, hasEvents = false, foreign = false;
    try {
        kelvaneTables = m_data.TablesExist();
        hasEvents = kelvaneTables && m_data.HasImportedData();
        foreign = !kelvaneTables && m_data.GetTableCount() > 0;
    } catch (const std::exception&) {
        foreign = true;
    }
    if (foreign) {
        MessageService::message(this, QDir::toNativeSeparators(m_databasePath) + ": not a Kelvane database");
        return;
    }
    if (hasEvents &&
        !MessageService::question(this, QString("Add the events of %1 log(s) to the case %2?\r\nEvents "
                                                "the case holds already are counted, not stored twice.")
                                            .arg(logs.size())
                                            .arg(QDir::toNativeSeparators(m_databasePath))))
        return;
    auto* form = new TImportForm(m_data, this);
    form->FileNames = logs;
    form->Append = kelvaneTables;
    const int result = MessageService::exec(form);
    if (result == 1)
        refreshAfterImport();
    else if (result == 3)
        MessageService::message(this,
                                QString("Something went wrong! Please contact ") + product::kSupportAddress);
    delete form;
}

void TMainForm::CaseContentsMenuItemClick() {
    if (!FDataLoaded) {
        MessageService::message(this, "No data is currently loaded, either import or load an existing data");
        return;
    }
    m_data.OpenDatabase();
    ui::TCaseContentsForm form(m_databasePath, casefiles::readFiles(m_data.connection()), this);
    MessageService::exec(&form);
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
