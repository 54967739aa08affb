#pragma once

#include <QDialog>

#include <optional>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;

namespace kelvane {

class ImportReport;

// What the two import dialogs share: no close box, the link to the geolocation service, the moving
// indicator, the Import and Cancel/Ok buttons, the consent rule of the geolocation box, and the end of an
// import (a failure ends the dialog with 3, else "Ok" gives 1). Each dialog lays the controls out itself.
class TImportDialogBase : public QDialog {
    Q_OBJECT
public:
    // The link on the label names the geolocation service.
    static constexpr const char* kServiceHomePage = "https://ipstack.com";

    void ButtonOkCancelClick();

protected:
    explicit TImportDialogBase(QWidget* owner);

    // Make HTMLabelGeoIPServiceProvider, dxActivityIndicator, ButtonImport and ButtonOkCancel.
    void makeSharedControls();
    // The geolocation box was clicked: the new value of the import's "key set" flag, or none when it
    // stays as it was. Unticks the box when geolocation may not run.
    std::optional<bool> geoCheckBoxClicked(QCheckBox* box);
    // The import has started: the indicator moves, and neither button can be pressed.
    void showRunning();
    // The import has ended and the worker has let go of the data layer.
    void showEnded(const ImportReport& report);
    // True while a worker runs: the dialog can't be closed then.
    virtual bool importRunning() const = 0;

    void reject() override;
    void closeEvent(QCloseEvent* event) override;

    QLabel* HTMLabelGeoIPServiceProvider = nullptr;
    QProgressBar* dxActivityIndicator = nullptr;
    QPushButton* ButtonImport = nullptr;
    QPushButton* ButtonOkCancel = nullptr;
    int m_okCancelResult = 2;
};

} // namespace kelvane
