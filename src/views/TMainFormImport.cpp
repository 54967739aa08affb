// The flows that replace or load the database.
#include "views/TMainForm.h"

#include "import/FailedImportNote.h"
#include "import/TImportController.h"
#include "import/gui/TImportElasticLogsForm.h"
#include "import/gui/TImportForm.h"
#include "settings/ProductInfo.h"
#include "store/DatabaseCheck.h"
#include "store/ProcessViewQueries.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TLinkGrid.h"

#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QStatusBar>

namespace kelvane {

using ui::MessageService;

bool TMainForm::connectDatabase() {
    try {
        m_data.OpenDatabase();
    } catch (const std::exception&) {
        // The test below says so.
    }
    if (!m_data.HasDatabaseConnection()) {
        MessageService::message(this, "Unable to connect to the database!");
        return false;
    }
    return true;
}

void TMainForm::closeDatabaseAndViews() {
    // The views' queries go down with the connection.
    CloseExes();
    CloseImages();
    CloseSessions();
    CloseNetworkTraffic();
    CloseAllEventsView();
    m_data.CloseDatabase();
    m_data.OpenCloseAllEventsViewTables(false);
}

bool TMainForm::replaceDatabase() {
    closeDatabaseAndViews();
    if (QFileInfo::exists(m_databasePath)) {
        if (!MessageService::question(
                this,
                "Are you sure? This will delete all existing data!\r\nIf you would like to backup the "
                "existing "
                "database, close Kelvane, move the database file 'KelvaneDB' to another folder or simply "
                "rename it, and then try to import the data again."))
            return false;
        if (!QFile::remove(m_databasePath)) {
            MessageService::message(this,
                                    "Error deleting existing database file, please close Kelvane, delete the "
                                    "file 'KelvaneDB' and try again");
            return false;
        }
    }
    return connectDatabase();
}

void TMainForm::ImportSysmonLogsMenuItemClick() {
    runLogImport();
}

int TMainForm::runLogImport() {
    if (!replaceDatabase())
        return 0;
    const QString fileName =
        MessageService::openFileName(this, "Import Sysmon XML Events", QString(),
                                     "Sysmon logs (*.xml *.evtx);;XML Files (*.xml);;Event logs (*.evtx)");
    if (fileName.isEmpty())
        return 0;

    auto* form = new TImportForm(m_data, this);
    form->FileName = fileName;
    const int result = MessageService::exec(form);
    if (result == 1) {
        refreshAfterImport();
    } else if (result == 3) {
        // A full disk is not the program's fault, and what was kept can be loaded: say so rather than ask
        // for support.
        const QString storage = form->controller().report().storageFailure();
        MessageService::message(this, !storage.isEmpty() ? storage
                                                         : QString("Something went wrong! Please contact ") +
                                                               product::kSupportAddress);
        showStoredBeforeFailure();
    }
    delete form;
    return result;
}

void TMainForm::ImportSysmonElasticsearchlogsMenuItemClick() {
    if (!replaceDatabase())
        return;
    auto* form = new TImportElasticLogsForm(m_data, this);
    const int result = MessageService::exec(form);
    if (result == 1) {
        refreshAfterImport();
    } else if (result == 3) {
        MessageService::message(this, "Something went wrong:\r\n" + form->ErrorMessage().join("\r\n"));
        showStoredBeforeFailure();
    }
    delete form;
}

void TMainForm::showStoredBeforeFailure() {
    // The views stay empty after a failure, though what was read before it is in the file.
    const qint64 stored = eventsStoredIn(m_databasePath);
    QString text = storedBeforeFailureText(stored);
    if (stored > 0)
        text += " File > Load existing data (Ctrl+L) shows them.";
    statusBar()->showMessage(text);
}

void TMainForm::refreshAfterImport() {
    statusBar()->clearMessage();
    m_data.OpenDatabaseAndTables();
    m_data.OpenCloseAllEventsViewTables(true);
    OpenAllEventsView();
    CloseExes();
    CloseImages();
    CloseSessions();
    openExes();
    FDataLoaded = true;
    showCanvasHint();
    databaseShown();
    ColorDestinationCountries();
}

void TMainForm::LoadExistingDataMenuItemClick() {
    // Reading never creates the file: an empty one would make the next import ask about deleting
    // data that never existed.
    if (!QFileInfo::exists(m_databasePath)) {
        MessageService::message(this, "There are no data to be loaded, import logs first!");
        return;
    }
    // Say what is wrong with a file before it is used: in use elsewhere, damaged, of another version.
    // An empty one goes the usual way, to "no data".
    const DatabaseCheck check = checkKelvaneDatabase(m_databasePath);
    if (!check.usable() && check.state != DatabaseCheck::Empty) {
        MessageService::message(this, check.message());
        return;
    }
    if (!connectDatabase())
        return;
    if (!m_data.HasImportedData()) {
        MessageService::message(this, "There are no data to be loaded, import logs first!");
        return;
    }
    statusBar()->clearMessage();
    openExes();
    m_data.OpenCloseAllEventsViewTables(true);
    OpenAllEventsView();
    FDataLoaded = true;
    showCanvasHint();
    databaseShown();
    ColorDestinationCountries();
}

void TMainForm::CheckDatabaseVersionMenuItemClick() {
    if (!FDataLoaded) {
        MessageService::message(this, "No data is currently loaded, either import or load an existing data");
        return;
    }
    try {
        m_data.OpenDatabase();
        TQuery& version = m_data.query("FDQueryVersion");
        version.open(m_data.connection());
        const QString loaded = version.text("SVersion");
        version.close();
        MessageService::message(
            this, "Latest database version is : 3.1\r\nCurrently loaded database version is : " + loaded);
    } catch (const std::exception& e) {
        MessageService::message(this, "Something went wrong:\r\n" + QString::fromUtf8(e.what()));
    }
}

void TMainForm::openExes() {
    cxGridImages->setQuery(imagesList(m_data));
    fitProcessLists();
}

void TMainForm::CloseExes() {
    cxGridImages->clear();
}
void TMainForm::CloseImages() {
    cxGridImagePath->clear();
}
void TMainForm::CloseSessions() {
    cxGridImageSessions->clear();
}

} // namespace kelvane
