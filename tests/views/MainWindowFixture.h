#pragma once

#include "details/gui/TSessionViewForm.h"
#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

namespace kelvane::testing {

// The main window as the program sets it up, over a settings file and a database path of its own for
// each test, so that tests never share state.
struct MainWindowFixture {
    std::unique_ptr<TSharedResourcesModule> settings;
    std::unique_ptr<TMainDataModule> data;
    std::unique_ptr<TMainForm> form;
    int counter = 0;

    // Makes the next test's window and shows it; prepare may fill the database before the window opens.
    // False when the window did not show.
    bool start(const QTemporaryDir& dir,
               const std::function<void(TMainDataModule&, const QString& path)>& prepare = {}) {
        QStandardPaths::setTestModeEnabled(true);
        ++counter;
        settings = std::make_unique<TSharedResourcesModule>(dir.filePath(QString("s%1.ini").arg(counter)));
        SharedResourcesModule = settings.get();
        data = std::make_unique<TMainDataModule>();
        const QString path = dir.filePath(QString("KelvaneDB%1").arg(counter));
        if (prepare)
            prepare(*data, path);
        form = std::make_unique<TMainForm>(*data, path);
        form->show();
        return QTest::qWaitForWindowExposed(form.get());
    }

    // Closes the session windows a test opened, then the window, the data module and the settings.
    void stop() {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w != form.get() && qobject_cast<ui::TSessionViewForm*>(w))
                delete w;
        form.reset();
        data.reset();
        settings.reset();
        SharedResourcesModule = nullptr;
    }
};

// Clicks the import dialog through as a user would: Import, then Ok once the import has ended. Gives the
// dialog's result, -1 when the import did not end within 30 s, -2 when the button does not say "Ok".
inline int runImportDialog(QDialog* dialog) {
    auto* import = dialog->findChild<QPushButton*>("ButtonImport");
    auto* okCancel = dialog->findChild<QPushButton*>("ButtonOkCancel");
    QTest::mouseClick(import, Qt::LeftButton);
    if (!QTest::qWaitFor([&] { return okCancel->isEnabled() || dialog->result() != 0; }, 30000))
        return -1;
    if (dialog->result() != 0)
        return dialog->result();
    if (okCancel->text() != "Ok")
        return -2;
    QTest::mouseClick(okCancel, Qt::LeftButton);
    return dialog->result();
}

} // namespace kelvane::testing
