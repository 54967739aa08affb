// Kelvane: the desktop viewer. Opens the database named on the command line, or else works on KelvaneDB
// beside the executable (in the user's data folder when that folder is not writable or installed).
#include "settings/CommandLine.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TFormConfirmationDialog.h"
#include "settings/gui/TFormIPStackConfirmationDialog.h"
#include "settings/gui/TPreferencesForm.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"
#include "toolkit/DarkTheme.h"
#include "toolkit/MessageService.h"
#include "toolkit/TKelvaneApplication.h"
#include "views/TAboutForm.h"
#include "views/TMainForm.h"

#include <QApplication>

using namespace kelvane;
using namespace kelvane::ui;

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    TKelvaneApplication app(argc, argv);
    QApplication::setApplicationName("Kelvane");
    QApplication::setApplicationDisplayName("Kelvane");
    QApplication::setApplicationVersion("3.1");
    CommandLine commandLine("Kelvane, a viewer for Sysmon event logs: opens the case database DATABASE, "
                            "or the default KelvaneDB.",
                            {{0, "the window was closed"}});
    commandLine.addPositional("DATABASE",
                              "A Kelvane database file; one that does not exist yet is built "
                              "by the next import.",
                              "[DATABASE]");
    const QCommandLineOption loadOption("load",
                                        "Load the database at start, as File > Load existing data does.");
    commandLine.parser().addOption(loadOption);
    commandLine.process(app, 0, 1);
    applyDarkTheme(app);

    // The single instances, in the order the rest of the program expects them.
    TMainDataModule dataModule;
    MainDataModule = &dataModule;
    TMainForm mainForm(dataModule);
    auto* about = new TAboutForm(&mainForm);
    about->setObjectName("AboutForm");
    auto* preferences = new TPreferencesForm(&mainForm);
    preferences->setObjectName("PreferencesForm");
    TSharedResourcesModule settings;
    SharedResourcesModule = &settings;
    auto* vtTerms = new TFormConfirmationDialog(&mainForm);
    vtTerms->setObjectName("FormConfirmationDialog");
    auto* ipstackTerms = new TFormIPStackConfirmationDialog(&mainForm);
    ipstackTerms->setObjectName("FormIPStackConfirmationDialog");

    mainForm.show();
    if (!commandLine.positional().isEmpty()) {
        const QString path = commandLine.positional().first();
        QMetaObject::invokeMethod(
            &mainForm, [&mainForm, path] { guarded(&mainForm, [&] { mainForm.openDatabaseFile(path); }); },
            Qt::QueuedConnection);
    } else if (commandLine.parser().isSet(loadOption)) {
        QMetaObject::invokeMethod(
            &mainForm, [&mainForm] { guarded(&mainForm, [&] { mainForm.LoadExistingDataMenuItemClick(); }); },
            Qt::QueuedConnection);
    }
    const int result = app.exec();
    MainDataModule = nullptr;
    SharedResourcesModule = nullptr;
    return result;
}
