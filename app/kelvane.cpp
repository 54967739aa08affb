// Kelvane: the desktop viewer. Reads no command line; its database KelvaneDB lies beside the executable.
#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TFormConfirmationDialog.h"
#include "settings/gui/TFormIPStackConfirmationDialog.h"
#include "settings/gui/TPreferencesForm.h"
#include "store/TMainDataModule.h"
#include "toolkit/DarkTheme.h"
#include "toolkit/TKelvaneApplication.h"
#include "views/TAboutForm.h"
#include "views/TMainForm.h"

#include <QApplication>

using namespace kelvane;
using namespace kelvane::ui;

int main(int argc, char* argv[]) {
    TKelvaneApplication app(argc, argv);
    QApplication::setApplicationName("Kelvane");
    QApplication::setApplicationDisplayName("Kelvane");
    QApplication::setApplicationVersion("3.1");
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
    const int result = app.exec();
    MainDataModule = nullptr;
    SharedResourcesModule = nullptr;
    return result;
}
